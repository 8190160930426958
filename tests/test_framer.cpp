// The framer over bytes: every reply fed whole and split at every position.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>
#include <vector>

#include "core/framer.h"
#include "test_support.h"

namespace {

using S = std::string;
using V = std::vector<std::string>;
const char *const kExtended[] = {"CME ERROR", "CMS ERROR", "PDP ERROR", "CERROR", "CONNECT ERROR"};

// The reply a feed (or, with `end`, the end of a burst) cut, or "-" for none.
S take(bool got, const zel::Cut &c) {
    if (!got) return "-";
    S s(c.data, static_cast<size_t>(c.len));
    free(c.data);
    return s;
}
S feed(zel::ReplyFramer &f, const S &b) { zel::Cut c; return take(f.feed(b.data(), b.size(), &c), c); }
S end(zel::ReplyFramer &f) { zel::Cut c; return take(f.endBurst(kExtended, 5, &c), c); }

// Feeds whole bursts, each handed over in pieces of `piece` bytes and, with
// `ends`, closed by the silence that ends a burst; every reply cut, in order.
V frame(const V &bursts, size_t piece = 8192, bool ends = true) {
    zel::ReplyFramer f;
    V out;
    for (const S &b : bursts) {
        for (size_t at = 0; at < b.size(); at += piece)
            if (S r = feed(f, b.substr(at, piece)); r != "-") out.push_back(r);
        if (S r = ends ? end(f) : "-"; r != "-") out.push_back(r);
    }
    f.release();
    return out;
}

TEST(FramerEnd, PriorityOkThenErrorThenExtendedInTableOrder) {
    const struct { S text; long end; } cases[] = {
        {"\r\nOK\r\n", 6},
        {"x\r\nERROR\r\ny\r\nOK\r\nz", 17},  // OK wins over an earlier ERROR
        {"\r\nERROR\r\n+CME ERROR: 3\r\n", 9},
        {"+CMS ERROR: 1\r\n+CME ERROR: 2\r\n", 30},  // CME comes first in the table
        {"+CME ERROR: 10\r\nrest", 16},
        {"+CME ERROR: 10", 10},  // no line end yet: just after the word
        {"+CERROR", 7}, {"\r\nCONNECT ERROR\r\n", 17},
        {"OK\r\n", -1}, {"\r\nOK\r", -1}, {"", -1},  // a final code needs both line ends
        {S("ab\0c\r\nOK\r\n", 10), 10},
    };
    for (const auto &c : cases)
        EXPECT_EQ(zel::findReplyEnd(c.text.data(), c.text.size(), kExtended, 5), c.end) << c.text;
    const char *const table[] = {"", nullptr, "CERROR"};  // empty entries are skipped
    EXPECT_EQ(zel::findReplyEnd("+CERROR: 4\r\n", 12, table, 3), 12);
}

TEST(Framer, RepliesSplitAtEveryPositionComeOutOnce) {
    const S ok = "\r\n+CSQ: 23,99\r\n\r\nOK\r\n";
    for (size_t cut = 1; cut < ok.size(); ++cut) {
        ASSERT_EQ(frame({ok.substr(0, cut), ok.substr(cut)}), V{ok}) << "split at " << cut;
        ASSERT_EQ(frame({ok}, cut, false), V{ok}) << "pieces of " << cut << ": OK is cut without waiting for silence";
    }
    // A split inside an extended word leaves nothing to match in the first
    // burst; split after it, the reply ends at the word.
    for (S reply : {S("\r\nERROR\r\n"), S("\r\n+CME ERROR: 10\r\n")}) {
        for (size_t cut = 1; cut < reply.size(); ++cut) {
            V got = frame({reply.substr(0, cut), reply.substr(cut)});
            ASSERT_FALSE(got.empty()) << reply << " split at " << cut;
            ASSERT_EQ(reply.substr(0, got.back().size()), got.back().substr(0, reply.size()));
        }
    }
}

TEST(Framer, OkCutsAtOnceDiscardsTheBurstUntilSilenceOrCommandSent) {
    zel::ReplyFramer f;
    EXPECT_EQ(feed(f, "A\r\nOK\r\nJUNK"), "A\r\nOK\r\n");
    EXPECT_TRUE(f.discarding());
    EXPECT_EQ(feed(f, "\r\nOK\r\n"), "-");  // same burst: discarded, not a second reply
    EXPECT_EQ(end(f), "-");
    EXPECT_EQ(f.pending(), 0u);
    EXPECT_EQ(feed(f, "B\r\nOK\r\n"), "B\r\nOK\r\n");  // after the silence
    EXPECT_EQ(feed(f, "C\r\nOK\r\n"), "-");
    f.commandSent();  // ends the discard at once
    EXPECT_EQ(feed(f, "D\r\nOK\r\n"), "D\r\nOK\r\n");
    f.release();
}

TEST(Framer, ErrorWaitsForTheEndOfItsBurstSoALaterOkWins) {
    zel::ReplyFramer f;
    EXPECT_EQ(feed(f, "\r\nERROR\r\n"), "-");
    EXPECT_EQ(feed(f, "x\r\nOK\r\ny"), "\r\nERROR\r\nx\r\nOK\r\n");
    f.release();
}

TEST(Framer, BurstShapes) {
    const struct { V bursts; V replies; } cases[] = {
        {{"1\r\nOK\r\n2\r\nOK\r\n"}, {"1\r\nOK\r\n"}},  // two replies in a burst: the first
        {{"+CME ERROR: 1\r\n+CME ERROR: 2\r\n"}, {"+CME ERROR: 1\r\n"}},
        // Without its line end the word ends the reply and the rest of its burst is lost.
        {{"+CME ERROR", ": 10\r\nOK"}, {"+CME ERROR"}},
        {{"+CME ERROR: 10", "\r\n\r\nOK\r\n"}, {"+CME ERROR", "\r\n\r\nOK\r\n"}},
        {{"\r\n+CREG: 1\r\n", "\r\n+CSQ: 5\r\n\r\nOK\r\n"}, {"\r\n+CREG: 1\r\n\r\n+CSQ: 5\r\n\r\nOK\r\n"}},
        {{S("\r\n+X: a\0b\r\n\r\nOK\r\n", 17)}, {S("\r\n+X: a\0b\r\n\r\nOK\r\n", 17)}},
        {{S(8192, 'a'), S(8192, 'a'), S(3616, 'a'), "\r\nOK\r\n"}, {S(20000, 'a') + "\r\nOK\r\n"}},
    };
    for (const auto &c : cases) EXPECT_EQ(frame(c.bursts), c.replies) << c.bursts[0].substr(0, 40);
}

TEST(Framer, BurstCapAndCarryOverCap) {
    zel::ReplyFramer f;
    EXPECT_EQ(feed(f, S(9000, 'x')), "-");
    EXPECT_EQ(f.room(), 0u);  // only 8192 taken
    EXPECT_EQ(end(f), "-");
    EXPECT_EQ(f.pending(), 8192u);
    EXPECT_EQ(f.room(), 8192u);
    for (int i = 0; i < 40; ++i) {
        feed(f, S(8192, 'b'));
        end(f);
    }
    EXPECT_EQ(f.pending(), zel::ReplyFramer::kPartialCap);
    f.release();
}

// The receive thread's work: events "r<bytes>" (a read), "c<bytes>" (a read
// after a command went out) and "s" (silence) give the replies and traces in
// order, each cut to 200 characters (the log cuts at 4094).
V g_events;
void record(const S &event) { g_events.push_back(event.substr(0, 200)); }

TEST(BurstTracer, EachBurstIsTracedOnceAfterItsReplyWasHandedOver) {
    auto cut = [](const S &line) { return line.substr(0, 200); };
    auto native = [&](const S &b) { return cut("Received native: -->'" + std::to_string(b.size()) + ":" + b + "'<---\n"); };
    auto data = [&](size_t n, const S &b) { return cut("Received data: -->'" + std::to_string(n) + ":" + b + "'<---\n"); };
    auto lens = [](int was, int len) { return "Received partial_len: -->'" + std::to_string(was) + "," + std::to_string(len) + "' <---\n"; };
    auto carried = [](int n) { return "Received partial_len -->: -->'" + std::to_string(n) + "' <---\n"; };
    const S ok = "\r\nOK\r\n", rest(4000, 'j'), full = S(8186, 'x') + ok;
    const struct { V events, expected; } cases[] = {
        {{"rA" + ok, "rJUNK", "s"}, {"reply A" + ok, native("A" + ok + "JUNK"), lens(0, 7), data(7, "A" + ok + "JUNK")}},
        // A command ends a burst that holds a reply: the next reply is handed
        // over first, and a burst never holds more than 8192 bytes.
        {{"r" + ok, "r" + rest, "c" + full}, {"reply " + ok, cut("reply " + full), native(ok + rest), lens(0, 6),
                                             data(6, ok + rest), native(full), lens(0, 8192), data(8192, full)}},
        {{"r\r\nERR", "rOR\r\n", "s"}, {"reply \r\nERROR\r\n", native("\r\nERROR\r\n"), lens(0, 9), data(9, "\r\nERROR\r\n")}},
        {{"r+CME ERROR: 10", "s"}, {"reply +CME ERROR", native("+CME ERROR: 10"), lens(0, 10), data(10, "+CME ERROR: 10")}},
        {{"r+CREG\r\n", "s", "c" + ok, "s"}, {native("+CREG\r\n"), data(7, "+CREG\r\n"), carried(7), "reply +CREG\r\n" + ok,
                                             native(ok), lens(7, 13), data(6, ok)}},
    };
    zeltest::LogCapture capture;
    zeltest::LogWriter writer([](int, const char *text) { record(strchr(text, ' ') + 1); });
    for (const auto &c : cases) {
        g_events.clear();
        zel::ReplyFramer f;
        zel::BurstTracer t(f, kExtended, 5, [](const zel::Cut &cut) { record("reply " + take(true, cut)); });
        for (const S &e : c.events) e == "s" ? (t.endBurst(), t.writeTraces()) : t.read(&e[1], e.size() - 1, e[0] == 'c');
        f.release();
        EXPECT_EQ(g_events, c.expected) << c.events[0].substr(0, 20);
    }
}

}  // namespace

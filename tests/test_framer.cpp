// The framer over bytes: every reply fed whole and split at every position.
#include <gtest/gtest.h>

#include <stdlib.h>

#include <string>
#include <vector>

#include "core/framer.h"

namespace {

using S = std::string;
const char *const kExtended[] = {"CME ERROR", "CMS ERROR", "PDP ERROR", "CERROR", "CONNECT ERROR"};

// Feeds `bursts` (each one burst, handed over in pieces of `piece` bytes) and
// returns every reply cut, in order.
std::vector<std::string> frame(zel::ReplyFramer &f, const std::vector<std::string> &bursts, size_t piece = 8192) {
    std::vector<std::string> out;
    for (const std::string &b : bursts) {
        for (size_t at = 0; at < b.size(); at += piece) {
            zel::Cut c;
            size_t n = std::min(piece, b.size() - at);
            if (f.feed(b.data() + at, n, &c)) {
                out.emplace_back(c.data, static_cast<size_t>(c.len));
                free(c.data);
            }
        }
        zel::Cut c;
        if (f.endBurst(kExtended, 5, &c)) {
            out.emplace_back(c.data, static_cast<size_t>(c.len));
            free(c.data);
        }
    }
    return out;
}

std::vector<std::string> frameOnce(const std::vector<std::string> &bursts, size_t piece = 8192) {
    zel::ReplyFramer f;
    auto r = frame(f, bursts, piece);
    f.release();
    return r;
}

long replyEnd(const std::string &s) { return zel::findReplyEnd(s.data(), s.size(), kExtended, 5); }

TEST(FramerEnd, PriorityOkThenErrorThenExtendedInTableOrder) {
    EXPECT_EQ(replyEnd("\r\nOK\r\n"), 6);
    EXPECT_EQ(replyEnd("x\r\nERROR\r\ny\r\nOK\r\nz"), 17);  // OK wins over an earlier ERROR
    EXPECT_EQ(replyEnd("\r\nERROR\r\n+CME ERROR: 3\r\n"), 9);
    EXPECT_EQ(replyEnd("+CMS ERROR: 1\r\n+CME ERROR: 2\r\n"), 30);  // CME comes first in the table
    EXPECT_EQ(replyEnd("+CME ERROR: 10\r\nrest"), 16);
    EXPECT_EQ(replyEnd("+CME ERROR: 10"), 10);  // no line end yet: just after the word
    EXPECT_EQ(replyEnd("+CERROR"), 7);
    EXPECT_EQ(replyEnd("\r\nCONNECT ERROR\r\n"), 17);
    EXPECT_EQ(replyEnd("OK\r\n"), -1);     // a final code needs its leading line end
    EXPECT_EQ(replyEnd("\r\nOK\r"), -1);   // and its trailing one
    EXPECT_EQ(replyEnd(""), -1);
}

TEST(FramerEnd, FindsCodesBehindNulBytes) {
    std::string s("ab\0c\r\nOK\r\n", 10);
    EXPECT_EQ(replyEnd(s), 10);
}

TEST(FramerEnd, EmptyOrMissingTableEntriesAreSkipped) {
    const char *const table[] = {"", nullptr, "CERROR"};
    std::string s = "+CERROR: 4\r\n";
    EXPECT_EQ(zel::findReplyEnd(s.data(), s.size(), table, 3), 12);
}

TEST(Framer, ReplySplitAtEveryPositionComesOutOnce) {
    const std::string reply = "\r\n+CSQ: 23,99\r\n\r\nOK\r\n";
    for (size_t cut = 1; cut < reply.size(); ++cut) {
        // Two bursts split at `cut`, and one burst fed in pieces of `cut`.
        auto a = frameOnce({reply.substr(0, cut), reply.substr(cut)});
        ASSERT_EQ(a, std::vector<std::string>{reply}) << "split at " << cut;
        auto b = frameOnce({reply}, cut);
        ASSERT_EQ(b, std::vector<std::string>{reply}) << "pieces of " << cut;
    }
}

TEST(Framer, ErrorRepliesSplitAtEveryPosition) {
    for (std::string reply : {std::string("\r\nERROR\r\n"), std::string("\r\n+CME ERROR: 10\r\n")}) {
        for (size_t cut = 1; cut < reply.size(); ++cut) {
            auto got = frameOnce({reply.substr(0, cut), reply.substr(cut)});
            // A split inside the extended word leaves nothing to match in the
            // first burst; split after it, the reply ends at the word.
            ASSERT_FALSE(got.empty()) << reply << " split at " << cut;
            ASSERT_EQ(got.back().substr(0, std::min(got.back().size(), reply.size())),
                      reply.substr(0, got.back().size()));
        }
    }
}

TEST(Framer, OkCutAtOnceAndRestOfBurstDiscarded) {
    zel::ReplyFramer f;
    zel::Cut c;
    std::string first = "A\r\nOK\r\nJUNK";
    ASSERT_TRUE(f.feed(first.data(), first.size(), &c));
    EXPECT_EQ(std::string(c.data, c.len), "A\r\nOK\r\n");
    free(c.data);
    EXPECT_TRUE(f.discarding());
    std::string more = "\r\nOK\r\n";  // same burst: discarded, not a second reply
    EXPECT_FALSE(f.feed(more.data(), more.size(), &c));
    EXPECT_FALSE(f.endBurst(kExtended, 5, &c));
    EXPECT_EQ(f.pending(), 0u);
    // After the silence a new burst starts a new reply.
    EXPECT_EQ(frame(f, {"B\r\nOK\r\n"}), std::vector<std::string>{"B\r\nOK\r\n"});
    f.release();
}

TEST(Framer, CommandSentEndsTheDiscardAtOnce) {
    zel::ReplyFramer f;
    zel::Cut c;
    std::string a = "A\r\nOK\r\n";
    ASSERT_TRUE(f.feed(a.data(), a.size(), &c));
    free(c.data);
    f.commandSent();
    std::string b = "B\r\nOK\r\n";
    ASSERT_TRUE(f.feed(b.data(), b.size(), &c));
    EXPECT_EQ(std::string(c.data, c.len), b);
    free(c.data);
    f.release();
}

TEST(Framer, ErrorWaitsForTheEndOfItsBurstSoALaterOkWins) {
    zel::ReplyFramer f;
    zel::Cut c;
    std::string a = "\r\nERROR\r\n";
    EXPECT_FALSE(f.feed(a.data(), a.size(), &c));
    std::string b = "x\r\nOK\r\ny";
    ASSERT_TRUE(f.feed(b.data(), b.size(), &c));
    EXPECT_EQ(std::string(c.data, c.len), "\r\nERROR\r\nx\r\nOK\r\n");
    free(c.data);
    f.release();
}

TEST(Framer, TwoRepliesInOneBurstKeepOnlyTheFirst) {
    EXPECT_EQ(frameOnce({"1\r\nOK\r\n2\r\nOK\r\n"}), std::vector<std::string>{"1\r\nOK\r\n"});
    EXPECT_EQ(frameOnce({"+CME ERROR: 1\r\n+CME ERROR: 2\r\n"}), std::vector<std::string>{"+CME ERROR: 1\r\n"});
}

TEST(Framer, ExtendedErrorWithoutLineEndLosesTheRestOfItsBurst) {
    // The word ends the reply; the "10" in the same burst is lost and the
    // next burst starts a new accumulation.
    auto got = frameOnce({S("+CME ERROR"), S(": 10\r\nOK")});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0], "+CME ERROR");
    got = frameOnce({S("+CME ERROR: 10"), S("\r\n\r\nOK\r\n")});
    EXPECT_EQ(got, (std::vector<std::string>{S("+CME ERROR"), S("\r\n\r\nOK\r\n")}));
}

TEST(Framer, UnsolicitedTextBeginsTheNextReply) {
    auto got = frameOnce({S("\r\n+CREG: 1\r\n"), S("\r\n+CSQ: 5\r\n\r\nOK\r\n")});
    EXPECT_EQ(got, std::vector<std::string>{"\r\n+CREG: 1\r\n\r\n+CSQ: 5\r\n\r\nOK\r\n"});
}

TEST(Framer, BurstIsAtMost8192Bytes) {
    zel::ReplyFramer f;
    std::string big(9000, 'x');
    zel::Cut c;
    EXPECT_FALSE(f.feed(big.data(), big.size(), &c));
    EXPECT_EQ(f.room(), 0u);  // only 8192 taken
    EXPECT_FALSE(f.endBurst(kExtended, 5, &c));
    EXPECT_EQ(f.pending(), 8192u);
    EXPECT_EQ(f.room(), 8192u);
    f.release();
}

TEST(Framer, LongRepliesOverManyBurstsAndTheCarryOverCap) {
    std::string body(20000, 'a');
    std::vector<std::string> bursts;
    for (size_t at = 0; at < body.size(); at += 8192) bursts.push_back(body.substr(at, 8192));
    bursts.push_back("\r\nOK\r\n");
    auto got = frameOnce(bursts);
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0], body + "\r\nOK\r\n");

    zel::ReplyFramer f;
    std::string chunk(8192, 'b');
    zel::Cut c;
    for (int i = 0; i < 40; ++i) {
        f.feed(chunk.data(), chunk.size(), &c);
        f.endBurst(kExtended, 5, &c);
    }
    EXPECT_EQ(f.pending(), zel::ReplyFramer::kPartialCap);
    f.release();
}

TEST(Framer, BytesWithNulInsideTheReply) {
    std::string reply("\r\n+X: a\0b\r\n\r\nOK\r\n", 17);
    auto got = frameOnce({reply});
    ASSERT_EQ(got.size(), 1u);
    EXPECT_EQ(got[0], reply);
}

}  // namespace

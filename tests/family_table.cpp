#include "family_table.h"

#include <string.h>
#include <syslog.h>

#include <regex>
#include <set>

namespace zeltest {

namespace {

constexpr int64_t kWaitMs = 3000;  // a reply that never comes fails fast instead of after 15 s
const char kOther[] = "\r\n+XYZ: 9\r\n\r\nOK\r\n";  // no prefix of any family
const char kEmptySpan[] = "OK\r\n\r\nOK\r\n";  // what follows a prefix with nothing before "OK"

// Outputs of one call. The text output starts as a record of the test's own,
// so "left untouched" and "set to NULL" can be told apart.
struct Out {
    int32_t i = kUnset;
    zelString *keep = zelAllocString("keep", 4);
    zelString *s = keep;
    ~Out() {
        if (s != keep) zelFreeString(s);
        zelFreeString(keep);
    }
    std::string describe() const {
        if (i != kUnset && s != keep) return "<both outputs written>";
        if (i != kUnset) return std::to_string(i);
        if (s == keep) return kKept;
        if (s == nullptr) return kNull;
        EXPECT_EQ(strlen(s->data), static_cast<size_t>(s->len)) << "length counts the text";
        return std::string(s->data, static_cast<size_t>(s->len));
    }
};

struct Variant {
    const char *what;
    std::string reply;
    int32_t status;
    std::string out;
};

std::string framed(const std::string &line) { return line.empty() ? "\r\nOK\r\n" : "\r\n" + line + "\r\n\r\nOK\r\n"; }

std::vector<Variant> variants(const Row &r) {
    const std::string &p = r.prefix;
    // A modem prints a bare prefix such as "CRC:" after a sign.
    const std::string signed_prefix = (p[0] == '+' || p[0] == '^' ? "" : "+") + p;
    const bool prefixed = r.kind == Kind::Int || r.kind == Kind::Text || r.kind == Kind::Fixed;
    const bool plain = r.kind == Kind::Plain || r.kind == Kind::PlainCleared;
    std::string line = r.line, want = r.want;
    if (r.kind == Kind::Int) line = signed_prefix + (want = "42");
    if (r.kind == Kind::Text) line = signed_prefix + (want = "1,\"a b\"");
    if (r.kind == Kind::Fixed) {
        line = signed_prefix + "0123456789ABCDEFGHIJKLMNOPQRSTUVWXYZ";
        want = line.substr(signed_prefix.size(), static_cast<size_t>(r.width));
    }
    if (plain) line = want = "+ANY: 1\r\nline 2";
    std::string good = framed(line);
    std::vector<Variant> v = {{"good", good, 0, want}};
    if (r.kind == Kind::Custom) return v;

    const bool needs_ok = r.kind != Kind::Int && r.kind != Kind::Fixed;
    const std::string failed = r.kind == Kind::Text || r.kind == Kind::PlainCleared ? kNull : kKept;
    std::string no_ok = good;
    no_ok.replace(no_ok.rfind("OK"), 2, "ERROR");
    v.push_back({"no OK", no_ok, needs_ok ? 5 : 0, needs_ok ? failed : want});
    if (plain) {
        v.push_back({"any first line", kOther, 0, "+XYZ: 9"});
        v.push_back({"empty span", kEmptySpan, 5, kNull});
    }
    if (prefixed) {
        v.push_back({"no prefix", kOther, 5, failed});
        const std::string rest = kEmptySpan;
        v.push_back({"empty span", "\r\n" + signed_prefix + rest, r.kind == Kind::Text ? 5 : 0,
                     r.kind == Kind::Int    ? "0"
                     : r.kind == Kind::Text ? kNull
                                            : rest.substr(0, static_cast<size_t>(r.width))});
        // A prefix without its sign matches inside a signed line; a signed one needs the sign.
        const bool found = signed_prefix != p;
        v.push_back({"line without its sign", framed(line.substr(1)), found ? 0 : 5, found ? want : failed});
    }
    return v;
}

}  // namespace

void FamilyTest::SetUp() {
    LinkTest::SetUp();
    setWaitMs(kWaitMs);
}

FamilyTest::Outcome FamilyTest::run(const Call &call, const std::string &reply) {
    server->clearRecord();
    log.clear();
    if (reply.empty())
        setWaitMs(30);
    else
        server->reply(reply);
    Out o;
    int32_t status = call(&o.i, &o.s);
    setWaitMs(kWaitMs);
    if (reply.empty()) server->waitForCommands(1, 1000);
    return {status, o.describe(), server->received()};
}

void FamilyTest::checkTable(const char *tag, const std::vector<Row> &rows) {
    std::set<std::string> names;
    for (const Row &r : rows) {
        EXPECT_TRUE(names.insert(r.name).second) << "duplicate row " << r.name;
        checkRow(r, tag);
    }
}

void FamilyTest::checkRow(const Row &r, const char *tag) {
    SCOPED_TRACE(r.name);
    std::vector<Variant> cases = variants(r);
    cases.push_back({"no reply", "", 5, kKept});
    for (const Variant &v : cases) {
        SCOPED_TRACE(v.what);
        Outcome o = run(r.call, v.reply);
        EXPECT_EQ(o.sent, r.sent);
        EXPECT_EQ(lastTimeout(), r.timeout);
        EXPECT_EQ(o.status, v.status) << v.reply;
        EXPECT_EQ(o.out, v.out) << v.reply;
    }
    // The silence is logged under the family's tag, and nothing else is.
    const std::regex silence(std::string(tag) + ":[0-9]+: ret == NULL\n\n");
    int found = 0;
    for (const LogLine &l : log.lines()) {
        if (l.text.rfind(std::string(tag) + ":", 0) != 0) continue;
        ++found;
        EXPECT_TRUE(std::regex_match(l.text, silence) && l.priority == LOG_ERR) << l.text;
    }
    EXPECT_GT(found, 0) << "no \"ret == NULL\" line tagged " << tag;
    // A NULL output is refused before anything is sent.
    if (r.kind != Kind::Ok && r.kind != Kind::Custom) {
        SCOPED_TRACE("NULL output");
        server->clearRecord();
        EXPECT_EQ(r.call(nullptr, nullptr), r.null_status);
        expectNothingSent();
    }
}

void FamilyTest::expectReplies(const Call &call, const std::vector<ReplyCase> &cases, int32_t timeout) {
    for (const ReplyCase &c : cases) {
        SCOPED_TRACE(c.reply);
        Outcome o = run(call, c.reply);
        EXPECT_EQ(lastTimeout(), timeout);
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.out, c.out);
        if (!c.logged.empty()) EXPECT_TRUE(log.contains(c.logged, c.priority)) << c.logged;
    }
}

void FamilyTest::checkRefusals(const std::vector<Refusal> &rows) {
    for (const Refusal &r : rows) {
        SCOPED_TRACE(r.what);
        server->clearRecord();
        setWaitMs(30);
        Out o;
        int32_t status = r.call(&o.i, &o.s);
        EXPECT_EQ(o.describe(), kKept);
        setWaitMs(kWaitMs);
        EXPECT_EQ(status, r.status);
        expectNothingSent();
    }
}

// A probe answered now must be all the server saw since its record was cleared.
void FamilyTest::expectNothingSent() {
    server->reply("\r\nOK\r\n");
    zelString *r = nullptr;
    EXPECT_EQ(zelSendAtCommand("AT", &r), 0);
    zelFreeString(r);
    EXPECT_EQ(server->received(), "AT\r\n");
}

}  // namespace zeltest

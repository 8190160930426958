#include "family_table.h"

#include <string.h>
#include <syslog.h>

#include <fstream>
#include <set>

namespace zeltest {

zelString *g_sink = nullptr;

namespace {

constexpr int64_t kWaitMs = 3000;  // a reply that never comes fails fast instead of after 15 s
const char kOther[] = "\r\n+XYZ: 9\r\n\r\nOK\r\n";  // no prefix of any family
const char kUnprefixed[] = "\r\n0,1\r\n\r\nOK\r\n";

// A reply to try and what the outputs must show after it (status < 0: any).
struct Variant {
    const char *what;
    std::string reply;
    int32_t status;
    std::string out;
};

// The reply with its final "\r\nOK\r\n" turned into "\r\nERROR\r\n".
std::string endedByError(const std::string &reply) {
    std::string s = reply;
    size_t at = s.rfind("\r\nOK\r\n");
    if (at != std::string::npos) s.replace(at, 6, "\r\nERROR\r\n");
    return s;
}

// The reply with the '+' or '^' that opens each line dropped.
std::string unsignedLines(const std::string &reply) {
    std::string s = reply;
    for (size_t at = s.find("\r\n"); at != std::string::npos; at = s.find("\r\n", at + 2))
        if (at + 2 < s.size() && (s[at + 2] == '+' || s[at + 2] == '^')) s.erase(at + 2, 1);
    return s;
}

std::vector<Variant> variants(const Row &r) {
    const std::string good = r.line.empty() ? "\r\nOK\r\n" : "\r\n" + r.line + "\r\n\r\nOK\r\n";
    const std::string &p = r.prefix;
    std::vector<Variant> v;
    switch (r.kind) {
        case Kind::Ok:
            v = {{"good", good, 0, kKept},
                 {"ended by ERROR", endedByError(good), 5, kKept},
                 {"ERROR", "\r\nERROR\r\n", 5, kKept},
                 {"CME ERROR", "\r\n+CME ERROR: 3\r\n", 5, kKept},
                 {"CMS ERROR", "\r\n+CMS ERROR: 321\r\n", 5, kKept},
                 {"OK inside an information line", "\r\nTOKEN: 1\r\n\r\nERROR\r\n", 0, kKept}};
            break;
        case Kind::Int:
            // The integer shape never looks for "OK".
            v = {{"good", good, 0, r.want},
                 {"ended by ERROR", endedByError(good), 0, r.want},
                 {"negative", "\r\n" + p + "-3\r\n\r\nOK\r\n", 0, "-3"},
                 {"no digits", "\r\n" + p + "\r\n\r\nOK\r\n", 0, "0"},
                 {"only OK", "\r\nOK\r\n", 5, kKept},
                 {"another prefix", kOther, 5, kKept},
                 {"no prefix", kUnprefixed, 5, kKept}};
            break;
        case Kind::Text:
            v = {{"good", good, 0, r.want},
                 {"ended by ERROR", endedByError(good), 5, kNull},
                 {"inner blanks kept", "\r\n" + p + "0,1 \"a b\"\r\n\r\nOK\r\n", 0, "0,1 \"a b\""},
                 {"only OK", "\r\nOK\r\n", 5, kNull},
                 {"another prefix", kOther, 5, kNull},
                 {"no prefix", kUnprefixed, 5, kNull},
                 {"nothing before OK", "\r\n" + p + "OK\r\n\r\nOK\r\n", 5, kNull},
                 {"only line breaks before OK", "\r\n" + p + "\r\n\r\nOK\r\n", 0, ""}};
            break;
        case Kind::Plain:
        case Kind::PlainCleared: {
            const char *failed = r.kind == Kind::Plain ? kKept : kNull;
            if (!r.line.empty()) v = {{"good", good, 0, r.want}, {"ended by ERROR", endedByError(good), 5, failed}};
            v.insert(v.end(), {{"lines", "\r\n+X: 1,\"a\"\r\n+X: 2\r\n\r\nOK\r\n", 0, "+X: 1,\"a\"\r\n+X: 2"},
                               {"no OK", "\r\n+X: 1\r\n\r\nERROR\r\n", 5, failed},
                               {"any line", kOther, 0, "+XYZ: 9"},
                               {"nothing before OK", "OK\r\n\r\nOK\r\n", 5, kNull},
                               {"only line breaks before OK", "\r\n\r\nOK\r\n", 0, ""},
                               {"only OK", "\r\nOK\r\n", 0, ""}});
            break;
        }
        case Kind::Fixed:
            // Nor does the fixed-width shape; the reply may end right after the bytes.
            v = {{"good", good, 0, r.want},
                 {"ended by ERROR", endedByError(good), 0, r.want},
                 {"ends at an error word", "\r\n" + p + "1CERROR", 0, "1CERROR"},
                 {"only OK", "\r\nOK\r\n", 5, kKept},
                 {"another prefix", kOther, 5, kKept}};
            break;
        case Kind::Custom:
            v = {{"any", "\r\nOK\r\n", -1, ""}};
            break;
    }
    if (r.kind == Kind::Int || r.kind == Kind::Text || r.kind == Kind::Fixed) {
        // A prefix without the sign also matches a bare line; one with it does not.
        std::string bare = unsignedLines(good);
        bool found = bare.find(p) != std::string::npos;
        if (bare != good)
            v.push_back({"line without its sign", bare, found ? 0 : 5,
                         found ? r.want : r.kind == Kind::Text ? kNull : kKept});
    }
    std::set<std::string> seen;
    std::vector<Variant> unique;
    for (Variant &x : v)
        if (seen.insert(x.reply).second) unique.push_back(std::move(x));
    return unique;
}

std::string baseName(const std::string &name) { return name.substr(0, name.find('(')); }

// Source line range [first, next) of a function's definition, from the file.
std::pair<int, int> definitionLines(const std::string &file, const std::string &name) {
    std::ifstream in(file);
    std::string line;
    int n = 0, first = -1;
    while (std::getline(in, line)) {
        ++n;
        bool starts_def = line.rfind("int32_t ", 0) == 0;
        if (first > 0 && starts_def) return {first, n};
        if (starts_def && line.find(" " + name + "(") != std::string::npos) first = n;
    }
    return {first, first > 0 ? n + 1 : -1};
}

std::string moduleSource(const char *tag) {
    std::string here = __FILE__;
    return here.substr(0, here.rfind("tests/")) + "zelto_api_modules/" + tag + ".cpp";
}

Row makeRow(std::string name, Kind kind, Call call, std::string sent, std::string prefix, std::string line,
            std::string want) {
    return {std::move(name), kind,         std::move(call), std::move(sent), std::move(prefix),
            std::move(line), std::move(want)};
}

}  // namespace

Out::~Out() {
    if (s != keep) zelFreeString(s);
    zelFreeString(keep);
}

std::string describe(const Out &o) {
    if (o.i != kUnset && o.s != o.keep) return "<both outputs written>";
    if (o.i != kUnset) return std::to_string(o.i);
    if (o.s == o.keep) return kKept;
    if (o.s == nullptr) return kNull;
    EXPECT_EQ(strlen(o.s->data), static_cast<size_t>(o.s->len)) << "length counts the text";
    return std::string(o.s->data, static_cast<size_t>(o.s->len));
}

Row okRow(std::string name, std::string sent, Call call, std::string line) {
    return makeRow(std::move(name), Kind::Ok, std::move(call), std::move(sent), "", std::move(line), kKept);
}
Row intRow(std::string name, std::string sent, std::string prefix, Call call, std::string line, int32_t want) {
    return makeRow(std::move(name), Kind::Int, std::move(call), std::move(sent), std::move(prefix), std::move(line),
                   std::to_string(want));
}
Row textRow(std::string name, std::string sent, std::string prefix, Call call, std::string want) {
    std::string line = prefix + want;
    return makeRow(std::move(name), Kind::Text, std::move(call), std::move(sent), std::move(prefix), std::move(line),
                   std::move(want));
}
Row plainRow(std::string name, std::string sent, Call call, std::string line, bool cleared) {
    std::string want = line;
    return makeRow(std::move(name), cleared ? Kind::PlainCleared : Kind::Plain, std::move(call), std::move(sent), "",
                   std::move(line), std::move(want));
}
Row fixedRow(std::string name, std::string sent, std::string prefix, Call call, std::string line, std::string want) {
    return makeRow(std::move(name), Kind::Fixed, std::move(call), std::move(sent), std::move(prefix), std::move(line),
                   std::move(want));
}
Row customRow(std::string name, std::string sent, Call call) {
    return makeRow(std::move(name), Kind::Custom, std::move(call), std::move(sent), "", "", "");
}

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
    int32_t status = call(o);
    setWaitMs(kWaitMs);
    if (reply.empty()) server->waitForCommands(1, 1000);
    return {status, describe(o), server->received()};
}

void FamilyTest::checkTable(const char *tag, const std::vector<Row> &rows) {
    std::string source = moduleSource(tag);
    std::set<std::string> names;
    for (const Row &r : rows) {
        EXPECT_TRUE(names.insert(r.name).second) << "duplicate row " << r.name;
        checkRow(r, tag, source);
    }
}

void FamilyTest::checkRow(const Row &r, const char *tag, const std::string &source) {
    SCOPED_TRACE(r.name);
    for (const Variant &v : variants(r)) {
        SCOPED_TRACE(v.what);
        Outcome o = run(r.call, v.reply);
        EXPECT_EQ(o.sent, r.sent);
        EXPECT_EQ(lastTimeout(), r.timeout);
        if (!r.logs) {
            EXPECT_EQ(log.count(std::string(tag) + ":"), 0) << "the wrapper logged";
        }
        if (v.status < 0) continue;
        EXPECT_EQ(o.status, v.status) << v.reply;
        EXPECT_EQ(o.out, v.out) << v.reply;
    }
    std::pair<int, int> def = definitionLines(source, baseName(r.name));
    ASSERT_GT(def.first, 0) << "no definition in " << source;
    checkSilence(r, tag, def);
}

void FamilyTest::checkSilence(const Row &r, const char *tag, std::pair<int, int> definition) {
    SCOPED_TRACE("no reply");
    Outcome o = run(r.call, "");
    EXPECT_EQ(o.status, 5);
    EXPECT_EQ(o.out, kKept);
    EXPECT_EQ(o.sent, r.sent);
    EXPECT_EQ(lastTimeout(), r.timeout);
    // Every line the family logged is "<tag>:<n>: ret == NULL", n inside the wrapper.
    const std::string head = std::string(tag) + ":";
    int found = 0;
    for (const LogLine &l : log.lines()) {
        if (l.text.compare(0, head.size(), head) != 0) continue;
        size_t colon = l.text.find(": ", head.size());
        std::string digits = l.text.substr(head.size(), colon == std::string::npos ? 0 : colon - head.size());
        ASSERT_TRUE(!digits.empty() && digits.find_first_not_of("0123456789") == std::string::npos) << l.text;
        EXPECT_EQ(l.priority, LOG_ERR) << l.text;
        EXPECT_EQ(l.text.substr(colon), ": ret == NULL\n\n");
        int line = std::stoi(digits);
        EXPECT_GE(line, definition.first) << "log line outside the wrapper";
        EXPECT_LT(line, definition.second) << "log line outside the wrapper";
        ++found;
    }
    EXPECT_GT(found, 0) << "no \"ret == NULL\" line";
}

void FamilyTest::expectReplies(const Call &call, const std::vector<ReplyCase> &cases, int32_t timeout) {
    for (const ReplyCase &c : cases) {
        SCOPED_TRACE(c.reply);
        Outcome o = run(call, c.reply);
        EXPECT_EQ(lastTimeout(), timeout);
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.out, c.out);
    }
}

void FamilyTest::expectNothingSent() {
    server->reply("\r\nOK\r\n");
    zelString *r = nullptr;
    EXPECT_EQ(zelSendAtCommand("AT", &r), 0);
    zelFreeString(r);
    EXPECT_EQ(server->received(), "AT\r\n");
}

void FamilyTest::checkRefusals(const std::vector<Refusal> &rows) {
    for (const Refusal &r : rows) {
        SCOPED_TRACE(r.what);
        server->clearRecord();
        setWaitMs(30);
        Out o;
        EXPECT_EQ(r.call(o), r.status);
        setWaitMs(kWaitMs);
        EXPECT_EQ(describe(o), kKept);
        EXPECT_EQ(g_sink, nullptr);
        zelFreeString(g_sink);
        g_sink = nullptr;
        expectNothingSent();
    }
}

void FamilyTest::checkSent(const std::vector<Sent> &rows) {
    for (const Sent &s : rows) {
        SCOPED_TRACE(s.what);
        Outcome o = run(s.call, "\r\nOK\r\n");
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.sent, s.command);
        EXPECT_EQ(lastTimeout(), s.timeout);
    }
}

}  // namespace zeltest

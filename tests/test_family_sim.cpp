// SIM and SIM toolkit commands against a scripted server: the exact bytes
// each function sends, its timeout, and what every kind of reply gives (good,
// ended by ERROR, without the prefix, empty, none at all).
#include <stdio.h>
#include <string.h>

#include <fstream>
#include <set>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using zeltest::LinkTest;

constexpr int32_t kUnset = -7777;

// How a function judges its reply.
enum class Kind {
    Ok,     // action and set: "OK" anywhere
    Int,    // the integer after the prefix; "OK" not needed
    Text,   // trimmed text from the prefix to the first "OK"
    Plain,  // trimmed text from the reply's first byte to the first "OK"
    Fixed,  // the bytes after the prefix, untrimmed; "OK" not needed
};

// Outputs of one call. The text output starts as a record of the test's own,
// so "left untouched" and "set to NULL" can be told apart.
struct Out {
    int32_t i = kUnset;
    zelString *keep = zelAllocString("keep", 4);
    zelString *s = keep;
    Out() = default;
    Out(const Out &) = delete;
    Out &operator=(const Out &) = delete;
    ~Out() {
        if (s != keep) zelFreeString(s);
        zelFreeString(keep);
    }
    bool untouched() const { return s == keep && i == kUnset; }
    std::string text() const { return s ? std::string(s->data, static_cast<size_t>(s->len)) : "<null>"; }
};

struct Row {
    const char *name;  // the function, as defined in its source
    int32_t (*call)(Out &);
    const char *sent;  // exact command bytes
    Kind kind;
    const char *lead;  // the prefix as a standard reply carries it (Int, Text, Fixed)
    const char *good;  // a well-formed reply
    const char *want;  // output for `good`: text, or the integer in decimal
};

// The reply with its final "\r\nOK\r\n" turned into "\r\nERROR\r\n".
std::string endedByError(const std::string &reply) {
    std::string s = reply;
    size_t at = s.rfind("\r\nOK\r\n");
    if (at != std::string::npos) s.replace(at, 6, "\r\nERROR\r\n");
    return s;
}

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

std::string moduleSource(const char *base) {
    std::string here = __FILE__;
    return here.substr(0, here.rfind("tests/")) + "zelto_api_modules/" + base + ".cpp";
}

class FamilyTest : public LinkTest {
protected:
    int32_t callWith(const Row &r, const std::string &reply, Out &o) {
        server->clearRecord();
        if (!reply.empty()) server->reply(reply);
        return r.call(o);
    }

    static std::string output(const Row &r, const Out &o) {
        return r.kind == Kind::Int ? std::to_string(o.i) : o.text();
    }

    // The line number of the "<tag>:<n>: ret == NULL" message at priority 3, or -1.
    int noReplyLine(const char *tag) {
        for (const zeltest::LogLine &l : log.lines()) {
            int line = -1;
            char rest[32] = {0};
            std::string head = std::string(tag) + ":%d: %31[^\n]";
            if (l.priority == 3 && sscanf(l.text.c_str(), head.c_str(), &line, rest) == 2 &&
                std::string(rest) == "ret == NULL" && l.text.size() >= 2 &&
                l.text.compare(l.text.size() - 2, 2, "\n\n") == 0)
                return line;
        }
        return -1;
    }

    void checkTable(const std::vector<Row> &rows, const char *tag);
    void checkRow(const Row &r, const char *tag, const std::string &source);
};

void FamilyTest::checkRow(const Row &r, const char *tag, const std::string &source) {
    SCOPED_TRACE(r.name);
    bool prefixed = r.kind == Kind::Int || r.kind == Kind::Text || r.kind == Kind::Fixed;
    {
        Out o;
        EXPECT_EQ(callWith(r, r.good, o), 0);
        EXPECT_EQ(server->received(), r.sent);
        EXPECT_EQ(lastTimeout(), 15);
        if (r.kind == Kind::Ok)
            EXPECT_TRUE(o.untouched());
        else
            EXPECT_EQ(output(r, o), r.want);
    }
    {
        // The integer and fixed-width shapes never look for "OK".
        Out o;
        int32_t st = callWith(r, endedByError(r.good), o);
        switch (r.kind) {
            case Kind::Ok:
                EXPECT_EQ(st, 5);
                break;
            case Kind::Int:
            case Kind::Fixed:
                EXPECT_EQ(st, 0);
                EXPECT_EQ(output(r, o), r.want);
                break;
            case Kind::Text:
                EXPECT_EQ(st, 5);
                EXPECT_EQ(o.s, nullptr);
                break;
            case Kind::Plain:
                EXPECT_EQ(st, 5);
                EXPECT_TRUE(o.untouched());
                break;
        }
    }
    if (prefixed && (r.lead[0] == '+' || r.lead[0] == '^')) {
        // Integer and fixed-width prefixes carry no '+' or '^' and match a bare
        // line too; a text query's prefix is the whole standard one.
        std::string bare = r.good;
        for (size_t at = bare.find(r.lead); at != std::string::npos; at = bare.find(r.lead, at)) bare.erase(at, 1);
        Out o;
        int32_t st = callWith(r, bare, o);
        if (r.kind == Kind::Text) {
            EXPECT_EQ(st, 5) << bare;
            EXPECT_EQ(o.s, nullptr);
        } else {
            EXPECT_EQ(st, 0) << bare;
            EXPECT_EQ(output(r, o), r.want);
        }
    }
    if (r.kind == Kind::Ok) {
        Out o;
        EXPECT_EQ(callWith(r, "\r\nTOKEN: 1\r\n\r\nERROR\r\n", o), 0) << "OK inside an information line";
    }
    if (prefixed) {
        Out o;
        EXPECT_EQ(callWith(r, "\r\nOK\r\n", o), 5) << "no prefix";
        EXPECT_EQ(o.i, kUnset);
        if (r.kind == Kind::Text) {
            EXPECT_EQ(o.s, nullptr);
        }
        if (r.kind == Kind::Fixed) {
            EXPECT_TRUE(o.s == o.keep || o.s == nullptr);
        }
    }
    if (r.kind == Kind::Text || r.kind == Kind::Plain) {
        std::string lead = r.kind == Kind::Text ? std::string("\r\n") + r.lead : "";
        Out empty;
        EXPECT_EQ(callWith(r, lead + "OK\r\n\r\nOK\r\n", empty), 5) << "nothing before OK";
        EXPECT_EQ(empty.s, nullptr);
        Out blank;
        EXPECT_EQ(callWith(r, lead + "\r\n\r\nOK\r\n", blank), 0) << "only line breaks before OK";
        ASSERT_NE(blank.s, nullptr);
        EXPECT_EQ(blank.s->len, 0);
        EXPECT_STREQ(blank.s->data, "");
    }
    if (r.kind == Kind::Fixed) {
        // The reply ends (at an extended error word) a few bytes after the prefix.
        Out o;
        EXPECT_EQ(callWith(r, std::string("\r\n") + r.lead + "1CERROR", o), 0);
        EXPECT_EQ(o.text(), "1CERROR");
    }
    {
        setWaitMs(30);
        log.clear();
        Out o;
        EXPECT_EQ(callWith(r, "", o), 5);
        setWaitMs(-1);
        EXPECT_TRUE(o.untouched());
        EXPECT_TRUE(server->waitForCommands(1));
        EXPECT_EQ(server->received(), r.sent);
        int line = noReplyLine(tag);
        std::pair<int, int> def = definitionLines(source, r.name);
        ASSERT_GT(def.first, 0) << "no definition in " << source;
        EXPECT_GE(line, def.first) << "log line outside the wrapper";
        EXPECT_LT(line, def.second) << "log line outside the wrapper";
    }
}

void FamilyTest::checkTable(const std::vector<Row> &rows, const char *tag) {
    std::string source = moduleSource(tag);
    std::set<std::string> names;
    for (const Row &r : rows) {
        EXPECT_TRUE(names.insert(r.name).second) << "duplicate row " << r.name;
        checkRow(r, tag, source);
    }
}

// ---- SIM ---------------------------------------------------------------------

const std::vector<Row> kSim = {
    {"zelSimSwap", [](Out &) { return zelSimSwap(1); }, "AT^SIMSWAP=1\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelSimModeGet", [](Out &o) { return zelSimModeGet(&o.i); }, "AT^SIMSWAP?\r\n", Kind::Int, "^SIMSWAP: ",
     "\r\n^SIMSWAP: 1\r\n\r\nOK\r\n", "1"},
    {"zelCPINGet", [](Out &o) { return zelCPINGet(&o.s); }, "AT+CPIN?\r\n", Kind::Text, "+CPIN: ",
     "\r\n+CPIN: SIM PIN\r\n\r\nOK\r\n", "SIM PIN"},
    // The first value bare, the second quoted, both unchanged.
    {"zelCpinSet", [](Out &) { return zelCpinSet("1234", "%s 5678"); }, "AT+CPIN=1234,\"%s 5678\"\r\n", Kind::Ok,
     nullptr, "\r\nOK\r\n", nullptr},
    {"zelCNUMGet", [](Out &o) { return zelCNUMGet(&o.s); }, "AT+CNUM\r\n", Kind::Plain, nullptr,
     "\r\n+CNUM: \"Voice\",\"+8613800000000\",145\r\n+CNUM: \"Data\",\"13800000001\",129\r\n\r\nOK\r\n",
     "+CNUM: \"Voice\",\"+8613800000000\",145\r\n+CNUM: \"Data\",\"13800000001\",129"},
    // 19 digits: the 20th byte is the carriage return that ends them.
    {"zelGetICCID", [](Out &o) { return zelGetICCID(&o.s); }, "AT+ICCID\r\n", Kind::Fixed, "+ICCID: ",
     "\r\n+ICCID: 8986011234567890123\r\n\r\nOK\r\n", "8986011234567890123\r"},
    {"zelCimiGet", [](Out &o) { return zelCimiGet(&o.s); }, "AT+CIMI\r\n", Kind::Plain, nullptr,
     "\r\n460001234567890\r\n\r\nOK\r\n", "460001234567890"},
    {"zelCSIMSUPPGet", [](Out &o) { return zelCSIMSUPPGet(&o.i); }, "AT+CSIMSUPP?\r\n", Kind::Int, "+CSIMSUPP: ",
     "\r\n+CSIMSUPP: -1\r\n\r\nOK\r\n", "-1"},
    {"zelCSIMSUPPSet", [](Out &) { return zelCSIMSUPPSet(0); }, "AT+CSIMSUPP=0\r\n", Kind::Ok, nullptr, "\r\nOK\r\n",
     nullptr},
    // The card's answer is not handed back; "OK" alone decides.
    {"zelCSIMSet", [](Out &) { return zelCSIMSet("14", "00A40004023F00"); }, "AT+CSIM=14,\"00A40004023F00\"\r\n",
     Kind::Ok, nullptr, "\r\n+CSIM: 4,\"6120\"\r\n\r\nOK\r\n", nullptr},
    {"zelCRSMSet", [](Out &o) { return zelCRSMSet(176, 28423, 0, 0, 9, "", &o.s); },
     "AT+CRSM=176,28423,0,0,9,\"\"\r\n", Kind::Plain, nullptr,
     "\r\n+CRSM: 144,0,\"084906001234567890\"\r\n\r\nOK\r\n", "+CRSM: 144,0,\"084906001234567890\""},
    // Every counter line after the first prefix comes along.
    {"zelCPINRGet", [](Out &o) { return zelCPINRGet(&o.s); }, "AT+CPINR?\r\n", Kind::Text, "+CPINR: ",
     "\r\n+CPINR: SIM PIN,3,3\r\n+CPINR: SIM PUK,10,10\r\n\r\nOK\r\n", "SIM PIN,3,3\r\n+CPINR: SIM PUK,10,10"},
};

TEST_F(FamilyTest, SimTable) { checkTable(kSim, "zel_sim_api"); }

// ---- SIM toolkit ---------------------------------------------------------------

const std::vector<Row> kToolkit = {
    {"eZelSetSTKMode", [](Out &) { return eZelSetSTKMode(1); }, "AT+CSTK=1\r\n", Kind::Ok, nullptr, "\r\nOK\r\n",
     nullptr},
    {"eZelSetSTKPupMode", [](Out &) { return eZelSetSTKPupMode(-2); }, "AT+CSTKPUP=-2\r\n", Kind::Ok, nullptr,
     "\r\nOK\r\n", nullptr},
    {"eZelSTKCustomCmd", [](Out &o) { return eZelSTKCustomCmd("1", "", "D0%d", &o.s); },
     "AT+CSTKCMD=\"1\",\"\",\"D0%d\"\r\n", Kind::Plain, nullptr, "\r\n+CSTKCMD: 0\r\n\r\nOK\r\n", "+CSTKCMD: 0"},
    {"eZelSTKTerminalRespCmd", [](Out &o) { return eZelSTKTerminalRespCmd("810301250082028281830100", &o.s); },
     "AT+STKTR=\"810301250082028281830100\"\r\n", Kind::Plain, nullptr, "\r\n+STKTR: 0\r\n\r\nOK\r\n",
     "+STKTR: 0"},
    {"eZelSTKEnvelopCmd", [](Out &o) { return eZelSTKEnvelopCmd("D30782020181900101", &o.s); },
     "AT+STKENV=\"D30782020181900101\"\r\n", Kind::Plain, nullptr,
     "\r\n+STKENV: 9000\r\n+STKPCI: 0,\"D0\"\r\n\r\nOK\r\n", "+STKENV: 9000\r\n+STKPCI: 0,\"D0\""},
};

TEST_F(FamilyTest, ToolkitTable) { checkTable(kToolkit, "zel_sim_api"); }

// ---- argument checks: the status, and nothing reaches the server -------------

const std::string kLong(1100, '9');

struct Refusal {
    const char *what;
    int32_t (*call)();
    int32_t status;
};

zelString *g_sink = nullptr;

const std::vector<Refusal> kRefusals = {
    {"zelSimModeGet(NULL)", [] { return zelSimModeGet(nullptr); }, 5},
    {"zelCPINGet(NULL)", [] { return zelCPINGet(nullptr); }, 5},
    {"zelCpinSet(NULL, pin)", [] { return zelCpinSet(nullptr, "1234"); }, 2},
    {"zelCpinSet(pin, NULL)", [] { return zelCpinSet("1234", nullptr); }, 2},
    {"zelCpinSet(too long)", [] { return zelCpinSet("1234", kLong.c_str()); }, 5},
    {"zelCNUMGet(NULL)", [] { return zelCNUMGet(nullptr); }, 5},
    {"zelGetICCID(NULL)", [] { return zelGetICCID(nullptr); }, 5},
    {"zelCimiGet(NULL)", [] { return zelCimiGet(nullptr); }, 5},
    {"zelCSIMSUPPGet(NULL)", [] { return zelCSIMSUPPGet(nullptr); }, 5},
    {"zelCSIMSet(NULL, command)", [] { return zelCSIMSet(nullptr, "00B0"); }, 2},
    {"zelCSIMSet(length, NULL)", [] { return zelCSIMSet("4", nullptr); }, 2},
    {"zelCSIMSet(too long)", [] { return zelCSIMSet(kLong.c_str(), "00B0"); }, 5},
    {"zelCRSMSet(NULL data)", [] { return zelCRSMSet(176, 28423, 0, 0, 9, nullptr, &g_sink); }, 5},
    {"zelCRSMSet(NULL response)", [] { return zelCRSMSet(176, 28423, 0, 0, 9, "", nullptr); }, 5},
    {"zelCRSMSet(too long)", [] { return zelCRSMSet(214, 28423, 0, 0, 9, kLong.c_str(), &g_sink); }, 5},
    {"zelCPINRGet(NULL)", [] { return zelCPINRGet(nullptr); }, 5},
    // The strings are checked first, the output after them.
    {"eZelSTKCustomCmd(NULL first)", [] { return eZelSTKCustomCmd(nullptr, "2", "3", nullptr); }, 2},
    {"eZelSTKCustomCmd(NULL second)", [] { return eZelSTKCustomCmd("1", nullptr, "3", &g_sink); }, 2},
    {"eZelSTKCustomCmd(NULL third)", [] { return eZelSTKCustomCmd("1", "2", nullptr, &g_sink); }, 2},
    {"eZelSTKCustomCmd(NULL response)", [] { return eZelSTKCustomCmd("1", "2", "3", nullptr); }, 5},
    {"eZelSTKCustomCmd(too long)", [] { return eZelSTKCustomCmd("1", kLong.c_str(), "3", &g_sink); }, 5},
    {"eZelSTKTerminalRespCmd(NULL)", [] { return eZelSTKTerminalRespCmd(nullptr, nullptr); }, 2},
    {"eZelSTKTerminalRespCmd(NULL response)", [] { return eZelSTKTerminalRespCmd("81", nullptr); }, 5},
    {"eZelSTKTerminalRespCmd(too long)", [] { return eZelSTKTerminalRespCmd(kLong.c_str(), &g_sink); }, 5},
    {"eZelSTKEnvelopCmd(NULL)", [] { return eZelSTKEnvelopCmd(nullptr, &g_sink); }, 2},
    {"eZelSTKEnvelopCmd(NULL response)", [] { return eZelSTKEnvelopCmd("D3", nullptr); }, 5},
    {"eZelSTKEnvelopCmd(too long)", [] { return eZelSTKEnvelopCmd(kLong.c_str(), &g_sink); }, 5},
};

TEST_F(FamilyTest, RefusedArgumentsSendNothing) {
    setWaitMs(200);
    for (const Refusal &r : kRefusals) {
        SCOPED_TRACE(r.what);
        server->clearRecord();
        EXPECT_EQ(r.call(), r.status);
        EXPECT_EQ(g_sink, nullptr);
        // A command that follows goes out alone: the refused one never left.
        server->reply("\r\nOK\r\n");
        EXPECT_EQ(zelCSIMSUPPSet(1), 0);
        EXPECT_EQ(server->received(), "AT+CSIMSUPP=1\r\n");
    }
}

// ---- edge cases ----------------------------------------------------------------

TEST_F(FamilyTest, IccidIsTheTwentyBytesAfterItsPrefix) {
    struct Case {
        const char *reply;
        int32_t status;
        const char *bytes;
    };
    const Case cases[] = {
        {"\r\n+ICCID: 89860112345678901234\r\n\r\nOK\r\n", 0, "89860112345678901234"},
        {"\r\n+ICCID: 89860112345678901234F\r\n\r\nERROR\r\n", 0, "89860112345678901234"},
        {"\r\nICCID: 8986\r\n+CME ERROR: 10\r\n", 0, "8986\r\n+CME ERROR: 10"},  // short: up to the reply's end
        {"\r\n+ICCID:89860112345678901234\r\n\r\nOK\r\n", 5, nullptr},           // the blank belongs to the prefix
        {"\r\n+CME ERROR: 10\r\n", 5, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply);
        server->reply(c.reply);
        zeltest::Owned out;
        EXPECT_EQ(zelGetICCID(out.out()), c.status);
        if (c.bytes)
            EXPECT_EQ(out.str(), c.bytes);
        else
            EXPECT_EQ(out.s, nullptr);
    }
}

TEST_F(FamilyTest, PrefixedSimTextNeedsItsPrefixBeforeTheFirstOk) {
    struct Case {
        int32_t (*call)(zelString **);
        const char *reply;
        int32_t status;
        const char *text;
    };
    const Case cases[] = {
        {zelCPINGet, "\r\n+CPIN: READY\r\n\r\nOK\r\n", 0, "READY"},
        {zelCPINGet, "\r\nTOKEN\r\n+CPIN: READY\r\n\r\nOK\r\n", 5, nullptr},   // first OK before the prefix
        {zelCPINGet, "\r\n+CME ERROR: 10\r\n", 5, nullptr},
        {zelCPINRGet, "\r\n+CPINR: SIM PIN,3,3\r\n+CPINR: SIM PUK,10,10\r\n\r\nOK\r\n", 0,
         "SIM PIN,3,3\r\n+CPINR: SIM PUK,10,10"},
        {zelCPINRGet, "\r\n+CPIN: READY\r\n\r\nOK\r\n", 5, nullptr},            // a sibling's prefix
        {zelCPINRGet, "\r\n+CPINR: SIM PIN,3,3\r\n\r\nERROR\r\n", 5, nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply);
        server->reply(c.reply);
        zeltest::Owned out;
        EXPECT_EQ(c.call(out.out()), c.status);
        if (c.text)
            EXPECT_EQ(out.str(), c.text);
        else
            EXPECT_EQ(out.s, nullptr);
    }
}

TEST_F(FamilyTest, ToolkitTextRunsFromTheReplyStartToTheFirstOk) {
    struct Case {
        const char *reply;
        int32_t status;
        const char *text;  // nullptr: no record
    };
    const Case cases[] = {
        {"OK\r\n\r\nOK\r\n", 5, nullptr},                              // "OK" at the very start
        {"\r\nOK\r\n", 0, ""},                                         // only a line break before it
        {"\r\n+STKTR: 0\r\n\r\nOK\r\n", 0, "+STKTR: 0"},
        {"\r\n+STKTR: TOOK 3\r\n\r\nOK\r\n", 0, "+STKTR: TO"},         // "OK" inside the text cuts it
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply);
        server->reply(c.reply);
        zeltest::Owned out;
        EXPECT_EQ(eZelSTKTerminalRespCmd("8103", out.out()), c.status);
        if (c.text) {
            ASSERT_NE(out.s, nullptr);
            EXPECT_EQ(out.str(), c.text);
            EXPECT_EQ(out.s->len, static_cast<int32_t>(strlen(c.text)));
        } else {
            EXPECT_EQ(out.s, nullptr);
        }
    }
}

}  // namespace

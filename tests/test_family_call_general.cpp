// Call control and general device commands against a scripted server: the
// exact bytes each function sends, its timeout, and what every kind of reply
// gives (good, ended by ERROR, without the prefix, empty, none at all).
#include <stdio.h>

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

// ---- call control ----------------------------------------------------------

const std::vector<Row> kCallControl = {
    {"zelATAGet", [](Out &) { return zelATAGet(); }, "ATA;\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelATHGet", [](Out &) { return zelATHGet(); }, "ATH;\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelCHUPGet", [](Out &) { return zelCHUPGet(); }, "AT+CHUP;\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelCRCGet", [](Out &o) { return zelCRCGet(&o.i); }, "AT+CRC?\r\n", Kind::Int, "+CRC: ", "\r\n+CRC: 1\r\n\r\nOK\r\n",
     "1"},
    {"zelCRCSet", [](Out &) { return zelCRCSet(-1); }, "AT+CRC=-1\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelCSTAGet", [](Out &o) { return zelCSTAGet(&o.i); }, "AT+CSTA?\r\n", Kind::Int, "+CSTA: ",
     "\r\n+CSTA: 145\r\n\r\nOK\r\n", "145"},
    {"zelCSTASet", [](Out &) { return zelCSTASet(129); }, "AT+CSTA=129\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelCVHUGet", [](Out &o) { return zelCVHUGet(&o.i); }, "AT+CVHU?\r\n", Kind::Int, "+CVHU: ",
     "\r\n+CVHU: 2\r\n\r\nOK\r\n", "2"},
    {"zelCVHUSet", [](Out &) { return zelCVHUSet(0); }, "AT+CVHU=0\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelCEERGet", [](Out &o) { return zelCEERGet(&o.s); }, "AT+CEER\r\n", Kind::Text, "+CEER: ",
     "\r\n+CEER: Normal call clearing\r\n\r\nOK\r\n", "Normal call clearing"},
    {"zelCPASGet", [](Out &o) { return zelCPASGet(&o.s); }, "AT+CPAS\r\n", Kind::Text, "+CPAS: ",
     "\r\n+CPAS: 0\r\n\r\nOK\r\n", "0"},
    {"zelCPBSGet", [](Out &o) { return zelCPBSGet(&o.s); }, "AT+CPBS?\r\n", Kind::Text, "+CPBS: ",
     "\r\n+CPBS: \"SM\",10,250\r\n\r\nOK\r\n", "\"SM\",10,250"},
    // The name is inserted as it is, never used as a format.
    {"zelCpbsSet", [](Out &) { return zelCpbsSet("S%dM"); }, "AT+CPBS=\"S%dM\"\r\n", Kind::Ok, nullptr, "\r\nOK\r\n",
     nullptr},
    {"zelCENGet", [](Out &o) { return zelCENGet(&o.s); }, "AT+CEN?\r\n", Kind::Plain, nullptr,
     "\r\n+CEN: 1,460\r\n\r\nOK\r\n", "+CEN: 1,460"},
    {"zelCENSet", [](Out &) { return zelCENSet(1); }, "AT+CEN=1\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelCEMODEGet", [](Out &o) { return zelCEMODEGet(&o.s); }, "AT+CEMODE?\r\n", Kind::Text, "+CEMODE: ",
     "\r\n+CEMODE: 2\r\n\r\nOK\r\n", "2"},
    {"zelCRLPSet", [](Out &o) { return zelCRLPSet(61, 61, 48, 6, -3, &o.s); }, "AT+CRLP=61,61,48,6,-3\r\n",
     Kind::Plain, nullptr, "\r\nCRLP SET\r\n\r\nOK\r\n", "CRLP SET"},
    // Lines before the final OK keep their inner line break.
    {"zelGetCRLP", [](Out &o) { return zelGetCRLP(&o.s); }, "AT+CRLP?\r\n", Kind::Plain, nullptr,
     "\r\n+CRLP: 61,61,48,6,0\r\n+CRLP: 120,120,48,6,1\r\n\r\nOK\r\n",
     "+CRLP: 61,61,48,6,0\r\n+CRLP: 120,120,48,6,1"},
};

TEST_F(FamilyTest, CallControlTable) { checkTable(kCallControl, "zel_call_control_api"); }

// ---- general device --------------------------------------------------------

zelString g_config_value = {const_cast<char *>("\"apn name\",1"), 12};

const std::vector<Row> kGeneral = {
    {"zelATIGet", [](Out &o) { return zelATIGet(&o.s); }, "ATI\r\n", Kind::Plain, nullptr,
     "\r\nManufacturer: Zelto\r\nModel: ZM100\r\nRevision: ZM100R01\r\n\r\nOK\r\n",
     "Manufacturer: Zelto\r\nModel: ZM100\r\nRevision: ZM100R01"},
    {"zelATE0Get", [](Out &) { return zelATE0Get(); }, "ATE0\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelATE1Get", [](Out &) { return zelATE1Get(); }, "ATE1\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelATZGet", [](Out &) { return zelATZGet(); }, "ATZ\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelATFGet", [](Out &) { return zelATFGet(); }, "AT&F\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelCmeeSet", [](Out &) { return zelCmeeSet(2); }, "AT+CMEE=2\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelCmeeGet", [](Out &o) { return zelCmeeGet(&o.i); }, "AT+CMEE?\r\n", Kind::Int, "+CMEE: ",
     "\r\n+CMEE: 2\r\n\r\nOK\r\n", "2"},
    {"zelCgmiGet", [](Out &o) { return zelCgmiGet(&o.s); }, "AT+CGMI\r\n", Kind::Plain, nullptr,
     "\r\nZelto\r\n\r\nOK\r\n", "Zelto"},
    {"zelCgmmGet", [](Out &o) { return zelCgmmGet(&o.s); }, "AT+CGMM\r\n", Kind::Plain, nullptr,
     "\r\nZM100\r\n\r\nOK\r\n", "ZM100"},
    {"zelCgmrGet", [](Out &o) { return zelCgmrGet(&o.s); }, "AT+CGMR\r\n", Kind::Plain, nullptr,
     "\r\nZM100R01A02\r\n\r\nOK\r\n", "ZM100R01A02"},
    {"zelCgsnGet", [](Out &o) { return zelCgsnGet(&o.s); }, "AT+CGSN\r\n", Kind::Plain, nullptr,
     "\r\n861234567890123\r\n\r\nOK\r\n", "861234567890123"},
    {"zelCscsGet", [](Out &) { return zelCscsGet(); }, "AT+CSCS\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    // 20 bytes after "CCLK: ", opening quote included, cut inside the zone.
    {"zelGetCCLK", [](Out &o) { return zelGetCCLK(&o.s); }, "AT+CCLK?\r\n", Kind::Fixed, "+CCLK: ",
     "\r\n+CCLK: \"24/05/01,12:34:56+08\"\r\n\r\nOK\r\n", "\"24/05/01,12:34:56+0"},
    {"zelGmiGet", [](Out &o) { return zelGmiGet(&o.s); }, "AT+GMI\r\n", Kind::Plain, nullptr,
     "\r\nZelto\r\n\r\nOK\r\n", "Zelto"},
    {"zelGmmGet", [](Out &o) { return zelGmmGet(&o.s); }, "AT+GMM\r\n", Kind::Plain, nullptr,
     "\r\nZM100\r\n\r\nOK\r\n", "ZM100"},
    {"zelGmrGet", [](Out &o) { return zelGmrGet(&o.s); }, "AT+GMR\r\n", Kind::Plain, nullptr,
     "\r\nZM100R01A02\r\n\r\nOK\r\n", "ZM100R01A02"},
    {"zelGetGcap", [](Out &o) { return zelGetGcap(&o.s); }, "AT+GCAP\r\n", Kind::Fixed, "+GCAP: ",
     "\r\n+GCAP: +CGSM,+FCLASS,+DS\r\n\r\nOK\r\n", "+CGSM,+F"},
    {"zelGsnGet", [](Out &o) { return zelGsnGet(&o.s); }, "AT+GSN\r\n", Kind::Plain, nullptr,
     "\r\n861234567890123\r\n\r\nOK\r\n", "861234567890123"},
    {"zelCRTCGet", [](Out &o) { return zelCRTCGet(3, &o.s); }, "AT+CRTC=3\r\n", Kind::Plain, nullptr,
     "\r\n+CRTC: 1714566896\r\n\r\nOK\r\n", "+CRTC: 1714566896"},
    {"zelCADCREADGet", [](Out &o) { return zelCADCREADGet(-2, &o.s); }, "AT+CADCREAD=-2\r\n", Kind::Plain, nullptr,
     "\r\n+CADCREAD: 2, 1803 mV\r\n\r\nOK\r\n", "+CADCREAD: 2, 1803 mV"},
    {"zelGetIMEI", [](Out &o) { return zelGetIMEI(&o.s); }, "AT+IMEI?\r\n", Kind::Plain, nullptr,
     "\r\n+IMEI: 861234567890123\r\n\r\nOK\r\n", "+IMEI: 861234567890123"},
    {"zelThermalGet", [](Out &o) { return zelThermalGet(&o.s); }, "AT+THERMAL\r\n", Kind::Plain, nullptr,
     "\r\nxo_therm: 38\r\npa_therm0: 41\r\n\r\nOK\r\n", "xo_therm: 38\r\npa_therm0: 41"},
    {"zelTRBGet", [](Out &) { return zelTRBGet(); }, "AT+TRB\r\n", Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
    {"zelEdlModeSet", [](Out &) { return zelEdlModeSet(); }, "AT+EDLMODE\r\n", Kind::Ok, nullptr, "\r\nOK\r\n",
     nullptr},
    // The value's text goes in unquoted and unescaped.
    {"zelConfig", [](Out &) { return zelConfig(7, &g_config_value, -1); }, "AT+CONFIG=7,\"apn name\",1,-1\r\n",
     Kind::Ok, nullptr, "\r\nOK\r\n", nullptr},
};

TEST_F(FamilyTest, GeneralTable) { checkTable(kGeneral, "zel_general_api"); }

// ---- argument checks: the status, and nothing reaches the server -------------

const std::string kLong(1100, '9');

struct Refusal {
    const char *what;
    int32_t (*call)();
    int32_t status;
};

const std::vector<Refusal> kRefusals = {
    {"zelCpbsSet(NULL)", [] { return zelCpbsSet(nullptr); }, 2},
    {"zelCpbsSet(too long)", [] { return zelCpbsSet(kLong.c_str()); }, 5},
    {"zelCpbsSet(one byte over)", [] { return zelCpbsSet(std::string(1012, 'M').c_str()); }, 5},
    {"zelCRCGet(NULL)", [] { return zelCRCGet(nullptr); }, 5},
    {"zelCSTAGet(NULL)", [] { return zelCSTAGet(nullptr); }, 5},
    {"zelCVHUGet(NULL)", [] { return zelCVHUGet(nullptr); }, 5},
    {"zelCEERGet(NULL)", [] { return zelCEERGet(nullptr); }, 5},
    {"zelCPASGet(NULL)", [] { return zelCPASGet(nullptr); }, 5},
    {"zelCPBSGet(NULL)", [] { return zelCPBSGet(nullptr); }, 5},
    {"zelCENGet(NULL)", [] { return zelCENGet(nullptr); }, 5},
    {"zelCEMODEGet(NULL)", [] { return zelCEMODEGet(nullptr); }, 5},
    {"zelCRLPSet(NULL)", [] { return zelCRLPSet(1, 2, 3, 4, 5, nullptr); }, 5},
    {"zelGetCRLP(NULL)", [] { return zelGetCRLP(nullptr); }, 5},
    {"zelATIGet(NULL)", [] { return zelATIGet(nullptr); }, 5},
    {"zelCmeeGet(NULL)", [] { return zelCmeeGet(nullptr); }, 5},
    {"zelCgmiGet(NULL)", [] { return zelCgmiGet(nullptr); }, 5},
    {"zelCgmmGet(NULL)", [] { return zelCgmmGet(nullptr); }, 5},
    {"zelCgmrGet(NULL)", [] { return zelCgmrGet(nullptr); }, 5},
    {"zelCgsnGet(NULL)", [] { return zelCgsnGet(nullptr); }, 5},
    {"zelGetCCLK(NULL)", [] { return zelGetCCLK(nullptr); }, 5},
    {"zelGmiGet(NULL)", [] { return zelGmiGet(nullptr); }, 5},
    {"zelGmmGet(NULL)", [] { return zelGmmGet(nullptr); }, 5},
    {"zelGmrGet(NULL)", [] { return zelGmrGet(nullptr); }, 5},
    {"zelGetGcap(NULL)", [] { return zelGetGcap(nullptr); }, 5},
    {"zelGsnGet(NULL)", [] { return zelGsnGet(nullptr); }, 5},
    {"zelCRTCGet(NULL)", [] { return zelCRTCGet(1, nullptr); }, 5},
    {"zelCADCREADGet(NULL)", [] { return zelCADCREADGet(1, nullptr); }, 5},
    {"zelGetIMEI(NULL)", [] { return zelGetIMEI(nullptr); }, 5},
    {"zelThermalGet(NULL)", [] { return zelThermalGet(nullptr); }, 5},
    {"zelConfig(NULL)", [] { return zelConfig(1, nullptr, 2); }, 5},
    {"zelConfig(no data)", [] {
         zelString v = {nullptr, 3};
         return zelConfig(1, &v, 2);
     },
     5},
    {"zelConfig(too long)", [] {
         zelString v = {const_cast<char *>(kLong.c_str()), static_cast<int32_t>(kLong.size())};
         return zelConfig(1, &v, 2);
     },
     5},
};

TEST_F(FamilyTest, RefusedArgumentsSendNothing) {
    setWaitMs(200);
    for (const Refusal &r : kRefusals) {
        SCOPED_TRACE(r.what);
        server->clearRecord();
        EXPECT_EQ(r.call(), r.status);
        // A command that follows goes out alone: the refused one never left.
        server->reply("\r\nOK\r\n");
        EXPECT_EQ(zelATAGet(), 0);
        EXPECT_EQ(server->received(), "ATA;\r\n");
    }
}

// ---- edge cases ----------------------------------------------------------------

TEST_F(FamilyTest, LongestStorageNameThatFitsIsSentWhole) {
    // "AT+CPBS=\"" + name + "\"\r\n" with its zero byte fills the 1024 bytes exactly.
    std::string name(1011, 'M');
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(zelCpbsSet(name.c_str()), 0);
    EXPECT_EQ(server->received(), "AT+CPBS=\"" + name + "\"\r\n");
}

TEST_F(FamilyTest, IntegerQueriesReadTheNumberAfterTheBarePrefix) {
    struct Case {
        const char *reply;
        int32_t status;
        int32_t value;
    };
    const Case cases[] = {
        {"\r\n+CMEE: x\r\n\r\nOK\r\n", 0, 0},          // not a number: 0
        {"\r\n+CMEE:-12,3\r\n\r\nOK\r\n", 0, -12},      // sign, stops at the comma
        {"\r\n+CME ERROR: 3\r\n", 5, kUnset},           // no prefix
        {"\r\nCMEE: 1\r\n\r\nERROR\r\n", 0, 1},         // the prefix alone decides
        {"\r\n+CMEE 1\r\n\r\nOK\r\n", 5, kUnset},       // prefix needs its colon
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply);
        server->reply(c.reply);
        int32_t v = kUnset;
        EXPECT_EQ(zelCmeeGet(&v), c.status);
        EXPECT_EQ(v, c.value);
    }
}

TEST_F(FamilyTest, PrefixedTextStartsAtTheFirstPrefixAndEndsAtTheFirstOk) {
    struct Case {
        const char *reply;
        int32_t status;
        const char *text;
    };
    const Case cases[] = {
        {"\r\n+CEER: No cause\r\n\r\nOK\r\n", 0, "No cause"},
        {"\r\n+CEER: BROKEN LINK\r\n\r\nOK\r\n", 0, "BR"},           // "OK" inside the value cuts it
        {"\r\nTOKEN\r\n+CEER: 3\r\n\r\nOK\r\n", 5, nullptr},      // first OK before the prefix
        {"\r\n+CEER:No cause\r\n\r\nOK\r\n", 5, nullptr},         // the blank belongs to the prefix
        {"\r\n+CEER: 1\r\n+CEER: 2\r\n\r\nOK\r\n", 0, "1\r\n+CEER: 2"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply);
        server->reply(c.reply);
        zeltest::Owned out;
        EXPECT_EQ(zelCEERGet(out.out()), c.status);
        if (c.text)
            EXPECT_EQ(out.str(), c.text);
        else
            EXPECT_EQ(out.s, nullptr);
    }
}

TEST_F(FamilyTest, FixedWidthCopiesBytesAsTheyAreWithoutOk) {
    struct Case {
        int32_t (*call)(zelString **);
        const char *reply;
        const char *bytes;
    };
    const Case cases[] = {
        // A short clock: the line break and the next line's start are taken too.
        {zelGetCCLK, "\r\n+CCLK: \"24/5/1\"\r\n\r\nOK\r\n", "\"24/5/1\"\r\n\r\nOK\r\n"},
        {zelGetCCLK, "\r\n+CCLK:\"24/05/01,12:34:56+08\"\r\nCCLK: \"24/05/01,12:34:56+08\"\r\n\r\nOK\r\n",
         "\"24/05/01,12:34:56+0"},                                  // first full "CCLK: " wins
        {zelGetGcap, "\r\n+GCAP: +CGSM\r\n\r\nERROR\r\n", "+CGSM\r\n\r"},
        {zelGetGcap, "\r\nGCAP: +CGSM+CME ERROR", "+CGSM+CM"},   // an extended error ends the reply
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply);
        server->reply(c.reply);
        zeltest::Owned out;
        EXPECT_EQ(c.call(out.out()), 0);
        EXPECT_EQ(out.str(), c.bytes);
    }
}

TEST_F(FamilyTest, ConfigInsertsTheValueTextUpToItsEnd) {
    // A record trimmed in place holds less text than its `len` still counts.
    char text[] = " abc \0def";
    zelString v = {text, 9};
    trim(v.data);
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(zelConfig(0, &v, 0), 0);
    EXPECT_EQ(server->received(), "AT+CONFIG=0,abc,0\r\n");
}

}  // namespace

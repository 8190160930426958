// The network family against a scripted server: exact command bytes, every
// reply shape (good, no OK, no prefix, empty span, silence), the timeouts,
// argument checks, and the wrappers with replies of their own.
#include <gtest/gtest.h>
#include <string.h>
#include <syslog.h>

#include <functional>
#include <string>
#include <vector>

#include "test_support.h"

namespace {

using zeltest::LinkTest;

// How a wrapper's reply is judged.
enum class Kind {
    Action,  // "OK" anywhere
    Set,     // the same, formatted command
    Int,     // integer after the prefix, "OK" not needed
    Text,    // trimmed text between the prefix and the first "OK"
    Plain,   // trimmed text from the reply start to the first "OK"
};

// Calls one wrapper with fixed arguments; its output, if any, goes to `num`
// or `text`.
using Call = std::function<int32_t(int32_t *num, zelString **text)>;

struct Row {
    const char *name;
    Kind kind;
    std::string command;  // exact bytes sent
    std::string prefix;   // as the modem writes it (Int and Text)
    Call call;
    int32_t timeout;
};

Row actionRow(const char *name, std::string cmd, std::function<int32_t()> f) {
    return {name, Kind::Action, std::move(cmd), "", [f](int32_t *, zelString **) { return f(); }, 15};
}
Row setRow(const char *name, std::string cmd, std::function<int32_t()> f) {
    return {name, Kind::Set, std::move(cmd), "", [f](int32_t *, zelString **) { return f(); }, 15};
}
Row intRow(const char *name, std::string cmd, std::string prefix, int32_t (*f)(int32_t *)) {
    return {name, Kind::Int, std::move(cmd), std::move(prefix), [f](int32_t *n, zelString **) { return f(n); }, 15};
}
Row textRow(const char *name, std::string cmd, std::string prefix, std::function<int32_t(zelString **)> f,
            int32_t timeout = 15) {
    return {name, Kind::Text, std::move(cmd), std::move(prefix), [f](int32_t *, zelString **t) { return f(t); },
            timeout};
}
Row plainRow(const char *name, std::string cmd, std::function<int32_t(zelString **)> f) {
    return {name, Kind::Plain, std::move(cmd), "", [f](int32_t *, zelString **t) { return f(t); }, 15};
}

constexpr int32_t kUnset = -777;

struct Outcome {
    int32_t status = -1;
    int32_t num = kUnset;
    bool untouched = false;  // the text output still holds what the caller left there
    bool null = false;
    std::string text;
    std::string sent;
};

// A case of the shape checks: a reply (empty: silence) and what must follow.
struct Expect {
    const char *what;
    std::string reply;
    int32_t status;
    int32_t num;           // Int rows
    const char *text;      // Text/Plain rows: expected text, or one of the markers below
};
const char kNull[] = "<null>";
const char kUntouched[] = "<untouched>";

std::vector<Expect> expectations(const Row &row) {
    const std::string p = row.prefix;
    switch (row.kind) {
        case Kind::Action:
        case Kind::Set:
            return {{"ok", "\r\nOK\r\n", 0, kUnset, nullptr},
                    {"error", "\r\nERROR\r\n", 5, kUnset, nullptr},
                    {"silence", "", 5, kUnset, nullptr}};
        case Kind::Int:
            return {{"good", "\r\n" + p + "7\r\n\r\nOK\r\n", 0, 7, nullptr},
                    {"negative", "\r\n" + p + "-3\r\n\r\nOK\r\n", 0, -3, nullptr},
                    {"no OK", "\r\n" + p + "4\r\n\r\nERROR\r\n", 0, 4, nullptr},
                    {"no prefix", "\r\n7\r\n\r\nOK\r\n", 5, kUnset, nullptr},
                    {"no digits", "\r\n" + p + "\r\n\r\nOK\r\n", 0, 0, nullptr},
                    {"silence", "", 5, kUnset, nullptr}};
        case Kind::Text:
            return {{"good", "\r\n" + p + "0,1 \"a b\"\r\n\r\nOK\r\n", 0, kUnset, "0,1 \"a b\""},
                    {"no OK", "\r\n" + p + "0,1\r\n\r\nERROR\r\n", 5, kUnset, kNull},
                    {"no prefix", "\r\n0,1\r\n\r\nOK\r\n", 5, kUnset, kNull},
                    {"empty span", "\r\n" + p + "OK\r\n\r\nOK\r\n", 5, kUnset, kNull},
                    {"blank span", "\r\n" + p + "\r\n\r\nOK\r\n", 0, kUnset, ""},
                    {"silence", "", 5, kUnset, kUntouched}};
        case Kind::Plain:
            return {{"good", "\r\n+X: 1,\"a\"\r\n+X: 2\r\n\r\nOK\r\n", 0, kUnset, "+X: 1,\"a\"\r\n+X: 2"},
                    {"no OK", "\r\n+X: 1\r\n\r\nERROR\r\n", 5, kUnset, kUntouched},
                    {"empty span", "OK\r\n\r\nOK\r\n", 5, kUnset, kNull},
                    {"blank span", "\r\nOK\r\n", 0, kUnset, ""},
                    {"silence", "", 5, kUnset, kUntouched}};
    }
    return {};
}

class NetworkTest : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        setWaitMs(3000);  // a reply that never comes fails fast instead of after 15 s
    }

    // Runs `call` against `reply` (empty: the server stays silent).
    Outcome run(const Call &call, const std::string &reply) {
        server->clearRecord();
        log.clear();
        if (reply.empty()) {
            setWaitMs(30);
        } else {
            server->reply(reply);
        }
        Outcome o;
        zelString *sentinel = zelAllocString("keep", 4);
        zelString *text = sentinel;
        o.status = call(&o.num, &text);
        setWaitMs(3000);
        o.untouched = text == sentinel;
        o.null = text == nullptr;
        if (text != nullptr && text != sentinel) {
            o.text.assign(text->data, static_cast<size_t>(text->len));
            EXPECT_EQ(strlen(text->data), static_cast<size_t>(text->len));
            zelFreeString(text);
        }
        zelFreeString(sentinel);
        if (reply.empty()) server->waitForCommands(1, 1000);
        o.sent = server->received();
        return o;
    }

    bool loggedNoReply() {
        for (const zeltest::LogLine &l : log.lines())
            if (l.priority == LOG_ERR && l.text.rfind("zel_network_api:", 0) == 0 &&
                l.text.find("ret == NULL") != std::string::npos)
                return true;
        return false;
    }

    void checkRow(const Row &row) {
        for (const Expect &e : expectations(row)) {
            SCOPED_TRACE(std::string(row.name) + ": " + e.what);
            Outcome o = run(row.call, e.reply);
            EXPECT_EQ(o.sent, row.command);
            EXPECT_EQ(lastTimeout(), row.timeout);
            EXPECT_EQ(o.status, e.status);
            EXPECT_EQ(o.num, e.num);
            if (e.reply.empty()) EXPECT_TRUE(loggedNoReply());
            if (row.kind == Kind::Text || row.kind == Kind::Plain) {
                if (e.text == kNull) {
                    EXPECT_TRUE(o.null);
                } else if (e.text == kUntouched) {
                    EXPECT_TRUE(o.untouched);
                } else {
                    EXPECT_FALSE(o.null || o.untouched);
                    EXPECT_EQ(o.text, e.text);
                }
            } else {
                EXPECT_TRUE(o.untouched);
            }
        }
    }

    // Asserts that the call just made sent nothing: a probe answered
    // afterwards must be all the server ever saw.
    void expectNothingSent() {
        server->reply("\r\nOK\r\n");
        zelString *r = nullptr;
        ASSERT_EQ(zelSendAtCommand("AT", &r), 0);
        zelFreeString(r);
        EXPECT_EQ(server->received(), "AT\r\n");
    }

    struct Refusal {
        const char *what;
        std::function<int32_t()> call;
        int32_t status;
    };

    void checkRefusals(const std::vector<Refusal> &rows) {
        for (const Refusal &r : rows) {
            SCOPED_TRACE(r.what);
            server->clearRecord();
            setWaitMs(30);
            EXPECT_EQ(r.call(), r.status);
            setWaitMs(3000);
            expectNothingSent();
        }
    }

    struct Sent {
        const char *what;
        std::function<int32_t()> call;
        std::string command;
    };

    void checkSent(const std::vector<Sent> &rows) {
        for (const Sent &s : rows) {
            SCOPED_TRACE(s.what);
            Outcome o = run([&](int32_t *, zelString **) { return s.call(); }, "\r\nOK\r\n");
            EXPECT_EQ(o.status, 0);
            EXPECT_EQ(o.sent, s.command);
        }
    }
};

const std::string kLong(1100, 'A');
const char *const kLongText = kLong.c_str();

// ---- Registration, operators, indicators ----

TEST_F(NetworkTest, RegistrationFamilyTable) {
    const std::vector<Row> rows = {
        intRow("zelCfunGet", "AT+CFUN?\r\n", "+CFUN: ", zelCfunGet),
        plainRow("zelWS46Get", "AT+WS46?\r\n", zelWS46Get),
        setRow("zelWs46Set", "AT+WS46=25\r\n", [] { return zelWs46Set(25); }),
        textRow("zelCGREGGet", "AT+CGREG?\r\n", "+CGREG: ", zelCGREGGet),
        setRow("zelCGREGSet", "AT+CGREG=2\r\n", [] { return zelCGREGSet(2); }),
        textRow("zelCEREGGet", "AT+CEREG?\r\n", "+CEREG: ", zelCEREGGet),
        setRow("zelCEREGSet", "AT+CEREG=-1\r\n", [] { return zelCEREGSet(-1); }),
        setRow("zelCopsSet", "AT+COPS=1,2,\"00101\",7\r\n", [] { return zelCopsSet(1, 2, "00101", 7); }),
        textRow("zelCopsGet", "AT+COPS?\r\n", "+COPS: ", zelCopsGet),
        textRow("zelCregGet", "AT+CREG?\r\n", "+CREG: ", zelCregGet),
        setRow("zelCregSet", "AT+CREG=1\r\n", [] { return zelCregSet(1); }),
        textRow("zelGetCIND", "AT+CIND?\r\n", "+CIND: ", zelGetCIND),
        textRow("zelGetCSQ", "AT+CSQ\r\n", "+CSQ: ", zelGetCSQ),
        intRow("zelCPLSGet", "AT+CPLS?\r\n", "+CPLS: ", zelCPLSGet),
        setRow("zelCPLSSet", "AT+CPLS=2\r\n", [] { return zelCPLSSet(2); }),
        plainRow("zelCOPNGet", "AT+COPN\r\n", zelCOPNGet),
        setRow("zelClckSet", "AT+CLCK=\"SC\",1,\"1234\",128\r\n", [] { return zelClckSet("\"SC\"", 1, "1234", 128); }),
        setRow("zelCpwdSet", "AT+CPWD=SC,1234,\"4321\"\r\n", [] { return zelCpwdSet("SC", "1234", "4321"); }),
        textRow("zelCCopsGet", "AT+CCOPS?\r\n", "+CCOPS: ", zelCCopsGet),
        textRow("zelCopsScan", "AT+COPS=?\r\n", "+COPS: ", zelCopsScan, 120),
        intRow("zelGSMGet", "AT+GSM?\r\n", "+GSM: ", zelGSMGet),
        setRow("zelGSMSet", "AT+GSM=0\r\n", [] { return zelGSMSet(0); }),
    };
    for (const Row &r : rows) checkRow(r);
}

TEST_F(NetworkTest, RegistrationArgumentChecksInOrder) {
    const uint32_t neg = static_cast<uint32_t>(-1);
    checkRefusals({
        {"cops mode 2", [] { return zelCopsSet(2, 0, "x", 0); }, 1},
        {"cops mode 4", [] { return zelCopsSet(4, 0, "x", 0); }, 1},
        {"cops mode -1", [=] { return zelCopsSet(neg, 0, "x", 0); }, 1},
        {"cops format 3", [] { return zelCopsSet(0, 3, "x", 0); }, 1},
        {"cops format -1", [=] { return zelCopsSet(0, neg, "x", 0); }, 1},
        {"cops mode before null oper", [] { return zelCopsSet(2, 0, nullptr, 0); }, 1},
        {"cops format before null oper", [] { return zelCopsSet(0, 3, nullptr, 10); }, 1},
        {"cops null oper", [] { return zelCopsSet(0, 0, nullptr, 0); }, 2},
        {"cops null oper before act", [] { return zelCopsSet(0, 0, nullptr, 10); }, 2},
        {"cops act 10", [] { return zelCopsSet(3, 0, "x", 10); }, 1},
        {"cops act -1", [=] { return zelCopsSet(0, 0, "x", neg); }, 1},
        {"clck null fac first", [] { return zelClckSet(nullptr, 3, nullptr, 16); }, 2},
        {"clck mode before null passwd", [] { return zelClckSet("SC", 3, nullptr, 16); }, 1},
        {"clck mode -1", [=] { return zelClckSet("SC", neg, "1", 1); }, 1},
        {"clck null passwd before class", [] { return zelClckSet("SC", 0, nullptr, 16); }, 2},
        {"clck class 16", [] { return zelClckSet("SC", 0, "1", 16); }, 1},
        {"clck class 0", [] { return zelClckSet("SC", 0, "1", 0); }, 1},
        {"clck class 3", [] { return zelClckSet("SC", 0, "1", 3); }, 1},
        {"clck class 256", [] { return zelClckSet("SC", 0, "1", 256); }, 1},
        {"clck class -1", [=] { return zelClckSet("SC", 0, "1", neg); }, 1},
        {"cpwd null fac", [] { return zelCpwdSet(nullptr, "1", "2"); }, 2},
        {"cpwd null old", [] { return zelCpwdSet("SC", nullptr, "2"); }, 2},
        {"cpwd null new", [] { return zelCpwdSet("SC", "1", nullptr); }, 2},
        {"cfun null", [] { return zelCfunGet(nullptr); }, 5},
        {"cgreg null", [] { return zelCGREGGet(nullptr); }, 5},
        {"scan null", [] { return zelCopsScan(nullptr); }, 5},
        {"cops long oper", [] { return zelCopsSet(0, 0, kLongText, 0); }, 5},
        {"clck long fac", [] { return zelClckSet(kLongText, 0, "1", 1); }, 5},
        {"clck long passwd", [] { return zelClckSet("SC", 0, kLongText, 1); }, 5},
        {"cpwd long fac", [] { return zelCpwdSet(kLongText, "1", "2"); }, 5},
        {"cpwd long old", [] { return zelCpwdSet("SC", kLongText, "2"); }, 5},
        {"cpwd long new", [] { return zelCpwdSet("SC", "1", kLongText); }, 5},
    });
}

TEST_F(NetworkTest, RegistrationAcceptedArgumentEdges) {
    checkSent({
        {"cops mode 0", [] { return zelCopsSet(0, 0, "", 0); }, "AT+COPS=0,0,\"\",0\r\n"},
        {"cops mode 3 act 9", [] { return zelCopsSet(3, 1, "Op A", 9); }, "AT+COPS=3,1,\"Op A\",9\r\n"},
        {"clck class 1", [] { return zelClckSet("SC", 0, "0000", 1); }, "AT+CLCK=SC,0,\"0000\",1\r\n"},
        {"clck mode 2 class 64", [] { return zelClckSet("PN", 2, "", 64); }, "AT+CLCK=PN,2,\"\",64\r\n"},
        {"clck class 32", [] { return zelClckSet("AO", 1, "9", 32); }, "AT+CLCK=AO,1,\"9\",32\r\n"},
    });
}

TEST_F(NetworkTest, PrefixesWithoutPlusMatchAnywhere) {
    struct Case {
        const char *what;
        int32_t (*call)(int32_t *);
        std::string reply;
        int32_t status;
        int32_t num;
    };
    const std::vector<Case> cases = {
        {"CPLS bare", zelCPLSGet, "\r\nCPLS:1\r\n\r\nOK\r\n", 0, 1},
        {"GSM bare", zelGSMGet, "\r\nGSM: 1\r\n\r\nOK\r\n", 0, 1},
        {"CGATT bare", zelCGATTGet, "\r\nCGATT:1\r\n\r\nOK\r\n", 0, 1},
        {"CTZR bare", zelCTZRGet, "\r\nCTZR: 2\r\n\r\nOK\r\n", 0, 2},
        {"CTZU bare", zelCTZUGet, "\r\nCTZU:1\r\n\r\nOK\r\n", 0, 1},
        {"VOLTE bare", zelVOLTEGet, "\r\nVOLTE: 1\r\n\r\nOK\r\n", 0, 1},
        // CFUN's prefix keeps its plus sign and needs no blank after the colon.
        {"CFUN bare", zelCfunGet, "\r\nCFUN: 1\r\n\r\nOK\r\n", 5, kUnset},
        {"CFUN tight", zelCfunGet, "\r\n+CFUN:1\r\n\r\nOK\r\n", 0, 1},
        {"CFUN in error", zelCfunGet, "\r\n+CFUN: 0\r\n+CME ERROR: 3\r\n", 0, 0},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Outcome o = run([&](int32_t *n, zelString **) { return c.call(n); }, c.reply);
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.num, c.num);
    }
}

TEST_F(NetworkTest, CgregLogsWhatItCouldNotFind) {
    struct Case {
        const char *what;
        std::string reply;
        const char *line;  // expected LOG_INFO text after "data: " (nullptr: none)
    };
    const std::vector<Case> cases = {
        {"no prefix", "\r\n+CREG: 0,1\r\n\r\nOK\r\n", "p1 is NULL, data: "},
        {"empty span", "\r\n+CGREG: OK\r\n\r\nOK\r\n", "greg is NULL, data: "},
        {"OK before the prefix", "\r\n+X: OK\r\n+CGREG: 1\r\n\r\nOK\r\n", "greg is NULL, data: "},
        {"no OK", "\r\n+CGREG: 0,1\r\n\r\nERROR\r\n", nullptr},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Outcome o = run([](int32_t *, zelString **t) { return zelCGREGGet(t); }, c.reply);
        EXPECT_EQ(o.status, 5);
        EXPECT_TRUE(o.null);
        bool p1 = log.contains("zel_network_api:") && log.contains("p1 is NULL");
        bool greg = log.contains("greg is NULL");
        if (c.line == nullptr) {
            EXPECT_FALSE(p1 || greg);
        } else {
            EXPECT_TRUE(log.contains(std::string(c.line) + c.reply, LOG_INFO));
        }
    }
    // The siblings fail without a word.
    Outcome o = run([](int32_t *, zelString **t) { return zelCEREGGet(t); }, "\r\n+CREG: 0,1\r\n\r\nOK\r\n");
    EXPECT_EQ(o.status, 5);
    EXPECT_EQ(log.count("zel_network_api:"), 0);
}

TEST_F(NetworkTest, CopsScanSpansToTheFirstOkAfterItsPrefix) {
    const std::string list = "(2,\"Net A\",\"NetA\",\"00101\",7),(1,\"Net B\",\"NetB\",\"00102\",0),,(0,1,2,3,4),(0,1,2)";
    struct Case {
        const char *what;
        std::string reply;
        int32_t status;
        std::string text;  // kNull when none
    };
    const std::vector<Case> cases = {
        {"full list", "\r\n+COPS: " + list + "\r\n\r\nOK\r\n", 0, list},
        {"OK before the prefix", "\r\n+CSPN: \"OKnet\",0\r\n+COPS: " + list + "\r\n\r\nOK\r\n", 0, list},
        {"OK inside the list ends it", "\r\n+COPS: (2,\"TOKYO\")\r\n\r\nOK\r\n", 0, "(2,\"T"},
        {"OK but no prefix", "\r\n+CREG: 1\r\n\r\nOK\r\n", 5, kNull},
        {"prefix but no OK", "\r\n+COPS: " + list + "\r\n\r\nERROR\r\n", 5, kNull},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Outcome o = run([](int32_t *, zelString **t) { return zelCopsScan(t); }, c.reply);
        EXPECT_EQ(lastTimeout(), 120);
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.null ? std::string(kNull) : o.text, c.text);
    }
    // An ordinary text query stops at the first OK and so fails on the same reply.
    Outcome o = run([](int32_t *, zelString **t) { return zelCopsGet(t); },
                    "\r\n+CSPN: \"OKnet\",0\r\n+COPS: " + list + "\r\n\r\nOK\r\n");
    EXPECT_EQ(o.status, 5);
    EXPECT_TRUE(o.null);
}

TEST_F(NetworkTest, CregKeepsOnlyTheValue) {
    Outcome o = run([](int32_t *, zelString **t) { return zelCregGet(t); }, "\r\n+CREG: 0,1\r\n\r\n\r\nOK\r\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.text, "0,1");
}

// ---- Packet data contexts ----

TEST_F(NetworkTest, PacketDataFamilyTable) {
    const std::vector<Row> rows = {
        plainRow("zelCGCONTRDPGet", "AT+CGCONTRDP=1\r\n", [](zelString **t) { return zelCGCONTRDPGet(1, t); }),
        plainRow("zelCGSCONTRDPGet", "AT+CGSCONTRDP=2\r\n", [](zelString **t) { return zelCGSCONTRDPGet(2, t); }),
        plainRow("zelCGTFTRDPGet", "AT+CGTFTRDP=-3\r\n", [](zelString **t) { return zelCGTFTRDPGet(-3, t); }),
        plainRow("zelCGEQOSSet", "AT+CGEQOS=1,9,0,0,100,-50\r\n",
                 [](zelString **t) { return zelCGEQOSSet(1, 9, 0, 0, 100, -50, t); }),
        plainRow("zelGetCGEQOS", "AT+CGEQOS?\r\n", zelGetCGEQOS),
        intRow("zelCGATTGet", "AT+CGATT?\r\n", "+CGATT: ", zelCGATTGet),
        setRow("zelCGATTSet", "AT+CGATT=1\r\n", [] { return zelCGATTSet(1); }),
        textRow("zelCGACTGet", "AT+CGACT?\r\n", "+CGACT: ", zelCGACTGet),
        setRow("zelCGDCONTSet", "AT+CGDCONT=1,\"IPV4V6\",\"internet\"\r\n",
               [] { return zelCGDCONTSet(1, "IPV4V6", "internet"); }),
        setRow("zelCGDATASet", "AT+CGDATA=PPP,\"8\"\r\n", [] { return zelCGDATASet("PPP", 8); }),
        plainRow("zelCGPADDRGet", "AT+CGPADDR\r\n", zelCGPADDRGet),
        plainRow("zelGetQcmapen", "AT+QCMAPEN?\r\n", zelGetQcmapen),
        setRow("zelSetQcmapen", "AT+QCMAPEN=1\r\n", [] { return zelSetQcmapen(1); }),
        plainRow("zelGetNetif", "AT+NETIF?\r\n", zelGetNetif),
        textRow("zelGetCgdcont", "AT+CGDCONT?\r\n", "+CGDCONT: ", zelGetCgdcont),
        plainRow("zelApnGet", "AT+CAPN?\r\n", zelApnGet),
    };
    for (const Row &r : rows) checkRow(r);
}

TEST_F(NetworkTest, PacketDataArgumentChecksInOrder) {
    checkRefusals({
        {"cgdcont cid 0", [] { return zelCGDCONTSet(0, "IP", "a"); }, 1},
        {"cgdcont cid 9", [] { return zelCGDCONTSet(9, "IP", "a"); }, 1},
        {"cgdcont cid -1", [] { return zelCGDCONTSet(-1, "IP", "a"); }, 1},
        {"cgdcont range before null apn", [] { return zelCGDCONTSet(9, "IP", nullptr); }, 1},
        {"cgdcont range before null type", [] { return zelCGDCONTSet(0, nullptr, nullptr); }, 1},
        {"cgdcont null type", [] { return zelCGDCONTSet(1, nullptr, "a"); }, 2},
        {"cgdcont null apn", [] { return zelCGDCONTSet(1, "IP", nullptr); }, 2},
        {"cgdata null before range", [] { return zelCGDATASet(nullptr, 0); }, 2},
        {"cgdata null", [] { return zelCGDATASet(nullptr, 1); }, 2},
        {"cgdata cid 0", [] { return zelCGDATASet("PPP", 0); }, 1},
        {"cgdata cid 9", [] { return zelCGDATASet("PPP", 9); }, 1},
        {"cgdata cid -1", [] { return zelCGDATASet("PPP", -1); }, 1},
        {"cgdcont long type", [] { return zelCGDCONTSet(1, kLongText, "a"); }, 5},
        {"cgdcont long apn", [] { return zelCGDCONTSet(1, "IP", kLongText); }, 5},
        {"cgdata long l2p", [] { return zelCGDATASet(kLongText, 1); }, 5},
    });
}

TEST_F(NetworkTest, PacketDataAcceptedCids) {
    checkSent({
        {"cgdcont cid 8", [] { return zelCGDCONTSet(8, "IP", ""); }, "AT+CGDCONT=8,\"IP\",\"\"\r\n"},
        {"cgdata cid 1", [] { return zelCGDATASet("M-OPT-PPP", 1); }, "AT+CGDATA=M-OPT-PPP,\"1\"\r\n"},
    });
}

TEST_F(NetworkTest, MultiContextTextKeepsLaterPrefixes) {
    struct Case {
        const char *what;
        int32_t (*call)(zelString **);
        std::string reply;
        std::string text;
    };
    const std::vector<Case> cases = {
        {"cgdcont", zelGetCgdcont,
         "\r\n+CGDCONT: 1,\"IP\",\"a\",\"10.0.0.2\",0,0\r\n+CGDCONT: 2,\"IPV6\",\"ims\"\r\n\r\nOK\r\n",
         "1,\"IP\",\"a\",\"10.0.0.2\",0,0\r\n+CGDCONT: 2,\"IPV6\",\"ims\""},
        {"cgact", zelCGACTGet, "\r\n+CGACT: 1,1\r\n+CGACT: 2,0\r\n\r\nOK\r\n", "1,1\r\n+CGACT: 2,0"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Outcome o = run([&](int32_t *, zelString **t) { return c.call(t); }, c.reply);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.text, c.text);
    }
}

// ---- Time zone, voice, bands, throughput ----

TEST_F(NetworkTest, TimeZoneBandFamilyTable) {
    const std::vector<Row> rows = {
        actionRow("zelPINGSTOP", "AT+PINGSTOP\r\n", zelPINGSTOP),
        intRow("zelCTZRGet", "AT+CTZR?\r\n", "+CTZR: ", zelCTZRGet),
        setRow("zelCTZRSet", "AT+CTZR=3\r\n", [] { return zelCTZRSet(3); }),
        intRow("zelCTZUGet", "AT+CTZU?\r\n", "+CTZU: ", zelCTZUGet),
        setRow("zelCTZUSet", "AT+CTZU=1\r\n", [] { return zelCTZUSet(1); }),
        intRow("zelVOLTEGet", "AT+VOLTE?\r\n", "+VOLTE: ", zelVOLTEGet),
        setRow("zelVOLTESet", "AT+VOLTE=0\r\n", [] { return zelVOLTESet(0); }),
        textRow("zelCLIPGet", "AT+CLIP?\r\n", "+CLIP: ", zelCLIPGet),
        setRow("zelCLIPSet", "AT+CLIP=1\r\n", [] { return zelCLIPSet(1); }),
        textRow("zelCACTBANDSGet", "AT+CACTBANDS?\r\n", "+CACTBANDS: ", zelCACTBANDSGet),
        textRow("zelCLSWBGet", "AT+CLSWB?\r\n", "+CLSWB: ", zelCLSWBGet),
        setRow("zelCLSWBSet", "AT+CLSWB=\"1,3,7,20\"\r\n", [] { return zelCLSWBSet("1,3,7,20"); }),
        textRow("zelCGSWBGet", "AT+CGSWB?\r\n", "+CGSWB: ", zelCGSWBGet),
        setRow("zelCGSWBSet", "AT+CGSWB=\"\"\r\n", [] { return zelCGSWBSet(""); }),
        textRow("zelCBRSTATEGet", "AT+CBRSTATE\r\n", "+CBRSTATE: ", zelCBRSTATEGet),
        plainRow("zelCLATENCYGet", "AT+CLATENCY?\r\n", zelCLATENCYGet),
        plainRow("zelCalUpSpeedGet", "AT+CALUPSPEED?\r\n", zelCalUpSpeedGet),
        plainRow("zelCalUpSpeedSet", "AT+CALUPSPEED=1,\"10.0.0.1\",30\r\n",
                 [](zelString **t) { return zelCalUpSpeedSet(1, "10.0.0.1", 30, t); }),
        plainRow("zelCalDlSpeedGet", "AT+CALDLSPEED?\r\n", zelCalDlSpeedGet),
        plainRow("zelCalDlSpeedSet", "AT+CALDLSPEED=0\r\n",
                 [](zelString **t) { return zelCalDlSpeedSet(0, nullptr, 0, t); }),
    };
    for (const Row &r : rows) checkRow(r);
}

TEST_F(NetworkTest, TimeZoneBandArgumentChecks) {
    checkRefusals({
        {"clswb null", [] { return zelCLSWBSet(nullptr); }, 2},
        {"cgswb null", [] { return zelCGSWBSet(nullptr); }, 2},
        {"cntz null", [] { return zelCNTZGet(nullptr); }, 5},
        {"up speed null out", [] { return zelCalUpSpeedSet(1, "x", 1, nullptr); }, 5},
        {"dl speed null out", [] { return zelCalDlSpeedSet(1, nullptr, 0, nullptr); }, 5},
        {"clswb long", [] { return zelCLSWBSet(kLongText); }, 5},
        {"cgswb long", [] { return zelCGSWBSet(kLongText); }, 5},
        {"up speed long text", [] {
             zelString *t = nullptr;
             return zelCalUpSpeedSet(1, kLongText, 5, &t);
         }, 5},
        {"dl speed long text", [] {
             zelString *t = nullptr;
             return zelCalDlSpeedSet(1, kLongText, 5, &t);
         }, 5},
    });
    EXPECT_EQ(log.count("zel_network_api:"), 4);
    EXPECT_EQ(log.count("command too long"), 4);
}

TEST_F(NetworkTest, CommandThatJustFitsIsSentWhole) {
    // "AT+CLSWB=\"" + bands + "\"\r\n" and its zero byte fill 1024 bytes exactly.
    const std::string bands(1010, '7');
    Outcome o = run([&](int32_t *, zelString **) { return zelCLSWBSet(bands.c_str()); }, "\r\nOK\r\n");
    EXPECT_EQ(o.status, 0);
    EXPECT_EQ(o.sent, "AT+CLSWB=\"" + bands + "\"\r\n");

    const std::string over(1011, '7');
    server->clearRecord();
    EXPECT_EQ(zelCLSWBSet(over.c_str()), 5);
    expectNothingSent();
}

TEST_F(NetworkTest, ThroughputPicksItsForm) {
    struct Case {
        const char *what;
        std::function<int32_t(zelString **)> call;
        std::string command;
    };
    const std::vector<Case> cases = {
        {"up empty text", [](zelString **t) { return zelCalUpSpeedSet(1, "", 5, t); }, "AT+CALUPSPEED=1\r\n"},
        {"up null text", [](zelString **t) { return zelCalUpSpeedSet(1, nullptr, 5, t); }, "AT+CALUPSPEED=1\r\n"},
        {"up value 0", [](zelString **t) { return zelCalUpSpeedSet(2, "srv", 0, t); }, "AT+CALUPSPEED=2\r\n"},
        {"up value -5", [](zelString **t) { return zelCalUpSpeedSet(2, "srv", -5, t); }, "AT+CALUPSPEED=2\r\n"},
        {"up value 1", [](zelString **t) { return zelCalUpSpeedSet(-2, "srv", 1, t); },
         "AT+CALUPSPEED=-2,\"srv\",1\r\n"},
        {"up long text ignored", [](zelString **t) { return zelCalUpSpeedSet(3, kLongText, 0, t); },
         "AT+CALUPSPEED=3\r\n"},
        {"dl long form", [](zelString **t) { return zelCalDlSpeedSet(1, "host", 10, t); },
         "AT+CALDLSPEED=1,\"host\",10\r\n"},
        {"dl empty text", [](zelString **t) { return zelCalDlSpeedSet(1, "", 10, t); }, "AT+CALDLSPEED=1\r\n"},
        {"dl value 0", [](zelString **t) { return zelCalDlSpeedSet(4, "host", 0, t); }, "AT+CALDLSPEED=4\r\n"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Outcome o = run([&](int32_t *, zelString **t) { return c.call(t); }, "\r\n+CALSPEED: 1,20\r\n\r\nOK\r\n");
        EXPECT_EQ(o.sent, c.command);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.text, "+CALSPEED: 1,20");
    }
}

TEST_F(NetworkTest, NetworkTimeZoneRange) {
    struct Case {
        const char *what;
        std::string reply;
        int32_t status;
        int32_t num;
        const char *log;  // a LOG_ERR text expected, or nullptr
    };
    const std::vector<Case> cases = {
        {"east", "\r\n+CNTZ: -20\r\n\r\nOK\r\n", 0, -20, "Timezone string is  -20"},
        {"upper bound", "\r\n+CNTZ: 48\r\n\r\nOK\r\n", 0, 48, nullptr},
        {"lower bound", "\r\n+CNTZ: -48\r\n\r\nOK\r\n", 0, -48, nullptr},
        {"above", "\r\n+CNTZ: 49\r\n\r\nOK\r\n", 5, 0, "Timezone string is  49"},
        {"below", "\r\n+CNTZ: -49\r\n\r\nOK\r\n", 5, 0, nullptr},
        {"wraps to -48 as 32 bits", "\r\n+CNTZ: 4294967248\r\n\r\nOK\r\n", 5, 0, nullptr},
        {"plus sign, no blank", "\r\n+CNTZ:+32\r\n\r\nOK\r\n", 0, 32, "Timezone string is  +32"},
        {"not a number", "\r\n+CNTZ: \"x\"\r\n\r\nOK\r\n", 0, 0, nullptr},
        {"no OK", "\r\n+CNTZ: 8\r\n\r\nERROR\r\n", 5, kUnset, nullptr},
        {"no prefix", "\r\n+CTZV: 8\r\n\r\nOK\r\n", 5, kUnset, "p1 is NULL, data: \r\n+CTZV: 8\r\n\r\nOK\r\n"},
        {"empty span", "\r\n+CNTZ:OK\r\n\r\nOK\r\n", 5, kUnset, "netTimeZone is NULL, data: \r\n+CNTZ:OK"},
        {"silence", "", 5, kUnset, "ret == NULL"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.what);
        Outcome o = run([](int32_t *n, zelString **) { return zelCNTZGet(n); }, c.reply);
        EXPECT_EQ(o.sent, "AT+CNTZ?\r\n");
        EXPECT_EQ(lastTimeout(), 15);
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.num, c.num);
        if (c.log) EXPECT_TRUE(log.contains(c.log, LOG_ERR));
    }
}

}  // namespace

// SMS configuration and storage commands and the TCP/IP service commands
// against the fake server: one table per family for the command bytes,
// timeouts and reply shapes, then the argument checks.
#include <gtest/gtest.h>

#include <string.h>

#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"

using namespace zeltest;

namespace {

constexpr int32_t kUntouched = -777;
constexpr uint32_t kNeg = static_cast<uint32_t>(-1);  // a negative value passed as unsigned
const char kOther[] = "\r\n+XYZ: 9\r\n\r\nOK\r\n";  // an answer without any prefix of the families

enum class Kind {
    Act,   // set shape
    Int,   // integer after the prefix, no "OK" needed
    Text,  // text after the prefix up to the first "OK"
    Raw,   // text from the reply start up to the first "OK"
};

using Call = int32_t (*)(int32_t *value, zelString **text);

struct Row {
    const char *fn;
    Kind kind;
    Call call;
    std::string sent;
    std::string line;    // the modem's information line(s) in a good reply
    std::string prefix;  // Int and Text: the response prefix
    int32_t value;       // Int: the number in `line`
    std::string text;    // Text and Raw: what a good reply hands back
};

struct Expect {
    const char *what;
    std::string reply;
    int32_t status;
    int32_t value;
    std::string text;  // "<kept>": untouched, "<null>": set to NULL
};

std::vector<Expect> expectations(const Row &r) {
    const std::string good = "\r\n" + r.line + "\r\n\r\nOK\r\n";
    const std::string no_ok = "\r\n" + r.line + "\r\n\r\nERROR\r\n";
    switch (r.kind) {
        case Kind::Act:
            return {{"ok", "\r\nOK\r\n", 0, kUntouched, "<kept>"},
                    {"error", "\r\nERROR\r\n", 5, kUntouched, "<kept>"},
                    {"cms error", "\r\n+CMS ERROR: 321\r\n", 5, kUntouched, "<kept>"}};
        case Kind::Int:
            return {{"good", good, 0, r.value, "<kept>"},
                    {"no ok", no_ok, 0, r.value, "<kept>"},
                    {"no prefix", kOther, 5, kUntouched, "<kept>"},
                    {"empty", "\r\n" + r.prefix + "\r\n\r\nOK\r\n", 0, 0, "<kept>"}};
        case Kind::Text:
            return {{"good", good, 0, kUntouched, r.text},
                    {"no ok", no_ok, 5, kUntouched, "<null>"},
                    {"no prefix", kOther, 5, kUntouched, "<null>"},
                    {"empty", "\r\n" + r.prefix + "OK\r\n\r\nOK\r\n", 5, kUntouched, "<null>"}};
        case Kind::Raw:
            return {{"good", good, 0, kUntouched, r.text},
                    {"no ok", no_ok, 5, kUntouched, "<kept>"},
                    {"empty", "OK\r\n\r\nOK\r\n", 5, kUntouched, "<null>"}};
    }
    return {};
}

struct Outcome {
    int32_t status;
    int32_t value;
    std::string text;
};

bool loggedNoReply(LogCapture &log, const std::string &tag) {
    for (const LogLine &l : log.lines()) {
        if (l.priority != LOG_ERR || l.text.compare(0, tag.size() + 1, tag + ":") != 0) continue;
        size_t colon = l.text.find(": ", tag.size() + 1);
        if (colon == std::string::npos) continue;
        std::string line = l.text.substr(tag.size() + 1, colon - tag.size() - 1);
        bool numbered = !line.empty() && line.find_first_not_of("0123456789") == std::string::npos;
        if (numbered && l.text.substr(colon) == ": ret == NULL\n\n") return true;
    }
    return false;
}

class Family : public LinkTest {
protected:
    // Runs one call against `reply` ("" for silence) and records its outputs.
    Outcome invoke(Call call, const std::string &reply) {
        server->clearRecord();
        log.clear();
        if (!reply.empty()) server->reply(reply);
        zelString kept = {const_cast<char *>("kept"), 4};
        zelString *out = &kept;
        Outcome o;
        o.value = kUntouched;
        o.status = call(&o.value, &out);
        o.text = out == &kept ? "<kept>" : out ? std::string(out->data, static_cast<size_t>(out->len)) : "<null>";
        if (out != nullptr && out != &kept) {
            EXPECT_EQ(strlen(out->data), static_cast<size_t>(out->len));
            zelFreeString(out);
        }
        return o;
    }

    std::string sent(size_t expected_size) {
        waitUntil([&] { return server->received().size() >= expected_size; }, 1000);
        return server->received();
    }

    bool nothingSent() {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return server->received().empty();
    }

    void runTable(const char *tag, const std::vector<Row> &rows) {
        for (const Row &r : rows) {
            SCOPED_TRACE(r.fn);
            for (const Expect &e : expectations(r)) {
                SCOPED_TRACE(e.what);
                Outcome o = invoke(r.call, e.reply);
                EXPECT_EQ(sent(r.sent.size()), r.sent);
                EXPECT_EQ(lastTimeout(), 15);
                EXPECT_EQ(o.status, e.status);
                EXPECT_EQ(o.value, e.value);
                EXPECT_EQ(o.text, e.text);
            }
            setWaitMs(30);
            Outcome o = invoke(r.call, "");
            setWaitMs(-1);
            EXPECT_EQ(o.status, 5) << "no reply";
            EXPECT_EQ(o.value, kUntouched) << "no reply";
            EXPECT_EQ(o.text, "<kept>") << "no reply";
            EXPECT_EQ(sent(r.sent.size()), r.sent) << "no reply";
            EXPECT_TRUE(loggedNoReply(log, tag)) << "no reply";
        }
    }

    struct Refusal {
        const char *what;
        Call call;
        int32_t status;
    };
    void expectRefused(const std::vector<Refusal> &cases) {
        setWaitMs(30);
        for (const Refusal &c : cases) {
            server->clearRecord();
            EXPECT_EQ(c.call(nullptr, nullptr), c.status) << c.what;
            EXPECT_TRUE(nothingSent()) << c.what;
        }
    }

    void expectSent(Call call, const std::string &command) {
        Outcome o = invoke(call, "\r\nOK\r\n");
        EXPECT_EQ(o.status, 0) << command;
        EXPECT_EQ(sent(command.size()), command);
    }
};

TEST_F(Family, SmsCommandsSendTheirCommandAndJudgeTheirReply) {
    const std::vector<Row> rows = {
        {"zelCSDHGet", Kind::Int, [](int32_t *v, zelString **) { return zelCSDHGet(v); }, "AT+CSDH?\r\n",
         "+CSDH: 1", "CSDH:", 1, ""},
        {"zelCSDHSet", Kind::Act, [](int32_t *, zelString **) { return zelCSDHSet(-1); }, "AT+CSDH=-1\r\n", "", "",
         0, ""},
        {"zelCSCSSet", Kind::Act, [](int32_t *, zelString **) { return zelCSCSSet("UCS2"); },
         "AT+CSCS=\"UCS2\"\r\n", "", "", 0, ""},
        {"zelCSCSGet", Kind::Text, [](int32_t *, zelString **s) { return zelCSCSGet(s); }, "AT+CSCS?\r\n",
         "+CSCS: \"IRA\"", "+CSCS: ", 0, "\"IRA\""},
        {"zelCNMISet", Kind::Act, [](int32_t *, zelString **) { return zelCNMISet(2, 1, 0, 0, 0); },
         "AT+CNMI=2,1,0,0,0\r\n", "", "", 0, ""},
        {"zelCNMIGet", Kind::Text, [](int32_t *, zelString **s) { return zelCNMIGet(s); }, "AT+CNMI?\r\n",
         "+CNMI: 2,1,0,0,0", "+CNMI: ", 0, "2,1,0,0,0"},
        {"zelCMGLSet", Kind::Raw, [](int32_t *, zelString **s) { return zelCMGLSet("ALL", s); },
         "AT+CMGL=\"ALL\"\r\n", "+CMGL: 1,\"REC READ\",\"+100\",,\"24/01/01\"\r\nHi\r\n+CMGL: 2,\"REC UNREAD\"\r\nYo", "",
         0, "+CMGL: 1,\"REC READ\",\"+100\",,\"24/01/01\"\r\nHi\r\n+CMGL: 2,\"REC UNREAD\"\r\nYo"},
        {"zelCPMSSet", Kind::Raw, [](int32_t *, zelString **s) { return zelCPMSSet("SM", "ME", "MT", s); },
         "AT+CPMS=\"SM\",\"ME\",\"MT\"\r\n", "+CPMS: 3,50,0,23,3,73", "", 0, "+CPMS: 3,50,0,23,3,73"},
        {"zelCPMSGet", Kind::Text, [](int32_t *, zelString **s) { return zelCPMSGet(s); }, "AT+CPMS?\r\n",
         "+CPMS: \"SM\",3,50,\"ME\",0,23", "+CPMS: ", 0, "\"SM\",3,50,\"ME\",0,23"},
        {"zelCMGRSet", Kind::Raw, [](int32_t *, zelString **s) { return zelCMGRSet(-2, s); }, "AT+CMGR=-2\r\n",
         "+CMGR: \"REC READ\",\"+100\",,\"24/01/01\"\r\nHello", "", 0,
         "+CMGR: \"REC READ\",\"+100\",,\"24/01/01\"\r\nHello"},
        {"zelCMGDSet", Kind::Act, [](int32_t *, zelString **) { return zelCMGDSet(-3, 4); }, "AT+CMGD=-3,4,\r\n", "",
         "", 0, ""},
        {"zelCMGFGet", Kind::Int, [](int32_t *v, zelString **) { return zelCMGFGet(v); }, "AT+CMGF?\r\n",
         "+CMGF: 0", "CMGF:", 0, ""},
        {"zelCMGFSet", Kind::Act, [](int32_t *, zelString **) { return zelCMGFSet(1); }, "AT+CMGF=1\r\n", "", "", 0,
         ""},
    };
    runTable("zel_sms_api", rows);
}

TEST_F(Family, TcpCommandsSendTheirCommandAndJudgeTheirReply) {
    const std::vector<Row> rows = {
        {"zelCIPMUXGet", Kind::Int, [](int32_t *v, zelString **) { return zelCIPMUXGet(v); }, "AT+CIPMUX?\r\n",
         "+CIPMUX: 1", "CIPMUX:", 1, ""},
        {"zelCIPMUXSet", Kind::Act, [](int32_t *, zelString **) { return zelCIPMUXSet(-1); }, "AT+CIPMUX=-1\r\n", "",
         "", 0, ""},
        {"zelCIPTKASet", Kind::Act, [](int32_t *, zelString **) { return zelCIPTKASet(1, 7200, 75, 9); },
         "AT+CIPTKA=1,7200,75,9\r\n", "", "", 0, ""},
        {"zelCIPTKAGet", Kind::Text, [](int32_t *, zelString **s) { return zelCIPTKAGet(s); }, "AT+CIPTKA?\r\n",
         "+CIPTKA: 1,7200,75,9", "+CIPTKA: ", 0, "1,7200,75,9"},
        {"zelCIPSTATUSGet", Kind::Raw, [](int32_t *, zelString **s) { return zelCIPSTATUSGet(s); },
         "AT+CIPSTATUS\r\n", "STATE: IP INITIAL", "", 0, "STATE: IP INITIAL"},
        {"zelGetCIPSHUT", Kind::Raw, [](int32_t *, zelString **s) { return zelGetCIPSHUT(s); }, "AT+CIPSHUT\r\n",
         "+CIPSHUT: 0", "", 0, "+CIPSHUT: 0"},
        {"zelCIPMODEGet", Kind::Int, [](int32_t *v, zelString **) { return zelCIPMODEGet(v); }, "AT+CIPMODE?\r\n",
         "+CIPMODE: 2", "CIPMODE:", 2, ""},
        {"zelCIPMODESet", Kind::Act, [](int32_t *, zelString **) { return zelCIPMODESet(1); }, "AT+CIPMODE=1\r\n",
         "", "", 0, ""},
        {"zelCIPSRIPGet", Kind::Int, [](int32_t *v, zelString **) { return zelCIPSRIPGet(v); }, "AT+CIPSRIP?\r\n",
         "+CIPSRIP: 3", "CIPSRIP:", 3, ""},
        {"zelCIPSRIPSet", Kind::Act, [](int32_t *, zelString **) { return zelCIPSRIPSet(0); }, "AT+CIPSRIP=0\r\n",
         "", "", 0, ""},
        {"zelCIPSHOWTPGet", Kind::Int, [](int32_t *v, zelString **) { return zelCIPSHOWTPGet(v); },
         "AT+CIPSHOWTP?\r\n", "+CIPSHOWTP: 4", "CIPSHOWTP:", 4, ""},
        {"zelCIPSHOWTPSet", Kind::Act, [](int32_t *, zelString **) { return zelCIPSHOWTPSet(12); },
         "AT+CIPSHOWTP=12\r\n", "", "", 0, ""},
        {"zelCIPSPRTGet", Kind::Int, [](int32_t *v, zelString **) { return zelCIPSPRTGet(v); }, "AT+CIPSPRT?\r\n",
         "+CIPSPRT: 5", "CIPSPRT:", 5, ""},
        {"zelCIPSPRTSet", Kind::Act, [](int32_t *, zelString **) { return zelCIPSPRTSet(2); }, "AT+CIPSPRT=2\r\n",
         "", "", 0, ""},
        {"zelCIPRXMODGet", Kind::Int, [](int32_t *v, zelString **) { return zelCIPRXMODGet(v); },
         "AT+CIPRXMODE?\r\n", "+CIPRXMODE: 6", "CIPRXMODE:", 6, ""},
        {"zelCIPRXMODSet", Kind::Act, [](int32_t *, zelString **) { return zelCIPRXMODSet(-7); },
         "AT+CIPRXMODE=-7\r\n", "", "", 0, ""},
        {"zelCIPSERVERSet", Kind::Act, [](int32_t *, zelString **) { return zelCIPSERVERSet(1, "8080"); },
         "AT+CIPSERVER=1,8080\r\n", "", "", 0, ""},
        {"zelCIPSERVERGet", Kind::Text, [](int32_t *, zelString **s) { return zelCIPSERVERGet(s); },
         "AT+CIPSERVER?\r\n", "+CIPSERVER: 1,8080", "+CIPSERVER: ", 0, "1,8080"},
    };
    runTable("zel_tcp_api", rows);
}

TEST_F(Family, CipShutHandsBackTheTextBeforeTheFirstOk) {
    const Expect cases[] = {
        {"shut ok", "\r\nSHUT OK\r\n\r\nOK\r\n", 0, kUntouched, "SHUT"},
        {"shut ok, then error", "\r\nSHUT OK\r\n\r\nERROR\r\n", 0, kUntouched, "SHUT"},
        {"error", "\r\n+CME ERROR: 3\r\n", 5, kUntouched, "<kept>"},
    };
    for (const Expect &e : cases) {
        Outcome o = invoke([](int32_t *, zelString **s) { return zelGetCIPSHUT(s); }, e.reply);
        EXPECT_EQ(o.status, e.status) << e.what;
        EXPECT_EQ(o.text, e.text) << e.what;
    }
}

TEST_F(Family, SmsArgumentChecks) {
    expectSent([](int32_t *, zelString **) { return zelCNMISet(2, 3, 2, 2, 1); }, "AT+CNMI=2,3,2,2,1\r\n");
    expectSent([](int32_t *, zelString **) { return zelCMGDSet(1, 4); }, "AT+CMGD=1,4,\r\n");
    expectSent([](int32_t *, zelString **) { return zelCMGDSet(7, 0); }, "AT+CMGD=7,0,\r\n");
    expectSent([](int32_t *, zelString **) { return zelCSCSSet(""); }, "AT+CSCS=\"\"\r\n");
    // "AT+CSCS=\"\"\r\n" leaves room for 1011 characters of character set.
    expectSent([](int32_t *, zelString **) { return zelCSCSSet(std::string(1011, 'c').c_str()); },
               "AT+CSCS=\"" + std::string(1011, 'c') + "\"\r\n");
    expectRefused({
        {"cnmi mode 3", [](int32_t *, zelString **) { return zelCNMISet(3, 1, 0, 0, 0); }, 1},
        {"cnmi mt 4", [](int32_t *, zelString **) { return zelCNMISet(2, 4, 0, 0, 0); }, 1},
        {"cnmi bm 3", [](int32_t *, zelString **) { return zelCNMISet(2, 1, 3, 0, 0); }, 1},
        {"cnmi ds 3", [](int32_t *, zelString **) { return zelCNMISet(2, 1, 0, 3, 0); }, 1},
        {"cnmi bfr 2", [](int32_t *, zelString **) { return zelCNMISet(2, 1, 0, 0, 2); }, 1},
        {"cnmi mode -1", [](int32_t *, zelString **) { return zelCNMISet(kNeg, 1, 0, 0, 0); }, 1},
        {"cnmi mt -1", [](int32_t *, zelString **) { return zelCNMISet(2, kNeg, 0, 0, 0); }, 1},
        {"cnmi bfr -1", [](int32_t *, zelString **) { return zelCNMISet(2, 1, 0, 0, kNeg); }, 1},
        {"cmgd flag 5", [](int32_t *, zelString **) { return zelCMGDSet(1, 5); }, 1},
        {"cmgd flag -1", [](int32_t *, zelString **) { return zelCMGDSet(1, kNeg); }, 1},
        {"cscs NULL", [](int32_t *, zelString **) { return zelCSCSSet(nullptr); }, 2},
        {"cscs 1012 bytes", [](int32_t *, zelString **) { return zelCSCSSet(std::string(1012, 'c').c_str()); }, 5},
        {"cmgl NULL status",
         [](int32_t *, zelString **) {
             zelString *out = nullptr;
             return zelCMGLSet(nullptr, &out);
         },
         5},
        {"cmgl overlong",
         [](int32_t *, zelString **) {
             zelString *out = nullptr;
             return zelCMGLSet(std::string(1100, 'A').c_str(), &out);
         },
         5},
        {"cpms NULL storage",
         [](int32_t *, zelString **) {
             zelString *out = nullptr;
             return zelCPMSSet("SM", nullptr, "SM", &out);
         },
         5},
        {"cpms overlong",
         [](int32_t *, zelString **) {
             zelString *out = nullptr;
             std::string m(400, 'M');
             return zelCPMSSet(m.c_str(), m.c_str(), m.c_str(), &out);
         },
         5},
        {"cmgr NULL output", [](int32_t *, zelString **) { return zelCMGRSet(1, nullptr); }, 5},
        {"csdh NULL output", [](int32_t *, zelString **) { return zelCSDHGet(nullptr); }, 5},
        {"cscs NULL output", [](int32_t *, zelString **) { return zelCSCSGet(nullptr); }, 5},
    });
}

TEST_F(Family, TcpArgumentChecks) {
    expectSent([](int32_t *, zelString **) { return zelCIPTKASet(0, 30, 30, 1); }, "AT+CIPTKA=0,30,30,1\r\n");
    expectSent([](int32_t *, zelString **) { return zelCIPTKASet(1, 7200, 600, 9); }, "AT+CIPTKA=1,7200,600,9\r\n");
    expectSent([](int32_t *, zelString **) { return zelCIPSERVERSet(0, ""); }, "AT+CIPSERVER=0,\r\n");
    expectRefused({
        {"tka idle 29", [](int32_t *, zelString **) { return zelCIPTKASet(1, 29, 75, 9); }, 1},
        {"tka idle 7201", [](int32_t *, zelString **) { return zelCIPTKASet(1, 7201, 75, 9); }, 1},
        {"tka interval 60", [](int32_t *, zelString **) { return zelCIPTKASet(1, 60, 60, 9); }, 1},
        {"tka interval -30", [](int32_t *, zelString **) { return zelCIPTKASet(1, 60, -30, 9); }, 1},
        {"tka probes 0", [](int32_t *, zelString **) { return zelCIPTKASet(1, 60, 75, 0); }, 1},
        {"tka probes 10", [](int32_t *, zelString **) { return zelCIPTKASet(1, 60, 75, 10); }, 1},
        {"tka switch 2", [](int32_t *, zelString **) { return zelCIPTKASet(2, 60, 75, 9); }, 1},
        {"tka switch -1", [](int32_t *, zelString **) { return zelCIPTKASet(kNeg, 60, 75, 9); }, 1},
        {"tka idle -1", [](int32_t *, zelString **) { return zelCIPTKASet(1, kNeg, 75, 9); }, 1},
        {"tka probes -1", [](int32_t *, zelString **) { return zelCIPTKASet(1, 60, 75, kNeg); }, 1},
        {"server mode 2 before NULL port", [](int32_t *, zelString **) { return zelCIPSERVERSet(2, nullptr); }, 1},
        {"server mode -1", [](int32_t *, zelString **) { return zelCIPSERVERSet(kNeg, "80"); }, 1},
        {"server NULL port", [](int32_t *, zelString **) { return zelCIPSERVERSet(1, nullptr); }, 2},
        {"server overlong port",
         [](int32_t *, zelString **) { return zelCIPSERVERSet(1, std::string(1010, '9').c_str()); }, 5},
        {"cipmux NULL output", [](int32_t *, zelString **) { return zelCIPMUXGet(nullptr); }, 5},
        {"cipshut NULL output", [](int32_t *, zelString **) { return zelGetCIPSHUT(nullptr); }, 5},
    });
}

}  // namespace

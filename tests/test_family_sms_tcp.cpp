// SMS configuration and storage commands and the TCP/IP service commands
// against the fake server: one table per family for the command bytes,
// timeouts and reply shapes, then the argument checks.
#include <string>
#include <vector>

#include "family_table.h"

namespace {

using namespace zeltest;

TEST_F(FamilyTest, SmsCommandsSendTheirCommandAndJudgeTheirReply) {
    checkTable("zel_sms_api", {
        intRow("zelCSDHGet", "AT+CSDH?\r\n", "CSDH:", zelCSDHGet, "+CSDH: 1", 1),
        okRow("zelCSDHSet", "AT+CSDH=-1\r\n", [] { return zelCSDHSet(-1); }),
        okRow("zelCSCSSet", "AT+CSCS=\"UCS2\"\r\n", [] { return zelCSCSSet("UCS2"); }),
        textRow("zelCSCSGet", "AT+CSCS?\r\n", "+CSCS: ", zelCSCSGet, "\"IRA\""),
        okRow("zelCNMISet", "AT+CNMI=2,1,0,0,0\r\n", [] { return zelCNMISet(2, 1, 0, 0, 0); }),
        textRow("zelCNMIGet", "AT+CNMI?\r\n", "+CNMI: ", zelCNMIGet, "2,1,0,0,0"),
        plainRow("zelCMGLSet", "AT+CMGL=\"ALL\"\r\n", [](zelString **s) { return zelCMGLSet("ALL", s); },
                 "+CMGL: 1,\"REC READ\",\"+100\",,\"24/01/01\"\r\nHi\r\n+CMGL: 2,\"REC UNREAD\"\r\nYo"),
        plainRow("zelCPMSSet", "AT+CPMS=\"SM\",\"ME\",\"MT\"\r\n",
                 [](zelString **s) { return zelCPMSSet("SM", "ME", "MT", s); }, "+CPMS: 3,50,0,23,3,73"),
        textRow("zelCPMSGet", "AT+CPMS?\r\n", "+CPMS: ", zelCPMSGet, "\"SM\",3,50,\"ME\",0,23"),
        plainRow("zelCMGRSet", "AT+CMGR=-2\r\n", [](zelString **s) { return zelCMGRSet(-2, s); },
                 "+CMGR: \"REC READ\",\"+100\",,\"24/01/01\"\r\nHello"),
        okRow("zelCMGDSet", "AT+CMGD=-3,4,\r\n", [] { return zelCMGDSet(-3, 4); }),
        intRow("zelCMGFGet", "AT+CMGF?\r\n", "CMGF:", zelCMGFGet, "+CMGF: 0", 0),
        okRow("zelCMGFSet", "AT+CMGF=1\r\n", [] { return zelCMGFSet(1); }),
    });
}

TEST_F(FamilyTest, TcpCommandsSendTheirCommandAndJudgeTheirReply) {
    checkTable("zel_tcp_api", {
        intRow("zelCIPMUXGet", "AT+CIPMUX?\r\n", "CIPMUX:", zelCIPMUXGet, "+CIPMUX: 1", 1),
        okRow("zelCIPMUXSet", "AT+CIPMUX=-1\r\n", [] { return zelCIPMUXSet(-1); }),
        okRow("zelCIPTKASet", "AT+CIPTKA=1,7200,75,9\r\n", [] { return zelCIPTKASet(1, 7200, 75, 9); }),
        textRow("zelCIPTKAGet", "AT+CIPTKA?\r\n", "+CIPTKA: ", zelCIPTKAGet, "1,7200,75,9"),
        plainRow("zelCIPSTATUSGet", "AT+CIPSTATUS\r\n", zelCIPSTATUSGet, "STATE: IP INITIAL"),
        plainRow("zelGetCIPSHUT", "AT+CIPSHUT\r\n", zelGetCIPSHUT, "+CIPSHUT: 0"),
        intRow("zelCIPMODEGet", "AT+CIPMODE?\r\n", "CIPMODE:", zelCIPMODEGet, "+CIPMODE: 2", 2),
        okRow("zelCIPMODESet", "AT+CIPMODE=1\r\n", [] { return zelCIPMODESet(1); }),
        intRow("zelCIPSRIPGet", "AT+CIPSRIP?\r\n", "CIPSRIP:", zelCIPSRIPGet, "+CIPSRIP: 3", 3),
        okRow("zelCIPSRIPSet", "AT+CIPSRIP=0\r\n", [] { return zelCIPSRIPSet(0); }),
        intRow("zelCIPSHOWTPGet", "AT+CIPSHOWTP?\r\n", "CIPSHOWTP:", zelCIPSHOWTPGet, "+CIPSHOWTP: 4", 4),
        okRow("zelCIPSHOWTPSet", "AT+CIPSHOWTP=12\r\n", [] { return zelCIPSHOWTPSet(12); }),
        intRow("zelCIPSPRTGet", "AT+CIPSPRT?\r\n", "CIPSPRT:", zelCIPSPRTGet, "+CIPSPRT: 5", 5),
        okRow("zelCIPSPRTSet", "AT+CIPSPRT=2\r\n", [] { return zelCIPSPRTSet(2); }),
        intRow("zelCIPRXMODGet", "AT+CIPRXMODE?\r\n", "CIPRXMODE:", zelCIPRXMODGet, "+CIPRXMODE: 6", 6),
        okRow("zelCIPRXMODSet", "AT+CIPRXMODE=-7\r\n", [] { return zelCIPRXMODSet(-7); }),
        okRow("zelCIPSERVERSet", "AT+CIPSERVER=1,8080\r\n", [] { return zelCIPSERVERSet(1, "8080"); }),
        textRow("zelCIPSERVERGet", "AT+CIPSERVER?\r\n", "+CIPSERVER: ", zelCIPSERVERGet, "1,8080"),
    });
}

TEST_F(FamilyTest, CipShutHandsBackTheTextBeforeTheFirstOk) {
    expectReplies(zelGetCIPSHUT, {
        {"\r\nSHUT OK\r\n\r\nOK\r\n", 0, "SHUT"},
        {"\r\nSHUT OK\r\n\r\nERROR\r\n", 0, "SHUT"},
        {"\r\n+CME ERROR: 3\r\n", 5, kKept},
    });
}

TEST_F(FamilyTest, SmsArgumentChecks) {
    // "AT+CSCS=\"\"\r\n" leaves room for 1011 characters of character set.
    const std::string charset(1011, 'c');
    checkSent({
        {"cnmi upper bounds", [] { return zelCNMISet(2, 3, 2, 2, 1); }, "AT+CNMI=2,3,2,2,1\r\n"},
        {"cmgd flag 4", [] { return zelCMGDSet(1, 4); }, "AT+CMGD=1,4,\r\n"},
        {"cmgd flag 0", [] { return zelCMGDSet(7, 0); }, "AT+CMGD=7,0,\r\n"},
        {"cscs empty", [] { return zelCSCSSet(""); }, "AT+CSCS=\"\"\r\n"},
        {"cscs 1011 bytes", [&] { return zelCSCSSet(charset.c_str()); }, "AT+CSCS=\"" + charset + "\"\r\n"},
    });
    checkRefusals({
        {"cnmi mode 3", [] { return zelCNMISet(3, 1, 0, 0, 0); }, 1},
        {"cnmi mt 4", [] { return zelCNMISet(2, 4, 0, 0, 0); }, 1},
        {"cnmi bm 3", [] { return zelCNMISet(2, 1, 3, 0, 0); }, 1},
        {"cnmi ds 3", [] { return zelCNMISet(2, 1, 0, 3, 0); }, 1},
        {"cnmi bfr 2", [] { return zelCNMISet(2, 1, 0, 0, 2); }, 1},
        {"cnmi mode -1", [] { return zelCNMISet(kNeg, 1, 0, 0, 0); }, 1},
        {"cnmi mt -1", [] { return zelCNMISet(2, kNeg, 0, 0, 0); }, 1},
        {"cnmi bfr -1", [] { return zelCNMISet(2, 1, 0, 0, kNeg); }, 1},
        {"cmgd flag 5", [] { return zelCMGDSet(1, 5); }, 1},
        {"cmgd flag -1", [] { return zelCMGDSet(1, kNeg); }, 1},
        {"cscs NULL", [] { return zelCSCSSet(nullptr); }, 2},
        {"cscs 1012 bytes", [] { return zelCSCSSet(std::string(1012, 'c').c_str()); }, 5},
        {"cmgl NULL status", [] { return zelCMGLSet(nullptr, &g_sink); }, 5},
        {"cmgl overlong", [] { return zelCMGLSet(kLong.c_str(), &g_sink); }, 5},
        {"cpms NULL storage", [] { return zelCPMSSet("SM", nullptr, "SM", &g_sink); }, 5},
        {"cpms overlong", [] {
             std::string m(400, 'M');
             return zelCPMSSet(m.c_str(), m.c_str(), m.c_str(), &g_sink);
         }, 5},
        {"cmgr NULL output", [] { return zelCMGRSet(1, nullptr); }, 5},
        {"csdh NULL output", [] { return zelCSDHGet(nullptr); }, 5},
        {"cscs NULL output", [] { return zelCSCSGet(nullptr); }, 5},
    });
}

TEST_F(FamilyTest, TcpArgumentChecks) {
    checkSent({
        {"tka lower bounds", [] { return zelCIPTKASet(0, 30, 30, 1); }, "AT+CIPTKA=0,30,30,1\r\n"},
        {"tka upper bounds", [] { return zelCIPTKASet(1, 7200, 600, 9); }, "AT+CIPTKA=1,7200,600,9\r\n"},
        {"server empty port", [] { return zelCIPSERVERSet(0, ""); }, "AT+CIPSERVER=0,\r\n"},
    });
    checkRefusals({
        {"tka idle 29", [] { return zelCIPTKASet(1, 29, 75, 9); }, 1},
        {"tka idle 7201", [] { return zelCIPTKASet(1, 7201, 75, 9); }, 1},
        {"tka interval 60", [] { return zelCIPTKASet(1, 60, 60, 9); }, 1},
        {"tka interval -30", [] { return zelCIPTKASet(1, 60, -30, 9); }, 1},
        {"tka probes 0", [] { return zelCIPTKASet(1, 60, 75, 0); }, 1},
        {"tka probes 10", [] { return zelCIPTKASet(1, 60, 75, 10); }, 1},
        {"tka switch 2", [] { return zelCIPTKASet(2, 60, 75, 9); }, 1},
        {"tka switch -1", [] { return zelCIPTKASet(kNeg, 60, 75, 9); }, 1},
        {"tka idle -1", [] { return zelCIPTKASet(1, kNeg, 75, 9); }, 1},
        {"tka probes -1", [] { return zelCIPTKASet(1, 60, 75, kNeg); }, 1},
        {"server mode 2 before NULL port", [] { return zelCIPSERVERSet(2, nullptr); }, 1},
        {"server mode -1", [] { return zelCIPSERVERSet(kNeg, "80"); }, 1},
        {"server NULL port", [] { return zelCIPSERVERSet(1, nullptr); }, 2},
        {"server overlong port", [] { return zelCIPSERVERSet(1, std::string(1010, '9').c_str()); }, 5},
        {"cipmux NULL output", [] { return zelCIPMUXGet(nullptr); }, 5},
        {"cipshut NULL output", [] { return zelGetCIPSHUT(nullptr); }, 5},
    });
}

}  // namespace

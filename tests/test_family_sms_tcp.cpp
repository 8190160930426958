// SMS configuration and storage commands and the TCP/IP service commands
// against a scripted server: one table per family, then the argument checks.
#include <string>

#include "family_table.h"

namespace {

using namespace zeltest;

TEST_F(FamilyTest, SmsTable) {
    checkTable("zel_sms_api", {
        INT(zelCSDHGet(i), "AT+CSDH?\r\n", "CSDH:"),
        OK(zelCSDHSet(-1), "AT+CSDH=-1\r\n"),
        OK(zelCSCSSet("UCS2"), "AT+CSCS=\"UCS2\"\r\n"),
        TEXT(zelCSCSGet(s), "AT+CSCS?\r\n", "+CSCS: "),
        OK(zelCNMISet(2, 1, 0, 0, 0), "AT+CNMI=2,1,0,0,0\r\n"),
        OK(zelCNMISet(2, 3, 2, 2, 1), "AT+CNMI=2,3,2,2,1\r\n"),  // upper bounds
        TEXT(zelCNMIGet(s), "AT+CNMI?\r\n", "+CNMI: "),
        PLAIN(zelCMGLSet("ALL", s), "AT+CMGL=\"ALL\"\r\n"),
        PLAIN(zelCPMSSet("SM", "ME", "MT", s), "AT+CPMS=\"SM\",\"ME\",\"MT\"\r\n"),
        TEXT(zelCPMSGet(s), "AT+CPMS?\r\n", "+CPMS: "),
        PLAIN(zelCMGRSet(-2, s), "AT+CMGR=-2\r\n"),
        OK(zelCMGDSet(-3, 4), "AT+CMGD=-3,4,\r\n"),
        OK(zelCMGDSet(7, 0), "AT+CMGD=7,0,\r\n"),
        INT(zelCMGFGet(i), "AT+CMGF?\r\n", "CMGF:"),
        OK(zelCMGFSet(1), "AT+CMGF=1\r\n"),
    });
}

TEST_F(FamilyTest, TcpTable) {
    checkTable("zel_tcp_api", {
        INT(zelCIPMUXGet(i), "AT+CIPMUX?\r\n", "CIPMUX:"),
        OK(zelCIPMUXSet(-1), "AT+CIPMUX=-1\r\n"),
        OK(zelCIPTKASet(0, 30, 30, 1), "AT+CIPTKA=0,30,30,1\r\n"),  // lower bounds
        OK(zelCIPTKASet(1, 7200, 600, 9), "AT+CIPTKA=1,7200,600,9\r\n"),  // upper bounds
        TEXT(zelCIPTKAGet(s), "AT+CIPTKA?\r\n", "+CIPTKA: "),
        PLAIN(zelCIPSTATUSGet(s), "AT+CIPSTATUS\r\n"),
        PLAIN(zelGetCIPSHUT(s), "AT+CIPSHUT\r\n"),
        INT(zelCIPMODEGet(i), "AT+CIPMODE?\r\n", "CIPMODE:"),
        OK(zelCIPMODESet(1), "AT+CIPMODE=1\r\n"),
        INT(zelCIPSRIPGet(i), "AT+CIPSRIP?\r\n", "CIPSRIP:"),
        OK(zelCIPSRIPSet(0), "AT+CIPSRIP=0\r\n"),
        INT(zelCIPSHOWTPGet(i), "AT+CIPSHOWTP?\r\n", "CIPSHOWTP:"),
        OK(zelCIPSHOWTPSet(12), "AT+CIPSHOWTP=12\r\n"),
        INT(zelCIPSPRTGet(i), "AT+CIPSPRT?\r\n", "CIPSPRT:"),
        OK(zelCIPSPRTSet(2), "AT+CIPSPRT=2\r\n"),
        INT(zelCIPRXMODGet(i), "AT+CIPRXMODE?\r\n", "CIPRXMODE:"),
        OK(zelCIPRXMODSet(-7), "AT+CIPRXMODE=-7\r\n"),
        OK(zelCIPSERVERSet(1, "8080"), "AT+CIPSERVER=1,8080\r\n"),
        OK(zelCIPSERVERSet(0, ""), "AT+CIPSERVER=0,\r\n"),
        TEXT(zelCIPSERVERGet(s), "AT+CIPSERVER?\r\n", "+CIPSERVER: "),
    });
}

TEST_F(FamilyTest, SmsRefusedArguments) {
    checkRefusals({
        REFUSE(zelCNMISet(3, 1, 0, 0, 0), 1),
        REFUSE(zelCNMISet(2, 4, 0, 0, 0), 1),
        REFUSE(zelCNMISet(2, 1, 3, 0, 0), 1),
        REFUSE(zelCNMISet(2, 1, 0, 3, 0), 1),
        REFUSE(zelCNMISet(2, 1, 0, 0, 2), 1),
        REFUSE(zelCNMISet(kNeg, 1, 0, 0, 0), 1),
        REFUSE(zelCNMISet(2, 1, 0, 0, kNeg), 1),
        REFUSE(zelCMGDSet(1, 5), 1),
        REFUSE(zelCMGDSet(1, kNeg), 1),
        REFUSE(zelCSCSSet(nullptr), 2),
        REFUSE(zelCMGLSet(nullptr, s), 5),
        REFUSE(zelCPMSSet(nullptr, "SM", "SM", s), 5),
        REFUSE(zelCPMSSet("SM", nullptr, "SM", s), 5),
        REFUSE(zelCPMSSet("SM", "SM", nullptr, s), 5),
    });
}

TEST_F(FamilyTest, TcpRefusedArguments) {
    checkRefusals({
        REFUSE(zelCIPTKASet(1, 29, 75, 9), 1),
        REFUSE(zelCIPTKASet(1, 7201, 75, 9), 1),
        REFUSE(zelCIPTKASet(1, 60, 60, 9), 1),
        REFUSE(zelCIPTKASet(1, 60, -30, 9), 1),
        REFUSE(zelCIPTKASet(1, 60, 75, 0), 1),
        REFUSE(zelCIPTKASet(1, 60, 75, 10), 1),
        REFUSE(zelCIPTKASet(2, 60, 75, 9), 1),
        REFUSE(zelCIPTKASet(kNeg, 60, 75, 9), 1),
        REFUSE(zelCIPTKASet(1, kNeg, 75, 9), 1),
        REFUSE(zelCIPTKASet(1, 60, 75, kNeg), 1),
        REFUSE(zelCIPSERVERSet(2, nullptr), 1),  // the mode is checked first
        REFUSE(zelCIPSERVERSet(kNeg, "80"), 1),
        REFUSE(zelCIPSERVERSet(1, nullptr), 2),
    });
}

}  // namespace

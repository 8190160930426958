// Call control and general device commands against a scripted server: one
// table per family and the argument checks.
#include <string>

#include "family_table.h"

namespace {

using namespace zeltest;

TEST_F(FamilyTest, CallControlTable) {
    checkTable("zel_call_control_api", {
        OK(zelATAGet(), "ATA;\r\n"),
        OK(zelATHGet(), "ATH;\r\n"),
        OK(zelCHUPGet(), "AT+CHUP;\r\n"),
        INT(zelCRCGet(i), "AT+CRC?\r\n", "CRC:"),
        OK(zelCRCSet(-1), "AT+CRC=-1\r\n"),
        INT(zelCSTAGet(i), "AT+CSTA?\r\n", "CSTA:"),
        OK(zelCSTASet(129), "AT+CSTA=129\r\n"),
        INT(zelCVHUGet(i), "AT+CVHU?\r\n", "CVHU:"),
        OK(zelCVHUSet(0), "AT+CVHU=0\r\n"),
        TEXT(zelCEERGet(s), "AT+CEER\r\n", "+CEER: "),
        TEXT(zelCPASGet(s), "AT+CPAS\r\n", "+CPAS: "),
        TEXT(zelCPBSGet(s), "AT+CPBS?\r\n", "+CPBS: "),
        OK(zelCpbsSet("S%dM"), "AT+CPBS=\"S%dM\"\r\n"),  // inserted as it is, never used as a format
        PLAIN(zelCENGet(s), "AT+CEN?\r\n"),
        OK(zelCENSet(1), "AT+CEN=1\r\n"),
        TEXT(zelCEMODEGet(s), "AT+CEMODE?\r\n", "+CEMODE: "),
        PLAIN(zelCRLPSet(61, 61, 48, 6, -3, s), "AT+CRLP=61,61,48,6,-3\r\n"),
        PLAIN(zelGetCRLP(s), "AT+CRLP?\r\n"),
    });
}

TEST_F(FamilyTest, GeneralTable) {
    zelString value = view("\"apn name\",1");
    char cut[] = "abc\0def";  // a record trimmed in place counts more than its text
    zelString trimmed = {cut, 7};
    checkTable("zel_general_api", {
        PLAIN(zelATIGet(s), "ATI\r\n"),
        OK(zelATE0Get(), "ATE0\r\n"),
        OK(zelATE1Get(), "ATE1\r\n"),
        OK(zelATZGet(), "ATZ\r\n"),
        OK(zelATFGet(), "AT&F\r\n"),
        OK(zelCmeeSet(2), "AT+CMEE=2\r\n"),
        INT(zelCmeeGet(i), "AT+CMEE?\r\n", "CMEE:"),
        PLAIN(zelCgmiGet(s), "AT+CGMI\r\n"),
        PLAIN(zelCgmmGet(s), "AT+CGMM\r\n"),
        PLAIN(zelCgmrGet(s), "AT+CGMR\r\n"),
        PLAIN(zelCgsnGet(s), "AT+CGSN\r\n"),
        OK(zelCscsGet(), "AT+CSCS\r\n"),
        FIXED(zelGetCCLK(s), "AT+CCLK?\r\n", "CCLK: ", 20),
        PLAIN(zelGmiGet(s), "AT+GMI\r\n"),
        PLAIN(zelGmmGet(s), "AT+GMM\r\n"),
        PLAIN(zelGmrGet(s), "AT+GMR\r\n"),
        FIXED(zelGetGcap(s), "AT+GCAP\r\n", "GCAP: ", 8),
        PLAIN(zelGsnGet(s), "AT+GSN\r\n"),
        PLAIN(zelCRTCGet(3, s), "AT+CRTC=3\r\n"),
        PLAIN(zelCADCREADGet(-2, s), "AT+CADCREAD=-2\r\n"),
        PLAIN(zelGetIMEI(s), "AT+IMEI?\r\n"),
        PLAIN(zelThermalGet(s), "AT+THERMAL\r\n"),
        OK(zelTRBGet(), "AT+TRB\r\n"),
        OK(zelEdlModeSet(), "AT+EDLMODE\r\n"),
        OK(zelConfig(7, &value, -1), "AT+CONFIG=7,\"apn name\",1,-1\r\n"),  // unquoted, unescaped
        OK(zelConfig(0, &trimmed, 0), "AT+CONFIG=0,abc,0\r\n"),
    });
}

TEST_F(FamilyTest, RefusedArguments) {
    zelString no_data = {nullptr, 3};
    checkRefusals({
        REFUSE(zelCpbsSet(nullptr), 2),
        REFUSE(zelCpbsSet(kLong.c_str()), 5),
        REFUSE(zelConfig(1, nullptr, 2), 5),
        REFUSE(zelConfig(1, &no_data, 2), 5),
    });
}

}  // namespace

// SIM and SIM toolkit commands against a scripted server: one table for every
// function and the argument checks.
#include "family_table.h"

namespace {

using namespace zeltest;

TEST_F(FamilyTest, SimAndToolkitTable) {
    checkTable("zel_sim_api", {
        OK(zelSimSwap(1), "AT^SIMSWAP=1\r\n"),
        INT(zelSimModeGet(i), "AT^SIMSWAP?\r\n", "SIMSWAP:"),
        TEXT(zelCPINGet(s), "AT+CPIN?\r\n", "+CPIN: "),
        OK(zelCpinSet("1234", "%s 5678"), "AT+CPIN=1234,\"%s 5678\"\r\n"),  // first bare, second quoted
        PLAIN(zelCNUMGet(s), "AT+CNUM\r\n"),
        FIXED(zelGetICCID(s), "AT+ICCID\r\n", "ICCID: ", 20),
        PLAIN(zelCimiGet(s), "AT+CIMI\r\n"),
        INT(zelCSIMSUPPGet(i), "AT+CSIMSUPP?\r\n", "CSIMSUPP:"),
        OK(zelCSIMSUPPSet(0), "AT+CSIMSUPP=0\r\n"),
        OK(zelCSIMSet("14", "00A40004023F00"), "AT+CSIM=14,\"00A40004023F00\"\r\n"),
        PLAIN(zelCRSMSet(176, 28423, 0, 0, 9, "", s), "AT+CRSM=176,28423,0,0,9,\"\"\r\n"),
        TEXT(zelCPINRGet(s), "AT+CPINR?\r\n", "+CPINR: "),
        OK(eZelSetSTKMode(1), "AT+CSTK=1\r\n"),
        OK(eZelSetSTKPupMode(-2), "AT+CSTKPUP=-2\r\n"),
        PLAIN(eZelSTKCustomCmd("1", "", "D0%d", s), "AT+CSTKCMD=\"1\",\"\",\"D0%d\"\r\n"),
        PLAIN(eZelSTKTerminalRespCmd("8103012500", s), "AT+STKTR=\"8103012500\"\r\n"),
        PLAIN(eZelSTKEnvelopCmd("D30782020181", s), "AT+STKENV=\"D30782020181\"\r\n"),
    });
}

TEST_F(FamilyTest, RefusedArguments) {
    checkRefusals({
        REFUSE(zelCpinSet(nullptr, "1234"), 2),
        REFUSE(zelCpinSet("1234", nullptr), 2),
        REFUSE(zelCSIMSet(nullptr, "00B0"), 2),
        REFUSE(zelCSIMSet("4", nullptr), 2),
        REFUSE(zelCRSMSet(176, 28423, 0, 0, 9, nullptr, s), 5),
        // The strings are checked before the output.
        REFUSE(eZelSTKCustomCmd(nullptr, "2", "3", nullptr), 2),
        REFUSE(eZelSTKCustomCmd("1", nullptr, "3", s), 2),
        REFUSE(eZelSTKCustomCmd("1", "2", nullptr, s), 2),
        REFUSE(eZelSTKTerminalRespCmd(nullptr, nullptr), 2),
        REFUSE(eZelSTKEnvelopCmd(nullptr, nullptr), 2),
    });
}

}  // namespace

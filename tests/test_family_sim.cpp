// SIM and SIM toolkit commands against a scripted server: the tables of every
// function, the argument checks and the reply edge cases.
#include <string>
#include <vector>

#include "family_table.h"

namespace {

using namespace zeltest;

TEST_F(FamilyTest, SimTable) {
    checkTable("zel_sim_api", {
        okRow("zelSimSwap", "AT^SIMSWAP=1\r\n", [] { return zelSimSwap(1); }),
        intRow("zelSimModeGet", "AT^SIMSWAP?\r\n", "SIMSWAP:", zelSimModeGet, "^SIMSWAP: 1", 1),
        textRow("zelCPINGet", "AT+CPIN?\r\n", "+CPIN: ", zelCPINGet, "SIM PIN"),
        // The first value bare, the second quoted, both unchanged.
        okRow("zelCpinSet", "AT+CPIN=1234,\"%s 5678\"\r\n", [] { return zelCpinSet("1234", "%s 5678"); }),
        plainRow("zelCNUMGet", "AT+CNUM\r\n", zelCNUMGet,
                 "+CNUM: \"Voice\",\"+8613800000000\",145\r\n+CNUM: \"Data\",\"13800000001\",129"),
        // 19 digits: the 20th byte is the carriage return that ends them.
        fixedRow("zelGetICCID", "AT+ICCID\r\n", "ICCID: ", zelGetICCID, "+ICCID: 8986011234567890123",
                 "8986011234567890123\r"),
        plainRow("zelCimiGet", "AT+CIMI\r\n", zelCimiGet, "460001234567890"),
        intRow("zelCSIMSUPPGet", "AT+CSIMSUPP?\r\n", "CSIMSUPP:", zelCSIMSUPPGet, "+CSIMSUPP: -1", -1),
        okRow("zelCSIMSUPPSet", "AT+CSIMSUPP=0\r\n", [] { return zelCSIMSUPPSet(0); }),
        // The card's answer is not handed back; "OK" alone decides.
        okRow("zelCSIMSet", "AT+CSIM=14,\"00A40004023F00\"\r\n", [] { return zelCSIMSet("14", "00A40004023F00"); },
              "+CSIM: 4,\"6120\""),
        plainRow("zelCRSMSet", "AT+CRSM=176,28423,0,0,9,\"\"\r\n",
                 [](zelString **s) { return zelCRSMSet(176, 28423, 0, 0, 9, "", s); },
                 "+CRSM: 144,0,\"084906001234567890\""),
        // Every counter line after the first prefix comes along.
        textRow("zelCPINRGet", "AT+CPINR?\r\n", "+CPINR: ", zelCPINRGet, "SIM PIN,3,3\r\n+CPINR: SIM PUK,10,10"),
    });
}

TEST_F(FamilyTest, ToolkitTable) {
    checkTable("zel_sim_api", {
        okRow("eZelSetSTKMode", "AT+CSTK=1\r\n", [] { return eZelSetSTKMode(1); }),
        okRow("eZelSetSTKPupMode", "AT+CSTKPUP=-2\r\n", [] { return eZelSetSTKPupMode(-2); }),
        plainRow("eZelSTKCustomCmd", "AT+CSTKCMD=\"1\",\"\",\"D0%d\"\r\n",
                 [](zelString **s) { return eZelSTKCustomCmd("1", "", "D0%d", s); }, "+CSTKCMD: 0"),
        plainRow("eZelSTKTerminalRespCmd", "AT+STKTR=\"810301250082028281830100\"\r\n",
                 [](zelString **s) { return eZelSTKTerminalRespCmd("810301250082028281830100", s); }, "+STKTR: 0"),
        plainRow("eZelSTKEnvelopCmd", "AT+STKENV=\"D30782020181900101\"\r\n",
                 [](zelString **s) { return eZelSTKEnvelopCmd("D30782020181900101", s); },
                 "+STKENV: 9000\r\n+STKPCI: 0,\"D0\""),
    });
}

TEST_F(FamilyTest, RefusedArgumentsSendNothing) {
    checkRefusals({
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
    });
}

TEST_F(FamilyTest, IccidIsTheTwentyBytesAfterItsPrefix) {
    expectReplies(zelGetICCID, {
        {"\r\n+ICCID: 89860112345678901234\r\n\r\nOK\r\n", 0, "89860112345678901234"},
        {"\r\n+ICCID: 89860112345678901234F\r\n\r\nERROR\r\n", 0, "89860112345678901234"},
        {"\r\nICCID: 8986\r\n+CME ERROR: 10\r\n", 0, "8986\r\n+CME ERROR: 10"},  // short: up to the reply's end
        {"\r\n+ICCID:89860112345678901234\r\n\r\nOK\r\n", 5, kKept},  // the blank belongs to the prefix
        {"\r\n+CME ERROR: 10\r\n", 5, kKept},
    });
}

TEST_F(FamilyTest, PrefixedSimTextNeedsItsPrefixBeforeTheFirstOk) {
    expectReplies(zelCPINGet, {
        {"\r\n+CPIN: READY\r\n\r\nOK\r\n", 0, "READY"},
        {"\r\nTOKEN\r\n+CPIN: READY\r\n\r\nOK\r\n", 5, kNull},  // first OK before the prefix
        {"\r\n+CME ERROR: 10\r\n", 5, kNull},
    });
    expectReplies(zelCPINRGet, {
        {"\r\n+CPINR: SIM PIN,3,3\r\n+CPINR: SIM PUK,10,10\r\n\r\nOK\r\n", 0, "SIM PIN,3,3\r\n+CPINR: SIM PUK,10,10"},
        {"\r\n+CPIN: READY\r\n\r\nOK\r\n", 5, kNull},  // a sibling's prefix
        {"\r\n+CPINR: SIM PIN,3,3\r\n\r\nERROR\r\n", 5, kNull},
    });
}

TEST_F(FamilyTest, ToolkitTextRunsFromTheReplyStartToTheFirstOk) {
    expectReplies([](zelString **s) { return eZelSTKTerminalRespCmd("8103", s); }, {
        {"OK\r\n\r\nOK\r\n", 5, kNull},                       // "OK" at the very start
        {"\r\nOK\r\n", 0, ""},                                // only a line break before it
        {"\r\n+STKTR: 0\r\n\r\nOK\r\n", 0, "+STKTR: 0"},
        {"\r\n+STKTR: TOOK 3\r\n\r\nOK\r\n", 0, "+STKTR: TO"},  // "OK" inside the text cuts it
    });
}

}  // namespace

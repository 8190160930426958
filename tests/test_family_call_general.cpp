// Call control and general device commands against a scripted server: the
// tables of every function, the argument checks and the reply edge cases.
#include <string>
#include <vector>

#include "family_table.h"

namespace {

using namespace zeltest;

TEST_F(FamilyTest, CallControlTable) {
    checkTable("zel_call_control_api", {
        okRow("zelATAGet", "ATA;\r\n", zelATAGet),
        okRow("zelATHGet", "ATH;\r\n", zelATHGet),
        okRow("zelCHUPGet", "AT+CHUP;\r\n", zelCHUPGet),
        intRow("zelCRCGet", "AT+CRC?\r\n", "CRC:", zelCRCGet, "+CRC: 1", 1),
        okRow("zelCRCSet", "AT+CRC=-1\r\n", [] { return zelCRCSet(-1); }),
        intRow("zelCSTAGet", "AT+CSTA?\r\n", "CSTA:", zelCSTAGet, "+CSTA: 145", 145),
        okRow("zelCSTASet", "AT+CSTA=129\r\n", [] { return zelCSTASet(129); }),
        intRow("zelCVHUGet", "AT+CVHU?\r\n", "CVHU:", zelCVHUGet, "+CVHU: 2", 2),
        okRow("zelCVHUSet", "AT+CVHU=0\r\n", [] { return zelCVHUSet(0); }),
        textRow("zelCEERGet", "AT+CEER\r\n", "+CEER: ", zelCEERGet, "Normal call clearing"),
        textRow("zelCPASGet", "AT+CPAS\r\n", "+CPAS: ", zelCPASGet, "0"),
        textRow("zelCPBSGet", "AT+CPBS?\r\n", "+CPBS: ", zelCPBSGet, "\"SM\",10,250"),
        // The name is inserted as it is, never used as a format.
        okRow("zelCpbsSet", "AT+CPBS=\"S%dM\"\r\n", [] { return zelCpbsSet("S%dM"); }),
        plainRow("zelCENGet", "AT+CEN?\r\n", zelCENGet, "+CEN: 1,460"),
        okRow("zelCENSet", "AT+CEN=1\r\n", [] { return zelCENSet(1); }),
        textRow("zelCEMODEGet", "AT+CEMODE?\r\n", "+CEMODE: ", zelCEMODEGet, "2"),
        plainRow("zelCRLPSet", "AT+CRLP=61,61,48,6,-3\r\n",
                 [](zelString **s) { return zelCRLPSet(61, 61, 48, 6, -3, s); }, "CRLP SET"),
        // Lines before the final OK keep their inner line break.
        plainRow("zelGetCRLP", "AT+CRLP?\r\n", zelGetCRLP, "+CRLP: 61,61,48,6,0\r\n+CRLP: 120,120,48,6,1"),
    });
}

zelString g_config_value = {const_cast<char *>("\"apn name\",1"), 12};

TEST_F(FamilyTest, GeneralTable) {
    checkTable("zel_general_api", {
        plainRow("zelATIGet", "ATI\r\n", zelATIGet, "Manufacturer: Zelto\r\nModel: ZM100\r\nRevision: ZM100R01"),
        okRow("zelATE0Get", "ATE0\r\n", zelATE0Get),
        okRow("zelATE1Get", "ATE1\r\n", zelATE1Get),
        okRow("zelATZGet", "ATZ\r\n", zelATZGet),
        okRow("zelATFGet", "AT&F\r\n", zelATFGet),
        okRow("zelCmeeSet", "AT+CMEE=2\r\n", [] { return zelCmeeSet(2); }),
        intRow("zelCmeeGet", "AT+CMEE?\r\n", "CMEE:", zelCmeeGet, "+CMEE: 2", 2),
        plainRow("zelCgmiGet", "AT+CGMI\r\n", zelCgmiGet, "Zelto"),
        plainRow("zelCgmmGet", "AT+CGMM\r\n", zelCgmmGet, "ZM100"),
        plainRow("zelCgmrGet", "AT+CGMR\r\n", zelCgmrGet, "ZM100R01A02"),
        plainRow("zelCgsnGet", "AT+CGSN\r\n", zelCgsnGet, "861234567890123"),
        okRow("zelCscsGet", "AT+CSCS\r\n", zelCscsGet),
        // 20 bytes after "CCLK: ", opening quote included, cut inside the zone.
        fixedRow("zelGetCCLK", "AT+CCLK?\r\n", "CCLK: ", zelGetCCLK, "+CCLK: \"24/05/01,12:34:56+08\"",
                 "\"24/05/01,12:34:56+0"),
        plainRow("zelGmiGet", "AT+GMI\r\n", zelGmiGet, "Zelto"),
        plainRow("zelGmmGet", "AT+GMM\r\n", zelGmmGet, "ZM100"),
        plainRow("zelGmrGet", "AT+GMR\r\n", zelGmrGet, "ZM100R01A02"),
        fixedRow("zelGetGcap", "AT+GCAP\r\n", "GCAP: ", zelGetGcap, "+GCAP: +CGSM,+FCLASS,+DS", "+CGSM,+F"),
        plainRow("zelGsnGet", "AT+GSN\r\n", zelGsnGet, "861234567890123"),
        plainRow("zelCRTCGet", "AT+CRTC=3\r\n", [](zelString **s) { return zelCRTCGet(3, s); }, "+CRTC: 1714566896"),
        plainRow("zelCADCREADGet", "AT+CADCREAD=-2\r\n", [](zelString **s) { return zelCADCREADGet(-2, s); },
                 "+CADCREAD: 2, 1803 mV"),
        plainRow("zelGetIMEI", "AT+IMEI?\r\n", zelGetIMEI, "+IMEI: 861234567890123"),
        plainRow("zelThermalGet", "AT+THERMAL\r\n", zelThermalGet, "xo_therm: 38\r\npa_therm0: 41"),
        okRow("zelTRBGet", "AT+TRB\r\n", zelTRBGet),
        okRow("zelEdlModeSet", "AT+EDLMODE\r\n", zelEdlModeSet),
        // The value's text goes in unquoted and unescaped.
        okRow("zelConfig", "AT+CONFIG=7,\"apn name\",1,-1\r\n", [] { return zelConfig(7, &g_config_value, -1); }),
    });
}

TEST_F(FamilyTest, RefusedArgumentsSendNothing) {
    checkRefusals({
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
         }, 5},
        {"zelConfig(too long)", [] {
             zelString v = {const_cast<char *>(kLong.c_str()), static_cast<int32_t>(kLong.size())};
             return zelConfig(1, &v, 2);
         }, 5},
    });
}

TEST_F(FamilyTest, AcceptedArgumentEdges) {
    // "AT+CPBS=\"" + name + "\"\r\n" with its zero byte fills the 1024 bytes exactly.
    const std::string name(1011, 'M');
    checkSent({
        {"longest storage name", [&] { return zelCpbsSet(name.c_str()); }, "AT+CPBS=\"" + name + "\"\r\n"},
        // A record trimmed in place holds less text than its `len` still counts.
        {"config value up to its end", [] {
             char text[] = " abc \0def";
             zelString v = {text, 9};
             trim(v.data);
             return zelConfig(0, &v, 0);
         }, "AT+CONFIG=0,abc,0\r\n"},
    });
}

TEST_F(FamilyTest, IntegerQueriesReadTheNumberAfterTheBarePrefix) {
    expectReplies(zelCmeeGet, {
        {"\r\n+CMEE: x\r\n\r\nOK\r\n", 0, "0"},       // not a number: 0
        {"\r\n+CMEE:-12,3\r\n\r\nOK\r\n", 0, "-12"},  // sign, stops at the comma
        {"\r\n+CME ERROR: 3\r\n", 5, kKept},          // no prefix
        {"\r\nCMEE: 1\r\n\r\nERROR\r\n", 0, "1"},     // the prefix alone decides
        {"\r\n+CMEE 1\r\n\r\nOK\r\n", 5, kKept},      // prefix needs its colon
    });
}

TEST_F(FamilyTest, PrefixedTextStartsAtTheFirstPrefixAndEndsAtTheFirstOk) {
    expectReplies(zelCEERGet, {
        {"\r\n+CEER: No cause\r\n\r\nOK\r\n", 0, "No cause"},
        {"\r\n+CEER: BROKEN LINK\r\n\r\nOK\r\n", 0, "BR"},    // "OK" inside the value cuts it
        {"\r\nTOKEN\r\n+CEER: 3\r\n\r\nOK\r\n", 5, kNull},   // first OK before the prefix
        {"\r\n+CEER:No cause\r\n\r\nOK\r\n", 5, kNull},      // the blank belongs to the prefix
        {"\r\n+CEER: 1\r\n+CEER: 2\r\n\r\nOK\r\n", 0, "1\r\n+CEER: 2"},
    });
}

TEST_F(FamilyTest, FixedWidthCopiesBytesAsTheyAreWithoutOk) {
    expectReplies(zelGetCCLK, {
        // A short clock: the line break and the next line's start are taken too.
        {"\r\n+CCLK: \"24/5/1\"\r\n\r\nOK\r\n", 0, "\"24/5/1\"\r\n\r\nOK\r\n"},
        // The first full "CCLK: " wins.
        {"\r\n+CCLK:\"24/05/01,12:34:56+08\"\r\nCCLK: \"24/05/01,12:34:56+08\"\r\n\r\nOK\r\n", 0,
         "\"24/05/01,12:34:56+0"},
    });
    expectReplies(zelGetGcap, {
        {"\r\n+GCAP: +CGSM\r\n\r\nERROR\r\n", 0, "+CGSM\r\n\r"},
        {"\r\nGCAP: +CGSM+CME ERROR", 0, "+CGSM+CM"},  // an extended error ends the reply
    });
}

}  // namespace

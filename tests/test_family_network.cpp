// The network family against a scripted server: one table for every function,
// argument checks in the order they are made, and the wrappers with replies
// of their own (registration logs, the operator scan, the network time zone).
#include <string>

#include "family_table.h"

namespace {

using namespace zeltest;

TEST_F(FamilyTest, NetworkTable) {
    const std::string bands(1010, '7');  // with the command and its zero byte: 1024 bytes
    checkTable("zel_network_api", {
        INT(zelCfunGet(i), "AT+CFUN?\r\n", "+CFUN:"),
        PLAIN(zelWS46Get(s), "AT+WS46?\r\n"),
        OK(zelWs46Set(25), "AT+WS46=25\r\n"),
        TEXT(zelCGREGGet(s), "AT+CGREG?\r\n", "+CGREG: "),
        OK(zelCGREGSet(2), "AT+CGREG=2\r\n"),
        TEXT(zelCEREGGet(s), "AT+CEREG?\r\n", "+CEREG: "),
        OK(zelCEREGSet(-1), "AT+CEREG=-1\r\n"),
        OK(zelCopsSet(1, 2, "00101", 7), "AT+COPS=1,2,\"00101\",7\r\n"),
        OK(zelCopsSet(0, 0, "", 0), "AT+COPS=0,0,\"\",0\r\n"),
        OK(zelCopsSet(3, 1, "Op A", 9), "AT+COPS=3,1,\"Op A\",9\r\n"),
        TEXT(zelCopsGet(s), "AT+COPS?\r\n", "+COPS: "),
        TEXT(zelCregGet(s), "AT+CREG?\r\n", "+CREG: "),
        OK(zelCregSet(1), "AT+CREG=1\r\n"),
        TEXT(zelGetCIND(s), "AT+CIND?\r\n", "+CIND: "),
        TEXT(zelGetCSQ(s), "AT+CSQ\r\n", "+CSQ: "),
        INT(zelCPLSGet(i), "AT+CPLS?\r\n", "CPLS:"),
        OK(zelCPLSSet(2), "AT+CPLS=2\r\n"),
        PLAIN(zelCOPNGet(s), "AT+COPN\r\n"),
        OK(zelClckSet("\"SC\"", 1, "1234", 128), "AT+CLCK=\"SC\",1,\"1234\",128\r\n"),
        OK(zelClckSet("PN", 2, "", 1), "AT+CLCK=PN,2,\"\",1\r\n"),
        OK(zelClckSet("AO", 0, "9", 32), "AT+CLCK=AO,0,\"9\",32\r\n"),
        OK(zelCpwdSet("SC", "1234", "4321"), "AT+CPWD=SC,1234,\"4321\"\r\n"),
        TEXT(zelCCopsGet(s), "AT+CCOPS?\r\n", "+CCOPS: "),
        TEXT(zelCopsScan(s), "AT+COPS=?\r\n", "+COPS: ").wait(120),
        INT(zelGSMGet(i), "AT+GSM?\r\n", "GSM:"),
        OK(zelGSMSet(0), "AT+GSM=0\r\n"),
        PLAIN(zelCGCONTRDPGet(1, s), "AT+CGCONTRDP=1\r\n"),
        PLAIN(zelCGSCONTRDPGet(2, s), "AT+CGSCONTRDP=2\r\n"),
        PLAIN(zelCGTFTRDPGet(-3, s), "AT+CGTFTRDP=-3\r\n"),
        PLAIN(zelCGEQOSSet(1, 9, 0, 0, 100, -50, s), "AT+CGEQOS=1,9,0,0,100,-50\r\n"),
        PLAIN(zelGetCGEQOS(s), "AT+CGEQOS?\r\n"),
        INT(zelCGATTGet(i), "AT+CGATT?\r\n", "CGATT:"),
        OK(zelCGATTSet(1), "AT+CGATT=1\r\n"),
        TEXT(zelCGACTGet(s), "AT+CGACT?\r\n", "+CGACT: "),
        OK(zelCGDCONTSet(1, "IPV4V6", "internet"), "AT+CGDCONT=1,\"IPV4V6\",\"internet\"\r\n"),
        OK(zelCGDCONTSet(8, "IP", ""), "AT+CGDCONT=8,\"IP\",\"\"\r\n"),
        OK(zelCGDATASet("PPP", 8), "AT+CGDATA=PPP,\"8\"\r\n"),
        OK(zelCGDATASet("M-PPP", 1), "AT+CGDATA=M-PPP,\"1\"\r\n"),
        PLAIN(zelCGPADDRGet(s), "AT+CGPADDR\r\n"),
        PLAIN(zelGetQcmapen(s), "AT+QCMAPEN?\r\n"),
        OK(zelSetQcmapen(1), "AT+QCMAPEN=1\r\n"),
        PLAIN(zelGetNetif(s), "AT+NETIF?\r\n"),
        TEXT(zelGetCgdcont(s), "AT+CGDCONT?\r\n", "+CGDCONT: "),
        PLAIN(zelApnGet(s), "AT+CAPN?\r\n"),
        OK(zelPINGSTOP(), "AT+PINGSTOP\r\n"),
        INT(zelCTZRGet(i), "AT+CTZR?\r\n", "CTZR:"),
        OK(zelCTZRSet(3), "AT+CTZR=3\r\n"),
        INT(zelCTZUGet(i), "AT+CTZU?\r\n", "CTZU:"),
        OK(zelCTZUSet(1), "AT+CTZU=1\r\n"),
        INT(zelVOLTEGet(i), "AT+VOLTE?\r\n", "VOLTE:"),
        OK(zelVOLTESet(0), "AT+VOLTE=0\r\n"),
        TEXT(zelCLIPGet(s), "AT+CLIP?\r\n", "+CLIP: "),
        OK(zelCLIPSet(1), "AT+CLIP=1\r\n"),
        TEXT(zelCACTBANDSGet(s), "AT+CACTBANDS?\r\n", "+CACTBANDS: "),
        CUSTOM(zelCNTZGet(i), "AT+CNTZ?\r\n", "+CNTZ: -20", "-20"),
        TEXT(zelCLSWBGet(s), "AT+CLSWB?\r\n", "+CLSWB: "),
        OK(zelCLSWBSet("1,3,7,20"), "AT+CLSWB=\"1,3,7,20\"\r\n"),
        OK(zelCLSWBSet(bands.c_str()), "AT+CLSWB=\"" + bands + "\"\r\n"),
        TEXT(zelCGSWBGet(s), "AT+CGSWB?\r\n", "+CGSWB: "),
        OK(zelCGSWBSet(""), "AT+CGSWB=\"\"\r\n"),
        TEXT(zelCBRSTATEGet(s), "AT+CBRSTATE\r\n", "+CBRSTATE: "),
        PLAIN(zelCLATENCYGet(s), "AT+CLATENCY?\r\n"),
        PLAIN(zelCalUpSpeedGet(s), "AT+CALUPSPEED?\r\n"),
        // Throughput names a target and a value only when both are given.
        PLAIN(zelCalUpSpeedSet(-2, "srv", 1, s), "AT+CALUPSPEED=-2,\"srv\",1\r\n"),
        PLAIN(zelCalUpSpeedSet(1, "", 5, s), "AT+CALUPSPEED=1\r\n"),
        PLAIN(zelCalUpSpeedSet(1, nullptr, 5, s), "AT+CALUPSPEED=1\r\n"),
        PLAIN(zelCalUpSpeedSet(2, "srv", 0, s), "AT+CALUPSPEED=2\r\n"),
        PLAIN(zelCalUpSpeedSet(2, "srv", -5, s), "AT+CALUPSPEED=2\r\n"),
        PLAIN(zelCalUpSpeedSet(3, kLong.c_str(), 0, s), "AT+CALUPSPEED=3\r\n"),
        PLAIN(zelCalDlSpeedGet(s), "AT+CALDLSPEED?\r\n"),
        PLAIN(zelCalDlSpeedSet(1, "host", 10, s), "AT+CALDLSPEED=1,\"host\",10\r\n"),
        PLAIN(zelCalDlSpeedSet(1, "", 10, s), "AT+CALDLSPEED=1\r\n"),
        PLAIN(zelCalDlSpeedSet(4, "host", 0, s), "AT+CALDLSPEED=4\r\n"),
    });
}

TEST_F(FamilyTest, RefusedArgumentsInOrder) {
    checkRefusals({
        REFUSE(zelCopsSet(2, 0, "x", 0), 1),
        REFUSE(zelCopsSet(4, 0, "x", 0), 1),
        REFUSE(zelCopsSet(kNeg, 0, "x", 0), 1),
        REFUSE(zelCopsSet(0, 3, "x", 0), 1),
        REFUSE(zelCopsSet(0, kNeg, "x", 0), 1),
        REFUSE(zelCopsSet(2, 0, nullptr, 0), 1),
        REFUSE(zelCopsSet(0, 3, nullptr, 10), 1),
        REFUSE(zelCopsSet(0, 0, nullptr, 10), 2),
        REFUSE(zelCopsSet(3, 0, "x", 10), 1),
        REFUSE(zelCopsSet(0, 0, "x", kNeg), 1),
        REFUSE(zelClckSet(nullptr, 3, nullptr, 16), 2),
        REFUSE(zelClckSet("SC", 3, nullptr, 16), 1),
        REFUSE(zelClckSet("SC", kNeg, "1", 1), 1),
        REFUSE(zelClckSet("SC", 0, nullptr, 16), 2),
        REFUSE(zelClckSet("SC", 0, "1", 16), 1),
        REFUSE(zelClckSet("SC", 0, "1", 0), 1),
        REFUSE(zelClckSet("SC", 0, "1", 3), 1),
        REFUSE(zelClckSet("SC", 0, "1", 256), 1),
        REFUSE(zelClckSet("SC", 0, "1", kNeg), 1),
        REFUSE(zelCpwdSet(nullptr, "1", "2"), 2),
        REFUSE(zelCpwdSet("SC", nullptr, "2"), 2),
        REFUSE(zelCpwdSet("SC", "1", nullptr), 2),
        REFUSE(zelCGDCONTSet(0, "IP", "a"), 1),
        REFUSE(zelCGDCONTSet(9, "IP", nullptr), 1),
        REFUSE(zelCGDCONTSet(0, nullptr, nullptr), 1),
        REFUSE(zelCGDCONTSet(1, nullptr, "a"), 2),
        REFUSE(zelCGDCONTSet(1, "IP", nullptr), 2),
        REFUSE(zelCGDATASet(nullptr, 0), 2),
        REFUSE(zelCGDATASet("PPP", 0), 1),
        REFUSE(zelCGDATASet("PPP", 9), 1),
        REFUSE(zelCLSWBSet(nullptr), 2),
        REFUSE(zelCLSWBSet(std::string(1011, '7').c_str()), 5),
        REFUSE(zelCGSWBSet(nullptr), 2),
        REFUSE(zelCNTZGet(nullptr), 5),
    });
}

TEST_F(FamilyTest, CgregLogsWhatItCouldNotFind) {
    const std::string no_prefix = "\r\n+CREG: 0,1\r\n\r\nOK\r\n", empty_span = "\r\n+CGREG: OK\r\n\r\nOK\r\n",
                      ok_first = "\r\n+X: OK\r\n+CGREG: 1\r\n\r\nOK\r\n";
    expectReplies(ZEL_CALL(zelCGREGGet(s)), {
        {no_prefix, 5, kNull, "p1 is NULL, data: " + no_prefix, LOG_INFO},
        {empty_span, 5, kNull, "greg is NULL, data: " + empty_span, LOG_INFO},
        {ok_first, 5, kNull, "greg is NULL, data: " + ok_first, LOG_INFO},  // OK before the prefix
    });
    run(ZEL_CALL(zelCGREGGet(s)), "\r\n+CGREG: 0,1\r\n\r\nERROR\r\n");
    EXPECT_EQ(log.count("zel_network_api:"), 0) << "a reply without OK is not logged";
    run(ZEL_CALL(zelCEREGGet(s)), no_prefix);
    EXPECT_EQ(log.count("zel_network_api:"), 0) << "the siblings fail without a word";
}

TEST_F(FamilyTest, CopsScanSpansToTheFirstOkAfterItsPrefix) {
    const std::string ok_first = "\r\n+CSPN: \"OKnet\",0\r\n+COPS: (2,\"A\"),,(0,1)\r\n\r\nOK\r\n";
    expectReplies(ZEL_CALL(zelCopsScan(s)), {
        {ok_first, 0, "(2,\"A\"),,(0,1)"},
        {"\r\n+COPS: (2,\"TOKYO\")\r\n\r\nOK\r\n", 0, "(2,\"T"},  // OK inside the list ends it
    }, 120);
    // An ordinary text query stops at the first OK and so fails on the same reply.
    expectReplies(ZEL_CALL(zelCopsGet(s)), {{ok_first, 5, kNull}});
}

TEST_F(FamilyTest, NetworkTimeZoneRange) {
    expectReplies(ZEL_CALL(zelCNTZGet(i)), {
        {"\r\n+CNTZ: 48\r\n\r\nOK\r\n", 0, "48", "Timezone string is  48"},
        {"\r\n+CNTZ:-48\r\n\r\nOK\r\n", 0, "-48", "Timezone string is  -48"},
        {"\r\n+CNTZ: 49\r\n\r\nOK\r\n", 5, "0"},
        {"\r\n+CNTZ: -49\r\n\r\nOK\r\n", 5, "0"},
        {"\r\n+CNTZ: 4294967248\r\n\r\nOK\r\n", 5, "0"},  // not -48 cut to 32 bits
        {"\r\n+CNTZ: 8\r\n\r\nERROR\r\n", 5, kKept},
        {"\r\n+CTZV: 8\r\n\r\nOK\r\n", 5, kKept, "p1 is NULL, data: \r\n+CTZV: 8\r\n\r\nOK\r\n"},
        {"\r\n+CNTZ:OK\r\n\r\nOK\r\n", 5, kKept, "netTimeZone is NULL, data: \r\n+CNTZ:OK"},
    });
}

}  // namespace

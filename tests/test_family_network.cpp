// The network family against a scripted server: the tables of every function,
// argument checks in the order they are made, and the wrappers with replies
// of their own (registration logs, the operator scan, the network time zone).
#include <string>
#include <vector>

#include "family_table.h"

namespace {

using namespace zeltest;

// ---- Registration, operators, indicators ----

TEST_F(FamilyTest, RegistrationFamilyTable) {
    checkTable("zel_network_api", {
        intRow("zelCfunGet", "AT+CFUN?\r\n", "+CFUN:", zelCfunGet, "+CFUN: 1", 1),
        plainRow("zelWS46Get", "AT+WS46?\r\n", zelWS46Get, "+WS46: 25"),
        okRow("zelWs46Set", "AT+WS46=25\r\n", [] { return zelWs46Set(25); }),
        textRow("zelCGREGGet", "AT+CGREG?\r\n", "+CGREG: ", zelCGREGGet, "2,1,\"1A2B\",\"01C3D4E5\",7").logsFailures(),
        okRow("zelCGREGSet", "AT+CGREG=2\r\n", [] { return zelCGREGSet(2); }),
        textRow("zelCEREGGet", "AT+CEREG?\r\n", "+CEREG: ", zelCEREGGet, "0,1"),
        okRow("zelCEREGSet", "AT+CEREG=-1\r\n", [] { return zelCEREGSet(-1); }),
        okRow("zelCopsSet", "AT+COPS=1,2,\"00101\",7\r\n", [] { return zelCopsSet(1, 2, "00101", 7); }),
        textRow("zelCopsGet", "AT+COPS?\r\n", "+COPS: ", zelCopsGet, "0,0,\"Net A\",7"),
        textRow("zelCregGet", "AT+CREG?\r\n", "+CREG: ", zelCregGet, "0,1"),
        okRow("zelCregSet", "AT+CREG=1\r\n", [] { return zelCregSet(1); }),
        textRow("zelGetCIND", "AT+CIND?\r\n", "+CIND: ", zelGetCIND, "5,0,0,0,1,0,1,0"),
        textRow("zelGetCSQ", "AT+CSQ\r\n", "+CSQ: ", zelGetCSQ, "21,99"),
        intRow("zelCPLSGet", "AT+CPLS?\r\n", "CPLS:", zelCPLSGet, "+CPLS: 2", 2),
        okRow("zelCPLSSet", "AT+CPLS=2\r\n", [] { return zelCPLSSet(2); }),
        plainRow("zelCOPNGet", "AT+COPN\r\n", zelCOPNGet, "+COPN: \"00101\",\"Net A\"\r\n+COPN: \"00102\",\"Net B\""),
        okRow("zelClckSet", "AT+CLCK=\"SC\",1,\"1234\",128\r\n", [] { return zelClckSet("\"SC\"", 1, "1234", 128); }),
        okRow("zelCpwdSet", "AT+CPWD=SC,1234,\"4321\"\r\n", [] { return zelCpwdSet("SC", "1234", "4321"); }),
        textRow("zelCCopsGet", "AT+CCOPS?\r\n", "+CCOPS: ", zelCCopsGet, "0,2,\"00101\""),
        textRow("zelCopsScan", "AT+COPS=?\r\n", "+COPS: ", zelCopsScan, "(2,\"Net A\",\"NetA\",\"00101\",7),,(0,1)")
            .wait(120),
        intRow("zelGSMGet", "AT+GSM?\r\n", "GSM:", zelGSMGet, "+GSM: 1", 1),
        okRow("zelGSMSet", "AT+GSM=0\r\n", [] { return zelGSMSet(0); }),
    });
}

TEST_F(FamilyTest, RegistrationArgumentChecksInOrder) {
    checkRefusals({
        {"cops mode 2", [] { return zelCopsSet(2, 0, "x", 0); }, 1},
        {"cops mode 4", [] { return zelCopsSet(4, 0, "x", 0); }, 1},
        {"cops mode -1", [] { return zelCopsSet(kNeg, 0, "x", 0); }, 1},
        {"cops format 3", [] { return zelCopsSet(0, 3, "x", 0); }, 1},
        {"cops format -1", [] { return zelCopsSet(0, kNeg, "x", 0); }, 1},
        {"cops mode before null oper", [] { return zelCopsSet(2, 0, nullptr, 0); }, 1},
        {"cops format before null oper", [] { return zelCopsSet(0, 3, nullptr, 10); }, 1},
        {"cops null oper", [] { return zelCopsSet(0, 0, nullptr, 0); }, 2},
        {"cops null oper before act", [] { return zelCopsSet(0, 0, nullptr, 10); }, 2},
        {"cops act 10", [] { return zelCopsSet(3, 0, "x", 10); }, 1},
        {"cops act -1", [] { return zelCopsSet(0, 0, "x", kNeg); }, 1},
        {"clck null fac first", [] { return zelClckSet(nullptr, 3, nullptr, 16); }, 2},
        {"clck mode before null passwd", [] { return zelClckSet("SC", 3, nullptr, 16); }, 1},
        {"clck mode -1", [] { return zelClckSet("SC", kNeg, "1", 1); }, 1},
        {"clck null passwd before class", [] { return zelClckSet("SC", 0, nullptr, 16); }, 2},
        {"clck class 16", [] { return zelClckSet("SC", 0, "1", 16); }, 1},
        {"clck class 0", [] { return zelClckSet("SC", 0, "1", 0); }, 1},
        {"clck class 3", [] { return zelClckSet("SC", 0, "1", 3); }, 1},
        {"clck class 256", [] { return zelClckSet("SC", 0, "1", 256); }, 1},
        {"clck class -1", [] { return zelClckSet("SC", 0, "1", kNeg); }, 1},
        {"cpwd null fac", [] { return zelCpwdSet(nullptr, "1", "2"); }, 2},
        {"cpwd null old", [] { return zelCpwdSet("SC", nullptr, "2"); }, 2},
        {"cpwd null new", [] { return zelCpwdSet("SC", "1", nullptr); }, 2},
        {"cfun null", [] { return zelCfunGet(nullptr); }, 5},
        {"cgreg null", [] { return zelCGREGGet(nullptr); }, 5},
        {"scan null", [] { return zelCopsScan(nullptr); }, 5},
        {"cops long oper", [] { return zelCopsSet(0, 0, kLong.c_str(), 0); }, 5},
        {"clck long fac", [] { return zelClckSet(kLong.c_str(), 0, "1", 1); }, 5},
        {"clck long passwd", [] { return zelClckSet("SC", 0, kLong.c_str(), 1); }, 5},
        {"cpwd long fac", [] { return zelCpwdSet(kLong.c_str(), "1", "2"); }, 5},
        {"cpwd long old", [] { return zelCpwdSet("SC", kLong.c_str(), "2"); }, 5},
        {"cpwd long new", [] { return zelCpwdSet("SC", "1", kLong.c_str()); }, 5},
    });
}

TEST_F(FamilyTest, RegistrationAcceptedArgumentEdges) {
    checkSent({
        {"cops mode 0", [] { return zelCopsSet(0, 0, "", 0); }, "AT+COPS=0,0,\"\",0\r\n"},
        {"cops mode 3 act 9", [] { return zelCopsSet(3, 1, "Op A", 9); }, "AT+COPS=3,1,\"Op A\",9\r\n"},
        {"clck class 1", [] { return zelClckSet("SC", 0, "0000", 1); }, "AT+CLCK=SC,0,\"0000\",1\r\n"},
        {"clck mode 2 class 64", [] { return zelClckSet("PN", 2, "", 64); }, "AT+CLCK=PN,2,\"\",64\r\n"},
        {"clck class 32", [] { return zelClckSet("AO", 1, "9", 32); }, "AT+CLCK=AO,1,\"9\",32\r\n"},
    });
}

TEST_F(FamilyTest, PrefixesWithoutPlusMatchAnywhere) {
    expectReplies(zelCPLSGet, {{"\r\nCPLS:1\r\n\r\nOK\r\n", 0, "1"}});
    expectReplies(zelGSMGet, {{"\r\nGSM: 1\r\n\r\nOK\r\n", 0, "1"}});
    expectReplies(zelCGATTGet, {{"\r\nCGATT:1\r\n\r\nOK\r\n", 0, "1"}});
    expectReplies(zelCTZRGet, {{"\r\nCTZR: 2\r\n\r\nOK\r\n", 0, "2"}});
    expectReplies(zelCTZUGet, {{"\r\nCTZU:1\r\n\r\nOK\r\n", 0, "1"}});
    expectReplies(zelVOLTEGet, {{"\r\nVOLTE: 1\r\n\r\nOK\r\n", 0, "1"}});
    // CFUN's prefix keeps its plus sign and needs no blank after the colon.
    expectReplies(zelCfunGet, {
        {"\r\nCFUN: 1\r\n\r\nOK\r\n", 5, kKept},
        {"\r\n+CFUN:1\r\n\r\nOK\r\n", 0, "1"},
        {"\r\n+CFUN: 0\r\n+CME ERROR: 3\r\n", 0, "0"},
    });
}

TEST_F(FamilyTest, CgregLogsWhatItCouldNotFind) {
    struct Case {
        std::string reply;
        const char *line;  // expected LOG_INFO text before the reply (nullptr: none)
    };
    const std::vector<Case> cases = {
        {"\r\n+CREG: 0,1\r\n\r\nOK\r\n", "p1 is NULL, data: "},             // no prefix
        {"\r\n+CGREG: OK\r\n\r\nOK\r\n", "greg is NULL, data: "},           // empty span
        {"\r\n+X: OK\r\n+CGREG: 1\r\n\r\nOK\r\n", "greg is NULL, data: "},  // OK before the prefix
        {"\r\n+CGREG: 0,1\r\n\r\nERROR\r\n", nullptr},                      // no OK
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply);
        Outcome o = run(zelCGREGGet, c.reply);
        EXPECT_EQ(o.status, 5);
        EXPECT_EQ(o.out, kNull);
        if (c.line == nullptr)
            EXPECT_FALSE(log.contains("p1 is NULL") || log.contains("greg is NULL"));
        else
            EXPECT_TRUE(log.contains(std::string(c.line) + c.reply, LOG_INFO));
    }
    // The siblings fail without a word.
    EXPECT_EQ(run(zelCEREGGet, "\r\n+CREG: 0,1\r\n\r\nOK\r\n").status, 5);
    EXPECT_EQ(log.count("zel_network_api:"), 0);
}

TEST_F(FamilyTest, CopsScanSpansToTheFirstOkAfterItsPrefix) {
    const std::string list =
        "(2,\"Net A\",\"NetA\",\"00101\",7),(1,\"Net B\",\"NetB\",\"00102\",0),,(0,1,2,3,4),(0,1,2)";
    const std::string ok_first = "\r\n+CSPN: \"OKnet\",0\r\n+COPS: " + list + "\r\n\r\nOK\r\n";
    expectReplies(zelCopsScan, {
        {"\r\n+COPS: " + list + "\r\n\r\nOK\r\n", 0, list},
        {ok_first, 0, list},                                     // OK before the prefix
        {"\r\n+COPS: (2,\"TOKYO\")\r\n\r\nOK\r\n", 0, "(2,\"T"},  // OK inside the list ends it
        {"\r\n+CREG: 1\r\n\r\nOK\r\n", 5, kNull},
        {"\r\n+COPS: " + list + "\r\n\r\nERROR\r\n", 5, kNull},
    }, 120);
    // An ordinary text query stops at the first OK and so fails on the same reply.
    expectReplies(zelCopsGet, {{ok_first, 5, kNull}});
}

TEST_F(FamilyTest, CregKeepsOnlyTheValue) {
    expectReplies(zelCregGet, {{"\r\n+CREG: 0,1\r\n\r\n\r\nOK\r\n", 0, "0,1"}});
}

// ---- Packet data contexts ----

TEST_F(FamilyTest, PacketDataFamilyTable) {
    checkTable("zel_network_api", {
        plainRow("zelCGCONTRDPGet", "AT+CGCONTRDP=1\r\n", [](zelString **t) { return zelCGCONTRDPGet(1, t); },
                 "+CGCONTRDP: 1,5,\"internet\",\"10.0.0.2\""),
        plainRow("zelCGSCONTRDPGet", "AT+CGSCONTRDP=2\r\n", [](zelString **t) { return zelCGSCONTRDPGet(2, t); },
                 "+CGSCONTRDP: 2,1,0"),
        plainRow("zelCGTFTRDPGet", "AT+CGTFTRDP=-3\r\n", [](zelString **t) { return zelCGTFTRDPGet(-3, t); }),
        plainRow("zelCGEQOSSet", "AT+CGEQOS=1,9,0,0,100,-50\r\n",
                 [](zelString **t) { return zelCGEQOSSet(1, 9, 0, 0, 100, -50, t); }),
        plainRow("zelGetCGEQOS", "AT+CGEQOS?\r\n", zelGetCGEQOS, "+CGEQOS: 1,9,0,0"),
        intRow("zelCGATTGet", "AT+CGATT?\r\n", "CGATT:", zelCGATTGet, "+CGATT: 1", 1),
        okRow("zelCGATTSet", "AT+CGATT=1\r\n", [] { return zelCGATTSet(1); }),
        // Every context after the first keeps its prefix.
        textRow("zelCGACTGet", "AT+CGACT?\r\n", "+CGACT: ", zelCGACTGet, "1,1\r\n+CGACT: 2,0"),
        okRow("zelCGDCONTSet", "AT+CGDCONT=1,\"IPV4V6\",\"internet\"\r\n",
              [] { return zelCGDCONTSet(1, "IPV4V6", "internet"); }),
        okRow("zelCGDATASet", "AT+CGDATA=PPP,\"8\"\r\n", [] { return zelCGDATASet("PPP", 8); }),
        plainRow("zelCGPADDRGet", "AT+CGPADDR\r\n", zelCGPADDRGet, "+CGPADDR: 1,\"10.0.0.2\""),
        plainRow("zelGetQcmapen", "AT+QCMAPEN?\r\n", zelGetQcmapen, "+QCMAPEN: 1"),
        okRow("zelSetQcmapen", "AT+QCMAPEN=1\r\n", [] { return zelSetQcmapen(1); }),
        plainRow("zelGetNetif", "AT+NETIF?\r\n", zelGetNetif, "rmnet_data0"),
        textRow("zelGetCgdcont", "AT+CGDCONT?\r\n", "+CGDCONT: ", zelGetCgdcont,
                "1,\"IP\",\"a\",\"10.0.0.2\",0,0\r\n+CGDCONT: 2,\"IPV6\",\"ims\""),
        plainRow("zelApnGet", "AT+CAPN?\r\n", zelApnGet, "+CAPN: \"internet\""),
    });
}

TEST_F(FamilyTest, PacketDataArgumentChecksInOrder) {
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
        {"cgdcont long type", [] { return zelCGDCONTSet(1, kLong.c_str(), "a"); }, 5},
        {"cgdcont long apn", [] { return zelCGDCONTSet(1, "IP", kLong.c_str()); }, 5},
        {"cgdata long l2p", [] { return zelCGDATASet(kLong.c_str(), 1); }, 5},
    });
    checkSent({
        {"cgdcont cid 8", [] { return zelCGDCONTSet(8, "IP", ""); }, "AT+CGDCONT=8,\"IP\",\"\"\r\n"},
        {"cgdata cid 1", [] { return zelCGDATASet("M-OPT-PPP", 1); }, "AT+CGDATA=M-OPT-PPP,\"1\"\r\n"},
    });
}

// ---- Time zone, voice, bands, throughput ----

TEST_F(FamilyTest, TimeZoneBandFamilyTable) {
    checkTable("zel_network_api", {
        okRow("zelPINGSTOP", "AT+PINGSTOP\r\n", zelPINGSTOP),
        intRow("zelCTZRGet", "AT+CTZR?\r\n", "CTZR:", zelCTZRGet, "+CTZR: 2", 2),
        okRow("zelCTZRSet", "AT+CTZR=3\r\n", [] { return zelCTZRSet(3); }),
        intRow("zelCTZUGet", "AT+CTZU?\r\n", "CTZU:", zelCTZUGet, "+CTZU: 1", 1),
        okRow("zelCTZUSet", "AT+CTZU=1\r\n", [] { return zelCTZUSet(1); }),
        intRow("zelVOLTEGet", "AT+VOLTE?\r\n", "VOLTE:", zelVOLTEGet, "+VOLTE: 1", 1),
        okRow("zelVOLTESet", "AT+VOLTE=0\r\n", [] { return zelVOLTESet(0); }),
        textRow("zelCLIPGet", "AT+CLIP?\r\n", "+CLIP: ", zelCLIPGet, "1,1"),
        okRow("zelCLIPSet", "AT+CLIP=1\r\n", [] { return zelCLIPSet(1); }),
        textRow("zelCACTBANDSGet", "AT+CACTBANDS?\r\n", "+CACTBANDS: ", zelCACTBANDSGet, "\"LTE\",3,7,20"),
        textRow("zelCLSWBGet", "AT+CLSWB?\r\n", "+CLSWB: ", zelCLSWBGet, "\"1,3,7,20\""),
        okRow("zelCLSWBSet", "AT+CLSWB=\"1,3,7,20\"\r\n", [] { return zelCLSWBSet("1,3,7,20"); }),
        textRow("zelCGSWBGet", "AT+CGSWB?\r\n", "+CGSWB: ", zelCGSWBGet, "\"900,1800\""),
        okRow("zelCGSWBSet", "AT+CGSWB=\"\"\r\n", [] { return zelCGSWBSet(""); }),
        textRow("zelCBRSTATEGet", "AT+CBRSTATE\r\n", "+CBRSTATE: ", zelCBRSTATEGet, "1,20,5"),
        plainRow("zelCLATENCYGet", "AT+CLATENCY?\r\n", zelCLATENCYGet, "+CLATENCY: 35"),
        plainRow("zelCalUpSpeedGet", "AT+CALUPSPEED?\r\n", zelCalUpSpeedGet, "+CALUPSPEED: 1"),
        plainRow("zelCalUpSpeedSet", "AT+CALUPSPEED=1,\"10.0.0.1\",30\r\n",
                 [](zelString **t) { return zelCalUpSpeedSet(1, "10.0.0.1", 30, t); }, "+CALSPEED: 1,20"),
        plainRow("zelCalDlSpeedGet", "AT+CALDLSPEED?\r\n", zelCalDlSpeedGet, "+CALDLSPEED: 0"),
        plainRow("zelCalDlSpeedSet", "AT+CALDLSPEED=0\r\n",
                 [](zelString **t) { return zelCalDlSpeedSet(0, nullptr, 0, t); }),
    });
}

TEST_F(FamilyTest, TimeZoneBandArgumentChecks) {
    checkRefusals({
        {"clswb null", [] { return zelCLSWBSet(nullptr); }, 2},
        {"cgswb null", [] { return zelCGSWBSet(nullptr); }, 2},
        {"cntz null", [] { return zelCNTZGet(nullptr); }, 5},
        {"up speed null out", [] { return zelCalUpSpeedSet(1, "x", 1, nullptr); }, 5},
        {"dl speed null out", [] { return zelCalDlSpeedSet(1, nullptr, 0, nullptr); }, 5},
        {"clswb long", [] { return zelCLSWBSet(kLong.c_str()); }, 5},
        {"cgswb long", [] { return zelCGSWBSet(kLong.c_str()); }, 5},
        {"up speed long text", [] { return zelCalUpSpeedSet(1, kLong.c_str(), 5, &g_sink); }, 5},
        {"dl speed long text", [] { return zelCalDlSpeedSet(1, kLong.c_str(), 5, &g_sink); }, 5},
    });
    EXPECT_EQ(log.count("zel_network_api:"), 4);
    EXPECT_EQ(log.count("command too long"), 4);
}

TEST_F(FamilyTest, CommandThatJustFitsIsSentWhole) {
    // "AT+CLSWB=\"" + bands + "\"\r\n" and its zero byte fill 1024 bytes exactly.
    const std::string bands(1010, '7');
    checkSent({{"1010 bands", [&] { return zelCLSWBSet(bands.c_str()); }, "AT+CLSWB=\"" + bands + "\"\r\n"}});
    checkRefusals({{"1011 bands", [] { return zelCLSWBSet(std::string(1011, '7').c_str()); }, 5}});
}

TEST_F(FamilyTest, ThroughputPicksItsForm) {
    const std::vector<Sent> cases = {
        {"up empty text", [](zelString **t) { return zelCalUpSpeedSet(1, "", 5, t); }, "AT+CALUPSPEED=1\r\n"},
        {"up null text", [](zelString **t) { return zelCalUpSpeedSet(1, nullptr, 5, t); }, "AT+CALUPSPEED=1\r\n"},
        {"up value 0", [](zelString **t) { return zelCalUpSpeedSet(2, "srv", 0, t); }, "AT+CALUPSPEED=2\r\n"},
        {"up value -5", [](zelString **t) { return zelCalUpSpeedSet(2, "srv", -5, t); }, "AT+CALUPSPEED=2\r\n"},
        {"up value 1", [](zelString **t) { return zelCalUpSpeedSet(-2, "srv", 1, t); },
         "AT+CALUPSPEED=-2,\"srv\",1\r\n"},
        {"up long text ignored", [](zelString **t) { return zelCalUpSpeedSet(3, kLong.c_str(), 0, t); },
         "AT+CALUPSPEED=3\r\n"},
        {"dl long form", [](zelString **t) { return zelCalDlSpeedSet(1, "host", 10, t); },
         "AT+CALDLSPEED=1,\"host\",10\r\n"},
        {"dl empty text", [](zelString **t) { return zelCalDlSpeedSet(1, "", 10, t); }, "AT+CALDLSPEED=1\r\n"},
        {"dl value 0", [](zelString **t) { return zelCalDlSpeedSet(4, "host", 0, t); }, "AT+CALDLSPEED=4\r\n"},
    };
    for (const Sent &c : cases) {
        SCOPED_TRACE(c.what);
        Outcome o = run(c.call, "\r\n+CALSPEED: 1,20\r\n\r\nOK\r\n");
        EXPECT_EQ(o.sent, c.command);
        EXPECT_EQ(o.status, 0);
        EXPECT_EQ(o.out, "+CALSPEED: 1,20");
    }
}

TEST_F(FamilyTest, NetworkTimeZoneRange) {
    struct Case {
        std::string reply;
        int32_t status;
        std::string out;
        const char *log;  // a LOG_ERR text expected, or nullptr
    };
    const std::vector<Case> cases = {
        {"\r\n+CNTZ: -20\r\n\r\nOK\r\n", 0, "-20", "Timezone string is  -20"},
        {"\r\n+CNTZ: 48\r\n\r\nOK\r\n", 0, "48", nullptr},    // upper bound
        {"\r\n+CNTZ: -48\r\n\r\nOK\r\n", 0, "-48", nullptr},  // lower bound
        {"\r\n+CNTZ: 49\r\n\r\nOK\r\n", 5, "0", "Timezone string is  49"},
        {"\r\n+CNTZ: -49\r\n\r\nOK\r\n", 5, "0", nullptr},
        {"\r\n+CNTZ: 4294967248\r\n\r\nOK\r\n", 5, "0", nullptr},  // wraps to -48 as 32 bits
        {"\r\n+CNTZ:+32\r\n\r\nOK\r\n", 0, "32", "Timezone string is  +32"},
        {"\r\n+CNTZ: \"x\"\r\n\r\nOK\r\n", 0, "0", nullptr},  // not a number
        {"\r\n+CNTZ: 8\r\n\r\nERROR\r\n", 5, kKept, nullptr},
        {"\r\n+CTZV: 8\r\n\r\nOK\r\n", 5, kKept, "p1 is NULL, data: \r\n+CTZV: 8\r\n\r\nOK\r\n"},
        {"\r\n+CNTZ:OK\r\n\r\nOK\r\n", 5, kKept, "netTimeZone is NULL, data: \r\n+CNTZ:OK"},
        {"", 5, kKept, "ret == NULL"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(c.reply);
        Outcome o = run(zelCNTZGet, c.reply);
        EXPECT_EQ(o.sent, "AT+CNTZ?\r\n");
        EXPECT_EQ(lastTimeout(), 15);
        EXPECT_EQ(o.status, c.status);
        EXPECT_EQ(o.out, c.out);
        if (c.log) {
            EXPECT_TRUE(log.contains(c.log, LOG_ERR));
        }
    }
}

}  // namespace

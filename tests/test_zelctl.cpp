// zelctl's pure pieces: reply texts cut into fields, the records of the
// library as JSON, the human rendering and the checks of command-line values.
#include <gtest/gtest.h>

#include <functional>

#include "render.h"

namespace {

using zelctl::Json;

struct Case {
    const char *name;
    std::function<Json()> got;
    const char *want;  // JSON text
};

TEST(Zelctl, RepliesBecomeFields) {
    using namespace zelctl;
    const Case cases[] = {
        {"csq", [] { return signalQuality("22,99"); }, R"({"rssi":22,"ber":99,"dbm":-69})"},
        {"csq unknown", [] { return signalQuality("99,99"); }, R"({"rssi":99,"ber":99,"dbm":null})"},
        {"csq garbage", [] { return signalQuality("x"); }, "null"},
        {"creg short", [] { return registration("0,1"); }, R"({"stat":1,"state":"home"})"},
        {"cereg full", [] { return registration("2,5,\"1A2B\",\"01A2B3C4\",7"); },
         R"({"stat":5,"state":"roaming","area":"1A2B","cell":"01A2B3C4","act":7,"technology":"LTE"})"},
        {"cops", [] { return currentOperator("0,0,\"Zelto, Net\",9"); },
         R"({"mode":0,"operator":"Zelto, Net","act":9,"technology":"NB-IoT"})"},
        {"cops off network", [] { return currentOperator("2"); }, R"({"mode":2})"},
        {"scan", [] { return operatorList("(2,\"Zelto Net\",\"Zelto\",\"46099\",7),(3,\"B\",\"b\",\"46001\",0),,(0,1,2,3,4),(0,1,2)"); },
         R"([{"status":"current","long":"Zelto Net","short":"Zelto","numeric":"46099","technology":"LTE"},
             {"status":"forbidden","long":"B","short":"b","numeric":"46001","technology":"GSM"}])"},
        {"pdp", [] { return pdpContexts("1,\"IP\",\"internet\",\"0.0.0.0\"\r\n+CGDCONT: 3,\"IPV6\",\"ims\"",
                                        "1,1\r\n+CGACT: 3,0\r\n+CGACT: 9,1", "+CGPADDR: 1,\"10.0.0.7\"\r\n+CGPADDR: 3,\"0.0.0.0\""); },
         R"([{"cid":1,"type":"IP","apn":"internet","active":true,"address":"10.0.0.7"},
             {"cid":3,"type":"IPV6","apn":"ims","active":false,"address":null}])"},
        {"cpinr", [] { return pinCounters("SIM PIN,3,3\r\n+CPINR: SIM PUK,10,10"); },
         R"([{"code":"SIM PIN","retries":3,"default":3},{"code":"SIM PUK","retries":10,"default":10}])"},
        {"cmgl", [] { return messageList("+CMGL: 1,\"REC UNREAD\",\"+155\",,\"24/05/01,12:30:00+32\"\r\nHi, you\r\n"
                                         "+CMGL: 4,\"STO SENT\",\"+166\",,\"\"\r\nline 1\r\nline 2"); },
         R"([{"index":1,"status":"REC UNREAD","number":"+155","time":"24/05/01,12:30:00+32","text":"Hi, you"},
             {"index":4,"status":"STO SENT","number":"+166","time":"","text":"line 1\nline 2"}])"},
        {"cmgr", [] { return message("+CMGR: \"REC READ\",\"+155\",,\"24/05/01,12:30:00+32\"\r\nbody"); },
         R"({"status":"REC READ","number":"+155","time":"24/05/01,12:30:00+32","text":"body"})"},
        {"coordinate", [] { return Json(*coordinate("+CGPSGLAT: -22.5")); }, "-22.5"},
        {"no coordinate", [] { return Json(coordinate("+CGPSGLAT: N/A").has_value()); }, "false"},
        {"clock", [] { return Json(clockText("\"24/05/01,12:30:00+3")); }, R"("2024-05-01 12:30:00")"},
        {"odd clock", [] { return Json(clockText("\"soon\"")); }, R"("soon")"},
        {"value", [] { return Json(valueText(" +IMEI: 8680 ") + "|" + valueText("8680")); }, R"("8680|8680")"},
        {"final", [] { return Json(finalResult("\r\nOK\r\n") + "|" + finalResult("\r\n+CME ERROR: 10\r\n") + "|" + finalResult("x")); },
         R"("OK|+CME ERROR: 10|")"},
        {"fields", [] { return Json(splitFields(" 1 ,, \"a,b\" ")); }, R"(["1","","a,b"])"},
    };
    for (const auto &c : cases) EXPECT_EQ(c.got(), Json::parse(c.want)) << c.name;
}

TEST(Zelctl, RecordsBecomeJson) {
    zelNeighbourCellReport cells{};
    cells.lteIntraCount = 1;
    cells.lteIntra[0] = {1850, 262, 65446, 2, 3, 4, 5, 6, 7, 8};
    cells.geranCount = 1;
    cells.geran[0].tok2 = -7;
    Json j = zelctl::neighbourCells(cells);
    EXPECT_EQ(j["lte_intra"].dump(), R"([{"tok2":1850,"tok3":262,"tok4":-90,"tok5":2,"tok6":3,"tok7":4,"tok8":5,"tok9":6,"tok10":7,"tok11":8}])");
    EXPECT_EQ(j["geran"][0]["tok2"], -7);
    EXPECT_TRUE(j["gsm"].empty() && j["lte_inter"].empty());

    zelModemInfo info{};
    snprintf(info.field1, sizeof info.field1, "LTE");
    info.field11 = 12.3f;
    info.field14 = 99;
    EXPECT_EQ(zelctl::modemInfo(info, true)["field11"], 12.3);
    EXPECT_FALSE(zelctl::modemInfo(info, true).contains("field14"));
    EXPECT_EQ(zelctl::modemInfo(info, false)["field14"], 99);
    EXPECT_FALSE(zelctl::modemInfo(info, false).contains("field3"));

    zelNotification n{};
    n.type = NOTIFICATION_OTA_STATUS;
    n.payload.ota.status = 95;
    n.payload.ota.progress = 40;
    EXPECT_EQ(zelctl::notification(n).dump(),
              R"({"event":"notification","type":3,"name":"ota_status","status":95,"progress":40,"step":"install"})");
    char urc[] = "+CREG: 1xx";
    n.type = NOTIFICATION_URC;
    n.payload.urc.length = 8;
    n.payload.urc.data = urc;
    EXPECT_EQ(zelctl::notification(n)["text"], "+CREG: 1");
}

TEST(Zelctl, Rendering) {
    Json doc = Json::parse(R"({"state":"READY","long_name":null,"ok":true,"counters":[{"code":"SIM PIN","n":3},{"code":"X","n":10}],
                              "none":[],"nested":{"a":"b\nc"}})");
    EXPECT_EQ(zelctl::human(doc),
              "state      READY\nlong name  -\nok         yes\ncounters:\n  code     n\n  SIM PIN   3\n  X        10\n"
              "none       none\nnested:\n  a  b\n  c\n");
    EXPECT_EQ(zelctl::table(Json::parse(R"([{"t":"a\nb"}])")), "t\na / b\n");
    EXPECT_EQ(zelctl::progressBar(40, 10), "[####------]  40%");
    EXPECT_EQ(zelctl::progressBar(140, 4), "[####] 100%");
    EXPECT_EQ(zelctl::eventLine(Json::parse(R"({"event":"ip_change","text":"up","time":"12:00:00.000"})")),
              "12:00:00.000  ip_change  text=up");
    EXPECT_EQ(zelctl::failureText("zelGetCSQ", 5),
              "zelGetCSQ failed with status 5 (failure: no connection or no reply in time, or an error or unexpected reply)");
    std::set<std::string> meanings;
    for (int32_t code : {0, 1, 2, 4, 5, 6, -1, -99, 3}) meanings.insert(zelctl::statusMeaning(code));
    EXPECT_EQ(meanings.size(), 9u);  // every code has its own text
}

TEST(Zelctl, ValueChecks) {
    using namespace zelctl;
    const std::pair<std::string, std::string> cases[] = {
        {checkInt("8", 1, 8), ""},
        {checkInt("9", 1, 8), "9 is out of range (1 to 8)"},
        {checkInt("-1", 0, 4), "-1 is out of range (0 to 4)"},
        {checkInt("1.5", 0, 4), "'1.5' is not a whole number"},
        {checkInt("", 0, 4), "'' is not a whole number"},
        {checkInt("99999999999999999999", 0, 4), "'99999999999999999999' is not a whole number"},
        {checkDigits("1234", 4, 8), ""},
        {checkDigits("12a4", 4, 8), "'12a4' is not a string of digits"},
        {checkDigits("123", 10, 10), "'123' must have 10 digits"},
        {checkPhone("+15550100"), ""},
        {checkPhone("+1-555"), "'+1-555' is not a phone number ('+' and 3 to 20 digits)"},
        {checkAtCommand("at+csq"), ""},
        {checkAtCommand("CSQ"), "'CSQ' is not an AT command (it must start with AT)"},
        {checkAtCommand("AT\r\nATZ"), "an AT command is a single line"},
        {checkAtCommand("AT" + std::string(1020, 'X')), "the AT command is longer than 1021 characters"},
        {checkText("internet", 99, "\""), ""},
        {checkText("", 99, "\""), "the text is empty"},
        {checkText("abc", 2, ""), "the text is longer than 2 bytes"},
        {checkText("a\"b", 9, "\""), "the text must not hold a double quote"},
        {checkText("a\x1a", 9, "\x1a"), "the text must not hold Ctrl-Z"},
    };
    for (const auto &c : cases) EXPECT_EQ(c.first, c.second);
}

}  // namespace

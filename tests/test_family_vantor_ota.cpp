// Cloud device management and firmware update commands against a scripted
// server: one table per family, the word-order traps of the replies, the OTA
// status record with its local completion time, and the argument checks.
#include <stdlib.h>
#include <string.h>
#include <time.h>

#include "family_table.h"

namespace {

using namespace zeltest;

std::string ok(const std::string &line) { return "\r\n" + line + "\r\n\r\nOK\r\n"; }
std::string err(const std::string &line) { return "\r\n" + line + "\r\n\r\nERROR\r\n"; }
// "NO CARRIER" ends a reply in this binary, so a reply can hold neither "OK" nor "ERROR".
const bool kNoCarrierEnds = (extended_errors[4] = const_cast<char *>("NO CARRIER"), true);

TEST_F(FamilyTest, VantorTable) {
    zelString id = view("dev-1"), key = view("k%s"), host = view("h:5683");
    checkTable("zel_vantor_api", {
        CUSTOM(zelVantorReg(&id, &key, &host), "AT+VANTORREG=dev-1,k%s,h:5683\r\n", "+VANTORREG: REGISTERING", kKept),
        CUSTOM(zelVantorGetRegStatus(), "AT+VANTORREG?\r\n", "+VANTORREG: REGISTERED", kKept),
        CUSTOM(zelVantDMStart(1, 2, s), "AT+VANTORDM=1,2\r\n", "+VANTORDM:  started ", "started"),
        CUSTOM(zelVantDMStart(0, 1, s), "AT+VANTORDM=0,1\r\n", "+VANTORDM: 0", "0"),
        CUSTOM(zelVantDMTaskStatus(i), "AT+VANTORDM?\r\n", "+VANTORDM: 0,1,5", "1"),
        INT(zelVantDMClientStatus(i), "AT+VANTDMSTATUS?\r\n", "+VANTDMSTATUS: ").nullGives(2),
    });
}

TEST_F(FamilyTest, VantorRepliesAreReadAfterTheirPrefixInWordOrder) {
    const std::string no_word = "Not found \"REGISTERING\" from outcome\n";
    zelString a = view("a");
    expectReplies(ZEL_CALL(zelVantorReg(&a, &a, &a)), {
        {err("+VANTORREG: REGISTERING"), 0, kKept}, {ok("+VANTORREG: REGISTERED"), 5, kKept, no_word},
        {ok("+VANTORREG:REGISTERING"), 5, kKept, no_word}, {ok("REGISTERING +VANTORREG: IDLE"), 5, kKept, no_word},
        {ok("+VANTOR: REGISTERING"), 5, kKept, "Not found \"+VANTORREG\" from outcome\n"},
    });
    // The state is the function's result.
    expectReplies(ZEL_CALL(zelVantorGetRegStatus()), {
        {ok("+VANTORREG: UNREGISTERED"), 2, kKept}, {ok("+VANTORREG: REGISTERING"), 1, kKept},
        {err("+VANTORREG: REGISTERED"), 0, kKept}, {ok("+VANTORREG: IDLE"), 3, kKept},
        {ok("+VANTORREG:REGISTERED"), 3, kKept}, {ok("REGISTERED +VANTORREG: IDLE"), 3, kKept},
    });
    expectReplies(ZEL_CALL(zelVantDMTaskStatus(i)), {
        {ok("+VANTORDM: 2,1,0"), 0, "1"}, {ok("+VANTORDM: 10"), 0, "0"}, {err("+VANTORDM: 2"), 0, "2"},
        {ok("0,1, +VANTORDM: 2"), 0, "2"}, {ok("+VANTORDM:0"), 5, kKept},
    });
    // A refused start hands back the modem's detail with its 5.
    expectReplies(ZEL_CALL(zelVantDMStart(0, 2, s)), {
        {err("+VANTORDM:  3,bad value "), 5, "3,bad value"}, {err("ERROR_3 +VANTORDM: x"), 5, kNull},
        {ok("+VANTORDM:"), 5, kNull}, {ok("OK +VANTORDM: x"), 5, kNull},
    });
}

TEST_F(FamilyTest, FirmwareUpdateTable) {
    const zelString package = view("http://h/d%s.bin");
    const std::string longest(1024 - strlen("AT+OTA=CHECK,\r\n") - 1, 'u');
    checkTable("zel_ota_api", {
        CUSTOM(zelDFotaDownload(package), "AT+DLDFOTA=http://h/d%s.bin\r\n", "+DLDFOTA: DOWNLOAD_SUCCESS", kKept),
        CUSTOM(zelDFotaExecute(), "AT+DFOTA\r\n", "+DFOTA: SUCCESS", kKept),
        CUSTOM(zelOTAGetMode(i), "AT+OTA=GET_MODE\r\n", "+OTA: recovery,non_recovery", "1"),
        CUSTOM(zelOTAChangeMode(0), "AT+OTA=CHANGE_MODE,RECOVERY\r\n", "", kKept),
        CUSTOM(zelOTAChangeMode(1), "AT+OTA=CHANGE_MODE,NON_RECOVERY\r\n", "", kKept),
        CUSTOM(zelOTAChangeMode(2), "AT+OTA=CHANGE_MODE,AB\r\n", "", kKept),
        CUSTOM(zelOTACheckUpdate("http://h/u?a=%d"), "AT+OTA=CHECK,http://h/u?a=%d\r\n", "", kKept),
        CUSTOM(zelOTACheckUpdate(longest.c_str()), "AT+OTA=CHECK," + longest + "\r\n", "", kKept),
        CUSTOM(zelOTADownload("ftp://h/p"), "AT+OTA=DOWNLOAD,ftp://h/p\r\n", "", kKept),
        CUSTOM(zelOTAApply(), "AT+OTA=APPLY\r\n", "", kKept),
        CUSTOM(zelOTAInstall(), "AT+OTA=INSTALL\r\n", "", kKept),
        CUSTOM(zelOTAActivate(), "AT+OTA=ACTIVATE\r\n", "", kKept),
        CUSTOM(zelOTAGetProgress(i), "AT+OTA=GET_PROGRESS\r\n", "+OTA=GET_PROGRESS,45", "45"),
        CUSTOM(zelOTACleanUp(), "AT+OTA=CLEAN\r\n", "", kKept),
    });
}

TEST_F(FamilyTest, OtaRepliesAreJudgedByTheirWords) {
    const std::string cme = "\r\n+CME ERROR: 3\r\n", other = "\r\nNO CARRIER\r\n";
    for (const Call &step : std::vector<Call>{ZEL_CALL(zelOTACheckUpdate("u")), ZEL_CALL(zelOTAInstall()),
                                               ZEL_CALL(zelOTAActivate())}) {
        expectReplies(step, {{err("TOKEN"), 0, kKept}, {cme, -99, kKept, "OTA check failed: " + cme},
                             {other, -99, kKept, "Unexpected response: " + other}});
    }
    expectReplies(ZEL_CALL(zelOTADownload("u")), {{other, -99, kKept, "OTA download failed: " + other}});
    expectReplies(ZEL_CALL(zelOTAChangeMode(2)), {{cme, -99, kKept, "Failed to change OTA mode: " + cme}});
    const std::string done = "\r\nOK\r\n";
    expectReplies(ZEL_CALL(zelOTAApply()), {{done, 0, kKept, "OTA update applied successfully", LOG_INFO},
                                            {done, 0, kKept, "Device will reboot to apply the update", LOG_INFO},
                                            {cme, -99, kKept, "Failed to apply OTA update: " + cme}});
    expectReplies(ZEL_CALL(zelOTACleanUp()), {{done, 0, kKept, "OTA resources cleaned up successfully", LOG_INFO},
                                              {other, -99, kKept, "Failed to clean up OTA resources: " + other}});
    expectReplies(ZEL_CALL(zelOTAGetMode(i)), {{ok("+OTA: recovery"), 0, "0"}, {err("+OTA: ab"), 0, "2"},
                                               {ok("+OTA: AB"), -99, kKept, "Unknown OTA mode: " + ok("+OTA: AB")}});
    expectReplies(ZEL_CALL(zelOTAGetProgress(i)), {
        {err("+OTA=GET_PROGRESS, -7%"), 0, "-7"}, {ok("+OTA=GET_PROGRESS,x"), 0, "0"},
        {ok("+OTA=GET_PROGRESS,99999999999"), 0, "2147483647"},
        {ok("+OTA=GET_PROGRESS,FAILED"), -99, kKept, "Failed to get progress: " + ok("+OTA=GET_PROGRESS,FAILED")},
        {ok("+OTA: 45"), -99, kKept, "Progress value not found in response: " + ok("+OTA: 45")},
    });
    // The delta pair: its success word anywhere, else 5.
    expectReplies(ZEL_CALL(zelDFotaExecute()),
                  {{ok("DOWNLOAD_SUCCESS"), 0, kKept}, {err("SUCCESS"), 0, kKept}, {ok("FAIL"), 5, kKept}});
    expectReplies(ZEL_CALL(zelDFotaDownload(view("p"))), {{ok("SUCCESS"), 5, kKept}, {other, 5, kKept}});
}

// What the C library makes of the text as local time; 0 where it cannot.
long long libcTime(const std::string &text) {
    struct tm tm = {};
    if (strptime(text.c_str(), "%Y-%m-%d %H:%M:%S", &tm) == nullptr) return 0;
    tm.tm_isdst = -1;
    time_t t = mktime(&tm);
    return t == static_cast<time_t>(-1) ? 0 : t;
}

// The record as "success|time|text|extra", from a record that starts as junk.
int32_t otaStatus(zelString **out) {
    zelOTAStatus st = {7, 123, "junk", 9};
    int32_t status = zelOTAGetStatus(&st);
    std::string d = std::to_string(st.success) + "|" + std::to_string(static_cast<long long>(st.completedTime)) +
                    "|" + st.completedTimeText + "|" + std::to_string(st.extra);
    *out = zelAllocString(d.data(), static_cast<int32_t>(d.size()));
    return status;
}

TEST_F(FamilyTest, OtaStatusRecordWithItsLocalCompletionTime) {
    setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1);  // with summer time, whatever the machine's zone
    tzset();
    const std::string summer = "2024-05-01 12:30:00", winter = "2024-01-15 08:00:00", late = "2040-01-02 03:04:05";
    ASSERT_EQ(libcTime(summer), 1714559400);  // 10:30 UTC
    ASSERT_EQ(libcTime(winter), 1705302000);  // 07:00 UTC
    EXPECT_EQ(libcTime(late) == 0, sizeof(time_t) == 4) << "past 2038 only a 64-bit time_t holds it";
    const std::string done = "OTA Status: SUCCESS\r\nCompleted Time: ";
    expectReplies(ZEL_CALL(otaStatus(s)), {
        {ok(done + summer), 0, "1|1714559400|" + summer + "|0"},
        {ok("Completed Time: " + winter + ".250+01\r\nOTA Status: SUCCESSFUL"), 0, "1|1705302000|" + winter + "|0"},
        {ok(done + late), 0, "1|" + std::to_string(libcTime(late)) + "|" + late + "|0"},
        {ok(done + "2024-05-01"), 0, "1|0|2024-05-01\r\n\r\nOK\r\n|0"},  // the copy stops at the reply's end
        {ok("OTA Status: SUCCESS\r\nCompleted Time:" + summer), -99, "1|0||0", "OTA Time not found in response"},
        {ok("OTA Status: FAILED"), 0, "0|0||0"}, {ok("OTA Status:  SUCCESS"), -99, "0|0||0"},
        {ok("OTA Status: PENDING"), -99, "0|0||0", "Unknown OTA status: PENDING\r\n\r\nOK\r\n"},
        {ok("OTA State: SUCCESS"), 0, "0|0||0"},
        {err(done + summer), -99, "7|123|junk|9", "Failed to get OTA status: " + err(done + summer)},
        {"", 5, "7|123|junk|9", "ret == NULL"},  // no reply
    });
    // A missing record still sends the command.
    for (const auto &c : {std::make_pair(ok("OTA Status: FAILED"), -1), std::make_pair(err(""), -99)}) {
        Outcome o = run(ZEL_CALL(zelOTAGetStatus(nullptr)), c.first);
        EXPECT_EQ(o.status, c.second);
        EXPECT_EQ(o.sent, "AT+OTA=STATUS\r\n");
    }
}

TEST_F(FamilyTest, RefusedArguments) {
    zelString a = view("a"), none = {nullptr, 1}, empty = {a.data, 0}, too_long = view(kLong.c_str());
    const std::string url_too_long(1024 - strlen("AT+OTA=CHECK,\r\n"), 'u');
    checkRefusals({
        REFUSE(zelVantorReg(nullptr, &a, &a), 1), REFUSE(zelVantorReg(&a, &a, &none), 1),
        REFUSE(zelVantorReg(&a, &too_long, &a), 1), REFUSE(zelVantDMStart(2, 1, s), 1),
        REFUSE(zelVantDMStart(0, 0, s), 1), REFUSE(zelVantDMStart(1, 3, s), 1),
        REFUSE(zelVantDMStart(0, 1, nullptr), 2),
        REFUSE(zelVantDMTaskStatus(nullptr), 2), REFUSE(zelDFotaDownload(none), 1), REFUSE(zelDFotaDownload(empty), 1),
        REFUSE(zelDFotaDownload(too_long), 1), REFUSE(zelOTAChangeMode(3), -1), REFUSE(zelOTAChangeMode(kNeg), -1),
        REFUSE(zelOTACheckUpdate(nullptr), -1), REFUSE(zelOTADownload(nullptr), -1),
        REFUSE(zelOTACheckUpdate(url_too_long.c_str()), -1), REFUSE(zelOTADownload(kLong.c_str()), -1),
        REFUSE(zelOTAGetMode(nullptr), -1), REFUSE(zelOTAGetProgress(nullptr), -1),
        REFUSE(zelOTARegisterCallbacks(nullptr), -1),
    });
    for (const char *line : {"Invalid OTA mode: 3", "Invalid OTA mode: -1", "URL cannot be NULL", "URL too long"})
        EXPECT_TRUE(log.contains(line, LOG_ERR)) << line;
}

}  // namespace

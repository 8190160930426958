// Firmware update: the delta firmware pair, the OTA commands, and the OTA
// status notifications handed to the application's four callbacks.
#include <string.h>
#include <syslog.h>
#include <time.h>

#include <atomic>

#include "../core/log.h"
#include "../core/wire.h"
#include "zelto_sdk_internal.h"

using namespace zel;

// The mode words sent by zelOTAChangeMode, indexed by zelOTAMode.
const char *const otaModeNames[] = {"RECOVERY", "NON_RECOVERY", "AB"};

namespace {

const char kTag[] = "zel_ota_api";
constexpr uint32_t kModeCount = sizeof otaModeNames / sizeof otaModeNames[0];
const char kStatusPrefix[] = "OTA Status: ";
const char kTimePrefix[] = "Completed Time: ";
const char kProgressPrefix[] = "+OTA=GET_PROGRESS,";
constexpr size_t kTimeTextMax = sizeof(zelOTAStatus::completedTimeText) - 1;

// ---- Notification handler ----

template <zelOTAStatusCallback zelOTACallbacks::*member>
void callStep(const zelOTACallbacks &c, int32_t code, int32_t) {
    if (c.*member) (c.*member)(code);
}
void callInstall(const zelOTACallbacks &c, int32_t code, int32_t progress) {
    if (c.onInstallStatus) c.onInstallStatus(code, progress);
}

// What each step's range of status codes (wire::kOtaRanges, same order) does.
struct StepCall {
    bool progress;  // logged and handed on with the code
    void (*call)(const zelOTACallbacks &, int32_t code, int32_t progress);
};
const StepCall kStepCalls[] = {
    {false, callStep<&zelOTACallbacks::onCheckStatus>},
    {false, callStep<&zelOTACallbacks::onDownloadStatus>},
    {true, callInstall},
    {false, callStep<&zelOTACallbacks::onActivateStatus>},
};
static_assert(sizeof kStepCalls / sizeof kStepCalls[0] == wire::kOtaSteps, "one call per firmware-update step");

// The application's record, read whole by the listener thread.
std::atomic<const zelOTACallbacks *> g_callbacks{nullptr};
std::atomic<bool> g_registered{false};
// Makes the first registration of the handler happen once, whichever threads race to it.
pthread_mutex_t g_register_lock = PTHREAD_MUTEX_INITIALIZER;

void ota_notification_handler(zelNotification *n) {
    if (n == nullptr || n->type != NOTIFICATION_OTA_STATUS) return;
    const int32_t code = n->payload.ota.status, progress = n->payload.ota.progress;
    ZEL_LOG(LOG_INFO, "Received OTA notification: %d", code);
    int step = wire::otaRange(code);
    if (step >= 0) {
        const char *name = wire::kOtaRanges[step].step;
        const StepCall &range = kStepCalls[step];
        if (range.progress)
            ZEL_LOG(LOG_INFO, "OTA %s status: %d, progress: %d", name, code, progress);
        else
            ZEL_LOG(LOG_INFO, "OTA %s status: %d", name, code);
        if (const zelOTACallbacks *c = g_callbacks.load()) range.call(*c, code, progress);
        return;
    }
    ZEL_LOG(LOG_ERR, "Unknown OTA status: %d", code);
}

// 0, or -99 when the notification registry is full (tried again next time).
int32_t ota_register_notification_handler() {
    if (g_registered.load()) return 0;
    pthread_mutex_lock(&g_register_lock);
    int32_t result = 0;
    if (!g_registered.load()) {
        if (RegisterNotification(ota_notification_handler) != 0) {
            ZEL_LOG(LOG_ERR, "Failed to register OTA notification handler");
            result = -99;
        } else {
            g_registered.store(true);
            ZEL_LOG(LOG_INFO, "OTA notification handler registered successfully");
        }
    }
    pthread_mutex_unlock(&g_register_lock);
    return result;
}

// ---- Replies ----

// What a reply holding `word` means; the last row of a table takes any reply.
struct Verdict {
    const char *word;
    int32_t status;
    // For a failure: the error line, the reply appended. For success: information lines.
    const char *notes[2];
};

const Verdict kStepReplies[] = {
    {"OK", 0, {}}, {"ERROR", -99, {"OTA check failed"}}, {nullptr, -99, {"Unexpected response"}}};
const Verdict kDownloadReplies[] = {{"OK", 0, {}}, {nullptr, -99, {"OTA download failed"}}};
const Verdict kChangeModeReplies[] = {{"OK", 0, {}}, {nullptr, -99, {"Failed to change OTA mode"}}};
const Verdict kApplyReplies[] = {
    {"OK", 0, {"OTA update applied successfully", "Device will reboot to apply the update"}},
    {nullptr, -99, {"Failed to apply OTA update"}}};
const Verdict kCleanUpReplies[] = {{"OK", 0, {"OTA resources cleaned up successfully"}},
                                   {nullptr, -99, {"Failed to clean up OTA resources"}}};
// "+OTA=GET_PROGRESS,FAILED" holds the prefix of a value, so it is looked for first.
const Verdict kProgressReplies[] = {{"+OTA=GET_PROGRESS,FAILED", -99, {"Failed to get progress"}},
                                    {kProgressPrefix, 0, {}},
                                    {nullptr, -99, {"Progress value not found in response"}}};

struct ModeWord {
    const char *word;
    int32_t mode;
};
// "non_recovery" holds "recovery", so it is looked for first.
const ModeWord kModeWords[] = {{"non_recovery", 1}, {"recovery", 0}, {"ab", 2}, {nullptr, -1}};

// Status words that must open the text after "OTA Status: ".
struct StatusWord {
    const char *word;
    uint8_t success;
};
const StatusWord kStatusWords[] = {{"SUCCESS", 1}, {"FAILED", 0}};

template <size_t N>
const Verdict &judge(const Reply &r, const Verdict (&rows)[N], int line) {
    const Verdict &v = firstFound(r, rows);
    for (const char *note : v.notes) {
        if (note == nullptr) break;
        if (v.status == 0)
            zelto_sdk_log(LOG_INFO, "%s:%d: %s", kTag, line, note);
        else
            zelto_sdk_log(LOG_ERR, "%s:%d: %s: %s", kTag, line, note, r.text());
    }
    return v;
}

// Sends an OTA command and judges its reply. The steps that the modem reports
// by notifications first make sure the handler is there to receive them.
template <size_t N>
int32_t otaCommand(const Command &c, const Verdict (&rows)[N], bool step, int line = __builtin_LINE()) {
    if (step && ota_register_notification_handler() != 0) return -99;
    Reply r = transact(kTag, c, line);
    if (!r) return 5;
    return judge(r, rows, line).status;
}

// A step carrying the caller's URL; -1 when it is missing or too long for a
// command, 1 when it holds a control byte.
template <size_t N>
int32_t urlStep(const char *url, Command (*build)(const char *), const Verdict (&rows)[N],
                int line = __builtin_LINE()) {
    if (url == nullptr) {
        ZEL_LOG(LOG_ERR, "URL cannot be NULL");
        return -1;
    }
    Command c = build(url);
    if (c.refusedArgument() != 0) return refusal(kTag, c, line);
    if (!c.fits()) {
        ZEL_LOG(LOG_ERR, "URL too long");
        return -1;
    }
    return otaCommand(c, rows, true, line);
}

// The delta pair: success iff the reply holds `word`, else 5.
int32_t deltaCommand(const Command &c, const char *word, int line = __builtin_LINE()) {
    Reply r = transact(kTag, c, line);
    return r && r.find(word) ? 0 : 5;
}

// Local time, daylight saving as the zone has it on that date; 0 when the
// text is no such time or the time does not fit time_t.
time_t localTime(const char *text) {
    struct tm tm;
    memset(&tm, 0, sizeof tm);
    if (strptime(text, "%Y-%m-%d %H:%M:%S", &tm) == nullptr) return 0;
    tm.tm_isdst = -1;
    time_t t = mktime(&tm);
    return t == static_cast<time_t>(-1) ? 0 : t;
}

// Fills a cleared record from a reply that holds "OK".
int32_t readStatus(const Reply &r, zelOTAStatus *status) {
    const char *text = r.find(kStatusPrefix);
    if (text == nullptr) return 0;
    text += strlen(kStatusPrefix);
    const StatusWord *word = nullptr;
    for (const StatusWord &w : kStatusWords) {
        if (strncmp(text, w.word, strlen(w.word)) == 0) {
            word = &w;
            break;
        }
    }
    if (word == nullptr) {
        ZEL_LOG(LOG_ERR, "Unknown OTA status: %s", text);
        return -99;
    }
    status->success = word->success;
    if (!status->success) return 0;
    const char *time = r.find(kTimePrefix);
    if (time == nullptr) {
        ZEL_LOG(LOG_ERR, "OTA Time not found in response");
        return -99;
    }
    time += strlen(kTimePrefix);
    size_t left = static_cast<size_t>(r.text() + r.length() - time);
    size_t n = left < kTimeTextMax ? left : kTimeTextMax;
    memcpy(status->completedTimeText, time, n);
    status->completedTimeText[n] = '\0';
    status->completedTime = localTime(status->completedTimeText);
    return 0;
}

}  // namespace

extern "C" {

// ---- Delta firmware ----
int32_t zelDFotaDownload(zelString package) {
    if (package.data == nullptr || package.len <= 0) return 1;
    Command c = cmdf("AT+DLDFOTA=%s\r\n", package.data);
    if (refusal(kTag, c) != 0) return 1;
    return deltaCommand(c, "DOWNLOAD_SUCCESS");
}

int32_t zelDFotaExecute(void) { return deltaCommand("AT+DFOTA\r\n", "SUCCESS"); }

// ---- OTA ----
int32_t zelOTARegisterCallbacks(const zelOTACallbacks *callbacks) {
    if (callbacks == nullptr) return -1;
    int32_t result = ota_register_notification_handler();
    if (result != 0) return result;
    g_callbacks.store(callbacks);
    return 0;
}

int32_t zelOTAGetMode(int32_t *mode) {
    if (mode == nullptr) return -1;
    Reply r = transact(kTag, "AT+OTA=GET_MODE\r\n");
    if (!r) return 5;
    const ModeWord &found = firstFound(r, kModeWords);
    if (found.mode < 0) {
        ZEL_LOG(LOG_ERR, "Unknown OTA mode: %s", r.text());
        return -99;
    }
    *mode = found.mode;
    return 0;
}

int32_t zelOTAChangeMode(uint32_t mode) {
    if (mode >= kModeCount) {
        ZEL_LOG(LOG_ERR, "Invalid OTA mode: %d", static_cast<int>(mode));
        return -1;
    }
    return otaCommand(cmdf("AT+OTA=CHANGE_MODE,%s\r\n", otaModeNames[mode]), kChangeModeReplies, false);
}

int32_t zelOTACheckUpdate(const char *url) {
    return urlStep(url, [](const char *u) { return cmdf("AT+OTA=CHECK,%s\r\n", u); }, kStepReplies);
}

int32_t zelOTADownload(const char *url) {
    return urlStep(url, [](const char *u) { return cmdf("AT+OTA=DOWNLOAD,%s\r\n", u); }, kDownloadReplies);
}

int32_t zelOTAApply(void) { return otaCommand("AT+OTA=APPLY\r\n", kApplyReplies, false); }
int32_t zelOTAInstall(void) { return otaCommand("AT+OTA=INSTALL\r\n", kStepReplies, true); }
int32_t zelOTAActivate(void) { return otaCommand("AT+OTA=ACTIVATE\r\n", kStepReplies, true); }

// A missing record is refused only once the reply is in hand.
int32_t zelOTAGetStatus(zelOTAStatus *status) {
    Reply r = transact(kTag, "AT+OTA=STATUS\r\n");
    if (!r) return 5;
    if (r.find("OK") == nullptr) {
        ZEL_LOG(LOG_ERR, "Failed to get OTA status: %s", r.text());
        return -99;
    }
    if (status == nullptr) {
        ZEL_LOG(LOG_ERR, "Status parameter cannot be NULL");
        return -1;
    }
    memset(status, 0, sizeof *status);
    return readStatus(r, status);
}

#if defined(__USE_TIME_BITS64)
// Built with a 64-bit time_t on a 32-bit platform: the header sends
// applications built the same way to zelOTAGetStatus_time64 (defined above),
// and those built with a 32-bit time_t to this, their own layout.
struct zelOTAStatusTime32 {
    uint8_t success;
    int32_t completedTime;
    char completedTimeText[sizeof(zelOTAStatus::completedTimeText)];
    uint8_t extra;
};
int32_t zelOTAGetStatusTime32(zelOTAStatusTime32 *status) __asm__("zelOTAGetStatus");

// Round trip through the wide record, so what the call leaves untouched stays
// as it was; a time a 32-bit time_t cannot hold reads as 0.
int32_t zelOTAGetStatusTime32(zelOTAStatusTime32 *status) {
    if (status == nullptr) return zelOTAGetStatus(nullptr);
    zelOTAStatus wide = {status->success, status->completedTime, {}, status->extra};
    memcpy(wide.completedTimeText, status->completedTimeText, sizeof wide.completedTimeText);
    int32_t result = zelOTAGetStatus(&wide);
    status->success = wide.success;
    status->completedTime = wide.completedTime == static_cast<int32_t>(wide.completedTime)
                                ? static_cast<int32_t>(wide.completedTime) : 0;
    memcpy(status->completedTimeText, wide.completedTimeText, sizeof wide.completedTimeText);
    status->extra = wide.extra;
    return result;
}
#endif

int32_t zelOTAGetProgress(int32_t *progress) {
    if (progress == nullptr) return -1;
    Reply r = transact(kTag, "AT+OTA=GET_PROGRESS\r\n");
    if (!r) return 5;
    const Verdict &v = judge(r, kProgressReplies, __LINE__);
    if (v.status != 0) return v.status;
    *progress = decimalAt(r.find(kProgressPrefix) + strlen(kProgressPrefix));
    return 0;
}

int32_t zelOTACleanUp(void) { return otaCommand("AT+OTA=CLEAN\r\n", kCleanUpReplies, false); }

}  // extern "C"

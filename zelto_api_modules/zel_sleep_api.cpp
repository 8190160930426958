// Sleep and wake: USB controller mode, LTE wake-up setting, wake-up reason,
// and the deep and fast suspend sequences.
#include <stdio.h>
#include <string.h>
#include <syslog.h>

#include "../core/log.h"
#include "../core/platform.h"
#include "zel_sleep_internal.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

const char kTag[] = "zel_sleep_api";
const char kReasonPrefix[] = "+CWAKER: ";
constexpr uint32_t kReasonMax = 10;  // also the reason when none could be read
constexpr int kPortAttempts = 4;
constexpr uint64_t kPortRetryPauseUs = 500 * 1000;
constexpr uint64_t kWakeSettleUs = 5 * 1000 * 1000;
constexpr int32_t kLevelOff = 4;
constexpr int32_t kLevelFull = 1;
constexpr int32_t kLevelAlone = 2;  // zelCfunSet's reset argument for the one-value form
const char *const kUsbModes[] = {"none", "peripheral", "host", "otg"};
const char kUsbSettle[] = " && sleep 3";

// Writes a mode word to the USB controller's mode file through the shell,
// followed by `tail`; the shell's result, or -1 when the line does not fit.
int usbShell(const char *mode, const char *tail) {
    char line[256];
    int n = snprintf(line, sizeof line, "echo -n %s > %s%s", mode, g_platform.usb_mode_file, tail);
    if (n < 0 || static_cast<size_t>(n) >= sizeof line) return -1;
    return g_platform.run_shell(line);
}

// Suspends the system; returns after the resume with the shell's result.
// Seconds of 1 or more arm the real-time clock's alarm.
int suspend(int32_t seconds) {
    if (seconds < 1) return g_platform.run_shell("echo -n mem > /sys/power/state");
    char line[64];
    snprintf(line, sizeof line, "rtcwake -m mem -s %d -d %s", seconds, "/dev/rtc0");
    ZEL_LOG(LOG_INFO, "execute: %s\n", line);
    return g_platform.run_shell(line);
}

// One command whose reply must hold `marker` before its first "OK".
int32_t markedStep(const char *command, const char *marker, int line = __builtin_LINE()) {
    Reply r = transact(kTag, command, line);
    if (!r) return 5;
    const char *at = r.find(marker);
    const char *ok = r.find("OK");
    return at && ok && at < ok ? 0 : 5;
}

// Up to four attempts 500 ms apart until the reply holds `marker`; a missing
// or empty reply ends the step at once.
int32_t retriedStep(const char *command, const char *marker, int line = __builtin_LINE()) {
    for (int attempt = 0; attempt < kPortAttempts; ++attempt) {
        {
            Reply r = transact(kTag, command, line);
            if (!r) return 5;
            if (r.find(marker)) return 0;
        }
        g_platform.sleep_us(kPortRetryPauseUs);
    }
    return 5;
}

int32_t prepare_enter_sleep() { return markedStep("AT+CENSLEEP\r\n", "+CENSLEEP"); }
int32_t exec_exit_sleep() { return markedStep("AT+CEXSLEEP\r\n", "+CEXSLEEP"); }
int32_t disable_uart_port() { return retriedStep("AT+CTTYCLOSE\r\n", "+TTYCLOSE"); }
int32_t enable_uart_port() { return retriedStep("AT+CTTYOPEN\r\n", "+TTYOPEN"); }

// Sets the saved functionality level back and fails.
int32_t restoreAndFail(int32_t level) {
    zelCfunSet(level, kLevelAlone);
    return 5;
}

// After a good wake: reads the reason (10 when unknown), confirms the wake
// with `confirm` (any reply will do) and tells the notification callbacks on
// this thread.
int32_t confirmWake(const char *confirm, uint32_t *reason, int line = __builtin_LINE()) {
    zelGetWakeupReason(reason);
    Reply r = transact(kTag, confirm, line);
    if (!r) return 5;
    zelNotification wake;
    memset(&wake, 0, sizeof wake);
    wake.type = NOTIFICATION_WAKEUP;
    wake.payload.value = static_cast<uint8_t>(*reason);
    notifyCallbacks(&wake);
    return 0;
}

}  // namespace

namespace zel {

int32_t wakeupReasonIn(const char *text, int32_t len, uint32_t *reason) {
    if (text == nullptr || len <= 0 || reason == nullptr) return 5;
    size_t n = static_cast<size_t>(len);
    const char *at = findIn(text, n, kReasonPrefix);
    if (findIn(text, n, "OK") == nullptr || at == nullptr) return 5;
    const char *p = at + strlen(kReasonPrefix);
    const char *end = findIn(p, static_cast<size_t>(text + n - p), "\r\n");
    if (end == nullptr) return 5;
    // As strtoul reads it; any value above the limit stays above it.
    while (p < end && *p != '\0' && strchr(" \t\n\v\f\r", *p)) ++p;
    bool negative = p < end && *p == '-';
    if (p < end && (*p == '+' || *p == '-')) ++p;
    uint32_t value = 0;
    for (; p < end && *p >= '0' && *p <= '9'; ++p)
        if (value <= kReasonMax) value = value * 10 + static_cast<uint32_t>(*p - '0');
    if (value > kReasonMax || (negative && value != 0)) return 5;
    *reason = value;
    return 0;
}

}  // namespace zel

extern "C" {

int32_t zelSetUsbMode(uint32_t mode) {
    if (mode >= sizeof kUsbModes / sizeof kUsbModes[0]) return 1;
    return usbShell(kUsbModes[mode], kUsbSettle) == -1 ? 5 : 0;
}

int32_t zellteWakeupSet(uint32_t enable, int32_t value) {
    if (enable > 1) return 1;
    int on = static_cast<int>(enable);
    if (value == -1) return set(kTag, cmdf("AT+CLTEWAKEUP=%d\r\n", on));
    return set(kTag, cmdf("AT+CLTEWAKEUP=%d,%d\r\n", on, value));
}

int32_t zelGetWakeupReason(uint32_t *reason) {
    if (reason == nullptr) return 5;
    *reason = kReasonMax;
    Reply r = transact(kTag, "AT+CWAKER?\r\n");
    if (!r || wakeupReasonIn(r.text(), r.length(), reason) != 0) return 5;
    ZEL_LOG(LOG_INFO, "wakeup reason: %d", static_cast<int>(*reason));
    return 0;
}

int32_t zelEnterDeepSleep(int32_t seconds, uint32_t *reason) {
    if (reason == nullptr) return 5;
    int32_t saved = kLevelFull;
    if (zelCfunGet(&saved) != 0)
        ZEL_LOG(LOG_WARNING, "functionality level unknown: level %d will be restored\n", kLevelFull);
    zelCfunSet(kLevelOff, kLevelAlone);
    if (disable_uart_port() != 0) return restoreAndFail(saved);
    usbShell("none", kUsbSettle);
    if (prepare_enter_sleep() != 0) {
        ZEL_LOG(LOG_ERR, "Failed to prepare to enter sleep mode");
        if (enable_uart_port() != 0) ZEL_LOG(LOG_ERR, "Critical error cannot recover uart at port");
        usbShell("peripheral", "");
        return restoreAndFail(saved);
    }
    int suspended = suspend(seconds);
    bool port_open = enable_uart_port() == 0;
    if (!port_open) ZEL_LOG(LOG_ERR, "Failed to enable uart port action");
    bool awake = exec_exit_sleep() == 0;
    if (!awake) ZEL_LOG(LOG_ERR, "Failed to exec exit sleep action");
    usbShell("peripheral", "");
    if (!port_open || !awake || suspended != 0) return restoreAndFail(saved);
    g_platform.sleep_us(kWakeSettleUs);
    zelCfunSet(saved, kLevelAlone);
    return confirmWake("AT+CSWAKEUP\r\n", reason);
}

int32_t zelEnterFastSleep(int32_t seconds, uint32_t *reason) {
    if (reason == nullptr) return 5;
    if (prepare_enter_sleep() != 0) {
        ZEL_LOG(LOG_ERR, "Failed to prepare to enter sleep mode");
        return 5;
    }
    if (disable_uart_port() != 0) return 5;
    int suspended = suspend(seconds);
    if (exec_exit_sleep() != 0) {
        ZEL_LOG(LOG_ERR, "Failed to exec exit sleep action");
        enable_uart_port();
        return 5;
    }
    if (enable_uart_port() != 0 || suspended != 0) return 5;
    return confirmWake("AT+CFWAKEUP\r\n", reason);
}

}  // extern "C"

// Peripherals: functionality level, UART mode and USB profile over the
// command engine; GPIO lines through the sysfs GPIO files.
#include <errno.h>
#include <fcntl.h>
#include <stdarg.h>
#include <stdio.h>
#include <string.h>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

#include "../core/log.h"
#include "../core/platform.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

const char kTag[] = "zel_peripheral_api";
constexpr size_t kPathMax = 128;
// The export file takes the number as decimal text in a zero-filled 4-byte field.
constexpr size_t kExportField = 4;
constexpr int32_t kLineMax = 999;

bool lineFits(int32_t line) { return line >= 0 && line <= kLineMax; }

// A sysfs path under the GPIO root; false (errno ENAMETOOLONG) when it
// would not fit its buffer.
bool gpioPath(char (&path)[kPathMax], const char *format, ...) __attribute__((format(printf, 2, 3)));
bool gpioPath(char (&path)[kPathMax], const char *format, ...) {
    va_list ap;
    va_start(ap, format);
    int n = vsnprintf(path, sizeof path, format, ap);
    va_end(ap);
    if (n >= 0 && static_cast<size_t>(n) < sizeof path) return true;
    errno = ENAMETOOLONG;
    return false;
}

// Opens gpio<line>/<file> under the GPIO root, or logs and gives -1.
int openLineFile(int32_t line, const char *file, int flags) {
    char path[kPathMax];
    int fd = gpioPath(path, "%s/gpio%d/%s", g_platform.gpio_root, line, file) ? open(path, flags | O_CLOEXEC) : -1;
    if (fd < 0) ZEL_LOG(LOG_ERR, "failed to open gpio%d/%s\n", line, file);
    return fd;
}

// Writes `text` with its terminating zero to gpio<line>/<file>. The value
// file's write failure keeps the wording that log readers know ("faild").
int32_t writeLineFile(int32_t line, const char *file, const char *text) {
    int fd = openLineFile(line, file, O_WRONLY);
    if (fd < 0) return 5;
    ssize_t n = write(fd, text, strlen(text) + 1);
    close(fd);
    if (n < 0) {
        ZEL_LOG(LOG_ERR, "%s to write gpio%d/%s\n", strcmp(file, "value") == 0 ? "faild" : "failed", line, file);
        return 5;
    }
    ZEL_LOG(LOG_INFO, "OK\n");
    return 0;
}

}  // namespace

extern "C" {

int32_t zelCfunSet(int32_t level, int32_t reset) {
    if (reset == 2) return set(kTag, cmdf("AT+CFUN=%d\r\n", level));
    return set(kTag, cmdf("AT+CFUN=%d,%d\r\n", level, reset));
}

int32_t zelSetUartMode(int32_t mode) {
    if (mode == 0) return action(kTag, "AT+UARTMODE=none\r\n");
    if (mode == 1) return action(kTag, "AT+UARTMODE=peripheral\r\n");
    return 1;
}

int32_t zelUsbProfSet(const char *profile, uint32_t flag1, uint32_t flag2, uint32_t flag3, uint32_t flag4) {
    if (profile == nullptr) return 2;
    if (flag1 > 1 || flag2 > 1 || flag3 > 1 || flag4 > 1) return 1;
    return set(kTag, cmdf("AT+USBPROF=%s,%d,%d,%d,%d\r\n", profile, static_cast<int>(flag1),
                          static_cast<int>(flag2), static_cast<int>(flag3), static_cast<int>(flag4)));
}

int32_t zelUsbprofGet(zelString **out) { return textQuery(kTag, "AT+USBPROF?\r\n", "+USBPROF: ", out); }

int32_t init_gpio(int32_t line) {
    if (!lineFits(line)) return -1;
    const char *root = g_platform.gpio_root;
    char path[kPathMax];
    struct stat st;
    if (gpioPath(path, "%s/gpio%d", root, line) && stat(path, &st) == 0 && S_ISDIR(st.st_mode)) return 0;
    int fd = gpioPath(path, "%s/export", root) ? open(path, O_WRONLY | O_CLOEXEC) : -1;
    if (fd < 0) {
        char err[128];
        ZEL_LOG(LOG_ERR, "failed to open %s/export (err: %s)\n", root, strerror_r(errno, err, sizeof err));
        return -1;
    }
    char field[kExportField] = {};
    snprintf(field, sizeof field, "%d", line);
    ssize_t n = write(fd, field, sizeof field);
    close(fd);
    if (n <= 0) {
        ZEL_LOG(LOG_ERR, "failed to write gpio%d\n", line);
        return -1;
    }
    return 0;
}

int32_t zelGpioSetDir(int32_t line, int32_t direction) {
    if (!lineFits(line)) return 1;
    if (init_gpio(line) != 0) {
        ZEL_LOG(LOG_ERR, "failed to init\n");
        return 5;
    }
    return writeLineFile(line, "direction", direction ? "out" : "in");
}

int32_t zelGpioSet(int32_t line, int32_t level) {
    if (!lineFits(line)) return 1;
    return writeLineFile(line, "value", level ? "1" : "0");
}

int32_t zelGpioGet(int32_t line, uint8_t *level) {
    if (level == nullptr) return 5;
    if (!lineFits(line)) return 1;
    int fd = openLineFile(line, "value", O_RDONLY);
    if (fd < 0) return 5;
    char text[5] = {};
    ssize_t n = read(fd, text, sizeof text);
    close(fd);
    if (n <= 0) {
        ZEL_LOG(LOG_ERR, "faild to read gpio%d/value\n", line);
        return 5;
    }
    *level = static_cast<uint8_t>(text[0] & 1);
    ZEL_LOG(LOG_INFO, "OK (value: %d)\n", *level);
    return 0;
}

}  // extern "C"

// Result buffers and the system-log front end.
#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#include "log.h"
#include "platform.h"

namespace {
// Set while this thread is inside the system log, which may hold a lock
// meanwhile: a signal handler that interrupted it drops its own lines rather
// than wait for that lock for ever. Initial-exec: no allocation on access.
__thread volatile bool t_in_log __attribute__((tls_model("initial-exec")));
}  // namespace

namespace zel {
std::atomic<uint8_t> log_opened{0};

bool logWanted(int priority) {
    if (!log_opened.load(std::memory_order_relaxed) || t_in_log) return false;
    t_in_log = true;
    int mask = g_platform.log_mask();
    t_in_log = false;
    return (mask & LOG_MASK(LOG_PRI(priority))) != 0;
}
}  // namespace zel

namespace {
// Formats into a zero-filled 4096-byte buffer with the limit 4095, so at most
// 4094 characters survive, as the log always has, and writes the text.
void writeLine(int priority, const char *format, va_list ap) {
    if (t_in_log) return;
    t_in_log = true;
    char text[4096];
    memset(text, 0, sizeof text);
    vsnprintf(text, sizeof text - 1, format, ap);
    zel::g_platform.log_write(priority, text);
    t_in_log = false;
}
}  // namespace

void zel::directLog(int priority, const char *format, ...) {
    if (format == nullptr) return;
    va_list ap;
    va_start(ap, format);
    writeLine(priority, format, ap);
    va_end(ap);
}

extern "C" {

zelString *zelAllocString(const char *src, int32_t len) {
    if (src == nullptr || len <= 0) return nullptr;
    zelString *s = static_cast<zelString *>(malloc(sizeof(zelString)));
    if (s == nullptr) return nullptr;
    s->data = static_cast<char *>(calloc(static_cast<size_t>(len) + 1, 1));
    if (s->data == nullptr) {
        free(s);
        return nullptr;
    }
    memcpy(s->data, src, static_cast<size_t>(len));
    s->len = len;
    return s;
}

void zelFreeString(zelString *s) {
    if (s == nullptr) return;
    if (s->data != nullptr) free(s->data);
    free(s);
}

void zelto_sdk_open_log(const char *ident) {
    zel::g_platform.log_open(ident, LOG_PID | LOG_CONS | LOG_NDELAY, LOG_USER);
    zel::log_opened.store(1);
}

void zelto_sdk_log(int priority, const char *format, ...) {
    // A masked priority is neither formatted nor written.
    if (format == nullptr || !zel::logWanted(priority)) return;
    va_list ap;
    va_start(ap, format);
    writeLine(priority, format, ap);
    va_end(ap);
}

void zelto_sdk_close_log(void) { zel::g_platform.log_close(); }

}  // extern "C"

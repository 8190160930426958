// The command engine, trim, the generic pass-through, the listener
// registration wrappers and the building blocks of the direct modem port.
#include "zelto_sdk_internal.h"

#include <stdarg.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <errno.h>
#include <fcntl.h>
#include <printf.h>
#include <pthread.h>
#include <syslog.h>
#include <unistd.h>

#include "../core/log.h"
#include "../core/platform.h"

namespace {
const char kTag[] = "zelto_sdk_internal";
}

namespace zel {

Command::Command(const char *literal) {
    size_t n = literal ? strlen(literal) : kCommandMax;
    if (n < kCommandMax) {
        memcpy(buf_, literal, n + 1);
        len_ = static_cast<int32_t>(n);
    } else {
        buf_[0] = '\0';
    }
}

namespace {

constexpr size_t kArgumentsMax = 16;

// The 1-based position of the first text argument that holds a control byte
// (the byte goes to *byte), 0 when none. The arguments are stepped over by
// the types that the C library reads from the format; a format with more
// arguments than that list holds counts as refused at its last argument.
int controlArgument(const char *format, va_list ap, unsigned char *byte) {
    int types[kArgumentsMax];
    size_t n = parse_printf_format(format, kArgumentsMax, types);
    if (n > kArgumentsMax) return static_cast<int>(n);
    for (size_t i = 0; i < n; ++i) {
        const int base = types[i] & ~PA_FLAG_MASK, flags = types[i] & PA_FLAG_MASK;
        if (base == PA_STRING) {
            for (const char *s = va_arg(ap, const char *); s && *s; ++s) {
                *byte = static_cast<unsigned char>(*s);
                if (*byte < 0x20 || *byte == 0x7f) return static_cast<int>(i + 1);
            }
        } else if (base == PA_POINTER || base == PA_WSTRING || (flags & PA_FLAG_PTR)) {
            va_arg(ap, void *);
        } else if (base == PA_DOUBLE) {
            if (flags & PA_FLAG_LONG_DOUBLE)
                va_arg(ap, long double);
            else
                va_arg(ap, double);
        } else if (flags & PA_FLAG_LONG_LONG) {
            va_arg(ap, long long);
        } else if (flags & PA_FLAG_LONG) {
            va_arg(ap, long);
        } else {
            va_arg(ap, int);
        }
    }
    *byte = 0;
    return 0;
}

}  // namespace

Command Command::format(bool checked, const char *format, va_list ap) {
    Command c;
    c.buf_[0] = '\0';
    c.format_ = format;
    if (checked) {
        va_list args;
        va_copy(args, ap);
        c.refused_arg_ = controlArgument(format, args, &c.refused_byte_);
        va_end(args);
        if (c.refused_arg_ != 0) return c;
    }
    int n = vsnprintf(c.buf_, sizeof c.buf_, format, ap);
    c.len_ = (n >= 0 && static_cast<size_t>(n) < sizeof c.buf_) ? n : -1;
    return c;
}

Command cmdf(const char *format, ...) {
    va_list ap;
    va_start(ap, format);
    Command c = Command::format(true, format, ap);
    va_end(ap);
    return c;
}

Command rawf(const char *format, ...) {
    va_list ap;
    va_start(ap, format);
    Command c = Command::format(false, format, ap);
    va_end(ap);
    return c;
}

int32_t refusal(const char *tag, const Command &c, int line) {
    if (c.refused_arg_ != 0) {
        zelto_sdk_log(LOG_ERR, "%s:%d: control byte 0x%02X in argument %d of %.*s: refused\n", tag, line,
                      c.refused_byte_, c.refused_arg_, static_cast<int>(strcspn(c.format_, "\r\n")), c.format_);
        return 1;
    }
    if (c.fits()) return 0;
    zelto_sdk_log(LOG_ERR, "%s:%d: command too long\n", tag, line);
    return 5;
}

const char *findIn(const char *hay, size_t len, const char *needle) {
    size_t n = strlen(needle);
    if (hay == nullptr || n == 0) return nullptr;
    return static_cast<const char *>(memmem(hay, len, needle, n));
}

const char *Reply::find(const char *needle, const char *from) const {
    const char *start = from ? from : s_->data;
    size_t used = static_cast<size_t>(start - s_->data);
    if (used > static_cast<size_t>(s_->len)) return nullptr;
    return findIn(start, static_cast<size_t>(s_->len) - used, needle);
}

Reply transact(const char *tag, const Command &c, int line) {
    if (refusal(tag, c, line) != 0) return Reply(nullptr);
    // Every wrapper stores the same value, from any thread: a relaxed store.
    __atomic_store_n(&sdkSendATcmd, &sdkSendATcmdViaSocket, __ATOMIC_RELAXED);
    zelString *ret = __atomic_load_n(&sdkSendATcmd, __ATOMIC_RELAXED)(c.text(), c.length(), c.timeoutSeconds());
    if (ret == nullptr) {
        zelto_sdk_log(LOG_ERR, "%s:%d: ret == NULL\n\n", tag, line);
        return Reply(nullptr);
    }
    if (ret->len <= 0) {
        zelto_sdk_log(LOG_ERR, "%s:%d: ret->len <= 0\n\n", tag, line);
        zelFreeString(ret);
        return Reply(nullptr);
    }
    return Reply(ret);
}

// strtol saturates at the 32-bit long of the target; a 64-bit host saturates
// the same way here.
int32_t toInt32(long long v) {
    if (v > INT32_MAX) return INT32_MAX;
    if (v < INT32_MIN) return INT32_MIN;
    return static_cast<int32_t>(v);
}

int32_t decimalAt(const char *text) { return toInt32(strtol(text, nullptr, 10)); }

zelString *trimmedText(const char *start, const char *end) {
    zelString *s = zelAllocString(start, static_cast<int32_t>(end - start));
    if (s == nullptr) return nullptr;
    trim(s->data);
    s->len = static_cast<int32_t>(strlen(s->data));
    return s;
}

int32_t run(const Request &r) {
    bool needs_int = r.shape == Shape::IntQuery;
    bool needs_text = r.shape == Shape::TextQuery || r.shape == Shape::FixedText;
    if ((needs_int && r.int_out == nullptr) || (needs_text && r.text_out == nullptr)) return 5;

    if (int32_t refused = refusal(r.tag, *r.command, r.line)) return refused;
    Reply reply = transact(r.tag, *r.command, r.line);
    if (!reply) return 5;
    const char *prefix_at = r.prefix ? reply.find(r.prefix) : nullptr;
    const char *after_prefix = prefix_at ? prefix_at + strlen(r.prefix) : nullptr;

    switch (r.shape) {
        case Shape::Action:
        case Shape::Set:
            return reply.find("OK") ? 0 : 5;
        case Shape::IntQuery:
            if (after_prefix == nullptr) return 5;
            *r.int_out = decimalAt(after_prefix);
            return 0;
        case Shape::TextQuery: {
            if (r.prefix) *r.text_out = nullptr;
            const char *ok = reply.find("OK");
            if (ok == nullptr) return 5;
            if (r.prefix && after_prefix == nullptr) return 5;
            *r.text_out = trimmedText(r.prefix ? after_prefix : reply.text(), ok);
            return *r.text_out ? 0 : 5;
        }
        case Shape::FixedText: {
            if (after_prefix == nullptr) return 5;
            // Never read past the reply: a short reply gives a shorter record.
            int32_t left = reply.length() - static_cast<int32_t>(after_prefix - reply.text());
            *r.text_out = zelAllocString(after_prefix, left < r.width ? left : r.width);
            return *r.text_out ? 0 : 5;
        }
    }
    return 5;
}

}  // namespace zel

extern "C" {

char *trim(char *text) {
    if (text == nullptr || text[0] == '\0') return text;
    // White space as the POSIX locale has it, whatever locale the caller set.
    auto blank = [](char c) { return c != '\0' && strchr(" \t\n\v\f\r", c) != nullptr; };
    char *start = text;
    while (blank(*start)) ++start;
    char *end = start + strlen(start);
    while (end > start && blank(end[-1])) --end;
    *end = '\0';
    if (start != text) memmove(text, start, static_cast<size_t>(end - start) + 1);
    return text;
}

int32_t zelSendAtCommand(const char *command, zelString **reply) {
    if (command == nullptr || reply == nullptr) return 2;
    zel::Reply r = zel::transact(kTag, zel::rawf("%s\r\n", command));
    if (!r) return 5;
    *reply = zelAllocString(r.text(), r.length());
    return *reply ? 0 : 5;
}

}  // extern "C"

namespace {
// The status face of a listener registry: 5 for a NULL callback (no log) or a
// full registry ("<name>: failed to register"), else 0.
template <typename Callback>
int32_t registerCallback(int32_t (*add)(Callback), Callback callback, const char *name,
                         int line = __builtin_LINE()) {
    if (callback == nullptr) return 5;
    if (add(callback) != 0) {
        zelto_sdk_log(LOG_ERR, "%s:%d: %s: failed to register", kTag, line, name);
        return 5;
    }
    return 0;
}
}  // namespace

extern "C" {

int32_t zelRegisterIPChanged(zelIPChangedCallback callback) {
    return registerCallback(RegisterIPChangedEvent, callback, "RegisterIPChangedEvent");
}

int32_t zelRegisterNotification(zelNotificationCallback callback) {
    return registerCallback(RegisterNotification, callback, "RegisterNotification");
}

}  // extern "C"

// ---- Direct modem port ----------------------------------------------------

pthread_mutex_t smd_lock = PTHREAD_MUTEX_INITIALIZER;

namespace {
constexpr uint64_t kWriteRetryPauseUs = 100000;
constexpr int64_t kReadStepUs = 200000;
const char *orNull(const char *s) { return s ? s : "(null)"; }
}  // namespace

int32_t zel::lockAndOpenModemPort(const char *caller, int flags) {
    zel_smd_access_lock(caller);
    // Never inherited by the shell commands of the sleep sequences.
    int fd = g_platform.open_port(g_platform.modem_port, flags | O_CLOEXEC);
    if (fd >= 0) zel_flush_all_data_in_fd(fd);
    return fd;
}

extern "C" {

int32_t zel_smd_access_lock(const char *caller) {
    ZEL_LOG(LOG_INFO, "SMD10 access lock by: %s", orNull(caller));
    return pthread_mutex_lock(&smd_lock);
}

int32_t zel_smd_access_unlock(const char *caller) {
    ZEL_LOG(LOG_INFO, "SMD10 access release by: %s", orNull(caller));
    return pthread_mutex_unlock(&smd_lock);
}

int32_t zel_flush_all_data_in_fd(int32_t fd) {
    char scratch[128];
    ssize_t n;
    do {
        n = read(fd, scratch, sizeof scratch);
    } while (n > 0);
    return n < 0 ? -1 : 0;
}

int32_t zel_send_data_to_fd(int32_t fd, const void *data, int32_t len) {
    if (data == nullptr || len < 0) return -1;
    const char *bytes = static_cast<const char *>(data);
    int32_t remaining = len;
    // Only failed writes use up the budget; partial writes go on at once.
    for (int budget = 3; remaining > 0 && budget > 0;) {
        errno = 0;
        ssize_t n = write(fd, bytes + (len - remaining), static_cast<size_t>(remaining));
        if (n > 0) {
            remaining -= static_cast<int32_t>(n);
            continue;
        }
        int err = errno;
        ZEL_LOG(LOG_WARNING, "Write to fd %d, retry: %d, error: %s", fd, budget, strerror(err));
        --budget;
        if (err != EAGAIN) break;
        zel::g_platform.sleep_us(kWriteRetryPauseUs);
    }
    return remaining == 0 ? len : -1;
}

int32_t zel_read_data_from_modem(int32_t fd, char *buffer, int32_t size, int32_t timeout_ms) {
    int64_t budget_us = static_cast<int64_t>(timeout_ms) * 1000;
    int32_t count = 0;
    if (buffer == nullptr || size <= 0) return -1;
    // Silence costs budget in 200 ms steps; a failing read (EINTR, a closed
    // peer, a bad descriptor) counts as silence, so nothing spins.
    while (budget_us > 0) {
        ssize_t n = read(fd, buffer + count, static_cast<size_t>(size - count));
        if (n > 0) {
            count += static_cast<int32_t>(n);
            size_t got = static_cast<size_t>(count);
            if (count == size || zel::findIn(buffer, got, "\r\nOK\r\n") || zel::findIn(buffer, got, "\r\nERROR\r\n"))
                return count;
            continue;
        }
        budget_us -= kReadStepUs;
        zel::g_platform.sleep_us(kReadStepUs);
    }
    if (count > 0) return count;
    ZEL_LOG(LOG_WARNING, "Read from fd %d, timeout exit", fd);
    return -1;
}

}  // extern "C"

// The command engine: every wrapper of a command family is one line over it.
//
//   int32_t zelGetCSQ(zelString **out) { return textQuery(kTag, "AT+CSQ\r\n", "+CSQ: ", out); }
//   int32_t zelCregSet(int32_t n) { return set(kTag, cmdf("AT+CREG=%d\r\n", n)); }
//
// The engine sends the command, applies the template's checks and log lines
// (tagged with the family's source name and the wrapper's line) and judges
// the reply by its shape.
#ifndef ZEL_API_INTERNAL_H
#define ZEL_API_INTERNAL_H

#include <locale.h>
#include <stdarg.h>
#include <stddef.h>
#include <stdint.h>

#include "zelto_sdk.h"

namespace zel {

constexpr int32_t kDefaultTimeout = 15;
constexpr size_t kCommandMax = 1024;

// A command's text in a fixed buffer, with the seconds to wait for its reply.
// A text that would not fit (with its terminating zero) leaves fits() false;
// the engine then refuses it with 5 and sends nothing. A text argument that
// holds a control byte (below 0x20, or 0x7F) would end the command line and
// start another: it leaves fits() false as well, and the engine refuses the
// command with 1.
class Command {
public:
    Command(const char *literal);  // NOLINT: implicit on purpose, for one-line wrappers
    Command &timeout(int32_t seconds) {
        timeout_ = seconds;
        return *this;
    }
    bool fits() const { return len_ >= 0; }
    // The 1-based position of the first argument refused for a control byte; 0 for none.
    int refusedArgument() const { return refused_arg_; }
    const char *text() const { return buf_; }
    int32_t length() const { return len_; }
    int32_t timeoutSeconds() const { return timeout_; }

private:
    Command() = default;
    static Command format(bool checked, const char *format, va_list ap);
    friend Command cmdf(const char *format, ...);
    friend Command rawf(const char *format, ...);
    friend int32_t refusal(const char *tag, const Command &c, int line);
    char buf_[kCommandMax];
    int32_t len_ = -1;
    int32_t timeout_ = kDefaultTimeout;
    const char *format_ = "";
    int refused_arg_ = 0;
    unsigned char refused_byte_ = 0;
};

// Formats a command like printf. Every text (%s) argument is checked first:
// one holding a control byte refuses the whole command.
Command cmdf(const char *format, ...) __attribute__((format(printf, 1, 2)));
// The same without the check, for the raw pass-through zelSendAtCommand only.
Command rawf(const char *format, ...) __attribute__((format(printf, 1, 2)));

// 0 when `c` may be sent. Otherwise logs why not at LOG_ERR under `tag` and
// `line` and gives the status to return: 1 for a control byte (the log names
// the argument and the byte), 5 for a command too long.
int32_t refusal(const char *tag, const Command &c, int line = __builtin_LINE());

// The ways a reply is judged and converted.
enum class Shape {
    Action,     // success iff "OK" anywhere
    Set,        // the same, for formatted commands
    IntQuery,   // prefix present; the integer after it
    TextQuery,  // "OK" (and the prefix, if named); trimmed text up to the first "OK"
    FixedText,  // prefix present; the `width` bytes after it, untrimmed
};

struct Request {
    const char *tag;  // the family's source base name, for log lines
    int line;         // the wrapper's line, for log lines
    const Command *command;
    Shape shape;
    const char *prefix;  // NULL: none (text queries start at the reply's first byte)
    int32_t *int_out;
    zelString **text_out;
    int32_t width;
};

// Runs one request through the whole template and returns its status.
int32_t run(const Request &r);

inline int32_t action(const char *tag, const Command &c, int line = __builtin_LINE()) {
    return run({tag, line, &c, Shape::Action, nullptr, nullptr, nullptr, 0});
}
inline int32_t set(const char *tag, const Command &c, int line = __builtin_LINE()) {
    return run({tag, line, &c, Shape::Set, nullptr, nullptr, nullptr, 0});
}
inline int32_t intQuery(const char *tag, const Command &c, const char *prefix, int32_t *out,
                        int line = __builtin_LINE()) {
    return run({tag, line, &c, Shape::IntQuery, prefix, out, nullptr, 0});
}
inline int32_t textQuery(const char *tag, const Command &c, const char *prefix, zelString **out,
                         int line = __builtin_LINE()) {
    return run({tag, line, &c, Shape::TextQuery, prefix, nullptr, out, 0});
}
inline int32_t fixedText(const char *tag, const Command &c, const char *prefix, int32_t width, zelString **out,
                         int line = __builtin_LINE()) {
    return run({tag, line, &c, Shape::FixedText, prefix, nullptr, out, width});
}

// A reply owned for the length of a custom wrapper; freed on every path.
class Reply {
public:
    explicit Reply(zelString *s) : s_(s) {}
    Reply(Reply &&o) : s_(o.s_) { o.s_ = nullptr; }
    Reply(const Reply &) = delete;
    Reply &operator=(const Reply &) = delete;
    ~Reply() { zelFreeString(s_); }
    explicit operator bool() const { return s_ != nullptr; }
    const char *text() const { return s_->data; }
    int32_t length() const { return s_->len; }
    // First occurrence of `needle` at or after `from`, or NULL.
    const char *find(const char *needle, const char *from = nullptr) const;

private:
    zelString *s_;
};

// The first row of `rows` whose `word` the reply holds at or after `from`
// (the reply's start when NULL); the last row when none of the others does.
// The rows are tried in table order, so a word that contains another comes
// before it.
template <typename Row, size_t N>
const Row &firstFound(const Reply &r, const Row (&rows)[N], const char *from = nullptr) {
    for (size_t i = 0; i + 1 < N; ++i)
        if (r.find(rows[i].word, from)) return rows[i];
    return rows[N - 1];
}

// The decimal integer at `text` as strtol reads it (leading blanks, a sign,
// 0 without digits), saturated at 32 bits as on the target.
int32_t decimalAt(const char *text);
// An integer saturated at 32 bits, as the target's 32-bit long holds it.
int32_t toInt32(long long v);

// Sends a command for a custom wrapper: a reply with at least one byte, or an
// empty Reply after the template's log line ("ret == NULL", "ret->len <= 0",
// or the refusal's). A wrapper that formats caller text returns refusal()'s
// status itself before it calls this.
Reply transact(const char *tag, const Command &c, int line = __builtin_LINE());

// A new record with the trimmed text of [start, end), `len` set to the
// trimmed length; NULL when the span is empty or reversed, or on no memory.
zelString *trimmedText(const char *start, const char *end);

// Plain byte search over [hay, hay+len): first `needle`, or NULL.
const char *findIn(const char *hay, size_t len, const char *needle);

// Direct modem port: takes smd_lock (logged for `caller`), opens the port with
// `flags` through the platform and drains what it still holds. Returns the
// descriptor, or -1 with errno set and the lock still held.
int32_t lockAndOpenModemPort(const char *caller, int flags);

// While alive, numbers on this thread are read in the C locale, whatever
// locale the application set.
class ClassicNumbers {
public:
    ClassicNumbers() : c_(newlocale(LC_ALL_MASK, "C", static_cast<locale_t>(0))) {
        if (c_) previous_ = uselocale(c_);
    }
    ~ClassicNumbers() {
        if (c_) {
            uselocale(previous_);
            freelocale(c_);
        }
    }
    ClassicNumbers(const ClassicNumbers &) = delete;
    ClassicNumbers &operator=(const ClassicNumbers &) = delete;

private:
    locale_t c_;
    locale_t previous_ = static_cast<locale_t>(0);
};

}  // namespace zel

#endif

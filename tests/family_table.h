// The table runner for the command families. A row is one call of a wrapper,
// the exact bytes it must send and the shape of its reply; the runner builds
// a good reply from the row's prefix and the bad ones that shape can meet,
// and checks status, outputs, bytes sent, timeout asked for and the log.
#ifndef ZEL_TESTS_FAMILY_TABLE_H
#define ZEL_TESTS_FAMILY_TABLE_H

#include <functional>
#include <string>
#include <vector>

#include "test_support.h"

namespace zeltest {

constexpr int32_t kUnset = -7777;
inline constexpr char kKept[] = "<kept>";  // the text output still holds the test's own record
inline constexpr char kNull[] = "<null>";  // the text output was set to NULL
inline const std::string kLong(1100, 'L');  // longer than any command can be
constexpr uint32_t kNeg = static_cast<uint32_t>(-1);  // a negative value passed as unsigned

// A wrapper called with fixed arguments; `i` and `s` are the integer and text
// outputs it may write (both NULL when the runner checks output refusals).
using Call = std::function<int32_t(int32_t *i, zelString **s)>;
#define ZEL_CALL(expr) [&]([[maybe_unused]] int32_t *i, [[maybe_unused]] zelString **s) -> int32_t { return expr; }

enum class Kind {
    Ok,            // action and set: "OK" anywhere
    Int,           // the integer after the prefix; "OK" not needed
    Text,          // trimmed text from the prefix to the first "OK"
    Plain,         // trimmed text from the reply's first byte to the first "OK"
    PlainCleared,  // the same, the output set to NULL once any reply is in hand
    Fixed,         // `width` bytes after the prefix, untrimmed; "OK" not needed
    Custom,        // its own tests judge replies; the table checks the good one, bytes, timeout, silence
};

struct Row {
    std::string name;
    Kind kind;
    Call call;
    std::string sent;    // exact command bytes
    std::string prefix;  // what the wrapper looks for (Int, Text, Fixed)
    std::string line;    // Custom: the information line of a good reply (others build it from the prefix)
    std::string want;    // outputs after the good reply, as describe() writes them
    int32_t width = 0;
    int32_t timeout = 15;
    int32_t null_status = 5;  // what a NULL output gives, before anything is sent
    Row &wait(int32_t seconds) {
        timeout = seconds;
        return *this;
    }
    Row &nullGives(int32_t status) {
        null_status = status;
        return *this;
    }
};

// One-line rows: OK(zelCRCSet(1), "AT+CRC=1\r\n"), INT(zelCRCGet(i), "AT+CRC?\r\n", "CRC:"), ...
#define OK(expr, sent) ::zeltest::Row{#expr, ::zeltest::Kind::Ok, ZEL_CALL(expr), sent, "", "", ::zeltest::kKept}
#define INT(expr, sent, prefix) ::zeltest::Row{#expr, ::zeltest::Kind::Int, ZEL_CALL(expr), sent, prefix}
#define TEXT(expr, sent, prefix) ::zeltest::Row{#expr, ::zeltest::Kind::Text, ZEL_CALL(expr), sent, prefix}
#define PLAIN(expr, sent) ::zeltest::Row{#expr, ::zeltest::Kind::Plain, ZEL_CALL(expr), sent}
#define FIXED(expr, sent, prefix, width) \
    ::zeltest::Row{#expr, ::zeltest::Kind::Fixed, ZEL_CALL(expr), sent, prefix, "", "", width}
#define CUSTOM(expr, sent, line, want) ::zeltest::Row{#expr, ::zeltest::Kind::Custom, ZEL_CALL(expr), sent, "", line, want}

// Argument checks: the call returns `status` and nothing reaches the server.
struct Refusal {
    const char *what;
    Call call;
    int32_t status;
};
#define REFUSE(expr, status) ::zeltest::Refusal{#expr, ZEL_CALL(expr), status}

class FamilyTest : public LinkTest {
protected:
    void SetUp() override;

    struct Outcome {
        int32_t status;
        std::string out;  // the outputs: the integer in decimal, the text, kKept or kNull
        std::string sent;
    };
    // Runs `call` against `reply`; an empty reply leaves the server silent.
    Outcome run(const Call &call, const std::string &reply);

    // Every row of a family whose log lines are tagged `tag`.
    void checkTable(const char *tag, const std::vector<Row> &rows);
    void checkRefusals(const std::vector<Refusal> &rows);

    struct ReplyCase {
        std::string reply;
        int32_t status;
        std::string out;
        std::string logged = {};  // a line that must be logged (at `priority`), if not empty
        int priority = LOG_ERR;
    };
    void expectReplies(const Call &call, const std::vector<ReplyCase> &cases, int32_t timeout = 15);

private:
    void checkRow(const Row &r, const char *tag);
    void expectNothingSent();
};

}  // namespace zeltest

#endif

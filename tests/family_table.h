// The table runner for the command families. A row names a wrapper, the exact
// bytes it sends and the shape of its reply; the runner tries a good reply and
// every bad one that shape can meet (ended by ERROR, without the prefix, an
// empty or blank span, silence) and checks status, outputs, the bytes sent,
// the timeout asked for and what the family logged.
#ifndef ZEL_TESTS_FAMILY_TABLE_H
#define ZEL_TESTS_FAMILY_TABLE_H

#include <functional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "test_support.h"

namespace zeltest {

constexpr int32_t kUnset = -7777;
inline constexpr char kKept[] = "<kept>";  // the text output still holds the test's own record
inline constexpr char kNull[] = "<null>";  // the text output was set to NULL
inline const std::string kLong(1100, 'L');  // longer than any command can be
constexpr uint32_t kNeg = static_cast<uint32_t>(-1);  // a negative value passed as unsigned

// Refused calls pass &g_sink as their output; it must stay NULL.
extern zelString *g_sink;

// Outputs of one call. The text output starts as a record of the test's own,
// so "left untouched" and "set to NULL" can be told apart.
struct Out {
    int32_t i = kUnset;
    zelString *keep = zelAllocString("keep", 4);
    zelString *s = keep;
    Out() = default;
    Out(const Out &) = delete;
    Out &operator=(const Out &) = delete;
    ~Out();
};

// The outputs as one word: the integer in decimal, the text's bytes, kKept
// when neither was written, or kNull.
std::string describe(const Out &o);

// A wrapper called with fixed arguments; whatever it takes (nothing, an
// integer output, a text output, or the whole Out) is filled from an Out.
class Call {
public:
    template <class F, class = std::enable_if_t<!std::is_same_v<std::decay_t<F>, Call>>>
    Call(F f) {  // NOLINT: implicit, so tables hold plain functions and lambdas
        if constexpr (std::is_invocable_v<F>)
            fn_ = [f](Out &) { return f(); };
        else if constexpr (std::is_invocable_v<F, int32_t *>)
            fn_ = [f](Out &o) { return f(&o.i); };
        else if constexpr (std::is_invocable_v<F, zelString **>)
            fn_ = [f](Out &o) { return f(&o.s); };
        else
            fn_ = f;
    }
    int32_t operator()(Out &o) const { return fn_(o); }

private:
    std::function<int32_t(Out &)> fn_;
};

// How a wrapper judges its reply.
enum class Kind {
    Ok,            // action and set: "OK" anywhere
    Int,           // the integer after the prefix; "OK" not needed
    Text,          // trimmed text from the prefix to the first "OK"
    Plain,         // trimmed text from the reply's first byte to the first "OK"
    PlainCleared,  // the same, the output set to NULL once any reply is in hand
    Fixed,         // the bytes after the prefix, untrimmed; "OK" not needed
    Custom,        // judged by tests of its own; the table checks bytes, timeout, silence
};

struct Row {
    std::string name;  // the function as its source defines it, with an optional "(note)"
    Kind kind;
    Call call;
    std::string sent;    // exact command bytes
    std::string prefix;  // what the wrapper looks for (Int, Text, Fixed)
    std::string line;    // the information line(s) of a good reply; none: a bare "OK"
    std::string want;    // describe() of the outputs after the good reply
    int32_t timeout = 15;
    bool logs = false;  // the wrapper logs failures of its own
    Row &wait(int32_t seconds) {
        timeout = seconds;
        return *this;
    }
    Row &logsFailures() {
        logs = true;
        return *this;
    }
};

Row okRow(std::string name, std::string sent, Call call, std::string line = "");
Row intRow(std::string name, std::string sent, std::string prefix, Call call, std::string line, int32_t want);
// The good line is the prefix followed by `want`.
Row textRow(std::string name, std::string sent, std::string prefix, Call call, std::string want);
// The good line(s) come back whole; without them only the runner's own replies are tried.
Row plainRow(std::string name, std::string sent, Call call, std::string line = "", bool cleared = false);
Row fixedRow(std::string name, std::string sent, std::string prefix, Call call, std::string line, std::string want);
Row customRow(std::string name, std::string sent, Call call);

class FamilyTest : public LinkTest {
protected:
    void SetUp() override;

    struct Outcome {
        int32_t status;
        std::string out;  // describe() of the outputs
        std::string sent;
    };
    // Runs `call` against `reply`; an empty reply leaves the server silent.
    Outcome run(const Call &call, const std::string &reply);

    // Every row of a family whose source is zelto_api_modules/<tag>.cpp.
    void checkTable(const char *tag, const std::vector<Row> &rows);

    struct ReplyCase {
        std::string reply;
        int32_t status;
        std::string out;
    };
    void expectReplies(const Call &call, const std::vector<ReplyCase> &cases, int32_t timeout = 15);

    // Argument checks: the status, and nothing reaches the server.
    struct Refusal {
        const char *what;
        Call call;
        int32_t status;
    };
    void checkRefusals(const std::vector<Refusal> &rows);

    // Accepted arguments: answered "OK", the call succeeds having sent `command`.
    struct Sent {
        const char *what;
        Call call;
        std::string command;
        int32_t timeout = 15;
    };
    void checkSent(const std::vector<Sent> &rows);

    // Asserts that the last call sent nothing: a probe answered now must be
    // all the server saw since its record was cleared.
    void expectNothingSent();

private:
    void checkRow(const Row &r, const char *tag, const std::string &source);
    void checkSilence(const Row &r, const char *tag, std::pair<int, int> definition);
};

}  // namespace zeltest

#endif

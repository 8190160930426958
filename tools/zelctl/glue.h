// The thin layer between zelctl's subcommands and the library: calls that
// turn a status into a Failure, the library session, the queue that callbacks
// feed, the spinner and the interrupt flag.
#ifndef ZELCTL_GLUE_H
#define ZELCTL_GLUE_H

#include <atomic>
#include <chrono>
#include <condition_variable>
#include <deque>
#include <functional>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <thread>

#include "render.h"

namespace CLI {
class App;
}

namespace zelctl {

// A library call (or a check of the tool's own) that did not succeed.
struct Failure {
    std::string function;  // empty for failures found by the tool itself
    int32_t status = 0;
    std::string detail;
    std::string message() const;
};

[[noreturn]] void fail(const std::string &function, int32_t status, const std::string &detail = "");
inline void check(const char *function, int32_t status) {
    if (status != 0) fail(function, status);
}

// The text output of a query, freed here; a failure status throws.
template <typename F, typename... A>
std::string text(const char *function, F f, A... args) {
    zelString *s = nullptr;
    int32_t status = f(args..., &s);
    std::string out = s != nullptr ? std::string(s->data, static_cast<size_t>(s->len)) : std::string();
    zelFreeString(s);
    if (status != 0) fail(function, status);
    return out;
}
#define ZEL_TEXT(fn, ...) ::zelctl::text(#fn, fn, ##__VA_ARGS__)
#define ZEL_CHECK(fn, ...) ::zelctl::check(#fn, fn(__VA_ARGS__))

// zelInit for the lifetime of the object, zelExit at its end.
class Session {
public:
    Session();
    ~Session();
    Session(const Session &) = delete;
    Session &operator=(const Session &) = delete;
};

// Events handed over by library callbacks (listener threads) to the main
// thread, as JSON objects.
class Events {
public:
    void push(Json event);
    // The next event, or nothing once `wait` has passed or an interrupt came.
    std::optional<Json> pop(std::chrono::milliseconds wait);

private:
    std::mutex mu_;
    std::condition_variable cv_;
    std::deque<Json> queue_;
};
Events &events();
// Callbacks that feed events(): every notification, IP changes, OTA steps.
void registerNotifications();
void registerIpChanges();
void registerOtaCallbacks();

// SIGINT and SIGTERM set a flag instead of ending the process (the library's
// own handler would exit at once); long waits check it.
void catchInterrupts();
bool interrupted();

// Shows that the tool is waiting: a spinner on a terminal, one line otherwise.
class Spinner {
public:
    explicit Spinner(std::string what);
    ~Spinner();

private:
    std::string what_;
    std::mutex mu_;
    std::condition_variable cv_;
    bool done_ = false;
    std::thread thread_;
};

// What a subcommand hands back: the JSON document, and for the human view
// a text of its own when the generic rendering of the document will not do.
// `failure`, when set, is printed as an error after the output and makes the
// exit status non-zero (the at command prints an ERROR reply, then fails).
struct Output {
    Output(Json d, std::optional<std::string> t = std::nullopt) : doc(std::move(d)), text(std::move(t)) {}
    Json doc;
    std::optional<std::string> text;
    std::optional<std::string> failure;
};

// Every option value of every subcommand.
struct Args {
    bool json = false;
    int cid = 1;
    std::string apn, pdpType = "IP";
    int waitIp = 0;
    std::string pin, puk, newPin;
    std::string smsStatus = "all";
    int index = 0, flag = 0;
    std::string number, body;
    bool pdu = false;
    int waitFix = 0;
    std::string url;
    int otaTimeout = 300;
    int watchTimeout = 0;
    int count = 0;
    std::string command;
};

using Action = std::function<Output()>;
// Adds every subcommand to `app`; the action of each leaf goes to `actions`.
void addCommands(CLI::App &app, Args &args, std::map<const CLI::App *, Action> &actions);

}  // namespace zelctl

#endif

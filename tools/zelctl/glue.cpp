#include "glue.h"

#include <signal.h>
#include <unistd.h>

#include <cstdio>
#include <ctime>

namespace zelctl {

std::string Failure::message() const {
    if (function.empty()) return detail;
    return failureText(function, status) + (detail.empty() ? "" : ": " + detail);
}

void fail(const std::string &function, int32_t status, const std::string &detail) {
    throw Failure{function, status, detail};
}

Session::Session() {
    int32_t status = zelInit();
    if (status == 0) return;
    // A failed start keeps the lock file until zelExit; after status 4 the
    // lock is another program's and zelExit leaves it alone.
    zelExit();
    fail("zelInit", status,
         status == 4 ? std::string("if no other program uses the modem, remove ") + zel::wire::kLockFile
                     : std::string("is the SDK server (or zelsim) listening on ") + zel::wire::kServerSocket + "?");
}

Session::~Session() { zelExit(); }

namespace {
std::atomic<bool> g_interrupted{false};

void onInterrupt(int) { g_interrupted.store(true); }

void onNotification(zelNotification *n) { events().push(notification(*n)); }

void onIpChange(const char *text) { events().push({{"event", "ip_change"}, {"text", text}}); }

void otaEvent(int32_t status, int32_t progress) {
    const char *step = otaStep(status);
    events().push({{"event", "ota"}, {"step", step ? step : "unknown"}, {"status", status}, {"progress", progress}});
}
void otaStatusOnly(int32_t status) { otaEvent(status, 0); }
}  // namespace

void Events::push(Json event) {
    auto now = std::chrono::system_clock::now();
    time_t secs = std::chrono::system_clock::to_time_t(now);
    long ms = static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(now.time_since_epoch()).count() % 1000);
    struct tm local;
    localtime_r(&secs, &local);
    char stamp[32];
    snprintf(stamp, sizeof stamp, "%02d:%02d:%02d.%03ld", local.tm_hour, local.tm_min, local.tm_sec, ms);
    event["time"] = stamp;
    std::lock_guard<std::mutex> lock(mu_);
    queue_.push_back(std::move(event));
    cv_.notify_all();
}

std::optional<Json> Events::pop(std::chrono::milliseconds wait) {
    auto deadline = std::chrono::steady_clock::now() + wait;
    std::unique_lock<std::mutex> lock(mu_);
    // Wakes every 100 ms to notice an interrupt.
    while (queue_.empty() && !interrupted()) {
        auto now = std::chrono::steady_clock::now();
        if (now >= deadline) return std::nullopt;
        cv_.wait_for(lock, std::min<std::chrono::steady_clock::duration>(deadline - now, std::chrono::milliseconds(100)));
    }
    if (queue_.empty()) return std::nullopt;
    Json e = std::move(queue_.front());
    queue_.pop_front();
    return e;
}

Events &events() {
    static Events instance;
    return instance;
}

void registerNotifications() { ZEL_CHECK(zelRegisterNotification, onNotification); }

void registerIpChanges() { ZEL_CHECK(zelRegisterIPChanged, onIpChange); }

void registerOtaCallbacks() {
    // The library keeps the pointer for the rest of the process.
    static const zelOTACallbacks callbacks = {otaStatusOnly, otaStatusOnly, otaEvent, otaStatusOnly};
    ZEL_CHECK(zelOTARegisterCallbacks, &callbacks);
}

void catchInterrupts() {
    signal(SIGINT, onInterrupt);
    signal(SIGTERM, onInterrupt);
}

bool interrupted() { return g_interrupted.load(); }

Spinner::Spinner(std::string what) : what_(std::move(what)) {
    if (!isatty(STDERR_FILENO)) {
        fprintf(stderr, "%s ...\n", what_.c_str());
        return;
    }
    thread_ = std::thread([this] {
        auto start = std::chrono::steady_clock::now();
        std::unique_lock<std::mutex> lock(mu_);
        for (unsigned tick = 0; !done_; ++tick) {
            auto secs = std::chrono::duration_cast<std::chrono::seconds>(std::chrono::steady_clock::now() - start);
            fprintf(stderr, "\r%c %s (%lds)", spinnerFrame(tick), what_.c_str(), static_cast<long>(secs.count()));
            fflush(stderr);
            cv_.wait_for(lock, std::chrono::milliseconds(120));
        }
        fprintf(stderr, "\r\033[K");
        fflush(stderr);
    });
}

Spinner::~Spinner() {
    if (!thread_.joinable()) return;
    {
        std::lock_guard<std::mutex> lock(mu_);
        done_ = true;
    }
    cv_.notify_all();
    thread_.join();
}

}  // namespace zelctl

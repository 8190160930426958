// Start and end of the library. Anything that takes the lock, installs the
// signal handlers or starts the listeners runs in a forked child with its own
// paths; the child reports log lines, sleep requests and failed checks back
// through a pipe, and the parent judges them with the exit status.
#include <gtest/gtest.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <tuple>
#include <vector>

#include "core/link.h"
#include "core/platform.h"
#include "fake_server.h"
#include "zelto_sdk.h"

namespace {

// ---- child side ----------------------------------------------------------

int g_up = -1;  // child -> parent: one report per line
pthread_t g_main;

// One write per line, so lines from several threads never interleave. No
// allocation: the signal handler's log lines come through here.
void report(const char *prefix, const char *text) {
    char line[512];
    size_t n = 0;
    for (const char *part : {prefix, text})
        for (const char *c = part; *c != '\0' && n < sizeof line - 1; ++c) line[n++] = *c == '\n' ? '|' : *c;
    line[n++] = '\n';
    if (write(g_up, line, n) < 0) {
    }
}

#define CHILD_CHECK(cond)                                                                \
    do {                                                                                 \
        if (!(cond)) report("FAIL: ", (std::to_string(__LINE__) + ": " #cond).c_str()); \
    } while (0)

void logToParent(int priority, const char *text) {
    char prefix[] = "L0 ";
    prefix[1] = char('0' + priority % 10);
    report(prefix, text);
}
void noLogOpen(const char *, int, int) {}
void noLogClose() {}

// Reports the main thread's sleep requests and keeps every pause short.
void recordingSleep(uint64_t us) {
    if (pthread_equal(pthread_self(), g_main)) report("S ", std::to_string(us).c_str());
    std::this_thread::sleep_for(std::chrono::microseconds(std::min<uint64_t>(us, 20000)));
}

struct Paths {
    std::string dir, lock, server, ip, notify;
};

// Points the library at the test's paths (a child never destroys them: it
// ends with _exit) and at the report pipe.
void childPlatform(const Paths &p) {
    zel::g_platform.lock_file = p.lock.c_str();
    zel::g_platform.server_socket = p.server.c_str();
    zel::g_platform.ip_socket = p.ip.c_str();
    zel::g_platform.notify_socket = p.notify.c_str();
    zel::g_platform.log_open = noLogOpen;
    zel::g_platform.log_close = noLogClose;
    zel::g_platform.log_write = logToParent;
    zel::g_platform.sleep_us = recordingSleep;
}

// Starts the library against a fake server, then waits for signals.
int runUntilSignalled(const Paths &p) {
    zeltest::FakeServer server(p.server);
    CHILD_CHECK(zelInit() == 0);
    report("READY", "");
    for (;;) pause();
}

// ---- parent side ---------------------------------------------------------

class Child {
public:
    explicit Child(const Paths &p, const std::function<int()> &body) {
        int up[2];
        if (pipe2(up, O_CLOEXEC) != 0) abort();
        fflush(stdout);
        fflush(stderr);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(up[0]);
            g_up = up[1];
            g_main = pthread_self();
            // The library ends the process with exit(): skip the test binary's
            // own destructors then.
            on_exit([](int status, void *) { _exit(status); }, nullptr);
            childPlatform(p);
            _exit(body());
        }
        close(up[1]);
        from_ = up[0];
    }

    ~Child() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        close(from_);
    }

    void signal(int signum) { kill(pid_, signum); }

    // Reads reports until one contains `needle`.
    bool waitFor(const std::string &needle) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (count(needle) == 0 && std::chrono::steady_clock::now() < deadline)
            if (readSome(20) < 0) break;
        return count(needle) > 0;
    }

    // Waits for the child to end: its wait status, or -1 when it hung and was killed.
    int finish() {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(20);
        int status = -1;
        while (waitpid(pid_, &status, WNOHANG) != pid_) {
            if (std::chrono::steady_clock::now() > deadline) return -1;  // the destructor kills it
            readSome(20);
        }
        pid_ = -1;
        while (readSome(0) > 0) {
        }
        return status;
    }

    // Reports that start with `prefix` and contain `needle`.
    int count(const std::string &needle, const std::string &prefix = "") const {
        int n = 0;
        for (const std::string &l : lines_) n += l.rfind(prefix, 0) == 0 && l.find(needle) != std::string::npos;
        return n;
    }

    // The child exited by itself with `code`, and none of its checks failed.
    void expectExit(int code) {
        int status = finish();
        EXPECT_TRUE(status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == code) << "wait status " << status;
        for (const std::string &l : lines_) EXPECT_NE(l.rfind("FAIL: ", 0), 0u) << l;
    }

private:
    // 1 after reading, 0 on timeout, -1 at the end of the child's reports.
    int readSome(int timeout_ms) {
        struct pollfd p = {from_, POLLIN, 0};
        if (poll(&p, 1, timeout_ms) <= 0) return 0;
        char buf[4096];
        ssize_t n = read(from_, buf, sizeof buf);
        if (n <= 0) return -1;
        partial_.append(buf, static_cast<size_t>(n));
        for (size_t at; (at = partial_.find('\n')) != std::string::npos; partial_.erase(0, at + 1))
            lines_.push_back(partial_.substr(0, at));
        return 1;
    }

    pid_t pid_ = -1;
    int from_ = -1;
    std::string partial_;
    std::vector<std::string> lines_;
};

bool exists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }

class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        char dir[] = "/tmp/zellife-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        p = {dir, std::string(dir) + "/lock", std::string(dir) + "/server.sock", std::string(dir) + "/ip.sock",
             std::string(dir) + "/notify.sock"};
    }
    void TearDown() override { std::filesystem::remove_all(p.dir); }

    Paths p;
};

TEST_F(Lifecycle, WithoutServerInitGivesFiveAndTheLockStaysTakenUntilExit) {
    Child child(p, [&] {
        signal(SIGINT, SIG_IGN);
        signal(SIGPIPE, SIG_DFL);
        CHILD_CHECK(zelInit() == 5);
        CHILD_CHECK(exists(p.lock) && zel::currentQueue() == nullptr);
        // The handlers go in before anything can fail.
        struct sigaction sa;
        sigaction(SIGINT, nullptr, &sa);
        CHILD_CHECK(sa.sa_handler != SIG_IGN && sa.sa_handler != SIG_DFL);
        sigaction(SIGPIPE, nullptr, &sa);
        CHILD_CHECK(sa.sa_handler == SIG_IGN);
        CHILD_CHECK(zelInit() == 4);
        CHILD_CHECK(zelExit() == 0);
        CHILD_CHECK(!exists(p.lock));
        CHILD_CHECK(zelInit() == 5);  // tries afresh
        CHILD_CHECK(zelExit() == 0);
        return 0;
    });
    child.expectExit(0);
    EXPECT_EQ(child.count(": ZELTO SDK already running.", "L3 core:"), 1);
    EXPECT_FALSE(exists(p.lock));
}

TEST_F(Lifecycle, ASecondProcessGetsFourWhileTheFirstRuns) {
    Child first(p, [&] { return runUntilSignalled(p); });
    ASSERT_TRUE(first.waitFor("READY"));
    Child second(p, [&] {
        CHILD_CHECK(zelInit() == 4);  // the first one's server would have let it start
        CHILD_CHECK(zelExit() == 0);
        CHILD_CHECK(exists(p.lock));  // not ours to remove
        return 0;
    });
    second.expectExit(0);
    EXPECT_EQ(second.count(": ZELTO SDK already running.", "L3 core:"), 1);
    EXPECT_TRUE(exists(p.lock));
    first.signal(SIGTERM);
    first.expectExit(SIGTERM);
    EXPECT_FALSE(exists(p.lock));
}

TEST_F(Lifecycle, ALeftoverLockFileRefusesAndExitWithoutTheLockTouchesNothing) {
    FILE *f = fopen(p.lock.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fclose(f);
    Child child(p, [&] {
        zeltest::FakeServer server(p.server);
        CHILD_CHECK(zelExit() == 0);
        CHILD_CHECK(exists(p.lock));
        CHILD_CHECK(zelInit() == 4);
        CHILD_CHECK(lock_fd == -1);
        CHILD_CHECK(zelExit() == 0);
        CHILD_CHECK(exists(p.lock));
        return 0;
    });
    child.expectExit(0);
    EXPECT_EQ(child.count(": ZELTO SDK already running.", "L3 core:"), 1);
    EXPECT_TRUE(exists(p.lock));
}

TEST_F(Lifecycle, HandledSignalsRemoveTheLockAndExitWithTheirNumber) {
    const std::pair<int, const char *> cases[] = {
        {SIGINT, nullptr},  {SIGTERM, nullptr}, {SIGHUP, nullptr},
        {SIGQUIT, nullptr}, {SIGTSTP, nullptr}, {SIGABRT, nullptr},
        {SIGUSR1, ": User event 1 occurred|"},  // the line's "\n" comes as '|'
        {SIGUSR2, ": User event 2 occurred|"},
        {SIGSEGV, ": Segmentation fault occurred|"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(strsignal(c.first));
        Child child(p, [&] { return runUntilSignalled(p); });
        ASSERT_TRUE(child.waitFor("READY"));
        ASSERT_TRUE(exists(p.lock));
        child.signal(c.first);
        child.expectExit(c.first);
        EXPECT_FALSE(exists(p.lock));
        EXPECT_EQ(child.count("", "L2 "), c.second ? 1 : 0);
        if (c.second) EXPECT_EQ(child.count(c.second, "L2 core:"), 1);
    }
}

TEST_F(Lifecycle, StartPausesTwiceAndStartsBothListeners) {
    Child child(p, [&] {
        zeltest::FakeServer server(p.server), ip(p.ip), notify(p.notify);
        for (int round = 1; round <= 2; ++round) {
            CHILD_CHECK(zelInit() == 0);
            CHILD_CHECK(zel::receiverRunning() && zel::currentQueue() != nullptr);
            CHILD_CHECK(server.waitForConnections(round));
            CHILD_CHECK(ip.waitForConnections(round));
            CHILD_CHECK(notify.waitForConnections(round));
            CHILD_CHECK(zelExit() == 0);
            CHILD_CHECK(!zel::receiverRunning() && zel::currentQueue() == nullptr);
            CHILD_CHECK(!exists(p.lock));
        }
        return 0;
    });
    child.expectExit(0);
    EXPECT_EQ(child.count("500000", "S "), 4);
    EXPECT_EQ(child.count("", "S "), 4);  // nothing else on this thread
}

TEST_F(Lifecycle, ASuccessfulStartTakesAtLeastOneSecondWithRealPauses) {
    Child child(p, [&] {
        zel::g_platform.sleep_us = zel::defaultPlatform().sleep_us;
        zeltest::FakeServer server(p.server);
        auto t0 = std::chrono::steady_clock::now();
        CHILD_CHECK(zelInit() == 0);
        auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - t0);
        CHILD_CHECK(ms.count() >= 1000);
        CHILD_CHECK(zelExit() == 0);
        return 0;
    });
    child.expectExit(0);
}

TEST(Version, NeedsThreeOutputs) {
    for (int missing = 0; missing < 8; ++missing) {
        int32_t v[3] = {-7, -7, -7};
        auto at = [&](int i) { return (missing >> i & 1) ? nullptr : &v[i]; };
        EXPECT_EQ(zelGetSDKVersion(at(0), at(1), at(2)), missing ? 5 : 0);
        EXPECT_EQ(std::make_tuple(v[0], v[1], v[2]), missing ? std::make_tuple(-7, -7, -7) : std::make_tuple(2, 2, 5));
    }
}

}  // namespace

// Start and end of the library. Anything that takes the lock, installs the
// signal handlers or starts the listeners runs in a forked child with its own
// paths; the child reports log lines, sleep requests and failed checks back
// through a pipe, and the parent judges them with the exit status.
#include <gtest/gtest.h>

#include <errno.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <functional>
#include <string>
#include <thread>
#include <vector>

#include "core/link.h"
#include "core/platform.h"
#include "fake_server.h"
#include "zelto_sdk.h"

namespace {

// ---- child side ----------------------------------------------------------

int g_up = -1;    // child -> parent: one report per line
int g_down = -1;  // parent -> child: single command bytes
pthread_t g_main;

// One write per line, so lines from several threads never interleave. No
// allocation: the signal handler's log lines come through here.
void report(const char *prefix, const char *text) {
    char line[4400];
    size_t n = 0;
    for (const char *part : {prefix, text}) {
        for (const char *c = part; *c != '\0' && n < sizeof line - 1; ++c) line[n++] = *c == '\n' ? '|' : *c;
    }
    line[n++] = '\n';
    if (write(g_up, line, n) < 0) {
    }
}

void report(const std::string &line) { report("", line.c_str()); }

#define CHILD_CHECK(cond)                                                               \
    do {                                                                                \
        if (!(cond)) report("FAIL " + std::to_string(__LINE__) + ": " #cond);           \
    } while (0)

char awaitParent() {
    char c = 0;
    while (read(g_down, &c, 1) < 0 && errno == EINTR) {
    }
    return c;
}

void logToParent(int priority, const char *text) {
    char prefix[] = "L0 ";
    prefix[1] = char('0' + priority % 10);
    report(prefix, text);
}
void noLogOpen(const char *, int, int) {}
void noLogClose() {}

// Reports the main thread's sleep requests and keeps every pause short.
void recordingSleep(uint64_t us) {
    if (pthread_equal(pthread_self(), g_main)) report("S " + std::to_string(us));
    std::this_thread::sleep_for(std::chrono::microseconds(std::min<uint64_t>(us, 20000)));
}

struct Paths {
    std::string dir, lock, server, ip, notify;
};

// Points the library at the test's paths and at the report pipe.
void childPlatform(const Paths &p, bool real_sleep) {
    // Plain arrays: the listener threads read them until the child ends.
    static char lock[128], server[128], ip[128], notify[128];
    snprintf(lock, sizeof lock, "%s", p.lock.c_str());
    snprintf(server, sizeof server, "%s", p.server.c_str());
    snprintf(ip, sizeof ip, "%s", p.ip.c_str());
    snprintf(notify, sizeof notify, "%s", p.notify.c_str());
    zel::g_platform.lock_file = lock;
    zel::g_platform.server_socket = server;
    zel::g_platform.ip_socket = ip;
    zel::g_platform.notify_socket = notify;
    zel::g_platform.log_open = noLogOpen;
    zel::g_platform.log_close = noLogClose;
    zel::g_platform.log_write = logToParent;
    if (!real_sleep) zel::g_platform.sleep_us = recordingSleep;
}

// ---- parent side ---------------------------------------------------------

class Child {
public:
    explicit Child(const std::function<int()> &body) {
        int up[2], down[2];
        if (pipe2(up, O_CLOEXEC) != 0 || pipe2(down, O_CLOEXEC) != 0) abort();
        fflush(stdout);
        fflush(stderr);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(up[0]);
            close(down[1]);
            g_up = up[1];
            g_down = down[0];
            g_main = pthread_self();
            // Exit handlers run on exit(): this one reports the status and
            // ends the child before the test binary's own destructors.
            on_exit(
                [](int status, void *) {
                    char text[] = "EXIT 000";
                    text[5] = char('0' + status / 100 % 10);
                    text[6] = char('0' + status / 10 % 10);
                    text[7] = char('0' + status % 10);
                    report("", text);
                    _exit(status);
                },
                nullptr);
            _exit(body());
        }
        close(up[1]);
        close(down[0]);
        from_ = up[0];
        to_ = down[1];
    }

    ~Child() {
        if (pid_ > 0) {
            kill(pid_, SIGKILL);
            waitpid(pid_, nullptr, 0);
        }
        close(from_);
        close(to_);
    }

    pid_t pid() const { return pid_; }
    void tell(char c) { ASSERT_EQ(write(to_, &c, 1), 1); }

    // Reads reports until one contains `needle`.
    bool waitFor(const std::string &needle, int timeout_ms = 10000) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        while (std::chrono::steady_clock::now() < deadline) {
            if (has(needle)) return true;
            if (readSome(20) < 0) break;
        }
        return has(needle);
    }

    // Waits for the child to end and returns its wait status (-1: it hung and was killed).
    int finish(int timeout_ms = 20000) {
        auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
        int status = -1;
        while (pid_ > 0) {
            readSome(20);
            pid_t done = waitpid(pid_, &status, WNOHANG);
            if (done == pid_) {
                pid_ = -1;
                break;
            }
            if (std::chrono::steady_clock::now() > deadline) {
                kill(pid_, SIGKILL);
                waitpid(pid_, nullptr, 0);
                pid_ = -1;
                return -1;
            }
        }
        while (readSome(0) > 0) {
        }
        return status;
    }

    const std::vector<std::string> &lines() const { return lines_; }
    bool has(const std::string &needle) const { return count(needle) > 0; }
    int count(const std::string &needle) const {
        int n = 0;
        for (const std::string &l : lines_)
            if (l.find(needle) != std::string::npos) ++n;
        return n;
    }
    // Index of the first report at or after `from` that contains `needle`, or -1.
    int find(const std::string &needle, int from = 0) const {
        for (size_t i = static_cast<size_t>(from); i < lines_.size(); ++i)
            if (lines_[i].find(needle) != std::string::npos) return static_cast<int>(i);
        return -1;
    }
    std::string failures() const {
        std::string all;
        for (const std::string &l : lines_)
            if (l.rfind("FAIL ", 0) == 0) all += l + "\n";
        return all;
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
        size_t at;
        while ((at = partial_.find('\n')) != std::string::npos) {
            lines_.push_back(partial_.substr(0, at));
            partial_.erase(0, at + 1);
        }
        return 1;
    }

    pid_t pid_ = -1;
    int from_ = -1;
    int to_ = -1;
    std::string partial_;
    std::vector<std::string> lines_;
};

bool exists(const std::string &path) { return access(path.c_str(), F_OK) == 0; }

bool exitedWith(int status, int code) { return status != -1 && WIFEXITED(status) && WEXITSTATUS(status) == code; }

class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        char dir[] = "/tmp/zellife-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        p.dir = dir;
        p.lock = p.dir + "/lock";
        p.server = p.dir + "/server.sock";
        p.ip = p.dir + "/ip.sock";
        p.notify = p.dir + "/notify.sock";
    }
    void TearDown() override { std::filesystem::remove_all(p.dir); }

    Paths p;
};

TEST_F(Lifecycle, WithoutServerTheLockStaysTakenUntilExit) {
    Child child([&] {
        childPlatform(p, false);
        CHILD_CHECK(lock_fd == -1);
        CHILD_CHECK(zelInit() == 5);
        CHILD_CHECK(exists(p.lock));
        CHILD_CHECK(lock_fd >= 0);
        CHILD_CHECK(zel::currentQueue() == nullptr);
        report("second");
        CHILD_CHECK(zelInit() == 4);
        CHILD_CHECK(lock_fd >= 0);
        CHILD_CHECK(zelExit() == 0);
        CHILD_CHECK(!exists(p.lock));
        CHILD_CHECK(lock_fd == -1);
        report("third");
        CHILD_CHECK(zelInit() == 5);  // tries again
        CHILD_CHECK(zelExit() == 0);
        return 0;
    });
    int status = child.finish();
    EXPECT_TRUE(exitedWith(status, 0)) << status;
    EXPECT_EQ(child.failures(), "");
    EXPECT_EQ(child.count("Connection Failed"), 2);
    EXPECT_TRUE(child.has("L3 core:"));
    EXPECT_TRUE(child.has("L6 core:"));
    EXPECT_TRUE(child.has(": ZELTO_SDK_LOCK_FILE_PATH : " + p.lock));
    int second = child.find("second");
    ASSERT_GE(second, 0);
    EXPECT_GT(child.find("L3 core:", second), 0);
    EXPECT_GT(child.find(": ZELTO SDK already running.", second), second);
    EXPECT_EQ(child.count(": ZELTO SDK already running."), 1);
    EXPECT_TRUE(child.has(": init fd: -1 "));
    EXPECT_EQ(child.count(": Bail"), 2);
    EXPECT_FALSE(child.has("S 500000"));  // no pause on a failed start
    EXPECT_FALSE(exists(p.lock));
}

TEST_F(Lifecycle, ASecondProcessGetsFourWhileTheFirstRuns) {
    Child first([&] {
        childPlatform(p, false);
        zeltest::FakeServer server(p.server);
        CHILD_CHECK(zelInit() == 0);
        report("READY");
        awaitParent();
        CHILD_CHECK(zelExit() == 0);
        return 0;
    });
    ASSERT_TRUE(first.waitFor("READY"));
    ASSERT_TRUE(exists(p.lock));

    Child second([&] {
        childPlatform(p, false);
        zeltest::FakeServer server(p.server + "2");
        zel::g_platform.server_socket = nullptr;  // never reached
        CHILD_CHECK(zelInit() == 4);
        CHILD_CHECK(zelExit() == 0);
        CHILD_CHECK(exists(p.lock));  // not ours to remove
        return 0;
    });
    EXPECT_TRUE(exitedWith(second.finish(), 0));
    EXPECT_EQ(second.failures(), "");
    EXPECT_TRUE(second.has("L3 core:"));
    EXPECT_TRUE(second.has(": ZELTO SDK already running."));
    EXPECT_TRUE(exists(p.lock));

    first.tell('x');
    EXPECT_TRUE(exitedWith(first.finish(), 0));
    EXPECT_EQ(first.failures(), "");
    EXPECT_FALSE(exists(p.lock));
}

TEST_F(Lifecycle, ALockFileLeftByAKilledProcessKeepsRefusing) {
    Child killed([&] {
        childPlatform(p, false);
        zeltest::FakeServer server(p.server);
        CHILD_CHECK(zelInit() == 0);
        report("READY");
        awaitParent();
        return 0;
    });
    ASSERT_TRUE(killed.waitFor("READY"));
    kill(killed.pid(), SIGKILL);
    int status = killed.finish();
    ASSERT_TRUE(WIFSIGNALED(status));
    ASSERT_TRUE(exists(p.lock));

    for (int attempt = 0; attempt < 2; ++attempt) {
        Child later([&] {
            childPlatform(p, false);
            zeltest::FakeServer server(p.server);
            CHILD_CHECK(zelInit() == 4);
            CHILD_CHECK(lock_fd == -1);
            CHILD_CHECK(zelExit() == 0);  // holds no lock: touches nothing
            return 0;
        });
        EXPECT_TRUE(exitedWith(later.finish(), 0));
        EXPECT_EQ(later.failures(), "");
        EXPECT_TRUE(later.has(": init fd: -1 "));
        EXPECT_TRUE(exists(p.lock));
    }
}

TEST_F(Lifecycle, HandledSignalsEndTheProcessWithTheirNumberAndRemoveTheLock) {
    struct Case {
        int signum;
        const char *critical;  // extra LOG_CRIT line, or null
    };
    const Case cases[] = {
        {SIGINT, nullptr},          {SIGTERM, nullptr}, {SIGHUP, nullptr},
        {SIGQUIT, nullptr},         {SIGTSTP, nullptr}, {SIGABRT, nullptr},
        {SIGUSR1, "User event 1 occurred"}, {SIGUSR2, "User event 2 occurred"},
        {SIGSEGV, "Segmentation fault occurred"},
    };
    for (const Case &c : cases) {
        SCOPED_TRACE(strsignal(c.signum));
        Child child([&] {
            childPlatform(p, false);
            zeltest::FakeServer server(p.server);
            CHILD_CHECK(zelInit() == 0);
            report("READY");
            while (awaitParent() != 0) {
            }
            return 0;
        });
        ASSERT_TRUE(child.waitFor("READY"));
        ASSERT_TRUE(exists(p.lock));
        kill(child.pid(), c.signum);
        int status = child.finish();
        EXPECT_TRUE(exitedWith(status, c.signum)) << status;
        char exit_line[16];
        snprintf(exit_line, sizeof exit_line, "EXIT %03d", c.signum);
        EXPECT_TRUE(child.has(exit_line));  // a normal exit: exit handlers ran
        EXPECT_EQ(child.failures(), "");
        EXPECT_FALSE(exists(p.lock));
        int called = child.find(": called, signum: " + std::to_string(c.signum));
        ASSERT_GE(called, 0);
        EXPECT_EQ(child.lines()[size_t(called)].rfind("L6 core:", 0), 0u);
        if (c.critical) {
            int critical = child.find(c.critical, called);
            ASSERT_GT(critical, called);
            EXPECT_EQ(child.lines()[size_t(critical)].rfind("L2 core:", 0), 0u);
        }
        int bail = child.find(": Bail", called);
        EXPECT_GT(bail, called);
        EXPECT_GT(child.find(": out", bail), bail);
    }
}

TEST_F(Lifecycle, InitReplacesHandlersAndIgnoresSigpipe) {
    Child child([&] {
        childPlatform(p, false);
        signal(SIGINT, SIG_IGN);
        signal(SIGPIPE, SIG_DFL);
        CHILD_CHECK(zelInit() == 5);  // the handlers go in before anything can fail
        struct sigaction sa;
        sigaction(SIGINT, nullptr, &sa);
        CHILD_CHECK(sa.sa_handler != SIG_IGN && sa.sa_handler != SIG_DFL);
        sigaction(SIGPIPE, nullptr, &sa);
        CHILD_CHECK(sa.sa_handler == SIG_IGN);
        int fds[2];
        CHILD_CHECK(pipe(fds) == 0);
        close(fds[0]);
        CHILD_CHECK(write(fds[1], "x", 1) == -1 && errno == EPIPE);
        close(fds[1]);
        zelExit();
        return 0;
    });
    EXPECT_TRUE(exitedWith(child.finish(), 0));
    EXPECT_EQ(child.failures(), "");
}

TEST_F(Lifecycle, StartPausesTwiceAndStartsBothListeners) {
    Child child([&] {
        childPlatform(p, false);
        zeltest::FakeServer server(p.server), ip(p.ip), notify(p.notify);
        CHILD_CHECK(zelInit() == 0);
        CHILD_CHECK(zel::receiverRunning());
        CHILD_CHECK(zel::currentQueue() != nullptr);
        CHILD_CHECK(server.waitForConnections(1));
        CHILD_CHECK(ip.waitForConnections(1));
        CHILD_CHECK(notify.waitForConnections(1));
        CHILD_CHECK(zelExit() == 0);
        CHILD_CHECK(!zel::receiverRunning());
        CHILD_CHECK(zel::currentQueue() == nullptr);
        CHILD_CHECK(!exists(p.lock));
        // Started afresh; the first listeners keep running beside the new ones.
        CHILD_CHECK(zelInit() == 0);
        CHILD_CHECK(server.waitForConnections(2));
        CHILD_CHECK(ip.waitForConnections(2));
        CHILD_CHECK(notify.waitForConnections(2));
        CHILD_CHECK(zelExit() == 0);
        return 0;
    });
    EXPECT_TRUE(exitedWith(child.finish(), 0));
    EXPECT_EQ(child.failures(), "");
    const std::vector<std::string> order = {
        "S 500000", ": init_ip_listener_thread: started", "S 500000",
        ": InitNotificationListenerThread: started", ": init Ok",
    };
    int at = 0;
    for (const std::string &step : order) {
        int found = child.find(step, at);
        EXPECT_GE(found, at) << step;
        at = found + 1;
    }
    EXPECT_EQ(child.count("S "), 4);  // two pauses per start, nothing else on this thread
    EXPECT_TRUE(child.has("Connected to server at " + p.ip));
    EXPECT_TRUE(child.has("Connected to server at " + p.notify));
}

TEST_F(Lifecycle, ASuccessfulStartTakesAtLeastOneSecond) {
    Child child([&] {
        childPlatform(p, true);
        zeltest::FakeServer server(p.server);
        auto begin = std::chrono::steady_clock::now();
        CHILD_CHECK(zelInit() == 0);
        auto ms = std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - begin);
        report("ELAPSED " + std::to_string(ms.count()));
        CHILD_CHECK(zelExit() == 0);
        return 0;
    });
    EXPECT_TRUE(exitedWith(child.finish(), 0));
    EXPECT_EQ(child.failures(), "");
    int line = child.find("ELAPSED ");
    ASSERT_GE(line, 0);
    EXPECT_GE(std::stol(child.lines()[static_cast<size_t>(line)].substr(8)), 1000);
}

TEST(Version, NeedsThreeOutputs) {
    struct Case {
        bool major, minor, patch;
    };
    const Case cases[] = {{false, true, true}, {true, false, true}, {true, true, false}, {false, false, false}};
    for (const Case &c : cases) {
        int32_t a = -7, b = -7, d = -7;
        EXPECT_EQ(zelGetSDKVersion(c.major ? &a : nullptr, c.minor ? &b : nullptr, c.patch ? &d : nullptr), 5);
        EXPECT_EQ(std::make_tuple(a, b, d), std::make_tuple(-7, -7, -7));
    }
    int32_t a = 0, b = 0, d = 0;
    EXPECT_EQ(zelGetSDKVersion(&a, &b, &d), 0);
    EXPECT_EQ(std::make_tuple(a, b, d), std::make_tuple(2, 2, 5));
}

TEST(Exit, WithoutInitTouchesNothing) {
    char dir[] = "/tmp/zellife-XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string lock = std::string(dir) + "/lock";
    FILE *f = fopen(lock.c_str(), "w");
    ASSERT_NE(f, nullptr);
    fclose(f);
    zel::g_platform.lock_file = lock.c_str();
    EXPECT_EQ(lock_fd, -1);
    EXPECT_EQ(zelExit(), 0);
    EXPECT_TRUE(exists(lock));
    zel::g_platform.lock_file = zel::defaultPlatform().lock_file;
    std::filesystem::remove_all(dir);
}

}  // namespace

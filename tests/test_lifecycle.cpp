// Start and end of the library. Anything that takes the lock, installs the
// signal handlers or starts the listeners runs in a forked child with its own
// paths; the child reports log lines, sleep requests and failed checks back
// through a pipe, and the parent judges them with the exit status.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <memory>

#include "test_support.h"  // the library's headers, gtest and the fake server's std headers

namespace {

using S = std::string;
using Clock = std::chrono::steady_clock;

int g_up = -1;  // child -> parent: one report per line
pthread_t g_main;
std::atomic<bool> g_real_pauses{false};  // set in the child only

// One write per line, so lines from several threads never interleave. No
// allocation: the signal handler's log lines come through here.
void report(const char *prefix, const char *text) {
    char line[512];
    size_t n = 0;
    for (const char *part : {prefix, text})
        for (const char *c = part; *c != '\0' && n < sizeof line - 1; ++c) line[n++] = *c == '\n' ? '|' : *c;
    line[n++] = '\n';
    if (write(g_up, line, n) < 0) return;
}

#define CHILD_CHECK(cond) \
    if (!(cond)) report("FAIL: ", (std::to_string(__LINE__) + ": " #cond).c_str())

struct Paths { S dir, lock, server, ip, notify; };

void reportLog(int priority, const char *text) {
    char prefix[] = "L0 ";
    prefix[1] = char('0' + priority % 10);
    report(prefix, text);
}

// Points the library at the test's paths (a child never destroys them: it
// ends with _exit) and the report pipe; the main thread's pauses are reported and all kept short.
void childPlatform(const Paths &p) {
    auto &pf = zel::g_platform;
    pf.lock_file = p.lock.c_str(), pf.server_socket = p.server.c_str();
    pf.ip_socket = p.ip.c_str(), pf.notify_socket = p.notify.c_str();
    pf.log_open = [](const char *, int, int) {};
    pf.log_close = [] {};
    pf.log_write = reportLog;
    // The main thread's pauses are reported, and kept whole once a test asks
    // for real ones; the listeners' retry pauses stay short.
    pf.sleep_us = [](uint64_t us) {
        bool main_thread = pthread_equal(pthread_self(), g_main);
        if (main_thread) report("S ", std::to_string(us).c_str());
        if (!(main_thread && g_real_pauses)) us = std::min<uint64_t>(us, 20000);
        std::this_thread::sleep_for(std::chrono::microseconds(us));
    };
}

// Starts the library against a fake server, then waits for signals.
int runUntilSignalled(const Paths &p) {
    zeltest::FakeServer server(p.server);
    CHILD_CHECK(zelInit() == 0);
    report("READY", "");
    for (;;) pause();
}

class Child {
public:
    Child(const Paths &p, const std::function<int()> &body) {
        int up[2];
        if (pipe2(up, O_CLOEXEC) != 0) abort();
        fflush(nullptr);
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGKILL);
            close(up[0]);
            g_up = up[1];
            g_main = pthread_self();
            // The library ends the process with exit(): skip the test binary's destructors then.
            on_exit([](int status, void *) { _exit(status); }, nullptr);
            childPlatform(p);
            _exit(body());
        }
        close(up[1]);
        from_ = up[0];
    }
    ~Child() {
        if (pid_ > 0) kill(pid_, SIGKILL), waitpid(pid_, nullptr, 0);
        close(from_);
    }
    // Signals one thread of the child: its main thread, or the one named
    // `thread`. Never the whole process: under qemu-user the kernel may pick
    // the emulator's own helper thread, which leaves SIGSEGV unblocked and
    // dies of it ("wait status 11") instead of passing it on.
    bool signal(int signum, const char *thread = nullptr) {
        pid_t tid = pid_;
        const S task_dir = "/proc/" + std::to_string(pid_) + "/task";
        for (const auto &e : std::filesystem::directory_iterator(task_dir)) {
            std::ifstream comm(e.path() / "comm");
            S name;
            if (thread && std::getline(comm, name) && name == thread) tid = std::stoi(e.path().filename());
        }
        return (!thread || tid != pid_) && syscall(SYS_tgkill, pid_, tid, signum) == 0;
    }

    // Reads reports until one contains `needle`.
    bool waitFor(const S &needle) {
        for (auto end = Clock::now() + std::chrono::seconds(10); !count(needle) && Clock::now() < end;)
            if (readSome(20) < 0) break;
        return count(needle) > 0;
    }
    // Reports that start with `prefix` and contain `needle`.
    int count(const S &needle, const S &prefix = "") const {
        int n = 0;
        for (const S &l : lines_) n += l.rfind(prefix, 0) == 0 && l.find(needle) != S::npos;
        return n;
    }
    // The child exited by itself (within 20 s) with `code`, and none of its checks failed.
    void expectExit(int code) {
        int status = -1;
        for (auto end = Clock::now() + std::chrono::seconds(20); waitpid(pid_, &status, WNOHANG) != pid_; readSome(20))
            if (Clock::now() > end) {
                ADD_FAILURE() << "child hung";  // the destructor kills it
                return;
            }
        pid_ = -1;
        while (readSome(0) > 0) {
        }
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == code) << "wait status " << status;
        EXPECT_EQ(count("", "FAIL: "), 0) << ::testing::PrintToString(lines_);
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
        for (size_t at; (at = partial_.find('\n')) != S::npos; partial_.erase(0, at + 1))
            lines_.push_back(partial_.substr(0, at));
        return 1;
    }

    pid_t pid_ = -1;
    int from_ = -1;
    S partial_;
    std::vector<S> lines_;
};

bool exists(const S &path) { return access(path.c_str(), F_OK) == 0; }
const char kRunning[] = ": ZELTO SDK already running.";

class Lifecycle : public ::testing::Test {
protected:
    void SetUp() override {
        char dir[] = "/tmp/zellife-XXXXXX";
        ASSERT_NE(mkdtemp(dir), nullptr);
        S d = dir;
        p = {d, d + "/lock", d + "/server.sock", d + "/ip.sock", d + "/notify.sock"};
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
        struct sigaction intr, pipe;
        sigaction(SIGINT, nullptr, &intr), sigaction(SIGPIPE, nullptr, &pipe);
        CHILD_CHECK(intr.sa_handler != SIG_IGN && intr.sa_handler != SIG_DFL && pipe.sa_handler == SIG_IGN);
        CHILD_CHECK(zelInit() == 4 && zelExit() == 0 && !exists(p.lock));
        CHILD_CHECK(zelInit() == 5 && zelExit() == 0);  // tries afresh
        return 0;
    });
    child.expectExit(0);
    EXPECT_EQ(child.count(kRunning, "L3 core:"), 1);
    EXPECT_FALSE(exists(p.lock));
}

TEST_F(Lifecycle, InitGivesUpOnAServerThatNeverAcceptsByItsConnectTimeout) {
    Child child(p, [&] {
        zeltest::FakeServer server(p.server);
        server.fillBacklog();
        zel::g_platform.reply_wait_ms = [](int32_t seconds) {
            report("W ", std::to_string(seconds).c_str());
            return int64_t(500);
        };
        auto t0 = Clock::now();
        CHILD_CHECK(zelInit() == 5 && Clock::now() - t0 < std::chrono::milliseconds(1500));
        return zelExit();
    });
    child.expectExit(0);
    EXPECT_EQ(child.count("15", "W "), 1);  // zelInit gives the server its 15 s
    EXPECT_EQ(child.count(": Connection Failed", "L3 core:"), 1);
}

// Servers of another user than root or the application's are refused before
// a byte goes out; the server process reports what it received.
TEST_F(Lifecycle, OnlyAServerOfRootOrOfTheApplicationsUserIsTalkedTo) {
    if (geteuid() != 0) GTEST_SKIP() << "needs root to run processes as other users";
    const uid_t nobody = 65534;
    chmod(p.dir.c_str(), 0777);
    const struct { uid_t server, app; bool accepted; } rows[] = {{nobody, 0, false}, {nobody, nobody, true}, {0, nobody, true}};
    for (const auto &row : rows) {
        SCOPED_TRACE(std::to_string(row.server) + " serves " + std::to_string(row.app));
        const S done = p.dir + "/done";
        std::filesystem::remove(done);
        Child server(p, [&] {
            if (row.server != 0 && setuid(row.server) != 0) return 1;
            zeltest::FakeServer command(p.server), notify(p.notify);
            command.setHandler([](const S &) { return zeltest::Reply{{0, "\r\nOK\r\n"}}; });
            chmod(p.server.c_str(), 0666), chmod(p.notify.c_str(), 0666);  // any user may connect
            report("READY", "");
            zeltest::waitUntil([&] { return exists(done); }, 10000);
            report("RECEIVED ", std::to_string(command.received().size() + notify.received().size()).c_str());
            return 0;
        });
        ASSERT_TRUE(server.waitFor("READY"));
        Child app(p, [&] {
            if (row.app != 0 && setuid(row.app) != 0) return 1;
            zelto_sdk_open_log("t");
            CHILD_CHECK(InitNotificationListenerThread() == 0);
            CHILD_CHECK(create_queue() && zel::linkStart() == (row.accepted ? 0 : 5));
            CHILD_CHECK(zelCpinSet("1234", "") == (row.accepted ? 0 : 5));
            zeltest::waitUntil([] { return false; }, 300);  // the listener connects, or is refused
            return 0;
        });
        app.expectExit(0);
        std::ofstream(done).put('x');
        server.expectExit(0);
        const S refused = "Refused server at " + p.server + ": it runs as uid 65534, not root or uid 0";
        EXPECT_EQ(app.count(refused, "L3 core:") > 0, !row.accepted);
        EXPECT_EQ(app.count("L3 Refused server at " + p.notify + ": it runs as uid 65534") > 0, !row.accepted);
        EXPECT_EQ(server.count("RECEIVED 0"), row.accepted ? 0 : 1);
    }
}

TEST_F(Lifecycle, ASecondProcessGetsFourWhileTheFirstRunsAndAfterItWasKilled) {
    auto second = [&](bool own_server) {
        Child child(p, [&] {
            // A server is there that would have let it start.
            std::unique_ptr<zeltest::FakeServer> server(own_server ? new zeltest::FakeServer(p.server) : nullptr);
            CHILD_CHECK(zelExit() == 0 && exists(p.lock));  // without the lock it touches nothing
            CHILD_CHECK(zelInit() == 4 && lock_fd == -1);
            CHILD_CHECK(zelExit() == 0 && exists(p.lock));  // not ours to remove
            return 0;
        });
        child.expectExit(0);
        EXPECT_EQ(child.count(kRunning, "L3 core:"), 1);
        EXPECT_TRUE(exists(p.lock));
    };
    {
        Child first(p, [&] { return runUntilSignalled(p); });
        ASSERT_TRUE(first.waitFor("READY"));
        second(false);
    }  // killed: its lock file is left over
    second(true);
}

TEST_F(Lifecycle, HandledSignalsRemoveTheLockAndExitWithTheirNumber) {
    const struct { int signum; const char *line, *thread; } cases[] = {  // the log line's "\n" comes as '|'
        {SIGINT, nullptr, nullptr}, {SIGTERM, nullptr, nullptr}, {SIGHUP, nullptr, nullptr},
        {SIGQUIT, nullptr, nullptr}, {SIGTSTP, nullptr, nullptr}, {SIGABRT, nullptr, nullptr},
        {SIGUSR1, ": User event 1 occurred|", nullptr}, {SIGUSR2, ": User event 2 occurred|", nullptr},
        {SIGSEGV, ": Segmentation fault occurred|", nullptr},
        {SIGTERM, nullptr, "receive_thread"}};  // zelExit there cannot join that thread
    for (const auto &[signum, line, thread] : cases) {
        SCOPED_TRACE(strsignal(signum) + S(thread ? thread : ""));
        Child child(p, [&] { return runUntilSignalled(p); });
        ASSERT_TRUE(child.waitFor("READY"));
        ASSERT_TRUE(exists(p.lock));
        ASSERT_TRUE(child.signal(signum, thread));
        child.expectExit(signum);
        EXPECT_FALSE(exists(p.lock));
        EXPECT_EQ(child.count("", "L2 "), line ? 1 : 0);
        if (line) EXPECT_EQ(child.count(line, "L2 core:"), 1);
    }
}

// The state letter of thread `tid` of this process ('S': asleep).
char threadState(pid_t tid) {
    std::ifstream stat("/proc/self/task/" + std::to_string(tid) + "/stat");
    S line((std::istreambuf_iterator<char>(stat)), {});
    return line.size() > 3 ? line[line.rfind(") ") + 2] : 0;
}

std::atomic<int> g_step{0};  // where a child's scenario has got to

TEST_F(Lifecycle, ASignalEndsTheProcessWhateverTheLinkIsDoing) {
    // Each child takes a signal inside its log writer, on the thread that
    // writes the line named, or on its main thread while it waits for a reply.
    static const char *g_line;
    static int g_signum;
    const struct { const char *line; int signum; } cases[] = {
        {"Retry connect failed", SIGTERM},      // the caller that reconnects
        {"Received native", SIGTERM},           // the receive thread, in its trace
        {"Received native", SIGSEGV},           // ... which then stays in the handler
        {nullptr, SIGINT},                      // the main thread, waiting for a reply
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(std::string(c.line ? c.line : "waiting") + " " + strsignal(c.signum));
        g_line = c.line, g_signum = c.signum, g_step = 0;
        Child child(p, [&]() -> int {
            zeltest::FakeServer server(p.server);  // silent
            zel::g_platform.log_write = [](int priority, const char *text) {
                reportLog(priority, text);
                if (g_line && strstr(text, g_line) && g_step++ == 0) raise(g_signum);
            };
            CHILD_CHECK(zelInit() == 0);
            if (c.line && strstr(c.line, "Retry")) {  // the link drops and tries to reconnect
                server.stop();
                zeltest::waitUntil([] { return zel::client_socket_fd.load() == -1; });
            }
            if (c.line && strstr(c.line, "Received")) server.push("x");
            if (!c.line) {
                std::thread([&server] {
                    server.waitForCommands(1);
                    zeltest::waitUntil([] { return threadState(getpid()) == 'S'; });
                    pthread_kill(g_main, g_signum);
                }).detach();
            }
            sdkSendATcmdViaSocket("AT\r\n", 4, 15);
            for (;;) pause();  // an application that carries on until the process ends
        });
        child.expectExit(c.signum);
        EXPECT_FALSE(exists(p.lock));
        EXPECT_EQ(child.count(": out", "L6 core:"), 1);
    }
}

TEST_F(Lifecycle, StartPausesTwiceForAtLeastOneRealSecondAndStartsBothListeners) {
    Child child(p, [&] {
        zeltest::FakeServer server(p.server), ip(p.ip), notify(p.notify);
        for (int round = 1; round <= 2; ++round) {
            g_real_pauses = round == 2;
            auto t0 = Clock::now();
            CHILD_CHECK(zelInit() == 0);
            CHILD_CHECK(round == 1 || Clock::now() - t0 >= std::chrono::seconds(1));
            CHILD_CHECK(zel::receiverRunning() && zel::currentQueue() != nullptr);
            for (zeltest::FakeServer *s : {&server, &ip, &notify}) CHILD_CHECK(s->waitForConnections(1));
            CHILD_CHECK(server.connections() == round);
            CHILD_CHECK(zelExit() == 0);
            CHILD_CHECK(!zel::receiverRunning() && zel::currentQueue() == nullptr && !exists(p.lock));
        }
        // The listeners of the first start still serve the second: one each.
        CHILD_CHECK(ip.connections() == 1 && notify.connections() == 1);
        return 0;
    });
    child.expectExit(0);
    EXPECT_EQ(child.count("500000", "S "), 4);
    EXPECT_EQ(child.count("", "S "), 4);  // nothing else on this thread
}

void appHandler(int) {}
zeltest::Recorder<S> g_calls;

TEST_F(Lifecycle, ExitEndsAFifteenSecondCallAtOnceAndPutsTheApplicationsSignalsBack) {
    Child child(p, [&] {
        zeltest::FakeServer server(p.server), ip(p.ip), notify(p.notify);  // silent
        signal(SIGTERM, appHandler);
        signal(SIGPIPE, SIG_DFL);
        for (int round = 1; round <= 2; ++round) {
            CHILD_CHECK(zelInit() == 0);
            std::atomic<int32_t> status{-1};
            Clock::time_point returned;
            std::thread call([&] {
                zeltest::Owned out;
                status = zelGetCSQ(out.out());
                returned = Clock::now();
            });
            CHILD_CHECK(server.waitForCommands(size_t(round)));
            std::this_thread::sleep_for(std::chrono::milliseconds(100));
            auto t0 = Clock::now();
            CHILD_CHECK(zelExit() == 0);
            CHILD_CHECK(Clock::now() - t0 < std::chrono::seconds(2));
            call.join();
            CHILD_CHECK(status == 5 && returned - t0 < std::chrono::seconds(1));
            zeltest::Owned later;
            CHILD_CHECK(zelGetCSQ(later.out()) == 5 && Clock::now() - t0 < std::chrono::seconds(1));
            struct sigaction term, pipe;
            sigaction(SIGTERM, nullptr, &term), sigaction(SIGPIPE, nullptr, &pipe);
            CHILD_CHECK(term.sa_handler == appHandler && pipe.sa_handler == SIG_DFL);
        }
        // One listener per socket after the restart: each event arrives once.
        CHILD_CHECK(zelRegisterIPChanged([](const char *text) { g_calls.add(text); }) == 0);
        CHILD_CHECK(zelRegisterNotification([](zelNotification *n) { g_calls.add(std::to_string(n->type)); }) == 0);
        CHILD_CHECK(ip.waitForConnections(1) && notify.waitForConnections(1));
        ip.push("ip");
        notify.push(S("\x02\x01", 2));
        CHILD_CHECK(zeltest::waitUntil([] { return g_calls.seen().size() >= 2; }));
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        CHILD_CHECK(g_calls.seen().size() == 2);
        return 0;
    });
    child.expectExit(0);
}

TEST_F(Lifecycle, CallbacksMayCallTheLibraryAndEventsKeepFlowing) {
    Child child(p, [&] {
        zeltest::FakeServer server(p.server), ip(p.ip), notify(p.notify);
        server.setHandler([](const S &) { return zeltest::Reply{{0, "\r\nOK\r\n"}}; });
        // The first new-message event starts an update and registers two more callbacks.
        static zelNotificationCallback second = [](zelNotification *n) { g_calls.add("second " + std::to_string(n->type)); };
        CHILD_CHECK(zelRegisterNotification([](zelNotification *n) {
            g_calls.add("first " + std::to_string(n->type));
            if (g_step++ != 0) return;
            g_calls.add("install " + std::to_string(zelOTAInstall()));
            g_calls.add("register " + std::to_string(zelRegisterNotification(second)));
            g_calls.add("register " + std::to_string(zelRegisterIPChanged([](const char *t) { g_calls.add(t); })));
        }) == 0);
        CHILD_CHECK(zelInit() == 0 && ip.waitForConnections(1) && notify.waitForConnections(1));
        notify.push(S("\x02\x01", 2));
        CHILD_CHECK(zeltest::waitUntil([] { return g_calls.seen().size() == 4; }));
        auto t0 = Clock::now();
        notify.push(S("\x03\x5f\x28", 3));  // install status 95, progress 40
        ip.push("ip text");
        CHILD_CHECK(zeltest::waitUntil([] { return g_calls.seen().size() == 7; }, 1000));
        CHILD_CHECK(Clock::now() - t0 < std::chrono::seconds(1));
        auto calls = g_calls.seen();
        std::sort(calls.begin() + 4, calls.end());  // the two listeners run side by side
        CHILD_CHECK(calls == (std::vector<S>{"first 2", "install 0", "register 0", "register 0", "first 3",
                                             "ip text", "second 3"}));
        CHILD_CHECK(server.commands() == std::vector<S>{"AT+OTA=INSTALL\r\n"});
        return 0;
    });
    child.expectExit(0);
    EXPECT_EQ(child.count(": OTA install status: 95, progress: 40", "L6 zel_ota_api:"), 1);
}

}  // namespace

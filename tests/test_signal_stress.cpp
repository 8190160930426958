// SIGTERM sent with kill(), the way a service manager stops a daemon, while
// the daemon's main thread logs through the real system log in a loop and
// its other threads sit in the allocator, in stdio, in setlogmask and
// closelog, and in library calls: every trial must end within 1 s with
// status 15 and no lock file left.
#include <fcntl.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <filesystem>
#include <random>

#include "test_support.h"

namespace {

using Clock = std::chrono::steady_clock;

// In the child: a private /dev whose /dev/log is a sink of ours, so that the
// system log does all its real work without reaching the machine's log or
// console. False where mount namespaces are not allowed.
bool privateDevLog() {
    if (unshare(CLONE_NEWNS) != 0 || mount(nullptr, "/", nullptr, MS_REC | MS_PRIVATE, nullptr) != 0 ||
        mount("tmpfs", "/dev", "tmpfs", 0, "mode=0755") != 0 || mknod("/dev/null", S_IFCHR | 0666, makedev(1, 3)) != 0)
        return false;
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un addr = {};
    addr.sun_family = AF_UNIX;
    strcpy(addr.sun_path, "/dev/log");
    if (bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) return false;
    std::thread([fd] {
        char line[8192];
        while (recv(fd, line, sizeof line, 0) >= 0) {
        }
    }).detach();
    return true;
}

int g_report = -1;

// The daemon: reports "R" once started, "X" from its exit handler.
[[noreturn]] void daemonTrial(const std::string &dir, bool own_dev_log) {
    if (own_dev_log && !privateDevLog()) _exit(77);
    on_exit([](int status, void *) {
        if (write(g_report, "X", 1) < 0) {
        }
        _exit(status);  // the test binary's own destructors stay out of it
    }, nullptr);
    auto &pf = zel::g_platform;
    static const std::string lock = dir + "/lock", cmd = dir + "/cmd", ip = dir + "/ip", note = dir + "/note";
    pf.lock_file = lock.c_str(), pf.server_socket = cmd.c_str(), pf.ip_socket = ip.c_str();
    pf.notify_socket = note.c_str();
    pf.sleep_us = [](uint64_t us) { std::this_thread::sleep_for(std::chrono::microseconds(std::min<uint64_t>(us, 20000))); };
    auto *server = new zeltest::FakeServer(cmd);
    server->setHandler([](const std::string &) { return zeltest::Reply{{0, "\r\n+CSQ: 1,2\r\n\r\nOK\r\n"}}; });
    new zeltest::FakeServer(ip), new zeltest::FakeServer(note);
    if (zelInit() != 0) _exit(3);
    std::thread([] {
        for (unsigned i = 1;; ++i) free(malloc(i % 4096 + 1));
    }).detach();
    std::thread([] {
        FILE *f = fopen("/dev/null", "w");
        for (int i = 0; f; ++i) fprintf(f, "stdio line %d\n", i), fflush(f);
    }).detach();
    std::thread([] {
        for (int i = 0;; ++i) setlogmask(LOG_UPTO(LOG_DEBUG)), syslog(LOG_DEBUG, "mask %d", i), closelog();
    }).detach();
    std::thread([] {
        for (;;) {
            zeltest::Owned csq;
            zelGetCSQ(csq.out());
        }
    }).detach();
    if (write(g_report, "R", 1) < 0) _exit(4);
    for (int i = 0;; ++i) syslog(LOG_INFO, "application line %d", i);
}

TEST(SignalStress, SigtermWhileTheApplicationLogsEndsEveryTrialWithFifteen) {
#if defined(__SANITIZE_THREAD__)
    // ThreadSanitizer runs a handler only when the thread that took the
    // signal next enters one of its interceptors; a thread spinning inside
    // syslog never does, so the signal would wait for ever there.
    GTEST_SKIP() << "ThreadSanitizer defers asynchronous signals";
#endif
    char made[] = "/tmp/zelsig-XXXXXX";
    ASSERT_NE(mkdtemp(made), nullptr);
    const std::string dir = made;
    // Without a namespace of our own, only a log daemon that is already there will do.
    const bool own_dev_log = access("/dev/log", F_OK) != 0;
    const int trials = ZEL_TEST_SLOW ? 30 : 100;
    const auto bound = std::chrono::milliseconds(ZEL_TEST_SLOW ? 2000 : 1000);
    std::mt19937 rng(testing::UnitTest::GetInstance()->random_seed());
    int exit_handlers = 0;
    for (int trial = 0; trial < trials; ++trial) {
        SCOPED_TRACE("trial " + std::to_string(trial));
        int up[2];
        ASSERT_EQ(pipe2(up, O_CLOEXEC), 0);
        pid_t pid = fork();
        if (pid == 0) {
            close(up[0]);
            g_report = up[1];
            daemonTrial(dir, own_dev_log);
        }
        close(up[1]);
        struct pollfd p = {up[0], POLLIN, 0};
        char c = 0;
        ASSERT_TRUE(poll(&p, 1, 10000) == 1 && read(up[0], &c, 1) == 1) << "the daemon did not start";
        std::this_thread::sleep_for(std::chrono::microseconds(rng() % 30000));
        ASSERT_EQ(kill(pid, SIGTERM), 0);
        auto sent = Clock::now();
        int status = -1;
        while (waitpid(pid, &status, WNOHANG) == 0 && Clock::now() - sent < bound)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        bool ended = Clock::now() - sent < bound;
        if (!ended) kill(pid, SIGKILL), waitpid(pid, &status, 0);
        exit_handlers += read(up[0], &c, 1) == 1 && c == 'X';
        close(up[0]);
        if (WIFEXITED(status) && WEXITSTATUS(status) == 77) GTEST_SKIP() << "no mount namespace for a private /dev/log";
        ASSERT_TRUE(ended) << "hung";
        ASSERT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == SIGTERM) << "wait status " << status;
        ASSERT_FALSE(std::filesystem::exists(dir + "/lock"));
    }
    std::filesystem::remove_all(dir);
    // How many ended through exit() (with exit handlers) rather than the bound.
    printf("%d of %d trials ran their exit handlers\n", exit_handlers, trials);
}

}  // namespace

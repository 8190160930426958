// The simulator binary (ZELSIM_BINARY) as a child of a test: its standard
// error appended to a log file, ended when the test process ends, stopped
// with SIGTERM.
#ifndef ZEL_TESTS_ZELSIM_PROCESS_H
#define ZEL_TESTS_ZELSIM_PROCESS_H

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <cstdlib>
#include <string>
#include <vector>

#include "server.h"
#include "test_util.h"

namespace zeltest {

// The library's fixed sockets, the simulator's control socket and the library's lock file.
inline const std::vector<std::string> &fixedPaths() {
    namespace wire = zel::wire;
    static const std::vector<std::string> paths = {wire::kServerSocket, wire::kIpSocket, wire::kNotifySocket,
                                                   zelsim::pathsIn("").control, wire::kLockFile};
    return paths;
}

// Makes the fixed paths usable for this test, or says why they are not
// ("" when they are): another program runs the library (it holds its lock
// file). A lock file that no one holds is a killed run's, and goes: the
// library refuses to start while the file exists. The simulator clears the
// rest of what a killed run left (stale sockets, a link to a vanished
// pseudo-terminal) and refuses to start while a live server holds a socket.
inline std::string claimFixedPaths() {
    const char *lock = zel::wire::kLockFile;
    int fd = open(lock, O_RDONLY | O_CLOEXEC);
    if (fd < 0) return "";
    bool held = flock(fd, LOCK_EX | LOCK_NB) != 0;
    close(fd);
    if (held) return std::string(lock) + " is held: another program runs the library";
    unlink(lock);
    return "";
}

// Skips the test for the reason `why`; under CI, where the fixed paths are
// the suite's alone, fails it instead.
#define ZEL_SKIP_OR_FAIL_UNDER_CI(why) \
    if (std::getenv("CI")) FAIL() << (why); \
    else GTEST_SKIP() << (why)

// Starts `binary` with `args`, its standard error appended to `log`; its pid.
inline pid_t startProcess(const char *binary, const std::vector<std::string> &args, const std::string &log) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644), 2);
    std::vector<char *> argv = {const_cast<char *>(binary)};
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    execv(binary, argv.data());
    _exit(127);
}

#ifdef ZELSIM_BINARY
// Starts the simulator with `args`; its pid.
inline pid_t startSimulator(const std::vector<std::string> &args, const std::string &log) {
    return startProcess(ZELSIM_BINARY, args, log);
}
#endif

// Sends `sig` (SIGTERM by default) and reaps it: its exit status, or -1 when
// a signal ended it. A pid of 0 or less (a failed fork, one stopped already)
// is -1 and signals nothing: kill() would reach a whole process group, or
// every process.
inline int stopSimulator(pid_t pid, int sig = SIGTERM) {
    if (pid <= 0) return -1;
    int status = -1;
    kill(pid, sig);
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The status line of the simulator serving `dir` ("" for the fixed paths), once it answers "ok...".
inline std::string simulatorStatus(const std::string &dir, int timeout_ms = 5000) {
    std::string status;
    waitUntil([&] { return (status = zelsim::control(dir, "status")).rfind("ok", 0) == 0; }, timeout_ms);
    return status;
}

struct Result {
    int status = -1;  // the exit status, or 128 + the signal that ended it
    std::string out, err;
};

// Runs `binary` with `args` and its output collected; killed when `seconds` have passed.
inline Result runTool(const char *binary, std::vector<std::string> args, int seconds = 60) {
    int out[2], err[2];
    if (pipe2(out, O_CLOEXEC) != 0 || pipe2(err, O_CLOEXEC) != 0) return {};
    pid_t pid = fork();
    if (pid == 0) {
        dup2(out[1], 1);
        dup2(err[1], 2);
        std::vector<char *> argv{const_cast<char *>(binary)};
        for (auto &a : args) argv.push_back(&a[0]);
        argv.push_back(nullptr);
        execv(binary, argv.data());
        _exit(127);
    }
    close(out[1]);
    close(err[1]);
    if (pid < 0) {
        close(out[0]);
        close(err[0]);
        return {};
    }
    Result r;
    struct pollfd fds[2] = {{out[0], POLLIN, 0}, {err[0], POLLIN, 0}};
    auto end = std::chrono::steady_clock::now() + std::chrono::seconds(seconds);
    for (int open = 2; open > 0;) {
        auto left = std::chrono::duration_cast<std::chrono::milliseconds>(end - std::chrono::steady_clock::now()).count();
        if (left <= 0) {
            kill(pid, SIGKILL);
            break;
        }
        if (poll(fds, 2, static_cast<int>(left)) <= 0) continue;
        for (int i = 0; i < 2; ++i) {
            if (fds[i].revents == 0) continue;
            char buf[4096];
            ssize_t n = read(fds[i].fd, buf, sizeof buf);
            if (n > 0) (i ? r.err : r.out).append(buf, static_cast<size_t>(n));
            else fds[i].fd = -1, --open;
        }
    }
    close(out[0]);
    close(err[0]);
    int st = 0;
    waitpid(pid, &st, 0);
    r.status = WIFEXITED(st) ? WEXITSTATUS(st) : 128 + WTERMSIG(st);
    return r;
}

}  // namespace zeltest

#endif

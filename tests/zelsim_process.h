// The simulator binary (ZELSIM_BINARY) as a child of a test: its standard
// error appended to a log file, ended when the test process ends, stopped
// with SIGTERM.
#ifndef ZEL_TESTS_ZELSIM_PROCESS_H
#define ZEL_TESTS_ZELSIM_PROCESS_H

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "server.h"
#include "test_util.h"

namespace zeltest {

// The library's fixed sockets, the simulator's control socket and the library's lock file.
inline const std::vector<std::string> &fixedPaths() {
    static const std::vector<std::string> paths = {"/tmp/zelto_unix_socket", "/tmp/ip_change_notify.sock",
                                                   "/tmp/sdk_server_notification.sock", "/tmp/zelsim_control.sock",
                                                   "/tmp/zelto-sdk-lock"};
    return paths;
}

// Makes the fixed paths free for this test: a socket no one listens on, a
// lock no process holds and a modem port link to a vanished pseudo-terminal
// are what a killed run left behind, and go. Returns
// why the paths cannot be had ("" once they are free): a live server or a
// running library is never disturbed. Under CI nothing else may hold them,
// so the caller fails instead of skipping.
inline std::string claimFixedPaths() {
    for (const std::string &p : fixedPaths()) {
        if (access(p.c_str(), F_OK) != 0) continue;
        bool live;
        if (p == "/tmp/zelto-sdk-lock") {
            int fd = open(p.c_str(), O_RDONLY | O_CLOEXEC);
            live = fd >= 0 && flock(fd, LOCK_EX | LOCK_NB) != 0;
            if (fd >= 0) close(fd);
        } else {
            int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
            sockaddr_un addr{};
            addr.sun_family = AF_UNIX;
            strncpy(addr.sun_path, p.c_str(), sizeof addr.sun_path - 1);
            live = connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0 || errno != ECONNREFUSED;
            close(fd);
        }
        if (live) return p + " is in use: another server, simulator or library run holds the fixed paths";
        unlink(p.c_str());
    }
    // A killed simulator's modem port link points at a pseudo-terminal that is gone.
    char target[64] = {};
    if (readlink("/dev/smd10", target, sizeof target - 1) > 0 && strncmp(target, "/dev/pts/", 9) == 0 &&
        access(target, F_OK) != 0)
        unlink("/dev/smd10");
    return "";
}

// Skips the test for the reason `why`; under CI, where the fixed paths are
// the suite's alone, fails it instead.
#define ZEL_SKIP_OR_FAIL_UNDER_CI(why) \
    if (std::getenv("CI")) FAIL() << (why); \
    else GTEST_SKIP() << (why)

// Starts the simulator with `args`; its pid.
inline pid_t startSimulator(const std::vector<std::string> &args, const std::string &log) {
    pid_t pid = fork();
    if (pid != 0) return pid;
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    dup2(open(log.c_str(), O_WRONLY | O_CREAT | O_APPEND, 0644), 2);
    std::vector<char *> argv = {const_cast<char *>("zelsim")};
    for (const std::string &a : args) argv.push_back(const_cast<char *>(a.c_str()));
    argv.push_back(nullptr);
    execv(ZELSIM_BINARY, argv.data());
    _exit(127);
}

// Sends SIGTERM and reaps it: its exit status, or -1 when a signal ended it.
inline int stopSimulator(pid_t pid) {
    int status = -1;
    kill(pid, SIGTERM);
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

// The status line of the simulator serving `dir` ("" for the fixed paths), once it answers "ok...".
inline std::string simulatorStatus(const std::string &dir) {
    std::string status;
    waitUntil([&] { return (status = zelsim::control(dir, "status")).rfind("ok", 0) == 0; });
    return status;
}

}  // namespace zeltest

#endif

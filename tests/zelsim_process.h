// The simulator binary (ZELSIM_BINARY) as a child of a test: its standard
// error appended to a log file, ended when the test process ends, stopped
// with SIGTERM.
#ifndef ZEL_TESTS_ZELSIM_PROCESS_H
#define ZEL_TESTS_ZELSIM_PROCESS_H

#include <fcntl.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

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
inline std::string simulatorStatus(const std::string &dir, int timeout_ms = 5000) {
    std::string status;
    waitUntil([&] { return (status = zelsim::control(dir, "status")).rfind("ok", 0) == 0; }, timeout_ms);
    return status;
}

}  // namespace zeltest

#endif

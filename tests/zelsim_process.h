// The simulator binary (ZELSIM_BINARY) as a child of a test: its standard
// error appended to a log file, ended when the test process ends, stopped
// with SIGTERM.
#ifndef ZEL_TESTS_ZELSIM_PROCESS_H
#define ZEL_TESTS_ZELSIM_PROCESS_H

#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>
#include <vector>

#include "server.h"
#include "test_util.h"

namespace zeltest {

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

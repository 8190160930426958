// Linked into every test binary and the benchmark: from static
// initialisation on, the library's shell refuses every line (records it,
// answers -1) unless a ShellRecorder lives, system() itself refuses the same
// way, and the GPIO root and USB mode file lie under /dev/null, where nothing
// can ever be created.
#ifndef ZEL_TESTS_SHELL_GUARD_H
#define ZEL_TESTS_SHELL_GUARD_H

#include <deque>
#include <string>
#include <vector>

namespace zeltest {

std::vector<std::string> refusedShellLines();
// The real system(), for test set-up that needs a host tool.
int hostSystem(const char *command);

// While it lives, the library's shell records each line and answers the next
// of `statuses` (then 0); nothing runs.
struct ShellRecorder {
    explicit ShellRecorder(std::deque<int> statuses = {});
    ~ShellRecorder();
    std::vector<std::string> lines();
};

}  // namespace zeltest

#endif

#include "shell_guard.h"

#include <dlfcn.h>

#include <mutex>

#include "core/platform.h"

namespace zeltest {
namespace {

std::mutex g_mu;  // guards the state, which is built on first use
struct Shell {
    std::vector<std::string> refused, recorded;
    std::deque<int> statuses;
    bool recording = false;
};
Shell &shell() {
    static Shell s;
    return s;
}

int runLine(const char *line) {
    std::lock_guard<std::mutex> lock(g_mu);
    Shell &s = shell();
    (s.recording ? s.recorded : s.refused).push_back(line ? line : "<null>");
    if (!s.recording) return -1;
    int status = s.statuses.empty() ? 0 : s.statuses.front();
    if (!s.statuses.empty()) s.statuses.pop_front();
    return status;
}

[[maybe_unused]] const bool g_guarded = [] {
    zel::g_platform.run_shell = runLine;
    zel::g_platform.gpio_root = "/dev/null/gpio";
    zel::g_platform.usb_mode_file = "/dev/null/msm_otg_mode";
    return true;
}();

}  // namespace

std::vector<std::string> refusedShellLines() {
    std::lock_guard<std::mutex> lock(g_mu);
    return shell().refused;
}

int hostSystem(const char *command) {
    auto real = reinterpret_cast<int (*)(const char *)>(dlsym(RTLD_NEXT, "system"));
    return real ? real(command) : -1;
}

ShellRecorder::ShellRecorder(std::deque<int> statuses) {
    std::lock_guard<std::mutex> lock(g_mu);
    shell().recorded.clear();
    shell().statuses = std::move(statuses);
    shell().recording = true;
}

ShellRecorder::~ShellRecorder() {
    std::lock_guard<std::mutex> lock(g_mu);
    shell().recording = false;
}

std::vector<std::string> ShellRecorder::lines() {
    std::lock_guard<std::mutex> lock(g_mu);
    return shell().recorded;
}

}  // namespace zeltest

// Even the library's production shell hook ends here: refused, whether or
// not a recorder lives.
extern "C" int system(const char *command) {
    std::lock_guard<std::mutex> lock(zeltest::g_mu);
    zeltest::shell().refused.push_back(command ? command : "<null>");
    return -1;
}

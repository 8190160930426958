// What the recorder adds to a command's round trip: zelGetCSQ through the
// public API against the simulator at the library's fixed paths, first
// straight to it, then with `zeltap record` in front of it (zelInit anew, so
// that the library connects through the recorder). Prints p50 and p99 of
// both and the p50 the recorder adds, from rounds of each in turn.
//
//   ./build/native/bench_tap [commands]
//
// It refuses to start while anything holds the fixed paths, and stops the
// simulator and the recorder it started at its end.
#include <stdio.h>
#include <stdlib.h>
#include <sys/stat.h>
#include <syslog.h>

#include "bench/bench_util.h"
#include "tests/zelsim_process.h"
#include "zelto_sdk.h"

namespace {

using namespace zelbench;

const char kLog[] = "/tmp/bench_tap.log";
const char kRecording[] = "/tmp/bench_tap.yaml";

// `n` zelGetCSQ round trips after zelInit; their latencies in us. The traffic
// traces are masked, as the README advises: with no log daemon each would be
// written to the console, milliseconds that would hide the recorder's cost.
std::vector<double> roundTrips(int n) {
    std::vector<double> us;
    if (zelInit() != 0) {
        fprintf(stderr, "bench_tap: zelInit failed\n");
        zelExit();
        return us;
    }
    setlogmask(LOG_UPTO(LOG_INFO));
    for (int i = 0; i < n + 100; ++i) {
        zelString *out = nullptr;
        auto t0 = Clock::now();
        int32_t rc = zelGetCSQ(&out);
        double t = usSince(t0);
        zelFreeString(out);
        if (rc != 0) {
            fprintf(stderr, "bench_tap: zelGetCSQ returned %d\n", rc);
            break;
        }
        if (i >= 100) us.push_back(t);  // the first 100 warm up
    }
    zelExit();
    return us;
}

}  // namespace

int main(int argc, char **argv) {
    int n = argc > 1 ? atoi(argv[1]) : 5000;
    if (!zeltest::claimFixedPaths().empty()) {
        fprintf(stderr, "bench_tap: another program runs the library\n");
        return 1;
    }
    for (const std::string &p : zeltest::fixedPaths()) {
        struct stat st;
        if (lstat(p.c_str(), &st) == 0) {
            fprintf(stderr, "bench_tap: %s exists; is a server running?\n", p.c_str());
            return 1;
        }
    }
    pid_t sim = zeltest::startSimulator({"--no-modem-link"}, kLog);
    if (zeltest::simulatorStatus("", 10000).rfind("ok", 0) != 0) {
        fprintf(stderr, "bench_tap: the simulator did not start; see %s\n", kLog);
        zeltest::stopSimulator(sim);
        return 1;
    }
    // Alternating rounds, so that a change in the machine's load falls on both.
    const int rounds = 5;
    std::vector<double> direct_us, through_us;
    std::string aside = std::string(zel::wire::kNotifySocket) + ".zeltap-server";
    for (int round = 0; round < rounds; ++round) {
        for (double t : roundTrips(n / rounds)) direct_us.push_back(t);
        pid_t tap = zeltest::startProcess(ZELTAP_BINARY, {"record", "--out", kRecording}, kLog);
        bool up = zeltest::waitUntil([&] {
            struct stat st;
            return lstat(aside.c_str(), &st) == 0;
        }, 10000);
        usleep(100 * 1000);  // its listener is bound right after the move
        if (up)
            for (double t : roundTrips(n / rounds)) through_us.push_back(t);
        int tap_status = zeltest::stopSimulator(tap, SIGINT);
        if (!up || tap_status != 0) {
            fprintf(stderr, "bench_tap: the recorder did not run (status %d); see %s\n", tap_status, kLog);
            zeltest::stopSimulator(sim);
            return 1;
        }
    }
    zeltest::stopSimulator(sim);
    unlink(kRecording);
    Stats direct = stats(direct_us), through = stats(through_us);
    unlink(kLog);
    printf("zelGetCSQ round trip, %zu commands each in %d alternating rounds, after zelInit against zelsim\n", direct_us.size(), rounds);
    printf("  direct:         p50 %8.1f us   p99 %8.1f us\n", direct.p50_us, direct.p99_us);
    printf("  through zeltap: p50 %8.1f us   p99 %8.1f us\n", through.p50_us, through.p99_us);
    printf("  added by the recorder: p50 %.1f us (goal: at most 100 us)\n", through.p50_us - direct.p50_us);
    return 0;
}

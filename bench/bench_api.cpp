// zelGetCSQ through the public API, the way an application makes it: zelInit
// against a fake SDK server on the library's fixed paths, then commands with
// the traffic traces masked, going to a log daemon at /dev/log, and with no
// daemon at all (glibc then writes each line to /dev/console). Prints latency
// percentiles back-to-back and 20 ms apart, the ERROR-reply latency, the
// throughput of 1 and 8 threads, the process CPU time per command, and a raw
// Unix-socket ping-pong of the same bytes for scale.
//
//   ./build/native/bench_api [commands]
//
// The server (and a log daemon, when one is needed) runs in a child process,
// so this process's CPU time is the application's and the library's. It
// refuses to start while any fixed path exists. It stands up a daemon at
// /dev/log only when none is there and removes it again (the child does so
// even when this process is killed); with a daemon already there, the
// no-daemon case is skipped.
#include <signal.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>
#include <new>
#include <string>
#include <thread>
#include <vector>

#include "bench/bench_util.h"
#include "core/wire.h"
#include "tests/fake_server.h"
#include "zelto_sdk.h"

namespace {

using namespace zelbench;

const char *const kFixedPaths[] = {zel::wire::kServerSocket, zel::wire::kIpSocket, zel::wire::kNotifySocket,
                                   zel::wire::kLockFile};
const char kDevLog[] = "/dev/log";
const std::string kCommand = "AT+CSQ\r\n";
const std::string kReply = "\r\n+CSQ: 23,99\r\n\r\nOK\r\n";
const std::string kError = "\r\nERROR\r\n";

// Shared with the children.
struct Shared {
    std::atomic<int> answer_error;
    std::atomic<long> daemon_lines;
};
Shared *g_shared = nullptr;

// A child stops when the write end of its pipe closes (also when we die).
struct Helper {
    pid_t pid = -1;
    int keep = -1;
};
Helper g_server, g_daemon;

bool exists(const char *path) { return access(path, F_OK) == 0; }

void stopHelper(Helper &h) {
    if (h.pid <= 0) return;
    close(h.keep);
    waitpid(h.pid, nullptr, 0);
    h.pid = -1;
}

void cleanup() {
    stopHelper(g_daemon);
    stopHelper(g_server);
}

// Forks a helper running `body(ready_fd, keep_fd)`; returns once it wrote
// its ready byte (false when it ended first).
template <typename Body>
bool startHelper(Helper &h, Body body) {
    int ready[2], keep[2];
    if (pipe(ready) != 0 || pipe(keep) != 0) return false;
    h.pid = fork();
    if (h.pid == 0) {
        close(ready[0]);
        close(keep[1]);
        if (g_server.keep >= 0) close(g_server.keep);  // the server's pipe is not ours to hold
        _exit(body(ready[1], keep[0]));
    }
    close(ready[1]);
    close(keep[0]);
    h.keep = keep[1];
    char c;
    bool ok = read(ready[0], &c, 1) == 1;
    close(ready[0]);
    return ok;
}

int runServer(int ready, int keep) {
    {
        zeltest::FakeServer command(kFixedPaths[0]), ip(kFixedPaths[1]), notify(kFixedPaths[2]);
        command.setHandler([](const std::string &) {
            return zeltest::Reply{{0, g_shared->answer_error.load() ? kError : kReply}};
        });
        if (write(ready, "r", 1) != 1) return 1;
        char c;
        while (read(keep, &c, 1) > 0) {
        }
    }  // the servers remove their sockets
    return 0;
}

// Runs in a child of a threaded process: system calls only.
int runLogDaemon(int ready, int keep) {
    int fd = socket(AF_UNIX, SOCK_DGRAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    memcpy(addr.sun_path, kDevLog, sizeof kDevLog);
    if (fd < 0 || bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) return 1;
    if (write(ready, "r", 1) != 1) return 1;
    char buf[8192];
    for (;;) {
        struct pollfd fds[2] = {{fd, POLLIN, 0}, {keep, POLLIN, 0}};
        if (poll(fds, 2, -1) < 0) continue;
        if (fds[1].revents) break;
        if (recv(fd, buf, sizeof buf, 0) > 0) g_shared->daemon_lines.fetch_add(1);
    }
    unlink(kDevLog);
    return 0;
}

// One zelGetCSQ; its latency in us, or -1 when the status was not `want`.
double timedCall(int32_t want) {
    zelString *out = nullptr;
    auto t0 = Clock::now();
    int32_t rc = zelGetCSQ(&out);
    double us = usSince(t0);
    zelFreeString(out);
    return rc == want ? us : -1;
}

int g_wrong = 0;

// Up to `count` calls (stopping after `budget_s`), `gap_ms` apart.
std::vector<double> latencies(int count, double budget_s, int gap_ms, int32_t want = 0) {
    std::vector<double> us;
    auto end = Clock::now() + std::chrono::duration<double>(budget_s);
    for (int i = 0; i < count && Clock::now() < end; ++i) {
        double t = timedCall(want);
        if (t < 0) ++g_wrong; else us.push_back(t);
        if (gap_ms) std::this_thread::sleep_for(std::chrono::milliseconds(gap_ms));
    }
    return us;
}

double cpuSeconds() {
    struct rusage ru;
    getrusage(RUSAGE_SELF, &ru);
    return double(ru.ru_utime.tv_sec + ru.ru_stime.tv_sec) + double(ru.ru_utime.tv_usec + ru.ru_stime.tv_usec) / 1e6;
}

// Commands per second over `seconds` with `threads` callers.
double throughput(int threads, double seconds) {
    std::atomic<bool> stop{false};
    std::atomic<long> done{0};
    std::vector<std::thread> callers;
    auto t0 = Clock::now();
    for (int t = 0; t < threads; ++t)
        callers.emplace_back([&] {
            while (!stop) done += timedCall(0) >= 0;
        });
    std::this_thread::sleep_for(std::chrono::duration<double>(seconds));
    stop = true;
    for (auto &th : callers) th.join();
    return double(done) / (usSince(t0) / 1e6);
}

// Medians of alternating 1- and 8-thread rounds, so that a change in the
// machine's load hits both alike.
void throughputs(double *one, double *eight) {
    std::vector<double> a, b;
    for (int round = 0; round < 5; ++round) {
        a.push_back(throughput(1, 0.3));
        b.push_back(throughput(8, 0.3));
    }
    *one = median(a);
    *eight = median(b);
}

struct Row {
    const char *log;
    Stats back_to_back, apart, error;
    double cpu_us, tput1, tput8;
};

Row measure(const char *log, int commands) {
    Row r{log, {}, {}, {}, 0, 0, 0};
    latencies(100, 5, 0);  // warm up
    double cpu0 = cpuSeconds();
    std::vector<double> b2b = latencies(commands, 3, 0);
    r.cpu_us = (cpuSeconds() - cpu0) * 1e6 / double(b2b.size() ? b2b.size() : 1);
    r.back_to_back = stats(b2b);
    r.apart = stats(latencies(200, 10, 20));
    g_shared->answer_error = 1;
    r.error = stats(latencies(100, 10, 20, 5));
    g_shared->answer_error = 0;
    throughputs(&r.tput1, &r.tput8);
    return r;
}

void print(const Row &r, const Row &masked) {
    printf("%-22s %8.1f %8.1f | %8.1f %8.1f (%4.2fx) | %8.1f %8.1f | %7.1f | %8.0f %8.0f (%4.2fx)\n", r.log,
           r.back_to_back.p50_us, r.back_to_back.p99_us, r.apart.p50_us, r.apart.p99_us,
           r.apart.p50_us / masked.apart.p50_us, r.error.p50_us, r.error.p99_us, r.cpu_us, r.tput1, r.tput8,
           r.tput8 / r.tput1);
}

}  // namespace

int main(int argc, char **argv) {
    int commands = argc > 1 ? atoi(argv[1]) : 5000;
    for (const char *path : kFixedPaths) {
        if (exists(path)) {
            fprintf(stderr, "%s exists: an SDK server, an application or a test uses the fixed paths\n", path);
            return 2;
        }
    }
    void *shared = mmap(nullptr, sizeof(Shared), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0);
    if (shared == MAP_FAILED) return 1;
    g_shared = new (shared) Shared{{0}, {0}};
    atexit(cleanup);  // zelInit's signal handler ends the process through exit()
    for (int signum : {SIGINT, SIGTERM}) signal(signum, [](int s) { exit(s); });
    if (!startHelper(g_server, runServer)) return 1;
    if (zelInit() != 0) {
        fprintf(stderr, "zelInit failed\n");
        return 1;
    }
    const bool had_daemon = exists(kDevLog);
    const int original_mask = setlogmask(0);

    std::vector<Row> rows;
    setlogmask(original_mask & ~LOG_MASK(LOG_DEBUG));
    rows.push_back(measure("masked (LOG_DEBUG off)", commands));
    setlogmask(original_mask | LOG_MASK(LOG_DEBUG));
    if (!had_daemon) rows.push_back(measure("no daemon", commands));
    if (!had_daemon && !startHelper(g_daemon, runLogDaemon)) {
        fprintf(stderr, "cannot stand up a log daemon at %s\n", kDevLog);
    } else {
        rows.push_back(measure(had_daemon ? "daemon (the system's)" : "daemon (ours)", commands));
    }
    setlogmask(original_mask);
    std::vector<double> raw = rawPingPong(kCommand, kReply, 20000);
    zelExit();
    cleanup();

    printf("zelGetCSQ through zelInit, up to %d back-to-back calls (3 s at most), 200 calls 20 ms apart,\n"
           "100 ERROR replies 20 ms apart, medians of 5 alternating 0.3 s rounds of 1 and 8 calling threads;\ntimes in us\n\n",
           commands);
    printf("%-22s %17s | %26s | %17s | %7s | %26s\n", "log", "back-to-back p50 p99", "20 ms apart p50 p99 (/masked)",
           "ERROR p50 p99", "CPU/cmd", "cmd/s 1 thr 8 thr (8/1)");
    for (const Row &r : rows) print(r, rows[0]);
    Stats rs = stats(raw);
    printf("\nraw Unix-socket ping-pong of the same bytes: p50 %.1f us, p99 %.1f us\n", rs.p50_us, rs.p99_us);
    if (!had_daemon) printf("log lines the daemon received: %ld\n", g_shared->daemon_lines.load());
    printf("calls with an unexpected status: %d\n", g_wrong);
    bool restored = exists(kDevLog) == had_daemon;
    for (const char *path : kFixedPaths) restored = restored && !exists(path);
    printf("fixed paths and /dev/log as before: %s\n", restored ? "yes" : "NO");
    return restored && g_wrong == 0 ? 0 : 1;
}

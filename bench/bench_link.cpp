// Round trip of sdkSendATcmdViaSocket against the in-process fake server,
// next to a raw Unix socket ping-pong of the same bytes; and the receive
// thread's wake-ups while idle.
//
//   ./build/bench_link [iterations]
#include <errno.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "core/link.h"
#include "core/platform.h"
#include "tests/fake_server.h"
#include "zelto_sdk.h"

namespace {

using Clock = std::chrono::steady_clock;
const std::string kCommand = "AT+CSQ\r\n";
const std::string kReply = "\r\n+CSQ: 23,99\r\n\r\nOK\r\n";

struct Stats {
    double median_us, p99_us;
};

Stats stats(std::vector<double> v) {
    std::sort(v.begin(), v.end());
    return {v[v.size() / 2], v[std::min(v.size() - 1, v.size() * 99 / 100)]};
}

std::vector<double> benchLink(int iterations) {
    zeltest::FakeServer server(zeltest::tempPath("bench"));
    server.setDefault({{0, kReply}});
    zel::g_platform.server_socket = server.path().c_str();
    create_queue();
    if (zel::linkStart() != 0) {
        fprintf(stderr, "cannot connect to the fake server\n");
        exit(1);
    }
    std::vector<double> us;
    for (int i = 0; i < iterations + 100; ++i) {
        auto t0 = Clock::now();
        zelString *r = sdkSendATcmdViaSocket(kCommand.data(), (int32_t)kCommand.size(), 15);
        auto t1 = Clock::now();
        if (r == nullptr || r->len != (int32_t)kReply.size()) {
            fprintf(stderr, "bad reply at %d\n", i);
            exit(1);
        }
        zelFreeString(r);
        if (i >= 100) us.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    zel::linkClose();
    destroy_queue(zel::currentQueue());
    return us;
}

// The same bytes over a socketpair: a thread answers each command with the
// reply; the client blocks in poll and reads until it has the whole reply.
std::vector<double> benchRaw(int iterations) {
    int sv[2];
    socketpair(AF_UNIX, SOCK_STREAM, 0, sv);
    std::thread peer([&] {
        char buf[256];
        for (;;) {
            ssize_t n = recv(sv[1], buf, sizeof buf, 0);
            if (n <= 0) return;
            send(sv[1], kReply.data(), kReply.size(), MSG_NOSIGNAL);
        }
    });
    std::vector<double> us;
    char buf[256];
    for (int i = 0; i < iterations + 100; ++i) {
        auto t0 = Clock::now();
        send(sv[0], kCommand.data(), kCommand.size(), MSG_NOSIGNAL);
        size_t got = 0;
        while (got < kReply.size()) {
            struct pollfd p = {sv[0], POLLIN, 0};
            poll(&p, 1, -1);
            ssize_t n = recv(sv[0], buf + got, sizeof buf - got, 0);
            if (n <= 0) break;
            got += (size_t)n;
        }
        auto t1 = Clock::now();
        if (i >= 100) us.push_back(std::chrono::duration<double, std::micro>(t1 - t0).count());
    }
    shutdown(sv[0], SHUT_RDWR);
    peer.join();
    close(sv[0]);
    close(sv[1]);
    return us;
}

long idleWakeups(int seconds) {
    zeltest::FakeServer server(zeltest::tempPath("idle"));
    zel::g_platform.server_socket = server.path().c_str();
    create_queue();
    if (zel::linkStart() != 0) return -1;
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    pid_t tid = zel::receiverThreadId();
    long before = zeltest::voluntarySwitches(tid);
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    long after = zeltest::voluntarySwitches(tid);
    zel::linkClose();
    destroy_queue(zel::currentQueue());
    return after - before;
}

}  // namespace

int main(int argc, char **argv) {
    int iterations = argc > 1 ? atoi(argv[1]) : 20000;
    Stats link = stats(benchLink(iterations));
    Stats raw = stats(benchRaw(iterations));
    printf("iterations: %d\n", iterations);
    printf("sdkSendATcmdViaSocket round trip: median %.1f us, p99 %.1f us\n", link.median_us, link.p99_us);
    printf("raw unix socket ping-pong:        median %.1f us, p99 %.1f us\n", raw.median_us, raw.p99_us);
    printf("ratio link/raw: median %.2f, p99 %.2f\n", link.median_us / raw.median_us, link.p99_us / raw.p99_us);
    printf("receive thread wake-ups over 2 s idle: %ld\n", idleWakeups(2));
    return 0;
}

// Round trip of sdkSendATcmdViaSocket against the in-process fake server,
// next to a raw Unix socket ping-pong of the same bytes; and the receive
// thread's wake-ups while idle.
//
//   ./build/bench_link [iterations]
#include <stdio.h>
#include <stdlib.h>
#include <string.h>

#include <string>
#include <thread>
#include <vector>

#include "bench/bench_util.h"
#include "core/link.h"
#include "core/platform.h"
#include "tests/fake_server.h"
#include "zelto_sdk.h"

namespace {

using zelbench::Clock;
using zelbench::Stats;
const std::string kCommand = "AT+CSQ\r\n";
const std::string kReply = "\r\n+CSQ: 23,99\r\n\r\nOK\r\n";

std::vector<double> benchLink(int iterations) {
    zeltest::FakeServer server(zeltest::tempPath("bench"));
    server.setHandler([](const std::string &) { return zeltest::Reply{{0, kReply}}; });
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
    Stats link = zelbench::stats(benchLink(iterations));
    Stats raw = zelbench::stats(zelbench::rawPingPong(kCommand, kReply, iterations));
    printf("iterations: %d\n", iterations);
    printf("sdkSendATcmdViaSocket round trip: median %.1f us, p99 %.1f us\n", link.p50_us, link.p99_us);
    printf("raw unix socket ping-pong:        median %.1f us, p99 %.1f us\n", raw.p50_us, raw.p99_us);
    printf("ratio link/raw: median %.2f, p99 %.2f\n", link.p50_us / raw.p50_us, link.p99_us / raw.p99_us);
    printf("receive thread wake-ups over 2 s idle: %ld\n", idleWakeups(2));
    return 0;
}

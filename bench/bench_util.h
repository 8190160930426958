// Shared by the benchmarks: percentiles and a raw Unix-socket ping-pong of a
// command and its reply, the floor any link over such a socket can reach.
#ifndef ZEL_BENCH_UTIL_H
#define ZEL_BENCH_UTIL_H

#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

namespace zelbench {

using Clock = std::chrono::steady_clock;

struct Stats {
    double p50_us = 0, p99_us = 0;
};

inline Stats stats(std::vector<double> v) {
    if (v.empty()) return {};
    std::sort(v.begin(), v.end());
    return {v[v.size() / 2], v[std::min(v.size() - 1, v.size() * 99 / 100)]};
}

inline double median(const std::vector<double> &v) { return stats(v).p50_us; }

inline double usSince(Clock::time_point t0) {
    return std::chrono::duration<double, std::micro>(Clock::now() - t0).count();
}

// Round trips over a socketpair: a thread answers each command with the
// reply; the client blocks in poll and reads until it has the whole reply.
inline std::vector<double> rawPingPong(const std::string &command, const std::string &reply, int iterations) {
    int sv[2];
    if (socketpair(AF_UNIX, SOCK_STREAM, 0, sv) != 0) return {};
    std::thread peer([&] {
        char buf[256];
        while (recv(sv[1], buf, sizeof buf, 0) > 0) send(sv[1], reply.data(), reply.size(), MSG_NOSIGNAL);
    });
    std::vector<double> us;
    std::string buf(reply.size(), '\0');
    for (int i = 0; i < iterations + 100; ++i) {
        auto t0 = Clock::now();
        send(sv[0], command.data(), command.size(), MSG_NOSIGNAL);
        for (size_t got = 0; got < reply.size();) {
            struct pollfd p = {sv[0], POLLIN, 0};
            poll(&p, 1, -1);
            ssize_t n = recv(sv[0], &buf[got], reply.size() - got, 0);
            if (n <= 0) break;
            got += static_cast<size_t>(n);
        }
        if (i >= 100) us.push_back(usSince(t0));  // the first 100 warm up
    }
    shutdown(sv[0], SHUT_RDWR);
    peer.join();
    close(sv[0]);
    close(sv[1]);
    return us;
}

}  // namespace zelbench

#endif

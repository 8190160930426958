// Deadlines on the monotonic clock, in 64-bit nanoseconds: setting the
// modem's clock never stretches or cuts a wait, and no sum of a deadline and
// a timeout overflows (2^63 ns is 292 years).
#ifndef ZEL_CORE_DEADLINE_H
#define ZEL_CORE_DEADLINE_H

#include <limits.h>
#include <stdint.h>
#include <time.h>

namespace zel {

using MonoNs = int64_t;

inline MonoNs monoNow() {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    return static_cast<int64_t>(ts.tv_sec) * 1000000000 + ts.tv_nsec;
}

// `ms` from now; a negative wait is a deadline that has passed.
inline MonoNs afterMs(int64_t ms) {
    if (ms > INT64_MAX / 2000000) ms = INT64_MAX / 2000000;
    return monoNow() + ms * 1000000;
}

inline struct timespec toTimespec(MonoNs t) {
    struct timespec ts;
    ts.tv_sec = static_cast<time_t>(t / 1000000000);
    ts.tv_nsec = static_cast<long>(t % 1000000000);
    return ts;
}

// Milliseconds left until `t` for poll(): 0 once passed, rounded up.
inline int msUntil(MonoNs t) {
    int64_t left = t - monoNow();
    if (left <= 0) return 0;
    int64_t ms = (left + 999999) / 1000000;
    return ms > INT_MAX ? INT_MAX : static_cast<int>(ms);
}

}  // namespace zel

#endif

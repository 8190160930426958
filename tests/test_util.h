// Header-only helpers for every test binary, those linked against the shared
// object or the simulator included: waiting on a condition, recording values
// from other threads, and owning or viewing a zelString.
#ifndef ZEL_TESTS_UTIL_H
#define ZEL_TESTS_UTIL_H

#include <string.h>

#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "zelto_sdk.h"

namespace zeltest {

// Polls `pred` until it holds or `timeout_ms` passes.
inline bool waitUntil(const std::function<bool()> &pred, int timeout_ms = 5000) {
    auto deadline = std::chrono::steady_clock::now() + std::chrono::milliseconds(timeout_ms);
    while (!pred()) {
        if (std::chrono::steady_clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(2));
    }
    return true;
}

// Values recorded from any thread, in the order they came.
template <typename T>
class Recorder {
public:
    void add(T value) {
        std::lock_guard<std::mutex> lock(mu_);
        seen_.push_back(std::move(value));
    }
    std::vector<T> seen() {
        std::lock_guard<std::mutex> lock(mu_);
        return seen_;
    }
    std::vector<T> take() {
        std::lock_guard<std::mutex> lock(mu_);
        return std::exchange(seen_, {});
    }

private:
    std::mutex mu_;
    std::vector<T> seen_;
};

// Owns a zelString for the length of a test.
struct Owned {
    zelString *s = nullptr;
    ~Owned() { zelFreeString(s); }
    zelString **out() { return &s; }
    std::string str() const { return s ? std::string(s->data, static_cast<size_t>(s->len)) : "<null>"; }
};

// A record over `text` (not copied) of `len` bytes, by default its length.
inline zelString view(const char *text, int32_t len = -1) {
    return {const_cast<char *>(text), len >= 0 ? len : static_cast<int32_t>(strlen(text))};
}

}  // namespace zeltest

#endif

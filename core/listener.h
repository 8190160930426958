// Shared by the two event listeners: the callback registry, connecting with a
// pause between attempts, and the end of a connection. The listener messages
// carry no "<source>:<line>: " prefix.
#ifndef ZEL_CORE_LISTENER_H
#define ZEL_CORE_LISTENER_H

#include <errno.h>
#include <fcntl.h>
#include <pthread.h>
#include <stdint.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/types.h>
#include <sys/un.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>

#include "platform.h"
#include "zelto_sdk.h"

namespace zel {

constexpr uint64_t kListenerRetryUs = 2000000;

// Ten slots filled in registration order and never emptied; duplicates and
// null entries are kept (null ones are skipped when calling). Callbacks run
// on a copy of the slots taken under the lock, never under it, so that a
// callback may register callbacks (called from the next event on) or call
// anything else. Constant-initialised, so usable before any thread runs.
template <typename Callback>
struct CallbackRegistry {
    static constexpr int32_t kSlots = 10;
    pthread_mutex_t lock = PTHREAD_MUTEX_INITIALIZER;
    Callback slots[kSlots] = {};
    std::atomic<int32_t> count{0};

    // 0, or -1 when every slot is used.
    int32_t add(Callback callback) {
        pthread_mutex_lock(&lock);
        int32_t result = -1;
        int32_t used = count.load();
        if (used < kSlots) {
            slots[used] = callback;
            count.store(used + 1);
            zelto_sdk_log(LOG_DEBUG, "Callback registered. Total callbacks: %d", used + 1);
            result = 0;
        } else {
            zelto_sdk_log(LOG_DEBUG, "Max callbacks reached, unable to register");
        }
        pthread_mutex_unlock(&lock);
        return result;
    }

    // Calls every slot registered so far, in order; `calling` is the
    // per-call trace format.
    template <typename Arg>
    void callAll(Arg arg, const char *calling) {
        zelto_sdk_log(LOG_DEBUG, "Entering, number client: %d", count.load());
        Callback now[kSlots];
        pthread_mutex_lock(&lock);
        int32_t used = count.load();
        for (int32_t i = 0; i < used; ++i) now[i] = slots[i];
        pthread_mutex_unlock(&lock);
        for (int32_t i = 0; i < used; ++i) {
            if (now[i] == nullptr) continue;
            zelto_sdk_log(LOG_DEBUG, calling, i);
            now[i](arg);
        }
        zelto_sdk_log(LOG_DEBUG, "Leaving");
    }
};

// A blocking stream socket connected to the path that `g_platform.*path`
// names, retrying every 2 s until a server of root or this process's user
// accepts. When no socket can be made the process ends with status 1 (-1
// comes back only if the exit hook returns).
inline int connectListener(const char *Platform::*path) {
    for (;;) {
        const char *where = g_platform.*path;
        ConnectFailure why;
        uid_t uid = 0;
        int fd = connectUnix(where, afterMs(kListenerRetryUs / 1000), &why, &uid);
        if (fd >= 0 && fcntl(fd, F_SETFL, 0) == 0) {
            zelto_sdk_log(LOG_INFO, "Connected to server at %s\n", where);
            return fd;
        }
        if (fd >= 0) close(fd);
        if (why == ConnectFailure::Socket) {
            g_platform.exit_process(1);
            return -1;
        }
        if (why == ConnectFailure::Peer) {
            zelto_sdk_log(LOG_ERR, "Refused server at %s: it runs as uid %d, not root or uid %d", where,
                          static_cast<int>(uid), static_cast<int>(geteuid()));
        }
        g_platform.sleep_us(kListenerRetryUs);
    }
}

// Receives up to `size` bytes and returns their count. A closed connection or
// a receive error gives 0, after logging it, closing `fd` and pausing 2 s.
inline size_t receiveEvent(int fd, void *buffer, size_t size) {
    ssize_t n;
    do {
        n = recv(fd, buffer, size, 0);
    } while (n < 0 && errno == EINTR);
    if (n > 0) return static_cast<size_t>(n);
    if (n == 0) {
        zelto_sdk_log(LOG_INFO, "Server closed the connection\n");
    } else {
        zelto_sdk_log(LOG_ERR, "Error in receiving");
    }
    close(fd);
    g_platform.sleep_us(kListenerRetryUs);
    return 0;
}

// Starts `body(arg)` on a detached thread: 0, or pthread_create's error. The
// body names its own thread: once detached, the handle may already be gone.
inline int startDetached(void *(*body)(void *), void *arg = nullptr) {
    pthread_attr_t attr;
    pthread_attr_init(&attr);
    pthread_attr_setdetachstate(&attr, PTHREAD_CREATE_DETACHED);
    pthread_t thread;
    int rc = pthread_create(&thread, &attr, body, arg);
    pthread_attr_destroy(&attr);
    return rc;
}

// A listener runs once per process, from its first start to the end of the
// process: a later start (zelInit after zelExit) finds it running and
// succeeds. 0, or -1 after logging `failed` when its thread cannot start.
inline int32_t startListenerOnce(std::atomic<bool> &started, void *(*body)(void *), const char *failed) {
    if (started.exchange(true)) return 0;
    if (startDetached(body) == 0) return 0;
    started.store(false);
    zelto_sdk_log(LOG_ERR, "%s", failed);
    return -1;
}

}  // namespace zel

#endif

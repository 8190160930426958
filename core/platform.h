// Platform layer: every fixed path, shell command, system-log call and sleep
// of the library goes through g_platform. Production uses the defaults; tests
// point the paths at temporary files and swap the functions for recorders.
// Nothing here is exported from the shared object.
#ifndef ZEL_CORE_PLATFORM_H
#define ZEL_CORE_PLATFORM_H

#include <stdint.h>
#include <sys/types.h>

#include <atomic>

#include "deadline.h"

namespace zel {

struct Platform {
    const char *server_socket;  // command link to the SDK server
    const char *ip_socket;      // IP-change events
    const char *notify_socket;  // server notifications
    const char *lock_file;      // single-instance lock
    const char *modem_port;     // direct AT port
    const char *gpio_root;      // sysfs GPIO directory
    const char *usb_mode_file;  // USB controller mode switch

    int (*run_shell)(const char *command);
    void (*log_open)(const char *ident, int option, int facility);
    void (*log_write)(int priority, const char *text);
    void (*log_close)();
    void (*sleep_us)(uint64_t microseconds);
    // Converts a command's timeout in seconds to the wait in milliseconds.
    int64_t (*reply_wait_ms)(int32_t seconds);
    // Ends the process with the status (exit handlers run).
    void (*exit_process)(int status);
    // Opens the direct AT port: open(2)'s result, errno set on failure.
    int (*open_port)(const char *path, int flags);
    // The system log's priority mask (setlogmask(0)), read without changing it.
    int (*log_mask)();
};

extern Platform g_platform;

// Why connectUnix gave no connection.
enum class ConnectFailure {
    None,
    Socket,   // no socket could be made
    Connect,  // nothing accepted at the path before the deadline
    Peer,     // the peer runs as another user than root or this process's
};

// A new Unix stream socket, non-blocking and close-on-exec, connected to
// `path` (a zero-filled AF_UNIX address passed with its full size) before
// `deadline`: a server whose backlog is full is retried until then, or until
// `*cancel` is set. The peer
// must run as root or as this process's effective user. Returns the
// descriptor, or -1 with `*why` set and, for Peer, the peer's uid in
// `*peer_uid`.
int connectUnix(const char *path, MonoNs deadline, ConnectFailure *why, uid_t *peer_uid,
                const std::atomic<bool> *cancel = nullptr);

// The production values, for tests that want to restore them.
Platform defaultPlatform();

}  // namespace zel

#endif

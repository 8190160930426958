// Platform layer: every fixed path, shell command, system-log call and sleep
// of the library goes through g_platform. Production uses the defaults; tests
// point the paths at temporary files and swap the functions for recorders.
// Nothing here is exported from the shared object.
#ifndef ZEL_CORE_PLATFORM_H
#define ZEL_CORE_PLATFORM_H

#include <stdint.h>

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

// Connects `fd` to the Unix stream socket at `path`: a zero-filled AF_UNIX
// address passed with its full size. False when the path is NULL, does not
// fit the address, or nothing accepts there.
bool connectUnix(int fd, const char *path);

// The production values, for tests that want to restore them.
Platform defaultPlatform();

}  // namespace zel

#endif

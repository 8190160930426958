// Start and end of the library: the single-instance lock, the signal handler,
// the server link and the two event listeners.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include "link.h"
#include "log.h"
#include "platform.h"

extern "C" {
int32_t lock_fd = -1;
}

namespace {
const char kTag[] = "core";

// Lets the receive thread and then the IP listener settle before the next start.
constexpr uint64_t kSettleUs = 500000;

const int kHandledSignals[] = {SIGSEGV, SIGUSR1, SIGUSR2, SIGABRT, SIGTERM, SIGTSTP, SIGQUIT, SIGINT, SIGHUP};

// 0 with the lock file created and locked by this process, or 4.
int32_t takeLock() {
    const char *path = zel::g_platform.lock_file;
    int fd = open(path, O_RDWR | O_CREAT | O_EXCL | O_CLOEXEC, 0664);
    ZEL_LOG(LOG_INFO, "ZELTO_SDK_LOCK_FILE_PATH : %s", path);
    ZEL_LOG(LOG_INFO, "init fd: %d ", fd);
    if (fd < 0) {
        // A lock this process already holds stays held until zelExit.
        ZEL_LOG(LOG_ERR, "ZELTO SDK already running.");
        return 4;
    }
    // Our earlier lock file was removed behind our back: its descriptor goes.
    if (lock_fd >= 0) close(lock_fd);
    lock_fd = fd;
    if (flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        ZEL_LOG(LOG_ERR, "ZELTO SDK already running.");
        return 4;
    }
    return 0;
}

// Touches nothing unless this process took the lock.
void releaseLock() {
    if (lock_fd < 0) return;
    flock(lock_fd, LOCK_UN);
    close(lock_fd);
    lock_fd = -1;
    remove(zel::g_platform.lock_file);
}

// zelExit's work. In a signal handler the thread it interrupted may hold the
// link's lock or wait for a reply, so nothing there may wait long: a link that
// cannot be closed at once, and the queue, are left to the end of the process
// (destroying a condition variable waits for its waiters, which may include
// the interrupted thread).
void shutDown(bool in_signal_handler) {
    zel::linkClose(in_signal_handler);
    response_queue *queue = zel::currentQueue();
    if (queue != nullptr && !in_signal_handler) destroy_queue(queue);
    releaseLock();
    zelto_sdk_close_log();
    ZEL_LOG(LOG_INFO, "Bail");
}

void sdk_signal_handler(int signum) {
    ZEL_LOG(LOG_INFO, "called, signum: %d", signum);
    if (signum == SIGSEGV) ZEL_LOG(LOG_CRIT, "Segmentation fault occurred\n");
    if (signum == SIGUSR1) ZEL_LOG(LOG_CRIT, "User event 1 occurred\n");
    if (signum == SIGUSR2) ZEL_LOG(LOG_CRIT, "User event 2 occurred\n");
    shutDown(true);  // zelExit
    ZEL_LOG(LOG_INFO, "out");
    zel::g_platform.exit_process(signum);
}

}  // namespace

extern "C" {

int32_t zelInit(void) {
    zelto_sdk_open_log("SDKTag");
    for (int signum : kHandledSignals) signal(signum, sdk_signal_handler);
    signal(SIGPIPE, SIG_IGN);

    int32_t locked = takeLock();
    if (locked != 0) return locked;

    response_queue *queue = create_queue();
    if (queue == nullptr) {
        ZEL_LOG(LOG_ERR, "create_queue: failed");
        return 5;
    }
    if (zel::linkStart() != 0) {
        destroy_queue(queue);
        return 5;
    }
    zel::g_platform.sleep_us(kSettleUs);

    if (init_ip_listener_thread() != 0) {
        ZEL_LOG(LOG_ERR, "init_ip_listener_thread: start failed");
    } else {
        ZEL_LOG(LOG_INFO, "init_ip_listener_thread: started");
    }
    zel::g_platform.sleep_us(kSettleUs);

    if (InitNotificationListenerThread() != 0) {
        ZEL_LOG(LOG_ERR, "InitNotificationListenerThread: start failed");
    } else {
        ZEL_LOG(LOG_INFO, "InitNotificationListenerThread: started");
    }
    ZEL_LOG(LOG_INFO, "init Ok");
    return 0;
}

int32_t zelExit(void) {
    shutDown(false);
    return 0;
}

int32_t zelGetSDKVersion(int32_t *major, int32_t *minor, int32_t *patch) {
    if (major == nullptr || minor == nullptr || patch == nullptr) return 5;
    *major = 2;
    *minor = 2;
    *patch = 5;
    return 0;
}

}  // extern "C"

// Start and end of the library: the single-instance lock, the signal handler,
// the server link and the two event listeners.
//
// A handled signal ends the process without the handler taking any lock:
// the thread it interrupts may hold the system log's, the allocator's or a
// stdio lock, and would wait for itself for ever. The handler only removes
// the lock file and wakes the shutdown thread, which logs, runs zelExit and
// exits with the signal's number (exit handlers run). The interrupted thread
// waits in the handler meanwhile, for a moment only: should the orderly end
// need a lock that thread holds, it gets it once the handler returns. Should
// the process still not have ended in time (an exit handler blocks), the
// shutdown thread ends it with _exit and the same status.
#include <errno.h>
#include <fcntl.h>
#include <signal.h>
#include <stdio.h>
#include <sys/eventfd.h>
#include <sys/syscall.h>
#include <sys/file.h>
#include <syslog.h>
#include <unistd.h>

#include <atomic>

#include "link.h"
#include "listener.h"
#include "log.h"
#include "platform.h"

extern "C" {
int32_t lock_fd = -1;
}

namespace {
const char kTag[] = "core";

// Lets the receive thread and then the IP listener settle before the next start.
constexpr uint64_t kSettleUs = 500000;
// From a signal to the end of the process, at the latest.
constexpr int64_t kSignalExitMs = 800;
// How long the interrupted thread waits in the handler.
constexpr long kHandlerHoldNs = 300000000;

const int kHandledSignals[] = {SIGSEGV, SIGUSR1, SIGUSR2, SIGABRT, SIGTERM, SIGTSTP, SIGQUIT, SIGINT, SIGHUP};
constexpr int kReplaced = sizeof kHandledSignals / sizeof kHandledSignals[0] + 1;  // and SIGPIPE

// The dispositions zelInit replaced, put back by zelExit.
struct sigaction g_saved[kReplaced];
bool g_installed = false;

// The signal being handled (0: none yet), and the eventfd that wakes the
// shutdown thread (-1: no such thread; the handler then ends the process).
std::atomic<int> g_signal{0};
std::atomic<int> g_signal_fd{-1};
// Set by whoever removes our lock file first: the handler or zelExit.
std::atomic<bool> g_lock_removed{false};

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
    g_lock_removed.store(false);
    __atomic_store_n(&lock_fd, fd, __ATOMIC_RELAXED);
    if (flock(fd, LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK) {
        ZEL_LOG(LOG_ERR, "ZELTO SDK already running.");
        return 4;
    }
    return 0;
}

// Removes our lock file by its path, once: never a file another process
// made after our signal handler removed ours. Safe in a signal handler.
void removeLockFile() {
    if (__atomic_load_n(&lock_fd, __ATOMIC_RELAXED) >= 0 && !g_lock_removed.exchange(true))
        unlink(zel::g_platform.lock_file);
}

// Touches nothing unless this process took the lock.
void releaseLock() {
    if (lock_fd < 0) return;
    removeLockFile();
    flock(lock_fd, LOCK_UN);
    close(lock_fd);
    __atomic_store_n(&lock_fd, -1, __ATOMIC_RELAXED);
}

void restoreSignals() {
    if (!g_installed) return;
    for (int i = 0; i < kReplaced - 1; ++i) sigaction(kHandledSignals[i], &g_saved[i], nullptr);
    sigaction(SIGPIPE, &g_saved[kReplaced - 1], nullptr);
    g_installed = false;
}

// zelExit's work. `restore`: put back the application's signal dispositions
// (not while a signal ends the process: a second one must end it the same way).
void shutDown(bool restore) {
    // A queue that a caller may still use is left to the end of the process.
    bool idle = zel::linkClose();
    response_queue *queue = zel::currentQueue();
    if (queue != nullptr && idle) destroy_queue(queue);
    releaseLock();
    if (restore) restoreSignals();
    zelto_sdk_close_log();
    ZEL_LOG(LOG_INFO, "Bail");
}

// The orderly end after a signal, on a thread of its own.
void *exitAfterSignal(void *) {
    sigset_t none;
    sigemptyset(&none);
    pthread_sigmask(SIG_SETMASK, &none, nullptr);
    int signum = g_signal.load();
    ZEL_LOG(LOG_INFO, "called, signum: %d", signum);
    if (signum == SIGSEGV) ZEL_LOG(LOG_CRIT, "Segmentation fault occurred\n");
    if (signum == SIGUSR1) ZEL_LOG(LOG_CRIT, "User event 1 occurred\n");
    if (signum == SIGUSR2) ZEL_LOG(LOG_CRIT, "User event 2 occurred\n");
    shutDown(false);  // zelExit
    ZEL_LOG(LOG_INFO, "out");
    zel::g_platform.exit_process(signum);
    return nullptr;
}

// Waits for the handler's word, starts the orderly end and bounds it.
void *shutdownThread(void *) {
    pthread_setname_np(pthread_self(), "sdk_shutdown");
    uint64_t word;
    while (read(g_signal_fd.load(), &word, sizeof word) != static_cast<ssize_t>(sizeof word)) {
    }
    zel::MonoNs deadline = zel::afterMs(kSignalExitMs);
    pthread_t orderly;
    if (pthread_create(&orderly, nullptr, exitAfterSignal, nullptr) == 0) {
        struct timespec until = zel::toTimespec(deadline);
        while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &until, nullptr) == EINTR) {
        }
    }
    // Straight to the kernel: a sanitizer's _exit runs its own end first,
    // which can wait on a lock the stuck thread holds.
    syscall(SYS_exit_group, g_signal.load());
    return nullptr;
}

// Started once per process, before the handler is installed; it blocks every
// signal, so the handler never runs on it.
void startShutdownThread() {
    if (g_signal_fd.load() >= 0) return;
    int fd = eventfd(0, EFD_CLOEXEC);
    if (fd < 0) return;
    g_signal_fd.store(fd);
    sigset_t all, previous;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &previous);
    if (zel::startDetached(shutdownThread) != 0) {
        g_signal_fd.store(-1);
        close(fd);
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
}

// Only what is safe in a signal handler: atomics, unlink, write, nanosleep,
// pause, _exit.
void sdk_signal_handler(int signum) {
    int saved_errno = errno;
    int none = 0;
    if (g_signal.compare_exchange_strong(none, signum)) {
        removeLockFile();
        uint64_t one = 1;
        int fd = g_signal_fd.load();
        if (fd < 0 || write(fd, &one, sizeof one) != static_cast<ssize_t>(sizeof one)) _exit(signum);
    }
    // A fault would only recur, and abort() would end the process by the
    // signal: such a thread waits here until the process ends.
    if (signum == SIGSEGV || signum == SIGABRT) {
        for (;;) pause();
    }
    struct timespec hold = {0, kHandlerHoldNs};
    while (nanosleep(&hold, &hold) != 0 && errno == EINTR) {
    }
    errno = saved_errno;
}

void installSignals() {
    if (g_installed) return;
    struct sigaction handled = {};
    handled.sa_handler = sdk_signal_handler;
    handled.sa_flags = SA_RESTART;
    sigemptyset(&handled.sa_mask);
    for (int i = 0; i < kReplaced - 1; ++i) sigaction(kHandledSignals[i], &handled, &g_saved[i]);
    struct sigaction ignored = {};
    ignored.sa_handler = SIG_IGN;
    sigemptyset(&ignored.sa_mask);
    sigaction(SIGPIPE, &ignored, &g_saved[kReplaced - 1]);
    g_installed = true;
}

}  // namespace

extern "C" {

int32_t zelInit(void) {
    zelto_sdk_open_log("SDKTag");
    startShutdownThread();
    installSignals();

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
    shutDown(true);
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

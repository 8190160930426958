#include "platform.h"

#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>
#include <errno.h>
#include <fcntl.h>
#include <unistd.h>

#include "peer.h"
#include "wire.h"

namespace zel {
namespace {

int shellSystem(const char *command) { return system(command); }
void logOpen(const char *ident, int option, int facility) { openlog(ident, option, facility); }
void logWrite(int priority, const char *text) { syslog(priority, "%s", text); }
void logClose() { closelog(); }
int logMask() { return setlogmask(0); }

void sleepMicroseconds(uint64_t us) {
    struct timespec ts;
    ts.tv_sec = static_cast<time_t>(us / 1000000u);
    ts.tv_nsec = static_cast<long>((us % 1000000u) * 1000u);
    while (nanosleep(&ts, &ts) != 0 && errno == EINTR) {
    }
}

int64_t secondsToMs(int32_t seconds) { return static_cast<int64_t>(seconds) * 1000; }

void exitProcess(int status) { exit(status); }

int openPort(const char *path, int flags) { return open(path, flags); }

constexpr Platform kDefault = {
    wire::kServerSocket,
    wire::kIpSocket,
    wire::kNotifySocket,
    wire::kLockFile,
    wire::kModemPort,
    "/sys/class/gpio",
    "/sys/kernel/debug/msm_otg/mode",
    shellSystem,
    logOpen,
    logWrite,
    logClose,
    sleepMicroseconds,
    secondsToMs,
    exitProcess,
    openPort,
    logMask,
};

}  // namespace

Platform defaultPlatform() { return kDefault; }

int connectUnix(const char *path, MonoNs deadline, ConnectFailure *why, uid_t *peer_uid,
                const std::atomic<bool> *cancel) {
    *why = ConnectFailure::Socket;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC | SOCK_NONBLOCK, 0);
    if (fd < 0) return -1;
    *why = ConnectFailure::Connect;
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    bool fits = path != nullptr && strlen(path) < sizeof addr.sun_path;
    if (fits) memcpy(addr.sun_path, path, strlen(path));
    // A Unix socket connects at once or not at all; EAGAIN means the
    // server's backlog is full, which may clear before the deadline.
    int rc = -1;
    while (fits && (rc = connect(fd, reinterpret_cast<struct sockaddr *>(&addr), sizeof addr)) != 0 &&
           (errno == EAGAIN || errno == EINTR) && monoNow() < deadline && !(cancel && cancel->load())) {
        struct timespec step = {0, 5000000};
        nanosleep(&step, nullptr);
    }
    if (rc == 0) {
        if (peerTrusted(fd, peer_uid)) {
            *why = ConnectFailure::None;
            return fd;
        }
        *why = ConnectFailure::Peer;
    }
    close(fd);
    return -1;
}

// Constant-initialised: valid before any constructor runs.
Platform g_platform = kDefault;

}  // namespace zel

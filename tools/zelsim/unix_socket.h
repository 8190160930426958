// Unix stream sockets by path, for the tools (zelsim, zeltap): the address,
// and a connection whose connect is bounded (a listener with a full backlog
// would otherwise block it); and the stop signals as a descriptor that their
// poll loops watch.
#ifndef ZELSIM_UNIX_SOCKET_H
#define ZELSIM_UNIX_SOCKET_H

#include <signal.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/time.h>
#include <sys/un.h>
#include <unistd.h>

#include <cstring>
#include <string>

namespace zelsim {

// SIGINT, SIGTERM and SIGHUP blocked and readable on the returned descriptor
// (-1 on failure); SIGPIPE ignored, so a closed peer is an error, not an end.
inline int stopSignals() {
    sigset_t sigs;
    sigemptyset(&sigs);
    for (int s : {SIGINT, SIGTERM, SIGHUP}) sigaddset(&sigs, s);
    sigprocmask(SIG_BLOCK, &sigs, nullptr);
    signal(SIGPIPE, SIG_IGN);
    return signalfd(-1, &sigs, SFD_CLOEXEC);
}

// False when the path does not fit.
inline bool fillAddress(const std::string &path, sockaddr_un *addr) {
    memset(addr, 0, sizeof *addr);
    addr->sun_family = AF_UNIX;
    if (path.size() >= sizeof addr->sun_path) return false;
    memcpy(addr->sun_path, path.c_str(), path.size());
    return true;
}

// A blocking, close-on-exec connection to the listener at `path`, or -1
// when nothing accepts there within `timeout_ms`.
inline int connectTo(const std::string &path, int timeout_ms = 1000) {
    sockaddr_un addr;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    timeval tv{timeout_ms / 1000, (timeout_ms % 1000) * 1000};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    if (!fillAddress(path, &addr) || connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
        close(fd);
        return -1;
    }
    tv = {0, 0};
    setsockopt(fd, SOL_SOCKET, SO_SNDTIMEO, &tv, sizeof tv);
    return fd;
}

}  // namespace zelsim

#endif

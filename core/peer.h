// Whose process is at the other end of a connected Unix socket, and whether
// to trust it. Header-only: the library and the tools share it.
#ifndef ZEL_PEER_H
#define ZEL_PEER_H

#include <sys/socket.h>
#include <sys/types.h>
#include <unistd.h>

namespace zel {

// True when the peer of `fd` runs as root or as this process's effective
// user; `*uid` gets the peer's uid, or (uid_t)-1 when it cannot be read.
inline bool peerTrusted(int fd, uid_t *uid) {
    struct ucred peer;
    socklen_t len = sizeof peer;
    *uid = static_cast<uid_t>(-1);
    if (getsockopt(fd, SOL_SOCKET, SO_PEERCRED, &peer, &len) != 0 || len != sizeof peer) return false;
    *uid = peer.uid;
    return peer.uid == 0 || peer.uid == geteuid();
}

}  // namespace zel

#endif

// Server link: connection and reconnection, the receive thread that cuts the
// byte stream into replies, the reply queue and the one transaction call.
//
// Locks and waits, written once:
// - g_mu guards every field of g_link (the current connection, the
//   transaction token, the callers inside, the closing mark) and the nodes of
//   the reply queue. g_cond, waited on with the monotonic clock, is broadcast
//   whenever one of them changes. g_mu is held only for moments: never
//   across a blocking socket call, a log line, a join or a sleep, and no other
//   lock is taken while it is held. It is the only lock of this file.
// - The transaction token (g_link.busy) stands where a lock held across the
//   wait for the server would: one caller at a time owns the link from the
//   flush of stale replies to the taking of its reply. Only the owner
//   connects, sends, and retires a connection; others wait on g_cond for the
//   token, within their own deadline.
// - Every wait has the calling command's deadline: connect retries a full
//   backlog until then, send waits for room with poll, the reply wait ends
//   then. linkClose marks the link closing, shuts the connection down and
//   broadcasts, so that each of those waits ends at once, and frees nothing
//   while a caller is still inside.
// - A receive thread takes g_mu only to hand over a reply or to mark its
//   connection closed. Its connection's descriptor is closed only once the
//   thread has ended, by whoever retires the connection.
#include "link.h"

#include <errno.h>
#include <poll.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <syslog.h>
#include <unistd.h>

#include "deadline.h"
#include "framer.h"
#include "listener.h"
#include "log.h"
#include "platform.h"
#include "wire.h"

namespace {
const char kTag[] = "core";
}

extern "C" {
char *extended_errors[5] = {
    const_cast<char *>(zel::wire::kExtendedErrors[0]), const_cast<char *>(zel::wire::kExtendedErrors[1]),
    const_cast<char *>(zel::wire::kExtendedErrors[2]), const_cast<char *>(zel::wire::kExtendedErrors[3]),
    const_cast<char *>(zel::wire::kExtendedErrors[4]),
};
static_assert(zel::wire::kExtendedErrorCount == 5, "extended_errors holds five entries");
zelString *(*sdkSendATcmd)(const char *command, int32_t length, int32_t timeout_seconds) = nullptr;
}

namespace zel {

std::atomic<int32_t> client_socket_fd{-1};

namespace {

// How long linkClose waits for callers to leave, and for a receive thread to
// end, before it leaves them to the end of the process.
constexpr int64_t kCallersLeaveMs = 1500;
constexpr int64_t kReceiverEndMs = 300;

enum ReceiverState { kRunning, kFinished, kOrphaned };

// One connection to the server and its receive thread.
struct Connection {
    int fd;
    int wake_fd;   // eventfd written to stop the thread
    bool reading;  // the (detached) thread was started
    bool closed;   // (g_mu) the server ended the stream
    std::atomic<bool> stop;
    // kRunning until the thread ends (kFinished); kOrphaned when whoever
    // stopped it gave up waiting: the thread then frees the connection itself.
    std::atomic<int> state;
    std::atomic<pid_t> tid;
    ReplyFramer framer;
};

struct Link {
    response_queue *queue;  // made by create_queue; its nodes are guarded by g_mu
    Connection *conn;       // the current connection, or NULL
    bool busy;              // the transaction token is taken
    int users;              // callers inside sdkSendATcmdViaSocket
    bool closing;           // linkClose runs: waits end, nobody enters
    ReplyFramer carry;      // text carried over from an ended connection
};

pthread_mutex_t g_mu = PTHREAD_MUTEX_INITIALIZER;
pthread_cond_t g_cond = PTHREAD_COND_INITIALIZER;
Link g_link;
// g_link.closing, for a connect that retries a full backlog.
std::atomic<bool> g_closing{false};
// Counts commands sent; a receive thread stops discarding when it moves.
std::atomic<uint32_t> g_send_generation{0};
// The connection whose receive thread runs on this thread.
__thread Connection *t_reading __attribute__((tls_model("initial-exec")));

// Waits on g_cond (g_mu held) until `deadline`: false once it has passed.
bool waitUntil(MonoNs deadline) {
    struct timespec ts = toTimespec(deadline);
    return pthread_cond_clockwait(&g_cond, &g_mu, CLOCK_MONOTONIC, &ts) != ETIMEDOUT;
}

void freeNodes(response_queue *q) {
    response_node *n = q->head;
    while (n) {
        response_node *next = n->next;
        free(n->data);
        free(n);
        n = next;
    }
    q->head = q->tail = nullptr;
}

// A complete reply from the receive thread: queued and signalled, unless its
// connection has been retired meanwhile.
void appendReply(const Cut &cut) {
    if (cut.data == nullptr) {
        ZEL_LOG(LOG_ERR, "failed to allocate mem for data");
        return;
    }
    response_node *node = static_cast<response_node *>(malloc(sizeof(response_node)));
    if (node == nullptr) {
        ZEL_LOG(LOG_ERR, "failed to allocate mem for new node");
        free(cut.data);
        return;
    }
    node->data = cut.data;
    node->len = cut.len;
    node->next = nullptr;
    pthread_mutex_lock(&g_mu);
    response_queue *q = g_link.queue;
    if (q != nullptr && g_link.conn == t_reading) {
        if (q->tail) q->tail->next = node; else q->head = node;
        q->tail = node;
        node = nullptr;
        pthread_cond_broadcast(&g_cond);
    }
    pthread_mutex_unlock(&g_mu);
    if (node != nullptr) {
        free(node->data);
        free(node);
    }
}

void closeConnection(Connection *c) {
    if (c->wake_fd >= 0) close(c->wake_fd);
    close(c->fd);
    c->framer.release();
    free(c);
}

void *receive_loop(void *arg) {
    Connection *self = static_cast<Connection *>(arg);
    t_reading = self;
    pthread_setname_np(pthread_self(), "receive_thread");
    self->tid.store(static_cast<pid_t>(syscall(SYS_gettid)));
    char chunk[ReplyFramer::kBurstMax];
    BurstTracer tracer(self->framer, extended_errors, 5, appendReply);
    uint32_t seen_generation = g_send_generation.load();
    bool closed = false;
    while (!closed && !self->stop.load()) {
        struct pollfd fds[2] = {{self->wake_fd, POLLIN, 0}, {self->fd, POLLIN, 0}};
        // Idle: block until bytes or a stop arrive. In a burst: 1 ms of
        // silence ends it, timed by a high-resolution timer.
        const struct timespec silence = {0, 1000000};
        int rc = ppoll(fds, 2, tracer.inBurst() ? &silence : nullptr, nullptr);
        if (rc < 0 && errno == EINTR) continue;
        if (fds[0].revents) continue;  // stop was set
        if (rc == 0) {
            tracer.endBurst();
            tracer.writeTraces();
            continue;
        }
        ssize_t n = rc < 0 ? -1 : recv(self->fd, chunk, tracer.room(), MSG_DONTWAIT);
        if (n > 0) {
            uint32_t generation = g_send_generation.load();
            tracer.read(chunk, static_cast<size_t>(n), generation != seen_generation);
            seen_generation = generation;
        } else if (n == 0 || (errno != EAGAIN && errno != EWOULDBLOCK && errno != EINTR)) {
            closed = true;
        }
    }
    // A burst cut short ends here: the next connection never starts out
    // discarding the rest of an old burst.
    if (tracer.inBurst()) tracer.endBurst();
    bool current = false;
    if (closed) {
        // The call in flight ends at once; the next one retires this
        // connection and connects anew.
        pthread_mutex_lock(&g_mu);
        self->closed = true;
        current = g_link.conn == self && !self->stop.load();
        if (current) client_socket_fd.store(-1);
        pthread_cond_broadcast(&g_cond);
        pthread_mutex_unlock(&g_mu);
    }
    tracer.writeTraces();
    if (current) ZEL_LOG(LOG_ERR, "On connection drop, perform cleanup");
    int expected = kRunning;
    if (!self->state.compare_exchange_strong(expected, kFinished)) closeConnection(self);  // orphaned
    return nullptr;
}

// A connection over `fd` whose receive thread starts from the carried-over
// text. NULL when no memory; `reading` false when the thread did not start.
Connection *openConnection(int fd) {
    Connection *c = static_cast<Connection *>(calloc(1, sizeof(Connection)));
    if (c == nullptr) return nullptr;
    c->fd = fd;
    c->state.store(kRunning);
    c->wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    pthread_mutex_lock(&g_mu);
    c->framer = g_link.carry;
    g_link.carry = ReplyFramer();
    pthread_mutex_unlock(&g_mu);
    c->reading = c->wake_fd >= 0 && startDetached(receive_loop, c) == 0;
    if (!c->reading) {
        pthread_mutex_lock(&g_mu);
        g_link.carry = c->framer;
        c->framer = ReplyFramer();
        pthread_mutex_unlock(&g_mu);
    }
    return c;
}

// Stops the receive thread of a connection that nobody else can reach any
// more and frees it, keeping its carried-over text for the next one. A
// thread that has not ended by `deadline` is left to free it when it does.
void retire(Connection *c, MonoNs deadline) {
    if (c == nullptr) return;
    if (c->reading) {
        c->stop.store(true);
        uint64_t one = 1;
        if (write(c->wake_fd, &one, sizeof one) < 0) {
        }
        // The thread cannot wait for itself: it frees the connection as it ends.
        bool self = t_reading == c;
        while (!self && c->state.load() == kRunning && monoNow() < deadline) {
            struct timespec step = {0, 1000000};
            nanosleep(&step, nullptr);
        }
        int expected = kRunning;
        if (c->state.compare_exchange_strong(expected, kOrphaned)) return;
        // Finished: it touches the connection no more.
        pthread_mutex_lock(&g_mu);
        g_link.carry.release();
        g_link.carry = c->framer;
        c->framer = ReplyFramer();
        pthread_mutex_unlock(&g_mu);
    }
    closeConnection(c);
}

// g_mu held: takes the current connection away from the link.
Connection *detachConnection() {
    Connection *c = g_link.conn;
    g_link.conn = nullptr;
    client_socket_fd.store(-1);
    return c;
}

enum class Entry { Owner, NoLink, Timeout };

// Takes the transaction token before `deadline`.
Entry enter(MonoNs deadline) {
    pthread_mutex_lock(&g_mu);
    if (g_link.queue == nullptr || g_link.closing) {
        pthread_mutex_unlock(&g_mu);
        return Entry::NoLink;
    }
    ++g_link.users;
    while (g_link.busy && !g_link.closing && waitUntil(deadline)) {
    }
    Entry e = g_link.closing ? Entry::NoLink : g_link.busy ? Entry::Timeout : Entry::Owner;
    if (e == Entry::Owner) {
        g_link.busy = true;
    } else {
        --g_link.users;
        pthread_cond_broadcast(&g_cond);
    }
    pthread_mutex_unlock(&g_mu);
    return e;
}

// Gives the token back and leaves.
void leave() {
    pthread_mutex_lock(&g_mu);
    g_link.busy = false;
    --g_link.users;
    pthread_cond_broadcast(&g_cond);
    pthread_mutex_unlock(&g_mu);
}

// A connected socket before `deadline`, or -1 after the log line of its
// failure (`connect_failed` for a server that does not accept).
int connectServer(MonoNs deadline, const char *connect_failed, int line) {
    ConnectFailure why;
    uid_t uid = 0;
    int fd = connectUnix(g_platform.server_socket, deadline, &why, &uid, &g_closing);
    switch (why) {
        case ConnectFailure::None:
            break;
        case ConnectFailure::Socket:
            zelto_sdk_log(LOG_ERR, "%s:%d: Socket creation error", kTag, line);
            break;
        case ConnectFailure::Connect:
            zelto_sdk_log(LOG_ERR, "%s:%d: %s", kTag, line, connect_failed);
            break;
        case ConnectFailure::Peer:
            zelto_sdk_log(LOG_ERR, "%s:%d: Refused server at %s: it runs as uid %d, not root or uid %d", kTag,
                          line, g_platform.server_socket, static_cast<int>(uid), static_cast<int>(geteuid()));
            break;
    }
    return fd;
}

// Owner of the token, no connection: makes `fd` the connection, with its
// receive thread, unless the link is closing. NULL when it closed the
// descriptor instead.
Connection *publish(int fd) {
    Connection *c = openConnection(fd);
    if (c == nullptr) {
        close(fd);
        return nullptr;
    }
    pthread_mutex_lock(&g_mu);
    bool closing = g_link.closing;
    if (!closing) {
        g_link.conn = c;
        client_socket_fd.store(fd);
    }
    pthread_mutex_unlock(&g_mu);
    if (!closing) return c;
    retire(c, afterMs(kReceiverEndMs));
    return nullptr;
}

// Owner of the token: three attempts, no pause between them.
Connection *reconnect(MonoNs deadline) {
    for (int attempt = 0; attempt < 3; ++attempt) {
        int fd = connectServer(deadline, "Retry connect failed", __LINE__);
        if (fd < 0) continue;
        Connection *c = publish(fd);
        if (c == nullptr) return nullptr;
        zelto_sdk_log(LOG_INFO, "%s:%d: %d: Client socket reconnected\n", kTag, __LINE__, __LINE__);
        // The command still goes out; its wait ends by the deadline.
        if (!c->reading) ZEL_LOG(LOG_ERR, "failed to create receive_thread");
        return c;
    }
    return nullptr;
}

// Owner of the token: the connection to send on, after retiring one the
// server has closed and connecting anew when there is none.
Connection *usableConnection(MonoNs deadline) {
    pthread_mutex_lock(&g_mu);
    Connection *dead = g_link.conn && g_link.conn->closed ? detachConnection() : nullptr;
    Connection *c = g_link.conn;
    pthread_mutex_unlock(&g_mu);
    retire(dead, deadline);
    return c ? c : reconnect(deadline);
}

// Owner of the token: writes all bytes before `deadline`. A connection that
// takes nothing waits for room; linkClose's shutdown ends that wait.
bool sendAll(Connection *c, const char *data, size_t len, MonoNs deadline) {
    int failures = 0;
    while (len > 0) {
        ssize_t n = send(c->fd, data, len, MSG_NOSIGNAL | MSG_DONTWAIT);
        if (n > 0) {
            data += n;
            len -= static_cast<size_t>(n);
            continue;
        }
        if (n < 0 && (errno == EAGAIN || errno == EWOULDBLOCK)) {
            struct pollfd p = {c->fd, POLLOUT, 0};
            if (poll(&p, 1, msUntil(deadline)) == 0) return false;  // no room before the deadline
            continue;
        }
        if (n < 0 && errno == EINTR) continue;
        if (++failures == 3) return false;
        g_platform.sleep_us(100);
    }
    return true;
}

}  // namespace

response_queue *currentQueue() {
    pthread_mutex_lock(&g_mu);
    response_queue *q = g_link.queue;
    pthread_mutex_unlock(&g_mu);
    return q;
}

int queuedReplies() {
    pthread_mutex_lock(&g_mu);
    int n = 0;
    for (response_node *node = g_link.queue ? g_link.queue->head : nullptr; node; node = node->next) ++n;
    pthread_mutex_unlock(&g_mu);
    return n;
}

int32_t linkStart() {
    // A caller left inside by an earlier close must be gone first.
    MonoNs quiet = afterMs(kCallersLeaveMs);
    pthread_mutex_lock(&g_mu);
    while ((g_link.users > 0 || g_link.conn != nullptr) && waitUntil(quiet)) {
    }
    bool quiet_now = g_link.users == 0 && g_link.conn == nullptr;
    if (quiet_now) g_link.closing = false, g_closing.store(false);
    pthread_mutex_unlock(&g_mu);
    if (!quiet_now) {
        ZEL_LOG(LOG_ERR, "Connection Failed");
        return 5;
    }
    int fd = connectServer(afterMs(g_platform.reply_wait_ms(kConnectTimeoutSeconds)), "Connection Failed", __LINE__);
    if (fd < 0) return 5;
    Connection *c = publish(fd);
    if (c == nullptr) return 5;
    if (!c->reading) {
        ZEL_LOG(LOG_ERR, "failed to create receive_thread");
        linkClose();
        return 5;
    }
    return 0;
}

bool linkClose() {
    MonoNs deadline = afterMs(kCallersLeaveMs);
    pthread_mutex_lock(&g_mu);
    g_link.closing = true;
    g_closing.store(true);
    client_socket_fd.store(-1);
    // Wakes a send that waits for room; the receive thread sees the end too.
    if (g_link.conn) shutdown(g_link.conn->fd, SHUT_RDWR);
    pthread_cond_broadcast(&g_cond);
    while (g_link.users > 0 && waitUntil(deadline)) {
    }
    bool idle = g_link.users == 0;
    Connection *c = idle ? detachConnection() : nullptr;
    pthread_mutex_unlock(&g_mu);
    retire(c, afterMs(kReceiverEndMs));
    return idle;
}

bool receiverRunning() {
    pthread_mutex_lock(&g_mu);
    bool running = g_link.conn && g_link.conn->reading && g_link.conn->state.load() == kRunning;
    pthread_mutex_unlock(&g_mu);
    return running;
}

pid_t receiverThreadId() {
    pthread_mutex_lock(&g_mu);
    pid_t tid = g_link.conn && g_link.conn->reading ? g_link.conn->tid.load() : 0;
    pthread_mutex_unlock(&g_mu);
    return tid;
}

void resetFraming() {
    pthread_mutex_lock(&g_mu);
    g_link.carry.release();
    pthread_mutex_unlock(&g_mu);
}

}  // namespace zel

using namespace zel;

extern "C" {

response_queue *create_queue(void) {
    response_queue *q = static_cast<response_queue *>(calloc(1, sizeof(response_queue)));
    if (q == nullptr) return nullptr;
    pthread_mutex_init(&q->mutex, nullptr);
    pthread_cond_init(&q->cond, nullptr);
    pthread_mutex_lock(&g_mu);
    g_link.queue = q;
    pthread_mutex_unlock(&g_mu);
    return q;
}

void destroy_queue(response_queue *queue) {
    if (queue == nullptr) return;
    pthread_mutex_lock(&g_mu);
    if (g_link.queue == queue) g_link.queue = nullptr;
    freeNodes(queue);
    pthread_mutex_unlock(&g_mu);
    pthread_mutex_destroy(&queue->mutex);
    pthread_cond_destroy(&queue->cond);
    free(queue);
}

int32_t zelto_at_client_recv(int32_t fd, void *out) {
    if (fd < 0) {
        ZEL_LOG(LOG_ERR, "Client socket is not initialized\n");
        return -1;
    }
    if (out == nullptr) return -1;
    struct timeval tv = {0, 1000};
    setsockopt(fd, SOL_SOCKET, SO_RCVTIMEO, &tv, sizeof tv);
    char buf[ReplyFramer::kBurstMax];
    size_t fill = 0;
    while (fill < sizeof buf) {
        ssize_t n = recv(fd, buf + fill, sizeof buf - fill, 0);
        if (n <= 0) break;
        fill += static_cast<size_t>(n);
    }
    memcpy(out, buf, fill);
    return static_cast<int32_t>(fill);
}

zelString *sdkSendATcmdViaSocket(const char *command, int32_t length, int32_t timeout_seconds) {
    if (command == nullptr || length <= 0) return nullptr;
    // The whole call, the wait for another caller's command included.
    const MonoNs deadline = afterMs(g_platform.reply_wait_ms(timeout_seconds));
    switch (enter(deadline)) {
        case Entry::Owner:
            break;
        case Entry::NoLink:
            return nullptr;
        case Entry::Timeout:
            ZEL_LOG(LOG_WARNING, "rc == ETIMEDOUT\n\n");
            ZEL_LOG(LOG_ERR, "data == NULL\n\n");
            return nullptr;
    }

    Connection *c = usableConnection(deadline);
    if (c == nullptr) {
        leave();
        zelto_sdk_log(LOG_ERR, "%s:%d: %d: Client socket unable to reconnect \n", kTag, __LINE__,
                      client_socket_fd.load());
        return nullptr;
    }
    pthread_mutex_lock(&g_mu);
    if (g_link.queue) freeNodes(g_link.queue);  // replies of earlier, timed-out commands
    pthread_mutex_unlock(&g_mu);
    g_send_generation.fetch_add(1);
    if (!sendAll(c, command, static_cast<size_t>(length), deadline)) {
        ZEL_LOG(LOG_ERR, "failed to send");
        ZEL_LOG(LOG_ERR, "On connection drop, perform cleanup");
        pthread_mutex_lock(&g_mu);
        Connection *dropped = g_link.conn == c ? detachConnection() : nullptr;
        pthread_mutex_unlock(&g_mu);
        retire(dropped, afterMs(kReceiverEndMs));
        leave();
        return nullptr;
    }

    pthread_mutex_lock(&g_mu);
    response_queue *q = g_link.queue;
    while (q && q->head == nullptr && !c->closed && !g_link.closing && waitUntil(deadline)) {
    }
    response_node *node = q ? q->head : nullptr;
    if (node != nullptr) {
        q->head = node->next;
        if (q->head == nullptr) q->tail = nullptr;
    }
    bool closed = c->closed || g_link.closing;
    pthread_mutex_unlock(&g_mu);
    leave();

    if (node == nullptr) {
        if (closed) {
            ZEL_LOG(LOG_ERR, "Server closed the connection\n");
        } else {
            ZEL_LOG(LOG_WARNING, "rc == ETIMEDOUT\n\n");
            ZEL_LOG(LOG_ERR, "data == NULL\n\n");
        }
        return nullptr;
    }
    // The node's buffer becomes the record's: one copy fewer.
    zelString *reply = static_cast<zelString *>(malloc(sizeof(zelString)));
    if (reply == nullptr) {
        free(node->data);
        free(node);
        return nullptr;
    }
    reply->data = node->data;
    reply->len = node->len;
    free(node);
    return reply;
}

}  // extern "C"

// Server link: connection and reconnection, the receive thread that cuts the
// byte stream into replies, the reply queue and the one transaction call.
#include "link.h"

#include <errno.h>
#include <poll.h>
#include <sched.h>
#include <signal.h>
#include <stdlib.h>
#include <string.h>
#include <sys/eventfd.h>
#include <sys/socket.h>
#include <sys/syscall.h>
#include <sys/time.h>
#include <sys/un.h>
#include <syslog.h>
#include <time.h>
#include <unistd.h>

#include "framer.h"
#include "listener.h"
#include "log.h"
#include "platform.h"

namespace {
const char kTag[] = "core";
}

extern "C" {
char *extended_errors[5] = {
    const_cast<char *>("CME ERROR"), const_cast<char *>("CMS ERROR"), const_cast<char *>("PDP ERROR"),
    const_cast<char *>("CERROR"),    const_cast<char *>("CONNECT ERROR"),
};
zelString *(*sdkSendATcmd)(const char *command, int32_t length, int32_t timeout_seconds) = nullptr;
}

namespace zel {

std::atomic<int32_t> client_socket_fd{-1};
std::atomic<uint8_t> connection_active{0};
// Error-checking: a signal handler that interrupted its holder is told so
// instead of locking it again.
pthread_mutex_t connection_lock = PTHREAD_ERRORCHECK_MUTEX_INITIALIZER_NP;
pthread_mutex_t transaction_lock = PTHREAD_MUTEX_INITIALIZER;

namespace {

// One receive thread and what it needs to be stopped.
struct Receiver {
    pthread_t thread;
    int fd;       // the connection it reads, fixed for its life
    int wake_fd;  // eventfd: written to stop the thread
    uint32_t serial;  // of its connection
    std::atomic<bool> stop;
    std::atomic<bool> finished;  // set as its body returns
    std::atomic<pid_t> tid;
};

std::atomic<response_queue *> g_queue{nullptr};
// The open connection and its receiver, guarded by connection_lock. They
// outlive a drop until retired, so that a descriptor is closed only once no
// transaction can still use it and one receiver is joined before the next.
int g_conn_fd = -1;
Receiver *g_receiver = nullptr;
// Held while a transaction picks the descriptor and sends on it, while the
// receive thread or a failed send takes the connection away, and while a new
// one is published: then nobody still sends on a descriptor that the drop is
// about to close. Taken with nothing else held but transaction_lock or
// connection_lock.
pthread_mutex_t send_lock = PTHREAD_MUTEX_INITIALIZER;
// Counts connections, so that a late drop finds its own even when a new
// connection got the same descriptor number. Written with connection_lock and
// send_lock both held, read with either.
uint32_t g_conn_serial = 0;
// Kernel thread id of the running receive thread, 0 when none runs.
std::atomic<pid_t> g_receive_tid{0};
// How long a signal handler's zelExit waits for the link before leaving it to
// the end of the process.
constexpr int64_t kSignalExitWaitMs = 1000;
// Counts commands sent; the receive thread stops discarding when it moves.
std::atomic<uint32_t> g_send_generation{0};
// Carried-over text; used by one receive thread at a time.
ReplyFramer g_framer;

void appendReply(const Cut &cut) {
    if (cut.data == nullptr) {
        ZEL_LOG(LOG_ERR, "failed to allocate mem for data");
        return;
    }
    response_queue *q = g_queue.load();
    response_node *node = static_cast<response_node *>(malloc(sizeof(response_node)));
    if (q == nullptr || node == nullptr) {
        if (node == nullptr) ZEL_LOG(LOG_ERR, "failed to allocate mem for new node");
        free(node);
        free(cut.data);
        return;
    }
    node->data = cut.data;
    node->len = cut.len;
    node->next = nullptr;
    pthread_mutex_lock(&q->mutex);
    if (q->tail) q->tail->next = node; else q->head = node;
    q->tail = node;
    pthread_cond_signal(&q->cond);
    pthread_mutex_unlock(&q->mutex);
}

void retireConnection(const struct timespec *deadline = nullptr);

// Handles the drop of connection `arg` (its serial) as after a failed send,
// unless a reconnection or linkClose has retired it already.
void *dropClosedConnection(void *arg) {
    pthread_setname_np(pthread_self(), "link_drop");
    pthread_mutex_lock(&connection_lock);
    if (g_conn_serial == static_cast<uint32_t>(reinterpret_cast<uintptr_t>(arg)) && g_conn_fd >= 0) {
        ZEL_LOG(LOG_ERR, "On connection drop, perform cleanup");
        connection_active.store(0);
        retireConnection();
    }
    pthread_mutex_unlock(&connection_lock);
    return nullptr;
}

// The server closed the connection (end of stream or a receive error): later
// commands find -1 and fail, the one in flight is woken. Then a short-lived
// thread handles the drop, since this one cannot join itself.
void serverClosed(Receiver *self) {
    pthread_mutex_lock(&send_lock);
    bool ours = g_conn_serial == self->serial && client_socket_fd.load() > 0;
    if (ours) client_socket_fd.store(-1);
    pthread_mutex_unlock(&send_lock);
    if (!ours) return;  // a drop or linkClose is retiring it already
    if (response_queue *q = g_queue.load()) {
        pthread_mutex_lock(&q->mutex);
        q->server_closed = true;
        pthread_cond_signal(&q->cond);
        pthread_mutex_unlock(&q->mutex);
    }
    // Failing that, the next command's reconnection retires the connection.
    startDetached(dropClosedConnection, reinterpret_cast<void *>(uintptr_t{self->serial}));
}

void *receive_loop(void *arg) {
    Receiver *self = static_cast<Receiver *>(arg);
    pthread_setname_np(pthread_self(), "receive_thread");
    pid_t tid = static_cast<pid_t>(syscall(SYS_gettid));
    self->tid.store(tid);
    g_receive_tid.store(tid);
    char chunk[ReplyFramer::kBurstMax];
    BurstTracer tracer(g_framer, extended_errors, 5, appendReply);
    uint32_t seen_generation = g_send_generation.load();
    bool closed = false;
    while (!closed && connection_active.load() && !self->stop.load()) {
        struct pollfd fds[2] = {{self->wake_fd, POLLIN, 0}, {self->fd, POLLIN, 0}};
        // Idle: block until bytes or a stop arrive. In a burst: 1 ms of
        // silence ends it, timed by a high-resolution timer.
        const struct timespec silence = {0, 1000000};
        int rc = ppoll(fds, 2, tracer.inBurst() ? &silence : nullptr, nullptr);
        if (rc < 0 && errno == EINTR) continue;
        if (fds[0].revents) {
            uint64_t ignored;
            if (read(self->wake_fd, &ignored, sizeof ignored) < 0) {
            }
            continue;
        }
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
    if (closed) serverClosed(self);
    tracer.writeTraces();
    g_receive_tid.compare_exchange_strong(tid, 0);
    self->finished.store(true);
    return nullptr;
}

Receiver *startReceiver(int fd) {
    Receiver *r = static_cast<Receiver *>(calloc(1, sizeof(Receiver)));
    if (r == nullptr) return nullptr;
    r->fd = fd;
    r->serial = g_conn_serial;
    r->stop.store(false);
    r->finished.store(false);
    r->tid.store(0);
    r->wake_fd = eventfd(0, EFD_CLOEXEC | EFD_NONBLOCK);
    if (r->wake_fd < 0) {
        free(r);
        return nullptr;
    }
    if (pthread_create(&r->thread, nullptr, receive_loop, r) != 0) {
        close(r->wake_fd);
        free(r);
        return nullptr;
    }
    return r;
}

// Polls `done` every millisecond until it holds or `deadline` passes.
template <typename Done>
bool pollUntil(Done done, const struct timespec &deadline) {
    const struct timespec step = {0, 1000000};
    for (;;) {
        if (done()) return true;
        struct timespec now;
        clock_gettime(CLOCK_MONOTONIC, &now);
        if (now.tv_sec > deadline.tv_sec || (now.tv_sec == deadline.tv_sec && now.tv_nsec >= deadline.tv_nsec))
            return false;
        nanosleep(&step, nullptr);
    }
}

// `deadline`: when the receiver has not finished by then, it is left running
// (the process is about to end) and its record kept.
void stopReceiver(Receiver *r, const struct timespec *deadline) {
    if (r == nullptr) return;
    r->stop.store(true);
    uint64_t one = 1;
    if (write(r->wake_fd, &one, sizeof one) < 0) {
    }
    // A signal handler running on the receive thread cannot join itself.
    if (pthread_equal(pthread_self(), r->thread)) {
        pthread_detach(r->thread);
        return;  // the thread ends when the handler returns; its record stays
    }
    if (deadline != nullptr && !pollUntil([r] { return r->finished.load(); }, *deadline)) return;
    pthread_join(r->thread, nullptr);
    close(r->wake_fd);
    free(r);
}

// Under connection_lock: stops the receiver and closes the connection.
void retireConnection(const struct timespec *deadline) {
    stopReceiver(g_receiver, deadline);
    g_receiver = nullptr;
    if (g_conn_fd >= 0) close(g_conn_fd);
    g_conn_fd = -1;
}

// A new Unix stream socket connected to the server, or -1 with `*created`
// telling whether the socket itself could be made.
int connectServer(bool *created) {
    *created = false;
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) return -1;
    *created = true;
    if (connectUnix(fd, g_platform.server_socket)) return fd;
    close(fd);
    return -1;
}

// Under connection_lock: makes `fd` the connection, a new one.
void publishConnection(int fd) {
    g_conn_fd = fd;
    pthread_mutex_lock(&send_lock);
    ++g_conn_serial;
    client_socket_fd.store(fd);
    pthread_mutex_unlock(&send_lock);
}

// Under connection_lock: three attempts, no pause between them.
bool reconnect() {
    retireConnection();
    for (int attempt = 0; attempt < 3; ++attempt) {
        bool created;
        int fd = connectServer(&created);
        if (fd < 0) {
            if (!created) ZEL_LOG(LOG_ERR, "Socket creation error");
            else ZEL_LOG(LOG_ERR, "Retry connect failed");
            continue;
        }
        publishConnection(fd);
        zelto_sdk_log(LOG_INFO, "%s:%d: %d: Client socket reconnected\n", kTag, __LINE__, __LINE__);
        connection_active.store(1);
        g_receiver = startReceiver(fd);
        if (g_receiver == nullptr) ZEL_LOG(LOG_ERR, "failed to create receive_thread");
        return true;
    }
    return false;
}

// Called with transaction_lock held after a failed send on connection
// `serial`; releases it. A descriptor number can already belong to a newer
// connection, so the connection is known by its serial.
void dropConnection(uint32_t serial) {
    ZEL_LOG(LOG_ERR, "failed to send");
    // From here on no transaction uses the connection: the next one reconnects.
    pthread_mutex_lock(&send_lock);
    if (g_conn_serial == serial) client_socket_fd.store(-1);
    pthread_mutex_unlock(&send_lock);
    pthread_mutex_unlock(&transaction_lock);
    ZEL_LOG(LOG_ERR, "On connection drop, perform cleanup");
    pthread_mutex_lock(&connection_lock);
    if (g_conn_serial == serial && g_conn_fd >= 0) {
        connection_active.store(0);
        retireConnection();
    }
    pthread_mutex_unlock(&connection_lock);
}

// Frees every queued reply; the caller holds the queue mutex or owns the queue.
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

// Drops replies of earlier, timed-out commands and an earlier closed mark.
void flushQueue(response_queue *q) {
    pthread_mutex_lock(&q->mutex);
    freeNodes(q);
    q->server_closed = false;
    pthread_mutex_unlock(&q->mutex);
}

struct timespec deadlineAfterMs(int64_t ms) {
    struct timespec ts;
    clock_gettime(CLOCK_MONOTONIC, &ts);
    ts.tv_sec += static_cast<time_t>(ms / 1000);
    ts.tv_nsec += static_cast<long>((ms % 1000) * 1000000);
    if (ts.tv_nsec >= 1000000000L) {
        ts.tv_sec += 1;
        ts.tv_nsec -= 1000000000L;
    }
    return ts;
}

// Takes connection_lock in a signal handler without waiting long: the thread
// it interrupted may hold it (the error-checking lock says so at once), a
// holder may be joining the receive thread it runs on, or wait for something
// the interrupted thread holds. 0 when taken.
int lockInSignalHandler(const struct timespec &deadline) {
    static const struct timespec kPast = {0, 0};  // tries once, never sleeps
    bool on_receiver = g_receive_tid.load() == static_cast<pid_t>(syscall(SYS_gettid));
    int rc = ETIMEDOUT;
    pollUntil([&rc] { return (rc = pthread_mutex_timedlock(&connection_lock, &kPast)) != ETIMEDOUT; },
              on_receiver ? deadlineAfterMs(0) : deadline);
    return rc;
}

}  // namespace

response_queue *currentQueue() { return g_queue.load(); }

int32_t linkStart() {
    int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    if (fd < 0) {
        ZEL_LOG(LOG_ERR, "Socket creation error");
        return 5;
    }
    pthread_mutex_lock(&connection_lock);
    retireConnection();
    publishConnection(fd);
    pthread_mutex_unlock(&connection_lock);
    if (!connectUnix(fd, g_platform.server_socket)) {
        ZEL_LOG(LOG_ERR, "Connection Failed");
        return 5;
    }
    pthread_mutex_lock(&connection_lock);
    connection_active.store(1);
    g_receiver = startReceiver(fd);
    bool started = g_receiver != nullptr;
    pthread_mutex_unlock(&connection_lock);
    if (!started) {
        ZEL_LOG(LOG_ERR, "failed to create receive_thread");
        return 5;
    }
    return 0;
}

void linkClose(bool in_signal_handler) {
    struct timespec deadline = deadlineAfterMs(kSignalExitWaitMs);
    if ((in_signal_handler ? lockInSignalHandler(deadline) : pthread_mutex_lock(&connection_lock)) != 0) return;
    connection_active.store(0);
    client_socket_fd.store(-1);
    retireConnection(in_signal_handler ? &deadline : nullptr);
    pthread_mutex_unlock(&connection_lock);
}

bool receiverRunning() {
    pthread_mutex_lock(&connection_lock);
    bool running = g_receiver != nullptr;
    pthread_mutex_unlock(&connection_lock);
    return running;
}

pid_t receiverThreadId() {
    pthread_mutex_lock(&connection_lock);
    pid_t tid = g_receiver ? g_receiver->tid.load() : 0;
    pthread_mutex_unlock(&connection_lock);
    return tid;
}

void resetFraming() { g_framer.release(); }

}  // namespace zel

using namespace zel;

extern "C" {

response_queue *create_queue(void) {
    response_queue *q = static_cast<response_queue *>(calloc(1, sizeof(response_queue)));
    if (q == nullptr) return nullptr;
    pthread_mutex_init(&q->mutex, nullptr);
    // Deadlines are kept on the monotonic clock: setting the modem clock must
    // not stretch or cut a wait.
    pthread_condattr_t attr;
    pthread_condattr_init(&attr);
    pthread_condattr_setclock(&attr, CLOCK_MONOTONIC);
    pthread_cond_init(&q->cond, &attr);
    pthread_condattr_destroy(&attr);
    g_queue.store(q);
    return q;
}

void destroy_queue(response_queue *queue) {
    if (queue == nullptr) return;
    response_queue *expected = queue;
    g_queue.compare_exchange_strong(expected, nullptr);
    freeNodes(queue);
    pthread_mutex_destroy(&queue->mutex);
    pthread_cond_destroy(&queue->cond);
    free(queue);
}

int32_t zelto_at_client_recv(int32_t fd, void *out) {
    if (fd <= 0) {
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
    response_queue *q = g_queue.load();
    if (command == nullptr || length <= 0 || q == nullptr) return nullptr;

    pthread_mutex_lock(&connection_lock);
    if (client_socket_fd.load() <= 0 && !reconnect()) {
        pthread_mutex_unlock(&connection_lock);
        zelto_sdk_log(LOG_ERR, "%s:%d: %d: Client socket unable to reconnect \n", kTag, __LINE__,
                      client_socket_fd.load());
        return nullptr;
    }
    pthread_mutex_unlock(&connection_lock);

    pthread_mutex_lock(&transaction_lock);
    flushQueue(q);
    pthread_mutex_lock(&send_lock);
    int fd = client_socket_fd.load();
    uint32_t serial = g_conn_serial;
    ssize_t sent = -1;
    if (fd > 0) {
        g_send_generation.fetch_add(1);
        for (int attempt = 0; attempt < 3; ++attempt) {
            sent = send(fd, command, static_cast<size_t>(length), MSG_NOSIGNAL);
            if (sent > 0) break;
            g_platform.sleep_us(100);
        }
    }
    pthread_mutex_unlock(&send_lock);
    if (fd <= 0) {  // the server closed the connection since the check above
        pthread_mutex_unlock(&transaction_lock);
        ZEL_LOG(LOG_ERR, "Server closed the connection\n");
        return nullptr;
    }
    if (sent < 0) {
        dropConnection(serial);
        return nullptr;
    }

    struct timespec deadline = deadlineAfterMs(g_platform.reply_wait_ms(timeout_seconds));
    pthread_mutex_lock(&q->mutex);
    while (q->head == nullptr && !q->server_closed) {
        if (pthread_cond_timedwait(&q->cond, &q->mutex, &deadline) == ETIMEDOUT && q->head == nullptr &&
            !q->server_closed) {
            ZEL_LOG(LOG_WARNING, "rc == ETIMEDOUT\n\n");
            pthread_mutex_unlock(&q->mutex);
            ZEL_LOG(LOG_ERR, "data == NULL\n\n");
            pthread_mutex_unlock(&transaction_lock);
            return nullptr;
        }
    }
    if (q->head == nullptr) {  // a reply that came before the close is still taken
        pthread_mutex_unlock(&q->mutex);
        pthread_mutex_unlock(&transaction_lock);
        ZEL_LOG(LOG_ERR, "Server closed the connection\n");
        return nullptr;
    }
    response_node *node = q->head;
    q->head = node->next;
    if (q->head == nullptr) q->tail = nullptr;
    pthread_mutex_unlock(&q->mutex);
    pthread_mutex_unlock(&transaction_lock);

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

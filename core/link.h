// The command link to the SDK server: connection, receive thread, reply queue.
#ifndef ZEL_CORE_LINK_H
#define ZEL_CORE_LINK_H

#include <pthread.h>
#include <stdint.h>
#include <atomic>

#include "zelto_sdk.h"

struct response_node {
    char *data;  // len bytes and a zero byte
    int32_t len;
    response_node *next;
};

// The reply queue's record as create_queue makes it. The link guards its
// nodes with its own lock, so that no waiting caller depends on the queue's
// mutex outliving it; the mutex and condition variable are made and
// destroyed with the record.
struct response_queue {
    response_node *head;
    response_node *tail;
    pthread_mutex_t mutex;
    pthread_cond_t cond;
};

namespace zel {

// The descriptor of the current connection, -1 when there is none (or the
// server closed it). Descriptor 0 is a descriptor like any other.
extern std::atomic<int32_t> client_socket_fd;

// Seconds zelInit gives the server to accept its connection.
constexpr int32_t kConnectTimeoutSeconds = 15;

// The reply queue made by create_queue, NULL when there is none.
response_queue *currentQueue();
// Replies waiting in the queue (tests watch it).
int queuedReplies();

// Connects the link (socket, connect, receive thread): 0, or 5 after logging
// the failing step.
int32_t linkStart();

// Ends every wait of the calls in flight (they return NULL), lets them leave
// (1.5 s at most), stops the receive thread and closes the connection. Calls
// that start afterwards fail at once until linkStart. Returns false when a
// caller is still inside: then nothing is freed, and the queue must not be.
bool linkClose();

// True while a receive thread runs (tests wait on it).
bool receiverRunning();

// Kernel thread id of the running receive thread, or 0 (tests watch it).
pid_t receiverThreadId();

// Forgets text carried over from earlier bursts (tests start clean).
void resetFraming();

}  // namespace zel

#endif

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

struct response_queue {
    response_node *head;
    response_node *tail;
    pthread_mutex_t mutex;
    pthread_cond_t cond;  // signalled once per appended node, and when the server closes
    // Set when the receive thread saw the server close the connection the
    // command in flight went out on; cleared by the next transaction's flush.
    bool server_closed;
};

namespace zel {

// Process-wide link state. A descriptor of 0 or below means no connection.
extern std::atomic<int32_t> client_socket_fd;
extern std::atomic<uint8_t> connection_active;
extern pthread_mutex_t connection_lock;
extern pthread_mutex_t transaction_lock;

// The reply queue made by create_queue, NULL when there is none.
response_queue *currentQueue();

// Connects the link (socket, connect, receive thread): 0, or 5 after logging
// the failing step. On a failed connect the unconnected socket stays recorded
// until linkClose.
int32_t linkStart();

// Stops and joins the receive thread and closes the connection.
// `in_signal_handler`: never waits long, since the link's lock or receive
// thread may wait on the interrupted thread; what cannot be closed in time is
// left to the end of the process.
void linkClose(bool in_signal_handler = false);

// True while a receive thread runs (tests wait on it).
bool receiverRunning();

// Kernel thread id of the running receive thread, or 0 (tests watch it).
pid_t receiverThreadId();

// Forgets text carried over from earlier bursts (tests start clean).
void resetFraming();

}  // namespace zel

#endif

// An in-process stand-in for the SDK server's command socket: it records the
// exact bytes of every command and answers from a script, in chunks with
// chosen delays. It can go silent, drop the client, or stop and restart.
#ifndef ZEL_TESTS_FAKE_SERVER_H
#define ZEL_TESTS_FAKE_SERVER_H

#include <sys/types.h>

#include <atomic>
#include <chrono>
#include <deque>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "test_util.h"

namespace zeltest {

struct Chunk {
    int delay_ms;  // pause before these bytes are written
    std::string bytes;
};
using Reply = std::vector<Chunk>;

class FakeServer {
public:
    // Answers a command; the default answers from the queued replies.
    using Handler = std::function<Reply(const std::string &command)>;

    explicit FakeServer(std::string path);
    ~FakeServer();

    void start();
    void stop();  // closes the listener and every client
    const std::string &path() const { return path_; }

    // Queues the answer to the next command (one reply per command); a
    // command with none queued is answered by the handler, if any, or not at all.
    void reply(const std::string &text) { replyChunks({{0, text}}); }
    void replyChunks(Reply chunks);
    void setHandler(Handler h);

    // Writes bytes to the connected client now.
    void push(const std::string &bytes);
    // Closes the current client connection(s).
    void dropClients();
    // Faults: stops accepting and fills the listener's backlog with idle
    // connections of its own, so that no connect finds room; stops reading
    // what clients send, so that their sends find no room once the buffers
    // are full.
    void fillBacklog();
    void stopReading();

    std::vector<std::string> commands();  // each command, up to its "\r\n"
    std::string received();               // all bytes ever received
    int connections();                    // connections accepted
    void clearRecord();

    bool waitForCommands(size_t n, int timeout_ms = 5000);
    bool waitForConnections(int n, int timeout_ms = 5000);

private:
    void run();
    void handleBytes(int fd, const char *p, size_t n);
    void writeReply(int fd, const Reply &r);

    std::string path_;
    int listen_fd_ = -1;
    int wake_[2] = {-1, -1};
    std::thread thread_;
    std::mutex mu_;
    std::vector<int> clients_;
    std::deque<Reply> queued_;
    Handler handler_;
    std::string pending_;  // bytes of a command without its "\r\n" yet
    std::vector<std::string> commands_;
    std::string received_;
    int connections_ = 0;
    std::vector<int> backlog_;  // our own connections that fill the backlog
    std::atomic<bool> running_{false}, accepting_{true}, reading_{true};
};

// Voluntary context switches of thread `tid` of this process so far, or -1.
long voluntarySwitches(pid_t tid);

// A unique path for a test socket in a temporary directory.
std::string tempPath(const std::string &name);

}  // namespace zeltest

#endif

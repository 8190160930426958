#include "fake_server.h"

#include <fcntl.h>
#include <ftw.h>
#include <poll.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>

namespace zeltest {

long voluntarySwitches(pid_t tid) {
    if (tid <= 0) return -1;
    FILE *f = fopen(("/proc/self/task/" + std::to_string(tid) + "/status").c_str(), "r");
    if (f == nullptr) return -1;
    char line[256];
    long value = -1;
    while (fgets(line, sizeof line, f) && sscanf(line, "voluntary_ctxt_switches: %ld", &value) != 1) {
    }
    fclose(f);
    return value;
}

namespace {
char g_temp_dir[] = "/tmp/zeltest-XXXXXX";
pid_t g_temp_owner = 0;

// At exit of the process that made it (never of a forked child), the
// directory goes with whatever the tests left in it.
void removeTempDir() {
    if (getpid() != g_temp_owner) return;
    nftw(g_temp_dir, [](const char *path, const struct stat *, int, struct FTW *) { return remove(path); }, 16,
         FTW_DEPTH | FTW_PHYS);
}
}  // namespace

std::string tempPath(const std::string &name) {
    static std::string dir = [] {
        if (mkdtemp(g_temp_dir) == nullptr) return std::string("/tmp");
        g_temp_owner = getpid();
        atexit(removeTempDir);
        return std::string(g_temp_dir);
    }();
    static std::atomic<int> counter{0};
    return dir + "/" + name + "-" + std::to_string(getpid()) + "-" + std::to_string(counter++);
}

FakeServer::FakeServer(std::string path) : path_(std::move(path)) { start(); }

FakeServer::~FakeServer() { stop(); }

void FakeServer::start() {
    if (running_) return;
    unlink(path_.c_str());
    listen_fd_ = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    strncpy(addr.sun_path, path_.c_str(), sizeof addr.sun_path - 1);
    if (bind(listen_fd_, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0 || listen(listen_fd_, 8) != 0) {
        abort();
    }
    if (pipe2(wake_, O_CLOEXEC) != 0) abort();
    running_ = true;
    thread_ = std::thread([this] { run(); });
}

void FakeServer::stop() {
    if (!running_) return;
    running_ = false;
    if (write(wake_[1], "x", 1) < 0) {
    }
    thread_.join();
    std::lock_guard<std::mutex> lock(mu_);
    for (int fd : clients_) close(fd);
    for (int fd : backlog_) close(fd);
    clients_.clear();
    backlog_.clear();
    accepting_ = reading_ = true;
    close(listen_fd_);
    close(wake_[0]);
    close(wake_[1]);
    listen_fd_ = -1;
    pending_.clear();
    unlink(path_.c_str());
}

void FakeServer::replyChunks(Reply chunks) {
    std::lock_guard<std::mutex> lock(mu_);
    queued_.push_back(std::move(chunks));
}

void FakeServer::setHandler(Handler h) {
    std::lock_guard<std::mutex> lock(mu_);
    handler_ = std::move(h);
}

void FakeServer::push(const std::string &bytes) {
    std::lock_guard<std::mutex> lock(mu_);
    for (int fd : clients_) {
        if (send(fd, bytes.data(), bytes.size(), MSG_NOSIGNAL) < 0) {
        }
    }
}

void FakeServer::dropClients() {
    std::lock_guard<std::mutex> lock(mu_);
    for (int fd : clients_) shutdown(fd, SHUT_RDWR);
}

void FakeServer::fillBacklog() {
    accepting_ = false;
    if (write(wake_[1], "w", 1) < 0) {
    }
    struct sockaddr_un addr;
    memset(&addr, 0, sizeof addr);
    addr.sun_family = AF_UNIX;
    strncpy(addr.sun_path, path_.c_str(), sizeof addr.sun_path - 1);
    for (int i = 0; i < 64; ++i) {
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        if (connect(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) != 0) {
            close(fd);
            break;
        }
        std::lock_guard<std::mutex> lock(mu_);
        backlog_.push_back(fd);
    }
}

void FakeServer::stopReading() {
    reading_ = false;
    if (write(wake_[1], "w", 1) < 0) {
    }
}

std::vector<std::string> FakeServer::commands() {
    std::lock_guard<std::mutex> lock(mu_);
    return commands_;
}

std::string FakeServer::received() {
    std::lock_guard<std::mutex> lock(mu_);
    return received_;
}

int FakeServer::connections() {
    std::lock_guard<std::mutex> lock(mu_);
    return connections_;
}

void FakeServer::clearRecord() {
    std::lock_guard<std::mutex> lock(mu_);
    commands_.clear();
    received_.clear();
}

bool FakeServer::waitForCommands(size_t n, int timeout_ms) {
    return waitUntil([&] { return commands().size() >= n; }, timeout_ms);
}

bool FakeServer::waitForConnections(int n, int timeout_ms) {
    return waitUntil([&] { return connections() >= n; }, timeout_ms);
}

void FakeServer::writeReply(int fd, const Reply &r) {
    for (const Chunk &c : r) {
        if (c.delay_ms > 0) std::this_thread::sleep_for(std::chrono::milliseconds(c.delay_ms));
        if (c.bytes.empty()) continue;
        if (send(fd, c.bytes.data(), c.bytes.size(), MSG_NOSIGNAL) < 0) return;
    }
}

void FakeServer::handleBytes(int fd, const char *p, size_t n) {
    std::vector<Reply> answers;
    {
        std::lock_guard<std::mutex> lock(mu_);
        received_.append(p, n);
        pending_.append(p, n);
        size_t at;
        while ((at = pending_.find("\r\n")) != std::string::npos) {
            std::string cmd = pending_.substr(0, at + 2);
            pending_.erase(0, at + 2);
            commands_.push_back(cmd);
            if (!queued_.empty()) {
                answers.push_back(std::move(queued_.front()));
                queued_.pop_front();
            } else if (handler_) {
                answers.push_back(handler_(cmd));
            }
        }
    }
    for (const Reply &r : answers) writeReply(fd, r);
}

void FakeServer::run() {
    char buf[65536];
    while (running_) {
        std::vector<pollfd> fds;
        fds.push_back({wake_[0], POLLIN, 0});
        fds.push_back({listen_fd_, short(accepting_ ? POLLIN : 0), 0});
        if (reading_) {
            std::lock_guard<std::mutex> lock(mu_);
            for (int fd : clients_) fds.push_back({fd, POLLIN, 0});
        }
        if (poll(fds.data(), fds.size(), -1) < 0) continue;
        if (fds[0].revents) {
            char c;
            if (read(wake_[0], &c, 1) == 1 && c == 'w') continue;  // a fault changed what to watch
            break;
        }
        if (fds[1].revents & POLLIN) {
            int fd = accept4(listen_fd_, nullptr, nullptr, SOCK_CLOEXEC);
            if (fd >= 0) {
                std::lock_guard<std::mutex> lock(mu_);
                clients_.push_back(fd);
                ++connections_;
            }
        }
        for (size_t i = 2; i < fds.size(); ++i) {
            if (!fds[i].revents) continue;
            ssize_t n = recv(fds[i].fd, buf, sizeof buf, 0);
            if (n > 0) {
                handleBytes(fds[i].fd, buf, static_cast<size_t>(n));
            } else {
                std::lock_guard<std::mutex> lock(mu_);
                close(fds[i].fd);
                clients_.erase(std::remove(clients_.begin(), clients_.end(), fds[i].fd), clients_.end());
            }
        }
    }
}

}  // namespace zeltest

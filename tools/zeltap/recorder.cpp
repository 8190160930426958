#include "recorder.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <map>
#include <memory>

#include "port_tap.h"
#include "redact.h"
#include "unix_socket.h"

namespace zeltap {

namespace {

namespace wire = zel::wire;

enum Kind { kCommand, kIp, kNotify, kKinds };
const char *const kKindName[kKinds] = {"command", "ip", "notify"};

constexpr size_t kPendingMax = 8 << 20;  // a side that reads nothing ends its connection past this
constexpr Ms kConnectTimeoutMs = 1000;   // to the server, per connection
constexpr Ms kQuietMs = 200;             // at the end: a connection with nothing under way for this long
constexpr Ms kFinishMs = 3000;           // at the end: the longest wait for connections in progress

struct Paths {
    std::string socket[kKinds];
    std::string lock;
};

Paths pathsIn(const std::string &dir) {
    const std::string d = dir.empty() ? wire::kDir : dir;
    return {{d + "/" + wire::kServerSocketName, d + "/" + wire::kIpSocketName, d + "/" + wire::kNotifySocketName},
            d + "/zeltap.lock"};
}

std::string aside(const std::string &path) { return path + kAside; }
// Where the stand-in listener is bound before it takes the path.
std::string fresh(const std::string &path) { return path + ".zeltap-new"; }

void logLine(const char *format, ...) __attribute__((format(printf, 1, 2)));
void logLine(const char *format, ...) {
    char text[1024];
    va_list ap;
    va_start(ap, format);
    vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    fprintf(stderr, "zeltap: %s\n", text);
}

using zelsim::fillAddress;

// A non-blocking connection to the listener at `path`; -1 when nothing
// accepts there within the timeout.
int connectTo(const std::string &path) {
    int fd = zelsim::connectTo(path, kConnectTimeoutMs);
    if (fd >= 0) fcntl(fd, F_SETFL, fcntl(fd, F_GETFL) | O_NONBLOCK);
    return fd;
}

bool isSocket(const std::string &path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0 && S_ISSOCK(st.st_mode);
}

bool live(const std::string &path) {
    int fd = connectTo(path);
    if (fd < 0) return false;
    close(fd);
    return true;
}

// The lock that one recorder (or restore) at a time holds; -1 when another holds it.
int takeLock(const std::string &path) {
    int fd = open(path.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0) {
        logLine("cannot open %s: %s", path.c_str(), strerror(errno));
        return -1;
    }
    if (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        logLine("another zeltap is recording (it holds %s)", path.c_str());
        close(fd);
        return -1;
    }
    return fd;
}

void dropLock(const std::string &path, int fd) {
    unlink(path.c_str());
    close(fd);
}

// Puts each server socket found aside back at its path. With the lock held.
bool putBack(const Paths &p) {
    bool ok = true;
    for (const std::string &path : p.socket) {
        const std::string moved = aside(path);
        unlink(fresh(path).c_str());
        if (!isSocket(moved)) continue;
        struct stat a, b;
        if (lstat(moved.c_str(), &a) == 0 && lstat(path.c_str(), &b) == 0 && a.st_ino == b.st_ino &&
            a.st_dev == b.st_dev) {
            // Stopped between the two steps of standIn: the path is still the server's.
            unlink(moved.c_str());
            logLine("%s: the server's socket is back", path.c_str());
        } else if (!live(moved) && live(path)) {
            // The server made its socket anew at its own path (it restarted).
            unlink(moved.c_str());
            logLine("%s: the server listens there again; removed the old %s", path.c_str(), moved.c_str());
        } else if (rename(moved.c_str(), path.c_str()) == 0) {
            logLine("%s: the server's socket is back", path.c_str());
        } else {
            logLine("cannot move %s back to %s: %s", moved.c_str(), path.c_str(), strerror(errno));
            ok = false;
        }
    }
    return ok;
}

std::string utcNow() {
    time_t t = time(nullptr);
    struct tm tm;
    gmtime_r(&t, &tm);
    char buf[32];
    strftime(buf, sizeof buf, "%Y-%m-%dT%H:%M:%SZ", &tm);
    return buf;
}

// Whether the reply so far ends with a final result code.
bool final(const std::string &reply) {
    if (reply.size() < 4 || reply.compare(reply.size() - 2, 2, "\r\n") != 0) return false;
    size_t start = reply.rfind("\r\n", reply.size() - 3);
    std::string line = reply.substr(start == std::string::npos ? 0 : start + 2);
    line.resize(line.size() - 2);
    if (line == "OK" || line == "ERROR") return true;
    if (!line.empty() && line[0] == '+') line.erase(0, 1);
    for (const char *e : wire::kExtendedErrors)
        if (line.compare(0, strlen(e), e) == 0) return true;
    return false;
}

class Recorder {
public:
    Recorder(const Options &o) : opt_(o), paths_(pathsIn(o.dir)) {}
    int run();

private:
    struct Pair {
        Kind kind;
        int nth;      // the nth connection to its socket, from 1
        Ms accepted;  // when
        int fd[2];    // 0: the application, 1: the server
        std::string out[2];  // bytes waiting to go to fd[i]
        bool eof = false;    // a side ended: the pair closes once the other has its bytes
        zelsim::LineSplitter lines;
        long exchange = -1;  // the command whose reply is under way
        Ms command_at = 0;
        Ms last = 0;  // the latest bytes either way
    };

    Ms now() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_).count();
    }
    bool standIn();
    void closeListeners();
    void accept(Kind k);
    void readSide(int id, int side);
    void flush(int id, int side);
    void closePair(int id);
    bool quiet(const Pair &p) const;
    bool writeFile();

    Options opt_;
    Paths paths_;
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    int listen_[kKinds] = {-1, -1, -1};
    int accepted_[kKinds] = {0, 0, 0};
    std::map<int, Pair> pairs_;
    int next_id_ = 1;
    Recording rec_;
    std::unique_ptr<PortTap> port_;
};

// Moves each server socket aside and listens at its path in its place,
// with the same permissions. The server's socket gets its second name first,
// then the stand-in, bound at a name of its own, takes the path in one
// rename: a connect at the path always finds one of the two listening. On
// failure everything goes back.
bool Recorder::standIn() {
    for (int k = 0; k < kKinds; ++k) {
        const std::string &path = paths_.socket[k];
        struct stat st;
        if (lstat(path.c_str(), &st) != 0 || !S_ISSOCK(st.st_mode) || !live(path)) {
            logLine("no server listens at %s; not recording", path.c_str());
            return false;
        }
    }
    for (int k = 0; k < kKinds; ++k) {
        const std::string &path = paths_.socket[k], own = fresh(path);
        struct stat st;
        sockaddr_un addr;
        unlink(own.c_str());
        if (lstat(path.c_str(), &st) != 0 || !fillAddress(own, &addr)) return false;
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        mode_t umask_was = umask(~st.st_mode & 0777);
        bool bound = fd >= 0 && bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
        umask(umask_was);
        if (!bound || listen(fd, 64) != 0) {
            logLine("cannot listen at %s: %s", own.c_str(), strerror(errno));
            if (fd >= 0) close(fd);
            unlink(own.c_str());
            return false;
        }
        listen_[k] = fd;
        if (chown(own.c_str(), st.st_uid, st.st_gid) != 0 && geteuid() == 0)
            logLine("cannot give %s to uid %d: %s", path.c_str(), static_cast<int>(st.st_uid), strerror(errno));
        if (link(path.c_str(), aside(path).c_str()) != 0 || rename(own.c_str(), path.c_str()) != 0) {
            logLine("cannot move %s aside: %s", path.c_str(), strerror(errno));
            return false;
        }
    }
    return true;
}

void Recorder::closeListeners() {
    for (int &fd : listen_) {
        if (fd >= 0) close(fd);
        fd = -1;
    }
}

void Recorder::accept(Kind k) {
    for (;;) {
        int client = accept4(listen_[k], nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
        if (client < 0) return;
        int server = connectTo(aside(paths_.socket[k]));
        if (server < 0) {
            logLine("%s: the server accepts no connection: %s; closing the application's", kKindName[k], strerror(errno));
            close(client);
            continue;
        }
        Pair p{k, ++accepted_[k], now(), {client, server}, {}, false, zelsim::LineSplitter(), -1, 0, now()};
        pairs_.emplace(next_id_++, std::move(p));
    }
}

void Recorder::closePair(int id) {
    auto it = pairs_.find(id);
    if (it == pairs_.end()) return;
    close(it->second.fd[0]);
    close(it->second.fd[1]);
    pairs_.erase(it);
}

void Recorder::flush(int id, int side) {
    Pair &p = pairs_.at(id);
    std::string &out = p.out[side];
    while (!out.empty()) {
        ssize_t n = ::send(p.fd[side], out.data(), out.size(), MSG_NOSIGNAL);
        if (n > 0) {
            out.erase(0, static_cast<size_t>(n));
        } else {
            if (n < 0 && errno != EAGAIN && errno != EINTR) closePair(id);
            return;
        }
    }
    if (p.eof) closePair(id);
}

// Bytes from one side: passed to the other first, then recorded.
void Recorder::readSide(int id, int side) {
    Pair &p = pairs_.at(id);
    char buf[65536];
    ssize_t n = read(p.fd[side], buf, sizeof buf);
    if (n < 0 && (errno == EAGAIN || errno == EINTR)) return;
    if (n <= 0) {
        p.eof = true;
        if (p.out[1 - side].empty()) closePair(id);
        return;
    }
    const std::string bytes(buf, static_cast<size_t>(n));
    p.out[1 - side] += bytes;
    if (p.out[1 - side].size() > kPendingMax) {
        logLine("%s connection %d: one side reads nothing; closed", kKindName[p.kind], p.nth);
        return closePair(id);
    }
    Ms t = now();
    p.last = t;
    if (p.kind == kCommand && side == 0) {
        for (const auto &line : p.lines.feed(buf, static_cast<size_t>(n))) {
            if (line.overlong) continue;
            rec_.exchanges.push_back({t, false, false, maskSecrets(line.text), {}});
            p.exchange = static_cast<long>(rec_.exchanges.size()) - 1;
            p.command_at = t;
        }
    } else if (p.kind == kCommand && p.exchange >= 0) {
        Exchange &e = rec_.exchanges[static_cast<size_t>(p.exchange)];
        e.reply.emplace_back(t - p.command_at, bytes);
        if (final(e.replyText())) p.exchange = -1;
    } else if (side == 1) {
        Event::Kind k = p.kind == kNotify ? Event::Kind::Notify : p.kind == kIp ? Event::Kind::IpChange : Event::Kind::Unsolicited;
        rec_.events.push_back({k, t, p.nth, t - p.accepted, bytes});
    }
    flush(id, 1 - side);
}

bool Recorder::quiet(const Pair &p) const {
    return p.exchange < 0 && p.out[0].empty() && p.out[1].empty() && now() - p.last >= kQuietMs;
}

bool Recorder::writeFile() {
    rec_.stopped = utcNow();
    if (opt_.redact) redact(&rec_);
    const std::string tmp = opt_.out + ".tmp";
    int fd = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    const std::string text = toYaml(rec_);
    bool ok = fd >= 0 && write(fd, text.data(), text.size()) == static_cast<ssize_t>(text.size()) && fsync(fd) == 0;
    if (fd >= 0) close(fd);
    if (ok && rename(tmp.c_str(), opt_.out.c_str()) == 0) {
        logLine("wrote %s: %zu exchanges, %zu events", opt_.out.c_str(), rec_.exchanges.size(), rec_.events.size());
        return true;
    }
    logLine("cannot write %s: %s", opt_.out.c_str(), strerror(errno));
    unlink(tmp.c_str());
    return false;
}

int Recorder::run() {
    int lock = takeLock(paths_.lock);
    if (lock < 0) return 1;
    if (!putBack(paths_) || !putBackPort(opt_.port)) {
        dropLock(paths_.lock, lock);
        return 1;
    }
    // The file must be writable before anything is moved.
    const std::string tmp = opt_.out + ".tmp";
    int probe = open(tmp.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0600);
    if (probe < 0) {
        logLine("cannot write %s: %s", opt_.out.c_str(), strerror(errno));
        dropLock(paths_.lock, lock);
        return 1;
    }
    close(probe);
    unlink(tmp.c_str());

    int sigfd = zelsim::stopSignals();
    if (opt_.modem_port) port_ = std::make_unique<PortTap>(opt_.port, &rec_);
    if (sigfd < 0 || !standIn() || (port_ && !port_->start())) {
        closeListeners();
        putBack(paths_);
        port_.reset();
        dropLock(paths_.lock, lock);
        if (sigfd >= 0) close(sigfd);
        return 1;
    }
    rec_.started = utcNow();
    logLine("recording: %s, %s, %s", paths_.socket[0].c_str(), paths_.socket[1].c_str(), paths_.socket[2].c_str());

    // Recording until a signal or the duration; then the server's sockets go
    // back and the connections in progress finish, for kFinishMs at most.
    Ms finish_by = -1;
    for (;;) {
        if (finish_by < 0 && opt_.duration >= 0 && now() >= opt_.duration) finish_by = 0;
        if (finish_by == 0) {
            putBack(paths_);
            for (int k = 0; k < kKinds; ++k) accept(static_cast<Kind>(k));  // those that came before the move back
            closeListeners();
            finish_by = now() + kFinishMs;
        }
        if (finish_by > 0) {
            bool all_quiet = true;
            for (const auto &p : pairs_) all_quiet = all_quiet && quiet(p.second);
            if (port_) all_quiet = all_quiet && port_->quiet(now());
            if (all_quiet || now() >= finish_by) break;
        }
        std::vector<pollfd> fds{{sigfd, POLLIN, 0}};
        for (int fd : listen_)
            if (fd >= 0) fds.push_back({fd, POLLIN, 0});
        std::vector<int> ids;
        for (const auto &p : pairs_) {
            ids.push_back(p.first);
            for (int s = 0; s < 2; ++s)
                fds.push_back({p.second.fd[s], static_cast<short>(POLLIN | (p.second.out[s].empty() ? 0 : POLLOUT)), 0});
        }
        const size_t port_at = fds.size();
        if (port_) port_->addFds(&fds);
        int timeout = finish_by > 0 ? static_cast<int>(kQuietMs / 4)
                      : opt_.duration >= 0 ? static_cast<int>(std::max<Ms>(0, opt_.duration - now()))
                                           : -1;
        if (poll(fds.data(), fds.size(), timeout) < 0 && errno != EINTR) break;
        size_t i = 0;
        if (fds[i++].revents & POLLIN) {
            signalfd_siginfo info;
            if (read(sigfd, &info, sizeof info) > 0 && finish_by < 0) {
                logLine("signal %u: stopping", info.ssi_signo);
                finish_by = 0;
            }
        }
        for (int k = 0; k < kKinds; ++k)
            if (listen_[k] >= 0 && fds[i++].revents & POLLIN) accept(static_cast<Kind>(k));
        for (int id : ids) {
            for (int s = 0; s < 2; ++s) {
                short ev = fds[i++].revents;
                if (!pairs_.count(id)) continue;
                if (ev & POLLOUT) flush(id, s);
                if (pairs_.count(id) && ev & (POLLIN | POLLHUP | POLLERR)) readSide(id, s);
            }
        }
        if (port_) port_->handle(&fds[port_at], now());
    }
    if (finish_by < 0) putBack(paths_);  // the loop ended on a poll failure
    closeListeners();
    while (!pairs_.empty()) closePair(pairs_.begin()->first);
    port_.reset();  // the modem port goes back
    close(sigfd);
    bool written = writeFile();
    dropLock(paths_.lock, lock);
    return written ? 0 : 1;
}

}  // namespace

int record(const Options &options) {
    Recorder r(options);
    return r.run();
}

int restore(const std::string &dir, const std::string &port) {
    const Paths p = pathsIn(dir);
    int lock = takeLock(p.lock);
    if (lock < 0) return 1;
    bool ok = putBack(p);
    ok = putBackPort(port) && ok;
    dropLock(p.lock, lock);
    return ok ? 0 : 1;
}

}  // namespace zeltap

#include "server.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/signalfd.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <termios.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdarg>
#include <cstring>
#include <ctime>
#include <functional>
#include <map>
#include <memory>

#include "peer.h"
#include "port.h"
#include "replay.h"
#include "unix_socket.h"

namespace zelsim {

Paths pathsIn(const std::string &dir) {
    namespace wire = zel::wire;
    const std::string d = dir.empty() ? wire::kDir : dir;
    return {d + "/" + wire::kServerSocketName, d + "/" + wire::kIpSocketName, d + "/" + wire::kNotifySocketName,
            d + "/zelsim_control.sock", d + "/zelsim.lock"};
}

namespace {

constexpr size_t kOutMax = 8 << 20;  // a client that reads nothing is dropped past this

void logLine(const char *format, ...) __attribute__((format(printf, 1, 2)));
void logLine(const char *format, ...) {
    struct timespec ts;
    clock_gettime(CLOCK_REALTIME, &ts);
    struct tm tm;
    localtime_r(&ts.tv_sec, &tm);
    char head[32];
    strftime(head, sizeof head, "%H:%M:%S", &tm);
    char text[2048];
    va_list ap;
    va_start(ap, format);
    vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    fprintf(stderr, "[%s.%03ld] %s\n", head, ts.tv_nsec / 1000000, text);
}

enum class Kind { Command, Ip, Notify, Control };
const char *const kKindName[] = {"command", "ip", "notify", "control"};

class Server {
public:
    Server(const Options &o, const Scenario &s)
        : opt_(o), paths_(pathsIn(o.dir)), faults_(s.faults), sc_(s), replay_(s.exchanges, o.strict) {}
    int run();

private:
    struct Conn {
        int fd;
        Kind kind;
        LineSplitter lines;
        std::string out;
        Ms busy_until = 0;
    };

    Ms now() const {
        return std::chrono::duration_cast<std::chrono::milliseconds>(std::chrono::steady_clock::now() - start_).count();
    }
    bool claim();
    bool openListeners();
    void closeListeners();
    void openPort();
    void closePort();
    void accept(Kind kind);
    void readConn(int id);
    void flush(int id);
    void send(int id, const std::string &bytes);
    void drop(int id, const char *why);
    void broadcast(Kind kind, const std::string &bytes);
    void at(Ms when, std::function<void()> f) { timers_.emplace(when, std::move(f)); }
    Outcome modemAnswer(const std::string &line);
    Delivery answer(Exchange::Link link, const std::string &text, const Fault *fault);
    bool replayed(Exchange::Link link, const std::string &text, Replay::Answer *r);
    void pushRecorded(Kind kind, int id);
    void command(int id, const LineSplitter::Line &line);
    void readPort();
    void emit(const Event &e);
    std::string apply(const Action &a);
    void restart(Ms downtime);
    std::string status();

    Options opt_;
    Paths paths_;
    Modem modem_;
    std::vector<Fault> faults_;
    Scenario sc_;
    Replay replay_;
    int accepted_[4] = {0, 0, 0, 0};  // connections made to each socket
    std::chrono::steady_clock::time_point start_ = std::chrono::steady_clock::now();
    int listen_[4] = {-1, -1, -1, -1};
    std::map<int, Conn> conns_;
    int next_id_ = 1;
    std::multimap<Ms, std::function<void()>> timers_;
    Ms silent_until_ = -1;
    int lock_fd_ = -1;
    int master_ = -1, slave_ = -1;
    std::string pty_;
    bool made_link_ = false;
    std::unique_ptr<PortSession> port_;
    std::string port_out_;
    Ms port_busy_until_ = 0;
};

// Takes the lock and makes sure nobody else serves these paths; stale
// sockets of a dead instance are removed, other files are left alone.
bool Server::claim() {
    lock_fd_ = open(paths_.lock.c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (lock_fd_ < 0 && errno == ELOOP) {
        logLine("%s is a symbolic link; refusing it, not starting", paths_.lock.c_str());
        return false;
    }
    if (lock_fd_ < 0) {
        logLine("cannot create %s: %s; not starting", paths_.lock.c_str(), strerror(errno));
        return false;
    }
    if (flock(lock_fd_, LOCK_EX | LOCK_NB) != 0) {
        logLine("another zelsim holds %s; not starting", paths_.lock.c_str());
        close(lock_fd_);
        lock_fd_ = -1;
        return false;
    }
    for (const std::string *p : {&paths_.command, &paths_.ip, &paths_.notify, &paths_.control}) {
        struct stat st;
        if (lstat(p->c_str(), &st) != 0) continue;
        int fd = connectTo(*p);
        if (fd >= 0) {
            close(fd);
            logLine("a server is already listening on %s; not starting", p->c_str());
            return false;
        }
        if (!S_ISSOCK(st.st_mode)) {
            logLine("%s exists and is not a socket; not starting", p->c_str());
            return false;
        }
        unlink(p->c_str());
    }
    return true;
}

bool Server::openListeners() {
    const std::string *paths[] = {&paths_.command, &paths_.ip, &paths_.notify, &paths_.control};
    for (int k = 0; k < 4; ++k) {
        if (listen_[k] >= 0) continue;
        sockaddr_un addr;
        int fd = socket(AF_UNIX, SOCK_STREAM | SOCK_NONBLOCK | SOCK_CLOEXEC, 0);
        // The socket file is born with the chosen mode: no moment when others may connect.
        mode_t umask_was = umask(~opt_.socket_mode & 0777);
        bool bound = fd >= 0 && fillAddress(*paths[k], &addr) && bind(fd, reinterpret_cast<sockaddr *>(&addr), sizeof addr) == 0;
        umask(umask_was);
        if (!bound || listen(fd, 16) != 0) {
            logLine("cannot listen on %s: %s", paths[k]->c_str(), strerror(errno));
            if (fd >= 0) close(fd);
            return false;
        }
        listen_[k] = fd;
    }
    return true;
}

void Server::closeListeners() {
    const std::string *paths[] = {&paths_.command, &paths_.ip, &paths_.notify, &paths_.control};
    for (int k = 0; k < 4; ++k) {
        if (listen_[k] < 0) continue;
        close(listen_[k]);
        unlink(paths[k]->c_str());
        listen_[k] = -1;
    }
}

// The modem port: a pseudo-terminal in raw mode. The simulator keeps its own
// handle on the terminal side so that applications may open and close it.
void Server::openPort() {
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (master_ < 0 || grantpt(master_) != 0 || unlockpt(master_) != 0) {
        logLine("no pseudo-terminal for the modem port: %s", strerror(errno));
        return;
    }
    pty_ = ptsname(master_);
    slave_ = open(pty_.c_str(), O_RDWR | O_NOCTTY | O_CLOEXEC);
    struct termios tio;
    if (slave_ >= 0 && tcgetattr(slave_, &tio) == 0) {
        cfmakeraw(&tio);
        tcsetattr(slave_, TCSANOW, &tio);
    }
    // On the port a split answer comes whole, after its last pause.
    port_ = std::make_unique<PortSession>(
        modem_, [this](const std::string &line) { return joined(answer(Exchange::Link::Port, line, matchFault(faults_, line)).pieces); },
        [this](const std::string &text, bool body, Outcome *out) {
            Replay::Answer r;
            if (!replayed(body ? Exchange::Link::Body : Exchange::Link::Port, text, &r)) return false;
            *out = joined(r.bursts);
            return true;
        });
    const std::string &link = opt_.modem_link;
    if (link.empty()) {
        logLine("modem port: %s", pty_.c_str());
        return;
    }
    // A link to a pseudo-terminal that is gone was left by a killed simulator.
    char old[64] = {};
    if (readlink(link.c_str(), old, sizeof old - 1) > 0 && strncmp(old, "/dev/pts/", 9) == 0 && access(old, F_OK) != 0 &&
        unlink(link.c_str()) == 0)
        logLine("removed %s, a link to %s, which is gone", link.c_str(), old);
    struct stat st;
    if (lstat(link.c_str(), &st) == 0) {
        logLine("modem port: %s; %s exists already and is left as it is", pty_.c_str(), link.c_str());
    } else if (symlink(pty_.c_str(), link.c_str()) == 0) {
        made_link_ = true;
        logLine("modem port: %s, linked from %s", pty_.c_str(), link.c_str());
    } else {
        logLine("modem port: %s; cannot link %s (%s). Run zelsim as root, or link it yourself: ln -s %s %s",
                pty_.c_str(), link.c_str(), strerror(errno), pty_.c_str(), link.c_str());
    }
}

void Server::closePort() {
    if (made_link_) {
        char target[256] = {0};
        ssize_t n = readlink(opt_.modem_link.c_str(), target, sizeof target - 1);
        if (n > 0 && pty_ == std::string(target, static_cast<size_t>(n))) unlink(opt_.modem_link.c_str());
    }
    if (slave_ >= 0) close(slave_);
    if (master_ >= 0) close(master_);
}

void Server::accept(Kind kind) {
    int fd = accept4(listen_[static_cast<int>(kind)], nullptr, nullptr, SOCK_NONBLOCK | SOCK_CLOEXEC);
    if (fd < 0) return;
    uid_t uid;
    if (kind == Kind::Control && !zel::peerTrusted(fd, &uid)) {
        logLine("control: refused a client of uid %d, not root or uid %d", static_cast<int>(uid),
                static_cast<int>(geteuid()));
        close(fd);
        return;
    }
    int id = next_id_++;
    conns_.emplace(id, Conn{fd, kind, LineSplitter(), "", 0});
    logLine("%s client %d connected", kKindName[static_cast<int>(kind)], id);
    pushRecorded(kind, id);
}

// Schedules what a recording pushed to this connection of its socket.
void Server::pushRecorded(Kind kind, int id) {
    const int nth = ++accepted_[static_cast<int>(kind)];
    for (const Timed &t : sc_.events) {
        if (t.client != nth) continue;
        Action::Kind k = t.action.kind;
        Kind to = k == Action::Kind::Notify ? Kind::Notify : k == Action::Kind::IpChange ? Kind::Ip : Kind::Command;
        if (to == kind) at(now() + t.after, [this, id, bytes = t.action.text] { send(id, bytes); });
    }
}

void Server::drop(int id, const char *why) {
    auto it = conns_.find(id);
    if (it == conns_.end()) return;
    logLine("%s client %d %s", kKindName[static_cast<int>(it->second.kind)], id, why);
    close(it->second.fd);
    conns_.erase(it);
}

void Server::flush(int id) {
    auto it = conns_.find(id);
    if (it == conns_.end()) return;
    Conn &c = it->second;
    while (!c.out.empty()) {
        ssize_t n = ::send(c.fd, c.out.data(), c.out.size(), MSG_NOSIGNAL);
        if (n > 0) {
            c.out.erase(0, static_cast<size_t>(n));
        } else {
            if (n < 0 && errno != EAGAIN && errno != EINTR) drop(id, "is gone");
            return;
        }
    }
}

void Server::send(int id, const std::string &bytes) {
    auto it = conns_.find(id);
    if (it == conns_.end()) return;
    if (opt_.verbose) logLine("%s %d > %s", kKindName[static_cast<int>(it->second.kind)], id, escaped(bytes).c_str());
    it->second.out += bytes;
    if (it->second.out.size() > kOutMax) return drop(id, "reads nothing; dropped");
    flush(id);
}

void Server::broadcast(Kind kind, const std::string &bytes) {
    std::vector<int> ids;
    for (const auto &c : conns_)
        if (c.second.kind == kind) ids.push_back(c.first);
    for (int id : ids) send(id, bytes);
}

Outcome Server::modemAnswer(const std::string &line) {
    Outcome o = modem_.handle(line, now());
    if (!o.known) logLine("unknown command: %s", escaped(line).c_str());
    for (const Event &e : o.events) emit(e);
    return o;
}

// A recorded answer, or ERROR when a strict replay has none; false when the
// model is to answer.
bool Server::replayed(Exchange::Link link, const std::string &text, Replay::Answer *r) {
    *r = replay_.answer(link, text);
    switch (r->how) {
    case Replay::How::Recorded: return true;
    case Replay::How::Refused: logLine("not in the recording, answered ERROR: %s", escaped(text).c_str()); return true;
    case Replay::How::Model:
        if (!sc_.exchanges.empty()) logLine("not in the recording, the model answers: %s", escaped(text).c_str());
        return false;
    }
    return false;
}

// The answer to a command line or message body with the fault that matched it.
Delivery Server::answer(Exchange::Link link, const std::string &text, const Fault *fault) {
    if (fault != nullptr) logLine("fault on %s", escaped(text).c_str());
    Replay::Answer r;
    if (!replayed(link, text, &r)) return deliver(modemAnswer(text), fault);
    if (fault != nullptr) return deliver(joined(r.bursts), fault);
    return Delivery{r.bursts, false};
}

void Server::command(int id, const LineSplitter::Line &line) {
    if (opt_.verbose) logLine("command %d < %s", id, line.overlong ? "(over-long line)" : escaped(line.text).c_str());
    if (now() < silent_until_) {
        logLine("silent: no answer to %s", escaped(line.text).c_str());
        return;
    }
    if (line.overlong) logLine("command line too long; answered ERROR");
    Fault *f = line.overlong ? nullptr : matchFault(faults_, line.text);
    Delivery d = line.overlong ? deliver(Outcome{finalReply("ERROR"), 0, {}, true}, nullptr)
                               : answer(Exchange::Link::Command, line.text, f);
    if (d.drop) return drop(id, "dropped by a fault");
    Ms base = std::max(now(), conns_.at(id).busy_until);
    for (const auto &piece : d.pieces) {
        at(base + piece.first, [this, id, bytes = piece.second] { send(id, bytes); });
        conns_.at(id).busy_until = base + piece.first;
    }
}

void Server::readConn(int id) {
    Conn &c = conns_.at(id);
    char buf[65536];
    ssize_t n = read(c.fd, buf, sizeof buf);
    if (n == 0 || (n < 0 && errno != EAGAIN && errno != EINTR)) return drop(id, "disconnected");
    if (n < 0) return;
    if (c.kind == Kind::Ip || c.kind == Kind::Notify) return;  // these clients only listen
    for (const auto &line : c.lines.feed(buf, static_cast<size_t>(n))) {
        if (conns_.find(id) == conns_.end()) return;
        if (c.kind == Kind::Command) {
            command(id, line);
            continue;
        }
        std::string answer;
        try {
            answer = line.overlong ? "error: request too long" : apply(parseControl(line.text));
        } catch (const ScenarioError &e) {
            answer = std::string("error: ") + e.what();
        }
        logLine("control: %s -> %s", escaped(line.text).c_str(), answer.c_str());
        send(id, answer + "\n");
    }
}

void Server::readPort() {
    char buf[4096];
    ssize_t n = read(master_, buf, sizeof buf);
    if (n <= 0) return;
    if (opt_.verbose) logLine("port < %s", escaped(std::string(buf, static_cast<size_t>(n))).c_str());
    for (const Outcome &o : port_->feed(buf, static_cast<size_t>(n))) {
        if (o.reply.empty()) continue;
        port_busy_until_ = std::max(now(), port_busy_until_) + o.delay_ms;
        at(port_busy_until_, [this, bytes = o.reply] {
            if (opt_.verbose) logLine("port > %s", escaped(bytes).c_str());
            port_out_ += bytes;
        });
    }
}

void Server::emit(const Event &e) {
    at(now() + e.delay_ms, [this, e] {
        switch (e.kind) {
        case Event::Kind::Notification: return broadcast(Kind::Notify, e.bytes);
        case Event::Kind::IpChange: return broadcast(Kind::Ip, e.bytes);
        case Event::Kind::Unsolicited: return broadcast(Kind::Command, e.bytes);
        case Event::Kind::Restart: return restart(e.downtime_ms);
        }
    });
}

void Server::restart(Ms downtime) {
    logLine("server restarts: away for %lld ms", static_cast<long long>(downtime));
    std::vector<int> ids;
    for (const auto &c : conns_)
        if (c.second.kind != Kind::Control) ids.push_back(c.first);
    for (int id : ids) drop(id, "closed by the restart");
    // The control socket stays, so that the simulator can still be steered.
    int control = listen_[static_cast<int>(Kind::Control)];
    listen_[static_cast<int>(Kind::Control)] = -1;
    closeListeners();
    listen_[static_cast<int>(Kind::Control)] = control;
    at(now() + downtime, [this] {
        if (openListeners()) logLine("server is back");
    });
}

std::string Server::status() {
    int count[4] = {0, 0, 0, 0};
    for (const auto &c : conns_) ++count[static_cast<int>(c.second.kind)];
    return "ok command=" + std::to_string(count[0]) + " ip=" + std::to_string(count[1]) +
           " notify=" + std::to_string(count[2]) + " port=" + (pty_.empty() ? "none" : pty_) +
           " link=" + (made_link_ ? opt_.modem_link : "none") +
           " faults=" + std::to_string(std::count_if(faults_.begin(), faults_.end(), [](const Fault &f) { return f.count != 0; }));
}

std::string Server::apply(const Action &a) {
    std::string why;
    switch (a.kind) {
    case Action::Kind::Notify: emit({Event::Kind::Notification, 0, a.text, 0}); break;
    case Action::Kind::IpChange: emit({Event::Kind::IpChange, 0, a.text, 0}); break;
    case Action::Kind::Unsolicited: emit({Event::Kind::Unsolicited, 0, a.text, 0}); break;
    case Action::Kind::Sms:
        for (const Event &e : modem_.receiveSms(a.number, a.text, now()).events) emit(e);
        break;
    case Action::Kind::Drop: {
        std::vector<int> ids;
        for (const auto &c : conns_)
            if (c.second.kind == Kind::Command) ids.push_back(c.first);
        for (int id : ids) drop(id, "dropped on request");
        break;
    }
    case Action::Kind::Silent: silent_until_ = now() + a.duration; break;
    case Action::Kind::Restart: emit({Event::Kind::Restart, 0, "", a.duration}); break;
    case Action::Kind::Set:
        for (const auto &p : a.params)
            if (!modem_.setParam(p.first, p.second, &why))
                return "error: cannot set " + p.first + " to " + p.second + ": " + why;
        break;
    case Action::Kind::AddFault: faults_.push_back(a.fault); break;
    case Action::Kind::ClearFaults: faults_.clear(); break;
    case Action::Kind::Status: return status();
    }
    return "ok";
}

int Server::run() {
    std::string why;
    for (const auto &p : sc_.modem)
        if (!modem_.setParam(p.first, p.second, &why)) {
            logLine("scenario: cannot set %s to %s: %s", p.first.c_str(), p.second.c_str(), why.c_str());
            return 1;
        }
    for (const auto &m : sc_.stored_sms) modem_.receiveSms(m.first, m.second, 0);
    if (!claim()) return 1;
    int sigfd = stopSignals();
    if (!openListeners()) {
        closeListeners();
        return 1;
    }
    openPort();
    for (const Timed &t : sc_.events)
        if (t.client == 0) at(t.at, [this, a = t.action] { logLine("scenario: %s", apply(a).c_str()); });
    logLine("zelsim ready: %s, %s, %s; control %s", paths_.command.c_str(), paths_.notify.c_str(), paths_.ip.c_str(),
            paths_.control.c_str());

    for (bool stop = false; !stop;) {
        std::vector<pollfd> fds{{sigfd, POLLIN, 0}};
        for (int k = 0; k < 4; ++k)
            if (listen_[k] >= 0) fds.push_back({listen_[k], POLLIN, 0});
        std::vector<int> ids;
        for (const auto &c : conns_) {
            fds.push_back({c.second.fd, static_cast<short>(POLLIN | (c.second.out.empty() ? 0 : POLLOUT)), 0});
            ids.push_back(c.first);
        }
        if (master_ >= 0) fds.push_back({master_, static_cast<short>(POLLIN | (port_out_.empty() ? 0 : POLLOUT)), 0});
        int timeout = -1;
        if (!timers_.empty()) timeout = static_cast<int>(std::max<Ms>(0, timers_.begin()->first - now()));
        if (poll(fds.data(), fds.size(), timeout) < 0 && errno != EINTR) break;

        size_t i = 0;
        if (fds[i++].revents & POLLIN) {
            signalfd_siginfo info;
            if (read(sigfd, &info, sizeof info) > 0) logLine("signal %u: stopping", info.ssi_signo);
            stop = true;
        }
        for (int k = 0; k < 4; ++k)
            if (listen_[k] >= 0 && fds[i++].revents & POLLIN) accept(static_cast<Kind>(k));
        for (int id : ids) {
            short ev = fds[i++].revents;
            if (ev & POLLOUT) flush(id);
            if (ev & (POLLIN | POLLHUP | POLLERR) && conns_.count(id)) readConn(id);
        }
        if (master_ >= 0) {
            short ev = fds[i].revents;
            if (ev & POLLIN) readPort();
            if (ev & POLLOUT) {
                ssize_t n = write(master_, port_out_.data(), port_out_.size());
                if (n > 0) port_out_.erase(0, static_cast<size_t>(n));
            }
        }
        while (!timers_.empty() && timers_.begin()->first <= now()) {
            auto f = std::move(timers_.begin()->second);
            timers_.erase(timers_.begin());
            f();
        }
    }
    for (auto &c : conns_) close(c.second.fd);
    conns_.clear();
    closeListeners();
    closePort();
    unlink(paths_.lock.c_str());
    close(lock_fd_);
    close(sigfd);
    logLine("zelsim stopped");
    if (replay_.refused() == 0) return 0;
    logLine("strict replay: %d command(s) were not in the recording", replay_.refused());
    return 3;
}

}  // namespace

int serve(const Options &options, const Scenario &scenario) {
    Server s(options, scenario);
    return s.run();
}

std::string control(const std::string &dir, const std::string &request) {
    std::string path = pathsIn(dir).control;
    int fd = connectTo(path);
    if (fd < 0) return "error: no simulator answers on " + path;
    std::string line = request + "\n", answer;
    if (write(fd, line.data(), line.size()) != static_cast<ssize_t>(line.size())) answer = "error: cannot send";
    char c;
    pollfd p{fd, POLLIN, 0};
    while (answer.empty() || answer.back() != '\n') {
        if (poll(&p, 1, 5000) <= 0 || read(fd, &c, 1) != 1) break;
        answer += c;
    }
    close(fd);
    if (answer.empty()) return "error: no answer";
    if (answer.back() == '\n') answer.pop_back();
    return answer;
}

}  // namespace zelsim

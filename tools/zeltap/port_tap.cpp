#include "port_tap.h"

#include <fcntl.h>
#include <strings.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "recorder.h"

namespace zeltap {

namespace {

constexpr char kCtrlZ = 0x1A, kEsc = 0x1B;
constexpr Ms kQuietMs = 200;

// Where the link at `path` points, or "" when it is no link.
std::string linkTarget(const std::string &path) {
    char buf[256];
    ssize_t n = readlink(path.c_str(), buf, sizeof buf - 1);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : "";
}

}  // namespace

bool putBackPort(const std::string &path) {
    const std::string moved = path + kAside;
    struct stat st;
    if (lstat(moved.c_str(), &st) != 0) return true;
    // A recorder's link to its pseudo-terminal goes; anything else stays.
    if (lstat(path.c_str(), &st) == 0) {
        if (linkTarget(path).rfind("/dev/pts/", 0) != 0 || unlink(path.c_str()) != 0) {
            fprintf(stderr, "zeltap: %s is in the way of the modem port at %s; left both\n", path.c_str(), moved.c_str());
            return false;
        }
    }
    if (rename(moved.c_str(), path.c_str()) != 0) {
        fprintf(stderr, "zeltap: cannot move %s back to %s: %s\n", moved.c_str(), path.c_str(), strerror(errno));
        return false;
    }
    fprintf(stderr, "zeltap: %s: the modem port is back\n", path.c_str());
    return true;
}

bool PortTap::start() {
    const std::string moved = path_ + kAside;
    struct stat st;
    if (lstat(path_.c_str(), &st) != 0) {
        fprintf(stderr, "zeltap: no modem port at %s; not recording\n", path_.c_str());
        return false;
    }
    master_ = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    const char *pts = master_ >= 0 && grantpt(master_) == 0 && unlockpt(master_) == 0 ? ptsname(master_) : nullptr;
    if (pts != nullptr) slave_ = open(pts, O_RDWR | O_NOCTTY | O_CLOEXEC);  // held, so the application may close its own
    struct termios raw;
    if (slave_ >= 0 && tcgetattr(slave_, &raw) == 0) {
        cfmakeraw(&raw);
        tcsetattr(slave_, TCSANOW, &raw);
    }
    if (slave_ < 0 || rename(path_.c_str(), moved.c_str()) != 0) {
        fprintf(stderr, "zeltap: cannot put a pseudo-terminal in place of %s: %s\n", path_.c_str(), strerror(errno));
        stop();
        return false;
    }
    real_ = open(moved.c_str(), O_RDWR | O_NOCTTY | O_NONBLOCK | O_CLOEXEC);
    if (real_ >= 0 && tcgetattr(real_, &tio_) == 0) {
        have_tio_ = true;
        raw = tio_;
        cfmakeraw(&raw);
        tcsetattr(real_, TCSANOW, &raw);
    }
    if (real_ < 0 || symlink(pts, path_.c_str()) != 0) {
        fprintf(stderr, "zeltap: cannot stand in for the modem port %s: %s\n", path_.c_str(), strerror(errno));
        stop();
        return false;
    }
    fprintf(stderr, "zeltap: recording the modem port %s through %s\n", path_.c_str(), pts);
    return true;
}

void PortTap::stop() {
    if (master_ < 0 && real_ < 0) return;
    // The link first, so that no application opens the terminal as it goes.
    putBackPort(path_);
    if (real_ >= 0) {
        if (have_tio_) tcsetattr(real_, TCSANOW, &tio_);
        close(real_);
    }
    for (int fd : {slave_, master_})
        if (fd >= 0) close(fd);
    real_ = master_ = slave_ = -1;
}

void PortTap::addFds(std::vector<pollfd> *fds) const {
    fds->push_back({master_, static_cast<short>(POLLIN | (to_app_.empty() ? 0 : POLLOUT)), 0});
    fds->push_back({real_, static_cast<short>(POLLIN | (to_port_.empty() ? 0 : POLLOUT)), 0});
}

void PortTap::flush(int fd, std::string *out) {
    while (!out->empty()) {
        ssize_t n = write(fd, out->data(), out->size());
        if (n <= 0) return;
        out->erase(0, static_cast<size_t>(n));
    }
}

void PortTap::handle(const pollfd *fds, Ms now) {
    char buf[4096];
    if (fds[0].revents & POLLIN) {
        ssize_t n = read(master_, buf, sizeof buf);
        if (n > 0) {
            to_port_.append(buf, static_cast<size_t>(n));
            flush(real_, &to_port_);
            fromApp(buf, static_cast<size_t>(n), now);
        }
    }
    if (fds[1].revents & POLLIN) {
        ssize_t n = read(real_, buf, sizeof buf);
        if (n > 0) {
            to_app_.append(buf, static_cast<size_t>(n));
            flush(master_, &to_app_);
            fromPort(std::string(buf, static_cast<size_t>(n)), now);
        }
    }
    if (fds[0].revents & POLLOUT) flush(master_, &to_app_);
    if (fds[1].revents & POLLOUT) flush(real_, &to_port_);
}

// Command lines, and after the "> " prompt of AT+CMGS the body up to its
// Ctrl-Z, as zelsim reads them; a body cancelled by ESC is not recorded.
void PortTap::fromApp(const char *data, size_t n, Ms now) {
    last_ = now;
    for (size_t i = 0; i < n; ++i) {
        char c = data[i];
        if (in_body_) {
            bool first = std::exchange(skip_lf_, false);
            if (c == kCtrlZ || c == kEsc) {
                in_body_ = false;
                exchange_ = -1;
                if (c == kEsc) continue;
                rec_->exchanges.push_back({now, true, true, body_, {}});
                exchange_ = static_cast<long>(rec_->exchanges.size()) - 1;
                command_at_ = now;
            } else if (!(c == '\n' && first)) {
                body_ += c;
            }
            continue;
        }
        for (const auto &line : lines_.feed(&c, 1)) {
            if (line.overlong) continue;
            rec_->exchanges.push_back({now, true, false, maskSecrets(line.text), {}});
            exchange_ = static_cast<long>(rec_->exchanges.size()) - 1;
            command_at_ = now;
        }
    }
}

void PortTap::fromPort(const std::string &bytes, Ms now) {
    last_ = now;
    if (exchange_ < 0) return;  // after a cancelled body, or nothing asked: the model answers on replay
    Exchange &e = rec_->exchanges[static_cast<size_t>(exchange_)];
    e.reply.emplace_back(now - command_at_, bytes);
    const std::string whole = e.replyText();
    if (!e.body && strncasecmp(e.text.c_str(), "AT+CMGS=", 8) == 0 && whole.size() >= 2 &&
        whole.compare(whole.size() - 2, 2, "> ") == 0) {
        in_body_ = skip_lf_ = true;
        body_.clear();
    }
}

bool PortTap::quiet(Ms now) const { return !in_body_ && to_app_.empty() && to_port_.empty() && now - last_ >= kQuietMs; }

}  // namespace zeltap

// --modem-port: the modem's AT port moved aside, a pseudo-terminal linked at
// its path in its place, every byte passed on between them and each command
// line, message body and reply recorded; and the way back.
#ifndef ZELTAP_PORT_TAP_H
#define ZELTAP_PORT_TAP_H

#include <poll.h>
#include <termios.h>

#include <string>
#include <vector>

#include "recording.h"

namespace zeltap {

// Puts a port that a killed recorder left aside back at `path`; true when
// the port is in place (or nothing was moved).
bool putBackPort(const std::string &path);

class PortTap {
public:
    PortTap(std::string path, Recording *rec) : path_(std::move(path)), rec_(rec) {}
    ~PortTap() { stop(); }
    // Moves the port aside and links the pseudo-terminal in its place;
    // false (and nothing changed) when it cannot.
    bool start();
    // Puts the port back; the pseudo-terminal goes.
    void stop();

    // Two entries: the application's side and the port's.
    void addFds(std::vector<pollfd> *fds) const;
    void handle(const pollfd *fds, Ms now);
    bool quiet(Ms now) const;

private:
    void fromApp(const char *data, size_t n, Ms now);
    void fromPort(const std::string &bytes, Ms now);
    void flush(int fd, std::string *out);

    std::string path_;
    Recording *rec_;
    int real_ = -1, master_ = -1, slave_ = -1;
    bool have_tio_ = false;
    struct termios tio_ {};
    std::string to_port_, to_app_;
    zelsim::LineSplitter lines_;
    bool in_body_ = false, skip_lf_ = false;
    std::string body_;
    long exchange_ = -1;
    Ms command_at_ = 0, last_ = 0;
};

}  // namespace zeltap

#endif

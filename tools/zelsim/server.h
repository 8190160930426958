// The simulator's sockets: the SDK server's command, notification and
// IP-change sockets, its own control socket, and the modem port on a
// pseudo-terminal. Thin glue over the modem model and the scenario.
#ifndef ZELSIM_SERVER_H
#define ZELSIM_SERVER_H

#include <string>

#include "scenario.h"

namespace zelsim {

struct Paths {
    std::string command, ip, notify, control, lock;
};
// The library's fixed paths for "" (or "/tmp"), else the same names in `dir`.
Paths pathsIn(const std::string &dir);

struct Options {
    std::string dir;         // where the sockets go; "" for the library's fixed paths
    std::string modem_link;  // link to the modem port's pseudo-terminal; "" for none
    bool verbose = false;    // log every command and reply
    unsigned socket_mode = 0600;  // permissions of every socket it creates
    bool strict = false;     // refuse what a recording does not hold
};

// Runs until SIGINT or SIGTERM; the exit status: 1 when it cannot start, 3
// when a strict replay refused a command, else 0.
int serve(const Options &options, const Scenario &scenario);

// Sends one control request to a running simulator and returns its answer
// (a line starting with "ok" or "error").
std::string control(const std::string &dir, const std::string &request);

}  // namespace zelsim

#endif

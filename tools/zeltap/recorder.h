// zeltap's sockets: the server's three sockets moved aside, the recorder in
// their place forwarding every connection byte for byte, and the way back.
#ifndef ZELTAP_RECORDER_H
#define ZELTAP_RECORDER_H

#include <string>

#include "recording.h"

namespace zeltap {

struct Options {
    std::string dir;  // where the server's sockets are; "" for the library's fixed paths
    std::string out;  // the recording
    bool redact = false;
    Ms duration = -1;  // stop after this long; -1: at SIGINT or SIGTERM only
    bool modem_port = false;  // also record the modem port
    std::string port;         // its path
};

// The suffix a server's socket carries while the recorder stands in its place.
constexpr char kAside[] = ".zeltap-server";

// Records until SIGINT, SIGTERM or the end of the duration, then puts the
// sockets back and writes the file. 0 when written, 1 when it could not
// start or write.
int record(const Options &options);

// Puts back what a killed recorder left moved aside (the sockets in `dir`,
// the modem port at `port`); 0 when everything is in place (or was), 1 when
// a recorder still runs or a path could not be fixed.
int restore(const std::string &dir, const std::string &port);

}  // namespace zeltap

#endif

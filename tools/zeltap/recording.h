// What zeltap captures and how it is written: the recorded exchanges and
// pushed events, the masking of secrets in command lines, and the scenario
// text that zelsim replays (tools/zelsim/recording_format.h). No sockets here.
#ifndef ZELTAP_RECORDING_H
#define ZELTAP_RECORDING_H

#include <string>
#include <utility>
#include <vector>

#include "wire.h"  // zelsim's: Ms, LineSplitter, toHex

namespace zeltap {

using zelsim::Ms;

// A command line (without its line end) and the reply as its bursts arrived,
// each with its delay after the command.
struct Exchange {
    Ms at = 0;  // since the recording started
    bool port = false;  // on the modem port
    bool body = false;  // a message body on the modem port, up to its Ctrl-Z
    std::string text;
    std::vector<std::pair<Ms, std::string>> reply;

    // The reply's bursts joined.
    std::string replyText() const {
        std::string whole;
        for (const auto &b : reply) whole += b.second;
        return whole;
    }
};

// What the server pushed to the `client`-th connection of its socket,
// `after` that connection was made: a notification message, an IP-change
// text, or bytes on the command socket that answer no command.
struct Event {
    enum class Kind { Notify, IpChange, Unsolicited };
    Kind kind = Kind::Notify;
    Ms at = 0;
    int client = 0;
    Ms after = 0;
    std::string bytes;
};

struct Recording {
    std::string started, stopped;         // UTC, ISO 8601
    std::vector<std::string> replaced;    // what --redact replaced, by kind
    std::vector<Exchange> exchanges;
    std::vector<Event> events;
};

// The command line with every secret field (PIN, PUK, password, cloud
// credential) replaced by zelsim's mask, quotes and all; other lines as they are.
std::string maskSecrets(const std::string &line);

// Bytes as zelsim reads them: a double-quoted YAML string, or {hex: DIGITS}
// when they hold a byte above 0x7E.
std::string yamlBytes(const std::string &bytes);
// A double-quoted YAML string for text that must stay a plain value.
std::string yamlText(const std::string &text);

// The whole file: version, header, exchanges, events, closing mark.
std::string toYaml(const Recording &r);

}  // namespace zeltap

#endif

// Scripted misbehaviour: faults on commands, timed events, and the control
// requests that trigger the same at run time. Read from YAML.
#ifndef ZELSIM_SCENARIO_H
#define ZELSIM_SCENARIO_H

#include <memory>
#include <stdexcept>
#include <string>
#include <utility>
#include <vector>

#include "modem.h"

namespace re2 {
class RE2;
}

namespace zelsim {

// What happens to the answer of a matching command.
struct Fault {
    std::string pattern;  // regular expression over the whole command line
    std::shared_ptr<const re2::RE2> re;  // matches in time linear in the line
    int count = -1;  // times left; -1: every time
    bool replace = false;
    std::string reply;  // sent instead of the modem's answer when `replace`
    Ms delay_ms = 0;
    size_t chunk = 0;  // split the answer into pieces of this many bytes
    Ms pause_ms = 0;   // between pieces
    bool drop = false;    // close the connection instead of answering
    bool silent = false;  // answer nothing
};

// The bytes of one answer as they go out: pieces with their delay from the
// command, then possibly the end of the connection.
struct Delivery {
    std::vector<std::pair<Ms, std::string>> pieces;
    bool drop = false;
};

// The first fault that matches the line, its count taken down; NULL if none.
Fault *matchFault(std::vector<Fault> &faults, const std::string &line);
Delivery deliver(const Outcome &answer, const Fault *fault);

using Params = std::vector<std::pair<std::string, std::string>>;

struct Action {
    enum class Kind { Notify, IpChange, Sms, Unsolicited, Drop, Silent, Restart, Set, AddFault, ClearFaults, Status };
    Kind kind = Kind::Status;
    std::string text;    // Notify: the message bytes; IpChange, Unsolicited, Sms: the text
    std::string number;  // Sms: the sender
    Ms duration = 0;     // Silent, Restart
    Params params;       // Set
    Fault fault;         // AddFault
};

struct Timed {
    Ms at;
    Action action;
    // When set: sent to the client-th connection of its socket only (the
    // first is 1), `after` that connection was made. Recordings say so for
    // what the server pushed, so that a replay reaches the same listener.
    int client = 0;
    Ms after = 0;
};

// A recorded command and the answer the device gave, in the bursts in which
// it arrived, each with its delay after the command.
struct Exchange {
    enum class Link {
        Command,  // the command socket
        Port,     // a command line on the modem port
        Body,     // a message body on the modem port, up to its Ctrl-Z
    };
    Link link = Link::Command;
    std::string text;  // the command line without its end, or the body
    std::vector<std::pair<Ms, std::string>> reply;
};

struct Scenario {
    Params modem;  // initial settings, as Modem::setParam takes them
    std::vector<std::pair<std::string, std::string>> stored_sms;  // sender, text
    std::vector<Timed> events;
    std::vector<Fault> faults;
    std::vector<Exchange> exchanges;  // answered before the model is asked
};

struct ScenarioError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// Both throw ScenarioError with a message that names the offending entry and
// its line.
Scenario parseScenario(const std::string &yaml);
// One control request: an event or fault entry (without "at"), or one of
// the words status, clear_faults, drop.
Action parseControl(const std::string &text);

}  // namespace zelsim

#endif

// Answers from a recording: a command is matched by its text to the next
// unused recorded answer for that text; a masked field of the recording
// matches any value. No sockets here.
#ifndef ZELSIM_REPLAY_H
#define ZELSIM_REPLAY_H

#include <deque>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "scenario.h"

namespace zelsim {

class Replay {
public:
    // `strict`: what the recording does not hold is refused, not modelled.
    Replay(std::vector<Exchange> exchanges, bool strict);

    enum class How {
        Recorded,  // `bursts` hold the recorded answer
        Refused,   // not in the recording, and strict: `bursts` hold ERROR
        Model,     // not in the recording: the model answers
    };
    struct Answer {
        How how;
        std::vector<std::pair<Ms, std::string>> bursts;
    };
    Answer answer(Exchange::Link link, const std::string &text);

    int refused() const { return refused_; }

private:
    std::vector<Exchange> exchanges_;
    bool strict_;
    int refused_ = 0;
    // Unused exchanges in recorded order: by their exact text, and those with
    // a masked field.
    std::map<std::pair<Exchange::Link, std::string>, std::deque<size_t>> exact_;
    std::vector<size_t> masked_;
};

// Whether `command` is `recorded` with any value where that holds
// format::kMasked: a quoted value, or a run up to the next comma or quote.
bool matchesMasked(const std::string &recorded, const std::string &command);

// One answer from the bursts of a delivery: the bytes joined, sent after the last pause.
Outcome joined(const std::vector<std::pair<Ms, std::string>> &bursts);

}  // namespace zelsim

#endif

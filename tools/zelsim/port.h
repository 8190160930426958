// The modem's own AT port as an application sees it: command lines, and the
// two-stage message send (command, "> " prompt, body closed by Ctrl-Z or
// cancelled by ESC). Bytes in, replies out; the pseudo-terminal is elsewhere.
#ifndef ZELSIM_PORT_H
#define ZELSIM_PORT_H

#include <functional>

#include "modem.h"

namespace zelsim {

class PortSession {
public:
    // Answers an ordinary command line (the server applies its faults there).
    using Answer = std::function<Outcome(const std::string &line)>;
    // Answers a message send instead of the model (a recording does): the
    // AT+CMGS line, or the body when `body`. False leaves it to the model.
    using Script = std::function<bool(const std::string &text, bool body, Outcome *out)>;
    PortSession(Modem &modem, Answer answer, Script script = nullptr)
        : modem_(modem), answer_(std::move(answer)), script_(std::move(script)) {}

    // Bytes the application wrote; the answers to write back, in order.
    std::vector<Outcome> feed(const char *data, size_t n);

private:
    Outcome startSend(const std::string &line);
    Outcome finishSend();
    void startBody();

    Modem &modem_;
    Answer answer_;
    Script script_;
    LineSplitter lines_;
    bool in_body_ = false, skip_lf_ = false;
    std::string body_, number_;
    long pdu_octets_ = 0;
};

}  // namespace zelsim

#endif

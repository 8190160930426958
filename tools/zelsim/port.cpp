#include "port.h"

#include <strings.h>

#include "pdu.h"

namespace zelsim {

namespace {
constexpr char kCtrlZ = 0x1A, kEsc = 0x1B;
constexpr size_t kBodyMax = 4096;

Outcome bytes(const std::string &b) { return Outcome{b, 0, {}, true}; }
}  // namespace

std::vector<Outcome> PortSession::feed(const char *data, size_t n) {
    std::vector<Outcome> out;
    for (size_t i = 0; i < n; ++i) {
        char c = data[i];
        if (in_body_) {
            bool first = skip_lf_;
            skip_lf_ = false;
            if (c == kCtrlZ) {
                in_body_ = false;
                Outcome o;
                out.push_back(script_ && script_(body_, true, &o) ? o : finishSend());
            } else if (c == kEsc) {
                in_body_ = false;
                out.push_back(bytes(okReply()));
            } else if (c == '\n' && first) {
                // the line feed that followed the command's carriage return
            } else if (body_.size() < kBodyMax) {
                body_ += c;
            }
            continue;
        }
        for (const auto &line : lines_.feed(&c, 1)) {
            if (line.overlong) out.push_back(bytes(finalReply("ERROR")));
            else if (strncasecmp(line.text.c_str(), "AT+CMGS=", 8) != 0) out.push_back(answer_(line.text));
            else if (Outcome o; script_ && script_(line.text, false, &o)) {
                // A recorded prompt opens the body as the model's does.
                if (o.reply.size() >= 2 && o.reply.compare(o.reply.size() - 2, 2, "> ") == 0) startBody();
                out.push_back(o);
            } else out.push_back(startSend(line.text));
        }
    }
    return out;
}

Outcome PortSession::startSend(const std::string &line) {
    std::string arg = line.substr(8);
    if (modem_.settings["CMGF"] == "1") {
        // Text mode: the quoted destination, then an optional address type.
        size_t open = arg.find('"'), close = arg.find('"', open + 1);
        if (open != 0 || close == std::string::npos) return bytes(modem_.cms(304));
        number_ = arg.substr(1, close - 1);
    } else {
        char *end = nullptr;
        pdu_octets_ = strtol(arg.c_str(), &end, 10);
        if (end == arg.c_str() || *end != '\0' || pdu_octets_ <= 0) return bytes(modem_.cms(304));
    }
    std::string e = modem_.simError();
    if (!e.empty()) return bytes(e);
    startBody();
    return bytes("\r\n> ");
}

void PortSession::startBody() {
    in_body_ = true;
    skip_lf_ = true;
    body_.clear();
}

Outcome PortSession::finishSend() {
    std::string number = number_, text = body_;
    if (modem_.settings["CMGF"] != "1") {
        std::string raw;
        bool sized = fromHex(body_, &raw) && !raw.empty() &&
                     static_cast<long>(raw.size()) - 1 - static_cast<unsigned char>(raw[0]) == pdu_octets_;
        if (!sized || !decodeSubmit(body_, &number, &text)) return bytes(modem_.cms(304));
    }
    int mr = modem_.sendSms(number, text);
    if (mr < 0) return bytes(modem_.cms(-mr));
    return bytes(okReply("+CMGS: " + std::to_string(mr)));
}

}  // namespace zelsim

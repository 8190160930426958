#include "wire.h"

#include <cmath>
#include <cstdio>
#include <cstdlib>

namespace zelsim {

std::string itemByte(uint8_t type, uint8_t value) { return std::string{char(type), char(value)}; }

std::string itemOta(uint8_t status, uint8_t progress) {
    return std::string{char(NOTIFICATION_OTA_STATUS), char(status), char(progress)};
}

std::string itemUrc(const std::string &text) {
    uint8_t length[4];
    zel::wire::putUrcLength(static_cast<uint32_t>(text.size()), length);
    return char(NOTIFICATION_URC) + std::string(reinterpret_cast<char *>(length), sizeof length) + text;
}

std::string finalReply(const std::string &code) { return "\r\n" + code + "\r\n"; }

std::string okReply(const std::string &body) {
    return (body.empty() ? std::string() : "\r\n" + body + "\r\n") + finalReply("OK");
}

std::string toHex(const std::string &bytes) {
    static const char digits[] = "0123456789ABCDEF";
    std::string out;
    for (unsigned char c : bytes) {
        out += digits[c >> 4];
        out += digits[c & 15];
    }
    return out;
}

bool fromHex(const std::string &hex, std::string *bytes) {
    std::string out(hex.size() / 2, '\0');
    if (!zel::wire::hexDecode(hex.data(), hex.size(), reinterpret_cast<uint8_t *>(&out[0]))) return false;
    *bytes = std::move(out);
    return true;
}

std::string escaped(const std::string &bytes, size_t max) {
    std::string out;
    for (size_t i = 0; i < bytes.size() && i < max; ++i) {
        unsigned char c = bytes[i];
        if (c == '\r') out += "\\r";
        else if (c == '\n') out += "\\n";
        else if (c < 32 || c > 126) {
            char buf[8];
            snprintf(buf, sizeof buf, "\\x%02X", c);
            out += buf;
        } else out += char(c);
    }
    if (bytes.size() > max) out += "... (" + std::to_string(bytes.size()) + " bytes)";
    return out;
}

bool parseDuration(const std::string &text, Ms *ms, std::string *why) {
    const char *s = text.c_str();
    char *end = nullptr;
    double v = strtod(s, &end);
    std::string unit(end);
    const char *wrong = end == s                                ? "not a number"
                        : unit != "ms" && unit != "s" && !unit.empty() ? "unknown unit (use s or ms)"
                        : !std::isfinite(v)                     ? "not a finite number"
                        : v < 0                                 ? "negative"
                        : (unit == "ms" ? v : v * 1000.0) > kDayMs ? "longer than a day"
                                                                : nullptr;
    if (wrong != nullptr) {
        if (why != nullptr) *why = wrong;
        return false;
    }
    *ms = static_cast<Ms>(unit == "ms" ? v : v * 1000.0 + 0.5);
    return true;
}

std::vector<LineSplitter::Line> LineSplitter::feed(const char *data, size_t n) {
    std::vector<Line> lines;
    for (size_t i = 0; i < n; ++i) {
        char c = data[i];
        if (c == '\r' || c == '\n') {
            if (overlong_) lines.push_back({"", true});
            else if (!buf_.empty()) lines.push_back({buf_, false});
            buf_.clear();
            overlong_ = false;
        } else if (!overlong_) {
            buf_ += c;
            if (buf_.size() > max_) {
                buf_.clear();
                overlong_ = true;
            }
        }
    }
    return lines;
}

}  // namespace zelsim

// Byte-level pieces of the simulator: notification items, AT final result
// codes, hex text and a line splitter. No sockets here.
#ifndef ZELSIM_WIRE_H
#define ZELSIM_WIRE_H

#include <cstdint>
#include <string>
#include <vector>

#include "core/wire.h"

namespace zelsim {

using Ms = int64_t;

// One notification item: the type byte (NOTIFICATION_*) and its payload.
std::string itemByte(uint8_t type, uint8_t value);
std::string itemOta(uint8_t status, uint8_t progress);
std::string itemUrc(const std::string &text);

// A whole reply: information lines framed as "\r\n<line>\r\n", then the
// final result code.
std::string okReply(const std::string &body = "");
std::string finalReply(const std::string &code);  // "\r\n<code>\r\n"

std::string toHex(const std::string &bytes);
// Empty when the text is not an even count of hex digits.
bool fromHex(const std::string &hex, std::string *bytes);

// Printable form of wire bytes for the log: \r \n \xNN.
std::string escaped(const std::string &bytes, size_t max = 200);

// Parses "250ms", "2s", "1.5" (seconds) or a plain number of seconds, from
// 0 to one day. Returns false on anything else, with the reason in `*why`.
constexpr double kDayMs = 24.0 * 3600 * 1000;
bool parseDuration(const std::string &text, Ms *ms, std::string *why = nullptr);

// Cuts a byte stream into command lines at CR (a LF alone also ends a line;
// empty lines vanish). A line that grows past `max` bytes is dropped whole
// and reported once as `overlong` when its end arrives. The default keeps
// lines short enough for the command table's patterns, whose matcher
// recurses once per character; the library's own commands are at most 1 KiB.
class LineSplitter {
public:
    struct Line {
        std::string text;
        bool overlong = false;
    };
    explicit LineSplitter(size_t max = 2048) : max_(max) {}
    std::vector<Line> feed(const char *data, size_t n);
    // Bytes received that do not yet end a line.
    const std::string &pending() const { return buf_; }

private:
    size_t max_;
    std::string buf_;
    bool overlong_ = false;
};

}  // namespace zelsim

#endif

#include "recording.h"

#include <strings.h>

#include <cstdio>
#include <cstring>

#include "recording_format.h"

namespace zeltap {

namespace {

// Commands that carry secrets, and which of their fields (counted from 0
// after '='); an empty list masks every field.
struct Secret {
    const char *prefix;
    std::vector<int> fields;
};
const Secret kSecrets[] = {
    {"AT+CPIN=", {}},        // PIN, PUK and new PIN
    {"AT+CLCK=", {2}},       // facility, mode, password
    {"AT+CPWD=", {1, 2}},    // facility, old and new password
    {"AT+VANTORREG=", {}},   // cloud credentials
};

bool masked(const Secret &s, int field) {
    if (s.fields.empty()) return true;
    for (int f : s.fields)
        if (f == field) return true;
    return false;
}

}  // namespace

std::string maskSecrets(const std::string &line) {
    for (const Secret &s : kSecrets) {
        size_t n = strlen(s.prefix);
        if (line.size() < n || strncasecmp(line.c_str(), s.prefix, n) != 0) continue;
        std::string out = line.substr(0, n);
        int field = 0;
        for (size_t i = n; i <= line.size(); ++field) {
            size_t end = i;
            while (end < line.size() && line[end] != ',') {  // a quoted value may hold commas
                if (line[end] == '"') {
                    size_t close = line.find('"', end + 1);
                    end = close == std::string::npos ? line.size() : close + 1;
                } else {
                    ++end;
                }
            }
            out += masked(s, field) ? std::string(zelsim::format::kMasked) : line.substr(i, end - i);
            if (end < line.size()) out += ',';
            i = end + 1;
        }
        return out;
    }
    return line;
}

std::string yamlText(const std::string &text) {
    std::string out = "\"";
    for (unsigned char c : text) {
        switch (c) {
        case '"': out += "\\\""; break;
        case '\\': out += "\\\\"; break;
        case '\r': out += "\\r"; break;
        case '\n': out += "\\n"; break;
        case '\t': out += "\\t"; break;
        default:
            if (c < 0x20 || c == 0x7F) {
                char buf[8];
                snprintf(buf, sizeof buf, "\\x%02X", c);
                out += buf;
            } else {
                out += static_cast<char>(c);
            }
        }
    }
    return out + "\"";
}

std::string yamlBytes(const std::string &bytes) {
    for (unsigned char c : bytes)
        if (c > 0x7E) return "{hex: " + zelsim::toHex(bytes) + "}";
    return yamlText(bytes);
}

namespace {

std::string ms(Ms v) { return std::to_string(v) + "ms"; }

}  // namespace

std::string toYaml(const Recording &r) {
    std::string y = "# Recorded by zeltap: replay with zelsim --scenario FILE --strict\n";
    y += "version: " + std::to_string(zelsim::format::kVersion) + "\n";
    y += "recording: {tool: zeltap, started: " + yamlText(r.started) + ", stopped: " + yamlText(r.stopped) +
         ", redacted: [";
    for (size_t i = 0; i < r.replaced.size(); ++i) y += (i ? ", " : "") + r.replaced[i];
    y += "]}\n";
    y += r.exchanges.empty() ? "exchanges: []\n" : "exchanges:\n";
    for (const Exchange &e : r.exchanges) {
        y += "  - {at: " + ms(e.at) + (e.port ? ", port: true" : "") + (e.body ? ", body: " : ", command: ") +
             yamlBytes(e.text) + ", reply: [";
        for (size_t i = 0; i < e.reply.size(); ++i)
            y += std::string(i ? ", " : "") + "[" + ms(e.reply[i].first) + ", " + yamlBytes(e.reply[i].second) + "]";
        y += "]}\n";
    }
    y += r.events.empty() ? "events: []\n" : "events:\n";
    for (const Event &e : r.events) {
        y += "  - {at: " + ms(e.at) + ", client: " + std::to_string(e.client) + ", after: " + ms(e.after) + ", ";
        switch (e.kind) {
        case Event::Kind::Notify: y += "notify: {raw: \"" + zelsim::toHex(e.bytes) + "\"}"; break;
        case Event::Kind::IpChange: y += "ip_change: " + yamlText(e.bytes); break;
        case Event::Kind::Unsolicited: y += "unsolicited: " + yamlText(e.bytes); break;
        }
        y += "}\n";
    }
    return y + "end: true\n";
}

}  // namespace zeltap

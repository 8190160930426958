#include "render.h"

#include <algorithm>
#include <sstream>
#include <vector>

namespace zelctl {

const char *statusMeaning(int32_t status) {
    switch (status) {
        case 0: return "success";
        case 1: return "an argument is out of range";
        case 2: return "a required argument is missing";
        case 4: return "another program is using the library (lock file " ZEL_WIRE_DIR "/" ZEL_WIRE_LOCK_FILE ")";
        case 5: return "failure: no connection or no reply in time, or an error or unexpected reply";
        case 6: return "empty result: the modem reported nothing";
        case -1: return "missing or invalid argument, or callback table full";
        case -99: return "the modem refused the firmware-update command or its reply was not understood";
        default: return "unknown status";
    }
}

std::string failureText(const std::string &function, int32_t status) {
    return function + " failed with status " + std::to_string(status) + " (" + statusMeaning(status) + ")";
}

namespace {

std::string label(const std::string &key) {
    std::string l = key;
    std::replace(l.begin(), l.end(), '_', ' ');
    return l;
}

std::string scalar(const Json &v) {
    if (v.is_null()) return "-";
    if (v.is_boolean()) return v.get<bool>() ? "yes" : "no";
    if (v.is_string()) return v.get<std::string>().empty() ? "-" : v.get<std::string>();
    if (v.is_array()) {
        std::string out;
        for (const auto &e : v) out += (out.empty() ? "" : ", ") + scalar(e);
        return out;
    }
    return v.dump();
}

// A table cell keeps to its row: line breaks become " / ".
std::string oneLine(std::string text) {
    for (size_t p; (p = text.find('\n')) != std::string::npos;) text.replace(p, 1, " / ");
    return text;
}

bool tableLike(const Json &v) { return v.is_array() && !v.empty() && v.front().is_object(); }

std::string indent(const std::string &text, const std::string &pad) {
    std::string out;
    std::istringstream in(text);
    for (std::string line; std::getline(in, line);) out += pad + line + "\n";
    return out;
}

}  // namespace

std::string table(const Json &rows) {
    std::vector<std::string> cols;
    for (const auto &row : rows)
        for (const auto &item : row.items())
            if (std::find(cols.begin(), cols.end(), item.key()) == cols.end()) cols.push_back(item.key());
    std::vector<size_t> width(cols.size());
    for (size_t c = 0; c < cols.size(); ++c) {
        width[c] = cols[c].size();
        for (const auto &row : rows) width[c] = std::max(width[c], oneLine(scalar(row.value(cols[c], Json()))).size());
    }
    auto cell = [&](const std::string &text, size_t c, bool right) {
        std::string pad(width[c] - std::min(width[c], text.size()), ' ');
        return right ? pad + text : text + pad;
    };
    std::string out;
    for (size_t c = 0; c < cols.size(); ++c) out += (c ? "  " : "") + cell(cols[c], c, false);
    out.erase(out.find_last_not_of(' ') + 1);
    out += "\n";
    for (const auto &row : rows) {
        std::string line;
        for (size_t c = 0; c < cols.size(); ++c) {
            const Json v = row.value(cols[c], Json());
            line += (c ? "  " : "") + cell(oneLine(scalar(v)), c, v.is_number());
        }
        line.erase(line.find_last_not_of(' ') + 1);
        out += line + "\n";
    }
    return out;
}

std::string human(const Json &doc) {
    if (!doc.is_object()) return scalar(doc) + "\n";
    size_t w = 0;
    for (const auto &item : doc.items())
        if (!item.value().is_object() && !tableLike(item.value())) w = std::max(w, item.key().size());
    std::string out;
    for (const auto &item : doc.items()) {
        const Json &v = item.value();
        if (v.is_object()) out += label(item.key()) + ":\n" + indent(human(v), "  ");
        else if (tableLike(v)) out += label(item.key()) + ":\n" + indent(table(v), "  ");
        else {
            std::string text = v.is_array() && v.empty() ? "none" : scalar(v);
            out += label(item.key()) + std::string(w - item.key().size() + 2, ' ') + text + "\n";
        }
    }
    return out;
}

std::string progressBar(int percent, int width) {
    percent = std::clamp(percent, 0, 100);
    int filled = percent * width / 100;
    std::string bar = "[" + std::string(filled, '#') + std::string(width - filled, '-') + "] ";
    std::string num = std::to_string(percent);
    return bar + std::string(3 - num.size(), ' ') + num + "%";
}

std::string eventLine(const Json &event) {
    std::string line = event.value("time", "") + "  " + event.value("name", event.value("event", ""));
    for (const auto &item : event.items()) {
        const std::string &k = item.key();
        if (k != "time" && k != "event" && k != "name" && k != "type") line += "  " + k + "=" + scalar(item.value());
    }
    return line;
}

char spinnerFrame(unsigned tick) { return "|/-\\"[tick % 4]; }

std::string checkInt(const std::string &text, long lo, long hi) {
    auto v = toInt(text);
    if (!v) return "'" + text + "' is not a whole number";
    if (*v < lo || *v > hi)
        return text + " is out of range (" + std::to_string(lo) + " to " + std::to_string(hi) + ")";
    return "";
}

std::string checkDigits(const std::string &text, size_t min, size_t max) {
    bool digits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    if (!digits) return "'" + text + "' is not a string of digits";
    if (text.size() < min || text.size() > max)
        return "'" + text + "' must have " +
               (min == max ? std::to_string(min) : std::to_string(min) + " to " + std::to_string(max)) + " digits";
    return "";
}

std::string checkPhone(const std::string &text) {
    std::string digits = text.empty() || text[0] != '+' ? text : text.substr(1);
    if (!checkDigits(digits, 3, 20).empty()) return "'" + text + "' is not a phone number ('+' and 3 to 20 digits)";
    return "";
}

std::string checkAtCommand(const std::string &text) {
    if (text.size() < 2 || (text.compare(0, 2, "AT") != 0 && text.compare(0, 2, "at") != 0))
        return "'" + text + "' is not an AT command (it must start with AT)";
    if (text.find_first_of("\r\n") != std::string::npos) return "an AT command is a single line";
    if (text.size() > 1021) return "the AT command is longer than 1021 characters";
    return "";
}

std::string checkText(const std::string &text, size_t max, const std::string &forbidden) {
    if (text.empty()) return "the text is empty";
    if (text.size() > max) return "the text is longer than " + std::to_string(max) + " bytes";
    size_t bad = text.find_first_of(forbidden);
    if (bad == std::string::npos) return "";
    const char c = text[bad];
    std::string name = c == '\r' ? "a carriage return" : c == '\n' ? "a line break" : c == '\x1a' ? "Ctrl-Z"
                     : c == '"' ? "a double quote" : std::string("'") + c + "'";
    return "the text must not hold " + name;
}

}  // namespace zelctl

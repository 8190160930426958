#include "replay.h"

#include "recording_format.h"

namespace zelsim {

bool matchesMasked(const std::string &recorded, const std::string &command) {
    const std::string mask = format::kMasked;
    size_t r = 0, c = 0;
    for (size_t m; (m = recorded.find(mask, r)) != std::string::npos; r = m + mask.size()) {
        if (command.compare(c, m - r, recorded, r, m - r) != 0) return false;
        c += m - r;
        // A quoted value where the recording has no quote of its own is taken whole.
        bool quoted = c < command.size() && command[c] == '"' && (m == 0 || recorded[m - 1] != '"');
        size_t end = quoted ? command.find('"', c + 1) : command.find_first_of(",\"", c);
        c = end == std::string::npos ? command.size() : end + (quoted ? 1 : 0);
    }
    return command.compare(c, std::string::npos, recorded, r, std::string::npos) == 0;
}

Outcome joined(const std::vector<std::pair<Ms, std::string>> &bursts) {
    Outcome o;
    for (const auto &b : bursts) o.reply += b.second;
    o.delay_ms = bursts.empty() ? 0 : bursts.back().first;
    return o;
}

Replay::Replay(std::vector<Exchange> exchanges, bool strict) : exchanges_(std::move(exchanges)), strict_(strict) {
    for (size_t i = 0; i < exchanges_.size(); ++i) {
        const Exchange &e = exchanges_[i];
        if (e.text.find(format::kMasked) != std::string::npos) masked_.push_back(i);
        else exact_[{e.link, e.text}].push_back(i);
    }
}

Replay::Answer Replay::answer(Exchange::Link link, const std::string &text) {
    size_t found = exchanges_.size();
    auto exact = exact_.find({link, text});
    if (exact != exact_.end() && !exact->second.empty()) found = exact->second.front();
    auto masked = masked_.begin();
    for (; masked != masked_.end() && *masked < found; ++masked)
        if (exchanges_[*masked].link == link && matchesMasked(exchanges_[*masked].text, text)) break;
    if (masked != masked_.end() && *masked < found) {
        found = *masked;
        masked_.erase(masked);
    } else if (found < exchanges_.size()) {
        exact->second.pop_front();
    } else if (strict_) {
        ++refused_;
        return {How::Refused, {{0, finalReply("ERROR")}}};
    } else {
        return {How::Model, {}};
    }
    return {How::Recorded, exchanges_[found].reply};
}

}  // namespace zelsim

#include "scenario.h"

#include <re2/re2.h>
#include <yaml-cpp/yaml.h>

#include <algorithm>
#include <map>

#include "recording_format.h"

namespace zelsim {

Fault *matchFault(std::vector<Fault> &faults, const std::string &line) {
    for (Fault &f : faults) {
        if (f.count == 0 || !RE2::FullMatch(line, *f.re)) continue;
        if (f.count > 0) --f.count;
        return &f;
    }
    return nullptr;
}

Delivery deliver(const Outcome &answer, const Fault *fault) {
    Delivery d;
    if (fault != nullptr && fault->drop) {
        d.drop = true;
        return d;
    }
    if (fault != nullptr && fault->silent) return d;
    std::string bytes = fault != nullptr && fault->replace ? fault->reply : answer.reply;
    Ms at = answer.delay_ms + (fault != nullptr ? fault->delay_ms : 0);
    size_t chunk = fault != nullptr && fault->chunk > 0 ? fault->chunk : bytes.size();
    for (size_t i = 0; i < bytes.size(); i += chunk, at += fault != nullptr ? fault->pause_ms : 0)
        d.pieces.emplace_back(at, bytes.substr(i, chunk));
    return d;
}

namespace {

[[noreturn]] void fail(const YAML::Node &n, const std::string &what) {
    throw ScenarioError("line " + std::to_string(n.Mark().line + 1) + ": " + what);
}

std::string scalar(const YAML::Node &n, const std::string &key) {
    if (!n.IsScalar()) fail(n, "'" + key + "' needs a single value");
    return n.Scalar();
}

Ms duration(const YAML::Node &n, const std::string &key) {
    Ms ms = 0;
    std::string why;
    if (!parseDuration(scalar(n, key), &ms, &why))
        fail(n, "'" + key + "' is not a duration (like 2s, 250ms or 1.5): " + why);
    return ms;
}

long integer(const YAML::Node &n, const std::string &key, long lo, long hi) {
    std::string s = scalar(n, key);
    char *end = nullptr;
    long v = strtol(s.c_str(), &end, 0);
    if (s.empty() || *end != '\0' || v < lo || v > hi)
        fail(n, "'" + key + "' must be a number from " + std::to_string(lo) + " to " + std::to_string(hi));
    return v;
}

bool flag(const YAML::Node &n, const std::string &key) {
    try {
        return n.as<bool>();
    } catch (const YAML::Exception &) {
        fail(n, "'" + key + "' must be true or false");
    }
}

void onlyKeys(const YAML::Node &n, std::initializer_list<const char *> keys) {
    if (!n.IsMap()) fail(n, "expected a mapping");
    for (const auto &kv : n) {
        std::string k = kv.first.Scalar();
        if (std::none_of(keys.begin(), keys.end(), [&k](const char *x) { return k == x; }))
            fail(kv.first, "unknown key '" + k + "'");
    }
}

// A type by its name (zel::wire::kNotificationNames) or number.
long itemType(const YAML::Node &n) {
    const std::string t = scalar(n, "type");
    for (uint8_t i = 0; i < zel::wire::kNotificationTypes; ++i)
        if (t == zel::wire::kNotificationNames[i]) return i;
    return integer(n, "type", 0, 255);
}

std::string item(const YAML::Node &n) {
    onlyKeys(n, {"type", "value", "status", "progress", "text", "raw"});
    if (n["raw"]) {
        std::string bytes;
        if (!fromHex(scalar(n["raw"], "raw"), &bytes)) fail(n["raw"], "'raw' must be hex digits in pairs");
        return bytes;
    }
    if (!n["type"]) fail(n, "a notification needs 'type'");
    long type = itemType(n["type"]);
    auto byte = [&n](const char *key) { return n[key] ? static_cast<uint8_t>(integer(n[key], key, 0, 255)) : 0; };
    if (type == NOTIFICATION_OTA_STATUS) return itemOta(byte("status"), byte("progress"));
    if (type == NOTIFICATION_URC) return itemUrc(n["text"] ? scalar(n["text"], "text") : "");
    return itemByte(static_cast<uint8_t>(type), byte("value"));
}

Fault fault(const YAML::Node &n) {
    onlyKeys(n, {"on", "count", "error", "cme_error", "cms_error", "reply", "delay", "chunk", "pause", "drop",
                 "silent"});
    Fault f;
    f.pattern = scalar(n["on"], "on");
    RE2::Options options;
    options.set_case_sensitive(false);
    options.set_log_errors(false);
    options.set_max_mem(1 << 20);
    f.re = std::make_shared<const RE2>(f.pattern, options);
    if (!f.re->ok()) fail(n["on"], "'on' is not a regular expression: " + f.re->error());
    if (n["count"]) f.count = static_cast<int>(integer(n["count"], "count", 1, 1000000));
    if (n["error"] && flag(n["error"], "error")) f.reply = finalReply("ERROR");
    if (n["cme_error"]) f.reply = finalReply("+CME ERROR: " + std::to_string(integer(n["cme_error"], "cme_error", 0, 9999)));
    if (n["cms_error"]) f.reply = finalReply("+CMS ERROR: " + std::to_string(integer(n["cms_error"], "cms_error", 0, 9999)));
    if (n["reply"]) f.reply = scalar(n["reply"], "reply");
    f.replace = !f.reply.empty();
    if (n["delay"]) f.delay_ms = duration(n["delay"], "delay");
    if (n["chunk"]) f.chunk = static_cast<size_t>(integer(n["chunk"], "chunk", 1, 1 << 20));
    if (n["pause"]) f.pause_ms = duration(n["pause"], "pause");
    if (n["drop"]) f.drop = flag(n["drop"], "drop");
    if (n["silent"]) f.silent = flag(n["silent"], "silent");
    return f;
}

Params params(const YAML::Node &n, const std::string &key) {
    if (!n.IsMap()) fail(n, "'" + key + "' needs a mapping of settings");
    Params p;
    for (const auto &kv : n)
        if (kv.first.Scalar() != "sms") p.emplace_back(kv.first.Scalar(), scalar(kv.second, kv.first.Scalar()));
    return p;
}

std::pair<std::string, std::string> message(const YAML::Node &n) {
    onlyKeys(n, {"from", "text"});
    if (!n["from"] || !n["text"]) fail(n, "a message needs 'from' and 'text'");
    return {scalar(n["from"], "from"), scalar(n["text"], "text")};
}

Action action(const YAML::Node &n) {
    if (!n.IsMap()) fail(n, "expected a mapping");
    Action a;
    if (n["on"]) {
        a.kind = Action::Kind::AddFault;
        a.fault = fault(n);
        return a;
    }
    using K = Action::Kind;
    static const std::map<std::string, K> kinds = {
        {"notify", K::Notify}, {"ip_change", K::IpChange}, {"sms", K::Sms},   {"unsolicited", K::Unsolicited},
        {"drop", K::Drop},     {"silent", K::Silent},      {"restart", K::Restart}, {"set", K::Set},
        {"clear_faults", K::ClearFaults}, {"status", K::Status},
    };
    int found = 0;
    for (const auto &kv : n) {
        std::string k = kv.first.Scalar();
        if (k == "at" || k == "client" || k == "after") continue;
        auto it = kinds.find(k);
        if (it == kinds.end()) fail(kv.first, "unknown key '" + k + "'");
        if (++found > 1) fail(kv.first, "one action per entry");
        a.kind = it->second;
        const YAML::Node &v = kv.second;
        switch (a.kind) {
        case Action::Kind::Notify:
            if (v.IsSequence())
                for (const auto &i : v) a.text += item(i);
            else
                a.text = item(v);
            break;
        case Action::Kind::IpChange:
        case Action::Kind::Unsolicited: a.text = scalar(v, k); break;
        case Action::Kind::Sms: std::tie(a.number, a.text) = message(v); break;
        case Action::Kind::Silent:
        case Action::Kind::Restart: a.duration = duration(v, k); break;
        case Action::Kind::Set: a.params = params(v, k); break;
        case Action::Kind::Drop:
        case Action::Kind::ClearFaults:
        case Action::Kind::Status:
        case Action::Kind::AddFault: break;
        }
    }
    if (found == 0) fail(n, "an entry needs an action (notify, ip_change, sms, unsolicited, drop, silent, restart, set)");
    return a;
}

// An event of the timeline; a recorded one names the connection it went to.
Timed event(const YAML::Node &n) {
    Timed t{duration(n["at"], "at"), action(n)};
    if (!n["client"]) {
        if (n["after"]) fail(n["after"], "'after' counts from the connection named by 'client'");
        return t;
    }
    using K = Action::Kind;
    if (t.action.kind != K::Notify && t.action.kind != K::IpChange && t.action.kind != K::Unsolicited)
        fail(n["client"], "'client' goes with notify, ip_change or unsolicited");
    t.client = static_cast<int>(integer(n["client"], "client", 1, 1000000));
    if (n["after"]) t.after = duration(n["after"], "after");
    return t;
}

// Bytes as a recording writes them: text, or {hex: DIGITS} for bytes that are not.
std::string bytes(const YAML::Node &n, const std::string &key) {
    if (!n.IsMap()) return scalar(n, key);
    onlyKeys(n, {"hex"});
    std::string out;
    if (!n["hex"] || !fromHex(scalar(n["hex"], "hex"), &out)) fail(n, "'" + key + "' is text or {hex: DIGITS}");
    return out;
}

Exchange exchange(const YAML::Node &n) {
    onlyKeys(n, {"at", "port", "command", "body", "reply"});
    Exchange e;
    if (n["at"]) duration(n["at"], "at");  // when it was recorded; a replay answers commands as they come
    bool port = n["port"] && flag(n["port"], "port");
    if (!n["command"] == !n["body"]) fail(n, "an exchange has a 'command', or on the modem port a message 'body'");
    if (n["body"] && !port) fail(n["body"], "a message 'body' is sent on the modem port: add 'port: true'");
    e.link = n["body"] ? Exchange::Link::Body : port ? Exchange::Link::Port : Exchange::Link::Command;
    e.text = n["body"] ? bytes(n["body"], "body") : bytes(n["command"], "command");
    const YAML::Node &reply = n["reply"];
    if (!reply) return e;
    if (!reply.IsSequence()) fail(reply, "'reply' is a list of bursts, each [TIME, BYTES]");
    for (const auto &burst : reply) {
        if (!burst.IsSequence() || burst.size() != 2) fail(burst, "a burst of 'reply' is [TIME, BYTES]");
        Ms at = duration(burst[0], "reply");
        if (!e.reply.empty() && at < e.reply.back().first) fail(burst, "the bursts of 'reply' go in time order");
        e.reply.emplace_back(at, bytes(burst[1], "reply"));
    }
    return e;
}

YAML::Node load(const std::string &text) {
    try {
        return YAML::Load(text);
    } catch (const YAML::Exception &e) {
        if (e.mark.is_null()) throw ScenarioError(e.what());
        throw ScenarioError("line " + std::to_string(e.mark.line + 1) + ", column " + std::to_string(e.mark.column + 1) +
                            ": " + e.msg);
    }
}

// The entries of a list, each a mapping; an absent list has none.
std::vector<YAML::Node> entries(const YAML::Node &n, const std::string &key) {
    std::vector<YAML::Node> out;
    if (!n) return out;
    if (!n.IsSequence()) fail(n, "'" + key + "' needs a list");
    for (const auto &e : n) {
        if (!e.IsMap()) fail(e, "each entry of '" + key + "' is a mapping");
        out.push_back(e);
    }
    return out;
}

// The version, the header a recorder writes, its exchanges, and the closing
// mark without which a recording was cut short.
void recording(const YAML::Node &root, const std::string &text, Scenario *s) {
    if (const YAML::Node v = root["version"]) {
        if (scalar(v, "version") != std::to_string(format::kVersion))
            fail(v, "version " + v.Scalar() + " is not one this zelsim reads (it reads version " +
                        std::to_string(format::kVersion) + ")");
    }
    if (const YAML::Node r = root["recording"]) {
        if (!r.IsMap()) fail(r, "'recording' is the recorder's header, a mapping");
        if (!root["end"]) {
            long lines = std::count(text.begin(), text.end(), '\n') + (text.empty() || text.back() == '\n' ? 0 : 1);
            throw ScenarioError("line " + std::to_string(lines) +
                                ": the recording stops here without its closing 'end: true'; the file was cut short");
        }
    }
    if (root["end"] && !flag(root["end"], "end")) fail(root["end"], "'end' closes a recording: end: true");
    for (const auto &e : entries(root["exchanges"], "exchanges")) s->exchanges.push_back(exchange(e));
}

Scenario scenario(const YAML::Node &root, const std::string &text) {
    Scenario s;
    if (!root || root.IsNull()) return s;
    if (!root.IsMap()) fail(root, "not a scenario: the top level is a mapping of modem, events, faults and exchanges");
    onlyKeys(root, {"version", "recording", "modem", "events", "faults", "exchanges", "end"});
    recording(root, text, &s);
    if (const YAML::Node m = root["modem"]) {
        s.modem = params(m, "modem");
        for (const auto &e : entries(m["sms"], "sms")) s.stored_sms.push_back(message(e));
    }
    for (const auto &e : entries(root["events"], "events")) {
        if (!e["at"]) fail(e, "an event needs 'at'");
        if (e["on"]) fail(e, "faults belong under 'faults'");
        s.events.push_back(event(e));
    }
    std::stable_sort(s.events.begin(), s.events.end(), [](const Timed &a, const Timed &b) { return a.at < b.at; });
    for (const auto &e : entries(root["faults"], "faults")) {
        if (!e["on"]) fail(e, "a fault needs 'on'");
        s.faults.push_back(fault(e));
    }
    return s;
}

}  // namespace

Scenario parseScenario(const std::string &yaml) {
    try {
        return scenario(load(yaml), yaml);
    } catch (const YAML::Exception &e) {  // a shape the checks above did not foresee
        throw ScenarioError(e.what());
    }
}

Action parseControl(const std::string &text) {
    try {
        YAML::Node n = load(text);
        if (n.IsScalar()) n = load("{" + n.Scalar() + ": true}");
        if (n.IsMap() && n["at"]) fail(n, "a control request runs now: leave out 'at'");
        return action(n);
    } catch (const YAML::Exception &e) {
        throw ScenarioError(e.what());
    }
}

}  // namespace zelsim

#include "modem.h"

#include <cmath>
#include <ctime>

namespace zelsim {

namespace {

bool toInt(const std::string &v, long *out) {
    try {
        size_t used = 0;
        *out = std::stol(v, &used);
        return used == v.size();
    } catch (const std::exception &) {
        return false;
    }
}

bool toBool(const std::string &v, bool *out) {
    if (v == "true" || v == "1" || v == "yes" || v == "on") *out = true;
    else if (v == "false" || v == "0" || v == "no" || v == "off") *out = false;
    else return false;
    return true;
}

using Setter = std::function<bool(Modem &, const std::string &, std::string *why)>;

template <typename T>
Setter integer(T Modem::*field) {
    return [field](Modem &m, const std::string &v, std::string *) {
        long n;
        if (!toInt(v, &n)) return false;
        m.*field = static_cast<T>(n);
        return true;
    };
}
Setter text(std::string Modem::*field) {
    return [field](Modem &m, const std::string &v, std::string *) {
        m.*field = v;
        return true;
    };
}
Setter flag(bool Modem::*field) {
    return [field](Modem &m, const std::string &v, std::string *) { return toBool(v, &(m.*field)); };
}
Setter duration(Ms Modem::*field) {
    return [field](Modem &m, const std::string &v, std::string *why) { return parseDuration(v, &(m.*field), why); };
}
Setter real(double Modem::*field) {
    return [field](Modem &m, const std::string &v, std::string *) {
        char *end = nullptr;
        double d = strtod(v.c_str(), &end);
        if (v.empty() || *end != '\0' || !std::isfinite(d)) return false;
        m.*field = d;
        return true;
    };
}

const std::map<std::string, Setter> &setters() {
    static const std::map<std::string, Setter> table = {
        {"manufacturer", text(&Modem::manufacturer)},
        {"model", text(&Modem::model)},
        {"revision", text(&Modem::revision)},
        {"next_revision", text(&Modem::next_revision)},
        {"imei", text(&Modem::imei)},
        {"iccid", text(&Modem::iccid)},
        {"imsi", text(&Modem::imsi)},
        {"msisdn", text(&Modem::msisdn)},
        {"pin", text(&Modem::pin)},
        {"puk", text(&Modem::puk)},
        {"pin_enabled",
         [](Modem &m, const std::string &v, std::string *) {
             if (!toBool(v, &m.pin_enabled)) return false;
             if (m.sim == SimState::Ready || m.sim == SimState::Pin)
                 m.sim = m.pin_enabled ? SimState::Pin : SimState::Ready;
             return true;
         }},
        {"sim",
         [](Modem &m, const std::string &v, std::string *) {
             static const std::map<std::string, SimState> states = {{"ready", SimState::Ready},
                                                                    {"pin", SimState::Pin},
                                                                    {"puk", SimState::Puk},
                                                                    {"blocked", SimState::Blocked},
                                                                    {"absent", SimState::Absent}};
             auto it = states.find(v);
             if (it == states.end()) return false;
             m.sim = it->second;
             return true;
         }},
        {"signal", integer(&Modem::rssi_base)},
        {"network", flag(&Modem::network)},
        {"rat",
         [](Modem &m, const std::string &v, std::string *) {
             if (v != "lte" && v != "gsm") return false;
             m.gsm_rat = v == "gsm";
             return true;
         }},
        {"cfun", integer(&Modem::cfun)},
        {"operator", text(&Modem::oper_long)},
        {"operator_short", text(&Modem::oper_short)},
        {"plmn",
         [](Modem &m, const std::string &v, std::string *) {
             if (!std::regex_match(v, std::regex(R"(\d{5,6})"))) return false;  // MCC and a 2- or 3-digit MNC
             m.plmn = v;
             return true;
         }},
        {"scan", duration(&Modem::scan_ms)},
        {"cell_id", integer(&Modem::cell_id)},
        {"tac", integer(&Modem::tac)},
        {"pci", integer(&Modem::pci)},
        {"earfcn", integer(&Modem::earfcn)},
        {"band", integer(&Modem::band)},
        {"tz_quarters", integer(&Modem::tz_quarters)},
        {"ttff", duration(&Modem::ttff_ms)},
        {"lat", real(&Modem::lat0)},
        {"lon", real(&Modem::lon0)},
        {"speed", real(&Modem::speed_mps)},
        {"heading", real(&Modem::heading_deg)},
        {"vantor_delay", duration(&Modem::vantor_ms)},
        {"ota_check", duration(&Modem::ota_check_ms)},
        {"ota_download", duration(&Modem::ota_download_ms)},
        {"ota_install", duration(&Modem::ota_install_ms)},
        {"ota_activate", duration(&Modem::ota_activate_ms)},
        {"restart", duration(&Modem::restart_ms)},
        {"wakeup_reason", integer(&Modem::wakeup_reason)},
    };
    return table;
}

// A small deterministic wobble, so two runs see the same signal.
int jitter(Ms t) {
    uint32_t h = static_cast<uint32_t>(t / 7000) * 2654435761u;
    return static_cast<int>((h >> 16) % 3) - 1;
}

}  // namespace

Modem::Modem() : settings(defaultSettings()) { pdp[1] = {"IP", "internet", false, ""}; }

bool Modem::setParam(const std::string &key, const std::string &value, std::string *why) {
    std::string reason = "not a valid value";
    auto it = setters().find(key);
    if (it == setters().end()) reason = "no such setting";
    else if (it->second(*this, value, &reason)) return true;
    if (why != nullptr) *why = reason;
    return false;
}

long Args::num(size_t i) const {
    long n = 0;
    return i < g.size() && toInt(str(i), &n) ? n : 0;
}

std::string Args::str(size_t i) const {
    if (i >= g.size()) return "";
    const std::string &s = g[i];
    if (s.size() >= 2 && s.front() == '"' && s.back() == '"') return s.substr(1, s.size() - 2);
    return s;
}

Event notification(const std::string &items, Ms delay) { return {Event::Kind::Notification, delay, items, 0}; }

Outcome Modem::handle(const std::string &line, Ms at) {
    now = at;
    settle();
    size_t b = line.find_first_not_of(" \t"), e = line.find_last_not_of(" \t");
    std::string cmd = b == std::string::npos ? "" : line.substr(b, e - b + 1);
    Outcome out;
    bool matched = false;
    for (const Row &row : commandTable()) {
        std::smatch m;
        if (!std::regex_match(cmd, m, row.re)) continue;
        Args args;
        for (const auto &sub : m) args.g.push_back(sub.str());
        out = row.handler(*this, args);
        matched = true;
        break;
    }
    if (!matched) {
        out.known = false;
        out.reply = finalReply("ERROR");
    }
    if (echo && !out.reply.empty()) out.reply = cmd + "\r" + out.reply;
    return out;
}

void Modem::settle() {
    if (vantor == Reg::Registering && now - vantor_since >= vantor_ms) vantor = Reg::Registered;
    if (!ota.step.empty() && now - ota.since >= ota.duration) {
        if (ota.step == "check") ota.checked = true;
        if (ota.step == "download") ota.downloaded = true;
        if (ota.step == "install") ota.installed = true;
        if (ota.step == "activate") ota.activated = true;
        ota.step.clear();
        ota.progress = 100;
    }
}

bool Modem::registered() const { return network && cfun == 1 && sim == SimState::Ready && cops_mode != 2; }

int Modem::csq() const {
    if (!registered()) return 99;
    double wave = 3.0 * std::sin(2 * M_PI * static_cast<double>(now) / 60000.0);
    int v = rssi_base + static_cast<int>(std::lround(wave)) + jitter(now);
    return v < 0 ? 0 : v > 31 ? 31 : v;
}

std::string Modem::clockText() const {
    time_t t = time(nullptr) + clock_offset_s + tz_quarters * 15 * 60;
    struct tm tm;
    gmtime_r(&t, &tm);
    char buf[40];
    snprintf(buf, sizeof buf, "%02d/%02d/%02d,%02d:%02d:%02d%c%02d", tm.tm_year % 100, tm.tm_mon + 1, tm.tm_mday,
             tm.tm_hour, tm.tm_min, tm.tm_sec, tz_quarters < 0 ? '-' : '+', std::abs(tz_quarters));
    return buf;
}

void Modem::position(double *lat, double *lon) const {
    double metres = speed_mps * static_cast<double>(now) / 1000.0;
    double h = heading_deg * M_PI / 180.0;
    *lat = lat0 + metres * std::cos(h) / 111320.0;
    *lon = lon0 + metres * std::sin(h) / (111320.0 * std::cos(lat0 * M_PI / 180.0));
}

std::string Modem::cme(int code) const {
    static const std::map<int, std::string> words = {
        {3, "operation not allowed"}, {4, "operation not supported"}, {10, "SIM not inserted"},
        {11, "SIM PIN required"},     {12, "SIM PUK required"},       {13, "SIM failure"},
        {16, "incorrect password"},   {30, "no network service"},     {100, "unknown"},
    };
    if (cmee == 0) return finalReply("ERROR");
    auto it = words.find(code);
    if (cmee == 2 && it != words.end()) return finalReply("+CME ERROR: " + it->second);
    return finalReply("+CME ERROR: " + std::to_string(code));
}

std::string Modem::cms(int code) const {
    return cmee == 0 ? finalReply("ERROR") : finalReply("+CMS ERROR: " + std::to_string(code));
}

std::string Modem::simError() const {
    switch (sim) {
    case SimState::Ready: return "";
    case SimState::Pin: return cme(11);
    case SimState::Puk: return cme(12);
    case SimState::Blocked: return cme(13);
    case SimState::Absent: return cme(10);
    }
    return "";
}

Outcome Modem::receiveSms(const std::string &number, const std::string &text, Ms at) {
    now = at;
    Outcome out;
    if (static_cast<int>(sms.size()) >= sms_capacity) return out;  // storage full: the network keeps it
    int index = 1;
    for (const Sms &s : sms) index = std::max(index, s.index + 1);
    sms.push_back({index, "REC UNREAD", number, text, clockText()});
    out.events.push_back(notification(itemByte(NOTIFICATION_NEW_SMS, 1)));
    return out;
}

int Modem::sendSms(const std::string &number, const std::string &text) {
    if (!registered()) return -331;  // no network service
    if (number.empty()) return -304;
    if (static_cast<int>(sms.size()) >= sms_capacity) return -322;  // memory full
    int index = 1;
    for (const Sms &s : sms) index = std::max(index, s.index + 1);
    sms.push_back({index, "STO SENT", number, text, clockText()});
    int mr = next_mr;
    next_mr = next_mr % 255 + 1;
    return mr;
}

}  // namespace zelsim

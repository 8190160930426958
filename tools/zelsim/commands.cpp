// The command table. Patterns read like the commands themselves: "%d" is an
// integer, "%s" a quoted or bare field, "%*" the rest of the line, "[...]"
// an optional part; everything else is literal and case-insensitive.
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <ctime>

#include "modem.h"
#include "pdu.h"

namespace zelsim {

namespace {

std::string fmt(const char *format, ...) __attribute__((format(printf, 1, 2)));
std::string fmt(const char *format, ...) {
    char buf[512];
    va_list ap;
    va_start(ap, format);
    vsnprintf(buf, sizeof buf, format, ap);
    va_end(ap);
    return buf;
}

Outcome ok(const std::string &body = "") { return Outcome{okReply(body), 0, {}, true}; }
Outcome reply(const std::string &bytes) { return Outcome{bytes, 0, {}, true}; }
Outcome after(Ms delay, Outcome o) {
    o.delay_ms = delay;
    return o;
}

std::regex compile(const std::string &pattern) {
    std::string re;
    for (size_t i = 0; i < pattern.size(); ++i) {
        char c = pattern[i];
        if (c == '%' && i + 1 < pattern.size()) {
            char k = pattern[++i];
            re += k == 'd' ? R"((-?\d+))" : k == 's' ? R"(("[^"]*"|[^,"]*))" : "(.*)";
        } else if (c == '[') {
            re += "(?:";
        } else if (c == ']') {
            re += ")?";
        } else if (std::string("\\^$.|?*+(){}").find(c) != std::string::npos) {
            re += '\\';
            re += c;
        } else {
            re += c;
        }
    }
    return std::regex(re, std::regex::icase | std::regex::optimize);
}

struct Table {
    std::vector<Row> rows;
    std::map<std::string, std::string> defaults;

    void add(const std::string &pattern, Handler h) { rows.push_back({pattern, std::move(h), compile(pattern)}); }
    // A fixed answer.
    void text(const std::string &pattern, const std::string &body) {
        add(pattern, [body](Modem &, const Args &) { return ok(body); });
    }
    // A state switch: the command sets `field` to `value` and answers `body`.
    void flag(const std::string &pattern, bool Modem::*field, bool value, const std::string &body = "") {
        add(pattern, [field, value, body](Modem &m, const Args &) {
            m.*field = value;
            return ok(body);
        });
    }
    // A value kept by the modem: "AT+NAME?" reads "<lead>NAME: value",
    // "AT+NAME=value" stores it when it matches `valid`.
    void setting(const std::string &name, const std::string &def, const std::string &valid = R"(\d+)",
                 const std::string &lead = "+") {
        defaults[name] = def;
        add("AT" + lead + name + "?",
            [name, lead](Modem &m, const Args &) { return ok(lead + name + ": " + m.settings[name]); });
        std::regex check(valid);
        add("AT" + lead + name + "=%*", [name, check](Modem &m, const Args &a) {
            if (!std::regex_match(a.g[1], check)) return reply(m.cme(50));
            m.settings[name] = a.g[1];
            return ok();
        });
    }
};

int bars(int csq) { return csq == 99 ? 0 : csq * 5 / 31; }

// ---- Registration ----
int regStat(const Modem &m) {
    if (m.registered()) return 1;
    return m.cfun == 1 && m.sim == SimState::Ready && m.cops_mode != 2 ? 2 : 0;
}

std::string regReply(Modem &m, const std::string &name) {
    int n = std::atoi(m.settings[name].c_str());
    std::string s = fmt("+%s: %d,%d", name.c_str(), n, regStat(m));
    if (n >= 2 && m.registered())
        s += m.gsm_rat ? fmt(",\"%04X\",\"%04X\",0", m.tac, m.cell_id & 0xFFFF)
                       : fmt(",\"%04X\",\"%08X\",7", m.tac, m.cell_id);
    return s;
}

void deactivateAll(Modem &m) {
    for (auto &entry : m.pdp) {
        entry.second.active = false;
        entry.second.address.clear();
    }
}

Outcome activate(Modem &m, int cid, bool up) {
    auto it = m.pdp.find(cid);
    if (it == m.pdp.end()) return reply(m.cme(3));
    Pdp &p = it->second;
    if (!up) {
        p.active = false;
        p.address.clear();
        return ok();
    }
    if (!m.registered() || !m.attached) return reply(m.cme(30));
    if (p.active) return ok();
    p.active = true;
    p.address = fmt("10.64.%d.%d", cid, 10 + (++m.activations % 240));
    Outcome o = ok();
    o.events.push_back({Event::Kind::IpChange, 0,
                        fmt("ip_change cid=%d if=rmnet_data%d ip=%s", cid, cid - 1, p.address.c_str()), 0});
    return o;
}

// ---- Serving cell in its three forms ----
std::string be(uint64_t v, int bytes) {
    std::string out;
    for (int i = bytes - 1; i >= 0; --i) out += char((v >> (8 * i)) & 0xFF);
    return out;
}

std::string signalRecord(const Modem &m) {
    bool on = m.registered(), lte = on && !m.gsm_rat, gsm = on && m.gsm_rat;
    auto i32 = [](int v) { return be(static_cast<uint32_t>(v), 4); };
    std::string r;
    r += be(on ? 1 : 0, 1);
    r += be(gsm, 1) + i32(gsm ? m.rssiDbm() : 0);
    r += be(0, 1);
    r += be(lte, 1) + i32(lte ? m.rssiDbm() : 0) + i32(lte ? m.rsrq() : 0) + i32(lte ? m.rsrp() : 0);
    r += be(lte, 1) + be(0, 1) + be(0, 1);
    r += be(lte, 1) + i32(lte ? m.sinr() * 10 : 0);
    r += be(0, 1);
    r += be(0, 1) + be(0, 1) + be(0, 2) + i32(0) + i32(0);
    r += be(0, 1);
    r += i32(on ? m.rssiDbm() : 0) + i32(lte ? m.rsrp() : 0) + i32(lte ? m.rsrq() : 0) + i32(lte ? m.sinr() : 0);
    return toHex(r);  // 58 bytes
}

std::string bandRecord(const Modem &m) {
    bool on = m.registered();
    std::string r = be(on ? (m.gsm_rat ? 3 : 8) : 0, 1) + be(on ? m.band : 0, 1) +
                    be(on ? (m.gsm_rat ? 62 : m.earfcn) : 0, 2) + be(on ? 5 : 0, 1) + be(0, 1);
    return toHex(r);  // 6 bytes
}

std::string cellRecord(const Modem &m) {
    bool on = m.registered();
    int mcc = std::atoi(m.plmn.substr(0, 3).c_str()), mnc = std::atoi(m.plmn.substr(3).c_str());
    std::string r = be(on, 1) + be(on ? (m.gsm_rat ? 3 : 8) : 0, 1) + be(0, 1) + be(mcc, 2) +
                    be(m.plmn.size() - 3, 1) + be(mnc, 2) + be(m.tac, 2) + be(0xFF, 1) + be(m.pci, 2) +
                    be(m.cell_id, 4) + be(m.earfcn, 4) + be(static_cast<uint32_t>(on ? m.rsrp() : 0), 4) +
                    be(static_cast<uint32_t>(on ? m.rsrq() : 0), 4);
    return toHex(r);  // 29 bytes
}

std::string modemInfo(const Modem &m) {
    int mcc = std::atoi(m.plmn.substr(0, 3).c_str()), mnc = std::atoi(m.plmn.substr(3).c_str());
    if (m.gsm_rat)
        return fmt("+CMODEMINFO: \"GSM\",\"GSM900\",%d,%d,%u,%u,%d,%s", mcc, mnc, static_cast<unsigned>(m.tac),
                   m.cell_id & 0xFFFF, 62, m.oper_short.c_str());
    return fmt("+CMODEMINFO: \"LTE\",\"FDD\",%d,%d,%d,%u,%d,%d,B%d,%.1f,%.1f,%d,%d,%d,%d,%.1f,%.1f,%d", m.band, mcc,
               mnc, m.cell_id, m.pci, m.tac, m.band, static_cast<double>(m.rsrp()), static_cast<double>(m.rsrq()),
               m.earfcn, m.rssiDbm(), m.rsrp(), m.rsrq(), static_cast<double>(m.sinr()), 23.0, 20);
}

std::string neighbours(const Modem &m) {
    std::string s;
    auto line = [&s](const std::string &l) { s += (s.empty() ? "" : "\r\n") + l; };
    if (m.gsm_rat) {
        line(fmt("\"neighbourcell\",\"GSM\",%d,%d,%d,%d,%d,%d,%d,%d,%d", 64, 21, 63 + m.rssiDbm() / 2, 1, 0, 1, 0,
                 m.tac, 0x4D60));
        line(fmt("\"neighbourcell\",\"GSM\",%d,%d,%d,%d,%d,%d,%d,%d,%d", 71, 17, 58 + m.rssiDbm() / 2, 1, 0, 1, 0,
                 m.tac, 0x4D61));
        line(fmt("\"neighbourcell\",\"GERAN\",%d,%d,%d,%d,%d,%d,%d,%d,%d,%d,%d", 460, 99, m.tac, 0x4D62, 33, 80,
                 m.rssiDbm() - 6, 0, 1, 0, 0));
        return s;
    }
    for (int i = 0; i < 2; ++i)
        line(fmt("\"neighbourcell intra\",\"LTE\",%d,%d,%d,%d,%d,%d,%d,%d,%d,%d", m.earfcn, m.pci + 1 + i,
                 m.rsrp() - 4 - 3 * i, m.rsrq() - 2, m.rssiDbm() - 3, m.sinr() - 3, 4, 6, 2, 1));
    for (int i = 0; i < 2; ++i)
        line(fmt("\"neighbourcell inter\",\"LTE\",%d,%d,%d,%d,%d,%d,%d,%d,%d", 100 + 1200 * i, 301 + i,
                 m.rsrp() - 9 - 4 * i, m.rsrq() - 4, m.rssiDbm() - 8, 3 + 5 * i, 2, 6, 3));
    return s;
}

// ---- GNSS ----
bool hasFix(const Modem &m) { return m.gnss_on && m.now >= m.gnss_fix_at; }

std::string nmeaAngle(double v, bool lat) {
    double a = std::fabs(v);
    int deg = static_cast<int>(a);
    double min = (a - deg) * 60.0;
    return lat ? fmt("%02d%08.5f,%c", deg, min, v < 0 ? 'S' : 'N') : fmt("%03d%08.5f,%c", deg, min, v < 0 ? 'W' : 'E');
}

std::string sentence(const std::string &body) {
    unsigned sum = 0;
    for (char c : body) sum ^= static_cast<unsigned char>(c);
    return fmt("$%s*%02X", body.c_str(), sum);
}

std::string nmea(const Modem &m, long select) {
    time_t t = time(nullptr);
    struct tm tm;
    gmtime_r(&t, &tm);
    std::string hms = fmt("%02d%02d%02d.00", tm.tm_hour, tm.tm_min, tm.tm_sec);
    double lat, lon;
    m.position(&lat, &lon);
    bool fix = hasFix(m);
    std::string where = fix ? nmeaAngle(lat, true) + "," + nmeaAngle(lon, false) : ",,,";
    std::vector<std::string> out;
    if (select == 0 || select & 1)
        out.push_back(sentence(fix ? "GPGGA," + hms + "," + where + ",1,09,0.9,35.2,M,-3.1,M,,"
                                   : "GPGGA," + hms + ",,,,,0,00,99.99,,,,,,"));
    if (select == 0 || select & 2)
        out.push_back(sentence("GPRMC," + hms + (fix ? ",A," : ",V,") + where +
                               fmt(",%.1f,%.1f,%02d%02d%02d,,,%c", fix ? m.speed_mps * 1.943844 : 0.0,
                                   m.heading_deg, tm.tm_mday, tm.tm_mon + 1, tm.tm_year % 100, fix ? 'A' : 'N')));
    if (select == 0 || select & 4)
        out.push_back(sentence(fix ? "GPGSA,A,3,02,05,07,09,13,16,20,26,29,,,,1.6,0.9,1.3" : "GPGSA,A,1,,,,,,,,,,,,,,,"));
    if (select == 0 || select & 8)
        out.push_back(sentence("GPGSV,1,1,04,02,45,120,42,05,60,045,38,07,30,300,35,09,15,210,31"));
    std::string s;
    for (const auto &l : out) s += (s.empty() ? "" : "\r\n") + l;
    return s;
}

Outcome startGnss(Modem &m, Ms ttff) {
    if (!m.gnss_on) return reply(m.cme(3));
    m.gnss_fix_at = m.now + ttff;
    return ok();
}

// ---- Messages ----
const char *const kStatus[] = {"REC UNREAD", "REC READ", "STO UNSENT", "STO SENT", "ALL"};

int statusCode(const std::string &s) {
    for (int i = 0; i < 5; ++i)
        if (s == kStatus[i] || s == std::to_string(i)) return i;
    return -1;
}

bool pduMode(Modem &m) { return m.settings["CMGF"] == "0"; }

std::string messageEntry(Modem &m, const Sms &s, const std::string &lead) {
    if (pduMode(m)) {
        int octets = 0;
        std::string pdu = encodePdu(s, &octets);
        return fmt("%s%d,,%d\r\n", lead.c_str(), statusCode(s.status), octets) + pdu;
    }
    bool rec = s.status.rfind("REC", 0) == 0;
    return lead + "\"" + s.status + "\",\"" + s.number + "\",," + (rec ? "\"" + s.time + "\"" : "") + "\r\n" + s.text;
}

// Deletion flags: 1 read, 2 also sent, 3 also unsent, 4 all.
bool deletedBy(const Sms &s, long flag) {
    int code = statusCode(s.status);
    if (flag >= 4) return true;
    if (flag == 3) return code >= 1;
    if (flag == 2) return code == 1 || code == 3;
    return code == 1;
}

std::string storageCounts(const Modem &m) {
    return fmt("%zu,%d,%zu,%d,%zu,%d", m.sms.size(), m.sms_capacity, m.sms.size(), m.sms_capacity, m.sms.size(),
               m.sms_capacity);
}

// ---- SIM ----
Outcome wrongSecret(Modem &m) {
    if (m.sim == SimState::Puk) {
        if (--m.puk_left <= 0) m.sim = SimState::Blocked;
    } else if (--m.pin_left <= 0) {
        m.sim = SimState::Puk;
    }
    return reply(m.cme(16));
}

Outcome enterPin(Modem &m, const Args &a) {
    switch (m.sim) {
    case SimState::Ready: return reply(m.cme(3));
    case SimState::Blocked: return reply(m.cme(13));
    case SimState::Absent: return reply(m.cme(10));
    case SimState::Pin:
        if (a.str(1) != m.pin) return wrongSecret(m);
        break;
    case SimState::Puk:
        if (a.str(1) != m.puk) return wrongSecret(m);
        if (a.str(2).empty()) return reply(m.cme(3));
        m.pin = a.str(2);
        m.puk_left = 10;
        break;
    }
    m.sim = SimState::Ready;
    m.pin_left = 3;
    return ok();
}

// ---- Firmware update ----
Outcome otaStep(Modem &m, const std::string &step, bool allowed, Ms duration, const std::vector<uint8_t> &codes) {
    if (!allowed || !m.ota.step.empty() || !m.registered()) return reply(finalReply("ERROR"));
    m.ota.step = step;
    m.ota.since = m.now;
    m.ota.duration = duration;
    m.ota.progress = 0;
    Outcome o = ok();
    // First code at once, middle code with progress in fifths, last code at the end.
    o.events.push_back(notification(itemOta(codes[0], 0)));
    if (codes.size() == 3)
        for (int i = 1; i < 5; ++i) o.events.push_back(notification(itemOta(codes[1], i * 20), duration * i / 5));
    o.events.push_back(notification(itemOta(codes.back(), 100), duration));
    return o;
}

std::string wallTime(const char *format) {
    time_t t = time(nullptr);
    struct tm tm;
    localtime_r(&t, &tm);
    char buf[64];
    strftime(buf, sizeof buf, format, &tm);
    return buf;
}

Outcome reboot(Modem &m, Outcome o) {
    o.events.push_back({Event::Kind::Restart, 300, "", m.restart_ms});
    return o;
}

const Table &table();

void basic(Table &t) {
    t.text("AT", "");
    t.add("ATE%d", [](Modem &m, const Args &a) {
        m.echo = a.num(1) != 0;
        return ok();
    });
    for (const char *p : {"ATZ", "AT&F"})
        t.add(p, [](Modem &m, const Args &) {
            m.settings = table().defaults;
            m.cmee = 1;
            m.echo = false;
            return ok();
        });
    t.add("AT+CMEE?", [](Modem &m, const Args &) { return ok(fmt("+CMEE: %d", m.cmee)); });
    t.add("AT+CMEE=%d", [](Modem &m, const Args &a) {
        if (a.num(1) < 0 || a.num(1) > 2) return reply(m.cme(50));
        m.cmee = static_cast<int>(a.num(1));
        return ok();
    });
    t.add("ATI", [](Modem &m, const Args &) {
        return ok("Manufacturer: " + m.manufacturer + "\r\nModel: " + m.model + "\r\nRevision: " + m.revision +
                  "\r\nIMEI: " + m.imei + "\r\n+GCAP: +CGSM,+DS,+ES");
    });
    for (const char *p : {"AT+CGMI", "AT+GMI"}) t.add(p, [](Modem &m, const Args &) { return ok(m.manufacturer); });
    for (const char *p : {"AT+CGMM", "AT+GMM"}) t.add(p, [](Modem &m, const Args &) { return ok(m.model); });
    for (const char *p : {"AT+CGMR", "AT+GMR"}) t.add(p, [](Modem &m, const Args &) { return ok(m.revision); });
    for (const char *p : {"AT+CGSN", "AT+GSN"}) t.add(p, [](Modem &m, const Args &) { return ok(m.imei); });
    t.add("AT+IMEI?", [](Modem &m, const Args &) { return ok("+IMEI: " + m.imei); });
    t.text("AT+GCAP", "+GCAP: +CGSM,+DS,+ES");
    t.text("AT+CSCS", "");
    t.setting("CSCS", "\"IRA\"", R"re("(IRA|GSM|UCS2|HEX|8859-1)")re");
    t.add("AT+CCLK?", [](Modem &m, const Args &) { return ok("+CCLK: \"" + m.clockText() + "\""); });
    t.add("AT+CCLK=%s", [](Modem &m, const Args &a) {
        struct tm tm = {};
        int zone = 0;
        char sign = '+';
        if (sscanf(a.str(1).c_str(), "%d/%d/%d,%d:%d:%d%c%d", &tm.tm_year, &tm.tm_mon, &tm.tm_mday, &tm.tm_hour,
                   &tm.tm_min, &tm.tm_sec, &sign, &zone) != 8)
            return reply(m.cme(50));
        tm.tm_year += 100;
        tm.tm_mon -= 1;
        m.tz_quarters = sign == '-' ? -zone : zone;
        m.clock_offset_s = static_cast<long>(timegm(&tm) - time(nullptr)) - m.tz_quarters * 15 * 60;
        return ok();
    });
    t.add("AT+CRTC=%d", [](Modem &m, const Args &) { return ok("+CRTC: \"" + m.clockText() + "\""); });
    t.add("AT+CADCREAD=%d", [](Modem &m, const Args &a) {
        return ok(fmt("+CADCREAD: %ld,%ld", a.num(1), 1800 + a.num(1) * 7 + (m.now / 1000) % 5));
    });
    t.add("AT+THERMAL", [](Modem &m, const Args &) {
        int base = 38 + static_cast<int>((m.now / 10000) % 4);
        return ok(fmt("+THERMAL: cpu0,%d\r\n+THERMAL: pa_therm0,%d\r\n+THERMAL: xo_therm,%d", base + 4, base, base - 2));
    });
    t.text("AT+TRB", "");
    t.text("AT+EDLMODE", "");
    t.text("AT+CONFIG=%d,%*,%d", "");
}

void calls(Table &t) {
    t.add("ATD%*;", [](Modem &m, const Args &a) {
        if (a.g[1].empty()) return reply(finalReply("ERROR"));
        if (!m.registered()) return reply(m.cme(30));
        m.in_call = true;
        return ok();
    });
    t.add("ATA;", [](Modem &m, const Args &) { return reply(m.cme(3)); });  // nothing is ringing
    for (const char *p : {"ATH;", "ATH", "AT+CHUP;", "AT+CHUP"})
        t.add(p, [](Modem &m, const Args &) {
            if (m.in_call) m.call_cause = "Normal call clearing";
            m.in_call = false;
            return ok();
        });
    t.add("AT+CEER", [](Modem &m, const Args &) { return ok("+CEER: " + m.call_cause); });
    t.add("AT+CPAS", [](Modem &m, const Args &) { return ok(m.in_call ? "+CPAS: 4" : "+CPAS: 0"); });
    t.setting("CRC", "0");
    t.setting("CSTA", "129");
    t.setting("CVHU", "0");
    t.setting("CEN", "0");
    t.setting("CEMODE", "2");
    t.setting("CPBS", "\"SM\"", R"re("(SM|ME|FD|ON|LD|DC|RC|MC|EN)")re");
    t.add("AT+CRLP=%d,%d,%d,%d,%d", [](Modem &m, const Args &a) {
        m.settings["CRLP"] = a.g[1] + "," + a.g[2] + "," + a.g[3] + "," + a.g[4] + "," + a.g[5];
        return ok("+CRLP: " + m.settings["CRLP"]);
    });
    t.setting("CRLP", "61,61,48,6,0", R"(\d+(,\d+){0,4})");
}

void network(Table &t) {
    t.add("AT+CFUN?", [](Modem &m, const Args &) { return ok(fmt("+CFUN: %d", m.cfun)); });
    t.add("AT+CFUN=%d[,%d]", [](Modem &m, const Args &a) {
        long level = a.num(1);
        if (level < 0 || level > 7 || (level > 1 && level < 4)) return reply(m.cme(50));
        m.cfun = static_cast<int>(level);
        if (m.cfun != 1) deactivateAll(m);
        return ok();
    });
    t.setting("WS46", "28");
    for (const char *name : {"CREG", "CGREG", "CEREG"}) {
        std::string n = name;
        t.defaults[n] = "0";
        t.add("AT+" + n + "?", [n](Modem &m, const Args &) { return ok(regReply(m, n)); });
        t.add("AT+" + n + "=%d", [n](Modem &m, const Args &a) {
            if (a.num(1) < 0 || a.num(1) > 3) return reply(m.cme(50));
            m.settings[n] = a.g[1];
            return ok();
        });
    }
    t.add("AT+COPS?", [](Modem &m, const Args &) {
        if (!m.registered()) return ok(fmt("+COPS: %d", m.cops_mode));
        int f = std::atoi(m.settings["COPS_FORMAT"].c_str());
        const std::string &name = f == 2 ? m.plmn : f == 1 ? m.oper_short : m.oper_long;
        return ok(fmt("+COPS: %d,%d,\"%s\",%d", m.cops_mode, f, name.c_str(), m.gsm_rat ? 0 : 7));
    });
    t.add("AT+COPS=?", [](Modem &m, const Args &) {
        if (m.cfun != 1 || !m.network) return after(m.scan_ms, reply(m.cme(30)));
        return after(m.scan_ms, ok(fmt("+COPS: (%d,\"%s\",\"%s\",\"%s\",7),(3,\"Other Net\",\"Other\",\"46098\",7),,"
                                       "(0,1,2,3,4),(0,1,2)",
                                       m.registered() ? 2 : 1, m.oper_long.c_str(), m.oper_short.c_str(),
                                       m.plmn.c_str())));
    });
    t.add("AT+COPS=%d[,%d[,%s[,%d]]]", [](Modem &m, const Args &a) {
        long mode = a.num(1);
        if (a.g[2].size()) m.settings["COPS_FORMAT"] = a.g[2];
        if (mode == 3) return ok();
        if (mode == 1 || mode == 4) {
            std::string oper = a.str(3);
            bool home = oper == m.oper_long || oper == m.oper_short || oper == m.plmn;
            if (!home && mode == 1) return reply(m.cme(32));
        } else if (mode != 0 && mode != 2) {
            return reply(m.cme(50));
        }
        m.cops_mode = static_cast<int>(mode == 4 ? 1 : mode);
        if (!m.registered()) deactivateAll(m);
        return ok();
    });
    t.defaults["COPS_FORMAT"] = "0";
    t.add("AT+CIND?", [](Modem &m, const Args &) {
        int unread = 0;
        for (const Sms &s : m.sms) unread += s.status == "REC UNREAD";
        return ok(fmt("+CIND: 5,%d,%d,0,0,%d,%d", bars(m.csq()), m.registered() ? 1 : 0,
                      static_cast<int>(m.sms.size()) >= m.sms_capacity, unread > 0));
    });
    t.add("AT+CSQ", [](Modem &m, const Args &) { return ok(fmt("+CSQ: %d,99", m.csq())); });
    t.setting("CPLS", "0", "[0-2]");
    t.add("AT+COPN", [](Modem &m, const Args &) {
        return ok("+COPN: \"" + m.plmn + "\",\"" + m.oper_long + "\"\r\n+COPN: \"46098\",\"Other Net\"");
    });
    t.add("AT+CLCK=%s,%d[,%s[,%d]]", [](Modem &m, const Args &a) {
        bool sc = a.str(1) == "SC";
        if (a.num(2) == 2) return ok(fmt("+CLCK: %d", sc && m.pin_enabled));
        if (!sc) return ok();
        if (m.sim != SimState::Ready) return reply(m.simError());
        if (a.str(3) != m.pin) return wrongSecret(m);
        m.pin_left = 3;
        m.pin_enabled = a.num(2) == 1;
        return ok();
    });
    t.add("AT+CPWD=%s,%s,%s", [](Modem &m, const Args &a) {
        if (a.str(1) != "SC") return ok();
        if (m.sim != SimState::Ready) return reply(m.simError());
        if (a.str(2) != m.pin) return wrongSecret(m);
        m.pin = a.str(3);
        m.pin_left = 3;
        return ok();
    });
    t.add("AT+CCOPS?", [](Modem &m, const Args &) {
        if (!m.registered()) return ok("+CCOPS: 0");
        return ok("+CCOPS: 1,\"" + m.oper_long + "\",\"" + m.plmn + "\"");
    });
    t.setting("GSM", "0", "[01]");
}

void packetData(Table &t) {
    t.add("AT+CGDCONT=%d[,%s,%s]", [](Modem &m, const Args &a) {
        long cid = a.num(1);
        if (cid < 1 || cid > 15) return reply(m.cme(50));
        if (a.g[2].empty()) {
            m.pdp.erase(static_cast<int>(cid));
            return ok();
        }
        std::string type = a.str(2);
        if (type != "IP" && type != "IPV6" && type != "IPV4V6") return reply(m.cme(50));
        m.pdp[static_cast<int>(cid)] = {type, a.str(3), false, ""};
        return ok();
    });
    t.add("AT+CGDCONT?", [](Modem &m, const Args &) {
        std::string s;
        for (const auto &e : m.pdp)
            s += fmt("%s+CGDCONT: %d,\"%s\",\"%s\",\"%s\",0,0", s.empty() ? "" : "\r\n", e.first,
                     e.second.type.c_str(), e.second.apn.c_str(),
                     e.second.active ? e.second.address.c_str() : "0.0.0.0");
        return ok(s);
    });
    t.add("AT+CGACT=%d,%d", [](Modem &m, const Args &a) { return activate(m, static_cast<int>(a.num(2)), a.num(1)); });
    t.add("AT+CGDATA=%s,%s", [](Modem &m, const Args &a) { return activate(m, static_cast<int>(a.num(2)), true); });
    t.add("AT+CGACT?", [](Modem &m, const Args &) {
        std::string s;
        for (const auto &e : m.pdp) s += fmt("%s+CGACT: %d,%d", s.empty() ? "" : "\r\n", e.first, e.second.active);
        return ok(s);
    });
    t.add("AT+CGPADDR[=%d]", [](Modem &m, const Args &a) {
        std::string s;
        for (const auto &e : m.pdp) {
            if (!a.g[1].empty() && e.first != a.num(1)) continue;
            s += fmt("%s+CGPADDR: %d,\"%s\"", s.empty() ? "" : "\r\n", e.first,
                     e.second.active ? e.second.address.c_str() : "0.0.0.0");
        }
        return ok(s);
    });
    t.add("AT+CGCONTRDP[=%d]", [](Modem &m, const Args &a) {
        std::string s;
        for (const auto &e : m.pdp) {
            if (!e.second.active || (!a.g[1].empty() && e.first != a.num(1))) continue;
            std::string gw = e.second.address.substr(0, e.second.address.rfind('.')) + ".1";
            s += fmt("%s+CGCONTRDP: %d,5,\"%s\",\"%s.255.255.255.0\",\"%s\",\"8.8.8.8\",\"8.8.4.4\"",
                     s.empty() ? "" : "\r\n", e.first, e.second.apn.c_str(), e.second.address.c_str(), gw.c_str());
        }
        return ok(s);
    });
    t.text("AT+CGSCONTRDP[=%d]", "");  // no secondary contexts
    t.text("AT+CGTFTRDP[=%d]", "");    // no traffic flow templates
    t.add("AT+CGEQOS=%d,%d,%d,%d,%d,%d", [](Modem &m, const Args &a) {
        m.settings["CGEQOS"] = a.g[1] + "," + a.g[2] + "," + a.g[3] + "," + a.g[4] + "," + a.g[5] + "," + a.g[6];
        return ok("+CGEQOS: " + m.settings["CGEQOS"]);
    });
    t.setting("CGEQOS", "1,9,0,0,0,0", R"(\d+(,\d+){1,5})");
    t.add("AT+CGATT?", [](Modem &m, const Args &) { return ok(fmt("+CGATT: %d", m.attached && m.registered())); });
    t.add("AT+CGATT=%d", [](Modem &m, const Args &a) {
        if (a.num(1) == 0) {
            m.attached = false;
            deactivateAll(m);
            return ok();
        }
        if (!m.registered()) return reply(m.cme(30));
        m.attached = true;
        return ok();
    });
    t.setting("QCMAPEN", "0", "[01]");
    t.add("AT+NETIF?", [](Modem &m, const Args &) {
        for (const auto &e : m.pdp)
            if (e.second.active) return ok(fmt("+NETIF: rmnet_data%d,UP,%s", e.first - 1, e.second.address.c_str()));
        return ok("+NETIF: rmnet_data0,DOWN");
    });
    t.add("AT+CAPN?", [](Modem &m, const Args &) {
        auto it = m.pdp.find(1);
        return ok("+CAPN: \"" + (it == m.pdp.end() ? std::string() : it->second.apn) + "\"");
    });
}

void cells(Table &t) {
    t.add("AT+CNBRCELL=%d", [](Modem &m, const Args &) { return ok(m.registered() ? neighbours(m) : ""); });
    for (const char *p : {"AT+CMODEMINFO?", "AT+CMODEMINFO=%d"})
        t.add(p, [](Modem &m, const Args &) { return ok(m.registered() ? modemInfo(m) : ""); });
    t.add("AT+CMODEMSS?", [](Modem &m, const Args &) { return ok(signalRecord(m)); });
    t.add("AT+CMODEMBAND?", [](Modem &m, const Args &) { return ok(bandRecord(m)); });
    t.add("AT+CMODEMCL?", [](Modem &m, const Args &) { return ok(cellRecord(m)); });
}

void zoneAndSpeed(Table &t) {
    t.text("AT+PINGSTOP", "");
    t.setting("CTZR", "0", "[0-3]");
    t.setting("CTZU", "1", "[01]");
    t.setting("VOLTE", "1", "[01]");
    t.add("AT+CLIP?", [](Modem &m, const Args &) { return ok("+CLIP: " + m.settings["CLIP"] + ",1"); });
    t.setting("CLIP", "0", "[01]");
    t.text("AT+CACTBANDS?", "+CACTBANDS: \"LTE\",1,3,5,8,28,38,39,40,41");
    t.add("AT+CNTZ?", [](Modem &m, const Args &) { return ok(fmt("+CNTZ: %d", m.tz_quarters)); });
    t.setting("CLSWB", "\"1,3,5,8,28,38,39,40,41\"", R"("[0-9,]*")");
    t.setting("CGSWB", "\"900,1800\"", R"("[0-9,]*")");
    t.add("AT+CBRSTATE", [](Modem &m, const Args &) {
        for (const auto &e : m.pdp)
            if (e.second.active) return ok(fmt("+CBRSTATE: 1,%d", e.first));
        return ok("+CBRSTATE: 0");
    });
    t.add("AT+CLATENCY?", [](Modem &m, const Args &) {
        if (!m.registered()) return reply(m.cme(30));
        return ok(fmt("+CLATENCY: %dms", 24 + (31 - m.csq()) * 3));
    });
    for (std::string dir : {"UP", "DL"}) {
        std::string name = "CAL" + dir + "SPEED";
        t.add("AT+" + name + "?", [name](Modem &m, const Args &) { return ok("+" + name + ": " + m.settings[name]); });
        t.defaults[name] = "0";
        bool up = dir == "UP";
        t.add("AT+" + name + "=%d[,%s,%d]", [name, up](Modem &m, const Args &) {
            if (!m.registered()) return reply(m.cme(30));
            m.settings[name] = fmt("%dkbps", up ? 500 + m.csq() * 300 : 2000 + m.csq() * 1500);
            return after(1000, ok("+" + name + ": " + m.settings[name]));
        });
    }
}

void gnss(Table &t) {
    t.add("AT+CGPS=%d", [](Modem &m, const Args &a) {
        bool on = a.num(1) != 0;
        if (on && !m.gnss_on) m.gnss_fix_at = m.now + m.ttff_ms;
        m.gnss_on = on;
        return ok();
    });
    t.add("AT+CGPS?", [](Modem &m, const Args &) { return ok(fmt("+CGPS: %d", m.gnss_on)); });
    t.add("AT+CGPSRST", [](Modem &m, const Args &) { return startGnss(m, m.ttff_ms); });
    t.setting("GPSPORT", "1", "[0-9]");
    t.add("AT+CGPSGPOS=%d", [](Modem &m, const Args &a) {
        if (!m.gnss_on) return reply(m.cme(3));
        return ok(nmea(m, a.num(1)));
    });
    for (int axis = 0; axis < 3; ++axis) {
        std::string name = axis == 0 ? "CGPSGLAT" : axis == 1 ? "CGPSGLON" : "CGPSGALT";
        t.add("AT+" + name, [name, axis](Modem &m, const Args &) {
            if (!hasFix(m)) return reply(m.cme(516));  // no fix yet
            double lat, lon;
            m.position(&lat, &lon);
            std::string v = axis == 0   ? fmt("%.6f%c", std::fabs(lat), lat < 0 ? 'S' : 'N')
                            : axis == 1 ? fmt("%.6f%c", std::fabs(lon), lon < 0 ? 'W' : 'E')
                                        : "35.2";
            return ok("+" + name + ": " + v);
        });
    }
    t.add("AT+CGPSHOT", [](Modem &m, const Args &) { return startGnss(m, m.ttff_ms / 4); });
    t.add("AT+CGPSWARM", [](Modem &m, const Args &) { return startGnss(m, m.ttff_ms); });
    t.add("AT+CGPSCOLD", [](Modem &m, const Args &) { return startGnss(m, m.ttff_ms * 3); });
    t.add("AT+CGPSNSAT=%d", [](Modem &m, const Args &a) {
        return ok(fmt("+CGPSNSAT: %ld,%d", a.num(1), m.gnss_on ? (hasFix(m) ? 9 : 3) : 0));
    });
    t.flag("AT+CGPSXTRATIME", &Modem::xtra_time, true);
    t.add("AT+CGPSXTRATIME?", [](Modem &m, const Args &) { return ok(fmt("+CGPSXTRATIME: %d", m.xtra_time)); });
    t.flag("AT+CGPSXTRADATA[=%*]", &Modem::xtra_data, true);
    t.add("AT+CGPSXTRADATA?", [](Modem &m, const Args &) { return ok(fmt("+CGPSXTRADATA: %d", m.xtra_data)); });
    t.add("AT+CGPSCFG=%d,%d", [](Modem &m, const Args &a) {
        if (a.num(1) < 0 || a.num(1) > 4) return reply(m.cme(50));
        m.gnss_cfg[static_cast<int>(a.num(1))] = static_cast<int>(a.num(2));
        return ok();
    });
    t.add("AT+CGPSCFG?", [](Modem &m, const Args &) {
        std::string s;
        for (const auto &e : m.gnss_cfg) s += fmt("%s+CGPSCFG: %d,%d", s.empty() ? "" : "\r\n", e.first, e.second);
        return ok(s);
    });
    t.setting("CGPSAGNSSSV", "1,1", R"(-?\d+,-?\d+)");
    t.text("AT+CGPSAGNSSURL?", "+CGPSAGNSSURL: \"supl.zelto.example:7275\"");
    t.add("AT+CGPSGTIMEST", [](Modem &m, const Args &) {
        if (!hasFix(m)) return reply(m.cme(516));
        time_t now = time(nullptr);
        struct tm tm;
        gmtime_r(&now, &tm);
        char buf[32];
        strftime(buf, sizeof buf, "%Y-%m-%d %H:%M:%S", &tm);
        return ok(std::string("+CGPSGTIMEST: ") + buf);
    });
    t.add("AT+CGPSSTATUS?", [](Modem &m, const Args &) {
        return ok(fmt("+CGPSSTATUS: %d", !m.gnss_on ? 0 : hasFix(m) ? 2 : 1));
    });
    t.add("AT+CGPSGFULLSNR", [](Modem &m, const Args &) {
        if (!m.gnss_on) return reply(m.cme(3));
        bool fix = hasFix(m);
        return ok(fmt("+CGPSGFULLSNR: %d,%d,%d,%.1f", fix ? 12 : 4, fix ? 9 : 0, fix ? 44 : 21, fix ? 36.5 : 18.0));
    });
}

void cloud(Table &t) {
    t.add("AT+VANTORREG=%*,%*,%*", [](Modem &m, const Args &) {
        if (!m.registered()) return reply(finalReply("+VANTORREG: UNREGISTERED") + finalReply("ERROR"));
        if (m.vantor == Modem::Reg::Unregistered) {
            m.vantor = Modem::Reg::Registering;
            m.vantor_since = m.now;
        }
        return ok(m.vantor == Modem::Reg::Registered ? "+VANTORREG: REGISTERED" : "+VANTORREG: REGISTERING");
    });
    t.add("AT+VANTORREG?", [](Modem &m, const Args &) {
        static const char *const words[] = {"UNREGISTERED", "REGISTERING", "REGISTERED"};
        return ok(std::string("+VANTORREG: ") + words[static_cast<int>(m.vantor)]);
    });
    t.add("AT+VANTORDM=%d,%d", [](Modem &m, const Args &a) {
        if (a.num(1) == 0) {
            m.dm_task = 0;
            return ok("+VANTORDM: STOPPED");
        }
        if (m.vantor != Modem::Reg::Registered)
            return reply(finalReply("+VANTORDM: NOT REGISTERED") + finalReply("ERROR"));
        m.dm_task = static_cast<int>(a.num(2));
        return ok("+VANTORDM: STARTED");
    });
    t.add("AT+VANTORDM?", [](Modem &m, const Args &) {
        return ok(m.dm_task ? fmt("+VANTORDM: 1,%d", m.dm_task) : std::string("+VANTORDM: 0"));
    });
    t.add("AT+VANTDMSTATUS?", [](Modem &m, const Args &) {
        return ok(fmt("+VANTDMSTATUS: %d", m.dm_task ? (m.registered() ? 2 : 1) : 0));
    });
}

void firmware(Table &t) {
    t.add("AT+DLDFOTA=%*", [](Modem &m, const Args &a) {
        if (a.g[1].empty() || !m.registered()) return reply(finalReply("+DLDFOTA: DOWNLOAD_FAILED") + finalReply("ERROR"));
        m.ota.delta_downloaded = true;
        return after(1000, ok("+DLDFOTA: DOWNLOAD_SUCCESS"));
    });
    t.add("AT+DFOTA", [](Modem &m, const Args &) {
        if (!m.ota.delta_downloaded) return reply(finalReply("+DFOTA: FAILED") + finalReply("ERROR"));
        m.ota.delta_downloaded = false;
        m.revision = m.next_revision;
        return reboot(m, ok("+DFOTA: SUCCESS"));
    });
    t.add("AT+OTA=GET_MODE", [](Modem &m, const Args &) { return ok("+OTA: GET_MODE," + m.ota.mode); });
    t.add("AT+OTA=CHANGE_MODE,%*", [](Modem &m, const Args &a) {
        std::string w = a.g[1];
        for (char &c : w) c = static_cast<char>(tolower(c));
        if (w != "recovery" && w != "non_recovery" && w != "ab") return reply(finalReply("ERROR"));
        m.ota.mode = w;
        return ok();
    });
    t.add("AT+OTA=CHECK,%*", [](Modem &m, const Args &a) {
        return otaStep(m, "check", !a.g[1].empty(), m.ota_check_ms, {2, 3});
    });
    t.add("AT+OTA=DOWNLOAD,%*", [](Modem &m, const Args &a) {
        return otaStep(m, "download", m.ota.checked && !a.g[1].empty(), m.ota_download_ms, {17, 18, 19});
    });
    t.add("AT+OTA=INSTALL", [](Modem &m, const Args &) {
        return otaStep(m, "install", m.ota.downloaded, m.ota_install_ms, {90, 91, 92});
    });
    t.add("AT+OTA=ACTIVATE", [](Modem &m, const Args &) {
        return otaStep(m, "activate", m.ota.installed, m.ota_activate_ms, {110, 111});
    });
    t.add("AT+OTA=APPLY", [](Modem &m, const Args &) {
        if (!m.ota.activated) return reply(finalReply("ERROR"));
        m.ota = Modem::Ota{m.ota.mode, "", 0, 0, 0, false, false, false, false, "SUCCESS",
                           wallTime("%Y-%m-%d %H:%M:%S"), false};
        m.revision = m.next_revision;
        return reboot(m, ok("+OTA: APPLY,OK"));
    });
    t.add("AT+OTA=STATUS", [](Modem &m, const Args &) {
        if (m.ota.last_status.empty()) return ok();
        return ok("OTA Status: " + m.ota.last_status + "\r\nCompleted Time: " + m.ota.completed);
    });
    t.add("AT+OTA=GET_PROGRESS", [](Modem &m, const Args &) {
        int p = m.ota.progress;
        if (!m.ota.step.empty()) p = static_cast<int>((m.now - m.ota.since) * 100 / std::max<Ms>(1, m.ota.duration));
        return ok(fmt("+OTA=GET_PROGRESS,%d", p));
    });
    t.add("AT+OTA=CLEAN", [](Modem &m, const Args &) {
        m.ota = Modem::Ota{m.ota.mode, "", 0, 0, 0, false, false, false, false, m.ota.last_status, m.ota.completed,
                           false};
        return ok();
    });
}

void peripherals(Table &t) {
    t.setting("UARTMODE", "peripheral", "none|peripheral");
    t.setting("USBPROF", "default,1,1,1,1", R"(\w+,[01],[01],[01],[01])");
}

void sim(Table &t) {
    t.setting("SIMSWAP", "0", "[01]", "^");
    t.add("AT+CPIN?", [](Modem &m, const Args &) {
        switch (m.sim) {
        case SimState::Ready: return ok("+CPIN: READY");
        case SimState::Pin: return ok("+CPIN: SIM PIN");
        case SimState::Puk: return ok("+CPIN: SIM PUK");
        case SimState::Blocked:
        case SimState::Absent: break;
        }
        return reply(m.simError());
    });
    t.add("AT+CPIN=%s[,%s]", enterPin);
    auto needSim = [](std::string (*body)(Modem &)) {
        return [body](Modem &m, const Args &) {
            std::string e = m.simError();
            return e.empty() ? ok(body(m)) : reply(e);
        };
    };
    t.add("AT+CNUM", needSim([](Modem &m) { return "+CNUM: \"\",\"" + m.msisdn + "\",145"; }));
    t.add("AT+CIMI", needSim([](Modem &m) { return m.imsi; }));
    t.add("AT+ICCID", [](Modem &m, const Args &) {
        return m.sim == SimState::Absent ? reply(m.cme(10)) : ok("+ICCID: " + m.iccid);
    });
    t.add("AT+CPINR?", [](Modem &m, const Args &) {
        return ok(fmt("+CPINR: SIM PIN,%d,3\r\n+CPINR: SIM PUK,%d,10", m.pin_left, m.puk_left));
    });
    t.setting("CSIMSUPP", "1", "[01]");
    t.add("AT+CSIM=%s,%s", [](Modem &m, const Args &a) {
        if (!m.simError().empty()) return reply(m.simError());
        if (a.str(2).size() != static_cast<size_t>(a.num(1))) return reply(m.cme(50));
        return ok("+CSIM: 4,\"9000\"");
    });
    t.add("AT+CRSM=%d,%d,%d,%d,%d[,%s]", [](Modem &m, const Args &a) {
        if (!m.simError().empty()) return reply(m.simError());
        if (a.num(1) == 176 && a.num(2) == 12258) {  // READ BINARY of the ICCID file: digits swapped in pairs
            std::string swapped;
            for (size_t i = 0; i + 1 < m.iccid.size(); i += 2) swapped += std::string{m.iccid[i + 1], m.iccid[i]};
            return ok("+CRSM: 144,0,\"" + swapped + "\"");
        }
        return ok("+CRSM: 144,0,\"\"");
    });
    t.setting("CSTK", "1", "[01]");
    t.setting("CSTKPUP", "1", "[01]");
    t.text("AT+CSTKCMD=%s,%s,%s", "+CSTKCMD: 144,0");
    t.text("AT+STKTR=%s", "+STKTR: 144,0");
    t.text("AT+STKENV=%s", "+STKENV: 144,0");
}

void sleepAndWake(Table &t) {
    t.add("AT+CLTEWAKEUP=%d[,%d]", [](Modem &m, const Args &a) {
        if (a.num(1) < 0 || a.num(1) > 1) return reply(m.cme(50));
        m.settings["CLTEWAKEUP"] = a.g[2].empty() ? a.g[1] : a.g[1] + "," + a.g[2];
        return ok();
    });
    t.add("AT+CLTEWAKEUP?", [](Modem &m, const Args &) { return ok("+CLTEWAKEUP: " + m.settings["CLTEWAKEUP"]); });
    t.defaults["CLTEWAKEUP"] = "0";
    t.add("AT+CWAKER?", [](Modem &m, const Args &) { return ok(fmt("+CWAKER: %d", m.wakeup_reason)); });
    t.flag("AT+CENSLEEP", &Modem::sleep_prepared, true, "+CENSLEEP: 1");
    t.flag("AT+CEXSLEEP", &Modem::sleep_prepared, false, "+CEXSLEEP: 1");
    t.flag("AT+CTTYCLOSE", &Modem::tty_closed, true, "+TTYCLOSE: 1");
    t.flag("AT+CTTYOPEN", &Modem::tty_closed, false, "+TTYOPEN: 1");
    t.text("AT+CSWAKEUP", "");
    t.text("AT+CFWAKEUP", "");
}

void messages(Table &t) {
    t.setting("CMGF", "0", "[01]");
    t.setting("CSDH", "0", "[01]");
    t.setting("CNMI", "2,1,0,0,0", R"([0-2],[0-3],[0-2],[0-2],[01])");
    t.add("AT+CMGL[=%s]", [](Modem &m, const Args &a) {
        if (!m.simError().empty()) return reply(m.simError());
        int want = a.g[1].empty() ? 0 : statusCode(a.str(1));
        if (want < 0) return reply(m.cms(302));
        std::string s;
        for (Sms &e : m.sms) {
            if (want != 4 && statusCode(e.status) != want) continue;
            s += (s.empty() ? "" : "\r\n") + messageEntry(m, e, fmt("+CMGL: %d,", e.index));
            if (e.status == "REC UNREAD") e.status = "REC READ";
        }
        return ok(s);
    });
    t.add("AT+CMGR=%d", [](Modem &m, const Args &a) {
        if (!m.simError().empty()) return reply(m.simError());
        for (Sms &e : m.sms)
            if (e.index == a.num(1)) {
                Outcome o = ok(messageEntry(m, e, "+CMGR: "));
                if (e.status == "REC UNREAD") e.status = "REC READ";
                return o;
            }
        return reply(m.cms(321));
    });
    t.add("AT+CMGD=%d[,%d][,]", [](Modem &m, const Args &a) {
        if (!m.simError().empty()) return reply(m.simError());
        long flag = a.num(2);
        if (flag < 0 || flag > 4) return reply(m.cms(302));
        std::vector<Sms> kept;
        for (const Sms &e : m.sms)
            if (flag == 0 ? e.index != a.num(1) : !deletedBy(e, flag)) kept.push_back(e);
        m.sms = kept;
        return ok();
    });
    t.add("AT+CPMS?", [](Modem &m, const Args &) {
        std::string n = fmt("%zu,%d", m.sms.size(), m.sms_capacity);
        return ok("+CPMS: \"SM\"," + n + ",\"SM\"," + n + ",\"SM\"," + n);
    });
    t.add("AT+CPMS=%s[,%s[,%s]]", [](Modem &m, const Args &a) {
        for (size_t i = 1; i <= 3; ++i)
            if (!a.g[i].empty() && a.str(i) != "SM" && a.str(i) != "ME" && a.str(i) != "MT") return reply(m.cms(302));
        if (!m.simError().empty()) return reply(m.simError());
        return ok("+CPMS: " + storageCounts(m));
    });
    // The two-stage send needs the modem port; the server link cannot carry it.
    t.add("AT+CMGS=%*", [](Modem &m, const Args &) { return reply(m.cms(302)); });
}

void tcpip(Table &t) {
    t.setting("CIPMUX", "0", "[01]");
    t.setting("CIPTKA", "0,7200,75,9", R"([01],\d+,\d+,\d+)");
    t.add("AT+CIPSTATUS", [](Modem &m, const Args &) {
        for (const auto &e : m.pdp)
            if (e.second.active) return ok("STATE: IP GPRSACT");
        return ok(m.registered() ? "STATE: IP INITIAL" : "STATE: PDP DEACT");
    });
    t.add("AT+CIPSHUT", [](Modem &m, const Args &) {
        m.settings["CIPSERVER"] = "0";
        return reply(finalReply("SHUT OK") + finalReply("OK"));
    });
    t.setting("CIPMODE", "0", "[01]");
    t.setting("CIPSRIP", "1", "[01]");
    t.setting("CIPSHOWTP", "0", "[01]");
    t.setting("CIPSPRT", "1", "[0-2]");
    t.setting("CIPRXMODE", "0", "[01]");
    t.setting("CIPSERVER", "0", R"(0|1,\d{1,5})");
}

const Table &table() {
    static const Table t = [] {
        Table b;
        for (auto family : {basic, calls, network, packetData, cells, zoneAndSpeed, gnss, cloud, firmware, peripherals,
                            sim, sleepAndWake, messages, tcpip})
            family(b);
        return b;
    }();
    return t;
}

}  // namespace

const std::vector<Row> &commandTable() { return table().rows; }
const std::map<std::string, std::string> &defaultSettings() { return table().defaults; }

}  // namespace zelsim

#include "replies.h"

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <map>

namespace zelctl {

namespace {

bool blank(char c) { return c == ' ' || c == '\t' || c == '\r' || c == '\n'; }

std::string field(const std::vector<std::string> &f, size_t i) { return i < f.size() ? f[i] : std::string(); }

// Adds key: number when the field holds one, else key: text when not empty.
void put(Json &j, const char *key, const std::string &text) {
    if (auto n = toInt(text)) j[key] = *n;
    else if (!text.empty()) j[key] = text;
}

// Float fields of the records, rounded to what a 32-bit float carries.
double shortFloat(float f) {
    char buf[32];
    snprintf(buf, sizeof buf, "%.6g", static_cast<double>(f));
    return strtod(buf, nullptr);
}

}  // namespace

std::string strip(const std::string &text) {
    size_t b = 0, e = text.size();
    while (b < e && (blank(text[b]) || text[b] == '"')) ++b;
    while (e > b && (blank(text[e - 1]) || text[e - 1] == '"')) --e;
    return text.substr(b, e - b);
}

std::string valueText(const std::string &text) {
    std::string t = strip(text);
    size_t colon = t.find(": ");
    if (!t.empty() && (t[0] == '+' || t[0] == '^') && colon != std::string::npos) return strip(t.substr(colon + 2));
    return t;
}

std::string finalResult(const std::string &reply) {
    auto all = lines(reply);
    for (auto it = all.rbegin(); it != all.rend(); ++it) {
        const std::string &l = *it;
        if (l == "OK" || l.find("ERROR") != std::string::npos) return l;
    }
    return "";
}

std::vector<std::string> splitFields(const std::string &text) {
    std::vector<std::string> out;
    std::string cur;
    bool quoted = false;
    for (char c : text) {
        if (c == '"') quoted = !quoted;
        else if (c == ',' && !quoted) {
            out.push_back(strip(cur));
            cur.clear();
        } else cur += c;
    }
    out.push_back(strip(cur));
    return out;
}

std::vector<std::string> lines(const std::string &text, const std::string &prefix) {
    std::vector<std::string> out;
    size_t pos = 0;
    while (pos <= text.size()) {
        size_t end = text.find_first_of("\r\n", pos);
        if (end == std::string::npos) end = text.size();
        std::string line = text.substr(pos, end - pos);
        if (!prefix.empty() && line.compare(0, prefix.size(), prefix) == 0) line.erase(0, prefix.size());
        size_t b = line.find_first_not_of(" \t");
        if (b != std::string::npos) out.push_back(line.substr(b, line.find_last_not_of(" \t") + 1 - b));
        pos = end + 1;
    }
    return out;
}

std::optional<long> toInt(const std::string &text) {
    if (text.empty()) return std::nullopt;
    char *end = nullptr;
    errno = 0;
    long v = strtol(text.c_str(), &end, 10);
    if (*end != '\0' || errno != 0 || blank(text[0])) return std::nullopt;
    return v;
}

Json signalQuality(const std::string &csq) {
    auto f = splitFields(csq);
    Json j;
    auto rssi = toInt(field(f, 0));
    auto ber = toInt(field(f, 1));
    if (!rssi) return j;
    j["rssi"] = *rssi;
    j["ber"] = ber ? Json(*ber) : Json();
    // 0 stands for -113 dBm or less, 31 for -51 dBm or more, 99 for unknown.
    j["dbm"] = (*rssi >= 0 && *rssi <= 31) ? Json(-113 + 2 * *rssi) : Json();
    return j;
}

const char *registrationState(long stat) {
    switch (stat) {
        case 0: return "not registered";
        case 1: return "home";
        case 2: return "searching";
        case 3: return "denied";
        case 5: return "roaming";
        case 6: return "home, SMS only";
        case 7: return "roaming, SMS only";
        case 8: return "emergency only";
        default: return "unknown";
    }
}

const char *technology(long act) {
    switch (act) {
        case 0: return "GSM";
        case 1: return "GSM compact";
        case 2: return "UTRAN";
        case 3: return "GSM/EGPRS";
        case 4: return "UTRAN/HSDPA";
        case 5: return "UTRAN/HSUPA";
        case 6: return "UTRAN/HSPA";
        case 7: return "LTE";
        case 8: return "EC-GSM-IoT";
        case 9: return "NB-IoT";
        default: return "unknown";
    }
}

Json registration(const std::string &text) {
    auto f = splitFields(text);
    Json j;
    auto stat = toInt(field(f, 1));
    if (!stat) return j;
    j["stat"] = *stat;
    j["state"] = registrationState(*stat);
    if (!field(f, 2).empty()) j["area"] = field(f, 2);
    if (!field(f, 3).empty()) j["cell"] = field(f, 3);
    if (auto act = toInt(field(f, 4))) {
        j["act"] = *act;
        j["technology"] = technology(*act);
    }
    return j;
}

Json currentOperator(const std::string &text) {
    auto f = splitFields(text);
    Json j;
    put(j, "mode", field(f, 0));
    if (f.size() >= 3) j["operator"] = field(f, 2);
    if (auto act = toInt(field(f, 3))) {
        j["act"] = *act;
        j["technology"] = technology(*act);
    }
    return j;
}

Json operatorList(const std::string &text) {
    static const char *const kStatus[] = {"unknown", "available", "current", "forbidden"};
    Json list = Json::array();
    size_t pos = 0;
    while ((pos = text.find('(', pos)) != std::string::npos) {
        size_t end = text.find(')', pos);
        if (end == std::string::npos) break;
        std::string group = text.substr(pos + 1, end - pos - 1);
        pos = end + 1;
        auto f = splitFields(group);
        auto stat = toInt(field(f, 0));
        // Operators carry quoted names; the lists of modes and formats do not.
        if (f.size() < 4 || !stat || group.find('"') == std::string::npos) continue;
        Json op;
        op["status"] = (*stat >= 0 && *stat <= 3) ? kStatus[*stat] : "unknown";
        op["long"] = field(f, 1);
        op["short"] = field(f, 2);
        op["numeric"] = field(f, 3);
        if (auto act = toInt(field(f, 4))) op["technology"] = technology(*act);
        list.push_back(op);
    }
    return list;
}

Json pdpContexts(const std::string &cgdcont, const std::string &cgact, const std::string &cgpaddr) {
    std::map<long, Json> byCid;
    for (const auto &line : lines(cgdcont, "+CGDCONT: ")) {
        auto f = splitFields(line);
        auto cid = toInt(field(f, 0));
        if (!cid) continue;
        Json &c = byCid[*cid];
        c["cid"] = *cid;
        c["type"] = field(f, 1);
        c["apn"] = field(f, 2);
        c["active"] = false;
        c["address"] = Json();
    }
    for (const auto &line : lines(cgact, "+CGACT: ")) {
        auto f = splitFields(line);
        auto cid = toInt(field(f, 0));
        if (cid && byCid.count(*cid)) byCid[*cid]["active"] = toInt(field(f, 1)).value_or(0) == 1;
    }
    for (const auto &line : lines(cgpaddr, "+CGPADDR: ")) {
        auto f = splitFields(line);
        auto cid = toInt(field(f, 0));
        if (cid && byCid.count(*cid) && !field(f, 1).empty() && field(f, 1) != "0.0.0.0")
            byCid[*cid]["address"] = field(f, 1);
    }
    Json list = Json::array();
    for (auto &entry : byCid) list.push_back(entry.second);
    return list;
}

Json pinCounters(const std::string &text) {
    Json list = Json::array();
    for (const auto &line : lines(text, "+CPINR: ")) {
        auto f = splitFields(line);
        Json c;
        c["code"] = field(f, 0);
        put(c, "retries", field(f, 1));
        put(c, "default", field(f, 2));
        list.push_back(c);
    }
    return list;
}

namespace {

// Header fields from `first` on: status, number, (alpha), time.
void messageHeader(Json &m, const std::vector<std::string> &f, size_t first) {
    m["status"] = field(f, first);
    m["number"] = field(f, first + 1);
    m["time"] = field(f, first + 3);
}

}  // namespace

Json messageList(const std::string &list) {
    Json out = Json::array();
    const std::string header = "+CMGL: ";
    for (const auto &line : lines(list)) {
        if (line.compare(0, header.size(), header) == 0) {
            auto f = splitFields(line.substr(header.size()));
            Json m;
            put(m, "index", field(f, 0));
            messageHeader(m, f, 1);
            m["text"] = "";
            out.push_back(m);
        } else if (!out.empty()) {
            std::string text = out.back()["text"];
            out.back()["text"] = text.empty() ? line : text + "\n" + line;
        }
    }
    return out;
}

Json message(const std::string &read) {
    Json m;
    const std::string header = "+CMGR: ";
    std::string body;
    for (const auto &line : lines(read)) {
        if (m.empty() && line.compare(0, header.size(), header) == 0)
            messageHeader(m, splitFields(line.substr(header.size())), 0);
        else body += (body.empty() ? "" : "\n") + line;
    }
    m["text"] = body;
    return m;
}

std::optional<double> coordinate(const std::string &text) {
    size_t colon = text.find(':');
    std::string value = strip(colon == std::string::npos ? text : text.substr(colon + 1));
    char *end = nullptr;
    double v = strtod(value.c_str(), &end);
    if (end == value.c_str() || !std::isfinite(v)) return std::nullopt;
    return v;
}

std::string clockText(const std::string &cclk) {
    std::string t = strip(cclk);
    int yy, mo, dd, hh, mi, ss;
    char tail;
    if (sscanf(t.c_str(), "%2d/%2d/%2d,%2d:%2d:%2d%c", &yy, &mo, &dd, &hh, &mi, &ss, &tail) < 6) return t;
    char buf[32];
    snprintf(buf, sizeof buf, "20%02d-%02d-%02d %02d:%02d:%02d", yy, mo, dd, hh, mi, ss);
    return buf;
}

const char *notificationName(uint32_t type) {
    return type < zel::wire::kNotificationTypes ? zel::wire::kNotificationNames[type] : "unknown";
}

const char *otaStep(int status) {
    int range = zel::wire::otaRange(status);
    return range < 0 ? nullptr : zel::wire::kOtaRanges[range].step;
}

Json notification(const zelNotification &n) {
    Json j;
    j["event"] = "notification";
    j["type"] = n.type;
    j["name"] = notificationName(n.type);
    if (n.type == NOTIFICATION_OTA_STATUS) {
        j["status"] = n.payload.ota.status;
        j["progress"] = n.payload.ota.progress;
        const char *step = otaStep(n.payload.ota.status);
        j["step"] = step ? Json(step) : Json();
    } else if (n.type == NOTIFICATION_URC) {
        j["text"] = std::string(n.payload.urc.data, n.payload.urc.length);
    } else {
        j["value"] = n.payload.value;
    }
    return j;
}

Json neighbourCells(const zelNeighbourCellReport &r) {
    // The record keeps levels in 16-bit fields as two's complement: LTE
    // tok4..tok7 (RSRP, RSRQ, RSSI, SINR) and GERAN tok8 read back signed.
    auto level = [](uint16_t v) { return static_cast<int16_t>(v); };
    Json j;
    Json &intra = j["lte_intra"] = Json::array();
    for (int i = 0; i < r.lteIntraCount && i < 8; ++i) {
        const auto &c = r.lteIntra[i];
        intra.push_back({{"tok2", c.tok2}, {"tok3", c.tok3}, {"tok4", level(c.tok4)}, {"tok5", level(c.tok5)},
                         {"tok6", level(c.tok6)}, {"tok7", level(c.tok7)}, {"tok8", c.tok8}, {"tok9", c.tok9},
                         {"tok10", c.tok10}, {"tok11", c.tok11}});
    }
    Json &inter = j["lte_inter"] = Json::array();
    for (int i = 0; i < r.lteInterCount && i < 24; ++i) {
        const auto &c = r.lteInter[i];
        inter.push_back({{"tok2", c.tok2}, {"tok3", c.tok3}, {"tok4", level(c.tok4)}, {"tok5", level(c.tok5)},
                         {"tok6", level(c.tok6)}, {"tok7", level(c.tok7)}, {"tok8", c.tok8}, {"tok9", c.tok9},
                         {"tok10", c.tok10}});
    }
    Json &gsm = j["gsm"] = Json::array();
    for (int i = 0; i < r.gsmCount && i < 16; ++i) {
        const auto &c = r.gsm[i];
        gsm.push_back({{"tok2", c.tok2}, {"tok3", c.tok3}, {"tok4", c.tok4}, {"tok5", c.tok5}, {"tok6", c.tok6},
                       {"tok7", c.tok7}, {"tok8", c.tok8}, {"tok9", c.tok9}, {"tok10", c.tok10}});
    }
    Json &geran = j["geran"] = Json::array();
    for (int i = 0; i < r.geranCount && i < 6; ++i) {
        const auto &c = r.geran[i];
        geran.push_back({{"tok2", c.tok2}, {"tok3", c.tok3}, {"tok4", c.tok4}, {"tok5", c.tok5}, {"tok6", c.tok6},
                         {"tok7", c.tok7}, {"tok8", level(c.tok8)}, {"tok9", c.tok9}, {"tok10", c.tok10},
                         {"tok11", c.tok11}, {"tok12", c.tok12}});
    }
    return j;
}

Json modemInfo(const zelModemInfo &m, bool lte) {
    Json j;
    j["field1"] = m.field1;
    j["field2"] = m.field2;
    if (lte) j["field3"] = m.field3;
    j["field4"] = m.field4;
    j["field5"] = m.field5;
    j["field6"] = m.field6;
    if (lte) j["field7"] = m.field7;
    j["field8"] = m.field8;
    if (lte) j["field9"] = m.field9;
    j["field10"] = m.field10;
    if (lte) {
        j["field11"] = shortFloat(m.field11);
        j["field12"] = shortFloat(m.field12);
        j["field13"] = m.field13;
    } else {
        j["field14"] = m.field14;
    }
    if (lte) {
        j["field15"] = m.field15;
        j["field16"] = m.field16;
        j["field17"] = m.field17;
        j["field18"] = shortFloat(m.field18);
        j["field19"] = shortFloat(m.field19);
    }
    return j;
}

}  // namespace zelctl

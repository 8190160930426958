#include "redact.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cctype>
#include <cstdlib>
#include <cstring>
#include <utility>
#include <map>
#include <set>

#include "pdu.h"  // zelsim's encoder: a fake message in PDU form

namespace zeltap {

bool luhnValid(const std::string &digits) {
    int sum = 0;
    for (size_t i = 0; i < digits.size(); ++i) {
        int d = digits[digits.size() - 1 - i] - '0';
        if (d < 0 || d > 9) return false;
        if (i % 2 == 1) d = d * 2 > 9 ? d * 2 - 9 : d * 2;
        sum += d;
    }
    return !digits.empty() && sum % 10 == 0;
}

namespace {

bool allDigits(const std::string &s, size_t lo, size_t hi) {
    return s.size() >= lo && s.size() <= hi && std::all_of(s.begin(), s.end(), [](char c) { return c >= '0' && c <= '9'; });
}

bool startsWith(const std::string &s, const char *prefix) { return s.compare(0, strlen(prefix), prefix) == 0; }

std::string upper(std::string s) {
    for (char &c : s) c = static_cast<char>(toupper(static_cast<unsigned char>(c)));
    return s;
}

// The quoted fields of a line, with their offsets (after the opening quote).
std::vector<std::pair<size_t, std::string>> quoted(const std::string &line) {
    std::vector<std::pair<size_t, std::string>> out;
    for (size_t i = line.find('"'); i != std::string::npos; i = line.find('"', i)) {
        size_t end = line.find('"', i + 1);
        if (end == std::string::npos) break;
        out.emplace_back(i + 1, line.substr(i + 1, end - i - 1));
        i = end + 1;
    }
    return out;
}

std::vector<std::string> split(const std::string &s, char sep) {
    std::vector<std::string> out(1);
    for (char c : s) {
        if (c == sep) out.emplace_back();
        else out.back() += c;
    }
    return out;
}

std::string join(const std::vector<std::string> &parts, char sep) {
    std::string out;
    for (size_t i = 0; i < parts.size(); ++i) out += (i ? std::string(1, sep) : "") + parts[i];
    return out;
}

// A reply's lines and what ends each ("\r\n", or nothing for the last).
struct Lines {
    std::vector<std::string> text, end;
};
Lines lines(const std::string &s) {
    Lines l;
    size_t at = 0;
    for (size_t n; (n = s.find("\r\n", at)) != std::string::npos; at = n + 2) {
        l.text.push_back(s.substr(at, n - at));
        l.end.push_back("\r\n");
    }
    l.text.push_back(s.substr(at));
    l.end.push_back("");
    return l;
}

// Is a message header of a listing or read, in text mode ("+CMGL: 1,"REC
// UNREAD",...) or in PDU mode ("+CMGL: 1,0,,29").
bool messageHeader(const std::string &line) { return startsWith(line, "+CMGL: ") || startsWith(line, "+CMGR: "); }

class Redactor {
public:
    void run(Recording *r);

private:
    void learnReply(const std::string &command, const std::string &reply);
    void learn(const char *kind, const std::string &real, const std::string &fake) {
        if (real.size() < 4 || map_.count(real)) return;
        map_[real] = fake;
        kinds_.insert(kind);
    }
    std::string digits(const std::string &real, const char *prefix);
    std::string fakeImei();
    unsigned long learnCell(unsigned long id);
    unsigned long area(unsigned long code);
    std::string radioFields(const std::string &line);
    std::string fakeText(const std::string &real);
    std::string replaceAll(const std::string &s) const;
    const std::pair<std::string, int> &fakePdu(const std::string &real, int stat);
    std::string rewriteLine(const std::string &line, const std::string &header, const std::string &next);
    std::string position(const std::string &line);
    std::vector<std::pair<Ms, std::string>> rewrite(const std::vector<std::pair<Ms, std::string>> &bursts);

    std::map<std::string, std::string> map_;    // identities, numbers, cells: replaced wherever they stand
    std::map<std::string, std::string> texts_;  // message texts: replaced on message lines
    std::map<std::string, std::pair<std::string, int>> pdus_;  // whole PDUs: rebuilt, with their length
    std::map<unsigned long, unsigned long> cells_, areas_;  // cell identities, location/tracking areas
    std::set<std::string> kinds_;
    int serial_ = 0;
    bool have_origin_ = false;
    double dlat_ = 0, dlon_ = 0;  // the shift from real positions to fake ones
};

// Fake digits of the same count: `prefix`, then a serial number.
std::string Redactor::digits(const std::string &real, const char *prefix) {
    std::string plus = real[0] == '+' ? "+" : "";
    size_t n = real.size() - plus.size();
    std::string serial = std::to_string(++serial_);
    std::string out = std::string(prefix).substr(0, n > serial.size() ? n - serial.size() : 0);
    out += std::string(n - std::min(n, out.size() + serial.size()), '0') + serial;
    return plus + out.substr(out.size() - n);
}

std::string Redactor::fakeImei() {
    std::string body = digits(std::string(14, '0'), "35000000");
    for (char check = '0'; check <= '9'; ++check)
        if (luhnValid(body + check)) return body + check;
    return body + '0';
}

// A cell identity, decimal and as the hex that the registration replies and
// the radio records carry, to a fake of as many decimal digits.
unsigned long Redactor::learnCell(unsigned long id) {
    auto known = cells_.find(id);
    if (known != cells_.end()) return known->second;
    std::string dec = std::to_string(id);
    unsigned long fake = cells_[id] = std::strtoul(digits(dec, "1").c_str(), nullptr, 10);
    if (dec.size() >= 5) learn("cell_ids", dec, std::to_string(fake));
    char real_hex[16], fake_hex[16];
    snprintf(real_hex, sizeof real_hex, "%08lX", id & 0xFFFFFFFFul);
    snprintf(fake_hex, sizeof fake_hex, "%08lX", fake & 0xFFFFFFFFul);
    learn("cell_ids", real_hex, fake_hex);
    return fake;
}

// A location or tracking area code's fake, of as many decimal digits (so its
// hex is no wider), the same in the registration replies (hex) and in the
// radio and neighbour lines (decimal).
unsigned long Redactor::area(unsigned long code) {
    auto known = areas_.find(code);
    if (known != areas_.end()) return known->second;
    kinds_.insert("cell_ids");
    return areas_[code] = std::strtoul(digits(std::to_string(code), "1").c_str(), nullptr, 10);
}

// The area and cell fields of a radio or neighbour line, by position (short
// decimal codes are not safe to replace wherever they stand): "+CMODEMINFO:"
// for LTE holds the cell at 5 and the area at 7, for GSM the area at 4 and
// the cell at 5; a GSM neighbour its area and cell at 9 and 10, a GERAN one
// at 4 and 5.
std::string Redactor::radioFields(const std::string &line) {
    const bool info = startsWith(line, "+CMODEMINFO: ");
    if (!info && !startsWith(line, "\"neighbourcell\",")) return line;
    std::vector<std::string> f = split(line, ',');
    size_t at_area, at_cell;
    if (info) {
        bool lte = startsWith(line, "+CMODEMINFO: \"LTE\"");
        at_area = lte ? 7 : 4, at_cell = 5;
    } else {
        bool gsm = f.size() == 11;
        at_area = gsm ? 9 : 4, at_cell = gsm ? 10 : 5;
    }
    if (f.size() <= std::max(at_area, at_cell)) return line;
    for (size_t at : {at_area, at_cell}) {
        if (!allDigits(f[at], 1, 10)) continue;
        unsigned long real = std::strtoul(f[at].c_str(), nullptr, 10);
        f[at] = std::to_string(at == at_area ? area(real) : learnCell(real));
    }
    return join(f, ',');
}

// A fake of the same length in bytes.
std::string Redactor::fakeText(const std::string &real) {
    auto it = texts_.find(real);
    if (it != texts_.end()) return it->second;
    std::string unit = "redacted message " + std::to_string(texts_.size() + 1) + " ";
    std::string fake;
    while (fake.size() < real.size()) fake += unit;
    fake.resize(real.size());
    kinds_.insert("message_texts");
    return texts_[real] = fake;
}

void Redactor::learnReply(const std::string &command, const std::string &reply) {
    const std::string cmd = upper(command);
    const Lines l = lines(reply);
    for (size_t i = 0; i < l.text.size(); ++i) {
        const std::string &line = l.text[i];
        auto after = [&line](const char *p) { return line.substr(strlen(p)); };
        if (startsWith(line, "+IMEI: ") || startsWith(line, "IMEI: ")) {
            std::string v = after(line[0] == '+' ? "+IMEI: " : "IMEI: ");
            if (allDigits(v, 15, 15) && !map_.count(v)) learn("imei", v, fakeImei());
        } else if ((cmd == "AT+CGSN" || cmd == "AT+GSN") && allDigits(line, 15, 15) && !map_.count(line)) {
            learn("imei", line, fakeImei());
        } else if (cmd == "AT+CIMI" && allDigits(line, 6, 15)) {
            learn("imsi", line, digits(line, "00101"));
        } else if (startsWith(line, "+ICCID: ") || startsWith(line, "ICCID: ") || startsWith(line, "+CCID: ")) {
            std::string v = line.substr(line.find(": ") + 2);
            if (v.size() >= 10 && !map_.count(v)) {
                std::string fake = digits(std::string(v.size(), '0'), "8900");
                learn("iccid", v, fake);
                std::string rs = v, fs = fake;  // the SIM file holds the digits swapped in pairs
                for (size_t k = 0; k + 1 < rs.size(); k += 2) std::swap(rs[k], rs[k + 1]), std::swap(fs[k], fs[k + 1]);
                learn("iccid", rs, fs);
            }
        } else if (startsWith(line, "+CNUM: ")) {
            for (const auto &q : quoted(line))
                if (allDigits(q.second[0] == '+' ? q.second.substr(1) : q.second, 3, 20)) learn("own_number", q.second, digits(q.second, "1555"));
        } else if (messageHeader(line) || startsWith(line, "+CLIP: ") || startsWith(line, "+CLCC: ") || startsWith(line, "+CMT: ")) {
            for (const auto &q : quoted(line))
                if (allDigits(q.second[0] == '+' ? q.second.substr(1) : q.second, 3, 20)) learn("phone_numbers", q.second, digits(q.second, "1555"));
        } else if (startsWith(line, "+CREG: ") || startsWith(line, "+CGREG: ") || startsWith(line, "+CEREG: ")) {
            auto q = quoted(line);
            if (q.size() >= 2) {  // location area or tracking area code, and cell identity
                const std::string &code = q[0].second;
                char fake_area[16];
                snprintf(fake_area, sizeof fake_area, "\"%0*lX\"", static_cast<int>(std::min<size_t>(code.size(), 8)),
                         area(std::strtoul(code.c_str(), nullptr, 16)));
                learn("cell_ids", "\"" + code + "\"", fake_area);
                unsigned long id = std::strtoul(q[1].second.c_str(), nullptr, 16);
                learnCell(id);
                if (q[1].second.size() == 4) {
                    char real[8], fake[8];
                    snprintf(real, sizeof real, "\"%s\"", q[1].second.c_str());
                    snprintf(fake, sizeof fake, "\"%04lX\"", std::strtoul(map_[std::to_string(id)].c_str(), nullptr, 10) & 0xFFFF);
                    learn("cell_ids", real, fake);
                }
            }
        } else {
            radioFields(line);  // learns the cells, so they are replaced wherever they stand
        }
    }
}

std::string Redactor::replaceAll(const std::string &s) const {
    if (map_.empty()) return s;
    std::vector<const std::pair<const std::string, std::string> *> keys;
    for (const auto &kv : map_) keys.push_back(&kv);
    std::sort(keys.begin(), keys.end(), [](auto a, auto b) { return a->first.size() > b->first.size(); });
    std::string out;
    for (size_t i = 0; i < s.size();) {
        bool hit = false;
        for (const auto *kv : keys) {
            if (s.compare(i, kv->first.size(), kv->first) == 0) {
                out += kv->second;
                i += kv->first.size();
                hit = true;
                break;
            }
        }
        if (!hit) out += s[i++];
    }
    return out;
}

// Latitude and longitude moved by one shift: the first position seen becomes
// 45 N 7 E, the track keeps its shape. NMEA sentences get their checksum anew.
std::string Redactor::position(const std::string &line) {
    auto shift = [this](double lat, double lon, double *flat, double *flon) {
        if (!have_origin_) dlat_ = 45.0 - lat, dlon_ = 7.0 - lon, have_origin_ = true;
        *flat = std::max(-89.9, std::min(89.9, lat + dlat_));
        *flon = std::fmod(lon + dlon_ + 540.0, 360.0) - 180.0;
        kinds_.insert("positions");
    };
    size_t star = line.find('*');
    if (line.size() > 7 && line[0] == '$' && star != std::string::npos) {
        std::vector<std::string> f = split(line.substr(1, star - 1), ',');
        std::string type = f[0].size() >= 5 ? f[0].substr(2) : "";
        size_t at = type == "GGA" ? 2 : type == "RMC" ? 3 : type == "GLL" ? 1 : 0;
        if (at == 0 || f.size() < at + 4 || f[at].empty() || f[at + 2].empty()) return line;
        auto angle = [](const std::string &v, const std::string &hemi, int deg_digits) {
            double d = std::atof(v.substr(0, deg_digits).c_str()) + std::atof(v.substr(deg_digits).c_str()) / 60.0;
            return hemi == "S" || hemi == "W" ? -d : d;
        };
        double lat, lon;
        shift(angle(f[at], f[at + 1], 2), angle(f[at + 2], f[at + 3], 3), &lat, &lon);
        auto put = [](double v, int deg_digits, std::string *value, std::string *hemi, bool is_lat) {
            double a = std::fabs(v);
            int deg = static_cast<int>(a);
            char buf[32];
            snprintf(buf, sizeof buf, "%0*d%08.5f", deg_digits, deg, (a - deg) * 60.0);
            *value = buf;
            *hemi = is_lat ? (v < 0 ? "S" : "N") : (v < 0 ? "W" : "E");
        };
        put(lat, 2, &f[at], &f[at + 1], true);
        put(lon, 3, &f[at + 2], &f[at + 3], false);
        std::string body = join(f, ',');
        unsigned sum = 0;
        for (char c : body) sum ^= static_cast<unsigned char>(c);
        char cs[8];
        snprintf(cs, sizeof cs, "*%02X", sum);
        return "$" + body + cs + line.substr(std::min(line.size(), star + 3));
    }
    for (const char *p : {"+CGPSGLAT: ", "+CGPSGLON: "}) {
        if (!startsWith(line, p) || line.size() < strlen(p) + 2) continue;
        bool is_lat = p[7] == 'A';
        std::string v = line.substr(strlen(p));
        char hemi = v.back();
        double real = std::atof(v.c_str()) * (hemi == 'S' || hemi == 'W' ? -1 : 1);
        double lat, lon;
        shift(is_lat ? real : 0, is_lat ? 0 : real, &lat, &lon);  // one axis: the other is not used
        double fake = is_lat ? real + dlat_ : std::fmod(real + dlon_ + 540.0, 360.0) - 180.0;
        char buf[40];
        snprintf(buf, sizeof buf, "%s%.6f%c", p, std::fabs(fake), is_lat ? (fake < 0 ? 'S' : 'N') : (fake < 0 ? 'W' : 'E'));
        return buf;
    }
    return line;
}

// A fake message in PDU form for the real one, and its length after the
// service-centre field; `stat` is the header's status code.
const std::pair<std::string, int> &Redactor::fakePdu(const std::string &real, int stat) {
    auto it = pdus_.find(real);
    if (it != pdus_.end()) return it->second;
    zelsim::Sms fake{0, stat <= 1 ? "REC READ" : "STO SENT", digits("+15550000", "1555"),
                     fakeText(real).substr(0, 20), "70/01/01,00:00:00+00"};
    std::pair<std::string, int> &out = pdus_[real];
    out.first = zelsim::encodePdu(fake, &out.second);
    kinds_.insert("phone_numbers");
    return out;
}

// One line of a reply; `header` is the message header before it ("" when
// none) and `next` the line after it.
std::string Redactor::rewriteLine(const std::string &line, const std::string &header, const std::string &next) {
    if (header.empty() && messageHeader(line) && line.find('"') == std::string::npos) {
        // PDU mode: "+CMGL: index,stat,,length" or "+CMGR: stat,,length"; the length follows the fake.
        std::vector<std::string> f = split(line.substr(line.find(": ") + 2), ',');
        if (f.size() < 3) return line;
        int stat = std::atoi(f[startsWith(line, "+CMGL") ? 1 : 0].c_str());
        f.back() = std::to_string(fakePdu(next, stat).second);
        return line.substr(0, line.find(": ") + 2) + join(f, ',');
    }
    if (header.empty()) return position(replaceAll(radioFields(line)));
    if (header.find('"') != std::string::npos) return fakeText(line);  // text mode: the text
    auto it = pdus_.find(line);
    return it != pdus_.end() ? it->second.first : line;
}

// The bursts of a reply rewritten line by line; a burst boundary in a line
// that changed length moves to that line's end.
std::vector<std::pair<Ms, std::string>> Redactor::rewrite(const std::vector<std::pair<Ms, std::string>> &bursts) {
    std::string whole;
    std::vector<size_t> ends;
    for (const auto &b : bursts) ends.push_back((whole += b.second).size());
    Lines l = lines(whole);
    std::string out;
    std::vector<size_t> new_ends;
    size_t old_at = 0, e = 0;
    std::string header;  // the message header whose text the line belongs to, or ""
    for (size_t i = 0; i < l.text.size(); ++i) {
        const std::string &cur = l.text[i], &next = i + 1 < l.text.size() ? l.text[i + 1] : "";
        if (i > 0 && messageHeader(l.text[i - 1])) {
            header = l.text[i - 1];
        } else if (header.find('"') == std::string::npos || messageHeader(cur) || cur == "OK" ||
                   (cur.empty() && (next == "OK" || messageHeader(next)))) {
            header.clear();  // a text in text mode goes on over its lines up to the next message or the end
        }
        std::string line = rewriteLine(cur, header, next);
        size_t old_len = l.text[i].size() + l.end[i].size(), new_at = out.size();
        out += line + l.end[i];
        for (; e < ends.size() && ends[e] <= old_at + old_len; ++e) {
            size_t into = ends[e] - old_at;
            new_ends.push_back(line.size() == l.text[i].size() || into >= l.text[i].size()
                                   ? new_at + std::min(into, line.size() + l.end[i].size())
                                   : new_at + line.size());
        }
        old_at += old_len;
    }
    std::vector<std::pair<Ms, std::string>> result;
    size_t from = 0;
    for (size_t i = 0; i < bursts.size(); ++i) {
        size_t to = i < new_ends.size() ? std::max(from, new_ends[i]) : out.size();
        if (i + 1 == bursts.size()) to = out.size();
        result.emplace_back(bursts[i].first, out.substr(from, to - from));
        from = to;
    }
    return result;
}

void Redactor::run(Recording *r) {
    for (const Exchange &e : r->exchanges) learnReply(e.text, e.replyText());
    for (Exchange &e : r->exchanges) {
        if (e.body) e.text = fakeText(e.text);
        else e.text = replaceAll(e.text);
        e.reply = rewrite(e.reply);
    }
    // Every fake above keeps its length, so URC length fields stay right.
    for (Event &e : r->events) e.bytes = replaceAll(e.bytes);
    r->replaced.assign(kinds_.begin(), kinds_.end());
}

}  // namespace

void redact(Recording *r) {
    Redactor x;
    x.run(r);
}

}  // namespace zeltap

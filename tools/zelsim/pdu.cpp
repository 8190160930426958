#include "pdu.h"

#include <cstdio>

namespace zelsim {

namespace {

// Swapped digit pairs, F filling an odd count.
std::string semiOctets(const std::string &digits) {
    std::string out;
    for (size_t i = 0; i < digits.size(); i += 2) {
        out += i + 1 < digits.size() ? digits[i + 1] : 'F';
        out += digits[i];
    }
    return out;
}

std::string address(const std::string &number) {
    bool intl = !number.empty() && number[0] == '+';
    std::string digits = intl ? number.substr(1) : number;
    char head[8];
    snprintf(head, sizeof head, "%02X%s", static_cast<unsigned>(digits.size()), intl ? "91" : "81");
    return head + semiOctets(digits);
}

std::string ucs2(const std::string &text) {
    std::string hex;
    char buf[8];
    for (unsigned char c : text) {
        snprintf(buf, sizeof buf, "%04X", c);
        hex += buf;
    }
    return hex;
}

void appendUtf8(std::string *out, unsigned cp) {
    if (cp < 0x100 && cp != 0) {
        *out += char(cp);  // one byte per character, as the library's encoder writes them
    } else if (cp < 0x800) {
        *out += char(0xC0 | (cp >> 6));
        *out += char(0x80 | (cp & 0x3F));
    } else {
        *out += char(0xE0 | (cp >> 12));
        *out += char(0x80 | ((cp >> 6) & 0x3F));
        *out += char(0x80 | (cp & 0x3F));
    }
}

}  // namespace

bool decodeSubmit(const std::string &hex, std::string *number, std::string *text) {
    std::string b;
    if (!fromHex(hex, &b) || b.empty()) return false;
    size_t p = 1 + static_cast<unsigned char>(b[0]);  // service-centre field
    auto need = [&](size_t n) { return p + n <= b.size(); };
    if (!need(3)) return false;
    unsigned fo = static_cast<unsigned char>(b[p]);
    if ((fo & 3) != 1) return false;  // not an SMS-SUBMIT
    unsigned digits = static_cast<unsigned char>(b[p + 2]);
    p += 3;
    if (!need(1 + (digits + 1) / 2)) return false;
    unsigned toa = static_cast<unsigned char>(b[p++]);
    std::string num = (toa & 0x70) == 0x10 ? "+" : "";
    for (unsigned i = 0; i < digits; ++i) {
        unsigned char o = b[p + i / 2];
        num += "0123456789*#abcF"[i % 2 ? o >> 4 : o & 15];
    }
    p += (digits + 1) / 2;
    unsigned vpf = (fo >> 3) & 3;
    size_t vp = vpf == 2 ? 1 : vpf == 0 ? 0 : 7;
    if (!need(2 + vp + 1)) return false;
    unsigned dcs = static_cast<unsigned char>(b[p + 1]);
    p += 2 + vp;
    unsigned udl = static_cast<unsigned char>(b[p++]);
    std::string ud = b.substr(p);
    std::string out;
    if ((dcs & 0x0C) == 0x08) {  // UCS-2
        if (ud.size() < udl || udl % 2) return false;
        for (unsigned i = 0; i + 1 < udl; i += 2)
            appendUtf8(&out, static_cast<unsigned char>(ud[i]) << 8 | static_cast<unsigned char>(ud[i + 1]));
    } else if ((dcs & 0x0C) == 0x04) {  // 8-bit
        if (ud.size() < udl) return false;
        out = ud.substr(0, udl);
    } else {  // 7-bit septets
        if (ud.size() < (udl * 7 + 7) / 8) return false;
        for (unsigned i = 0; i < udl; ++i) {
            unsigned bit = i * 7, byte = bit / 8, shift = bit % 8;
            unsigned v = static_cast<unsigned char>(ud[byte]) >> shift;
            if (shift > 1 && byte + 1 < ud.size()) v |= static_cast<unsigned char>(ud[byte + 1]) << (8 - shift);
            out += char(v & 0x7F);
        }
    }
    *number = num;
    *text = out;
    return true;
}

std::string encodePdu(const Sms &sms, int *octets) {
    std::string body = ucs2(sms.text);
    char udl[8];
    snprintf(udl, sizeof udl, "%02X", static_cast<unsigned>(body.size() / 2) & 0xFF);
    std::string tpdu;
    if (sms.status.rfind("REC", 0) == 0) {
        // Time stamp: yy MM dd hh mm ss zz, each pair swapped.
        std::string digits;
        for (char c : sms.time)
            if (c >= '0' && c <= '9') digits += c;
        digits.resize(14, '0');
        tpdu = "04" + address(sms.number) + "0008" + semiOctets(digits) + udl + body;
    } else {
        tpdu = "0100" + address(sms.number) + "0008" + udl + body;
    }
    *octets = static_cast<int>(tpdu.size() / 2);
    return "00" + tpdu;
}

}  // namespace zelsim

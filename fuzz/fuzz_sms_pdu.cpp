// Fuzzes the SMS-SUBMIT PDU builder and reads each PDU back: fixed fields, an
// address that unswaps to the number (91 in front unless it starts with '+';
// F for an odd count; NULL past 20 digits) and counts its digits, a length
// that counts two octets per text byte, and a body that spells the text one
// UCS-2 unit per byte.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <string>

#include "zelto_api_modules/zel_sms_internal.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || size > 4096) return 0;
    // The first byte splits the rest into number and text; each ends at a zero byte, as C strings do.
    const char *rest = reinterpret_cast<const char *>(data + 1);
    size_t split = data[0] < size - 1 ? data[0] : size - 1;
    std::string number = std::string(rest, split).c_str(), text = std::string(rest + split, size - 1 - split).c_str();
    std::string digits = number[0] == '+' ? number.substr(1) : "91" + number, unswapped;
    char *built = zel::buildSubmitPdu(number.c_str(), text.c_str());
    if ((built == nullptr) != (digits.size() > 20)) abort();
    if (built == nullptr) return 0;
    std::string pdu(built);
    free(built);
    size_t n = (digits.size() + 1) / 2 * 2, body = pdu.size() - 4 * text.size();  // address and body positions
    if (pdu.compare(0, 6, "000100") != 0 || strtoul(pdu.substr(6, 2).c_str(), nullptr, 16) != digits.size() ||
        pdu.compare(8, 2, "91") != 0 || pdu.compare(10 + n, 4, "0008") != 0 || body < 16 + n) abort();
    for (size_t i = 10; i < 10 + n; i += 2) unswapped += pdu[i + 1], unswapped += pdu[i];
    if (unswapped != digits + (digits.size() % 2 ? "F" : "")) abort();
    if (pdu.find_first_not_of("0123456789ABCDEF", 14 + n) != std::string::npos) abort();
    if (strtoul(pdu.substr(14 + n, body - 14 - n).c_str(), nullptr, 16) != 2 * text.size()) abort();
    for (size_t i = 0; i < text.size(); ++i)
        if (strtoul(pdu.substr(body + 4 * i, 4).c_str(), nullptr, 16) != static_cast<unsigned char>(text[i])) abort();
    return 0;
}

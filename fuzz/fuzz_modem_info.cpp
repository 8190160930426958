// Scans arbitrary text as a modem information line: the bytes as they are, or
// written over a well-formed LTE or GSM line at a chosen place.
#include <stdlib.h>
#include <string.h>

#include <string>

#include "zelto_sdk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    static const char *const kLines[] = {"+CMODEMINFO: \"LTE\",\"FDD\",-5,1,2,3,4,5,B3,1.5,-2,6,7,8,9,1e1,-0.5,12",
                                         "+CMODEMINFO: \"GSM\",\"900\",1,2,3,4,5,Cell 7"};
    if (size < 2) return 0;
    std::string bytes(reinterpret_cast<const char *>(data) + 2, size - 2);
    std::string text = data[0] % 3 ? kLines[data[0] & 1] : "";
    text.replace(data[1] % (text.size() + 1), bytes.size(), bytes);
    zelModemInfo m;
    memset(&m, 0x5A, sizeof m);
    int32_t n = parseModemInfo(text.c_str(), &m);
    const bool lte = strstr(text.c_str(), "\"LTE\"") != nullptr;
    // Text fields end within their arrays; values past the last match keep their defaults.
    if (n < 0 || n > (lte ? 18 : 8) || !memchr(m.field1, 0, 16) || !memchr(m.field2, 0, 8) ||
        !memchr(m.field10, 0, 16) || (n < 1 && m.field1[0]) || (n < 3 && (m.field3 || m.field4)) ||
        (n < 13 && m.field15 != -1) || (n < 17 && m.field19 != -1.0f) || (!lte && m.field13))
        abort();
    return 0;
}

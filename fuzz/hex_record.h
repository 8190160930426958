// The body of the serving-cell record fuzz targets. The first byte chooses the
// text: the other bytes as they are, or hex digits made of them, as many as
// there are bytes or exactly a record's worth.
#ifndef ZEL_FUZZ_HEX_RECORD_H
#define ZEL_FUZZ_HEX_RECORD_H

#include <stdlib.h>
#include <string.h>

#include <string>

#include "core/platform.h"
#include "zelto_sdk.h"

template <typename Record>
int fuzzHexRecord(int32_t (*decode)(const char *, Record *), size_t record_bytes, const uint8_t *data, size_t size) {
    static const char kDigits[] = "0123456789abcdefABCDEF";
    zel::g_platform.log_write = [](int, const char *) {};
    if (size < 2) return 0;
    std::string text(reinterpret_cast<const char *>(data) + 1, size - 1);
    if (data[0] % 3 == 2) text.resize(2 * record_bytes);
    for (size_t i = 0; data[0] % 3 != 0 && i < text.size(); ++i) text[i] = kDigits[data[1 + i % (size - 1)] % 22];
    const size_t len = strlen(text.c_str());
    const bool digits = len % 2 == 0 && strspn(text.c_str(), kDigits) == len;

    // Exactly a record's worth decodes; anything else leaves the record alone.
    Record got, before;
    memset(&got, 0xAB, sizeof got), memset(&before, 0xAB, sizeof before);
    int32_t status = decode(text.c_str(), &got);
    if (status != (digits && len == 2 * record_bytes ? 0 : 5) || (status && memcmp(&got, &before, sizeof got))) abort();
    return 0;
}

#define ZEL_HEX_RECORD_TARGET(decode, record_bytes)                               \
    extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) { \
        return fuzzHexRecord(decode, record_bytes, data, size);              \
    }

#endif

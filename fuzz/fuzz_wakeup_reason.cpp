// Fuzzes the wake-up reason reader over one reply (libFuzzer's exact-size copy
// of the input: any read past the reply is caught).
#include <stdint.h>
#include <stdlib.h>

#include "zelto_api_modules/zel_sleep_internal.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || size > 4096) return 0;
    uint32_t reason = 99;
    int32_t status = zel::wakeupReasonIn(reinterpret_cast<const char *>(data), static_cast<int32_t>(size), &reason);
    if (status == 0 ? reason > 10 : status != 5 || reason != 99) abort();
    return 0;
}

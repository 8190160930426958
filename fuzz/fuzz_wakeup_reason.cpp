// Fuzzes the wake-up reason reader over one reply.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include "zelto_api_modules/zel_sleep_internal.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size == 0 || size > 4096) return 0;
    char *text = static_cast<char *>(malloc(size));  // exact size: any read past the reply is caught
    memcpy(text, data, size);
    uint32_t reason = 99;
    int32_t status = zel::wakeupReasonIn(text, static_cast<int32_t>(size), &reason);
    if (status == 0 ? reason > 10 : status != 5 || reason != 99) abort();
    free(text);
    return 0;
}

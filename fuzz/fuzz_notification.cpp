// Fuzzes the notification decoder and the duplicate filter over one message.
// libFuzzer hands each input over in a heap copy of its exact size, so any
// read past the message is caught.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include <vector>

#include "core/notification_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > zel::kNotificationMessageMax) return 0;
    std::vector<zelNotification> records(size / 2 + 1);
    size_t count = 0;
    if (zel::decodeNotifications(data, size, records.data(), records.size(), nullptr, &count)) {
        if (count == 0 || count > size / 2) abort();
        zel::DuplicateFilter filter;
        size_t consumed = 0;
        for (size_t i = 0; i < count; ++i) {
            filter.admit(records[i]);
            const zelNotification &n = records[i];
            consumed += n.type == 3 ? 3 : n.type == 4 ? 5 + n.payload.urc.length : 2;
            if (n.type == 4) {
                const uint8_t *text = reinterpret_cast<const uint8_t *>(n.payload.urc.data);
                if (text < data || text + n.payload.urc.length > data + size) abort();
            }
        }
        if (consumed != size) abort();
    }
    return 0;
}

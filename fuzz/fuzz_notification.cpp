// Fuzzes the notification decoder and the duplicate filter over one message.
#include <stddef.h>
#include <stdint.h>
#include <stdlib.h>

#include "core/notification_decoder.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    if (size > zel::kNotificationMessageMax) return 0;
    // An exact-size copy: any read past the message is caught.
    uint8_t *message = static_cast<uint8_t *>(malloc(size ? size : 1));
    zelNotification *records =
        static_cast<zelNotification *>(malloc(sizeof(zelNotification) * (size / 2 + 1)));
    if (message == nullptr || records == nullptr) {
        free(message);
        free(records);
        return 0;
    }
    for (size_t i = 0; i < size; ++i) message[i] = data[i];
    size_t count = 0;
    if (zel::decodeNotifications(message, size, records, size / 2 + 1, nullptr, &count)) {
        if (count == 0 || count > size / 2) abort();
        zel::DuplicateFilter filter;
        size_t consumed = 0;
        for (size_t i = 0; i < count; ++i) {
            filter.admit(records[i]);
            const zelNotification &n = records[i];
            consumed += n.type == 3 ? 3 : n.type == 4 ? 5 + n.payload.urc.length : 2;
            if (n.type == 4) {
                const uint8_t *text = reinterpret_cast<const uint8_t *>(n.payload.urc.data);
                if (text < message || text + n.payload.urc.length > message + size) abort();
            }
        }
        if (consumed != size) abort();
    }
    free(message);
    free(records);
    return 0;
}

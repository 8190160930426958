// Wire format of the notification socket. One message is the bytes of one
// receive: items of a type byte and a payload, packed without separators, the
// last item ending exactly at the end. The URC length is big-endian.
#ifndef ZEL_CORE_NOTIFICATION_DECODER_H
#define ZEL_CORE_NOTIFICATION_DECODER_H

#include <stddef.h>
#include <stdint.h>

#include "wire.h"
#include "zelto_sdk.h"

namespace zel {

// The most bytes the listener takes in one receive.
constexpr size_t kNotificationMessageMax = wire::kNotificationMessageMax;
// Every item takes at least two bytes, so this many records hold any message.
constexpr size_t kNotificationRecordsMax = kNotificationMessageMax / 2;

// Receives the decoder's messages; zelto_sdk_log fits.
typedef void (*DecodeLog)(int priority, const char *format, ...);

// Decodes one message of `n` bytes into `out`, in message order, and sets
// `*count`. False when the message is malformed or needs more than `capacity`
// records: the cause went to `log` (if not null), and `out` and `*count`
// mean nothing. URC records point into `bytes`.
bool decodeNotifications(const uint8_t *bytes, size_t n, zelNotification *out, size_t capacity, DecodeLog log,
                         size_t *count);

// Drops repeated values of the state-like types 0, 1, 5 and 6; other types
// always pass.
struct DuplicateFilter {
    uint8_t last[4] = {9, 5, 0, 5};  // types 0, 1, 5, 6

    // True when `n` is to be delivered; its value becomes the last one.
    bool admit(const zelNotification &n);
};

}  // namespace zel

#endif

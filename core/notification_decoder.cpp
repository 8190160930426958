#include "notification_decoder.h"

#include <string.h>
#include <syslog.h>

namespace zel {
namespace {

constexpr uint32_t kTypeCount = 8;

// Payload bytes each type needs at least (a URC needs its length field).
const size_t kMinimumPayload[kTypeCount] = {1, 1, 1, 2, 4, 1, 1, 1};

const char *const kShortPayload[kTypeCount] = {
    "Invalid payload length for Network Mode Change Indication",
    "Invalid payload length for SIM Status Indication",
    "Invalid payload length for New SMS Message Indication",
    "Invalid payload length for OTA Status Indication",
    "Invalid payload length for URC Indication",
    "Invalid payload length for SIM Status Indication",
    "Invalid payload length for SIM Status Indication",
    "Invalid payload length for wakeup Indication",
};

// Fills the payload of `rec` (its type already checked) from the `left`
// bytes at `p`; sets `*used` to the payload bytes consumed.
bool decodePayload(zelNotification *rec, const uint8_t *p, size_t left, DecodeLog log, size_t *used) {
    if (left < kMinimumPayload[rec->type]) {
        if (log) log(LOG_ERR, "%s", kShortPayload[rec->type]);
        return false;
    }
    switch (rec->type) {
        case NOTIFICATION_NEW_SMS:
            rec->payload.value = p[0] != 0 ? 1 : 0;
            *used = 1;
            return true;
        case NOTIFICATION_OTA_STATUS:
            rec->payload.ota.status = p[0];
            rec->payload.ota.progress = p[1];
            *used = 2;
            return true;
        case NOTIFICATION_URC: {
            uint32_t length = static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 |
                              static_cast<uint32_t>(p[2]) << 8 | p[3];
            if (left - 4 < length) {
                if (log) log(LOG_ERR, "Length is not enough for URC data");
                return false;
            }
            rec->payload.urc.length = length;
            rec->payload.urc.data = reinterpret_cast<char *>(const_cast<uint8_t *>(p + 4));
            *used = 4 + static_cast<size_t>(length);
            return true;
        }
        default:
            rec->payload.value = p[0];
            *used = 1;
            return true;
    }
}

}  // namespace

bool decodeNotifications(const uint8_t *bytes, size_t n, zelNotification *out, size_t capacity, DecodeLog log,
                         size_t *count) {
    if (bytes == nullptr || n == 0 || out == nullptr || count == nullptr) return false;
    size_t at = 0;
    size_t records = 0;
    while (at < n) {
        if (records == capacity) {
            if (log) log(LOG_ERR, "Failed to allocate memory for notification");
            return false;
        }
        zelNotification *rec = &out[records];
        memset(rec, 0, sizeof *rec);
        rec->type = bytes[at];
        if (rec->type >= kTypeCount) {
            if (log) log(LOG_ERR, "Invalid notification type: %d", static_cast<int>(rec->type));
            return false;
        }
        size_t used = 0;
        if (!decodePayload(rec, bytes + at + 1, n - at - 1, log, &used)) {
            if (log) log(LOG_ERR, "Failed to build notification from payload");
            return false;
        }
        at += 1 + used;
        ++records;
    }
    *count = records;
    return true;
}

bool DuplicateFilter::admit(const zelNotification &n) {
    int slot;
    switch (n.type) {
        case NOTIFICATION_NETWORK_MODE_CHANGE: slot = 0; break;
        case NOTIFICATION_TYPE_1: slot = 1; break;
        case NOTIFICATION_TYPE_5: slot = 2; break;
        case NOTIFICATION_SIM_STATUS: slot = 3; break;
        default: return true;
    }
    bool changed = last[slot] != n.payload.value;
    last[slot] = n.payload.value;
    return changed;
}

}  // namespace zel

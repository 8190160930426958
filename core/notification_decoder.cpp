#include "notification_decoder.h"

#include <string.h>
#include <syslog.h>

namespace zel {
namespace {

const char *const kShortPayload[wire::kNotificationTypes] = {
    "Invalid payload length for Network Mode Change Indication",
    "Invalid payload length for SIM Status Indication",
    "Invalid payload length for New SMS Message Indication",
    "Invalid payload length for OTA Status Indication",
    "Invalid payload length for URC Indication",
    "Invalid payload length for SIM Status Indication",
    "Invalid payload length for SIM Status Indication",
    "Invalid payload length for wakeup Indication",
};

// Fills the payload of `rec` (its type already checked) from the item's
// payload at `p`, whose size the item walk has checked.
void fillPayload(zelNotification *rec, const uint8_t *p) {
    switch (rec->type) {
        case NOTIFICATION_NEW_SMS:
            rec->payload.value = p[0] != 0 ? 1 : 0;
            return;
        case NOTIFICATION_OTA_STATUS:
            rec->payload.ota.status = p[0];
            rec->payload.ota.progress = p[1];
            return;
        case NOTIFICATION_URC:
            rec->payload.urc.length = wire::urcLength(p);
            rec->payload.urc.data = reinterpret_cast<char *>(const_cast<uint8_t *>(p + 4));
            return;
        default:
            rec->payload.value = p[0];
            return;
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
        size_t size = 0;
        switch (wire::itemSize(bytes + at, n - at, &size)) {
            case wire::ItemFault::None: break;
            case wire::ItemFault::UnknownType:
                if (log) log(LOG_ERR, "Invalid notification type: %d", static_cast<int>(rec->type));
                return false;
            case wire::ItemFault::ShortPayload:
                if (log) log(LOG_ERR, "%s", kShortPayload[rec->type]);
                if (log) log(LOG_ERR, "Failed to build notification from payload");
                return false;
            case wire::ItemFault::ShortUrcText:
                if (log) log(LOG_ERR, "Length is not enough for URC data");
                if (log) log(LOG_ERR, "Failed to build notification from payload");
                return false;
        }
        fillPayload(rec, bytes + at + 1);
        at += size;
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

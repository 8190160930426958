// The facts of the wire between the library and the SDK server, each written
// once: the fixed paths, the notification items and their framing, the
// firmware-update status ranges, the final result codes and hex digits. The
// library, zelsim, zeltap, zelctl and the tests include this header. It holds
// constants and inline functions only, so the shared object exports nothing
// for it and needs nothing from libstdc++.
#ifndef ZEL_CORE_WIRE_H
#define ZEL_CORE_WIRE_H

#include <stddef.h>
#include <stdint.h>

#include "zelto_sdk.h"

namespace zel {
namespace wire {

// ---- Paths ------------------------------------------------------------------
// The server's sockets and the library's lock file live in one directory;
// tools that place them elsewhere (a test's temporary directory) keep the names.
#define ZEL_WIRE_DIR "/tmp"
#define ZEL_WIRE_SERVER_SOCKET "zelto_unix_socket"
#define ZEL_WIRE_IP_SOCKET "ip_change_notify.sock"
#define ZEL_WIRE_NOTIFY_SOCKET "sdk_server_notification.sock"
#define ZEL_WIRE_LOCK_FILE "zelto-sdk-lock"

constexpr char kDir[] = ZEL_WIRE_DIR;
constexpr char kServerSocketName[] = ZEL_WIRE_SERVER_SOCKET;  // commands and replies
constexpr char kIpSocketName[] = ZEL_WIRE_IP_SOCKET;          // IP-change texts
constexpr char kNotifySocketName[] = ZEL_WIRE_NOTIFY_SOCKET;  // notification messages
constexpr char kLockFileName[] = ZEL_WIRE_LOCK_FILE;          // one library user at a time

constexpr char kServerSocket[] = ZEL_WIRE_DIR "/" ZEL_WIRE_SERVER_SOCKET;
constexpr char kIpSocket[] = ZEL_WIRE_DIR "/" ZEL_WIRE_IP_SOCKET;
constexpr char kNotifySocket[] = ZEL_WIRE_DIR "/" ZEL_WIRE_NOTIFY_SOCKET;
constexpr char kLockFile[] = ZEL_WIRE_DIR "/" ZEL_WIRE_LOCK_FILE;
// The modem's own AT port, opened directly for the voice dial and SMS sending.
#define ZEL_WIRE_MODEM_PORT "/dev/smd10"
constexpr char kModemPort[] = ZEL_WIRE_MODEM_PORT;

// ---- Replies ----------------------------------------------------------------
constexpr char kOk[] = "\r\nOK\r\n";
constexpr char kError[] = "\r\nERROR\r\n";
// The other final result codes, in the order the reply framer tries them.
constexpr size_t kExtendedErrorCount = 5;
constexpr const char *kExtendedErrors[kExtendedErrorCount] = {"CME ERROR", "CMS ERROR", "PDP ERROR", "CERROR",
                                                              "CONNECT ERROR"};

// ---- IP-change events -------------------------------------------------------
// One receive of at most this many bytes is one event text.
constexpr size_t kIpEventMax = 255;

// ---- Notification messages --------------------------------------------------
// A message is the bytes of one receive: items of a type byte (the
// NOTIFICATION_* values) and its payload, packed without separators.
constexpr size_t kNotificationMessageMax = 65600;
constexpr uint8_t kNotificationTypes = 8;
static_assert(NOTIFICATION_WAKEUP + 1 == kNotificationTypes, "a notification type without its wire facts");

// The tools' names for the types, by type.
constexpr const char *kNotificationNames[kNotificationTypes] = {
    "network_mode", "type_1", "new_sms", "ota_status", "urc", "type_5", "sim_status", "wakeup",
};
// Payload bytes of each type; a URC's are its length field, its text follows.
constexpr uint8_t kPayloadBytes[kNotificationTypes] = {1, 1, 1, 2, 4, 1, 1, 1};

// The URC text length: four bytes, most significant first.
inline uint32_t urcLength(const uint8_t *p) {
    return static_cast<uint32_t>(p[0]) << 24 | static_cast<uint32_t>(p[1]) << 16 | static_cast<uint32_t>(p[2]) << 8 | p[3];
}
inline void putUrcLength(uint32_t n, uint8_t *p) {
    p[0] = static_cast<uint8_t>(n >> 24);
    p[1] = static_cast<uint8_t>(n >> 16);
    p[2] = static_cast<uint8_t>(n >> 8);
    p[3] = static_cast<uint8_t>(n);
}

enum class ItemFault { None, UnknownType, ShortPayload, ShortUrcText };

// Walks one item: `p` points at its type byte and `left` bytes remain in the
// message from there. Sets `*size` to the item's bytes, type byte included.
inline ItemFault itemSize(const uint8_t *p, size_t left, size_t *size) {
    if (left == 0 || p[0] >= kNotificationTypes) return ItemFault::UnknownType;
    size_t need = 1 + static_cast<size_t>(kPayloadBytes[p[0]]);
    if (left < need) return ItemFault::ShortPayload;
    if (p[0] == NOTIFICATION_URC) {
        uint32_t text = urcLength(p + 1);
        if (left - need < text) return ItemFault::ShortUrcText;
        need += text;
    }
    *size = need;
    return ItemFault::None;
}

// ---- Firmware-update status codes -------------------------------------------
// Each step of an update reports codes of its own closed range.
struct OtaRange {
    int first, last;
    const char *step;
};
constexpr size_t kOtaSteps = 4;
constexpr OtaRange kOtaRanges[kOtaSteps] = {
    {2, 7, "check"}, {17, 20, "download"}, {90, 96, "install"}, {110, 112, "activate"}};

// Index into kOtaRanges of the range holding `code`, or -1.
inline int otaRange(int code) {
    for (size_t i = 0; i < kOtaSteps; ++i)
        if (static_cast<unsigned>(code - kOtaRanges[i].first) <=
            static_cast<unsigned>(kOtaRanges[i].last - kOtaRanges[i].first))
            return static_cast<int>(i);
    return -1;
}

// ---- Hex digits -------------------------------------------------------------
// The value of one hex digit (0-9, a-f, A-F), or -1.
inline int hexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// Writes the len / 2 bytes that hex[0, len) spells, high digit first, to
// `out`. False for an odd length or a character that is not a digit; `out`
// then holds the bytes before it.
inline bool hexDecode(const char *hex, size_t len, uint8_t *out) {
    if (len % 2 != 0) return false;
    for (size_t i = 0; i < len; i += 2) {
        int high = hexDigit(hex[i]), low = hexDigit(hex[i + 1]);
        if (high < 0 || low < 0) return false;
        out[i / 2] = static_cast<uint8_t>(high * 16 + low);
    }
    return true;
}

}  // namespace wire
}  // namespace zel

#endif

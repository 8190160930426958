// The serving-cell records: fixed records of the modem's network layer, sent
// as hex digits, with big-endian fields and no padding.
#include <stddef.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#include "../core/log.h"
#include "../core/wire.h"
#include "zel_network_internal.h"
#include "zelto_sdk.h"

namespace zel {

uint8_t *hex_to_bytes(const char *hex, uint32_t *count) {
    if (hex == nullptr || count == nullptr) return nullptr;
    size_t len = strlen(hex);
    if (len % 2 != 0 || len / 2 > UINT32_MAX) return nullptr;
    size_t n = len / 2;
    uint8_t *bytes = static_cast<uint8_t *>(malloc(n > 0 ? n : 1));
    if (bytes == nullptr) return nullptr;
    if (!wire::hexDecode(hex, len, bytes)) {
        free(bytes);
        return nullptr;
    }
    *count = static_cast<uint32_t>(n);
    return bytes;
}

}  // namespace zel

namespace {

// One record field: its place and width in memory, its width on the wire, and
// whether a one-byte wire value widens with its sign.
struct WireField {
    uint8_t offset;
    uint8_t size;
    uint8_t wire;
    bool sign;
};
#define ZEL_WIRE(Record, member, wire) \
    WireField{offsetof(Record, member), sizeof(static_cast<Record *>(nullptr)->member), wire, false}
#define ZEL_WIRE_SIGNED(Record, member) WireField{offsetof(Record, member), sizeof(Record::member), 1, true}

template <size_t N>
constexpr uint32_t wireBytes(const WireField (&fields)[N]) {
    uint32_t n = 0;
    for (const WireField &f : fields) n += f.wire;
    return n;
}

#define SS(member, wire) ZEL_WIRE(nas_ss_info, member, wire)
constexpr WireField kSignalStrength[] = {
    SS(field1, 1),         SS(group1.field2, 1),  SS(group1.field3, 4),  SS(field4, 1),
    SS(group2.field5, 1),  SS(group2.field6, 4),  SS(group2.field7, 4),  SS(group2.field8, 4),
    SS(field9, 1),         SS(field10, 1),        SS(field11, 1),        SS(group3.field12, 1),
    SS(group3.field13, 4), SS(field14, 1),        SS(group4.field15, 1), SS(group4.field16, 1),
    SS(group4.field17, 2), SS(group4.field18, 4), SS(group4.field19, 4), SS(field20, 1),
    SS(field21, 4),        SS(field22, 4),        SS(field23, 4),        SS(field24, 4),
};
#undef SS
static_assert(wireBytes(kSignalStrength) == 58, "signal strength record");

// The one-byte fields widen without sign.
#define AB(member, wire) ZEL_WIRE(nas_active_band_info, member, wire)
constexpr WireField kActiveBand[] = {AB(field1, 1), AB(field2, 1), AB(field3, 2), AB(field4, 1), AB(field5, 1)};
#undef AB
static_assert(wireBytes(kActiveBand) == 6, "active band record");

#define CL(member, wire) ZEL_WIRE(nas_cell_location_info, member, wire)
constexpr WireField kCellLocation[] = {
    CL(field1, 1), CL(field2, 1), CL(field3, 1), CL(field4, 2), CL(field5, 1),
    CL(field6, 2), CL(field7, 2), ZEL_WIRE_SIGNED(nas_cell_location_info, field8),
    CL(field9, 2), CL(field10, 4), CL(field11, 4), CL(field12, 4), CL(field13, 4),
};
#undef CL
static_assert(wireBytes(kCellLocation) == 29, "cell location record");

// Fills *info from `hex` when it holds exactly the record's bytes; 5 and
// *info untouched otherwise.
template <typename Record, size_t N>
int32_t decode(const char *hex, Record *info, const WireField (&fields)[N]) {
    if (hex == nullptr || info == nullptr) return 5;
    uint32_t count = 0;
    uint8_t *bytes = zel::hex_to_bytes(hex, &count);
    if (bytes == nullptr) return 5;
    if (count != wireBytes(fields)) {
        free(bytes);
        return 5;
    }
    const uint8_t *p = bytes;
    for (const WireField &f : fields) {
        uint32_t v = 0;
        for (uint8_t k = 0; k < f.wire; ++k) v = v << 8 | *p++;
        if (f.sign) v = static_cast<uint32_t>(static_cast<int8_t>(v));
        zel::storeLowBits(reinterpret_cast<uint8_t *>(info) + f.offset, f.size, v);
    }
    free(bytes);
    return 0;
}

}  // namespace

extern "C" {

int32_t nas_ss_deserialize_from_hex(const char *hex, nas_ss_info *info) {
    return decode(hex, info, kSignalStrength);
}

int32_t nas_active_band_deserialize_from_hex(const char *hex, nas_active_band_info *info) {
    return decode(hex, info, kActiveBand);
}

int32_t nas_cell_location_deserialize_from_hex(const char *hex, nas_cell_location_info *info) {
    if (hex == nullptr) return 5;
    zel::directLog(LOG_INFO, "len=%d hex=%s)\n", static_cast<int>(strlen(hex)), hex);
    return decode(hex, info, kCellLocation);
}

}  // extern "C"

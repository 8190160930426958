// Network helpers shared by the family's sources and its tests.
#ifndef ZEL_NETWORK_INTERNAL_H
#define ZEL_NETWORK_INTERNAL_H

#include <stddef.h>
#include <stdint.h>
#include <string.h>

namespace zel {

// Stores `v` in a field of `width` bytes (1, 2 or 4), keeping its low bits.
inline void storeLowBits(void *field, size_t width, uint32_t v) {
    uint8_t b = static_cast<uint8_t>(v);
    uint16_t h = static_cast<uint16_t>(v);
    memcpy(field, width == 1 ? static_cast<const void *>(&b) : width == 2 ? static_cast<const void *>(&h) : &v, width);
}

// The bytes that `hex` writes as two digits each, high nibble first: a new
// malloc buffer (the caller frees it) with its length in *count; NULL for
// NULL text, an odd length, a character that is not a digit, or no memory.
// An empty text gives a buffer of length 0.
uint8_t *hex_to_bytes(const char *hex, uint32_t *count);

}  // namespace zel

#endif

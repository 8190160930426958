// The CMODEMINFO line: the values of an LTE or a GSM serving cell, read by
// position into zelModemInfo.
#include <stddef.h>
#include <stdio.h>
#include <string.h>

#include "zel_network_internal.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

constexpr int kValuesMax = 18;

// What a conversion reads: text, %d, %u or %hu (by the field's width), %f.
enum class Conv : uint8_t { Text, Int, Unsigned, Real };

// One conversion of a format and the field it fills.
struct Target {
    Conv conv;
    uint8_t offset;
    uint8_t size;
};
#define ZEL_FIELD(conv, field) Target{Conv::conv, offsetof(zelModemInfo, field), sizeof(zelModemInfo::field)}

// The fields of the LTE and GSM formats' conversions, in order.
#define TEXT(field) ZEL_FIELD(Text, field)
#define INT(field) ZEL_FIELD(Int, field)
#define UNSIGNED(field) ZEL_FIELD(Unsigned, field)
#define REAL(field) ZEL_FIELD(Real, field)
constexpr Target kLte[kValuesMax] = {
    TEXT(field1),     TEXT(field2),      INT(field3),   UNSIGNED(field4), UNSIGNED(field5), UNSIGNED(field6),
    UNSIGNED(field9), UNSIGNED(field13), TEXT(field10), REAL(field11),    REAL(field12),    UNSIGNED(field7),
    INT(field15),     INT(field16),      INT(field17),  REAL(field18),    REAL(field19),    UNSIGNED(field8),
};
constexpr Target kGsm[] = {
    TEXT(field1),     TEXT(field2),     UNSIGNED(field4),  UNSIGNED(field5),
    UNSIGNED(field8), UNSIGNED(field6), UNSIGNED(field14), TEXT(field10),
};
#undef TEXT
#undef INT
#undef UNSIGNED
#undef REAL

union Value {
    long long i;
    float f;
    char text[16];
};

// strtoul on a 32-bit long: a magnitude beyond 32 bits saturates, a negative
// one wraps.
uint32_t asUnsigned32(long long v) {
    if (v > static_cast<long long>(UINT32_MAX) || v < -static_cast<long long>(UINT32_MAX)) return UINT32_MAX;
    return static_cast<uint32_t>(v);
}

void store(zelModemInfo *info, const Target &t, const Value &v) {
    char *field = reinterpret_cast<char *>(info) + t.offset;
    switch (t.conv) {
        case Conv::Text: {
            size_t n = strnlen(v.text, t.size - 1u);
            memcpy(field, v.text, n);
            field[n] = '\0';
            return;
        }
        case Conv::Int:
            storeLowBits(field, t.size, static_cast<uint32_t>(toInt32(v.i)));
            return;
        case Conv::Unsigned:  // %hu keeps the low half of what %u reads
            storeLowBits(field, t.size, asUnsigned32(v.i));
            return;
        case Conv::Real:
            memcpy(field, &v.f, sizeof v.f);
            return;
    }
}

}  // namespace

extern "C" int32_t parseModemInfo(const char *text, zelModemInfo *info) {
    if (info == nullptr) return 0;
    memset(info, 0, sizeof *info);
    info->field15 = info->field16 = info->field17 = -1;
    info->field18 = info->field19 = -1.0f;
    if (text == nullptr) return 0;

    Value v[kValuesMax];
    memset(v, 0, sizeof v);
    const Target *targets = nullptr;
    int matched = 0;
    {
        // Integers are scanned at 64 bits and narrowed by store() exactly as
        // the 32-bit target's scanf narrows them, so every host agrees.
        ClassicNumbers c_locale;
        if (strstr(text, "\"LTE\"")) {
            targets = kLte;
            matched = sscanf(text,
                             "+CMODEMINFO: \"%15[^\"]\",\"%7[^\"]\",%lld,%lld,%lld,%lld,%lld,%lld,%15[^,],%f,%f,%lld,"
                             "%lld,%lld,%lld,%f,%f,%lld",
                             v[0].text, v[1].text, &v[2].i, &v[3].i, &v[4].i, &v[5].i, &v[6].i, &v[7].i, v[8].text,
                             &v[9].f, &v[10].f, &v[11].i, &v[12].i, &v[13].i, &v[14].i, &v[15].f, &v[16].f, &v[17].i);
        } else if (strstr(text, "\"GSM\"")) {
            targets = kGsm;
            matched = sscanf(text, "+CMODEMINFO: \"%15[^\"]\",\"%7[^\"]\",%lld,%lld,%lld,%lld,%lld,%15[^,\r\n]",
                             v[0].text, v[1].text, &v[2].i, &v[3].i, &v[4].i, &v[5].i, &v[6].i, v[7].text);
        }
    }
    if (matched <= 0) return 0;
    for (int k = 0; k < matched; ++k) store(info, targets[k], v[k]);
    return matched;
}

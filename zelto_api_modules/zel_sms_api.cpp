#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

const char kTag[] = "zel_sms_api";
constexpr uint32_t kCmgdFlagMax = 4;

bool cnmiInRange(uint32_t mode, uint32_t mt, uint32_t bm, uint32_t ds, uint32_t bfr) {
    return mode <= 2 && mt <= 3 && bm <= 2 && ds <= 2 && bfr <= 1;
}

}  // namespace

extern "C" {

int32_t zelCSDHGet(int32_t *value) { return intQuery(kTag, "AT+CSDH?\r\n", "CSDH:", value); }
int32_t zelCSDHSet(int32_t value) { return set(kTag, cmdf("AT+CSDH=%d\r\n", value)); }

int32_t zelCSCSSet(const char *charset) {
    if (charset == nullptr) return 2;
    return set(kTag, cmdf("AT+CSCS=\"%s\"\r\n", charset));
}

int32_t zelCSCSGet(zelString **charset) { return textQuery(kTag, "AT+CSCS?\r\n", "+CSCS: ", charset); }

int32_t zelCNMISet(uint32_t mode, uint32_t mt, uint32_t bm, uint32_t ds, uint32_t bfr) {
    if (!cnmiInRange(mode, mt, bm, ds, bfr)) return 1;
    return set(kTag, cmdf("AT+CNMI=%d,%d,%d,%d,%d\r\n", static_cast<int32_t>(mode), static_cast<int32_t>(mt),
                          static_cast<int32_t>(bm), static_cast<int32_t>(ds), static_cast<int32_t>(bfr)));
}

int32_t zelCNMIGet(zelString **settings) { return textQuery(kTag, "AT+CNMI?\r\n", "+CNMI: ", settings); }

int32_t zelCMGLSet(const char *status, zelString **list) {
    if (status == nullptr) return 5;
    return textQuery(kTag, cmdf("AT+CMGL=\"%s\"\r\n", status), nullptr, list);
}

int32_t zelCPMSSet(const char *mem1, const char *mem2, const char *mem3, zelString **reply) {
    if (mem1 == nullptr || mem2 == nullptr || mem3 == nullptr) return 5;
    return textQuery(kTag, cmdf("AT+CPMS=\"%s\",\"%s\",\"%s\"\r\n", mem1, mem2, mem3), nullptr, reply);
}

int32_t zelCPMSGet(zelString **settings) { return textQuery(kTag, "AT+CPMS?\r\n", "+CPMS: ", settings); }

int32_t zelCMGRSet(int32_t index, zelString **message) {
    return textQuery(kTag, cmdf("AT+CMGR=%d\r\n", index), nullptr, message);
}

int32_t zelCMGDSet(int32_t index, uint32_t flag) {
    if (flag > kCmgdFlagMax) return 1;
    return set(kTag, cmdf("AT+CMGD=%d,%d,\r\n", index, static_cast<int32_t>(flag)));
}

int32_t zelCMGFGet(int32_t *value) { return intQuery(kTag, "AT+CMGF?\r\n", "CMGF:", value); }
int32_t zelCMGFSet(int32_t value) { return set(kTag, cmdf("AT+CMGF=%d\r\n", value)); }

}  // extern "C"

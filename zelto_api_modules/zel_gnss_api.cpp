// GNSS commands: receiver control, position and satellite texts, XTRA
// assistance, A-GNSS settings, status and the signal-to-noise summary.
#include <stdio.h>
#include <string.h>

#include "zel_gnss_internal.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace zel {

// The one character after `prefix` in text[0..len), as a digit value; it is
// not checked for being a digit. 5 when the prefix is missing or ends the text.
int32_t xtraStateDigit(const char *text, int32_t len, const char *prefix, int32_t *state) {
    if (text == nullptr || len <= 0 || prefix == nullptr || state == nullptr) return 5;
    const char *at = findIn(text, static_cast<size_t>(len), prefix);
    if (at == nullptr) return 5;
    size_t prefix_len = strlen(prefix);
    if (static_cast<size_t>(text + len - at) <= prefix_len) return 5;
    // As on the target, where char is unsigned, whatever the host's char.
    *state = static_cast<unsigned char>(at[prefix_len]) - '0';
    return 0;
}

}  // namespace zel

namespace {

const char kTag[] = "zel_gnss_api";
constexpr int32_t kXtraDataTimeout = 22;
constexpr uint32_t kCfgItemMax = 4;
const char kXtraTimePrefix[] = "+CGPSXTRATIME: ";
const char kXtraDataPrefix[] = "+CGPSXTRADATA: ";
const char kSnrPrefix[] = "+CGPSGFULLSNR: ";

// Hands the caller a trimmed copy of [start, end); an empty or reversed span
// hands back NULL and fails.
int32_t takeSlice(const char *start, const char *end, zelString **out) {
    *out = trimmedText(start, end);
    return *out ? 0 : 5;
}

int32_t xtraStateQuery(const Command &command, const char *prefix, int32_t *state, int line = __builtin_LINE()) {
    if (state == nullptr) return 5;
    Reply r = transact(kTag, command, line);
    if (!r) return 5;
    return xtraStateDigit(r.text(), r.length(), prefix, state);
}

}  // namespace

extern "C" {

int32_t zelGnssSetEnGps(int32_t enable) { return set(kTag, cmdf("AT+CGPS=%d\r\n", enable)); }
int32_t zelGnssGetEnGps(int32_t *enable) { return intQuery(kTag, "AT+CGPS?\r\n", "+CGPS: ", enable); }
int32_t zelGnssResetGps(void) { return action(kTag, "AT+CGPSRST\r\n"); }
int32_t zelGnssSetOutPort(int32_t port) { return set(kTag, cmdf("AT+GPSPORT=%d\r\n", port)); }
int32_t zelGnssGetOutPort(int32_t *port) { return intQuery(kTag, "AT+GPSPORT?\r\n", "+GPSPORT: ", port); }

// The NMEA sentences run from the first '$' up to the first "OK".
int32_t zelGnssGetPos(int32_t selector, zelString **out) {
    if (out == nullptr) return 5;
    Reply r = transact(kTag, cmdf("AT+CGPSGPOS=%d\r\n", selector));
    if (!r) return 5;
    const char *ok = r.find("OK");
    if (ok == nullptr) return 5;
    const char *nmea = r.find("$");
    if (nmea == nullptr) return 5;
    return takeSlice(nmea, ok, out);
}

int32_t zelGetCGPSGLAT(zelString **out) { return textQuery(kTag, "AT+CGPSGLAT\r\n", nullptr, out); }
int32_t zelGetCGPSGLON(zelString **out) { return textQuery(kTag, "AT+CGPSGLON\r\n", nullptr, out); }
int32_t zelGetCGPSGALT(zelString **out) { return textQuery(kTag, "AT+CGPSGALT\r\n", nullptr, out); }
int32_t zelCGPSHOTGet(void) { return action(kTag, "AT+CGPSHOT\r\n"); }
int32_t zelCGPSWARMGet(void) { return action(kTag, "AT+CGPSWARM\r\n"); }
int32_t zelCGPSCOLDGet(void) { return action(kTag, "AT+CGPSCOLD\r\n"); }
int32_t zelCGPSNSATGet(int32_t selector, zelString **out) {
    return textQuery(kTag, cmdf("AT+CGPSNSAT=%d\r\n", selector), nullptr, out);
}

int32_t zelGpsInjectXtraTimeSet(void) { return action(kTag, "AT+CGPSXTRATIME\r\n"); }
int32_t zelGpsInjectXtraTimeGet(int32_t *state) {
    return xtraStateQuery("AT+CGPSXTRATIME?\r\n", kXtraTimePrefix, state);
}

int32_t zelGpsInjectXtraDataSet(const char *data) {
    if (data == nullptr) return action(kTag, Command("AT+CGPSXTRADATA\r\n").timeout(kXtraDataTimeout));
    return set(kTag, cmdf("AT+CGPSXTRADATA=%s\r\n", data).timeout(kXtraDataTimeout));
}

int32_t zelGpsInjectXtraDataGet(int32_t *state) {
    return xtraStateQuery("AT+CGPSXTRADATA?\r\n", kXtraDataPrefix, state);
}

int32_t zelCgpsCfgSet(uint32_t item, int32_t value) {
    if (item > kCfgItemMax) return 1;
    return set(kTag, cmdf("AT+CGPSCFG=%d,%d\r\n", static_cast<int32_t>(item), value));
}

int32_t zelCgpsCfgGet(zelString **out) {
    if (out == nullptr) return 5;
    Reply r = transact(kTag, "AT+CGPSCFG?\r\n");
    if (!r) return 5;
    *out = nullptr;
    const char *ok = r.find("OK");
    if (ok == nullptr) return 5;
    return takeSlice(r.text(), ok, out);
}

int32_t zelCgpsAgnsssvSet(int32_t a, int32_t b) { return set(kTag, cmdf("AT+CGPSAGNSSSV=%d,%d\r\n", a, b)); }
int32_t zelCgpsAgnsssvGet(zelString **out) {
    return textQuery(kTag, "AT+CGPSAGNSSSV?\r\n", "+CGPSAGNSSSV: ", out);
}
int32_t zelCgpsAgnssURL(zelString **out) { return textQuery(kTag, "AT+CGPSAGNSSURL?\r\n", nullptr, out); }
int32_t zelCGPSTimestampGet(zelString **out) { return textQuery(kTag, "AT+CGPSGTIMEST\r\n", nullptr, out); }
int32_t zelCGPSStatusGet(int32_t *status) {
    return intQuery(kTag, "AT+CGPSSTATUS?\r\n", "+CGPSSTATUS: ", status);
}

// A NULL record is refused by the parser, after the command went out.
int32_t zelCGPSSNRGet(zelGnssSnrInfo *info) {
    Reply r = transact(kTag, "AT+CGPSGFULLSNR\r\n");
    if (!r) return 5;
    const char *ok = r.find("OK");
    if (ok == nullptr) return 5;
    const char *at = r.find(kSnrPrefix);
    if (at == nullptr) return 5;
    const char *start = at + strlen(kSnrPrefix);
    zelString *body = trimmedText(start, ok);
    if (body == nullptr) return 5;
    int32_t status = parse_snr_result(body->data, info);
    zelFreeString(body);
    return status;
}

int32_t parse_snr_result(const char *text, zelGnssSnrInfo *info) {
    if (text == nullptr || info == nullptr) return 5;
    ClassicNumbers c_locale;
    return sscanf(text, "%d,%d,%d,%lf", &info->field1, &info->field2, &info->field3, &info->field4) == 4 ? 0 : 5;
}

}  // extern "C"

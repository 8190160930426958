// Network commands: registration and operators, packet data contexts, the
// neighbour cell, modem information and serving-cell record queries, time
// zone, voice, bands and throughput. The parsers of the records live in
// zel_network_cells, zel_network_modeminfo and zel_network_hex.
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#include "../core/log.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

const char kTag[] = "zel_network_api";
constexpr int32_t kScanTimeout = 120;
// Time zones are reported in quarter hours.
constexpr long kZoneMin = -48;
constexpr long kZoneMax = 48;

bool isCopsMode(uint32_t mode) { return mode == 0 || mode == 1 || mode == 3; }

bool isClckClass(uint32_t c) {
    return c == 1 || c == 2 || c == 4 || c == 8 || c == 32 || c == 64 || c == 128;
}

bool isPdpCid(int32_t cid) { return cid >= 1 && cid <= 8; }

// The trimmed text from `prefix` to the first "OK" of a reply, as a text
// query takes it, but telling in the log (at `priority`, on the wrapper's
// line) when the prefix is missing or the text cannot be copied.
zelString *loggedSpan(const Reply &r, const char *prefix, int priority, const char *copy_name,
                      int line = __builtin_LINE()) {
    const char *ok = r.find("OK");
    if (ok == nullptr) return nullptr;
    const char *p1 = r.find(prefix);
    if (p1 == nullptr) {
        zelto_sdk_log(priority, "%s:%d: p1 is NULL, data: %s", kTag, line, r.text());
        return nullptr;
    }
    zelString *copy = trimmedText(p1 + strlen(prefix), ok);
    if (copy == nullptr) zelto_sdk_log(priority, "%s:%d: %s is NULL, data: %s", kTag, line, copy_name, r.text());
    return copy;
}

// The trimmed reply text before the first "OK" into *out; 6, *out untouched,
// when the reply begins with "OK".
int32_t leadingText(const Command &c, zelString **out, int line = __builtin_LINE()) {
    Reply r = transact(kTag, c, line);
    if (!r) return 5;
    const char *ok = r.find("OK");
    if (ok == nullptr) return 5;
    if (ok == r.text()) return 6;
    *out = trimmedText(r.text(), ok);
    return *out ? 0 : 5;
}

// The serving-cell queries: the record is zeroed once the reply holds text
// before its "OK", then filled by the decoder.
template <typename Record>
int32_t hexRecordQuery(const Command &c, Record *info, int32_t (*decode)(const char *, Record *),
                       int line = __builtin_LINE()) {
    if (info == nullptr) return 5;
    zelString *hex = nullptr;
    if (leadingText(c, &hex, line) != 0) return 5;
    memset(info, 0, sizeof *info);
    int32_t status = decode(hex->data, info);
    zelFreeString(hex);
    return status;
}

// Throughput measurements name a target and a value only when both are given.
bool fullSpeedForm(const char *text, int32_t value) { return text != nullptr && text[0] != '\0' && value > 0; }

}  // namespace

extern "C" {

// ---- Functionality level, access technology, registration ----
int32_t zelCfunGet(int32_t *fun) { return intQuery(kTag, "AT+CFUN?\r\n", "+CFUN:", fun); }
int32_t zelWS46Get(zelString **out) { return textQuery(kTag, "AT+WS46?\r\n", nullptr, out); }
int32_t zelWs46Set(int32_t n) { return set(kTag, cmdf("AT+WS46=%d\r\n", n)); }

int32_t zelCGREGGet(zelString **out) {
    if (out == nullptr) return 5;
    Reply r = transact(kTag, "AT+CGREG?\r\n");
    if (!r) return 5;
    *out = loggedSpan(r, "+CGREG: ", LOG_INFO, "greg");
    return *out ? 0 : 5;
}

int32_t zelCGREGSet(int32_t n) { return set(kTag, cmdf("AT+CGREG=%d\r\n", n)); }
int32_t zelCEREGGet(zelString **out) { return textQuery(kTag, "AT+CEREG?\r\n", "+CEREG: ", out); }
int32_t zelCEREGSet(int32_t n) { return set(kTag, cmdf("AT+CEREG=%d\r\n", n)); }

// ---- Operator selection, indicators, signal ----
int32_t zelCopsSet(uint32_t mode, uint32_t format, const char *oper, uint32_t act) {
    if (!isCopsMode(mode) || format > 2) return 1;
    if (oper == nullptr) return 2;
    if (act > 9) return 1;
    return set(kTag, cmdf("AT+COPS=%d,%d,\"%s\",%d\r\n", static_cast<int>(mode), static_cast<int>(format), oper,
                          static_cast<int>(act)));
}

int32_t zelCopsGet(zelString **out) { return textQuery(kTag, "AT+COPS?\r\n", "+COPS: ", out); }
int32_t zelCregGet(zelString **out) { return textQuery(kTag, "AT+CREG?\r\n", "+CREG: ", out); }
int32_t zelCregSet(int32_t n) { return set(kTag, cmdf("AT+CREG=%d\r\n", n)); }
int32_t zelGetCIND(zelString **out) { return textQuery(kTag, "AT+CIND?\r\n", "+CIND: ", out); }
int32_t zelGetCSQ(zelString **out) { return textQuery(kTag, "AT+CSQ\r\n", "+CSQ: ", out); }

// ---- Preferred operator list, operator names ----
int32_t zelCPLSGet(int32_t *list) { return intQuery(kTag, "AT+CPLS?\r\n", "CPLS:", list); }
int32_t zelCPLSSet(int32_t list) { return set(kTag, cmdf("AT+CPLS=%d\r\n", list)); }
int32_t zelCOPNGet(zelString **out) { return textQuery(kTag, "AT+COPN\r\n", nullptr, out); }

// ---- Facility lock and passwords ----
int32_t zelClckSet(const char *fac, uint32_t mode, const char *passwd, uint32_t svc_class) {
    if (fac == nullptr) return 2;
    if (mode > 2) return 1;
    if (passwd == nullptr) return 2;
    if (!isClckClass(svc_class)) return 1;
    return set(kTag, cmdf("AT+CLCK=%s,%d,\"%s\",%d\r\n", fac, static_cast<int>(mode), passwd,
                          static_cast<int>(svc_class)));
}

int32_t zelCpwdSet(const char *fac, const char *oldpwd, const char *newpwd) {
    if (fac == nullptr || oldpwd == nullptr || newpwd == nullptr) return 2;
    return set(kTag, cmdf("AT+CPWD=%s,%s,\"%s\"\r\n", fac, oldpwd, newpwd));
}

// ---- Operator scan, GSM switch ----
int32_t zelCCopsGet(zelString **out) { return textQuery(kTag, "AT+CCOPS?\r\n", "+CCOPS: ", out); }

int32_t zelCopsScan(zelString **out) {
    static const char kPrefix[] = "+COPS: ";
    if (out == nullptr) return 5;
    Reply r = transact(kTag, Command("AT+COPS=?\r\n").timeout(kScanTimeout));
    if (!r) return 5;
    *out = nullptr;
    if (r.find("OK") == nullptr) return 5;
    const char *p1 = r.find(kPrefix);
    if (p1 == nullptr) return 5;
    // The list runs to the first "OK" after the prefix, whatever comes before it.
    const char *list = p1 + strlen(kPrefix);
    const char *ok = r.find("OK", list);
    if (ok == nullptr) return 5;
    *out = trimmedText(list, ok);
    return *out ? 0 : 5;
}

int32_t zelGSMGet(int32_t *enabled) { return intQuery(kTag, "AT+GSM?\r\n", "GSM:", enabled); }
int32_t zelGSMSet(int32_t enabled) { return set(kTag, cmdf("AT+GSM=%d\r\n", enabled)); }

// ---- PDP context dynamic parameters and EPS QoS ----
int32_t zelCGCONTRDPGet(int32_t cid, zelString **out) {
    return textQuery(kTag, cmdf("AT+CGCONTRDP=%d\r\n", cid), nullptr, out);
}
int32_t zelCGSCONTRDPGet(int32_t cid, zelString **out) {
    return textQuery(kTag, cmdf("AT+CGSCONTRDP=%d\r\n", cid), nullptr, out);
}
int32_t zelCGTFTRDPGet(int32_t cid, zelString **out) {
    return textQuery(kTag, cmdf("AT+CGTFTRDP=%d\r\n", cid), nullptr, out);
}
int32_t zelCGEQOSSet(int32_t cid, int32_t qci, int32_t dl_gbr, int32_t ul_gbr, int32_t dl_mbr, int32_t ul_mbr,
                     zelString **out) {
    return textQuery(kTag, cmdf("AT+CGEQOS=%d,%d,%d,%d,%d,%d\r\n", cid, qci, dl_gbr, ul_gbr, dl_mbr, ul_mbr),
                     nullptr, out);
}
int32_t zelGetCGEQOS(zelString **out) { return textQuery(kTag, "AT+CGEQOS?\r\n", nullptr, out); }

// ---- Attach, activation, context definition, data mode ----
int32_t zelCGATTGet(int32_t *state) { return intQuery(kTag, "AT+CGATT?\r\n", "CGATT:", state); }
int32_t zelCGATTSet(int32_t state) { return set(kTag, cmdf("AT+CGATT=%d\r\n", state)); }
int32_t zelCGACTGet(zelString **out) { return textQuery(kTag, "AT+CGACT?\r\n", "+CGACT: ", out); }

int32_t zelCGDCONTSet(int32_t cid, const char *pdpType, const char *apn) {
    if (!isPdpCid(cid)) return 1;
    if (pdpType == nullptr || apn == nullptr) return 2;
    return set(kTag, cmdf("AT+CGDCONT=%d,\"%s\",\"%s\"\r\n", cid, pdpType, apn));
}

int32_t zelCGDATASet(const char *l2p, int32_t cid) {
    if (l2p == nullptr) return 2;
    if (!isPdpCid(cid)) return 1;
    return set(kTag, cmdf("AT+CGDATA=%s,\"%d\"\r\n", l2p, cid));
}

// ---- Addresses, access point, interfaces ----
int32_t zelCGPADDRGet(zelString **out) { return textQuery(kTag, "AT+CGPADDR\r\n", nullptr, out); }
int32_t zelGetQcmapen(zelString **out) { return textQuery(kTag, "AT+QCMAPEN?\r\n", nullptr, out); }
int32_t zelSetQcmapen(int32_t enable) { return set(kTag, cmdf("AT+QCMAPEN=%d\r\n", enable)); }
int32_t zelGetNetif(zelString **out) { return textQuery(kTag, "AT+NETIF?\r\n", nullptr, out); }
int32_t zelGetCgdcont(zelString **out) { return textQuery(kTag, "AT+CGDCONT?\r\n", "+CGDCONT: ", out); }
int32_t zelApnGet(zelString **out) { return textQuery(kTag, "AT+CAPN?\r\n", nullptr, out); }

// ---- Neighbour cells, modem information, serving-cell records ----
int32_t zelNeighbourCellGet(zelString **out, zelNeighbourCellReport *report) {
    if (out == nullptr || report == nullptr) return 5;
    memset(report, 0, sizeof *report);
    int32_t status = leadingText("AT+CNBRCELL=1\r\n", out);
    if (status == 0) parse_data((*out)->data, report);
    return status;
}

int32_t zelCmodemInfoGet(zelString **out) { return textQuery(kTag, "AT+CMODEMINFO?\r\n", nullptr, out); }

int32_t zelCmodemInfoGetV2(zelString **out, zelModemInfo *info) {
    if (out == nullptr || info == nullptr) return 5;
    memset(info, 0, sizeof *info);
    int32_t status = leadingText("AT+CMODEMINFO=1\r\n", out);
    if (status != 0) return status;
    parseModemInfo((*out)->data, info);
    ZEL_LOG(LOG_INFO, "Modem info parsed successfully");
    return 0;
}

int32_t zelModemSignalStrengthGet(nas_ss_info *info) {
    return hexRecordQuery("AT+CMODEMSS?\r\n", info, nas_ss_deserialize_from_hex);
}
int32_t zelModemActiveBandGet(nas_active_band_info *info) {
    return hexRecordQuery("AT+CMODEMBAND?\r\n", info, nas_active_band_deserialize_from_hex);
}
int32_t zelModemCellLocationGet(nas_cell_location_info *info) {
    return hexRecordQuery("AT+CMODEMCL?\r\n", info, nas_cell_location_deserialize_from_hex);
}

// ---- Ping, time zone reporting and update ----
int32_t zelPINGSTOP(void) { return action(kTag, "AT+PINGSTOP\r\n"); }
int32_t zelCTZRGet(int32_t *mode) { return intQuery(kTag, "AT+CTZR?\r\n", "CTZR:", mode); }
int32_t zelCTZRSet(int32_t mode) { return set(kTag, cmdf("AT+CTZR=%d\r\n", mode)); }
int32_t zelCTZUGet(int32_t *mode) { return intQuery(kTag, "AT+CTZU?\r\n", "CTZU:", mode); }
int32_t zelCTZUSet(int32_t mode) { return set(kTag, cmdf("AT+CTZU=%d\r\n", mode)); }

// ---- Voice over LTE, caller identification ----
int32_t zelVOLTEGet(int32_t *enabled) { return intQuery(kTag, "AT+VOLTE?\r\n", "VOLTE:", enabled); }
int32_t zelVOLTESet(int32_t enabled) { return set(kTag, cmdf("AT+VOLTE=%d\r\n", enabled)); }
int32_t zelCLIPGet(zelString **out) { return textQuery(kTag, "AT+CLIP?\r\n", "+CLIP: ", out); }
int32_t zelCLIPSet(int32_t n) { return set(kTag, cmdf("AT+CLIP=%d\r\n", n)); }

// ---- Active bands, network time zone ----
int32_t zelCACTBANDSGet(zelString **out) { return textQuery(kTag, "AT+CACTBANDS?\r\n", "+CACTBANDS: ", out); }

int32_t zelCNTZGet(int32_t *quarters) {
    if (quarters == nullptr) return 5;
    Reply r = transact(kTag, "AT+CNTZ?\r\n");
    if (!r) return 5;
    zelString *zone = loggedSpan(r, "+CNTZ:", LOG_ERR, "netTimeZone");
    if (zone == nullptr) return 5;
    ZEL_LOG(LOG_ERR, "Timezone string is  %s", zone->data);
    long v = strtol(zone->data, nullptr, 10);
    zelFreeString(zone);
    if (v < kZoneMin || v > kZoneMax) {
        *quarters = 0;
        return 5;
    }
    *quarters = static_cast<int32_t>(v);
    return 0;
}

// ---- Band settings, bearer state, latency ----
int32_t zelCLSWBGet(zelString **out) { return textQuery(kTag, "AT+CLSWB?\r\n", "+CLSWB: ", out); }
int32_t zelCLSWBSet(const char *bands) {
    if (bands == nullptr) return 2;
    return set(kTag, cmdf("AT+CLSWB=\"%s\"\r\n", bands));
}
int32_t zelCGSWBGet(zelString **out) { return textQuery(kTag, "AT+CGSWB?\r\n", "+CGSWB: ", out); }
int32_t zelCGSWBSet(const char *bands) {
    if (bands == nullptr) return 2;
    return set(kTag, cmdf("AT+CGSWB=\"%s\"\r\n", bands));
}
int32_t zelCBRSTATEGet(zelString **out) { return textQuery(kTag, "AT+CBRSTATE\r\n", "+CBRSTATE: ", out); }
int32_t zelCLATENCYGet(zelString **out) { return textQuery(kTag, "AT+CLATENCY?\r\n", nullptr, out); }

// ---- Throughput measurements ----
int32_t zelCalUpSpeedGet(zelString **out) { return textQuery(kTag, "AT+CALUPSPEED?\r\n", nullptr, out); }
int32_t zelCalUpSpeedSet(int32_t n, const char *text, int32_t value, zelString **out) {
    if (fullSpeedForm(text, value))
        return textQuery(kTag, cmdf("AT+CALUPSPEED=%d,\"%s\",%d\r\n", n, text, value), nullptr, out);
    return textQuery(kTag, cmdf("AT+CALUPSPEED=%d\r\n", n), nullptr, out);
}
int32_t zelCalDlSpeedGet(zelString **out) { return textQuery(kTag, "AT+CALDLSPEED?\r\n", nullptr, out); }
int32_t zelCalDlSpeedSet(int32_t n, const char *text, int32_t value, zelString **out) {
    if (fullSpeedForm(text, value))
        return textQuery(kTag, cmdf("AT+CALDLSPEED=%d,\"%s\",%d\r\n", n, text, value), nullptr, out);
    return textQuery(kTag, cmdf("AT+CALDLSPEED=%d\r\n", n), nullptr, out);
}

}  // extern "C"

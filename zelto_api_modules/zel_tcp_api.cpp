// TCP/IP service commands: the modem's own stack, its keep-alive, receive
// mode and listening server.
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

const char kTag[] = "zel_tcp_api";

bool keepAliveInRange(uint32_t on, uint32_t idle, int32_t interval, uint32_t probes) {
    bool interval_ok = interval == 30 || interval == 75 || interval == 600;
    return on <= 1 && idle >= 30 && idle <= 7200 && interval_ok && probes >= 1 && probes <= 9;
}

}  // namespace

extern "C" {

int32_t zelCIPMUXGet(int32_t *value) { return intQuery(kTag, "AT+CIPMUX?\r\n", "CIPMUX:", value); }
int32_t zelCIPMUXSet(int32_t value) { return set(kTag, cmdf("AT+CIPMUX=%d\r\n", value)); }

int32_t zelCIPTKASet(uint32_t on, uint32_t idle, int32_t interval, uint32_t probes) {
    if (!keepAliveInRange(on, idle, interval, probes)) return 1;
    return set(kTag, cmdf("AT+CIPTKA=%d,%d,%d,%d\r\n", static_cast<int32_t>(on), static_cast<int32_t>(idle),
                          interval, static_cast<int32_t>(probes)));
}

int32_t zelCIPTKAGet(zelString **settings) { return textQuery(kTag, "AT+CIPTKA?\r\n", "+CIPTKA: ", settings); }
int32_t zelCIPSTATUSGet(zelString **status) { return textQuery(kTag, "AT+CIPSTATUS\r\n", nullptr, status); }
int32_t zelGetCIPSHUT(zelString **reply) { return textQuery(kTag, "AT+CIPSHUT\r\n", nullptr, reply); }

int32_t zelCIPMODEGet(int32_t *value) { return intQuery(kTag, "AT+CIPMODE?\r\n", "CIPMODE:", value); }
int32_t zelCIPMODESet(int32_t value) { return set(kTag, cmdf("AT+CIPMODE=%d\r\n", value)); }
int32_t zelCIPSRIPGet(int32_t *value) { return intQuery(kTag, "AT+CIPSRIP?\r\n", "CIPSRIP:", value); }
int32_t zelCIPSRIPSet(int32_t value) { return set(kTag, cmdf("AT+CIPSRIP=%d\r\n", value)); }
int32_t zelCIPSHOWTPGet(int32_t *value) { return intQuery(kTag, "AT+CIPSHOWTP?\r\n", "CIPSHOWTP:", value); }
int32_t zelCIPSHOWTPSet(int32_t value) { return set(kTag, cmdf("AT+CIPSHOWTP=%d\r\n", value)); }
int32_t zelCIPSPRTGet(int32_t *value) { return intQuery(kTag, "AT+CIPSPRT?\r\n", "CIPSPRT:", value); }
int32_t zelCIPSPRTSet(int32_t value) { return set(kTag, cmdf("AT+CIPSPRT=%d\r\n", value)); }
int32_t zelCIPRXMODGet(int32_t *value) { return intQuery(kTag, "AT+CIPRXMODE?\r\n", "CIPRXMODE:", value); }
int32_t zelCIPRXMODSet(int32_t value) { return set(kTag, cmdf("AT+CIPRXMODE=%d\r\n", value)); }

// An out-of-range mode wins over a missing port.
int32_t zelCIPSERVERSet(uint32_t mode, const char *port) {
    if (mode > 1) return 1;
    if (port == nullptr) return 2;
    return set(kTag, cmdf("AT+CIPSERVER=%d,%s\r\n", static_cast<int32_t>(mode), port));
}

int32_t zelCIPSERVERGet(zelString **settings) {
    return textQuery(kTag, "AT+CIPSERVER?\r\n", "+CIPSERVER: ", settings);
}

}  // extern "C"

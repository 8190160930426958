// General device commands: identification, V.250 basics, error reporting,
// clock and the module's own device commands.
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {
const char kTag[] = "zel_general_api";
}

extern "C" {

int32_t zelATIGet(zelString **info) { return textQuery(kTag, "ATI\r\n", nullptr, info); }
int32_t zelATE0Get(void) { return action(kTag, "ATE0\r\n"); }
int32_t zelATE1Get(void) { return action(kTag, "ATE1\r\n"); }
int32_t zelATZGet(void) { return action(kTag, "ATZ\r\n"); }
int32_t zelATFGet(void) { return action(kTag, "AT&F\r\n"); }

int32_t zelCmeeSet(int32_t mode) { return set(kTag, cmdf("AT+CMEE=%d\r\n", mode)); }
int32_t zelCmeeGet(int32_t *mode) { return intQuery(kTag, "AT+CMEE?\r\n", "CMEE:", mode); }

int32_t zelCgmiGet(zelString **text) { return textQuery(kTag, "AT+CGMI\r\n", nullptr, text); }
int32_t zelCgmmGet(zelString **text) { return textQuery(kTag, "AT+CGMM\r\n", nullptr, text); }
int32_t zelCgmrGet(zelString **text) { return textQuery(kTag, "AT+CGMR\r\n", nullptr, text); }
int32_t zelCgsnGet(zelString **text) { return textQuery(kTag, "AT+CGSN\r\n", nullptr, text); }

// Without '?': only whether the module accepts the command.
int32_t zelCscsGet(void) { return action(kTag, "AT+CSCS\r\n"); }

int32_t zelGetCCLK(zelString **clock) { return fixedText(kTag, "AT+CCLK?\r\n", "CCLK: ", 20, clock); }

int32_t zelGmiGet(zelString **text) { return textQuery(kTag, "AT+GMI\r\n", nullptr, text); }
int32_t zelGmmGet(zelString **text) { return textQuery(kTag, "AT+GMM\r\n", nullptr, text); }
int32_t zelGmrGet(zelString **text) { return textQuery(kTag, "AT+GMR\r\n", nullptr, text); }
int32_t zelGetGcap(zelString **caps) { return fixedText(kTag, "AT+GCAP\r\n", "GCAP: ", 8, caps); }
int32_t zelGsnGet(zelString **text) { return textQuery(kTag, "AT+GSN\r\n", nullptr, text); }

int32_t zelCRTCGet(int32_t n, zelString **text) {
    return textQuery(kTag, cmdf("AT+CRTC=%d\r\n", n), nullptr, text);
}
int32_t zelCADCREADGet(int32_t channel, zelString **text) {
    return textQuery(kTag, cmdf("AT+CADCREAD=%d\r\n", channel), nullptr, text);
}

int32_t zelGetIMEI(zelString **imei) { return textQuery(kTag, "AT+IMEI?\r\n", nullptr, imei); }
int32_t zelThermalGet(zelString **text) { return textQuery(kTag, "AT+THERMAL\r\n", nullptr, text); }
int32_t zelTRBGet(void) { return action(kTag, "AT+TRB\r\n"); }
int32_t zelEdlModeSet(void) { return action(kTag, "AT+EDLMODE\r\n"); }

// The value's text goes in unquoted.
int32_t zelConfig(int32_t a, const zelString *value, int32_t b) {
    if (value == nullptr || value->data == nullptr) return 5;
    return set(kTag, cmdf("AT+CONFIG=%d,%s,%d\r\n", a, value->data, b));
}

}  // extern "C"

// SIM commands (slot switch, PIN, identities, SIM access, PIN counters) and
// the SIM toolkit commands; toolkit data passes through as quoted text.
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {
const char kTag[] = "zel_sim_api";
}

extern "C" {

int32_t zelSimSwap(int32_t slot) { return set(kTag, cmdf("AT^SIMSWAP=%d\r\n", slot)); }
int32_t zelSimModeGet(int32_t *mode) { return intQuery(kTag, "AT^SIMSWAP?\r\n", "SIMSWAP:", mode); }
int32_t zelCPINGet(zelString **state) { return textQuery(kTag, "AT+CPIN?\r\n", "+CPIN: ", state); }

int32_t zelCpinSet(const char *pin, const char *newpin) {
    if (pin == nullptr || newpin == nullptr) return 2;
    return set(kTag, cmdf("AT+CPIN=%s,\"%s\"\r\n", pin, newpin));
}

int32_t zelCNUMGet(zelString **numbers) { return textQuery(kTag, "AT+CNUM\r\n", nullptr, numbers); }
int32_t zelGetICCID(zelString **iccid) { return fixedText(kTag, "AT+ICCID\r\n", "ICCID: ", 20, iccid); }
int32_t zelCimiGet(zelString **imsi) { return textQuery(kTag, "AT+CIMI\r\n", nullptr, imsi); }
int32_t zelCSIMSUPPGet(int32_t *value) { return intQuery(kTag, "AT+CSIMSUPP?\r\n", "CSIMSUPP:", value); }
int32_t zelCSIMSUPPSet(int32_t value) { return set(kTag, cmdf("AT+CSIMSUPP=%d\r\n", value)); }

// The card's answer in the reply is not handed back.
int32_t zelCSIMSet(const char *length, const char *command) {
    if (length == nullptr || command == nullptr) return 2;
    return set(kTag, cmdf("AT+CSIM=%s,\"%s\"\r\n", length, command));
}

int32_t zelCRSMSet(int32_t command, int32_t fileid, int32_t p1, int32_t p2, int32_t p3, const char *data,
                   zelString **response) {
    if (data == nullptr) return 5;
    return textQuery(kTag, cmdf("AT+CRSM=%d,%d,%d,%d,%d,\"%s\"\r\n", command, fileid, p1, p2, p3, data), nullptr,
                     response);
}

int32_t zelCPINRGet(zelString **counters) { return textQuery(kTag, "AT+CPINR?\r\n", "+CPINR: ", counters); }

int32_t eZelSetSTKMode(int32_t mode) { return set(kTag, cmdf("AT+CSTK=%d\r\n", mode)); }
int32_t eZelSetSTKPupMode(int32_t mode) { return set(kTag, cmdf("AT+CSTKPUP=%d\r\n", mode)); }

int32_t eZelSTKCustomCmd(const char *first, const char *second, const char *third, zelString **response) {
    if (first == nullptr || second == nullptr || third == nullptr) return 2;
    return textQuery(kTag, cmdf("AT+CSTKCMD=\"%s\",\"%s\",\"%s\"\r\n", first, second, third), nullptr, response);
}

int32_t eZelSTKTerminalRespCmd(const char *terminal_response, zelString **response) {
    if (terminal_response == nullptr) return 2;
    return textQuery(kTag, cmdf("AT+STKTR=\"%s\"\r\n", terminal_response), nullptr, response);
}

int32_t eZelSTKEnvelopCmd(const char *envelope, zelString **response) {
    if (envelope == nullptr) return 2;
    return textQuery(kTag, cmdf("AT+STKENV=\"%s\"\r\n", envelope), nullptr, response);
}

}  // extern "C"

// Call control: the voice dial over the direct modem port; over the SDK
// server answer, hang up, call settings, extended error report, activity
// status and phonebook storage.
#include <errno.h>
#include <fcntl.h>
#include <stdio.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

#include "../core/log.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {
const char kTag[] = "zel_call_control_api";
}

extern "C" {

int32_t zelATDGet(const char *number) {
    if (number == nullptr || number[0] == '\0') {
        ZEL_LOG(LOG_ERR, "Invalid phone number");
        return 5;
    }
    char buffer[128] = {0};
    // A number with a control byte, or one that does not fit the command
    // buffer, is refused before the port is touched.
    Command dial = cmdf("ATD%s;\r\n", number);
    if (dial.refusedArgument() != 0) return refusal(kTag, dial);
    int n = dial.length();
    if (n <= 0 || static_cast<size_t>(n) >= sizeof buffer) {
        ZEL_LOG(LOG_ERR, "Failed to format ATD command");
        return 5;
    }
    int32_t fd = lockAndOpenModemPort("zelATDGet", O_RDWR | O_NONBLOCK | O_EXCL);
    if (fd < 0) {
        ZEL_LOG(LOG_ERR, "Unable to open /dev/smd10, error: %s", strerror(errno));
        zel_smd_access_unlock("zelATDGet");
        return 5;
    }
    int32_t status = 5;
    if (zel_send_data_to_fd(fd, dial.text(), n) == n) {
        int32_t got = zel_read_data_from_modem(fd, buffer, sizeof buffer - 1, 5000);
        if (got <= 0) {
            ZEL_LOG(LOG_WARNING, "No response from modem for ATD command");
        } else {
            ZEL_LOG(LOG_INFO, "Call response: %s", buffer);
            status = findIn(buffer, static_cast<size_t>(got), "\r\nOK\r\n") ? 0 : 5;
        }
    }
    close(fd);
    zel_smd_access_unlock("zelATDGet");
    return status;
}

// The module expects the trailing ';' on answer and hang-up as well.
int32_t zelATAGet(void) { return action(kTag, "ATA;\r\n"); }
int32_t zelATHGet(void) { return action(kTag, "ATH;\r\n"); }
int32_t zelCHUPGet(void) { return action(kTag, "AT+CHUP;\r\n"); }

int32_t zelCRCGet(int32_t *mode) { return intQuery(kTag, "AT+CRC?\r\n", "CRC:", mode); }
int32_t zelCRCSet(int32_t mode) { return set(kTag, cmdf("AT+CRC=%d\r\n", mode)); }
int32_t zelCSTAGet(int32_t *type) { return intQuery(kTag, "AT+CSTA?\r\n", "CSTA:", type); }
int32_t zelCSTASet(int32_t type) { return set(kTag, cmdf("AT+CSTA=%d\r\n", type)); }
int32_t zelCVHUGet(int32_t *mode) { return intQuery(kTag, "AT+CVHU?\r\n", "CVHU:", mode); }
int32_t zelCVHUSet(int32_t mode) { return set(kTag, cmdf("AT+CVHU=%d\r\n", mode)); }

int32_t zelCEERGet(zelString **report) { return textQuery(kTag, "AT+CEER\r\n", "+CEER: ", report); }
int32_t zelCPASGet(zelString **status) { return textQuery(kTag, "AT+CPAS\r\n", "+CPAS: ", status); }
int32_t zelCPBSGet(zelString **storage) { return textQuery(kTag, "AT+CPBS?\r\n", "+CPBS: ", storage); }

int32_t zelCpbsSet(const char *storage) {
    if (storage == nullptr) return 2;
    return set(kTag, cmdf("AT+CPBS=\"%s\"\r\n", storage));
}

int32_t zelCENGet(zelString **text) { return textQuery(kTag, "AT+CEN?\r\n", nullptr, text); }
int32_t zelCENSet(int32_t value) { return set(kTag, cmdf("AT+CEN=%d\r\n", value)); }
int32_t zelCEMODEGet(zelString **mode) { return textQuery(kTag, "AT+CEMODE?\r\n", "+CEMODE: ", mode); }

// A set command whose reply text before "OK" is handed back as well.
int32_t zelCRLPSet(int32_t a, int32_t b, int32_t c, int32_t d, int32_t e, zelString **reply) {
    return textQuery(kTag, cmdf("AT+CRLP=%d,%d,%d,%d,%d\r\n", a, b, c, d, e), nullptr, reply);
}
int32_t zelGetCRLP(zelString **text) { return textQuery(kTag, "AT+CRLP?\r\n", nullptr, text); }

}  // extern "C"

/* Sends one short message: send_sms NUMBER TEXT [pdu]. The library writes it
 * to the modem port /dev/smd10 itself, not through the SDK server. */
#include <stdio.h>
#include <string.h>

#include "zelto_sdk.h"

int main(int argc, char **argv) {
    zelString *message;
    int32_t status;
    int pdu = argc == 4 && strcmp(argv[3], "pdu") == 0;
    if (argc < 3 || argc > 4 || (argc == 4 && !pdu)) {
        fprintf(stderr, "usage: %s NUMBER TEXT [pdu]\n"
                        "  pdu: UCS-2 PDU mode; NUMBER is then the 10-digit national number\n",
                argv[0]);
        return 2;
    }
    message = zelAllocString(argv[2], (int32_t)strlen(argv[2]));
    if (message == NULL) {
        fprintf(stderr, "the message text is empty\n");
        return 2;
    }
    status = zelInit();
    if (status != 0) {
        fprintf(stderr, "zelInit failed with status %d\n", (int)status);
        zelFreeString(message);
        zelExit(); /* a failed start may still hold the lock file */
        return 1;
    }
    /* mode 0: the modem encodes the text; any other mode: PDU built here. */
    status = zelSendSMS(argv[1], message, pdu ? 1 : 0);
    if (status == 0)
        printf("sent to %s\n", argv[1]);
    else
        fprintf(stderr, "zelSendSMS failed with status %d (is /dev/smd10 there?)\n", (int)status);
    zelFreeString(message);
    zelExit();
    return status == 0 ? 0 : 1;
}

/* Starts the library, prints the module's identity, signal, registration and
 * SIM state, and ends the library. Needs the SDK server (or zelsim). */
#include <stdio.h>

#include "zelto_sdk.h"

/* Prints one text query's result and frees the text. */
static void show(const char *label, int32_t status, zelString *text) {
    if (status == 0)
        printf("%-14s %s\n", label, text->data);
    else
        printf("%-14s (failed with status %d)\n", label, (int)status);
    zelFreeString(text);
}

int main(void) {
    zelString *text;
    int32_t major, minor, patch;
    int32_t status = zelInit();
    if (status != 0) {
        fprintf(stderr, "zelInit failed with status %d\n", (int)status);
        return 1;
    }
    zelGetSDKVersion(&major, &minor, &patch);
    printf("%-14s %d.%d.%d\n", "library", (int)major, (int)minor, (int)patch);

    text = NULL;
    status = zelCgmmGet(&text);
    show("model", status, text);
    text = NULL;
    status = zelCgmrGet(&text);
    show("revision", status, text);
    text = NULL;
    status = zelGetIMEI(&text);
    show("IMEI", status, text);
    text = NULL;
    status = zelGetCSQ(&text); /* "rssi,ber" */
    show("signal", status, text);
    text = NULL;
    status = zelCEREGGet(&text); /* "n,stat,..." */
    show("registration", status, text);
    text = NULL;
    status = zelCopsGet(&text);
    show("operator", status, text);
    text = NULL;
    status = zelCPINGet(&text);
    show("SIM", status, text);

    zelExit();
    return 0;
}

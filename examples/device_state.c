/* Starts the library, prints the module's identity, signal, registration and
 * SIM state, and ends the library. Needs the SDK server (or zelsim). */
#include <stdio.h>

#include "zelto_sdk.h"

/* Text queries all share one shape: status back, a new zelString out. */
static const struct {
    const char *label;
    int32_t (*query)(zelString **text);
} queries[] = {
    {"model", zelCgmmGet},        {"revision", zelCgmrGet},
    {"IMEI", zelGetIMEI},         {"signal (rssi,ber)", zelGetCSQ},
    {"registration", zelCEREGGet}, {"operator", zelCopsGet},
    {"SIM", zelCPINGet},
};

int main(void) {
    int32_t major, minor, patch;
    size_t i;
    int32_t status = zelInit();
    if (status != 0) {
        fprintf(stderr, "zelInit failed with status %d\n", (int)status);
        zelExit(); /* a failed start may still hold the lock file */
        return 1;
    }
    zelGetSDKVersion(&major, &minor, &patch);
    printf("%-18s %d.%d.%d\n", "library", (int)major, (int)minor, (int)patch);
    for (i = 0; i < sizeof queries / sizeof queries[0]; ++i) {
        zelString *text = NULL;
        status = queries[i].query(&text);
        if (status == 0)
            printf("%-18s %s\n", queries[i].label, text->data);
        else
            printf("%-18s (failed with status %d)\n", queries[i].label, (int)status);
        zelFreeString(text); /* the caller owns every text; NULL is fine */
    }
    zelExit();
    return 0;
}

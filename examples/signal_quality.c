/* Starts the library, prints the module's identification and signal quality,
 * and ends the library. Needs the SDK server (or the modem simulator). */
#include <stdio.h>

#include "zelto_sdk.h"

static void printText(const char *label, int32_t status, zelString *text) {
    if (status == 0)
        printf("%s: %s\n", label, text->data);
    else
        printf("%s: failed with status %d\n", label, (int)status);
    zelFreeString(text);
}

int main(void) {
    zelString *text = NULL;
    int32_t status = zelInit();
    if (status != 0) {
        fprintf(stderr, "zelInit failed with status %d\n", (int)status);
        return 1;
    }
    status = zelCgmmGet(&text);
    printText("model", status, text);
    text = NULL;
    status = zelGetCSQ(&text);
    printText("signal quality", status, text);
    zelExit();
    return 0;
}

/* The public header from C99: it compiles, its records have their fields,
 * and calls that need no server work from C. */
#include <stdio.h>
#include <string.h>

#include "zelto_sdk.h"

static int failures;
#define CHECK(cond)                                                   \
    do {                                                              \
        if (!(cond)) {                                                \
            fprintf(stderr, "%s:%d: %s\n", __FILE__, __LINE__, #cond); \
            ++failures;                                               \
        }                                                             \
    } while (0)

static void onNotification(zelNotification *n) { (void)n; }

/* Interposes the C library's: no shell line can run from this test. */
int system(const char *command) {
    (void)command;
    return -1;
}

int main(void) {
    int32_t major = -7, minor = -7, patch = -7;
    zelString *s;
    char text[] = "  +CSQ: 1 \r\n";
    zelNotification n;
    zelNotificationCallback cb = onNotification;

    (void)cb;
    /* Any missing output: 5, and the others untouched. */
    CHECK(zelGetSDKVersion(NULL, &minor, &patch) == 5 && zelGetSDKVersion(&major, NULL, &patch) == 5);
    CHECK(zelGetSDKVersion(&major, &minor, NULL) == 5 && major == -7 && minor == -7 && patch == -7);
    CHECK(zelGetSDKVersion(&major, &minor, &patch) == 0);
    CHECK(major == 2 && minor == 2 && patch == 5);

    s = zelAllocString("abc", 3);
    CHECK(s != NULL && s->len == 3 && strcmp(s->data, "abc") == 0);
    zelFreeString(s);

    CHECK(strcmp(trim(text), "+CSQ: 1") == 0);
    CHECK(zelSendAtCommand(NULL, &s) == 2);

    memset(&n, 0, sizeof n);
    n.type = NOTIFICATION_WAKEUP;
    CHECK(sizeof n.type == 4);
    if (sizeof(void *) == 4) CHECK(sizeof n == 12);

    CHECK(extended_errors[0] != NULL && strcmp(extended_errors[0], "CME ERROR") == 0);
    CHECK(strcmp(extended_errors[4], "CONNECT ERROR") == 0);

    if (failures == 0) printf("1 passed, 0 failed\n");
    return failures ? 1 : 0;
}

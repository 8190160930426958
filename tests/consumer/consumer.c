/* An application built against an installed zelto_sdk. */
#include <stdio.h>

#include <zelto_sdk.h>

int main(void) {
    int32_t major = 0, minor = 0, patch = 0;
    zelString *s = zelAllocString("ok", 2);
    if (zelGetSDKVersion(&major, &minor, &patch) != 0 || s == NULL) return 1;
    printf("zelto_sdk %d.%d.%d %s\n", (int)major, (int)minor, (int)patch, s->data);
    zelFreeString(s);
    return 0;
}

// Sleep helpers shared by the family source, its tests and its fuzz target.
#ifndef ZEL_SLEEP_INTERNAL_H
#define ZEL_SLEEP_INTERNAL_H

#include <stdint.h>

namespace zel {

// The wake-up reason of an AT+CWAKER? reply text[0..len): "OK" and
// "+CWAKER: " must be there and a "\r\n" must follow the prefix; the text up
// to it reads as an unsigned decimal number (blanks skipped, a sign allowed,
// no digits read as 0) that must not exceed 10. 0 with *reason set, else 5
// with *reason untouched.
int32_t wakeupReasonIn(const char *text, int32_t len, uint32_t *reason);

}  // namespace zel

#endif

// GNSS helpers shared by the family source and its tests.
#ifndef ZEL_GNSS_INTERNAL_H
#define ZEL_GNSS_INTERNAL_H

#include <stdint.h>

namespace zel {

// The one character after `prefix` in text[0..len), as a digit value (not
// checked for being a digit); 5 when the prefix is missing or ends the text.
int32_t xtraStateDigit(const char *text, int32_t len, const char *prefix, int32_t *state);

}  // namespace zel

#endif

// --redact: identities, numbers, message texts, cell identities and GNSS
// positions in a recording replaced by consistent fakes: the same real value
// becomes the same fake everywhere, an IMEI stays 15 digits with a valid
// check digit, a message in PDU form is rebuilt so that it still decodes.
#ifndef ZELTAP_REDACT_H
#define ZELTAP_REDACT_H

#include <string>

#include "recording.h"

namespace zeltap {

// Rewrites the recording in place and lists in `r->replaced` what it replaced.
void redact(Recording *r);

// Whether the digits end with a valid Luhn check digit.
bool luhnValid(const std::string &digits);

}  // namespace zeltap

#endif

// SMS helpers shared by the family source, its tests and its fuzz target.
#ifndef ZEL_SMS_INTERNAL_H
#define ZEL_SMS_INTERNAL_H

namespace zel {

// An address field holds at most 20 digits.
constexpr int kMaxAddressDigits = 20;

// The international number a message to `number` goes to, written to
// `digits`: a national number with the country code 91 in front, or one that
// starts with '+' without it. NULL when it would not fit the address field.
const char *submitAddress(const char *number, char (&digits)[kMaxAddressDigits + 1]);

// The SMS-SUBMIT PDU, as uppercase hex text, that carries `text` (one UCS-2
// unit per byte, read as ISO 8859-1) to submitAddress(number). A new string
// the caller frees with free(); NULL for a NULL argument, a number too long
// for the address field, or when memory runs out.
char *buildSubmitPdu(const char *number, const char *text);

}  // namespace zel

#endif

// SMS helpers shared by the family source, its tests and its fuzz target.
#ifndef ZEL_SMS_INTERNAL_H
#define ZEL_SMS_INTERNAL_H

namespace zel {

// The SMS-SUBMIT PDU, as uppercase hex text, that carries `text` (one UCS-2
// unit per byte, read as ISO 8859-1) to the national `number` with the country
// code 91 in front (at most 29 characters of it are used). A new string the
// caller frees with free(); NULL for a NULL argument or when memory runs out.
char *buildSubmitPdu(const char *number, const char *text);

}  // namespace zel

#endif

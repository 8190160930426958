// SMS PDUs as the modem port carries them: decoding an SMS-SUBMIT that an
// application sends, encoding stored messages for listings in PDU mode.
#ifndef ZELSIM_PDU_H
#define ZELSIM_PDU_H

#include <string>

#include "modem.h"

namespace zelsim {

// Reads an SMS-SUBMIT in hex (with its service-centre field first). Text in
// UCS-2, 8-bit or the 7-bit default alphabet (read as ASCII). False when the
// PDU is malformed.
bool decodeSubmit(const std::string &hex, std::string *number, std::string *text);

// A stored message as hex: SMS-DELIVER for received ones, SMS-SUBMIT for
// the others, UCS-2 body, empty service-centre field. `octets` receives the
// length after that field, as listings report it.
std::string encodePdu(const Sms &sms, int *octets);

}  // namespace zelsim

#endif

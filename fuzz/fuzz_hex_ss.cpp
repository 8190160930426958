// Decodes arbitrary text as the hex signal-strength record.
#include "hex_record.h"

ZEL_HEX_RECORD_TARGET(nas_ss_deserialize_from_hex, 58)

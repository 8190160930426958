// Decodes arbitrary text as the hex active-band record.
#include "hex_record.h"

ZEL_HEX_RECORD_TARGET(nas_active_band_deserialize_from_hex, 6)

// Decodes arbitrary text as the hex cell-location record.
#include "hex_record.h"

ZEL_HEX_RECORD_TARGET(nas_cell_location_deserialize_from_hex, 29)

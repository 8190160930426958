// Parses arbitrary text as a neighbour cell reply and as one line: the counts
// stay within their limits, and carriage returns separate lines as line feeds do.
#include <stdlib.h>
#include <string.h>

#include <string>

#include "zelto_sdk.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    std::string text(reinterpret_cast<const char *>(data), size);
    zelNeighbourCellReport r[3] = {};
    parse_data(text.c_str(), &r[0]);
    for (char &c : text) c = c == '\r' ? '\n' : c;
    parse_data(text.c_str(), &r[1]);
    trim_lines(&text[0]);
    tokenize_line(&text[0], &r[2]);
    for (const zelNeighbourCellReport &x : r)
        if (x.lteIntraCount > 8 || x.lteInterCount > 24 || x.gsmCount > 16 || x.geranCount > 6) abort();
    if (memcmp(&r[0], &r[1], sizeof r[0]) != 0) abort();
    return 0;
}

// Feeds arbitrary bytes to the reply framer in arbitrary pieces and bursts.
// Every reply it cuts must be a prefix of the text fed since the previous cut
// that ends at a final result code.
#include <stdint.h>
#include <stdlib.h>
#include <string.h>

#include <string>

#include "core/framer.h"

namespace {
const char *const kExtended[] = {"CME ERROR", "CMS ERROR", "PDP ERROR", "CERROR", "CONNECT ERROR"};

void checkCut(const zel::Cut &c) {
    if (c.data == nullptr) return;
    if (c.data[c.len] != '\0') abort();
    if (zel::findReplyEnd(c.data, static_cast<size_t>(c.len), kExtended, 5) < 0) abort();
    free(c.data);
}
}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size) {
    zel::ReplyFramer f;
    size_t at = 0;
    // Each control byte chooses a piece length and what follows the piece.
    while (at < size) {
        uint8_t control = data[at++];
        size_t piece = control & 0x3f;
        if (piece > size - at) piece = size - at;
        zel::Cut c;
        if (f.feed(reinterpret_cast<const char *>(data + at), piece, &c)) checkCut(c);
        at += piece;
        if (control & 0x40 || f.room() == 0) {
            if (f.endBurst(kExtended, 5, &c)) checkCut(c);
        }
        if (control & 0x80) f.commandSent();
        if (f.pending() > zel::ReplyFramer::kPartialCap + zel::ReplyFramer::kBurstMax) abort();
    }
    f.release();
    return 0;
}

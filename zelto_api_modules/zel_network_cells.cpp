// The neighbour cell report: the reply text is cut into lines, each line into
// tokens, and each recognised line fills the next free entry of its kind.
// strtok_r keeps the cutting state on the caller's stack, so parsers may run
// on several threads at once and an application's own strtok is left alone.
#include <stddef.h>
#include <string.h>
#include <syslog.h>

#include "../core/log.h"
#include "zel_network_internal.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

const char kTag[] = "zel_network_api";
constexpr size_t kTextMax = 2047;  // characters of reply text parsed
constexpr size_t kLineSlots = 49;
constexpr size_t kLineMax = 511;  // characters kept of one line
constexpr int32_t kTokenMax = 20;

// One entry field: the token that fills it (fields are named after their
// tokens), its width in bytes and its place in the entry.
struct Slot {
    uint8_t token;
    uint8_t width;
    uint8_t offset;
};
#define ZEL_SLOT(Entry, n) Slot{n, sizeof(Entry::tok##n), offsetof(Entry, tok##n)}

struct CellKind {
    const char *name;  // as its log lines call it
    int priority;      // of its log lines
    int32_t needed;    // tokens its line must have: up to its last field's
    const Slot *slots;
    size_t slot_count;
};

// Slots come in token order.
template <size_t N>
constexpr CellKind cellKind(const char *name, int priority, const Slot (&slots)[N]) {
    return {name, priority, slots[N - 1].token + 1, slots, N};
}

constexpr Slot kIntraSlots[] = {
    ZEL_SLOT(zelLteIntraNeighbour, 2), ZEL_SLOT(zelLteIntraNeighbour, 3), ZEL_SLOT(zelLteIntraNeighbour, 4),
    ZEL_SLOT(zelLteIntraNeighbour, 5), ZEL_SLOT(zelLteIntraNeighbour, 6), ZEL_SLOT(zelLteIntraNeighbour, 7),
    ZEL_SLOT(zelLteIntraNeighbour, 8), ZEL_SLOT(zelLteIntraNeighbour, 9), ZEL_SLOT(zelLteIntraNeighbour, 10),
    ZEL_SLOT(zelLteIntraNeighbour, 11),
};
constexpr Slot kInterSlots[] = {
    ZEL_SLOT(zelLteInterNeighbour, 2), ZEL_SLOT(zelLteInterNeighbour, 3), ZEL_SLOT(zelLteInterNeighbour, 4),
    ZEL_SLOT(zelLteInterNeighbour, 5), ZEL_SLOT(zelLteInterNeighbour, 6), ZEL_SLOT(zelLteInterNeighbour, 7),
    ZEL_SLOT(zelLteInterNeighbour, 8), ZEL_SLOT(zelLteInterNeighbour, 9), ZEL_SLOT(zelLteInterNeighbour, 10),
};
constexpr Slot kGsmSlots[] = {
    ZEL_SLOT(zelGsmNeighbour, 2), ZEL_SLOT(zelGsmNeighbour, 3), ZEL_SLOT(zelGsmNeighbour, 4),
    ZEL_SLOT(zelGsmNeighbour, 5), ZEL_SLOT(zelGsmNeighbour, 6), ZEL_SLOT(zelGsmNeighbour, 7),
    ZEL_SLOT(zelGsmNeighbour, 8), ZEL_SLOT(zelGsmNeighbour, 9), ZEL_SLOT(zelGsmNeighbour, 10),
};
constexpr Slot kGeranSlots[] = {
    ZEL_SLOT(zelGeranNeighbour, 2), ZEL_SLOT(zelGeranNeighbour, 3), ZEL_SLOT(zelGeranNeighbour, 4),
    ZEL_SLOT(zelGeranNeighbour, 5), ZEL_SLOT(zelGeranNeighbour, 6), ZEL_SLOT(zelGeranNeighbour, 7),
    ZEL_SLOT(zelGeranNeighbour, 8), ZEL_SLOT(zelGeranNeighbour, 9), ZEL_SLOT(zelGeranNeighbour, 10),
    ZEL_SLOT(zelGeranNeighbour, 11), ZEL_SLOT(zelGeranNeighbour, 12),
};

constexpr CellKind kIntra = cellKind("LTE Intra", LOG_INFO, kIntraSlots);
constexpr CellKind kInter = cellKind("LTE Inter", LOG_INFO, kInterSlots);
constexpr CellKind kGsm = cellKind("GSM", LOG_INFO, kGsmSlots);
constexpr CellKind kGeran = cellKind("GERAN", LOG_ERR, kGeranSlots);

// Appends one entry of `kind` to `entries`; the last slot of the array always
// stays zero, so it holds one entry fewer than its size.
template <typename Entry, size_t N>
void mapEntry(const CellKind &kind, char **tokens, int32_t count, Entry (&entries)[N], uint8_t *filled) {
    if (*filled >= N - 1) {
        ZEL_LOG(kind.priority, "%s Neighbor Cell limit reached\n", kind.name);
        return;
    }
    if (tokens == nullptr || count < kind.needed) {
        ZEL_LOG(kind.priority, "Not enough tokens for %s Neighbor Cell\n", kind.name);
        return;
    }
    uint8_t *entry = reinterpret_cast<uint8_t *>(&entries[*filled]);
    for (size_t i = 0; i < kind.slot_count; ++i) {
        const Slot &s = kind.slots[i];
        const char *token = tokens[s.token];
        storeLowBits(entry + s.offset, s.width, static_cast<uint32_t>(token ? decimalAt(token) : 0));
    }
    ++*filled;
}

bool isIn(char c, const char *set) { return c != '\0' && strchr(set, c) != nullptr; }

// Skips leading blanks and quotes and cuts trailing ones.
char *trimToken(char *token) {
    while (isIn(*token, " \"")) ++token;
    char *end = token + strlen(token);
    while (end > token && isIn(end[-1], " \"")) *--end = '\0';
    return token;
}

}  // namespace

extern "C" {

void trim_lines(char *line) {
    if (line == nullptr) return;
    char *start = line + strspn(line, " \t");
    char *end = start + strlen(start);
    if (end - start < 2) return;
    while (end - 1 > start && isIn(end[-1], "\t\n\r ")) *--end = '\0';
}

void tokenize_line(char *line, zelNeighbourCellReport *report) {
    if (line == nullptr || report == nullptr) return;
    char *tokens[kTokenMax];
    int32_t count = 0;
    char *save = nullptr;
    while (count < kTokenMax) {
        char *token = strtok_r(count == 0 ? line : nullptr, ",", &save);
        if (token == nullptr) break;
        tokens[count++] = trimToken(token);
    }
    if (count == 0) return;
    if (strcmp(tokens[0], "neighbourcell intra") == 0) {
        map_lte_intra(tokens, count, report);
    } else if (strcmp(tokens[0], "neighbourcell inter") == 0) {
        map_lte_inter(tokens, count, report);
    } else if (strcmp(tokens[0], "neighbourcell") == 0) {
        if (count == kGsm.needed) map_gsm(tokens, count, report);
        else if (count == kGeran.needed) map_geran(tokens, count, report);
    }
}

void parse_data(const char *text, zelNeighbourCellReport *report) {
    if (text == nullptr || report == nullptr) return;
    char work[kTextMax + 1];
    size_t n = strnlen(text, kTextMax);
    memcpy(work, text, n);
    work[n] = '\0';

    // Every line is kept before any is tokenized.
    char lines[kLineSlots][kLineMax + 1];
    size_t kept = 0;
    char *save = nullptr;
    for (char *piece = strtok_r(work, "\r\n", &save); piece != nullptr && kept < kLineSlots;
         piece = strtok_r(nullptr, "\r\n", &save)) {
        trim_lines(piece);
        if (piece[0] == '\0') continue;
        size_t len = strnlen(piece, kLineMax);
        memcpy(lines[kept], piece, len);
        lines[kept++][len] = '\0';
    }
    for (size_t i = 0; i < kept; ++i) tokenize_line(lines[i], report);
}

void map_lte_intra(char **tokens, int32_t count, zelNeighbourCellReport *report) {
    if (report) mapEntry(kIntra, tokens, count, report->lteIntra, &report->lteIntraCount);
}
void map_lte_inter(char **tokens, int32_t count, zelNeighbourCellReport *report) {
    if (report) mapEntry(kInter, tokens, count, report->lteInter, &report->lteInterCount);
}
void map_gsm(char **tokens, int32_t count, zelNeighbourCellReport *report) {
    if (report) mapEntry(kGsm, tokens, count, report->gsm, &report->gsmCount);
}
void map_geran(char **tokens, int32_t count, zelNeighbourCellReport *report) {
    if (report) mapEntry(kGeran, tokens, count, report->geran, &report->geranCount);
}

}  // extern "C"

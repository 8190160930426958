// Cloud device management: registration with the Vantor service, its state,
// and the device-management task and client.
#include <string.h>
#include <syslog.h>

#include "../core/log.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

const char kTag[] = "zel_vantor_api";
const char kRegPrefix[] = "+VANTORREG: ";
const char kDmPrefix[] = "+VANTORDM: ";

struct WordValue {
    const char *word;
    int32_t value;
};

// "UNREGISTERED" holds "REGISTERED", so it is looked for first.
const WordValue kRegStates[] = {{"UNREGISTERED", 2}, {"REGISTERING", 1}, {"REGISTERED", 0}, {nullptr, 3}};
// "1," anywhere wins over a "0" anywhere.
const WordValue kTaskStates[] = {{"1,", 1}, {"0", 0}, {nullptr, 2}};

// Where the text after `prefix` starts in the reply, or NULL.
const char *after(const Reply &r, const char *prefix) {
    const char *at = r.find(prefix);
    return at ? at + strlen(prefix) : nullptr;
}

bool hasText(const zelString *s) { return s != nullptr && s->data != nullptr; }

}  // namespace

extern "C" {

int32_t zelVantorReg(const zelString *a, const zelString *b, const zelString *c) {
    if (!hasText(a) || !hasText(b) || !hasText(c)) return 1;
    Command command = cmdf("AT+VANTORREG=%s,%s,%s\r\n", a->data, b->data, c->data);
    if (refusal(kTag, command) != 0) return 1;
    Reply r = transact(kTag, command);
    if (!r) return 5;
    if (r.find("+VANTORREG:") == nullptr) {
        ZEL_LOG(LOG_ERR, "Not found \"+VANTORREG\" from outcome\n");
        return 5;
    }
    // A reply with the prefix but not its blank is as good as one without the word.
    const char *state = after(r, kRegPrefix);
    if (state == nullptr || r.find("REGISTERING", state) == nullptr) {
        ZEL_LOG(LOG_ERR, "Not found \"REGISTERING\" from outcome\n");
        return 5;
    }
    return 0;
}

int32_t zelVantorGetRegStatus(void) {
    Reply r = transact(kTag, "AT+VANTORREG?\r\n");
    if (!r) return 5;
    const char *state = after(r, kRegPrefix);
    return state ? firstFound(r, kRegStates, state).value : 3;
}

int32_t zelVantDMStart(uint32_t first, uint32_t second, zelString **out) {
    if (first > 1 || second < 1 || second > 2) return 1;
    if (out == nullptr) return 2;
    Reply r = transact(kTag, cmdf("AT+VANTORDM=%d,%d\r\n", static_cast<int>(first), static_cast<int>(second)));
    if (!r) return 5;
    *out = nullptr;
    const char *text = after(r, kDmPrefix);
    if (text == nullptr) return 5;
    // A refused start hands back the modem's error detail with its 5.
    const char *ok = r.find("OK");
    const char *end = ok ? ok : r.find("ERROR");
    if (end == nullptr) return 5;
    *out = trimmedText(text, end);
    return ok && *out ? 0 : 5;
}

int32_t zelVantDMTaskStatus(int32_t *state) {
    if (state == nullptr) return 2;
    Reply r = transact(kTag, "AT+VANTORDM?\r\n");
    if (!r) return 5;
    const char *text = after(r, kDmPrefix);
    if (text == nullptr) return 5;
    *state = firstFound(r, kTaskStates, text).value;
    return 0;
}

int32_t zelVantDMClientStatus(int32_t *state) {
    if (state == nullptr) return 2;
    return intQuery(kTag, "AT+VANTDMSTATUS?\r\n", "+VANTDMSTATUS: ", state);
}

}  // extern "C"

// SMS: sending over the direct modem port in text or PDU mode; message
// service configuration and stored messages over the SDK server.
#include <errno.h>
#include <fcntl.h>
#include <stdint.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>
#include <unistd.h>

#include <memory>

#include "../core/log.h"
#include "zel_sms_internal.h"
#include "zelto_sdk_internal.h"

using namespace zel;

namespace {

const char kTag[] = "zel_sms_api";
constexpr uint32_t kCmgdFlagMax = 4;

struct FreeDeleter {
    void operator()(char *p) const { free(p); }
};
using HeapText = std::unique_ptr<char, FreeDeleter>;

constexpr int32_t kReplySize = 2048;
constexpr int32_t kFormatWaitMs = 300;
constexpr char kCtrlZ = 0x1a;

// How the two modes differ in the dialogue.
struct SendMode {
    const char *name;            // in the missing-prompt log line
    const char *format_command;  // the message format for this dialogue
    int32_t prompt_wait_ms;
    int32_t final_wait_ms;
    bool cmgs_means_sent;  // a final "+CMGS:" without "OK" counts as sent
};
constexpr SendMode kPduMode = {"send_pdu_sms", "AT+CMGF=0\r\n", 3000, 8000, true};
constexpr SendMode kTextMode = {"send_text_sms", "AT+CMGF=1\r\n", 1500, 6000, false};

// Writes `len` bytes (their outcome shows in the reply) and reads the reply
// into the zeroed buffer for up to `wait_ms`: the count read, or -1.
int32_t exchange(int32_t fd, const char *data, size_t len, char *reply, int32_t wait_ms) {
    zel_send_data_to_fd(fd, data, static_cast<int32_t>(len));
    memset(reply, 0, kReplySize);
    return zel_read_data_from_modem(fd, reply, kReplySize - 1, wait_ms);
}

bool holds(const char *reply, int32_t count, const char *needle) {
    return count > 0 && findIn(reply, static_cast<size_t>(count), needle) != nullptr;
}

// The dialogue on the open port: message format, send command, the ">"
// prompt, then the body closed by Ctrl-Z.
int32_t converse(int32_t fd, const SendMode &m, const char *command, const char *body, size_t body_len,
                 char *reply) {
    exchange(fd, m.format_command, strlen(m.format_command), reply, kFormatWaitMs);
    int32_t got = exchange(fd, command, strlen(command), reply, m.prompt_wait_ms);
    if (!holds(reply, got, ">")) {
        directLog(LOG_ERR, "%s: No > prompt", m.name);
        zel_send_data_to_fd(fd, "\x1b", 1);  // the modem may still wait for a body: leave message entry
        return 5;
    }
    got = exchange(fd, body, body_len, reply, m.final_wait_ms);
    return holds(reply, got, "OK") || (m.cmgs_means_sent && holds(reply, got, "+CMGS:")) ? 0 : 5;
}

// A copy of `text` with Ctrl-Z appended (and a terminating zero).
HeapText closedBody(const char *text, size_t len) {
    HeapText body(static_cast<char *>(malloc(len + 2)));
    if (body) {
        memcpy(body.get(), text, len);
        body.get()[len] = kCtrlZ;
        body.get()[len + 1] = '\0';
    }
    return body;
}

// Digits after an optional leading '+'.
bool isPhoneNumber(const char *number) {
    const char *digits = number[0] == '+' ? number + 1 : number;
    return digits[0] != '\0' && strspn(digits, "0123456789") == strlen(digits);
}

bool cnmiInRange(uint32_t mode, uint32_t mt, uint32_t bm, uint32_t ds, uint32_t bfr) {
    return mode <= 2 && mt <= 3 && bm <= 2 && ds <= 2 && bfr <= 1;
}

}  // namespace

const char *zel::submitAddress(const char *number, char (&digits)[kMaxAddressDigits + 1]) {
    if (number == nullptr) return nullptr;
    const char *country = number[0] == '+' ? "" : "91";
    const char *rest = number[0] == '+' ? number + 1 : number;
    int n = snprintf(digits, sizeof digits, "%s%s", country, rest);
    return n >= 0 && static_cast<size_t>(n) < sizeof digits ? digits : nullptr;
}

char *zel::buildSubmitPdu(const char *number, const char *text) {
    char international[kMaxAddressDigits + 1];
    if (text == nullptr || submitAddress(number, international) == nullptr) return nullptr;
    HeapText body(convert_to_ucs2(text));
    if (!body) return nullptr;
    size_t body_len = strlen(body.get());
    char address[sizeof international + 1];
    encode_number_semi_octet(international, address);
    size_t size = strlen(address) + body_len + 64;
    char *pdu = static_cast<char *>(calloc(size, 1));
    // The address length counts its digits, the F that pads an odd count aside.
    if (pdu != nullptr)
        snprintf(pdu, size, "000100%02X91%s0008%02X%s", static_cast<unsigned>(strlen(international)), address,
                 static_cast<unsigned>(body_len / 2), body.get());
    return pdu;
}

extern "C" {

char *convert_to_ucs2(const char *text) {
    if (text == nullptr) return nullptr;
    size_t n = strlen(text);
    if (n > (SIZE_MAX - 1) / 4) return nullptr;
    char *out = static_cast<char *>(calloc(4 * n + 1, 1));
    if (out == nullptr) return nullptr;
    static const char kHex[] = "0123456789ABCDEF";
    for (size_t i = 0; i < n; ++i) {
        unsigned char b = static_cast<unsigned char>(text[i]);
        char *unit = out + 4 * i;
        unit[0] = '0', unit[1] = '0', unit[2] = kHex[b >> 4], unit[3] = kHex[b & 0xf];
    }
    return out;
}

void encode_number_semi_octet(const char *digits, char *out) {
    if (digits == nullptr || out == nullptr) return;
    size_t n = strlen(digits), i = 0;
    for (; i < n; i += 2) {
        out[i] = i + 1 < n ? digits[i + 1] : 'F';
        out[i + 1] = digits[i];
    }
    out[i] = '\0';
}

int32_t zelSendSMS(const char *number, const zelString *message, int32_t mode) {
    if (number == nullptr || number[0] == '\0' || message == nullptr || message->data == nullptr ||
        message->len == 0)
        return 5;
    const bool pdu_mode = mode != 0;
    const SendMode &m = pdu_mode ? kPduMode : kTextMode;
    char address[kMaxAddressDigits + 1];
    if (!isPhoneNumber(number) || (pdu_mode && submitAddress(number, address) == nullptr)) {
        ZEL_LOG(LOG_ERR, "the number is not digits after an optional '+'%s: refused",
                pdu_mode ? ", 20 at most with its country code" : "");
        return 1;
    }
    // One message carries 70 UCS-2 units (one per byte in PDU mode) or 160 characters.
    const size_t units = strlen(message->data), most = pdu_mode ? 70 : 160;
    if (units > most) {
        ZEL_LOG(LOG_ERR, "a text of %u characters does not fit one message of %u: refused",
                static_cast<unsigned>(units), static_cast<unsigned>(most));
        return 1;
    }
    // In text mode Ctrl-Z would end the message early and ESC cancel it.
    const char *control = pdu_mode ? nullptr : strpbrk(message->data, "\x1a\x1b");
    if (control != nullptr) {
        ZEL_LOG(LOG_ERR, "control byte 0x%02X in the message text: refused", static_cast<unsigned char>(*control));
        return 1;
    }
    // The command buffer holds a text-mode number of up to 115 characters; a
    // longer one is cut with the rest of the command, as the modem then sees it.
    char command[128];
    if (!pdu_mode) snprintf(command, sizeof command, "AT+CMGS=\"%s\"\r\n", number);
    directLog(LOG_INFO, "zelSendSMS start mode=%s", pdu_mode ? "PDU" : "TEXT");

    HeapText pdu;
    if (pdu_mode) {
        pdu.reset(buildSubmitPdu(number, message->data));
        if (!pdu) return 5;
        snprintf(command, 64, "AT+CMGS=%d\r\n", static_cast<int>(strlen(pdu.get()) / 2 - 1));
    }
    const char *text = pdu ? pdu.get() : message->data;
    size_t text_len = strlen(text);
    HeapText body = closedBody(text, text_len);
    HeapText reply(static_cast<char *>(calloc(kReplySize, 1)));
    if (!body || !reply) return 5;

    int32_t fd = lockAndOpenModemPort("open_smd_port", O_RDWR | O_NONBLOCK);
    if (fd < 0) {
        directLog(LOG_ERR, "open_smd_port: cannot open smd10 (%s)", strerror(errno));
        zel_smd_access_unlock("open_smd_port");
        return 5;
    }
    int32_t status = converse(fd, m, command, body.get(), text_len + 1, reply.get());
    close(fd);
    zel_smd_access_unlock("zelSendSMS");
    return status;
}

int32_t zelCSDHGet(int32_t *value) { return intQuery(kTag, "AT+CSDH?\r\n", "CSDH:", value); }
int32_t zelCSDHSet(int32_t value) { return set(kTag, cmdf("AT+CSDH=%d\r\n", value)); }

int32_t zelCSCSSet(const char *charset) {
    if (charset == nullptr) return 2;
    return set(kTag, cmdf("AT+CSCS=\"%s\"\r\n", charset));
}

int32_t zelCSCSGet(zelString **charset) { return textQuery(kTag, "AT+CSCS?\r\n", "+CSCS: ", charset); }

int32_t zelCNMISet(uint32_t mode, uint32_t mt, uint32_t bm, uint32_t ds, uint32_t bfr) {
    if (!cnmiInRange(mode, mt, bm, ds, bfr)) return 1;
    return set(kTag, cmdf("AT+CNMI=%d,%d,%d,%d,%d\r\n", static_cast<int32_t>(mode), static_cast<int32_t>(mt),
                          static_cast<int32_t>(bm), static_cast<int32_t>(ds), static_cast<int32_t>(bfr)));
}

int32_t zelCNMIGet(zelString **settings) { return textQuery(kTag, "AT+CNMI?\r\n", "+CNMI: ", settings); }

int32_t zelCMGLSet(const char *status, zelString **list) {
    if (status == nullptr) return 5;
    return textQuery(kTag, cmdf("AT+CMGL=\"%s\"\r\n", status), nullptr, list);
}

int32_t zelCPMSSet(const char *mem1, const char *mem2, const char *mem3, zelString **reply) {
    if (mem1 == nullptr || mem2 == nullptr || mem3 == nullptr) return 5;
    return textQuery(kTag, cmdf("AT+CPMS=\"%s\",\"%s\",\"%s\"\r\n", mem1, mem2, mem3), nullptr, reply);
}

int32_t zelCPMSGet(zelString **settings) { return textQuery(kTag, "AT+CPMS?\r\n", "+CPMS: ", settings); }

int32_t zelCMGRSet(int32_t index, zelString **message) {
    return textQuery(kTag, cmdf("AT+CMGR=%d\r\n", index), nullptr, message);
}

int32_t zelCMGDSet(int32_t index, uint32_t flag) {
    if (flag > kCmgdFlagMax) return 1;
    return set(kTag, cmdf("AT+CMGD=%d,%d,\r\n", index, static_cast<int32_t>(flag)));
}

int32_t zelCMGFGet(int32_t *value) { return intQuery(kTag, "AT+CMGF?\r\n", "CMGF:", value); }
int32_t zelCMGFSet(int32_t value) { return set(kTag, cmdf("AT+CMGF=%d\r\n", value)); }

}  // extern "C"

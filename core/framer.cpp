#include "framer.h"

#include <sched.h>
#include <stdlib.h>
#include <string.h>
#include <syslog.h>

#include <algorithm>

#include "log.h"

namespace zel {
namespace {

const char kTag[] = "core";

const char kOk[] = "\r\nOK\r\n";
const char kError[] = "\r\nERROR\r\n";

long find(const char *text, size_t len, const char *needle, size_t from = 0) {
    size_t n = strlen(needle);
    if (text == nullptr || n == 0 || from >= len) return -1;
    const void *hit = memmem(text + from, len - from, needle, n);
    return hit ? static_cast<const char *>(hit) - text : -1;
}

}  // namespace

long findReplyEnd(const char *text, size_t len, const char *const *extended, size_t n_extended) {
    long at = find(text, len, kOk);
    if (at >= 0) return at + static_cast<long>(sizeof kOk - 1);
    at = find(text, len, kError);
    if (at >= 0) return at + static_cast<long>(sizeof kError - 1);
    for (size_t i = 0; i < n_extended; ++i) {
        if (extended[i] == nullptr || extended[i][0] == '\0') continue;
        at = find(text, len, extended[i]);
        if (at < 0) continue;
        long word_end = at + static_cast<long>(strlen(extended[i]));
        const void *nl = memchr(text + word_end, '\n', len - static_cast<size_t>(word_end));
        return nl ? static_cast<const char *>(nl) - text + 1 : word_end;
    }
    return -1;
}

void ReplyFramer::release() {
    free(buf_);
    buf_ = nullptr;
    len_ = cap_ = carried_ = burst_len_ = 0;
    discarding_ = false;
}

bool ReplyFramer::reserve(size_t extra) {
    if (len_ + extra <= cap_) return true;
    size_t want = cap_ ? cap_ : 1024;
    while (want < len_ + extra) want *= 2;
    char *grown = static_cast<char *>(realloc(buf_, want));
    if (grown == nullptr) return false;
    buf_ = grown;
    cap_ = want;
    return true;
}

bool ReplyFramer::cut(size_t end, Cut *out) {
    out->len = static_cast<int32_t>(end);
    out->previous_partial = static_cast<int32_t>(carried_);
    out->data = static_cast<char *>(malloc(end + 1));
    if (out->data != nullptr) {
        memcpy(out->data, buf_, end);
        out->data[end] = '\0';
    }
    // Whatever follows the end in this burst is discarded, as are old bytes.
    len_ = 0;
    carried_ = 0;
    return true;
}

bool ReplyFramer::feed(const char *bytes, size_t n, Cut *out) {
    if (n > room()) n = room();
    burst_len_ += n;
    if (discarding_ || n == 0) return false;
    if (!reserve(n)) return false;  // out of memory: these bytes are lost
    size_t before = len_;
    memcpy(buf_ + len_, bytes, n);
    len_ += n;
    // Only a match that ends in the new bytes can be new.
    size_t from = before >= sizeof kOk - 2 ? before - (sizeof kOk - 2) : 0;
    long at = find(buf_, len_, kOk, from);
    if (at < 0) return false;
    // The first "\r\nOK\r\n" of the whole text: nothing earlier matched.
    discarding_ = true;
    return cut(static_cast<size_t>(at) + sizeof kOk - 1, out);
}

bool ReplyFramer::endBurst(const char *const *extended, size_t n_extended, Cut *out) {
    bool was_discarding = discarding_;
    discarding_ = false;
    burst_len_ = 0;
    if (was_discarding) return false;
    long end = findReplyEnd(buf_, len_, extended, n_extended);
    if (end >= 0) return cut(static_cast<size_t>(end), out);
    if (len_ > kPartialCap) {
        size_t drop = len_ - kPartialCap;
        memmove(buf_, buf_ + drop, kPartialCap);
        len_ = kPartialCap;
    }
    carried_ = len_;
    return false;
}

bool ReplyFramer::commandSent() {
    if (!discarding_) return false;
    discarding_ = false;
    burst_len_ = 0;
    return true;
}

void BurstTracer::handOver(const Cut &cut) {
    hand_over_(cut);
    handed_ = true;
}

void BurstTracer::noteReply(const Cut &cut) {
    replied_ = true;
    previous_ = cut.previous_partial;
    reply_len_ = cut.len;
}

void BurstTracer::read(const char *bytes, size_t n, bool command_sent) {
    // A burst that a new command ended is traced once the new bytes had their
    // chance to complete a reply, and before they are recorded.
    bool ended = command_sent && framer_.commandSent();
    if (n > framer_.room()) n = framer_.room();
    Cut cut;
    bool cut_now = framer_.feed(bytes, n, &cut);
    if (cut_now) handOver(cut);
    if (ended) {
        ended_ = true;
        writeTraces();
    }
    // Bounded here too: the text never holds more than one burst.
    n = std::min(n, sizeof text_ - 1 - len_);
    memcpy(text_ + len_, bytes, n);
    len_ += n;
    text_[len_] = '\0';
    if (cut_now) noteReply(cut);
    if (framer_.room() == 0) {
        endBurst();
        writeTraces();
    }
}

void BurstTracer::endBurst() {
    Cut cut;
    if (framer_.endBurst(extended_, n_extended_, &cut)) {
        handOver(cut);
        noteReply(cut);
    }
    ended_ = true;
}

void BurstTracer::writeTraces() {
    // A woken caller runs first: a system-log write can hold this CPU in the
    // kernel for milliseconds (the console, when no daemon listens).
    if (handed_ && logWanted(LOG_DEBUG)) sched_yield();
    handed_ = false;
    if (!ended_) return;
    ZEL_LOG(LOG_DEBUG, "Received native: -->'%d:%s'<---\n", static_cast<int>(len_), text_);
    if (replied_) {
        ZEL_LOG(LOG_DEBUG, "Received partial_len: -->'%d,%d' <---\n", previous_, reply_len_);
        ZEL_LOG(LOG_DEBUG, "Received data: -->'%d:%s'<---\n", reply_len_ - previous_, text_);
    } else {
        ZEL_LOG(LOG_DEBUG, "Received data: -->'%d:%s'<---\n", static_cast<int>(len_), text_);
        ZEL_LOG(LOG_DEBUG, "Received partial_len -->: -->'%d' <---\n", static_cast<int>(framer_.pending()));
    }
    len_ = 0;
    text_[0] = '\0';
    ended_ = replied_ = false;
}

}  // namespace zel

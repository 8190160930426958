// Reply framing over bytes: no sockets here. The receive thread feeds what it
// reads and tells when a burst ended; the framer hands out complete replies.
#ifndef ZEL_CORE_FRAMER_H
#define ZEL_CORE_FRAMER_H

#include <stddef.h>
#include <stdint.h>

namespace zel {

// End offset of the reply in text[0..len), or -1 when no final result code is
// there yet. Priority: the first "\r\nOK\r\n"; else the first "\r\nERROR\r\n";
// else the entries of `extended` in table order, the first entry found
// anywhere deciding: the reply ends after the first '\n' that follows the
// match, or right after the match when no '\n' follows yet.
long findReplyEnd(const char *text, size_t len, const char *const *extended, size_t n_extended);

// A complete reply cut from the stream: `len` bytes plus a zero byte, from
// malloc. `data` is NULL when the copy could not be allocated.
struct Cut {
    char *data;
    int32_t len;
    int32_t previous_partial;  // bytes carried over from earlier bursts
};

class ReplyFramer {
public:
    static constexpr size_t kBurstMax = 8192;
    // Carried-over text beyond this is dropped from its oldest end.
    static constexpr size_t kPartialCap = 256 * 1024;

    // Trivially destructible so that the process-wide framer needs no exit
    // handler while the receive thread may still run; release() frees.
    void release();

    // Adds bytes of the current burst (at most room()). Returns true and fills
    // `out` when the text now holds "\r\nOK\r\n": such a reply is complete at
    // once, and the rest of the burst is discarded. Returns false with `out`
    // untouched otherwise, and always while discarding.
    bool feed(const char *bytes, size_t n, Cut *out);

    // The burst ended (silence, a closed connection, or kBurstMax bytes).
    // Returns true and fills `out` when the text holds any final result code;
    // otherwise keeps the text to begin the next reply.
    bool endBurst(const char *const *extended, size_t n_extended, Cut *out);

    // A new command went out: bytes from now on begin its reply, even if they
    // follow the previous reply's burst without a pause. True when that ended
    // a burst (one whose reply was already cut).
    bool commandSent();

    size_t room() const { return kBurstMax - burst_len_; }
    bool inBurst() const { return burst_len_ > 0; }
    bool discarding() const { return discarding_; }
    size_t pending() const { return len_; }  // carried-over plus current burst bytes
    const char *pendingText() const { return buf_; }

private:
    bool reserve(size_t extra);
    bool cut(size_t end, Cut *out);

    char *buf_ = nullptr;  // carried-over text followed by the current burst
    size_t len_ = 0;
    size_t cap_ = 0;
    size_t carried_ = 0;    // length of the carried-over part
    size_t burst_len_ = 0;  // bytes seen in this burst, discarded ones included
    bool discarding_ = false;
};

// The receive thread's work on the bytes it reads: frames them with a
// ReplyFramer, hands each complete reply over at once, and writes a burst's
// traffic traces once the burst has ended and its reply has been handed over.
// A burst's text is kept whole: it never exceeds ReplyFramer::kBurstMax bytes.
class BurstTracer {
public:
    using HandOver = void (*)(const Cut &cut);
    // `extended` is read afresh at the end of every burst.
    BurstTracer(ReplyFramer &framer, const char *const *extended, size_t n_extended, HandOver hand_over)
        : framer_(framer), extended_(extended), n_extended_(n_extended), hand_over_(hand_over) {}

    // Bytes read (at most room() are taken). `command_sent`: a command went out
    // since the last read. Writes the traces of any burst this ended.
    void read(const char *bytes, size_t n, bool command_sent);
    // The current burst ended (silence, or the connection closed): hands over
    // its reply; its traces wait for writeTraces().
    void endBurst();
    void writeTraces();

    size_t room() const { return framer_.room(); }
    bool inBurst() const { return framer_.inBurst(); }

private:
    void handOver(const Cut &cut);
    void noteReply(const Cut &cut);

    ReplyFramer &framer_;
    const char *const *extended_;
    size_t n_extended_;
    HandOver hand_over_;
    char text_[ReplyFramer::kBurstMax + 1] = {};  // the burst, discarded bytes included
    size_t len_ = 0;
    bool ended_ = false, replied_ = false, handed_ = false;
    int32_t previous_ = 0, reply_len_ = 0;  // of the reply cut in this burst
};

}  // namespace zel

#endif

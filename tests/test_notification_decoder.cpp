// The notification decoder over literal and random byte messages, and the
// suppression of repeated states.
#include <gtest/gtest.h>

#include <stdarg.h>
#include <stdio.h>
#include <syslog.h>

#include <memory>
#include <random>
#include <string>
#include <vector>

#include "core/notification_decoder.h"

namespace {

using Bytes = std::vector<uint8_t>;

std::vector<std::string> g_lines;

void captureLog(int priority, const char *format, ...) {
    char text[512];
    va_list ap;
    va_start(ap, format);
    vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    g_lines.push_back(std::to_string(priority) + " " + text);
}

struct Decoded {
    Bytes bytes;  // the message, which URC records point into
    bool ok = false;
    std::vector<zelNotification> records;
    std::vector<std::string> log;
};

Decoded decode(Bytes bytes, size_t capacity = zel::kNotificationRecordsMax) {
    g_lines.clear();
    std::vector<zelNotification> out(capacity);
    size_t count = 0;
    Decoded d;
    d.bytes = std::move(bytes);
    d.ok = zel::decodeNotifications(d.bytes.data(), d.bytes.size(), out.data(), capacity, captureLog, &count);
    if (d.ok) d.records.assign(out.begin(), out.begin() + static_cast<long>(count));
    d.log = g_lines;
    return d;
}

Bytes cat(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes &p : parts) all.insert(all.end(), p.begin(), p.end());
    return all;
}

Bytes urc(const std::string &text) {
    uint32_t n = static_cast<uint32_t>(text.size());
    Bytes b = {4, uint8_t(n >> 24), uint8_t(n >> 16), uint8_t(n >> 8), uint8_t(n)};
    for (char c : text) b.push_back(uint8_t(c));
    return b;
}

std::string err(const std::string &text) { return std::to_string(LOG_ERR) + " " + text; }

std::string urcText(const zelNotification &n) { return std::string(n.payload.urc.data, n.payload.urc.length); }

TEST(NotificationDecoder, OneItemOfEveryType) {
    struct Case {
        Bytes bytes;
        uint32_t type;
        int value;  // one-byte types
    };
    const Case cases[] = {
        {{0, 0xC8}, 0, 0xC8}, {{1, 0x00}, 1, 0}, {{2, 0x2A}, 2, 1}, {{2, 0x00}, 2, 0},
        {{2, 0xFF}, 2, 1},    {{5, 0x07}, 5, 7}, {{6, 0xFF}, 6, 0xFF}, {{7, 0x03}, 7, 3},
    };
    for (const Case &c : cases) {
        Decoded d = decode(c.bytes);
        ASSERT_TRUE(d.ok) << int(c.bytes[0]);
        ASSERT_EQ(d.records.size(), 1u);
        EXPECT_EQ(d.records[0].type, c.type);
        EXPECT_EQ(d.records[0].payload.value, c.value) << "type " << c.type;
        EXPECT_TRUE(d.log.empty());
    }
    Decoded ota = decode({3, 90, 55});
    ASSERT_TRUE(ota.ok);
    EXPECT_EQ(ota.records[0].payload.ota.status, 90);
    EXPECT_EQ(ota.records[0].payload.ota.progress, 55);
}

TEST(NotificationDecoder, ItemsComeOutInMessageOrderAndUrcPointsIntoTheMessage) {
    const Bytes msg = cat({{2, 1}, {3, 100, 7}, urc("+CREG: 1"), {0, 4}, {7, 2}});
    std::vector<zelNotification> out(8);
    size_t count = 0;
    ASSERT_TRUE(zel::decodeNotifications(msg.data(), msg.size(), out.data(), out.size(), captureLog, &count));
    ASSERT_EQ(count, 5u);
    const uint32_t types[] = {2, 3, 4, 0, 7};
    for (size_t i = 0; i < count; ++i) EXPECT_EQ(out[i].type, types[i]) << i;
    EXPECT_EQ(out[1].payload.ota.status, 100);
    EXPECT_EQ(out[1].payload.ota.progress, 7);
    EXPECT_EQ(out[2].payload.urc.length, 8u);
    // Type byte, two bytes of SMS, three of OTA, then type and length of the URC.
    EXPECT_EQ(reinterpret_cast<const uint8_t *>(out[2].payload.urc.data), msg.data() + 2 + 3 + 5);
    EXPECT_EQ(urcText(out[2]), "+CREG: 1");
    EXPECT_EQ(out[3].payload.value, 4);
    EXPECT_EQ(out[4].payload.value, 2);
}

TEST(NotificationDecoder, UrcLengthIsBigEndianAndMayBeZero) {
    Decoded empty = decode(cat({{4, 0, 0, 0, 0}, {7, 9}}));
    ASSERT_TRUE(empty.ok);
    ASSERT_EQ(empty.records.size(), 2u);
    EXPECT_EQ(empty.records[0].payload.urc.length, 0u);
    EXPECT_EQ(empty.records[1].type, 7u);  // five bytes consumed by the empty URC

    std::string text(0x0102, 'u');
    Decoded big = decode(urc(text));
    ASSERT_TRUE(big.ok);
    EXPECT_EQ(big.records[0].payload.urc.length, 0x0102u);
    EXPECT_EQ(urcText(big.records[0]), text);
}

TEST(NotificationDecoder, AnyBadItemDropsTheWholeMessage) {
    const std::string build = err("Failed to build notification from payload");
    struct Case {
        const char *name;
        Bytes bytes;
        std::vector<std::string> log;
    };
    const Case cases[] = {
        {"unknown type alone", {8, 1}, {err("Invalid notification type: 8")}},
        {"unknown type second", {2, 1, 9, 0}, {err("Invalid notification type: 9")}},
        {"type 255 after a URC", cat({urc("x"), {255}}), {err("Invalid notification type: 255")}},
        {"type 0 short", {7, 1, 0}, {err("Invalid payload length for Network Mode Change Indication"), build}},
        {"type 1 short", {1}, {err("Invalid payload length for SIM Status Indication"), build}},
        {"type 2 short", {2}, {err("Invalid payload length for New SMS Message Indication"), build}},
        {"type 3 short", {3, 1}, {err("Invalid payload length for OTA Status Indication"), build}},
        {"type 3 empty", {0, 1, 3}, {err("Invalid payload length for OTA Status Indication"), build}},
        {"type 4 no length", {4, 0, 0, 0}, {err("Invalid payload length for URC Indication"), build}},
        {"type 4 short text", {4, 0, 0, 0, 5, 'a', 'b', 'c', 'd'}, {err("Length is not enough for URC data"), build}},
        {"type 4 huge length", {4, 0xFF, 0xFF, 0xFF, 0xFF, 'a'}, {err("Length is not enough for URC data"), build}},
        {"type 4 length in high byte", {4, 1, 0, 0, 0, 'a'}, {err("Length is not enough for URC data"), build}},
        {"type 5 short", {5}, {err("Invalid payload length for SIM Status Indication"), build}},
        {"type 6 short", {2, 1, 6}, {err("Invalid payload length for SIM Status Indication"), build}},
        {"type 7 short", {3, 1, 2, 7}, {err("Invalid payload length for wakeup Indication"), build}},
        {"empty message", {}, {}},
    };
    for (const Case &c : cases) {
        Decoded d = decode(c.bytes);
        EXPECT_FALSE(d.ok) << c.name;
        EXPECT_EQ(d.log, c.log) << c.name;
    }
}

TEST(NotificationDecoder, UrcTextMayEndExactlyAtTheEnd) {
    Decoded d = decode({4, 0, 0, 0, 3, 'a', 'b', 'c'});
    ASSERT_TRUE(d.ok);
    EXPECT_EQ(urcText(d.records[0]), "abc");
    EXPECT_FALSE(decode({4, 0, 0, 0, 3, 'a', 'b', 'c', 'd'}).ok);  // one stray byte is a bad type byte
}

TEST(NotificationDecoder, RunningOutOfRecordsDropsTheMessage) {
    const Bytes three = {7, 1, 7, 2, 7, 3};
    Decoded full = decode(three, 3);
    ASSERT_TRUE(full.ok);
    EXPECT_EQ(full.records.size(), 3u);
    Decoded short_of_room = decode(three, 2);
    EXPECT_FALSE(short_of_room.ok);
    EXPECT_EQ(short_of_room.log, std::vector<std::string>{err("Failed to allocate memory for notification")});
}

TEST(NotificationDecoder, LargestMessages) {
    Bytes wakes;
    for (size_t i = 0; i < zel::kNotificationMessageMax / 2; ++i) wakes.insert(wakes.end(), {7, uint8_t(i)});
    ASSERT_EQ(wakes.size(), zel::kNotificationMessageMax);
    Decoded d = decode(wakes);
    ASSERT_TRUE(d.ok);
    ASSERT_EQ(d.records.size(), zel::kNotificationRecordsMax);
    EXPECT_EQ(d.records.back().payload.value, uint8_t(zel::kNotificationRecordsMax - 1));

    std::string text(zel::kNotificationMessageMax - 5, 'z');
    Decoded one = decode(urc(text));
    ASSERT_TRUE(one.ok);
    EXPECT_EQ(one.records[0].payload.urc.length, text.size());

    wakes[wakes.size() - 2] = 3;  // the last item now lacks its second OTA byte
    EXPECT_FALSE(decode(wakes).ok);
}

// Encodes records back to bytes; `normalised` marks the bytes of type 2
// payloads, which the decoder reduces to 0 or 1.
Bytes encode(const std::vector<zelNotification> &records, std::vector<bool> *normalised) {
    Bytes b;
    for (const zelNotification &n : records) {
        b.push_back(uint8_t(n.type));
        normalised->push_back(false);
        if (n.type == 3) {
            b.insert(b.end(), {n.payload.ota.status, n.payload.ota.progress});
            normalised->insert(normalised->end(), {false, false});
        } else if (n.type == 4) {
            Bytes u = urc(urcText(n));
            b.insert(b.end(), u.begin() + 1, u.end());
            normalised->insert(normalised->end(), u.size() - 1, false);
        } else {
            b.push_back(n.payload.value);
            normalised->push_back(n.type == 2);
        }
    }
    return b;
}

// A message of `items` random well-formed items.
Bytes randomMessage(std::mt19937 &rng, int items) {
    Bytes msg;
    for (int i = 0; i < items; ++i) {
        uint8_t type = uint8_t(rng() % 8);
        if (type == 4) {
            Bytes u = urc(std::string(rng() % 12, char('a' + rng() % 26)));
            msg.insert(msg.end(), u.begin(), u.end());
        } else {
            msg.push_back(type);
            msg.push_back(uint8_t(rng()));
            if (type == 3) msg.push_back(uint8_t(rng()));
        }
    }
    return msg;
}

TEST(NotificationDecoder, RandomMessagesDecodeToWhatTheyHoldOrFailWithAReason) {
    std::mt19937 rng(20240611);
    int decoded = 0, refused = 0;
    for (int round = 0; round < 20000; ++round) {
        Bytes msg = randomMessage(rng, 1 + int(rng() % 6));
        bool damaged = rng() % 2;
        if (damaged) {
            switch (rng() % 3) {
                case 0: msg[rng() % msg.size()] = uint8_t(rng()); break;
                case 1: msg.resize(rng() % msg.size()); break;
                default: msg.push_back(uint8_t(rng())); break;
            }
        }
        Decoded d = decode(msg, msg.size() / 2 + 1);
        if (!d.ok) {
            EXPECT_TRUE(damaged) << "round " << round;
            EXPECT_TRUE(msg.empty() || !d.log.empty());
            ++refused;
            continue;
        }
        ++decoded;
        for (const zelNotification &n : d.records) {
            if (n.type != 4) continue;
            const uint8_t *text = reinterpret_cast<const uint8_t *>(n.payload.urc.data);
            EXPECT_TRUE(text >= d.bytes.data() && text + n.payload.urc.length <= d.bytes.data() + d.bytes.size());
        }
        std::vector<bool> normalised;
        Bytes again = encode(d.records, &normalised);
        ASSERT_EQ(again.size(), msg.size());
        for (size_t i = 0; i < msg.size(); ++i) {
            if (normalised[i]) EXPECT_EQ(again[i], msg[i] != 0 ? 1 : 0);
            else EXPECT_EQ(again[i], msg[i]) << "byte " << i;
        }
    }
    EXPECT_GT(decoded, 10000);
    EXPECT_GT(refused, 3000);
}

TEST(NotificationDecoder, ArbitraryBytesNeverReadPastTheMessage) {
    // Exact-size heap copies let the sanitizers see any stray read.
    std::mt19937 rng(7);
    for (int round = 0; round < 20000; ++round) {
        size_t n = 1 + rng() % 40;
        std::unique_ptr<uint8_t[]> msg(new uint8_t[n]);
        for (size_t i = 0; i < n; ++i) msg[i] = uint8_t(rng() % 3 ? rng() % 9 : rng());
        std::vector<zelNotification> out(n / 2 + 1);
        size_t count = 0;
        if (zel::decodeNotifications(msg.get(), n, out.data(), out.size(), nullptr, &count)) {
            EXPECT_GE(count, 1u);
            EXPECT_LE(count, n / 2);
        }
    }
}

TEST(DuplicateFilter, StateTypesPassOnlyOnChangeFromTheirInitialValues) {
    struct Step {
        uint32_t type;
        uint8_t value;
        bool delivered;
    };
    const std::vector<std::vector<Step>> sequences = {
        {{0, 9, false}, {0, 3, true}, {0, 3, false}, {0, 9, true}},
        {{1, 5, false}, {1, 1, true}, {1, 1, false}, {1, 5, true}},
        {{5, 0, false}, {5, 7, true}, {5, 0, true}, {5, 0, false}},
        {{6, 5, false}, {6, 200, true}, {6, 200, false}, {6, 4, true}, {6, 200, true}},
        // Each type keeps its own last value.
        {{0, 5, true}, {6, 5, false}, {1, 0, true}, {5, 5, true}, {0, 5, false}, {6, 0, true}},
        // The other types always pass, repeated or not.
        {{2, 1, true}, {2, 1, true}, {7, 3, true}, {7, 3, true}, {3, 0, true}, {4, 0, true}, {4, 0, true}},
    };
    for (size_t s = 0; s < sequences.size(); ++s) {
        zel::DuplicateFilter filter;
        for (size_t i = 0; i < sequences[s].size(); ++i) {
            const Step &step = sequences[s][i];
            zelNotification n{};
            n.type = step.type;
            n.payload.value = step.value;
            EXPECT_EQ(filter.admit(n), step.delivered) << "sequence " << s << " step " << i;
        }
    }
}

}  // namespace

// The notification decoder over literal messages, and the suppression of
// repeated states.
#include <gtest/gtest.h>

#include <stdarg.h>
#include <string.h>
#include <syslog.h>

#include <memory>
#include <tuple>

#include "core/notification_decoder.h"

namespace {

using Bytes = std::vector<uint8_t>;
using S = std::string;

std::vector<S> g_lines;

void captureLog(int priority, const char *format, ...) {
    char text[512];
    va_list ap;
    va_start(ap, format);
    vsnprintf(text, sizeof text, format, ap);
    va_end(ap);
    g_lines.push_back(std::to_string(priority) + " " + text);
}

S err(const S &text) { return std::to_string(LOG_ERR) + " " + text; }

// Records as "type:value", "3:status/progress" or "4@offset:text", where the
// offset is where the URC text sits in the message.
S render(const zelNotification *records, size_t count, const uint8_t *message) {
    S s;
    for (size_t i = 0; i < count; ++i) {
        const auto &n = records[i];
        const auto &p = n.payload;
        s += (i ? " " : "") + std::to_string(n.type);
        if (n.type == NOTIFICATION_OTA_STATUS)
            s += ":" + std::to_string(p.ota.status) + "/" + std::to_string(p.ota.progress);
        else if (n.type != NOTIFICATION_URC)
            s += ":" + std::to_string(p.value);
        else
            s += "@" + std::to_string(reinterpret_cast<const uint8_t *>(p.urc.data) - message) + ":" +
                 S(p.urc.data, p.urc.length);
    }
    return s;
}

// Decodes an exact-size heap copy, so the sanitizers see any stray read:
// the records rendered, or "refused" with the reasons in g_lines.
S decode(const Bytes &bytes, size_t capacity = zel::kNotificationRecordsMax) {
    g_lines.clear();
    std::unique_ptr<uint8_t[]> msg(new uint8_t[bytes.size()]);
    if (!bytes.empty()) memcpy(msg.get(), bytes.data(), bytes.size());
    std::vector<zelNotification> out(capacity);
    size_t count = 0;
    if (!zel::decodeNotifications(msg.get(), bytes.size(), out.data(), capacity, captureLog, &count)) return "refused";
    return render(out.data(), count, msg.get());
}

// A URC item holding `text`, between the bytes `before` and `after`.
Bytes urc(const S &text, Bytes before = {}, const Bytes &after = {}) {
    uint32_t n = static_cast<uint32_t>(text.size());
    before.insert(before.end(), {4, uint8_t(n >> 24), uint8_t(n >> 16), uint8_t(n >> 8), uint8_t(n)});
    for (char c : text) before.push_back(uint8_t(c));
    before.insert(before.end(), after.begin(), after.end());
    return before;
}

TEST(NotificationDecoder, WellFormedMessagesDecodeInOrder) {
    const struct { Bytes bytes; S records; } cases[] = {
        {{0, 0xC8, 1, 0, 5, 7, 6, 0xFF, 7, 3}, "0:200 1:0 5:7 6:255 7:3"},
        {{2, 0x2A, 2, 0, 2, 0xFF}, "2:1 2:0 2:1"},  // SMS flag normalised
        {urc("+CREG: 1", {2, 1, 3, 100, 7}, {0, 4, 7, 2}), "2:1 3:100/7 4@10:+CREG: 1 0:4 7:2"},
        {{4, 0, 0, 0, 0, 7, 9}, "4@5: 7:9"},  // an empty URC uses just its length field
        {{4, 0, 0, 0, 3, 'a', 'b', 'c'}, "4@5:abc"},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(decode(c.bytes), c.records);
        EXPECT_TRUE(g_lines.empty()) << c.records;
    }
}

TEST(NotificationDecoder, AnyBadItemDropsTheWholeMessage) {
    const S kType = "Invalid notification type: ", kLen = "Invalid payload length for ",
            kUrc = "Length is not enough for URC data";
    const struct { Bytes bytes; S reason; bool payload; } cases[] = {
        {{8, 1}, kType + "8", false}, {{2, 1, 9, 0}, kType + "9", false}, {urc("x", {}, {255}), kType + "255", false},
        {{4, 0, 0, 0, 3, 'a', 'b', 'c', 'd'}, kType + "100", false},
        {{7, 1, 0}, kLen + "Network Mode Change Indication", true}, {{1}, kLen + "SIM Status Indication", true},
        {{2}, kLen + "New SMS Message Indication", true}, {{3, 1}, kLen + "OTA Status Indication", true},
        {{0, 1, 3}, kLen + "OTA Status Indication", true}, {{4, 0, 0, 0}, kLen + "URC Indication", true},
        {{4, 0, 0, 0, 5, 'a', 'b', 'c', 'd'}, kUrc, true}, {{4, 0xFF, 0xFF, 0xFF, 0xFF, 'a'}, kUrc, true},
        {{4, 1, 0, 0, 0, 'a'}, kUrc, true}, {{5}, kLen + "SIM Status Indication", true},
        {{2, 1, 6}, kLen + "SIM Status Indication", true}, {{3, 1, 2, 7}, kLen + "wakeup Indication", true},
    };
    for (const auto &c : cases) {
        EXPECT_EQ(decode(c.bytes), "refused") << testing::PrintToString(c.bytes);
        std::vector<S> log{err(c.reason)};
        if (c.payload) log.push_back(err("Failed to build notification from payload"));
        EXPECT_EQ(g_lines, log);
    }
    EXPECT_EQ(decode({}), "refused");
    EXPECT_TRUE(g_lines.empty());
    EXPECT_EQ(decode({7, 1, 7, 2, 7, 3}, 3), "7:1 7:2 7:3");
    EXPECT_EQ(decode({7, 1, 7, 2, 7, 3}, 2), "refused");
    EXPECT_EQ(g_lines, std::vector<S>{err("Failed to allocate memory for notification")});
}

TEST(NotificationDecoder, LargestMessages) {
    Bytes wakes;
    S records;
    for (size_t i = 0; i < 65600 / 2; ++i) {
        wakes.insert(wakes.end(), {7, uint8_t(i)});
        records += (i ? " 7:" : "7:") + std::to_string(uint8_t(i));
    }
    EXPECT_EQ(decode(wakes), records);
    const S text(zel::kNotificationMessageMax - 5, 'z');
    EXPECT_EQ(decode(urc(text)), "4@5:" + text);  // a length field of 0x0001003B
}

TEST(DuplicateFilter, StateTypesPassOnlyOnChangeFromTheirInitialValues) {
    // Steps of (type, value, delivered); each sequence starts a fresh filter.
    const std::vector<std::vector<std::tuple<uint32_t, uint8_t, bool>>> sequences = {
        {{0, 9, false}, {0, 3, true}, {0, 3, false}, {0, 9, true}},
        {{1, 5, false}, {1, 1, true}, {1, 1, false}, {1, 5, true}},
        {{5, 0, false}, {5, 7, true}, {5, 0, true}, {5, 0, false}},
        {{6, 5, false}, {6, 200, true}, {6, 200, false}, {6, 4, true}},
        {{0, 5, true}, {6, 5, false}, {1, 0, true}, {5, 5, true}, {0, 5, false}, {6, 0, true}},  // each its own
        {{2, 1, true}, {2, 1, true}, {7, 3, true}, {7, 3, true}, {3, 0, true}, {4, 0, true}, {4, 0, true}},
    };
    for (const auto &seq : sequences) {
        zel::DuplicateFilter filter;
        for (const auto &[type, value, delivered] : seq) {
            zelNotification n{};
            n.type = type;
            n.payload.value = value;
            EXPECT_EQ(filter.admit(n), delivered) << "sequence " << (&seq - &sequences[0]) << " type " << type;
        }
    }
}

}  // namespace

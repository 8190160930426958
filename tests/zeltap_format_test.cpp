// zeltap's file as zelsim reads it: secrets masked so that the replay still
// matches the real command, and every byte of a recording (control bytes,
// quotes, bytes above 0x7E, a NUL) read back exactly; a file cut short is refused.
#include <gtest/gtest.h>

#include "recording.h"
#include "replay.h"
#include "scenario.h"

namespace {

TEST(ZeltapFormat, SecretsAreMaskedAndStillMatch) {
    struct Row {
        std::string line, written;
    };
    const Row rows[] = {
        {"AT+CPIN=\"1234\"", "AT+CPIN=<masked>"},
        {"AT+CPIN=12345678,\"4321\"", "AT+CPIN=<masked>,<masked>"},
        {"at+clck=\"SC\",1,\"1234\",7", "at+clck=\"SC\",1,<masked>,7"},
        {"AT+CPWD=\"SC\",\"1,2\",\"5678\"", "AT+CPWD=\"SC\",<masked>,<masked>"},  // a comma inside quotes
        {"AT+VANTORREG=user,secret,token", "AT+VANTORREG=<masked>,<masked>,<masked>"},
        {"AT+CPIN?", "AT+CPIN?"},
        {"AT+CLCK=\"SC\",2", "AT+CLCK=\"SC\",2"},
        {"AT+CSQ", "AT+CSQ"},
    };
    for (const Row &row : rows) {
        SCOPED_TRACE(row.line);
        EXPECT_EQ(row.written, zeltap::maskSecrets(row.line));
        EXPECT_TRUE(zelsim::matchesMasked(row.written, row.line));
    }
}

TEST(ZeltapFormat, EveryByteReadsBack) {
    std::string all;
    for (int c = 0; c < 256; ++c) all += static_cast<char>(c);
    const std::string texts[] = {"\r\n+CSQ: 7,99\r\n\r\nOK\r\n", "say \"hi\" \\ done", std::string("\x01\x1A\x1B\x7F\0z", 6),
                                 "caf\xC3\xA9", all, ""};
    zeltap::Recording r;
    r.started = r.stopped = "2026-01-01T00:00:00Z";
    using Event = zeltap::Event;
    for (const std::string &t : texts) {
        r.exchanges.push_back({5, false, false, "AT+X=\"" + t.substr(0, 8) + "\"", {{0, t}, {250, "\r\nOK\r\n"}}});
        r.events.push_back({Event::Kind::Notify, 7, 2, 40, t});
    }
    r.exchanges.push_back({9, true, true, "hello\x1A", {{1200, "\r\n+CMGS: 3\r\n"}}});
    r.exchanges.push_back({9, true, false, "AT+CMGS=\"+15550123\"", {}});
    r.events.push_back({Event::Kind::IpChange, 8, 1, 0, "ip_change cid=1 ip=10.0.0.2"});
    r.events.push_back({Event::Kind::Unsolicited, 9, 3, 5, "\r\n+CREG: 1\r\n"});

    const std::string yaml = zeltap::toYaml(r);
    zelsim::Scenario s = zelsim::parseScenario(yaml);
    ASSERT_EQ(r.exchanges.size(), s.exchanges.size());
    for (size_t i = 0; i < s.exchanges.size(); ++i) {
        SCOPED_TRACE(i);
        const zeltap::Exchange &w = r.exchanges[i];
        const zelsim::Exchange &got = s.exchanges[i];
        using L = zelsim::Exchange::Link;
        EXPECT_EQ(w.body ? L::Body : w.port ? L::Port : L::Command, got.link);
        EXPECT_EQ(w.text, got.text);
        EXPECT_EQ(w.reply, got.reply);
    }
    ASSERT_EQ(r.events.size(), s.events.size());
    // zelsim orders events by time; these were written in time order.
    for (size_t i = 0; i < s.events.size(); ++i) {
        SCOPED_TRACE(i);
        using K = zelsim::Action::Kind;
        const Event &w = r.events[i];
        EXPECT_EQ(w.kind == Event::Kind::Notify ? K::Notify : w.kind == Event::Kind::IpChange ? K::IpChange : K::Unsolicited,
                  s.events[i].action.kind);
        EXPECT_EQ(w.bytes, s.events[i].action.text);
        EXPECT_EQ(w.at, s.events[i].at);
        EXPECT_EQ(w.client, s.events[i].client);
        EXPECT_EQ(w.after, s.events[i].after);
    }
    // Without its closing line the file was cut short.
    const std::string cut = yaml.substr(0, yaml.rfind("end: true"));
    EXPECT_THROW(zelsim::parseScenario(cut), zelsim::ScenarioError);
}

}  // namespace

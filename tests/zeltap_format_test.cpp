// zeltap's file as zelsim reads it: secrets masked so that the replay still
// matches the real command, and every byte of a recording (control bytes,
// quotes, bytes above 0x7E, a NUL) read back exactly; a file cut short is
// refused. --redact on the simulator's own replies: no planted value is
// left, fakes are consistent and well formed, the file still reads.
#include <gtest/gtest.h>

#include <regex>

#include "recording.h"
#include "redact.h"
#include "replay.h"
#include "scenario.h"

namespace {

using zelsim::Ms;

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

// The NMEA sentence's checksum is right.
bool checksumOk(const std::string &s) {
    size_t star = s.find('*');
    unsigned sum = 0;
    for (size_t i = 1; i < star; ++i) sum ^= static_cast<unsigned char>(s[i]);
    return star != std::string::npos && std::strtoul(s.substr(star + 1, 2).c_str(), nullptr, 16) == sum;
}

TEST(ZeltapFormat, RedactedLeavesNoPlantedValue) {
    zelsim::Modem m;
    const std::pair<const char *, const char *> planted[] = {
        {"imei", "868000012345675"}, {"iccid", "89860012345678901234"}, {"imsi", "460990123456789"},
        {"msisdn", "+15557654321"},  {"cell_id", "12345678"},           {"lat", "48.2"}, {"lon", "16.37"}, {"ttff", "0"}, {"tac", "51234"}};
    for (const auto &p : planted) ASSERT_TRUE(m.setParam(p.first, p.second)) << p.first;
    m.receiveSms("+15550199", "Planted secret text\r\nover two lines", 0);
    zeltap::Recording r;
    Ms now = 0;
    for (const char *c : {"ATI", "AT+IMEI?", "AT+CGSN", "AT+CIMI", "AT+ICCID", "AT+CNUM", "AT+CEREG=2", "AT+CEREG?",
                          "AT+CMODEMINFO?", "AT+CMGF=1", "AT+CMGL=\"ALL\"", "AT+CMGF=0", "AT+CMGL=4", "AT+CGPS=1"}) {
        std::string reply = m.handle(c, now += 10).reply;
        r.exchanges.push_back({now, false, false, c, {{0, reply.substr(0, reply.size() / 2)}, {5, reply.substr(reply.size() / 2)}}});
    }
    for (const char *c : {"AT+CGPSGPOS=3", "AT+CGPSGPOS=3", "AT+CGPSGLAT", "AT+CMGS=\"+15550199\""})
        r.exchanges.push_back({now, false, false, c, {{0, m.handle(c, now += 1000).reply}}});
    ASSERT_TRUE(m.setParam("rat", "gsm"));
    for (const char *c : {"AT+CREG?", "AT+CMODEMINFO?", "AT+CNBRCELL=1"})
        r.exchanges.push_back({now, false, false, c, {{0, m.handle(c, now += 10).reply}}});
    r.events.push_back({zeltap::Event::Kind::Unsolicited, now, 1, 0, "\r\n+CLIP: \"+15550199\",145\r\n"});
    zeltap::redact(&r);
    const std::string yaml = zeltap::toYaml(r);

    // Each as the replies wrote it; the ICCID also digit-swapped, as the SIM file holds it; the
    // cell identity also in hex; the area code in hex and decimal, a neighbour's cell (0x4D60);
    // the position as the sentences and as degrees.
    for (const std::string real : {"868000012345675", "89860012345678901234", "98680021436587092143", "460990123456789",
                                    "15557654321", "15550199", "Planted secret", "over two lines", "12345678", "00BC614E",
                                   "\"C822\"", ",51234,", "19808", "4812.0", "01622.2", "48.2"})
        EXPECT_EQ(std::string::npos, yaml.find(real)) << real << " is left in\n" << yaml;
    EXPECT_NE(std::string::npos, yaml.find("redacted: [cell_ids, iccid, imei, imsi, message_texts, own_number, phone_numbers, positions]"))
        << yaml;

    zelsim::Scenario s = zelsim::parseScenario(yaml);
    auto reply = [&s](size_t i) {
        std::string whole;
        for (const auto &b : s.exchanges[i].reply) whole += b.second;
        return whole;
    };
    // One fake IMEI for ATI, AT+IMEI? and AT+CGSN: 15 digits, a valid check digit.
    std::smatch imei;
    const std::string cgsn = reply(2);
    ASSERT_TRUE(std::regex_search(cgsn, imei, std::regex("\r\n(\\d{15})\r\n")));
    EXPECT_TRUE(zeltap::luhnValid(imei[1]));
    EXPECT_NE(std::string::npos, reply(0).find("IMEI: " + imei[1].str()));
    EXPECT_NE(std::string::npos, reply(1).find("+IMEI: " + imei[1].str()));
    // The sender's fake is the same in the listing, the later command and the pushed text.
    std::smatch sender;
    const std::string listing = reply(10);
    ASSERT_TRUE(std::regex_search(listing, sender, std::regex("\"(\\+\\d{8})\""))) << listing;
    EXPECT_NE(std::string::npos, s.exchanges[17].text.find(sender[1].str()));  // AT+CMGS
    EXPECT_NE(std::string::npos, yaml.find("+CLIP: \\\"" + sender[1].str()));
    // PDU mode: the header's length is the rebuilt PDU's, after its service-centre octet.
    std::smatch pdu;
    const std::string pdus = reply(12);
    ASSERT_TRUE(std::regex_search(pdus, pdu, std::regex("\\+CMGL: 1,\\d,,(\\d+)\r\n([0-9A-F]+)\r\n"))) << pdus;
    EXPECT_EQ(std::stoul(pdu[1]) * 2 + 2, pdu[2].length());
    // Positions: well-formed sentences, moved.
    const std::string gpos = reply(14);
    for (const std::string &line : {gpos.substr(2, gpos.find("\r\n", 2) - 2)}) EXPECT_TRUE(checksumOk(line)) << line;
    EXPECT_NE(std::string::npos, gpos.find(",45")) << gpos;  // the first fix moves to 45 N
}

}  // namespace

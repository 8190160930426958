// The simulator's modem model, modem port dialogue and scenario reader, as
// tables over bytes: no sockets.
#include <gtest/gtest.h>

#include "pdu.h"
#include "port.h"
#include "replay.h"
#include "scenario.h"

namespace {

using namespace zelsim;

// One command and the exact reply; a reply starting with "~" is a regular
// expression. The modem's state runs on from row to row.
struct Step {
    const char *command;
    std::string reply;
    std::string event = "";  // bytes of the first event, if one is expected
};

void run(Modem &m, const std::vector<Step> &steps) {
    for (const Step &s : steps) {
        SCOPED_TRACE(s.command);
        Outcome o = m.handle(s.command, m.now);
        if (s.reply[0] == '~') EXPECT_TRUE(std::regex_match(o.reply, std::regex(s.reply.substr(1)))) << escaped(o.reply);
        else EXPECT_EQ(escaped(s.reply), escaped(o.reply));
        EXPECT_EQ(s.event, o.events.empty() ? "" : o.events[0].bytes);
    }
}

std::string ok(const std::string &body = "") { return okReply(body); }

TEST(ZelsimModel, IdentityRegistrationAndPacketData) {
    Modem m;
    run(m, {
        {"AT+CGMI", ok("ZELTO")},
        {"at+cgmm", ok("ZM200")},
        {"AT+ICCID", ok("+ICCID: 89860012345678901234")},
        {"AT+CRC=1", ok()},
        {"AT+CRC?", ok("+CRC: 1")},
        {"AT+CRC=x", "\r\n+CME ERROR: 50\r\n"},
        {"AT+CMEE=2", ok()},
        {"AT+CRC=x", "\r\n+CME ERROR: 50\r\n"},
        {"AT+BOGUS", "\r\nERROR\r\n"},
        {"AT+CSQ", R"(~\r\n\+CSQ: (1[89]|2[0-6]),99\r\n\r\nOK\r\n)"},
        {"AT+CREG=2", ok()},
        {"AT+CREG?", ok("+CREG: 2,1,\"1A2B\",\"01A2B3C4\",7")},
        {"AT+COPS?", ok("+COPS: 0,0,\"Zelto Net\",7")},
        {"AT+CGDCONT=2,\"IP\",\"iot\"", ok()},
        {"AT+CGACT=1,2", ok(), "ip_change cid=2 if=rmnet_data1 ip=10.64.2.11"},
        {"AT+CGPADDR=2", ok("+CGPADDR: 2,\"10.64.2.11\"")},
        {"AT+CGACT?", ok("+CGACT: 1,0\r\n+CGACT: 2,1")},
        {"AT+CFUN=4", ok()},
        {"AT+CSQ", ok("+CSQ: 99,99")},
        {"AT+CGACT=1,2", "\r\n+CME ERROR: no network service\r\n"},
        {"AT+COPS?", ok("+COPS: 0")},
        {"AT+CNBRCELL=1", ok()},
        {"AT&F", ok()},
        {"AT+CRC?", ok("+CRC: 0")},
        {"AT+CIPSHUT", "\r\nSHUT OK\r\n\r\nOK\r\n"},
    });
    EXPECT_FALSE(m.handle("AT+BOGUS", 0).known);
    EXPECT_FALSE(m.setParam("plmn", "460"));  // the cell records read MCC and MNC from it
    EXPECT_EQ(3000, m.handle("AT+COPS=?", 0).delay_ms);
}

TEST(ZelsimModel, PinAndPukCounters) {
    Modem m;
    ASSERT_TRUE(m.setParam("pin_enabled", "true"));
    std::string wrong = "\r\n+CME ERROR: 16\r\n";
    run(m, {
        {"AT+CPIN?", ok("+CPIN: SIM PIN")},
        {"AT+CIMI", "\r\n+CME ERROR: 11\r\n"},
        {"AT+CPIN=0000,\"\"", wrong},
        {"AT+CPIN=0000,\"\"", wrong},
        {"AT+CPINR?", ok("+CPINR: SIM PIN,1,3\r\n+CPINR: SIM PUK,10,10")},
        {"AT+CPIN?", ok("+CPIN: SIM PIN")},  // two wrong tries do not block it
        {"AT+CPIN=0000,\"\"", wrong},
        {"AT+CPIN?", ok("+CPIN: SIM PUK")},
        {"AT+CPIN=1234,\"\"", wrong},  // the PIN no longer helps
        {"AT+CPIN=12345678,\"4321\"", ok()},
        {"AT+CPIN?", ok("+CPIN: READY")},
        {"AT+CIMI", ok("460990123456789")},
        {"AT+CLCK=SC,1,\"4321\",1", ok()},
        {"AT+CLCK=SC,2,\"\",1", ok("+CLCK: 1")},
    });
}

TEST(ZelsimModel, MessagesStoredListedAndSentOverThePort) {
    Modem m;
    EXPECT_EQ(std::string("\x02\x01", 2), m.receiveSms("+15550123", "hello", 0).events.at(0).bytes);
    m.sms[0].time = "24/05/01,12:30:00+00";
    std::vector<Outcome> out;
    PortSession port(m, [&m](const std::string &line) { return m.handle(line, 0); });
    auto say = [&port](const std::string &bytes) {
        std::string all;
        for (const Outcome &o : port.feed(bytes.data(), bytes.size())) all += o.reply;
        return all;
    };
    // The library's own PDU for 9876543210 and "Hi", then text mode.
    EXPECT_EQ("\r\n> ", say("AT+CMGS=17\r\n"));
    EXPECT_EQ(ok("+CMGS: 1"), say("0001000C9119896745230100080400480069\x1a"));
    EXPECT_EQ(ok() + "\r\n> ", say("AT+CMGF=1\r\nAT+CMGS=\"+15550100\"\r\n"));
    EXPECT_EQ(ok(), say("never mind\x1b"));
    EXPECT_EQ("\r\n> " + ok("+CMGS: 2"), say("AT+CMGS=\"+15550100\"\r\nsee you\x1a"));
    run(m, {
        {"AT+CMGL=\"ALL\"", ok("+CMGL: 1,\"REC UNREAD\",\"+15550123\",,\"24/05/01,12:30:00+00\"\r\nhello\r\n"
                              "+CMGL: 2,\"STO SENT\",\"+919876543210\",,\r\nHi\r\n"
                              "+CMGL: 3,\"STO SENT\",\"+15550100\",,\r\nsee you")},
        {"AT+CMGL=\"REC UNREAD\"", ok()},  // listing marked it read
        {"AT+CMGF=0", ok()},
        {"AT+CMGR=2", ok("+CMGR: 3,,17\r\n0001000C9119896745230100080400480069")},
        {"AT+CMGD=1,3,", ok()},
        {"AT+CMGR=1", "\r\n+CMS ERROR: 321\r\n"},
        {"AT+CPMS?", ok("+CPMS: \"SM\",0,50,\"SM\",0,50,\"SM\",0,50")},
    });
    m.cfun = 0;
    EXPECT_EQ("\r\n> \r\n+CMS ERROR: 331\r\n", say("AT+CMGF=1\r\nAT+CMGS=\"1\"\r\nx\x1a").substr(6));
}

TEST(ZelsimModel, FirmwareUpdateStepsNotifyOverTime) {
    Modem m;
    run(m, {{"AT+OTA=INSTALL", "\r\nERROR\r\n"}, {"AT+OTA=CHECK,http://fw", ok(), std::string("\x03\x02\0", 3)}});
    m.now = 1000;
    Outcome d = m.handle("AT+OTA=DOWNLOAD,http://fw", m.now);
    ASSERT_EQ(6u, d.events.size());
    EXPECT_EQ("\x03\x12\x28", d.events[2].bytes);  // 18 at 40 %
    EXPECT_EQ(m.ota_download_ms * 2 / 5, d.events[2].delay_ms);
    EXPECT_EQ("\x03\x13\x64", d.events[5].bytes);
    m.now += 1500;
    run(m, {{"AT+OTA=GET_PROGRESS", ok("+OTA=GET_PROGRESS,50")}, {"AT+OTA=STATUS", ok()}});
}

TEST(ZelsimModel, HexRecordsFollowTheSignal) {
    Modem m;
    for (Ms t : {0, 13000, 41000}) {
        m.now = t;
        std::string ss, band, cell;
        ASSERT_TRUE(fromHex(m.handle("AT+CMODEMSS?", t).reply.substr(2, 116), &ss));
        ASSERT_TRUE(fromHex(m.handle("AT+CMODEMBAND?", t).reply.substr(2, 12), &band));
        ASSERT_TRUE(fromHex(m.handle("AT+CMODEMCL?", t).reply.substr(2, 58), &cell));
        auto be32 = [](const std::string &b, size_t at) {
            return int32_t(uint32_t(uint8_t(b[at])) << 24 | uint32_t(uint8_t(b[at + 1])) << 16 |
                           uint32_t(uint8_t(b[at + 2])) << 8 | uint8_t(b[at + 3]));
        };
        EXPECT_EQ(m.rssiDbm(), be32(ss, 42));
        EXPECT_EQ(m.rsrp(), be32(cell, 21));
        EXPECT_EQ(1850, uint8_t(band[2]) << 8 | uint8_t(band[3]));
        EXPECT_EQ(-1, int8_t(cell[10]));
        std::string csq = m.handle("AT+CSQ", t).reply;
        EXPECT_EQ(m.csq(), std::stoi(csq.substr(csq.find(' ') + 1))) << t;
    }
}

TEST(ZelsimScenario, ReadsEventsFaultsAndSettings) {
    Scenario s = parseScenario(R"(
modem: {signal: 9, pin_enabled: true, sms: [{from: "+1", text: hi}]}
events:
  - {at: 2s, ip_change: "ip_change cid=1"}
  - {at: 500ms, notify: [{type: new_sms, value: 1}, {type: ota_status, status: 95, progress: 40}, {type: urc, text: "+X"}]}
  - {at: 3, restart: 1.5}
faults:
  - {on: "AT\\+CSQ", cme_error: 10, count: 1}
  - {on: "AT\\+CGMI", chunk: 3, pause: 100ms, delay: 1s}
)");
    ASSERT_EQ(3u, s.events.size());
    EXPECT_EQ(500, s.events[0].at);
    EXPECT_EQ(std::string("\x02\x01\x03\x5f\x28\x04\0\0\0\x02+X", 12), s.events[0].action.text);
    EXPECT_EQ(Action::Kind::Restart, s.events[2].action.kind);
    EXPECT_EQ(1500, s.events[2].action.duration);
    EXPECT_EQ((Params{{"signal", "9"}, {"pin_enabled", "true"}}), s.modem);
    EXPECT_EQ("hi", s.stored_sms.at(0).second);

    Outcome answer{ok("ZELTO"), 0, {}, true};
    EXPECT_EQ(nullptr, matchFault(s.faults, "AT+CGMR"));
    Delivery d = deliver(answer, matchFault(s.faults, "at+csq"));
    EXPECT_EQ("\r\n+CME ERROR: 10\r\n", d.pieces.at(0).second);
    EXPECT_EQ(nullptr, matchFault(s.faults, "AT+CSQ"));  // used up
    d = deliver(answer, matchFault(s.faults, "AT+CGMI"));
    ASSERT_EQ(5u, d.pieces.size());
    EXPECT_EQ((std::pair<Ms, std::string>{1100, "ELT"}), d.pieces[1]);
}

TEST(ZelsimReplay, MatchesEachTextToItsNextUnusedAnswer) {
    using L = Exchange::Link;
    Scenario s = parseScenario(R"(version: 1
recording: {tool: zeltap}
exchanges:
  - {command: AT+CSQ, reply: [[0ms, a], [5ms, b]]}
  - {command: "AT+CPIN=<masked>,\"\"", reply: [[0ms, pin]]}
  - {command: AT+CSQ, reply: [[0ms, c]]}
  - {command: "AT+CPIN=\"1234\",\"\"", reply: [[0ms, exact]]}
  - {port: true, command: AT+CSQ, reply: [[0ms, port]]}
  - {port: true, body: "hi", reply: [[1s, {hex: 00FF}]]}
end: true
)");
    ASSERT_EQ(6u, s.exchanges.size());
    struct Row {
        L link;
        std::string text, expect;  // bursts joined, "-" for the model, "ERROR" when refused
    };
    const Row rows[] = {
        {L::Command, "AT+CSQ", "ab"},   {L::Port, "AT+CSQ", "port"},  {L::Command, "AT+CSQ", "c"},
        {L::Command, "AT+CSQ", "-"},    {L::Command, "AT+CPIN=\"1234\",\"\"", "pin"},  // recorded first
        {L::Command, "AT+CPIN=\"1234\",\"\"", "exact"},                                 // then the exact one
        {L::Command, "AT+CPIN=\"9\",\"\"", "-"}, {L::Body, "hi", std::string("\0\xff", 2)}, {L::Body, "hi", "-"},
    };
    for (bool strict : {false, true}) {
        Replay replay(s.exchanges, strict);
        for (const Row &r : rows) {
            SCOPED_TRACE(r.text);
            Replay::Answer a = replay.answer(r.link, r.text);
            EXPECT_EQ(r.expect == "-" ? (strict ? "\r\nERROR\r\n" : "") : r.expect, joined(a.bursts).reply);
            EXPECT_EQ(r.expect == "-" ? (strict ? Replay::How::Refused : Replay::How::Model) : Replay::How::Recorded, a.how);
        }
        EXPECT_EQ(strict ? 3 : 0, replay.refused());
    }
    EXPECT_EQ(1000, joined(s.exchanges[5].reply).delay_ms);
    // A masked field takes any value up to the next comma or quote, and nothing else.
    EXPECT_TRUE(matchesMasked("AT+CPWD=\"SC\",\"<masked>\",\"<masked>\"", "AT+CPWD=\"SC\",\"1\",\"22\""));
    EXPECT_TRUE(matchesMasked("AT+CPIN=<masked>", "AT+CPIN=12345678"));
    EXPECT_FALSE(matchesMasked("AT+CPIN=<masked>", "AT+CPIN=1,2"));
    EXPECT_FALSE(matchesMasked("AT+CLCK=\"SC\",1,<masked>", "AT+CLCK=\"PN\",1,1234"));
}

TEST(ZelsimScenario, RefusesWhatItCannotRead) {
    struct Bad {
        const char *yaml, *message;
    } cases[] = {
        {"events: [{at: 1s, notify: {type: 3}, drop: true}]", "one action per entry"},
        {"events: [{at: soon, drop: true}]", "'at' is not a duration"},
        {"events: [{drop: true}]", "needs 'at'"},
        {"faults: [{on: \"(\", error: true}]", "not a regular expression"},
        {"faults: [{on: AT, cme_error: -1}]", "'cme_error' must be a number"},
        {"faults: [{on: AT, errror: true}]", "unknown key 'errror'"},
        {"events: [{at: 1, notify: {type: 300}}]", "'type' must be a number from 0 to 255"},
        {"banana: 1", "unknown key 'banana'"},
        {"events: [{at: 1, notify: {type: urc, text: [1]}}]", "'text' needs a single value"},
        {"events: [1, 2]", "each entry of 'events' is a mapping"},
        {"faults: {on: AT}", "'faults' needs a list"},
        {"faults: [{on: \"(a)\\\\1\", error: true}]", "not a regular expression"},  // no backreferences
        {"events: [{at: nan, drop: true}]", "not a finite number"},
        {"events: [{at: -1s, drop: true}]", "negative"},
        {"events: [{at: 1e300, drop: true}]", "longer than a day"},
        {"events: [{at: 86401s, drop: true}]", "longer than a day"},
        {"faults: [{on: AT, delay: 2h}]", "unknown unit"},
        {"just some text", "line 1: not a scenario"},
        {"- {at: 1s}\n- {at: 2s}", "line 1: not a scenario"},
        {"modem: {}\nversion: 2\n", "line 2: version 2 is not one this zelsim reads (it reads version 1)"},
        {"recording: {tool: zeltap}\nexchanges:\n  - {command: AT, reply: []}\n",
         "line 3: the recording stops here without its closing 'end: true'"},
        {"exchanges:\n  - {command: AT, reply: [[1ms, \"\\r\\nO", "line 2, column"},
        {"exchanges: [{command: AT, body: x, port: true}]", "a 'command', or on the modem port a message 'body'"},
        {"exchanges: [{body: x}]", "add 'port: true'"},
        {"exchanges: [{command: AT, reply: [[2ms, a], [1ms, b]]}]", "go in time order"},
        {"exchanges: [{command: AT, reply: [[2ms]]}]", "a burst of 'reply' is [TIME, BYTES]"},
        {"exchanges: [{command: {hex: 4}}]", "'command' is text or {hex: DIGITS}"},
        {"events: [{at: 1, client: 2, drop: true}]", "'client' goes with notify, ip_change or unsolicited"},
        {"events: [{at: 1, after: 2s, ip_change: x}]", "'after' counts from the connection named by 'client'"},
        {"end: maybe", "'end' must be true or false"},
    };
    for (const Bad &b : cases) {
        try {
            parseScenario(b.yaml);
            ADD_FAILURE() << b.yaml;
        } catch (const ScenarioError &e) {
            EXPECT_NE(std::string::npos, std::string(e.what()).find(b.message)) << b.yaml << ": " << e.what();
        }
    }
    EXPECT_EQ(Action::Kind::Status, parseControl("status").kind);
    EXPECT_EQ(Action::Kind::AddFault, parseControl("{on: AT, silent: true}").kind);
    EXPECT_THROW(parseControl("{at: 1, drop: true}"), ScenarioError);
    // Nested repetition is matched in time linear in the line, not exponential.
    std::vector<Fault> nested = {parseControl("{on: '(a+)+$', silent: true}").fault};
    EXPECT_EQ(nullptr, matchFault(nested, std::string(5000, 'a') + "b"));
    EXPECT_NE(nullptr, matchFault(nested, std::string(5000, 'a')));
    Modem m;
    std::string why;
    for (const char *v : {"nan", "inf", "1e300", "-1s"}) EXPECT_FALSE(m.setParam("scan", v, &why)) << v;
    EXPECT_FALSE(m.setParam("lat", "nan", &why));
    EXPECT_EQ("not a valid value", why);
}

}  // namespace

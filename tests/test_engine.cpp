// The command engine: the reply shapes that the family table runner does not
// derive for every row, the template's failure paths and log lines, trim and
// zelSendAtCommand.
#include <string.h>

#include <algorithm>
#include <regex>

#include "family_table.h"
#include "zelto_api_modules/zelto_sdk_internal.h"

using namespace zeltest;
using S = std::string;

namespace {

const char kTag[] = "zel_test_family";

using Engine = FamilyTest;

TEST_F(Engine, ReplyShapesBeyondTheTableVariants) {
    // Action and set succeed with "OK" anywhere, even inside an information line.
    expectReplies(ZEL_CALL(zelATZGet()), {{"\r\n+INFO: BOOKED\r\n\r\nERROR\r\n", 0, kKept}});
    // Integers parse after the prefix as strtol reads them, saturating as on the target.
    expectReplies(ZEL_CALL(zelCmeeGet(i)), {
        {"\r\n+CMEE:   -13,4\r\n\r\nOK\r\n", 0, "-13"},
        {"\r\n+CMEE: 99999999999\r\n\r\nOK\r\n", 0, "2147483647"},
        {"\r\n+CMEE: -99999999999\r\n\r\nOK\r\n", 0, "-2147483648"},
    });
    expectReplies(ZEL_CALL(zelGetCSQ(s)), {
        {"\r\n+CSQ: 1\r\n+CSQ: 2\r\n\r\nOK\r\n", 0, "1\r\n+CSQ: 2"},
        {"\r\nOK\r\n+CSQ: 1\r\n", 5, kNull},  // prefix after OK
        {"+CSQ:    \r\nOK\r\n", 0, ""},         // only white space
    });
    // Fixed width never reads past the reply: one ending 12 bytes after the prefix gives 12.
    expectReplies(ZEL_CALL(zelGetCCLK(s)), {{"+CCLK: 12+CME ERROR", 0, "12+CME ERROR"}});
}

TEST_F(Engine, OverlongCommandsSendNothingWhile1023CharactersFit) {
    EXPECT_EQ(zel::set(kTag, zel::cmdf("AT+L=\"%s\"\r\n", S(1020, 'a').c_str())), 5);
    EXPECT_TRUE(log.contains("command too long", LOG_ERR));
    EXPECT_EQ(zel::action(kTag, S(1024, 'b').c_str()), 5);
    EXPECT_EQ(zel::action(kTag, nullptr), 5);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(server->received(), "");
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(zel::action(kTag, (S(1021, 'c') + "\r\n").c_str()), 0);
    EXPECT_EQ(server->received().size(), 1023u);
}

// Text with a control byte would end the command and start another: every
// wrapper that formats caller text refuses it with 1, sends nothing (to the
// server or the modem port) and logs the argument under its family's tag.
TEST_F(Engine, TextWithAControlByteIsRefusedAndNothingSent) {
    zel::g_platform.modem_port = "/nonexistent/smd10";  // a dial or message that got through would fail with 5
    const zelString id = view("dev-1"), key = view("k\x1b[2J"), pkg = view("http://h/p\x7f");
    const zelString apn_cmd = view("internet\r\nAT+CFUN=0"), ctrl_z = view("Hi\x1a"), esc = view("Hi\x1b");
    const struct { Refusal row; const char *logged; } rows[] = {
        {REFUSE(zelCGDCONTSet(1, "IP", "internet\r\nAT+CFUN=0"), 1), "zel_network_api:* 0x0D in argument 3 of AT+CGDCONT="},
        {REFUSE(zelCpinSet("1234\r", ""), 1), "zel_sim_api:* 0x0D in argument 1 of AT+CPIN="},
        {REFUSE(zelCpinSet("1234", "\n5678"), 1), "zel_sim_api:* 0x0A in argument 2 of AT+CPIN="},
        {REFUSE(zelCopsSet(1, 0, "Op\tNet", 7), 1), "zel_network_api:* 0x09 in argument 3 of AT+COPS="},
        {REFUSE(zelClckSet("SC", 1, "0000\x1a", 1), 1), "zel_network_api:* 0x1A in argument 3 of AT+CLCK="},
        {REFUSE(zelConfig(1, &apn_cmd, 2), 1), "zel_general_api:* 0x0D in argument 2 of AT+CONFIG="},
        {REFUSE(zelCIPSERVERSet(1, "80\x1b"), 1), "zel_tcp_api:* 0x1B in argument 2 of AT+CIPSERVER="},
        {REFUSE(zelCPMSSet("SM", "ME\x7f", "SM", s), 1), "zel_sms_api:* 0x7F in argument 2 of AT+CPMS="},
        {REFUSE(zelOTADownload("http://h/f\r\nAT+OTA=APPLY"), 1), "zel_ota_api:* 0x0D in argument 1 of AT+OTA=DOWNLOAD,"},
        {REFUSE(zelDFotaDownload(pkg), 1), "zel_ota_api:* 0x7F in argument 1 of AT+DLDFOTA="},
        {REFUSE(zelVantorReg(&id, &key, &id), 1), "zel_vantor_api:* 0x1B in argument 2 of AT+VANTORREG="},
        {REFUSE(zelATDGet("123;\rATH"), 1), "zel_call_control_api:* 0x0D in argument 1 of ATD"},
        {REFUSE(zelSendSMS("123", &ctrl_z, 0), 1), "zel_sms_api:* 0x1A in the message text"},
        {REFUSE(zelSendSMS("123", &esc, 0), 1), "zel_sms_api:* 0x1B in the message text"},
    };
    for (const auto &r : rows) {
        log.clear();
        checkRefusals({r.row});
        // Besides the link's own lines (the probe's reply), the refusal alone.
        std::vector<LogLine> lines = log.lines();
        lines.erase(std::remove_if(lines.begin(), lines.end(), [](const LogLine &l) { return l.text.rfind("core:", 0) == 0; }),
                    lines.end());
        ASSERT_EQ(lines.size(), 1u) << r.row.what;
        EXPECT_EQ(lines[0].priority, LOG_ERR);
        const S text = std::regex_replace(lines[0].text, std::regex("^(\\w+):\\d+: control byte"), "$1:*");
        EXPECT_EQ(text.rfind(r.logged, 0), 0u) << lines[0].text;
    }
    // The raw pass-through sends what it is given.
    server->clearRecord();
    server->reply("\r\nOK\r\n");
    Owned raw;
    EXPECT_EQ(zelSendAtCommand("AT+X=\"\t\"", raw.out()), 0);
    EXPECT_EQ(server->received(), "AT+X=\"\t\"\r\n");
    zel::g_platform.modem_port = zel::defaultPlatform().modem_port;
}

TEST_F(Engine, SendAtCommandReturnsTheWholeReplyWhateverItSaysAndNoReplyIsLogged) {
    Owned out, ok, refused, none;
    EXPECT_EQ(zelSendAtCommand(nullptr, out.out()), 2);
    EXPECT_EQ(zelSendAtCommand("AT", nullptr), 2);
    server->reply("\r\nERROR\r\n");
    EXPECT_EQ(zelSendAtCommand("AT+FOO", out.out()), 0);
    EXPECT_EQ(out.str(), "\r\nERROR\r\n");
    EXPECT_EQ(server->commands(), std::vector<S>{"AT+FOO\r\n"});
    EXPECT_EQ(lastTimeout(), 15);
    // 1021 characters fit with "\r\n" and the zero byte; 1022 do not.
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(zelSendAtCommand(S(1021, 'A').c_str(), ok.out()), 0);
    EXPECT_EQ(zelSendAtCommand(S(1022, 'A').c_str(), refused.out()), 5);
    EXPECT_EQ(refused.s, nullptr);
    EXPECT_EQ(server->commands().size(), 2u);
    setWaitMs(30);
    EXPECT_EQ(zelSendAtCommand("AT", none.out()), 5);
    EXPECT_TRUE(log.contains("zelto_sdk_internal:", LOG_ERR));
    // The template logs a missing reply with the caller's tag and line.
    int32_t v = 0;
    int line = __LINE__ + 1;
    EXPECT_EQ(zel::intQuery(kTag, "AT+X?\r\n", "X:", &v), 5);
    EXPECT_TRUE(log.contains(S(kTag) + ":" + std::to_string(line) + ": ret == NULL\n\n", LOG_ERR));
}

TEST_F(Engine, WrappersOnEightThreadsEachGetTheirOwnReply) {
    // Each reply echoes its command, so a reply handed to the wrong caller shows.
    server->setHandler([](const S &cmd) { return Reply{{0, "\r\n+CSQ: " + cmd.substr(0, cmd.size() - 2) + "\r\nOK\r\n"}}; });
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < 8; ++t) {
        threads.emplace_back([&wrong, t] {
            for (int i = 0; i < 50; ++i) {
                Owned out;
                const S n = std::to_string(t * 1000 + i);
                wrong += t % 2 ? zelCRTCGet(t * 1000 + i, out.out()) != 0 || out.str() != "+CSQ: AT+CRTC=" + n
                               : zelGetCSQ(out.out()) != 0 || out.str() != "AT+CSQ" || zelCmeeSet(i) != 0;
            }
        });
    }
    for (auto &th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
}

TEST(Trim, RemovesPosixWhiteSpaceAtBothEnds) {
    const struct { const char *in, *out; } cases[] = {
        {"  1\n", "1"}, {" ab cd ", "ab cd"}, {"\n", ""}, {"x", "x"}, {"", ""},
        {"\t\v\f\r x \r\n", "x"}, {"a\r\nb", "a\r\nb"}, {"\xa0x\xa0", "\xa0x\xa0"},
    };
    for (const auto &c : cases) {
        char buf[32];
        strcpy(buf, c.in);
        EXPECT_EQ(trim(buf), buf);
        EXPECT_STREQ(buf, c.out) << '"' << c.in << '"';
    }
    EXPECT_EQ(trim(nullptr), nullptr);
}

}  // namespace

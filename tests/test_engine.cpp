// The command engine: every reply shape against the fake server, the
// template's failure paths and log lines, trim and zelSendAtCommand.
#include <gtest/gtest.h>

#include <string.h>

#include <string>

#include "test_support.h"
#include "zelto_api_modules/zelto_sdk_internal.h"

using namespace zeltest;

namespace {

const char kTag[] = "zel_test_family";

class Engine : public LinkTest {};

TEST_F(Engine, ActionAndSetSucceedOnlyWithOkAnywhere) {
    struct Case {
        std::string reply;
        int32_t status;
    } cases[] = {
        {"\r\nOK\r\n", 0},
        {"\r\nERROR\r\n", 5},
        {"\r\n+CME ERROR: 3\r\n", 5},
        {"\r\n+INFO: BOOKED\r\n\r\nERROR\r\n", 0},  // "OK" inside an information line counts
    };
    for (const Case &c : cases) {
        server->reply(c.reply);
        EXPECT_EQ(zel::action(kTag, "ATZ\r\n"), c.status) << c.reply;
        server->reply(c.reply);
        EXPECT_EQ(zel::set(kTag, zel::cmdf("AT+CREG=%d\r\n", -7)), c.status) << c.reply;
    }
    ASSERT_EQ(server->commands().size(), 8u);
    EXPECT_EQ(server->commands()[0], "ATZ\r\n");
    EXPECT_EQ(server->commands()[1], "AT+CREG=-7\r\n");
    EXPECT_EQ(lastTimeout(), 15);
}

TEST_F(Engine, IntegerQueryParsesAfterThePrefixWithoutLookingForOk) {
    struct Case {
        std::string reply;
        int32_t status, value;
    } cases[] = {
        {"\r\n+CMEE: 2\r\n\r\nOK\r\n", 0, 2},
        {"\r\n+CMEE:   -13,4\r\n\r\nOK\r\n", 0, -13},
        {"\r\n+CMEE: x\r\n\r\nOK\r\n", 0, 0},     // no digits: 0
        {"\r\n+CMEE: 99999999999\r\n\r\nOK\r\n", 0, INT32_MAX},   // saturates as on the target
        {"\r\n+CMEE: -99999999999\r\n\r\nOK\r\n", 0, INT32_MIN},
        {"\r\n+CMEE: 1\r\n\r\nERROR\r\n", 0, 1},  // the prefix alone decides
        {"\r\n+CFUN: 1\r\n\r\nOK\r\n", 5, 77},    // no prefix: untouched
    };
    for (const Case &c : cases) {
        server->reply(c.reply);
        int32_t v = 77;
        EXPECT_EQ(zel::intQuery(kTag, "AT+CMEE?\r\n", "CMEE:", &v), c.status) << c.reply;
        EXPECT_EQ(v, c.value) << c.reply;
    }
}

TEST_F(Engine, TextQueryWithAndWithoutPrefix) {
    struct Case {
        const char *prefix;
        std::string reply;
        int32_t status;
        std::string text;  // "<null>" for a NULL output, "<kept>" when untouched
    } cases[] = {
        {"+CSQ: ", "\r\n+CSQ: 23,99\r\n\r\nOK\r\n", 0, "23,99"},
        {"+CSQ: ", "\r\n+CSQ: 1\r\n+CSQ: 2\r\n\r\nOK\r\n", 0, "1\r\n+CSQ: 2"},
        {"+CSQ: ", "\r\nOK\r\n", 5, "<null>"},                       // prefix missing
        {"+CSQ: ", "\r\n+CSQ: 1\r\n\r\nERROR\r\n", 5, "<null>"},     // OK missing
        {"+CSQ: ", "\r\n+CSQ: OK\r\n\r\nOK\r\n", 5, "<null>"},         // empty span
        {"+CSQ: ", "\r\nOK\r\n+CSQ: 1\r\n", 5, "<null>"},            // prefix after OK
        {"+CSQ: ", "+CSQ:    \r\nOK\r\n", 0, ""},                    // only white space
        {nullptr, "\r\nQuectel-like\r\nRev 1\r\n\r\nOK\r\n", 0, "Quectel-like\r\nRev 1"},
        {nullptr, "OK\r\n\r\nOK\r\n", 5, "<null>"},
        {nullptr, "\r\nERROR\r\n", 5, "<kept>"},
    };
    zelString kept = {const_cast<char *>("kept"), 4};
    for (const Case &c : cases) {
        server->reply(c.reply);
        zelString *out = &kept;
        EXPECT_EQ(zel::textQuery(kTag, "AT+CSQ\r\n", c.prefix, &out), c.status) << c.reply;
        std::string got = out == &kept ? "<kept>" : out ? std::string(out->data, out->len) : "<null>";
        EXPECT_EQ(got, c.text) << c.reply;
        if (out && out != &kept) {
            EXPECT_EQ(strlen(out->data), size_t(out->len));
            zelFreeString(out);
        }
    }
}

TEST_F(Engine, FixedWidthTextNeverReadsPastTheReply) {
    struct Case {
        std::string reply;
        int32_t status;
        std::string text;
    } cases[] = {
        {"\r\n+CCLK: \"26/11/23,02:36:27+00\"\r\n\r\nOK\r\n", 0, "\"26/11/23,02:36:27+0"},
        // The reply ends 12 bytes after the prefix: a shorter record.
        {"+CCLK: 12+CME ERROR", 0, "12+CME ERROR"},
        {"\r\nOK\r\n", 5, "<null>"},
    };
    for (const Case &c : cases) {
        server->reply(c.reply);
        Owned out;
        EXPECT_EQ(zel::fixedText(kTag, "AT+CCLK?\r\n", "CCLK: ", 20, out.out()), c.status) << c.reply;
        EXPECT_EQ(out.str(), c.text);
    }
}

TEST_F(Engine, NoReplyIsLoggedWithTheCallersLineAndTimeout) {
    setWaitMs(30);
    int32_t v = 0;
    int line = __LINE__ + 1;
    EXPECT_EQ(zel::intQuery(kTag, "AT+X?\r\n", "X:", &v), 5);
    EXPECT_TRUE(log.contains(std::string(kTag) + ":" + std::to_string(line) + ": ret == NULL\n\n", LOG_ERR));
    EXPECT_EQ(lastTimeout(), 15);

    zelString *out = nullptr;
    EXPECT_EQ(zel::textQuery(kTag, zel::Command("AT+COPS=?\r\n").timeout(120), "+COPS: ", &out), 5);
    EXPECT_EQ(lastTimeout(), 120);
    EXPECT_EQ(out, nullptr);
}

TEST_F(Engine, NullOutputsAndOverlongCommandsSendNothing) {
    EXPECT_EQ(zel::intQuery(kTag, "AT+X?\r\n", "X:", nullptr), 5);
    EXPECT_EQ(zel::textQuery(kTag, "AT+X?\r\n", "X:", nullptr), 5);
    EXPECT_EQ(zel::fixedText(kTag, "AT+X?\r\n", "X:", 4, nullptr), 5);
    std::string longText(1020, 'a');
    EXPECT_EQ(zel::set(kTag, zel::cmdf("AT+L=\"%s\"\r\n", longText.c_str())), 5);
    EXPECT_TRUE(log.contains("command too long", LOG_ERR));
    EXPECT_EQ(zel::action(kTag, std::string(1024, 'b').c_str()), 5);
    EXPECT_EQ(zel::action(kTag, nullptr), 5);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(server->received(), "");
}

TEST_F(Engine, CommandBufferHoldsExactly1023Characters) {
    std::string text(1023 - 2, 'c');
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(zel::action(kTag, (text + "\r\n").c_str()), 0);
    ASSERT_EQ(server->commands().size(), 1u);
    EXPECT_EQ(server->commands()[0].size(), 1023u);
}

TEST_F(Engine, SendAtCommandReturnsTheWholeReplyWhateverItSays) {
    Owned out;
    EXPECT_EQ(zelSendAtCommand(nullptr, out.out()), 2);
    EXPECT_EQ(zelSendAtCommand("AT", nullptr), 2);
    server->reply("\r\nERROR\r\n");
    EXPECT_EQ(zelSendAtCommand("AT+FOO", out.out()), 0);
    EXPECT_EQ(out.str(), "\r\nERROR\r\n");
    EXPECT_EQ(server->commands(), std::vector<std::string>{"AT+FOO\r\n"});
    EXPECT_EQ(lastTimeout(), 15);

    // 1021 characters fit with "\r\n" and the zero byte; 1022 do not.
    server->reply("\r\nOK\r\n");
    Owned ok;
    EXPECT_EQ(zelSendAtCommand(std::string(1021, 'A').c_str(), ok.out()), 0);
    Owned refused;
    EXPECT_EQ(zelSendAtCommand(std::string(1022, 'A').c_str(), refused.out()), 5);
    EXPECT_EQ(refused.s, nullptr);
    EXPECT_EQ(server->commands().size(), 2u);

    setWaitMs(30);
    Owned none;
    EXPECT_EQ(zelSendAtCommand("AT", none.out()), 5);
    EXPECT_TRUE(log.contains("zelto_sdk_internal:", LOG_ERR));
    EXPECT_TRUE(log.contains("ret == NULL\n\n", LOG_ERR));
}

TEST(Trim, RemovesPosixWhiteSpaceAtBothEnds) {
    struct Case {
        const char *in, *out;
    } cases[] = {
        {"  1\n", "1"}, {" ab cd ", "ab cd"}, {"\n", ""}, {"x", "x"}, {"", ""},
        {"\t\v\f\r x \r\n", "x"}, {"a\r\nb", "a\r\nb"}, {"\xa0x\xa0", "\xa0x\xa0"},
    };
    for (const Case &c : cases) {
        char buf[32];
        strcpy(buf, c.in);
        EXPECT_EQ(trim(buf), buf);
        EXPECT_STREQ(buf, c.out) << '"' << c.in << '"';
    }
    EXPECT_EQ(trim(nullptr), nullptr);
}

}  // namespace

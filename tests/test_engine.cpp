// The command engine: every reply shape against the fake server, the
// template's failure paths and log lines, trim and zelSendAtCommand.
#include <string.h>

#include "test_support.h"
#include "zelto_api_modules/zelto_sdk_internal.h"

using namespace zeltest;
using S = std::string;

namespace {

const char kTag[] = "zel_test_family";
enum Kind { Action, Set, Int, Text, Bare, Fixed };

class Engine : public LinkTest {
protected:
    // Runs one engine call against `reply`: its status and output ("<kept>" when untouched).
    std::pair<int32_t, S> call(Kind kind, const S &reply) {
        server->reply(reply);
        int32_t v = 77;
        zelString kept = {const_cast<char *>("kept"), 4}, *out = &kept;
        int32_t st = kind == Action ? zel::action(kTag, "ATZ\r\n")
                     : kind == Set  ? zel::set(kTag, zel::cmdf("AT+CREG=%d\r\n", -7))
                     : kind == Int  ? zel::intQuery(kTag, "AT+CMEE?\r\n", "CMEE:", &v)
                     : kind == Text ? zel::textQuery(kTag, "AT+CSQ\r\n", "+CSQ: ", &out)
                     : kind == Bare ? zel::textQuery(kTag, "AT+CSQ\r\n", nullptr, &out)
                                    : zel::fixedText(kTag, "AT+CCLK?\r\n", "CCLK: ", 20, &out);
        if (kind == Int) return {st, std::to_string(v)};
        if (kind < Int) return {st, ""};
        S text = out == &kept ? "<kept>" : out ? S(out->data, out->len) : "<null>";
        if (out && out != &kept) EXPECT_EQ(strlen(out->data), size_t(out->len)) << reply;
        if (out != &kept) zelFreeString(out);
        return {st, text};
    }
};

TEST_F(Engine, EveryReplyShape) {
    const struct { Kind kind; S reply; int32_t status; S out; } cases[] = {
        // Action and set succeed only with "OK" anywhere, even inside an information line.
        {Action, "\r\nOK\r\n", 0, ""}, {Set, "\r\nOK\r\n", 0, ""},
        {Action, "\r\nERROR\r\n", 5, ""}, {Set, "\r\n+CME ERROR: 3\r\n", 5, ""},
        {Action, "\r\n+INFO: BOOKED\r\n\r\nERROR\r\n", 0, ""},
        // Integers parse after the prefix without looking for "OK", saturating as on the target.
        {Int, "\r\n+CMEE: 2\r\n\r\nOK\r\n", 0, "2"}, {Int, "\r\n+CMEE:   -13,4\r\n\r\nOK\r\n", 0, "-13"},
        {Int, "\r\n+CMEE: x\r\n\r\nOK\r\n", 0, "0"}, {Int, "\r\n+CMEE: 1\r\n\r\nERROR\r\n", 0, "1"},
        {Int, "\r\n+CMEE: 99999999999\r\n\r\nOK\r\n", 0, "2147483647"},
        {Int, "\r\n+CMEE: -99999999999\r\n\r\nOK\r\n", 0, "-2147483648"},
        {Int, "\r\n+CFUN: 1\r\n\r\nOK\r\n", 5, "77"},
        {Text, "\r\n+CSQ: 23,99\r\n\r\nOK\r\n", 0, "23,99"},
        {Text, "\r\n+CSQ: 1\r\n+CSQ: 2\r\n\r\nOK\r\n", 0, "1\r\n+CSQ: 2"},
        {Text, "\r\nOK\r\n", 5, "<null>"},                    // prefix missing
        {Text, "\r\n+CSQ: 1\r\n\r\nERROR\r\n", 5, "<null>"},  // OK missing
        {Text, "\r\n+CSQ: OK\r\n\r\nOK\r\n", 5, "<null>"},    // empty span
        {Text, "\r\nOK\r\n+CSQ: 1\r\n", 5, "<null>"},         // prefix after OK
        {Text, "+CSQ:    \r\nOK\r\n", 0, ""},                 // only white space
        {Bare, "\r\nMaker\r\nRev 1\r\n\r\nOK\r\n", 0, "Maker\r\nRev 1"},
        {Bare, "OK\r\n\r\nOK\r\n", 5, "<null>"}, {Bare, "\r\nERROR\r\n", 5, "<kept>"},
        // Fixed width never reads past the reply: one ending 12 bytes after the prefix gives 12.
        {Fixed, "\r\n+CCLK: \"26/11/23,02:36:27+00\"\r\n\r\nOK\r\n", 0, "\"26/11/23,02:36:27+0"},
        {Fixed, "+CCLK: 12+CME ERROR", 0, "12+CME ERROR"}, {Fixed, "\r\nOK\r\n", 5, "<kept>"},
    };
    for (const auto &c : cases) EXPECT_EQ(call(c.kind, c.reply), std::make_pair(c.status, c.out)) << c.reply;
    auto sent = server->commands();
    ASSERT_EQ(sent.size(), std::size(cases));
    EXPECT_EQ(sent[0], "ATZ\r\n");
    EXPECT_EQ(sent[1], "AT+CREG=-7\r\n");
    EXPECT_EQ(lastTimeout(), 15);
}

TEST_F(Engine, NullOutputsAndOverlongCommandsSendNothingWhile1023CharactersFit) {
    EXPECT_EQ(zel::intQuery(kTag, "AT+X?\r\n", "X:", nullptr), 5);
    EXPECT_EQ(zel::textQuery(kTag, "AT+X?\r\n", "X:", nullptr), 5);
    EXPECT_EQ(zel::fixedText(kTag, "AT+X?\r\n", "X:", 4, nullptr), 5);
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
    // The template logs with the caller's tag and line, after the timeout asked for.
    int32_t v = 0;
    int line = __LINE__ + 1;
    EXPECT_EQ(zel::intQuery(kTag, "AT+X?\r\n", "X:", &v), 5);
    EXPECT_TRUE(log.contains(S(kTag) + ":" + std::to_string(line) + ": ret == NULL\n\n", LOG_ERR));
    EXPECT_EQ(lastTimeout(), 15);
    zelString *out2 = nullptr;
    EXPECT_EQ(zel::textQuery(kTag, zel::Command("AT+COPS=?\r\n").timeout(120), "+COPS: ", &out2), 5);
    EXPECT_EQ(lastTimeout(), 120);
    EXPECT_EQ(out2, nullptr);
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

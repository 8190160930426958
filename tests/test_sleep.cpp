// Sleep and wake against the fake server and the shell recorder: the shell
// guard itself, the small commands, and both suspend sequences step by step.
#include <limits.h>
#include <string.h>

#include <filesystem>
#include <map>
#include <thread>
#include <tuple>

#include "family_table.h"
#include "shell_guard.h"
#include "zelto_api_modules/zel_sleep_internal.h"

namespace {

using namespace zeltest;
using Lines = std::vector<std::string>;
constexpr uint32_t kKeep = 77;
const std::string kOff = "echo -n none > /dev/null/msm_otg_mode && sleep 3|";
const std::string kBack = "echo -n peripheral > /dev/null/msm_otg_mode|";
const std::string kMem = "echo -n mem > /sys/power/state|", kRtc5 = "rtcwake -m mem -s 5 -d /dev/rtc0|";

TEST(ShellGuard, LinesRunOnlyUnderARecorder) {
    size_t before = refusedShellLines().size();
    std::string probe = tempPath("ran");  // the production hook reaches only the guard's system()
    EXPECT_EQ(zel::defaultPlatform().run_shell(("echo x > " + probe).c_str()), -1);
    EXPECT_FALSE(std::filesystem::exists(probe));
    // Without a recorder every line is refused; with one, any result but -1 (no shell) is done.
    const std::tuple<uint32_t, int, int32_t, const char *> modes[] = {
        {0, 0, 0, "none"}, {1, 256, 0, "peripheral"}, {2, -1, 5, "host"}, {3, 127 << 8, 0, "otg"}};
    Lines refused = {"echo x > " + probe};
    for (const auto &[mode, shell, status, word] : modes) {
        refused.push_back(std::string("echo -n ") + word + " > /dev/null/msm_otg_mode && sleep 3");
        EXPECT_EQ(zelSetUsbMode(mode), 5);
        ShellRecorder recorder({shell});
        EXPECT_EQ(zelSetUsbMode(mode), status);
        EXPECT_EQ(recorder.lines(), Lines{refused.back()});
    }
    EXPECT_EQ(zelSetUsbMode(4), 1);
    EXPECT_EQ(zelSetUsbMode(kNeg), 1);
    Lines all = refusedShellLines();
    EXPECT_EQ(Lines(all.begin() + long(before), all.end()), refused);
    EXPECT_STREQ(zel::defaultPlatform().usb_mode_file, "/sys/kernel/debug/msm_otg/mode");
    EXPECT_STREQ(zel::defaultPlatform().gpio_root, "/sys/class/gpio");
}

// "<value> " per wake-up record seen on the calling thread with every other
// payload byte zero; "bad " for anything else.
std::string g_notes;
std::thread::id g_caller;
void onNote(zelNotification *n) {
    zelNotification want;
    memset(&want, 0, sizeof want);
    want.type = NOTIFICATION_WAKEUP, want.payload.value = n->payload.value;
    bool good = memcmp(n, &want, sizeof want) == 0 && std::this_thread::get_id() == g_caller;
    g_notes += good ? std::to_string(n->payload.value) + " " : "bad ";
}

// The timeout each command asked for, in turn; a silent server gives up after
// a second instead. The calling thread's pauses, in ms.
std::mutex g_mu;
std::vector<int32_t> g_timeouts;
std::string g_pauses;
int64_t scriptedWait(int32_t seconds) {
    std::lock_guard<std::mutex> lock(g_mu);
    g_timeouts.push_back(seconds);
    return 1000;
}

// Replies that differ from a good wake, per command in turn; "" is silence.
using Script = std::map<std::string, std::deque<std::string>>;
const char kErr[] = "\r\nERROR\r\n";
const std::deque<std::string> kErr4(4, kErr);
const std::map<std::string, std::string> kGood = {
    {"CFUN?", "+CFUN: 0"},       {"CTTYCLOSE", "+TTYCLOSE: 0"}, {"CTTYOPEN", "+TTYOPEN: 0"},
    {"CENSLEEP", "+CENSLEEP: 0"}, {"CEXSLEEP", "+CEXSLEEP: 0"}, {"CWAKER?", "+CWAKER: 3"}};
constexpr int kNoRecorder = INT_MIN;  // as the only shell status: the guard refuses every line

struct Seq {
    const char *name;
    int32_t (*enter)(int32_t, uint32_t *);
    int32_t seconds;
    Script replies;
    std::deque<int> shell;  // exit statuses in turn, then 0
    std::string sent;       // the commands without "AT+" and "\r\n"
    std::string lines;      // "|" after each
    int32_t status;
    uint32_t reason;        // also the notification's value when the status is 0
    std::string pauses;     // ms
    const char *logged;     // in a line tagged zel_sleep_api
};

class Sleep : public FamilyTest {
protected:
    void SetUp() override {
        FamilyTest::SetUp();
        static bool registered = zelRegisterNotification(onNote) == 0;
        ASSERT_TRUE(registered);
        g_caller = std::this_thread::get_id();
        zel::g_platform.sleep_us = [](uint64_t us) { g_pauses += std::to_string(us / 1000) + " "; };
    }
    void TearDown() override {
        zel::g_platform.sleep_us = zel::defaultPlatform().sleep_us;
        FamilyTest::TearDown();
    }

    void check(const Seq &s) {
        SCOPED_TRACE(s.name);
        Script script = s.replies;
        g_timeouts.clear(), g_notes.clear(), g_pauses.clear(), log.clear();
        server->clearRecord();
        server->setHandler([&script](const std::string &cmd) {
            std::string word = cmd.substr(3, cmd.size() - 5);
            std::string reply = kGood.count(word) ? "\r\n" + kGood.at(word) + "\r\n\r\nOK\r\n" : "\r\nOK\r\n";
            if (!script[word].empty()) reply = script[word].front(), script[word].pop_front();
            return reply.empty() ? Reply{} : Reply{{0, reply}};
        });
        auto wait = zel::g_platform.reply_wait_ms;
        zel::g_platform.reply_wait_ms = scriptedWait;
        bool guarded = s.shell == std::deque<int>{kNoRecorder};
        size_t refused = refusedShellLines().size();
        std::unique_ptr<ShellRecorder> recorder(guarded ? nullptr : new ShellRecorder(s.shell));
        uint32_t reason = kKeep;
        EXPECT_EQ(s.enter(s.seconds, &reason), s.status);
        server->setHandler(nullptr);
        zel::g_platform.reply_wait_ms = wait;

        Lines ran = guarded ? refusedShellLines() : recorder->lines();
        std::string lines, sent;
        for (size_t i = guarded ? refused : 0; i < ran.size(); ++i) lines += ran[i] + "|";
        for (const std::string &c : server->commands()) sent += (sent.empty() ? "" : " ") + c.substr(3, c.size() - 5);
        EXPECT_EQ(sent, s.sent);
        EXPECT_EQ(lines, s.lines);
        EXPECT_EQ(g_timeouts, std::vector<int32_t>(server->commands().size(), 15));
        EXPECT_EQ(reason, s.reason);
        EXPECT_EQ(g_notes, s.status == 0 ? std::to_string(s.reason) + " " : "");
        EXPECT_EQ(g_pauses, s.pauses);
        bool found = !*s.logged;
        for (const LogLine &l : log.lines())
            found |= l.text.rfind("zel_sleep_api:", 0) == 0 && l.text.find(s.logged) != std::string::npos;
        EXPECT_TRUE(found) << s.logged;
    }
};

TEST_F(Sleep, Sequences) {
    const auto D = zelEnterDeepSleep, F = zelEnterFastSleep;
    const std::string down = "CFUN? CFUN=4 CTTYCLOSE", undone = down + " CENSLEEP CTTYOPEN CEXSLEEP CFUN=0",
                      all = undone + " CWAKER? CSWAKEUP", fast = "CENSLEEP CTTYCLOSE CEXSLEEP CTTYOPEN",
                      fastAll = fast + " CWAKER? CFWAKEUP", usb = kOff + kRtc5 + kBack, mem = kOff + kMem + kBack,
                      rtc7 = "rtcwake -m mem -s 7 -d /dev/rtc0|", x = "", p4 = "500 500 500 500 ";
    const Seq rows[] = {
        {"deep, alarm", D, 5, {}, {}, all, usb, 0, 3, "5000 ", "execute: rtcwake -m mem -s 5 -d /dev/rtc0\n"},
        {"deep, no alarm", D, 0, {}, {}, all, mem, 0, 3, "5000 ", ""},
        {"deep, negative seconds", D, -1, {}, {}, all, mem, 0, 3, "5000 ", ""},
        {"deep, reason 10", D, 5, {{"CWAKER?", {"\r\n+CWAKER: 10\r\n\r\nOK\r\n"}}}, {}, all, usb, 0, 10, "5000 ",
         "wakeup reason: 10"},
        {"deep, reason unknown", D, 5, {{"CWAKER?", {"\r\n+CWAKER: 11\r\n\r\nOK\r\n"}}}, {}, all, usb, 0, 10, "5000 ",
         ""},
        {"deep, level unknown", D, 5, {{"CFUN?", {kErr}}}, {},
         down + " CENSLEEP CTTYOPEN CEXSLEEP CFUN=1 CWAKER? CSWAKEUP", usb, 0, 3, "5000 ", "level 1 will be restored"},
        {"deep, level 4 and USB off untested", D, 5, {{"CFUN=4", {kErr}}}, {-1}, all, usb, 0, 3, "5000 ", ""},
        {"deep, port stays open", D, 5, {{"CTTYCLOSE", kErr4}}, {}, down + " CTTYCLOSE CTTYCLOSE CTTYCLOSE CFUN=0", x,
         5, kKeep, p4, ""},
        {"deep, port silent", D, 5, {{"CTTYCLOSE", {x}}}, {}, down + " CFUN=0", x, 5, kKeep, "", "ret == NULL"},
        {"deep, port closes at the third try", D, 5, {{"CTTYCLOSE", {kErr, kErr}}}, {},
         down + " CTTYCLOSE CTTYCLOSE CENSLEEP CTTYOPEN CEXSLEEP CFUN=0 CWAKER? CSWAKEUP", usb, 0, 3, "500 500 5000 ",
         ""},
        {"deep, OK before +CENSLEEP", D, 5, {{"CENSLEEP", {"\r\n+X: OK\r\n+CENSLEEP\r\n\r\nOK\r\n"}}}, {},
         down + " CENSLEEP CTTYOPEN CFUN=0", kOff + kBack, 5, kKeep, "", "Failed to prepare to enter sleep mode"},
        {"deep, port lost after the refusal", D, 5, {{"CENSLEEP", {kErr}}, {"CTTYOPEN", {x}}}, {},
         down + " CENSLEEP CTTYOPEN CFUN=0", kOff + kBack, 5, kKeep, "", "Critical error cannot recover uart at port"},
        {"deep, suspend fails", D, 5, {}, {0, 1}, undone, usb, 5, kKeep, "", ""},
        {"deep, no recorder", D, 5, {}, {kNoRecorder}, undone, usb, 5, kKeep, "", ""},
        {"deep, port not reopened", D, 5, {{"CTTYOPEN", kErr4}}, {},
         down + " CENSLEEP CTTYOPEN CTTYOPEN CTTYOPEN CTTYOPEN CEXSLEEP CFUN=0", usb, 5, kKeep, p4,
         "Failed to enable uart port action"},
        {"deep, sleep not left", D, 5, {{"CEXSLEEP", {kErr}}}, {}, undone, usb, 5, kKeep, "", "Failed to exec exit"},
        {"deep, wake unconfirmed", D, 5, {{"CSWAKEUP", {x}}}, {}, all, usb, 5, 3, "5000 ", "ret == NULL"},
        {"deep, any confirmation", D, 5, {{"CSWAKEUP", {kErr}}}, {}, all, usb, 0, 3, "5000 ", ""},
        {"fast, alarm", F, 7, {}, {}, fastAll, rtc7, 0, 3, "", "execute: rtcwake -m mem -s 7 -d /dev/rtc0\n"},
        {"fast, no alarm", F, 0, {}, {}, fastAll, kMem, 0, 3, "", ""},
        {"fast, prepare refused", F, 7, {{"CENSLEEP", {kErr}}}, {}, "CENSLEEP", x, 5, kKeep, "", "Failed to prepare"},
        {"fast, port stays open", F, 7, {{"CTTYCLOSE", kErr4}}, {}, "CENSLEEP CTTYCLOSE CTTYCLOSE CTTYCLOSE CTTYCLOSE",
         x, 5, kKeep, p4, ""},
        {"fast, suspend fails", F, 7, {}, {1}, fast, rtc7, 5, kKeep, "", ""},
        {"fast, sleep not left", F, 7, {{"CEXSLEEP", {kErr}}, {"CTTYOPEN", {x}}}, {}, fast, rtc7, 5, kKeep, "",
         "Failed to exec exit sleep action"},
        {"fast, port silent after resume", F, 7, {{"CTTYOPEN", {x}}}, {}, fast, rtc7, 5, kKeep, "", "ret == NULL"},
        {"fast, reason unknown", F, 7, {{"CWAKER?", {kErr}}}, {}, fastAll, rtc7, 0, 10, "", ""},
        {"fast, wake unconfirmed", F, 7, {{"CFWAKEUP", {x}}}, {}, fastAll, rtc7, 5, 3, "", "ret == NULL"},
    };
    for (const Seq &s : rows) check(s);
}

TEST_F(Sleep, SmallCommands) {
    checkTable("zel_sleep_api", {
        OK(zellteWakeupSet(1, -1), "AT+CLTEWAKEUP=1\r\n"),
        OK(zellteWakeupSet(1, 0), "AT+CLTEWAKEUP=1,0\r\n"),
        OK(zellteWakeupSet(0, -2), "AT+CLTEWAKEUP=0,-2\r\n"),
    });
    checkRefusals({
        REFUSE(zellteWakeupSet(2, -1), 1), REFUSE(zellteWakeupSet(kNeg, 0), 1), REFUSE(zelGetWakeupReason(nullptr), 5),
        REFUSE(zelEnterDeepSleep(5, nullptr), 5), REFUSE(zelEnterFastSleep(5, nullptr), 5),
    });
}

TEST(WakeupReason, UnsignedNumberUpToTheLineEnd) {
    const std::tuple<std::string, int32_t, uint32_t> cases[] = {
        {"+CWAKER: 0010\r\nOK", 0, 10}, {"+CWAKER:  +7x\r\nOK", 0, 7}, {"+CWAKER: \r\nOK", 0, 0},
        {"+CWAKER: -0\r\nOK", 0, 0}, {std::string("+CWAKER: 1\0002\r\nOK", 16), 0, 1}, {"+CWAKER: -1\r\nOK", 5, kKeep},
        {"+CWAKER: 4294967299\r\nOK", 5, kKeep}, {"+CWAKER: 3\nOK", 5, kKeep}, {"OK\r\n+CWAKER: 3", 5, kKeep},
        {"+CWAKER:3\r\nOK", 5, kKeep}};
    for (const auto &[text, status, want] : cases) {
        uint32_t reason = kKeep;
        EXPECT_EQ(zel::wakeupReasonIn(text.data(), int32_t(text.size()), &reason), status) << text;
        EXPECT_EQ(reason, want) << text;
    }
    uint32_t reason = kKeep;  // the length bounds the text
    EXPECT_EQ(zel::wakeupReasonIn("+CWAKER: 3\r\nOK", 11, &reason), 5);
}

}  // namespace

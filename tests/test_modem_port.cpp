// The direct modem port: its building blocks over a pipe, and the dial and the
// SMS send over a pseudo-terminal whose master side the test plays as the
// modem. The modem answers at the library's pauses, which are recorded and
// not waited out unless a row asks for real ones.
#include <fcntl.h>
#include <termios.h>
#include <unistd.h>

#include <regex>

#include "test_support.h"  // the library's headers, gtest and the fake server's std headers
#include "zelto_api_modules/zel_sms_internal.h"

namespace {

using namespace zeltest;
using S = std::string;

std::mutex g_mu;
std::vector<uint64_t> g_pauses;  // every pause of the library, in microseconds
std::vector<int> g_opens;        // the flags of every open of the port
std::function<void()> g_on_pause;
bool g_real_pauses = false;

S drain(int fd) {
    S s;
    char b[4096];
    for (ssize_t n; (n = read(fd, b, sizeof b)) > 0;) s.append(b, size_t(n));
    return s;
}

struct Pipe {  // non-blocking, one page of room
    int fd[2] = {-1, -1};
    Pipe() { EXPECT_TRUE(pipe2(fd, O_NONBLOCK) == 0 && fcntl(fd[1], F_SETPIPE_SZ, 4096) > 0); }
    ~Pipe() { close(fd[0]), close(fd[1]); }
    void put(const S &s) { EXPECT_EQ(write(fd[1], s.data(), s.size()), ssize_t(s.size())); }
};

// The slave side of a raw pseudo-terminal is the library's port. At each pause
// the modem reads what the library wrote and answers every whole command
// ("AT...\r\n") or body (up to Ctrl-Z) with answer(unit).
struct Modem {
    int master = posix_openpt(O_RDWR | O_NOCTTY | O_NONBLOCK), slave = -1;
    S path, received, pending;
    std::function<S(const S &)> answer;
    explicit Modem(std::function<S(const S &)> a) : answer(std::move(a)) {
        EXPECT_TRUE(grantpt(master) == 0 && unlockpt(master) == 0);
        path = ptsname(master);
        slave = open(path.c_str(), O_RDWR | O_NOCTTY);  // held: the line stays up between the library's opens
        struct termios t;
        EXPECT_TRUE(tcgetattr(slave, &t) == 0 && (cfmakeraw(&t), tcsetattr(slave, TCSANOW, &t)) == 0);
        zel::g_platform.modem_port = path.c_str();
        g_on_pause = [this] { serve(); };
    }
    ~Modem() { close(slave), close(master); }
    void serve() {
        std::lock_guard<std::mutex> lock(g_mu);
        S got = drain(master);
        received += got, pending += got;
        for (;;) {  // a command ends with its line end, a body with Ctrl-Z
            bool command = pending.rfind("AT", 0) == 0;
            size_t end = command ? pending.find("\r\n") : pending.find('\x1a');
            if (end == S::npos) break;
            end += command ? 2 : 1;
            S reply = answer(pending.substr(0, end));
            pending.erase(0, end);
            EXPECT_EQ(write(master, reply.data(), reply.size()), ssize_t(reply.size()));
        }
    }
};

std::function<S(const S &)> inTurn(std::vector<S> replies) {
    auto next = std::make_shared<size_t>(0);
    return [replies, next](const S &) { return *next < replies.size() ? replies[(*next)++] : S(); };
}

class Port : public LinkTest {
protected:
    void SetUp() override {
        LinkTest::SetUp();
        g_on_pause = nullptr, g_real_pauses = false;
        zel::g_platform.sleep_us = [](uint64_t us) {
            g_mu.lock(), g_pauses.push_back(us), g_mu.unlock();
            if (g_real_pauses) zel::defaultPlatform().sleep_us(us);
            if (g_on_pause) g_on_pause();
        };
        zel::g_platform.open_port = [](const char *path, int flags) {
            g_mu.lock(), g_opens.push_back(flags), g_mu.unlock();
            return open(path, flags | O_NOCTTY);
        };
    }
    void TearDown() override {
        zel::Platform d = zel::defaultPlatform();
        zel::g_platform.sleep_us = d.sleep_us, zel::g_platform.open_port = d.open_port;
        zel::g_platform.modem_port = d.modem_port, g_on_pause = nullptr;
        LinkTest::TearDown();
    }
    void begin() { g_pauses.clear(), g_opens.clear(), log.clear(); }
    // A line at `priority` that reads `want`, "*" standing for the line number after a source name.
    bool logged(int priority, const S &want) {
        for (const LogLine &l : log.lines())
            if (l.priority == priority && std::regex_replace(l.text, std::regex("^(\\w+):\\d+: "), "$1:*: ") == want)
                return true;
        return false;
    }
    // The port lock's log lines in order, as "lock by: a|release by: a|".
    S locks() {
        S out;
        for (const LogLine &l : log.lines())
            if (l.text.find("SMD10 access ") != S::npos) out += l.text.substr(l.text.find("access ") + 7) + "|";
        return out;
    }
};

TEST_F(Port, ReadEndsOnFinalResultFullBufferOrSpentBudget) {
    // `first` is in the pipe before the read, `later` comes one per pause; `left` stays in the pipe.
    const struct { const char *name; S first; std::vector<S> later; int32_t size, timeout_ms, want; S got, left;
                   size_t pauses; bool bad_fd = false, real = false; } cases[] = {
        {"OK split over two reads", "\r\nO", {"K\r\n"}, 127, 5000, 6, "\r\nOK\r\n", "", 1},
        {"extended error: budget runs out", "\r\n+CME ERROR: 1\r\n", {}, 127, 600, 17, "\r\n+CME ERROR: 1\r\n", "", 3},
        {"silence: two real steps for 300 ms", "", {}, 127, 300, -1, "", "", 2, false, true},
        {"a full buffer returns at once", "\r\nOK\r\n", {}, 4, 5000, 4, "\r\nOK", "\r\n", 0},
        {"no budget: nothing read", "\r\nOK\r\n", {}, 127, 0, -1, "", "\r\nOK\r\n", 0},
        {"failing reads end by the budget", "", {}, 127, 400, -1, "", "", 2, true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        Pipe p;
        p.put(c.first);
        size_t fed = 0;
        g_on_pause = [&] { fed < c.later.size() ? p.put(c.later[fed++]) : void(); };
        g_real_pauses = c.real;
        begin();
        char buf[128] = {0};
        int fd = p.fd[c.bad_fd];
        auto t0 = std::chrono::steady_clock::now();
        EXPECT_EQ(zel_read_data_from_modem(fd, buf, c.size, c.timeout_ms), c.want);
        EXPECT_TRUE(!c.real || std::chrono::steady_clock::now() - t0 >= std::chrono::milliseconds(400));
        EXPECT_EQ(S(buf), c.got);
        EXPECT_EQ(drain(p.fd[0]), c.left);
        EXPECT_EQ(g_pauses, std::vector<uint64_t>(c.pauses, 200000));
        S timeout = "zelto_sdk_internal:*: Read from fd " + std::to_string(fd) + ", timeout exit";
        EXPECT_EQ(logged(LOG_WARNING, timeout), c.want < 0);
    }
}

TEST_F(Port, WriteRetriesOnlyFailedWritesAndFlushDrains) {
    const struct { const char *name; bool drains, bad_fd, ok; std::vector<int> retries; S error; } cases[] = {
        {"split by EAGAIN", true, false, true, {3, 2}, "Resource temporarily unavailable"},
        {"three EAGAIN failures", false, false, false, {3, 2, 1}, "Resource temporarily unavailable"},
        {"another error ends at once", false, true, false, {3}, "Bad file descriptor"},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        Pipe p;
        S data(2 * size_t(fcntl(p.fd[1], F_GETPIPE_SZ)) + 100, 0), got;
        for (size_t i = 0; i < data.size(); ++i) data[i] = char('a' + i % 26);
        g_on_pause = [&] { got += c.drains ? drain(p.fd[0]) : ""; };
        begin();
        int fd = p.fd[!c.bad_fd];
        EXPECT_EQ(zel_send_data_to_fd(fd, data.data(), int32_t(data.size())), c.ok ? int32_t(data.size()) : -1);
        got += drain(p.fd[0]);
        EXPECT_EQ(c.ok ? data : data.substr(0, got.size()), got);  // every byte once, in order
        EXPECT_EQ(g_pauses, std::vector<uint64_t>(c.bad_fd ? 0 : c.retries.size(), 100000));
        EXPECT_EQ(log.count("Write to fd"), int(c.retries.size()));
        for (int r : c.retries)
            EXPECT_TRUE(logged(LOG_WARNING, "zelto_sdk_internal:*: Write to fd " + std::to_string(fd) + ", retry: " +
                                                std::to_string(r) + ", error: " + c.error));
    }
    Pipe p;
    p.put(S(300, 'x'));
    EXPECT_EQ(zel_flush_all_data_in_fd(p.fd[0]), -1);  // drained up to EAGAIN
    EXPECT_EQ(drain(p.fd[0]), "");
    close(p.fd[1]), p.fd[1] = -1;
    EXPECT_EQ(zel_flush_all_data_in_fd(p.fd[0]), 0);  // up to the end of the file
}

// One call per row against a modem that answers each command or body with the
// next reply: the status, every byte written to the port, the 200 ms pauses of
// all reads, the open, the port lock's log lines and one further log line.
struct Dialogue { const char *name; std::function<int32_t()> call; std::vector<S> replies; int32_t status; S sent;
                  size_t pauses; S locks, log; int priority; };

TEST_F(Port, DialAndSendDialogues) {
    const S ok = "\r\nOK\r\n", prompt = "\r\n> ", cmgs = "\r\n+CMGS: 12\r\n", err = "\r\nERROR\r\n";
    const S pdu = "AT+CMGF=0\r\nAT+CMGS=", hi_pdu = "0001000C9119896745230100080400480069\x1a";
    const S text = "AT+CMGF=1\r\nAT+CMGS=\"9876543210\"\r\n", cc = "zel_call_control_api:*: ";
    const S send = "lock by: open_smd_port|release by: zelSendSMS|", dial = "lock by: zelATDGet|release by: zelATDGet|";
    const S n121(121, '5'), n122(122, '5'), n116(116, '5');
    zelString hi = view("Hi"), empty = view("", 1), e9 = view("\xE9"), no_data = view(nullptr, 1), no_len = view("Hi", 0);
    auto sms = [](const char *number, const zelString *m, int32_t mode) {
        return [=] { return zelSendSMS(number, m, mode); };
    };
    auto atd = [](const char *number) { return [=] { return zelATDGet(number); }; };
    auto noPort = [](std::function<int32_t()> call) {
        return [=] { return zel::g_platform.modem_port = "/nonexistent/smd10", call(); };
    };
    const char *N = "9876543210";
    const S a70(70, 'a'), a71(71, 'a'), a160(160, 'a'), a161(161, 'a');
    zelString t70 = view(a70.c_str()), t71 = view(a71.c_str()), t160 = view(a160.c_str()), t161 = view(a161.c_str());
    S u70;
    for (int i = 0; i < 70; ++i) u70 += "0061";
    const Dialogue cases[] = {
        {"PDU: the worked example", sms(N, &hi, 1), {ok, prompt, cmgs + ok}, 0, pdu + "17\r\n" + hi_pdu, 1 + 15 + 1,
         send, "zelSendSMS start mode=PDU", LOG_INFO},
        {"PDU: 11 digits, the address length counts them", sms("98765432101", &hi, 1), {ok, prompt, ok}, 0,
         pdu + "18\r\n0001000D91198967452301F100080400480069\x1a", 17, send, "", 0},
        {"PDU: 13 digits", sms("9876543210123", &hi, 1), {ok, prompt, ok}, 0,
         pdu + "19\r\n0001000F9119896745230121F300080400480069\x1a", 17, send, "", 0},
        {"PDU: a '+' number keeps its own country code", sms("+4930123", &hi, 1), {ok, prompt, ok}, 0,
         pdu + "15\r\n0001000791940321F300080400480069\x1a", 17, send, "", 0},
        {"PDU: 70 characters fit", sms(N, &t70, 1), {ok, prompt, ok}, 0, pdu + "153\r\n0001000C9119896745230100088C" + u70 + "\x1a",
         17, send, "", 0},
        {"PDU: 71 do not", sms(N, &t71, 1), {}, 1, "", 0, "", "zel_sms_api:*: a text of 71 characters does not fit one message of 70: refused", LOG_ERR},
        {"text: 160 characters fit", sms(N, &t160, 0), {ok, prompt, ok}, 0, text + S(t160.data) + "\x1a", 10, send, "", 0},
        {"text: 161 do not", sms(N, &t161, 0), {}, 1, "", 0, "", "zel_sms_api:*: a text of 161 characters does not fit one message of 160: refused", LOG_ERR},
        {"text: a letter in the number", sms("555-0100", &hi, 0), {}, 1, "", 0, "",
         "zel_sms_api:*: the number is not digits after an optional '+': refused", LOG_ERR},
        {"PDU: '+' alone", sms("+", &hi, 1), {}, 1, "", 0, "", "zel_sms_api:*: the number is not digits after an optional '+', 20 at most with its country code: refused", LOG_ERR},
        {"PDU: 19 digits do not fit the address with 91", sms("1234567890123456789", &hi, 1), {}, 1, "", 0, "",
         "zel_sms_api:*: the number is not digits after an optional '+', 20 at most with its country code: refused", LOG_ERR},
        {"PDU: empty text", sms(N, &empty, 1), {ok, prompt, ok}, 0, pdu + "13\r\n0001000C91198967452301000800\x1a", 17,
         send, "", 0},
        {"PDU: a byte above 0x7F", sms(N, &e9, 1), {ok, prompt, ok}, 0,
         pdu + "15\r\n0001000C9119896745230100080200E9\x1a", 17, send, "", 0},
        {"PDU (mode 2): +CMGS: alone is sent", sms(N, &hi, 2), {ok, prompt, cmgs}, 0, pdu + "17\r\n" + hi_pdu,
         1 + 15 + 40, send, "", 0},
        {"PDU: no prompt, ESC ends message entry", sms(N, &hi, 1), {ok, err}, 5, pdu + "17\r\n\x1b", 2, send, "send_pdu_sms: No > prompt", LOG_ERR},
        {"text: sent", sms(N, &hi, 0), {ok, prompt, cmgs + ok}, 0, text + "Hi\x1a", 1 + 8 + 1, send,
         "zelSendSMS start mode=TEXT", LOG_INFO},
        {"text: +CMGS: alone fails", sms(N, &hi, 0), {ok, prompt, cmgs}, 5, text + "Hi\x1a", 1 + 8 + 30, send, "", 0},
        {"text: empty text is Ctrl-Z alone", sms(N, &empty, 0), {ok, prompt, ok}, 0, text + "\x1a", 10, send, "", 0},
        {"text: silent modem, no prompt", sms(N, &hi, 0), {}, 5, text + "\x1b", 2 + 8, send, "send_text_sms: No > prompt",
         LOG_ERR},
        {"send: no port", noPort(sms(N, &hi, 1)), {}, 5, "", 0, "lock by: open_smd_port|release by: open_smd_port|",
         "open_smd_port: cannot open smd10 (No such file or directory)", LOG_ERR},
        {"dial: OK", atd("+4930123"), {ok}, 0, "ATD+4930123;\r\n", 1, dial, cc + "Call response: \r\nOK\r\n", LOG_INFO},
        {"dial: the longest number", atd(n121.c_str()), {ok}, 0, "ATD" + n121 + ";\r\n", 1, dial, "", 0},
        {"dial: ERROR", atd("123"), {err}, 5, "ATD123;\r\n", 1, dial, "", 0},
        {"dial: no final code", atd("123"), {"\r\nNO CARRIER\r\n"}, 5, "ATD123;\r\n", 25, dial,
         cc + "Call response: \r\nNO CARRIER\r\n", LOG_INFO},
        {"dial: silence", atd("123"), {}, 5, "ATD123;\r\n", 25, dial, cc + "No response from modem for ATD command",
         LOG_WARNING},
        {"dial: no port", noPort(atd("123")), {}, 5, "", 0, dial,
         cc + "Unable to open /dev/smd10, error: No such file or directory", LOG_ERR},
        {"dial: NULL", atd(nullptr), {}, 5, "", 0, "", cc + "Invalid phone number", LOG_ERR},
        {"dial: empty", atd(""), {}, 5, "", 0, "", cc + "Invalid phone number", LOG_ERR},
        {"dial: too long", atd(n122.c_str()), {}, 5, "", 0, "", cc + "Failed to format ATD command", LOG_ERR},
        {"send: NULL number", sms(nullptr, &hi, 1), {}, 5, "", 0, "", "", 0},
        {"send: empty number", sms("", &hi, 0), {}, 5, "", 0, "", "", 0},
        {"send: NULL message", sms(N, nullptr, 1), {}, 5, "", 0, "", "", 0},
        {"send: NULL data", sms(N, &no_data, 1), {}, 5, "", 0, "", "", 0},
        {"send: len 0", sms(N, &no_len, 0), {}, 5, "", 0, "", "", 0},
        {"text: a number over 115 characters is cut", sms(n116.c_str(), &hi, 0), {ok}, 5,
         "AT+CMGF=1\r\nAT+CMGS=\"" + n116 + "\"\r\x1b", 1 + 8, send, "send_text_sms: No > prompt", LOG_ERR},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.name);
        Modem modem(inTurn(c.replies));
        begin();
        EXPECT_EQ(c.call(), c.status);
        modem.serve();
        EXPECT_EQ(modem.received, c.sent);
        EXPECT_EQ(g_pauses, std::vector<uint64_t>(c.pauses, 200000));
        int flags = O_RDWR | O_NONBLOCK | O_CLOEXEC | (c.locks == dial ? O_EXCL : 0);
        EXPECT_EQ(g_opens, c.locks.empty() ? std::vector<int>{} : std::vector<int>{flags});
        EXPECT_EQ(locks(), c.locks);
        EXPECT_TRUE(pthread_mutex_trylock(&smd_lock) == 0 && pthread_mutex_unlock(&smd_lock) == 0);
        EXPECT_TRUE(c.log.empty() ? !c.locks.empty() || log.lines().empty() : logged(c.priority, c.log)) << c.log;
    }
}

// Each user of the port holds it first in turn: the other starts once the
// first is in its dialogue and waits for the lock while a command goes through
// the SDK server; the port then sees one whole dialogue after the other. (The
// "lock by" line comes before the lock is taken, so starting both at once
// would leave the order of those lines to chance.)
TEST_F(Port, DialAndSendNeverInterleave) {
    Modem modem([](const S &unit) -> S {
        if (unit.rfind("AT+CMGS", 0) == 0) return "\r\n> ";
        return unit.back() == '\x1a' ? "\r\n+CMGS: 3\r\n\r\nOK\r\n" : "\r\nOK\r\n";
    });
    const S sms = "AT+CMGF=0\r\nAT+CMGS=17\r\n0001000C9119896745230100080400480069\x1a", atd = "ATD1;\r\n";
    const S sms_lock = "lock by: open_smd_port|", atd_lock = "lock by: zelATDGet|";
    std::atomic<bool> paused{false}, server_used{false};
    g_on_pause = [&] {
        paused = true;
        waitUntil([&] { return log.count("SMD10 access lock by") == 2 && server_used; });
        modem.serve();
    };
    zelString hi = view("Hi");
    for (bool sms_first : {true, false}) {
        SCOPED_TRACE(sms_first ? "message first" : "dial first");
        begin();
        modem.received.clear();
        paused = server_used = false;
        int32_t sent = -1, dialled = -1;
        std::function<void()> send = [&] { sent = zelSendSMS("9876543210", &hi, 1); };
        std::function<void()> dial = [&] { dialled = zelATDGet("1"); };
        std::thread first(sms_first ? send : dial);
        EXPECT_TRUE(waitUntil([&] { return paused.load(); }));
        std::thread second(sms_first ? dial : send);
        EXPECT_TRUE(waitUntil([&] { return log.count("SMD10 access lock by") == 2; }));
        server->reply("\r\n+CSQ: 23,99\r\n\r\nOK\r\n");
        Owned csq;
        EXPECT_EQ(zelGetCSQ(csq.out()), 0);
        EXPECT_EQ(csq.str(), "23,99");
        server_used = true;
        first.join(), second.join();
        EXPECT_EQ(sent + dialled, 0);
        EXPECT_EQ(modem.received, sms_first ? sms + atd : atd + sms);
        EXPECT_EQ(locks(), sms_first ? sms_lock + atd_lock + "release by: zelSendSMS|release by: zelATDGet|"
                                     : atd_lock + sms_lock + "release by: zelATDGet|release by: zelSendSMS|");
    }
}

TEST(SmsPdu, NullInputs) {
    EXPECT_TRUE(!zel::buildSubmitPdu(nullptr, "x") && !zel::buildSubmitPdu("1", nullptr) && !convert_to_ucs2(nullptr));
    encode_number_semi_octet(nullptr, nullptr);  // nothing to do, nothing written
}

}  // namespace

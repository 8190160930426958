// The two event listeners over real sockets. Their threads are detached and
// live until the process ends, so this binary starts each listener once, fills
// both registries once (ten slots each) and restarts the servers on the same
// paths.
#include <gtest/gtest.h>

#include <stdlib.h>
#include <syslog.h>
#include <unistd.h>

#include <chrono>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "core/platform.h"
#include "fake_server.h"
#include "test_support.h"
#include "zelto_sdk.h"

namespace {

using zeltest::FakeServer;
using zeltest::LogCapture;
using zeltest::waitUntil;

// A record as a callback saw it, copied while it was valid.
struct Seen {
    int callback;
    uint32_t type;
    int value;
    int status;
    int progress;
    std::string urc;
};

std::mutex g_mu;
std::vector<std::pair<int, std::string>> g_ip_calls;
std::vector<Seen> g_note_calls;

template <int Id>
void ipCallback(const char *text) {
    std::lock_guard<std::mutex> lock(g_mu);
    g_ip_calls.emplace_back(Id, text);
}

template <int Id>
void noteCallback(zelNotification *n) {
    Seen s{Id, n->type, n->payload.value, n->payload.ota.status, n->payload.ota.progress, ""};
    if (n->type == NOTIFICATION_URC) s.urc.assign(n->payload.urc.data, n->payload.urc.length);
    std::lock_guard<std::mutex> lock(g_mu);
    g_note_calls.push_back(s);
}

// Slot 8 holds a null entry (skipped when calling), slot 9 repeats callback 0.
const std::vector<int> kCallOrder = {0, 1, 2, 3, 4, 5, 6, 7, 0};

std::atomic<int> g_retry_pauses{0};
std::atomic<uint64_t> g_last_pause{0};

// The listeners' 2 s pauses take 50 ms here.
void shortSleep(uint64_t us) {
    if (us == 2000000) ++g_retry_pauses;
    g_last_pause = us;
    std::this_thread::sleep_for(std::chrono::microseconds(std::min<uint64_t>(us, 50000)));
}

// Plain arrays: the listener threads read the paths until the process ends.
char g_dir[64];
char g_ip_path[96];
char g_note_path[96];
LogCapture *g_log;  // kept for the life of the process, like the threads
FakeServer *g_ip_server;
FakeServer *g_note_server;

std::string bytes(std::initializer_list<int> values) {
    std::string s;
    for (int v : values) s.push_back(char(v));
    return s;
}

// Messages the notification listener has finished with, decoded or not.
int handledMessages() {
    int n = 0;
    for (const zeltest::LogLine &l : g_log->lines()) {
        int count;
        char rest[16];
        if (sscanf(l.text.c_str(), "Received %d notificatio%15s", &count, rest) == 2 ||
            l.text == "Failed to parse notification payload")
            ++n;
    }
    return n;
}

// Sends one notification message and waits until the listener has handled it.
bool sendMessage(const std::string &message) {
    int handled = handledMessages();
    g_note_server->push(message);
    return waitUntil([&] { return handledMessages() > handled; });
}

size_t noteCalls() {
    std::lock_guard<std::mutex> lock(g_mu);
    return g_note_calls.size();
}

std::vector<Seen> takeNoteCalls() {
    std::lock_guard<std::mutex> lock(g_mu);
    std::vector<Seen> out;
    out.swap(g_note_calls);
    return out;
}

std::vector<std::pair<int, std::string>> takeIpCalls() {
    std::lock_guard<std::mutex> lock(g_mu);
    std::vector<std::pair<int, std::string>> out;
    out.swap(g_ip_calls);
    return out;
}

size_t ipCalls() {
    std::lock_guard<std::mutex> lock(g_mu);
    return g_ip_calls.size();
}

class Listeners : public ::testing::Environment {
public:
    void SetUp() override {
        g_log = new LogCapture();
        snprintf(g_dir, sizeof g_dir, "/tmp/zellisten-XXXXXX");
        ASSERT_NE(mkdtemp(g_dir), nullptr);
        snprintf(g_ip_path, sizeof g_ip_path, "%s/ip.sock", g_dir);
        snprintf(g_note_path, sizeof g_note_path, "%s/note.sock", g_dir);
        zel::g_platform.ip_socket = g_ip_path;
        zel::g_platform.notify_socket = g_note_path;
        zel::g_platform.sleep_us = shortSleep;
        g_ip_server = new FakeServer(g_ip_path);
        g_note_server = new FakeServer(g_note_path);
        ASSERT_EQ(init_ip_listener_thread(), 0);
        ASSERT_EQ(InitNotificationListenerThread(), 0);
        ASSERT_TRUE(g_ip_server->waitForConnections(1));
        ASSERT_TRUE(g_note_server->waitForConnections(1));
        ASSERT_TRUE(waitUntil([] { return g_log->count("Connected to server at ") == 2; }));
        EXPECT_TRUE(g_log->contains(std::string("Connected to server at ") + g_ip_path + "\n", LOG_INFO));
        EXPECT_TRUE(g_log->contains(std::string("Connected to server at ") + g_note_path + "\n", LOG_INFO));

        // Before any callback: events are still read and logged, and the
        // last network mode is still kept.
        g_ip_server->push("before callbacks");
        ASSERT_TRUE(waitUntil([] { return g_log->contains("Received notification: before callbacks\n", LOG_INFO); }));
        ASSERT_TRUE(sendMessage(bytes({0, 3})));
        EXPECT_TRUE(g_log->contains("Received 1 notification\n", LOG_INFO));
        EXPECT_EQ(g_log->count("Entering, number client: 0"), 2);
        EXPECT_EQ(g_log->count("Calling f"), 0);

        // A NULL callback is refused by the exported calls without a word.
        g_log->clear();
        EXPECT_EQ(zelRegisterIPChanged(nullptr), 5);
        EXPECT_EQ(zelRegisterNotification(nullptr), 5);
        EXPECT_TRUE(g_log->lines().empty());

        const zelIPChangedCallback ip[] = {ipCallback<0>, ipCallback<1>, ipCallback<2>, ipCallback<3>,
                                           ipCallback<4>, ipCallback<5>, ipCallback<6>, ipCallback<7>};
        const zelNotificationCallback note[] = {noteCallback<0>, noteCallback<1>, noteCallback<2>,
                                                noteCallback<3>, noteCallback<4>, noteCallback<5>,
                                                noteCallback<6>, noteCallback<7>};
        for (int i = 0; i < 8; ++i) {
            EXPECT_EQ(zelRegisterIPChanged(ip[i]), 0);
            EXPECT_EQ(zelRegisterNotification(note[i]), 0);
        }
        // The internal calls keep a null entry.
        EXPECT_EQ(RegisterIPChangedEvent(nullptr), 0);
        EXPECT_EQ(RegisterNotification(nullptr), 0);
        EXPECT_EQ(zelRegisterIPChanged(ipCallback<0>), 0);
        EXPECT_EQ(zelRegisterNotification(noteCallback<0>), 0);
        EXPECT_EQ(g_log->count("Callback registered. Total callbacks: 10"), 2);
        g_log->clear();
    }

    void TearDown() override {
        // The listeners go back to retrying, silently, until the process ends.
        int closed = g_log->count("Server closed the connection\n");
        delete g_ip_server;
        delete g_note_server;
        EXPECT_TRUE(waitUntil([&] { return g_log->count("Server closed the connection\n") >= closed + 2; }));
        rmdir(g_dir);
    }
};

::testing::Environment *const g_env = ::testing::AddGlobalTestEnvironment(new Listeners);

TEST(IpListener, EachEventReachesEveryCallbackInRegistrationOrder) {
    takeIpCalls();
    g_log->clear();
    g_ip_server->push("wlan0 192.168.1.20");
    ASSERT_TRUE(waitUntil([] { return ipCalls() == kCallOrder.size(); }));
    auto calls = takeIpCalls();
    for (size_t i = 0; i < calls.size(); ++i) {
        EXPECT_EQ(calls[i].first, kCallOrder[i]) << i;
        EXPECT_EQ(calls[i].second, "wlan0 192.168.1.20");
    }
    EXPECT_TRUE(g_log->contains("Received notification: wlan0 192.168.1.20\n", LOG_INFO));
    EXPECT_TRUE(g_log->contains("Entering, number client: 10", LOG_DEBUG));
    EXPECT_TRUE(g_log->contains("Calling func_id: 9", LOG_DEBUG));
    EXPECT_FALSE(g_log->contains("Calling func_id: 8"));  // the null slot
    EXPECT_TRUE(g_log->contains("Leaving", LOG_DEBUG));
}

TEST(IpListener, ReceivesOfAtMost255BytesAreEventsOfTheirOwn) {
    takeIpCalls();
    const std::string full(255, 'a');
    g_ip_server->push(full);
    ASSERT_TRUE(waitUntil([] { return ipCalls() == kCallOrder.size(); }));
    EXPECT_EQ(takeIpCalls()[1].second, full);

    // A longer burst arrives as several events, in order and complete.
    std::string burst;
    for (int i = 0; i < 600; ++i) burst.push_back(char('A' + i % 26));
    g_ip_server->push(burst);
    std::string joined;
    ASSERT_TRUE(waitUntil([&] {
        joined.clear();
        std::lock_guard<std::mutex> lock(g_mu);
        for (const auto &c : g_ip_calls)
            if (c.first == 1) joined += c.second;
        return joined.size() >= burst.size();
    }));
    EXPECT_EQ(joined, burst);
    auto calls = takeIpCalls();
    EXPECT_GE(calls.size(), 3 * kCallOrder.size());
    for (const auto &c : calls) EXPECT_LE(c.second.size(), 255u);

    // Text after a NUL byte is not seen by a string reader.
    g_ip_server->push(std::string("eth0\0up", 7));
    ASSERT_TRUE(waitUntil([] { return ipCalls() == kCallOrder.size(); }));
    EXPECT_EQ(takeIpCalls()[0].second, "eth0");
}

TEST(NotificationListener, ItemsOfOneMessageAreDeliveredInOrder) {
    takeNoteCalls();
    g_log->clear();
    ASSERT_TRUE(sendMessage(bytes({2, 0x2A, 3, 90, 50, 4, 0, 0, 0, 5, '+', 'C', 'M', 'T', 'I'})));
    ASSERT_TRUE(waitUntil([] { return noteCalls() == 3 * kCallOrder.size(); }));
    auto calls = takeNoteCalls();
    for (size_t i = 0; i < calls.size(); ++i) {
        const Seen &s = calls[i];
        EXPECT_EQ(s.callback, kCallOrder[i % kCallOrder.size()]) << i;
        EXPECT_EQ(s.type, uint32_t(2 + i / kCallOrder.size())) << i;
        if (s.type == 2) EXPECT_EQ(s.value, 1);
        if (s.type == 3) EXPECT_EQ(std::make_pair(s.status, s.progress), std::make_pair(90, 50));
        if (s.type == 4) EXPECT_EQ(s.urc, "+CMTI");
    }
    EXPECT_EQ(g_log->count("Received 3 notification\n"), 1);
    EXPECT_TRUE(g_log->contains("Calling function ID: 9", LOG_DEBUG));
    EXPECT_FALSE(g_log->contains("Calling function ID: 8"));
}

TEST(NotificationListener, MalformedMessagesDeliverNothingAndLeaveTheStateAlone) {
    struct Case {
        std::string message;
        const char *reason;
    };
    const Case cases[] = {
        {bytes({6, 200, 9, 0}), "Invalid notification type: 9"},
        {bytes({6, 200, 4, 0, 0, 0, 9, 'x'}), "Length is not enough for URC data"},
        {bytes({6, 200, 3, 1}), "Invalid payload length for OTA Status Indication"},
    };
    takeNoteCalls();
    for (const Case &c : cases) {
        g_log->clear();
        ASSERT_TRUE(sendMessage(c.message));
        EXPECT_TRUE(g_log->contains(c.reason, LOG_ERR)) << c.reason;
        EXPECT_TRUE(g_log->contains("Failed to parse notification payload", LOG_ERR));
        EXPECT_EQ(noteCalls(), 0u) << c.reason;
    }
    // The connection stayed, and the dropped 200s were never recorded.
    ASSERT_TRUE(sendMessage(bytes({6, 200})));
    ASSERT_TRUE(waitUntil([] { return noteCalls() == kCallOrder.size(); }));
    EXPECT_EQ(takeNoteCalls()[0].value, 200);
    ASSERT_TRUE(sendMessage(bytes({6, 200})));
    ASSERT_TRUE(sendMessage(bytes({7, 1})));
    ASSERT_TRUE(waitUntil([] { return noteCalls() == kCallOrder.size(); }));
    EXPECT_EQ(takeNoteCalls()[0].type, 7u);  // the repeated 200 was not delivered
}

TEST(NotificationListener, StateTypesAreDeliveredOnlyWhenTheyChange) {
    // Network mode 3 arrived before any callback was registered.
    struct Step {
        int type, value;
        bool delivered;
    };
    const Step steps[] = {{0, 3, false}, {0, 4, true}, {0, 4, false}, {1, 5, false},
                          {1, 6, true},  {5, 0, false}, {5, 1, true}, {2, 1, true}, {2, 1, true}};
    takeNoteCalls();
    for (const Step &s : steps) {
        ASSERT_TRUE(sendMessage(bytes({s.type, s.value})));
        ASSERT_TRUE(sendMessage(bytes({7, 0})));  // a marker that is always delivered
        ASSERT_TRUE(waitUntil([] {
            std::lock_guard<std::mutex> lock(g_mu);
            return !g_note_calls.empty() && g_note_calls.back().type == 7 && g_note_calls.size() % 9 == 0;
        }));
        auto calls = takeNoteCalls();
        EXPECT_EQ(calls.size(), (s.delivered ? 2 : 1) * kCallOrder.size()) << s.type << "=" << s.value;
        if (s.delivered) EXPECT_EQ(calls[0].value, s.value);
    }
}

TEST(Registries, EleventhRegistrationFailsAndKeepsTheTen) {
    g_log->clear();
    EXPECT_EQ(RegisterIPChangedEvent(ipCallback<9>), -1);
    EXPECT_EQ(RegisterNotification(noteCallback<9>), -1);
    EXPECT_EQ(g_log->count("Max callbacks reached, unable to register"), 2);
    EXPECT_EQ(zelRegisterIPChanged(ipCallback<9>), 5);
    EXPECT_TRUE(g_log->contains("zelto_sdk_internal:", LOG_ERR));
    EXPECT_TRUE(g_log->contains(": RegisterIPChangedEvent: failed to register", LOG_ERR));
    EXPECT_EQ(zelRegisterNotification(noteCallback<9>), 5);
    EXPECT_TRUE(g_log->contains(": RegisterNotification: failed to register", LOG_ERR));
    EXPECT_EQ(zelRegisterIPChanged(nullptr), 5);
    EXPECT_EQ(zelRegisterNotification(nullptr), 5);

    takeIpCalls();
    takeNoteCalls();
    g_ip_server->push("after eleventh");
    ASSERT_TRUE(sendMessage(bytes({7, 4})));
    ASSERT_TRUE(waitUntil([] { return ipCalls() == kCallOrder.size() && noteCalls() == kCallOrder.size(); }));
    auto ip = takeIpCalls();
    auto note = takeNoteCalls();
    for (size_t i = 0; i < kCallOrder.size(); ++i) {
        EXPECT_EQ(ip[i].first, kCallOrder[i]);
        EXPECT_EQ(note[i].callback, kCallOrder[i]);
    }
}

TEST(Registries, NotifyCallbacksRunsOnTheCallersThread) {
    takeNoteCalls();
    zelNotification wake{};
    wake.type = NOTIFICATION_WAKEUP;
    wake.payload.value = 42;
    notifyCallbacks(&wake);
    auto calls = takeNoteCalls();  // synchronous: no waiting needed
    ASSERT_EQ(calls.size(), kCallOrder.size());
    EXPECT_EQ(calls[3].value, 42);
    notifyCallbacks(nullptr);
    EXPECT_EQ(noteCalls(), 0u);
}

TEST(Listeners, ReconnectAfterTheServersReturnWithoutSpinning) {
    int closed = g_log->count("Server closed the connection\n");
    int ip_connections = g_ip_server->connections();
    int note_connections = g_note_server->connections();
    g_ip_server->stop();
    g_note_server->stop();
    ASSERT_TRUE(waitUntil([&] { return g_log->count("Server closed the connection\n") == closed + 2; }));
    EXPECT_TRUE(g_log->contains("Server closed the connection\n", LOG_INFO));

    // Down for 400 ms with 50 ms pauses: a handful of attempts, not a spin.
    int pauses = g_retry_pauses;
    std::this_thread::sleep_for(std::chrono::milliseconds(400));
    int during = g_retry_pauses - pauses;
    EXPECT_GE(during, 2);
    EXPECT_LE(during, 2 * (400 / 50 + 2));
    EXPECT_EQ(g_last_pause.load(), 2000000u);

    takeIpCalls();
    takeNoteCalls();
    g_log->clear();
    g_ip_server->start();
    g_note_server->start();
    ASSERT_TRUE(g_ip_server->waitForConnections(ip_connections + 1));
    ASSERT_TRUE(g_note_server->waitForConnections(note_connections + 1));
    ASSERT_TRUE(waitUntil([] { return g_log->count("Connected to server at ") == 2; }));
    g_ip_server->push("back again");
    ASSERT_TRUE(sendMessage(bytes({3, 7, 8})));
    ASSERT_TRUE(waitUntil([] { return ipCalls() == kCallOrder.size() && noteCalls() == kCallOrder.size(); }));
    EXPECT_EQ(takeIpCalls()[0].second, "back again");
    EXPECT_EQ(takeNoteCalls()[0].progress, 8);
}

}  // namespace

// The two event listeners over real sockets. Their threads are detached and live
// until the process ends, so this binary starts each listener once, fills both
// registries once (ten slots each) and restarts the servers on the same paths.
#include <string.h>
#include <unistd.h>

#include <map>
#include <utility>

#include "test_support.h"  // with gtest and the fake server's std headers

namespace {

using zeltest::FakeServer;
using zeltest::waitUntil;
using S = std::string;
using Events = std::vector<S>;
using Seen = std::vector<std::pair<int, S>>;

// What each callback saw, in call order: (callback id, text or record).
using Calls = zeltest::Recorder<std::pair<int, S>>;
Calls g_ip, g_note;

template <int Id>
void ipCallback(const char *text) { g_ip.add({Id, text}); }

// Records as "type:value", "3:status/progress" or "4:text".
template <int Id>
void noteCallback(zelNotification *n) {
    const auto &p = n->payload;
    S what = n->type == NOTIFICATION_URC ? S(p.urc.data, p.urc.length) : std::to_string(p.value);
    if (n->type == NOTIFICATION_OTA_STATUS) what = std::to_string(p.ota.status) + "/" + std::to_string(p.ota.progress);
    g_note.add({Id, std::to_string(n->type) + ":" + what});
}

// Slot 8 holds a null entry (skipped when calling), slot 9 repeats callback 0.
const std::vector<int> kCallOrder = {0, 1, 2, 3, 4, 5, 6, 7, 0};

// The listeners' 2 s pauses take 20 ms here; pauses are counted per thread
// (in a map never destroyed: the threads pause until the process ends).
std::mutex g_pause_mu;
auto *const g_pauses = new std::map<std::thread::id, int>;
std::atomic<int> g_other_pauses{0};

// Leaked: the listener threads use them until the process ends.
zeltest::LogCapture *g_log;
FakeServer *g_ip_server, *g_note_server;

// Waits until the event `last` has reached every callback, checks that each
// event so far reached every callback in registration order, and returns each event once.
Events delivered(Calls &calls, const S &last) {
    EXPECT_TRUE(waitUntil([&] {
        Seen seen = calls.seen();
        return seen.size() % kCallOrder.size() == 0 && !seen.empty() && seen.back().second == last;
    })) << last;
    auto seen = calls.take();
    Events out;
    for (size_t i = 0; i < seen.size(); ++i) {
        size_t slot = i % kCallOrder.size();
        EXPECT_EQ(seen[i].first, kCallOrder[slot]) << i;
        if (slot == 0) out.push_back(seen[i].second);
        else EXPECT_EQ(seen[i].second, out.back()) << i;
    }
    return out;
}

// Sends one notification message and waits until the listener has handled
// it, decoded or not (so the next one is a message of its own).
void sendMessage(const std::vector<int> &values) {
    auto handled = [] {
        return g_log->count(" notification\n") + g_log->count("Failed to parse notification payload");
    };
    int before = handled();
    g_note_server->push(S(values.begin(), values.end()));
    EXPECT_TRUE(waitUntil([&] { return handled() > before; }));
}

template <int... Id>
void registerEight(std::integer_sequence<int, Id...>) {
    for (int status : {zelRegisterIPChanged(ipCallback<Id>)..., zelRegisterNotification(noteCallback<Id>)...})
        EXPECT_EQ(status, 0);
}

class Listeners : public ::testing::Environment {
public:
    void SetUp() override {
        g_log = new zeltest::LogCapture();
        zel::g_platform.ip_socket = strdup(zeltest::tempPath("ip").c_str());
        zel::g_platform.notify_socket = strdup(zeltest::tempPath("note").c_str());
        zel::g_platform.sleep_us = [](uint64_t us) {
            g_other_pauses += us != 2000000;
            std::unique_lock<std::mutex> lock(g_pause_mu);
            ++(*g_pauses)[std::this_thread::get_id()];
            lock.unlock();
            std::this_thread::sleep_for(std::chrono::milliseconds(20));
        };
        g_ip_server = new FakeServer(zel::g_platform.ip_socket);
        g_note_server = new FakeServer(zel::g_platform.notify_socket);
        ASSERT_EQ(init_ip_listener_thread(), 0);
        ASSERT_EQ(InitNotificationListenerThread(), 0);
        ASSERT_TRUE(g_ip_server->waitForConnections(1) && g_note_server->waitForConnections(1));
        ASSERT_TRUE(waitUntil([] {
            return g_log->contains(S("Connected to server at ") + zel::g_platform.ip_socket + "\n", LOG_INFO) &&
                   g_log->contains(S("Connected to server at ") + zel::g_platform.notify_socket + "\n", LOG_INFO);
        }));
        g_log->clear();

        // NULL is refused by the exported calls without a word; the internal ones keep it, in slot 8.
        EXPECT_EQ(zelRegisterIPChanged(nullptr), 5);
        EXPECT_EQ(zelRegisterNotification(nullptr), 5);
        EXPECT_TRUE(g_log->lines().empty());
        registerEight(std::make_integer_sequence<int, 8>());
        EXPECT_EQ(RegisterIPChangedEvent(nullptr), 0);
        EXPECT_EQ(RegisterNotification(nullptr), 0);
        EXPECT_EQ(zelRegisterIPChanged(ipCallback<0>), 0);
        EXPECT_EQ(zelRegisterNotification(noteCallback<0>), 0);
    }

    void TearDown() override {
        // Once both have logged the close they log nothing more.
        int closed = g_log->count("Server closed the connection\n");
        delete g_ip_server;
        delete g_note_server;
        EXPECT_TRUE(waitUntil([&] { return g_log->count("Server closed the connection\n") >= closed + 2; }));
    }
};

::testing::Environment *const g_env = ::testing::AddGlobalTestEnvironment(new Listeners);

TEST(IpListener, EventsOfUpTo255BytesArriveWholeAtEveryCallbackInOrder) {
    const S full(255, 'a');
    g_ip_server->push(full);
    EXPECT_EQ(delivered(g_ip, full), Events{full});
    EXPECT_TRUE(g_log->contains("Received notification: " + full + "\n", LOG_INFO));

    // A longer burst arrives as several events, in order and complete.
    S burst, joined;
    for (int i = 0; i < 600; ++i) burst.push_back(char('A' + i % 26));
    g_ip_server->push(burst);
    EXPECT_TRUE(waitUntil([&] {
        for (const auto &c : g_ip.take()) {
            EXPECT_LE(c.second.size(), 255u);
            if (c.first == 1) joined += c.second;
        }
        return joined.size() >= burst.size();
    }));
    EXPECT_EQ(joined, burst);
}

// Each message is followed by a marker that is always delivered, so a message
// that delivers nothing is seen to deliver nothing.
TEST(NotificationListener, WholeMessagesInOrderAndOnlyChangedStates) {
    const struct { std::vector<int> message; Events delivered; } steps[] = {
        {{2, 0x2A, 3, 90, 50, 4, 0, 0, 0, 5, '+', 'C', 'M', 'T', 'I'}, {"2:1", "3:90/50", "4:+CMTI"}},
        // A bad item anywhere drops the whole message, and the state with it.
        {{6, 200, 9, 0}, {}}, {{6, 200, 4, 0, 0, 0, 9, 'x'}, {}}, {{6, 200, 3, 1}, {}},
        {{6, 200}, {"6:200"}}, {{6, 200, 7, 5}, {"7:5"}}, {{0, 9}, {}}, {{0, 4, 0, 4}, {"0:4"}},
        {{1, 5, 1, 6, 5, 0, 5, 1}, {"1:6", "5:1"}}, {{2, 1, 2, 1}, {"2:1", "2:1"}},
    };
    for (const auto &step : steps) {
        sendMessage(step.message);
        sendMessage({7, 0});
        auto expected = step.delivered;
        expected.push_back("7:0");
        EXPECT_EQ(delivered(g_note, "7:0"), expected) << "step " << (&step - steps);
    }
    EXPECT_TRUE(g_log->contains("Length is not enough for URC data", LOG_ERR));
    EXPECT_TRUE(g_log->contains("Failed to parse notification payload", LOG_ERR));
}

TEST(Registries, EleventhRegistrationFailsAndKeepsTheTen) {
    EXPECT_EQ(RegisterIPChangedEvent(ipCallback<9>), -1);
    EXPECT_EQ(RegisterNotification(noteCallback<9>), -1);
    EXPECT_EQ(zelRegisterIPChanged(ipCallback<9>), 5);
    EXPECT_EQ(zelRegisterNotification(noteCallback<9>), 5);
    EXPECT_TRUE(g_log->contains(": RegisterIPChangedEvent: failed to register", LOG_ERR));
    EXPECT_TRUE(g_log->contains(": RegisterNotification: failed to register", LOG_ERR));
    g_ip_server->push("after eleventh");
    EXPECT_EQ(delivered(g_ip, "after eleventh"), Events{"after eleventh"});
    // notifyCallbacks runs the same callbacks on the caller's thread.
    zelNotification wake{};
    wake.type = NOTIFICATION_WAKEUP;
    wake.payload.value = 42;
    notifyCallbacks(&wake);
    notifyCallbacks(nullptr);
    EXPECT_EQ(delivered(g_note, "7:42"), Events{"7:42"});
    // No room for the firmware-update handler: -99 before sending, tried again on every call.
    const zelOTACallbacks none = {};
    EXPECT_EQ(zelOTAInstall(), -99);
    EXPECT_EQ(zelOTARegisterCallbacks(&none), -99);
    EXPECT_EQ(zelOTACheckUpdate(nullptr) + zelOTARegisterCallbacks(nullptr), -2);  // refused before trying
    EXPECT_EQ(g_log->count("Failed to register OTA notification handler"), 2);
}

TEST(Listeners, ReconnectAfterTheServersReturnWithoutSpinning) {
    std::map<std::thread::id, int> before;
    auto snapshot = [&] { std::lock_guard<std::mutex> lock(g_pause_mu); before = *g_pauses; };
    auto pausedAtLeast = [&](int n) {  // the listener threads that paused `n` times since the snapshot
        std::lock_guard<std::mutex> lock(g_pause_mu);
        int threads = 0;
        for (const auto &t : *g_pauses) threads += t.second - before[t.first] >= n;
        return threads;
    };
    // A connection the server closes is followed by a pause before the next one.
    int ip_connections = g_ip_server->connections(), note_connections = g_note_server->connections();
    snapshot();
    for (FakeServer *s : {g_ip_server, g_note_server}) s->dropClients();
    ASSERT_TRUE(g_ip_server->waitForConnections(++ip_connections));
    ASSERT_TRUE(g_note_server->waitForConnections(++note_connections));
    EXPECT_EQ(pausedAtLeast(1), 2);
    snapshot();
    for (FakeServer *s : {g_ip_server, g_note_server}) s->stop();
    // While the servers are gone each listener keeps pausing 2 s between attempts.
    EXPECT_TRUE(waitUntil([&] { return pausedAtLeast(3) == 2; }));
    EXPECT_EQ(g_other_pauses.load(), 0);
    for (FakeServer *s : {g_ip_server, g_note_server}) s->start();
    ASSERT_TRUE(g_ip_server->waitForConnections(ip_connections + 1));
    ASSERT_TRUE(g_note_server->waitForConnections(note_connections + 1));
    g_ip_server->push("back again");
    sendMessage({3, 7, 8});
    EXPECT_EQ(delivered(g_ip, "back again"), Events{"back again"});
    EXPECT_EQ(delivered(g_note, "3:7/8"), Events{"3:7/8"});
}

}  // namespace

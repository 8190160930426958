// The firmware-update handler over the real notification socket: the first
// OTA calls of several threads at once register it once, and status codes
// reach the application's callback for their range, in order.
#include <string.h>

#include <thread>

#include "test_support.h"

namespace {

using Calls = std::vector<std::string>;

zeltest::Recorder<std::string> g_calls;
template <char Step> void onStep(int32_t code) { g_calls.add(Step + std::to_string(code)); }
void onInstall(int32_t code, int32_t progress) {
    g_calls.add("i" + std::to_string(code) + "/" + std::to_string(progress));
}
const zelOTACallbacks kAll = {onStep<'c'>, onStep<'d'>, onInstall, onStep<'a'>};

// Leaked: the listener thread and the server run until the process ends.
zeltest::LogCapture *g_log;
zeltest::FakeServer *g_server;
void (*g_write)(int, const char *);
int g_refused, g_registered, g_added;

// Sends one message of `items` notifications and waits until all have been dispatched.
void deliver(const std::vector<int> &bytes, int items) {
    int before = g_log->count("Leaving");
    g_server->push(std::string(bytes.begin(), bytes.end()));
    EXPECT_TRUE(zeltest::waitUntil([&] { return g_log->count("Leaving") >= before + items; }));
}

class OtaListener : public ::testing::Environment {
    void SetUp() override {
        g_log = new zeltest::LogCapture();
        // Registering pauses inside the registry, so that a thread which passed
        // an unguarded first check meanwhile would register the handler again.
        g_write = zel::g_platform.log_write;
        zel::g_platform.log_write = [](int priority, const char *text) {
            if (strstr(text, "Callback registered")) std::this_thread::sleep_for(std::chrono::milliseconds(100));
            g_write(priority, text);
        };
        zel::g_platform.notify_socket = strdup(zeltest::tempPath("note").c_str());
        g_server = new zeltest::FakeServer(zel::g_platform.notify_socket);
        ASSERT_EQ(InitNotificationListenerThread(), 0);
        ASSERT_TRUE(g_server->waitForConnections(1));
        std::atomic<int> ready{0}, refused{0};
        auto first_call = [&] {
            for (++ready; ready.load() < 2;) {
            }
            refused += zelOTARegisterCallbacks(&kAll) != 0;
        };
        std::thread one(first_call), two(first_call);
        one.join();
        two.join();
        g_refused = refused;
        g_registered = g_log->count("OTA notification handler registered successfully");
        g_added = g_log->count("Callback registered");
    }
};
::testing::Environment *const g_env = ::testing::AddGlobalTestEnvironment(new OtaListener);

TEST(OtaNotifications, FirstCallsOfSeveralThreadsRegisterTheHandlerOnce) {
    EXPECT_EQ(std::make_tuple(g_refused, g_registered, g_added), std::make_tuple(0, 1, 1));
    ASSERT_EQ(zelOTARegisterCallbacks(&kAll), 0);
    g_calls.take();
    deliver({3, 95, 40}, 1);
    EXPECT_EQ(g_calls.take(), Calls{"i95/40"});
}

TEST(OtaNotifications, CodesReachTheCallbackOfTheirRangeInOrder) {
    static const zelOTACallbacks no_check = {nullptr, onStep<'d'>, onInstall, onStep<'a'>}, none = {};
    const std::vector<int> one_each = {3, 5, 0, 3, 18, 0, 3, 91, 1, 3, 111, 0};
    const struct {
        const zelOTACallbacks *callbacks;
        std::vector<int> message;
        int items;
        Calls calls;
    } rows[] = {
        // Every range's ends and neighbours, a progress on a check code, then other types.
        {&kAll,
         {3, 0, 0, 3, 1, 0, 3, 2, 9, 3, 7, 0, 3, 8, 0, 3, 16, 0, 3, 17, 0, 3, 20, 0, 3, 21, 0, 3, 89, 0, 3, 90, 0,
          3, 95, 40, 3, 96, 255, 3, 97, 0, 3, 109, 0, 3, 110, 0, 3, 112, 0, 3, 113, 0, 3, 255, 7, 2, 1, 7, 3, 4, 0,
          0, 0, 1, 'x'},
         22,
         {"c2", "c7", "d17", "d20", "i90/0", "i95/40", "i96/255", "a110", "a112"}},
        {&no_check, one_each, 4, {"d18", "i91/1", "a111"}},
        {&none, one_each, 4, {}},
    };
    g_log->clear();
    for (const auto &row : rows) {
        ASSERT_EQ(zelOTARegisterCallbacks(row.callbacks), 0);
        deliver(row.message, row.items);
        EXPECT_EQ(g_calls.take(), row.calls) << "row " << (&row - rows);
    }
    // Every OTA record is logged, with or without a callback; the other types are not.
    EXPECT_EQ(g_log->count("Received OTA notification: "), 19 + 4 + 4);
    EXPECT_EQ(g_log->count("OTA check status: 5"), 2);
    EXPECT_EQ(g_log->count("Unknown OTA status: "), 10);
    EXPECT_TRUE(g_log->contains("Unknown OTA status: 255", LOG_ERR));
    EXPECT_TRUE(g_log->contains("OTA install status: 96, progress: 255", LOG_INFO));
}

}  // namespace

#include "test_support.h"

#include <atomic>

#include "core/log.h"

namespace zeltest {
namespace {

std::mutex g_log_mu;
std::vector<LogLine> g_log;
std::atomic<int32_t> g_last_timeout{-1};
std::atomic<int64_t> g_wait_ms{-1};

void recordLog(int priority, const char *text) {
    std::lock_guard<std::mutex> lock(g_log_mu);
    g_log.push_back({priority, text});
}
void ignoreOpen(const char *, int, int) {}
void ignoreClose() {}
int64_t recordWait(int32_t seconds) {
    g_last_timeout = seconds;
    int64_t ms = g_wait_ms.load();
    return ms >= 0 ? ms : int64_t(seconds) * 1000;
}

}  // namespace

LogCapture::LogCapture() {
    zel::g_platform.log_open = ignoreOpen;
    zel::g_platform.log_close = ignoreClose;
    zel::g_platform.log_write = recordLog;
    zelto_sdk_open_log("SDKTag");
    clear();
}

LogCapture::~LogCapture() { zel::g_platform.log_write = zel::defaultPlatform().log_write; }

std::vector<LogLine> LogCapture::lines() {
    std::lock_guard<std::mutex> lock(g_log_mu);
    return g_log;
}

int LogCapture::count(const std::string &text, int priority) {
    int n = 0;
    for (const LogLine &l : lines())
        n += l.text.find(text) != std::string::npos && (priority < 0 || l.priority == priority);
    return n;
}

void LogCapture::clear() {
    std::lock_guard<std::mutex> lock(g_log_mu);
    g_log.clear();
}

void resetLink() {
    zel::linkClose();
    if (response_queue *q = zel::currentQueue()) destroy_queue(q);
    zel::resetFraming();
}

void LinkTest::SetUp() {
    g_wait_ms = -1;
    g_last_timeout = -1;
    zel::g_platform.reply_wait_ms = recordWait;
    server.reset(new FakeServer(tempPath("srv")));
    zel::g_platform.server_socket = server->path().c_str();
    ASSERT_NE(create_queue(), nullptr);
    ASSERT_EQ(zel::linkStart(), 0);
    ASSERT_TRUE(server->waitForConnections(1));
    log.clear();
}

void LinkTest::TearDown() {
    resetLink();
    server.reset();
    zel::Platform d = zel::defaultPlatform();
    zel::g_platform.server_socket = d.server_socket;
    zel::g_platform.reply_wait_ms = d.reply_wait_ms;
}

int32_t LinkTest::lastTimeout() { return g_last_timeout; }
void LinkTest::setWaitMs(int64_t ms) { g_wait_ms = ms; }

}  // namespace zeltest

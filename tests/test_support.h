// Shared fixtures: captured log lines, a connected link to a fake server, and
// a record of the reply timeouts that the library asked for.
#ifndef ZEL_TESTS_SUPPORT_H
#define ZEL_TESTS_SUPPORT_H

#include <gtest/gtest.h>
#include <syslog.h>

#include <mutex>
#include <string>
#include <vector>

#include "core/link.h"
#include "core/platform.h"
#include "fake_server.h"
#include "zelto_sdk.h"

namespace zeltest {

struct LogLine {
    int priority;
    std::string text;
};

// Captures everything the library logs (and opens the log if needed).
class LogCapture {
public:
    LogCapture();
    ~LogCapture();
    std::vector<LogLine> lines();
    // Lines that hold `text` (at `priority`, unless it is -1).
    int count(const std::string &text, int priority = -1);
    bool contains(const std::string &text, int priority = -1) { return count(text, priority) > 0; }
    void clear();
};

// A started link (queue, connection, receive thread) to a fake server.
class LinkTest : public ::testing::Test {
protected:
    void SetUp() override;
    void TearDown() override;
    // Seconds asked for by the last command, and a wait in ms the test wants
    // instead (so timeouts of 15 s take milliseconds).
    static int32_t lastTimeout();
    static void setWaitMs(int64_t ms);

    std::unique_ptr<FakeServer> server;
    LogCapture log;
};

// Stops and frees whatever the link holds, for tests that start it themselves.
void resetLink();

// Puts `write` in place of the platform's log writer until destroyed.
struct LogWriter {
    explicit LogWriter(void (*write)(int, const char *)) { zel::g_platform.log_write = write; }
    ~LogWriter() { zel::g_platform.log_write = saved; }
    void (*const saved)(int, const char *) = zel::g_platform.log_write;
};

}  // namespace zeltest

#endif

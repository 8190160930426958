// Result buffers and the log front end.
#include <sys/wait.h>
#include <unistd.h>

#include "test_support.h"

using namespace zeltest;

namespace {

TEST(AllocString, CopiesExactlyLenBytesTerminatesAndRefusesBadInput) {
    const char unterminated[2] = {'x', 'y'};
    const struct { const char *in; int32_t len; std::string stored; } cases[] = {
        {"abc", 3, std::string("abc\0", 4)},
        {"a\0bcdef", 4, std::string("a\0bc\0", 5)},  // zero bytes inside are copied too
        {unterminated, 2, std::string("xy\0", 3)},
    };
    for (const auto &c : cases) {
        zelString *s = zelAllocString(c.in, c.len);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(s->len, c.len);
        EXPECT_EQ(std::string(s->data, c.stored.size()), c.stored);
        zelFreeString(s);
    }
    EXPECT_EQ(zelAllocString("abc", 0), nullptr);
    EXPECT_EQ(zelAllocString("abc", -1), nullptr);
    EXPECT_EQ(zelAllocString(nullptr, 3), nullptr);
    zelFreeString(nullptr);
    zelString *empty = static_cast<zelString *>(calloc(1, sizeof(zelString)));
    zelFreeString(empty);  // must not touch data; ASan would report a bad free
}

// The exit status of `body` run in a child (log_opened is process-wide and one-way).
int inChild(bool (*body)()) {
    pid_t pid = fork();
    if (pid == 0) _exit(body() ? 0 : 1);
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
}

int g_writes = 0, g_option = -1, g_facility = -1;
std::string g_ident;

TEST(Log, NothingIsWrittenBeforeOpenWhichUsesTheGivenIdentAndOptions) {
    EXPECT_EQ(inChild([] {
                  zel::g_platform.log_write = [](int, const char *) { ++g_writes; };
                  zelto_sdk_log(LOG_ERR, "%s", "early");
                  return g_writes == 0;
              }), 0);
    EXPECT_EQ(inChild([] {
                  zel::g_platform.log_open = [](const char *ident, int option, int facility) {
                      g_ident = ident, g_option = option, g_facility = facility;
                  };
                  zelto_sdk_open_log("SDKTag");
                  return g_ident == "SDKTag" && g_option == (LOG_PID | LOG_CONS | LOG_NDELAY) && g_facility == LOG_USER;
              }), 0);
}

TEST(Log, LongMessagesAreCutPercentSignsKeptAndCloseStopsNothing) {
    LogCapture log;
    zelto_sdk_log(LOG_INFO, "%s", std::string(5000, 'm').c_str());
    zelto_sdk_log(LOG_DEBUG, "%s", "100% %d %s");
    zelto_sdk_close_log();
    zelto_sdk_log(LOG_INFO, "%s:%d: Bail", "core", 1);
    auto lines = log.lines();
    ASSERT_EQ(lines.size(), 3u);
    EXPECT_EQ(lines[0].text, std::string(4094, 'm'));
    EXPECT_EQ(lines[0].priority, LOG_INFO);
    EXPECT_EQ(lines[1].text, "100% %d %s");
    EXPECT_EQ(lines[1].priority, LOG_DEBUG);
    EXPECT_EQ(lines[2].text, "core:1: Bail");
}

TEST(Log, AMaskedPriorityIsNeitherFormattedNorWritten) {
    LogCapture log;
    const int all = setlogmask(LOG_UPTO(LOG_INFO));
    int masked = -1, kept = -1;  // %n shows whether the text was formatted
    zelto_sdk_log(LOG_DEBUG, "trace%n", &masked);
    zelto_sdk_log(LOG_INFO, "info%n", &kept);
    setlogmask(all);
    EXPECT_EQ(masked, -1);
    EXPECT_EQ(kept, 4);
    ASSERT_EQ(log.lines().size(), 1u);
    EXPECT_TRUE(log.contains("info", LOG_INFO));
}

}  // namespace

// Result buffers and the log front end.
#include <gtest/gtest.h>

#include <string.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

#include "core/platform.h"
#include "test_support.h"

using namespace zeltest;

namespace {

TEST(AllocString, CopiesExactlyLenBytesAndTerminates) {
    zelString *s = zelAllocString("abc", 3);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(s->len, 3);
    EXPECT_EQ(std::string(s->data, 4), std::string("abc\0", 4));
    zelFreeString(s);

    s = zelAllocString("a\0bcdef", 4);  // zero bytes inside are copied too
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(std::string(s->data, 5), std::string("a\0bc\0", 5));
    zelFreeString(s);

    char unterminated[2] = {'x', 'y'};
    s = zelAllocString(unterminated, 2);
    ASSERT_NE(s, nullptr);
    EXPECT_STREQ(s->data, "xy");
    zelFreeString(s);
}

TEST(AllocString, RefusesNullAndNonPositiveLengths) {
    EXPECT_EQ(zelAllocString("abc", 0), nullptr);
    EXPECT_EQ(zelAllocString("abc", -1), nullptr);
    EXPECT_EQ(zelAllocString(nullptr, 3), nullptr);
}

TEST(FreeString, AcceptsNullAndRecordsWithoutData) {
    zelFreeString(nullptr);
    zelString *s = static_cast<zelString *>(malloc(sizeof(zelString)));
    s->data = nullptr;
    s->len = 0;
    zelFreeString(s);  // must not touch data; ASan would report a bad free
}

// Runs `body` in a child process (log_opened is process-wide and one-way).
int inChild(void (*body)()) {
    pid_t pid = fork();
    if (pid == 0) {
        body();
        _exit(0);
    }
    int status = 0;
    waitpid(pid, &status, 0);
    return WIFEXITED(status) ? WEXITSTATUS(status) : 100 + WTERMSIG(status);
}

int g_writes = 0;
void countWrite(int, const char *) { ++g_writes; }

TEST(Log, NothingIsWrittenBeforeTheLogIsOpened) {
    EXPECT_EQ(inChild([] {
                  zel::g_platform.log_write = countWrite;
                  zelto_sdk_log(LOG_ERR, "%s", "early");
                  _exit(g_writes == 0 ? 0 : 1);
              }),
              0);
}

std::string g_ident;
int g_option = -1, g_facility = -1;

TEST(Log, OpensWithTheGivenIdentAndOptions) {
    EXPECT_EQ(inChild([] {
                  zel::g_platform.log_open = [](const char *ident, int option, int facility) {
                      g_ident = ident;
                      g_option = option;
                      g_facility = facility;
                  };
                  zelto_sdk_open_log("SDKTag");
                  _exit(g_ident == "SDKTag" && g_option == (LOG_PID | LOG_CONS | LOG_NDELAY) &&
                                g_facility == LOG_USER
                            ? 0
                            : 1);
              }),
              0);
}

TEST(Log, LongMessagesAreCutAndPercentSignsAreKept) {
    LogCapture log;
    zelto_sdk_log(LOG_INFO, "%s", std::string(5000, 'm').c_str());
    zelto_sdk_log(LOG_DEBUG, "%s", "100% %d %s");
    auto lines = log.lines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0].text, std::string(4094, 'm'));
    EXPECT_EQ(lines[0].priority, LOG_INFO);
    EXPECT_EQ(lines[1].text, "100% %d %s");
    EXPECT_EQ(lines[1].priority, LOG_DEBUG);
}

TEST(Log, MessagesStillArriveAfterClose) {
    LogCapture log;
    zelto_sdk_close_log();
    zelto_sdk_log(LOG_INFO, "%s:%d: Bail", "core", 1);
    EXPECT_TRUE(log.contains("core:1: Bail", LOG_INFO));
}

}  // namespace

// The server link over real sockets: framing across bursts, timeouts, drops,
// reconnection, many callers, and an idle receive thread that stays asleep.
#include <gtest/gtest.h>

#include <string.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "core/link.h"
#include "core/platform.h"
#include "test_support.h"

using namespace zeltest;
using Clock = std::chrono::steady_clock;

namespace {

// Sends a command through the link; the reply text, or "<null>".
std::string send(const std::string &cmd, int32_t timeout = 15) {
    zelString *r = sdkSendATcmdViaSocket(cmd.data(), static_cast<int32_t>(cmd.size()), timeout);
    if (r == nullptr) return "<null>";
    std::string s(r->data, static_cast<size_t>(r->len));
    EXPECT_EQ(r->data[r->len], '\0');
    zelFreeString(r);
    return s;
}

long msSince(Clock::time_point t0) {
    return static_cast<long>(std::chrono::duration_cast<std::chrono::milliseconds>(Clock::now() - t0).count());
}

class Link : public LinkTest {};

TEST_F(Link, RepliesSplitOverBurstsAreJoined) {
    struct Case {
        const char *name;
        Reply chunks;
        std::string expected;
    } cases[] = {
        {"info line then OK", {{0, "\r\n+CSQ: 23,99\r\n"}, {30, "\r\nOK\r\n"}}, "\r\n+CSQ: 23,99\r\n\r\nOK\r\n"},
        {"final code split after \\r\\nO", {{0, "\r\n+CSQ: 1\r\n\r\nO"}, {30, "K\r\n"}}, "\r\n+CSQ: 1\r\n\r\nOK\r\n"},
        {"error split", {{0, "\r\nERR"}, {30, "OR\r\n"}}, "\r\nERROR\r\n"},
        {"three bursts", {{0, "a"}, {20, "b"}, {20, "\r\nOK\r\n"}}, "ab\r\nOK\r\n"},
    };
    for (const Case &c : cases) {
        server->replyChunks(c.chunks);
        EXPECT_EQ(send("AT+CSQ\r\n"), c.expected) << c.name;
    }
    EXPECT_EQ(server->commands(), std::vector<std::string>(4, "AT+CSQ\r\n"));
}

TEST_F(Link, TwoRepliesInOneBurstKeepTheFirstAndLoseNoLaterReply) {
    server->reply("\r\n1\r\n\r\nOK\r\n\r\n2\r\n\r\nOK\r\n");
    server->reply("\r\n3\r\n\r\nOK\r\n");
    EXPECT_EQ(send("AT\r\n"), "\r\n1\r\n\r\nOK\r\n");
    EXPECT_EQ(send("AT\r\n"), "\r\n3\r\n\r\nOK\r\n");
}

TEST_F(Link, ErrorFollowedByOkInOneBurstIsCutAfterTheOk) {
    server->reply("\r\nERROR\r\n\r\n+X\r\n\r\nOK\r\n");
    EXPECT_EQ(send("AT\r\n"), "\r\nERROR\r\n\r\n+X\r\n\r\nOK\r\n");
}

TEST_F(Link, ExtendedErrorsWithAndWithoutTheirLineEnd) {
    server->reply("\r\n+CME ERROR: 10\r\n");
    EXPECT_EQ(send("AT+CPIN?\r\n"), "\r\n+CME ERROR: 10\r\n");
    // Without its line end the reply ends after the word; the rest of the
    // burst is lost and later bytes begin the next reply.
    server->replyChunks({{0, "\r\n+CMS ERROR: 500"}, {50, "\r\n"}});
    EXPECT_EQ(send("AT+CMGS\r\n"), "\r\n+CMS ERROR");
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(send("AT\r\n"), "\r\n\r\nOK\r\n");
}

TEST_F(Link, UnsolicitedTextBeginsTheNextReply) {
    server->push("\r\n+CREG: 1\r\n");
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(send("AT\r\n"), "\r\n+CREG: 1\r\n\r\nOK\r\n");
}

TEST_F(Link, TimeoutReturnsNullAndKeepsTheConnection) {
    setWaitMs(150);
    auto t0 = Clock::now();
    EXPECT_EQ(send("AT+SILENT\r\n", 15), "<null>");
    EXPECT_GE(msSince(t0), 140);
    EXPECT_EQ(lastTimeout(), 15);
    EXPECT_TRUE(log.contains("core:", LOG_WARNING));
    EXPECT_TRUE(log.contains("rc == ETIMEDOUT\n\n", LOG_WARNING));
    EXPECT_TRUE(log.contains("data == NULL\n\n", LOG_ERR));
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(send("AT\r\n"), "\r\nOK\r\n");
    EXPECT_EQ(server->connections(), 1);
}

TEST_F(Link, LateReplyIsFlushedBeforeTheNextCommand) {
    setWaitMs(50);
    server->replyChunks({{200, "\r\nLATE\r\n\r\nOK\r\n"}});
    EXPECT_EQ(send("AT+SLOW\r\n"), "<null>");
    // Wait until the late reply sits in the queue, then send the next one.
    ASSERT_TRUE(waitUntil([] {
        response_queue *q = zel::currentQueue();
        pthread_mutex_lock(&q->mutex);
        bool queued = q->head != nullptr;
        pthread_mutex_unlock(&q->mutex);
        return queued;
    }));
    setWaitMs(5000);
    server->reply("\r\nMINE\r\n\r\nOK\r\n");
    EXPECT_EQ(send("AT+NEXT\r\n"), "\r\nMINE\r\n\r\nOK\r\n");
}

TEST_F(Link, NoServerMeansThreeAttemptsAndNullAtOnce) {
    zel::linkClose();  // no connection, as after a drop
    server->stop();
    auto t0 = Clock::now();
    EXPECT_EQ(send("AT\r\n"), "<null>");
    EXPECT_LT(msSince(t0), 1000);
    EXPECT_EQ(log.count("Retry connect failed"), 3);
    EXPECT_TRUE(log.contains("Client socket unable to reconnect \n", LOG_ERR));
}

TEST_F(Link, DroppedConnectionIsHandledAndTheNextCommandReconnects) {
    server->dropClients();
    // The receive thread sees the close and goes quiet until told to stop.
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    long before = zel::receiverContextSwitches();
    std::this_thread::sleep_for(std::chrono::milliseconds(500));
    EXPECT_LE(zel::receiverContextSwitches() - before, 5) << "receive thread spins after the close";

    EXPECT_EQ(send("AT\r\n"), "<null>");
    EXPECT_TRUE(log.contains("failed to send", LOG_ERR));
    EXPECT_TRUE(log.contains("On connection drop, perform cleanup", LOG_ERR));
    EXPECT_EQ(zel::client_socket_fd.load(), -1);
    EXPECT_FALSE(zel::receiverRunning());

    server->reply("\r\nOK\r\n");
    EXPECT_EQ(send("AT\r\n"), "\r\nOK\r\n");
    EXPECT_TRUE(log.contains("Client socket reconnected\n", LOG_INFO));
    EXPECT_EQ(server->connections(), 2);
}

TEST_F(Link, ServerRestartIsSurvived) {
    server->stop();
    server->start();
    EXPECT_EQ(send("AT\r\n"), "<null>");  // the old connection fails once
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(send("AT\r\n"), "\r\nOK\r\n");
}

TEST_F(Link, ManyThreadsEachReceiveTheirOwnReply) {
    server->setHandler([](const std::string &cmd) {
        std::string id = cmd.substr(5, cmd.size() - 7);  // "AT+T=<id>\r\n"
        return Reply{{0, "\r\n+T: " + id + "\r\n\r\nOK\r\n"}};
    });
    const int kThreads = 8, kEach = 150;
    std::atomic<int> wrong{0};
    std::vector<std::thread> threads;
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &wrong] {
            for (int i = 0; i < kEach; ++i) {
                std::string id = std::to_string(t) + "_" + std::to_string(i);
                if (send("AT+T=" + id + "\r\n") != "\r\n+T: " + id + "\r\n\r\nOK\r\n") ++wrong;
            }
        });
    }
    for (auto &th : threads) th.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_EQ(server->commands().size(), size_t(kThreads * kEach));
}

TEST_F(Link, BackToBackCommandsLoseNoReplyToTheDiscard) {
    // Each reply is followed in the same write by bytes that belong to its
    // burst and must be discarded; the next command goes out at once.
    server->setHandler([](const std::string &cmd) {
        return Reply{{0, "\r\n" + cmd.substr(3, cmd.size() - 5) + "\r\n\r\nOK\r\nTRAILING"}};
    });
    const int kCommands = 3000;
    int wrong = 0;
    for (int i = 0; i < kCommands; ++i) {
        std::string n = std::to_string(i);
        if (send("AT+" + n + "\r\n") != "\r\n" + n + "\r\n\r\nOK\r\n") ++wrong;
    }
    EXPECT_EQ(wrong, 0);
}

TEST_F(Link, IdleReceiveThreadDoesNotWake) {
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    long before = zel::receiverContextSwitches();
    ASSERT_GE(before, 0);
    std::this_thread::sleep_for(std::chrono::seconds(2));
    EXPECT_LE(zel::receiverContextSwitches() - before, 5);
}

TEST_F(Link, LargeRepliesAndNulBytesArriveWhole) {
    for (size_t size : {8192u, 8193u, 30000u}) {
        std::string body(size, 'x');
        body[100] = '\0';
        std::string reply = "\r\n" + body + "\r\n\r\nOK\r\n";
        Reply chunks;
        for (size_t at = 0; at < reply.size(); at += 4096) chunks.push_back({0, reply.substr(at, 4096)});
        server->replyChunks(chunks);
        EXPECT_EQ(send("AT+BIG\r\n"), reply) << size;
    }
}

TEST_F(Link, BadArgumentsSendNothing) {
    EXPECT_EQ(sdkSendATcmdViaSocket(nullptr, 4, 15), nullptr);
    EXPECT_EQ(sdkSendATcmdViaSocket("AT\r\n", -1, 15), nullptr);
    EXPECT_EQ(sdkSendATcmdViaSocket("AT\r\n", 0, 15), nullptr);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(server->received(), "");
}

TEST(LinkWithoutQueue, ReturnsNullAtOnce) {
    EXPECT_EQ(zel::currentQueue(), nullptr);
    EXPECT_EQ(sdkSendATcmdViaSocket("AT\r\n", 4, 15), nullptr);
}

TEST(ClientRecv, ReadsOneBurstOrNothing) {
    LogCapture log;
    char out[8192];
    EXPECT_EQ(zelto_at_client_recv(-1, out), -1);
    EXPECT_EQ(zelto_at_client_recv(0, out), -1);
    EXPECT_TRUE(log.contains("core:", LOG_ERR));
    EXPECT_TRUE(log.contains("Client socket is not initialized\n", LOG_ERR));

    int sv[2];
    ASSERT_EQ(socketpair(AF_UNIX, SOCK_STREAM, 0, sv), 0);
    EXPECT_EQ(zelto_at_client_recv(sv[0], out), 0);  // nothing within 1 ms
    std::string big(10000, 'z');
    ASSERT_EQ(write(sv[1], big.data(), big.size()), ssize_t(big.size()));
    EXPECT_EQ(zelto_at_client_recv(sv[0], out), 8192);  // one burst is at most 8192
    EXPECT_EQ(zelto_at_client_recv(sv[0], out), 10000 - 8192);
    close(sv[0]);
    close(sv[1]);
}

}  // namespace

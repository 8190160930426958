// The real shared object against the simulator at the library's fixed paths:
// start, one call of every command family, a notification and an IP change
// reaching the registered callbacks, the modem port (only as root, and only
// when /dev/smd10 does not exist), and a clean end.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <signal.h>
#include <sys/prctl.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstring>
#include <mutex>

#include "server.h"
#include "zelto_sdk.h"

// Interposes the C library's: no shell line can run from this test.
extern "C" int system(const char *) { return -1; }

namespace {

using Clock = std::chrono::steady_clock;

bool waitFor(const std::function<bool()> &pred, int ms = 5000) {
    for (auto end = Clock::now() + std::chrono::milliseconds(ms); Clock::now() < end; usleep(10000))
        if (pred()) return true;
    return pred();
}

const char kPort[] = "/dev/smd10";
const char kLog[] = "/tmp/zelsim_library_test.log";

std::mutex g_mu;
std::vector<std::pair<uint32_t, int>> g_notes;  // type, value
std::vector<std::string> g_ip;
std::vector<int32_t> g_check;  // OTA check codes

void onNote(zelNotification *n) {
    std::lock_guard<std::mutex> l(g_mu);
    g_notes.emplace_back(n->type, n->payload.value);
}
void onIp(const char *text) {
    std::lock_guard<std::mutex> l(g_mu);
    g_ip.emplace_back(text);
}

void onCheck(int32_t code) {
    std::lock_guard<std::mutex> l(g_mu);
    g_check.push_back(code);
}

struct Text {
    zelString *s = nullptr;
    ~Text() { zelFreeString(s); }
    std::string str() const { return s ? std::string(s->data, size_t(s->len)) : "<null>"; }
};

// Starts the simulator at the fixed paths and the library against it; ends both.
class Fixture : public ::testing::Environment {
public:
    static std::string skip;  // why the whole test cannot run here
    static bool port;         // this run owns the modem port link

    void SetUp() override {
        struct stat st;
        if (zelsim::control("", "status").rfind("ok", 0) == 0 || lstat("/tmp/zelto_unix_socket", &st) == 0)
            return void(skip = "another SDK server or simulator holds the fixed paths");
        if (lstat("/tmp/zelto-sdk-lock", &st) == 0) return void(skip = "/tmp/zelto-sdk-lock exists: the library runs elsewhere");
        // The real modem port path is touched only as root and only when nothing is there.
        port = geteuid() == 0 && lstat(kPort, &st) != 0 && errno == ENOENT;
        pid_ = fork();
        if (pid_ == 0) {
            prctl(PR_SET_PDEATHSIG, SIGTERM);
            int log = open(kLog, O_WRONLY | O_CREAT | O_TRUNC, 0644);
            dup2(log, 2);
            execl(ZELSIM_BINARY, "zelsim", "-v", port ? "--modem-link=/dev/smd10" : "--no-modem-link", nullptr);
            _exit(127);
        }
        std::string status;
        if (!waitFor([&] { return (status = zelsim::control("", "status")).rfind("ok", 0) == 0; }))
            return void(skip = "the simulator did not start; see /tmp/zelsim_library_test.log");
        // Someone else may have made the link in between: then it is not ours.
        port = port && status.find(std::string("link=") + kPort) != std::string::npos;
        zelRegisterNotification(onNote);
        zelRegisterIPChanged(onIp);
        init_ = zelInit();
        if (init_ == 4) skip = "another process runs the library (zelInit gave 4)";
    }
    void TearDown() override {
        if (init_ == 0) zelExit();
        if (pid_ <= 0) return;
        int status = -1;
        kill(pid_, SIGTERM);
        waitpid(pid_, &status, 0);
        EXPECT_TRUE(WIFEXITED(status) && WEXITSTATUS(status) == 0);
        struct stat st;
        for (const char *p : {"/tmp/zelto_unix_socket", "/tmp/ip_change_notify.sock",
                              "/tmp/sdk_server_notification.sock", "/tmp/zelsim_control.sock", "/tmp/zelto-sdk-lock"})
            EXPECT_NE(0, lstat(p, &st)) << p << " was left behind";
        if (port) EXPECT_NE(0, lstat(kPort, &st)) << "the modem port link was left behind";
        if (::testing::UnitTest::GetInstance()->Passed()) unlink(kLog);  // kept only to explain a failure
    }
    static int32_t init_;

private:
    pid_t pid_ = -1;
};
std::string Fixture::skip;
bool Fixture::port = false;
int32_t Fixture::init_ = -1;

#define NEED_SIMULATOR()                              \
    if (!Fixture::skip.empty()) GTEST_SKIP() << Fixture::skip; \
    ASSERT_EQ(0, Fixture::init_)

TEST(ZelsimLibrary, EveryFamilyAndBothEventKinds) {
    NEED_SIMULATOR();
    ASSERT_TRUE(waitFor([] { return zelsim::control("", "status").find("ip=1 notify=1") != std::string::npos; }));
    Text t, u, v, w, x;
    int32_t n = -1;
    EXPECT_EQ(0, zelCgmiGet(&t.s));  // general
    EXPECT_EQ("ZELTO", t.str());
    EXPECT_EQ(0, zelCRCSet(1));  // call control
    EXPECT_EQ(0, zelCRCGet(&n));
    EXPECT_EQ(1, n);
    EXPECT_EQ(0, zelGetCSQ(&u.s));  // network
    EXPECT_TRUE(std::regex_match(u.str(), std::regex("\\d+,99"))) << u.str();
    EXPECT_EQ(0, zelCGDCONTSet(1, "IP", "iot.example"));
    EXPECT_EQ(0, zelGnssSetEnGps(1));  // GNSS
    EXPECT_EQ(0, zelGnssGetEnGps(&n));
    EXPECT_EQ(1, n);
    EXPECT_EQ(0, zelCPINGet(&v.s));  // SIM
    EXPECT_EQ("READY", v.str());
    EXPECT_EQ(0, zelCIPMUXGet(&n));  // TCP/IP
    EXPECT_EQ(0, n);
    Text prof;
    EXPECT_EQ(0, zelUsbprofGet(&prof.s));  // peripherals
    EXPECT_EQ("default,1,1,1,1", prof.str());
    uint32_t reason = 0;
    EXPECT_EQ(0, zelGetWakeupReason(&reason));  // sleep and wake
    EXPECT_EQ(1u, reason);
    zelString id{const_cast<char *>("zm200-1"), 7};
    EXPECT_EQ(0, zelVantorReg(&id, &id, &id));  // cloud device management
    EXPECT_EQ(1, zelVantorGetRegStatus());      // registering, for a while

    // Firmware update: the check step's status codes come back as notifications.
    zelOTACallbacks callbacks{onCheck, nullptr, nullptr, nullptr};
    EXPECT_EQ(0, zelOTARegisterCallbacks(&callbacks));
    EXPECT_EQ(0, zelOTAGetMode(&n));
    EXPECT_EQ(0, n);
    EXPECT_EQ(0, zelOTACheckUpdate("http://fw.example/zm200"));
    ASSERT_TRUE(waitFor([] { return std::lock_guard<std::mutex>(g_mu), g_check.size() == 2; }));
    EXPECT_EQ((std::vector<int32_t>{2, 3}), g_check);

    // A context coming up announces its address on the IP-change socket.
    EXPECT_EQ(0, zelSendAtCommand("AT+CGACT=1,1", &w.s));
    EXPECT_EQ("\r\nOK\r\n", w.str());
    ASSERT_TRUE(waitFor([] { return std::lock_guard<std::mutex>(g_mu), !g_ip.empty(); }));
    EXPECT_EQ(0, g_ip[0].find("ip_change cid=1 if=rmnet_data0 ip=10.64.1."));

    // A message arrives: stored, announced, then listed by the SMS family.
    EXPECT_EQ("ok", zelsim::control("", R"({sms: {from: "+15550123", text: "ping"}})"));
    auto arrived = [] {
        std::lock_guard<std::mutex> l(g_mu);
        return std::count(g_notes.begin(), g_notes.end(), std::pair<uint32_t, int>{NOTIFICATION_NEW_SMS, 1}) == 1;
    };
    EXPECT_TRUE(waitFor(arrived));
    EXPECT_EQ(0, zelCMGFSet(1));
    EXPECT_EQ(0, zelCMGLSet("ALL", &x.s));
    EXPECT_NE(std::string::npos, x.str().find("\"+15550123\",,")) << x.str();
}

TEST(ZelsimLibrary, CellRecords) {
    NEED_SIMULATOR();
    Text t, u;
    zelNeighbourCellReport report;
    EXPECT_EQ(0, zelNeighbourCellGet(&t.s, &report));
    EXPECT_EQ(2, report.lteIntraCount);
    EXPECT_EQ(2, report.lteInterCount);
    zelModemInfo info;
    EXPECT_EQ(0, zelCmodemInfoGetV2(&u.s, &info));
    EXPECT_STREQ("LTE", info.field1);
    EXPECT_EQ(0x01A2B3C4u, info.field6);  // the serving cell, in every report
    nas_cell_location_info cell;
    EXPECT_EQ(0, zelModemCellLocationGet(&cell));
    EXPECT_EQ(info.field6, uint32_t(cell.field10));
    // The signal record agrees with CSQ (read twice: the signal may move in between).
    Text before, after;
    nas_ss_info ss;
    EXPECT_EQ(0, zelGetCSQ(&before.s));
    EXPECT_EQ(0, zelModemSignalStrengthGet(&ss));
    EXPECT_EQ(0, zelGetCSQ(&after.s));
    EXPECT_EQ(1, ss.field1);
    if (before.str() == after.str()) EXPECT_EQ(-113 + 2 * std::stoi(before.str()), ss.field21);
}

TEST(ZelsimLibrary, DialAndMessageOverTheModemPort) {
    NEED_SIMULATOR();
    if (!Fixture::port)
        GTEST_SKIP() << "needs root and no existing " << kPort
                     << " (the simulator links it to its pseudo-terminal only then)";
    EXPECT_EQ(0, zelATDGet("5550100"));
    zelString text{const_cast<char *>("see you"), 7};
    EXPECT_EQ(0, zelSendSMS("+15550100", &text, 0));
    Text list;
    EXPECT_EQ(0, zelCMGFSet(1));
    EXPECT_EQ(0, zelCMGLSet("STO SENT", &list.s));
    EXPECT_NE(std::string::npos, list.str().find("\"+15550100\",,\r\nsee you")) << list.str();
}

}  // namespace

int main(int argc, char **argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new Fixture);
    return RUN_ALL_TESTS();
}

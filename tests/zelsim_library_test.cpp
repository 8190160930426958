// The real shared object against the simulator at the library's fixed paths:
// start, one call of every command family, a notification and an IP change
// reaching the registered callbacks, the modem port (only as root, and only
// when /dev/smd10 does not exist), and a clean end.
#include <gtest/gtest.h>
#include <sys/stat.h>

#include <algorithm>
#include <cstring>

#include "zelsim_process.h"
#include "zelto_sdk.h"

// Interposes the C library's: no shell line can run from this test.
extern "C" int system(const char *) { return -1; }

namespace {

using zeltest::waitUntil;
using zeltest::Owned;

const char *const kPort = zel::wire::kModemPort;
const char kLog[] = "/tmp/zelsim_library_test.log";

zeltest::Recorder<std::pair<uint32_t, int>> g_notes;  // type, value
zeltest::Recorder<std::string> g_ip;
zeltest::Recorder<int32_t> g_check;  // OTA check codes

void onNote(zelNotification *n) { g_notes.add({n->type, n->payload.value}); }
void onIp(const char *text) { g_ip.add(text); }
void onCheck(int32_t code) { g_check.add(code); }

// Starts the simulator at the fixed paths and the library against it; ends both.
class Fixture : public ::testing::Environment {
public:
    static std::string skip;  // why the whole test cannot run here
    static bool port;         // this run owns the modem port link

    void SetUp() override {
        if (!(skip = zeltest::claimFixedPaths()).empty()) return;
        unlink(kLog);
        // As root the simulator links the modem port path, only when nothing is there.
        pid_ = zeltest::startSimulator({"-v", geteuid() == 0 ? std::string("--modem-link=") + kPort : "--no-modem-link"}, kLog);
        std::string status = zeltest::simulatorStatus("");
        if (status.rfind("ok", 0) != 0) {
            zeltest::stopSimulator(pid_);  // it left by itself, or never answered
            pid_ = -1;
            return void(skip = "the simulator did not start (does a server hold the sockets?); see /tmp/zelsim_library_test.log");
        }
        port = status.find(std::string("link=") + kPort) != std::string::npos;
        zelRegisterNotification(onNote);
        zelRegisterIPChanged(onIp);
        init_ = zelInit();
        if (init_ == 4) skip = "another process runs the library (zelInit gave 4)";
    }
    void TearDown() override {
        if (init_ == 0) zelExit();
        if (pid_ <= 0) return;
        EXPECT_EQ(0, zeltest::stopSimulator(pid_));
        struct stat st;
        for (const std::string &p : zeltest::fixedPaths()) EXPECT_NE(0, lstat(p.c_str(), &st)) << p << " was left behind";
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
    if (!Fixture::skip.empty()) ZEL_SKIP_OR_FAIL_UNDER_CI(Fixture::skip); \
    ASSERT_EQ(0, Fixture::init_)

TEST(ZelsimLibrary, EveryFamilyAndBothEventKinds) {
    NEED_SIMULATOR();
    ASSERT_TRUE(waitUntil([] { return zelsim::control("", "status").find("ip=1 notify=1") != std::string::npos; }));
    Owned t, u, v, w, x;
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
    Owned prof;
    EXPECT_EQ(0, zelUsbprofGet(&prof.s));  // peripherals
    EXPECT_EQ("default,1,1,1,1", prof.str());
    uint32_t reason = 0;
    EXPECT_EQ(0, zelGetWakeupReason(&reason));  // sleep and wake
    EXPECT_EQ(1u, reason);
    zelString id = zeltest::view("zm200-1");
    EXPECT_EQ(0, zelVantorReg(&id, &id, &id));  // cloud device management
    EXPECT_EQ(1, zelVantorGetRegStatus());      // registering, for a while

    // Firmware update: the check step's status codes come back as notifications.
    zelOTACallbacks callbacks{onCheck, nullptr, nullptr, nullptr};
    EXPECT_EQ(0, zelOTARegisterCallbacks(&callbacks));
    EXPECT_EQ(0, zelOTAGetMode(&n));
    EXPECT_EQ(0, n);
    EXPECT_EQ(0, zelOTACheckUpdate("http://fw.example/zm200"));
    ASSERT_TRUE(waitUntil([] { return g_check.seen().size() == 2; }));
    EXPECT_EQ((std::vector<int32_t>{2, 3}), g_check.seen());

    // A context coming up announces its address on the IP-change socket.
    EXPECT_EQ(0, zelSendAtCommand("AT+CGACT=1,1", &w.s));
    EXPECT_EQ("\r\nOK\r\n", w.str());
    ASSERT_TRUE(waitUntil([] { return !g_ip.seen().empty(); }));
    EXPECT_EQ(0, g_ip.seen()[0].find("ip_change cid=1 if=rmnet_data0 ip=10.64.1."));

    // A message arrives: stored, announced, then listed by the SMS family.
    EXPECT_EQ("ok", zelsim::control("", R"({sms: {from: "+15550123", text: "ping"}})"));
    auto arrived = [] {
        auto notes = g_notes.seen();
        return std::count(notes.begin(), notes.end(), std::pair<uint32_t, int>{NOTIFICATION_NEW_SMS, 1}) == 1;
    };
    EXPECT_TRUE(waitUntil(arrived));
    EXPECT_EQ(0, zelCMGFSet(1));
    EXPECT_EQ(0, zelCMGLSet("ALL", &x.s));
    EXPECT_NE(std::string::npos, x.str().find("\"+15550123\",,")) << x.str();
}

TEST(ZelsimLibrary, CellRecords) {
    NEED_SIMULATOR();
    Owned t, u;
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
    Owned before, after;
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
    zelString text = zeltest::view("see you");
    EXPECT_EQ(0, zelSendSMS("+15550100", &text, 0));
    Owned list;
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

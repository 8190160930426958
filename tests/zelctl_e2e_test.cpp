// zelctl end to end: the simulator at the library's fixed paths, the tool and
// the real shared object. Every subcommand with its JSON checked field by
// field, an ERROR reply and a dropped connection with the exact message and
// exit status, and bad input refused before anything reaches the simulator.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <regex>
#include <set>

#include "server.h"
#include "zelsim_process.h"

namespace {

using Json = nlohmann::json;
using Args = std::vector<std::string>;

const char kLog[] = "/tmp/zelctl_e2e_test.log";
const char kScenario[] = "/tmp/zelctl_e2e_test.yaml";
using zeltest::fixedPaths;

bool exists(const std::string &path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

bool waitFor(const std::function<bool()> &pred) { return zeltest::waitUntil(pred, 10000); }

Json without(Json j, const char *key) {
    j.erase(key);
    return j;
}

std::string ctl(const std::string &request) { return zelsim::control("", request); }

using zeltest::Result;

// Runs zelctl with its output collected; killed when `seconds` have passed.
Result zelctl(const Args &args, int seconds = 60) { return zeltest::runTool(ZELCTL_BINARY, args, seconds); }

std::string joined(const Args &args) {
    std::string s;
    for (const auto &a : args) s += " " + a;
    return s;
}

// zelctl --json ARGS, which must succeed; its document.
Json json(Args args) {
    args.insert(args.begin(), "--json");
    Result r = zelctl(args);
    EXPECT_EQ(0, r.status) << joined(args) << ": " << r.err;
    return Json::parse(r.out.empty() ? "null" : r.out);
}

// The simulator at the fixed paths for the whole run, stopped at its end.
class Simulator : public ::testing::Environment {
public:
    static std::string skip;  // why nothing can run here
    static bool port;         // the simulator made /dev/smd10 as its own link

    void SetUp() override {
        if (!(skip = zeltest::claimFixedPaths()).empty()) return;
        std::ofstream(kScenario) << "modem:\n  pin_enabled: true\n  scan: 1s\n  ttff: 1s\n  ota_check: 300ms\n"
                                    "  ota_download: 500ms\n  ota_install: 1s\n  ota_activate: 300ms\n  restart: 1s\n"
                                    "  sms:\n    - {from: \"+15550100\", text: \"Welcome to Zelto\"}\n";
        // The simulator links the modem port path only when nothing is there.
        bool link = geteuid() == 0;
        unlink(kLog);
        pid_ = zeltest::startSimulator({"-v", "--scenario", kScenario, link ? std::string("--modem-link=") + zel::wire::kModemPort : "--no-modem-link"},
                                       kLog);
        std::string status = zeltest::simulatorStatus("", 10000);
        if (status.rfind("ok", 0) != 0) {
            zeltest::stopSimulator(pid_);  // it left by itself, or never answered
            pid_ = -1;
            return void(skip = std::string("the simulator did not start (does a server hold the sockets?); see ") + kLog);
        }
        port = status.find(std::string("link=") + zel::wire::kModemPort) != std::string::npos;
    }

    void TearDown() override {
        if (pid_ <= 0) return;
        EXPECT_EQ(0, zeltest::stopSimulator(pid_));
        for (const std::string &p : fixedPaths()) EXPECT_FALSE(exists(p)) << p << " was left behind";
        if (port) EXPECT_FALSE(exists(zel::wire::kModemPort)) << "the modem port link was left behind";
        unlink(kScenario);
        if (::testing::UnitTest::GetInstance()->Passed()) unlink(kLog);  // kept only to explain a failure
    }

private:
    pid_t pid_ = -1;
};
std::string Simulator::skip;
bool Simulator::port = false;

#define NEED_SIMULATOR() \
    if (!Simulator::skip.empty()) ZEL_SKIP_OR_FAIL_UNDER_CI(Simulator::skip)

TEST(Zelctl, EverySubcommandAsJson) {
    NEED_SIMULATOR();
    struct Row {
        Args args;
        std::function<void(const Json &)> check;
    };
    const std::regex clock(R"(20\d\d-\d\d-\d\d \d\d:\d\d:\d\d)");
    const Row rows[] = {
        {{"sim", "status"}, [](const Json &j) {
             EXPECT_EQ("SIM PIN", j["state"]);
             EXPECT_EQ(Json::parse(R"({"code":"SIM PIN","retries":3,"default":3})"), j["counters"][0]);
         }},
        {{"sim", "pin", "1234"}, [](const Json &j) { EXPECT_EQ(Json::parse(R"({"accepted":true,"state":"READY"})"), j); }},
        {{"info"}, [&](const Json &j) {
             EXPECT_EQ(Json::parse(R"({"manufacturer":"ZELTO","model":"ZM200","revision":"ZM200_V2.2.5",
                 "imei":"868000012345675","iccid":"89860012345678901234","imsi":"460990123456789","library":"2.2.5"})"),
                       without(j, "clock"));
             EXPECT_TRUE(std::regex_match(j["clock"].get<std::string>(), clock)) << j["clock"];
         }},
        {{"signal"}, [](const Json &j) {
             int rssi = j["rssi"];
             EXPECT_TRUE(rssi >= 0 && rssi <= 31) << rssi;
             EXPECT_EQ(-113 + 2 * rssi, j["dbm"]);
         }},
        {{"reg"}, [](const Json &j) {
             EXPECT_EQ(Json::parse(R"({"stat":1,"state":"home"})"), j["eps"]);
             EXPECT_EQ("Zelto Net", j["operator"]["operator"]);
         }},
        {{"scan"}, [](const Json &j) {
             EXPECT_EQ("Zelto Net", j["operators"][0]["long"]);
             EXPECT_EQ("current", j["operators"][0]["status"]);
         }},
        {{"pdp", "define", "3", "e2e.apn", "--type", "IPV4V6"}, [](const Json &j) { EXPECT_EQ("e2e.apn", j["apn"]); }},
        {{"pdp", "activate", "3", "--wait-ip", "5"}, [](const Json &j) {
             EXPECT_EQ(true, j["active"]);
             EXPECT_NE(std::string::npos, j["ip_change"].get<std::string>().find("cid=3")) << j["ip_change"];
         }},
        {{"pdp", "list"}, [](const Json &j) {
             const Json &c = j["contexts"].back();
             EXPECT_EQ(3, c["cid"]);
             EXPECT_EQ("IPV4V6", c["type"]);
             EXPECT_EQ(true, c["active"]);
             EXPECT_TRUE(c["address"].is_string()) << c;
         }},
        {{"pdp", "deactivate", "3"}, [](const Json &j) { EXPECT_EQ(false, j["active"]); }},
        {{"cells"}, [](const Json &j) {
             EXPECT_EQ(2u, j["neighbours"]["lte_intra"].size());
             EXPECT_EQ(2u, j["neighbours"]["lte_inter"].size());
             EXPECT_LT(j["neighbours"]["lte_intra"][0]["tok4"].get<int>(), 0);  // a level, read back signed
             EXPECT_EQ("LTE", j["modem_info"]["field1"]);
         }},
        {{"sms", "list"}, [](const Json &j) {
             EXPECT_EQ(Json::parse(R"({"index":1,"status":"REC UNREAD","number":"+15550100","text":"Welcome to Zelto"})"),
                       without(j["messages"][0], "time"));
         }},
        {{"sms", "read", "1"}, [](const Json &j) { EXPECT_EQ("Welcome to Zelto", j["text"]); }},
        {{"sms", "delete", "1"}, [](const Json &j) { EXPECT_EQ(true, j["deleted"]); }},
        {{"sms", "list"}, [](const Json &j) { EXPECT_EQ(Json::array(), j["messages"]); }},
        {{"gnss", "on"}, [](const Json &j) { EXPECT_EQ(true, j["enabled"]); }},
        {{"gnss", "position", "--wait", "10"}, [](const Json &j) {
             EXPECT_NEAR(22.54, j["latitude"].get<double>(), 0.5);
             EXPECT_NEAR(113.93, j["longitude"].get<double>(), 0.5);
             EXPECT_TRUE(j["altitude"].is_number());
         }},
        {{"gnss", "off"}, [](const Json &j) { EXPECT_EQ(false, j["enabled"]); }},
        {{"ota", "check", "http://fw.example/zm200"}, [](const Json &j) {
             EXPECT_EQ(3, j["events"].back()["status"]);
         }},
        {{"ota", "download", "http://fw.example/zm200"}, [](const Json &j) { EXPECT_EQ(19, j["events"].back()["status"]); }},
        {{"ota", "install"}, [](const Json &j) {
             EXPECT_EQ(Json::parse(R"({"event":"ota","step":"install","status":92,"progress":100})"),
                       without(j["events"].back(), "time"));
             EXPECT_GE(j["events"].size(), 3u);  // start, progress, end
         }},
        {{"at", "ATI"}, [](const Json &j) {
             EXPECT_EQ(true, j["ok"]);
             EXPECT_NE(std::string::npos, j["reply"].get<std::string>().find("Model: ZM200"));
         }},
        {{"ota", "activate"}, [](const Json &j) { EXPECT_EQ(111, j["events"].back()["status"]); }},
        {{"ota", "apply"}, [](const Json &j) { EXPECT_EQ(true, j["applied"]); }},
    };
    for (const auto &row : rows) {
        SCOPED_TRACE(joined(row.args));
        row.check(json(row.args));
    }
    // The module restarts to run the update: the server goes away and comes back.
    ASSERT_TRUE(waitFor([] { return !exists(fixedPaths()[0]); }) && waitFor([] { return exists(fixedPaths()[0]); }));
    Json status = json({"ota", "status"});
    EXPECT_EQ("success", status["last_update"]);
    EXPECT_TRUE(std::regex_match(status["completed"].get<std::string>(), clock)) << status;
    EXPECT_EQ("recovery", status["mode"]);
}

TEST(Zelctl, SendsAMessageOverTheSimulatorsPort) {
    NEED_SIMULATOR();
    if (!Simulator::port) GTEST_SKIP() << "/dev/smd10 is not the simulator's link here (needs root, nothing at the path)";
    EXPECT_EQ(Json::parse(R"({"number":"+15550123","mode":"text","sent":true})"), json({"sms", "send", "+15550123", "Hi e2e"}));
    Json sent = json({"sms", "list", "--status", "sent"})["messages"];
    ASSERT_FALSE(sent.empty());
    EXPECT_EQ("Hi e2e", sent.back()["text"]);
}

TEST(Zelctl, WatchPrintsOneObjectPerEvent) {
    NEED_SIMULATOR();
    auto watch = std::async(std::launch::async, [] { return zelctl({"watch", "--json", "--count", "3", "--timeout", "20"}); });
    ASSERT_TRUE(waitFor([] { return ctl("status").find("ip=1 notify=1") != std::string::npos; }));
    EXPECT_EQ("ok", ctl("{notify: [{type: new_sms, value: 1}, {type: ota_status, status: 91, progress: 40}]}"));
    EXPECT_EQ("ok", ctl("{ip_change: 'ip_change cid=1 ip=10.0.0.9'}"));
    Result r = watch.get();
    ASSERT_EQ(0, r.status) << r.err;
    // Events of the two sockets may interleave in either order.
    std::multiset<std::string> got, want;
    std::istringstream in(r.out);
    for (std::string line; std::getline(in, line);) got.insert(without(Json::parse(line), "time").dump());
    for (const char *e : {R"({"event":"notification","type":2,"name":"new_sms","value":1})",
                          R"({"event":"notification","type":3,"name":"ota_status","status":91,"progress":40,"step":"install"})",
                          R"({"event":"ip_change","text":"ip_change cid=1 ip=10.0.0.9"})"})
        want.insert(Json::parse(e).dump());
    EXPECT_EQ(want, got) << r.out;
}

TEST(Zelctl, FaultsNameTheFunctionAndTheStatus) {
    NEED_SIMULATOR();
    const std::string failed =
        "zelctl: zelGetCSQ failed with status 5 (failure: no connection or no reply in time, or an error or unexpected reply)\n";
    // An ERROR reply, then a connection dropped instead of a reply (the call waits out its 15 s).
    for (const char *fault : {"error: true", "drop: true"}) {
        SCOPED_TRACE(fault);
        ASSERT_EQ("ok", ctl(std::string("{on: 'AT\\+CSQ', count: 1, ") + fault + "}"));
        Result r = zelctl({"signal"});
        EXPECT_EQ(1, r.status);
        EXPECT_EQ(failed, r.err);
        EXPECT_EQ("", r.out);
    }
    ASSERT_EQ("ok", ctl("{on: 'AT\\+CSQ', count: 1, error: true}"));
    Result r = zelctl({"--json", "signal"});
    EXPECT_EQ(1, r.status);
    EXPECT_EQ(Json::parse(R"({"function":"zelGetCSQ","status":5,
        "meaning":"failure: no connection or no reply in time, or an error or unexpected reply"})"),
              without(Json::parse(r.out), "error"));
    r = zelctl({"at", "AT+NOSUCHCOMMAND"});
    EXPECT_EQ(1, r.status);
    EXPECT_EQ("\r\nERROR\r\n", r.out);
    EXPECT_EQ("zelctl: the modem answered AT+NOSUCHCOMMAND with ERROR\n", r.err);
}

TEST(Zelctl, BadInputReachesNothing) {
    NEED_SIMULATOR();
    struct Row {
        Args args;
        std::string problem, command;
    };
    const Row rows[] = {
        {{"frobnicate"}, "unknown subcommand 'frobnicate' (one of: info, signal, reg, scan, pdp, cells, sim, sms, gnss, ota, watch, at)", "zelctl"},
        {{"sim"}, "missing subcommand (one of: status, pin, puk)", "zelctl sim"},
        {{"pdp", "define", "3"}, "apn is required", "zelctl pdp define"},
        {{"pdp", "define", "9", "x"}, "cid: 9 is out of range (1 to 8)", "zelctl pdp define"},
        {{"sms", "read", "two"}, "index: 'two' is not a whole number", "zelctl sms read"},
        {{"sms", "delete", "1", "--flag", "5"}, "--flag: 5 is out of range (0 to 4)", "zelctl sms delete"},
        {{"sms", "send", "12345", "hi", "--pdu"}, "number: '12345' must have 10 digits (PDU mode takes the 10-digit national number)", "zelctl sms send"},
        {{"sim", "pin", "12"}, "pin: '12' must have 4 to 8 digits", "zelctl sim pin"},
        {{"at", "CSQ"}, "command: 'CSQ' is not an AT command (it must start with AT)", "zelctl at"},
        {{"watch", "--count", "0"}, "--count: 0 is out of range (1 to 1000000)", "zelctl watch"},
        {{"signal", "extra"}, "the following argument was not expected: extra", "zelctl signal"},
    };
    // The log's end now; an earlier test's disconnections may still be written after it.
    const auto before = std::ifstream(kLog, std::ios::ate).tellg();
    for (const auto &row : rows) {
        Result r = zelctl(row.args);
        EXPECT_EQ(2, r.status) << joined(row.args);
        EXPECT_EQ("zelctl: " + row.problem + "\nRun '" + row.command + " --help' for usage.\n", r.err);
        EXPECT_EQ("", r.out);
    }
    std::ifstream log(kLog);
    log.seekg(before);
    const std::string since{std::istreambuf_iterator<char>(log), {}};
    EXPECT_FALSE(std::regex_search(since, std::regex("client \\d+ connected"))) << "a refused command line connected:\n" << since;
    Result help = zelctl({"ota", "install", "--help"});
    EXPECT_EQ(0, help.status);
    EXPECT_NE(std::string::npos, help.out.find("--timeout")) << help.out;
}

}  // namespace

int main(int argc, char **argv) {
    ::testing::InitGoogleTest(&argc, argv);
    ::testing::AddGlobalTestEnvironment(new Simulator);
    return RUN_ALL_TESTS();
}

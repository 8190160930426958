// zeltap end to end at the library's fixed paths: a simulator plays the
// device, the recorder stands in front of it while zelctl runs, and a second
// simulator of another identity replays the recording strictly: the same
// zelctl commands print the same JSON and the same callbacks. A killed
// recorder is undone by restore (or by the next recorder), and a recorder
// refuses to start without a live server or beside another recorder.
#include <gtest/gtest.h>
#include <fcntl.h>
#include <poll.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <future>
#include <nlohmann/json.hpp>
#include <sstream>

#include "core/platform.h"
#include "redact.h"
#include "server.h"
#include "zelsim_process.h"

namespace {

using Json = nlohmann::json;
using Args = std::vector<std::string>;
using zeltest::Result;

const char kLog[] = "/tmp/zeltap_e2e_test.log";
const char kDevice[] = "/tmp/zeltap_e2e_device.yaml";
const char kRecording[] = "/tmp/zeltap_e2e_recording.yaml";
const char kReplay[] = "/tmp/zeltap_e2e_replay.yaml";
const char kPin[] = "97315";
const char kPort[] = "/tmp/zeltap_e2e_port";  // the modem port, never the device's own

bool exists(const std::string &path) {
    struct stat st;
    return lstat(path.c_str(), &st) == 0;
}

std::string slurp(const std::string &path) {
    std::ifstream in(path);
    return {std::istreambuf_iterator<char>(in), {}};
}

Result zelctl(const Args &args, int seconds = 30) { return zeltest::runTool(ZELCTL_BINARY, args, seconds); }
Result zeltap(const Args &args) { return zeltest::runTool(ZELTAP_BINARY, args, 30); }

// The server sockets, where the recorder moves them, and its lock file.
std::vector<std::string> recorderLeftovers() {
    namespace wire = zel::wire;
    std::vector<std::string> paths = {std::string(wire::kDir) + "/zeltap.lock", kPort, std::string(kPort) + ".zeltap-server"};
    for (const char *s : {wire::kServerSocket, wire::kIpSocket, wire::kNotifySocket})
        for (const char *suffix : {".zeltap-server", ".zeltap-new"}) paths.push_back(std::string(s) + suffix);
    return paths;
}

// A simulator at the fixed paths until the end of the scope (or stop()).
struct Simulator {
    pid_t pid = -1;
    explicit Simulator(Args args) {
        if (std::find(args.begin(), args.end(), "--modem-link") == args.end()) args.push_back("--no-modem-link");
        pid = zeltest::startSimulator(args, kLog);
        if (zeltest::simulatorStatus("", 10000).rfind("ok", 0) != 0) stop();
    }
    int stop() { return zeltest::stopSimulator(std::exchange(pid, -1)); }
    ~Simulator() {
        if (pid > 0) zeltest::stopSimulator(pid);
    }
};

// A recorder in front of the server, once it stands at the paths.
pid_t startRecorder(const Args &args) {
    const auto before = slurp(kLog).size();
    pid_t pid = zeltest::startProcess(ZELTAP_BINARY, args, kLog);
    bool up = zeltest::waitUntil([&] { return slurp(kLog).find("zeltap: recording:", before) != std::string::npos; }, 10000);
    EXPECT_TRUE(up) << "the recorder did not start; see " << kLog;
    return pid;
}

// What an application sees: a watch that gets one pushed message of two
// items (pushed through the simulator's control socket when `push`), then
// each command's JSON, byte for byte.
std::vector<std::string> session(bool push) {
    std::vector<std::string> seen;
    auto watch = std::async(std::launch::async, [] { return zelctl({"watch", "--json", "--count", "2", "--timeout", "20"}); });
    if (push) {
        EXPECT_TRUE(zeltest::waitUntil([] { return zelsim::control("", "status").find("notify=1") != std::string::npos; }, 10000));
        EXPECT_EQ("ok", zelsim::control("", "{notify: [{type: new_sms, value: 1}, {type: ota_status, status: 91, progress: 40}]}"));
    }
    Result w = watch.get();
    EXPECT_EQ(0, w.status) << w.err;
    std::istringstream lines(w.out);
    for (std::string line; std::getline(lines, line);) {
        Json j = Json::parse(line);
        j.erase("time");  // when the callback ran
        seen.push_back(j.dump());
    }
    EXPECT_EQ(2u, seen.size()) << w.out;
    const Args commands[] = {{"sim", "status"}, {"sim", "pin", kPin}, {"info"},     {"signal"},
                             {"reg"},           {"sms", "list"},      {"pdp", "list"}};
    for (Args args : commands) {
        args.insert(args.begin(), "--json");
        Result r = zelctl(args);
        EXPECT_EQ(0, r.status) << args[1] << ": " << r.err;
        seen.push_back(r.out);
    }
    return seen;
}

// A dialog on the modem port: each write and what came back up to its end;
// the second message is cancelled with ESC.
std::string portDialog() {
    int fd = open(kPort, O_RDWR | O_NOCTTY | O_CLOEXEC);
    if (fd < 0) return std::string("cannot open ") + kPort;
    const std::pair<std::string, std::string> steps[] = {
        {"AT+CMGF=1\r", "OK\r\n"},      {"AT+CMGS=\"+15550123\"\r", "> "}, {"port hello\x1A", "OK\r\n"},
        {"AT+CMGS=\"+15550124\"\r", "> "}, {"never sent\x1B", "OK\r\n"}};
    std::string seen;
    for (const auto &step : steps) {
        std::string got;
        if (write(fd, step.first.data(), step.first.size()) != static_cast<ssize_t>(step.first.size())) break;
        pollfd p{fd, POLLIN, 0};
        char buf[256];
        while (got.size() < step.second.size() || got.compare(got.size() - step.second.size(), std::string::npos, step.second) != 0) {
            ssize_t n = poll(&p, 1, 5000) == 1 ? read(fd, buf, sizeof buf) : -1;
            if (n <= 0) break;
            got.append(buf, static_cast<size_t>(n));
        }
        seen += step.first + " -> " + got + "\n";
    }
    close(fd);
    return seen;
}

// A text message sent by the library itself, through the port at its test path.
int32_t librarySends() {
    zel::g_platform.modem_port = kPort;
    char text[] = "library hello";
    zelString message = {text, static_cast<int32_t>(sizeof text - 1)};
    return zelSendSMS("+15550125", &message, 0);
}

std::string linkTarget(const char *path) {
    char buf[256];
    ssize_t n = readlink(path, buf, sizeof buf - 1);
    return n > 0 ? std::string(buf, static_cast<size_t>(n)) : "";
}

class Zeltap : public ::testing::Test {
protected:
    void SetUp() override {
        std::string why = zeltest::claimFixedPaths();
        if (!why.empty()) ZEL_SKIP_OR_FAIL_UNDER_CI(why);
        std::ofstream(kDevice) << "modem:\n  pin: \"" << kPin << "\"\n  pin_enabled: true\n"
                               << "  sms:\n    - {from: \"+15550100\", text: \"Recorded hello\"}\n";
    }
    void TearDown() override {
        if (IsSkipped()) return;
        for (const std::string &p : recorderLeftovers()) EXPECT_FALSE(exists(p)) << p << " was left behind";
        for (const std::string &p : zeltest::fixedPaths()) EXPECT_FALSE(exists(p)) << p << " was left behind";
        for (const char *f : {kDevice, kRecording, kReplay}) unlink(f);
        if (!HasFailure()) unlink(kLog);  // kept only to explain a failure
    }
};

TEST_F(Zeltap, RecordingReplaysToTheSameOutput) {
    std::vector<std::string> recorded;
    {
        Simulator device({"--scenario", kDevice});
        ASSERT_GT(device.pid, 0) << "the simulator did not start; see " << kLog;
        pid_t tap = startRecorder({"record", "--out", kRecording});
        recorded = session(true);
        EXPECT_EQ(0, zeltest::stopSimulator(tap, SIGINT));
        EXPECT_EQ(0, device.stop());
    }
    const std::string file = slurp(kRecording);
    EXPECT_EQ(std::string::npos, file.find(kPin)) << file;
    EXPECT_NE(std::string::npos, file.find("command: \"AT+CPIN=<masked>")) << file;

    // Another identity in the model: what zelctl prints must come from the recording.
    const char other_imei[] = "356938035643809";
    std::ofstream(kReplay) << file << "modem: {imei: \"" << other_imei << "\", manufacturer: OTHER, pin: \"1111\"}\n";
    Simulator replay({"--strict", "--scenario", kReplay});
    ASSERT_GT(replay.pid, 0) << "the replay did not start; see " << kLog;
    std::vector<std::string> replayed = session(false);
    EXPECT_EQ(recorded, replayed);
    for (const std::string &out : replayed) EXPECT_EQ(std::string::npos, out.find(other_imei)) << out;
    EXPECT_EQ(0, replay.stop()) << "the replay refused a recorded command; see " << kLog;

    // A command the recording does not hold fails, and so does the strict replay.
    Simulator strict({"--strict", "--scenario", kReplay});
    ASSERT_GT(strict.pid, 0);
    EXPECT_NE(0, zelctl({"--json", "cells"}).status);
    EXPECT_EQ(3, strict.stop());
}

TEST_F(Zeltap, RedactedRecordingReplays) {
    const Args commands[] = {{"sim", "pin", kPin}, {"--json", "info"}, {"--json", "sms", "list"}};
    {
        Simulator device({"--scenario", kDevice});
        ASSERT_GT(device.pid, 0) << "the simulator did not start; see " << kLog;
        pid_t tap = startRecorder({"record", "--redact", "--out", kRecording});
        for (const Args &args : commands) EXPECT_EQ(0, zelctl(args).status);
        EXPECT_EQ(0, zeltest::stopSimulator(tap, SIGINT));
    }
    const std::string file = slurp(kRecording);
    for (const char *real : {"868000012345675", "460990123456789", "89860012345678901234", "+15550100", "Recorded hello"})
        EXPECT_EQ(std::string::npos, file.find(real)) << real << " is in\n" << file;
    Simulator replay({"--strict", "--scenario", kRecording});
    ASSERT_GT(replay.pid, 0) << "the replay did not start; see " << kLog;
    EXPECT_EQ(0, zelctl(commands[0]).status);
    Result info = zelctl(commands[1]), sms = zelctl(commands[2]);
    ASSERT_EQ(0, info.status) << info.err;
    ASSERT_EQ(0, sms.status) << sms.err;
    const std::string imei = Json::parse(info.out)["imei"];
    EXPECT_EQ(15u, imei.size());
    EXPECT_TRUE(zeltap::luhnValid(imei)) << imei;
    EXPECT_NE("868000012345675", imei);
    EXPECT_EQ(std::string::npos, sms.out.find("Recorded hello")) << sms.out;
    EXPECT_EQ(0, replay.stop());
}

TEST_F(Zeltap, ModemPortIsRecordedAndPutBack) {
    const Args record = {"record", "--modem-port", "--port", kPort, "--out", kRecording};
    std::string recorded;
    {
        Simulator device({"--modem-link", kPort});
        ASSERT_GT(device.pid, 0) << "the simulator did not start; see " << kLog;
        const std::string port = linkTarget(kPort);
        ASSERT_EQ(0u, port.rfind("/dev/pts/", 0)) << port;
        // Killed: restore puts the simulator's port back.
        EXPECT_EQ(-1, zeltest::stopSimulator(startRecorder(record), SIGKILL));
        EXPECT_NE(port, linkTarget(kPort));
        EXPECT_EQ(0, zeltap({"restore", "--port", kPort}).status);
        EXPECT_EQ(port, linkTarget(kPort));

        pid_t tap = startRecorder(record);
        recorded = portDialog();
        EXPECT_EQ(0, librarySends());
        EXPECT_EQ(0, zeltest::stopSimulator(tap, SIGINT));
        EXPECT_EQ(port, linkTarget(kPort));
        EXPECT_NE(std::string::npos, recorded.find("+CMGS: ")) << recorded;
    }
    const std::string file = slurp(kRecording);
    for (const char *body : {"port hello", "library hello"})
        EXPECT_NE(std::string::npos, file.find(std::string("port: true, body: \"") + body + "\"")) << file;
    EXPECT_EQ(std::string::npos, file.find("never sent")) << file;
    Simulator replay({"--strict", "--scenario", kRecording, "--modem-link", kPort});
    ASSERT_GT(replay.pid, 0) << "the replay did not start; see " << kLog;
    EXPECT_EQ(recorded, portDialog());
    EXPECT_EQ(0, librarySends());
    EXPECT_EQ(0, replay.stop());
}

TEST_F(Zeltap, KilledRecorderIsUndone) {
    Simulator device({"--scenario", kDevice});
    ASSERT_GT(device.pid, 0) << "the simulator did not start; see " << kLog;
    // After SIGKILL in the middle of traffic: restore, or a new recorder, which restores first.
    const Args recoveries[] = {{"restore"}, {"record", "--out", kRecording, "--duration", "300ms"}};
    for (const Args &recovery : recoveries) {
        SCOPED_TRACE(recovery[0]);
        pid_t tap = startRecorder({"record", "--out", kRecording});
        EXPECT_EQ(1, zeltap({"record", "--out", kRecording}).status) << "a second recorder started";
        auto traffic = std::async(std::launch::async, [] {
            for (int i = 0; i < 20; ++i) zelctl({"signal"}, 5);
        });
        usleep(300 * 1000);
        EXPECT_EQ(-1, zeltest::stopSimulator(tap, SIGKILL));
        traffic.get();
        EXPECT_TRUE(exists(std::string(zel::wire::kServerSocket) + ".zeltap-server"));
        Result r = zeltap(recovery);
        EXPECT_EQ(0, r.status) << r.err;
        for (const std::string &p : recorderLeftovers()) EXPECT_FALSE(exists(p)) << p << " was left behind";
        r = zelctl({"--json", "signal"});
        EXPECT_EQ(0, r.status) << "the server does not answer at its own path: " << r.err;
    }
    // Killed between linking the server's socket aside and renaming its own over the path.
    const std::string server = zel::wire::kServerSocket;
    ASSERT_EQ(0, link(server.c_str(), (server + ".zeltap-server").c_str()));
    ASSERT_EQ(0, mkfifo((server + ".zeltap-new").c_str(), 0600));
    EXPECT_EQ(0, zeltap({"restore"}).status);
    for (const std::string &p : recorderLeftovers()) EXPECT_FALSE(exists(p)) << p << " was left behind";
    EXPECT_EQ(0, zelctl({"--json", "signal"}).status);
    // Nothing to record without a live server; nothing is moved.
    EXPECT_EQ(0, device.stop());
    unlink(kRecording);
    Result r = zeltap({"record", "--out", kRecording});
    EXPECT_EQ(1, r.status);
    EXPECT_NE(std::string::npos, r.err.find("no server listens at")) << r.err;
    EXPECT_FALSE(exists(kRecording));
}

}  // namespace

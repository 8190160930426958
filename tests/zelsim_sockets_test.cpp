// The simulator binary on a temporary directory, driven over its sockets:
// exact reply bytes, a scripted fault, a pushed notification, an IP change,
// the modem port's message dialogue, robustness and a clean stop.
#include <gtest/gtest.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>

#include <chrono>
#include <filesystem>
#include <fstream>

#include "zelsim_process.h"

namespace {

using namespace zelsim;
using zeltest::waitUntil;
using Clock = std::chrono::steady_clock;

// A started simulator; stopped with SIGTERM, and it must then exit 0.
struct Sim {
    std::string dir;
    pid_t pid = -1;
    bool owns_dir;

    explicit Sim(const std::string &scenario, const std::string &existing_dir = "",
                 std::vector<std::string> args = {}) {
        char tmpl[] = "/tmp/zelsim_test_XXXXXX";
        owns_dir = existing_dir.empty();
        dir = owns_dir ? mkdtemp(tmpl) : existing_dir;
        std::ofstream(dir + "/scenario.yaml") << scenario;
        args.insert(args.end(), {"-v", "--dir", dir, "--scenario", dir + "/scenario.yaml"});
        pid = zeltest::startSimulator(args, dir + "/log");
    }
    // Waits for the simulator to exit by itself: its status.
    int exitStatus() {
        int status = -1;
        if (!waitUntil([&] { return waitpid(pid, &status, WNOHANG) == pid; })) return -2;
        pid = -1;
        return WEXITSTATUS(status);
    }
    std::string log() const {
        std::ifstream in(path("log"));
        return std::string(std::istreambuf_iterator<char>(in), {});
    }
    bool ready() { return zeltest::simulatorStatus(dir).rfind("ok", 0) == 0; }
    int stop() {
        int status = zeltest::stopSimulator(pid);
        pid = -1;
        return status;
    }
    ~Sim() {
        if (pid > 0) EXPECT_EQ(0, stop());
        if (owns_dir) std::filesystem::remove_all(dir);
    }
    std::string path(const std::string &name) const { return dir + "/" + name; }
};

struct Client {
    int fd = -1;
    explicit Client(const std::string &path) {
        sockaddr_un a{};
        a.sun_family = AF_UNIX;
        snprintf(a.sun_path, sizeof a.sun_path, "%s", path.c_str());
        fd = socket(AF_UNIX, SOCK_STREAM, 0);
        if (connect(fd, reinterpret_cast<sockaddr *>(&a), sizeof a) != 0) close(fd), fd = -1;
    }
    explicit Client(int f) : fd(f) {}
    ~Client() {
        if (fd >= 0) close(fd);
    }
    void say(const std::string &b) const { ASSERT_EQ(ssize_t(b.size()), write(fd, b.data(), b.size())); }
    // Everything that arrives until `n` bytes are in, the peer closes, or `ms` pass.
    std::string read(size_t n, int ms = 3000) const {
        std::string got;
        char buf[4096];
        pollfd p{fd, POLLIN, 0};
        for (auto end = Clock::now() + std::chrono::milliseconds(ms); got.size() < n && Clock::now() < end;) {
            if (poll(&p, 1, 20) <= 0) continue;
            ssize_t k = ::read(fd, buf, sizeof buf);
            if (k <= 0) break;
            got.append(buf, size_t(k));
        }
        return got;
    }
    std::string ask(const std::string &command, const std::string &expected) const {
        say(command);
        return read(expected.size());
    }
};

const char kScenario[] = R"(
modem: {scan: 300ms}
faults:
  - {on: "AT\\+CSQ", cme_error: 10, count: 1}
)";

TEST(ZelsimSockets, RepliesFaultsNotificationsAndIpChanges) {
    Sim sim(kScenario);
    ASSERT_TRUE(sim.ready());
    Client cmd(sim.path(zel::wire::kServerSocketName)), notify(sim.path(zel::wire::kNotifySocketName)),
        ip(sim.path(zel::wire::kIpSocketName));
    EXPECT_EQ("\r\n+CME ERROR: 10\r\n", cmd.ask("AT+CSQ\r\n", "\r\n+CME ERROR: 10\r\n"));
    std::string csq = cmd.ask("AT+CSQ\r\n", "\r\n+CSQ: 22,99\r\n\r\nOK\r\n");
    EXPECT_TRUE(std::regex_match(csq, std::regex("\r\n\\+CSQ: \\d\\d,99\r\n\r\nOK\r\n"))) << escaped(csq);
    EXPECT_EQ("\r\nZELTO\r\n\r\nOK\r\n", cmd.ask("AT+CGMI\r\n", "\r\nZELTO\r\n\r\nOK\r\n"));
    EXPECT_EQ("\r\nERROR\r\n", cmd.ask("AT+NOSUCH\r\n", "\r\nERROR\r\n"));

    ASSERT_TRUE(waitUntil([&] { return control(sim.dir, "status").find("ip=1 notify=1") != std::string::npos; }));
    EXPECT_EQ("ok", control(sim.dir, R"({notify: [{type: new_sms, value: 1}, {type: urc, text: "+CMTI: 1"}]})"));
    EXPECT_EQ(std::string("\x02\x01\x04\0\0\0\x08+CMTI: 1", 15), notify.read(15));
    std::string ip_text = "ip_change cid=1 if=rmnet_data0 ip=10.64.1.11";
    EXPECT_EQ("\r\nOK\r\n", cmd.ask("AT+CGACT=1,1\r\n", "\r\nOK\r\n"));
    EXPECT_EQ(ip_text, ip.read(ip_text.size()));
    // A message arriving is stored and announced.
    EXPECT_EQ("ok", control(sim.dir, R"({sms: {from: "+15550123", text: "ping"}})"));
    EXPECT_EQ(std::string("\x02\x01", 2), notify.read(2));
    EXPECT_EQ("ok", control(sim.dir, "{on: 'AT\\+CGMR', silent: true}"));
    cmd.say("AT+CGMR\r\n");
    EXPECT_EQ("", cmd.read(1, 300));
    EXPECT_EQ(0, sim.stop());
}

TEST(ZelsimSockets, SurvivesGarbageLongLinesAndClientsThatLeave) {
    Sim sim(kScenario);
    ASSERT_TRUE(sim.ready());
    std::string path = sim.path(zel::wire::kServerSocketName);
    {
        Client c(path);
        EXPECT_EQ("\r\nERROR\r\n", c.ask(std::string("\x00\xff\x01garbage\r\n", 12), "\r\nERROR\r\n"));
        c.say(std::string(1 << 20, 'A'));
        EXPECT_EQ("\r\nERROR\r\n", c.ask("\r\n", "\r\nERROR\r\n"));
        // Long lines that a pattern matches: refused past the line limit, answered up to it.
        EXPECT_EQ("\r\nERROR\r\n", c.ask("AT+CONFIG=1," + std::string(60000, 'x') + ",1\r\n", "\r\nERROR\r\n"));
        EXPECT_EQ("\r\nOK\r\n", c.ask("ATD" + std::string(2040, '1') + ";\r\n", "\r\nOK\r\n"));
    }
    Client(path).say("AT+CG");              // leaves in the middle of a command
    Client(path).say("AT+COPS=?\r\n");      // leaves while the scan runs
    Client next(path);
    EXPECT_EQ("\r\nZELTO\r\n\r\nOK\r\n", next.ask("AT+CGMI\r\n", "\r\nZELTO\r\n\r\nOK\r\n"));
    std::string scan = next.ask("AT+COPS=?\r\n", std::string(100, '.'));
    EXPECT_NE(std::string::npos, scan.find("\"Zelto Net\"")) << scan;
    // A restart closes the link and comes back.
    EXPECT_EQ("ok", control(sim.dir, "{restart: 200ms}"));
    EXPECT_EQ("", next.read(1));
    EXPECT_TRUE(waitUntil([&] { return Client(path).fd >= 0; }));
    EXPECT_EQ(0, sim.stop());
}

TEST(ZelsimSockets, ModemPortSendsAMessageThatCanBeListed) {
    Sim sim(kScenario);
    ASSERT_TRUE(sim.ready());
    Client port(open(sim.path("smd10").c_str(), O_RDWR | O_NOCTTY));
    ASSERT_GE(port.fd, 0) << "the simulator links its modem port into its directory";
    EXPECT_EQ("\r\nOK\r\n", port.ask("AT+CMGF=1\r\n", "\r\nOK\r\n"));
    EXPECT_EQ("\r\n> ", port.ask("AT+CMGS=\"+15550100\"\r\n", "\r\n> "));
    EXPECT_EQ("\r\n+CMGS: 1\r\n\r\nOK\r\n", port.ask("see you\x1a", "\r\n+CMGS: 1\r\n\r\nOK\r\n"));
    EXPECT_EQ("\r\nOK\r\n", port.ask("ATD5550100;\r\n", "\r\nOK\r\n"));
    Client cmd(sim.path(zel::wire::kServerSocketName));
    std::string list = "\r\n+CMGL: 1,\"STO SENT\",\"+15550100\",,\r\nsee you\r\n\r\nOK\r\n";
    EXPECT_EQ(list, cmd.ask("AT+CMGL=\"ALL\"\r\n", list));
    EXPECT_EQ("\r\n+CPAS: 4\r\n\r\nOK\r\n", cmd.ask("AT+CPAS\r\n", "\r\n+CPAS: 4\r\n\r\nOK\r\n"));
}

// Two answers recorded for AT+CSQ (the first in two bursts), a masked PIN,
// a message sent over the port, and a notification to the second listener.
const char kRecording[] = R"(version: 1
recording: {tool: zeltap}
exchanges:
  - {at: 1s, command: "AT+CSQ", reply: [[0ms, "\r\n+CSQ: 7,99\r\n"], [400ms, "\r\nOK\r\n"]]}
  - {at: 2s, command: "AT+CSQ", reply: [[0ms, "\r\n+CSQ: 8,99\r\n\r\nOK\r\n"]]}
  - {at: 3s, command: "AT+CPIN=<masked>", reply: [[0ms, "\r\nOK\r\n"]]}
  - {at: 4s, port: true, command: "AT+CMGF=1", reply: [[0ms, "\r\nOK\r\n"]]}
  - {at: 4s, port: true, command: "AT+CMGS=\"+15550100\"", reply: [[0ms, "\r\n> "]]}
  - {at: 4.1s, port: true, body: "hi", reply: [[5ms, {hex: 0D0A2B434D47533A2034320D0A0D0A4F4B0D0A}]]}
events:
  - {at: 5s, client: 2, after: 100ms, notify: {type: new_sms, value: 1}}
end: true
)";

TEST(ZelsimSockets, ReplaysARecordingThenTheModelOrErrorWhenStrict) {
    for (bool strict : {false, true}) {
        SCOPED_TRACE(strict ? "strict" : "model fallback");
        Sim sim(kRecording, "", strict ? std::vector<std::string>{"--strict"} : std::vector<std::string>{});
        ASSERT_TRUE(sim.ready());
        Client cmd(sim.path(zel::wire::kServerSocketName));
        cmd.say("AT+CSQ\r\n");
        EXPECT_EQ("\r\n+CSQ: 7,99\r\n", cmd.read(14));
        EXPECT_EQ("", cmd.read(1, 200)) << "the second burst keeps its recorded pause";
        EXPECT_EQ("\r\nOK\r\n", cmd.read(6));
        EXPECT_EQ("\r\n+CSQ: 8,99\r\n\r\nOK\r\n", cmd.ask("AT+CSQ\r\n", "\r\n+CSQ: 8,99\r\n\r\nOK\r\n"));
        std::string third = cmd.ask("AT+CSQ\r\n", strict ? "\r\nERROR\r\n" : "\r\n+CSQ: 22,99\r\n\r\nOK\r\n");
        EXPECT_EQ(strict, third == "\r\nERROR\r\n") << escaped(third);
        EXPECT_EQ("\r\nOK\r\n", cmd.ask("AT+CPIN=4711\r\n", "\r\nOK\r\n"));

        Client first(sim.path(zel::wire::kNotifySocketName)), second(sim.path(zel::wire::kNotifySocketName));
        EXPECT_EQ(std::string("\x02\x01", 2), second.read(2));
        EXPECT_EQ("", first.read(1, 200));

        Client port(open(sim.path("smd10").c_str(), O_RDWR | O_NOCTTY));
        EXPECT_EQ("\r\nOK\r\n", port.ask("AT+CMGF=1\r\n", "\r\nOK\r\n"));
        EXPECT_EQ("\r\n> ", port.ask("AT+CMGS=\"+15550100\"\r\n", "\r\n> "));
        EXPECT_EQ("\r\n+CMGS: 42\r\n\r\nOK\r\n", port.ask("hi\x1a", "\r\n+CMGS: 42\r\n\r\nOK\r\n"));
        EXPECT_EQ(strict ? 3 : 0, sim.stop());
    }
}

TEST(ZelsimSockets, OneInstanceAtATimeAndNothingLeftBehind) {
    Sim sim(kScenario);
    ASSERT_TRUE(sim.ready());
    Sim second(kScenario, sim.dir);
    EXPECT_EQ(1, second.exitStatus());
    EXPECT_EQ(0, sim.stop());
    for (const char *name : {zel::wire::kServerSocketName, zel::wire::kIpSocketName, zel::wire::kNotifySocketName,
                             "zelsim_control.sock", "zelsim.lock", "smd10"}) {
        struct stat st;
        EXPECT_NE(0, lstat(sim.path(name).c_str(), &st)) << name;
    }
}

// Only its own user reaches it: socket modes, a link planted at its lock
// path, a control client of another user.
TEST(ZelsimSockets, SocketsAreItsUsersAndALinkedLockIsRefused) {
    for (unsigned mode : {0600u, 0666u}) {
        Sim sim(kScenario, "", mode == 0600 ? std::vector<std::string>{} : std::vector<std::string>{"--socket-mode", "666"});
        ASSERT_TRUE(sim.ready());
        for (const char *name : {"zelto_unix_socket", "ip_change_notify.sock", "sdk_server_notification.sock",
                                 "zelsim_control.sock"}) {
            struct stat st;
            ASSERT_EQ(0, stat(sim.path(name).c_str(), &st)) << name;
            EXPECT_EQ(mode, st.st_mode & 07777) << name;
        }
        if (mode != 0666 || geteuid() != 0) continue;
        chmod(sim.dir.c_str(), 0755);
        pid_t child = fork();  // a control client of another user gets no answer
        if (child == 0) _exit(setuid(65534) == 0 && control(sim.dir, "status") == "error: no answer" ? 0 : 1);
        int status = -1;
        waitpid(child, &status, 0);
        EXPECT_EQ(0, WEXITSTATUS(status));
        EXPECT_NE(std::string::npos, sim.log().find("control: refused a client of uid 65534")) << sim.log();
    }
    char tmpl[] = "/tmp/zelsim_test_XXXXXX";
    std::string dir = mkdtemp(tmpl);
    ASSERT_EQ(0, symlink((dir + "/victim").c_str(), (dir + "/zelsim.lock").c_str()));
    Sim linked(kScenario, dir);
    EXPECT_EQ(1, linked.exitStatus());
    EXPECT_NE(std::string::npos, linked.log().find("zelsim.lock is a symbolic link; refusing it")) << linked.log();
    EXPECT_FALSE(std::filesystem::exists(dir + "/victim"));
    std::filesystem::remove_all(dir);
}

}  // namespace

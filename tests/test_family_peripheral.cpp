// Peripherals: the AT wrappers in one table, and the GPIO lines against a
// temporary directory standing in for the sysfs GPIO root.
#include <limits.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <sstream>
#include <tuple>

#include "family_table.h"

namespace {

using namespace zeltest;
using namespace std::string_literals;
namespace fs = std::filesystem;
using Files = std::map<std::string, std::string>;

TEST_F(FamilyTest, PeripheralTable) {
    checkTable("zel_peripheral_api", {
        OK(zelCfunSet(1, 2), "AT+CFUN=1\r\n"),
        OK(zelCfunSet(1, 0), "AT+CFUN=1,0\r\n"),
        OK(zelCfunSet(-4, -2), "AT+CFUN=-4,-2\r\n"),
        OK(zelSetUartMode(0), "AT+UARTMODE=none\r\n"),
        OK(zelSetUartMode(1), "AT+UARTMODE=peripheral\r\n"),
        OK(zelUsbProfSet("rndis", 0, 1, 1, 0), "AT+USBPROF=rndis,0,1,1,0\r\n"),
        TEXT(zelUsbprofGet(s), "AT+USBPROF?\r\n", "+USBPROF: "),
    });
    checkRefusals({
        REFUSE(zelSetUartMode(2), 1), REFUSE(zelSetUartMode(-1), 1),
        REFUSE(zelUsbProfSet(nullptr, 2, 2, 2, 2), 2), REFUSE(zelUsbProfSet("x", 2, 0, 0, 0), 1),
        REFUSE(zelUsbProfSet("x", 0, 2, 0, 0), 1), REFUSE(zelUsbProfSet("x", 0, 0, 2, 0), 1),
        REFUSE(zelUsbProfSet("x", 0, 0, 0, kNeg), 1),
    });
}

// The sysfs GPIO root as a temporary directory; a file kFull is a link to
// /dev/full, where every write fails.
const std::string kFull = "<full>";

class Gpio : public ::testing::Test {
protected:
    void SetUp() override { zel::g_platform.gpio_root = root.c_str(); }
    void TearDown() override {
        zel::g_platform.gpio_root = saved;
        fs::remove_all(root);
    }
    void make(const Files &files) {
        fs::remove_all(root);
        fs::create_directories(root);
        for (const auto &[name, bytes] : files) {
            fs::create_directories(fs::path(root + "/" + name).parent_path());
            if (bytes == kFull) fs::create_symlink("/dev/full", root + "/" + name);
            else std::ofstream(root + "/" + name, std::ios::binary) << bytes;
        }
    }
    Files files() {  // every file under the root with its bytes
        Files out;
        for (const auto &e : fs::recursive_directory_iterator(root)) {
            std::ostringstream bytes;
            if (!e.is_symlink() && e.is_regular_file()) bytes << std::ifstream(e.path(), std::ios::binary).rdbuf();
            std::string name = e.path().string().substr(root.size() + 1);
            if (!e.is_directory()) out[name] = e.is_symlink() ? kFull : bytes.str();
        }
        return out;
    }

    std::string root = tempPath("gpio");
    const char *saved = zel::g_platform.gpio_root;
    LogCapture log;
};

struct GpioRow {
    const char *name;
    std::function<int32_t(uint8_t *level)> call;
    Files before;
    int32_t status;
    Files after;         // empty: as before
    std::string logged;  // the last line, after "zel_peripheral_api:<line>: "
    int level = 9;       // 9: not written
};
#define G(expr) [](uint8_t *v) -> int32_t { return expr; }

TEST_F(Gpio, SysfsFiles) {
    const Files up = {{"export", ""}, {"gpio7/direction", ""}, {"gpio7/value", ""}};
    auto with = [&](const std::string &name, const std::string &bytes) {
        Files f = up;
        return f[name] = bytes, f;
    };
    const GpioRow rows[] = {
        {"export a new line", G(init_gpio(7)), {{"export", ""}}, 0, {{"export", "7\0\0\0"s}}, ""},
        {"export 999", G(init_gpio(999)), {{"export", ""}}, 0, {{"export", "999\0"s}}, ""},
        {"exported already", G(init_gpio(0)), with("gpio0/x", ""), 0, {}, ""},
        {"no export file", G(init_gpio(7)), {}, -1, {},
         "failed to open " + root + "/export (err: No such file or directory)\n"},
        {"export write fails", G(init_gpio(7)), {{"export", kFull}}, -1, {}, "failed to write gpio7\n"},
        {"direction out", G(zelGpioSetDir(7, -3)), up, 0, with("gpio7/direction", "out\0"s), "OK\n"},
        {"direction in", G(zelGpioSetDir(7, 0)), up, 0, with("gpio7/direction", "in\0"s), "OK\n"},
        {"direction of a new line", G(zelGpioSetDir(8, 1)), up, 5, with("export", "8\0\0\0"s),
         "failed to open gpio8/direction\n"},
        {"direction without export", G(zelGpioSetDir(8, 1)), {}, 5, {}, "failed to init\n"},
        {"direction write fails", G(zelGpioSetDir(7, 1)), with("gpio7/direction", kFull), 5, {},
         "failed to write gpio7/direction\n"},
        {"set high", G(zelGpioSet(7, 5)), up, 0, with("gpio7/value", "1\0"s), "OK\n"},
        {"set low", G(zelGpioSet(7, 0)), up, 0, with("gpio7/value", "0\0"s), "OK\n"},
        {"set a line never exported", G(zelGpioSet(8, 1)), up, 5, {}, "failed to open gpio8/value\n"},
        {"set write fails", G(zelGpioSet(7, 1)), with("gpio7/value", kFull), 5, {}, "faild to write gpio7/value\n"},
        {"get high", G(zelGpioGet(7, v)), with("gpio7/value", "1\n"), 0, {}, "OK (value: 1)\n", 1},
        {"get nothing", G(zelGpioGet(7, v)), up, 5, {}, "faild to read gpio7/value\n"},
        {"get a line never exported", G(zelGpioGet(8, v)), up, 5, {}, "failed to open gpio8/value\n"},
        {"get into NULL", G(zelGpioGet(7, nullptr)), up, 5, {}, ""},
    };
    for (const GpioRow &r : rows) {
        SCOPED_TRACE(r.name);
        make(r.before);
        log.clear();
        uint8_t level = 9;
        EXPECT_EQ(r.call(&level), r.status);
        EXPECT_EQ(files(), r.after.empty() ? r.before : r.after);
        EXPECT_EQ(level, r.level);
        std::vector<LogLine> lines = log.lines();
        LogLine last = lines.empty() ? LogLine{-1, ""} : lines.back();
        EXPECT_EQ(last.text.substr(std::min(last.text.size(), last.text.find(": ") + 2)), r.logged);
        EXPECT_EQ(last.priority, r.logged.empty() ? -1 : r.logged.rfind("OK", 0) == 0 ? LOG_INFO : LOG_ERR);
    }
    // Numbers that do not fit the export field: refused, nothing written or logged.
    make({{"export", ""}});
    log.clear();
    for (int32_t line : {1000, INT_MAX, -1, -99, INT_MIN}) {
        uint8_t level = 9;
        auto got = std::make_tuple(init_gpio(line), zelGpioSetDir(line, 1), zelGpioSet(line, 1),
                                   zelGpioGet(line, &level));
        EXPECT_EQ(got, std::make_tuple(-1, 1, 1, 1)) << line;
        EXPECT_EQ(level, 9);
    }
    EXPECT_EQ(files(), (Files{{"export", ""}}));
    EXPECT_TRUE(log.lines().empty());
}

}  // namespace

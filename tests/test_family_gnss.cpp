// GNSS commands against the fake server: one table for the command bytes,
// timeouts and reply shapes of every function, then the custom replies (NMEA
// slice, XTRA state digit, signal-to-noise summary) and the argument checks.
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <vector>

#include "family_table.h"
#include "zelto_api_modules/zel_gnss_internal.h"

namespace {

using namespace zeltest;

// Keeps bytes right before an unreadable page: a read past them faults.
class GuardedBytes {
public:
    explicit GuardedBytes(const std::string &bytes) {
        page_ = static_cast<size_t>(sysconf(_SC_PAGESIZE));
        void *m = mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        EXPECT_NE(m, MAP_FAILED);
        base_ = static_cast<char *>(m);
        EXPECT_EQ(mprotect(base_ + page_, page_, PROT_NONE), 0);
        data_ = base_ + page_ - bytes.size();
        memcpy(data_, bytes.data(), bytes.size());
    }
    ~GuardedBytes() { munmap(base_, 2 * page_); }
    const char *data() const { return data_; }

private:
    size_t page_;
    char *base_;
    char *data_;
};

TEST_F(FamilyTest, EveryFunctionSendsItsCommandAndJudgesItsReply) {
    checkTable("zel_gnss_api", {
        okRow("zelGnssSetEnGps", "AT+CGPS=-1\r\n", [] { return zelGnssSetEnGps(-1); }),
        intRow("zelGnssGetEnGps", "AT+CGPS?\r\n", "+CGPS: ", zelGnssGetEnGps, "+CGPS: 1", 1),
        okRow("zelGnssResetGps", "AT+CGPSRST\r\n", zelGnssResetGps),
        okRow("zelGnssSetOutPort", "AT+GPSPORT=3\r\n", [] { return zelGnssSetOutPort(3); }),
        intRow("zelGnssGetOutPort", "AT+GPSPORT?\r\n", "+GPSPORT: ", zelGnssGetOutPort, "+GPSPORT: 2", 2),
        customRow("zelGnssGetPos", "AT+CGPSGPOS=-4\r\n", [](zelString **s) { return zelGnssGetPos(-4, s); }),
        plainRow("zelGetCGPSGLAT", "AT+CGPSGLAT\r\n", zelGetCGPSGLAT, "+CGPSGLAT: 31.230416"),
        plainRow("zelGetCGPSGLON", "AT+CGPSGLON\r\n", zelGetCGPSGLON, "+CGPSGLON: 121.473701"),
        plainRow("zelGetCGPSGALT", "AT+CGPSGALT\r\n", zelGetCGPSGALT, "+CGPSGALT: 12.5"),
        okRow("zelCGPSHOTGet", "AT+CGPSHOT\r\n", zelCGPSHOTGet),
        okRow("zelCGPSWARMGet", "AT+CGPSWARM\r\n", zelCGPSWARMGet),
        okRow("zelCGPSCOLDGet", "AT+CGPSCOLD\r\n", zelCGPSCOLDGet),
        plainRow("zelCGPSNSATGet", "AT+CGPSNSAT=7\r\n", [](zelString **s) { return zelCGPSNSATGet(7, s); },
                 "+CGPSNSAT: 7,12\r\n+CGPSNSAT: 8,3"),
        okRow("zelGpsInjectXtraTimeSet", "AT+CGPSXTRATIME\r\n", zelGpsInjectXtraTimeSet),
        customRow("zelGpsInjectXtraTimeGet", "AT+CGPSXTRATIME?\r\n", zelGpsInjectXtraTimeGet),
        okRow("zelGpsInjectXtraDataSet(path)", "AT+CGPSXTRADATA=/data/xtra2.bin\r\n",
              [] { return zelGpsInjectXtraDataSet("/data/xtra2.bin"); }).wait(22),
        okRow("zelGpsInjectXtraDataSet(NULL)", "AT+CGPSXTRADATA\r\n", [] { return zelGpsInjectXtraDataSet(nullptr); })
            .wait(22),
        customRow("zelGpsInjectXtraDataGet", "AT+CGPSXTRADATA?\r\n", zelGpsInjectXtraDataGet),
        okRow("zelCgpsCfgSet", "AT+CGPSCFG=4,-2\r\n", [] { return zelCgpsCfgSet(4, -2); }),
        plainRow("zelCgpsCfgGet", "AT+CGPSCFG?\r\n", zelCgpsCfgGet, "+CGPSCFG: 0,1\r\n+CGPSCFG: 1,0", true),
        okRow("zelCgpsAgnsssvSet", "AT+CGPSAGNSSSV=5,-6\r\n", [] { return zelCgpsAgnsssvSet(5, -6); }),
        textRow("zelCgpsAgnsssvGet", "AT+CGPSAGNSSSV?\r\n", "+CGPSAGNSSSV: ", zelCgpsAgnsssvGet, "1,3"),
        plainRow("zelCgpsAgnssURL", "AT+CGPSAGNSSURL?\r\n", zelCgpsAgnssURL, "+CGPSAGNSSURL: supl.example.net:7275"),
        plainRow("zelCGPSTimestampGet", "AT+CGPSGTIMEST\r\n", zelCGPSTimestampGet, "+CGPSGTIMEST: 1700000000"),
        intRow("zelCGPSStatusGet", "AT+CGPSSTATUS?\r\n", "+CGPSSTATUS: ", zelCGPSStatusGet, "+CGPSSTATUS: -3", -3),
        customRow("zelCGPSSNRGet", "AT+CGPSGFULLSNR\r\n", [] {
            zelGnssSnrInfo info{};
            return zelCGPSSNRGet(&info);
        }),
    });
}

TEST_F(FamilyTest, PositionIsTheNmeaTextFromTheFirstDollarToTheFirstOk) {
    expectReplies([](zelString **s) { return zelGnssGetPos(1, s); }, {
        {"\r\n$GPGGA,1*5A\r\n$GPRMC,2*6B\r\n\r\nOK\r\n", 0, "$GPGGA,1*5A\r\n$GPRMC,2*6B"},
        {"\r\n+CGPSGPOS: 1\r\n$GPGSV,3\r\n\r\nOK\r\n", 0, "$GPGSV,3"},  // text before
        {"\r\n$\r\n\r\nOK\r\n", 0, "$"},
        {"\r\n$GPGGA,1\r\n\r\nERROR\r\n", 5, kKept},
        {"\r\n+CGPSGPOS: none\r\n\r\nOK\r\n", 5, kKept},  // no dollar
        {"\r\n+NOTE: OK $GPGGA\r\n\r\nOK\r\n", 5, kNull},  // dollar after OK
    });
}

TEST_F(FamilyTest, XtraStateIsTheCharacterAfterItsPrefix) {
    expectReplies(zelGpsInjectXtraTimeGet, {
        {"\r\n+CGPSXTRATIME: 1\r\n\r\nOK\r\n", 0, "1"},
        {"\r\n+CGPSXTRATIME: 0\r\n\r\nERROR\r\n", 0, "0"},
        {"\r\n+CGPSXTRADATA: 1\r\n\r\nOK\r\n", 5, kKept},
    });
    expectReplies(zelGpsInjectXtraDataGet, {
        {"\r\n+CGPSXTRADATA: 2\r\n\r\nOK\r\n", 0, "2"},
        {"\r\n+CGPSXTRATIME: 1\r\n\r\nOK\r\n", 5, kKept},
        {"\r\nOK\r\n", 5, kKept},
    });
}

TEST(XtraStateDigit, ReadsOneCharacterAndNeverPastTheText) {
    const char kPrefix[] = "+CGPSXTRATIME: ";
    struct Case {
        std::string text;
        int32_t status, value;
    } cases[] = {
        {"+CGPSXTRATIME: 1", 0, 1},           // the digit is the last byte
        {"+CGPSXTRATIME: ", 5, kUnset},   // the prefix ends the text
        {"\r\n+CGPSXTRATIME: ", 5, kUnset},
        {"+CGPSXTRATIME: 9\r\n\r\nOK\r\n", 0, 9},
        {"+CGPSXTRATIME: x", 0, 'x' - '0'},   // not checked for being a digit
        {"+CGPSXTRATIME: \xff", 0, 0xff - '0'},  // a high byte reads as on the target
        {"+CGPSXTRATIME:1", 5, kUnset},   // the blank belongs to the prefix
        {"", 5, kUnset},
    };
    for (const Case &c : cases) {
        GuardedBytes g(c.text);
        int32_t v = kUnset;
        EXPECT_EQ(zel::xtraStateDigit(g.data(), static_cast<int32_t>(c.text.size()), kPrefix, &v), c.status)
            << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
    // The length bounds the text, not its terminating zero.
    int32_t v = kUnset;
    EXPECT_EQ(zel::xtraStateDigit("+CGPSXTRATIME: 7", 15, kPrefix, &v), 5);
    EXPECT_EQ(v, kUnset);
}

TEST_F(FamilyTest, SnrReplyIsSlicedBetweenPrefixAndOkAndParsed) {
    struct Case {
        std::string reply;
        int32_t status;
        zelGnssSnrInfo want;
    } cases[] = {
        {"\r\n+CGPSGFULLSNR: 12,34,5,41.75\r\n\r\nOK\r\n", 0, {12, 34, 5, 41.75}},
        {"\r\n+CGPSGFULLSNR:  -1,0,7,3e1 \r\n\r\nOK\r\n", 0, {-1, 0, 7, 30.0}},
        {"\r\n+CGPSGFULLSNR: 12,34,5\r\n\r\nOK\r\n", 5, {12, 34, 5, -1.0}},  // converted fields stay
        {"\r\n+CGPSGFULLSNR: 1,2,3,4.5\r\n\r\nERROR\r\n", 5, {-1, -1, -1, -1.0}},
        {"\r\n+OTHER: 1,2,3,4.5\r\n\r\nOK\r\n", 5, {-1, -1, -1, -1.0}},
        {"\r\n+CGPSGFULLSNR: OK\r\n\r\nOK\r\n", 5, {-1, -1, -1, -1.0}},
        {"\r\n+NOTE: OK\r\n+CGPSGFULLSNR: 1,2,3,4\r\n\r\nOK\r\n", 5, {-1, -1, -1, -1.0}},  // prefix after OK
    };
    for (const Case &c : cases) {
        server->reply(c.reply);
        zelGnssSnrInfo got = {-1, -1, -1, -1.0};
        EXPECT_EQ(zelCGPSSNRGet(&got), c.status) << c.reply;
        EXPECT_EQ(got.field1, c.want.field1) << c.reply;
        EXPECT_EQ(got.field2, c.want.field2) << c.reply;
        EXPECT_EQ(got.field3, c.want.field3) << c.reply;
        EXPECT_DOUBLE_EQ(got.field4, c.want.field4) << c.reply;
    }
    // A missing record is refused only by the parser, after the command went out.
    server->clearRecord();
    server->reply("\r\n+CGPSGFULLSNR: 1,2,3,4.5\r\n\r\nOK\r\n");
    EXPECT_EQ(zelCGPSSNRGet(nullptr), 5);
    EXPECT_EQ(server->commands(), std::vector<std::string>{"AT+CGPSGFULLSNR\r\n"});
}

TEST(ParseSnr, FourCommaSeparatedFieldsOrFailure) {
    struct Case {
        const char *text;
        int32_t status;
        zelGnssSnrInfo want;  // -1 marks a field left as it was
    } cases[] = {
        {"12,34,5,41.75", 0, {12, 34, 5, 41.75}},
        {" 12, 34,\t5,\n41.75 dB-Hz", 0, {12, 34, 5, 41.75}},  // blanks before numbers, tail ignored
        {"-2,+3,0,-4.5e1", 0, {-2, 3, 0, -45.0}},
        {"1,2,3,4", 0, {1, 2, 3, 4.0}},
        {"1,2,3", 5, {1, 2, 3, -1.0}},
        {"1,2,3,", 5, {1, 2, 3, -1.0}},
        {"1,2", 5, {1, 2, -1, -1.0}},
        {"7", 5, {7, -1, -1, -1.0}},
        {"", 5, {-1, -1, -1, -1.0}},
        {",2,3,4", 5, {-1, -1, -1, -1.0}},
        {"a,2,3,4", 5, {-1, -1, -1, -1.0}},
        {"1 ,2,3,4", 5, {1, -1, -1, -1.0}},  // the comma must follow the number
        {"1;2;3;4", 5, {1, -1, -1, -1.0}},
        {"1,2,3,x", 5, {1, 2, 3, -1.0}},
        {"1,2,3,.", 5, {1, 2, 3, -1.0}},
    };
    for (const Case &c : cases) {
        // The text ends right before an unreadable page.
        GuardedBytes g(std::string(c.text) + '\0');
        zelGnssSnrInfo got = {-1, -1, -1, -1.0};
        EXPECT_EQ(parse_snr_result(g.data(), &got), c.status) << '"' << c.text << '"';
        EXPECT_EQ(got.field1, c.want.field1) << c.text;
        EXPECT_EQ(got.field2, c.want.field2) << c.text;
        EXPECT_EQ(got.field3, c.want.field3) << c.text;
        EXPECT_DOUBLE_EQ(got.field4, c.want.field4) << c.text;
    }
    zelGnssSnrInfo info = {};
    EXPECT_EQ(parse_snr_result(nullptr, &info), 5);
    EXPECT_EQ(parse_snr_result("1,2,3,4.5", nullptr), 5);
}

TEST(ParseSnr, RealNumberIgnoresTheApplicationsLocale) {
    // A locale whose decimal point is a comma, built for this test only.
    char dir[] = "/tmp/zel_locale_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string cmd = std::string("localedef -i de_DE -f ISO-8859-1 ") + dir + "/de_DE.ISO-8859-1 >/dev/null 2>&1";
    bool built = system(cmd.c_str()) == 0;
    setenv("LOCPATH", dir, 1);
    const char *set = built ? setlocale(LC_NUMERIC, "de_DE.ISO-8859-1") : nullptr;
    zelGnssSnrInfo got = {};
    int32_t status = set ? parse_snr_result("12,34,5,41.75", &got) : -1;
    setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(dir);
    if (set == nullptr) GTEST_SKIP() << "no de_DE locale source to build from";
    EXPECT_EQ(status, 0);
    EXPECT_DOUBLE_EQ(got.field4, 41.75);
}

TEST_F(FamilyTest, ArgumentChecksSendNothing) {
    checkRefusals({
        {"cfg item 5", [] { return zelCgpsCfgSet(5, 1); }, 1},
        {"cfg item -1", [] { return zelCgpsCfgSet(kNeg, 1); }, 1},
        {"cfg item 2^31", [] { return zelCgpsCfgSet(0x80000000u, 1); }, 1},
        {"EnGps NULL", [] { return zelGnssGetEnGps(nullptr); }, 5},
        {"OutPort NULL", [] { return zelGnssGetOutPort(nullptr); }, 5},
        {"Status NULL", [] { return zelCGPSStatusGet(nullptr); }, 5},
        {"XtraTime NULL", [] { return zelGpsInjectXtraTimeGet(nullptr); }, 5},
        {"XtraData NULL", [] { return zelGpsInjectXtraDataGet(nullptr); }, 5},
        {"Pos NULL", [] { return zelGnssGetPos(1, nullptr); }, 5},
        {"GLAT NULL", [] { return zelGetCGPSGLAT(nullptr); }, 5},
        {"Cfg NULL", [] { return zelCgpsCfgGet(nullptr); }, 5},
        {"Agnsssv NULL", [] { return zelCgpsAgnsssvGet(nullptr); }, 5},
        {"xtra data 1006 bytes", [] { return zelGpsInjectXtraDataSet(std::string(1006, 'x').c_str()); }, 5},
    });
    // "AT+CGPSXTRADATA=", 1005 bytes of data and "\r\n" make 1023 characters.
    const std::string data(1005, 'd');
    checkSent({{"xtra data 1005 bytes", [&] { return zelGpsInjectXtraDataSet(data.c_str()); },
                "AT+CGPSXTRADATA=" + data + "\r\n", 22}});
}

}  // namespace

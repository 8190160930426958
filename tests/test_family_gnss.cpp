// GNSS commands against a scripted server: one table for every function, then
// the custom replies (NMEA slice, XTRA state digit, signal-to-noise summary)
// and the argument checks.
#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <filesystem>
#include <string>
#include <tuple>

#include "family_table.h"
#include "shell_guard.h"
#include "zelto_api_modules/zel_gnss_internal.h"

namespace {

using namespace zeltest;

// Bytes that end right before an unreadable page: a read past them faults.
class GuardedBytes {
public:
    explicit GuardedBytes(const std::string &bytes) : page_(static_cast<size_t>(sysconf(_SC_PAGESIZE))) {
        void *m = mmap(nullptr, 2 * page_, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        base_ = static_cast<char *>(m);
        EXPECT_EQ(mprotect(base_ + page_, page_, PROT_NONE), 0);
        data_ = static_cast<char *>(memcpy(base_ + page_ - bytes.size(), bytes.data(), bytes.size()));
    }
    ~GuardedBytes() { munmap(base_, 2 * page_); }
    const char *data() const { return data_; }

private:
    size_t page_;
    char *base_;
    char *data_;
};

// The first field of the summary, written only on success.
int32_t snrFirstField(int32_t *field1) {
    zelGnssSnrInfo info = {-1, -1, -1, -1.0};
    int32_t status = zelCGPSSNRGet(&info);
    if (status == 0) *field1 = info.field1;
    return status;
}

TEST_F(FamilyTest, GnssTable) {
    checkTable("zel_gnss_api", {
        OK(zelGnssSetEnGps(-1), "AT+CGPS=-1\r\n"),
        INT(zelGnssGetEnGps(i), "AT+CGPS?\r\n", "+CGPS: "),
        OK(zelGnssResetGps(), "AT+CGPSRST\r\n"),
        OK(zelGnssSetOutPort(3), "AT+GPSPORT=3\r\n"),
        INT(zelGnssGetOutPort(i), "AT+GPSPORT?\r\n", "+GPSPORT: "),
        CUSTOM(zelGnssGetPos(-4, s), "AT+CGPSGPOS=-4\r\n", "$GPGGA,1*5A", "$GPGGA,1*5A"),
        PLAIN(zelGetCGPSGLAT(s), "AT+CGPSGLAT\r\n"),
        PLAIN(zelGetCGPSGLON(s), "AT+CGPSGLON\r\n"),
        PLAIN(zelGetCGPSGALT(s), "AT+CGPSGALT\r\n"),
        OK(zelCGPSHOTGet(), "AT+CGPSHOT\r\n"),
        OK(zelCGPSWARMGet(), "AT+CGPSWARM\r\n"),
        OK(zelCGPSCOLDGet(), "AT+CGPSCOLD\r\n"),
        PLAIN(zelCGPSNSATGet(7, s), "AT+CGPSNSAT=7\r\n"),
        OK(zelGpsInjectXtraTimeSet(), "AT+CGPSXTRATIME\r\n"),
        CUSTOM(zelGpsInjectXtraTimeGet(i), "AT+CGPSXTRATIME?\r\n", "+CGPSXTRATIME: 3", "3"),
        OK(zelGpsInjectXtraDataSet("/data/xtra2.bin"), "AT+CGPSXTRADATA=/data/xtra2.bin\r\n").wait(22),
        OK(zelGpsInjectXtraDataSet(nullptr), "AT+CGPSXTRADATA\r\n").wait(22),
        CUSTOM(zelGpsInjectXtraDataGet(i), "AT+CGPSXTRADATA?\r\n", "+CGPSXTRADATA: 2", "2"),
        OK(zelCgpsCfgSet(4, -2), "AT+CGPSCFG=4,-2\r\n"),
        Row{"zelCgpsCfgGet", Kind::PlainCleared, ZEL_CALL(zelCgpsCfgGet(s)), "AT+CGPSCFG?\r\n"},
        OK(zelCgpsAgnsssvSet(5, -6), "AT+CGPSAGNSSSV=5,-6\r\n"),
        TEXT(zelCgpsAgnsssvGet(s), "AT+CGPSAGNSSSV?\r\n", "+CGPSAGNSSSV: "),
        PLAIN(zelCgpsAgnssURL(s), "AT+CGPSAGNSSURL?\r\n"),
        PLAIN(zelCGPSTimestampGet(s), "AT+CGPSGTIMEST\r\n"),
        INT(zelCGPSStatusGet(i), "AT+CGPSSTATUS?\r\n", "+CGPSSTATUS: "),
        CUSTOM(snrFirstField(i), "AT+CGPSGFULLSNR\r\n", "+CGPSGFULLSNR: 12,34,5,41.75", "12"),
    });
}

TEST_F(FamilyTest, RefusedArguments) {
    checkRefusals({
        REFUSE(zelCgpsCfgSet(5, 1), 1),
        REFUSE(zelCgpsCfgSet(kNeg, 1), 1),
        REFUSE(zelGnssGetPos(1, nullptr), 5),
        REFUSE(zelGpsInjectXtraTimeGet(nullptr), 5),
        REFUSE(zelGpsInjectXtraDataGet(nullptr), 5),
    });
    // A missing record is refused only by the parser, after the command went out.
    Outcome o = run(ZEL_CALL(zelCGPSSNRGet(nullptr)), "\r\n+CGPSGFULLSNR: 1,2,3,4.5\r\n\r\nOK\r\n");
    EXPECT_EQ(o.status, 5);
    EXPECT_EQ(o.sent, "AT+CGPSGFULLSNR\r\n");
}

TEST_F(FamilyTest, PositionIsTheNmeaTextFromTheFirstDollarToTheFirstOk) {
    expectReplies(ZEL_CALL(zelGnssGetPos(1, s)), {
        {"\r\n+CGPSGPOS: 1\r\n$GPGSV,3\r\n$GPRMC\r\n\r\nOK\r\n", 0, "$GPGSV,3\r\n$GPRMC"},
        {"\r\n$GPGGA,1\r\n\r\nERROR\r\n", 5, kKept},
        {"\r\n+CGPSGPOS: none\r\n\r\nOK\r\n", 5, kKept},
        {"\r\n+NOTE: OK $GPGGA\r\n\r\nOK\r\n", 5, kNull},  // dollar after the first OK
    });
}

TEST_F(FamilyTest, XtraStateIsTheCharacterAfterItsPrefix) {
    expectReplies(ZEL_CALL(zelGpsInjectXtraDataGet(i)), {
        {"\r\n+CGPSXTRADATA: 0\r\n\r\nERROR\r\n", 0, "0"},  // OK not needed
        {"\r\n+CGPSXTRATIME: 1\r\n\r\nOK\r\n", 5, kKept},
    });
    const char kPrefix[] = "+CGPSXTRATIME: ";
    const std::pair<std::string, int32_t> cases[] = {
        {"+CGPSXTRATIME: 1", 1},              // the digit is the reply's last byte
        {"\r\n+CGPSXTRATIME: ", kUnset},      // the prefix ends the reply
        {"+CGPSXTRATIME: \xff", 0xff - '0'},  // unchecked, read as an unsigned byte
        {"+CGPSXTRATIME:1", kUnset},
    };
    for (const auto &c : cases) {
        GuardedBytes g(c.first);
        int32_t v = kUnset;
        EXPECT_EQ(zel::xtraStateDigit(g.data(), static_cast<int32_t>(c.first.size()), kPrefix, &v),
                  c.second == kUnset ? 5 : 0) << c.first;
        EXPECT_EQ(v, c.second) << c.first;
    }
    int32_t v = kUnset;  // the length bounds the text, not its terminating zero
    EXPECT_EQ(zel::xtraStateDigit("+CGPSXTRATIME: 7", 15, kPrefix, &v), 5);
}

TEST_F(FamilyTest, SnrReplyIsSlicedBetweenPrefixAndOk) {
    expectReplies(ZEL_CALL(snrFirstField(i)), {
        {"\r\n+CGPSGFULLSNR:  -1,0,7,3e1 \r\n\r\nOK\r\n", 0, "-1"},
        {"\r\n+CGPSGFULLSNR: 1,2,3,4.5\r\n\r\nERROR\r\n", 5, kKept},
        {"\r\n+OTHER: 1,2,3,4.5\r\n\r\nOK\r\n", 5, kKept},
        {"\r\n+CGPSGFULLSNR: OK\r\n\r\nOK\r\n", 5, kKept},
        {"\r\n+NOTE: OK\r\n+CGPSGFULLSNR: 1,2,3,4\r\n\r\nOK\r\n", 5, kKept},  // prefix after OK
    });
}

void expectSnr(const char *text, int32_t status, zelGnssSnrInfo want) {
    GuardedBytes g(std::string(text) + '\0');
    zelGnssSnrInfo got = {-1, -1, -1, -1.0};
    EXPECT_EQ(parse_snr_result(g.data(), &got), status) << text;
    EXPECT_EQ(std::tie(got.field1, got.field2, got.field3), std::tie(want.field1, want.field2, want.field3)) << text;
    EXPECT_DOUBLE_EQ(got.field4, want.field4) << text;
}

TEST(ParseSnr, FourCommaSeparatedFieldsOrFailure) {
    expectSnr("12,34,5,41.75", 0, {12, 34, 5, 41.75});
    expectSnr(" 12, 34,\t5,\n41.75 dB-Hz", 0, {12, 34, 5, 41.75});  // blanks before numbers, tail ignored
    expectSnr("-2,+3,0,-4.5e1", 0, {-2, 3, 0, -45.0});
    expectSnr("1,2,3,", 5, {1, 2, 3, -1.0});  // converted fields stay
    expectSnr("", 5, {-1, -1, -1, -1.0});
    expectSnr("1 ,2,3,4", 5, {1, -1, -1, -1.0});  // the comma must follow the number
    zelGnssSnrInfo info = {};
    EXPECT_EQ(parse_snr_result(nullptr, &info), 5);
    EXPECT_EQ(parse_snr_result("1,2,3,4.5", nullptr), 5);
}

TEST(ParseSnr, RealNumberIgnoresTheApplicationsLocale) {
    // A locale whose decimal point is a comma, built for this test only.
    char dir[] = "/tmp/zel_locale_XXXXXX";
    ASSERT_NE(mkdtemp(dir), nullptr);
    std::string cmd = std::string("localedef -i de_DE -f ISO-8859-1 ") + dir + "/de >/dev/null 2>&1";
    setenv("LOCPATH", dir, 1);
    bool set = hostSystem(cmd.c_str()) == 0 && setlocale(LC_NUMERIC, "de") != nullptr;
    zelGnssSnrInfo got = {};
    int32_t status = parse_snr_result("12,34,5,41.75", &got);
    setlocale(LC_NUMERIC, "C");
    unsetenv("LOCPATH");
    std::filesystem::remove_all(dir);
    if (!set) GTEST_SKIP() << "no de_DE locale source to build from";
    EXPECT_EQ(status, 0);
    EXPECT_DOUBLE_EQ(got.field4, 41.75);
}

}  // namespace

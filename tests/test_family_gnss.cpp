// GNSS commands against the fake server: one table for the command bytes,
// timeouts and reply shapes of every function, then the custom replies (NMEA
// slice, XTRA state digit, signal-to-noise summary) and the argument checks.
#include <gtest/gtest.h>

#include <locale.h>
#include <stdlib.h>
#include <string.h>
#include <sys/mman.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "test_support.h"
#include "zelto_api_modules/zelto_sdk_internal.h"

namespace zel {
int32_t xtraStateDigit(const char *text, int32_t len, const char *prefix, int32_t *state);
}

using namespace zeltest;

namespace {

const char kTag[] = "zel_gnss_api";
constexpr int32_t kUntouched = -777;
const char kOther[] = "\r\n+XYZ: 9\r\n\r\nOK\r\n";  // an answer without any prefix of the family

enum class Kind {
    Act,         // action or set shape
    Int,         // integer after the prefix, no "OK" needed
    Text,        // text after the prefix up to the first "OK"
    Raw,         // text from the reply start up to the first "OK"
    RawCleared,  // the same, output cleared once a reply is in hand
    Custom,      // reply handling tested on its own below
};

using Call = int32_t (*)(int32_t *value, zelString **text);

struct Row {
    const char *fn;
    Kind kind;
    Call call;
    std::string sent;
    std::string line;    // the modem's information line in a good reply
    std::string prefix;  // Int and Text: the response prefix
    int32_t value;       // Int: the number in `line`
    std::string text;    // Text and Raw: what a good reply hands back
    int32_t timeout;
};

struct Expect {
    const char *what;
    std::string reply;
    int32_t status;
    int32_t value;
    std::string text;  // "<kept>": untouched, "<null>": set to NULL
};

std::vector<Expect> expectations(const Row &r) {
    const std::string good = "\r\n" + r.line + "\r\n\r\nOK\r\n";
    const std::string no_ok = "\r\n" + r.line + "\r\n\r\nERROR\r\n";
    switch (r.kind) {
        case Kind::Act:
            return {{"ok", "\r\nOK\r\n", 0, kUntouched, "<kept>"},
                    {"error", "\r\nERROR\r\n", 5, kUntouched, "<kept>"},
                    {"cme error", "\r\n+CME ERROR: 3\r\n", 5, kUntouched, "<kept>"}};
        case Kind::Int:
            return {{"good", good, 0, r.value, "<kept>"},
                    {"no ok", no_ok, 0, r.value, "<kept>"},
                    {"no prefix", kOther, 5, kUntouched, "<kept>"},
                    {"empty", "\r\n" + r.prefix + "\r\n\r\nOK\r\n", 0, 0, "<kept>"}};
        case Kind::Text:
            return {{"good", good, 0, kUntouched, r.text},
                    {"no ok", no_ok, 5, kUntouched, "<null>"},
                    {"no prefix", kOther, 5, kUntouched, "<null>"},
                    {"empty", "\r\n" + r.prefix + "OK\r\n\r\nOK\r\n", 5, kUntouched, "<null>"}};
        case Kind::Raw:
        case Kind::RawCleared:
            return {{"good", good, 0, kUntouched, r.text},
                    {"no ok", no_ok, 5, kUntouched, r.kind == Kind::Raw ? "<kept>" : "<null>"},
                    {"other line", kOther, 0, kUntouched, "+XYZ: 9"},
                    {"empty", "OK\r\n\r\nOK\r\n", 5, kUntouched, "<null>"}};
        case Kind::Custom:
            return {};
    }
    return {};
}

struct Outcome {
    int32_t status;
    int32_t value;
    std::string text;
};

bool onlyOurLogLineIsNoReply(LogCapture &log, const std::string &tag) {
    bool found = false;
    for (const LogLine &l : log.lines()) {
        if (l.text.compare(0, tag.size() + 1, tag + ":") != 0) continue;
        size_t colon = l.text.find(": ", tag.size() + 1);
        if (colon == std::string::npos) return false;
        std::string line = l.text.substr(tag.size() + 1, colon - tag.size() - 1);
        bool numbered = !line.empty() && line.find_first_not_of("0123456789") == std::string::npos;
        if (!numbered || l.priority != LOG_ERR || l.text.substr(colon) != ": ret == NULL\n\n") return false;
        found = true;
    }
    return found;
}

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

class Gnss : public LinkTest {
protected:
    // Runs one call against `reply` ("" for silence) and records its outputs.
    Outcome invoke(Call call, const std::string &reply) {
        server->clearRecord();
        log.clear();
        if (!reply.empty()) server->reply(reply);
        zelString kept = {const_cast<char *>("kept"), 4};
        zelString *out = &kept;
        Outcome o;
        o.value = kUntouched;
        o.status = call(&o.value, &out);
        o.text = out == &kept ? "<kept>" : out ? std::string(out->data, static_cast<size_t>(out->len)) : "<null>";
        if (out != nullptr && out != &kept) {
            EXPECT_EQ(strlen(out->data), static_cast<size_t>(out->len));
            zelFreeString(out);
        }
        return o;
    }

    std::string sent(size_t expected_size) {
        waitUntil([&] { return server->received().size() >= expected_size; }, 1000);
        return server->received();
    }

    bool nothingSent() {
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        return server->received().empty();
    }

    void runTable(const std::vector<Row> &rows) {
        for (const Row &r : rows) {
            SCOPED_TRACE(r.fn);
            std::vector<Expect> cases = expectations(r);
            if (r.kind == Kind::Custom) cases.push_back({"any", "\r\nOK\r\n", -1, 0, ""});
            for (const Expect &e : cases) {
                SCOPED_TRACE(e.what);
                Outcome o = invoke(r.call, e.reply);
                EXPECT_EQ(sent(r.sent.size()), r.sent);
                EXPECT_EQ(lastTimeout(), r.timeout);
                EXPECT_EQ(log.count(std::string(kTag) + ":"), 0);
                if (e.status < 0) continue;
                EXPECT_EQ(o.status, e.status);
                EXPECT_EQ(o.value, e.value);
                EXPECT_EQ(o.text, e.text);
            }
            setWaitMs(30);
            Outcome o = invoke(r.call, "");
            setWaitMs(-1);
            EXPECT_EQ(o.status, 5) << "no reply";
            EXPECT_EQ(o.value, kUntouched) << "no reply";
            EXPECT_EQ(o.text, "<kept>") << "no reply";
            EXPECT_EQ(sent(r.sent.size()), r.sent) << "no reply";
            EXPECT_TRUE(onlyOurLogLineIsNoReply(log, kTag)) << "no reply";
        }
    }
};

TEST_F(Gnss, EveryFunctionSendsItsCommandAndJudgesItsReply) {
    const std::vector<Row> rows = {
        {"zelGnssSetEnGps", Kind::Act, [](int32_t *, zelString **) { return zelGnssSetEnGps(-1); },
         "AT+CGPS=-1\r\n", "", "", 0, "", 15},
        {"zelGnssGetEnGps", Kind::Int, [](int32_t *v, zelString **) { return zelGnssGetEnGps(v); },
         "AT+CGPS?\r\n", "+CGPS: 1", "+CGPS: ", 1, "", 15},
        {"zelGnssResetGps", Kind::Act, [](int32_t *, zelString **) { return zelGnssResetGps(); },
         "AT+CGPSRST\r\n", "", "", 0, "", 15},
        {"zelGnssSetOutPort", Kind::Act, [](int32_t *, zelString **) { return zelGnssSetOutPort(3); },
         "AT+GPSPORT=3\r\n", "", "", 0, "", 15},
        {"zelGnssGetOutPort", Kind::Int, [](int32_t *v, zelString **) { return zelGnssGetOutPort(v); },
         "AT+GPSPORT?\r\n", "+GPSPORT: 2", "+GPSPORT: ", 2, "", 15},
        {"zelGnssGetPos", Kind::Custom, [](int32_t *, zelString **s) { return zelGnssGetPos(-4, s); },
         "AT+CGPSGPOS=-4\r\n", "", "", 0, "", 15},
        {"zelGetCGPSGLAT", Kind::Raw, [](int32_t *, zelString **s) { return zelGetCGPSGLAT(s); },
         "AT+CGPSGLAT\r\n", "+CGPSGLAT: 31.230416", "", 0, "+CGPSGLAT: 31.230416", 15},
        {"zelGetCGPSGLON", Kind::Raw, [](int32_t *, zelString **s) { return zelGetCGPSGLON(s); },
         "AT+CGPSGLON\r\n", "+CGPSGLON: 121.473701", "", 0, "+CGPSGLON: 121.473701", 15},
        {"zelGetCGPSGALT", Kind::Raw, [](int32_t *, zelString **s) { return zelGetCGPSGALT(s); },
         "AT+CGPSGALT\r\n", "+CGPSGALT: 12.5", "", 0, "+CGPSGALT: 12.5", 15},
        {"zelCGPSHOTGet", Kind::Act, [](int32_t *, zelString **) { return zelCGPSHOTGet(); },
         "AT+CGPSHOT\r\n", "", "", 0, "", 15},
        {"zelCGPSWARMGet", Kind::Act, [](int32_t *, zelString **) { return zelCGPSWARMGet(); },
         "AT+CGPSWARM\r\n", "", "", 0, "", 15},
        {"zelCGPSCOLDGet", Kind::Act, [](int32_t *, zelString **) { return zelCGPSCOLDGet(); },
         "AT+CGPSCOLD\r\n", "", "", 0, "", 15},
        {"zelCGPSNSATGet", Kind::Raw, [](int32_t *, zelString **s) { return zelCGPSNSATGet(7, s); },
         "AT+CGPSNSAT=7\r\n", "+CGPSNSAT: 7,12\r\n+CGPSNSAT: 8,3", "", 0, "+CGPSNSAT: 7,12\r\n+CGPSNSAT: 8,3", 15},
        {"zelGpsInjectXtraTimeSet", Kind::Act, [](int32_t *, zelString **) { return zelGpsInjectXtraTimeSet(); },
         "AT+CGPSXTRATIME\r\n", "", "", 0, "", 15},
        {"zelGpsInjectXtraTimeGet", Kind::Custom,
         [](int32_t *v, zelString **) { return zelGpsInjectXtraTimeGet(v); }, "AT+CGPSXTRATIME?\r\n", "", "", 0,
         "", 15},
        {"zelGpsInjectXtraDataSet(path)", Kind::Act,
         [](int32_t *, zelString **) { return zelGpsInjectXtraDataSet("/data/xtra2.bin"); },
         "AT+CGPSXTRADATA=/data/xtra2.bin\r\n", "", "", 0, "", 22},
        {"zelGpsInjectXtraDataSet(NULL)", Kind::Act,
         [](int32_t *, zelString **) { return zelGpsInjectXtraDataSet(nullptr); }, "AT+CGPSXTRADATA\r\n", "", "",
         0, "", 22},
        {"zelGpsInjectXtraDataGet", Kind::Custom,
         [](int32_t *v, zelString **) { return zelGpsInjectXtraDataGet(v); }, "AT+CGPSXTRADATA?\r\n", "", "", 0,
         "", 15},
        {"zelCgpsCfgSet", Kind::Act, [](int32_t *, zelString **) { return zelCgpsCfgSet(4, -2); },
         "AT+CGPSCFG=4,-2\r\n", "", "", 0, "", 15},
        {"zelCgpsCfgGet", Kind::RawCleared, [](int32_t *, zelString **s) { return zelCgpsCfgGet(s); },
         "AT+CGPSCFG?\r\n", "+CGPSCFG: 0,1\r\n+CGPSCFG: 1,0", "", 0, "+CGPSCFG: 0,1\r\n+CGPSCFG: 1,0", 15},
        {"zelCgpsAgnsssvSet", Kind::Act, [](int32_t *, zelString **) { return zelCgpsAgnsssvSet(5, -6); },
         "AT+CGPSAGNSSSV=5,-6\r\n", "", "", 0, "", 15},
        {"zelCgpsAgnsssvGet", Kind::Text, [](int32_t *, zelString **s) { return zelCgpsAgnsssvGet(s); },
         "AT+CGPSAGNSSSV?\r\n", "+CGPSAGNSSSV: 1,3", "+CGPSAGNSSSV: ", 0, "1,3", 15},
        {"zelCgpsAgnssURL", Kind::Raw, [](int32_t *, zelString **s) { return zelCgpsAgnssURL(s); },
         "AT+CGPSAGNSSURL?\r\n", "+CGPSAGNSSURL: supl.example.net:7275", "", 0,
         "+CGPSAGNSSURL: supl.example.net:7275", 15},
        {"zelCGPSTimestampGet", Kind::Raw, [](int32_t *, zelString **s) { return zelCGPSTimestampGet(s); },
         "AT+CGPSGTIMEST\r\n", "+CGPSGTIMEST: 1700000000", "", 0, "+CGPSGTIMEST: 1700000000", 15},
        {"zelCGPSStatusGet", Kind::Int, [](int32_t *v, zelString **) { return zelCGPSStatusGet(v); },
         "AT+CGPSSTATUS?\r\n", "+CGPSSTATUS: -3", "+CGPSSTATUS: ", -3, "", 15},
        {"zelCGPSSNRGet", Kind::Custom,
         [](int32_t *, zelString **) {
             zelGnssSnrInfo info{};
             return zelCGPSSNRGet(&info);
         },
         "AT+CGPSGFULLSNR\r\n", "", "", 0, "", 15},
    };
    runTable(rows);
}

TEST_F(Gnss, PositionIsTheNmeaTextFromTheFirstDollarToTheFirstOk) {
    const Expect cases[] = {
        {"sentences", "\r\n$GPGGA,1*5A\r\n$GPRMC,2*6B\r\n\r\nOK\r\n", 0, kUntouched, "$GPGGA,1*5A\r\n$GPRMC,2*6B"},
        {"text before", "\r\n+CGPSGPOS: 1\r\n$GPGSV,3\r\n\r\nOK\r\n", 0, kUntouched, "$GPGSV,3"},
        {"dollar alone", "\r\n$\r\n\r\nOK\r\n", 0, kUntouched, "$"},
        {"no ok", "\r\n$GPGGA,1\r\n\r\nERROR\r\n", 5, kUntouched, "<kept>"},
        {"no dollar", "\r\n+CGPSGPOS: none\r\n\r\nOK\r\n", 5, kUntouched, "<kept>"},
        {"dollar after ok", "\r\n+NOTE: OK $GPGGA\r\n\r\nOK\r\n", 5, kUntouched, "<null>"},
    };
    for (const Expect &e : cases) {
        Outcome o = invoke([](int32_t *, zelString **s) { return zelGnssGetPos(1, s); }, e.reply);
        EXPECT_EQ(o.status, e.status) << e.what;
        EXPECT_EQ(o.text, e.text) << e.what;
    }
}

TEST_F(Gnss, XtraStateIsTheCharacterAfterItsPrefix) {
    struct Case {
        Call call;
        std::string reply;
        int32_t status, value;
    } cases[] = {
        {[](int32_t *v, zelString **) { return zelGpsInjectXtraTimeGet(v); }, "\r\n+CGPSXTRATIME: 1\r\n\r\nOK\r\n", 0,
         1},
        {[](int32_t *v, zelString **) { return zelGpsInjectXtraTimeGet(v); }, "\r\n+CGPSXTRATIME: 0\r\n\r\nERROR\r\n",
         0, 0},
        {[](int32_t *v, zelString **) { return zelGpsInjectXtraTimeGet(v); }, "\r\n+CGPSXTRADATA: 1\r\n\r\nOK\r\n", 5,
         kUntouched},
        {[](int32_t *v, zelString **) { return zelGpsInjectXtraDataGet(v); }, "\r\n+CGPSXTRADATA: 2\r\n\r\nOK\r\n", 0,
         2},
        {[](int32_t *v, zelString **) { return zelGpsInjectXtraDataGet(v); }, "\r\n+CGPSXTRATIME: 1\r\n\r\nOK\r\n", 5,
         kUntouched},
        {[](int32_t *v, zelString **) { return zelGpsInjectXtraDataGet(v); }, "\r\nOK\r\n", 5, kUntouched},
    };
    for (const Case &c : cases) {
        Outcome o = invoke(c.call, c.reply);
        EXPECT_EQ(o.status, c.status) << c.reply;
        EXPECT_EQ(o.value, c.value) << c.reply;
    }
}

TEST(XtraStateDigit, ReadsOneCharacterAndNeverPastTheText) {
    const char kPrefix[] = "+CGPSXTRATIME: ";
    struct Case {
        std::string text;
        int32_t status, value;
    } cases[] = {
        {"+CGPSXTRATIME: 1", 0, 1},           // the digit is the last byte
        {"+CGPSXTRATIME: ", 5, kUntouched},   // the prefix ends the text
        {"\r\n+CGPSXTRATIME: ", 5, kUntouched},
        {"+CGPSXTRATIME: 9\r\n\r\nOK\r\n", 0, 9},
        {"+CGPSXTRATIME: x", 0, 'x' - '0'},   // not checked for being a digit
        {"+CGPSXTRATIME:1", 5, kUntouched},   // the blank belongs to the prefix
        {"", 5, kUntouched},
    };
    for (const Case &c : cases) {
        GuardedBytes g(c.text);
        int32_t v = kUntouched;
        EXPECT_EQ(zel::xtraStateDigit(g.data(), static_cast<int32_t>(c.text.size()), kPrefix, &v), c.status)
            << c.text;
        EXPECT_EQ(v, c.value) << c.text;
    }
    // The length bounds the text, not its terminating zero.
    int32_t v = kUntouched;
    EXPECT_EQ(zel::xtraStateDigit("+CGPSXTRATIME: 7", 15, kPrefix, &v), 5);
    EXPECT_EQ(v, kUntouched);
}

TEST_F(Gnss, SnrReplyIsSlicedBetweenPrefixAndOkAndParsed) {
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

TEST_F(Gnss, ArgumentChecksSendNothing) {
    setWaitMs(30);
    struct Case {
        const char *what;
        Call call;
        int32_t status;
    } cases[] = {
        {"cfg item 5", [](int32_t *, zelString **) { return zelCgpsCfgSet(5, 1); }, 1},
        {"cfg item -1", [](int32_t *, zelString **) { return zelCgpsCfgSet(static_cast<uint32_t>(-1), 1); }, 1},
        {"cfg item 2^31", [](int32_t *, zelString **) { return zelCgpsCfgSet(0x80000000u, 1); }, 1},
        {"EnGps NULL", [](int32_t *, zelString **) { return zelGnssGetEnGps(nullptr); }, 5},
        {"OutPort NULL", [](int32_t *, zelString **) { return zelGnssGetOutPort(nullptr); }, 5},
        {"Status NULL", [](int32_t *, zelString **) { return zelCGPSStatusGet(nullptr); }, 5},
        {"XtraTime NULL", [](int32_t *, zelString **) { return zelGpsInjectXtraTimeGet(nullptr); }, 5},
        {"XtraData NULL", [](int32_t *, zelString **) { return zelGpsInjectXtraDataGet(nullptr); }, 5},
        {"Pos NULL", [](int32_t *, zelString **) { return zelGnssGetPos(1, nullptr); }, 5},
        {"GLAT NULL", [](int32_t *, zelString **) { return zelGetCGPSGLAT(nullptr); }, 5},
        {"Cfg NULL", [](int32_t *, zelString **) { return zelCgpsCfgGet(nullptr); }, 5},
        {"Agnsssv NULL", [](int32_t *, zelString **) { return zelCgpsAgnsssvGet(nullptr); }, 5},
        {"xtra data 1006 bytes",
         [](int32_t *, zelString **) { return zelGpsInjectXtraDataSet(std::string(1006, 'x').c_str()); }, 5},
    };
    for (const Case &c : cases) {
        server->clearRecord();
        EXPECT_EQ(c.call(nullptr, nullptr), c.status) << c.what;
        EXPECT_TRUE(nothingSent()) << c.what;
    }
}

TEST_F(Gnss, XtraDataFillsTheCommandBufferExactly) {
    // "AT+CGPSXTRADATA=", 1005 bytes of data and "\r\n" make 1023 characters.
    server->reply("\r\nOK\r\n");
    EXPECT_EQ(zelGpsInjectXtraDataSet(std::string(1005, 'd').c_str()), 0);
    ASSERT_EQ(server->commands().size(), 1u);
    EXPECT_EQ(server->commands()[0], "AT+CGPSXTRADATA=" + std::string(1005, 'd') + "\r\n");
    EXPECT_EQ(lastTimeout(), 22);
}

}  // namespace

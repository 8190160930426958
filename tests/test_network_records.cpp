// Neighbour cells, modem information and serving-cell records: the parsers
// over literal text, then the queries against a scripted server.
#include <string.h>

#include <atomic>
#include <regex>
#include <sstream>
#include <thread>

#include "family_table.h"

namespace {

using namespace zeltest;
using S = std::string;

template <char kSep, bool kHex = false, typename... T>
S join(T... v) {
    std::ostringstream o;
    int k = 0;
    ((o << (kHex ? std::hex : std::dec) << (k++ ? S(1, kSep) : "") << +v), ...);
    return o.str();
}
// Record fields in hex, each widened to 32 bits with its own sign.
template <typename... T> S hex(T... v) { return join<' ', true>(uint32_t(int32_t(v))...); }
template <typename T> bool zero(const T &v) { return S((const char *)&v, sizeof v) == S(sizeof v, '\0'); }

// The fields of a flat record in their order in memory, through `how`.
#define ZEL_RENDER(name, Record, how, ...) \
    S name(const Record &x) { auto [__VA_ARGS__] = x; return how(__VA_ARGS__); }
ZEL_RENDER(fields, zelLteIntraNeighbour, join<' '>, a, b, c, d, e, f, g, h, i, j)
ZEL_RENDER(fields, zelLteInterNeighbour, join<' '>, a, b, c, d, e, f, g, h, i)
ZEL_RENDER(fields, zelGsmNeighbour, join<' '>, a, b, c, d, e, f, g, h, i)
ZEL_RENDER(fields, zelGeranNeighbour, join<' '>, a, b, c, d, e, f, g, h, i, j, k)
ZEL_RENDER(render, zelModemInfo, join<'|'>, a, b, c, d, e, f, g, h, i, j, k, l, m, n, o, p, q, s, t)
ZEL_RENDER(render, nas_active_band_info, hex, a, b, c, d, e)
ZEL_RENDER(render, nas_cell_location_info, hex, a, b, c, d, e, f, g, h, i, j, k, l, m)
// The filled entries as "I[...]X[...]G[...]R[...]"; a slot past its count that is not zero shows as "!".
S render(const zelNeighbourCellReport &r) {
    S s;
    auto each = [&s](char tag, const auto &entries, size_t filled) {
        for (size_t k = 0; k < std::size(entries); ++k)
            s += k < filled ? tag + ("[" + fields(entries[k]) + "]") : zero(entries[k]) ? "" : "!";
    };
    each('I', r.lteIntra, r.lteIntraCount), each('X', r.lteInter, r.lteInterCount);
    each('G', r.gsm, r.gsmCount), each('R', r.geran, r.geranCount);
    return s;
}
S render(const nas_ss_info &r) {
    return hex(r.field1, r.group1.field2, r.group1.field3, r.field4, r.group2.field5, r.group2.field6,
               r.group2.field7, r.group2.field8, r.field9, r.field10, r.field11, r.group3.field12, r.group3.field13,
               r.field14, r.group4.field15, r.group4.field16, r.group4.field17, r.group4.field18, r.group4.field19,
               r.field20, r.field21, r.field22, r.field23, r.field24);
}

// Each parser as "<result> <fields>", from a record of 0x5A bytes.
S cells(const S &t) { zelNeighbourCellReport r = {}; parse_data(t.c_str(), &r); return render(r); }
template <typename R, int32_t (*parse)(const char *, R *)>
S record(const S &t) {
    R r, before;
    memset(&r, 0x5A, sizeof r), memset(&before, 0x5A, sizeof before);
    int32_t result = parse(t.c_str(), &r);
    return std::to_string(result) + " " + (memcmp(&r, &before, sizeof r) ? render(r) : "untouched");
}
const auto ss = record<nas_ss_info, nas_ss_deserialize_from_hex>;
const auto band = record<nas_active_band_info, nas_active_band_deserialize_from_hex>;
const auto location = record<nas_cell_location_info, nas_cell_location_deserialize_from_hex>;
const auto modem = record<zelModemInfo, parseModemInfo>;

// A line of `n` tokens whose token k is k; n copies of a text; hex of the bytes from, from + 1, ...
S line(const S &label, int n) { S s = label; for (int k = 1; k < n; ++k) s += "," + std::to_string(k); return s; }
S times(int n, const S &t, const char *sep = "\n") { S s; while (n--) s += t + (n ? sep : ""); return s; }
S bytes(int from, int n) { S s; for (int k = 0; k < n; ++k) s += hex(0x100 + (from + k) % 256).substr(1); return s; }
const S kIntra = line("neighbourcell intra", 12), kInter = line("neighbourcell inter", 11);
const S kGsm = line("neighbourcell", 11), kGeran = line("neighbourcell", 13), kCut = "neighbourcell,1,2,3,4,5,6,7,8,9,";
const S I = "I[2 3 4 5 6 7 8 9 10 11]", X = "X[2 3 4 5 6 7 8 9 10]", G = "G[2 3 4 5 6 7 8 9 10]";
const S R = "R[5 4 7 6 8 2 3 9 10 11 12]", G9 = "G[2 3 4 5 6 7 8 9 12]";
const S kNone = "||0|0|0|0|0|0|0||0|0|0|0|-1|-1|-1|-1|-1";  // modem information at its defaults
const S kLocation = "00FF0203040506070809FF0B0C0D0E0F101112131415161718191A1B1C", kBand = "01ff0102FE80";
const S kSsFields = "0 1 2030405 6 7 8090a0b c0d0e0f 10111213 14 15 16 17 18191a1b 1c 1d 1e 1f20 21222324 25262728 29 "
                    "2a2b2c2d 2e2f3031 32333435 36373839";
const S kLocationFields = "0 ff 2 304 5 607 809 ffffffff b0c d0e0f10 11121314 15161718 191a1b1c";

TEST(Parsers, OverLiteralText) {
    const S info = " | 6 Not enough tokens for LTE ", limit = " Neighbor Cell limit reached\n";
    const struct { S (*parse)(const S &); S text, want; } cases[] = {
        {cells, kIntra + "\r\n" + kInter + "\n\n\r" + kGsm + "\r\r\n" + kGeran, I + X + G + R},
        {cells, kGsm + ",11\n" + line("neighbourcell foo", 13) + "\nNeighbourcell intra,1\nneighbourcell", ""},
        {cells, line("neighbourcell inter", 10) + "\n" + line("neighbourcell intra", 11),
         info + "Inter Neighbor Cell\n" + info + "Intra Neighbor Cell\n"},
        {cells, "  \"neighbourcell intra\" , \"1\",2 , 3,4,5,6,7,8,9,10,\"11\" \t ", I},
        {cells, "neighbourcell,1,2,,3,4,5,6,7,8,,,9,10", G},  // empty fields vanish
        {cells, "neighbourcell intra,0,-90,65536,70000,-1,4294967296,-4294967296,-1,256,300,x7",
         "I[65446 0 4464 65535 65535 0 255 0 44 0]"},
        {cells, "neighbourcell,0,-90,2147483648,-1,-2147483649,-1,7,8,9,10,11,12abc",
         "R[-2147483648 65535 7 255 8 -90 2147483647 9 10 11 12]"},
        {cells, times(9, kIntra), times(8, I, "") + " | 6 LTE Intra" + limit},
        {cells, times(25, kInter), times(24, X, "") + " | 6 LTE Inter" + limit},
        {cells, times(17, kGsm), times(16, G, "") + " | 6 GSM" + limit},
        {cells, times(8, kGeran, "\r\n"), times(6, R, "") + " | 3 GERAN" + limit + " | 3 GERAN" + limit},
        {cells, times(48, "x") + "\r\n\r\n" + times(2, kGsm), G},                            // 49 lines at most
        {cells, kCut + S(511 - kCut.size() - 2, ' ') + "1234\n" + kGsm, G9 + G},           // 511 characters a line
        {cells, S(2047 - kCut.size() - 3, 'y') + "\n" + kCut + "1234\n" + kGsm, G9},  // 2047 in all
        {modem, "+CMODEMINFO: \"LTE\",\"FDD\",-5,1,2,3,4,5,Band 3,1.5,-2.25,6,7,8,9,1e1,-0.5,12",
         "18 LTE|FDD|-5|1|2|3|6|12|4|Band 3|1.5|-2.25|5|0|7|8|9|10|-0.5"},
        {modem, "+CMODEMINFO: \"GSM\",\"900\",1,2,3,4,5,Cell 7\r\n,9",
         "8 GSM|900|0|1|2|4|0|3|0|Cell 7|0|0|0|5|-1|-1|-1|-1|-1"},
        {modem, "+CMODEMINFO: \"LTE\",\"TDD\",7,8,9,x", "5 LTE|TDD|7|8|9" + kNone.substr(7)},
        {modem, "+CMODEMINFO: \"LTE\",\"GSM\",1", "3 LTE|GSM|1" + kNone.substr(3)},
        {modem, "+CMODEMINFO: \"LTE\",\"x\",2147483648,65536,-1,-4294967295,4294967296,70000,",  // as on 32 bits
         "8 LTE|x|2147483647|0|65535|1|0|0|65535||0|0|4464|0|-1|-1|-1|-1|-1"},
        {modem, "+CMODEMINFO: \"ABCDEFGHIJKLMNOPQ\",\"LTE\"", "1 ABCDEFGHIJKLMNO" + kNone},
        {modem, "+CMODEMINFO: \"GSM\",\"ABCDEFGHIJ\",1", "2 GSM|ABCDEFG" + kNone.substr(1)},
        {modem, "+CMODEMINFO: \"NR\",\"SA\",1,2", "0 " + kNone},
        {modem, "\r\n+CMODEMINFO: \"LTE\",\"FDD\",1", "0 " + kNone},
        {ss, bytes(0, 58), "0 " + kSsFields},
        {ss, bytes(0, 57), "5 untouched"}, {ss, bytes(0, 59), "5 untouched"}, {ss, "0G" + bytes(1, 57), "5 untouched"},
        {ss, bytes(0, 58).substr(1), "5 untouched"}, {ss, bytes(0, 58) + "0", "5 untouched"},
        {band, kBand, "0 1 ff 102 fe 80"}, {band, kBand.substr(2), "5 untouched"},
        {location, kLocation, "0 " + kLocationFields + " | 6 len=58 hex=" + kLocation + ")\n"},
        {location, kLocation + "1C", "5 untouched | 6 len=60 hex=" + kLocation + "1C)\n"},
    };
    LogCapture log;
    for (const auto &c : cases) {
        log.clear();
        S got = c.parse(c.text);  // then its log lines, without the library's prefix
        for (const LogLine &l : log.lines())
            got += " | " + std::to_string(l.priority) + " " +
                   std::regex_replace(l.text, std::regex("^\\w+:\\d+: "), "");
        EXPECT_EQ(got, c.want) << c.text;
    }
    zelNeighbourCellReport r = {};
    char label[] = "neighbourcell";
    parse_data(nullptr, &r), parse_data("x", nullptr), tokenize_line(nullptr, &r), tokenize_line(label, nullptr);
    trim_lines(nullptr), map_gsm(nullptr, 11, nullptr), map_gsm(nullptr, 11, &r);
    EXPECT_TRUE(zero(r));
    EXPECT_EQ(parseModemInfo("+CMODEMINFO: \"LTE\"", nullptr) + nas_ss_deserialize_from_hex(nullptr, nullptr), 5);
}

TEST(Parsers, NeighbourCellsOnTwoThreadsLeaveTheCallersStrtokAlone) {
    const S texts[2] = {times(8, kIntra) + "\n" + times(6, kGeran), times(16, kGsm) + "\n" + times(24, kInter)};
    const S want[2] = {times(8, I, "") + times(6, R, ""), times(24, X, "") + times(16, G, "")};
    char app[] = "a;b;c";
    EXPECT_STREQ(strtok(app, ";"), "a");
    std::atomic<int> wrong{0}, ready{0};
    auto worker = [&](int k) {
        for (++ready; ready < 2;) std::this_thread::yield();
        for (int n = 0; n < 3000; ++n) wrong += cells(texts[k]) != want[k];
    };
    std::thread a(worker, 0), b(worker, 1);
    a.join(), b.join();
    EXPECT_EQ(wrong, 0);
    EXPECT_STREQ(strtok(nullptr, ";"), "b");
}

TEST_F(FamilyTest, RecordQueries) {
    zelNeighbourCellReport report;
    zelModemInfo info;
    nas_ss_info s1;  // the serving-cell records
    nas_active_band_info s2;
    nas_cell_location_info s3;
    const S lte = "+CMODEMINFO: \"LTE\",\"FDD\",-5", cells = kGsm + "\r\n" + kInter;
    checkTable("zel_network_api", {
        CUSTOM(zelNeighbourCellGet(s, &report), "AT+CNBRCELL=1\r\n", cells, cells),
        PLAIN(zelCmodemInfoGet(s), "AT+CMODEMINFO?\r\n"),
        CUSTOM(zelCmodemInfoGetV2(s, &info), "AT+CMODEMINFO=1\r\n", lte, lte),
        CUSTOM(zelModemSignalStrengthGet(&s1), "AT+CMODEMSS?\r\n", bytes(0, 58), kKept),
        CUSTOM(zelModemActiveBandGet(&s2), "AT+CMODEMBAND?\r\n", kBand, kKept),
        CUSTOM(zelModemCellLocationGet(&s3), "AT+CMODEMCL?\r\n", kLocation, kKept),
    });
    checkRefusals({REFUSE(zelNeighbourCellGet(nullptr, &report), 5), REFUSE(zelNeighbourCellGet(s, nullptr), 5),
                   REFUSE(zelCmodemInfoGetV2(nullptr, &info), 5), REFUSE(zelCmodemInfoGetV2(s, nullptr), 5),
                   REFUSE(zelModemSignalStrengthGet(nullptr), 5), REFUSE(zelModemActiveBandGet(nullptr), 5),
                   REFUSE(zelModemCellLocationGet(nullptr), 5)});

    // The report and the information record are zeroed before sending, the hex
    // record once text stands before the "OK".
    const struct { S reply; int32_t status; S out, report, info; bool band_zeroed; } cases[] = {
        {"", 5, kKept, "", "", false},  // silence
        {"OK\r\n\r\nOK\r\n", 6, kKept, "", "", false},
        {"\r\nERROR\r\n", 5, kKept, "", "", false},
        {"\r\nOK\r\n", 0, "", "", kNone, true},  // blanks only: an empty text
        {"\r\n" + cells + "\r\n\r\nOK\r\n", 0, cells, X + G, kNone, true},
        {"\r\n" + lte + "\r\n\r\nOK\r\n", 0, lte, "", "LTE|FDD|-5" + kNone.substr(3), true},
    };
    for (const auto &c : cases) {
        SCOPED_TRACE(c.reply);
        memset(&report, 0xFF, sizeof report), memset(&info, 0xFF, sizeof info), memset(&s2, 0xFF, sizeof s2);
        for (const Call &call : {Call(ZEL_CALL(zelNeighbourCellGet(s, &report))),
                                 Call(ZEL_CALL(zelCmodemInfoGetV2(s, &info)))}) {
            Outcome o = run(call, c.reply);
            EXPECT_EQ(o.status, c.status);
            EXPECT_EQ(o.out, c.out);
        }
        EXPECT_EQ(render(report), c.report);
        EXPECT_TRUE(c.status ? zero(info) : render(info) == c.info);
        EXPECT_EQ(log.contains("Modem info parsed successfully", LOG_INFO), c.status == 0);
        EXPECT_EQ(run(ZEL_CALL(zelModemActiveBandGet(&s2)), c.reply).status, 5);
        EXPECT_EQ(zero(s2), c.band_zeroed);
    }
}

}  // namespace

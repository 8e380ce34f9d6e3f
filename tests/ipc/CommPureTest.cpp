// Frame building, receive rules, response store, relays and the report-time arithmetic, without
// a socket. Expected bytes are written out by hand from the frame layouts.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstring>
#include <numeric>
#include <string>
#include <vector>

#include "core/Clock.h"
#include "ipc/AutoReport.h"
#include "ipc/ComF.h"
#include "ipc/CommFrame.h"
#include "ipc/CommServer.h"
#include "platform/Protool.h"
#include "RawCompanion.h"
#include "TestSupport.h"

using testsupport::Cat;
using testsupport::LogCapture;
using Bytes = std::vector<uint8_t>;

namespace {

Bytes Build(int id, uint32_t seq, const Bytes& payload, size_t len) {
    Bytes out(1500);
    int n = CommBuildCmd(id, seq, payload.empty() ? nullptr : payload.data(), len, out.data(),
                         out.size());
    if (n < 0) return {};
    out.resize(static_cast<size_t>(n));
    return out;
}

// Hands the answer of a configuration query (status byte, then the text) to its handler.
void Conf(uint8_t status, const std::string& json) {
    Bytes p = Cat({status}, json);
    Comm_get_88Conf(p.data(), p.size());
}

// Frames written by hand; an empty frame: the ID is refused with `text`.
TEST(CommBuildCmdTest, FramesAndRefusedIds) {
    struct Case { int id; uint32_t seq; Bytes payload; size_t len; const char *frame, *text; };
    const Case cases[] = {
        {73, 1, {}, 0, "5A5A 4900 01000000 01000000 6900 69", ""},
        {1, 7, {}, 0, "5A5A 0100 07000000 00000000 0000", ""},
        {76, 2, {3, 60}, 2, "5A5A 4C00 02000000 02000000 3F00 03 3C", ""},
        {5, 3, {0xFF, 0xFF}, 0, "5A5A 0500 03000000 02000000 FE01 FF FF", ""},  // always two bytes
        {997, 0x01020304, {}, 0, "5A5A E503 04030201 01000000 6900 69", ""},
        {0, 1, {}, 0, "", "Function CMD error."}, {1001, 1, {}, 0, "", "Function CMD error."},
        {40, 1, {}, 0, "", "Error comm_subdev_report"}, {6, 1, {}, 0, "", "funcCMD error"},
        {87, 1, {}, 0, "", "funcCMD error"}};
    for (const Case& c : cases) {
        LogCapture log;
        EXPECT_EQ(Build(c.id, c.seq, c.payload, c.len), testsupport::Hex(c.frame)) << c.id;
        if (*c.frame) continue;
        EXPECT_TRUE(log.Contains(c.text)) << c.id;
        // The header is filled before the payload table refuses an ID: an ID in 1..1000 uses up
        // a sequence number, one outside that range does not.
        uint32_t before = CommTxSeq.load();
        EXPECT_EQ(CommSendCmd(c.id, nullptr, 0), -1);
        EXPECT_EQ(CommTxSeq.load(), before + (c.id >= 1 && c.id <= 1000 ? 1u : 0u)) << c.id;
    }
}

TEST(CommBuildCmdTest, NoCompanionMeansEveryRequestFailsAtOnce) {
    LogCapture log;
    uint8_t v = 0;
    EXPECT_EQ(ComF_get_mesh_switch(&v), 1u);
    EXPECT_EQ(ComF_get_adj_wifi_info(), 1u);
    EXPECT_EQ(ComF_send_pluginstate(), 1u);
    EXPECT_EQ(ComF_get_autoreport_conf(), 1u);
    EXPECT_FALSE(log.Contains("ERROR: request timeout!"));
}

TEST(CommAcceptTest, RulesInOrderAndElementSizeBounds) {
    std::atomic<uint32_t> rxSeq{0};
    Bytes slot(8196, 0);
    auto accept = [&](const Bytes& f) {
        memcpy(slot.data(), f.data(), f.size());
        CommFrameView v;
        return CommAcceptFrame(slot.data(), f.size(), slot.size(), rxSeq, &v);
    };
    EXPECT_EQ(accept(CompanionFrame(73, 1, {}, 0, 0)), kCommBadLength);
    EXPECT_EQ(accept(CompanionFrame(73, 1, {0}, 1, 0)), kCommAccepted);
    EXPECT_EQ(accept(CompanionFrame(73, 1, {7}, 1, 7)), kCommBadSequence);
    EXPECT_EQ(accept(CompanionFrame(73, 2, {7}, 1, 9)), kCommBadChecksum);
    EXPECT_EQ(rxSeq.load(), 2u);  // used up by the frame that failed its checksum
    EXPECT_EQ(accept(CompanionFrame(73, 1, {7}, 1, 7)), kCommAccepted);
    Bytes bad = CompanionFrame(73, 3, {1}, 1, 1);
    bad[1] = 0x5B;
    EXPECT_EQ(accept(bad), kCommBadHead);
    // The checksum runs over the frame's own length field, not the bytes received.
    EXPECT_EQ(accept(CompanionFrame(73, 4, {5, 6, 7}, 1, 5)), kCommAccepted);
    EXPECT_EQ(accept(CompanionFrame(73, 5, {5, 6, 7}, 3, 5)), kCommBadChecksum);
    // A length field past the slot is summed only over the slot's bytes.
    slot.assign(slot.size(), 0);
    EXPECT_EQ(accept(CompanionFrame(73, 6, {1}, 0xFFFFFFFF, 1)), kCommAccepted);
    // Element sizes: 8100 bytes at most.
    Bytes f = CompanionFrame(73, 9, {0}, 1, 0);
    memcpy(slot.data(), f.data(), f.size());
    EXPECT_EQ(CommAcceptFrame(slot.data(), 8100, slot.size(), rxSeq, nullptr), kCommAccepted);
    EXPECT_EQ(CommAcceptFrame(slot.data(), 8101, slot.size(), rxSeq, nullptr), kCommBadLength);
}

// What an answer stores and keeps is checked over the socket; here the bound on its size.
TEST(CommFuncRecvTest, AnswerOverFourThousandBytesIsRefused) {
    const uint8_t stored[] = {0, 'a'};
    CommFuncRecv(stored, sizeof stored);
    Bytes big(4001, 0);
    CommFuncRecv(big.data(), big.size());
    uint8_t rx[1];
    CommRxDataCopy(rx, 1);
    EXPECT_EQ(rx[0], 1);  // the status of a refused answer
}

// The prefixed relay's bytes are checked against the platform peer; here its bound. Function 81
// goes without a length and with its counters reversed.
TEST(RelayTest, PrefixBoundAndFunction81) {
    uint8_t small[64];
    Bytes p(229), out(8192);
    EXPECT_EQ(CommBuildRelay(small, sizeof small, 1, 86, p.data(), 56), 64u);
    EXPECT_EQ(CommBuildRelay(small, sizeof small, 1, 86, p.data(), 57), 0u);
    std::iota(p.begin(), p.end(), 0);
    ASSERT_EQ(CommBuildRelay(out.data(), out.size(), 5, 81, p.data(), p.size()), 235u);
    Bytes want = Cat(testsupport::Hex("05 00 51 00 00 00"), p);  // no length before the payload
    // The 32-bit counters are reversed; the 16-bit fields (0, 3, 5, 225) travel unchanged.
    for (size_t at : {205, 209, 213, 217, 221})
        std::reverse(want.begin() + 6 + at, want.begin() + 10 + at);
    EXPECT_EQ(Bytes(out.begin(), out.begin() + 235), want);
}

TEST(Fn89Test, TypeRules) {
    CommAutoReportReset();
    const uint8_t a[] = {1, 5}, b[] = {1, 2, 3}, t2[] = {2}, t3[] = {3}, t9[] = {9};
    EXPECT_EQ(CommCheck89(a, sizeof a, 1000), 0);
    EXPECT_EQ(CommCheck89(a, sizeof a, 1003), -1);  // 3 s later, content differs
    EXPECT_EQ(CommCheck89(b, sizeof b, 1103), -1);  // 100 s later, same byte sum (6)
    EXPECT_EQ(CommCheck89(b, sizeof b, 1233), 0);   // 130 s later
    EXPECT_EQ(CommCheck89(t2, 1, 2000), 0);
    EXPECT_EQ(CommCheck89(t2, 1, 3000), -1);
    EXPECT_EQ(CommCheck89(t2, 1, 4200), 0);  // 1200 s after the dropped one
    EXPECT_EQ(CommCheck89(t3, 1, 100), 0);
    EXPECT_EQ(CommCheck89(t3, 1, 140), -1);
    EXPECT_EQ(CommCheck89(t3, 1, 200), 0);
    EXPECT_EQ(CommCheck89(t9, 1, 5000), -1);
}

// The texts relayed to the platform: plug-in state and firmware update results.
TEST(FwResultTest, Texts) {
    EXPECT_EQ(CommPluginStateText(0),
              "{\"pluginState\":\"offline\",\"pluginVersion\":\"2.0.0.7-20221227\"}");
    EXPECT_EQ(CommFwResultText(0), "{\"result\":0,\"resultDesc\":\"success\"}");
    const char* desc[] = {
        "fromVersion not match.",  "toVersion not support.",   "url address error.",
        "check method not match.", "fileLength error.",        "file download failed.",
        "check sum error.",        "firmware update faiiled.", "unKnown error."};
    for (int r : {1, 2, 3, 4, 5, 6, 7, 8, 9, 255})
        EXPECT_EQ(CommFwResultText(r), "{\"result\":" + std::to_string(r) + ",\"resultDesc\":\"" +
                                           desc[std::min(r, 9) - 1] + "\"}");
}

// "HH:MM-HH:MM" to the seconds after midnight of its start (first) and end (second); the text
// is cut at the dash in place.
TEST(JumpTimeTest, SplitsAndRefuses) {
    struct Case { const char *text, *log; long first, second; } cases[] = {
        {"22:00-06:00", "", 79200, 21600}, {"1:00-9:30", "", 3600, 34200},
        {"1:00-1:30", "jump time is little than 3600!", -1, 0}, {"1:00", "jump time error!", -1, 0},
        {"1000-2000", "Time data error!!!", -1, 0}, {"100-200", "Time data length error!!!", -1, 0},
        {"-", "jump time error!!!", -1, 0}};
    for (const Case& c : cases) {
        LogCapture log;
        std::string text = c.text;
        long second = 0, first = 0;
        ASSERT_EQ(jumpTimeToSec(&second, &first, &text[0]), c.first < 0 ? -1 : 0) << c.text;
        EXPECT_TRUE(log.Contains(c.log)) << c.text << "\n" << log.Text();
        if (c.first < 0) continue;
        EXPECT_EQ(first, c.first);
        EXPECT_EQ(second, c.second);
        EXPECT_STREQ(text.c_str(),
                     std::string(c.text).substr(0, std::string(c.text).find('-')).c_str());
    }
}

// The daily report time and the cycle start, spread over the day by the MAC's phase
// (MacVal mod referNum). Values at the edges of what the platform and the companion send are
// computed in 64 bits or refused: with 32-bit arithmetic (long on the ARM and MIPS routers)
// interval3 = 2^30 made the cycle length 0, a division by zero, and a serverDiff near the int
// limits wrapped the report times round.
TEST(SpreadTest, DailyTimeAndCycleStartExtremeValuesIn64Bits) {
    const uint8_t mac[6] = {0xAA, 0xBB, 0xCC, 0x12, 0x34, 0x56};
    EXPECT_EQ(CommMacVal(mac), 1193046);                                  // phase 46 of 1000
    const int64_t k = 1000000, m = 1700000000, intMin = -2147483647 - 1;  // midnights
    struct Case {
        int64_t refer, serverDiff; int i2, i3; const char* jump; int64_t now, midnight, macVal;
        int rc; const char* log; double day, cycle;
    } cases[] = {
        // d = 86.4 s x 46; with a jump time: (3974 mod 57600) + 21600 after midnight.
        {1000, 5, 1440, 0, "", k + 100, k, 1193046, 0, "MacVal: 1193046", k + 5 + 3974.4, 0},
        {1000, 5, 1440, 0, "22:00-06:00", k + 100, k, 1193046, 0, "", k + 3974 + 21600 + 5.4, 0},
        {1000, 5, 0, 0, "22:00-06:00", k + 100, k, 1193046, 0, "", 0, 0},
        // No range check on the digits: a span of zero seconds.
        {1000, 0, 1440, 0, "0:00-24:00", 100, 0, 1193046, -1, "jump time is error!", 0, 0},
        // 3.6 s x 46; lag 9830 s: (60 + (9860 div 3600) x 60) x 60 = 10800 s later.
        {1000, 5, 0, 60, "", k + 100, k, 1193046, 0, "", 0, k + 5 + 165.6},
        {1000, 5, 0, 60, "", k + 10000, k, 1193046, 0, "", 0, k + 5 + 165.6 + 10800},
        {5, 0, 0, 1073741824, "", m + 100, m, 0, -1, "interval3 out of range", 0, 0},  // x60: 0
        {5, 0, 0, 2147483647, "", m + 100, m, 0, -1, "interval3 out of range", 0, 0},
        {5, 0, 0, 35791394, "", m + 100, m, 0, 0, "", 0, m + 2147483640.0},  // longest cycle
        {5, 2147483647, 1440, 1, "", m + 100, m, 0, 0, "", m + 2147483647.0, m + 2147483647.0},
        // lag 2147483748 s: (1 + 2147483778 div 60) x 60 = 2147483820 s later
        {5, intMin, 1440, 1, "", m + 100, m, 0, 0, "", m - 2147483648.0, m + 172.0},
    };
    for (const Case& c : cases) {
        std::string jump = c.jump;
        SpreadInput in{c.refer, c.serverDiff, c.i2, c.i3, &jump[0], c.now, c.midnight, c.macVal};
        ReportTimes t;
        LogCapture log;
        ASSERT_EQ(CommSpreadReportTimes(in, &t), c.rc) << c.i3 << " " << c.serverDiff;
        EXPECT_TRUE(log.Contains(c.log)) << c.log;
        EXPECT_NEAR(t.dayReportTime, c.day, 1e-6) << c.i3 << " " << c.serverDiff;
        EXPECT_NEAR(t.cycleReportStart, c.cycle, 1e-6) << c.i3 << " " << c.serverDiff;
    }
}

// A 997 answer replaces the configuration; the function-89 report times stay; numbers out of
// range are clamped.
TEST(AutoConfTest, Parses997AnswerAndKeepsTheFunction89Times) {
    CommAutoReportReset();
    const uint8_t a[] = {1, 5}, b[] = {1, 7}, t2[] = {2}, t3[] = {3};
    ASSERT_EQ(CommCheck89(a, sizeof a, 5000), 0);
    ASSERT_EQ(CommCheck89(t2, 1, 5000), 0);
    ASSERT_EQ(CommCheck89(t3, 1, 5000), 0);
    Conf(0, "{\"referNum\":1000,\"serverDiff\":-7,\"interval1\":3,\"interval2\":1440,"
            "\"interval3\":60,\"jumpTime\":\"22:00-06:00\"}");
    EXPECT_EQ(referNum.load(), 1000);
    EXPECT_EQ(serverErr.load(), -7);
    EXPECT_EQ(intervalFlag1.load(), 3);
    EXPECT_EQ(intervalFlag2.load(), 1440);
    EXPECT_EQ(intervalFlag3.load(), 60);
    EXPECT_EQ(CommJumpTimeText(), "22:00-06:00");
    Conf(0, "{\"referNum\":50,\"jumpTime\":\"2:00-6:0\"}");
    EXPECT_EQ(referNum.load(), 50);
    EXPECT_EQ(intervalFlag2.load(), -1);
    EXPECT_EQ(CommJumpTimeText(), "");
    Conf(1, "{\"referNum\":1000}");
    EXPECT_EQ(referNum.load(), -1);
    EXPECT_EQ(serverErr.load(), 0);
    EXPECT_EQ(CommCheck89(b, sizeof b, 5003), -1);  // still 3 s after the last type 1
    EXPECT_EQ(CommCheck89(t2, 1, 5010), -1);
    EXPECT_EQ(CommCheck89(t3, 1, 5010), -1);
    // 2^32 + 1000 and 2^32 + 1440 would become 1000 and 1440 if cut to 32 bits.
    Conf(0, "{\"referNum\":4294968296,\"serverDiff\":-4294967306,\"interval2\":4294968736,"
            "\"interval3\":1e300}");
    EXPECT_EQ(referNum.load(), 2147483647);
    EXPECT_EQ(serverErr.load(), -2147483647 - 1);
    EXPECT_EQ(intervalFlag2.load(), 2147483647);
    EXPECT_EQ(intervalFlag3.load(), 2147483647);
}

TEST(AutoConfTest, CalibrationGuardsAndJumpTimeCut) {
    CommAutoReportReset();
    LogCapture log;
    ComF_send_calibration();
    EXPECT_TRUE(log.Contains("referNum is error !!!!!!"));
    Conf(0, "{\"referNum\":1000,\"interval2\":0,\"interval3\":0}");  // closed
    ComF_send_calibration();
    Conf(0, "{\"referNum\":1000}");  // no intervals configured
    ComF_send_calibration();
    Conf(0, "{\"referNum\":1000,\"interval2\":0,\"interval3\":1073741824}");
    ComF_send_calibration();
    EXPECT_TRUE(log.Contains("interval3 out of range: 1073741824"));
    EXPECT_FALSE(log.Contains("set auto report info"));  // none of these guards lets one out
    // The jump time is cut in place by the first calibration: the second finds it broken.
    const uint8_t mac[6] = {0, 0, 0, 0x12, 0x34, 0x56};
    SetRouteMac(mac);
    Conf(0, "{\"referNum\":1000,\"serverDiff\":0,\"interval1\":0,\"interval2\":1440,"
            "\"interval3\":60,\"jumpTime\":\"22:00-06:00\"}");
    log.Clear();
    ComF_send_calibration();  // no companion: the send fails, the jump time is cut all the same
    EXPECT_TRUE(log.Contains("ERROR: send set autoreport switch command failed!"));
    EXPECT_EQ(CommJumpTimeText(), "22:00");
    log.Clear();
    ComF_send_calibration();
    EXPECT_TRUE(log.Contains("jump time is error!"));
    EXPECT_FALSE(log.Contains("set auto report info"));
}

// The platform's text is checked (JSON object, referNum 5..20000000, a timestamp within 90 s
// unless both intervals are off, 64-bit numbers), then sent as that object with its closing brace
// replaced by the computed members, in a 500-byte buffer: what does not fit, or is not one object
// ending in '}', is refused. Without a companion a text that passes fails at the send.
TEST(AutoConfTest, SetAutoReportChecks) {
    const std::string sent = "send set autoreport switch command failed!",
                      tooLong = "text too long!";
    const std::string members = "{\"referNum\":1000,\"interval2\":0,\"interval3\":0,\"pad\":\"";
    const size_t suffix = std::string(",\"serverDiff\":0,\"dayReportTime\":\"0.000000\","
                                      "\"cycleReportStart\":\"0.000000\",\"save\":1}").size();
    auto padded = [&](size_t len) {  // the text whose payload is `len` bytes long
        return members + std::string(len - suffix - members.size() - 1, 'x') + "\"}";
    };
    auto stamped = [](const std::string& ts, const std::string& rest) {
        return "{\"timestamp\":" + ts + ",\"referNum\":1000,\"interval2\":" + rest + "}";
    };
    const std::string now = std::to_string(NowSec());
    // flag2: intervalFlag2 afterwards; -2: not looked at.
    struct Case { std::string text, want, notWant; int flag2; } cases[] = {
        {"{", "", sent, -2}, {"not json", "", sent, -2},
        {"{\"referNum\":4,\"interval2\":1440}", "referNum is error !!!!!!", sent, -2},
        {"{\"referNum\":4294968296,\"interval2\":0,\"interval3\":0}", "referNum is error", sent,
         -2},
        // Far beyond the 90-s window, so a second ticking during the test changes nothing.
        {stamped(std::to_string(NowSec() + 1000), "1440"), "Calibration time error !!!!!!", sent,
         -2},
        {stamped("-1e300", "1440,\"interval3\":60"), "Calibration time error", sent, -2},
        {stamped("1e300", "1440,\"interval3\":60"), "Calibration time error", sent, -2},
        {stamped("-9223372036854775808", "1440"), "Calibration time error", sent, -2},
        // Both intervals below 1: the timestamp is not looked at.
        {stamped("5", "0,\"interval3\":0"), sent, "Calibration time error", 0},
        {stamped(now, "4294968736,\"interval3\":0"), "", "", 2147483647},
        {padded(499), sent, tooLong, -2},
        {padded(500), tooLong, sent, -2},
        {padded(1022 + suffix - 1), tooLong, sent, -2},  // 1022-byte text
        {"{\"referNum\":1000,\"interval2\":0,\"interval3\":0} \n", sent, tooLong, -2},
        {"{\"referNum\":1000,\"interval2\":0,\"interval3\":0}x}", "", sent, -2},
        {"[{\"referNum\":1000}]", "", sent, -2},
    };
    for (const Case& c : cases) {
        LogCapture log;
        EXPECT_EQ(ComF_set_auto_report(c.text.c_str(), c.text.size()), 1u) << c.text;
        EXPECT_TRUE(log.Contains(c.want)) << c.text << ": " << c.want;
        EXPECT_TRUE(c.notWant.empty() || !log.Contains(c.notWant)) << c.text << ": " << c.notWant;
        EXPECT_TRUE(c.flag2 == -2 || intervalFlag2.load() == c.flag2) << c.text;
    }
}

}  // namespace

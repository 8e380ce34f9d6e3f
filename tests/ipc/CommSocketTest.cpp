// The companion server over its real socket: one companion at a time, the receive rules, stop
// and start; requests to the companion: the platform function rows 70-88, the wait for the
// awaited function ID and the request time-outs. Expected bytes are written by hand.
#include <dirent.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdint>
#include <functional>
#include <memory>
#include <numeric>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "RawCompanion.h"
#include "TestSupport.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Paths.h"
#include "functions/CompanionRows.h"
#include "ipc/AutoReport.h"
#include "ipc/ComF.h"
#include "ipc/CommInternal.h"
#include "ipc/CommRequest.h"
#include "ipc/CommServer.h"
#include "platform/Protool.h"

using testsupport::Cat;
using testsupport::Hex;
using testsupport::LogCapture;

namespace {

using Bytes = std::vector<uint8_t>;

const std::string kOnline = "{\"pluginState\":\"online\",\"pluginVersion\":\"2.0.0.7-20221227\"}";

// Waits for `pred` with a fine step (the default 5 ms step is too coarse for loops).
bool SpinUntil(const std::function<bool()>& pred) {
    return testsupport::WaitUntil(pred, std::chrono::seconds(10), std::chrono::microseconds(200));
}

// A started server serving companion `c`.
class CommServerTest : public ::testing::Test {
protected:
    void SetUp() override {
        PathsRelocate(dir.path());
        mLogin.store(1);
        ASSERT_EQ(CommServerStart(), 0);
        ASSERT_TRUE(Attach(c));
    }
    void TearDown() override {
        CommServerStop();
        SetClock(nullptr);
        mLogin.store(0);
        PathsRelocate("");
    }
    // Connects (retrying until the server listens) and waits until the agent serves it.
    static bool Attach(RawCompanion& r) {
        return SpinUntil([&] { return r.Connect(Paths().commServer); }) &&
               SpinUntil([] { return InstanceSocket.load() >= 0; });
    }
    static bool Detach(RawCompanion& r) {
        r.Close();
        return SpinUntil([] { return InstanceState.load() == 0; });
    }
    // Runs the process clock `scale` times faster until the server is stopped (the clock must
    // outlive the server's threads, so the fixture owns it).
    void Accelerate(double scale) {
        clock_ = std::make_unique<ScaledClock>(scale);
        SetClock(clock_.get());
    }
    // A frame from the companion with its next sequence number.
    Bytes Answer(uint16_t id, const Bytes& payload) { return CompanionFrame(id, ++seq, payload); }
    // Sends `f` alone (two frames in one read would be one element) and waits until the frame
    // handler has dealt with it.
    static bool SendHandled(RawCompanion& r, const Bytes& f) {
        unsigned long handled = CommHandledElements();
        return r.Send(f) && SpinUntil([&] { return CommHandledElements() > handled; });
    }
    bool SendAndWaitLog(const Bytes& f, const std::string& line) {
        size_t before = log.Count(line);
        return c.Send(f) && SpinUntil([&] { return log.Count(line) > before; });
    }
    // Runs `call` while `r` reads `sentLen` bytes and answers with `answer` (nothing read or
    // answered when 0 / empty). Returns what was sent.
    static Bytes Exchange(RawCompanion& r, const std::function<void()>& call, size_t sentLen,
                          const Bytes& answer) {
        std::thread t(call);
        Bytes sent = sentLen ? r.Read(sentLen) : Bytes{};
        if (!answer.empty()) r.Send(answer);
        t.join();
        return sent;
    }
    // Runs a function row on request tag 12 34, `id`, 6 bytes to offset 10, then `params`, while
    // `c` reads `sentLen` bytes and answers with `answer`; returns the platform answer after its
    // tag and ID.
    Bytes Row(FnHandler fn, uint16_t id, const Bytes& params, size_t sentLen, const Bytes& answer,
              Bytes* sent = nullptr) {
        Bytes req = Cat({0x12, 0x34, uint8_t(id), uint8_t(id >> 8), 0, 0, 0, 0, 0, 0}, params);
        Bytes ans(8192, 0);
        FnCall call{req.data(), req.size(), ans.data(), 0};
        Bytes out = Exchange(
            c, [&] { fn(call); }, sentLen, answer);
        if (sent) *sent = out;
        if (call.ansLen < 4) return {};
        EXPECT_EQ(Bytes(ans.begin(), ans.begin() + 4), Bytes(req.begin(), req.begin() + 4)) << id;
        return Bytes(ans.begin() + 4, ans.begin() + static_cast<long>(call.ansLen));
    }

    std::unique_ptr<ScaledClock> clock_;
    testsupport::TempDir dir;
    LogCapture log;
    RawCompanion c;
    uint32_t seq = 100;
};

// Entries of a /proc directory (threads in /proc/self/task, descriptors in /proc/self/fd).
size_t CountEntries(const char* path) {
    size_t n = 0;
    if (DIR* d = opendir(path)) {
        while (dirent* e = readdir(d))
            if (e->d_name[0] != '.') ++n;
        closedir(d);
    }
    return n;
}

// A joined thread may linger in /proc for a moment after its exit (long under qemu-user), also
// when a count is taken; a leaked thread per cycle stays and shows many times over.
void ExpectNothingLeft(size_t threads, size_t fds) {
    EXPECT_TRUE(SpinUntil([&] { return CountEntries("/proc/self/task") <= threads; }))
        << CountEntries("/proc/self/task") << " threads, " << threads << " before";
    EXPECT_EQ(CountEntries("/proc/self/fd"), fds);
}

TEST_F(CommServerTest, SecondCompanionClosedAtOnceNextAcceptAfterFiveSeconds) {
    Accelerate(100);  // 5 s pass in 50 ms
    RawCompanion second, third;
    // Timed from before the second connection: the pause that follows its refusal lies wholly
    // inside, so the third companion is refused no sooner than 5 s (50 ms here) later.
    auto connecting = std::chrono::steady_clock::now();
    ASSERT_TRUE(second.Connect(Paths().commServer));
    EXPECT_TRUE(second.ClosedByPeer());
    ASSERT_TRUE(third.Connect(Paths().commServer));  // waits in the backlog during the pause
    EXPECT_TRUE(third.ClosedByPeer());
    EXPECT_GE(std::chrono::steady_clock::now() - connecting, std::chrono::milliseconds(50));
    EXPECT_TRUE(SpinUntil([&] { return log.Count("link quntity is large.") == 2; }));
    // Once the first companion is gone and its thread joined, a new one is served.
    ASSERT_TRUE(Detach(c));
    EXPECT_TRUE(SpinUntil([&] { return log.Contains("release ok"); }));  // logged after the reset
    EXPECT_TRUE(Attach(c));
}

// Not logged in: frames are dropped before any rule. Two frames in one read are one element (the
// second is never looked at). Requests and reports from the companion reach their handlers.
TEST_F(CommServerTest, LoginGateOneElementPerReadAndCompanionFrames) {
    mLogin.store(0);
    // Sequence 2 twice: had the dropped frame reached the sequence rule, the next were refused.
    ASSERT_TRUE(SendHandled(c, CompanionFrame(73, 2, {0, 1})));
    mLogin.store(1);
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(87, 2, {1}), "Error funcID"));
    ASSERT_TRUE(SendAndWaitLog(Cat(CompanionFrame(88, 20, {0}), CompanionFrame(87, 21, {1})),
                               "Answer 88 without a request, dropped."));
    EXPECT_EQ(CommRxSeq.load(), 20u);
    EXPECT_EQ(log.Count("Error funcID"), 1u);
    ASSERT_TRUE(SendHandled(c, CompanionFrame(998, 21, {'i'})));
    EXPECT_EQ(c.Read(14 + kOnline.size()), CompanionFrame(998, CommTxSeq.load(), Cat({}, kOnline)));
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(998, 22, {'x'}), "Old plugin no plugin state"));
    ASSERT_TRUE(
        SendAndWaitLog(CompanionFrame(999, 23, {0, 0}), "Firmware update return length error."));
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(40, 24, Bytes(41, 0)), "function-40 list dropped"));
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(2, 25, {1}), "comm_get_base_info"));
    ASSERT_TRUE(SendAndWaitLog(CompanionFrame(87, 26, {1}), "Error funcID"));
}

// The socket is private to the agent's user; random bytes leave the server serving.
TEST_F(CommServerTest, SocketIsPrivateAndRandomBytesLeaveTheServerServing) {
    std::mt19937 rng(12345);
    struct stat st {};
    ASSERT_EQ(stat(Paths().commServer.c_str(), &st), 0);
    EXPECT_TRUE(S_ISSOCK(st.st_mode));
    EXPECT_EQ(st.st_mode & 0777, 0600u);
    for (int i = 0; i < 300; ++i) {
        Bytes junk(1 + rng() % 9000);
        for (uint8_t& b : junk)
            b = static_cast<uint8_t>(rng());
        if (i % 3 == 0 && junk.size() >= 14) junk[0] = junk[1] = 0x5A;
        ASSERT_TRUE(c.Send(junk));
    }
    ASSERT_TRUE(Detach(c));
    ASSERT_TRUE(Attach(c));
    EXPECT_EQ(Row(Fn73GetMeshSwitch, 73, {}, 15, Answer(73, {0, 1})), Hex("00 00 01"));
}

// A daemon started with standard input closed gets descriptor 0 for its companion: it is served.
TEST_F(CommServerTest, CompanionOnDescriptorZeroIsServed) {
    ASSERT_TRUE(Detach(c));
    c.Open();  // before 0 is freed, so that the agent's accept takes it
    int savedStdin = dup(0);
    ASSERT_GE(savedStdin, 0);
    close(0);
    bool connected = Attach(c);
    int served = InstanceSocket.load();
    Bytes out = connected ? Row(Fn73GetMeshSwitch, 73, {}, 15, Answer(73, {0, 1})) : Bytes{};
    Detach(c);
    dup2(savedStdin, 0);
    close(savedStdin);
    ASSERT_TRUE(connected);
    EXPECT_EQ(served, 0);
    EXPECT_EQ(out, Hex("00 00 01"));
}

// A companion that stops reading: a frame is sent whole or the connection is shut down right
// after its cut prefix, never followed by more bytes.
TEST_F(CommServerTest, FrameToACompanionThatStopsReadingIsWholeOrTheLast) {
    Accelerate(20.0);
    Bytes big(4 << 20, 0x5A);  // far more than any socket buffer
    {
        std::lock_guard<std::mutex> g(CommSendMutex);  // as every sender holds it
        EXPECT_EQ(-1, CommServerSend(big.data(), big.size()));
        EXPECT_EQ(-1, CommServerSend(big.data(), 1));  // the connection is gone: nothing goes
    }
    EXPECT_LT(c.Read(big.size()).size(), big.size());
    EXPECT_TRUE(c.ClosedByPeer());
}

// A thousand companions in and out leave nothing behind. Then the server is stopped while a
// companion is connected, twenty times over: every thread ends, every descriptor and the socket
// file go, and the next start works.
TEST_F(CommServerTest, ConnectionsAndRestartsLeaveNothingBehind) {
    ASSERT_TRUE(Detach(c));  // after a first companion, so that lazily made things exist
    size_t threads = CountEntries("/proc/self/task"), fds = CountEntries("/proc/self/fd");
    for (int i = 0; i < 1000; ++i) {
        ASSERT_TRUE(Attach(c)) << i;
        ASSERT_TRUE(Detach(c)) << i;
    }
    ExpectNothingLeft(threads, fds);
    CommServerStop();
    threads = CountEntries("/proc/self/task");  // without the server from here on
    fds = CountEntries("/proc/self/fd");
    for (int i = 0; i < 20; ++i) {
        ASSERT_EQ(CommServerStart(), 0);
        ASSERT_TRUE(Attach(c));
        CommServerStop();
        EXPECT_TRUE(c.ClosedByPeer());
        c.Close();
    }
    ExpectNothingLeft(threads, fds);
    EXPECT_NE(access(Paths().commServer.c_str(), F_OK), 0);
}

TEST(CommServerLifecycleTest, BindFailureEndsOnlyTheAcceptThread) {
    PathsRelocate("/nonexistent-dir-for-comm-test");
    LogCapture log;
    ASSERT_EQ(CommServerStart(), 0);
    EXPECT_TRUE(SpinUntil([&] { return log.Contains("bind failed"); }));
    EXPECT_EQ(CommServerStart(), -1);  // still running
    CommServerStop();
    PathsRelocate("");
}

const std::string kAutoText = "{\"referNum\":1000,\"interval2\":0,\"interval3\":0}";
const std::string kAutoSent = kAutoText.substr(0, kAutoText.size() - 1) +
                              ",\"serverDiff\":0,\"dayReportTime\":\"0.000000\","
                              "\"cycleReportStart\":\"0.000000\",\"save\":1}";

// sent: payload of the frame to the companion, empty when nothing is sent; answer: the
// companion's answer payload (status first); out: the platform answer after tag and ID, code (2)
// then the data.
struct RowCase { FnHandler fn; uint16_t id; Bytes params, sent, answer; const char *out, *log; };

TEST_F(CommServerTest, FunctionRowsFramesAndAnswers) {
    const Bytes q{'i'}, autoParams = Cat({static_cast<uint8_t>(kAutoText.size()), 0}, kAutoText);
    const RowCase rows[] = {
        {Fn70GetWifiFreqband, 70, {2}, {2}, {0, 5}, "00 00 05", ""},
        {Fn71GetMeshSupport, 71, {}, q, {0, 1}, "00 00 01", ""},
        {Fn72SetMeshSwitch, 72, {1}, {1}, {0}, "00 00", "Set mesh switch=1"},
        {Fn73GetMeshSwitch, 73, {}, q, {0, 1}, "00 00 01", ""},
        {Fn73GetMeshSwitch, 73, {}, q, {5}, "05 00", "ERROR: get mesh switch failed! ret=5"},
        {Fn74SetMeshRoamingSwitch, 74, {0}, {0}, {4}, "04 00", "roaming switch failed! ret=4"},
        {Fn75GetMeshRoamingSwitch, 75, {}, q, {0, 0}, "00 00 00", ""},
        {Fn76SetMeshRoamingThreshold, 76, {1, 60}, {1, 60}, {0}, "00 00", "index=1, threshold=60"},
        {Fn77GetMeshRoamingThreshold, 77, {}, q, {0, 3, 75}, "00 00 03 4B", "get threshold 3,75"},
        {Fn78GetMeshTopology, 78, {}, q, {0, 'a', 'b', 'c'}, "00 00 03 00 61 62 63", ""},
        {Fn78GetMeshTopology, 78, {}, q, {6}, "06 00", "ERROR: get mesh topology failed! ret=6"},
        {Fn79GetAdjWifiInfo, 79, {}, q, {0, 1, 0, 7}, "00 00 03 00 01 00 07", ""},
        {Fn79GetAdjWifiInfo, 79, {}, q, {0, 1}, "01 00", "ERROR: Data length is too short! len=1"},
        {Fn80GetBssid, 80, {}, q, {0, 1, 2, 3, 4, 5, 6}, "00 00 06 00 01 02 03 04 05 06", ""},
        {Fn80GetBssid, 80, {}, q, {0, 1, 2}, "01 00", ""},
        {Fn83TrigOnekeyOptimize, 83, {}, q, {0}, "00 00", ""},
        {Fn85TrigFaultDiagnosis, 85, {}, q, {9}, "09 00", "fault diagnosis failed! ret=9"},
        {Fn88SetAutoReport, 88, autoParams, Cat({}, kAutoSent), {0}, "00 00", "88 jsonLen: 45"},
        // Parameters missing from the request are refused before anything is sent.
        {Fn72SetMeshSwitch, 72, {}, {}, {}, "01 00", "function 72 parameters too short! len=10"},
        {Fn76SetMeshRoamingThreshold, 76, {1}, {}, {}, "01 00", "76 parameters too short! len=11"},
        {Fn82SetWanCfg, 82, Bytes(100, 0), {}, {}, "01 00", "82 parameters too short! len=110"},
        {Fn88SetAutoReport, 88, {50, 0, '{'}, {}, {}, "01 00", "88 parameters too short! len=13"},
    };
    uint8_t s = 0;
    for (const RowCase& r : rows) {
        log.Clear();
        Bytes sent;
        size_t sentLen = r.sent.empty() ? 0 : 14 + r.sent.size();
        Bytes out = Row(r.fn, r.id, r.params, sentLen,
                        r.answer.empty() ? Bytes{} : Answer(r.id, r.answer), &sent);
        EXPECT_EQ(out, Hex(r.out)) << r.id << " " << r.out;
        if (!r.sent.empty()) {
            EXPECT_EQ(sent, CompanionFrame(r.id, ++s, r.sent)) << r.id;
        }
        EXPECT_TRUE(log.Contains(r.log)) << r.id << ": " << r.log;
    }
}

// The WAN record goes out with its IPv4 fields (32-bit, from offset 205) reversed.
TEST_F(CommServerTest, WanRecordIpv4FieldsAreReversed) {
    Bytes record(228), sent;
    std::iota(record.begin(), record.end(), 0);
    EXPECT_EQ(Row(Fn82SetWanCfg, 82, record, 14 + 228, Answer(82, {0}), &sent), Hex("00 00"));
    for (size_t at : {205, 209, 213, 217, 221})
        std::reverse(record.begin() + at, record.begin() + at + 4);
    EXPECT_EQ(sent, CompanionFrame(82, 1, record));
}

// While a request waits, a report and an answer to another function ID are handled as what they
// are: neither ends the wait nor touches rxData. A non-zero status hands back no data.
TEST_F(CommServerTest, OnlyTheAnswerToTheAwaitedIdEndsTheWait) {
    Exchange(
        c, [] { ComF_get_mesh_topology(); }, 15, Answer(78, {0, 'A', 'B', 'C'}));
    uint8_t mesh = 0;
    unsigned ret = 99;
    std::thread t([&] { ret = ComF_get_mesh_switch(&mesh); });
    ASSERT_EQ(c.Read(15).size(), 15u);
    for (const Bytes& f : {Answer(89, {3, 1, 2}), Answer(78, {0, 'X'}), Answer(73, {5})})
        ASSERT_TRUE(SendHandled(c, f));
    t.join();
    EXPECT_EQ(ret, 5u);
    EXPECT_EQ(mesh, 0);
    EXPECT_TRUE(log.Contains("Type3 report interval"));
    EXPECT_TRUE(log.Contains("Answer 78 without a request, dropped."));
    uint8_t rx[7];
    CommRxDataCopy(rx, sizeof rx);
    EXPECT_EQ(Bytes(rx, rx + 7), (Bytes{0x05, 0x04, 0x00, 'A', 'B', 'C', 0x00}));
}

TEST_F(CommServerTest, PluginStateAutoReportConfigurationAndCalibration) {
    unsigned ret = 99;
    Bytes sent = Exchange(c, [&] { ret = ComF_send_pluginstate(); }, 14 + kOnline.size(), {});
    EXPECT_EQ(ret, 0u);
    EXPECT_EQ(sent, CompanionFrame(998, 1, Cat({}, kOnline)));
    // The 997 answer's own first byte is the request's status.
    std::string conf = "{\"referNum\":2000,\"interval2\":1440,\"interval3\":30}";
    uint8_t s = 1;
    for (uint8_t status : {0, 6}) {
        sent = Exchange(c, [&] { ret = ComF_get_autoreport_conf(); }, 15,
                        Answer(997, Cat({status}, conf)));
        EXPECT_EQ(sent, CompanionFrame(997, ++s, {0x69}));  // the query byte 'i'
        EXPECT_EQ(ret, status);
        EXPECT_EQ(referNum.load(), status == 0 ? 2000 : -1);
    }
    // Calibration goes out without waiting for an answer.
    Bytes payload = Cat({0}, std::string("{\"referNum\":1000,\"interval1\":1,\"interval2\":0,"
                                         "\"interval3\":0}"));
    Comm_get_88Conf(payload.data(), payload.size());
    intervalFlag2.store(5);  // neither closed nor daily: no midnight-dependent daily time
    std::string expected =
        "{\"interval1\":1,\"interval2\":5,\"interval3\":0,\"dayReportTime\":\"0.000000\","
        "\"cycleReportStart\":\"0.000000\",\"save\":0}";
    sent = Exchange(c, [] { ComF_send_calibration(); }, 14 + expected.size(), {});
    EXPECT_EQ(sent, CompanionFrame(88, ++s, Cat({}, expected)));
}

// Requests wait 10 s, or 60 s for the neighbour list, in ticks of 50 ms capped at 60 s.
TEST_F(CommServerTest, TimeOutsTenAndSixtySeconds) {
    Accelerate(50);  // 10 s in 200 ms, 60 s in 1.2 s
    uint8_t mesh = 0;
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(ComF_get_mesh_switch(&mesh), 1u);
    auto shortWait = std::chrono::steady_clock::now() - t0;
    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(ComF_get_adj_wifi_info(), 1u);
    auto longWait = std::chrono::steady_clock::now() - t0;
    EXPECT_GE(shortWait, std::chrono::milliseconds(190));
    EXPECT_GE(longWait, std::chrono::milliseconds(1190));
}

TEST(RouteWaitTest, TicksOfFiftyMillisecondsCappedAtSixtySeconds) {
    ManualClock clock;
    SetClock(&clock);
    EXPECT_EQ(Route_Wait(0), 0);
    EXPECT_EQ(clock.SleptMs(), 0);
    EXPECT_EQ(Route_Wait(200), -1);
    EXPECT_EQ(clock.SleptMs(), 10000);
    EXPECT_EQ(Route_Wait(5000), -1);
    EXPECT_EQ(clock.SleptMs(), 10000 + 60000);
    SetClock(nullptr);
}

}  // namespace

// Every ComF_ request over the socket: the bytes the agent sends (written by hand), the answer
// the companion gives and what the request hands back.
#include <functional>
#include <string>

#include "CommServerFixture.h"
#include "ipc/AutoReport.h"
#include "ipc/ComF.h"
#include "ipc/CommRequest.h"
#include "platform/Protool.h"

using testsupport::LogCapture;

namespace {

class RequestTest : public CommServerTest {
protected:
    void SetUp() override {
        CommServerTest::SetUp();
        ASSERT_TRUE(Attach(c));
    }
    // Runs `call` while the companion reads `sentLen` bytes and answers with `answer` (no
    // answer when empty). Returns what was sent.
    Bytes Exchange(const std::function<void()>& call, size_t sentLen, const Bytes& answer) {
        std::thread t(call);
        Bytes sent = c.Read(sentLen);
        if (!answer.empty()) c.Send(answer);
        t.join();
        return sent;
    }
    RawCompanion c;
};

// The agent's frame for `id` with sequence `s` and a payload (length and sum worked out here).
Bytes AgentFrame(uint16_t id, uint8_t s, const Bytes& payload) {
    Bytes f = CompanionFrame(id, s, payload);
    return f;
}

struct RequestCase {
    const char* name;
    std::function<unsigned()> call;
    uint16_t id;
    Bytes sentPayload;
    Bytes answerPayload;
    unsigned expected;
};

TEST_F(RequestTest, EveryRequestWithItsFrameAndAnswer) {
    uint8_t band = 0, support = 0, mesh = 0, roaming = 0, pair[2] = {0, 0};
    Bytes wan(228, 0x33);
    std::vector<RequestCase> cases = {
        {"freqband", [&] { return ComF_get_wifi_freqband(2, &band); }, 70, {2}, {0, 5}, 0},
        {"mesh support", [&] { return ComF_get_mesh_support(&support); }, 71, {'i'}, {0, 1}, 0},
        {"set mesh", [] { return ComF_set_mesh_switch(1); }, 72, {1}, {0}, 0},
        {"mesh switch", [&] { return ComF_get_mesh_switch(&mesh); }, 73, {'i'}, {0, 1}, 0},
        {"set roaming", [] { return ComF_set_mesh_roaming_switch(0); }, 74, {0}, {3}, 3},
        {"roaming", [&] { return ComF_get_mesh_roaming_switch(&roaming); }, 75, {'i'}, {0, 1}, 0},
        {"set threshold",
         [] { return ComF_set_mesh_roaming_threshold(2, 70); },
         76,
         {2, 70},
         {0},
         0},
        {"threshold",
         [&] { return ComF_get_mesh_roaming_threshold(pair); },
         77,
         {'i'},
         {0, 4, 80},
         0},
        {"topology", [] { return ComF_get_mesh_topology(); }, 78, {'i'}, {0, 't', 'o', 'p'}, 0},
        {"adj wifi", [] { return ComF_get_adj_wifi_info(); }, 79, {'i'}, {0, 1, 0, 9}, 0},
        {"bssid", [] { return ComF_get_bssid(); }, 80, {'i'}, {0, 1, 2, 3, 4, 5, 6}, 0},
        {"wan", [&] { return ComF_set_wan_cfg(wan.data(), wan.size()); }, 82, wan, {0}, 0},
        {"optimize", [] { return ComF_trig_onekey_optimize(); }, 83, {'i'}, {0}, 0},
        {"diagnosis", [] { return ComF_trig_fault_diagnosis(); }, 85, {'i'}, {2}, 2},
    };
    uint8_t s = 0;
    for (const RequestCase& rc : cases) {
        unsigned ret = 99;
        Bytes sent = Exchange([&] { ret = rc.call(); }, 14 + rc.sentPayload.size(),
                              Answer(rc.id, rc.answerPayload));
        EXPECT_EQ(sent, AgentFrame(rc.id, ++s, rc.sentPayload)) << rc.name;
        EXPECT_EQ(ret, rc.expected) << rc.name;
    }
    EXPECT_EQ(band, 5);
    EXPECT_EQ(support, 1);
    EXPECT_EQ(mesh, 1);
    EXPECT_EQ(roaming, 1);
    EXPECT_EQ(pair[0], 4);
    EXPECT_EQ(pair[1], 80);
}

// While a request waits, a report and an answer to another function ID are handled as what they
// are: neither ends the wait nor touches rxData. A non-zero status hands back no data.
TEST_F(RequestTest, OnlyTheAnswerToTheAwaitedIdEndsTheWait) {
    Exchange([] { ComF_get_mesh_topology(); }, 15, Answer(78, {0, 'A', 'B', 'C'}));
    LogCapture log;
    uint8_t mesh = 0;
    unsigned ret = 99;
    std::thread t([&] { ret = ComF_get_mesh_switch(&mesh); });
    ASSERT_EQ(c.Read(15).size(), 15u);
    for (const Bytes& f : {Answer(89, {3, 1, 2}), Answer(78, {0, 'X'}), Answer(73, {5})}) {
        unsigned long handled = CommHandledElements();
        ASSERT_TRUE(c.Send(f));  // one at a time: two frames in one read would be one element
        ASSERT_TRUE(SpinUntil([&] { return CommHandledElements() > handled; }));
    }
    t.join();
    EXPECT_EQ(ret, 5u);
    EXPECT_EQ(mesh, 0);
    EXPECT_TRUE(log.Contains("Type3 report interval"));
    EXPECT_TRUE(log.Contains("Answer 78 without a request, dropped."));
    EXPECT_FALSE(log.Contains("ERROR: request timeout!"));
    uint8_t rx[7];
    CommRxDataCopy(rx, sizeof rx);
    EXPECT_EQ(Bytes(rx, rx + 7), (Bytes{0x05, 0x04, 0x00, 'A', 'B', 'C', 0x00}));
}

TEST_F(RequestTest, PluginStateAndAutoReportConfiguration) {
    unsigned ret = 99;
    std::string online = "{\"pluginState\":\"online\",\"pluginVersion\":\"2.0.0.7-20221227\"}";
    Bytes state(online.begin(), online.end());
    Bytes sent = Exchange([&] { ret = ComF_send_pluginstate(); }, 14 + state.size(), {});
    EXPECT_EQ(ret, 0u);
    EXPECT_EQ(sent, AgentFrame(998, 1, state));
    // The 997 answer's own first byte is the request's status.
    std::string conf = "{\"referNum\":2000,\"interval2\":1440,\"interval3\":30}";
    uint8_t s = 1;
    for (uint8_t status : {0, 6}) {
        LogCapture log;
        Bytes answer{status};
        answer.insert(answer.end(), conf.begin(), conf.end());
        sent = Exchange([&] { ret = ComF_get_autoreport_conf(); }, 15, Answer(997, answer));
        EXPECT_EQ(sent, QueryFrame(997, ++s));
        EXPECT_EQ(ret, status);
        EXPECT_EQ(referNum.load(), status == 0 ? 2000 : -1);
        EXPECT_TRUE(log.Contains("DEBUG: get auto report config info success."));
    }
}

TEST_F(RequestTest, SetAutoReportSendsTheTextWithItsTimes) {
    std::string json = "{\"referNum\":1000,\"interval2\":0,\"interval3\":0}";
    std::string expected =
        "{\"referNum\":1000,\"interval2\":0,\"interval3\":0,\"serverDiff\":0,"
        "\"dayReportTime\":\"0.000000\",\"cycleReportStart\":\"0.000000\",\"save\":1}";
    unsigned ret = 99;
    Bytes sent = Exchange([&] { ret = ComF_set_auto_report(json.c_str(), json.size()); },
                          14 + expected.size(), Answer(88, {0}));
    EXPECT_EQ(sent, AgentFrame(88, 1, Bytes(expected.begin(), expected.end())));
    EXPECT_EQ(ret, 0u);
}

TEST_F(RequestTest, CalibrationIsSentWithoutWaiting) {
    const uint8_t mac[6] = {0, 0, 0, 0x12, 0x34, 0x56};
    SetRouteMac(mac);
    std::string conf = "{\"referNum\":1000,\"interval1\":1,\"interval2\":0,\"interval3\":0}";
    Bytes payload{0};
    payload.insert(payload.end(), conf.begin(), conf.end());
    Comm_get_88Conf(payload.data(), payload.size());
    intervalFlag2.store(5);  // neither closed nor daily: no midnight-dependent daily time
    LogCapture log;
    std::string expected =
        "{\"interval1\":1,\"interval2\":5,\"interval3\":0,\"dayReportTime\":\"0.000000\","
        "\"cycleReportStart\":\"0.000000\",\"save\":0}";
    Bytes sent = Exchange([] { ComF_send_calibration(); }, 14 + expected.size(), {});
    EXPECT_EQ(sent, AgentFrame(88, 1, Bytes(expected.begin(), expected.end())));
    EXPECT_TRUE(log.Contains("Send calibration success, No need return!"));
}

TEST_F(RequestTest, TimeOutsTenAndSixtySeconds) {
    Accelerate(50);  // 10 s in 200 ms, 60 s in 1.2 s
    LogCapture log;
    uint8_t mesh = 0;
    auto t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(ComF_get_mesh_switch(&mesh), 1u);
    auto shortWait = std::chrono::steady_clock::now() - t0;
    t0 = std::chrono::steady_clock::now();
    EXPECT_EQ(ComF_get_adj_wifi_info(), 1u);
    auto longWait = std::chrono::steady_clock::now() - t0;
    EXPECT_EQ(log.Count("ERROR: request timeout!"), 2u);
    EXPECT_GE(shortWait, std::chrono::milliseconds(190));
    EXPECT_GE(longWait, std::chrono::milliseconds(1190));
}

TEST(RouteWaitTest, TicksOfFiftyMillisecondsCappedAtSixtySeconds) {
    ManualClock clock;
    SetClock(&clock);
    LogCapture log;
    EXPECT_EQ(Route_Wait(0), 0);
    EXPECT_EQ(clock.SleptMs(), 0);
    EXPECT_EQ(Route_Wait(200), -1);
    EXPECT_EQ(clock.SleptMs(), 10000);
    EXPECT_EQ(Route_Wait(5000), -1);
    EXPECT_EQ(clock.SleptMs(), 10000 + 60000);
    SetClock(nullptr);
    EXPECT_EQ(log.Count("ERROR: request timeout!"), 2u);
}

}  // namespace

// Function-table rows 70-80, 82, 83, 85 and 88: the platform request in, the companion exchange,
// the answer out.
#include <functional>

#include "CommServerFixture.h"
#include "functions/CompanionRows.h"

using testsupport::LogCapture;

namespace {

class RowsTest : public CommServerTest {
protected:
    void SetUp() override {
        CommServerTest::SetUp();
        ASSERT_TRUE(Attach(c));
        ans.assign(8192, 0);
    }
    // Request: tag 0x12 0x34, function ID, 6 bytes up to offset 10, then the parameters.
    Bytes Request(uint16_t id, const Bytes& params) {
        Bytes r = {0x12, 0x34, static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8), 0, 0, 0, 0,
                   0,    0};
        r.insert(r.end(), params.begin(), params.end());
        return r;
    }
    // Calls `row` while the companion reads `sentLen` bytes and answers; returns the answer.
    Bytes Run(FnHandler row, const Bytes& req, size_t sentLen, const Bytes& answer,
              Bytes* sent = nullptr) {
        FnCall call{req.data(), req.size(), ans.data(), 0};
        std::thread t([&] { row(call); });
        Bytes got = sentLen ? c.Read(sentLen) : Bytes{};
        if (!answer.empty()) c.Send(answer);
        t.join();
        if (sent) *sent = got;
        return Bytes(ans.begin(), ans.begin() + static_cast<long>(call.ansLen));
    }
    RawCompanion c;
    Bytes ans;
};

TEST_F(RowsTest, OneByteAndTwoByteAnswers) {
    EXPECT_EQ(Run(Fn73GetMeshSwitch, Request(73, {}), 15, Answer(73, {0, 1})),
              (Bytes{0x12, 0x34, 0x49, 0x00, 0x00, 0x00, 0x01}));
    EXPECT_EQ(Run(Fn70GetWifiFreqband, Request(70, {1}), 15, Answer(70, {0, 2})),
              (Bytes{0x12, 0x34, 0x46, 0x00, 0x00, 0x00, 0x02}));
    EXPECT_EQ(Run(Fn71GetMeshSupport, Request(71, {}), 15, Answer(71, {0, 1})),
              (Bytes{0x12, 0x34, 0x47, 0x00, 0x00, 0x00, 0x01}));
    EXPECT_EQ(Run(Fn75GetMeshRoamingSwitch, Request(75, {}), 15, Answer(75, {0, 0})),
              (Bytes{0x12, 0x34, 0x4B, 0x00, 0x00, 0x00, 0x00}));
    LogCapture log;
    EXPECT_EQ(Run(Fn77GetMeshRoamingThreshold, Request(77, {}), 15, Answer(77, {0, 3, 75})),
              (Bytes{0x12, 0x34, 0x4D, 0x00, 0x00, 0x00, 0x03, 0x4B}));
    EXPECT_TRUE(log.Contains("get threshold 3,75"));
}

TEST_F(RowsTest, SettingsAnswerTheCompanionStatus) {
    LogCapture log;
    Bytes sent;
    EXPECT_EQ(Run(Fn72SetMeshSwitch, Request(72, {1}), 15, Answer(72, {0}), &sent),
              (Bytes{0x12, 0x34, 0x48, 0x00, 0x00, 0x00}));
    EXPECT_EQ(sent.back(), 1);
    EXPECT_TRUE(log.Contains("Set mesh switch=1"));
    EXPECT_EQ(Run(Fn74SetMeshRoamingSwitch, Request(74, {0}), 15, Answer(74, {4})),
              (Bytes{0x12, 0x34, 0x4A, 0x00, 0x04, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: set mesh roaming switch failed! ret=4"));
    EXPECT_EQ(Run(Fn76SetMeshRoamingThreshold, Request(76, {1, 60}), 16, Answer(76, {0}), &sent),
              (Bytes{0x12, 0x34, 0x4C, 0x00, 0x00, 0x00}));
    EXPECT_EQ(Bytes(sent.end() - 2, sent.end()), (Bytes{1, 60}));
    EXPECT_TRUE(log.Contains("Set mesh roaming index=1, threshold=60"));
    EXPECT_EQ(Run(Fn83TrigOnekeyOptimize, Request(83, {}), 15, Answer(83, {0})),
              (Bytes{0x12, 0x34, 0x53, 0x00, 0x00, 0x00}));
    EXPECT_EQ(Run(Fn85TrigFaultDiagnosis, Request(85, {}), 15, Answer(85, {9})),
              (Bytes{0x12, 0x34, 0x55, 0x00, 0x09, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: trigger fault diagnosis failed! ret=9"));
}

TEST_F(RowsTest, DataRowsCarryLengthAndBytes) {
    EXPECT_EQ(Run(Fn78GetMeshTopology, Request(78, {}), 15, Answer(78, {0, 'a', 'b', 'c'})),
              (Bytes{0x12, 0x34, 0x4E, 0x00, 0x00, 0x00, 0x03, 0x00, 'a', 'b', 'c'}));
    EXPECT_EQ(Run(Fn80GetBssid, Request(80, {}), 15, Answer(80, {0, 1, 2, 3, 4, 5, 6})),
              (Bytes{0x12, 0x34, 0x50, 0x00, 0x00, 0x00, 0x06, 0x00, 1, 2, 3, 4, 5, 6}));
    EXPECT_EQ(Run(Fn79GetAdjWifiInfo, Request(79, {}), 15, Answer(79, {0, 1, 0, 7})),
              (Bytes{0x12, 0x34, 0x4F, 0x00, 0x00, 0x00, 0x03, 0x00, 1, 0, 7}));
    LogCapture log;
    EXPECT_EQ(Run(Fn79GetAdjWifiInfo, Request(79, {}), 15, Answer(79, {0, 1})),
              (Bytes{0x12, 0x34, 0x4F, 0x00, 0x01, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: Data length is too short! len=1"));
    EXPECT_EQ(Run(Fn80GetBssid, Request(80, {}), 15, Answer(80, {0, 1, 2})),
              (Bytes{0x12, 0x34, 0x50, 0x00, 0x01, 0x00}));
    EXPECT_EQ(Run(Fn78GetMeshTopology, Request(78, {}), 15, Answer(78, {6})),
              (Bytes{0x12, 0x34, 0x4E, 0x00, 0x06, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: get mesh topology failed! ret=6"));
}

TEST_F(RowsTest, WanRecordIpv4FieldsAreReversed) {
    Bytes record(228);
    for (size_t i = 0; i < record.size(); ++i)
        record[i] = static_cast<uint8_t>(i);
    Bytes sent;
    EXPECT_EQ(Run(Fn82SetWanCfg, Request(82, record), 14 + 228, Answer(82, {0}), &sent),
              (Bytes{0x12, 0x34, 0x52, 0x00, 0x00, 0x00}));
    ASSERT_EQ(sent.size(), 242u);
    const uint8_t* rec = sent.data() + 14;
    EXPECT_EQ(Bytes(rec, rec + 8), (Bytes{0, 1, 2, 3, 4, 5, 6, 7}));
    EXPECT_EQ(Bytes(rec + 205, rec + 213), (Bytes{208, 207, 206, 205, 212, 211, 210, 209}));
    EXPECT_EQ(Bytes(rec + 221, rec + 228), (Bytes{224, 223, 222, 221, 225, 226, 227}));
}

TEST_F(RowsTest, AutoReportRowAndShortRequests) {
    std::string json = "{\"referNum\":1000,\"interval2\":0,\"interval3\":0}";
    Bytes params = {static_cast<uint8_t>(json.size()), 0};
    params.insert(params.end(), json.begin(), json.end());
    LogCapture log;
    size_t sentLen = 14 + json.size() - 1 +
                     std::string(
                         ",\"serverDiff\":0,\"dayReportTime\":\"0.000000\","
                         "\"cycleReportStart\":\"0.000000\",\"save\":1}")
                         .size();
    EXPECT_EQ(Run(Fn88SetAutoReport, Request(88, params), sentLen, Answer(88, {0})),
              (Bytes{0x12, 0x34, 0x58, 0x00, 0x00, 0x00}));
    EXPECT_TRUE(log.Contains("88 jsonLen: " + std::to_string(json.size())));
    // Parameters missing from the request are refused before anything is sent.
    EXPECT_EQ(Run(Fn72SetMeshSwitch, Request(72, {}), 0, {}),
              (Bytes{0x12, 0x34, 0x48, 0x00, 0x01, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: function 72 parameters too short! len=10"));
    EXPECT_EQ(Run(Fn88SetAutoReport, Request(88, {50, 0, '{'}), 0, {}),
              (Bytes{0x12, 0x34, 0x58, 0x00, 0x01, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: function 88 parameters too short! len=13"));
    EXPECT_EQ(Run(Fn82SetWanCfg, Request(82, Bytes(100, 0)), 0, {}),
              (Bytes{0x12, 0x34, 0x52, 0x00, 0x01, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: function 82 parameters too short! len=110"));
    EXPECT_EQ(Run(Fn76SetMeshRoamingThreshold, Request(76, {1}), 0, {}),
              (Bytes{0x12, 0x34, 0x4C, 0x00, 0x01, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: function 76 parameters too short! len=11"));
}

TEST_F(RowsTest, NoCompanionAnswersCodeOne) {
    ASSERT_TRUE(Detach(c));
    LogCapture log;
    EXPECT_EQ(Run(Fn73GetMeshSwitch, Request(73, {}), 0, {}),
              (Bytes{0x12, 0x34, 0x49, 0x00, 0x01, 0x00}));
    EXPECT_TRUE(log.Contains("ERROR: get mesh switch failed! ret=1"));
}

}  // namespace

// How the agent answers each kind of platform request, end to end. Function calls use IDs
// that no function table handles (89 and up), so these cases hold whatever the table grows to.
#include "AgentHarness.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"

namespace e2e {
namespace {

using psim::Bytes;

constexpr double kScale = 10;
constexpr int kReplyWaitMs = 5000;

class ReplyRules : public ::testing::Test {
protected:
    void SetUp() override {
        psim::SimSettings s;
        s.interval = 20;
        sim = StartSim(s);
        agent.Start(ConfigFor(*sim, kScale));
        ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();
        sim->AgentMac(mac);
    }

    // Replies to whatever is sent by `send`: waits for `n` of them (and a little longer for
    // any unexpected extra one when `settleMs` > 0).
    std::vector<Reply> Exchange(const std::function<void()>& send, size_t n, int settleMs = 0) {
        size_t mark = EventCount(*sim);
        send();
        EXPECT_TRUE(WaitReplies(*sim, mark, n, kReplyWaitMs)) << agent.Log();
        if (settleMs > 0) WaitReplies(*sim, mark, n + 1, settleMs);
        return RepliesAfter(*sim, mark);
    }

    std::unique_ptr<psim::PlatformSim> sim;
    AgentRun agent;
    uint8_t mac[6] = {0};
};

Bytes Text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

TEST_F(ReplyRules, UnknownFunctionAnswersCode7ThenParserError) {
    auto replies = Exchange([&] { sim->Call(89, {0x01, 0x00, 0x01}); }, 2);
    ASSERT_EQ(replies.size(), 2u);
    EXPECT_EQ(replies[0].msgType, 26);
    EXPECT_EQ(replies[0].code, 0);
    ASSERT_EQ(replies[0].data.size(), 6u);
    EXPECT_EQ(GetField16(&replies[0].data[2]), 89);
    EXPECT_EQ(GetField16(&replies[0].data[4]), 7);
    EXPECT_EQ(replies[1].msgType, 26);
    EXPECT_EQ(replies[1].code, 0xFFFF);
    EXPECT_EQ(replies[1].data, Text("parser error"));
}

TEST_F(ReplyRules, FunctionIdZeroGivesOnlyParserError) {
    auto replies = Exchange([&] { sim->Call(0, {}); }, 1, 300);
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(replies[0].code, 0xFFFF);
    EXPECT_EQ(replies[0].data, Text("parser error"));
}

TEST_F(ReplyRules, LengthFieldUpToNineGetsLengthError) {
    for (size_t len : {0u, 1u, 9u}) {
        Bytes payload = psim::FunctionCallPayload(7, 89, {});
        payload.resize(len);
        Bytes body = psim::FunctionCallBody(5, mac, payload);
        auto replies = Exchange([&] { sim->SendFrame(20, 0, {}, body); }, 1, 300);
        ASSERT_EQ(replies.size(), 1u) << "length " << len;
        EXPECT_EQ(replies[0].msgType, 26);
        EXPECT_EQ(replies[0].code, 0);
        EXPECT_EQ(replies[0].dataType, 5);
        EXPECT_EQ(replies[0].data, Text("length error"));
    }
}

struct ChecksumCase {
    uint8_t msgType;
    uint8_t replyType;
};

class ChecksumMismatch : public ReplyRules, public ::testing::WithParamInterface<ChecksumCase> {};

TEST_P(ChecksumMismatch, RepliesCode11WithoutData) {
    Bytes body = GetParam().msgType == 20
                     ? psim::FunctionCallBody(0, mac, psim::FunctionCallPayload(3, 89, {}))
                     : psim::PlugDataBody(7, "{\"x\":1}");
    uint8_t good = psim::FrameChecksum(32, {}, body);
    size_t mark = EventCount(*sim);
    auto replies =
        Exchange([&] { sim->SendFrame(GetParam().msgType, 0, {}, body, good ^ 0x55); }, 1, 300);
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(replies[0].msgType, GetParam().replyType);
    EXPECT_EQ(replies[0].code, 11);
    EXPECT_TRUE(replies[0].data.empty());
    auto ev = sim->Events();
    for (size_t i = mark; i < ev.size(); ++i)
        if (ev[i].isRxFrame && ev[i].frame.raw.MsgType() == GetParam().replyType) {
            EXPECT_TRUE(ev[i].frame.raw.data.empty());  // no data block at all
            EXPECT_EQ(ev[i].frame.raw.checksum, 11);
        }
}

INSTANTIATE_TEST_SUITE_P(Types, ChecksumMismatch,
                         ::testing::Values(ChecksumCase{20, 26}, ChecksumCase{18, 25}));

TEST_F(ReplyRules, PlugDataWithChecksumRepliesItsResult) {
    auto replies = Exchange([&] { sim->Plug(18, 7, "{\"x\":1}"); }, 1);
    ASSERT_EQ(replies.size(), 1u);
    EXPECT_EQ(replies[0].msgType, 25);
    EXPECT_EQ(replies[0].dataType, 7);
    std::string expected = "{\"result\":" + std::to_string(int16_t(replies[0].code)) + "}";
    EXPECT_EQ(std::string(replies[0].data.begin(), replies[0].data.end()), expected);
}

TEST_F(ReplyRules, CiphertextStartingFFFFEndsTheSession) {
    const int conn = sim->RxFrames(10).back().conn;
    Bytes cipher(16, 0x11);
    cipher[0] = cipher[1] = 0xFF;
    sim->SendRaw(psim::BuildRawFrame(20, 0, {}, cipher, 0));
    ASSERT_TRUE(
        sim->WaitForLine("CLOSE conn=" + std::to_string(conn) + " srv=login by=peer", 1, 10000))
        << agent.Log();
    EXPECT_TRUE(agent.WaitLog("net error reconnect", 1000));
    EXPECT_TRUE(agent.WaitStatus("103", 5000));
    EXPECT_TRUE(sim->WaitForLine("type=10 ", 2, RealMs(40, kScale) + 5000));  // re-login
}

TEST_F(ReplyRules, Type25LengthFieldAbove1018IsDropped) {
    size_t mark = EventCount(*sim);
    size_t logMark = agent.CountLog("frame dropped");
    sim->Plug(25, 7, "{\"x\":1}", 1019);
    EXPECT_TRUE(agent.WaitLog("length field 1019 above 1018, frame dropped", 5000, 1))
        << agent.Log();
    EXPECT_GT(agent.CountLog("frame dropped"), logMark);
    // Type 25 is never answered, and the session goes on.
    auto replies = Exchange([&] { sim->Call(90, {}); }, 2);
    EXPECT_EQ(RepliesAfter(*sim, mark).size(), 2u);
    EXPECT_TRUE(agent.Running());
}

TEST_F(ReplyRules, Type11AfterLoginChangesNothing) {
    size_t logins = agent.CountLog("login ack");
    size_t regs = agent.CountLog("regist ack");
    auto hb = sim->RxFrames(1).size();
    // A login answer with another interval, and a register answer naming another server.
    sim->SendFrame(11, 0, psim::ErrorCodeOpt(0), psim::LoginAnswerBody(100));
    sim->SendFrame(11, 0, psim::ErrorCodeOpt(0),
                   psim::RegisterAnswerBody("OTHER", "127.0.0.9", 2222, "X"));
    // The frames were taken (a function call sent behind them is answered) and ignored.
    auto replies = Exchange([&] { sim->Call(91, {}); }, 2);
    EXPECT_EQ(agent.CountLog("login ack"), logins);
    EXPECT_EQ(agent.CountLog("regist ack"), regs);
    EXPECT_EQ(agent.Status(), "003\n");
    // Heartbeats keep the 20-s period of the real login answer.
    ASSERT_TRUE(testsupport::WaitUntil([&] { return sim->RxFrames(1).size() >= hb + 2; },
                                       std::chrono::milliseconds(RealMs(60, kScale) + 5000)));
    auto frames = sim->RxFrames(1);
    uint32_t a = GetField32(frames[frames.size() - 2].frame.raw.opt.data());
    uint32_t b = GetField32(frames.back().frame.raw.opt.data());
    EXPECT_LE(b - a, 22u);
}

}  // namespace
}  // namespace e2e

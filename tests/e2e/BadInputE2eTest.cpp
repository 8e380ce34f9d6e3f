// Garbage from the platform: the agent survives it and the session goes on.
#include <random>

#include "AgentHarness.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"

namespace e2e {
namespace {

using psim::Bytes;

constexpr double kScale = 10;

class BadInput : public ::testing::Test {
protected:
    void SetUp() override {
        psim::SimSettings s;
        s.interval = 20;
        sim = StartSim(s);
        agent.Start(ConfigFor(*sim, kScale));
        ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();
        conn = sim->RxFrames(10).back().conn;
        sim->AgentMac(mac);
    }

    void TearDown() override {
        // Same connection all along (unless the case allows a new login), agent still running.
        if (!allowRelogin) {
            EXPECT_EQ(sim->Count("CLOSE conn=" + std::to_string(conn)), 0u);
        }
        EXPECT_TRUE(agent.Running());
    }

    Bytes CallFrame(uint16_t tag, uint16_t fid) {
        Bytes body = psim::FunctionCallBody(0, mac, psim::FunctionCallPayload(tag, fid, {}));
        return psim::BuildFrame(kKey, 20, 0, {}, body);
    }

    // True when a function answer with `tag` arrived after event `from` within `ms`.
    bool Answered(size_t from, uint16_t tag, int ms) {
        return sim->WaitFor(
            [&](const std::vector<psim::SimEvent>& ev) {
                Reply r;
                for (size_t i = from; i < ev.size(); ++i)
                    if (ParseReply(ev[i], &r) && r.data.size() >= 6 &&
                        GetField16(r.data.data()) == tag)
                        return true;
                return false;
            },
            ms);
    }

    // Frames of the ignored type 31, about `total` bytes in all. Sent after garbage they
    // complete any frame whose header the garbage left in the agent's queue, and unlike plain
    // filler bytes they always carry a magic, which is what lets the queue move on.
    static Bytes PadFrames(size_t total) {
        Bytes out;
        while (out.size() < total) {
            Bytes f = psim::BuildRawFrame(31, 0, {}, Bytes(1000, 0), 0);
            out.insert(out.end(), f.begin(), f.end());
        }
        return out;
    }

    // Pads, then sends a function call; repeats until one is answered. With allowRelogin, a
    // session that the garbage ended is followed into its new login.
    bool SessionGoesOn() {
        size_t logins = sim->RxFrames(10).size();
        for (uint16_t tag = 500; tag < 510; ++tag) {
            if (allowRelogin && sim->RxFrames(10).size() > logins && !WaitLoggedInAgain(logins))
                continue;
            size_t mark = EventCount(*sim);
            sim->SendRaw(PadFrames(7 + 255 + 65535));
            sim->SendRaw(CallFrame(tag, 89));
            if (Answered(mark, tag, 3000)) return true;
        }
        return false;
    }

    bool WaitLoggedInAgain(size_t loginsBefore) {
        return sim->WaitFor(
            [&](const std::vector<psim::SimEvent>& ev) {
                size_t logins = 0;
                for (const auto& e : ev) {
                    if (e.isRxFrame && e.frame.raw.MsgType() == 10) ++logins;
                    if (logins > loginsBefore && e.isRxFrame && e.frame.raw.MsgType() == 1)
                        return true;
                }
                return false;
            },
            RealMs(60, kScale));
    }

    bool allowRelogin = false;
    std::unique_ptr<psim::PlatformSim> sim;
    AgentRun agent;
    int conn = 0;
    uint8_t mac[6] = {0};
};

TEST_F(BadInput, MegabyteOfRandomBytes) {
    // The receive queue keeps bytes without a frame magic until a frame arrives behind them,
    // and drops what does not fit: when the agent falls behind, a long stretch of random bytes
    // can fill it, every later byte is dropped, and only the heartbeat check ends that session.
    // Either way the agent lives on and answers again, on this connection or after a new login.
    allowRelogin = true;
    sim->SendJunk(1 << 20);
    EXPECT_TRUE(SessionGoesOn()) << agent.Log().substr(0, 4000);
    if (sim->Count("CLOSE conn=" + std::to_string(conn)) > 0) {
        EXPECT_TRUE(agent.WaitLog("heart beep error", 1000)) << "session ended another way";
    }
}

TEST_F(BadInput, JunkBeforeTheMagicIsDiscardedWithTheFrame) {
    std::mt19937 rng(7);
    Bytes junk = psim::JunkBytes(300, rng);
    for (size_t i = 0; i + 1 < junk.size(); ++i)
        if (junk[i] == 0xCC) junk[i] = 0;  // no magic at all in front
    Bytes frame = CallFrame(42, 89);
    junk.insert(junk.end(), frame.begin(), frame.end());
    size_t mark = EventCount(*sim);
    sim->SendRaw(junk);
    EXPECT_TRUE(Answered(mark, 42, 5000)) << agent.Log();
}

TEST_F(BadInput, FrameSplitAcrossWritesIsHandledOnceComplete) {
    Bytes frame = CallFrame(43, 89);
    size_t mark = EventCount(*sim);
    sim->SendRaw(Bytes(frame.begin(), frame.begin() + 5));
    EXPECT_FALSE(Answered(mark, 43, 300));
    sim->SendRaw(Bytes(frame.begin() + 5, frame.begin() + 20));
    EXPECT_FALSE(Answered(mark, 43, 300));
    sim->SendRaw(Bytes(frame.begin() + 20, frame.end()));
    EXPECT_TRUE(Answered(mark, 43, 5000)) << agent.Log();
}

TEST_F(BadInput, TruncatedFrameThenTheSessionGoesOn) {
    Bytes frame = CallFrame(44, 89);
    frame.resize(frame.size() - 10);  // never completed by its own bytes
    sim->SendRaw(frame);
    EXPECT_TRUE(SessionGoesOn()) << agent.Log();
}

struct OversizeCase {
    uint8_t msgType;
    uint8_t optLen;
    uint16_t dataLen;
};

class Oversize : public BadInput, public ::testing::WithParamInterface<OversizeCase> {};

TEST_P(Oversize, FrameIsDroppedAndTheSessionGoesOn) {
    std::mt19937 rng(11);
    Bytes opt = psim::JunkBytes(GetParam().optLen, rng);
    Bytes data = psim::JunkBytes(GetParam().dataLen, rng);
    for (auto& b : data)
        if (b == 0xCC) b = 0;
    for (auto& b : opt)
        if (b == 0xCC) b = 0;
    size_t mark = EventCount(*sim);
    sim->SendRaw(psim::BuildRawFrame(GetParam().msgType, 0, opt, data, 0));
    sim->SendRaw(CallFrame(45, 89));
    EXPECT_TRUE(Answered(mark, 45, 5000)) << agent.Log();
}

INSTANTIATE_TEST_SUITE_P(Sizes, Oversize,
                         ::testing::Values(OversizeCase{20, 255, 65535}, OversizeCase{20, 0, 8193},
                                           OversizeCase{18, 255, 9000},
                                           OversizeCase{25, 200, 16000}));

}  // namespace
}  // namespace e2e

// A megabyte of garbage from the platform against the real binary: the agent survives it and
// answers again. What the queue and the frame handler do with each kind of bad frame is proven
// by the platform unit tests; this run proves the binary as built holds together.
#include "AgentHarness.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"

namespace e2e {
namespace {

using psim::Bytes;

constexpr double kScale = 10;

class BadInputE2e : public ::testing::Test {
protected:
    void SetUp() override {
        psim::SimSettings s;
        s.interval = 20;
        sim = StartSim(s);
        agent.Start(ConfigFor(*sim, kScale));
        ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();
        sim->AgentMac(mac);
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
                        GetLe16(r.data.data()) == tag)
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

    // Pads, then sends a function call; repeats until one is answered. A session that the
    // garbage ended is followed into its new login.
    bool SessionGoesOn() {
        size_t logins = sim->RxFrames(10).size();
        for (uint16_t tag = 500; tag < 510; ++tag) {
            if (sim->RxFrames(10).size() > logins && !WaitLoggedInAgain(logins)) continue;
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

    std::unique_ptr<psim::PlatformSim> sim;
    AgentRun agent;
    uint8_t mac[6] = {0};
};

TEST_F(BadInputE2e, MegabyteOfRandomBytes) {
    // The receive queue keeps bytes without a frame magic until a frame arrives behind them,
    // and drops what does not fit: when the agent falls behind, a long stretch of random bytes
    // can fill it, every later byte is dropped, and only the heartbeat check ends that session.
    // Either way the agent lives on and answers again, on this connection or after a new login.
    const int conn = sim->RxFrames(10).back().conn;
    sim->SendJunk(1 << 20);
    EXPECT_TRUE(SessionGoesOn()) << agent.Log().substr(0, 4000);
    if (sim->Count("CLOSE conn=" + std::to_string(conn)) > 0) {
        EXPECT_TRUE(agent.WaitLog("heart beep error", 1000)) << "session ended another way";
    }
    EXPECT_TRUE(agent.Running());
}

}  // namespace
}  // namespace e2e

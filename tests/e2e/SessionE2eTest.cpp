// Registration, login, heartbeats and the ends of a session, seen from the platform's side.
#include <cstring>

#include "AgentHarness.h"
#include "core/ByteOrder.h"

namespace e2e {
namespace {

using psim::Bytes;
using psim::SimEvent;

Bytes Text(const std::string& s) {
    return Bytes(s.begin(), s.end());
}

Bytes Cat(std::initializer_list<Bytes> parts) {
    Bytes out;
    for (const auto& p : parts)
        out.insert(out.end(), p.begin(), p.end());
    return out;
}

const Bytes kMacBytes = {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6};

// Heartbeat times (their option block) received on connection `conn` (0: any).
std::vector<uint32_t> HeartbeatTimes(const psim::PlatformSim& sim, int conn = 0) {
    std::vector<uint32_t> out;
    for (const auto& e : sim.RxFrames(1))
        if ((conn == 0 || e.conn == conn) && e.frame.raw.opt.size() == 4)
            out.push_back(GetLe32(e.frame.raw.opt.data()));
    return out;
}

// Records every distinct content of the status file until `last` is seen.
std::vector<std::string> StatusSequence(const AgentRun& agent, const std::string& last,
                                        int timeoutMs) {
    std::vector<std::string> seen;
    testsupport::WaitUntil(
        [&] {
            std::string s = agent.Status();
            if (!s.empty() && (seen.empty() || seen.back() != s)) seen.push_back(s);
            return s == last;
        },
        std::chrono::milliseconds(timeoutMs));
    return seen;
}

TEST(SessionE2e, RegisterLoginRulesRequestAndHeartbeats) {
    const double scale = 10;
    psim::SimSettings s;
    s.interval = 5;  // below 20: the agent beats every 20 s
    // Answers come late enough for every status to be seen, well inside the 10-s waits.
    s.reg.delayMs = RealMs(3, scale);
    s.login.delayMs = RealMs(3, scale);
    auto sim = StartSim(s);
    AgentRun agent;
    agent.Start(ConfigFor(*sim, scale));

    auto seq = StatusSequence(agent, "003\n", 20000);
    EXPECT_EQ(seq, (std::vector<std::string>{"001\n", "002\n", "003\n"}));
    ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();

    // Register frame, byte by byte.
    auto regs = sim->RxFrames(9);
    ASSERT_EQ(regs.size(), 1u);
    const auto& reg = regs[0].frame;
    EXPECT_EQ(regs[0].server, psim::Listener::kReg);
    EXPECT_EQ(reg.raw.typeByte, 0x29);  // type 9, request flag 1
    EXPECT_EQ(reg.raw.opt, Cat({Bytes(3, 0), Text(kPin)}));
    EXPECT_EQ(reg.plain, Cat({Bytes{0, 0, 15}, Text(kSdkSerial), kMacBytes, Bytes(32, 0)}));
    EXPECT_EQ(reg.raw.data.size(), 64u);
    EXPECT_TRUE(reg.checksumOk);

    // Login frame, byte by byte, on the login server named by the register answer.
    auto logins = sim->RxFrames(10);
    ASSERT_EQ(logins.size(), 1u);
    const auto& login = logins[0].frame;
    EXPECT_EQ(logins[0].server, psim::Listener::kLogin);
    EXPECT_EQ(login.raw.typeByte, 0x2A);
    Bytes token = Text(s.token);
    token.resize(32, 0);
    EXPECT_EQ(login.raw.opt, Cat({Text(kPin), token}));
    EXPECT_EQ(login.plain, Cat({Bytes(19, 0), Bytes{2, 0, 0, 7, 1, 0x36}}));
    EXPECT_EQ(login.raw.data.size(), 32u);
    EXPECT_TRUE(login.checksumOk);
    // The registration connection was closed by the agent after the answer.
    EXPECT_EQ(sim->Count("CLOSE conn=" + std::to_string(regs[0].conn) + " srv=reg by=peer"), 1u);

    // The rules request follows the login on the login connection.
    auto uploads = sim->RxFrames(17);
    ASSERT_GE(uploads.size(), 1u);
    EXPECT_EQ(uploads[0].conn, logins[0].conn);
    EXPECT_EQ(uploads[0].frame.raw.typeByte, 0x31);  // type 17, request flag 1
    EXPECT_EQ(uploads[0].frame.plain,
              Cat({Bytes{0, 0, 13, 22, 0}, Text("{\"MAC\":\"A1B2C3D4E5F6\"}")}));

    // Heartbeats every 20 s of agent time, each stamped with the agent's clock.
    ASSERT_TRUE(sim->WaitFor(
        [](const std::vector<SimEvent>& ev) {
            size_t n = 0;
            for (const auto& e : ev)
                n += e.isRxFrame && e.frame.raw.MsgType() == 1;
            return n >= 4;
        },
        RealMs(100, scale)));
    auto times = HeartbeatTimes(*sim);
    for (size_t i = 1; i < times.size(); ++i) {
        EXPECT_GE(times[i] - times[i - 1], 20u);
        EXPECT_LE(times[i] - times[i - 1], 22u);
    }
    EXPECT_EQ(agent.Status(), "003\n");
#ifdef PLUG_SDK_DEFAULT_STATE_FILE
    // The serial number came from the router SDK; the MAC from -m, without asking the SDK.
    std::string calls = testsupport::ReadFile(agent.dir().File("sdk-calls.log"));
    EXPECT_NE(calls.find("get_router_sn\n"), std::string::npos) << calls;
    EXPECT_EQ(calls.find("get_router_mac"), std::string::npos) << calls;
#endif
}

// Events after index `from` that are received frames of `type`.
std::vector<SimEvent> FramesAfter(const psim::PlatformSim& sim, size_t from, uint8_t type) {
    auto ev = sim.Events();
    std::vector<SimEvent> out;
    for (size_t i = from; i < ev.size(); ++i)
        if (ev[i].isRxFrame && ev[i].frame.raw.MsgType() == type) out.push_back(ev[i]);
    return out;
}

bool WaitFrameAfter(const psim::PlatformSim& sim, size_t from, uint8_t type, int timeoutMs) {
    return sim.WaitFor(
        [&](const std::vector<SimEvent>& ev) {
            for (size_t i = from; i < ev.size(); ++i)
                if (ev[i].isRxFrame && ev[i].frame.raw.MsgType() == type) return true;
            return false;
        },
        timeoutMs);
}

TEST(SessionE2e, PlatformClosesThenReLoginAfterThePauseWithTheSameToken) {
    const double scale = 10;
    psim::SimSettings s;
    s.interval = 20;
    auto sim = StartSim(s);
    AgentRun agent;
    agent.Start(ConfigFor(*sim, scale));
    ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();
    const auto firstLogin = sim->RxFrames(10).at(0);

    size_t mark = EventCount(*sim);
    sim->Drop();
    ASSERT_TRUE(agent.WaitStatus("103", 10000)) << agent.Log();
    ASSERT_TRUE(WaitFrameAfter(*sim, mark, 10, RealMs(40, scale) + 5000)) << agent.Log();
    auto relogin = FramesAfter(*sim, mark, 10).at(0);
    auto closeEvents = sim->Events();
    int64_t closedAt = closeEvents.at(mark).realMs;
    // The 20-s pause between the end of the session and the new login.
    EXPECT_GE(relogin.realMs - closedAt, RealMs(20, scale) * 9 / 10);
    EXPECT_EQ(relogin.server, psim::Listener::kLogin);
    EXPECT_EQ(relogin.frame.raw.opt, firstLogin.frame.raw.opt);  // same PIN and token
    EXPECT_TRUE(FramesAfter(*sim, mark, 9).empty()) << "registered again instead of re-login";
    EXPECT_TRUE(agent.WaitStatus("003", 10000));
    EXPECT_TRUE(agent.WaitLog("ReLogin...", 1000));
    EXPECT_TRUE(WaitFrameAfter(*sim, mark, 1, RealMs(30, scale) + 5000)) << "no heartbeat";
}

// The session reports the forced disconnect to the supervision loop, and the entry exits.
TEST(SessionE2e, ForcedDisconnectExitsWithStatus005) {
    auto sim = StartSim();
    AgentRun agent;
    agent.Start(ConfigFor(*sim, 10));
    ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();
    sim->Disconnect();
    int status = -1;
    ASSERT_TRUE(agent.WaitExit(10000, &status));
    EXPECT_EQ(status, 255) << agent.Log();
    EXPECT_EQ(agent.Status(), "005\n");
    EXPECT_TRUE(agent.WaitLog("force disconnect exit !!!!!", 1000));
}

}  // namespace
}  // namespace e2e

// The agent binary's session as the platform sees it: its configuration and the SDK on the
// wire, the status file, heartbeats on the agent's clock, and the exits with their status codes.
// Frame layouts, re-login and the supervision rules are proven in-process by the platform and
// core tests.
#include <unistd.h>

#include "AgentHarness.h"
#include "core/ByteOrder.h"

namespace e2e {
namespace {

using testsupport::Cat;

TEST(SessionE2e, RegisterLoginRulesRequestHeartbeatsThenForcedDisconnect) {
    const double scale = 10;
    psim::SimSettings s;
    s.interval = 5;  // below 20: the agent beats every 20 s
    // Answers come late enough for every status to be seen, well inside the 10-s waits.
    s.reg.delayMs = RealMs(3, scale);
    s.login.delayMs = RealMs(3, scale);
    auto sim = StartSim(s);
    AgentRun agent;
    agent.Start(sim->RegPort(), scale);
    std::vector<std::string> statuses;
    testsupport::WaitUntil(
        [&] {
            std::string st = agent.Status();
            if (!st.empty() && (statuses.empty() || statuses.back() != st)) statuses.push_back(st);
            return st == "003\n";
        },
        std::chrono::seconds(20));
    EXPECT_EQ(statuses, (std::vector<std::string>{"001\n", "002\n", "003\n"}));
    ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();

    // PIN from plug.conf, serial number from the SDK, MAC from -m, token from the answer.
    const std::string zeros(32, '\0');
    auto reg = sim->RxFrames(9).at(0).frame;
    EXPECT_EQ(reg.raw.typeByte, 0x29);
    EXPECT_EQ(reg.raw.opt, Cat({0, 0, 0}, kPin));
    EXPECT_EQ(reg.plain, Cat({0, 0, 15}, kSdkSerial, "\xA1\xB2\xC3\xD4\xE5\xF6", zeros));
    auto login = sim->RxFrames(10).at(0);
    EXPECT_EQ(login.server, psim::Listener::kLogin);
    EXPECT_EQ(login.frame.raw.opt, Cat({}, kPin, s.token, zeros.substr(s.token.size())));
    auto rules = sim->RxFrames(17).at(0);
    EXPECT_EQ(rules.conn, login.conn);
    EXPECT_EQ(rules.frame.plain, Cat({0, 0, 13, 22, 0}, "{\"MAC\":\"A1B2C3D4E5F6\"}"));

    // Heartbeats every 20 s of agent time, each stamped with the agent's clock.
    ASSERT_TRUE(sim->WaitForLine("type=1 ", 4, RealMs(100, scale))) << agent.Log();
    auto beats = sim->RxFrames(1);
    for (size_t i = 1; i < beats.size(); ++i) {
        uint32_t gap =
            GetLe32(beats[i].frame.raw.opt.data()) - GetLe32(beats[i - 1].frame.raw.opt.data());
        EXPECT_GE(gap, 20u);
        EXPECT_LE(gap, 22u);
    }
#ifdef PLUG_SDK_DEFAULT_STATE_FILE
    std::string calls = testsupport::ReadFile(agent.dir().File("sdk-calls.log"));
    EXPECT_NE(calls.find("get_router_sn\n"), std::string::npos) << calls;
    EXPECT_EQ(calls.find("get_router_mac"), std::string::npos) << calls;
#endif
    sim->Disconnect();  // forced by the platform
    int status = -1;
    ASSERT_TRUE(agent.WaitExit(10000, &status));
    EXPECT_EQ(status, 255) << agent.Log();
    EXPECT_EQ(agent.Status(), "005\n");
}

TEST(SessionE2e, NothingListensTwelveFailedCyclesExitWith102) {
    // A loopback port that refuses connections: bound, not listening.
    int port = 0, fd = testsupport::BindLoopback(&port, false);
    AgentRun agent;
    agent.Start(port);
    int status = -1;
    bool exited = agent.WaitExit(60000, &status);
    close(fd);
    ASSERT_TRUE(exited) << agent.Log();
    EXPECT_EQ(status, 255);
    EXPECT_EQ(agent.Status(), "102\n");
    EXPECT_EQ(agent.CountLog("RegisterStart error."), 11u);
    EXPECT_EQ(agent.CountLog("Register retry more than 10 times, exit !!!"), 1u);
}

}  // namespace
}  // namespace e2e

// Function calls through the agent binary's wiring: the platform simulator sends them from
// readable arguments and prints the answers decoded; the agent answers from the simulated
// router, from the companion, or from a real ping of 127.0.0.1. Each function's rows are proven
// by the functions tests.
#include <atomic>
#include <cstdio>
#include <thread>

#include "AgentHarness.h"
#include "CompanionSim.h"
#include "SimCommand.h"

namespace e2e {
namespace {

constexpr int kWaitMs = 20000;

class FunctionCalls : public ::testing::Test {
protected:
    void SetUp() override {
        psim::SimSettings s;
        s.interval = 20;
        s.decode = 1;
        sim = StartSim(s);
        agent.Start(ConfigFor(*sim, 10));
        ASSERT_TRUE(WaitLoggedIn(*sim, kWaitMs)) << agent.Log();
    }
    bool Run(const std::string& line) { return psim::RunCommand(*sim, line, [] {}); }
    bool WaitPrinted(const std::string& text, int ms = kWaitMs) {
        return testsupport::WaitUntil([&] { return sim->Count(text) > 0; },
                                      std::chrono::milliseconds(ms));
    }
    std::unique_ptr<psim::PlatformSim> sim;
    AgentRun agent;
};

TEST_F(FunctionCalls, SettingReachesTheRouterAndIsReadBackDecoded) {
    ASSERT_TRUE(Run("fn 45 dns1=9.9.9.9 dns2=1.1.1.1"));
    ASSERT_TRUE(WaitPrinted("  function: 45 (set DNS servers)")) << agent.Log();
    EXPECT_EQ(0u, sim->Count("  result: 1"));
    ASSERT_TRUE(Run("fn 44"));
    ASSERT_TRUE(WaitPrinted("  dns1: 9.9.9.9")) << agent.Log();
    EXPECT_TRUE(WaitPrinted("  dns2: 1.1.1.1"));
    // The call went to the router SDK with host-order addresses, printed dotted by its log.
    std::string calls = testsupport::ReadFile(agent.dir().File("sdk-calls.log"));
    EXPECT_NE(std::string::npos, calls.find("set_dns 9.9.9.9 1.1.1.1\n")) << calls;
}

TEST_F(FunctionCalls, MeshSwitchIsAnsweredByTheCompanion) {
    FILE* out = fopen(agent.dir().File("companion.out").c_str(), "w");
    ASSERT_NE(nullptr, out);
    companionsim::CompanionSim companion(out);
    ASSERT_EQ(0, companion.Control("set mesh 1"));
    ASSERT_EQ(0, companion.Connect(agent.dir().File("CommServer")));
    std::atomic<int> run{1};
    std::thread serve([&] { companion.Run(run); });
    bool connected = agent.WaitLog("create a instance...", kWaitMs);
    bool answered = connected && Run("fn 73") && WaitPrinted("  function: 73 (mesh switch)");
    bool flag = answered && WaitPrinted("  flag: 1");
    run = 0;
    serve.join();
    fclose(out);
    EXPECT_TRUE(connected && answered && flag) << agent.Log();
    EXPECT_EQ(0u, sim->Count("  result: 1 "));
}

TEST_F(FunctionCalls, PingThroughFunctions8And9) {
    ASSERT_TRUE(Run("fn 8 target=127.0.0.1 size=56 count=2"));
    ASSERT_TRUE(WaitPrinted("function: 8 (start ping)"));
    bool done = testsupport::WaitUntil(
        [&] { return Run("fn 9") && WaitPrinted("2 packets transmitted, 2 received", 500); },
        std::chrono::milliseconds(kWaitMs));
    EXPECT_TRUE(done) << agent.Log();
    EXPECT_EQ(sim->Count("icmp_seq"), 0u);  // the per-reply lines are left out
    EXPECT_TRUE(agent.WaitLog("ping -s 56 -c 2 127.0.0.1", kWaitMs));
}

}  // namespace
}  // namespace e2e

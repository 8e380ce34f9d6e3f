// Function calls end to end: the platform simulator sends them from readable arguments, the
// agent answers from the simulated router or from the companion, the simulator prints the
// answers decoded field by field.
#include <atomic>
#include <cstdio>
#include <thread>

#include "AgentHarness.h"
#include "CompanionSim.h"
#include "SimCommand.h"

namespace e2e {
namespace {

constexpr double kScale = 10;
constexpr int kWaitMs = 10000;

class FunctionCalls : public ::testing::Test {
protected:
    void SetUp() override {
        psim::SimSettings s;
        s.interval = 20;
        s.decode = 1;
        sim = StartSim(s);
        agent.Start(ConfigFor(*sim, kScale));
        ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();
    }
    void TearDown() override {
        companionRun = 0;
        if (companionThread.joinable()) companionThread.join();
        if (companionOut) fclose(companionOut);
    }

    bool Run(const std::string& line) {
        return psim::RunCommand(*sim, line, [] {});
    }
    bool WaitPrinted(const std::string& text) {
        return testsupport::WaitUntil([&] { return sim->Count(text) > 0; },
                                      std::chrono::milliseconds(kWaitMs));
    }

    // A companion on the agent's socket, answering the mesh switch with `mesh`.
    void StartCompanion(int mesh) {
        companionOut = fopen(agent.dir().File("companion.out").c_str(), "w");
        ASSERT_NE(nullptr, companionOut);
        companion = std::make_unique<companionsim::CompanionSim>(companionOut);
        ASSERT_EQ(0, companion->Control("set mesh " + std::to_string(mesh)));
        ASSERT_EQ(0, companion->Connect(agent.dir().File("CommServer")));
        companionRun = 1;
        companionThread = std::thread([this] { companion->Run(companionRun); });
        ASSERT_TRUE(agent.WaitLog("create a instance...", kWaitMs)) << agent.Log();
    }

    std::unique_ptr<psim::PlatformSim> sim;
    AgentRun agent;
    FILE* companionOut = nullptr;
    std::unique_ptr<companionsim::CompanionSim> companion;
    std::atomic<int> companionRun{0};
    std::thread companionThread;
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

TEST_F(FunctionCalls, IdentityAnswerCarriesTheRouterMac) {
    ASSERT_TRUE(Run("fn 2"));
    ASSERT_TRUE(WaitPrinted("  answer: 301 bytes")) << agent.Log();
    EXPECT_TRUE(WaitPrinted("A1:B2:C3:D4:E5:F6"));
}

TEST_F(FunctionCalls, UnsupportedFunctionAnswersCode7ThenParserError) {
    ASSERT_TRUE(Run("fn 62"));
    ASSERT_TRUE(WaitPrinted("  result: 7 (function not supported)")) << agent.Log();
    EXPECT_TRUE(WaitPrinted("code=65535"));
    EXPECT_TRUE(WaitPrinted("text=\"parser error\""));
}

TEST_F(FunctionCalls, MeshSwitchIsAnsweredByTheCompanion) {
    StartCompanion(1);
    ASSERT_TRUE(Run("fn 73"));
    ASSERT_TRUE(WaitPrinted("  function: 73 (mesh switch)")) << agent.Log();
    EXPECT_TRUE(WaitPrinted("  flag: 1"));
    EXPECT_EQ(0u, sim->Count("  result: 1 "));
}

}  // namespace
}  // namespace e2e

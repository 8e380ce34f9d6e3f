// The agent core on its own: start-up lines and the fatal end of the registration loop when no
// registration server answers.
#include "AgentHarness.h"

namespace e2e {
namespace {

TEST(CoreE2e, NothingListensTwelveFailedCyclesExitWith102) {
    RefusingPort refusing;
    ASSERT_TRUE(refusing.ok());
    AgentConfig cfg;
    cfg.port = refusing.port() >= 2048 ? refusing.port() : 6039;
    cfg.scale = 10;
    AgentRun agent;
    agent.Start(cfg);
    int status = -1;
    ASSERT_TRUE(agent.WaitExit(60000, &status)) << agent.Log();
    EXPECT_EQ(status, 255);
    EXPECT_EQ(agent.Status(), "102\n");
    std::string log = agent.Log();
    EXPECT_NE(log.find("Log system [debug] working."), std::string::npos);
    EXPECT_NE(log.find(">>>>>>>>>>>>>>>>> Plugin Version = 2.0.0.7-20221227"), std::string::npos);
    EXPECT_NE(log.find("Test Mode!!!"), std::string::npos);
    // Eleven failed cycles go on, the twelfth ends the process.
    EXPECT_EQ(agent.CountLog("RegisterStart error."), 11u);
    EXPECT_EQ(agent.CountLog("Register retry more than 10 times, exit !!!"), 1u);
}

}  // namespace
}  // namespace e2e

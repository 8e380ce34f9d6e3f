// Function calls and plug-in data through the agent binary's wiring: the platform simulator
// sends them from readable arguments and prints the answers decoded; the agent answers from the
// companion, from a real ping of 127.0.0.1, or downloads from a loopback HTTP server. Each
// function's rows, the router SDK calls included, are proven by the functions tests; the
// verified update (status 004, the file kept, exit 255) runs through the real start script in
// update_demo.
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

#include "../update/HttpTestServer.h"
#include "AgentHarness.h"
#include "CompanionSim.h"
#include "SimCommand.h"
#include "platform/Crypto.h"

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
        agent.Start(sim->RegPort());
        ASSERT_TRUE(WaitLoggedIn(*sim, kWaitMs)) << agent.Log();
    }
    bool Run(const std::string& line) { return psim::RunCommand(*sim, line, [] {}); }
    bool WaitPrinted(const std::string& text, int ms = kWaitMs) {
        return testsupport::WaitUntil([&] { return sim->Count(text) > 0; },
                                      std::chrono::milliseconds(ms));
    }
    // The text of the first upload (type 17) with DataType `dt`, "" when none comes.
    std::string FirstUpload(uint8_t dt) {
        std::string text;
        auto found = [&] {
            for (const auto& e : sim->RxFrames(17))
                if (text.empty() && e.frame.plain.size() > 5 && e.frame.plain[2] == dt)
                    text.assign(e.frame.plain.begin() + 5, e.frame.plain.end());
            return !text.empty();
        };
        testsupport::WaitUntil(found, std::chrono::milliseconds(kWaitMs));
        return text;
    }
    std::unique_ptr<psim::PlatformSim> sim;
    AgentRun agent;
};

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

TEST_F(FunctionCalls, FirmwareCommandAnswerAndRefusedUpdate) {
    ASSERT_TRUE(Run("plugdata fw-cmd fromVersion=1.0 -toVersion"));
    EXPECT_EQ(FirstUpload(17), "{\"result\":2,\"resultDesc\":\"toVersion not support.\"}");

    // A wrong MD5 (capital letters never match the computed lower-case digest) gives status 104,
    // removes the file and the agent runs on.
    const std::string body(3000, 'b');
    char md5[kMd5HexSize];
    ASSERT_EQ(Md5Hex(body.data(), body.size(), md5), 0);
    std::string upper = md5;
    for (char& c : upper)
        c = static_cast<char>(toupper(c));
    testupdate::HttpTestServer http("HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n" + body);
    ASSERT_TRUE(Run("plugdata plugin-update url=http://127.0.0.1:" + std::to_string(http.port()) +
                    "/plug/plugagent fileMD5=" + upper));
    ASSERT_TRUE(testsupport::WaitUntil([&] { return agent.Status() == "104\n"; },
                                       std::chrono::milliseconds(kWaitMs)))
        << agent.Log();
    EXPECT_EQ(FirstUpload(3),
              "{\"pluginID\":\"PLUGIN-0001\",\"fromVersion\":\"2.0.0.7\",\"toVersion\":\"2.0.0.8\","
              "\"process\":0,\"result\":-1,\"resultDesc\":\"\"}");
    EXPECT_NE(access(agent.dir().File("plug_download").c_str(), F_OK), 0);
    EXPECT_NE(http.LastRequest().find("GET /plug/plugagent HTTP/1.1\r\n"), std::string::npos);
    EXPECT_TRUE(agent.Running());
}

}  // namespace
}  // namespace e2e

// A plug-in update end to end: the agent binary logged in to the platform simulator downloads
// from a loopback HTTP server. A wrong MD5 gives status 104, removes the file and the agent runs
// on; the right one gives status 004, keeps the verified file and ends the agent.
#include <gtest/gtest.h>

#include <string>
#include <unistd.h>

#include "AgentHarness.h"
#include "HttpTestServer.h"
#include "SimCommand.h"
#include "TestSupport.h"
#include "platform/Crypto.h"

namespace {

constexpr double kScale = 10;

// Texts of the uploads (type 17) with DataType `dt`, in arrival order.
std::vector<std::string> Uploads(const psim::PlatformSim& sim, uint8_t dt) {
    std::vector<std::string> out;
    for (const auto& e : sim.RxFrames(17)) {
        const auto& p = e.frame.plain;
        if (p.size() > 5 && p[2] == dt) out.emplace_back(p.begin() + 5, p.end());
    }
    return out;
}

bool WaitUploads(const psim::PlatformSim& sim, uint8_t dt, size_t n) {
    return testsupport::WaitUntil([&] { return Uploads(sim, dt).size() >= n; },
                                  std::chrono::seconds(20));
}

TEST(UpdateE2eTest, BadMd5ThenVerifiedUpdate) {
    std::string body(3000, '\0');
    for (size_t i = 0; i < body.size(); ++i)
        body[i] = static_cast<char>(i * 13);
    char md5[kMd5HexSize];
    ASSERT_EQ(Md5Hex(body.data(), body.size(), md5), 0);
    testupdate::HttpTestServer http("HTTP/1.1 200 OK\r\nContent-Length: 3000\r\n\r\n" + body);

    auto sim = e2e::StartSim();
    e2e::AgentRun agent;
    agent.Start(e2e::ConfigFor(*sim, kScale));
    ASSERT_TRUE(e2e::WaitLoggedIn(*sim, 20000)) << agent.Log();
    std::string download = agent.dir().File("plug_download");

    // The firmware command is answered with its fixed text (DataType 17).
    auto run = [&](const std::string& line) { return psim::RunCommand(*sim, line, [] {}); };
    ASSERT_TRUE(run("plugdata fw-cmd fromVersion=1.0 -toVersion"));
    ASSERT_TRUE(WaitUploads(*sim, 17, 1)) << agent.Log();
    EXPECT_EQ(Uploads(*sim, 17)[0], "{\"result\":2,\"resultDesc\":\"toVersion not support.\"}");

    // Capital letters never match the computed lower-case digest.
    std::string upper = md5;
    for (char& c : upper)
        c = static_cast<char>(toupper(c));
    ASSERT_TRUE(run("plugdata plugin-update url=http://127.0.0.1:" + std::to_string(http.port()) +
                    "/plug/plugagent fileMD5=" + upper));
    ASSERT_TRUE(agent.WaitStatus("104", 20000)) << agent.Log();
    ASSERT_TRUE(WaitUploads(*sim, 3, 1));
    EXPECT_EQ(Uploads(*sim, 3)[0],
              "{\"pluginID\":\"PLUGIN-0001\",\"fromVersion\":\"2.0.0.7\",\"toVersion\":\"2.0.0.8\","
              "\"process\":0,\"result\":-1,\"resultDesc\":\"\"}");
    EXPECT_NE(access(download.c_str(), F_OK), 0);
    EXPECT_TRUE(agent.WaitLog("DeleteDownloadFile", 5000));
    EXPECT_NE(http.LastRequest().find("GET /plug/plugagent HTTP/1.1\r\n"), std::string::npos);
    EXPECT_TRUE(agent.Running());

    testsupport::WriteFile(agent.dir().File("new-plugagent"), body);
    ASSERT_TRUE(
        run("plugdata plugin-update via=25 url=http://127.0.0.1:" + std::to_string(http.port()) +
            "/plug/plugagent file=" + agent.dir().File("new-plugagent")));
    ASSERT_TRUE(agent.WaitStatus("004", 20000)) << agent.Log();
    ASSERT_TRUE(WaitUploads(*sim, 3, 2));
    EXPECT_NE(Uploads(*sim, 3)[1].find("\"process\":1,\"result\":0,\"resultDesc\":\"\"}"),
              std::string::npos);
    int status = 0;
    ASSERT_TRUE(agent.WaitExit(20000, &status)) << agent.Log();
    EXPECT_EQ(status, 255);
    EXPECT_TRUE(testsupport::ReadFile(download) == body);
    EXPECT_TRUE(agent.WaitLog("exit at [ParserPlugData]", 1000));
}

}  // namespace

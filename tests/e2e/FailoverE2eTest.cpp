// Run mode: host names resolved by the system resolver. libnss_wrapper maps the test names to
// loopback addresses; server 1 refuses three times, 5 s apart, then server 2 is used.
#include <dlfcn.h>

#include "AgentHarness.h"

namespace e2e {
namespace {

constexpr const char* kNssWrapper = "libnss_wrapper.so";

// `extra` appended to the sanitizer options variable `name` of this process.
std::string OptionsWith(const char* name, const std::string& extra) {
    const char* cur = getenv(name);
    return (cur && *cur ? std::string(cur) + ":" : "") + extra;
}

TEST(FailoverE2e, Server1RefusedThreeTimesThenServer2) {
    void* nss = dlopen(kNssWrapper, RTLD_LAZY | RTLD_LOCAL);
    if (nss) dlclose(nss);
    if (!nss)
        GTEST_SKIP() << "libnss_wrapper.so not found: install the Debian package libnss-wrapper";
    const double scale = 10;
    psim::SimSettings s;
    s.regAddr = "127.0.0.2";  // server 2
    s.loginAddr = "127.0.0.2";
    auto sim = StartSim(s);
    // Server 1 on the same port of 127.0.0.1 refuses connections.
    RefusingPort server1("127.0.0.1", sim->RegPort());
    ASSERT_TRUE(server1.ok()) << "port " << sim->RegPort() << " of 127.0.0.1 is taken";

    AgentRun agent;
    testsupport::WriteFile(agent.dir().File("hosts"),
                           "127.0.0.1 reg1.plugtest.com\n127.0.0.2 reg2.plugtest.com\n");
    AgentConfig cfg = ConfigFor(*sim, scale);
    cfg.server1 = "reg1.plugtest.com";
    cfg.server2 = "reg2.plugtest.com";
    cfg.env["LD_PRELOAD"] = kNssWrapper;
    cfg.env["NSS_WRAPPER_HOSTS"] = agent.dir().File("hosts");
    // ASan insists on coming first among the loaded libraries; the preloaded resolver does.
    cfg.env["ASAN_OPTIONS"] = OptionsWith("ASAN_OPTIONS", "verify_asan_link_order=0");
    // The resolver's own lock is taken before TSan watches it, so its first unlock looks
    // unmatched: that report is about the preloaded library, not the agent.
    testsupport::WriteFile(agent.dir().File("tsan.supp"), "mutex:libnss_wrapper.so\n");
    cfg.env["TSAN_OPTIONS"] =
        OptionsWith("TSAN_OPTIONS", "suppressions=" + agent.dir().File("tsan.supp"));
    auto started = std::chrono::steady_clock::now();
    agent.Start(cfg);

    ASSERT_TRUE(sim->WaitForLine("type=9 ", 1, RealMs(40, scale) + 10000)) << agent.Log();
    EXPECT_GE(std::chrono::steady_clock::now() - started,
              std::chrono::milliseconds(RealMs(15, scale) * 9 / 10));  // three 5-s sleeps
    ASSERT_TRUE(WaitLoggedIn(*sim, 20000)) << agent.Log();
    EXPECT_EQ(agent.CountLog("Run Mode!!!"), 1u);
    EXPECT_EQ(agent.CountLog("Register server1..."), 3u);
    EXPECT_EQ(agent.CountLog("connect failed!......"), 3u);
    EXPECT_EQ(agent.CountLog("Register server2..."), 1u);
}

}  // namespace
}  // namespace e2e

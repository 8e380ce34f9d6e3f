// Diagnostics end to end, as root: the agent binary and the platform simulator inside a private
// network namespace with only loopback up. The real ping runs against 127.0.0.1 and its result
// is fetched through functions 8 and 9; the rate test of function 87 downloads a known file from
// an HTTP server on loopback and pushes its rate as function 62.
#include <fcntl.h>
#include <netinet/in.h>
#include <sched.h>
#include <sys/socket.h>
#include <unistd.h>

#include <atomic>
#include <string>
#include <thread>

#include "AgentHarness.h"
#include "SimCommand.h"
#include "core/Process.h"

namespace e2e {
namespace {

constexpr double kScale = 10;
constexpr int kWaitMs = 20000;
constexpr size_t kFileSize = 4 * 1024 * 1024;

// One GET answered with kFileSize bytes, on an ephemeral loopback port.
class HttpFileServer {
public:
    HttpFileServer() {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in a{};
        a.sin_family = AF_INET;
        a.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
        socklen_t len = sizeof a;
        if (bind(fd_, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0 || listen(fd_, 1) != 0 ||
            getsockname(fd_, reinterpret_cast<sockaddr*>(&a), &len) != 0)
            return;
        port_ = ntohs(a.sin_port);
        thread_ = std::thread([this] { Serve(); });
    }
    ~HttpFileServer() {
        shutdown(fd_, SHUT_RDWR);
        close(fd_);
        if (thread_.joinable()) thread_.join();
    }
    int port() const { return port_; }

private:
    void Serve() {
        int c = accept(fd_, nullptr, nullptr);
        if (c < 0) return;
        std::string req;
        char buf[512];
        while (req.find("\r\n\r\n") == std::string::npos) {
            ssize_t n = read(c, buf, sizeof buf);
            if (n <= 0) break;
            req.append(buf, static_cast<size_t>(n));
        }
        std::string head =
            "HTTP/1.1 200 OK\r\nContent-Length: " + std::to_string(kFileSize) + "\r\n\r\n";
        std::string body(kFileSize, 'r');
        std::string all = head + body;
        for (size_t off = 0; off < all.size();) {
            ssize_t n = write(c, all.data() + off, all.size() - off);
            if (n <= 0) break;
            off += static_cast<size_t>(n);
        }
        close(c);
    }
    int fd_ = -1;
    int port_ = 0;
    std::thread thread_;
};

class DiagE2e : public ::testing::Test {
protected:
    void SetUp() override {
        if (geteuid() != 0) GTEST_SKIP() << "needs root for a network namespace";
        ns_ = "plugdiag" + std::to_string(getpid());
        ASSERT_EQ(RunProcess({"ip", "netns", "add", ns_}), 0);
        ASSERT_EQ(RunProcess({"ip", "netns", "exec", ns_, "ip", "link", "set", "lo", "up"}), 0);
        home_ = open("/proc/self/ns/net", O_RDONLY | O_CLOEXEC);
        int fd = open(("/run/netns/" + ns_).c_str(), O_RDONLY | O_CLOEXEC);
        ASSERT_GE(fd, 0);
        // This thread, and every thread and child it starts from now on, lives in the namespace.
        ASSERT_EQ(setns(fd, CLONE_NEWNET), 0);
        close(fd);
        psim::SimSettings s;
        s.interval = 20;
        s.decode = 1;
        sim = StartSim(s);
        agent.Start(ConfigFor(*sim, kScale));
        ASSERT_TRUE(WaitLoggedIn(*sim, kWaitMs)) << agent.Log();
    }
    void TearDown() override {
        if (home_ >= 0) {
            setns(home_, CLONE_NEWNET);
            close(home_);
        }
        if (!ns_.empty()) RunProcess({"ip", "netns", "del", ns_});
    }
    bool Run(const std::string& line) {
        return psim::RunCommand(*sim, line, [] {});
    }
    bool WaitPrinted(const std::string& text, int ms = kWaitMs) {
        return testsupport::WaitUntil([&] { return sim->Count(text) > 0; },
                                      std::chrono::milliseconds(ms));
    }

    std::string ns_;
    int home_ = -1;
    std::unique_ptr<psim::PlatformSim> sim;
    AgentRun agent;
};

TEST_F(DiagE2e, PingThroughFunctions8And9) {
    ASSERT_TRUE(Run("fn 8 target=127.0.0.1 size=56 count=2"));
    ASSERT_TRUE(WaitPrinted("function: 8 (start ping)"));
    bool done = testsupport::WaitUntil(
        [&] {
            Run("fn 9");
            return WaitPrinted("2 packets transmitted, 2 received", 500);
        },
        std::chrono::milliseconds(kWaitMs));
    EXPECT_TRUE(done) << agent.Log();
    EXPECT_EQ(sim->Count("icmp_seq"), 0u);  // the per-reply lines are left out
    EXPECT_TRUE(agent.WaitLog("ping -s 56 -c 2 127.0.0.1", kWaitMs));
}

TEST_F(DiagE2e, ConfiguredRateTestPushesItsRate) {
    HttpFileServer server;
    ASSERT_GT(server.port(), 0);
    ASSERT_TRUE(Run("fn 87 json={\"value_func61\":\"http://127.0.0.1:" +
                    std::to_string(server.port()) + "/download/300.data\"}"));
    ASSERT_TRUE(WaitPrinted("rate: ")) << agent.Log();
    EXPECT_EQ(sim->Count("rate: -1"), 0u) << agent.Log();
    EXPECT_GT(sim->Count("bytes/s"), 0u);
    EXPECT_TRUE(
        agent.WaitLog("serverName: 127.0.0.1, port: " + std::to_string(server.port()), kWaitMs));
}

}  // namespace
}  // namespace e2e

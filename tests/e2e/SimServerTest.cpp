// The simulator as a server, seen from a hand-driven client socket standing in for the agent.
#include <arpa/inet.h>
#include <netinet/in.h>
#include <poll.h>
#include <sys/socket.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "PlatformSim.h"
#include "SimFrame.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"

namespace psim {
namespace {

constexpr const char* kKey = "sim-test-key";

class Client {
public:
    explicit Client(int port) {
        fd_ = socket(AF_INET, SOCK_STREAM, 0);
        sockaddr_in sa{};
        sa.sin_family = AF_INET;
        sa.sin_port = htons(static_cast<uint16_t>(port));
        inet_pton(AF_INET, "127.0.0.1", &sa.sin_addr);
        ok_ = connect(fd_, reinterpret_cast<sockaddr*>(&sa), sizeof sa) == 0;
    }
    ~Client() { close(fd_); }
    bool ok() const { return ok_; }
    void Send(const Bytes& b) { ASSERT_EQ(send(fd_, b.data(), b.size(), 0), ssize_t(b.size())); }
    // The next frame within `ms`; false on time-out or close (closed() then tells).
    bool Next(RawFrame* f, int ms) {
        for (;;) {
            if (cut_.Next(f)) return true;
            pollfd p{fd_, POLLIN, 0};
            if (poll(&p, 1, ms) <= 0) return false;
            uint8_t buf[4096];
            ssize_t n = recv(fd_, buf, sizeof buf, 0);
            if (n <= 0) {
                closed_ = true;
                return false;
            }
            cut_.Append(buf, static_cast<size_t>(n));
        }
    }
    bool closed() const { return closed_; }

private:
    int fd_ = -1;
    bool ok_ = false;
    bool closed_ = false;
    FrameCutter cut_;
};

Bytes RegisterFrame() {
    Bytes opt(15, 0);
    Bytes body = {0, 0, 1, 'S', 1, 2, 3, 4, 5, 6};
    body.resize(body.size() + 32, 0);
    return BuildFrame(kKey, 9, 1, opt, body);
}

std::unique_ptr<PlatformSim> Started(SimSettings s) {
    s.key = kKey;
    auto sim = std::make_unique<PlatformSim>(s);
    EXPECT_EQ(sim->Start(), 0);
    return sim;
}

TEST(SimServer, RegisterAnswerNamesTheLoginServer) {
    SimSettings s;
    s.token = "TOKEN";
    s.pluginId = "PID";
    s.reg.error = 3;
    auto sim = Started(s);
    Client c(sim->RegPort());
    ASSERT_TRUE(c.ok());
    c.Send(RegisterFrame());
    RawFrame f;
    ASSERT_TRUE(c.Next(&f, 5000));
    DecodedFrame d = DecodeFrame(kKey, f);
    EXPECT_EQ(f.typeByte, 11);
    EXPECT_EQ(f.opt, (Bytes{3, 0}));
    ASSERT_EQ(d.plain.size(), 72u);
    EXPECT_TRUE(d.checksumOk);
    EXPECT_EQ(std::string(d.plain.begin() + 2, d.plain.begin() + 7), "TOKEN");
    EXPECT_EQ(Bytes(d.plain.begin() + 34, d.plain.begin() + 38), (Bytes{127, 0, 0, 1}));
    EXPECT_EQ(GetField16(&d.plain[38]), sim->LoginPort());
    EXPECT_TRUE(sim->WaitForLine("RX conn=1 srv=reg type=9 flag=1", 1, 2000));
    uint8_t mac[6];
    sim->AgentMac(mac);
    EXPECT_EQ(Bytes(mac, mac + 6), (Bytes{1, 2, 3, 4, 5, 6}));
}

TEST(SimServer, AnswerModes) {
    struct Case {
        const char* mode;
        bool answer;
        bool closes;
        size_t dataLen;
    };
    const Case cases[] = {{"answer", true, false, 80},
                          {"nodata", true, false, 0},
                          {"silent", false, false, 0},
                          {"close", false, true, 0}};
    for (const auto& k : cases) {
        SimSettings s;
        ApplySetting(&s, "reg-mode", k.mode);
        auto sim = Started(s);
        Client c(sim->RegPort());
        c.Send(RegisterFrame());
        RawFrame f;
        EXPECT_EQ(c.Next(&f, k.answer ? 5000 : 300), k.answer) << k.mode;
        if (k.answer) {
            EXPECT_EQ(f.data.size(), k.dataLen) << k.mode;
        }
        EXPECT_EQ(c.closed(), k.closes) << k.mode;
    }
}

TEST(SimServer, LateAnswerAndHeartbeatLimit) {
    SimSettings s;
    s.login.delayMs = 300;
    s.interval = 33;
    s.heartbeats = 1;
    auto sim = Started(s);
    Client c(sim->LoginPort());
    c.Send(BuildFrame(kKey, 10, 1, Bytes(44, 0), Bytes(25, 0)));
    RawFrame f;
    EXPECT_FALSE(c.Next(&f, 100));
    ASSERT_TRUE(c.Next(&f, 5000));
    EXPECT_EQ(DecodeFrame(kKey, f).plain, (Bytes{0, 0, 33, 0}));
    Bytes hb = BuildRawFrame(1, 1, {4, 3, 2, 1}, {}, 10);
    c.Send(hb);
    ASSERT_TRUE(c.Next(&f, 5000));
    EXPECT_EQ(f.MsgType(), 2);
    EXPECT_EQ(f.opt, (Bytes{4, 3, 2, 1}));
    c.Send(hb);
    EXPECT_FALSE(c.Next(&f, 300));  // the one answer is used up
    EXPECT_TRUE(sim->WaitForLine("SILENT conn=1 heartbeat-answer", 1, 2000));
}

TEST(SimServer, CallAndDropReachTheClient) {
    auto sim = Started(SimSettings());
    Client c(sim->LoginPort());
    ASSERT_TRUE(sim->WaitForLine("ACCEPT conn=1 srv=login", 1, 2000));
    int tag = sim->Call(15, {0x01, 0x00, 0x01});
    RawFrame f;
    ASSERT_TRUE(c.Next(&f, 5000));
    DecodedFrame d = DecodeFrame(kKey, f);
    EXPECT_EQ(f.typeByte, 20);
    ASSERT_EQ(d.plain.size(), 11u + 13u);
    EXPECT_EQ(GetField16(&d.plain[9]), 13);
    EXPECT_EQ(GetField16(&d.plain[11]), tag);
    EXPECT_EQ(GetField16(&d.plain[13]), 15);
    sim->Disconnect();
    ASSERT_TRUE(c.Next(&f, 5000));
    EXPECT_EQ(f.bytes, (Bytes{0xCC, 0xDD, 0x03, 0, 0, 0, 0}));
    sim->Drop();
    EXPECT_FALSE(c.Next(&f, 5000));
    EXPECT_TRUE(c.closed());
    EXPECT_TRUE(sim->WaitForLine("CLOSE conn=1 srv=login by=sim", 1, 2000));
}

}  // namespace
}  // namespace psim

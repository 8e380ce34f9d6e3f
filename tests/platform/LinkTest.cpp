// The connection (ServerInit, ServerRecv, RespProc, DeleteServer) and the senders, against a
// fake platform peer on loopback.
#include <gtest/gtest.h>

#include <netinet/in.h>
#include <sys/socket.h>
#include <unistd.h>

#include <functional>

#include "LinkFixture.h"
#include "core/Limits.h"

namespace {

using namespace testplatform;
using testsupport::WaitUntil;

// "Now" pinned to 0x01020304 s for the heartbeat's time field; the rest runs like ScaledClock.
struct PinnedNowClock : ScaledClock {
    PinnedNowClock() : ScaledClock(kTimeScale) {}
    int64_t NowMs() override { return 0x01020304LL * 1000; }
};

using Link = LinkFixture;

// One link at a time; DeleteServer stops both threads and allows a new connection, also on a
// descriptor above 1023 (poll() has no FD_SETSIZE limit) or on descriptor 0 (a daemon started
// with standard input closed), where the peer's close ends the session; a refused connect is
// logged and keeps the run flag up until the reset.
TEST_F(Link, ConnectionsOneAtATimeOnAnyDescriptorAndARefusedConnect) {
    std::vector<int> fillers;  // 1100 taken, so the first connection's descriptor is above 1023
    for (int fd; fillers.size() < 1100 && (fd = dup(2)) >= 0;)
        fillers.push_back(fd);
    int saved = dup(0);
    for (bool high : {true, false}) {
        log.Clear();
        if (!high) close(0);
        Connect();
        for (int fd : fillers)
            close(fd);
        fillers.clear();
        EXPECT_EQ(-1, ServerInit("127.0.0.1", peer.port()));
        EXPECT_TRUE(log.Contains("Client running."));
        ASSERT_TRUE(peer.Send(kHeartbeatAnswer));
        EXPECT_TRUE(WaitUntil([] { return PlatformSession().LastHeartbeatAnswer() != 0; }));
        EXPECT_EQ(0, SendHeartbeat());
        EXPECT_EQ(11u, peer.ReadRaw().size());
        if (!high) {
            struct sockaddr_in sa;
            socklen_t len = sizeof sa;
            EXPECT_EQ(0, getsockname(0, reinterpret_cast<struct sockaddr*>(&sa), &len));
            const int64_t t0 = NowMs();
            peer.CloseConn();
            ASSERT_TRUE(WaitUntil([] { return SessionEnded() == 1; }));
            // 300 zero-length reads, 10 ms apart (clock seam): at least 3 s of agent time.
            EXPECT_GE(NowMs() - t0, 2990);
            EXPECT_TRUE(log.Contains("Close link."));
            EXPECT_EQ(0, mLogin.load());
            EXPECT_EQ("103\n", Status());
        }
        DeleteServer();
        EXPECT_EQ(-1, SendHeartbeat());
        PlatformSession().Reset();
    }
    dup2(saved, 0);
    close(saved);
    peer.CloseListener();
    log.Clear();
    EXPECT_EQ(-1, ServerInit("127.0.0.1", peer.port()));
    EXPECT_TRUE(log.Contains("SocketInit error"));
    EXPECT_EQ(-1, ServerInit("127.0.0.1", peer.port()));
    EXPECT_TRUE(log.Contains("Client running."));
}

// A platform that shrinks its receive window and stops reading while many replies are sent:
// each reply arrives whole, in order, or the link ends; a cut reply is only ever the last bytes
// before the close.
TEST_F(Link, SlowReaderGetsWholeRepliesOrTheLinkEnds) {
    constexpr int kFrames = 200;
    constexpr size_t kLen = 1000;
    peer.SetRecvBuf(2048);
    Connect();
    FrameHeader h;
    h.msgType = 0x14;
    h.dataLen = static_cast<uint16_t>(kLen - kFrameHeaderLen);
    size_t sent = 0;  // the peer reads nothing until the agent sent all or gave up
    for (; sent < kFrames; ++sent) {
        Bytes f(kLen, static_cast<uint8_t>(sent));
        PutFrameHeader(f.data(), h);
        if (SendFrame(f.data(), f.size()) != 0) break;
    }
    Bytes got;
    bool closed = peer.ReadToEnd(&got);
    ASSERT_EQ(sent, got.size() / kLen);
    for (size_t i = 0; i < got.size(); ++i)
        ASSERT_EQ(i % kLen < kFrameHeaderLen ? got[i] : static_cast<uint8_t>(i / kLen), got[i])
            << i;
    if (sent < kFrames) {
        EXPECT_TRUE(closed);  // whatever follows the last whole reply is a cut one, then the end
        EXPECT_TRUE(log.Contains("link closed"));
        EXPECT_EQ("103\n", Status());
    } else {
        EXPECT_EQ(0u, got.size() % kLen);
    }
}

// Every sender's frame against bytes worked out by hand: the clear header and option block
// as sent, and the plain body once decrypted.
TEST_F(Link, SendersWriteTheDocumentedFrames) {
    static PinnedNowClock pinned;  // threads may outlive the test
    using testsupport::Hex;
    // Register: PIN "12345678", SN "AB", the MAC; checksum 0x30 + 420 + 388 = 0x358.
    Bytes regBody = Hex("00 00 02 41 42 00 11 22 33 44 55");
    regBody.resize(43, 0);
    // Login with a token of 32 x 0x01: option = PIN (12 bytes) + token; checksum
    // 0x20 + 420 + 32 + (2 + 7 + 1 + 0x36) = 0x224.
    Bytes loginHead = Hex("CC DD 2A 2C 24 20 00 31 32 33 34 35 36 37 38 00 00 00 00");
    loginHead.resize(7 + 44, 0x01);
    Bytes loginBody(19, 0);
    loginBody.insert(loginBody.end(), {2, 0, 0, 7, 1, 0x36});
    auto login = [] {
        LoginTarget target;
        memset(target.token, 0x01, sizeof target.token);
        PlatformSession().RegisterAnswer(target);
        return LoginServer();
    };
    auto heartbeat = [] {
        SetClock(&pinned);
        return SendHeartbeat();
    };
    const uint8_t upMac[6] = {0xA0, 0xA1, 0xA2, 0xA3, 0xA4, 0xA5};
    const auto ok = reinterpret_cast<const uint8_t*>("ok");
    const auto xyz = reinterpret_cast<const uint8_t*>("xyz");
    const uint8_t ones[11] = {1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1};
    struct {
        const char* name;
        std::function<int()> send;
        Bytes head;  // the first bytes as sent
        Bytes body;  // plain, padding dropped
        size_t size;
    } rows[] = {
        // clang-format off
        {"register", RegistSendMsg, Hex("CC DD 29 0F 58 30 00 000000 3132333435363738 00000000"),
         regBody, 7 + 15 + 48},
        {"login", login, loginHead, loginBody, 7 + 44 + 32},
        {"heartbeat at 0x01020304", heartbeat, Hex("CC DD 21 04 0A 00 00 04 03 02 01"), {}, 11},
        {"empty reply with code 11", [] { return SendReplyData(11, nullptr, 0, 5, 0, nullptr); },
         Hex("CC DD 19 02 0B 00 00 0B 00"), {}, 9},
        {"reply with data and MAC", [&] { return SendReplyData(0x0102, ok, 2, 7, 1, kMac); },
         Hex("CC DD 1A 02 F5 10 00 02 01"), Hex("00 00 07 001122334455 02 00 6F 6B"), 9 + 16},
        {"upload with MAC", [&] { return SendIpUpData(xyz, 3, 39, 1, upMac); },
         Hex("CC DD 33 00 74 10 00"), Hex("00 00 27 A0A1A2A3A4A5 03 00 78 79 7A"), 7 + 16},
        {"upload, a whole padding block after 16 bytes",
         [&] { return SendIpUpData(ones, 11, 3, 0, nullptr); },
         Hex("CC DD 31 00 39 20 00"), Hex("00 00 03 0B 00 0101010101010101010101"), 7 + 32},
    };  // clang-format on
    Connect(false);
    for (const auto& r : rows) {
        SCOPED_TRACE(r.name);
        if (r.head[2] == 0x21) LogIn(true);  // from the heartbeat on, the session is logged in
        ASSERT_EQ(0, r.send());
        SetClock(&clock);
        Bytes raw = peer.ReadRaw();
        ASSERT_EQ(r.size, raw.size());
        EXPECT_EQ(r.head, Bytes(raw.begin(), raw.begin() + static_cast<long>(r.head.size())));
        DecodedFrame f;
        ASSERT_EQ(static_cast<long>(raw.size()), DecodeFrame(kKey, raw.data(), raw.size(), &f));
        EXPECT_EQ(r.body, f.body);
    }
    EXPECT_EQ(-1, LoginServer());  // logged in
}

// Frames, uploads and replies beyond their bounds or without a logged-in session are refused
// and nothing of them is sent: the first frame the peer sees is the largest upload.
TEST_F(Link, SendBounds) {
    uint8_t buf[limits::kFrameBufSize + 1] = {0};
    EXPECT_EQ(-1, SendFrame(buf, 1));  // not connected
    Connect();
    EXPECT_EQ(-1, SendFrame(buf, limits::kFrameBufSize + 1));
    EXPECT_EQ(-1, SendFrame(buf, 0));
    EXPECT_EQ(-1, SendFrame(nullptr, 5));
    const uint8_t data[8101] = {1};
    EXPECT_EQ(-1, SendIpUpData(data, 0, 3, 0, nullptr));
    EXPECT_EQ(-1, SendIpUpData(data, 8101, 3, 0, nullptr));
    EXPECT_EQ(-1, SendReplyData(0, data, 8101, 3, 0, nullptr));
    LogIn(false);
    EXPECT_EQ(-1, SendIpUpData(data, 1, 3, 0, nullptr));
    EXPECT_EQ(-1, SendReplyData(0, nullptr, 0, 3, 0, nullptr));
    LogIn(true);
    ASSERT_EQ(0, SendIpUpData(data, 8100, 3, 0, nullptr));
    DecodedFrame f;
    ASSERT_TRUE(peer.Read(kKey, &f));
    EXPECT_EQ(8112, f.header.dataLen);  // 5 + 8100 bytes padded
    ASSERT_EQ(8105u, f.body.size());
    EXPECT_EQ((Bytes{0, 0, 3, 0xA4, 0x1F, 1, 0}), Bytes(f.body.begin(), f.body.begin() + 7));
    FrameHeader h;
    h.msgType = 1;
    h.dataLen = static_cast<uint16_t>(limits::kFrameBufSize - kFrameHeaderLen);
    PutFrameHeader(buf, h);
    EXPECT_EQ(0, SendFrame(buf, limits::kFrameBufSize));
    EXPECT_EQ(limits::kFrameBufSize, peer.ReadRaw().size());
}

}  // namespace

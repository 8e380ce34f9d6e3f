// Registration, login and heartbeat: their waits, fatal ends and threads, against a fake
// platform on loopback with time accelerated. The whole exchange runs against the agent binary
// in the end-to-end session test.
#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <thread>

#include "LinkFixture.h"
#include "SimMessages.h"
#include "core/Plug.h"

namespace {

using namespace testplatform;
using testsupport::WaitUntil;

// A peer thread that is joined whatever way the test leaves.
struct Joined : std::thread {
    using std::thread::thread;
    ~Joined() {
        if (joinable()) join();
    }
};

using Session = LinkFixture;

// Register and re-login reach the peer, which reads one frame and never answers: each fails
// once its wait of agent time passed, and the register closes its connection with status 101.
TEST_F(Session, UnansweredRegisterFailsAfterTenSecondsAndReLoginAfterFive) {
    regist_port = peer.port();
    LoginTarget target;
    snprintf(target.server, sizeof target.server, "127.0.0.1");
    target.port = peer.port();
    const struct {
        std::function<int()> start;
        int64_t waitMs;
        const char* failed;
        bool closesWith101;
    } rows[] = {{[] { return RegisterStart("127.0.0.1"); }, 10000, "Register failed.", true},
                {ReLogin, 5000, "login failed !", false}};
    for (const auto& r : rows) {
        Joined platform([&] {
            DecodedFrame f;
            if (peer.Accept()) peer.Read(kKey, &f);
        });
        int64_t t0 = NowMs();
        EXPECT_EQ(-1, r.start()) << r.failed;
        EXPECT_GE(NowMs() - t0, r.waitMs) << r.failed;
        platform.join();
        EXPECT_TRUE(log.Contains(r.failed));
        if (r.closesWith101) {
            EXPECT_EQ("101\n", Status());
            Bytes rest;
            EXPECT_TRUE(peer.ReadToEnd(&rest));  // the agent closed the connection
            EXPECT_TRUE(rest.empty());
        }
        PlatformSession().RegisterAnswer(target);
    }
    EXPECT_TRUE(log.Contains("Re-login 127.0.0.1:"));
}

// An empty PIN or KEY is fatal. Nothing listens: the identity comes from the SDK once, no status
// is written, and a login without a registered target is refused.
TEST_F(Session, EmptyPinOrKeyIsFatalAndARefusedRegisterAsksTheSdkForMacAndSerialOnce) {
    regist_port = peer.port();
    g_pin_code[0] = '\0';
    EXPECT_EQ(kPlugFatal, RegisterStart("127.0.0.1"));
    EXPECT_TRUE(log.Contains("ERROR: PIN is empty, plese check your plug.conf!"));
    memcpy(g_pin_code, kPin, strlen(kPin));
    gKeyText[0] = '\0';
    EXPECT_EQ(kPlugFatal, RegistSendMsg());
    EXPECT_TRUE(log.Contains("ERROR: KEY is empty, plese check your plug.conf!"));
    memcpy(gKeyText, kKey, strlen(kKey));
    memset(l_mac, 0, sizeof l_mac);
    memset(gSN, 0, sizeof gSN);
    peer.CloseListener();
    testsupport::WriteFile(Paths().plugStatus, "");  // clears the first attempt's "001"
    EXPECT_EQ(-1, RegisterStart("127.0.0.1"));
    EXPECT_TRUE(log.Contains("SocketInit error"));
    EXPECT_EQ("", Status());
    EXPECT_TRUE(log.Contains("SN: HR4G22120700318 LEN: 15"));
    EXPECT_STREQ("HR4G22120700318", gSN);
    EXPECT_NE(0, l_mac[0] | l_mac[1] | l_mac[2] | l_mac[3] | l_mac[4] | l_mac[5]);
    log.Clear();
    EXPECT_EQ(-1, RegisterStart("127.0.0.1"));
    EXPECT_FALSE(log.Contains("SN: "));
    EXPECT_EQ(-1, LoginStart());
    EXPECT_TRUE(log.Contains("Login Server wrong !"));
}

// After a re-login the last heartbeat answer is still the lost session's: the new check thread
// waits one 10-s period before its first test, so the new session's first answer is in before
// it looks, and the healthy new session is not declared lost at once.
TEST_F(Session, CheckAfterReLoginWaitsOnePeriodBeforeItsFirstTest) {
    static ScaledClock slower(10.0);  // 1 s of real time for the answer to be in before the check
    SetClock(&slower);
    Connect();
    const int64_t stale = NowSec() - 1000;  // far more than three periods ago
    PlatformSession().HeartbeatAnswer(stale);
    PlatformSession().HeartbeatSent();
    Joined platform([&] {
        for (int i = 0; i < 3; ++i) {  // the rules request comes first
            Bytes frame = peer.ReadRaw();
            if (!frame.empty() && frame[2] == 0x21) {
                peer.Send(kHeartbeatAnswer);
                return;
            }
        }
    });
    const int64_t started = NowSec();
    ASSERT_EQ(0, HeartbeatStart());
    platform.join();
    ASSERT_TRUE(WaitUntil([stale] { return PlatformSession().LastHeartbeatAnswer() != stale; }));
    // Past the first 10-s check (the heartbeat period is 20 s, so no second heartbeat yet).
    ASSERT_TRUE(WaitUntil([started] { return NowSec() - started >= 13; }));
    EXPECT_EQ(0, SessionEnded());
    EXPECT_FALSE(log.Contains("heart beep error"));
}

// A companion slow to answer a function call holds the response thread until it answers:
// meanwhile heartbeats still go out and their answers are handled on the receive thread, so a
// healthy session is never declared lost behind a slow call.
std::atomic<int> gHeld{0};  // 1 while the call is held, 2 once released

int HeldCall(const uint8_t* req, size_t, uint8_t* ans, size_t* ansLen) {
    gHeld = 1;
    while (gHeld == 1)
        SleepMs(10);
    memcpy(ans, req, 6);
    *ansLen = 6;
    return 0;
}

TEST_F(Session, SlowFunctionCallHoldsNeitherHeartbeatsNorTheirAnswers) {
    Connect();
    SetFunctionCallHandler(HeldCall);
    ASSERT_TRUE(peer.Send(MakeFrame(kKey, 20, {}, psim::FunctionCallBody(9, kMac, Bytes(10, 0)))));
    ASSERT_TRUE(WaitUntil([] { return gHeld == 1; }));
    EXPECT_EQ(0, SendHeartbeat());
    EXPECT_EQ(11u, peer.ReadRaw().size());
    EXPECT_TRUE(peer.Send(kHeartbeatAnswer));
    EXPECT_TRUE(WaitUntil([] { return PlatformSession().LastHeartbeatAnswer() != 0; }));
    gHeld = 2;
    DecodedFrame f;
    ASSERT_TRUE(peer.Read(kKey, &f));
    EXPECT_EQ(26, f.header.msgType);
}

}  // namespace

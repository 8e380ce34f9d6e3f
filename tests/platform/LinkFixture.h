// Shared set-up of the in-process link tests: private runtime paths, captured logs, an
// accelerated clock, the identity texts and a fake platform peer.
#pragma once

#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "FakePeer.h"
#include "TestSupport.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Paths.h"
#include "platform/Dispatch.h"
#include "platform/Protool.h"
#include "platform/Session.h"
#include "platform/SessionState.h"
#include "platform/PlatformLink.h"

namespace testplatform {

constexpr const char* kKey = "plugkey";
constexpr const char* kPin = "12345678";
const uint8_t kMac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
// Time runs 20 times faster: a 10-s wait lasts 0.5 s, DeleteServer's settle 50 ms. Slow enough
// for ThreadSanitizer builds to keep every ordering the tests rely on.
constexpr double kTimeScale = 20.0;

class LinkFixture : public ::testing::Test {
protected:
    testsupport::TempDir dir;
    testsupport::LogCapture log;
    ScaledClock clock{kTimeScale};
    FakePeer peer;

    void SetUp() override {
        PathsRelocate(dir.path());
        SetClock(&clock);
        ResetServerContext();
        ResetRecvQueue();
        memset(gKeyText, 0, sizeof gKeyText);
        memcpy(gKeyText, kKey, strlen(kKey));
        memset(g_pin_code, 0, sizeof g_pin_code);
        memcpy(g_pin_code, kPin, strlen(kPin));
        memcpy(l_mac, kMac, sizeof kMac);
        memset(gSN, 0, sizeof gSN);
        memcpy(gSN, "AB", 2);
        SetRouteMac(kMac);
    }

    void TearDown() override {
        DeleteHeartbear();
        DeleteServer();
        ResetServerContext();
        SetFunctionCallHandler(nullptr);
        SetPlugDataHandler(nullptr);
        SetClock(nullptr);
        PathsRelocate("");
    }

    // Connects the agent to the peer and marks the session logged in (replies need it).
    void Connect(bool loggedIn = true) {
        ASSERT_EQ(0, ServerInit("127.0.0.1", peer.port()));
        ASSERT_TRUE(peer.Accept());
        LogIn(loggedIn);
    }

    // The session logged in (a login answer with period 20), or a login begun and not answered.
    static void LogIn(bool in) {
        if (in)
            PlatformSession().LoginAnswer(20);
        else
            PlatformSession().BeginLogin();
    }

    std::string Status() { return testsupport::ReadFile(Paths().plugStatus); }
};

// Its checksum no longer matches: plug-in data is then answered at once with code 11.
inline Bytes Broken(Bytes f) {
    f[4] ^= 0x41;
    return f;
}

const Bytes kHeartbeatAnswer = {0xCC, 0xDD, 0x02, 0x00, 0x00, 0x00, 0x00};

}  // namespace testplatform

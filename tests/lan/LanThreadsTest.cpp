// The three service threads on a fast clock: the monitor scans once per request and absorbs the
// requests raised while it pauses, the online-device report and the filter report each device
// once per renewal, and every stop ends its thread from the middle of a long wait.
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>

#include "LanTestSupport.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Paths.h"
#include "ipc/CommServer.h"
#include "lan/Lan.h"
#include "platform/Session.h"

namespace {

using lantest::SdkDev;
using testsupport::WaitUntil;

// Time 1000 times faster; the monitor's 3 s pause after a scan is held until released.
class PauseClock : public ScaledClock {
public:
    PauseClock() : ScaledClock(1000) {}
    bool WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, int64_t ms,
                 const std::function<bool()>& pred) override {
        if (ms == 3000) {
            ++pauses;
            while (!release.load() && !pred())
                cv.wait_for(lock, std::chrono::milliseconds(1));
        }
        return ScaledClock::WaitFor(cv, lock, ms, pred);
    }
    std::atomic<int> pauses{0};
    std::atomic<bool> release{false};
};

struct LanThreadsTest : ::testing::Test {
    void SetUp() override {
        SetClock(&clock);
        l_debug = 1;
        lan.SetSdk("[" + SdkDev("3C:22:FB:91:0A:11", "phone", "192.168.1.100") + "]");
        lan.SetArp("192.168.1.50 0x1 0x2 02:00:00:00:00:50 * br-lan\n");
    }
    void TearDown() override {
        StopSubdev();  // idempotent: ends what a failed assertion left running
        Fn39Stop();
        Fn40Stop();
        l_debug = 0;
        mLogin = 0;
        CommClientReg = 0;
        Fn40Interval = 30;
        SetClock(nullptr);
    }
    PauseClock clock;
    lantest::Lan lan;
    testsupport::LogCapture log;
};

TEST_F(LanThreadsTest, MonitorScansOncePerRequestAndAbsorbsRequestsInItsPause) {
    ASSERT_EQ(0, StartSubdev());
    nQuerySubdev = 1;  // as function 64 does
    ASSERT_TRUE(WaitUntil([&] { return clock.pauses.load() == 1; }));
    nQuerySubdev = 1;  // raised during the pause: absorbed
    clock.release = true;
    ASSERT_TRUE(WaitUntil([&] { return nQuerySubdev.load() == 0; }));
    nQuerySubdev = 1;
    ASSERT_TRUE(WaitUntil([&] { return nQuerySubdev.load() == 0 && clock.pauses.load() == 2; }));
    StopSubdev();
    EXPECT_EQ(2u, log.Count("InNetSeg=192.168.1."));
    // Header: sequence 0 then 1, function 63, 0, two devices.
    EXPECT_EQ(1u, log.Count("00 00 3F 00 00 00 02 00 C0 A8 01 64 "));
    EXPECT_EQ(1u, log.Count("01 00 3F 00 00 00 02 00 C0 A8 01 64 "));
}

TEST_F(LanThreadsTest, OnlineReportSendsNewDevicesOnceAndRenewsTheList) {
    mLogin = 1;
    Fn40Interval = 12;
    ASSERT_EQ(0, Fn39Init());
    ASSERT_TRUE(WaitUntil([] { return testsupport::ReadFile(Paths().macConfig).size() > 0; }));
    lan.SetSdk("[" + SdkDev("3C:22:FB:91:0A:11", "phone", "192.168.1.100") + "," +
               SdkDev("A4:5E:60:D2:33:02", "tv", "192.168.1.101") + "]");
    ASSERT_TRUE(WaitUntil([&] { return log.Count("Online subdev:") == 2; }));
    CommClientReg = 1;  // a companion took over: the thread ends by itself
    ASSERT_TRUE(WaitUntil([&] { return log.Contains("Use function 40"); }));
    Fn39Stop();
    EXPECT_EQ(1u, log.Count("00 00 28 00 00 00 01 00 3C 22 FB 91 0A 11 70 68 6F 6E 65 "));
    EXPECT_EQ(1u, log.Count("00 00 28 00 00 00 01 00 A4 5E 60 D2 33 02 74 76 "));
    EXPECT_EQ(2u, log.Count("DataType=[40]"));
}

TEST_F(LanThreadsTest, FilterWaitsForACompanionAndReportsAgainAfterAWipe) {
    Fn40Interval = 2;
    ASSERT_EQ(0, Fn40Init());
    lantest::Bytes list = lantest::Hex("01 00 02 00 00 00 00 01");
    list.resize(2 + 38, 0x55);
    list.push_back(1);
    Fn40Handle(list.data(), list.size());
    CommClientReg = 1;
    ASSERT_TRUE(WaitUntil([&] { return log.Contains("Clean 40 subdev."); }));
    Fn40Handle(list.data(), list.size());
    ASSERT_TRUE(WaitUntil([&] { return log.Count("Online subdev:") == 2; }));
    Fn40Stop();
}

TEST_F(LanThreadsTest, StopsEndThreadsInTheMiddleOfLongWaits) {
    ScaledClock slow(0.0001);  // no wait would end by itself during the test
    SetClock(&slow);
    mLogin = 1;
    ASSERT_EQ(0, StartSubdev());
    ASSERT_EQ(0, Fn39Init());
    ASSERT_EQ(0, Fn40Init());
    StopSubdev();
    Fn39Stop();
    Fn40Stop();  // each stop returns only when its thread has ended
}

}  // namespace

// The supervision loop's decisions, driven with fake session operations and a clock that moves
// only when the loop sleeps: days of schedule run in milliseconds.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/Plug.h"

using testsupport::LogCapture;
using testsupport::ReadFile;
using testsupport::TempDir;

namespace {

constexpr int64_t kHour = 3600 * 1000LL;

// A manual clock that runs a callback after every sleep, so a test can end sessions at chosen
// virtual times.
class ScriptClock : public ManualClock {
public:
    std::function<void(int64_t elapsedMs)> onSleep;
    int64_t start = NowMs();
    void SleepMs(int64_t ms) override {
        ManualClock::SleepMs(ms);
        if (onSleep) onSleep(NowMs() - start);
    }
};

struct Fake {
    std::vector<std::string> calls;
    std::vector<std::string> registerAddrs;
    std::function<int(const char*)> registerResult = [](const char*) { return -1; };
    std::function<int()> reloginResult = [] { return -1; };
    std::function<int()> heartbeatResult = [] { return 0; };
    int loginResult = 0;
    int ended = 0;  // what SessionEnded reports; a new registration or login starts afresh
    int resolveResult = 0;
    int commServerResult = 0;
    int subdevResult = 0;
    // Virtual time of the last DeleteServer and ReLogin, and the status file seen by ReLogin.
    int64_t deleteServerAt = -1;
    int64_t reloginAt = -1;
    std::string statusAtRelogin;
    size_t Count(const std::string& name) const {
        size_t n = 0;
        for (const auto& c : calls)
            n += c == name;
        return n;
    }
};

Fake* gFake = nullptr;

AgentOps FakeOps() {
    AgentOps ops{};
    ops.ResetRecvQueue = [] { gFake->calls.push_back("ResetRecvQueue"); };
    ops.InitProtool = [] {
        gFake->calls.push_back("InitProtool");
        return gFake->resolveResult;
    };
    ops.StartEaccess = [] {
        gFake->calls.push_back("StartEaccess");
        return 0;
    };
    ops.CommServerStart = [] {
        gFake->calls.push_back("CommServerStart");
        return gFake->commServerResult;
    };
    ops.Fn39Init = [] {
        gFake->calls.push_back("Fn39Init");
        return 0;
    };
    ops.Fn40Init = [] {
        gFake->calls.push_back("Fn40Init");
        return 0;
    };
    ops.StartSubdev = [] {
        gFake->calls.push_back("StartSubdev");
        return gFake->subdevResult;
    };
    ops.ResetServerContext = [] { gFake->calls.push_back("ResetServerContext"); };
    ops.RegisterStart = [](const char* a) {
        gFake->calls.push_back("RegisterStart");
        gFake->registerAddrs.push_back(a);
        gFake->ended = 0;
        return gFake->registerResult(a);
    };
    ops.LoginStart = [] {
        gFake->calls.push_back("LoginStart");
        return gFake->loginResult;
    };
    ops.ReLogin = [] {
        gFake->calls.push_back("ReLogin");
        gFake->reloginAt = NowMs();
        gFake->statusAtRelogin = ReadFile(Paths().plugStatus);
        gFake->ended = 0;
        return gFake->reloginResult();
    };
    ops.HeartbeatStart = [] {
        gFake->calls.push_back("HeartbeatStart");
        return gFake->heartbeatResult();
    };
    ops.DeleteHeartbear = [] { gFake->calls.push_back("DeleteHeartbear"); };
    ops.SessionEnded = [] { return gFake->ended; };
    ops.DeleteServer = [] {
        gFake->calls.push_back("DeleteServer");
        gFake->deleteServerAt = NowMs();
    };
    ops.ComF_send_pluginstate = [] {
        gFake->calls.push_back("pluginstate");
        return 0u;
    };
    ops.ComF_get_autoreport_conf = [] {
        gFake->calls.push_back("autoreport_conf");
        return 0u;
    };
    ops.dev_fwversion_report = [] {
        gFake->calls.push_back("fwversion");
        return 0;
    };
    ops.ComF_send_calibration = [] { gFake->calls.push_back("calibration"); };
    return ops;
}

class Supervision : public ::testing::Test {
protected:
    void SetUp() override {
        gFake = &fake;
        PathsRelocate(dir.path());
        SetClock(&clock);
        runMode = 1;
        strcpy(RegisterIpAddr1, "10.0.0.1");
        strcpy(RegisterIpAddr2, "10.0.0.2");
    }
    void TearDown() override {
        SetClock(nullptr);
        PathsRelocate("");
        gFake = nullptr;
    }
    std::string Status() { return ReadFile(dir.File("plugstatus")); }

    TempDir dir;
    ScriptClock clock;
    Fake fake;
    LogCapture log{31};
};

TEST_F(Supervision, OnlyServer1NeverTouchesServer2AndTwelfthFailedCycleIsFatal) {
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
    ASSERT_EQ(12u, fake.registerAddrs.size());
    for (const auto& a : fake.registerAddrs)
        EXPECT_EQ("10.0.0.1", a);
    EXPECT_EQ(12u, log.Count("Only server1..."));
    EXPECT_EQ(11u, log.Count("RegisterStart error."));
    EXPECT_TRUE(log.Contains("Register retry more than 10 times, exit !!!"));
    EXPECT_EQ("102\n", Status());
    EXPECT_EQ(0, clock.SleptMs());  // the loop adds no delay between single-attempt cycles
}

TEST_F(Supervision, OnlyServer2NeverTouchesServer1) {
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 2));
    ASSERT_EQ(12u, fake.registerAddrs.size());
    for (const auto& a : fake.registerAddrs)
        EXPECT_EQ("10.0.0.2", a);
}

TEST_F(Supervision, BothResolvedThreeTriesOnServer1FiveSecondsApartThenServer2) {
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 0));
    ASSERT_EQ(48u, fake.registerAddrs.size());
    for (size_t i = 0; i < fake.registerAddrs.size(); ++i)
        EXPECT_EQ(i % 4 == 3 ? "10.0.0.2" : "10.0.0.1", fake.registerAddrs[i]) << i;
    EXPECT_EQ(12 * 3 * 5000, clock.SleptMs());
    // Every attempt starts from a clean session context.
    EXPECT_EQ(48u, fake.Count("ResetServerContext"));
}

TEST_F(Supervision, TestModeUsesOnlyTheLiteralAddress) {
    runMode = 0;
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 0));
    EXPECT_EQ(12u, log.Count("Test Mode!!!"));
    for (const auto& a : fake.registerAddrs)
        EXPECT_EQ("10.0.0.1", a);
}

TEST_F(Supervision, UnknownResolveResultIsFatal) {
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 7));
    EXPECT_TRUE(log.Contains("Dns parse failed, exit!!!"));
    EXPECT_EQ("102\n", Status());
    EXPECT_TRUE(fake.registerAddrs.empty());
}

// Registers once, ends the session at `endAfterMs` of virtual time, then fails every later
// registration so the loop ends.
void OneSession(Fake& fake, ScriptClock& clock, int64_t endAfterMs) {
    auto registrations = std::make_shared<int>(0);
    fake.registerResult = [registrations](const char*) { return (*registrations)++ == 0 ? 0 : -1; };
    auto ended = std::make_shared<bool>(false);
    clock.onSleep = [ended, endAfterMs](int64_t elapsed) {
        if (!*ended && elapsed >= endAfterMs) {
            *ended = true;
            gFake->ended = 1;
        }
    };
}

TEST_F(Supervision, SessionEndingAfter19HoursLogsInAgain) {
    OneSession(fake, clock, 19 * kHour);
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
    EXPECT_EQ(1u, fake.Count("ReLogin"));
    EXPECT_TRUE(log.Contains("ReLogin..."));
    EXPECT_FALSE(log.Contains("Ready to Register ..."));
    // Session end: heartbeat and connection torn down, status 103, then the 20 s pause.
    EXPECT_EQ(1u, fake.Count("DeleteHeartbear"));
    EXPECT_EQ(1u, fake.Count("DeleteServer"));
    EXPECT_EQ("103\n", fake.statusAtRelogin);
    EXPECT_EQ(20000, fake.reloginAt - fake.deleteServerAt);
    EXPECT_EQ(1u + 12u, fake.Count("RegisterStart"));
}

TEST_F(Supervision, SessionEndingAfter20HoursRegistersAgain) {
    OneSession(fake, clock, 20 * kHour);
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
    EXPECT_EQ(0u, fake.Count("ReLogin"));
    EXPECT_TRUE(log.Contains("Ready to Register ..."));
    EXPECT_EQ(1u + 12u, fake.Count("RegisterStart"));
}

TEST_F(Supervision, SessionEndResetsTheFailedCycleCounter) {
    // Five failures, one session, then twelve more failures before the exit: the counter was
    // cleared at the session end.
    int n = 0;
    fake.registerResult = [&n](const char*) { return ++n == 6 ? 0 : -1; };
    bool ended = false;
    clock.onSleep = [&ended](int64_t) {
        if (!ended) {
            ended = true;
            gFake->ended = 1;
        }
    };
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
    EXPECT_EQ(6u + 12u, fake.Count("RegisterStart"));
}

TEST_F(Supervision, ScheduledActionsRunOncePerRegistrationNotAfterReLogin) {
    int registrations = 0;
    fake.registerResult = [&registrations](const char*) { return registrations++ == 0 ? 0 : -1; };
    int relogins = 0;
    fake.reloginResult = [&relogins] { return relogins++ == 0 ? 0 : -1; };
    // End the session at 300 s and again at 1000 s (passes 150 and ~490).
    int ends = 0;
    clock.onSleep = [&ends](int64_t elapsed) {
        if ((ends == 0 && elapsed >= 300000) || (ends == 1 && elapsed >= 1000000)) {
            ++ends;
            gFake->ended = 1;
        }
    };
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
    EXPECT_EQ(2u, fake.Count("ReLogin"));
    EXPECT_EQ(1u, fake.Count("autoreport_conf"));
    EXPECT_EQ(1u, fake.Count("fwversion"));
    EXPECT_EQ(1u, fake.Count("calibration"));
    // Plug-in state: pass 8, each session end, and after the successful re-login.
    EXPECT_EQ(1u + 2u + 1u, fake.Count("pluginstate"));
}

TEST_F(Supervision, ScheduledActionsAtPasses8_9_11_100) {
    fake.registerResult = [](const char*) { return 0; };
    std::vector<std::pair<std::string, int64_t>> seen;
    const int64_t start = clock.NowMs();
    clock.onSleep = [&](int64_t elapsed) {
        if (elapsed >= 210000) gFake->ended = 1;
    };
    fake.reloginResult = [] { return -1; };
    // After the first session the loop registers again forever; stop it with failures.
    int registrations = 0;
    fake.registerResult = [&registrations](const char*) { return registrations++ == 0 ? 0 : -1; };
    auto ops = FakeOps();
    static std::vector<std::pair<std::string, int64_t>>* sSeen;
    static int64_t sStart;
    static ManualClock* sClock;
    sSeen = &seen;
    sStart = start;
    sClock = &clock;
    ops.ComF_get_autoreport_conf = [] {
        sSeen->emplace_back("conf", sClock->NowMs() - sStart);
        return 0u;
    };
    ops.dev_fwversion_report = [] {
        sSeen->emplace_back("fw", sClock->NowMs() - sStart);
        return 0;
    };
    ops.ComF_send_calibration = [] { sSeen->emplace_back("cal", sClock->NowMs() - sStart); };
    EXPECT_EQ(-1, RunSupervisionLoop(ops, 1));
    ASSERT_EQ(3u, seen.size());
    EXPECT_EQ(std::make_pair(std::string("conf"), int64_t{18000}), seen[0]);
    EXPECT_EQ(std::make_pair(std::string("fw"), int64_t{22000}), seen[1]);
    EXPECT_EQ(std::make_pair(std::string("cal"), int64_t{200000}), seen[2]);
    EXPECT_TRUE(log.Contains("Send calibration info."));
}

TEST_F(Supervision, HeartbeatStartFailureAfterFirstLoginWrites102AndTearsDown) {
    int registrations = 0;
    fake.registerResult = [&registrations](const char*) { return registrations++ == 0 ? 0 : -1; };
    fake.heartbeatResult = [] { return -1; };
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
    EXPECT_EQ(1u, fake.Count("DeleteHeartbear"));
    EXPECT_EQ(1u, fake.Count("DeleteServer"));
    EXPECT_TRUE(log.Contains("LoginStart error."));
    // Counter unchanged by the login-side failure: twelve more failed cycles end the process.
    EXPECT_EQ(1u + 12u, fake.Count("RegisterStart"));
}

TEST_F(Supervision, WeeklyExitAtASessionEndWithoutStatusWrite) {
    fake.registerResult = [](const char*) { return 0; };
    clock.onSleep = [](int64_t elapsed) {
        if (elapsed > (302400LL + 2) * 2000) gFake->ended = 1;
    };
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
    EXPECT_TRUE(log.Contains("After a week exit, restart ..."));
    EXPECT_EQ("001\n", Status());
    EXPECT_EQ(0u, fake.Count("DeleteServer"));
}

// The weekly restart is due when the pass counter is above 302400 at a session end: a session
// that ends at pass 302400 is still torn down and followed by a new cycle, one at 302401 ends
// the process.
TEST_F(Supervision, WeeklyExitBoundaryIsPass302401) {
    for (int64_t pass : {302400LL, 302401LL}) {
        log.Clear();
        fake.calls.clear();
        int registrations = 0;
        fake.registerResult = [&registrations](const char*) {
            return registrations++ == 0 ? 0 : -1;
        };
        const int64_t endAt = clock.NowMs() - clock.start + pass * 2000;
        bool ended = false;
        clock.onSleep = [&ended, endAt](int64_t elapsed) {
            if (!ended && elapsed >= endAt) {
                ended = true;
                gFake->ended = 1;
            }
        };
        EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
        const bool exited = pass == 302401;
        EXPECT_EQ(exited, log.Contains("After a week exit, restart ...")) << pass;
        EXPECT_EQ(exited ? 0u : 1u, fake.Count("DeleteServer")) << pass;
        gFake->ended = 0;
    }
}

// A fatal session result (no PIN or serial number, a forced disconnect) ends the loop at once,
// without tearing down or registering again: the entry exits.
TEST_F(Supervision, FatalSessionResultsEndTheLoopAtOnce) {
    static int sWhere;
    for (int where : {0, 1, 2, 3}) {  // RegisterStart, LoginStart, while polling, ReLogin
        sWhere = where;
        fake = Fake();
        auto ops = FakeOps();
        ops.RegisterStart = [](const char*) { return sWhere == 0 ? kPlugFatal : 0; };
        ops.LoginStart = [] { return sWhere == 1 ? kPlugFatal : 0; };
        ops.ReLogin = [] {
            gFake->calls.push_back("ReLogin");
            gFake->ended = 0;
            return kPlugFatal;
        };
        clock.onSleep = [](int64_t) {
            if (gFake->ended == 0) gFake->ended = sWhere == 2 ? kPlugFatal : 1;
        };
        EXPECT_EQ(-1, RunSupervisionLoop(ops, 1)) << where;
        EXPECT_EQ(where == 3 ? 1u : 0u, fake.Count("DeleteServer")) << where;
        EXPECT_EQ(where == 3 ? 1u : 0u, fake.Count("ReLogin")) << where;
        EXPECT_FALSE(log.Contains("RegisterStart error.")) << where;
    }
}

// Start-up: PlugMain with its command line, driven with the same fakes.
class Startup : public Supervision {
protected:
    int Main(std::vector<std::string> args) {
        args.insert(args.begin(), "plugagent");
        std::vector<char*> argv;
        for (auto& a : args)
            argv.push_back(&a[0]);
        argv.push_back(nullptr);
        clock.onSleep = [this](int64_t elapsed) { sleeps.push_back(elapsed); };
        return PlugMain(static_cast<int>(args.size()), argv.data(), FakeOps());
    }
    std::vector<int64_t> sleeps;  // virtual time at the end of each sleep
    void TearDown() override {
        SetLogMask(31);  // the capture restores its own mask; PlugMain changed it meanwhile
        l_debug = 0;
        Supervision::TearDown();
    }
};

TEST_F(Startup, ServicesStartInOrderAfterTheSettings) {
    fake.registerResult = [](const char*) { return -1; };
    EXPECT_EQ(-1, Main({"-d"}));
    const std::vector<std::string> want = {"ResetRecvQueue",  "InitProtool",       "StartEaccess",
                                           "CommServerStart", "Fn39Init",          "Fn40Init",
                                           "StartSubdev",     "ResetServerContext"};
    ASSERT_GE(fake.calls.size(), want.size());
    EXPECT_EQ(want, std::vector<std::string>(fake.calls.begin(), fake.calls.begin() + 8));
    // 50 ms after the version line, then 10 ms before function 39 and before function 40.
    ASSERT_GE(sleeps.size(), 3u);
    EXPECT_EQ((std::vector<int64_t>{50, 60, 70}),
              std::vector<int64_t>(sleeps.begin(), sleeps.begin() + 3));
    EXPECT_TRUE(log.Contains("Log system [debug] working."));
    EXPECT_TRUE(log.Contains("\033[1;32m>>>>>>>>>>>>>>>>> Plugin Version = 2.0.0.7-20221227"));
}

// Wrong options: the identity has been cleared, nothing starts and no status is written.
TEST_F(Startup, WrongOptionsReturnAfterClearingTheIdentity) {
    memset(l_mac, 0xAA, sizeof l_mac);
    memset(gSN, 'S', sizeof gSN);
    EXPECT_EQ(-1, Main({"-m", "0011223344"}));
    for (uint8_t b : l_mac)
        EXPECT_EQ(0, b);
    for (char c : gSN)
        EXPECT_EQ('\0', c);
    EXPECT_TRUE(log.Contains("Error wrong param(s)."));
    EXPECT_TRUE(fake.calls.empty());
    EXPECT_EQ("", Status());
}

TEST_F(Startup, WithoutDebugNotOneLineAfterTheOptions) {
    EXPECT_EQ(-1, Main({}));
    EXPECT_EQ(0u, GetLogMask());
    EXPECT_EQ("", log.Text());
    EXPECT_EQ("102\n", Status());  // the twelfth failed cycle still writes its status
}

// A failing start-up step ends PlugMain right there, with its text and status.
TEST_F(Startup, FailingStepEndsWithItsTextAndStatus) {
    struct Row {
        int* result;
        const char* lastCall;
        const char* text;
        const char* status;
    } rows[] = {{&fake.resolveResult, "InitProtool", "Dns parse failed, exit!!!", "102\n"},
                {&fake.commServerResult, "CommServerStart", "Comm server start error.", ""},
                {&fake.subdevResult, "StartSubdev", "StartSubdev failed.", ""}};
    for (const Row& r : rows) {
        fake.calls.clear();
        log.Clear();
        std::remove(dir.File("plugstatus").c_str());
        *r.result = -1;
        EXPECT_EQ(-1, Main({"-d"}));
        *r.result = 0;
        EXPECT_EQ(r.lastCall, fake.calls.back());
        EXPECT_TRUE(log.Contains(r.text)) << r.lastCall;
        EXPECT_EQ(r.status, Status()) << r.lastCall;
    }
}

}  // namespace

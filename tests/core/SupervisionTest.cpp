// The supervision loop's decisions, driven with fake session operations and a clock that moves
// only when the loop sleeps: days of schedule run in milliseconds.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstring>
#include <functional>
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
    std::vector<int64_t> at;  // virtual time of each call
    std::vector<std::string> registerAddrs;
    std::function<int(const char*)> registerResult = [](const char*) { return -1; };
    std::function<int()> reloginResult = [] { return -1; };
    int heartbeatResult = 0;
    int ended = 0;  // what SessionEnded reports; a new registration or login starts afresh
    int resolveResult = 0, commServerResult = 0, subdevResult = 0;
    std::string statusAtRelogin;
    size_t Count(const std::string& name) const {
        return static_cast<size_t>(std::count(calls.begin(), calls.end(), name));
    }
    int64_t At(const std::string& name) const {  // time of the last such call
        for (size_t i = calls.size(); i-- > 0;)
            if (calls[i] == name) return at[i];
        return -1;
    }
};

Fake* gFake = nullptr;
int64_t gStart = 0;

#define REC(name) (gFake->calls.push_back(name), gFake->at.push_back(NowMs() - gStart))

AgentOps FakeOps() {
    AgentOps ops{};
    ops.ResetRecvQueue = [] { REC("ResetRecvQueue"); };
    ops.InitProtool = [] { return REC("InitProtool"), gFake->resolveResult; };
    ops.StartEaccess = [] { return REC("StartEaccess"), 0; };
    ops.CommServerStart = [] { return REC("CommServerStart"), gFake->commServerResult; };
    ops.Fn39Init = [] { return REC("Fn39Init"), 0; };
    ops.Fn40Init = [] { return REC("Fn40Init"), 0; };
    ops.StartSubdev = [] { return REC("StartSubdev"), gFake->subdevResult; };
    ops.ResetServerContext = [] { REC("ResetServerContext"); };
    ops.RegisterStart = [](const char* a) {
        REC("RegisterStart");
        gFake->registerAddrs.push_back(a);
        gFake->ended = 0;
        return gFake->registerResult(a);
    };
    ops.LoginStart = [] { return REC("LoginStart"), 0; };
    ops.ReLogin = [] {
        REC("ReLogin");
        gFake->statusAtRelogin = ReadFile(Paths().plugStatus);
        gFake->ended = 0;
        return gFake->reloginResult();
    };
    ops.HeartbeatStart = [] { return REC("HeartbeatStart"), gFake->heartbeatResult; };
    ops.DeleteHeartbear = [] { REC("DeleteHeartbear"); };
    ops.SessionEnded = [] { return gFake->ended; };
    ops.DeleteServer = [] { REC("DeleteServer"); };
    ops.ComF_send_pluginstate = [] { return REC("pluginstate"), 0u; };
    ops.ComF_get_autoreport_conf = [] { return REC("autoreport_conf"), 0u; };
    ops.dev_fwversion_report = [] { return REC("fwversion"), 0; };
    ops.ComF_send_calibration = [] { REC("calibration"); };
    return ops;
}

class Supervision : public ::testing::Test {
protected:
    void SetUp() override {
        gFake = &fake;
        gStart = clock.start;
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
    // Only the n-th registration succeeds.
    void RegisterOkAt(size_t n) {
        fake.registerResult = [this, n](const char*) {
            return fake.Count("RegisterStart") == n ? 0 : -1;
        };
    }
    // Ends the session once at each of `ms` of virtual time, in ascending order.
    void EndSessionsAt(const std::vector<int64_t>& ms) {
        clock.onSleep = [this, ms, next = size_t{0}](int64_t elapsed) mutable {
            if (next < ms.size() && elapsed >= ms[next]) ++next, fake.ended = 1;
        };
    }

    testsupport::TempDir dir;
    ScriptClock clock;
    Fake fake;
    LogCapture log{31};
};

// The servers of one cycle per resolve result and mode (both resolved: three tries on server 1,
// 5 s apart, then server 2); the twelfth failed cycle is fatal, without delay.
TEST_F(Supervision, RegistrationCyclesAndTwelfthFailureIsFatal) {
    // servers: the last digit of each address of one cycle.
    struct Row {
        int resolve, mode;
        std::string servers;
        const char* text;
        int64_t sleptMs;
    } rows[] = {{1, 1, "1", "Only server1...", 0},
                {2, 1, "2", "Only server2...", 0},
                {0, 0, "1", "Test Mode!!!", 0},
                {0, 1, "1112", "Register server2...", 12 * 3 * 5000}};
    for (const Row& r : rows) {
        fake = Fake();
        log.Clear();
        runMode = r.mode;
        const int64_t slept = clock.SleptMs();
        EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), r.resolve));
        ASSERT_EQ(12 * r.servers.size(), fake.registerAddrs.size()) << r.text;
        for (size_t i = 0; i < fake.registerAddrs.size(); ++i)
            EXPECT_EQ("10.0.0." + r.servers.substr(i % r.servers.size(), 1), fake.registerAddrs[i])
                << r.text << i;
        // Every attempt starts from a clean session context.
        EXPECT_EQ(fake.registerAddrs.size(), fake.Count("ResetServerContext"));
        EXPECT_EQ(12u, log.Count(r.text));
        EXPECT_EQ(11u, log.Count("RegisterStart error."));
        EXPECT_TRUE(log.Contains("Register retry more than 10 times, exit !!!"));
        EXPECT_EQ("102\n", Status());
        EXPECT_EQ(r.sleptMs, clock.SleptMs() - slept) << r.text;
    }
}

// Configuration at pass 9 (18 s), firmware version at 11 (22 s), calibration at 100 (200 s):
// once per registration, not again after a re-login. The plug-in state goes at pass 8, at each
// session end and after a successful re-login.
TEST_F(Supervision, ScheduledActionsOncePerRegistrationNotAfterReLogin) {
    RegisterOkAt(1);
    fake.reloginResult = [this] { return fake.Count("ReLogin") == 1 ? 0 : -1; };
    EndSessionsAt({300000, 1000000});
    EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1));
    EXPECT_EQ(2u, fake.Count("ReLogin"));
    EXPECT_EQ(1u, fake.Count("autoreport_conf"));
    EXPECT_EQ(1u, fake.Count("fwversion"));
    EXPECT_EQ(1u, fake.Count("calibration"));
    EXPECT_EQ(18000, fake.At("autoreport_conf"));
    EXPECT_EQ(22000, fake.At("fwversion"));
    EXPECT_EQ(200000, fake.At("calibration"));
    EXPECT_EQ(1u + 2u + 1u, fake.Count("pluginstate"));
}

// One session, then registrations fail until the twelfth failed cycle ends the process. A session
// end tears down heartbeat and connection, writes 103 and, 20 s later, logs in again under 20
// hours of session and registers afresh from 20 hours on; it clears the failed-cycle counter. A
// heartbeat that fails to start after the first login tears down without counting a failure. The
// weekly restart is due when the pass counter is above 302400 at a session end: it ends the
// process without tearing down or writing a status.
TEST_F(Supervision, SessionEndsAndWhatFollows) {
    // okRegistration: which RegisterStart succeeds.
    struct Row {
        const char* name; size_t okRegistration; int heartbeat; int64_t endAtMs;
        size_t registers, relogins, deletes; const char *text, *status;
    } rows[] = {
        {"19 h", 1, 0, 19 * kHour, 1 + 12, 1, 1, "ReLogin...", "102\n"},
        {"20 h", 1, 0, 20 * kHour, 1 + 12, 0, 1, "Ready to Register ...", "102\n"},
        {"counter", 6, 0, 0, 6 + 12, 1, 1, "ReLogin...", "102\n"},
        {"heartbeat", 1, -1, 0, 1 + 12, 0, 1, "LoginStart error.", "102\n"},
        {"pass 302400", 1, 0, 302400 * 2000, 1 + 12, 0, 1, "Ready to Register ...", "102\n"},
        {"pass 302401", 1, 0, 302401 * 2000, 1, 0, 0, "After a week exit, restart ...", "001\n"},
    };
    for (const Row& r : rows) {
        fake = Fake();
        log.Clear();
        RegisterOkAt(r.okRegistration);
        fake.heartbeatResult = r.heartbeat;
        EndSessionsAt({clock.NowMs() - clock.start + r.endAtMs});
        EXPECT_EQ(-1, RunSupervisionLoop(FakeOps(), 1)) << r.name;
        EXPECT_EQ(r.registers, fake.Count("RegisterStart")) << r.name;
        EXPECT_EQ(r.relogins, fake.Count("ReLogin")) << r.name;
        EXPECT_EQ(r.deletes, fake.Count("DeleteServer")) << r.name;
        EXPECT_EQ(r.deletes, fake.Count("DeleteHeartbear")) << r.name;
        EXPECT_TRUE(log.Contains(r.text)) << r.name;
        EXPECT_EQ(r.status, Status()) << r.name;
        if (r.relogins > 0) {
            EXPECT_EQ("103\n", fake.statusAtRelogin) << r.name;
            EXPECT_EQ(20000, fake.At("ReLogin") - fake.At("DeleteServer")) << r.name;
        }
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
        ops.ReLogin = [] { return REC("ReLogin"), gFake->ended = 0, kPlugFatal; };
        clock.onSleep = [this](int64_t) {
            if (fake.ended == 0) fake.ended = sWhere == 2 ? kPlugFatal : 1;
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
        auto argv = testsupport::CStrings(args);
        return PlugMain(static_cast<int>(args.size()), argv.data(), FakeOps());
    }
    void TearDown() override {
        SetLogMask(31);  // the capture restores its own mask; PlugMain changed it meanwhile
        l_debug = 0;
        Supervision::TearDown();
    }
};

TEST_F(Startup, ServicesStartInOrderAfterTheSettings) {
    EXPECT_EQ(-1, Main({"-d"}));
    const std::vector<std::string> want = {"ResetRecvQueue",  "InitProtool",       "StartEaccess",
                                           "CommServerStart", "Fn39Init",          "Fn40Init",
                                           "StartSubdev",     "ResetServerContext"};
    fake.calls.resize(want.size());
    EXPECT_EQ(want, fake.calls);
    // 50 ms after the version line, then 10 ms before function 39 and before function 40.
    fake.at.resize(want.size());
    EXPECT_EQ((std::vector<int64_t>{50, 50, 50, 50, 60, 70, 70, 70}), fake.at);
    EXPECT_TRUE(log.Contains("Log system [debug] working."));
    EXPECT_TRUE(log.Contains(">>>>>>>>>>>>>>>>> Plugin Version = 2.0.0.7-20221227"));
}

TEST_F(Startup, WithoutDebugNotOneLineAfterTheOptions) {
    EXPECT_EQ(-1, Main({}));
    EXPECT_EQ(0u, GetLogMask());
    EXPECT_EQ("", log.Text());
    EXPECT_EQ("102\n", Status());  // the twelfth failed cycle still writes its status
}

// A failing start-up step ends PlugMain right there, with its text and status; an unknown resolve
// result ends the loop before its first registration; wrong options end it before any step. The
// identity has been cleared first.
TEST_F(Startup, FailingStepEndsWithItsTextAndStatus) {
    struct Row {
        std::vector<std::string> args;
        int* result;
        int value;
        const char *lastCall, *text, *status;
    } rows[] = {
        {{"-m", "0011223344"}, &fake.resolveResult, 0, "", "Error wrong param(s).", ""},
        {{"-d"}, &fake.resolveResult, -1, "InitProtool", "Dns parse failed, exit!!!", "102\n"},
        {{"-d"}, &fake.resolveResult, 7, "StartSubdev", "Dns parse failed, exit!!!", "102\n"},
        {{"-d"}, &fake.commServerResult, -1, "CommServerStart", "Comm server start error.", ""},
        {{"-d"}, &fake.subdevResult, -1, "StartSubdev", "StartSubdev failed.", ""}};
    for (const Row& r : rows) {
        fake.calls.clear();
        log.Clear();
        std::remove(dir.File("plugstatus").c_str());
        memset(l_mac, 0xAA, sizeof l_mac);
        memset(gSN, 'S', sizeof gSN);
        *r.result = r.value;
        EXPECT_EQ(-1, Main(r.args));
        *r.result = 0;
        EXPECT_EQ(r.lastCall, fake.calls.empty() ? "" : fake.calls.back());
        EXPECT_EQ(std::string(sizeof l_mac, '\0'), std::string(l_mac, l_mac + sizeof l_mac));
        EXPECT_EQ(std::string(sizeof gSN, '\0'), std::string(gSN, gSN + sizeof gSN));
        EXPECT_TRUE(log.Contains(r.text)) << r.lastCall;
        EXPECT_EQ(r.status, Status()) << r.lastCall;
    }
}

}  // namespace

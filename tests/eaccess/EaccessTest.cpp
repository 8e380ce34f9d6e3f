// The access-time service on the clock seam, against the SDK simulator's router state.
#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <ctime>
#include <mutex>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "../rules/RulesTestSupport.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "eaccess/Eaccess.h"
#include "rules/SurfRules.h"

namespace {

using rulestest::Lines;

// Milliseconds of a UTC time in November 2026; the tests run with TZ=UTC.
int64_t Nov2026(int day, int hour, int minute) {
    setenv("TZ", "UTC", 1);
    tzset();
    struct tm t = {};
    t.tm_year = 126, t.tm_mon = 10, t.tm_mday = day, t.tm_hour = hour, t.tm_min = minute;
    return static_cast<int64_t>(timegm(&t)) * 1000;
}

// Timed waits end only when the test grants one (Step), moving "now" on by the period waited
// for, or when the waiter's predicate holds.
class StepClock : public Clock {
public:
    explicit StepClock(int64_t startMs) : now_(startMs) {}
    int64_t NowMs() override { return now_; }
    void SleepMs(int64_t ms) override { now_ += ms; }
    int64_t RealTimeoutMs(int64_t) override { return 0; }
    bool WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, int64_t ms,
                 const std::function<bool()>& pred) override {
        cv_ = &cv, mu_ = lock.mutex(), periodMs = ms;
        ++waits;
        while (!pred()) {
            if (granted_ > 0) {
                --granted_, now_ += ms;
                return pred();
            }
            cv.wait(lock);
        }
        return true;
    }
    void Step() {  // the waiter is in WaitFor
        std::lock_guard<std::mutex> g(*mu_.load());
        ++granted_;
        cv_.load()->notify_all();
    }
    std::atomic<int> waits{0};
    std::atomic<int64_t> periodMs{0};

private:
    std::atomic<int64_t> now_;
    std::atomic<std::condition_variable*> cv_{nullptr};
    std::atomic<std::mutex*> mu_{nullptr};
    int granted_ = 0;  // guarded by the waiter's mutex
};

TEST(Eaccess, RuleSwitchesAccessAroundItsPeriodAndStopEndsTheWait) {
    rulestest::SimRouter router;
    StepClock clock(Nov2026(25, 9, 58));  // a Wednesday; pass k runs at 09:58:00 + k * 30 s
    SetClock(&clock);
    testsupport::LogCapture log;
    ASSERT_EQ(0, StartEaccess());
    ASSERT_TRUE(testsupport::WaitUntil([&] { return clock.waits == 1; }));
    EXPECT_EQ(30000, clock.periodMs);
    ASSERT_EQ(
        0,
        ParseSurfRulesParam(
            rulestest::List({"FLAG=1 MAC=3C:22:FB:91:0A:11 DAY=3 START=10:00 STOP=10:05 ALLOW=1"})
                .c_str()));
    std::vector<size_t> calls;  // setter calls made after each pass
    for (int pass = 1; pass <= 17; ++pass) {
        clock.Step();
        ASSERT_TRUE(testsupport::WaitUntil([&] { return clock.waits == pass + 1; }));
        calls.push_back(router.Calls("set_").size());
    }
    // Blocked at the pass at 10:00:00, allowed again at the one at 10:06:00.
    EXPECT_EQ((std::vector<size_t>{0, 0, 0, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 1, 2, 2}), calls);
    EXPECT_EQ((Lines{"set_dev_access_control 3C:22:FB:91:0A:11 access=0 mode=1",
                     "set_dev_access_control 3C:22:FB:91:0A:11 access=1 mode=1"}),
              router.Calls("set_"));
    StopEaccess();  // inside the 30-second wait, with no period granted
    EXPECT_TRUE(log.Contains("TimeRuleProc return...")) << log.Text();
    EXPECT_EQ(17u, router.Calls("get_devs_cfg").size());
    SetClock(nullptr);
}

TEST(Eaccess, OnePassTouchesOnlyDevicesWhoseStateMustChange) {
    const char* phone = "3C:22:FB:91:0A:11";   // access 1 in the default state
    const char* tablet = "DC:A6:32:01:66:05";  // access 0
    struct PassCase {
        const char* name;
        const char *mac, *days, *start, *stop;
        int day;  // of November 2026, 10:02
        int runMode;
        std::string setter;  // "access=.. mode=.." of the one set_dev_access_control call
    } cases[] = {
        {"test mode leaves the mode flag", phone, "3", "10:00", "10:05", 25, 0, "access=0 mode=0"},
        {"outside its periods a blocked device is let in", tablet, "3", "11:00", "12:00", 25, 1,
         "access=1 mode=1"},
        {"already blocked inside a period", tablet, "3", "10:00", "10:05", 25, 1, ""},
        {"no rule for today", phone, "4", "10:00", "10:05", 25, 1, ""},
        {"Sunday is never enforced", phone, "1234567", "0:00", "23:59", 29, 1, ""},
        {"a period over midnight never matches", phone, "3", "22:00", "10:30", 25, 1, ""},
    };
    for (const PassCase& c : cases) {
        SCOPED_TRACE(c.name);
        rulestest::SimRouter router;
        ManualClock clock(Nov2026(c.day, 10, 2));
        SetClock(&clock);
        runMode = c.runMode;
        hash_table_init();
        CommitSurfRule(1, 1, c.mac, c.days, c.start, c.stop);
        surf_rule_func();
        EXPECT_EQ(c.setter.empty()
                      ? Lines{}
                      : Lines{"set_dev_access_control " + std::string(c.mac) + " " + c.setter},
                  router.Calls("set_"));
    }
    runMode = 1;
    hash_table_init();
    SetClock(nullptr);
}

}  // namespace

// The access-time service on the clock seam: enforcement passes against the SDK simulator's
// state, the 30-second period, and a stop that ends the worker's wait at once.
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

using Calls = std::vector<std::string>;

// Local time is UTC in these tests; the times below are UTC wall-clock times.
int64_t UtcMs(int year, int month, int day, int hour, int minute) {
    struct tm t = {};
    t.tm_year = year - 1900;
    t.tm_mon = month - 1;
    t.tm_mday = day;
    t.tm_hour = hour;
    t.tm_min = minute;
    return static_cast<int64_t>(timegm(&t)) * 1000;
}

class UtcZone {
public:
    UtcZone() {
        const char* tz = getenv("TZ");
        if (tz != nullptr) old_ = tz, hadTz_ = true;
        setenv("TZ", "UTC", 1);
        tzset();
    }
    ~UtcZone() {
        if (hadTz_)
            setenv("TZ", old_.c_str(), 1);
        else
            unsetenv("TZ");
        tzset();
    }

private:
    std::string old_;
    bool hadTz_ = false;
};

// A clock whose timed waits end only when the test grants one period (Step) or the waiter's
// predicate holds; each granted wait moves "now" on by the period waited for.
class StepClock : public Clock {
public:
    explicit StepClock(int64_t startMs) : now_(startMs) {}
    int64_t NowMs() override { return now_; }
    void SleepMs(int64_t ms) override { now_ += ms; }
    int64_t RealTimeoutMs(int64_t) override { return 0; }
    bool WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, int64_t ms,
                 const std::function<bool()>& pred) override {
        cv_ = &cv;
        mu_ = lock.mutex();
        lastPeriodMs_ = ms;
        ++waits_;
        while (!pred()) {
            if (granted_ > 0) {
                --granted_;
                now_ += ms;
                return pred();
            }
            cv.wait(lock);
        }
        return true;
    }
    // Ends the current wait after its full period; the waiter must be in WaitFor.
    void Step() {
        {
            std::lock_guard<std::mutex> g(*mu_.load());
            ++granted_;
        }
        cv_.load()->notify_all();
    }
    int Waits() const { return waits_; }
    int64_t LastPeriodMs() const { return lastPeriodMs_; }

private:
    std::atomic<int64_t> now_;
    std::atomic<std::condition_variable*> cv_{nullptr};
    std::atomic<std::mutex*> mu_{nullptr};
    std::atomic<int> waits_{0};
    std::atomic<int64_t> lastPeriodMs_{0};
    int granted_ = 0;  // guarded by the waiter's mutex
};

const char* const kPhone = "3C:22:FB:91:0A:11";  // access_control 1 in the default state

TEST(Eaccess, RuleSwitchesAccessAtThePassesAroundItsPeriodAndStopEndsTheWait) {
    UtcZone utc;
    rulestest::SimRouter router;
    // Wednesday 25 November 2026, 09:58:00: pass k runs at 09:58:00 + 30 s * k.
    StepClock clock(UtcMs(2026, 11, 25, 9, 58));
    SetClock(&clock);
    testsupport::LogCapture log;
    ASSERT_EQ(0, StartEaccess());
    ASSERT_TRUE(testsupport::WaitUntil([&] { return clock.Waits() == 1; }));
    EXPECT_EQ(30000, clock.LastPeriodMs());
    ASSERT_EQ(0, ParseSurfRulesParam(R"({"LIST":[{"FLAG":"1","MAC":"3C:22:FB:91:0A:11",
        "DAY":"3","START":"10:00","STOP":"10:05","ALLOW":"1"}]})"));
    std::vector<int> access;  // the phone's flag after each pass
    for (int pass = 1; pass <= 17; ++pass) {
        clock.Step();
        ASSERT_TRUE(testsupport::WaitUntil([&] { return clock.Waits() == pass + 1; }));
        access.push_back(router.DeviceValue(kPhone, "access_control"));
    }
    // 09:58:30 ... 09:59:30 allowed; 10:00:00 ... 10:05:30 blocked; 10:06:00 on allowed again.
    const std::vector<int> want = {1, 1, 1, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 1, 1};
    EXPECT_EQ(want, access);
    EXPECT_EQ((Calls{"set_dev_access_control 3C:22:FB:91:0A:11 access=0 mode=1",
                     "set_dev_access_control 3C:22:FB:91:0A:11 access=1 mode=1"}),
              router.Calls("set_"))
        << "no setter is called when nothing changes";
    EXPECT_EQ(17u, router.Calls("get_devs_cfg").size());
    StopEaccess();  // the worker is inside its 30-second wait: no period is granted
    EXPECT_TRUE(log.Contains("TimeRuleProc return..."));
    EXPECT_TRUE(log.Contains("Stop Eaccess success !!!!!"));
    EXPECT_EQ(17u, router.Calls("get_devs_cfg").size());
    SetClock(nullptr);
}

struct PassCase {
    const char* name;
    const char* mac;
    const char* days;
    const char* start;
    const char* stop;
    int64_t nowMs;
    int runMode;
    Calls setters;
};

TEST(Eaccess, OnePassTouchesOnlyDevicesWhoseStateMustChange) {
    UtcZone utc;
    const int64_t wed1002 = UtcMs(2026, 11, 25, 10, 2);
    const int64_t sun1002 = UtcMs(2026, 11, 29, 10, 2);
    const PassCase cases[] = {
        {"inside a period",
         kPhone,
         "3",
         "10:00",
         "10:05",
         wed1002,
         1,
         {"set_dev_access_control 3C:22:FB:91:0A:11 access=0 mode=1"}},
        {"test mode leaves the mode flag",
         kPhone,
         "3",
         "10:00",
         "10:05",
         wed1002,
         0,
         {"set_dev_access_control 3C:22:FB:91:0A:11 access=0 mode=0"}},
        {"outside a period, blocked device",
         "DC:A6:32:01:66:05",
         "3",
         "11:00",
         "12:00",
         wed1002,
         1,
         {"set_dev_access_control DC:A6:32:01:66:05 access=1 mode=1"}},
        {"already blocked inside a period",
         "DC:A6:32:01:66:05",
         "3",
         "10:00",
         "10:05",
         wed1002,
         1,
         {}},
        {"no rule for today", kPhone, "4", "10:00", "10:05", wed1002, 1, {}},
        {"Sunday is never enforced", kPhone, "1234567", "0:00", "23:59", sun1002, 1, {}},
        {"a period over midnight never matches", kPhone, "3", "22:00", "10:30", wed1002, 1, {}},
    };
    for (const PassCase& c : cases) {
        SCOPED_TRACE(c.name);
        rulestest::SimRouter router;
        ManualClock clock(c.nowMs);
        SetClock(&clock);
        runMode = c.runMode;
        hash_table_init();
        CommitSurfRule(1, 1, c.mac, c.days, c.start, c.stop);
        surf_rule_func();
        EXPECT_EQ(c.setters, router.Calls("set_"));
        EXPECT_EQ(1u, router.Calls("get_devs_cfg").size());
    }
    runMode = 1;
    hash_table_init();
    SetClock(nullptr);
}

}  // namespace

// The one clock seam: every "now", sleep and timed wait of the agent goes through here, so that
// tests and demos can run hours of schedule in seconds.
//
// The production clock is real time. PLUG_TIME_SCALE=N in the environment (read once by
// ClockInitFromEnv) makes time run N times faster: sleeps and time-outs last 1/N of their real
// length and "now" advances N seconds per real second. PLUG_TIME_OFFSET=S starts "now" S seconds
// away from the real clock.
#pragma once

#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

class Clock {
public:
    virtual ~Clock() = default;
    // Wall-clock time in milliseconds since the epoch.
    virtual int64_t NowMs() = 0;
    virtual void SleepMs(int64_t ms) = 0;
    // The real number of milliseconds to give a poll()/select() that should wait `ms`.
    virtual int64_t RealTimeoutMs(int64_t ms) = 0;
    // Waits on `cv` (with `lock` held) until `pred` holds or `ms` have passed; returns pred().
    virtual bool WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock,
                         int64_t ms, const std::function<bool()>& pred) = 0;
};

// Real time, optionally scaled (scale > 1 runs faster) and offset.
class ScaledClock : public Clock {
public:
    explicit ScaledClock(double scale = 1.0, int64_t offsetMs = 0);
    int64_t NowMs() override;
    void SleepMs(int64_t ms) override;
    int64_t RealTimeoutMs(int64_t ms) override;
    bool WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, int64_t ms,
                 const std::function<bool()>& pred) override;

private:
    double scale_;
    int64_t offsetMs_;
    int64_t startRealMs_;
};

// Time that moves only when someone sleeps: SleepMs advances "now" at once. For single-threaded
// tests of schedules (the supervision loop).
class ManualClock : public Clock {
public:
    explicit ManualClock(int64_t startMs = 1700000000000LL) : nowMs_(startMs) {}
    int64_t NowMs() override;
    void SleepMs(int64_t ms) override;
    int64_t RealTimeoutMs(int64_t) override { return 0; }
    bool WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, int64_t ms,
                 const std::function<bool()>& pred) override;
    void Advance(int64_t ms);
    int64_t SleptMs() const;

private:
    mutable std::mutex mu_;
    int64_t nowMs_;
    int64_t sleptMs_ = 0;
};

Clock& GetClock();
// Installs `clock` for the whole process (nullptr restores real time). The caller keeps ownership.
void SetClock(Clock* clock);
// Applies PLUG_TIME_SCALE / PLUG_TIME_OFFSET when set; called once by main.
void ClockInitFromEnv();

// Short forms used everywhere.
inline int64_t NowMs() {
    return GetClock().NowMs();
}
inline int64_t NowSec() {
    return GetClock().NowMs() / 1000;
}
inline void SleepMs(int64_t ms) {
    GetClock().SleepMs(ms);
}
inline void SleepSec(int64_t s) {
    GetClock().SleepMs(s * 1000);
}

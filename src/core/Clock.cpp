#include "core/Clock.h"

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace {

int64_t RealNowMs() {
    using namespace std::chrono;
    return duration_cast<milliseconds>(system_clock::now().time_since_epoch()).count();
}

ScaledClock& RealClock() {
    static ScaledClock real;
    return real;
}

std::atomic<Clock*> gClock{nullptr};

}  // namespace

ScaledClock::ScaledClock(double scale, int64_t offsetMs)
    : scale_(scale > 0 ? scale : 1.0), offsetMs_(offsetMs), startRealMs_(RealNowMs()) {}

int64_t ScaledClock::NowMs() {
    int64_t real = RealNowMs();
    if (scale_ == 1.0) return real + offsetMs_;
    return startRealMs_ + offsetMs_ + static_cast<int64_t>((real - startRealMs_) * scale_);
}

int64_t ScaledClock::RealTimeoutMs(int64_t ms) {
    if (ms <= 0) return 0;
    int64_t real = static_cast<int64_t>(ms / scale_);
    return real < 1 ? 1 : real;
}

void ScaledClock::SleepMs(int64_t ms) {
    if (ms <= 0) return;
    auto us = static_cast<int64_t>(ms * 1000.0 / scale_);
    std::this_thread::sleep_for(std::chrono::microseconds(us < 1 ? 1 : us));
}

bool ScaledClock::WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock,
                          int64_t ms, const std::function<bool()>& pred) {
    auto us = static_cast<int64_t>((ms < 0 ? 0 : ms) * 1000.0 / scale_);
    return cv.wait_for(lock, std::chrono::microseconds(us), pred);
}

int64_t ManualClock::NowMs() {
    std::lock_guard<std::mutex> g(mu_);
    return nowMs_;
}

void ManualClock::SleepMs(int64_t ms) {
    if (ms > 0) Advance(ms);
    std::lock_guard<std::mutex> g(mu_);
    sleptMs_ += ms > 0 ? ms : 0;
}

bool ManualClock::WaitFor(std::condition_variable&, std::unique_lock<std::mutex>& lock, int64_t ms,
                          const std::function<bool()>& pred) {
    if (pred()) return true;
    lock.unlock();
    SleepMs(ms);
    lock.lock();
    return pred();
}

void ManualClock::Advance(int64_t ms) {
    std::lock_guard<std::mutex> g(mu_);
    nowMs_ += ms;
}

int64_t ManualClock::SleptMs() const {
    std::lock_guard<std::mutex> g(mu_);
    return sleptMs_;
}

Clock& GetClock() {
    Clock* c = gClock.load(std::memory_order_acquire);
    return c ? *c : RealClock();
}

void SetClock(Clock* clock) {
    gClock.store(clock, std::memory_order_release);
}

void ClockInitFromEnv() {
    const char* scale = std::getenv("PLUG_TIME_SCALE");
    const char* offset = std::getenv("PLUG_TIME_OFFSET");
    if (!scale && !offset) return;
    double s = scale ? std::atof(scale) : 1.0;
    int64_t off = offset ? std::atoll(offset) * 1000 : 0;
    static ScaledClock env(s > 0 ? s : 1.0, off);
    SetClock(&env);
}

#include "platform/SessionState.h"

#include "core/Clock.h"
#include "core/Globals.h"

using namespace limits;

void SessionState::Set(const std::function<void()>& change) {
    {
        std::lock_guard<std::mutex> g(mu_);
        change();
    }
    cv_.notify_all();
}

bool SessionState::Wait(int64_t ms, const std::function<bool()>& done) {
    std::unique_lock<std::mutex> lock(mu_);
    return GetClock().WaitFor(cv_, lock, ms, done);
}

void SessionState::BeginRegistration() {
    Set([this] {
        target_ = LoginTarget();
        registered_ = false;
        mLogin = 0;
        end_ = SessionEnd::kRunning;
    });
}

void SessionState::BeginLogin() {
    Set([this] {
        mLogin = 0;
        end_ = SessionEnd::kRunning;
    });
}

void SessionState::Reset() {
    Set([this] {
        target_ = LoginTarget();
        registered_ = false;
        mLogin = 0;
        end_ = SessionEnd::kRunning;
        heartTime_ = 0;
        activity_ = false;
        heartInterval_ = kDefaultHeartInterval;
    });
}

void SessionState::RegisterAnswer(const LoginTarget& target) {
    Set([this, &target] {
        target_ = target;
        registered_ = true;
    });
}

void SessionState::LoginAnswer(int heartInterval) {
    Set([this, heartInterval] {
        heartInterval_ = heartInterval > kMinHeartInterval - 1 ? heartInterval : kMinHeartInterval;
        mLogin = 1;
    });
}

void SessionState::LoginRefused() {
    Set([this] {
        if (end_ == SessionEnd::kRunning) end_ = SessionEnd::kOver;
    });
}

bool SessionState::LinkLost(const std::function<void()>& report) {
    bool reported = false;
    Set([this, &report, &reported] {
        mLogin = 0;
        if (end_ == SessionEnd::kForcedOff) return;
        if (report) report();
        end_ = SessionEnd::kOver;
        reported = true;
    });
    return reported;
}

void SessionState::ForcedDisconnect(const std::function<void()>& report) {
    Set([this, &report] {
        mLogin = 0;
        if (report) report();
        end_ = SessionEnd::kForcedOff;
    });
}

// No waiter waits for a heartbeat answer: no notify, so that the heartbeat and check threads
// sleep through it.
void SessionState::HeartbeatAnswer(int64_t nowSec) {
    std::lock_guard<std::mutex> g(mu_);
    heartTime_ = nowSec;
    activity_ = true;
}

void SessionState::PlatformActivity() {
    std::lock_guard<std::mutex> g(mu_);
    activity_ = true;
}

void SessionState::HeartbeatSent() {
    std::lock_guard<std::mutex> g(mu_);
    activity_ = false;
}

// Notifies the waiters only when the session ends; a passed check changes nothing they wait for.
bool SessionState::CheckHeartbeat(int64_t nowSec) {
    {
        std::lock_guard<std::mutex> g(mu_);
        bool lost = !activity_ && heartTime_ != 0 &&
                    nowSec - heartTime_ > 3 * static_cast<int64_t>(heartInterval_);
        if (!lost) return false;
        mLogin = 0;
        if (end_ == SessionEnd::kRunning) end_ = SessionEnd::kOver;
    }
    cv_.notify_all();
    return true;
}

SessionEnd SessionState::End() {
    std::lock_guard<std::mutex> g(mu_);
    return end_;
}

bool SessionState::Registered() {
    std::lock_guard<std::mutex> g(mu_);
    return registered_;
}

LoginTarget SessionState::Target() {
    std::lock_guard<std::mutex> g(mu_);
    return target_;
}

int SessionState::HeartInterval() {
    std::lock_guard<std::mutex> g(mu_);
    return heartInterval_;
}

int64_t SessionState::LastHeartbeatAnswer() {
    std::lock_guard<std::mutex> g(mu_);
    return heartTime_;
}

void SessionState::WaitRegistered(int64_t ms) {
    Wait(ms, [this] { return registered_ || end_ != SessionEnd::kRunning; });
}

void SessionState::WaitLoggedIn(int64_t ms) {
    Wait(ms, [this] { return mLogin == 1 || end_ != SessionEnd::kRunning; });
}

bool SessionState::WaitOverOrStop(int64_t ms, const std::atomic<int>& stop) {
    return Wait(ms, [this, &stop] { return stop == 1 || end_ != SessionEnd::kRunning; });
}

void SessionState::Wake() {
    Set([] {});
}

SessionState& PlatformSession() {
    static SessionState state;
    return state;
}

#include "lan/RunGate.h"

#include "core/Clock.h"

bool RunGate::WaitUntil(int64_t ms, const std::function<bool()>& pred) {
    std::unique_lock<std::mutex> lock(mu_);
    GetClock().WaitFor(cv_, lock, ms, [&] { return run_.load() == 0 || pred(); });
    return run_.load() == 1;
}

void RunGate::Notify(const std::function<void()>& change) {
    {
        std::lock_guard<std::mutex> g(mu_);
        change();
    }
    cv_.notify_all();
}

void RunGate::Set(int v) {
    Notify([&] { run_.store(v); });
}

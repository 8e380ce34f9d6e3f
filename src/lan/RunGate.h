// The run flag of one LAN service thread with the event that wakes it: sleeps and waits of the
// thread go through the clock seam on the gate's condition variable, so Stop() ends any of them
// at once.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

class RunGate {
public:
    void Start() { Set(1); }
    void Stop() { Set(0); }
    int load() const { return run_.load(); }
    // Sleeps `ms`; false (at once) when the gate is stopped.
    bool Sleep(int64_t ms) {
        return WaitUntil(ms, [] { return false; });
    }
    // Waits until `pred` holds, the gate stops or `ms` pass. false when the gate stopped.
    bool WaitUntil(int64_t ms, const std::function<bool()>& pred);
    // Wakes a waiter after a change of the state that its predicate reads; `change` runs under
    // the gate's lock so that the waiter cannot miss it.
    void Notify(const std::function<void()>& change);

private:
    void Set(int v);

    std::atomic<int> run_{0};
    std::mutex mu_;
    std::condition_variable cv_;
};

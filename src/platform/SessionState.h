// The platform session's state and its one owner. The link's threads, the frame handler and
// the session steps change it only through the named events below; the supervision loop reads
// what it needs (through AgentOps). Every change wakes the waits that depend on it.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <functional>
#include <mutex>

#include "core/Limits.h"

// Where to log in, from the register answer.
struct LoginTarget {
    char server[limits::kIpTextSize] = {0};  // "%d.%d.%d.%d"
    int port = 0;
    uint8_t token[32] = {0};
};

// How the current session stands, as the supervision loop sees it.
enum class SessionEnd {
    kRunning = 0,
    kOver = 1,       // peer closed, network error, heartbeat lost, login refused
    kForcedOff = 2,  // the platform forced a disconnect: the process is to end
};

class SessionState {
public:
    // A new registration attempt: target cleared, not registered, not logged in, running.
    void BeginRegistration();
    // A new login to the current target: not logged in, running.
    void BeginLogin();
    // Back to the state after start-up (heartbeat period 50, nothing received).
    void Reset();

    // Events.
    void RegisterAnswer(const LoginTarget& target);
    void LoginAnswer(int heartInterval);  // an interval of 19 or less becomes 20
    void LoginRefused();                  // a login answer without data
    // The connection is lost. `report` (the status write) runs under the state's lock before the
    // end is visible, unless the process is already to end; false then.
    bool LinkLost(const std::function<void()>& report = nullptr);
    // `report` runs under the state's lock, so a lost link never overwrites what it wrote.
    void ForcedDisconnect(const std::function<void()>& report = nullptr);
    void HeartbeatAnswer(int64_t nowSec);
    void PlatformActivity();  // a request or reply arrived
    void HeartbeatSent();
    // The check thread's test at `nowSec`: true (and the session over) when nothing arrived
    // since the last heartbeat and the last answer is older than three periods; never before
    // the first answer.
    bool CheckHeartbeat(int64_t nowSec);

    // Reads.
    SessionEnd End();
    bool Registered();
    LoginTarget Target();
    int HeartInterval();
    int64_t LastHeartbeatAnswer();

    // Waits (clock seam) up to `ms` for the register answer, resp. the login answer, or the end
    // of the attempt.
    void WaitRegistered(int64_t ms);
    void WaitLoggedIn(int64_t ms);
    // Waits up to `ms` until the session is over or `stop` is set. true when either holds.
    bool WaitOverOrStop(int64_t ms, const std::atomic<int>& stop);
    // Wakes the waits after a thread's stop flag was set.
    void Wake();

private:
    void Set(const std::function<void()>& change);
    bool Wait(int64_t ms, const std::function<bool()>& done);

    std::mutex mu_;
    std::condition_variable cv_;
    bool registered_ = false;
    SessionEnd end_ = SessionEnd::kRunning;
    LoginTarget target_;
    int heartInterval_ = limits::kDefaultHeartInterval;
    int64_t heartTime_ = 0;  // seconds of the last heartbeat answer; 0 none yet
    bool activity_ = false;  // something arrived since the last heartbeat was sent
};

// The one platform session of the process.
SessionState& PlatformSession();

#include "eaccess/Eaccess.h"

#include <condition_variable>
#include <mutex>
#include <system_error>
#include <thread>

#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/Status.h"
#include "core/Thread.h"
#include "rules/SurfTable.h"

std::atomic<int> pollRun{0};

namespace {

std::thread eaccess_thread;
std::mutex gWakeMu;  // with gWakeCv: wakes the worker's 30-second wait when the service stops
std::condition_variable gWakeCv;

// The start parameters; none of them changes the enforcement.
std::atomic<int> gParamA{0};
std::atomic<int> gParamB{0};
std::atomic<int> gParamC{0};

// Extension points of the start-up: both do nothing and succeed.
int EaccessInitHook(const char* /*text*/) {
    return 0;
}
int EaccessDaemonInit(int /*param*/) {
    return 0;
}

bool JoinLogged(std::thread& t) {
    try {
        t.join();
        return true;
    } catch (const std::system_error&) {
        LOGE(" thread is not exit...");
        return false;
    }
}

// The stop step: clear the run flag, wake the worker, give it its moment.
void StopPoll() {
    {
        std::lock_guard<std::mutex> g(gWakeMu);
        pollRun = 0;
    }
    gWakeCv.notify_all();
    SleepMs(limits::kEaccessStopSettleMs);
}

}  // namespace

int StartEaccess() {
    if (eaccess_thread.joinable()) return 0;
    // Set here rather than on the service thread, so that a stop coming at once is not undone.
    pollRun = 1;
    if (!StartNamedThread(&eaccess_thread, "EaccessThread", [] { EaccessThread(); })) {
        pollRun = 0;
        LOGE("Create EaccessThread feiled !!!!!");
        return WritePlugStatus(limits::kStatusFatal);
    }
    return 0;
}

void StopEaccess() {
    if (!eaccess_thread.joinable()) return;
    StopPoll();
    JoinLogged(eaccess_thread);
    LOGD("Stop Eaccess success !!!!!");
}

int EaccessThread() {
    no_feeling_daemon(limits::kEaccessParamA, limits::kEaccessParamB, limits::kEaccessParamC);
    return 0;
}

int no_feeling_daemon(int a, int b, int c) {
    char hello[] = "helloworld";
    EaccessInitHook(hello);
    gParamA = a;
    gParamB = b;
    gParamC = c;
    std::thread epoll;
    if (!StartNamedThread(&epoll, "thread_epoll", [] { thread_epoll(gParamC); })) return -3;
    {
        std::lock_guard<std::mutex> table(SurfRuleMutex);
        hash_table_init();
    }
    std::thread worker;
    if (!StartNamedThread(&worker, "TimeRuleProc", [] { TimeRuleProc(); })) {
        LOGE("create TimeRuleProc error!");
        JoinLogged(epoll);
        return -3;
    }
    LOGD("create TimeRuleProc ok!");
    JoinLogged(epoll);
    if (!JoinLogged(worker)) return -7;
    return 0;
}

void thread_epoll(int param) {
    if (EaccessDaemonInit(param) < 0) LOGD(" daemon init error");
}

int TimeRuleProc() {
    LOGD("TimeRuleProc runing...");
    while (pollRun) {
        {
            std::unique_lock<std::mutex> lock(gWakeMu);
            GetClock().WaitFor(gWakeCv, lock, limits::kEaccessPassPeriodMs,
                               [] { return pollRun == 0; });
        }
        if (!pollRun) break;
        surf_rule_func();
    }
    LOGD("TimeRuleProc return...");
    return 0;
}

#include "functions/DiagTrace.h"

#include <signal.h>

#include <atomic>
#include <condition_variable>
#include <cstdio>
#include <memory>
#include <mutex>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/Process.h"
#include "core/Thread.h"

namespace {

// The traceroute job. The flags are shared by the dispatcher, the worker and the watchdog; the
// running child is handed over under the lock, which the watchdog also waits on.
struct TraceJob {
    std::atomic<int> running{0};   // set by the starter, cleared by the worker at its end
    std::atomic<int> pending{0};   // 1 while the watchdog must watch; 0 ends the watchdog
    std::atomic<int> joinable{0};  // set by the starter, cleared by whoever joins
    std::thread traceThreadId;     // started and joined by the dispatcher only
    std::thread killTraceId;
    std::mutex mu;
    std::condition_variable pendingCleared;
    Process* child = nullptr;  // guarded by mu: the running traceroute
    bool stop = false;         // guarded by mu: the job was stopped before its tool started
};

// Never destroyed: a worker may still be joinable when the process exits.
TraceJob& Job() {
    static TraceJob* job = new TraceJob;
    return *job;
}

void ClearPending(TraceJob& job) {
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.pending = 0;
    }
    job.pendingCleared.notify_all();
}

void TracerouteThread(const std::string& address) {
    TraceJob& job = Job();
    std::vector<std::string> argv = {"traceroute", "-n", address};
    LOGD("%s > %s", CommandText(argv).c_str(), Paths().tracerouteFile.c_str());
    Process trace;
    bool started = false;
    {
        std::lock_guard<std::mutex> g(job.mu);
        if (!job.stop) {
            started = trace.Start(argv, {ProcessOutput::kFile, Paths().tracerouteFile}) == 0;
            if (started) job.child = &trace;
        }
    }
    if (started) trace.Wait();
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.child = nullptr;
    }
    ClearPending(job);
    job.running = 0;
}

// "killall -9 traceroute" as the product does, and the agent's own traceroute killed for sure
// (its worker reaps it).
void KillTraceroute() {
    std::vector<std::string> argv = {"killall", "-9", "traceroute"};
    LOGD("%s", CommandText(argv).c_str());
    RunProcess(argv);
    TraceJob& job = Job();
    std::lock_guard<std::mutex> g(job.mu);
    job.stop = true;
    if (job.child != nullptr) job.child->Signal(SIGKILL);
}

// The watchdog: waits up to 500 seconds for the traceroute to end.
void KillTrace500s() {
    TraceJob& job = Job();
    bool ended;
    {
        std::unique_lock<std::mutex> lock(job.mu);
        ended = GetClock().WaitFor(job.pendingCleared, lock, limits::kTraceWatchdogMs,
                                   [&job] { return job.pending == 0; });
    }
    if (!ended) {
        KillTraceroute();
        LOGD("kill traceroute");
    }
    LOGD("Exit killTrace");
}

void JoinFinished(TraceJob& job) {
    job.joinable = 0;
    job.traceThreadId.join();
    if (job.killTraceId.joinable()) job.killTraceId.join();
}

}  // namespace

int TraceStart(const std::string& address) {
    TraceJob& job = Job();
    if (job.running) return 1;
    if (job.joinable) JoinFinished(job);
    job.running = 1;
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.stop = false;
        job.pending = 1;
    }
    if (!StartNamedThread(&job.traceThreadId, "traceroute",
                          [address] { TracerouteThread(address); })) {
        LOGE("Create TracerouteThread Failed.");
        job.pending = 0;
        job.running = 0;
        return 1;
    }
    job.joinable = 1;
    if (!StartNamedThread(&job.killTraceId, "killtrace", KillTrace500s)) {
        LOGE("Create KillTrace500s Failed.");
        return 1;
    }
    return 0;
}

int TraceFetch(std::string* text) {
    TraceJob& job = Job();
    if (job.joinable) {
        KillTraceroute();
        JoinFinished(job);
    }
    const std::string& path = Paths().tracerouteFile;
    std::unique_ptr<FILE, int (*)(FILE*)> f(fopen(path.c_str(), "rb"), fclose);
    if (!f) {
        LOGE("Open %s Failed.", path.c_str());
        return -1;
    }
    char buf[limits::kDiagResultSize] = {};
    size_t n = fread(buf, 1, sizeof buf - 1, f.get());
    text->assign(buf, n);
    return 0;
}

void TraceReset() {
    TraceJob& job = Job();
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.stop = true;
        if (job.child != nullptr) job.child->Signal(SIGKILL);
    }
    if (job.joinable) JoinFinished(job);
    std::lock_guard<std::mutex> g(job.mu);
    job.stop = false;
}

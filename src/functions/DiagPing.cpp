#include "functions/DiagPing.h"

#include <signal.h>

#include <atomic>
#include <cstring>
#include <mutex>
#include <thread>
#include <vector>

#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/Process.h"
#include "core/Thread.h"

namespace {

// The ping job. The flags are read by the dispatcher while the worker writes them; the result
// text and the running child are handed over under the lock.
struct PingJob {
    std::atomic<int> running{0};   // set by the starter, cleared by the worker at its end
    std::atomic<int> status{0};    // 1 while a ping runs or when it could not be started
    std::atomic<int> joinable{0};  // set by the starter, cleared by whoever joins
    std::thread pingThreadId;      // started and joined by the dispatcher only
    std::mutex mu;
    std::string gPingResult;   // guarded by mu
    Process* child = nullptr;  // guarded by mu: the running ping, for PingReset
    bool stop = false;         // guarded by mu: PingReset asked the worker to end
};

// Never destroyed: a worker may still be joinable when the process exits.
PingJob& Job() {
    static PingJob* job = new PingJob;
    return *job;
}

bool IsReplyLine(const std::string& line) {
    return line.find("ttl") != std::string::npos || line.find("TTL") != std::string::npos;
}

}  // namespace

int PopenParsePing(int size, int count, const char* address) {
    PingJob& job = Job();
    job.status = 1;
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.gPingResult.clear();
    }
    int n = count >= limits::kPingMaxCount ? limits::kPingMaxCount : count;
    std::vector<std::string> argv = {"ping", "-s", std::to_string(size), "-c", std::to_string(n),
                                     address};
    LOGD("ping --------------%s", CommandText(argv).c_str());

    Process ping;
    {
        std::lock_guard<std::mutex> g(job.mu);
        if (job.stop || ping.Start(argv, {ProcessOutput::kPipe, ""}) != 0) {
            LOGE("popen failed");
            return -1;
        }
        job.child = &ping;
    }
    std::string text;
    std::string line;
    for (;;) {
        SleepMs(limits::kPingReadPauseMs);
        if (!ping.ReadLine(&line, limits::kPingLineMax)) break;
        if (IsReplyLine(line)) continue;
        line += '\n';
        if (text.size() + line.size() >= limits::kDiagResultSize) break;
        text += line;
    }
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.gPingResult = text;
    }
    job.status = 0;
    LOGD("------------ping len =%d,result = %s", static_cast<int>(text.size()), text.c_str());
    ping.CloseOutput();
    int rc = ping.Wait();
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.child = nullptr;
    }
    if (rc < 0) {
        LOGE("pclose failed");
        return -2;
    }
    return 0;
}

int PingStart(int size, int count, const std::string& address) {
    PingJob& job = Job();
    if (job.running) return 1;
    if (job.joinable) {
        job.joinable = 0;
        job.pingThreadId.join();
    }
    job.running = 1;
    job.status = 1;
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.stop = false;
    }
    bool started = StartNamedThread(&job.pingThreadId, "ping", [size, count, address] {
        PopenParsePing(size, count, address.c_str());
        Job().running = 0;
    });
    if (!started) {
        LOGE("Created to pingThreadId Failed.");
        job.running = 0;
        return 1;
    }
    job.joinable = 1;
    return 0;
}

int PingFetch(std::string* text) {
    PingJob& job = Job();
    int status = job.status;
    if (status == 0) {
        std::lock_guard<std::mutex> g(job.mu);
        *text = job.gPingResult;
    }
    if (job.joinable && !job.running) {
        job.joinable = 0;
        job.pingThreadId.join();
    }
    return status;
}

void PingReset() {
    PingJob& job = Job();
    {
        std::lock_guard<std::mutex> g(job.mu);
        job.stop = true;
        if (job.child != nullptr) job.child->Signal(SIGKILL);
    }
    if (job.joinable) {
        job.joinable = 0;
        job.pingThreadId.join();
    }
    std::lock_guard<std::mutex> g(job.mu);
    job.gPingResult.clear();
    job.status = 0;
    job.stop = false;
}

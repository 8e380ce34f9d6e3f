// Idle footprint: the agent binary (logging off, real time) logs in to the platform simulator
// with a heartbeat interval of 20 s, a companion simulator connects, and once idle the bench
// samples for N seconds the voluntary context switches of every agent thread (from
// /proc/PID/task/*/status), Private_Dirty (/proc/PID/smaps_rollup), VmRSS and the thread count.
// Then it makes `calls` function calls and samples the private memory again.
//
// usage: footprint_bench [seconds (60)] [calls (1000)]
//   CI runs it with "3 50": a short run that shows the bench still works.
#include <dirent.h>
#include <unistd.h>

#include <atomic>
#include <cctype>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <thread>

#include "CompanionSim.h"
#include "PlatformSim.h"
#include "TestSupport.h"

namespace {

constexpr const char* kKey = "bench-key-01234";

// A "Key:   value kB" or "Key: value" field of a /proc file; -1 when absent.
long ProcField(const std::string& path, const std::string& key) {
    std::ifstream in(path);
    std::string line;
    while (std::getline(in, line)) {
        if (line.compare(0, key.size() + 1, key + ":") == 0)
            return strtol(line.c_str() + key.size() + 1, nullptr, 10);
    }
    return -1;
}

std::string ThreadName(const std::string& taskDir) {
    std::ifstream in(taskDir + "/comm");
    std::string name;
    std::getline(in, name);
    return name;
}

// Voluntary context switches of each thread, keyed by "tid name".
std::map<std::string, long> Switches(pid_t pid) {
    std::map<std::string, long> out;
    std::string base = "/proc/" + std::to_string(pid) + "/task";
    DIR* d = opendir(base.c_str());
    if (!d) return out;
    while (dirent* e = readdir(d)) {
        if (e->d_name[0] == '.') continue;
        std::string dir = base + "/" + e->d_name;
        long v = ProcField(dir + "/status", "voluntary_ctxt_switches");
        if (v >= 0) out[std::string(e->d_name) + " " + ThreadName(dir)] = v;
    }
    closedir(d);
    return out;
}

struct Memory {
    long privateDirtyKb, rssKb, threads;
};

Memory Sample(pid_t pid) {
    std::string p = "/proc/" + std::to_string(pid);
    return {ProcField(p + "/smaps_rollup", "Private_Dirty"), ProcField(p + "/status", "VmRSS"),
            ProcField(p + "/status", "Threads")};
}

// Private_Dirty by mapping: file name, [heap], [stack] or "anon" (thread stacks, malloc arenas).
void PrintBreakdown(pid_t pid) {
    std::ifstream in("/proc/" + std::to_string(pid) + "/smaps");
    std::map<std::string, long> kb;
    std::string line, name;
    while (std::getline(in, line)) {
        if (line.empty()) continue;
        if (isxdigit(static_cast<unsigned char>(line[0])) && line.find('-') < 16) {
            std::istringstream f(line);
            std::string range, perms, off, dev, inode;
            f >> range >> perms >> off >> dev >> inode;
            std::getline(f, name);
            size_t b = name.find_first_not_of(' ');
            name = b == std::string::npos ? "anon" : name.substr(b);
            size_t slash = name.rfind('/');
            if (slash != std::string::npos) name = name.substr(slash + 1);
        } else if (line.compare(0, 14, "Private_Dirty:") == 0) {
            kb[name] += strtol(line.c_str() + 14, nullptr, 10);
        }
    }
    printf("Private_Dirty by mapping:\n");
    for (const auto& e : kb)
        if (e.second > 0) printf("  %-36s %6ld kB\n", e.first.c_str(), e.second);
}

struct ReplyCounter {
    std::mutex mu;
    std::condition_variable cv;
    size_t count = 0;
    bool Hook(const psim::DecodedFrame& f) {
        if (f.raw.MsgType() != 26) return false;
        {
            std::lock_guard<std::mutex> g(mu);
            ++count;
        }
        cv.notify_all();
        return true;
    }
    bool WaitFor(size_t n) {
        std::unique_lock<std::mutex> lock(mu);
        return cv.wait_for(lock, std::chrono::seconds(5), [&] { return count >= n; });
    }
    size_t Count() {
        std::lock_guard<std::mutex> g(mu);
        return count;
    }
};

}  // namespace

int main(int argc, char** argv) {
    int seconds = argc > 1 ? atoi(argv[1]) : 60;
    int calls = argc > 2 ? atoi(argv[2]) : 1000;
    if (seconds < 1 || calls < 0) {
        fprintf(stderr, "usage: footprint_bench [seconds] [calls]\n");
        return 2;
    }
    // A freshly linked binary's page-cache pages are dirty until written back, and smaps counts
    // them as Private_Dirty of the agent's text: write them back first.
    sync();
    testsupport::TempDir dir;
    psim::SimSettings s;
    s.key = kKey;
    s.interval = 20;
    psim::PlatformSim sim(s);
    ReplyCounter replies;
    sim.SetFrameHook([&](const psim::DecodedFrame& f) { return replies.Hook(f); });
    if (sim.Start() != 0) return 1;
    testsupport::WriteFile(dir.File("plug.conf"),
                           std::string("[Dev]\nPIN=123456789012\n[Protool]\nKEY=") + kKey +
                               "\nSERVER1=127.0.0.1\nPORT=" + std::to_string(sim.RegPort()) + "\n");
    testsupport::Child agent({PLUG_AGENT_PATH, "-f", dir.File("plug.conf"), "-m", "A1B2C3D4E5F6"},
                             {{"PLUG_RUNTIME_DIR", dir.path()}}, dir.File("agent.log"));
    if (!sim.WaitForLine("type=1 ", 1, 30000)) {
        fprintf(stderr, "agent did not log in\n");
        return 1;
    }
    FILE* out = fopen(dir.File("companion.out").c_str(), "w");
    if (!out) return 1;
    companionsim::CompanionSim companion(out);
    int rc = -1;
    for (int i = 0; i < 100 && rc != 0; ++i) {
        rc = companion.Connect(dir.File("CommServer"));
        if (rc != 0) std::this_thread::sleep_for(std::chrono::milliseconds(100));
    }
    if (rc != 0) {
        fprintf(stderr, "companion could not connect\n");
        return 1;
    }
    std::atomic<int> run{1};
    std::thread serve([&] { companion.Run(run); });
    // Idle: the start-up reports and the first heartbeat are over.
    std::this_thread::sleep_for(std::chrono::seconds(3));

    pid_t pid = agent.pid();
    Memory m0 = Sample(pid);
    std::map<std::string, long> before = Switches(pid);
    auto t0 = std::chrono::steady_clock::now();
    std::this_thread::sleep_for(std::chrono::seconds(seconds));
    std::map<std::string, long> after = Switches(pid);
    double span = std::chrono::duration<double>(std::chrono::steady_clock::now() - t0).count();
    Memory m1 = Sample(pid);

    printf("idle %.1f s, logged in (heartbeat 20 s), companion connected\n", span);
    printf("%-8s %-16s %10s %12s\n", "tid", "thread", "wake-ups", "wake-ups/s");
    long total = 0;
    for (const auto& a : after) {
        auto b = before.find(a.first);
        long n = a.second - (b == before.end() ? 0 : b->second);
        total += n;
        std::istringstream id(a.first);
        std::string tid, name;
        id >> tid;
        std::getline(id, name);
        printf("%-8s %-16s %10ld %12.2f\n", tid.c_str(), name.c_str() + 1, n, n / span);
    }
    printf("%-25s %10ld %12.2f\n", "total", total, total / span);
    printf("memory idle start: Private_Dirty %ld kB, VmRSS %ld kB, threads %ld\n",
           m0.privateDirtyKb, m0.rssKb, m0.threads);
    printf("memory idle end:   Private_Dirty %ld kB, VmRSS %ld kB, threads %ld\n",
           m1.privateDirtyKb, m1.rssKb, m1.threads);
    PrintBreakdown(pid);

    if (calls > 0) {
        // Function 89: no table handles it, so every call is answered (code 7 and "parser error").
        size_t base = replies.Count();
        sim.Call(89, {});
        if (!replies.WaitFor(base + 1)) {
            fprintf(stderr, "no reply to a function call\n");
            return 1;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
        size_t perCall = replies.Count() - base;
        for (int i = 1; i < calls; ++i) {
            size_t n = replies.Count();
            sim.Call(89, {});
            if (!replies.WaitFor(n + perCall)) {
                fprintf(stderr, "call %d: no reply within 5 s\n", i);
                return 1;
            }
        }
        Memory m2 = Sample(pid);
        printf("memory after %d calls: Private_Dirty %ld kB, VmRSS %ld kB, threads %ld\n", calls,
               m2.privateDirtyKb, m2.rssKb, m2.threads);
    }
    run = 0;
    serve.join();
    fclose(out);
    sim.Stop();
    agent.Kill();
    return 0;
}

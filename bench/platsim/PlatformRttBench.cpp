// Function-call round trip: the platform simulator sends one function call at a time to a
// logged-in agent (the real binary, logging off, real time) and waits for every reply frame of
// that call before sending the next. Then the same calls straight on the session's socket, taken
// over from the simulator (no simulator thread between the bench and the agent, as in the echo).
// Beside them, a plain loopback TCP echo in the same run.
//
// usage: platform_rtt_bench [calls] [function id] [quick-ack 0|1] [debug log 0|1]
//   The default function ID 89 is one no function table handles: the agent answers with a
//   code-7 answer and a "parser error" reply, two frames per call.
#include <algorithm>
#include <chrono>
#include <condition_variable>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <mutex>

#include <sys/socket.h>
#include <unistd.h>

#include "EchoBaseline.h"
#include "PlatformSim.h"
#include "SimFrame.h"
#include "SimMessages.h"
#include "TestSupport.h"

namespace {

using Clock = std::chrono::steady_clock;

constexpr const char* kKey = "bench-key-01234";
constexpr int kWarmUp = 200;

struct ReplyCounter {
    std::mutex mu;
    std::condition_variable cv;
    size_t count = 0;
    Clock::time_point last;

    bool Hook(const psim::DecodedFrame& f) {
        if (f.raw.MsgType() != 26) return false;
        {
            std::lock_guard<std::mutex> g(mu);
            ++count;
            last = Clock::now();
        }
        cv.notify_all();
        return true;  // not recorded: the run would otherwise keep every frame
    }
    bool WaitFor(size_t n, Clock::time_point* at) {
        std::unique_lock<std::mutex> lock(mu);
        bool ok = cv.wait_for(lock, std::chrono::seconds(5), [&] { return count >= n; });
        *at = last;
        return ok;
    }
    size_t Count() {
        std::lock_guard<std::mutex> g(mu);
        return count;
    }
};

double Percentile(std::vector<double> v, double p) {
    if (v.empty()) return 0;
    std::sort(v.begin(), v.end());
    size_t i = static_cast<size_t>(p / 100.0 * static_cast<double>(v.size() - 1) + 0.5);
    return v[std::min(i, v.size() - 1)];
}

void Report(const char* what, const std::vector<double>& us, double seconds) {
    printf("%-28s n=%zu p50=%.1f us p90=%.1f us p99=%.1f us max=%.1f us rate=%.0f/s\n", what,
           us.size(), Percentile(us, 50), Percentile(us, 90), Percentile(us, 99),
           Percentile(us, 100), static_cast<double>(us.size()) / seconds);
}

// Replies per call: found by the warm-up (the answer frames of one call).
size_t RepliesPerCall(psim::PlatformSim& sim, ReplyCounter& replies, uint16_t fid) {
    size_t before = replies.Count();
    sim.Call(fid, {});
    Clock::time_point at;
    replies.WaitFor(before + 1, &at);
    // Any further reply of the same call follows at once.
    std::this_thread::sleep_for(std::chrono::milliseconds(200));
    return replies.Count() - before;
}

// CPU time (user, system) the process has used so far, in microseconds, from /proc/PID/stat.
bool CpuUs(pid_t pid, double* user, double* sys) {
    FILE* f = fopen(("/proc/" + std::to_string(pid) + "/stat").c_str(), "r");
    if (!f) return false;
    char buf[1024];
    size_t n = fread(buf, 1, sizeof buf - 1, f);
    fclose(f);
    buf[n] = '\0';
    const char* p = strrchr(buf, ')');  // the name may hold spaces; fields follow its ')'
    unsigned long long ut = 0, st = 0;
    if (!p || sscanf(p + 1, " %*c %*d %*d %*d %*d %*d %*u %*u %*u %*u %*u %llu %llu", &ut, &st) != 2)
        return false;
    double tick = 1e6 / static_cast<double>(sysconf(_SC_CLK_TCK));
    *user = static_cast<double>(ut) * tick;
    *sys = static_cast<double>(st) * tick;
    return true;
}

// `calls` calls of `fid` written straight to the agent's socket; each waits for `perCall` reply
// frames (type 26) read from the socket in the same thread. Empty on a socket error.
std::vector<double> DirectCalls(int fd, const uint8_t mac[6], uint16_t fid, size_t calls,
                                size_t perCall, double* seconds) {
    std::vector<double> rtt;
    psim::FrameCutter cutter;
    uint8_t buf[4096];
    auto start = Clock::now();
    for (size_t i = 0; i < kWarmUp + calls; ++i) {
        psim::Bytes frame = psim::BuildFrame(
            kKey, 20, 0, {},
            psim::FunctionCallBody(0, mac,
                                   psim::FunctionCallPayload(static_cast<uint16_t>(i), fid, {})));
        if (i == kWarmUp) start = Clock::now();
        auto t0 = Clock::now();
        if (send(fd, frame.data(), frame.size(), MSG_NOSIGNAL) != static_cast<ssize_t>(frame.size()))
            return {};
        for (size_t got = 0; got < perCall;) {
            psim::RawFrame raw;
            if (cutter.Next(&raw)) {
                got += raw.MsgType() == 26;
                continue;
            }
            ssize_t n = recv(fd, buf, sizeof buf, 0);
            if (n <= 0) return {};
            cutter.Append(buf, static_cast<size_t>(n));
        }
        if (i >= kWarmUp)
            rtt.push_back(std::chrono::duration<double, std::micro>(Clock::now() - t0).count());
    }
    *seconds = std::chrono::duration<double>(Clock::now() - start).count();
    return rtt;
}

}  // namespace

int main(int argc, char** argv) {
    size_t calls = argc > 1 ? strtoul(argv[1], nullptr, 10) : 5000;
    uint16_t fid = static_cast<uint16_t>(argc > 2 ? strtoul(argv[2], nullptr, 10) : 89);
    int quickAck = argc > 3 ? atoi(argv[3]) : 0;
    bool debugLog = argc > 4 && atoi(argv[4]) != 0;
    testsupport::TempDir dir;
    psim::SimSettings s;
    s.key = kKey;
    s.interval = 600;
    s.quickAck = quickAck;
    psim::PlatformSim sim(s);
    ReplyCounter replies;
    sim.SetFrameHook([&](const psim::DecodedFrame& f) { return replies.Hook(f); });
    if (sim.Start() != 0) return 1;
    testsupport::WriteFile(dir.File("plug.conf"),
                           std::string("[Dev]\nPIN=123456789012\n[Protool]\nKEY=") + kKey +
                               "\nSERVER1=127.0.0.1\nPORT=" + std::to_string(sim.RegPort()) + "\n");
    std::vector<std::string> args = {PLUG_AGENT_PATH, "-f", dir.File("plug.conf"), "-m",
                                     "A1B2C3D4E5F6"};
    if (debugLog) args.push_back("-d");  // every line written to agent.log
    testsupport::Child agent(args,
                             {{"PLUG_RUNTIME_DIR", dir.path()}}, dir.File("agent.log"));
    if (!sim.WaitForLine("type=1 ", 1, 30000)) {
        fprintf(stderr, "agent did not log in\n");
        return 1;
    }
    size_t perCall = RepliesPerCall(sim, replies, fid);
    if (perCall == 0) {
        fprintf(stderr, "no reply to function %u\n", fid);
        return 1;
    }
    for (int i = 0; i < kWarmUp; ++i) {
        size_t before = replies.Count();
        sim.Call(fid, {});
        Clock::time_point at;
        replies.WaitFor(before + perCall, &at);
    }
    std::vector<double> rtt;
    auto start = Clock::now();
    for (size_t i = 0; i < calls; ++i) {
        size_t before = replies.Count();
        auto t0 = Clock::now();
        sim.Call(fid, {});
        Clock::time_point at;
        if (!replies.WaitFor(before + perCall, &at)) {
            // A call whose ciphertext happens to start FF FF (about one in 65,536) ends the
            // session by protocol ("net error reconnect" in a debug log): use fewer calls.
            fprintf(stderr, "call %zu: no reply within 5 s\n", i);
            return 1;
        }
        rtt.push_back(std::chrono::duration<double, std::micro>(at - t0).count());
    }
    double seconds = std::chrono::duration<double>(Clock::now() - start).count();
    uint8_t mac[6];
    sim.AgentMac(mac);
    int fd = sim.Detach();
    double directSeconds = 0;
    double user0 = 0, sys0 = 0, user1 = 0, sys1 = 0;
    bool cpu = CpuUs(agent.pid(), &user0, &sys0);
    std::vector<double> direct = DirectCalls(fd, mac, fid, calls, perCall, &directSeconds);
    cpu = cpu && CpuUs(agent.pid(), &user1, &sys1);
    if (fd >= 0) close(fd);
    sim.Stop();
    agent.Kill();

    auto t1 = Clock::now();
    std::vector<double> echo = EchoRoundTrips(calls, 64);
    double echoSeconds = std::chrono::duration<double>(Clock::now() - t1).count();
    printf("function %u, %zu reply frame(s) per call, %zu calls one at a time, quick-ack %d, "
           "debug log %s\n",
           fid, perCall, calls, quickAck, debugLog ? "on" : "off");
    Report("agent function call", rtt, seconds);
    if (direct.empty()) {
        fprintf(stderr, "direct calls on the session socket failed\n");
        return 1;
    }
    Report("same, straight on the socket", direct, directSeconds);
    if (cpu) {
        double n = static_cast<double>(kWarmUp + calls);
        printf("agent CPU per call (straight calls): user %.1f us, system %.1f us\n",
               (user1 - user0) / n, (sys1 - sys0) / n);
    }
    Report("loopback TCP echo (64 B)", echo, echoSeconds);
    return 0;
}

// Soak and fault injection: the real agent binary (logging off, clock scaled) against the
// platform simulator, companion simulators and the router SDK simulator on loopback. After a
// warm-up it samples the agent's descriptors, threads and Private_Dirty, then performs
//   - `drops` closed platform connections, each followed by the agent's re-login,
//   - `reconnects` companion connections (every tenth answers one companion request),
//   - `calls` function calls, IDs 0-89 in turn with random parameters (no 61: its rate test
//     goes to a fixed outside address),
//   - with faults on: each SDK function a row calls failing in turn while that row is called,
//     a companion that reads a request and vanishes, a platform that sends half a frame and
//     stops answering, the status and traceroute files on /dev/full,
// and samples again. Exit 1 when the agent died, a call got no answer, or descriptors or
// threads differ, or Private_Dirty grew by more than the tolerance (128 kB: allocator noise; a
// leak of one small block per operation over a full run is more).
//
// usage: soak_driver [drops (1000)] [reconnects (1000)] [calls (10000)] [faults 0|1 (1)]
//                    [time scale (100)] [memory tolerance kB (128); negative: not checked]
//   A sanitizer build's agent keeps freed memory in quarantine: its ctest does not check memory.
#include <cjson/cJSON.h>
#include <dirent.h>
#include <poll.h>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <cerrno>
#include <cstdio>
#include <cstring>
#include <fstream>
#include <functional>
#include <map>
#include <mutex>
#include <random>
#include <set>
#include <sstream>
#include <thread>

#include "AgentHarness.h"
#include "CompanionSim.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"

namespace {

using namespace std::chrono;
constexpr int kWaitMs = 20000;  // real-time bound of every single wait

// What the agent sent, counted on the simulator's I/O thread.
struct Watch {
    std::mutex mu;
    std::condition_variable cv;
    size_t logins = 0, loggedIn = 0;  // login frames; logins followed by a heartbeat
    std::map<uint16_t, std::pair<uint16_t, uint16_t>> answers;  // tag -> (function ID, code)

    bool Hook(const psim::DecodedFrame& f) {
        std::lock_guard<std::mutex> g(mu);
        uint8_t t = f.raw.MsgType();
        if (t == 10) ++logins;
        if (t == 1) loggedIn = logins;
        // A function-call reply: the answer (tag, function ID, result) follows the 11-byte
        // head of the decrypted body, whose bytes 9-10 give its length.
        const std::vector<uint8_t>& p = f.plain;
        if (t == 26 && p.size() >= 17 && GetLe16(&p[9]) >= 6)
            answers[GetLe16(&p[11])] = {GetLe16(&p[13]), GetLe16(&p[15])};
        cv.notify_all();
        return t == 26;  // answers are not recorded: a long run would keep every one
    }
    bool Wait(const std::function<bool()>& pred, int ms = kWaitMs) {
        std::unique_lock<std::mutex> lock(mu);
        return cv.wait_for(lock, milliseconds(ms), pred);
    }
    size_t LoggedIn() {
        std::lock_guard<std::mutex> g(mu);
        return loggedIn;
    }
    size_t Logins() {
        std::lock_guard<std::mutex> g(mu);
        return logins;
    }
};

struct Sample {
    long fds = -1, threads = -1, privateKb = -1;
};

long CountDir(const std::string& path) {
    DIR* d = opendir(path.c_str());
    if (!d) return -1;
    long n = 0;
    while (dirent* e = readdir(d))
        n += e->d_name[0] != '.';
    closedir(d);
    return n;
}

Sample Take(pid_t pid) {
    std::string p = "/proc/" + std::to_string(pid);
    Sample s{CountDir(p + "/fd"), CountDir(p + "/task"), -1};
    std::ifstream in(p + "/smaps_rollup");
    std::string line;
    while (std::getline(in, line))
        if (line.rfind("Private_Dirty:", 0) == 0)
            s.privateKb = strtol(line.c_str() + 14, nullptr, 10);
    return s;
}

// Short-lived workers and descriptors (diagnostics, a companion being released) end on their
// own: sample until two samples a second apart agree, at most 15 s.
Sample Settled(pid_t pid) {
    Sample a = Take(pid);
    for (int i = 0; i < 15; ++i) {
        std::this_thread::sleep_for(seconds(1));
        Sample b = Take(pid);
        if (a.fds == b.fds && a.threads == b.threads) return b;
        a = b;
    }
    return a;
}

// Function calls without a function answer of their own (0, 40, 81, 84, 86): the answer to a
// call of ID 1 sent behind them shows they were handled (one thread handles calls in order).
bool NoAnswer(uint16_t fid) {
    return fid == 0 || fid == 40 || fid == 81 || fid == 84 || fid == 86;
}

// A companion simulator connected to the agent's socket and answering on its own thread until
// Quit (or destruction); its own lines go to /dev/null.
class ServedCompanion {
public:
    explicit ServedCompanion(const std::string& sock) : out_(fopen("/dev/null", "w")), c_(out_) {
        if (c_.Connect(sock) == 0 && pipe(ctl_) == 0)
            serve_ = std::thread([this] { c_.Run(run_, ctl_[0]); });
    }
    ~ServedCompanion() {
        Quit();
        c_.Close();
        if (out_) fclose(out_);
    }
    ServedCompanion(const ServedCompanion&) = delete;
    ServedCompanion& operator=(const ServedCompanion&) = delete;

    bool ok() const { return serve_.joinable(); }
    // Stops the companion's loop; false when the stop could not be sent.
    bool Quit() {
        if (!serve_.joinable()) return false;
        bool sent = write(ctl_[1], "quit\n", 5) == 5;
        if (!sent) run_.store(0);
        serve_.join();
        close(ctl_[0]);
        close(ctl_[1]);
        return sent;
    }

private:
    FILE* out_;
    companionsim::CompanionSim c_;
    int ctl_[2] = {-1, -1};
    std::atomic<int> run_{1};
    std::thread serve_;
};

class Soak {
public:
    explicit Soak(double scale) : scale_(scale) {}
    bool Start();
    bool Drop();
    bool CompanionCycle(bool ask);
    // One call; *code gets the answer's code. False when no answer came.
    bool CallOnce(uint16_t fid, const psim::Bytes& params, uint16_t* code);
    bool RandomCalls(size_t n);
    bool SdkFaults();
    std::set<std::string> SdkNames(uint16_t fid);
    bool CompanionVanishes();
    bool HalfFrameStall();
    bool FullDisk();
    void ResetRouter() { WriteState(router_); }
    // Alive: the process is there and not a zombie (not reaped here, so its end can be told).
    bool Alive();
    // Why the agent ended: its wait status, status file and the end of its log (-d with
    // SOAK_DEBUG=1 in the environment).
    void PrintEnd();
    pid_t Pid() const { return pid_; }
    // A sanitizer report on the agent's standard error (which holds nothing else without -d).
    bool SanitizerReport() {
        std::string log = agent_.Log();
        size_t at = std::min(log.find("Sanitizer"), log.find("runtime error:"));
        if (at != std::string::npos) fprintf(stderr, "%s\n", log.substr(at, 4000).c_str());
        return at != std::string::npos;
    }

private:
    void WriteState(const std::string& text);
    std::string Sock() const { return agent_.dir().File("CommServer"); }

    double scale_;
    // In this order: the agent ends first, then the simulator's thread, which calls the watch.
    Watch watch_;
    std::unique_ptr<psim::PlatformSim> sim_;
    e2e::AgentRun agent_;
    std::string router_;  // the router state the run started with
    pid_t pid_ = -1;
    int faultsReported_ = 0;
    std::mt19937 rng_{20261123};
};

bool Soak::Start() {
    psim::SimSettings s;
    s.key = e2e::kKey;
    s.interval = 20;
    sim_ = std::make_unique<psim::PlatformSim>(s);
    if (getenv("SOAK_TRACE"))  // the simulator's lines on standard error
        sim_->SetOutput([](const std::string& l) { fprintf(stderr, "%s\n", l.c_str()); });
    sim_->SetFrameHook([this](const psim::DecodedFrame& f) { return watch_.Hook(f); });
    if (sim_->Start() != 0) return false;
    // Stand-ins for the tools the diagnostics and rules run: nothing leaves the machine.
    std::string bin = agent_.dir().File("bin");
    mkdir(bin.c_str(), 0755);
    for (const char* tool : {"ping", "traceroute", "killall", "iptables"}) {
        testsupport::WriteFile(bin + "/" + tool, "#!/bin/sh\necho \"$0 $*\"\nexit 0\n");
        chmod((bin + "/" + tool).c_str(), 0755);
    }
    agent_.Start(sim_->RegPort(), scale_,
                 {{"PATH", bin + ":" + (getenv("PATH") ? getenv("PATH") : "/usr/bin:/bin")}},
                 getenv("SOAK_DEBUG") != nullptr);
    router_ = testsupport::ReadFile(agent_.dir().File("router.json"));
    if (!watch_.Wait([this] { return watch_.loggedIn >= 1; })) return false;
    // The agent is the driver's only child.
    std::string children =
        testsupport::ReadFile("/proc/self/task/" + std::to_string(getpid()) + "/children");
    pid_ = static_cast<pid_t>(strtol(children.c_str(), nullptr, 10));
    return pid_ > 0;
}

bool Soak::Alive() {
    std::string stat = testsupport::ReadFile("/proc/" + std::to_string(pid_) + "/stat");
    size_t p = stat.rfind(')');
    return p != std::string::npos && p + 2 < stat.size() && stat[p + 2] != 'Z';
}

void Soak::PrintEnd() {
    std::string stat = testsupport::ReadFile("/proc/" + std::to_string(pid_) + "/stat");
    size_t p = stat.rfind(' ', stat.size() - 2);  // the last field: the wait status
    fprintf(stderr, "agent wait status %s, status file \"%s\"\n",
            p == std::string::npos ? "?" : stat.substr(p + 1, stat.size() - p - 2).c_str(),
            agent_.Status().c_str());
    std::string log = agent_.Log();
    fprintf(stderr, "%s\n", log.substr(log.size() > 4000 ? log.size() - 4000 : 0).c_str());
}

bool Soak::Drop() {
    size_t before = watch_.LoggedIn();
    sim_->Drop();
    return watch_.Wait([&] { return watch_.loggedIn > before; });
}

bool Soak::CallOnce(uint16_t fid, const psim::Bytes& params, uint16_t* code) {
    uint16_t tag = static_cast<uint16_t>(sim_->Call(fid, params));
    if (NoAnswer(fid)) {
        fid = 1;
        tag = static_cast<uint16_t>(sim_->Call(fid, {}));
    }
    bool ok = watch_.Wait([&] {
        auto it = watch_.answers.find(tag);
        return it != watch_.answers.end() && it->second.first == fid;
    });
    std::lock_guard<std::mutex> g(watch_.mu);
    if (ok) *code = watch_.answers[tag].second;
    watch_.answers.erase(tag);
    return ok;
}

// One companion connection. With `ask`, until the agent answers a companion request through it:
// a companion that connects before the agent has released the previous one is refused.
bool Soak::CompanionCycle(bool ask) {
    bool answered = false;
    for (int attempt = 0; attempt < 20 && !answered; ++attempt) {
        {
            ServedCompanion c(Sock());
            uint16_t code = 1;
            for (int i = 0; c.ok() && ask && i < 5 && code != 0; ++i)
                if (!CallOnce(73, {}, &code)) break;
            answered = c.Quit() && (!ask || code == 0);
        }  // disconnected before the pause
        if (!answered) std::this_thread::sleep_for(milliseconds(50));
    }
    return answered;
}

bool Soak::RandomCalls(size_t n) {
    ServedCompanion c(Sock());
    if (!c.ok()) return false;
    bool ok = true;
    for (size_t i = 0; i < n && ok; ++i) {
        uint16_t fid = static_cast<uint16_t>(i % 90);
        // The simulated router keeps what some settings add (names of unknown devices, ROM
        // update requests): back to the start state every round, so it does not grow all run.
        if (fid == 0) ResetRouter();
        if (fid == 61) fid = 89;
        psim::Bytes p(rng_() % 300);
        // Half of the calls use small byte values, so indexes and switches hit real entries.
        uint32_t mask = rng_() % 2 ? 0xFF : 0x03;
        for (auto& b : p)
            b = static_cast<uint8_t>(rng_() & mask);
        uint16_t code = 0;
        ok = CallOnce(fid, p, &code);
        if (!ok) fprintf(stderr, "call %zu (function %u): no answer\n", i, fid);
    }
    return c.Quit() && ok;
}

void Soak::WriteState(const std::string& text) {
    std::string path = agent_.dir().File("router.json");
    testsupport::WriteFile(path + ".new", text);
    rename((path + ".new").c_str(), path.c_str());
}

// The SDK functions a row calls: the call-log lines written while it runs, in two runs (the
// sub-device monitor and the access-time service call the SDK on their own in between).
std::set<std::string> Soak::SdkNames(uint16_t fid) {
    std::string log = agent_.dir().File("sdk-calls.log");
    std::set<std::string> common;
    for (int round = 0; round < 2; ++round) {
        size_t at = testsupport::ReadFile(log).size();
        uint16_t code = 0;
        if (!CallOnce(fid, psim::Bytes(300, 0), &code)) return {};
        std::istringstream tail(testsupport::ReadFile(log).substr(at));
        std::set<std::string> seen;
        for (std::string line; std::getline(tail, line);)
            seen.insert(line.substr(0, line.find(' ')));
        if (round == 0) common = seen;
        for (auto it = common.begin(); it != common.end();)
            it = seen.count(*it) ? std::next(it) : common.erase(it);
    }
    return common;
}

// The documented answer code of a row whose SDK call fails with status 9: the status, -9 from
// the switch getters, 0 where the SDK's 64-bit getters cannot report a failure.
uint16_t Expected(uint16_t fid) {
    if (fid == 14 || fid == 18 || fid == 22 || fid == 30) return 0xFFF7;
    return fid == 33 || fid == 58 ? 0 : 9;
}

// Each SDK function a row calls fails with status 9 while the row is called again.
bool Soak::SdkFaults() {
    bool ok = true;
    int pairs = 0;
    for (uint16_t fid = 1; fid <= 60 && ok; ++fid) {
        if (fid == 8 || fid == 9 || fid == 51 || fid == 52) continue;  // diagnostics, no SDK
        for (const std::string& name : SdkNames(fid)) {
            cJSON* root = cJSON_Parse(router_.c_str());
            cJSON_DeleteItemFromObject(root, "fail");
            cJSON* fail = cJSON_AddObjectToObject(root, "fail");
            cJSON_AddNumberToObject(fail, name.c_str(), 9);
            char* text = cJSON_PrintUnformatted(root);
            WriteState(text);
            cJSON_free(text);
            cJSON_Delete(root);
            uint16_t code = 0;
            bool answered = CallOnce(fid, psim::Bytes(300, 0), &code);
            ++pairs;
            // 27, 29 and 35 make all their calls and answer the first failure, which with zero
            // parameters may be an earlier call's own status 1.
            bool multi = fid == 27 || fid == 29 || fid == 35;
            if (!answered || (code != Expected(fid) && !(multi && code != 0))) {
                fprintf(stderr, "function %u with %s failing: %s, code %u\n", fid, name.c_str(),
                        answered ? "answered" : "no answer", code);
                ok = false;
            }
        }
    }
    ResetRouter();
    if (ok && !faultsReported_++) printf("SDK failure injection: %d row/function pairs\n", pairs);
    return ok && pairs > 0;
}

// A companion that reads a request and closes without answering: the call is answered with a
// failure code, and the next companion is served.
bool Soak::CompanionVanishes() {
    for (int i = 0; i < 5; ++i) {
        bool vanished = false;
        int fd = -1;
        // Until the agent sends a request through this socket: it may answer the first calls
        // (code 1) before it has taken the connection, or refuse it (closed: connect again).
        for (int attempt = 0; attempt < 50 && !vanished; ++attempt) {
            if (fd < 0) {
                fd = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
                sockaddr_un a{};
                a.sun_family = AF_UNIX;
                snprintf(a.sun_path, sizeof a.sun_path, "%s", Sock().c_str());
                if (fd < 0 || connect(fd, reinterpret_cast<sockaddr*>(&a), sizeof a) != 0) {
                    fprintf(stderr, "companion socket: %s\n", strerror(errno));
                    return false;
                }
            }
            uint16_t tag = static_cast<uint16_t>(sim_->Call(73, {}));
            pollfd p{fd, POLLIN, 0};
            if (poll(&p, 1, 500) == 1) {
                uint8_t buf[256];
                vanished = read(fd, buf, sizeof buf) > 0;
                close(fd);  // read and gone, or refused
                fd = -1;
            }
            bool answered = watch_.Wait([&] { return watch_.answers.count(tag) != 0; });
            std::lock_guard<std::mutex> g(watch_.mu);
            uint16_t code = watch_.answers[tag].second;
            watch_.answers.erase(tag);
            if (!answered || code == 0) {
                fprintf(stderr, "companion gone mid-request: %s, code %u\n",
                        answered ? "answered" : "no answer", code);
                if (fd >= 0) close(fd);
                return false;
            }
        }
        if (fd >= 0) close(fd);
        if (!vanished || !CompanionCycle(true)) {
            fprintf(stderr, "companion gone mid-request: %s\n",
                    vanished ? "the next companion got no answer" : "no request reached it");
            return false;
        }
    }
    return true;
}

bool Soak::HalfFrameStall() {
    uint8_t mac[6];
    sim_->AgentMac(mac);
    psim::Bytes f = psim::BuildFrame(
        e2e::kKey, 20, 0, {}, psim::FunctionCallBody(0, mac, psim::FunctionCallPayload(1, 1, {})));
    size_t logins = watch_.Logins();
    sim_->Set("heartbeats", "0");
    sim_->SendRaw(psim::Bytes(f.begin(), f.begin() + static_cast<long>(f.size() / 2)));
    // The heartbeat check ends the silent session within a few heartbeat intervals.
    bool ended =
        watch_.Wait([&] { return watch_.logins > logins; }, e2e::RealMs(600, scale_) + kWaitMs);
    sim_->Set("heartbeats", "-1");
    if (!ended) return false;
    uint16_t code = 1;
    return watch_.Wait([&] { return watch_.loggedIn > logins; }) && CallOnce(1, {}, &code) &&
           code == 0;
}

// Runtime files the agent writes in place, pointed at /dev/full: every write fails with ENOSPC,
// as on a full file system. The status file through a session end and re-login, the traceroute
// output through a traceroute and its fetch; both must go on.
bool Soak::FullDisk() {
    std::string status = agent_.dir().File("plugstatus");
    std::string trace = agent_.dir().File("tracerouteFile");
    unlink(status.c_str());
    unlink(trace.c_str());
    uint16_t start = 1, fetch = 1;
    bool ok = symlink("/dev/full", status.c_str()) == 0 &&
              symlink("/dev/full", trace.c_str()) == 0 && Drop() &&
              CallOnce(51, {127, 0, 0, 1}, &start) && start == 0 && CallOnce(52, {}, &fetch);
    unlink(status.c_str());
    unlink(trace.c_str());
    return ok;
}

void Print(const char* what, const Sample& s) {
    printf("%-7s fds=%ld threads=%ld private_dirty=%ld kB\n", what, s.fds, s.threads, s.privateKb);
}

}  // namespace

int main(int argc, char** argv) {
    size_t drops = argc > 1 ? strtoul(argv[1], nullptr, 10) : 1000;
    size_t reconnects = argc > 2 ? strtoul(argv[2], nullptr, 10) : 1000;
    size_t calls = argc > 3 ? strtoul(argv[3], nullptr, 10) : 10000;
    bool faults = argc > 4 ? atoi(argv[4]) != 0 : true;
    double scale = argc > 5 ? atof(argv[5]) : 100;
    long memKb = argc > 6 ? atol(argv[6]) : 128;
    setenv("PLUG_AGENT", PLUG_AGENT_PATH, 0);
    auto t0 = steady_clock::now();
    Soak soak(scale);
    if (!soak.Start()) {
        fprintf(stderr, "FAIL: the agent did not log in\n");
        return 1;
    }
    auto step = [&](const char* what, bool ok) {
        if (ok && soak.Alive()) return true;
        bool alive = soak.Alive();
        fprintf(stderr, "FAIL: %s%s\n", what, alive ? "" : " (agent died)");
        if (!alive) soak.PrintEnd();
        return false;
    };
    // Warm-up: every path runs once before the first sample.
    bool ok = step("warm-up drop", soak.Drop()) &&
              step("warm-up companion", soak.CompanionCycle(true)) &&
              step("warm-up calls", soak.RandomCalls(180));
    if (ok && faults)
        ok = step("warm-up faults", soak.SdkFaults() && soak.CompanionVanishes() &&
                                        soak.HalfFrameStall() && soak.FullDisk());
    if (!ok) return 1;
    soak.ResetRouter();
    Sample before = Settled(soak.Pid());
    auto t1 = steady_clock::now();
    // Each phase: its duration on one line, or false at its first failure.
    auto phase = [&](const char* what, const std::function<bool()>& body) {
        auto p0 = steady_clock::now();
        if (!body()) return false;
        printf("%-40s %.1f s\n", what, duration<double>(steady_clock::now() - p0).count());
        return true;
    };
    ok = phase("platform drops and re-logins", [&] {
        for (size_t i = 0; i < drops; ++i)
            if (!step("drop and re-login", soak.Drop())) return false;
        return true;
    });
    ok = ok && phase("companion connects and disconnects", [&] {
             for (size_t i = 0; i < reconnects; ++i)
                 if (!step("companion connect", soak.CompanionCycle(i % 10 == 0))) return false;
             return true;
         });
    ok = ok &&
         phase("function calls", [&] { return step("function calls", soak.RandomCalls(calls)); });
    ok = ok && (!faults || phase("fault injection", [&] {
             return step("SDK failures", soak.SdkFaults()) &&
                    step("companion vanishing mid-request", soak.CompanionVanishes()) &&
                    step("half frame and stall", soak.HalfFrameStall()) &&
                    step("writes failing with ENOSPC", soak.FullDisk());
         }));
    if (!ok) return 1;
    double run = duration<double>(steady_clock::now() - t1).count();
    // The router state grows with some settings (names of unknown devices, ROM update
    // requests); the same state as at the first sample keeps that out of the comparison.
    soak.ResetRouter();
    uint16_t code = 0;
    bool answers = step("call after the run", soak.CallOnce(1, {}, &code) && code == 0);
    Sample after = Settled(soak.Pid());
    printf("drops=%zu reconnects=%zu calls=%zu faults=%s scale=%.0f run=%.1f s total=%.1f s\n",
           drops, reconnects, calls, faults ? "on" : "off", scale, run,
           duration<double>(steady_clock::now() - t0).count());
    Print("before", before);
    Print("after", after);
    bool grew = after.fds != before.fds || after.threads != before.threads ||
                (memKb >= 0 && after.privateKb - before.privateKb > memKb) || !answers ||
                !soak.Alive() || soak.SanitizerReport();
    std::string mem = memKb >= 0 ? "+" + std::to_string(memKb) + " kB" : "not checked";
    printf("%s (tolerance: fds and threads equal, private memory %s)\n", grew ? "FAIL" : "PASS",
           mem.c_str());
    return grew ? 1 : 0;
}

// A simulated platform: a registration server and a login server on loopback, driven from the
// same process (tests, benchmark) or by text commands (the platformsim executable).
//
// One I/O thread owns every socket. Actions asked from other threads are queued to it; every
// received frame and every event becomes one printed line and one recorded event.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <mutex>
#include <random>
#include <string>
#include <thread>
#include <vector>

#include "SimFrame.h"
#include "SimSettings.h"

namespace psim {

enum class Listener { kReg, kLogin };

struct SimEvent {
    int64_t realMs = 0;  // milliseconds since the simulator started
    std::string line;    // the printed line
    int conn = 0;        // connection id, 0 when none
    Listener server = Listener::kReg;
    bool isRxFrame = false;
    DecodedFrame frame;  // set for received frames
};

class PlatformSim {
public:
    explicit PlatformSim(const SimSettings& settings);
    ~PlatformSim();
    PlatformSim(const PlatformSim&) = delete;
    PlatformSim& operator=(const PlatformSim&) = delete;

    // Where printed lines go (default: nowhere). Set before Start.
    void SetOutput(std::function<void(const std::string&)> out);
    // A text source read by the I/O thread, one callback per line; at end of file `onEof` runs
    // (when given) and the source is removed. Set before Start.
    void AddLineSource(int fd, std::function<void(const std::string&)> onLine,
                       std::function<void()> onEof = nullptr);
    // Sees every received frame first; returning true consumes it (not printed, not recorded).
    // Runs on the I/O thread. Set before Start.
    void SetFrameHook(std::function<bool(const DecodedFrame&)> hook);

    int Start();  // binds both listeners and starts the I/O thread; 0 or -1 (ERR line printed)
    void Stop();
    int RegPort() const { return regPort_; }
    int LoginPort() const { return loginPort_; }

    // Changes a setting for later answers: empty string, or why it was refused.
    std::string Set(const std::string& name, const std::string& value);

    // Actions on the current connection: the newest open login connection, else the newest
    // open one. Call returns the request tag it used.
    int Call(uint16_t fid, const Bytes& params);
    void Plug(uint8_t msgType, uint8_t dataType, const std::string& text, int lenField = -1);
    void SendFrame(uint8_t msgType, uint8_t reqFlag, const Bytes& opt, const Bytes& plain,
                   int checksumOverride = -1);
    void SendRaw(const Bytes& bytes);
    void SendJunk(size_t n);
    void Disconnect();  // type 3
    void Drop();        // closes the connection
    // Hands the current connection's socket (blocking mode) to the caller, who then owns it: the
    // simulator forgets it and no longer reads, answers or closes it. -1 without a connection.
    int Detach();
    void Print(const std::string& line);

    // The MAC the agent registered with (zero before a register frame).
    void AgentMac(uint8_t mac[6]) const;
    std::vector<SimEvent> Events() const;
    std::vector<SimEvent> RxFrames(uint8_t msgType) const;
    size_t Count(const std::string& needle) const;
    // Waits until `pred` holds over the recorded events (checked under the event lock: it must
    // not call back into the simulator), or `timeoutMs` real milliseconds pass.
    bool WaitFor(const std::function<bool(const std::vector<SimEvent>&)>& pred,
                 int timeoutMs) const;
    bool WaitForLine(const std::string& needle, size_t count, int timeoutMs) const;

private:
    struct Conn;
    struct Timer {
        int64_t dueMs;
        std::function<void()> run;
    };

    void Post(std::function<void()> task);
    void Loop();
    void RunOnce();
    int OpenListener(const std::string& addr, int port, int* boundPort);
    void Accept(int lfd, Listener which);
    void ReadConn(Conn& c);
    void FlushConn(Conn& c);
    void CloseConn(int id, const char* by);
    void HandleFrame(Conn& c, const RawFrame& raw);
    void PrintDecodedAnswer(const DecodedFrame& f);
    void AnswerRegister(Conn& c);
    void AnswerLogin(Conn& c);
    void AnswerHeartbeat(Conn& c, const RawFrame& raw);
    void SendPlan(int connId, const AnswerPlan& plan, const Bytes& answerPlain, const char* what);
    void SendOn(int connId, const Bytes& bytes, const char* what);
    void ReadLineSource(size_t index);
    Conn* Current();
    void Emit(const std::string& line, int conn, Listener server, const DecodedFrame* frame);
    int64_t NowMs() const;

    SimSettings settings_;  // I/O thread only once started
    std::function<void(const std::string&)> out_;
    std::function<bool(const DecodedFrame&)> hook_;
    struct LineSource {
        int fd;
        std::function<void(const std::string&)> onLine;
        std::function<void()> onEof;
        std::string pending;
    };
    std::vector<LineSource> sources_;

    int regFd_ = -1;
    int loginFd_ = -1;
    int wakeFd_ = -1;
    int regPort_ = 0;
    int loginPort_ = 0;
    std::map<int, std::unique_ptr<Conn>> conns_;
    int nextConnId_ = 1;
    std::vector<Timer> timers_;
    std::mt19937 rng_{12345};

    std::atomic<int> running_{0};
    std::atomic<int> nextTag_{1};
    std::thread io_;
    std::mutex taskMu_;
    std::deque<std::function<void()>> tasks_;

    mutable std::mutex eventMu_;
    mutable std::condition_variable eventCv_;
    std::vector<SimEvent> events_;
    uint8_t agentMac_[6] = {0};
    std::mutex outMu_;
    int64_t startMs_ = 0;
};

}  // namespace psim

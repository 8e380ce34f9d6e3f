// A stand-in for the companion process: connects to the agent's socket, answers every command
// with a configurable status and payload, pushes reports on command or on a schedule, and prints
// each frame it sends or receives as one line ("RX func=73 seq=1 len=1 sum=0x0069 data=69").
#pragma once

#include <atomic>
#include <cstdint>
#include <cstdio>
#include <map>
#include <mutex>
#include <sstream>
#include <string>
#include <vector>

namespace companionsim {

using Bytes = std::vector<uint8_t>;

// One frame with the companion's layout: 5A 5A, ID, sequence, length (LE), byte sum, payload.
Bytes EncodeFrame(uint16_t funcId, uint32_t seq, const Bytes& payload);
// The one-line description of a frame.
std::string DescribeFrame(const char* dir, const uint8_t* frame, size_t len);
Bytes FromHex(const std::string& hex);
// The payload of a function-40 device list from blank-separated entries MAC[:STATUS[:NAME]]
// (12 hex digits; status 1 online (default) or 0 offline; the name fills the 32 data bytes):
// the 16-bit count, then 39 bytes per entry. false for a bad entry or an empty list.
bool DevListPayload(const std::string& entries, Bytes* payload);

class CompanionSim {
public:
    explicit CompanionSim(FILE* out = stdout);
    ~CompanionSim();
    // Connects to the agent's socket. 0 or -1.
    int Connect(const std::string& socketPath);
    void Close();
    // Serves the connection until `run` is 0 or the agent closes; `controlFd` (-1 for none)
    // carries control lines.
    void Run(const std::atomic<int>& run, int controlFd = -1);
    // Applies one control line: "status N [ID]", "set mesh N", "set roaming N", "set threshold A
    // B", "set band N", "set support N", "set topology TEXT", "set bssid HEX", "set adj HEX", "set
    // wan HEX", "set conf JSON", "pushconf", "push ID HEX", "pushtext ID TEXT", "every SEC ID HEX",
    // "devlist MAC[:STATUS[:NAME]]...", "quit". 0, 1 for quit, -1 for a bad line.
    int Control(const std::string& line);
    // Sends one frame with the next sequence number. 0 or -1.
    int Push(uint16_t funcId, const Bytes& payload);
    // The answer payload (status first) for a command, or empty for none.
    Bytes AnswerFor(uint16_t funcId, const uint8_t* payload, size_t len);
    size_t Received() const { return received_.load(); }

private:
    void HandleFrame(const uint8_t* frame, size_t len);
    void DrainInput();
    void RunSchedule();
    int NextDueMs();
    int SetStatus(std::istringstream& in);
    int SetValue(std::istringstream& in);

    FILE* out_;
    int fd_ = -1;
    std::mutex sendMu_;
    uint32_t seq_ = 0;
    std::mutex stateMu_;
    uint8_t status_ = 0;
    std::map<uint16_t, uint8_t> statusFor_;  // per-function status overrides
    Bytes wan_ = Bytes(228, 0);              // WAN record (set by 82, answered to 3 and 4)
    uint8_t band_ = 1, support_ = 1, mesh_ = 0, roaming_ = 0;
    uint8_t threshold_[2] = {0, 0};
    std::string topology_ = "{\"topology\":[]}";
    Bytes bssid_ = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    Bytes adj_ = {0x00, 0x00};
    std::string conf_ =
        "{\"referNum\":1000,\"serverDiff\":0,\"interval1\":0,\"interval2\":1440,"
        "\"interval3\":60,\"jumpTime\":\"22:00-06:00\"}";
    Bytes in_;
    std::atomic<size_t> received_{0};
    struct Scheduled {
        long periodMs;
        long nextMs;
        uint16_t funcId;
        Bytes payload;
    };
    std::vector<Scheduled> schedule_;
};

}  // namespace companionsim

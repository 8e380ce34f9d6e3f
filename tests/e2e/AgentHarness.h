// End-to-end set-up: the real agent binary in a private runtime directory with an accelerated
// clock, its plug.conf, its log file and its status file, beside an in-process platform
// simulator.
#pragma once

#include <gtest/gtest.h>

#include <map>
#include <memory>
#include <string>

#include "PlatformSim.h"
#include "TestSupport.h"

namespace e2e {

constexpr const char* kKey = "e2e-key-0123456";
constexpr const char* kPin = "PIN123456789";  // 12 characters: all of it goes into the frames
constexpr const char* kSdkSerial = "HR4G22120700318";  // serial number of the SDK default state

// Real milliseconds for `agentSeconds` of agent time at `scale`.
inline int RealMs(double agentSeconds, double scale) {
    return static_cast<int>(agentSeconds * 1000.0 / scale);
}

class AgentRun {
public:
    ~AgentRun();
    const testsupport::TempDir& dir() const { return dir_; }
    // Writes plug.conf (registration on 127.0.0.1:`port`; no "com" in the name: test mode) and
    // the SDK state copy, and starts the agent with -f and -m, its time `scale` times faster,
    // `env` added to its environment, and with `debug` -d (every log line to agent.log).
    void Start(int port, double scale = 10, std::map<std::string, std::string> env = {},
               bool debug = true);
    std::string Log() const { return testsupport::ReadFile(dir_.File("agent.log")); }
    std::string Status() const { return testsupport::ReadFile(dir_.File("plugstatus")); }
    bool WaitLog(const std::string& needle, int timeoutMs) const;
    size_t CountLog(const std::string& needle) const { return testsupport::CountOf(Log(), needle); }
    // Waits for the agent's end: true with its exit status.
    bool WaitExit(int timeoutMs, int* status);
    bool Running();

private:
    testsupport::TempDir dir_;
    std::unique_ptr<testsupport::Child> child_;
    bool exited_ = false;
};

// A simulator with the agent's key on ephemeral loopback ports, started.
std::unique_ptr<psim::PlatformSim> StartSim(psim::SimSettings s = psim::SimSettings());

// Waits for the agent to be logged in: a login answer sent and the first heartbeat received.
bool WaitLoggedIn(const psim::PlatformSim& sim, int timeoutMs);

}  // namespace e2e

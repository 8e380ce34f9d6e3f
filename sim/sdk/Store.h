// The simulated router's state and the frame of every library call: one process-wide lock, the
// call log line, reloading the state file when it changed, failure injection and write-back.
#pragma once

#include <cjson/cJSON.h>

#include <cstdint>
#include <mutex>
#include <string>

namespace sdksim {

// Status codes of the simulator (besides injected ones).
constexpr int kStatusBadArgument = 1;
constexpr int kStatusNoState = 2;

// Environment variables naming the state file and the call log.
constexpr const char* kStateEnv = "PLUG_SDK_STATE";
constexpr const char* kCallLogEnv = "PLUG_SDK_CALL_LOG";

// The bundled default state (compiled from default-state.json).
extern const char* const kDefaultStateJson;

// One call: holds the lock for its whole life. Construction appends the call-log line, brings the
// state up to date and applies failure injection; status() is then 0 when the call may proceed.
class Call {
public:
    Call(const char* name, const std::string& args);
    ~Call() = default;
    Call(const Call&) = delete;
    Call& operator=(const Call&) = delete;

    int status() const { return status_; }
    // Negative form for functions that return a switch value.
    int negativeStatus() const { return status_ < 0 ? status_ : -status_; }
    cJSON* root();

    // Reports a malformed state value (first line of `error`) and returns kStatusNoState.
    int StateError(const std::string& error);
    // Writes the changed state back (nothing to write for the bundled default). 0 or
    // kStatusNoState.
    int Commit();

private:
    std::lock_guard<std::mutex> lock_;
    const char* name_;
    int status_ = 0;
};

// Argument formatting for call-log lines.
std::string LogText(const char* text);   // "quoted", escaped; (null) for NULL
std::string LogMac(const uint8_t* mac);  // AA:BB:CC:DD:EE:FF; (null) for NULL

}  // namespace sdksim

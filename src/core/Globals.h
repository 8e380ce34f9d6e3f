// Process-wide state first set by the entry and read across the agent.
#pragma once

#include <atomic>
#include <cstdint>

#include "core/Limits.h"

extern std::atomic<int> l_debug;                     // 1 with -d
extern char l_config_file[limits::kConfigPathSize];  // the -f path, empty otherwise
extern uint8_t l_mac[limits::kMacSize];              // -m MAC, or asked of the SDK once
extern char gSN[limits::kSnSize];                    // router serial number
extern std::atomic<int> runMode;                     // 1 run mode (DNS names), 0 test mode
extern char RegisterIpAddr1[limits::kServerNameSize];
extern char RegisterIpAddr2[limits::kServerNameSize];
// 1 while logged in to the platform. Read across the agent; written only by the platform
// session's state owner (platform/SessionState.h).
extern std::atomic<int> mLogin;

// Ends the process with `status` (exit(-1) gives 255) without running static destructors
// under the feet of the agent's threads. Called by the executable only: library code returns
// kPlugFatal (core/Plug.h) instead.
[[noreturn]] void PlugExit(int status);

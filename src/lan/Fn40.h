// Sub-device filter (function 40): the companion sends lists of LAN devices; each online device
// is reported to the platform once, and the memory of reported devices is wiped every
// Fn40Interval rounds so that devices still present are reported again.
#pragma once

#include <cstddef>
#include <cstdint>
#include <mutex>
#include <vector>

#include "lan/LanLimits.h"
#include "lan/RunGate.h"

// One slot of fn40Dev; a MAC of all zeros marks a free slot.
struct Fn40Slot {
    uint8_t mac[6];
    uint8_t data[lanlimits::kFn40DataSize];
    uint8_t unused;
    uint8_t pending;  // 1 = not yet reported
};

extern std::mutex Fn40Mutex;  // guards fn40Dev
extern RunGate Fn40Run;
extern int Fn40Started;

// Clears the slots and starts the filter thread: 0, or -1 when it cannot be started.
int Fn40Init();
// Takes one function-40 frame's payload (entry count in the first two bytes, entries from 2).
void Fn40Handle(const uint8_t* payload, size_t len);
// Stores one 39-byte entry (MAC, data, status): 0, or -1 for an all-zero or all-FF MAC.
int Fn40AddDev(const uint8_t* entry);
void Fn40FilterProc();
// Sends every pending slot, in slot order; called with Fn40Mutex held.
void Fn40OnlineReport();
// Stops the filter thread (within a second).
void Fn40Stop();
// The slots in use, in slot order (for tests and the demo).
std::vector<Fn40Slot> Fn40Slots();

// Sub-device monitor: on request (function 64) scans the LAN's devices - the router's list, the
// hosts of the LAN subnet found only in the ARP table - and sends the full list to the platform
// as function 63.
#pragma once

#include <atomic>

// Request flag: non-zero asks the monitor for one scan; the monitor sets it back to 0 when done.
// Raising it wakes the monitor at once.
class SubdevRequest {
public:
    SubdevRequest& operator=(int v);
    int load() const { return value_.load(); }
    operator int() const { return load(); }

private:
    std::atomic<int> value_{0};
};
extern SubdevRequest nQuerySubdev;

// Starts SubdevThread: 0, or non-zero when the thread cannot be created (ends the start-up).
int StartSubdev();
// Stops the monitor (within a second, also in the middle of a scan's pauses).
void StopSubdev();
void SubdevThread();

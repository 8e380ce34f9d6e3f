// Sub-device monitor: scans the LAN's devices on request and reports the full list.
#pragma once

#include <atomic>

// Request flag: non-zero asks the monitor for one scan; the monitor sets it back to 0 when done.
extern std::atomic<int> nQuerySubdev;

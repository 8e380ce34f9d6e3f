// State shared by the server's source files; not for other modules.
#pragma once

#include <cstddef>
#include <climits>
#include <cstdint>
#include <mutex>

#include "core/Limits.h"
#include "ipc/CommRQ.h"

extern CommRQ CommRequestQueue;
extern std::mutex CommSendMutex;
extern std::mutex CommRecvMutex;
extern uint8_t txbuf[limits::kCommTxBufSize];

// rxData: status (0), length (1-2), data (3..) and a closing 0, under its own lock.
extern std::mutex CommRxDataMutex;
extern uint8_t rxData[limits::kCommRxDataSize];

// Wakes the frame handler after a push.
void CommNotifyQueue();
// Waits (bounded) until the queue has an element or the server stops.
void CommWaitQueue();
// The frame handler's loop body for one popped slot.
void CommHandleElement(const uint8_t* slot);
// The frame-handling thread.
void CommRecvHandle();
void CommAutoReportResetTimes();
struct cJSON;
// The number member `key` of `root` clamped to [lo, hi] (so an out-of-range value never wraps
// round into range), or `dflt` when it is absent or not a number.
int64_t CommJsonNumber(const cJSON* root, const char* key, int64_t dflt, int64_t lo = INT_MIN,
                       int64_t hi = INT_MAX);
// Runs `fn` on the stored jump time under its lock (the calibration cuts it in place).
void CommWithJumpTime(void (*fn)(char* text, void* ctx), void* ctx);

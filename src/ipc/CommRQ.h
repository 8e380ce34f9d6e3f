// The request ring queue: fixed slots carrying received companion frames from the client thread
// to the frame-handling thread. One slot always stays unused, so a queue of `count` slots holds
// at most count - 1 elements.
#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <mutex>

struct CommRQ {
    std::unique_ptr<uint8_t*[]> slots;   // slot i points at byte i * slotSize of `storage`
    std::unique_ptr<uint8_t[]> storage;  // count * slotSize bytes, zero-filled
    int32_t count = 0;
    int32_t slotSize = 0;
    uint32_t readIndex = 0;
    uint32_t writeIndex = 0;
    std::unique_ptr<std::mutex> mutex;
    std::atomic<int> initialised{0};
};

// Push result codes.
enum CommRQResult : int {
    kRQOk = 0,
    kRQNotReady = -1,  // not initialised, or no data pointer
    kRQFull = -2,
    kRQTooLong = -6,
    kRQEmptyData = -7,
};

// 0, or -1 for a null block, an initialised queue, count outside 3..50, slot size outside
// 1..9000, more than 102420 bytes in all, or a failed allocation.
int CommRQInit(CommRQ* q, int count, int slotSize);
// Copies n bytes into the next slot behind their length word. 0 or a CommRQResult code.
int CommRQPush(CommRQ* q, const uint8_t* data, int n);
// The slot at the read index (length word first), or null when empty or not initialised. The
// slot stays valid until the producer wraps round to it again.
uint8_t* CommRQPop(CommRQ* q);
int CommRQIsFull(CommRQ* q);
int CommRQIsEmpty(CommRQ* q);
void CommRQClear(CommRQ* q);
void CommRQDestroy(CommRQ* q);

// The element length stored in front of a popped slot's data.
int32_t CommRQElementLength(const uint8_t* slot);
inline const uint8_t* CommRQElementData(const uint8_t* slot) {
    return slot + sizeof(int32_t);
}

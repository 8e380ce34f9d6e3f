#include "ipc/CommRQ.h"

#include <cstring>
#include <new>

#include "core/Limits.h"

namespace {

bool CountsValid(int count, int slotSize) {
    if (count < limits::kCommRQMinSlots || count > limits::kCommRQMaxSlots) return false;
    if (slotSize < 1 || slotSize > limits::kCommRQMaxSlotSize) return false;
    return static_cast<long>(count) * slotSize <= limits::kCommRQMaxBytes;
}

uint32_t Next(const CommRQ* q, uint32_t index) {
    return (index + 1) % static_cast<uint32_t>(q->count);
}

bool Full(const CommRQ* q) {
    return Next(q, q->writeIndex) == q->readIndex;
}

}  // namespace

int CommRQInit(CommRQ* q, int count, int slotSize) {
    if (!q || q->initialised.load() == 1 || !CountsValid(count, slotSize)) return -1;
    size_t bytes = static_cast<size_t>(count) * static_cast<size_t>(slotSize);
    std::unique_ptr<uint8_t*[]> slots(new (std::nothrow) uint8_t*[count]());
    std::unique_ptr<uint8_t[]> storage(new (std::nothrow) uint8_t[bytes]);
    std::unique_ptr<std::mutex> mutex(new (std::nothrow) std::mutex);
    if (!slots || !storage || !mutex) return -1;
    for (int i = 0; i < count; ++i)
        slots[i] = storage.get() + static_cast<size_t>(i) * static_cast<size_t>(slotSize);
    q->slots = std::move(slots);
    q->storage = std::move(storage);
    q->mutex = std::move(mutex);
    q->count = count;
    q->slotSize = slotSize;
    q->readIndex = 0;
    q->writeIndex = 0;
    q->initialised.store(1);
    return 0;
}

int CommRQPush(CommRQ* q, const uint8_t* data, int n) {
    if (!q || q->initialised.load() != 1) return kRQNotReady;
    if (n < 1) return kRQEmptyData;
    if (!data) return kRQNotReady;
    std::lock_guard<std::mutex> g(*q->mutex);
    if (Full(q)) return kRQFull;
    if (n >= q->slotSize - 7) return kRQTooLong;
    uint8_t* slot = q->slots[q->writeIndex];
    int32_t len = n;
    memcpy(slot, &len, sizeof len);  // in-memory length word, host order
    memcpy(slot + sizeof len, data, static_cast<size_t>(n));
    q->writeIndex = Next(q, q->writeIndex);
    return kRQOk;
}

uint8_t* CommRQPop(CommRQ* q) {
    if (!q || q->initialised.load() != 1) return nullptr;
    std::lock_guard<std::mutex> g(*q->mutex);
    if (q->readIndex == q->writeIndex) return nullptr;
    uint8_t* slot = q->slots[q->readIndex];
    q->readIndex = Next(q, q->readIndex);
    return slot;
}

int CommRQIsFull(CommRQ* q) {
    if (!q || q->initialised.load() != 1) return 0;
    std::lock_guard<std::mutex> g(*q->mutex);
    return Full(q) ? 1 : 0;
}

int CommRQIsEmpty(CommRQ* q) {
    if (!q || q->initialised.load() != 1) return 1;
    std::lock_guard<std::mutex> g(*q->mutex);
    return q->readIndex == q->writeIndex ? 1 : 0;
}

void CommRQClear(CommRQ* q) {
    if (!q || q->initialised.load() != 1) return;
    std::lock_guard<std::mutex> g(*q->mutex);
    q->readIndex = 0;
    q->writeIndex = 0;
}

void CommRQDestroy(CommRQ* q) {
    if (!q) return;
    q->initialised.store(0);
    q->storage.reset();
    q->slots.reset();
    q->mutex.reset();
    q->count = 0;
    q->slotSize = 0;
    q->readIndex = 0;
    q->writeIndex = 0;
}

int32_t CommRQElementLength(const uint8_t* slot) {
    int32_t len = 0;
    memcpy(&len, slot, sizeof len);
    return len;
}

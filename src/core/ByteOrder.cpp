#include "core/ByteOrder.h"

#include "core/Log.h"

std::atomic<int> mEndType{0};

int GetEndType() {
    mEndType = 0;
    LOGD("byte order: wire fields little-endian");
    return 0;
}

uint16_t Swap16IfNeeded(uint16_t v) {
    if (mEndType == 0) return v;
    return static_cast<uint16_t>((v >> 8) | (v << 8));
}

uint32_t Swap32IfNeeded(uint32_t v) {
    return mEndType == 0 ? v : Swap32Always(v);
}

uint64_t Swap64IfNeeded(uint64_t v) {
    if (mEndType == 0) return v;
    uint32_t lo = static_cast<uint32_t>(v);
    uint32_t hi = static_cast<uint32_t>(v >> 32);
    return (static_cast<uint64_t>(Swap32Always(lo)) << 32) | Swap32Always(hi);
}

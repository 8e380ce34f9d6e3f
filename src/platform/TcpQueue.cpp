#include "platform/TcpQueue.h"

#include <cstring>

#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Log.h"

using namespace limits;

RecvQueue::RecvQueue() : mData(new uint8_t[kRecvQueueSize]) {}

int RecvQueue::push(const uint8_t* bytes, size_t count) {
    {
        std::lock_guard<std::mutex> g(mu_);
        if (!bytes || mOffset + count > kRecvQueueSize) {
            LOGD("over flow");
            return -1;
        }
        memcpy(mData.get() + mOffset, bytes, count);
        mOffset += count;
        ++pushes_;
    }
    cv_.notify_one();
    return 0;
}

namespace {

// Position of the first magic, scanning while i < held - 2; `held` when there is none.
size_t FindMagic(const uint8_t* p, size_t held) {
    for (size_t i = 0; i + 2 < held; ++i)
        if (p[i] == kFrameMagicLo && p[i + 1] == kFrameMagicHi) return i;
    return held;
}

}  // namespace

int RecvQueue::pop(QueuedFrame* out, int16_t* first16) {
    std::lock_guard<std::mutex> g(mu_);
    seen_ = pushes_;
    uint8_t* q = mData.get();
    if (mOffset < 4) return -1;
    size_t i = FindMagic(q, mOffset);
    if (i == mOffset || mOffset - i < kFrameHeaderLen) return -1;
    FrameHeader h;
    ParseFrameHeader(q + i, mOffset - i, &h);
    size_t body = static_cast<size_t>(h.optLen) + h.dataLen;
    if (mOffset - i - kFrameHeaderLen < body) return -1;
    size_t end = i + kFrameHeaderLen + body;
    int result = 0;
    static_assert(sizeof out->opt > kMaxOptLen, "an 8-bit OptLen always fits");
    if (h.dataLen > sizeof out->data) {
        LOGE("frame dropped: datalen %u exceeds the %zu-byte data buffer", h.dataLen,
             sizeof out->data);
        result = -2;
    } else {
        out->header = h;
        const uint8_t* opt = q + i + kFrameHeaderLen;
        if (h.optLen) memcpy(out->opt, opt, h.optLen);
        if (h.dataLen) {
            const uint8_t* data = opt + h.optLen;
            // The first two bytes exist only when the block has two; a 1-byte block gives
            // its one byte as the low half.
            uint16_t v = h.dataLen >= 2 ? GetField16(data) : data[0];
            *first16 = static_cast<int16_t>(v);
            memcpy(out->data, data, h.dataLen);
        }
    }
    memmove(q, q + end, mOffset - end);
    mOffset -= end;
    return result;
}

void RecvQueue::Reset() {
    std::lock_guard<std::mutex> g(mu_);
    mOffset = 0;
}

size_t RecvQueue::Held() {
    std::lock_guard<std::mutex> g(mu_);
    return mOffset;
}

void RecvQueue::WaitForPush(int64_t ms, const std::atomic<int>& run) {
    std::unique_lock<std::mutex> lock(mu_);
    GetClock().WaitFor(cv_, lock, ms, [&] { return pushes_ != seen_ || run.load() == 0; });
}

void RecvQueue::Wake() {
    { std::lock_guard<std::mutex> g(mu_); }
    cv_.notify_all();
}

RecvQueue& GetRecvQueue() {
    static RecvQueue queue;
    return queue;
}

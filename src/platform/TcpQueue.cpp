#include "platform/TcpQueue.h"

#include <cstring>

#include "core/ByteOrder.h"
#include "core/Log.h"

using namespace limits;

RecvQueue::RecvQueue() : mData(new uint8_t[kRecvQueueSize]) {}

namespace {

// Position of the first magic at or after `from`; `held` when there is none.
size_t FindMagic(const uint8_t* p, size_t from, size_t held) {
    for (size_t i = from; i + 1 < held; ++i)
        if (p[i] == kFrameMagicLo && p[i + 1] == kFrameMagicHi) return i;
    return held;
}

}  // namespace

int RecvQueue::push(const uint8_t* bytes, size_t count) {
    if (!bytes) return -1;
    std::lock_guard<std::mutex> g(mu_);
    // A chunk larger than the whole queue keeps only its newest bytes.
    if (count > kRecvQueueSize) {
        bytes += count - kRecvQueueSize;
        count = kRecvQueueSize;
    }
    if (mOffset + count > kRecvQueueSize) {
        // Only whole frames waiting for pop and one frame being assembled are held, so
        // this means the reader is far behind: the oldest bytes go, the new ones stay.
        size_t drop = mOffset + count - kRecvQueueSize;
        LOGE("receive queue full: %zu oldest bytes dropped", drop);
        memmove(mData.get(), mData.get() + drop, mOffset - drop);
        mOffset -= drop;
        mChecked = 0;
    }
    memcpy(mData.get() + mOffset, bytes, count);
    mOffset += count;
    Compact();
    return 0;
}

void RecvQueue::Compact() {
    uint8_t* q = mData.get();
    size_t r = mChecked;
    size_t w = mChecked;
    while (r < mOffset) {
        size_t m = FindMagic(q, r, mOffset);
        if (m == mOffset) {
            // No magic: only a last 0xCC could still become the start of one.
            r = q[mOffset - 1] == kFrameMagicLo ? mOffset - 1 : mOffset;
            break;
        }
        r = m;
        if (mOffset - r < kFrameHeaderLen) break;
        FrameHeader h;
        ParseFrameHeader(q + r, mOffset - r, &h);
        static_assert(sizeof(QueuedFrame::opt) > kMaxOptLen, "an 8-bit OptLen always fits");
        if (h.dataLen > sizeof(QueuedFrame::data)) {
            // Its body would be dropped anyway: do not wait for it, look for the next magic.
            LOGE("frame dropped: datalen %u exceeds the %zu-byte data buffer", h.dataLen,
                 sizeof(QueuedFrame::data));
            r += kFrameHeaderLen;
            continue;
        }
        size_t len = kFrameHeaderLen + h.optLen + h.dataLen;
        if (mOffset - r < len) break;
        if (w != r) memmove(q + w, q + r, len);
        w += len;
        r += len;
    }
    mChecked = w;
    if (r < mOffset && w != r) memmove(q + w, q + r, mOffset - r);
    mOffset = w + (mOffset - r);
}

int RecvQueue::pop(QueuedFrame* out, int16_t* first16) {
    std::lock_guard<std::mutex> g(mu_);
    if (mChecked == 0) return -1;
    // The queue starts with a whole frame whose lengths fit the buffers (Compact).
    const uint8_t* q = mData.get();
    FrameHeader h;
    ParseFrameHeader(q, mOffset, &h);
    size_t end = kFrameHeaderLen + static_cast<size_t>(h.optLen) + h.dataLen;
    out->header = h;
    const uint8_t* opt = q + kFrameHeaderLen;
    if (h.optLen) memcpy(out->opt, opt, h.optLen);
    if (h.dataLen) {
        const uint8_t* data = opt + h.optLen;
        // The first two bytes exist only when the block has two; a 1-byte block gives its one
        // byte as the low half.
        uint16_t v = h.dataLen >= 2 ? GetLe16(data) : data[0];
        *first16 = static_cast<int16_t>(v);
        memcpy(out->data, data, h.dataLen);
    }
    memmove(mData.get(), q + end, mOffset - end);
    mOffset -= end;
    mChecked -= end;
    return 0;
}

void RecvQueue::Reset() {
    std::lock_guard<std::mutex> g(mu_);
    mOffset = 0;
    mChecked = 0;
}

size_t RecvQueue::Held() {
    std::lock_guard<std::mutex> g(mu_);
    return mOffset;
}

RecvQueue& GetRecvQueue() {
    static RecvQueue queue;
    return queue;
}

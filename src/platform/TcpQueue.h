// The receive queue between the socket and the frame handler: bytes in (push), one complete
// frame out (pop). Pure over its own buffer, so it is driven from tests without a socket.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <mutex>

#include "core/Limits.h"
#include "platform/Frame.h"

// One frame as pop hands it to the response thread. The buffers bound what is copied: OptLen
// is at most 255 and DataLen is checked against the data buffer before any copy.
struct QueuedFrame {
    FrameHeader header;
    uint8_t opt[limits::kOptBufSize];
    uint8_t data[limits::kRespDataBufSize];
};

class RecvQueue {
public:
    RecvQueue();
    // Appends `count` bytes; -1 only for a null pointer. Bytes that
    // cannot start a frame are discarded at once (a last 0xCC is kept, it may begin a magic),
    // and a header whose DataLen exceeds the data buffer is dropped (ERROR) as soon as its 7
    // bytes are in, without waiting for its body. A queue full anyway drops its oldest bytes
    // (ERROR), never the new ones.
    int push(const uint8_t* bytes, size_t count);
    // Takes out the first complete frame.
    //  0: a frame in *out; *first16 receives the data block's first two bytes (little-endian,
    //     signed) when it has a data block, and is left alone otherwise.
    // -1: no complete frame yet; the bytes stay.
    int pop(QueuedFrame* out, int16_t* first16);
    // Empties the queue (mOffset back to 0).
    void Reset();
    size_t Held();

private:
    std::mutex mu_;
    // Drops junk and oversized headers behind the checked whole frames (lock held).
    void Compact();

    std::unique_ptr<uint8_t[]> mData;
    size_t mOffset = 0;
    size_t mChecked = 0;  // leading bytes that are whole frames with valid lengths
};

// The one receive queue of the platform connection.
RecvQueue& GetRecvQueue();

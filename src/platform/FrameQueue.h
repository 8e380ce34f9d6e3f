// Complete frames between the receive thread, which cuts them out of the receive queue, and the
// response thread, which handles them one after another in arrival order. The receive thread
// handles heartbeat answers itself, so a long function call on the response thread never holds
// them back.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstddef>
#include <cstdint>
#include <deque>
#include <memory>
#include <mutex>

#include "platform/TcpQueue.h"

class FrameQueue {
public:
    // Appends a copy of `f` with the 16-bit value pop left for it. -1 (DEBUG "over flow") when
    // the frames held would exceed the receive queue's 204800 bytes; nothing is kept then.
    int Push(const QueuedFrame& f, int16_t first16);
    // Waits up to `ms` (clock seam) for a frame while `run` is 1. 0 with the oldest frame in *out,
    // -1 when none came.
    int Pop(QueuedFrame* out, int16_t* first16, int64_t ms, const std::atomic<int>& run);
    // Wakes Pop so it re-reads its run flag.
    void Wake();
    void Clear();

private:
    struct Item {
        std::unique_ptr<QueuedFrame> frame;
        int16_t first16 = 0;
        size_t bytes = 0;
    };
    std::mutex mu_;
    std::condition_variable cv_;
    std::deque<Item> items_;
    size_t bytes_ = 0;
};

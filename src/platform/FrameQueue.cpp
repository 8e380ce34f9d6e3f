#include "platform/FrameQueue.h"

#include <cstring>
#include <new>

#include "core/Clock.h"
#include "core/Log.h"

using namespace limits;

int FrameQueue::Push(const QueuedFrame& f, int16_t first16) {
    Item item;
    item.first16 = first16;
    item.bytes = kFrameHeaderLen + f.header.optLen + f.header.dataLen;
    {
        std::lock_guard<std::mutex> g(mu_);
        if (bytes_ + item.bytes > kRecvQueueSize) {
            LOGD("over flow");
            return -1;
        }
    }
    item.frame.reset(new (std::nothrow) QueuedFrame);
    if (!item.frame) return -1;
    item.frame->header = f.header;
    memcpy(item.frame->opt, f.opt, f.header.optLen);
    memcpy(item.frame->data, f.data, f.header.dataLen);
    {
        std::lock_guard<std::mutex> g(mu_);
        bytes_ += item.bytes;
        items_.push_back(std::move(item));
    }
    cv_.notify_one();
    return 0;
}

int FrameQueue::Pop(QueuedFrame* out, int16_t* first16, int64_t ms, const std::atomic<int>& run) {
    Item item;
    {
        std::unique_lock<std::mutex> lock(mu_);
        if (!GetClock().WaitFor(cv_, lock, ms, [&] { return !items_.empty() || run != 1; }))
            return -1;
        if (items_.empty()) return -1;
        item = std::move(items_.front());
        items_.pop_front();
        bytes_ -= item.bytes;
    }
    out->header = item.frame->header;
    memcpy(out->opt, item.frame->opt, item.frame->header.optLen);
    memcpy(out->data, item.frame->data, item.frame->header.dataLen);
    *first16 = item.first16;
    return 0;
}

void FrameQueue::Wake() {
    { std::lock_guard<std::mutex> g(mu_); }
    cv_.notify_all();
}

void FrameQueue::Clear() {
    std::lock_guard<std::mutex> g(mu_);
    items_.clear();
    bytes_ = 0;
}

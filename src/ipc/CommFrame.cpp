#include "ipc/CommFrame.h"

#include "core/ByteOrder.h"
#include "core/Limits.h"
#include "core/Log.h"

uint16_t CommChecksum(const uint8_t* p, size_t n) {
    uint16_t sum = 0;
    for (size_t i = 0; i < n; ++i)
        sum = static_cast<uint16_t>(sum + p[i]);
    return sum;
}

void CommPutHeader(uint8_t* out, uint16_t funcId, uint32_t seq, uint32_t len, uint16_t sum) {
    PutLe16(out, kCommMarker);
    PutLe16(out + 2, funcId);
    PutLe32(out + 4, seq);
    PutLe32(out + 8, len);
    PutLe16(out + 12, sum);
}

CommAcceptResult CommAcceptFrame(const uint8_t* elem, size_t count, size_t avail,
                                 std::atomic<uint32_t>& rxSeq, CommFrameView* out) {
    if (count < limits::kCommMinElement || count > limits::kCommMaxElement) {
        LOGE("Receive length error, length is %d", static_cast<int>(count));
        return kCommBadLength;
    }
    if (GetLe16(elem) != kCommMarker) {
        LOGE("Receive head error.");
        return kCommBadHead;
    }
    CommFrameView v;
    v.funcId = GetLe16(elem + 2);
    v.seq = GetLe32(elem + 4);
    v.length = GetLe32(elem + 8);
    v.checksum = GetLe16(elem + 12);
    if (v.seq == rxSeq.load()) {
        LOGE("Receive  sequence error.");
        return kCommBadSequence;
    }
    rxSeq.store(v.seq);
    // The length field is used as sent (not compared with the element's byte count), but the
    // payload never reaches past the slot's bytes.
    size_t room = avail - limits::kCommHeaderSize;
    v.payload = elem + limits::kCommHeaderSize;
    v.payloadLen = v.length < room ? v.length : room;
    if (CommChecksum(v.payload, v.payloadLen) != v.checksum) {
        LOGE("Receive  checkSum error.");
        return kCommBadChecksum;
    }
    if (out) *out = v;
    return kCommAccepted;
}

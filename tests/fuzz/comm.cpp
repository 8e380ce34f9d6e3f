// The companion receive path without a socket: frames pushed to the request ring queue, every
// popped slot handed to the frame handler (acceptance rules, then the handler of its function
// ID: queries, answers, automatic reports, the 88/997 configuration, plug-in state, firmware
// result). Replies have no companion socket to go to, which the handlers must survive.
//
// Input: byte 0 even: the rest is one raw queue element. Byte 0 odd: byte 1 picks the function
// ID, the rest is the payload; the 14-byte header is built with a fresh sequence and the right
// checksum, so the handlers are reached.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "core/Globals.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/CommFrame.h"
#include "ipc/CommInternal.h"
#include "ipc/CommRQ.h"
#include "ipc/CommServer.h"

namespace {

CommRQ gQueue;

void Init() {
    SetLogMask(0);
    if (CommRQInit(&gQueue, 3, limits::kCommQueueSlotSize) != 0) abort();
}

constexpr uint16_t kIds[] = {1,  2,  3,  4,  5,  40, 70, 71, 72, 73, 74, 75,  76,  77,
                             78, 79, 80, 81, 82, 83, 84, 85, 86, 88, 89, 997, 998, 999};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = (Init(), true);
    (void)once;
    if (size < 2) return 0;
    mLogin = 1;
    CommRxSeq = 0;
    CommRQClear(&gQueue);
    std::vector<uint8_t> elem;
    if ((data[0] & 1) == 0) {
        elem.assign(data + 1, data + size);
    } else {
        size_t len = size - 2;
        elem.resize(limits::kCommHeaderSize + len);
        memcpy(elem.data() + limits::kCommHeaderSize, data + 2, len);
        CommPutHeader(elem.data(), kIds[data[1] % (sizeof kIds / sizeof kIds[0])], 1,
                      static_cast<uint32_t>(len),
                      CommChecksum(elem.data() + limits::kCommHeaderSize, len));
    }
    std::unique_ptr<uint8_t[]> in(new uint8_t[elem.size() ? elem.size() : 1]);
    if (!elem.empty()) memcpy(in.get(), elem.data(), elem.size());
    if (CommRQPush(&gQueue, in.get(), static_cast<int>(elem.size())) != 0) return 0;
    if (const uint8_t* slot = CommRQPop(&gQueue)) CommHandleElement(slot);
    mLogin = 0;
    return 0;
}

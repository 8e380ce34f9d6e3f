// Companion frames through the request ring queue into CommHandleElement, without a socket.
// Byte 0 even: the rest is one raw element; odd: byte 1 picks the function ID and the header
// (right checksum) is built around the rest, so every handler is reached.
#include <vector>

#include "FuzzCommon.h"
#include "core/Globals.h"
#include "core/Limits.h"
#include "ipc/CommFrame.h"
#include "ipc/CommInternal.h"
#include "ipc/CommRQ.h"
#include "ipc/CommServer.h"

namespace {

CommRQ gQueue;
constexpr uint16_t kIds[] = {1,  2,  3,  4,  5,  40, 70, 71, 72, 73, 74, 75,  76,  77,
                             78, 79, 80, 81, 82, 83, 84, 85, 86, 88, 89, 997, 998, 999};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::Run(
        data, size, 2,
        [] {
            if (CommRQInit(&gQueue, 3, limits::kCommQueueSlotSize) != 0) abort();
        },
        [](const uint8_t* in, size_t n) {
            mLogin = 1;
            CommRxSeq = 0;
            CommRQClear(&gQueue);
            std::vector<uint8_t> elem(in + 1, in + n);
            if (in[0] & 1) {
                const size_t len = n - 2, h = limits::kCommHeaderSize;
                elem.assign(h, 0);
                elem.insert(elem.end(), in + 2, in + n);
                CommPutHeader(elem.data(), kIds[in[1] % (sizeof kIds / sizeof kIds[0])], 1,
                              static_cast<uint32_t>(len), CommChecksum(elem.data() + h, len));
            }
            fuzz::Buf e = fuzz::Copy(elem.data(), elem.size());
            if (CommRQPush(&gQueue, e.get(), static_cast<int>(elem.size())) == 0)
                if (const uint8_t* slot = CommRQPop(&gQueue)) CommHandleElement(slot);
            mLogin = 0;
        });
}

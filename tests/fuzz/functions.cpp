// ParserProtoolData for every function ID against the SDK simulator's in-memory default state
// (reset after each input), time 1000 times faster. Byte 0 picks the ID (below 176: 1..88, else unsupported IDs), bytes
// 1-2 the tag, the rest the call from offset 4.
#include "FuzzCommon.h"
#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Limits.h"
#include "functions/ProtoolSdk.h"
#include "SimControl.h"

namespace {
ScaledClock gClock{1000.0};
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::Run(
        data, size, 3,
        [] {
            unsetenv("PLUG_SDK_STATE");
            SetClock(&gClock);
        },
        [](const uint8_t* in, size_t n) {
            uint16_t id = in[0] < 176 ? static_cast<uint16_t>(1 + in[0] % 88)
                                      : static_cast<uint16_t>(89 + (in[0] - 176) * 419);
            // Ping, traceroute and the rate tests would start real tools against input addresses.
            if (id == 8 || id == 51 || id == 61 || id == 87) return;
            fuzz::Buf req = fuzz::Copy(in + 1, 2, n - 1);  // tag, then room for the ID and the rest
            PutLe16(req.get() + 2, id);
            memcpy(req.get() + 4, in + 3, n - 3);
            fuzz::Buf ans = fuzz::Copy(nullptr, 0, limits::kAnswerBufSize);
            size_t ansLen = 0;
            ParserProtoolData(req.get(), n + 1, ans.get(), &ansLen);
            if (ansLen > limits::kAnswerBufSize) abort();
            // Every input starts from the same router: the state neither grows from input to
            // input (every allocation of an input is freed by its end, so a leak stands out)
            // nor makes one input's outcome depend on the ones before it.
            RouterSdkSimReset();
        });
}

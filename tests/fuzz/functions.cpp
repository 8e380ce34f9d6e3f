// The function-call parameter readers of every function ID, through ParserProtoolData, against
// the router SDK simulator's built-in default state (PLUG_SDK_STATE unset: the state lives in
// memory, so no file is written per call). Time runs 1000 times faster, so a row that waits for
// the companion gives up at once.
//
// Input: byte 0 picks the function ID (1..88 for values below 176, else 89..255 and above, to
// reach the unsupported answer), bytes 1-2 are the request tag, the rest the bytes from offset 4
// of the call (parameters from offset 10). The call is copied into a heap buffer of exactly its
// size.
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "functions/ProtoolSdk.h"

namespace {

ScaledClock gClock{1000.0};

void Init() {
    SetLogMask(0);
    unsetenv("PLUG_SDK_STATE");
    SetClock(&gClock);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = (Init(), true);
    (void)once;
    if (size < 3) return 0;
    uint16_t id = data[0] < 176 ? static_cast<uint16_t>(1 + data[0] % 88)
                                : static_cast<uint16_t>(89 + (data[0] - 176) * 419);
    // Ping, traceroute and the rate tests start real tools and send traffic off this machine
    // (addresses come from the input): their request readers are covered by the diagnostics
    // tests, which use stand-ins.
    if (id == 8 || id == 51 || id == 61 || id == 87) return 0;
    size_t len = 4 + (size - 3);
    std::unique_ptr<uint8_t[]> req(new uint8_t[len]);
    req[0] = data[1];
    req[1] = data[2];
    PutLe16(req.get() + 2, id);
    memcpy(req.get() + 4, data + 3, size - 3);
    std::unique_ptr<uint8_t[]> ans(new uint8_t[limits::kAnswerBufSize]());
    size_t ansLen = 0;
    ParserProtoolData(req.get(), len, ans.get(), &ansLen);
    if (ansLen > limits::kAnswerBufSize) abort();
    return 0;
}

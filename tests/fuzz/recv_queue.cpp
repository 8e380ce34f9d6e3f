// The platform receive path: bytes pushed to the receive queue, every frame it pops handed to
// CBHandle with a function-call and a plug-in data handler installed. There is no socket, so
// replies fail to send, which the handler must survive.
//
// Input: byte 0 even: the rest is pushed as it is, in two pieces split at byte 1.
//        byte 0 odd: byte 1 is the message type, byte 2 a damage offset (0xFF: none), byte 3
//        the value XORed in there, the rest the plain body; the frame is built with the key,
//        damaged and pushed, so the checksum and padding paths are reached with valid magic.
#include <cstdint>
#include <cstring>
#include <memory>
#include <vector>

#include "core/Log.h"
#include "platform/Dispatch.h"
#include "platform/Frame.h"
#include "platform/PlatformLink.h"
#include "platform/Session.h"
#include "platform/SessionState.h"
#include "platform/TcpQueue.h"

namespace {

constexpr const char* kKey = "plugkey";

int FunctionCall(const uint8_t* req, size_t reqLen, uint8_t* ans, size_t* ansLen) {
    // Reads every received byte (ASan checks the bounds) and answers with some of them.
    size_t n = reqLen < 64 ? reqLen : 64;
    memcpy(ans, req, n);
    *ansLen = n;
    return reqLen > 10 ? req[10] & 1 : 0;
}

int PlugData(uint8_t dataType, const char* data, size_t len) {
    volatile size_t n = strlen(data);  // the text must be NUL-terminated at len
    return (n == len ? 0 : 1) + (dataType & 3);
}

void Init() {
    SetLogMask(0);
    memset(gKeyText, 0, sizeof gKeyText);
    memcpy(gKeyText, kKey, strlen(kKey));
    SetFunctionCallHandler(FunctionCall);
    SetPlugDataHandler(PlugData);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = (Init(), true);
    (void)once;
    if (size < 1) return 0;
    ResetServerContext();
    ResetRecvQueue();
    PlatformSession().LoginAnswer(20);
    std::unique_ptr<uint8_t[]> in(new uint8_t[size]);
    memcpy(in.get(), data, size);

    RecvQueue& q = GetRecvQueue();
    if ((in[0] & 1) == 0) {
        size_t cut = size > 1 ? 1 + in[1] % size : 1;
        if (cut > size) cut = size;
        q.push(in.get() + 1, cut - 1);
        q.push(in.get() + cut, size - cut);
    } else if (size >= 4) {
        std::vector<uint8_t> frame;
        if (BuildFrame(gKeyText, in[1] & 31, 0, nullptr, 0, in.get() + 4, size - 4, &frame) == 0) {
            if (in[2] != 0xFF && in[2] < frame.size()) frame[in[2]] ^= in[3];
            std::unique_ptr<uint8_t[]> f(new uint8_t[frame.size()]);
            memcpy(f.get(), frame.data(), frame.size());
            q.push(f.get(), frame.size());
        }
    }
    std::unique_ptr<QueuedFrame> fr(new QueuedFrame);
    for (int i = 0; i < 64; ++i) {
        int16_t first16 = 0;
        int r = q.pop(fr.get(), &first16);
        if (r == -1) break;
        if (r != 0) continue;
        if (!HandleOnReceipt(fr->header, first16)) CBHandle(fr->header, fr->opt, fr->data, first16);
    }
    return 0;
}

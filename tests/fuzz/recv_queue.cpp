// The platform receive queue and CBHandle, with both handlers installed and no socket (replies
// fail to send). Byte 0 even: the rest pushed in two pieces split at byte 1. Odd: a frame built
// with the key (type byte 1, body from byte 4), byte 3 XORed in at offset byte 2 (0xFF: none).
#include <vector>

#include "FuzzCommon.h"
#include "platform/Dispatch.h"
#include "platform/Frame.h"
#include "platform/PlatformLink.h"
#include "platform/Session.h"
#include "platform/SessionState.h"
#include "platform/TcpQueue.h"

namespace {

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
    memset(gKeyText, 0, sizeof gKeyText);
    memcpy(gKeyText, "plugkey", 7);
    SetFunctionCallHandler(FunctionCall);
    SetPlugDataHandler(PlugData);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::Run(data, size, 1, Init, [](const uint8_t* in, size_t n) {
        ResetServerContext();
        ResetRecvQueue();
        PlatformSession().LoginAnswer(20);
        RecvQueue& q = GetRecvQueue();
        if ((in[0] & 1) == 0) {
            size_t cut = n > 1 ? 1 + in[1] % n : 1;
            q.push(in + 1, cut - 1);
            q.push(in + cut, n - cut);
        } else if (n >= 4) {
            std::vector<uint8_t> frame;
            if (BuildFrame(gKeyText, in[1] & 31, 0, nullptr, 0, in + 4, n - 4, &frame) != 0) return;
            if (in[2] != 0xFF && in[2] < frame.size()) frame[in[2]] ^= in[3];
            fuzz::Buf f = fuzz::Copy(frame.data(), frame.size());
            q.push(f.get(), frame.size());
        }
        std::unique_ptr<QueuedFrame> fr(new QueuedFrame);
        for (int i = 0; i < 64; ++i) {
            int16_t first16 = 0;
            int r = q.pop(fr.get(), &first16);
            if (r == -1) break;
            if (r == 0 && !HandleOnReceipt(fr->header, first16))
                CBHandle(fr->header, fr->opt, fr->data, first16);
        }
    });
}

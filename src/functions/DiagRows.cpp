#include "functions/DiagRows.h"

#include "core/ByteOrder.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "functions/FnRequest.h"

// The diagnostics workers are not built yet: these rows answer result code 1 (not done).
namespace {

int NotBuilt(FnCall& call) {
    LOGE("network diagnostics not built yet");
    FnAnswerStatus(call, 1);
    return 0;
}

}  // namespace

int Fn8StartPing(FnCall& call) {
    return NotBuilt(call);
}
int Fn9GetPingResult(FnCall& call) {
    return NotBuilt(call);
}
int Fn51StartTraceroute(FnCall& call) {
    return NotBuilt(call);
}
int Fn52GetTracerouteResult(FnCall& call) {
    return NotBuilt(call);
}
int Fn61StartRateTest(FnCall& call) {
    return NotBuilt(call);
}

// h10 JSON length (2 to 1023), the JSON text at 12. The length is checked before anything else.
int Fn87SetConfigData(FnCall& call) {
    if (!FnHasParams(call, 2)) return 0;
    int jsonLen = GetField16(FnParam(call, 10));
    LOGD("87 jsonLen: %d", jsonLen);
    if (jsonLen < limits::kMinConfigJsonLen || jsonLen > limits::kMaxConfigJsonLen) {
        LOGE("ERROR: config data have errors!!!");
        FnAnswerStatus(call, 1);
        return 0;
    }
    if (!FnHasParams(call, 2 + static_cast<size_t>(jsonLen))) return 0;
    return NotBuilt(call);
}

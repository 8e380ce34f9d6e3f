#include "functions/DiagRows.h"

#include <arpa/inet.h>
#include <netinet/in.h>

#include <string>

#include "core/ByteOrder.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "functions/DiagPing.h"
#include "functions/DiagRate.h"
#include "functions/DiagTrace.h"
#include "functions/FnRequest.h"

namespace {

// Request layout of functions 8 and 51.
constexpr size_t kTargetOff = 10;
constexpr size_t kPingSizeOff = 30;
constexpr size_t kPingCountOff = 32;
constexpr size_t kPingParams = 24;  // bytes 10-33
constexpr size_t kTraceParams = 4;  // bytes 10-13
constexpr size_t kRateAnswerLen = 18;

// The target address field (network order on the wire) as dotted text: always a valid address.
std::string TargetAddress(const FnCall& call) {
    in_addr a{};
    a.s_addr = htonl(GetIpv4(FnParam(call, kTargetOff)));
    char text[INET_ADDRSTRLEN] = {};
    inet_ntop(AF_INET, &a, text, sizeof text);
    return text;
}

// h6 text length, the text from 8.
void AnswerText(FnCall& call, const std::string& text) {
    uint8_t* a = FnAnswerBegin(call, limits::kFnHeaderSize + 2 + text.size());
    PutLe16(a + 6, static_cast<uint16_t>(text.size()));
    text.copy(reinterpret_cast<char*>(a + 8), text.size());
}

}  // namespace

int Fn8StartPing(FnCall& call) {
    if (!FnHasParams(call, kPingParams)) return 0;
    int size = GetLe16(FnParam(call, kPingSizeOff));
    int count = GetLe16(FnParam(call, kPingCountOff));
    FnAnswerStatus(call, static_cast<uint16_t>(PingStart(size, count, TargetAddress(call))));
    return 0;
}

int Fn9GetPingResult(FnCall& call) {
    std::string text;
    int status = PingFetch(&text);
    if (status != 0) {
        FnAnswerStatus(call, static_cast<uint16_t>(status));
        return 0;
    }
    AnswerText(call, text);
    return 0;
}

int Fn51StartTraceroute(FnCall& call) {
    if (!FnHasParams(call, kTraceParams)) return 0;
    FnAnswerStatus(call, static_cast<uint16_t>(TraceStart(TargetAddress(call))));
    return 0;
}

int Fn52GetTracerouteResult(FnCall& call) {
    std::string text;
    if (TraceFetch(&text) != 0) {
        FnAnswerStatus(call, 1);
        return 0;
    }
    AnswerText(call, text);
    return 0;
}

// 18 bytes, code 0, whether a test was started or one still runs.
int Fn61StartRateTest(FnCall& call) {
    if (RateTestStart() != 0) {
        FnAnswerStatus(call, 1);
        return 0;
    }
    FnAnswerBegin(call, kRateAnswerLen);
    return 0;
}

// h10 JSON length (2 to 1023), the JSON text at 12. The length is checked before anything else.
int Fn87SetConfigData(FnCall& call) {
    if (!FnHasParams(call, 2)) return 0;
    int jsonLen = GetLe16(FnParam(call, 10));
    LOGD("87 jsonLen: %d", jsonLen);
    if (jsonLen < limits::kMinConfigJsonLen || jsonLen > limits::kMaxConfigJsonLen) {
        LOGE("ERROR: config data have errors!!!");
        FnAnswerStatus(call, 1);
        return 0;
    }
    if (!FnHasParams(call, 2 + static_cast<size_t>(jsonLen))) return 0;
    const char* json = reinterpret_cast<const char*>(FnParam(call, 12));
    if (ParseConfigData(json, static_cast<size_t>(jsonLen)) != 0) {
        LOGE("ERROR: config data have errors!!!");
        FnAnswerStatus(call, 1);
        return 0;
    }
    FnAnswerStatus(call, 0);
    return 0;
}

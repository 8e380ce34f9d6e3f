// Rows 20, 21, 24, 25 (fixed answers), 47, 48, 50, 53-59: load, time, actions and flow rates.
#include <cstring>

#include "RouterSdk.h"
#include "core/ByteOrder.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "functions/FnRequest.h"
#include "functions/SdkRows.h"

namespace {

constexpr size_t kFixedAnswerLen = 27;  // functions 20 and 24: bytes 6-25 zero, byte 26 = 1

}  // namespace

int Fn20FixedAnswer(FnCall& call) {
    FnAnswerBegin(call, kFixedAnswerLen)[kFixedAnswerLen - 1] = 1;
    return 0;
}

int Fn21FixedStatus(FnCall& call) {
    FnAnswerStatus(call, 0);
    return 0;
}

int Fn47GetCpuUse(FnCall& call) {
    uint16_t percent = 0;
    int ret = get_cpu_use(&percent);
    if (ret != 0) return FnAnswerSdkError(call, "get_cpu_use", ret);
    PutLe16(FnAnswerBegin(call, 8) + 6, percent);
    return 0;
}

int Fn48GetMemUse(FnCall& call) {
    uint16_t percent = 0;
    int ret = get_mem_use(&percent);
    if (ret != 0) return FnAnswerSdkError(call, "get_mem_use", ret);
    PutLe16(FnAnswerBegin(call, 8) + 6, percent);
    return 0;
}

int Fn50SetFullLoadEnable(FnCall& call) {
    if (!FnHasParams(call, 3)) return 0;
    uint16_t index = GetLe16(FnParam(call, 10));
    uint8_t enable = FnParam(call, 12)[0];
    return FnAnswerSdkStatus(call, "set_full_load_enable", set_full_load_enable(index, enable));
}

int Fn53SyncTime(FnCall& call) {
    if (!FnHasParams(call, 8)) return 0;
    int64_t seconds = static_cast<int64_t>(GetLe64(FnParam(call, 10)));
    return FnAnswerSdkStatus(call, "sync_time", sync_time(seconds));
}

int Fn54GetDurationTime(FnCall& call) {
    uint64_t seconds = 0;
    int ret = get_duration_time(&seconds);
    if (ret != 0) return FnAnswerSdkError(call, "get_duration_time", ret);
    PutLe64(FnAnswerBegin(call, 14) + 6, seconds);
    return 0;
}

int Fn55Restart(FnCall& call) {
    return FnAnswerSdkStatus(call, "restart", restart());
}

// b10 enable, the NUL-terminated URL at 11.
int Fn56SetRedirection(FnCall& call) {
    if (!FnHasParams(call, 1)) return 0;
    const char* url = FnParamText(call, 11, limits::kMaxUrlText);
    if (url == nullptr) return 0;
    return FnAnswerSdkStatus(call, "set_redirection", set_redirection(FnParam(call, 10)[0], url));
}

// The MD5 text in a 33-byte field at 10, the NUL-terminated URL at 43.
int Fn57UpdateRomVersion(FnCall& call) {
    if (!FnHasParams(call, limits::kMd5TextField)) return 0;
    const char* md5 = FnParamText(call, 10, limits::kMd5TextField - 1);
    if (md5 == nullptr) return 0;
    const char* url = FnParamText(call, 10 + limits::kMd5TextField, limits::kMaxUrlText);
    if (url == nullptr) return 0;
    return FnAnswerSdkStatus(call, "update_rom_version", update_rom_version(url, md5));
}

// The down rate is asked first, then the up rate; the up rate is answered first.
int Fn58GetFlowRates(FnCall& call) {
    uint64_t down = get_flows_down_rate();
    uint64_t up = get_flows_up_rate();
    uint8_t* a = FnAnswerBegin(call, 22);
    PutLe64(a + 6, up);
    PutLe64(a + 14, down);
    return 0;
}

int Fn59SetHttpTestUrl(FnCall& call) {
    const char* url = FnParamText(call, 10, limits::kMaxUrlText);
    if (url == nullptr) return 0;
    return FnAnswerSdkStatus(call, "set_http_test_url", set_http_test_url(url));
}

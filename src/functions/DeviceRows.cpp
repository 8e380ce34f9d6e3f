// Rows 32-39, 43, 64: attached devices. Rows 33, 36 and 39 hold SubdevMutex around their SDK
// call only, and release it before the answer is built.
#include <cstring>
#include <memory>

#include "RouterSdk.h"
#include "core/ByteOrder.h"
#include "core/Log.h"
#include "core/SubdevMutex.h"
#include "functions/FnRequest.h"
#include "functions/SdkRecords.h"
#include "functions/SdkRows.h"
#include "lan/Subdev.h"

namespace {

constexpr size_t kMacParam = 6;  // device MAC at 10-15
constexpr uint16_t kLockFailedCode = 1;

static_assert(8 + ROUTER_MAX_DEVS * kDevCfgWire <= limits::kAnswerBufSize, "device list fits");
static_assert(8 + ROUTER_MAX_BLACK * 6 <= limits::kAnswerBufSize, "black list fits");

}  // namespace

int Fn32SetDevAccessControl(FnCall& call) {
    if (!FnHasParams(call, kDevCfgWire)) return 0;
    DevCfg dev = {};
    GetDevCfg(FnParam(call, 10), &dev);
    return FnAnswerSdkStatus(call, "set_dev_access_control", set_dev_access_control(dev));
}

int Fn33GetDevBandwidth(FnCall& call) {
    if (!FnHasParams(call, kMacParam)) return 0;
    const uint8_t* mac = FnParam(call, 10);
    uint64_t up = 0;
    uint64_t down = 0;
    {
        SubdevLock lock;
        if (!lock.owns()) {
            FnAnswerStatus(call, kLockFailedCode);
            return 0;
        }
        up = get_dev_us_bw(mac);
        down = get_dev_ds_bw(mac);
    }
    uint8_t* a = FnAnswerBegin(call, 22);
    PutLe64(a + 6, up);
    PutLe64(a + 14, down);
    return 0;
}

int Fn34GetDevMaxBandwidth(FnCall& call) {
    if (!FnHasParams(call, kMacParam)) return 0;
    const uint8_t* mac = FnParam(call, 10);
    int64_t up = 0;
    int64_t down = 0;
    int ret = get_dev_us_max_bw(mac, &up);
    if (ret != 0) return FnAnswerSdkError(call, "get_dev_us_max_bw", ret);
    ret = get_dev_ds_max_bw(mac, &down);
    if (ret != 0) return FnAnswerSdkError(call, "get_dev_ds_max_bw", ret);
    uint8_t* a = FnAnswerBegin(call, 22);
    PutLe64(a + 6, static_cast<uint64_t>(up));
    PutLe64(a + 14, static_cast<uint64_t>(down));
    return 0;
}

// Both limits are set; the answer carries the first failing status.
int Fn35SetDevMaxBandwidth(FnCall& call) {
    if (!FnHasParams(call, 22)) return 0;
    const uint8_t* mac = FnParam(call, 10);
    int64_t up = static_cast<int64_t>(GetLe64(FnParam(call, 16)));
    int64_t down = static_cast<int64_t>(GetLe64(FnParam(call, 24)));
    int retUp = set_dev_us_max_bw(mac, up);
    if (retUp != 0) LOGE("ERROR: set_dev_us_max_bw failed! ret=%d", retUp);
    int retDown = set_dev_ds_max_bw(mac, down);
    if (retDown != 0) LOGE("ERROR: set_dev_ds_max_bw failed! ret=%d", retDown);
    FnAnswerStatus(call, static_cast<uint16_t>(retUp != 0 ? retUp : retDown));
    return 0;
}

int Fn36GetDevName(FnCall& call) {
    if (!FnHasParams(call, kMacParam)) return 0;
    char name[ROUTER_DEV_NAME_SIZE] = {};
    int ret = 0;
    {
        SubdevLock lock;
        if (!lock.owns()) {
            FnAnswerStatus(call, kLockFailedCode);
            return 0;
        }
        ret = get_dev_name(FnParam(call, 10), name);
    }
    if (ret != 0) return FnAnswerSdkError(call, "get_dev_name", ret);
    size_t len = strnlen(name, sizeof name);
    uint8_t* a = FnAnswerBegin(call, 8 + len);
    PutLe16(a + 6, static_cast<uint16_t>(len));
    memcpy(a + 8, name, len);
    return 0;
}

// MAC at 10, the NUL-terminated name (at most 63 characters) at 16.
int Fn37SetDevName(FnCall& call) {
    if (!FnHasParams(call, kMacParam)) return 0;
    const char* name = FnParamText(call, 16, ROUTER_DEV_NAME_SIZE - 1);
    if (name == nullptr) return 0;
    return FnAnswerSdkStatus(call, "set_dev_name", set_dev_name(FnParam(call, 10), name));
}

int Fn38GetDevCfg(FnCall& call) {
    if (!FnHasParams(call, kMacParam)) return 0;
    DevCfg dev = {};
    int ret = get_dev_cfg(&dev, FnParam(call, 10));
    if (ret != 0) return FnAnswerSdkError(call, "get_dev_cfg", ret);
    PutDevCfg(FnAnswerBegin(call, limits::kFnHeaderSize + kDevCfgWire) + 6, dev);
    return 0;
}

int Fn39GetDevsCfg(FnCall& call) {
    std::unique_ptr<DevCfg[]> devs(new DevCfg[ROUTER_MAX_DEVS]());
    uint16_t num = 0;
    int ret = 0;
    {
        SubdevLock lock;
        if (!lock.owns()) {
            FnAnswerStatus(call, kLockFailedCode);
            return 0;
        }
        ret = get_devs_cfg(devs.get(), &num);
    }
    if (ret != 0) return FnAnswerSdkError(call, "get_devs_cfg", ret);
    size_t n = FnCutCount("get_devs_cfg", num, ROUTER_MAX_DEVS);
    uint8_t* a = FnAnswerBegin(call, 8 + n * kDevCfgWire);
    PutLe16(a + 6, static_cast<uint16_t>(n));
    for (size_t i = 0; i < n; ++i)
        PutDevCfg(a + 8 + i * kDevCfgWire, devs[i]);
    return 0;
}

int Fn43GetDevBlackList(FnCall& call) {
    std::unique_ptr<uint8_t[][6]> macs(new uint8_t[ROUTER_MAX_BLACK][6]());
    uint16_t num = 0;
    int ret = get_dev_black_list(macs.get(), &num);
    if (ret != 0) return FnAnswerSdkError(call, "get_dev_black_list", ret);
    size_t n = FnCutCount("get_dev_black_list", num, ROUTER_MAX_BLACK);
    uint8_t* a = FnAnswerBegin(call, 8 + n * 6);
    PutLe16(a + 6, static_cast<uint16_t>(n));
    for (size_t i = 0; i < n; ++i)
        memcpy(a + 8 + i * 6, macs[i], 6);
    return 0;
}

// The scan itself is the sub-device monitor's: this only raises its request flag.
int Fn64QuerySubdev(FnCall& call) {
    nQuerySubdev = 1;
    FnAnswerStatus(call, 0);
    return 0;
}

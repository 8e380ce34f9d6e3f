// Per-device bandwidth limits (function 66): each element of "LIST" sets or clears the upstream
// and downstream limit of one device through the router SDK.
#include <climits>
#include <cstdint>
#include <cstdlib>
#include <cstring>

#include "RouterSdk.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/SubdevMutex.h"
#include "rules/RouteFunc.h"
#include "rules/RuleJson.h"
#include "rules/RuleText.h"

namespace {

constexpr int kTcNoPayload = 1;
constexpr int kTcNotJson = 2;
constexpr int kTcMissingFlag = 3;  // then 4 MAC, 5 UP, 6 DOWN
constexpr int kTcRejected = 7;

// atoi's reading (leading blanks, a sign, digits up to the first other character) with the value
// held to the 32-bit range instead of overflowing.
int64_t LimitValue(const char* text) {
    long long v = strtoll(text, nullptr, 10);
    if (v > INT32_MAX) return INT32_MAX;
    if (v < INT32_MIN) return INT32_MIN;
    return v;
}

// One element: 0 applied, a missing-member code, or kTcRejected (never applied).
int ApplyTcElement(const cJSON* elem) {
    static const char* const kNames[] = {"FLAG", "MAC", "UP", "DOWN"};
    const char* text[4] = {};
    for (int i = 0; i < 4; ++i) {
        JsonText m = JsonMemberText(elem, kNames[i]);
        if (!m.present) return kTcMissingFlag + i;
        if (m.text == nullptr) {
            LOGE("Wrong tc rule param");
            return kTcRejected;
        }
        text[i] = m.text;
    }
    const char* flag = text[0];
    LOGD("\nflag:%s\n dev_mac:%s\n up_flow:%s\n down_flow:%s\n", flag, text[1], text[2], text[3]);
    int64_t up = LimitValue(text[2]);
    int64_t down = LimitValue(text[3]);
    uint8_t mac[limits::kMacSize] = {};
    // Fewer than six pairs are taken as they are; the missing bytes stay 0.
    if (ScanMac(text[1], mac) < 1) {
        LOGE("Wrong tc rule param dev_mac");
        return kTcRejected;
    }
    if (strcmp(flag, "0") == 0) {
        LOGD("flag = 0, clean tc rules");
        up = 0;
        down = 0;
    } else if (strcmp(flag, "1") != 0) {
        LOGE("Wrong tc rule param flag");
        return kTcRejected;
    }
    SubdevLock lock;
    if (!lock.owns()) return kTcRejected;
    LOGD("set_dev_us_max_bw result: %d", set_dev_us_max_bw(mac, up));
    LOGD("set_dev_ds_max_bw result: %d", set_dev_ds_max_bw(mac, down));
    return 0;
}

}  // namespace

int ParseTcParam(const char* json) {
    if (json == nullptr) return kTcNoPayload;
    JsonTree root(cJSON_Parse(json));
    if (!root) {
        LOGE("Parse json failed.");
        return kTcNotJson;
    }
    const cJSON* list = cJSON_GetObjectItem(root.get(), "LIST");
    const cJSON* elem = nullptr;
    cJSON_ArrayForEach(elem, list) {
        int rc = ApplyTcElement(elem);
        if (rc != 0) return rc;
    }
    return 0;
}

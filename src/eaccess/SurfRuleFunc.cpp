// One enforcement pass: every attached device is looked up under "MAC|weekday" and its access
// flag switched when the current minute enters or leaves one of its rule periods.
#include <cstdio>
#include <ctime>
#include <memory>

#include "RouterSdk.h"
#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "core/SubdevMutex.h"
#include "eaccess/Eaccess.h"
#include "rules/RuleText.h"
#include "rules/SurfRules.h"

static_assert(limits::kEaccessDevRecords == ROUTER_MAX_DEVS, "one pass reads every record");

namespace {

// 1 a period covers hour:minute, 0 none does, -2 no rule for the key.
int MatchRules(const char* key, int hour, int minute) {
    std::lock_guard<std::mutex> table(SurfRuleMutex);
    HashEntry* entry = hash_table_lookup(key);
    if (entry == nullptr) return -2;
    return rule_node_match(entry->rules.get(), hour, minute);
}

}  // namespace

void surf_rule_func() {
    time_t now = static_cast<time_t>(NowSec());
    struct tm local = {};
    localtime_r(&now, &local);
    // The weekday is 0 (Sunday) to 6 while rules are filed under "1" to "7": Sunday has none.
    int weekday = local.tm_wday;
    auto devs = std::make_unique<DevCfg[]>(limits::kEaccessDevRecords);
    SubdevLock lock;
    if (!lock.owns()) {
        LOGE("SubdevMutex used");
        return;
    }
    uint16_t num = 0;
    if (get_devs_cfg(devs.get(), &num) != 0) {
        LOGE("get_devs_cfg failed");
        return;
    }
    LOGD("Sub dev num:[%d]", num);
    size_t count = num < limits::kEaccessDevRecords ? num : limits::kEaccessDevRecords;
    for (size_t i = 0; i < count; ++i) {
        const DevCfg& dev = devs[i];
        char mac[18];
        FormatMac(dev.mac, mac);
        char key[limits::kSurfKeySize];
        snprintf(key, sizeof key, "%s|%d", mac, weekday);
        int m = MatchRules(key, local.tm_hour, local.tm_min);
        if (m == -2) {
            LOGD("Can't find rule for : %s", key);
            continue;
        }
        LOGD("Found rule for : %s", key);
        if (m == 0 && dev.accessControl == 0) {
            SurfSetAccess(dev, 1, mac);
        } else if (m == 1 && dev.accessControl == 1) {
            SurfSetAccess(dev, 0, mac);
        }
    }
}

#include "rules/SurfRules.h"

#include <cstdio>
#include <cstring>

#include "core/Globals.h"
#include "core/Log.h"
#include "core/SubdevMutex.h"
#include "rules/RuleJson.h"
#include "rules/RuleText.h"

namespace {

constexpr int kSurfNoPayload = 1;
constexpr int kSurfNotJson = 2;
constexpr int kSurfMissingFlag = 3;  // then 4 MAC, 5 DAY, 6 START, 7 STOP, 8 ALLOW
constexpr int kSurfRejected = 9;
constexpr const char* kWeekdayDigits[] = {"1", "2", "3", "4", "5", "6", "7"};

void SurfKey(char (&key)[limits::kSurfKeySize], const char* mac, const char* day) {
    snprintf(key, sizeof key, "%s|%s", mac, day);
}

SurfRule ParseRule(const char* start, const char* stop) {
    SurfRule rule = {};
    ScanTime(start, &rule.startHour, &rule.startMin);
    ScanTime(stop, &rule.stopHour, &rule.stopMin);
    return rule;
}

// Gives the device its access back after its last rule of a day went. The caller holds
// SubdevMutex.
void RestoreAccess(const uint8_t mac[6], const char* macText) {
    DevCfg cfg = {};
    if (get_dev_cfg(&cfg, mac) == 0 && cfg.accessControl == 0) SurfSetAccess(cfg, 1, macText);
}

bool IsZeroOrOne(const char* text) {
    return text != nullptr && (strcmp(text, "1") == 0 || strcmp(text, "0") == 0);
}

const char* Shown(const char* text) {
    return text != nullptr ? text : "(null)";
}

// One element: 0 committed, a missing-member code, or kSurfRejected (not committed).
int CommitSurfElement(const cJSON* elem) {
    static const char* const kNames[] = {"FLAG", "MAC", "DAY", "START", "STOP", "ALLOW"};
    const char* text[6] = {};
    for (int i = 0; i < 6; ++i) {
        JsonText m = JsonMemberText(elem, kNames[i]);
        if (!m.present) {
            LOGE("Wrong surf rule param");
            return kSurfMissingFlag + i;
        }
        text[i] = m.text;  // a member that is not a string reaches CommitSurfRule as missing
    }
    LOGD("flag:%s\n dev_mac:%s\n weekdays:%s\n start_time:%s\n stop_time:%s\n allowable:%s\n",
         Shown(text[0]), Shown(text[1]), Shown(text[2]), Shown(text[3]), Shown(text[4]),
         Shown(text[5]));
    if (!IsZeroOrOne(text[0]) || !IsZeroOrOne(text[5])) {
        LOGE("Wrong surf rule param");
        return kSurfRejected;
    }
    CommitSurfRule(strcmp(text[0], "1") == 0 ? 1 : 0, strcmp(text[5], "1") == 0 ? 1 : 0, text[1],
                   text[2], text[3], text[4]);
    return 0;
}

}  // namespace

void SurfSetAccess(DevCfg cfg, uint8_t access, const char* macText) {
    cfg.accessControl = access;
    if (runMode == 1) cfg.mode = 1;
    set_dev_access_control(cfg);
    LOGD("set_dev_access_control for: %s to %d", macText, access);
}

int set_surf_rule(const char* mac, const char* day, const SurfRule* rule) {
    char key[limits::kSurfKeySize];
    SurfKey(key, mac, day);
    {
        std::lock_guard<std::mutex> table(SurfRuleMutex);
        HashEntry* entry = hash_table_lookup(key);
        if (entry != nullptr) {
            entry->rules = rule_node_insert(std::move(entry->rules), rule);
        } else {
            hash_table_insert(key, rule);
        }
    }
    LOGM(LOG_LEVEL_INFO, "Add surf rule %s", key);
    return 0;
}

int del_surf_rule(const char* mac, const char* day, const SurfRule* rule) {
    uint8_t macBytes[limits::kMacSize] = {};
    ScanMac(mac, macBytes);
    char key[limits::kSurfKeySize];
    SurfKey(key, mac, day);
    SubdevLock device;  // taken before the table, as the access-time worker does
    std::lock_guard<std::mutex> table(SurfRuleMutex);
    HashEntry* entry = hash_table_lookup(key);
    LOGM(LOG_LEVEL_INFO, "Del from surf rule %s %p", key, static_cast<void*>(entry));
    LOGM(LOG_LEVEL_INFO, "rule - %d:%d %d:%d", rule->startHour, rule->startMin, rule->stopHour,
         rule->stopMin);
    if (entry == nullptr) {
        LOGE("hash node is NULL for %s", key);
        return -1;
    }
    entry->rules = rule_node_delete(std::move(entry->rules), rule);
    if (!entry->rules) {
        if (device.owns()) RestoreAccess(macBytes, mac);
        LOGD("surf rule %s removed.", key);
        hash_table_remove(key);
    }
    return 0;
}

int CommitSurfRule(int flag, int allow, const char* mac, const char* days, const char* start,
                   const char* stop) {
    (void)allow;
    if (mac == nullptr || days == nullptr || start == nullptr || stop == nullptr) {
        LOGE("Wrong surf rule");
        return -1;
    }
    SurfRule rule = ParseRule(start, stop);
    for (const char* digit : kWeekdayDigits) {
        if (strchr(days, digit[0]) == nullptr) continue;
        if (flag == 0) {
            del_surf_rule(mac, digit, &rule);
        } else {
            set_surf_rule(mac, digit, &rule);
        }
    }
    return 0;
}

int ParseSurfRulesParam(const char* json) {
    if (json == nullptr) {
        LOGE("Json is null.");
        return kSurfNoPayload;
    }
    JsonTree root(cJSON_Parse(json));
    if (!root) {
        LOGE("Parse json failed.");
        return kSurfNotJson;
    }
    const cJSON* list = cJSON_GetObjectItem(root.get(), "LIST");
    const cJSON* elem = nullptr;
    cJSON_ArrayForEach(elem, list) {
        int rc = CommitSurfElement(elem);
        if (rc != 0) return rc;
    }
    return 0;
}

#include "functions/FwVersion.h"

#include <cjson/cJSON.h>

#include <cstdio>
#include <cstring>
#include <memory>

#include "RouterSdk.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/AutoReport.h"
#include "platform/Protool.h"

namespace {

constexpr size_t kVersionBufSize = 80;
constexpr size_t kDateBufSize = 16;

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

// "no" without a report interval 2; otherwise "yes" when interval 3 is set.
const char* Configed(int interval2, int interval3) {
    if (interval2 == -1) return "no";
    return interval3 != -1 ? "yes" : "no";
}

}  // namespace

int FwVersionJson(std::string* text) {
    JsonPtr root(cJSON_CreateObject(), cJSON_Delete);
    if (!root) return -1;
    RouterVersion ver = {};
    if (get_router_version(&ver) != 0) return -1;

    char version[kVersionBufSize] = {};
    char fwDate[kDateBufSize] = {};
    size_t textLen = strnlen(ver.text, sizeof ver.text);
    memcpy(version, ver.text, textLen);
    snprintf(fwDate, sizeof fwDate, "%02d%02d%02d%02d", ver.date[0], ver.date[1], ver.date[2],
             ver.date[3]);
    LOGD("fwDate:%s", fwDate);
    strncat(version, fwDate, sizeof version - textLen - 1);

    char sdkVersion[32] = {};
    snprintf(sdkVersion, sizeof sdkVersion, "%d.%d.%d.%d", limits::kVersionMajor,
             limits::kVersionMinor, limits::kVersionPatch, limits::kVersionBuild);
    int interval2 = intervalFlag2;
    int interval3 = intervalFlag3;
    cJSON_AddStringToObject(root.get(), "version", version);
    cJSON_AddStringToObject(root.get(), "sdkVersion", sdkVersion);
    cJSON_AddNumberToObject(root.get(), "interval1", intervalFlag1);
    cJSON_AddNumberToObject(root.get(), "interval2", interval2);
    cJSON_AddNumberToObject(root.get(), "interval3", interval3);
    cJSON_AddStringToObject(root.get(), "configed", Configed(interval2, interval3));

    std::unique_ptr<char, decltype(&cJSON_free)> printed(cJSON_Print(root.get()), cJSON_free);
    if (!printed) return -2;
    *text = printed.get();
    return 0;
}

int dev_fwversion_report() {
    std::string text;
    int ret = FwVersionJson(&text);
    if (ret != 0) return ret;
    SendIpUpData(reinterpret_cast<const uint8_t*>(text.data()), text.size(),
                 limits::kFwVersionDataType, 0, nullptr);
    LOGD("fwversion:\n%s", text.c_str());
    return 0;
}

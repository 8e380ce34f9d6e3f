// ParserPlug: the platform's plug-in data (update commands, device recognition, the firmware
// update block, the sub-device report interval) read into the update state. Every text is cut to
// its buffer; a key of the wrong JSON type counts as missing.
#include <cjson/cJSON.h>

#include <cctype>
#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>

#include "core/ByteOrder.h"
#include "core/Log.h"
#include "functions/ParseJson.h"
#include "platform/Session.h"

using namespace limits;

char mDownloadServer[kDownloadServerSize];
int mDownloadPort = 80;
char mDownloadUrl[kDownloadUrlSize];
long long mFileLength = 0;
char mFileMD5[kFileMd5Size];
char mToken[kTokenSize];
char mMacText[kMacTextSize];
uint8_t mMac[6];
uint8_t mRecogResult = 0;
uint8_t upParm[kUpParmSize];

namespace {

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

// Copies `n` bytes of `src` into `dst` (room for `size`), cut to size - 1 and NUL-terminated.
void CopyCut(char* dst, size_t size, const char* src, size_t n, const char* what) {
    if (n >= size) {
        LOGE("%s of %zu bytes cut to %zu", what, n, size - 1);
        n = size - 1;
    }
    memcpy(dst, src, n);
    dst[n] = '\0';
}

// The string member `key`; nullptr (logged) when missing or not a string.
const char* Text(const cJSON* root, const char* key) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(root, key);
    if (!item) {
        LOGE("key \"%s\" missing", key);
        return nullptr;
    }
    if (!cJSON_IsString(item) || !item->valuestring) {
        LOGE("key \"%s\" is not a string", key);
        return nullptr;
    }
    return item->valuestring;
}

bool TextInto(const cJSON* root, const char* key, char* dst, size_t size) {
    const char* s = Text(root, key);
    if (!s) return false;
    CopyCut(dst, size, s, strlen(s), key);
    return true;
}

// The integer member `key`: a JSON number without fraction or a decimal string, within
// [lo, hi]. false (logged) otherwise.
bool Number(const cJSON* root, const char* key, long long lo, long long hi, long long* out) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(root, key);
    if (!item) {
        LOGE("key \"%s\" missing", key);
        return false;
    }
    long long v = 0;
    bool ok = false;
    if (cJSON_IsNumber(item)) {
        double d = item->valuedouble;
        ok = std::isfinite(d) && d == std::floor(d) && d >= static_cast<double>(lo) &&
             d <= static_cast<double>(hi);
        if (ok) v = static_cast<long long>(d);
    } else if (cJSON_IsString(item) && item->valuestring && item->valuestring[0]) {
        char* end = nullptr;
        errno = 0;
        v = strtoll(item->valuestring, &end, 10);
        ok = errno == 0 && *end == '\0' && v >= lo && v <= hi;
    }
    if (!ok) {
        LOGE("key \"%s\" is not a number in %lld..%lld", key, lo, hi);
        return false;
    }
    *out = v;
    return true;
}

bool Versions(const cJSON* root) {
    return TextInto(root, "pluginID", mPluginID, sizeof mPluginID) &&
           TextInto(root, "fromVersion", mFromVersion, sizeof mFromVersion) &&
           TextInto(root, "toVersion", mToVersion, sizeof mToVersion);
}

// scheme "://" server [":" port] "/" path into mDownloadServer, mDownloadPort, mDownloadUrl.
int SplitUrl(const char* url) {
    memset(mDownloadUrl, 0, sizeof mDownloadUrl);
    const char* start = strstr(url, "://");
    if (!start) {
        LOGE("url without \"://\": %s", url);
        return -1;
    }
    start += 3;
    const char* colon = strchr(start, ':');
    const char* slash;
    const char* serverEnd;
    if (colon) {
        slash = strchr(colon + 1, '/');
        if (!slash) {
            LOGE("url without a path after its port");
            return -1;
        }
        size_t portLen = static_cast<size_t>(slash - colon - 1);
        LOGD("portlen %d", static_cast<int>(portLen));
        if (portLen > kMaxPortTextLen) return -1;
        int port = 0;
        for (const char* p = colon + 1; p < slash; ++p) {
            if (*p < '0' || *p > '9') {
                LOGE("url port is not a number");
                return -1;
            }
            port = port * 10 + (*p - '0');
        }
        if (portLen == 0) {
            LOGE("url port is empty");
            return -1;
        }
        mDownloadPort = port;
        serverEnd = colon;
    } else {
        mDownloadPort = 80;
        slash = strchr(start, '/');
        if (!slash) {
            LOGE("url without a path");
            return -1;
        }
        serverEnd = slash;
    }
    CopyCut(mDownloadUrl, sizeof mDownloadUrl, slash, strlen(slash), "url path");
    size_t serverLen = static_cast<size_t>(serverEnd - start);
    LOGD("server len  %d", static_cast<int>(serverLen));
    if (serverLen > kMaxServerLen) return -1;
    memset(mDownloadServer, 0, sizeof mDownloadServer);
    memcpy(mDownloadServer, start, serverLen);
    LOGD("port %d;mDownloadUrl : %s; mDownloadServer: %s ", mDownloadPort, mDownloadUrl,
         mDownloadServer);
    return 0;
}

int PluginUpdate(const cJSON* root) {
    if (!Versions(root)) return -1;
    const char* url = Text(root, "url");
    if (!url || SplitUrl(url) != 0) return -1;
    long long length = 0;
    if (!Number(root, "fileLength", 0, kHttpMaxBodyLen, &length)) return -1;
    mFileLength = length;
    if (!TextInto(root, "fileMD5", mFileMD5, sizeof mFileMD5)) return -1;
    if (!TextInto(root, "token", mToken, sizeof mToken)) return -1;
    return 0;
}

bool MacBytes(const char* text, uint8_t mac[6]) {
    if (strlen(text) != 12) return false;
    for (int i = 0; i < 6; ++i) {
        unsigned v = 0;
        char pair[3] = {text[2 * i], text[2 * i + 1], '\0'};
        if (!isxdigit(static_cast<unsigned char>(pair[0])) ||
            !isxdigit(static_cast<unsigned char>(pair[1])) || sscanf(pair, "%02x", &v) != 1)
            return false;
        mac[i] = static_cast<uint8_t>(v);
    }
    return true;
}

int Recognition(const cJSON* root) {
    const char* mac = Text(root, "mac");
    long long result = 0;
    if (!mac || !Number(root, "result", 0, 255, &result)) return -1;
    if (!MacBytes(mac, mMac)) {
        LOGE("mac text \"%.32s\" is not twelve hex digits", mac);
        return -1;
    }
    mRecogResult = static_cast<uint8_t>(result);
    LOGD("devrecog result  : %d", mRecogResult);
    return 0;
}

// Copies a text member into its upParm field; false when missing.
bool ParmText(const cJSON* root, const char* key, size_t off, size_t size) {
    return TextInto(root, key, reinterpret_cast<char*>(upParm + off), size);
}

// Firmware update: 15 (command) checks the versions, 16 (file) fills the whole block.
int Firmware(int type, const cJSON* root) {
    memset(upParm, 0, sizeof upParm);
    if (!ParmText(root, "fromVersion", kUpParmFromVersion, kUpParmVersionSize)) {
        LOGE("fromVersion is mismatching.");
        return 1;
    }
    if (!(type == 15 ? Text(root, "toVersion") != nullptr
                     : ParmText(root, "toVersion", kUpParmToVersion, kUpParmVersionSize))) {
        LOGE("toVersion is mismatching.");
        return 2;
    }
    if (type == 15) return 0;
    if (!ParmText(root, "url", kUpParmUrl, kUpParmUrlSize)) {
        LOGE("url is null.");
        return 3;
    }
    long long length = 0;
    if (!Number(root, "fileLength", 0, 0xffffffffLL, &length)) {
        LOGE("fileLength is null.");
        return 5;
    }
    PutLe32(upParm + kUpParmFileLength, static_cast<uint32_t>(length));
    if (!ParmText(root, "checkMethod", kUpParmCheckMethod, kUpParmCheckMethodSize)) {
        LOGE("checkMethod is null.");
        return 4;
    }
    if (!ParmText(root, "chkSum", kUpParmChkSum, kUpParmChkSumSize)) {
        LOGE("chkSum is null.");
        return 7;
    }
    LOGD("MD5: %s", reinterpret_cast<const char*>(upParm + kUpParmChkSum));
    return 0;
}

int Fn40Report(const cJSON* root) {
    const cJSON* item = cJSON_GetObjectItemCaseSensitive(root, "func40Interval");
    if (!item) {
        LOGE("func40Interval not found.");
        return -1;
    }
    long long v = 0;
    if (!Number(root, "func40Interval", -2147483647LL, 2147483647LL, &v)) v = -1;
    LOGD("func40Interval : %lld", v);
    if (v == 0) {
        AutoReportDevinfo = 0;
        LOGD("Close subdev auto report.");
        return 0;
    }
    if (v >= 1 && v <= kMaxFn40Interval) {
        Fn40Interval = static_cast<int>(v) * kFn40RoundsPerMinute;
        AutoReportDevinfo = 1;
        LOGD("Set subdev auto report %d minute.", static_cast<int>(v));
        return 0;
    }
    LOGE("Set subdev auto report error.");
    return -1;
}

int ByType(int type, const cJSON* root) {
    switch (type) {
        case 1:
            return Versions(root) ? 0 : -1;
        case 2:
            return PluginUpdate(root);
        case 4:
            if (cJSON_GetObjectItemCaseSensitive(root, "result")) return 0;
            LOGE("key \"result\" missing");
            return -1;
        case 5:
        case 7:
            if (!TextInto(root, "mac", mMacText, sizeof mMacText)) return -1;
            if (type == 5) LOGD("----------mac  : %s", mMacText);
            return 0;
        case 6:
            return Recognition(root);
        case 15:
        case 16:
            return Firmware(type, root);
        case 18:
            return Fn40Report(root);
        default:
            return 0;
    }
}

}  // namespace

int ParserPlug(int type, const char* json) {
    if (!json) {
        LOGE("plug data type %d without text", type);
        return -1;
    }
    JsonPtr root(cJSON_Parse(json), cJSON_Delete);
    if (!root) {
        LOGE("plug data type %d: json parse error", type);
        return -1;
    }
    return ByType(type, root.get());
}

// The auto-report configuration: the companion's 997 answer, the platform's function-88 setting,
// the report-time spreading and the calibration sent to the companion.
#include <cjson/cJSON.h>

#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <mutex>
#include <string>

#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/AutoReport.h"
#include "ipc/ComF.h"
#include "ipc/CommInternal.h"
#include "ipc/CommServer.h"
#include "platform/Protool.h"

std::atomic<int> intervalFlag1{-1};
std::atomic<int> intervalFlag2{-1};
std::atomic<int> intervalFlag3{-1};
std::atomic<int> referNum{-1};
std::atomic<int> serverErr{0};

namespace {

std::mutex gJumpMu;
char jumpTime[limits::kJumpTimeSize];

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

JsonPtr ParseJson(const char* text) {
    return JsonPtr(cJSON_Parse(text), cJSON_Delete);
}

// The "jumpTime" member when it is a string of 9 to 11 characters, else "".
std::string JsonJumpTime(const cJSON* root) {
    const cJSON* item = cJSON_GetObjectItem(root, "jumpTime");
    if (!cJSON_IsString(item) || !item->valuestring) return "";
    size_t n = strlen(item->valuestring);
    if (n < limits::kJumpTimeMinLen || n > limits::kJumpTimeMaxLen) return "";
    return item->valuestring;
}

// Seconds of one "H:MM" or "HH:MM" part, or -1 with its log line.
long PartSeconds(const char* t) {
    size_t n = strlen(t);
    if (n != 4 && n != 5) {
        LOGE("Time data length error!!!");
        return -1;
    }
    const char* colon = strchr(t, ':');
    if (!colon) {
        LOGE("Time data error!!!");
        return -1;
    }
    long h = 0, m = 0;
    if (colon - t == 1) {
        h = t[0] - '0';
        m = (t[2] - '0') * 10 + (t[3] - '0');
    } else {
        h = (t[0] - '0') * 10 + (t[1] - '0');
        m = (t[3] - '0') * 10 + (t[4] - '0');
    }
    return h * 3600 + m * 60;
}

double DailyTime(const SpreadInput& in, int64_t phase, int* err) {
    double d = (86400.0 / static_cast<double>(in.referNum)) * static_cast<double>(phase);
    if (!in.jumpTime || in.jumpTime[0] == '\0')
        return static_cast<double>(in.midnight + in.serverDiff) + d;
    long a = 0, b = 0;
    if (jumpTimeToSec(&b, &a, in.jumpTime) != 0) {
        LOGE("jump time is error!");
        *err = -1;
        return 0;
    }
    int64_t w = a > b ? int64_t{a} - b : int64_t{a} + 86400 - b;
    if (w <= 0) {  // hours past 23 can make the span empty: refused rather than divided by
        LOGE("jump time is error!");
        *err = -1;
        return 0;
    }
    double whole = std::trunc(d);
    int64_t shifted = static_cast<int64_t>(whole) % w + b + in.serverDiff;
    return static_cast<double>(in.midnight + shifted) + (d - whole);
}

// The cycle's length in seconds is at most INT32_MAX (interval3 checked by the caller), so no
// product below can overflow 64 bits or reach zero.
double CycleStart(const SpreadInput& in, int64_t phase) {
    int64_t i3 = in.interval3;
    int64_t cycle = i3 * 60;
    double q = (static_cast<double>(cycle) / static_cast<double>(in.referNum)) *
                   static_cast<double>(phase) +
               static_cast<double>(in.serverDiff + in.midnight);
    int64_t lag = in.now - static_cast<int64_t>(std::trunc(q));
    if (lag > 29) q += static_cast<double>((i3 + ((lag + 30) / cycle) * i3) * 60);
    return q;
}

// The configuration alone: a 997 answer starts from here, the function-89 times stay.
void ResetConfiguration() {
    intervalFlag1.store(-1);
    intervalFlag2.store(-1);
    intervalFlag3.store(-1);
    referNum.store(-1);
    serverErr.store(0);
    std::lock_guard<std::mutex> g(gJumpMu);
    memset(jumpTime, 0, sizeof jumpTime);
}

}  // namespace

void CommAutoReportReset() {
    CommAutoReportResetTimes();
    ResetConfiguration();
}

int64_t CommJsonNumber(const cJSON* root, const char* key, int64_t dflt, int64_t lo, int64_t hi) {
    const cJSON* item = cJSON_GetObjectItem(root, key);
    if (!cJSON_IsNumber(item)) return dflt;
    double v = item->valuedouble;
    if (v >= static_cast<double>(hi)) return hi;
    if (v <= static_cast<double>(lo)) return lo;
    return static_cast<int64_t>(v);
}

void CommWithJumpTime(void (*fn)(char* text, void* ctx), void* ctx) {
    std::lock_guard<std::mutex> g(gJumpMu);
    fn(jumpTime, ctx);
}

std::string CommJumpTimeText() {
    std::lock_guard<std::mutex> g(gJumpMu);
    return jumpTime;
}

int64_t CommMacVal(const uint8_t mac[6]) {
    return int64_t{mac[3]} * 65536 + int64_t{mac[4]} * 256 + mac[5];
}

int64_t CommLocalMidnight(int64_t now) {
    time_t t = static_cast<time_t>(now);
    struct tm lt {};
    localtime_r(&t, &lt);
    lt.tm_hour = 0;
    lt.tm_min = 0;
    lt.tm_sec = 0;
    return static_cast<int64_t>(mktime(&lt));
}

int jumpTimeToSec(long* second, long* first, char* text) {
    char* save = nullptr;
    char* part1 = strtok_r(text, "-", &save);
    if (!part1) {
        LOGE("jump time error!!!");
        return -1;
    }
    long s1 = PartSeconds(part1);
    if (s1 < 0) return -1;
    char* part2 = strtok_r(nullptr, "-", &save);
    if (!part2) {
        LOGE("jump time error!");
        return -1;
    }
    long s2 = PartSeconds(part2);
    if (s2 < 0) return -1;
    if (std::labs(s1 - s2) < limits::kMinJumpSpanSec) {
        LOGE("jump time is little than 3600!");
        return -1;
    }
    *second = s2;
    *first = s1;
    return 0;
}

int CommSpreadReportTimes(const SpreadInput& in, ReportTimes* out) {
    if (in.referNum < 1) return -1;  // callers check 5..20000000 first
    if (in.interval3 > limits::kMaxCycleMinutes) {
        LOGE("interval3 out of range: %d (at most %d minutes)", in.interval3,
             limits::kMaxCycleMinutes);
        return -1;
    }
    int64_t phase = in.macVal % in.referNum;
    LOGD("MacVal: %d", static_cast<int>(in.macVal));
    ReportTimes t;
    if (in.interval2 == limits::kDailyInterval) {
        int err = 0;
        t.dayReportTime = DailyTime(in, phase, &err);
        if (err != 0) return -1;
    }
    if (in.interval3 >= 1) t.cycleReportStart = CycleStart(in, phase);
    *out = t;
    return 0;
}

void Comm_get_88Conf(const uint8_t* payload, size_t len) {
    ResetConfiguration();
    if (len < limits::kAutoConfMinLen || len > limits::kAutoConfMaxLen || payload[0] != 0) return;
    std::string text(reinterpret_cast<const char*>(payload + 1), len - 1);
    LOGD("Receive 88 info:\n%s, length=%d", text.c_str(), static_cast<int>(text.size()));
    JsonPtr root = ParseJson(text.c_str());
    if (!root) return;
    const cJSON* r = root.get();
    if (cJSON_GetObjectItem(r, "referNum")) referNum.store(CommJsonNumber(r, "referNum", -1));
    if (cJSON_GetObjectItem(r, "serverDiff")) serverErr.store(CommJsonNumber(r, "serverDiff", 0));
    if (cJSON_GetObjectItem(r, "interval1"))
        intervalFlag1.store(CommJsonNumber(r, "interval1", -1));
    if (cJSON_GetObjectItem(r, "interval2"))
        intervalFlag2.store(CommJsonNumber(r, "interval2", -1));
    if (cJSON_GetObjectItem(r, "interval3"))
        intervalFlag3.store(CommJsonNumber(r, "interval3", -1));
    std::string jt = JsonJumpTime(r);
    std::lock_guard<std::mutex> g(gJumpMu);
    snprintf(jumpTime, sizeof jumpTime, "%s", jt.c_str());
}

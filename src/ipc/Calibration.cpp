// Function 88 towards the companion: the platform's setting (ComF_set_auto_report) and the
// calibration built from the stored configuration (ComF_send_calibration).
#include <cjson/cJSON.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/Clock.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/AutoReport.h"
#include "ipc/ComF.h"
#include "ipc/CommInternal.h"
#include "ipc/CommRequest.h"
#include "ipc/CommServer.h"
#include "platform/Protool.h"

namespace {

using JsonPtr = std::unique_ptr<cJSON, decltype(&cJSON_Delete)>;

void JumpTimeOf(const cJSON* root, char* out, size_t cap) {
    out[0] = '\0';
    const cJSON* item = cJSON_GetObjectItem(root, "jumpTime");
    if (!cJSON_IsString(item) || !item->valuestring) return;
    size_t n = strlen(item->valuestring);
    if (n >= limits::kJumpTimeMinLen && n <= limits::kJumpTimeMaxLen)
        snprintf(out, cap, "%s", item->valuestring);
}

int64_t RouterMacVal() {
    uint8_t mac[6];
    GetRouteMac(mac);
    return CommMacVal(mac);
}

bool ReferNumValid(int64_t r) {
    return r >= limits::kReferNumMin && r <= limits::kReferNumMax;
}

struct AutoSetting {
    int64_t timestamp;
    int64_t refer;
    int i1, i2, i3;
    char jump[limits::kJumpTimeSize];
};

// The platform's text must be one JSON object and nothing after it: its closing brace is
// replaced by the computed members.
bool ReadSetting(const char* text, AutoSetting* s) {
    JsonPtr root(cJSON_ParseWithOpts(text, nullptr, 1), cJSON_Delete);
    if (!root || !cJSON_IsObject(root.get())) return false;
    s->timestamp = CommJsonNumber(root.get(), "timestamp", 0, INT64_MIN, INT64_MAX);
    s->refer = CommJsonNumber(root.get(), "referNum", -1);
    s->i1 = static_cast<int>(CommJsonNumber(root.get(), "interval1", -1));
    s->i2 = static_cast<int>(CommJsonNumber(root.get(), "interval2", -1));
    s->i3 = static_cast<int>(CommJsonNumber(root.get(), "interval3", -1));
    JumpTimeOf(root.get(), s->jump, sizeof s->jump);
    return true;
}

// Checks what snprintf wrote into a payload buffer of `cap` bytes: its length, or 0 (logged)
// when the text did not fit and was cut.
size_t FittedLength(int n, size_t cap) {
    if (n < 0 || static_cast<size_t>(n) >= cap) {
        LOGE("ERROR: auto report text too long! len=%d", n);
        return 0;
    }
    return static_cast<size_t>(n);
}

}  // namespace

unsigned ComF_set_auto_report(const char* json, size_t len) {
    if (!json || len < limits::kAutoJsonMinLen || len > limits::kAutoJsonMaxLen) return 1;
    std::string text(json, len);
    LOGD("Receive 88 info:\n%s, length=%d", text.c_str(), static_cast<int>(len));
    AutoSetting s{};
    if (!ReadSetting(text.c_str(), &s)) return 1;
    if (!ReferNumValid(s.refer)) {
        LOGE("referNum is error !!!!!!");
        return 1;
    }
    int64_t now = NowSec();
    int64_t diff = 0, midnight = 0;
    if (!(s.i3 < 1 && s.i2 < 1)) {
        // Compared before subtracting: a timestamp near the 64-bit limits must not overflow.
        if (s.timestamp < now - limits::kMaxServerDiffSec ||
            s.timestamp > now + limits::kMaxServerDiffSec) {
            LOGE("Calibration time error !!!!!!");
            return 1;
        }
        diff = s.timestamp - now;
        midnight = CommLocalMidnight(now);
    }
    SpreadInput in{s.refer, diff, s.i2, s.i3, s.jump, now, midnight, RouterMacVal()};
    ReportTimes t;
    if (CommSpreadReportTimes(in, &t) != 0) return 1;
    // The text without its closing brace (after any trailing blanks the parser allowed).
    std::string head = text.substr(0, text.find_last_of('}'));
    char payload[limits::kAutoReportTextSize];
    size_t plen = FittedLength(
        snprintf(payload, sizeof payload,
                 "%s,\"serverDiff\":%d,\"dayReportTime\":\"%f\",\"cycleReportStart\":\"%f\","
                 "\"save\":1}",
                 head.c_str(), static_cast<int>(diff), t.dayReportTime, t.cycleReportStart),
        sizeof payload);
    if (plen == 0) return 1;
    LOGD("set auto report info:\n%s, length=%d", payload, static_cast<int>(plen));
    intervalFlag1.store(s.i1);
    intervalFlag2.store(s.i2);
    intervalFlag3.store(s.i3);
    int rc =
        CommRequest(88, reinterpret_cast<const uint8_t*>(payload), plen, limits::kCommWaitTicks,
                    "ERROR: send set autoreport switch command failed!");
    return rc < 0 ? 1u : static_cast<unsigned>(rc);
}

namespace {

struct CalibrationCtx {
    SpreadInput in;
    ReportTimes times;
    int rc;
};

void SpreadWithStoredJump(char* text, void* ctx) {
    auto* c = static_cast<CalibrationCtx*>(ctx);
    c->in.jumpTime = text;
    c->rc = CommSpreadReportTimes(c->in, &c->times);
}

}  // namespace

void ComF_send_calibration() {
    int64_t refer = referNum.load();
    if (!ReferNumValid(refer)) {
        LOGE("referNum is error !!!!!!");
        return;
    }
    int i1 = intervalFlag1.load(), i2 = intervalFlag2.load(), i3 = intervalFlag3.load();
    if (i2 == 0 && i3 == 0) {
        LOGD("Function 89 closed, no need calibration!");
        return;
    }
    if (i2 == -1 && i3 == -1) {
        LOGD("Function 89 no config, no need calibration!");
        return;
    }
    int64_t now = NowSec();
    int64_t midnight = (i2 >= 1 || i3 >= 1) ? CommLocalMidnight(now) : 0;
    CalibrationCtx c{
        {refer, serverErr.load(), i2, i3, nullptr, now, midnight, RouterMacVal()}, {}, 0};
    CommWithJumpTime(SpreadWithStoredJump, &c);
    if (c.rc != 0) return;
    char payload[limits::kAutoReportTextSize];
    size_t plen = FittedLength(
        snprintf(payload, sizeof payload,
                 "{\"interval1\":%d,\"interval2\":%d,\"interval3\":%d,\"dayReportTime\":\"%f\","
                 "\"cycleReportStart\":\"%f\",\"save\":0}",
                 i1, i2, i3, c.times.dayReportTime, c.times.cycleReportStart),
        sizeof payload);
    if (plen == 0) return;
    LOGD("set auto report info:\n%s, length=%d", payload, static_cast<int>(plen));
    if (CommSendCmd(88, reinterpret_cast<const uint8_t*>(payload), plen) == 0)
        LOGD("Send calibration success, No need return!");
    else
        LOGE("ERROR: send set autoreport switch command failed!");
}

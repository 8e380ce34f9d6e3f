// Relaying companion reports to the platform, the function-89 rate rules and the firmware result.
#include "ipc/AutoReport.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <new>

#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "ipc/CommInternal.h"
#include "platform/Protool.h"

std::atomic<uint16_t> AutoReportSeq{1};

namespace {

// Function-89 bookkeeping, touched by the frame handler (and reset at server start).
std::atomic<long> oldSecond1{0};
std::atomic<long> oldSecond2{0};
std::atomic<long> oldSecond3{0};
std::atomic<uint8_t> oldSum{0};

constexpr size_t kFn81Swap16[] = {0, 3, 5, 225};
constexpr size_t kFn81Swap32[] = {205, 209, 213, 217, 221};

// The function-81 payload conversions, applied to fields lying wholly inside the payload.
void ConvertFn81(uint8_t* p, size_t len) {
    for (size_t off : kFn81Swap16)
        if (off + 2 <= len) PutLe16(p + off, GetLe16(p + off));
    for (size_t off : kFn81Swap32)
        if (off + 4 <= len) PutLe32(p + off, Swap32Always(GetLe32(p + off)));
}

uint8_t ByteSum8(const uint8_t* p, size_t len) {
    uint8_t sum = 0;
    for (size_t i = 0; i < len; ++i)
        sum = static_cast<uint8_t>(sum + p[i]);
    return sum;
}

void Relay(const uint8_t* payload, size_t len, int funcId) {
    if (len < 1) {
        LOGE("ERROR: receive data length error!");
        return;
    }
    std::unique_ptr<uint8_t[]> buf(new (std::nothrow) uint8_t[limits::kRelayBufSize]());
    if (!buf) return;
    size_t total = CommBuildRelay(buf.get(), limits::kRelayBufSize, AutoReportSeq.load(), funcId,
                                  payload, len);
    if (total == 0) {
        LOGE("ERROR: report too long! len=%d", static_cast<int>(len));
        return;
    }
    AutoReportSeq.fetch_add(1);
    uint8_t mac[6];
    GetRouteMac(mac);
    SendIpUpData(buf.get(), total, static_cast<uint8_t>(funcId), 1, mac);
    if (l_debug.load() == 1) {
        char heading[48];
        snprintf(heading, sizeof heading, "\nFuncID %d, Auto report info:\n", funcId);
        LogHexBytes(heading, buf.get(), total);
    }
}

// Type 1: duplicate and rate check within 120 s.
int CheckType1(const uint8_t* payload, size_t len, long now) {
    long interval = now - oldSecond1.exchange(now);
    LOGD("Type1 report interval: %ld seconds!", interval);
    if (interval >= limits::kType1SumWindowSec) return 0;
    uint8_t sum = ByteSum8(payload, len);
    if (sum == oldSum.load()) {
        LOGE("ERROR: type1 report error!");
        return -1;
    }
    oldSum.store(sum);
    if (interval < limits::kType1MinGapSec) {
        LOGE("ERROR: type1 report error!");
        return -1;
    }
    return 0;
}

}  // namespace

void CommAutoReportResetTimes() {
    oldSecond1.store(0);
    oldSecond2.store(0);
    oldSecond3.store(0);
    oldSum.store(0);
}

size_t CommBuildRelay(uint8_t* out, size_t cap, uint16_t seq, int funcId, const uint8_t* payload,
                      size_t len) {
    bool is81 = funcId == 81;
    size_t prefix = is81 ? limits::kRelayPrefixSize - 2 : limits::kRelayPrefixSize;
    if (prefix + len > cap) return 0;
    PutLe16(out, seq);
    PutLe16(out + 2, static_cast<uint16_t>(funcId));
    PutLe16(out + 4, 0);
    if (!is81) PutLe16(out + 6, static_cast<uint16_t>(len));
    memcpy(out + prefix, payload, len);
    if (is81) ConvertFn81(out + prefix, len);
    return prefix + len;
}

int CommCheck89(const uint8_t* payload, size_t len, long now) {
    switch (payload[0]) {
        case 1:
            return CheckType1(payload, len, now);
        case 2:
            if (now - oldSecond2.exchange(now) < limits::kType2MinGapSec) {
                LOGE("ERROR: type2 report error!");
                return -1;
            }
            return 0;
        case 3: {
            long interval = now - oldSecond3.exchange(now);
            LOGD("Type3 report interval: %ld seconds!", interval);
            if (interval < limits::kType3MinGapSec) {
                LOGE("ERROR: type3 report error!");
                return -1;
            }
            return 0;
        }
        default:
            LOGE("ERROR: type error!");
            return -1;
    }
}

void CommAutoReport(const uint8_t* payload, size_t len) {
    Relay(payload, len, 81);
}

void CommAutoJsonReport(const uint8_t* payload, size_t len, int funcId) {
    Relay(payload, len, funcId);
}

void CommAutoReport89(const uint8_t* payload, size_t len) {
    if (len < 1) {
        LOGE("ERROR: receive data length error!");
        return;
    }
    if (CommCheck89(payload, len, static_cast<long>(NowSec())) != 0) return;
    Relay(payload, len, 89);
}

std::string CommFwResultText(int result) {
    static const char* const kDesc[] = {
        "success",
        "fromVersion not match.",
        "toVersion not support.",
        "url address error.",
        "check method not match.",
        "fileLength error.",
        "file download failed.",
        "check sum error.",
        "firmware update faiiled.",
    };
    if (result == 0) return "{\"result\":0,\"resultDesc\":\"success\"}";
    const char* desc = (result >= 1 && result <= 8) ? kDesc[result] : "unKnown error.";
    char text[limits::kFwResultTextSize];
    snprintf(text, sizeof text, "{\"result\":%d,\"resultDesc\":\"%s\"}", result, desc);
    return text;
}

void CommFwUpdateResult(const uint8_t* payload, size_t len) {
    if (len != 1) {
        LOGE("Firmware update return length error.");
        return;
    }
    if (payload[0] == 0)
        LOGD("update firmware success.");
    else
        LOGD("update firmware file error.");
    std::string text = CommFwResultText(payload[0]);
    SendIpUpData(reinterpret_cast<const uint8_t*>(text.data()), text.size(), 17, 0, nullptr);
}

#include "lan/SubdevScan.h"

#include <cstdio>
#include <cstring>
#include <memory>
#include <string>

#include "RouterSdk.h"
#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "core/Paths.h"
#include "core/SubdevMutex.h"
#include "lan/ArpTable.h"

using namespace lanlimits;

namespace {

bool HasMac(const SubdevTable& t, const uint8_t* mac) {
    for (size_t i = 0; i < t.total; ++i)
        if (memcmp(t.rec[i].mac, mac, 6) == 0) return true;
    return false;
}

// The router's name for an ARP-only host, or "unknown-device".
void ArpHostName(const uint8_t* mac, char name[kDevNameField]) {
    char buf[ROUTER_DEV_NAME_SIZE] = {};
    int ret = -1;
    {
        SubdevLock lock;
        if (lock.owns()) ret = get_dev_name(mac, buf);
    }
    const char* src = ret == 0 ? buf : "unknown-device";
    memset(name, 0, kDevNameField);
    memcpy(name, src, strnlen(src, kDevNameField));
}

void AddArpHost(SubdevTable* t, const ArpHost& h) {
    SubdevRecord& r = t->rec[t->total++];
    memset(&r, 0, sizeof r);
    r.ip = h.ip;
    memcpy(r.mac, h.mac, 6);
    ArpHostName(h.mac, r.name);
    r.attached = 0;
    r.attribute = 1;
}

char gInNetSeg[kInNetSegSize];  // prefix of the previous scan

}  // namespace

SubdevStep GetSdkDevices(SubdevTable* t) {
    memset(t, 0, sizeof *t);
    std::unique_ptr<DevCfg[]> devs(new DevCfg[kDevTableSize]());
    uint16_t num = 0;
    int ret;
    {
        SubdevLock lock;
        if (!lock.owns()) return kScanRetryNow;
        ret = get_devs_cfg(devs.get(), &num);
    }
    if (ret != 0) {
        LOGE("get_devs_cfg Failed.");
        return kScanRetryLater;
    }
    if (num > kMaxDevs) {
        LOGE("DeviceNum too large.");
        return kScanRetryLater;
    }
    for (size_t i = 0; i < num; ++i) {
        SubdevRecord& r = t->rec[i];
        const DevCfg& d = devs[i];
        r.ip = d.ip;
        memcpy(r.mac, d.mac, 6);
        memcpy(r.name, d.name, kDevNameField);
        r.attribute = d.attribute;
        r.attached = 1;
    }
    t->total = num;
    return kScanOk;
}

void GetFlowStatisData(SubdevTable* t) {
    uint64_t up = 0;
    uint64_t down = 0;
    for (size_t i = 0; i < t->total; ++i) {
        SubdevRecord& r = t->rec[i];
        SubdevLock lock;
        if (lock.owns()) {
            down = get_dev_ds_bw(r.mac);
            up = get_dev_us_bw(r.mac);
        }
        // Without the lock the previous device's values stand in.
        r.up = up;
        r.down = down;
    }
}

void ResetInNetSeg() {
    memset(gInNetSeg, 0, sizeof gInNetSeg);
}

bool GetInNetSeg(const SubdevTable& t, char seg[kInNetSegSize]) {
    if (t.total > 0) {
        uint32_t ip = t.rec[0].ip;
        char text[kInNetSegSize];
        snprintf(text, sizeof text, "%u.%u.%u.%u", ip >> 24, (ip >> 16) & 0xFF, (ip >> 8) & 0xFF,
                 ip & 0xFF);
        memset(seg, 0, kInNetSegSize);
        int dots = 0;
        for (size_t i = 0; i < kInNetSegMax && text[i] != '\0'; ++i) {
            seg[i] = text[i];
            if (text[i] == '.' && ++dots == 3) break;
        }
        if (dots < 3) memset(seg, 0, kInNetSegSize);
    } else {
        // No device: the previous scan's prefix is reused when it looks like one.
        size_t len = strnlen(gInNetSeg, kInNetSegSize);
        if (len < kInNetSegReuseMin || len > kInNetSegMax) gInNetSeg[0] = '\0';
        memcpy(seg, gInNetSeg, kInNetSegSize);
    }
    if (seg[0] == '\0') {
        LOGE("GetInNetSeg failed.");
        return false;
    }
    memcpy(gInNetSeg, seg, kInNetSegSize);
    LOGD("InNetSeg=%s", seg);
    return true;
}

void GetOffLineInfo(SubdevTable* t, const char* seg) {
    const std::string& path = Paths().arpTable;
    FILE* f = fopen(path.c_str(), "r");
    if (f == nullptr) {
        LOGE("Unable to open file %s.", path.c_str());
        return;
    }
    char buf[kArpLineMax + 1];
    while (t->total < kMaxDevs && fgets(buf, sizeof buf, f) != nullptr) {
        std::string line = buf;
        // Only the first 157 characters of a line count; the rest of it is skipped.
        if (line.find('\n') == std::string::npos) {
            int c;
            while ((c = fgetc(f)) != EOF && c != '\n')
                line.push_back(static_cast<char>(c));
        }
        if (!ArpLineSelected(line, seg)) continue;
        ArpHost h;
        if (!ParseArpLine(line, &h) || HasMac(*t, h.mac)) continue;
        AddArpHost(t, h);
    }
    fclose(f);
}

void GetBlackInfo(SubdevTable* t) {
    if (t->total > kMaxDevs) {
        LOGE("TotalDevice is too large.");
        return;
    }
    for (size_t i = 0; i < t->total; ++i)
        t->rec[i].allowed = 1;
    // Outside debug mode every device is reported as allowed.
    if (l_debug.load() != 1) return;
    std::unique_ptr<uint8_t[][6]> macs(new uint8_t[ROUTER_MAX_BLACK][6]());
    uint16_t num = 0;
    int ret;
    {
        SubdevLock lock;
        if (!lock.owns()) return;
        ret = get_dev_black_list(macs.get(), &num);
    }
    if (ret != 0) {
        LOGE("get_dev_black_list Error.");
        return;
    }
    LOGD("BlackNum=%d", num);
    size_t n = num < ROUTER_MAX_BLACK ? num : ROUTER_MAX_BLACK;
    for (size_t b = 0; b < n; ++b) {
        const uint8_t* m = macs[b];
        LOGD("BlackMac%d=%02x:%02x:%02x:%02x:%02x:%02x", static_cast<int>(b), m[0], m[1], m[2],
             m[3], m[4], m[5]);
        for (size_t i = 0; i < t->total; ++i)
            if (memcmp(t->rec[i].mac, m, 6) == 0) t->rec[i].allowed = 0;
    }
}

std::vector<uint8_t> BuildSubdevMessage(const SubdevTable& t, uint16_t seq) {
    if (t.total > kMaxDevs) return {};
    std::vector<uint8_t> msg(kSubdevHeaderSize + kSubdevRecordSize * t.total, 0);
    PutLe16(&msg[0], seq);
    PutLe16(&msg[2], kSubdevFunc);
    PutLe16(&msg[4], 0);
    PutLe16(&msg[6], static_cast<uint16_t>(t.total));
    for (size_t i = 0; i < t.total; ++i) {
        const SubdevRecord& r = t.rec[i];
        uint8_t* p = &msg[kSubdevHeaderSize + kSubdevRecordSize * i];
        PutIpv4(p, r.ip);
        memcpy(p + 4, r.mac, 6);
        memcpy(p + 10, r.name, kDevNameField);
        PutLe64(p + 26, r.up);
        PutLe64(p + 34, r.down);
        p[42] = r.attached;
        p[43] = r.allowed;
        p[44] = r.attribute;
    }
    return msg;
}

void printHexBuf(const uint8_t* buf, size_t len) {
    const size_t perLine = kHexDumpLineMax / 3;  // "XX " per byte
    for (size_t i = 0; i < len; i += perLine)
        LogHexBytes("", buf + i, len - i < perLine ? len - i : perLine);
}

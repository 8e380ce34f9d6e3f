// Rows 3-7, 10-12, 41, 44, 45, 49: WAN, LAN, link speeds and DNS.
#include <cstring>
#include <memory>

#include "RouterSdk.h"
#include "core/ByteOrder.h"
#include "core/Log.h"
#include "functions/FnRequest.h"
#include "functions/SdkRecords.h"
#include "functions/SdkRows.h"

namespace {

constexpr size_t kIndexParam = 2;  // h10: WAN index

static_assert(8 + ROUTER_MAX_WANS * kWanCfgWire <= limits::kAnswerBufSize, "WAN list fits");
static_assert(8 + limits::kMaxLanPorts * 16 <= limits::kAnswerBufSize, "port flows fit");

// h10 of a call that carries an index; false (answered) when the request is too short.
bool ReadIndex(FnCall& call, uint16_t* index) {
    if (!FnHasParams(call, kIndexParam)) return false;
    *index = GetLe16(FnParam(call, limits::kFnParamOffset));
    return true;
}

}  // namespace

int Fn3GetWanCfg(FnCall& call) {
    uint16_t index = 0;
    if (!ReadIndex(call, &index)) return 0;
    WanCfg wan = {};
    int ret = get_wan_cfg(index, &wan);
    if (ret != 0) return FnAnswerSdkError(call, "get_wan_cfg", ret);
    uint8_t* a = FnAnswerBegin(call, limits::kFnHeaderSize + kWanCfgWire);
    PutWanCfg(a + 6, wan);
    return 0;
}

int Fn4GetWansCfg(FnCall& call) {
    std::unique_ptr<WanCfg[]> wans(new WanCfg[ROUTER_MAX_WANS]());
    uint16_t num = 0;
    int ret = get_wans_cfg(wans.get(), &num);
    if (ret != 0) return FnAnswerSdkError(call, "get_wans_cfg", ret);
    size_t n = FnCutCount("get_wans_cfg", num, ROUTER_MAX_WANS);
    uint8_t* a = FnAnswerBegin(call, 8 + n * kWanCfgWire);
    PutLe16(a + 6, static_cast<uint16_t>(n));
    for (size_t i = 0; i < n; ++i)
        PutWanCfg(a + 8 + i * kWanCfgWire, wans[i]);
    return 0;
}

int Fn5GetWanTcpConNum(FnCall& call) {
    uint16_t index = 0;
    if (!ReadIndex(call, &index)) return 0;
    uint32_t num = 0;
    int ret = get_wan_tcp_con_num(index, &num);
    if (ret != 0) return FnAnswerSdkError(call, "get_wan_tcp_con_num", ret);
    PutLe32(FnAnswerBegin(call, 10) + 6, num);
    return 0;
}

int Fn6GetWanUdpConNum(FnCall& call) {
    uint16_t index = 0;
    if (!ReadIndex(call, &index)) return 0;
    uint32_t num = 0;
    int ret = get_wan_udp_con_num(index, &num);
    if (ret != 0) return FnAnswerSdkError(call, "get_wan_udp_con_num", ret);
    PutLe32(FnAnswerBegin(call, 10) + 6, num);
    return 0;
}

int Fn7GetWanReceiveBytes(FnCall& call) {
    uint16_t index = 0;
    if (!ReadIndex(call, &index)) return 0;
    uint64_t bytes = 0;
    int ret = get_wan_receive_bytes(index, &bytes);
    if (ret != 0) return FnAnswerSdkError(call, "get_wan_receive_bytes", ret);
    PutLe64(FnAnswerBegin(call, 14) + 6, bytes);
    return 0;
}

int Fn10GetLanCfg(FnCall& call) {
    LanCfg lan = {};
    int ret = get_lan_cfg(&lan);
    if (ret != 0) return FnAnswerSdkError(call, "get_lan_cfg", ret);
    PutLanCfg(FnAnswerBegin(call, limits::kFnHeaderSize + kLanCfgWire) + 6, lan);
    return 0;
}

int Fn11GetLanNum(FnCall& call) {
    uint16_t num = 0;
    int ret = get_lan_num(&num);
    if (ret != 0) return FnAnswerSdkError(call, "get_lan_num", ret);
    PutLe16(FnAnswerBegin(call, 8) + 6, num);
    return 0;
}

int Fn12GetLanPortFlows(FnCall& call) {
    uint16_t num = 0;
    int ret = get_lan_num(&num);
    if (ret != 0) return FnAnswerSdkError(call, "get_lan_num", ret);
    size_t n = FnCutCount("get_lan_num", num, limits::kMaxLanPorts);
    uint64_t up[limits::kMaxLanPorts] = {};
    uint64_t down[limits::kMaxLanPorts] = {};
    for (size_t i = 0; i < n; ++i) {
        ret = get_lan_port_up_flow(static_cast<uint16_t>(i), &up[i]);
        if (ret != 0) return FnAnswerSdkError(call, "get_lan_port_up_flow", ret);
        ret = get_lan_port_down_flow(static_cast<uint16_t>(i), &down[i]);
        if (ret != 0) return FnAnswerSdkError(call, "get_lan_port_down_flow", ret);
    }
    uint8_t* a = FnAnswerBegin(call, 8 + n * 16);
    PutLe16(a + 6, static_cast<uint16_t>(n));
    for (size_t i = 0; i < n; ++i) {
        PutLe64(a + 8 + i * 16, up[i]);
        PutLe64(a + 16 + i * 16, down[i]);
    }
    return 0;
}

int Fn41GetLinkSpeeds(FnCall& call) {
    uint16_t speed[limits::kLinkSpeeds] = {};
    for (int i = 0; i < limits::kLinkSpeeds; ++i) {
        int ret = get_dev_speed(i, &speed[i]);
        if (ret != 0) return FnAnswerSdkError(call, "get_dev_speed", ret);
    }
    LOGD("speed1=%d Mbps", speed[0]);
    uint8_t* a = FnAnswerBegin(call, 6 + 2 * limits::kLinkSpeeds);
    for (int i = 0; i < limits::kLinkSpeeds; ++i)
        PutLe16(a + 6 + 2 * i, speed[i]);
    return 0;
}

// The result code is the call's status whatever it is; both addresses follow it.
int Fn44GetDns(FnCall& call) {
    uint32_t dns1 = 0;
    uint32_t dns2 = 0;
    int ret = get_dns(&dns1, &dns2);
    uint8_t* a = FnAnswerBegin(call, 14);
    if (ret != 0) {
        LOGE("ERROR: get_dns failed! ret=%d", ret);
        PutLe16(a + 4, static_cast<uint16_t>(ret));
    }
    PutIpv4(a + 6, dns1);
    PutIpv4(a + 10, dns2);
    return 0;
}

int Fn45SetDns(FnCall& call) {
    if (!FnHasParams(call, 8)) return 0;
    uint32_t dns1 = GetIpv4(FnParam(call, 10));
    uint32_t dns2 = GetIpv4(FnParam(call, 14));
    return FnAnswerSdkStatus(call, "set_dns", set_dns(dns1, dns2));
}

namespace {

// Per-index state bytes of function 49 (LAN ports or WANs): count, then one byte each.
struct StateList {
    size_t n = 0;
    uint8_t state[limits::kMaxWanStates > limits::kMaxLanPorts ? limits::kMaxWanStates
                                                               : limits::kMaxLanPorts] = {};
};

using CountFn = int (*)(uint16_t*);
using StateFn = int (*)(uint16_t, uint8_t*);

int FetchStates(StateList& list, size_t cap, CountFn count, const char* countName, StateFn stateOf,
                const char* stateName, const char** failed) {
    uint16_t num = 0;
    int ret = count(&num);
    if (ret != 0) {
        *failed = countName;
        return ret;
    }
    list.n = FnCutCount(countName, num, cap);
    for (size_t i = 0; i < list.n; ++i) {
        ret = stateOf(static_cast<uint16_t>(i), &list.state[i]);
        if (ret != 0) {
            *failed = stateName;
            return ret;
        }
    }
    return 0;
}

uint8_t* PutStates(uint8_t* p, const StateList& list) {
    PutLe16(p, static_cast<uint16_t>(list.n));
    memcpy(p + 2, list.state, list.n);
    return p + 2 + list.n;
}

}  // namespace

int Fn49GetConnectionOverview(FnCall& call) {
    StateList lan;
    StateList wan;
    uint8_t wifi[limits::kWifiModules] = {};
    const char* failed = nullptr;
    int ret = FetchStates(lan, limits::kMaxLanPorts, get_lan_num, "get_lan_num", get_lan_con_status,
                          "get_lan_con_status", &failed);
    if (ret == 0)
        ret = FetchStates(wan, limits::kMaxWanStates, get_wan_num, "get_wan_num",
                          get_wan_con_status, "get_wan_con_status", &failed);
    for (int m = 0; ret == 0 && m < limits::kWifiModules; ++m) {
        ret = get_wifi_module_status(m, &wifi[m]);
        failed = "get_wifi_module_status";
    }
    if (ret != 0) return FnAnswerSdkError(call, failed, ret);
    uint8_t* a = FnAnswerBegin(call, 6 + 2 + lan.n + 2 + wan.n + limits::kWifiModules);
    uint8_t* p = PutStates(a + 6, lan);
    p = PutStates(p, wan);
    memcpy(p, wifi, sizeof wifi);
    return 0;
}

// Rows 13-19, 22, 23, 30, 31, 42: WLANs, SSIDs, radio, LED, WPS, neighbouring Wi-Fi.
#include <cstring>
#include <memory>

#include "RouterSdk.h"
#include "core/ByteOrder.h"
#include "core/Log.h"
#include "functions/FnRequest.h"
#include "functions/SdkRecords.h"
#include "functions/SdkRows.h"

namespace {

static_assert(10 + ROUTER_MAX_ADJ_WIFI * kAdjWifiWire <= limits::kAnswerBufSize, "list fits");

// A switch getter returns the switch itself, or a negative status: 7-byte answer with the
// switch byte at 6, or a status-only answer.
int AnswerSwitch(FnCall& call, const char* sdkName, int value) {
    if (value < 0) return FnAnswerSdkError(call, sdkName, value);
    FnAnswerBegin(call, 7)[6] = static_cast<uint8_t>(value);
    return 0;
}

// A switch setter with its value in b10.
int SetSwitch(FnCall& call, const char* sdkName, int (*setter)(uint8_t)) {
    if (!FnHasParams(call, 1)) return 0;
    return FnAnswerSdkStatus(call, sdkName, setter(FnParam(call, 10)[0]));
}

}  // namespace

int Fn13GetWlansCfg(FnCall& call) {
    std::unique_ptr<WlanCfg[]> wlans(new WlanCfg[ROUTER_MAX_WLANS]());
    uint16_t num = 0;
    int ret = get_wlans_cfg(wlans.get(), &num);
    if (ret != 0) return FnAnswerSdkError(call, "get_wlans_cfg", ret);
    LOGD("wlan num %d", num);
    size_t n = FnCutCount("get_wlans_cfg", num, ROUTER_MAX_WLANS);
    uint8_t* a = FnAnswerBegin(call, 8 + n * kWlanCfgWire);
    PutLe16(a + 6, static_cast<uint16_t>(n));
    for (size_t i = 0; i < n; ++i)
        PutWlanCfg(a + 8 + i * kWlanCfgWire, wlans[i]);
    return 0;
}

int Fn14GetSsidSwitch(FnCall& call) {
    if (!FnHasParams(call, 2)) return 0;
    return AnswerSwitch(call, "get_ssid_switch", get_ssid_switch(GetLe16(FnParam(call, 10))));
}

int Fn15SetSsidSwitch(FnCall& call) {
    if (!FnHasParams(call, 3)) return 0;
    uint16_t index = GetLe16(FnParam(call, 10));
    uint8_t on = FnParam(call, 12)[0];
    return FnAnswerSdkStatus(call, "set_ssid_switch", set_ssid_switch(index, on));
}

int Fn16GetSsidCfg(FnCall& call) {
    if (!FnHasParams(call, 2)) return 0;
    SsidCfg ssid = {};
    int ret = get_ssid_cfg(GetLe16(FnParam(call, 10)), &ssid);
    if (ret != 0) return FnAnswerSdkError(call, "get_ssid_cfg", ret);
    LOGD("ssid channel %d", ssid.channel);
    PutSsidCfg(FnAnswerBegin(call, limits::kFnHeaderSize + kSsidCfgWire) + 6, ssid);
    return 0;
}

// The SSID record at 10 is read field by field into a host record before the call.
int Fn17SetSsidCfg(FnCall& call) {
    if (!FnHasParams(call, kSsidCfgWire)) return 0;
    SsidCfg ssid = {};
    GetSsidCfg(FnParam(call, 10), &ssid);
    LOGD("ssid channel %d", ssid.channel);
    return FnAnswerSdkStatus(call, "set_ssid_cfg", set_ssid_cfg(&ssid));
}

int Fn18GetWifiRadioSwitch(FnCall& call) {
    return AnswerSwitch(call, "get_wifi_radio_switch", get_wifi_radio_switch());
}

int Fn19SetWifiRadioSwitch(FnCall& call) {
    return SetSwitch(call, "set_wifi_radio_switch", set_wifi_radio_switch);
}

int Fn22GetLedSwitch(FnCall& call) {
    return AnswerSwitch(call, "get_led_switch", get_led_switch());
}

int Fn23SetLedSwitch(FnCall& call) {
    return SetSwitch(call, "set_led_switch", set_led_switch);
}

int Fn30GetWpsSwitch(FnCall& call) {
    return AnswerSwitch(call, "get_wps_switch", get_wps_switch());
}

int Fn31SetWpsSwitch(FnCall& call) {
    return SetSwitch(call, "set_wps_switch", set_wps_switch);
}

int Fn42GetAdjWifiDevs(FnCall& call) {
    std::unique_ptr<AdjWifiDev[]> devs(new AdjWifiDev[ROUTER_MAX_ADJ_WIFI]());
    uint16_t num = 0;
    int ret = get_adj_wifi_devs(devs.get(), &num);
    if (ret != 0) return FnAnswerSdkError(call, "get_adj_wifi_devs", ret);
    size_t n = FnCutCount("get_adj_wifi_devs", num, ROUTER_MAX_ADJ_WIFI);
    LOGD("adj wifi adjdevnum: %d", static_cast<int>(n));
    LOGD("adj wifi info length: %d", static_cast<int>(n * kAdjWifiWire));
    uint8_t* a = FnAnswerBegin(call, 10 + n * kAdjWifiWire);
    PutLe32(a + 6, static_cast<uint32_t>(n));
    for (size_t i = 0; i < n; ++i)
        PutAdjWifiDev(a + 10 + i * kAdjWifiWire, devs[i]);
    return 0;
}

// Wi-Fi of the simulated router: "wlans", "ssids", "wifi" and "adj_wifi".
#include <cstring>

#include "Api.h"

using namespace sdksim;

namespace {

constexpr const char* kWifi = "wifi";

void FillSsid(Fields& f, uint16_t index, SsidCfg* cfg) {
    std::memset(cfg, 0, sizeof *cfg);
    cfg->index = index;
    f.Text("ssid", cfg->ssid, sizeof cfg->ssid);
    f.Text("password", cfg->password, sizeof cfg->password);
    cfg->encrypt = static_cast<uint8_t>(f.Uint("encrypt", UINT8_MAX));
    cfg->auth = static_cast<uint8_t>(f.Uint("auth", UINT8_MAX));
    cfg->hidden = static_cast<uint8_t>(f.Uint("hidden", UINT8_MAX));
    cfg->enable = static_cast<uint8_t>(f.Uint("enable", UINT8_MAX));
    cfg->band = static_cast<uint8_t>(f.Uint("band", UINT8_MAX));
    cfg->isolate = static_cast<uint8_t>(f.Uint("isolate", UINT8_MAX));
    cfg->channel = static_cast<uint16_t>(f.Uint("channel", UINT16_MAX));
    cfg->maxClients = static_cast<uint16_t>(f.Uint("max_clients", UINT16_MAX));
    cfg->beaconInterval = static_cast<uint16_t>(f.Uint("beacon_interval", UINT16_MAX));
    cfg->guestIp = f.Ip("guest_ip");
    cfg->guestMask = f.Ip("guest_mask");
}

// Text of a fixed field that may lack its terminator (then nullptr: the record is refused).
bool FieldText(const char* field, size_t size, std::string* out) {
    size_t n = strnlen(field, size);
    if (n == size) return false;
    out->assign(field, n);
    return true;
}

std::string SsidArgs(const SsidCfg* c) {
    if (c == nullptr) return "(null)";
    char ssid[sizeof c->ssid + 1] = {};
    char password[sizeof c->password + 1] = {};
    std::memcpy(ssid, c->ssid, sizeof c->ssid);
    std::memcpy(password, c->password, sizeof c->password);
    return std::to_string(c->index) + " ssid=" + LogText(ssid) + " password=" + LogText(password) +
           " encrypt=" + std::to_string(c->encrypt) + " auth=" + std::to_string(c->auth) +
           " hidden=" + std::to_string(c->hidden) + " enable=" + std::to_string(c->enable) +
           " band=" + std::to_string(c->band) + " isolate=" + std::to_string(c->isolate) +
           " channel=" + std::to_string(c->channel) +
           " max_clients=" + std::to_string(c->maxClients) +
           " beacon_interval=" + std::to_string(c->beaconInterval) +
           " guest_ip=" + Ipv4Text(c->guestIp) + " guest_mask=" + Ipv4Text(c->guestMask);
}

int StoreSsid(Call& call, const SsidCfg* c) {
    std::string error;
    cJSON* entry = FindIndexed(Section(call.root(), "ssids"), c->index, "ssids", &error);
    if (!error.empty()) return call.StateError(error);
    std::string ssid;
    std::string password;
    if (entry == nullptr || !FieldText(c->ssid, sizeof c->ssid, &ssid) ||
        !FieldText(c->password, sizeof c->password, &password)) {
        return kStatusBadArgument;
    }
    SetText(entry, "ssid", ssid);
    SetText(entry, "password", password);
    SetUint(entry, "encrypt", c->encrypt);
    SetUint(entry, "auth", c->auth);
    SetUint(entry, "hidden", c->hidden);
    SetUint(entry, "enable", c->enable);
    SetUint(entry, "band", c->band);
    SetUint(entry, "isolate", c->isolate);
    SetUint(entry, "channel", c->channel);
    SetUint(entry, "max_clients", c->maxClients);
    SetUint(entry, "beacon_interval", c->beaconInterval);
    SetIp(entry, "guest_ip", c->guestIp);
    SetIp(entry, "guest_mask", c->guestMask);
    return call.Commit();
}

// Switch getters return the switch itself or the negative status.
int SwitchValue(Call& call, const char* key) {
    uint8_t on = 0;
    int rc = ReadFlag(call, kWifi, key, &on);
    if (rc != 0) return call.status() != 0 ? call.negativeStatus() : (rc < 0 ? rc : -rc);
    return on;
}

std::string Arg(unsigned v) {
    return std::to_string(v);
}

}  // namespace

extern "C" {

int get_wlans_cfg(WlanCfg wlans[ROUTER_MAX_WLANS], uint16_t* num) {
    Call call("get_wlans_cfg", "");
    if (call.status() != 0) return call.status();
    if (wlans == nullptr || num == nullptr) return kStatusBadArgument;
    cJSON* array = Section(call.root(), "wlans");
    std::string error;
    uint16_t position = 0;
    for (cJSON* e = cJSON_IsArray(array) ? array->child : nullptr;
         e != nullptr && position < ROUTER_MAX_WLANS; e = e->next, ++position) {
        Fields f(e, "wlans[" + Arg(position) + "]", &error);
        WlanCfg* w = &wlans[position];
        std::memset(w, 0, sizeof *w);
        w->index = static_cast<uint16_t>(f.Uint("index", UINT16_MAX, position));
        w->band = static_cast<uint8_t>(f.Uint("band", UINT8_MAX));
        w->enable = static_cast<uint8_t>(f.Uint("enable", UINT8_MAX));
        w->channel = static_cast<uint8_t>(f.Uint("channel", UINT8_MAX));
        w->bandwidth = static_cast<uint8_t>(f.Uint("bandwidth", UINT8_MAX));
        w->txPower = static_cast<uint8_t>(f.Uint("tx_power", UINT8_MAX));
        w->ssidNum = static_cast<uint8_t>(f.Uint("ssid_num", UINT8_MAX));
    }
    *num = ArrayCount(array);
    return error.empty() ? 0 : call.StateError(error);
}

int get_ssid_switch(uint16_t index) {
    Call call("get_ssid_switch", Arg(index));
    if (call.status() != 0) return call.negativeStatus();
    std::string error;
    cJSON* entry = FindIndexed(Section(call.root(), "ssids"), index, "ssids", &error);
    if (!error.empty()) return -call.StateError(error);
    if (entry == nullptr) return -kStatusBadArgument;
    uint64_t on =
        Fields(entry, "ssids[index " + Arg(index) + "]", &error).Uint("enable", UINT8_MAX);
    return error.empty() ? static_cast<int>(on) : -call.StateError(error);
}

int set_ssid_switch(uint16_t index, uint8_t on) {
    Call call("set_ssid_switch", Arg(index) + " " + Arg(on));
    if (call.status() != 0) return call.status();
    std::string error;
    cJSON* entry = FindIndexed(Section(call.root(), "ssids"), index, "ssids", &error);
    if (!error.empty()) return call.StateError(error);
    if (entry == nullptr || on > 1) return kStatusBadArgument;
    SetUint(entry, "enable", on);
    return call.Commit();
}

int get_ssid_cfg(uint16_t index, SsidCfg* cfg) {
    Call call("get_ssid_cfg", Arg(index));
    if (call.status() != 0) return call.status();
    if (cfg == nullptr) return kStatusBadArgument;
    std::string error;
    cJSON* entry = FindIndexed(Section(call.root(), "ssids"), index, "ssids", &error);
    if (!error.empty()) return call.StateError(error);
    if (entry == nullptr) return kStatusBadArgument;
    Fields f(entry, "ssids[index " + Arg(index) + "]", &error);
    FillSsid(f, index, cfg);
    return error.empty() ? 0 : call.StateError(error);
}

int set_ssid_cfg(const SsidCfg* cfg) {
    Call call("set_ssid_cfg", SsidArgs(cfg));
    if (call.status() != 0) return call.status();
    if (cfg == nullptr) return kStatusBadArgument;
    return StoreSsid(call, cfg);
}

int get_wifi_radio_switch(void) {
    Call call("get_wifi_radio_switch", "");
    return SwitchValue(call, "radio");
}

int set_wifi_radio_switch(uint8_t on) {
    Call call("set_wifi_radio_switch", Arg(on));
    return WriteFlag(call, kWifi, "radio", on);
}

int get_wifi_module_status(int module, uint8_t* status) {
    Call call("get_wifi_module_status", std::to_string(module));
    if (call.status() != 0) return call.status();
    if (status == nullptr) return kStatusBadArgument;
    cJSON* entry = ArrayAt(Section(call.root(), "wifi.modules"), module);
    if (entry == nullptr) return kStatusBadArgument;
    uint64_t v = 0;
    if (!ParseUint(entry, UINT8_MAX, &v)) {
        return call.StateError("wifi.modules[" + std::to_string(module) +
                               "]: expected an integer from 0 to 255");
    }
    *status = static_cast<uint8_t>(v);
    return 0;
}

int get_adj_wifi_devs(AdjWifiDev devs[ROUTER_MAX_ADJ_WIFI], uint16_t* num) {
    Call call("get_adj_wifi_devs", "");
    if (call.status() != 0) return call.status();
    if (devs == nullptr || num == nullptr) return kStatusBadArgument;
    cJSON* array = Section(call.root(), "adj_wifi");
    std::string error;
    unsigned position = 0;
    for (cJSON* e = cJSON_IsArray(array) ? array->child : nullptr;
         e != nullptr && position < ROUTER_MAX_ADJ_WIFI; e = e->next, ++position) {
        Fields f(e, "adj_wifi[" + Arg(position) + "]", &error);
        AdjWifiDev* d = &devs[position];
        std::memset(d, 0, sizeof *d);
        f.Mac("bssid", d->bssid);
        f.Text("ssid", d->ssid, sizeof d->ssid);
        d->rssi = static_cast<int8_t>(f.Int("rssi", INT8_MIN, INT8_MAX));
        d->channel = static_cast<uint8_t>(f.Uint("channel", UINT8_MAX));
        d->encrypt = static_cast<uint8_t>(f.Uint("encrypt", UINT8_MAX));
    }
    *num = ArrayCount(array);
    return error.empty() ? 0 : call.StateError(error);
}

int get_led_switch(void) {
    Call call("get_led_switch", "");
    return SwitchValue(call, "led");
}

int set_led_switch(uint8_t on) {
    Call call("set_led_switch", Arg(on));
    return WriteFlag(call, kWifi, "led", on);
}

int get_wps_switch(void) {
    Call call("get_wps_switch", "");
    return SwitchValue(call, "wps");
}

int set_wps_switch(uint8_t on) {
    Call call("set_wps_switch", Arg(on));
    return WriteFlag(call, kWifi, "wps", on);
}

}  // extern "C"

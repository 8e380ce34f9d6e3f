// WAN and LAN of the simulated router: "wans", "lan", "lan_ports" and "link_speeds".
#include <cstring>

#include "Api.h"

using namespace sdksim;

namespace {

void FillWan(Fields& f, uint16_t index, WanCfg* cfg) {
    std::memset(cfg, 0, sizeof *cfg);
    cfg->index = index;
    cfg->enable = static_cast<uint8_t>(f.Uint("enable", UINT8_MAX));
    cfg->vlanId = static_cast<uint16_t>(f.Uint("vlan_id", UINT16_MAX));
    cfg->mtu = static_cast<uint16_t>(f.Uint("mtu", UINT16_MAX));
    cfg->connType = static_cast<uint8_t>(f.Uint("conn_type", UINT8_MAX));
    f.Text("name", cfg->name, sizeof cfg->name);
    f.Text("pppoe_user", cfg->pppoeUser, sizeof cfg->pppoeUser);
    f.Text("pppoe_password", cfg->pppoePassword, sizeof cfg->pppoePassword);
    f.Mac("mac", cfg->mac);
    f.Text("service_name", cfg->serviceName, sizeof cfg->serviceName);
    cfg->ip = f.Ip("ip");
    cfg->mask = f.Ip("mask");
    cfg->gateway = f.Ip("gateway");
    cfg->dns1 = f.Ip("dns1");
    cfg->dns2 = f.Ip("dns2");
    cfg->linkSpeed = static_cast<uint16_t>(f.Uint("link_speed", UINT16_MAX));
    cfg->natEnable = static_cast<uint8_t>(f.Uint("nat", UINT8_MAX));
}

// Reads one numeric member of the WAN with this index.
int WanValue(Call& call, uint16_t index, const char* key, uint64_t max, uint64_t* out) {
    if (call.status() != 0) return call.status();
    if (out == nullptr) return kStatusBadArgument;
    std::string error;
    cJSON* wan = FindIndexed(Section(call.root(), "wans"), index, "wans", &error);
    if (!error.empty()) return call.StateError(error);
    if (wan == nullptr) return kStatusBadArgument;
    *out = Fields(wan, "wans[index " + std::to_string(index) + "]", &error).Uint(key, max);
    return error.empty() ? 0 : call.StateError(error);
}

// Reads one numeric member of the LAN port at this position.
int PortValue(Call& call, uint16_t port, const char* key, uint64_t max, uint64_t* out) {
    if (call.status() != 0) return call.status();
    if (out == nullptr) return kStatusBadArgument;
    cJSON* entry = ArrayAt(Section(call.root(), "lan_ports"), port);
    if (entry == nullptr) return kStatusBadArgument;
    std::string error;
    *out = Fields(entry, "lan_ports[" + std::to_string(port) + "]", &error).Uint(key, max);
    return error.empty() ? 0 : call.StateError(error);
}

std::string Arg(unsigned v) {
    return std::to_string(v);
}

}  // namespace

extern "C" {

int get_wan_num(uint16_t* num) {
    Call call("get_wan_num", "");
    if (call.status() != 0) return call.status();
    if (num == nullptr) return kStatusBadArgument;
    *num = ArrayCount(Section(call.root(), "wans"));
    return 0;
}

int get_wan_cfg(uint16_t index, WanCfg* cfg) {
    Call call("get_wan_cfg", Arg(index));
    if (call.status() != 0) return call.status();
    if (cfg == nullptr) return kStatusBadArgument;
    std::string error;
    cJSON* wan = FindIndexed(Section(call.root(), "wans"), index, "wans", &error);
    if (!error.empty()) return call.StateError(error);
    if (wan == nullptr) return kStatusBadArgument;
    Fields f(wan, "wans[index " + Arg(index) + "]", &error);
    FillWan(f, index, cfg);
    return error.empty() ? 0 : call.StateError(error);
}

int get_wans_cfg(WanCfg wans[ROUTER_MAX_WANS], uint16_t* num) {
    Call call("get_wans_cfg", "");
    if (call.status() != 0) return call.status();
    if (wans == nullptr || num == nullptr) return kStatusBadArgument;
    cJSON* array = Section(call.root(), "wans");
    std::string error;
    uint16_t position = 0;
    for (cJSON* e = cJSON_IsArray(array) ? array->child : nullptr;
         e != nullptr && position < ROUTER_MAX_WANS; e = e->next, ++position) {
        Fields f(e, "wans[" + Arg(position) + "]", &error);
        uint16_t index = static_cast<uint16_t>(f.Uint("index", UINT16_MAX, position));
        FillWan(f, index, &wans[position]);
    }
    *num = ArrayCount(array);
    return error.empty() ? 0 : call.StateError(error);
}

int get_wan_tcp_con_num(uint16_t index, uint32_t* num) {
    Call call("get_wan_tcp_con_num", Arg(index));
    uint64_t v = 0;
    int rc = WanValue(call, index, "tcp_con", UINT32_MAX, num != nullptr ? &v : nullptr);
    if (rc == 0) *num = static_cast<uint32_t>(v);
    return rc;
}

int get_wan_udp_con_num(uint16_t index, uint32_t* num) {
    Call call("get_wan_udp_con_num", Arg(index));
    uint64_t v = 0;
    int rc = WanValue(call, index, "udp_con", UINT32_MAX, num != nullptr ? &v : nullptr);
    if (rc == 0) *num = static_cast<uint32_t>(v);
    return rc;
}

int get_wan_receive_bytes(uint16_t index, uint64_t* bytes) {
    Call call("get_wan_receive_bytes", Arg(index));
    return WanValue(call, index, "rx_bytes", UINT64_MAX, bytes);
}

int get_wan_con_status(uint16_t index, uint8_t* status) {
    Call call("get_wan_con_status", Arg(index));
    uint64_t v = 0;
    int rc = WanValue(call, index, "status", UINT8_MAX, status != nullptr ? &v : nullptr);
    if (rc == 0) *status = static_cast<uint8_t>(v);
    return rc;
}

int get_lan_cfg(LanCfg* cfg) {
    Call call("get_lan_cfg", "");
    if (call.status() != 0) return call.status();
    if (cfg == nullptr) return kStatusBadArgument;
    std::string error;
    Fields f(Section(call.root(), "lan"), "lan", &error);
    std::memset(cfg, 0, sizeof *cfg);
    cfg->ip = f.Ip("ip");
    cfg->mask = f.Ip("mask");
    cfg->dhcpEnable = static_cast<uint8_t>(f.Uint("dhcp", UINT8_MAX));
    cfg->leaseSec = static_cast<uint32_t>(f.Uint("lease_sec", UINT32_MAX));
    return error.empty() ? 0 : call.StateError(error);
}

int get_lan_num(uint16_t* num) {
    Call call("get_lan_num", "");
    if (call.status() != 0) return call.status();
    if (num == nullptr) return kStatusBadArgument;
    *num = ArrayCount(Section(call.root(), "lan_ports"));
    return 0;
}

int get_lan_port_up_flow(uint16_t port, uint64_t* bytes) {
    Call call("get_lan_port_up_flow", Arg(port));
    return PortValue(call, port, "up_flow", UINT64_MAX, bytes);
}

int get_lan_port_down_flow(uint16_t port, uint64_t* bytes) {
    Call call("get_lan_port_down_flow", Arg(port));
    return PortValue(call, port, "down_flow", UINT64_MAX, bytes);
}

int get_lan_con_status(uint16_t port, uint8_t* status) {
    Call call("get_lan_con_status", Arg(port));
    uint64_t v = 0;
    int rc = PortValue(call, port, "status", UINT8_MAX, status != nullptr ? &v : nullptr);
    if (rc == 0) *status = static_cast<uint8_t>(v);
    return rc;
}

int get_dev_speed(int index, uint16_t* mbps) {
    Call call("get_dev_speed", std::to_string(index));
    if (call.status() != 0) return call.status();
    if (mbps == nullptr || index < 0) return kStatusBadArgument;
    cJSON* entry = ArrayAt(Section(call.root(), "link_speeds"), index);
    if (entry == nullptr) return kStatusBadArgument;
    uint64_t v = 0;
    if (!ParseUint(entry, UINT16_MAX, &v)) {
        return call.StateError("link_speeds[" + std::to_string(index) +
                               "]: expected an integer from 0 to 65535");
    }
    *mbps = static_cast<uint16_t>(v);
    return 0;
}

}  // extern "C"

// Identity of the simulated router: the "identity" section of the state.
#include <cstring>

#include "Api.h"

using namespace sdksim;

namespace {

constexpr const char* kIdentity = "identity";

int ReadVersion(Call& call, RouterVersion* ver) {
    std::string error;
    cJSON* identity = Section(call.root(), kIdentity);
    std::memset(ver, 0, sizeof *ver);
    Fields(identity, kIdentity, &error).Text("version", ver->text, sizeof ver->text);
    const cJSON* date = cJSON_GetObjectItemCaseSensitive(identity, "version_date");
    if (date != nullptr && (!cJSON_IsArray(date) || cJSON_GetArraySize(date) != 4)) {
        error = "identity.version_date: expected an array of 4 integers";
    }
    for (int i = 0; error.empty() && date != nullptr && i < 4; ++i) {
        uint64_t v = 0;
        if (!ParseUint(cJSON_GetArrayItem(date, i), UINT8_MAX, &v)) {
            error = "identity.version_date: expected integers from 0 to 255";
        }
        ver->date[i] = static_cast<uint8_t>(v);
    }
    return error.empty() ? 0 : call.StateError(error);
}

}  // namespace

extern "C" {

int get_router_version(RouterVersion* ver) {
    Call call("get_router_version", "");
    if (call.status() != 0) return call.status();
    if (ver == nullptr) return kStatusBadArgument;
    return ReadVersion(call, ver);
}

int get_router_sn(char sn[ROUTER_TEXT_SIZE]) {
    Call call("get_router_sn", "");
    return ReadText(call, kIdentity, "sn", sn, ROUTER_TEXT_SIZE);
}

int get_router_vender(char vendor[ROUTER_TEXT_SIZE]) {
    Call call("get_router_vender", "");
    return ReadText(call, kIdentity, "vendor", vendor, ROUTER_TEXT_SIZE);
}

int get_router_model(char model[ROUTER_TEXT_SIZE]) {
    Call call("get_router_model", "");
    return ReadText(call, kIdentity, "model", model, ROUTER_TEXT_SIZE);
}

int get_router_mac(uint8_t mac[6]) {
    Call call("get_router_mac", "");
    if (call.status() != 0) return call.status();
    if (mac == nullptr) return kStatusBadArgument;
    std::string error;
    Fields(Section(call.root(), kIdentity), kIdentity, &error).Mac("mac", mac);
    return error.empty() ? 0 : call.StateError(error);
}

int get_router_pin(char pin[ROUTER_PIN_SIZE]) {
    Call call("get_router_pin", "");
    return ReadText(call, kIdentity, "pin", pin, ROUTER_PIN_SIZE);
}

int get_router_is_plug(uint8_t* isPlug) {
    Call call("get_router_is_plug", "");
    return ReadFlag(call, kIdentity, "is_plug", isPlug);
}

int get_router_support_ipv6(uint8_t* support) {
    Call call("get_router_support_ipv6", "");
    return ReadFlag(call, kIdentity, "ipv6", support);
}

int get_cpu_cfg(CpuCfg* cfg) {
    Call call("get_cpu_cfg", "");
    if (call.status() != 0) return call.status();
    if (cfg == nullptr) return kStatusBadArgument;
    std::string error;
    Fields f(Section(call.root(), "identity.cpu"), "identity.cpu", &error);
    std::memset(cfg, 0, sizeof *cfg);
    f.Text("model", cfg->model, sizeof cfg->model);
    cfg->freqMhz = static_cast<uint16_t>(f.Uint("freq_mhz", UINT16_MAX));
    cfg->cores = static_cast<uint8_t>(f.Uint("cores", UINT8_MAX));
    return error.empty() ? 0 : call.StateError(error);
}

int get_mem_cfg(MemCfg* cfg) {
    Call call("get_mem_cfg", "");
    if (call.status() != 0) return call.status();
    if (cfg == nullptr) return kStatusBadArgument;
    std::string error;
    Fields f(Section(call.root(), "identity.mem"), "identity.mem", &error);
    std::memset(cfg, 0, sizeof *cfg);
    cfg->sizeKb = static_cast<uint32_t>(f.Uint("size_kb", UINT32_MAX));
    f.Text("type", cfg->type, sizeof cfg->type);
    return error.empty() ? 0 : call.StateError(error);
}

int get_name(char name[ROUTER_NAME_SIZE]) {
    Call call("get_name", "");
    return ReadText(call, kIdentity, "name", name, ROUTER_NAME_SIZE);
}

int set_name(const char* name) {
    Call call("set_name", LogText(name));
    return WriteText(call, kIdentity, "name", name, ROUTER_NAME_SIZE - 1);
}

}  // extern "C"

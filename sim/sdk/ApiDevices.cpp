// Attached devices of the simulated router: "devices", "known_names" and "black_list".
#include <cstring>

#include "Api.h"

using namespace sdksim;

namespace {

constexpr size_t kDevNameMax = ROUTER_DEV_NAME_SIZE - 1;

void FillDev(Fields& f, DevCfg* d) {
    std::memset(d, 0, sizeof *d);
    f.Mac("mac", d->mac);
    f.Text("name", d->name, sizeof d->name);
    d->connType = static_cast<uint8_t>(f.Uint("conn_type", UINT8_MAX));
    d->band = static_cast<uint8_t>(f.Uint("band", UINT8_MAX));
    d->mode = static_cast<uint8_t>(f.Uint("mode", UINT8_MAX));
    d->accessControl = static_cast<uint8_t>(f.Uint("access_control", UINT8_MAX));
    d->attribute = static_cast<uint8_t>(f.Uint("attribute", UINT8_MAX));
    d->rssi = static_cast<int8_t>(f.Int("rssi", INT8_MIN, INT8_MAX));
    d->linkRate = static_cast<uint16_t>(f.Uint("link_rate", UINT16_MAX));
    d->ip = f.Ip("ip");
}

// The member "known_names" entry whose key is this MAC (any case); nullptr when none.
cJSON* FindKnownName(cJSON* root, const uint8_t mac[6], std::string* error) {
    cJSON* names = cJSON_GetObjectItemCaseSensitive(root, "known_names");
    if (names == nullptr) return nullptr;
    if (!cJSON_IsObject(names)) {
        *error = "known_names: expected an object of MAC -> name";
        return nullptr;
    }
    for (cJSON* e = names->child; e != nullptr; e = e->next) {
        uint8_t own[6];
        if (!ParseMac(e->string, own) || !cJSON_IsString(e)) {
            *error = std::string("known_names.") + e->string + ": expected MAC -> name text";
            return nullptr;
        }
        if (std::memcmp(own, mac, 6) == 0) return e;
    }
    return nullptr;
}

// Common start of a per-device call: the device entry, or a status.
int DeviceEntry(Call& call, const uint8_t* mac, cJSON** entry) {
    if (call.status() != 0) return call.status();
    if (mac == nullptr) return kStatusBadArgument;
    std::string error;
    *entry = FindDevice(call.root(), mac, &error);
    if (!error.empty()) return call.StateError(error);
    return *entry == nullptr ? kStatusBadArgument : 0;
}

uint64_t Bandwidth(const char* name, const uint8_t* mac, const char* key) {
    Call call(name, LogMac(mac));
    cJSON* entry = nullptr;
    if (DeviceEntry(call, mac, &entry) != 0) return 0;
    std::string error;
    uint64_t v = Fields(entry, "devices[" + MacText(mac) + "]", &error).Uint(key, UINT64_MAX);
    if (!error.empty()) call.StateError(error);
    return error.empty() ? v : 0;
}

int MaxBandwidth(const char* name, const uint8_t* mac, const char* key, int64_t* limit) {
    Call call(name, LogMac(mac));
    cJSON* entry = nullptr;
    int rc = DeviceEntry(call, mac, &entry);
    if (rc != 0) return rc;
    if (limit == nullptr) return kStatusBadArgument;
    std::string error;
    *limit = Fields(entry, "devices[" + MacText(mac) + "]", &error).Int(key, INT64_MIN, INT64_MAX);
    return error.empty() ? 0 : call.StateError(error);
}

int SetMaxBandwidth(const char* name, const uint8_t* mac, const char* key, int64_t limit) {
    Call call(name, LogMac(mac) + " " + std::to_string(limit));
    cJSON* entry = nullptr;
    int rc = DeviceEntry(call, mac, &entry);
    if (rc != 0) return rc;
    SetInt(entry, key, limit);
    return call.Commit();
}

std::string AccessArgs(const DevCfg& cfg) {
    return MacText(cfg.mac) + " access=" + std::to_string(cfg.accessControl) +
           " mode=" + std::to_string(cfg.mode);
}

}  // namespace

extern "C" {

int get_devs_cfg(DevCfg devs[ROUTER_MAX_DEVS], uint16_t* num) {
    Call call("get_devs_cfg", "");
    if (call.status() != 0) return call.status();
    if (devs == nullptr || num == nullptr) return kStatusBadArgument;
    cJSON* array = Section(call.root(), "devices");
    std::string error;
    unsigned position = 0;
    for (cJSON* e = cJSON_IsArray(array) ? array->child : nullptr;
         e != nullptr && position < ROUTER_MAX_DEVS; e = e->next, ++position) {
        Fields f(e, "devices[" + std::to_string(position) + "]", &error);
        FillDev(f, &devs[position]);
    }
    *num = ArrayCount(array);
    return error.empty() ? 0 : call.StateError(error);
}

int get_dev_cfg(DevCfg* cfg, const uint8_t mac[6]) {
    Call call("get_dev_cfg", LogMac(mac));
    cJSON* entry = nullptr;
    int rc = DeviceEntry(call, mac, &entry);
    if (rc != 0) return rc;
    if (cfg == nullptr) return kStatusBadArgument;
    std::string error;
    Fields f(entry, "devices[" + MacText(mac) + "]", &error);
    FillDev(f, cfg);
    return error.empty() ? 0 : call.StateError(error);
}

int set_dev_access_control(DevCfg cfg) {
    Call call("set_dev_access_control", AccessArgs(cfg));
    cJSON* entry = nullptr;
    int rc = DeviceEntry(call, cfg.mac, &entry);
    if (rc != 0) return rc;
    if (cfg.accessControl > 1 || cfg.mode > 1) return kStatusBadArgument;
    SetUint(entry, "access_control", cfg.accessControl);
    SetUint(entry, "mode", cfg.mode);
    return call.Commit();
}

int get_dev_name(const uint8_t mac[6], char name[ROUTER_DEV_NAME_SIZE]) {
    Call call("get_dev_name", LogMac(mac));
    if (call.status() != 0) return call.status();
    if (mac == nullptr || name == nullptr) return kStatusBadArgument;
    std::string error;
    cJSON* entry = FindDevice(call.root(), mac, &error);
    if (entry != nullptr) {
        Fields(entry, "devices[" + MacText(mac) + "]", &error)
            .Text("name", name, ROUTER_DEV_NAME_SIZE);
        return error.empty() ? 0 : call.StateError(error);
    }
    cJSON* known = error.empty() ? FindKnownName(call.root(), mac, &error) : nullptr;
    if (!error.empty()) return call.StateError(error);
    if (known == nullptr) return kStatusBadArgument;
    CopyField(name, ROUTER_DEV_NAME_SIZE, known->valuestring);
    return 0;
}

int set_dev_name(const uint8_t mac[6], const char* name) {
    Call call("set_dev_name", LogMac(mac) + " " + LogText(name));
    if (call.status() != 0) return call.status();
    if (mac == nullptr || name == nullptr || std::strlen(name) > kDevNameMax) {
        return kStatusBadArgument;
    }
    std::string error;
    cJSON* entry = FindDevice(call.root(), mac, &error);
    cJSON* known =
        entry == nullptr && error.empty() ? FindKnownName(call.root(), mac, &error) : nullptr;
    if (!error.empty()) return call.StateError(error);
    if (entry != nullptr) {
        SetText(entry, "name", name);
    } else {
        cJSON* names = ObjectMember(call.root(), "known_names");
        if (known != nullptr) cJSON_Delete(cJSON_DetachItemViaPointer(names, known));
        SetText(names, MacText(mac).c_str(), name);
    }
    return call.Commit();
}

uint64_t get_dev_us_bw(const uint8_t mac[6]) {
    return Bandwidth("get_dev_us_bw", mac, "us_bw");
}

uint64_t get_dev_ds_bw(const uint8_t mac[6]) {
    return Bandwidth("get_dev_ds_bw", mac, "ds_bw");
}

int get_dev_us_max_bw(const uint8_t mac[6], int64_t* limit) {
    return MaxBandwidth("get_dev_us_max_bw", mac, "us_max_bw", limit);
}

int get_dev_ds_max_bw(const uint8_t mac[6], int64_t* limit) {
    return MaxBandwidth("get_dev_ds_max_bw", mac, "ds_max_bw", limit);
}

int set_dev_us_max_bw(const uint8_t mac[6], int64_t limit) {
    return SetMaxBandwidth("set_dev_us_max_bw", mac, "us_max_bw", limit);
}

int set_dev_ds_max_bw(const uint8_t mac[6], int64_t limit) {
    return SetMaxBandwidth("set_dev_ds_max_bw", mac, "ds_max_bw", limit);
}

int get_dev_black_list(uint8_t macs[ROUTER_MAX_BLACK][6], uint16_t* num) {
    Call call("get_dev_black_list", "");
    if (call.status() != 0) return call.status();
    if (macs == nullptr || num == nullptr) return kStatusBadArgument;
    cJSON* array = Section(call.root(), "black_list");
    unsigned position = 0;
    for (cJSON* e = cJSON_IsArray(array) ? array->child : nullptr;
         e != nullptr && position < ROUTER_MAX_BLACK; e = e->next, ++position) {
        if (!cJSON_IsString(e) || !ParseMac(e->valuestring, macs[position])) {
            return call.StateError("black_list[" + std::to_string(position) +
                                   "]: expected a MAC address such as \"AA:BB:CC:DD:EE:FF\"");
        }
    }
    *num = ArrayCount(array);
    return 0;
}

}  // extern "C"

// DNS, load, time, flow rates and actions of the simulated router: "dns", "load", "full_load",
// "time", "flows" and "actions".
#include <cstring>

#include "Api.h"

using namespace sdksim;

namespace {

constexpr const char* kActions = "actions";

uint64_t Rate(const char* name, const char* key) {
    Call call(name, "");
    uint64_t v = 0;
    return ReadUint(call, "flows", key, UINT64_MAX, &v) == 0 ? v : 0;
}

int ReadPercent(const char* name, const char* key, uint16_t* percent) {
    Call call(name, "");
    uint64_t v = 0;
    int rc = ReadUint(call, "load", key, UINT16_MAX, percent != nullptr ? &v : nullptr);
    if (rc == 0) *percent = static_cast<uint16_t>(v);
    return rc;
}

}  // namespace

extern "C" {

int get_dns(uint32_t* dns1, uint32_t* dns2) {
    Call call("get_dns", "");
    if (call.status() != 0) return call.status();
    if (dns1 == nullptr || dns2 == nullptr) return kStatusBadArgument;
    std::string error;
    Fields f(Section(call.root(), "dns"), "dns", &error);
    *dns1 = f.Ip("dns1");
    *dns2 = f.Ip("dns2");
    return error.empty() ? 0 : call.StateError(error);
}

int set_dns(uint32_t dns1, uint32_t dns2) {
    Call call("set_dns", Ipv4Text(dns1) + " " + Ipv4Text(dns2));
    if (call.status() != 0) return call.status();
    cJSON* dns = MakeSection(call.root(), "dns");
    SetIp(dns, "dns1", dns1);
    SetIp(dns, "dns2", dns2);
    return call.Commit();
}

int get_cpu_use(uint16_t* percent) {
    return ReadPercent("get_cpu_use", "cpu_use", percent);
}

int get_mem_use(uint16_t* percent) {
    return ReadPercent("get_mem_use", "mem_use", percent);
}

int set_full_load_enable(uint16_t index, uint8_t enable) {
    Call call("set_full_load_enable", std::to_string(index) + " " + std::to_string(enable));
    return WriteFlag(call, "full_load", std::to_string(index).c_str(), enable);
}

int sync_time(int64_t seconds) {
    Call call("sync_time", std::to_string(seconds));
    if (call.status() != 0) return call.status();
    SetInt(MakeSection(call.root(), "time"), "synced", seconds);
    return call.Commit();
}

int get_duration_time(uint64_t* seconds) {
    Call call("get_duration_time", "");
    return ReadUint(call, "time", "duration", UINT64_MAX, seconds);
}

uint64_t get_flows_down_rate(void) {
    return Rate("get_flows_down_rate", "down_rate");
}

uint64_t get_flows_up_rate(void) {
    return Rate("get_flows_up_rate", "up_rate");
}

int restart(void) {
    Call call("restart", "");
    uint64_t count = 0;
    int rc = ReadUint(call, kActions, "restart_count", UINT64_MAX - 1, &count);
    return rc != 0 ? rc : WriteUint(call, kActions, "restart_count", count + 1);
}

int set_redirection(uint8_t enable, const char* url) {
    Call call("set_redirection", std::to_string(enable) + " " + LogText(url));
    if (call.status() != 0) return call.status();
    if (url == nullptr || enable > 1) return kStatusBadArgument;
    cJSON* redirection = MakeSection(call.root(), "actions.redirection");
    SetUint(redirection, "enable", enable);
    SetText(redirection, "url", url);
    return call.Commit();
}

int update_rom_version(const char* url, const char* md5) {
    Call call("update_rom_version", LogText(url) + " " + LogText(md5));
    if (call.status() != 0) return call.status();
    if (url == nullptr || md5 == nullptr) return kStatusBadArgument;
    cJSON* entry = cJSON_CreateObject();
    SetText(entry, "url", url);
    SetText(entry, "md5", md5);
    cJSON_AddItemToArray(ArrayMember(MakeSection(call.root(), kActions), "rom_updates"), entry);
    return call.Commit();
}

int set_http_test_url(const char* url) {
    Call call("set_http_test_url", LogText(url));
    return WriteText(call, kActions, "http_test_url", url, SIZE_MAX);
}

}  // extern "C"

// Rows 1, 2, 46, 60: the router's identity.
#include <cstring>

#include "RouterSdk.h"
#include "core/ByteOrder.h"
#include "functions/FnRequest.h"
#include "functions/SdkRecords.h"
#include "functions/SdkRows.h"
#include "platform/Protool.h"

namespace {

// Answer layout of function 2.
constexpr size_t kIdMac = 6;
constexpr size_t kIdSn = 12;
constexpr size_t kIdVendor = 76;
constexpr size_t kIdModel = 140;
constexpr size_t kIdCpu = 204;
constexpr size_t kIdMem = 247;
constexpr size_t kIdIsPlug = 267;
constexpr size_t kIdName = 268;
constexpr size_t kIdIpv6 = 300;
constexpr size_t kIdAnswerLen = 301;

static_assert(kIdCpu + kCpuCfgWire == kIdMem, "CPU record ends where memory starts");
static_assert(kIdMem + kMemCfgWire == kIdIsPlug, "memory record ends at the plug flag");
static_assert(kIdName + ROUTER_NAME_SIZE == kIdIpv6, "name ends at the IPv6 flag");

// The SDK's identity texts and records, fetched before the answer is built.
struct Identity {
    char sn[ROUTER_TEXT_SIZE] = {};
    char vendor[ROUTER_TEXT_SIZE] = {};
    char model[ROUTER_TEXT_SIZE] = {};
    CpuCfg cpu = {};
    MemCfg mem = {};
    uint8_t isPlug = 0;
    char name[ROUTER_NAME_SIZE] = {};
    uint8_t ipv6 = 0;
};

// Calls the SDK for each field in a fixed order and stops at the first failing call: names it
// and returns its status.
int FetchIdentity(Identity& id, const char** failed) {
    struct Step {
        const char* name;
        int (*call)(Identity&);
    };
    static const Step kSteps[] = {
        {"get_router_sn", [](Identity& i) { return get_router_sn(i.sn); }},
        {"get_router_vender", [](Identity& i) { return get_router_vender(i.vendor); }},
        {"get_router_model", [](Identity& i) { return get_router_model(i.model); }},
        {"get_cpu_cfg", [](Identity& i) { return get_cpu_cfg(&i.cpu); }},
        {"get_mem_cfg", [](Identity& i) { return get_mem_cfg(&i.mem); }},
        {"get_name", [](Identity& i) { return get_name(i.name); }},
        {"get_router_is_plug", [](Identity& i) { return get_router_is_plug(&i.isPlug); }},
        {"get_router_support_ipv6", [](Identity& i) { return get_router_support_ipv6(&i.ipv6); }},
    };
    for (const Step& s : kSteps) {
        int status = s.call(id);
        if (status != 0) {
            *failed = s.name;
            return status;
        }
    }
    return 0;
}

}  // namespace

int Fn1GetRouterVersion(FnCall& call) {
    RouterVersion ver = {};
    int ret = get_router_version(&ver);
    if (ret != 0) return FnAnswerSdkError(call, "get_router_version", ret);
    uint8_t* a = FnAnswerBegin(call, limits::kFnHeaderSize + kVersionWire);
    PutVersion(a + 6, ver);
    return 0;
}

int Fn2GetRouterIdentity(FnCall& call) {
    Identity id;
    const char* failed = nullptr;
    int ret = FetchIdentity(id, &failed);
    if (ret != 0) return FnAnswerSdkError(call, failed, ret);
    uint8_t* a = FnAnswerBegin(call, kIdAnswerLen);
    GetRouteMac(a + kIdMac);
    memcpy(a + kIdSn, id.sn, sizeof id.sn);
    memcpy(a + kIdVendor, id.vendor, sizeof id.vendor);
    memcpy(a + kIdModel, id.model, sizeof id.model);
    PutCpuCfg(a + kIdCpu, id.cpu);
    PutMemCfg(a + kIdMem, id.mem);
    a[kIdIsPlug] = id.isPlug;
    memcpy(a + kIdName, id.name, sizeof id.name);
    a[kIdIpv6] = id.ipv6;
    return 0;
}

int Fn46SetRouterName(FnCall& call) {
    const char* name = FnParamText(call, limits::kFnParamOffset, ROUTER_NAME_SIZE - 1);
    if (name == nullptr) return 0;
    return FnAnswerSdkStatus(call, "set_name", set_name(name));
}

int Fn60GetRouterPin(FnCall& call) {
    char pin[ROUTER_PIN_SIZE] = {};
    int ret = get_router_pin(pin);
    if (ret != 0) return FnAnswerSdkError(call, "get_router_pin", ret);
    uint8_t* a = FnAnswerBegin(call, limits::kFnHeaderSize + ROUTER_PIN_SIZE);
    memcpy(a + 6, pin, sizeof pin);
    return 0;
}

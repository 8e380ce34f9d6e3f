// Function-table rows answered by the companion process: parameters from request byte 10, the
// answer's data from byte 6.
#include "functions/CompanionRows.h"

#include <cstring>
#include <vector>

#include "core/ByteOrder.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "functions/FnRequest.h"
#include "ipc/ComF.h"

namespace {

constexpr size_t kParams = 10;
constexpr size_t kData = 6;
constexpr size_t kWanIpv4Fields[] = {205, 209, 213, 217, 221};
constexpr size_t kWan16Fields[] = {0, 3, 5, 225};
constexpr size_t kAdjWifiFixedPart = 2;  // the list's entry count
constexpr size_t kBssidFixedPart = 6;    // one BSSID

// Status-only answer; a non-zero status is logged with the row's failure text.
int AnswerStatus(FnCall& call, unsigned ret, const char* failFmt) {
    if (ret != 0) LOGE(failFmt, static_cast<int>(ret));
    FnAnswerStatus(call, static_cast<uint16_t>(ret));
    return 0;
}

// Code 0 and `n` data bytes at 6.
int AnswerBytes(FnCall& call, const uint8_t* data, size_t n) {
    FnAnswerStatus(call, 0);
    memcpy(call.ans + kData, data, n);
    call.ansLen = kData + n;
    return 0;
}

// Code 0, the 16-bit data length at 6 and the companion's data bytes from 8.
int AnswerCompanionData(FnCall& call, const uint8_t* data, size_t n) {
    FnAnswerStatus(call, 0);
    PutLe16(call.ans + kData, static_cast<uint16_t>(n));
    memcpy(call.ans + kData + 2, data, n);
    call.ansLen = kData + 2 + n;
    return 0;
}

// A getter of one byte: the byte at 6 on success.
int OneByteRow(FnCall& call, unsigned (*get)(uint8_t*), const char* failFmt) {
    uint8_t value = 0;
    unsigned ret = get(&value);
    if (ret != 0) return AnswerStatus(call, ret, failFmt);
    return AnswerBytes(call, &value, 1);
}

// A getter whose data stays in rxData: answered as length plus data, when at least `fixed`
// data bytes came.
int DataRow(FnCall& call, unsigned (*get)(), const char* failFmt, size_t fixed) {
    unsigned ret = get();
    if (ret != 0) return AnswerStatus(call, ret, failFmt);
    std::vector<uint8_t> rx(limits::kCommRxDataSize);
    CommRxDataCopy(rx.data(), rx.size());
    CommResponse r = CommResponseView(rx.data());
    size_t n = r.length > 0 ? r.length - 1u : 0;
    if (n < fixed) {
        LOGE("ERROR: Data length is too short! len=%d", static_cast<int>(n));
        FnAnswerStatus(call, 1);
        return 0;
    }
    return AnswerCompanionData(call, r.data, n);
}

// The WAN record from the request, with its IPv4 fields reversed as every WAN record is.
void ConvertWanRecord(const uint8_t* in, uint8_t* out) {
    memcpy(out, in, limits::kWanRecordSize);
    for (size_t off : kWan16Fields)
        PutLe16(out + off, GetLe16(in + off));
    for (size_t off : kWanIpv4Fields)
        PutLe32(out + off, GetIpv4(in + off));
}

}  // namespace

int Fn70GetWifiFreqband(FnCall& call) {
    if (!FnHasParams(call, 1)) return 0;
    uint8_t index = call.req[kParams];
    LOGD("Get freqband index=%d", index);
    uint8_t band = 0;
    unsigned ret = ComF_get_wifi_freqband(index, &band);
    if (ret != 0) return AnswerStatus(call, ret, "ERROR: get freqband failed! ret=%d");
    return AnswerBytes(call, &band, 1);
}

int Fn71GetMeshSupport(FnCall& call) {
    return OneByteRow(call, ComF_get_mesh_support, "ERROR: get mesh support failed! ret=%d");
}

int Fn72SetMeshSwitch(FnCall& call) {
    if (!FnHasParams(call, 1)) return 0;
    uint8_t value = call.req[kParams];
    LOGD("Set mesh switch=%d", value);
    return AnswerStatus(call, ComF_set_mesh_switch(value), "ERROR: set mesh switch failed! ret=%d");
}

int Fn73GetMeshSwitch(FnCall& call) {
    return OneByteRow(call, ComF_get_mesh_switch, "ERROR: get mesh switch failed! ret=%d");
}

int Fn74SetMeshRoamingSwitch(FnCall& call) {
    if (!FnHasParams(call, 1)) return 0;
    uint8_t value = call.req[kParams];
    LOGD("Set mesh roaming switch=%d", value);
    return AnswerStatus(call, ComF_set_mesh_roaming_switch(value),
                        "ERROR: set mesh roaming switch failed! ret=%d");
}

int Fn75GetMeshRoamingSwitch(FnCall& call) {
    return OneByteRow(call, ComF_get_mesh_roaming_switch,
                      "ERROR: get mesh roaming switch failed! ret=%d");
}

int Fn76SetMeshRoamingThreshold(FnCall& call) {
    if (!FnHasParams(call, 2)) return 0;
    uint8_t index = call.req[kParams];
    uint8_t threshold = call.req[kParams + 1];
    LOGD("Set mesh roaming index=%d, threshold=%d", index, threshold);
    return AnswerStatus(call, ComF_set_mesh_roaming_threshold(index, threshold),
                        "ERROR: set mesh roaming threshold failed! ret=%d");
}

int Fn77GetMeshRoamingThreshold(FnCall& call) {
    uint8_t pair[2] = {0, 0};
    unsigned ret = ComF_get_mesh_roaming_threshold(pair);
    if (ret != 0)
        return AnswerStatus(call, ret, "ERROR: get mesh roaming threshold failed! ret=%d");
    LOGD("get threshold %d,%d", pair[0], pair[1]);
    return AnswerBytes(call, pair, 2);
}

int Fn78GetMeshTopology(FnCall& call) {
    return DataRow(call, ComF_get_mesh_topology, "ERROR: get mesh topology failed! ret=%d", 0);
}

int Fn79GetAdjWifiInfo(FnCall& call) {
    return DataRow(call, ComF_get_adj_wifi_info, "ERROR: get adj wifi info failed! ret=%d",
                   kAdjWifiFixedPart);
}

int Fn80GetBssid(FnCall& call) {
    return DataRow(call, ComF_get_bssid, "ERROR: get bssid failed! ret=%d", kBssidFixedPart);
}

int Fn82SetWanCfg(FnCall& call) {
    if (!FnHasParams(call, limits::kWanRecordSize)) return 0;
    uint8_t record[limits::kWanRecordSize];
    ConvertWanRecord(call.req + kParams, record);
    return AnswerStatus(call, ComF_set_wan_cfg(record, sizeof record),
                        "ERROR: set wan configure failed! ret=%d");
}

int Fn83TrigOnekeyOptimize(FnCall& call) {
    return AnswerStatus(call, ComF_trig_onekey_optimize(),
                        "ERROR: trigger onekey optimize failed! ret=%d");
}

int Fn85TrigFaultDiagnosis(FnCall& call) {
    return AnswerStatus(call, ComF_trig_fault_diagnosis(),
                        "ERROR: trigger fault diagnosis failed! ret=%d");
}

int Fn88SetAutoReport(FnCall& call) {
    if (!FnHasParams(call, 2)) return 0;
    size_t jsonLen = GetLe16(call.req + kParams);
    LOGD("88 jsonLen: %d", static_cast<int>(jsonLen));
    if (!FnHasParams(call, 2 + jsonLen)) return 0;  // the JSON text lies beyond the request
    const char* json = reinterpret_cast<const char*>(call.req + kParams + 2);
    return AnswerStatus(call, ComF_set_auto_report(json, jsonLen),
                        "ERROR: set auto report failed! ret=%d");
}

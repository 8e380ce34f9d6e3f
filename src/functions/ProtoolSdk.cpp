#include "functions/ProtoolSdk.h"

#include "core/ByteOrder.h"
#include "core/Limits.h"
#include "core/Log.h"
#include "functions/CompanionRows.h"
#include "functions/DiagRows.h"
#include "functions/FnRequest.h"
#include "functions/RuleRows.h"
#include "functions/SdkRows.h"

namespace {

constexpr uint16_t kCodeUnsupported = 7;
constexpr uint16_t kMaxSupportedIdMinusOne = 32765;  // IDs 1..32766 get an answer

// IDs without a handler of their own: the 6-byte answer with code 7 and the ID written as a
// native 16-bit value.
int FnUnsupported(FnCall& call) {
    PutLe16(call.ans, GetLe16(call.req));
    PutLe16(call.ans + 2, FnId(call));
    PutLe16(call.ans + 4, kCodeUnsupported);
    call.ansLen = limits::kFnHeaderSize;
    return -1;
}

// IDs that the platform sends but that get no answer frame.
int FnNoAnswer(FnCall& call) {
    call.ansLen = 0;
    return 0;
}

struct FnRow {
    uint16_t id;
    FnHandler handler;
};

// One row per function ID, in order: the one place that knows every handler.
constexpr FnRow kFnTable[limits::kFunctionTableSize] = {
    {1, Fn1GetRouterVersion},
    {2, Fn2GetRouterIdentity},
    {3, Fn3GetWanCfg},
    {4, Fn4GetWansCfg},
    {5, Fn5GetWanTcpConNum},
    {6, Fn6GetWanUdpConNum},
    {7, Fn7GetWanReceiveBytes},
    {8, Fn8StartPing},
    {9, Fn9GetPingResult},
    {10, Fn10GetLanCfg},
    {11, Fn11GetLanNum},
    {12, Fn12GetLanPortFlows},
    {13, Fn13GetWlansCfg},
    {14, Fn14GetSsidSwitch},
    {15, Fn15SetSsidSwitch},
    {16, Fn16GetSsidCfg},
    {17, Fn17SetSsidCfg},
    {18, Fn18GetWifiRadioSwitch},
    {19, Fn19SetWifiRadioSwitch},
    {20, Fn20FixedAnswer},
    {21, Fn21FixedStatus},
    {22, Fn22GetLedSwitch},
    {23, Fn23SetLedSwitch},
    {24, Fn20FixedAnswer},
    {25, Fn21FixedStatus},
    {26, Fn26GetServiceSwitches},
    {27, Fn27SetServiceSwitches},
    {28, Fn28GetServiceAccounts},
    {29, Fn29SetServiceAccounts},
    {30, Fn30GetWpsSwitch},
    {31, Fn31SetWpsSwitch},
    {32, Fn32SetDevAccessControl},
    {33, Fn33GetDevBandwidth},
    {34, Fn34GetDevMaxBandwidth},
    {35, Fn35SetDevMaxBandwidth},
    {36, Fn36GetDevName},
    {37, Fn37SetDevName},
    {38, Fn38GetDevCfg},
    {39, Fn39GetDevsCfg},
    {40, FnNoAnswer},
    {41, Fn41GetLinkSpeeds},
    {42, Fn42GetAdjWifiDevs},
    {43, Fn43GetDevBlackList},
    {44, Fn44GetDns},
    {45, Fn45SetDns},
    {46, Fn46SetRouterName},
    {47, Fn47GetCpuUse},
    {48, Fn48GetMemUse},
    {49, Fn49GetConnectionOverview},
    {50, Fn50SetFullLoadEnable},
    {51, Fn51StartTraceroute},
    {52, Fn52GetTracerouteResult},
    {53, Fn53SyncTime},
    {54, Fn54GetDurationTime},
    {55, Fn55Restart},
    {56, Fn56SetRedirection},
    {57, Fn57UpdateRomVersion},
    {58, Fn58GetFlowRates},
    {59, Fn59SetHttpTestUrl},
    {60, Fn60GetRouterPin},
    {61, Fn61StartRateTest},
    {62, FnUnsupported},
    {63, FnUnsupported},
    {64, Fn64QuerySubdev},
    {65, FnUnsupported},
    {66, Fn66SetTcRules},
    {67, FnUnsupported},
    {68, FnUnsupported},
    {69, Fn69SetSurfRules},
    {70, Fn70GetWifiFreqband},
    {71, Fn71GetMeshSupport},
    {72, Fn72SetMeshSwitch},
    {73, Fn73GetMeshSwitch},
    {74, Fn74SetMeshRoamingSwitch},
    {75, Fn75GetMeshRoamingSwitch},
    {76, Fn76SetMeshRoamingThreshold},
    {77, Fn77GetMeshRoamingThreshold},
    {78, Fn78GetMeshTopology},
    {79, Fn79GetAdjWifiInfo},
    {80, Fn80GetBssid},
    {81, FnNoAnswer},
    {82, Fn82SetWanCfg},
    {83, Fn83TrigOnekeyOptimize},
    {84, FnNoAnswer},
    {85, Fn85TrigFaultDiagnosis},
    {86, FnNoAnswer},
    {87, Fn87SetConfigData},
    {88, Fn88SetAutoReport},
};

constexpr bool TableInOrder() {
    for (int i = 0; i < limits::kFunctionTableSize; ++i)
        if (kFnTable[i].id != i + 1) return false;
    return true;
}
static_assert(TableInOrder(), "row i of the function table is function i + 1");

}  // namespace

FnHandler FnTableHandler(uint16_t id) {
    if (id < 1 || id > limits::kFunctionTableSize) return nullptr;
    return kFnTable[id - 1].handler;
}

int ParserProtoolData(const uint8_t* req, size_t reqLen, uint8_t* ans, size_t* ansLen) {
    *ansLen = 0;
    if (reqLen < 4) {
        LOGE("function call too short! len=%zu", reqLen);
        return -1;
    }
    FnCall call{req, reqLen, ans, 0};
    uint16_t id = FnId(call);
    LOGD("ParserProtoolData funcid %d", static_cast<int16_t>(id));
    ans[0] = 0;
    int ret = 0;
    if (FnHandler handler = FnTableHandler(id)) {
        ret = handler(call);
    } else if (static_cast<uint16_t>(id - 1) > kMaxSupportedIdMinusOne) {
        ret = -1;  // ID 0 or 32767 and above: no answer frame
    } else {
        ret = FnUnsupported(call);
    }
    *ansLen = call.ansLen;
    return ret;
}

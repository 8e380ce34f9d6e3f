#include "functions/CompanionRows.h"

#include "core/Log.h"

// The companion exchange is not built yet: these rows answer result code 1 (not done).
namespace {

int NotBuilt(FnCall& call) {
    LOGE("companion exchange not built yet");
    FnAnswerStatus(call, 1);
    return 0;
}

}  // namespace

int Fn70GetWifiFreqband(FnCall& call) {
    return NotBuilt(call);
}
int Fn71GetMeshSupport(FnCall& call) {
    return NotBuilt(call);
}
int Fn72SetMeshSwitch(FnCall& call) {
    return NotBuilt(call);
}
int Fn73GetMeshSwitch(FnCall& call) {
    return NotBuilt(call);
}
int Fn74SetMeshRoamingSwitch(FnCall& call) {
    return NotBuilt(call);
}
int Fn75GetMeshRoamingSwitch(FnCall& call) {
    return NotBuilt(call);
}
int Fn76SetMeshRoamingThreshold(FnCall& call) {
    return NotBuilt(call);
}
int Fn77GetMeshRoamingThreshold(FnCall& call) {
    return NotBuilt(call);
}
int Fn78GetMeshTopology(FnCall& call) {
    return NotBuilt(call);
}
int Fn79GetAdjWifiInfo(FnCall& call) {
    return NotBuilt(call);
}
int Fn80GetBssid(FnCall& call) {
    return NotBuilt(call);
}
int Fn82SetWanCfg(FnCall& call) {
    return NotBuilt(call);
}
int Fn83TrigOnekeyOptimize(FnCall& call) {
    return NotBuilt(call);
}
int Fn85TrigFaultDiagnosis(FnCall& call) {
    return NotBuilt(call);
}
int Fn88SetAutoReport(FnCall& call) {
    return NotBuilt(call);
}

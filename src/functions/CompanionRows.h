// Function-table rows answered by the companion process.
#pragma once

#include "functions/FunctionCall.h"

int Fn70GetWifiFreqband(FnCall& call);
int Fn71GetMeshSupport(FnCall& call);
int Fn72SetMeshSwitch(FnCall& call);
int Fn73GetMeshSwitch(FnCall& call);
int Fn74SetMeshRoamingSwitch(FnCall& call);
int Fn75GetMeshRoamingSwitch(FnCall& call);
int Fn76SetMeshRoamingThreshold(FnCall& call);
int Fn77GetMeshRoamingThreshold(FnCall& call);
int Fn78GetMeshTopology(FnCall& call);
int Fn79GetAdjWifiInfo(FnCall& call);
int Fn80GetBssid(FnCall& call);
int Fn82SetWanCfg(FnCall& call);
int Fn83TrigOnekeyOptimize(FnCall& call);
int Fn85TrigFaultDiagnosis(FnCall& call);
int Fn88SetAutoReport(FnCall& call);

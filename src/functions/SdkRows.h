// Function-table rows answered by the router SDK or with a fixed value. Each fills the call's
// answer and returns 0, whatever its result code.
#pragma once

#include "functions/FunctionCall.h"

// Identity.
int Fn1GetRouterVersion(FnCall& call);
int Fn2GetRouterIdentity(FnCall& call);
int Fn46SetRouterName(FnCall& call);
int Fn60GetRouterPin(FnCall& call);

// WAN and LAN.
int Fn3GetWanCfg(FnCall& call);
int Fn4GetWansCfg(FnCall& call);
int Fn5GetWanTcpConNum(FnCall& call);
int Fn6GetWanUdpConNum(FnCall& call);
int Fn7GetWanReceiveBytes(FnCall& call);
int Fn10GetLanCfg(FnCall& call);
int Fn11GetLanNum(FnCall& call);
int Fn12GetLanPortFlows(FnCall& call);
int Fn41GetLinkSpeeds(FnCall& call);
int Fn44GetDns(FnCall& call);
int Fn45SetDns(FnCall& call);
int Fn49GetConnectionOverview(FnCall& call);

// Wi-Fi, LED and WPS.
int Fn13GetWlansCfg(FnCall& call);
int Fn14GetSsidSwitch(FnCall& call);
int Fn15SetSsidSwitch(FnCall& call);
int Fn16GetSsidCfg(FnCall& call);
int Fn17SetSsidCfg(FnCall& call);
int Fn18GetWifiRadioSwitch(FnCall& call);
int Fn19SetWifiRadioSwitch(FnCall& call);
int Fn22GetLedSwitch(FnCall& call);
int Fn23SetLedSwitch(FnCall& call);
int Fn30GetWpsSwitch(FnCall& call);
int Fn31SetWpsSwitch(FnCall& call);
int Fn42GetAdjWifiDevs(FnCall& call);

// Services and their accounts.
int Fn26GetServiceSwitches(FnCall& call);
int Fn27SetServiceSwitches(FnCall& call);
int Fn28GetServiceAccounts(FnCall& call);
int Fn29SetServiceAccounts(FnCall& call);

// Attached devices.
int Fn32SetDevAccessControl(FnCall& call);
int Fn33GetDevBandwidth(FnCall& call);
int Fn34GetDevMaxBandwidth(FnCall& call);
int Fn35SetDevMaxBandwidth(FnCall& call);
int Fn36GetDevName(FnCall& call);
int Fn37SetDevName(FnCall& call);
int Fn38GetDevCfg(FnCall& call);
int Fn39GetDevsCfg(FnCall& call);
int Fn43GetDevBlackList(FnCall& call);
int Fn64QuerySubdev(FnCall& call);

// System: fixed answers, load, time, actions, flows.
int Fn20FixedAnswer(FnCall& call);  // also 24
int Fn21FixedStatus(FnCall& call);  // also 25
int Fn47GetCpuUse(FnCall& call);
int Fn48GetMemUse(FnCall& call);
int Fn50SetFullLoadEnable(FnCall& call);
int Fn53SyncTime(FnCall& call);
int Fn54GetDurationTime(FnCall& call);
int Fn55Restart(FnCall& call);
int Fn56SetRedirection(FnCall& call);
int Fn57UpdateRomVersion(FnCall& call);
int Fn58GetFlowRates(FnCall& call);
int Fn59SetHttpTestUrl(FnCall& call);

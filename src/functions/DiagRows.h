// Function-table rows of the network diagnostics: ping (8, 9), traceroute (51, 52), rate test
// (61) and the configuration payload that starts a configured rate test (87).
#pragma once

#include "functions/FunctionCall.h"

int Fn8StartPing(FnCall& call);
int Fn9GetPingResult(FnCall& call);
int Fn51StartTraceroute(FnCall& call);
int Fn52GetTracerouteResult(FnCall& call);
int Fn61StartRateTest(FnCall& call);
int Fn87SetConfigData(FnCall& call);

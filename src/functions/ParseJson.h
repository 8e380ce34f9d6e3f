// JSON payloads of the update and device-report paths: the platform's plug-in data is read by
// ParserPlug, the small JSON texts the agent sends back are written by BuildJson.
#pragma once

#include <atomic>
#include <cstddef>

// Update state filled from the platform's plug-in data (sizes in bytes, NUL-terminated texts).
extern char mPluginID[128];
extern char mFromVersion[16];
extern char mToVersion[128];
extern std::atomic<int> mProcess;  // update progress reported by BuildJson kind 4
// Measured download rate in bytes per second (-1 when the rate test failed).
extern std::atomic<int> gDownRate;

// Writes the JSON text of `kind` into `out` (room for `outSize` bytes, NUL included):
//  1 device online  {"mac":..,"dev_name":..,"status":"online"}   text = 12 hex digits of a MAC
//  2 device offline {"mac":..,"status":"offline"}                 text = MAC text
//  3 nothing
//  4 update progress {"pluginID":..,"fromVersion":..,"toVersion":..,"process":..,"result":..,
//                     "resultDesc":..}                             result, text = description
//  5 device data    {"mac":..,"dev_name":..,"data":..}            text = 12 hex digits, data
//  6 rate           {"devpin":..,"rate":".."}
// Returns 0 (also for kinds it does not know, writing nothing); 65535 when the MAC text of kinds
// 1 and 5 is not twelve hex digits; the lock's or get_dev_name's failure status; -1 when the
// text does not fit in `out`. Every value is JSON-escaped.
int BuildJson(int kind, int result, const char* text, const char* data, char* out, size_t outSize);

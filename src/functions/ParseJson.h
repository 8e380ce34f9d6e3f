// JSON payloads of the update and device-report paths: the platform's plug-in data is read by
// ParserPlug, the small JSON texts the agent sends back are written by BuildJson.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "core/Limits.h"

// Update state filled from the platform's plug-in data (sizes in bytes, NUL-terminated texts).
extern char mPluginID[128];
extern char mFromVersion[16];
extern char mToVersion[128];
extern std::atomic<int> mProcess;  // update progress reported by BuildJson kind 4
// Download and firmware-update parameters from plug-in data types 2 and 16, read by the update
// procedure on the same (response) thread. Texts are cut to their buffers.
extern char mDownloadServer[limits::kDownloadServerSize];
extern int mDownloadPort;                            // 80 when the URL names none
extern char mDownloadUrl[limits::kDownloadUrlSize];  // the path, the request target
extern long long mFileLength;
extern char mFileMD5[limits::kFileMd5Size];
extern char mToken[limits::kTokenSize];
extern char mMacText[limits::kMacTextSize];  // MAC text of data types 5 and 7
extern uint8_t mMac[6];                      // MAC of data type 6
extern uint8_t mRecogResult;
// Firmware-update block handed whole to the companion (function 999); layout in docs/update.md.
extern uint8_t upParm[limits::kUpParmSize];
constexpr size_t kUpParmFromVersion = 0;  // 64-byte texts, NUL-terminated
constexpr size_t kUpParmToVersion = 64;
constexpr size_t kUpParmUrl = 128;  // 252-byte text
constexpr size_t kUpParmUrlSize = 252;
constexpr size_t kUpParmFileLength = 380;   // 32-bit little-endian
constexpr size_t kUpParmCheckMethod = 384;  // 8-byte text
constexpr size_t kUpParmChkSum = 392;       // 40-byte text
constexpr size_t kUpParmVersionSize = 64;
constexpr size_t kUpParmCheckMethodSize = 8;
constexpr size_t kUpParmChkSumSize = 40;

// Reads the JSON of plug-in data `type` into the update state (table in docs/update.md). 0 on
// success; -1 for a missing or unparsable text, a missing key or a bad value; for types 15 and
// 16 the firmware-update codes 1 (fromVersion), 2 (toVersion), 3 (url), 5 (fileLength),
// 4 (checkMethod), 7 (chkSum) for the first missing key in that order. Unknown types: 0.
int ParserPlug(int type, const char* json);

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

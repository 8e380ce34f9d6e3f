// Plug-in data payloads by name for the "plugdata" command: each data type's JSON with default
// values that name=value arguments replace and -name arguments remove.
#pragma once

#include <string>
#include <vector>

namespace psim {

// Builds the JSON of plug-in data `kind` (update-cmd, plugin-update, online, vip, recog, rerecog,
// route, fw-cmd, fw-file, fn40-interval). For plugin-update, file=PATH sets fileMD5 and
// fileLength from a local file. false with `error` set when an argument is refused.
bool BuildPlugData(const std::string& kind, const std::vector<std::string>& args, int* dataType,
                   std::string* json, std::string* error);
const char* PlugDataKinds();

}  // namespace psim

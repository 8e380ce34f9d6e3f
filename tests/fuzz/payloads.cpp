// The JSON payload parsers of platform data: plug-in data (ParserPlug), port mapping
// (ParseRouteParam, then AddRoute/DeleteRoute), bandwidth (ParseTcParam) and surf rules
// (ParseSurfRulesParam) against the router SDK simulator's default state.
//
// Input: byte 0 selects the parser (mod 4), byte 1 the plug-in data type for ParserPlug; the
// rest is the JSON text, copied into a heap buffer of exactly its size plus the NUL.
// The port-mapping rules run "iptables": a script that exits 0 is put first on PATH, so no
// firewall is touched.
#include <sys/stat.h>
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/Log.h"
#include "functions/ParseJson.h"
#include "rules/RouteFunc.h"
#include "rules/SurfRules.h"

namespace {

void Init() {
    SetLogMask(0);
    char dir[] = "/tmp/plugfuzz-XXXXXX";
    if (!mkdtemp(dir)) abort();
    std::string tool = std::string(dir) + "/iptables";
    FILE* f = fopen(tool.c_str(), "w");
    if (!f) abort();
    fputs("#!/bin/sh\nexit 0\n", f);
    fclose(f);
    chmod(tool.c_str(), 0755);
    const char* path = getenv("PATH");
    setenv("PATH", (std::string(dir) + ":" + (path ? path : "/usr/bin:/bin")).c_str(), 1);
}

constexpr int kPlugTypes[] = {2, 4, 5, 6, 7, 15, 16, 18};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = (Init(), true);
    (void)once;
    if (size < 2) return 0;
    size_t len = size - 2;
    std::unique_ptr<char[]> json(new char[len + 1]);
    memcpy(json.get(), data + 2, len);
    json[len] = '\0';
    switch (data[0] % 4) {
        case 0:
            ParserPlug(kPlugTypes[data[1] % (sizeof kPlugTypes / sizeof kPlugTypes[0])],
                       json.get());
            break;
        case 1:
            if (ParseRouteParam(json.get()) == 0 && (data[1] & 1)) {
                AddRoute();
                DeleteRoute();
            }
            break;
        case 2:
            ParseTcParam(json.get());
            break;
        default:
            ParseSurfRulesParam(json.get());
            break;
    }
    return 0;
}

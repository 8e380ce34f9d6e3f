// ParserPlug, ParseRouteParam (then AddRoute/DeleteRoute with a stand-in iptables first on
// PATH), ParseTcParam and ParseSurfRulesParam. Byte 0 picks the parser, byte 1 the plug-in data
// type, the rest is the NUL-terminated JSON text.
#include <unistd.h>

#include "FuzzCommon.h"
#include "functions/ParseJson.h"
#include "rules/RouteFunc.h"
#include "rules/SurfRules.h"

namespace {

void FakeIptables() {
    std::string dir = fuzz::ScratchDir();
    if (symlink("/bin/true", (dir + "/iptables").c_str()) != 0) abort();
    const char* path = getenv("PATH");
    setenv("PATH", (dir + ":" + (path ? path : "/usr/bin:/bin")).c_str(), 1);
}

constexpr int kPlugTypes[] = {2, 4, 5, 6, 7, 15, 16, 18};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::Run(data, size, 2, FakeIptables, [](const uint8_t* in, size_t n) {
        fuzz::Buf buf = fuzz::Copy(in + 2, n - 2, 1);
        char* json = reinterpret_cast<char*>(buf.get());
        switch (in[0] % 4) {
            case 0:
                ParserPlug(kPlugTypes[in[1] % (sizeof kPlugTypes / sizeof kPlugTypes[0])], json);
                break;
            case 1:
                if (ParseRouteParam(json) == 0 && (in[1] & 1)) {
                    AddRoute();
                    DeleteRoute();
                }
                break;
            case 2:
                ParseTcParam(json);
                break;
            default:
                ParseSurfRulesParam(json);
        }
    });
}

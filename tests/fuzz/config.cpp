// plug.conf (byte 0 even: every key the agent reads, also into 1- and 2-byte buffers) or the
// command line for config_line_proc (byte 0 odd: NUL-separated, at most 15 arguments).
#include <vector>

#include "FuzzCommon.h"
#include "core/Config.h"
#include "core/Options.h"

namespace {

std::string gFile;
const struct {
    const char* section;
    const char* key;
    size_t size;
} kKeys[] = {{"Dev", "PIN", 16},         {"Protool", "KEY", 32},     {"Protool", "PORT", 8},
             {"Protool", "SERVER1", 128}, {"Protool", "SERVER2", 128}, {"Dev", "PIN", 1},
             {"", "", 4},                 {"Protool", "KEY", 2}};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::Run(
        data, size, 1, [] { gFile = fuzz::ScratchDir() + "/plug.conf"; },
        [](const uint8_t* in, size_t n) {
            if ((in[0] & 1) == 0) {
                fuzz::WriteFile(gFile, in + 1, n - 1);
                SetConfigPath(gFile);
                for (const auto& k : kKeys) {
                    std::unique_ptr<char[]> out(new char[k.size]);
                    getKeyValueStr(k.section, k.key, "dflt", out.get(), k.size);
                }
                return;
            }
            std::vector<fuzz::Buf> pieces;
            char name[] = "plugagent";
            std::vector<char*> argv{name};
            for (size_t i = 1, start = 1; i <= n && pieces.size() < 15; ++i) {
                if (i < n && in[i] != 0) continue;
                pieces.push_back(fuzz::Copy(in + start, i - start, 1));  // NUL-terminated
                argv.push_back(reinterpret_cast<char*>(pieces.back().get()));
                start = i + 1;
            }
            argv.push_back(nullptr);
            config_line_proc(static_cast<int>(argv.size() - 1), argv.data());
        });
}

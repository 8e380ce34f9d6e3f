// plug.conf and the command line. Byte 0 even: the rest is written as plug.conf to a private
// file and every key the agent reads is read, into buffers of exactly the size the agent uses
// and into one of a single byte. Byte 0 odd: the rest, split at NUL bytes (at most 15 pieces),
// is the argument list after the program name for config_line_proc.
#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>
#include <vector>

#include "core/Config.h"
#include "core/Log.h"
#include "core/Options.h"

namespace {

std::string gFile;

void Init() {
    SetLogMask(0);
    char dir[] = "/tmp/plugfuzz-XXXXXX";
    if (!mkdtemp(dir)) abort();
    gFile = std::string(dir) + "/plug.conf";
}

struct Key {
    const char* section;
    const char* key;
    size_t size;
};
const Key kKeys[] = {{"Dev", "PIN", 16},
                     {"Protool", "KEY", 32},
                     {"Protool", "PORT", 8},
                     {"Protool", "SERVER1", 128},
                     {"Protool", "SERVER2", 128},
                     {"Dev", "PIN", 1},
                     {"", "", 4},
                     {"Protool", "KEY", 2}};

void ReadConfig(const uint8_t* bytes, size_t size) {
    FILE* f = fopen(gFile.c_str(), "wb");
    if (!f) abort();
    if (size) fwrite(bytes, 1, size, f);
    fclose(f);
    SetConfigPath(gFile);
    for (const Key& k : kKeys) {
        std::unique_ptr<char[]> out(new char[k.size]);
        getKeyValueStr(k.section, k.key, "dflt", out.get(), k.size);
    }
}

void RunOptions(const uint8_t* bytes, size_t size) {
    std::vector<std::unique_ptr<char[]>> pieces;
    size_t start = 0;
    for (size_t i = 0; i <= size && pieces.size() < 15; ++i) {
        if (i == size || bytes[i] == 0) {
            std::unique_ptr<char[]> p(new char[i - start + 1]);
            memcpy(p.get(), bytes + start, i - start);
            p[i - start] = '\0';
            pieces.push_back(std::move(p));
            start = i + 1;
        }
    }
    char name[] = "plugagent";
    std::vector<char*> argv{name};
    for (auto& p : pieces)
        argv.push_back(p.get());
    argv.push_back(nullptr);
    config_line_proc(static_cast<int>(argv.size() - 1), argv.data());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = (Init(), true);
    (void)once;
    if (size < 1) return 0;
    std::unique_ptr<uint8_t[]> in(new uint8_t[size]);
    memcpy(in.get(), data, size);
    if ((in[0] & 1) == 0)
        ReadConfig(in.get() + 1, size - 1);
    else
        RunOptions(in.get() + 1, size - 1);
    return 0;
}

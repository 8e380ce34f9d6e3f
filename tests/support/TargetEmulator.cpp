#include "TargetEmulator.h"

#include <cstdlib>
#include <fstream>
#include <sstream>

namespace testsupport {

int ElfMachine(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    unsigned char h[20] = {};
    if (!in.read(reinterpret_cast<char*>(h), sizeof h)) return -1;
    if (h[0] != 0x7f || h[1] != 'E' || h[2] != 'L' || h[3] != 'F') return -1;
    // EI_DATA (byte 5) says how the header's own fields are ordered: 1 little, 2 big endian.
    if (h[5] == 1) return h[18] | (h[19] << 8);
    if (h[5] == 2) return (h[18] << 8) | h[19];
    return -1;
}

std::vector<std::string> WithTargetEmulator(const std::vector<std::string>& argv) {
    const char* emulator = getenv("PLUG_TARGET_EMULATOR");
    if (!emulator) emulator = PLUG_TARGET_EMULATOR;
    if (!*emulator || argv.empty()) return argv;
    int target = ElfMachine("/proc/self/exe");
    if (target < 0 || ElfMachine(argv[0]) != target) return argv;
    std::vector<std::string> out;
    std::istringstream words(emulator);
    for (std::string w; words >> w;)
        out.push_back(w);
    out.insert(out.end(), argv.begin(), argv.end());
    return out;
}

}  // namespace testsupport

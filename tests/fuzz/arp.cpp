// Lines of /proc/net/arp and the reported-device file macconfig. Byte 0 even: the rest is split
// into lines; the first is the address prefix, every further line goes through the ARP filters
// and, when selected, the line parser. Byte 0 odd: the rest is written as macconfig in a private
// directory (Paths relocation) and loaded by Fn39LoadMac.
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <memory>
#include <string>

#include "core/Log.h"
#include "core/Paths.h"
#include "lan/ArpTable.h"
#include "lan/Function39.h"

namespace {

void Init() {
    SetLogMask(0);
    char dir[] = "/tmp/plugfuzz-XXXXXX";
    if (!mkdtemp(dir)) abort();
    PathsRelocate(dir);
}

void ArpLines(const char* text, size_t size) {
    std::string prefix;
    bool first = true;
    size_t start = 0;
    for (size_t i = 0; i <= size; ++i) {
        if (i < size && text[i] != '\n') continue;
        std::string line(text + start, i - start);
        start = i + 1;
        if (first) {
            prefix = line;
            first = false;
            continue;
        }
        ArpHost host;
        if (ArpLineSelected(line, prefix)) ParseArpLine(line, &host);
    }
}

void MacConfig(const uint8_t* bytes, size_t size) {
    FILE* f = fopen(Paths().macConfig.c_str(), "wb");
    if (!f) abort();
    if (size) fwrite(bytes, 1, size, f);
    fclose(f);
    Fn39LoadMac();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    static bool once = (Init(), true);
    (void)once;
    if (size < 1) return 0;
    std::unique_ptr<uint8_t[]> in(new uint8_t[size]);
    memcpy(in.get(), data, size);
    if ((in[0] & 1) == 0)
        ArpLines(reinterpret_cast<const char*>(in.get()) + 1, size - 1);
    else
        MacConfig(in.get() + 1, size - 1);
    return 0;
}

// /proc/net/arp lines (byte 0 even: first line the prefix, then filter and parser) or the
// macconfig file loaded by Fn39LoadMac (byte 0 odd), in a private directory.
#include "FuzzCommon.h"
#include "core/Paths.h"
#include "lan/ArpTable.h"
#include "lan/Function39.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size) {
    return fuzz::Run(
        data, size, 1, [] { PathsRelocate(fuzz::ScratchDir()); },
        [](const uint8_t* in, size_t n) {
            if (in[0] & 1) {
                fuzz::WriteFile(Paths().macConfig, in + 1, n - 1);
                Fn39LoadMac();
                return;
            }
            const char* text = reinterpret_cast<const char*>(in) + 1;
            std::string prefix;
            bool first = true;
            for (size_t i = 0, start = 0; i < n; ++i) {
                if (i + 1 < n && text[i] != '\n') continue;
                std::string line(text + start, i - start);
                start = i + 1;
                ArpHost host;
                if (first)
                    prefix = line;
                else if (ArpLineSelected(line, prefix))
                    ParseArpLine(line, &host);
                first = false;
            }
        });
}

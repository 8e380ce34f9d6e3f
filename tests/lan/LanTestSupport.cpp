#include "LanTestSupport.h"

#include <cstdio>
#include <cstdlib>

#include "core/Paths.h"

namespace lantest {

std::string HexDump(const Bytes& b) {
    std::string s;
    char hex[4];
    for (uint8_t v : b) {
        snprintf(hex, sizeof hex, "%02X ", v);
        s += hex;
    }
    return s;
}

Lan::Lan() {
    PathsRelocate(dir_.path());
    PathsSetArpTable(dir_.File("arp"));
    SetSdk("[]");
}

Lan::~Lan() {
    unsetenv("PLUG_SDK_STATE");
    PathsRelocate("");
    PathsSetArpTable("");
}

void Lan::SetSdk(const std::string& devices, const std::string& extra) {
    std::string path = dir_.File("state.json");
    testsupport::WriteFile(path, "{\"devices\":" + devices + extra + "}");
    setenv("PLUG_SDK_STATE", path.c_str(), 1);
}

void Lan::SetArp(const std::string& table) {
    testsupport::WriteFile(dir_.File("arp"), table);
}

std::string SdkDev(const std::string& mac, const std::string& name, const std::string& ip,
                   int attribute, int us, int ds) {
    return "{\"mac\":\"" + mac + "\",\"name\":\"" + name + "\",\"ip\":\"" + ip +
           "\",\"attribute\":" + std::to_string(attribute) + ",\"us_bw\":" + std::to_string(us) +
           ",\"ds_bw\":" + std::to_string(ds) + "}";
}

}  // namespace lantest

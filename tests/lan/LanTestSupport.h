// A private LAN for the LAN-device tests: runtime files in a temporary directory, the router SDK
// simulator over a state written by the test, and an ARP table fixture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../functions/FnTestSupport.h"
#include "core/Paths.h"

namespace lantest {

using Bytes = std::vector<uint8_t>;
using testsupport::Hex;

class Lan : public fntest::SimRouter {
public:
    Lan() : fntest::SimRouter("{\"devices\":[]}") {
        PathsRelocate(dir().path());
        PathsSetArpTable(dir().File("arp"));
    }
    ~Lan() {
        PathsRelocate("");
        PathsSetArpTable("");
    }
    // The SDK state: `devices` is the JSON array text of "devices"; `extra` further members.
    void SetSdk(const std::string& devices, const std::string& extra = "") {
        SetState("{\"devices\":" + devices + extra + "}");
    }
    void SetArp(const std::string& table) { testsupport::WriteFile(dir().File("arp"), table); }
};

// One device entry of the SDK state.
inline std::string SdkDev(const std::string& mac, const std::string& name, const std::string& ip,
                          int attribute = 1, int us = 0, int ds = 0) {
    return "{\"mac\":\"" + mac + "\",\"name\":\"" + name + "\",\"ip\":\"" + ip +
           "\",\"attribute\":" + std::to_string(attribute) + ",\"us_bw\":" + std::to_string(us) +
           ",\"ds_bw\":" + std::to_string(ds) + "}";
}

}  // namespace lantest

// A private LAN for the LAN-device tests: runtime files in a temporary directory, the router SDK
// simulator over a state written by the test, and an ARP table fixture.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "../support/TestSupport.h"
#include "core/Paths.h"

namespace lantest {

using Bytes = std::vector<uint8_t>;
using testsupport::Hex;

class Lan {
public:
    Lan() {
        PathsRelocate(dir_.path());
        PathsSetArpTable(dir_.File("arp"));
        SetSdk("[]");
    }
    ~Lan() {
        unsetenv("PLUG_SDK_STATE");
        PathsRelocate("");
        PathsSetArpTable("");
    }
    // The SDK state: `devices` is the JSON array text of "devices"; `extra` further members.
    void SetSdk(const std::string& devices, const std::string& extra = "") {
        testsupport::WriteFile(dir_.File("state.json"), "{\"devices\":" + devices + extra + "}");
        setenv("PLUG_SDK_STATE", dir_.File("state.json").c_str(), 1);
    }
    void SetArp(const std::string& table) { testsupport::WriteFile(dir_.File("arp"), table); }
    const testsupport::TempDir& dir() const { return dir_; }

private:
    testsupport::TempDir dir_;
};

// One device entry of the SDK state.
inline std::string SdkDev(const std::string& mac, const std::string& name, const std::string& ip,
                          int attribute = 1, int us = 0, int ds = 0) {
    return "{\"mac\":\"" + mac + "\",\"name\":\"" + name + "\",\"ip\":\"" + ip +
           "\",\"attribute\":" + std::to_string(attribute) + ",\"us_bw\":" + std::to_string(us) +
           ",\"ds_bw\":" + std::to_string(ds) + "}";
}

}  // namespace lantest

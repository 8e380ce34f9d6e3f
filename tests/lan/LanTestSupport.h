// A private LAN for the LAN-device tests: runtime files in a temporary directory, the router SDK
// simulator over a state written by the test, an ARP table fixture, and log capture.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "../support/TestSupport.h"

namespace lantest {

using Bytes = std::vector<uint8_t>;

using testsupport::Hex;
std::string HexDump(const Bytes& b);  // "AB CD 05 " as LogHexBytes prints it

class Lan {
public:
    Lan();
    ~Lan();
    // The SDK state: `devices` is the JSON array text of "devices"; `extra` further members.
    void SetSdk(const std::string& devices, const std::string& extra = "");
    void SetArp(const std::string& table);
    const testsupport::TempDir& dir() const { return dir_; }

private:
    testsupport::TempDir dir_;
};

// One device entry of the SDK state.
std::string SdkDev(const std::string& mac, const std::string& name, const std::string& ip,
                   int attribute = 1, int us = 0, int ds = 0);

}  // namespace lantest

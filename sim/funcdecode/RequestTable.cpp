// Parameter layouts of the function calls, as the agent reads them.
#include "RequestTable.h"

#include <iterator>

namespace funcdecode {

namespace {

constexpr size_t kParams = 10;  // parameters start at request byte 10

const Field kIndex[] = {{"index", 10, Kind::U16, 0}};
const Field kIndexOn[] = {{"index", 10, Kind::U16, 0}, {"on", 12, Kind::U8, 0}};
const Field kOn[] = {{"on", 10, Kind::U8, 0}};
const Field kMac[] = {{"mac", 10, Kind::Mac, 0}};
const Field kPing[] = {
    {"target", 10, Kind::Ipv4, 0}, {"size", 30, Kind::U16, 0}, {"count", 32, Kind::U16, 0}};
const Field kServices[] = {
    {"ftp", 10, Kind::U8, 0}, {"samba", 11, Kind::U8, 0}, {"telnet", 12, Kind::U8, 0}};
const Field kAccounts[] = {
    {"ftp_user", 10, Kind::Text, 32},     {"ftp_password", 42, Kind::Text, 32},
    {"samba_user", 74, Kind::Text, 32},   {"samba_password", 106, Kind::Text, 32},
    {"telnet_user", 138, Kind::Text, 32}, {"telnet_password", 170, Kind::Text, 32},
};
const Field kMacLimits[] = {
    {"mac", 10, Kind::Mac, 0}, {"up", 16, Kind::I64, 0}, {"down", 24, Kind::I64, 0}};
const Field kMacName[] = {{"mac", 10, Kind::Mac, 0}, {"name", 16, Kind::CText, 64}};
const Field kDns[] = {{"dns1", 10, Kind::Ipv4, 0}, {"dns2", 14, Kind::Ipv4, 0}};
const Field kRouterName[] = {{"name", 10, Kind::CText, 32}};
const Field kFullLoad[] = {{"index", 10, Kind::U16, 0}, {"enable", 12, Kind::U8, 0}};
const Field kTarget[] = {{"target", 10, Kind::Ipv4, 0}};
const Field kTime[] = {{"time", 10, Kind::I64, 0}};
const Field kRedirect[] = {{"enable", 10, Kind::U8, 0}, {"url", 11, Kind::CText, 1024}};
const Field kRomUpdate[] = {{"md5", 10, Kind::Text, 33}, {"url", 43, Kind::CText, 1024}};
const Field kUrl[] = {{"url", 10, Kind::CText, 1024}};
const Field kRules[] = {{"rules", 10, Kind::CText, 4096}};
const Field kBand[] = {{"band", 10, Kind::U8, 0}};
const Field kThreshold[] = {{"index", 10, Kind::U8, 0}, {"threshold", 11, Kind::U8, 0}};
const Field kConfigJson[] = {{"json", 10, Kind::LenText, 1023}};
const Field kAutoReportJson[] = {{"json", 10, Kind::LenText, 4096}};

#define NONE nullptr, 0, nullptr
#define PARAMS(f) f, std::size(f), nullptr
#define RECORD(r) nullptr, 0, &r

const RequestRow kRows[] = {
    {1, "router firmware version", NONE},
    {2, "router identity", NONE},
    {3, "one WAN configuration", PARAMS(kIndex)},
    {4, "all WAN configurations", NONE},
    {5, "TCP connections of a WAN", PARAMS(kIndex)},
    {6, "UDP connections of a WAN", PARAMS(kIndex)},
    {7, "bytes received on a WAN", PARAMS(kIndex)},
    {8, "start ping", PARAMS(kPing)},
    {9, "fetch ping result", NONE},
    {10, "LAN configuration", NONE},
    {11, "number of LAN ports", NONE},
    {12, "traffic per LAN port", NONE},
    {13, "all WLAN configurations", NONE},
    {14, "SSID switch", PARAMS(kIndex)},
    {15, "set SSID switch", PARAMS(kIndexOn)},
    {16, "SSID configuration", PARAMS(kIndex)},
    {17, "set SSID configuration", RECORD(kSsidRecord)},
    {18, "Wi-Fi radio switch", NONE},
    {19, "set Wi-Fi radio switch", PARAMS(kOn)},
    {20, "fixed answer", NONE},
    {21, "fixed answer", NONE},
    {22, "LED switch", NONE},
    {23, "set LED switch", PARAMS(kOn)},
    {24, "fixed answer", NONE},
    {25, "fixed answer", NONE},
    {26, "service switches", NONE},
    {27, "set service switches", PARAMS(kServices)},
    {28, "service accounts", NONE},
    {29, "set service accounts", PARAMS(kAccounts)},
    {30, "WPS switch", NONE},
    {31, "set WPS switch", PARAMS(kOn)},
    {32, "device access control", RECORD(kDevRecord)},
    {33, "current bandwidth of a device", PARAMS(kMac)},
    {34, "bandwidth limits of a device", PARAMS(kMac)},
    {35, "set bandwidth limits of a device", PARAMS(kMacLimits)},
    {36, "name of a device", PARAMS(kMac)},
    {37, "set name of a device", PARAMS(kMacName)},
    {38, "configuration of a device", PARAMS(kMac)},
    {39, "all devices", NONE},
    {40, "no answer", NONE},
    {41, "link speeds", NONE},
    {42, "neighbouring Wi-Fi networks", NONE},
    {43, "device black list", NONE},
    {44, "DNS servers", NONE},
    {45, "set DNS servers", PARAMS(kDns)},
    {46, "set router name", PARAMS(kRouterName)},
    {47, "CPU usage", NONE},
    {48, "memory usage", NONE},
    {49, "connection overview", NONE},
    {50, "full-load mode", PARAMS(kFullLoad)},
    {51, "start traceroute", PARAMS(kTarget)},
    {52, "fetch traceroute result", NONE},
    {53, "set time", PARAMS(kTime)},
    {54, "running time", NONE},
    {55, "restart router", NONE},
    {56, "set redirection", PARAMS(kRedirect)},
    {57, "update firmware image", PARAMS(kRomUpdate)},
    {58, "flow rates", NONE},
    {59, "set HTTP test URL", PARAMS(kUrl)},
    {60, "router PIN", NONE},
    {61, "start rate test", NONE},
    {62, "rate-test result (pushed by the agent)", NONE},
    {63, "unsupported", NONE},
    {64, "request a sub-device scan", NONE},
    {65, "unsupported", NONE},
    {66, "bandwidth rules", PARAMS(kRules)},
    {67, "unsupported", NONE},
    {68, "unsupported", NONE},
    {69, "surf rules", PARAMS(kRules)},
    {70, "Wi-Fi frequency band", PARAMS(kBand)},
    {71, "mesh support", NONE},
    {72, "set mesh switch", PARAMS(kOn)},
    {73, "mesh switch", NONE},
    {74, "set mesh roaming switch", PARAMS(kOn)},
    {75, "mesh roaming switch", NONE},
    {76, "set mesh roaming threshold", PARAMS(kThreshold)},
    {77, "mesh roaming threshold", NONE},
    {78, "mesh topology", NONE},
    {79, "neighbouring Wi-Fi information", NONE},
    {80, "BSSID", NONE},
    {81, "no answer", NONE},
    {82, "set WAN configuration", RECORD(kWanRecord)},
    {83, "one-key optimisation", NONE},
    {84, "no answer", NONE},
    {85, "fault diagnosis", NONE},
    {86, "no answer", NONE},
    {87, "configuration data", PARAMS(kConfigJson)},
    {88, "auto-report configuration", PARAMS(kAutoReportJson)},
};

#undef NONE
#undef PARAMS
#undef RECORD

static_assert(std::size(kRows) == 88, "one row per function ID 1-88");

}  // namespace

const RequestRow* FindRequestRow(uint16_t id) {
    if (id < 1 || id > std::size(kRows)) return nullptr;
    return &kRows[id - 1];
}

ParamView ParamsOf(const RequestRow& row) {
    if (row.record) return {row.record->fields, row.record->count, kParams, true};
    return {row.params, row.count, 0, false};
}

}  // namespace funcdecode

// The router SDK's records on the wire, field by field: texts and single bytes copied, integers
// little-endian through the byte-order helpers, IPv4 addresses reversed (network order). The
// bytes are the same on every host; a packed host struct is never copied onto the wire.
#pragma once

#include <cstddef>
#include <cstdint>

#include "RouterSdk.h"

constexpr size_t kWanCfgWire = 228;
constexpr size_t kSsidCfgWire = 120;
constexpr size_t kDevCfgWire = 34;
constexpr size_t kLanCfgWire = 14;
constexpr size_t kWlanCfgWire = 8;
constexpr size_t kAdjWifiWire = 42;
constexpr size_t kCpuCfgWire = 43;
constexpr size_t kMemCfgWire = 20;
constexpr size_t kVersionWire = 64;

void PutWanCfg(uint8_t* p, const WanCfg& w);
void GetWanCfg(const uint8_t* p, WanCfg* w);  // a WAN record from request bytes
void PutSsidCfg(uint8_t* p, const SsidCfg& s);
void GetSsidCfg(const uint8_t* p, SsidCfg* s);
void PutDevCfg(uint8_t* p, const DevCfg& d);
void GetDevCfg(const uint8_t* p, DevCfg* d);
void PutLanCfg(uint8_t* p, const LanCfg& l);
void PutWlanCfg(uint8_t* p, const WlanCfg& w);
void PutAdjWifiDev(uint8_t* p, const AdjWifiDev& a);
void PutCpuCfg(uint8_t* p, const CpuCfg& c);
void PutMemCfg(uint8_t* p, const MemCfg& m);
void PutVersion(uint8_t* p, const RouterVersion& v);

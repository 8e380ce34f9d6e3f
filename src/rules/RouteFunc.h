// Port mappings (two iptables NAT rules per mapping) and per-device bandwidth limits, both sent
// by the platform as JSON payloads.
#pragma once

// Port-mapping payload (plug-in data type 9): 0, or a negative code (-1 no payload, -2 not JSON,
// -3 to -7 a missing member, -8 an unknown FLAG, -9 a value that is not a valid address or port).
int ParseRouteParam(const char* json);
// Installs / removes the mapping last parsed by ParseRouteParam. 0.
int AddRoute();
int DeleteRoute();

// Bandwidth payload (function 66): 0, 1 no payload, 2 not JSON, 3 to 6 a missing member,
// 7 a rejected element.
int ParseTcParam(const char* json);

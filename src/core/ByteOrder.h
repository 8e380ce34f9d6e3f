// Byte order of wire fields. Multi-byte fields travel little-endian on every host: they are
// written and read with the explicit PutLe / GetLe helpers below, never by copying a host
// integer, so a big-endian router sends the same bytes. Swap32Always reverses unconditionally:
// IPv4 addresses (host-order integers, 192.168.1.1 = 0xC0A80101) and a few relayed counters pass
// through it and so appear on the wire in network order.
#pragma once

#include <cstdint>

constexpr uint32_t Swap32Always(uint32_t v) {
    return ((v & 0xFFu) << 24) | ((v & 0xFF00u) << 8) | ((v >> 8) & 0xFF00u) | (v >> 24);
}

inline void PutLe16(uint8_t* p, uint16_t v) {
    p[0] = static_cast<uint8_t>(v);
    p[1] = static_cast<uint8_t>(v >> 8);
}
inline void PutLe32(uint8_t* p, uint32_t v) {
    for (int i = 0; i < 4; ++i)
        p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline void PutLe64(uint8_t* p, uint64_t v) {
    for (int i = 0; i < 8; ++i)
        p[i] = static_cast<uint8_t>(v >> (8 * i));
}
inline uint16_t GetLe16(const uint8_t* p) {
    return static_cast<uint16_t>(p[0] | (p[1] << 8));
}
inline uint32_t GetLe32(const uint8_t* p) {
    return static_cast<uint32_t>(p[0]) | (static_cast<uint32_t>(p[1]) << 8) |
           (static_cast<uint32_t>(p[2]) << 16) | (static_cast<uint32_t>(p[3]) << 24);
}
inline uint64_t GetLe64(const uint8_t* p) {
    uint64_t v = 0;
    for (int i = 7; i >= 0; --i)
        v = (v << 8) | p[i];
    return v;
}

// An IPv4 address field: host-order integer in, network order on the wire (and back).
inline void PutIpv4(uint8_t* p, uint32_t hostOrder) {
    PutLe32(p, Swap32Always(hostOrder));
}
inline uint32_t GetIpv4(const uint8_t* p) {
    return Swap32Always(GetLe32(p));
}

// Operator arguments: "key=value" words, values parsed into wire-ready numbers and bytes.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace funcdecode {

struct Arg {
    std::string key;
    std::string value;
};

// Splits "a=1 name=\"Living room\" json={...}". A value that starts with '"' runs to the closing
// quote (\" and \\ escape); the key "json" takes the rest of the line; other values end at the
// next blank. Keys appear once. Returns 0, or -1 with *error set.
int SplitArgs(const std::string& text, std::vector<Arg>* out, std::string* error);

// Decimal or 0x-hexadecimal, within [min, max].
bool ParseUnsigned(const std::string& s, uint64_t max, uint64_t* out);
bool ParseSigned(const std::string& s, int64_t min, int64_t max, int64_t* out);
// Dotted IPv4 text into a host-order integer (192.168.1.1 = 0xC0A80101).
bool ParseIpv4(const std::string& s, uint32_t* out);
// Six hexadecimal pairs separated by ':' or '-'.
bool ParseMac(const std::string& s, uint8_t out[6]);
// An even number of hexadecimal digits.
bool ParseHexBytes(const std::string& s, std::vector<uint8_t>* out);

}  // namespace funcdecode

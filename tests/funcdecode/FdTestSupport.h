// Helpers for the function-call decoder tests: hand-written byte vectors from hexadecimal text.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

namespace fdtest {

using Bytes = std::vector<uint8_t>;

// "12 34 2D 00" -> bytes (blanks ignored).
inline Bytes FromHex(const std::string& hex) {
    Bytes out;
    std::string digits;
    for (char c : hex)
        if (c != ' ' && c != '\n') digits += c;
    for (size_t i = 0; i + 1 < digits.size(); i += 2)
        out.push_back(static_cast<uint8_t>(std::strtoul(digits.substr(i, 2).c_str(), nullptr, 16)));
    return out;
}

// `n` zero bytes, then the given bytes written at their offsets.
inline Bytes Zeros(size_t n) {
    return Bytes(n, 0);
}
inline void Put(Bytes* b, size_t off, const std::string& hex) {
    Bytes v = FromHex(hex);
    for (size_t i = 0; i < v.size(); ++i)
        b->at(off + i) = v[i];
}
inline void PutText(Bytes* b, size_t off, const std::string& text) {
    for (size_t i = 0; i < text.size(); ++i)
        b->at(off + i) = static_cast<uint8_t>(text[i]);
}

}  // namespace fdtest

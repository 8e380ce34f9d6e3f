// Helpers for the function-call decoder tests: hand-written byte vectors from hexadecimal text.
#pragma once

#include <cstdint>
#include <cstdlib>
#include <initializer_list>
#include <string>
#include <vector>

#include "TestSupport.h"

namespace fdtest {

using Bytes = std::vector<uint8_t>;

using testsupport::Hex;

inline Bytes Zeros(size_t n) {
    return Bytes(n, 0);
}

// One field of a record image: bytes from hexadecimal text, or (when `text` is set) characters.
struct At {
    size_t off;
    std::string hex;
    std::string text = "";
};

// `n` zero bytes with the fields written at their offsets.
inline Bytes Image(size_t n, std::initializer_list<At> fields) {
    Bytes b(n, 0);
    for (const At& f : fields) {
        Bytes v = f.text.empty() ? Hex(f.hex) : Bytes(f.text.begin(), f.text.end());
        for (size_t i = 0; i < v.size(); ++i)
            b.at(f.off + i) = v[i];
    }
    return b;
}

}  // namespace fdtest

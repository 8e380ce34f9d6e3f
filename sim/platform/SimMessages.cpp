#include "SimMessages.h"

#include <arpa/inet.h>

#include <algorithm>
#include <cstring>

#include "core/ByteOrder.h"

namespace psim {

namespace {

void PutText(Bytes* b, size_t at, const std::string& text, size_t width) {
    for (size_t i = 0; i < width && i < text.size(); ++i)
        (*b)[at + i] = static_cast<uint8_t>(text[i]);
}

}  // namespace

Bytes RegisterAnswerBody(const std::string& token, const std::string& ip, uint16_t port,
                         const std::string& pluginId) {
    in_addr a{};
    if (inet_pton(AF_INET, ip.c_str(), &a) != 1) return Bytes();
    Bytes b(72, 0);
    PutText(&b, 2, token, 32);
    memcpy(&b[34], &a.s_addr, 4);  // network order is the written order of the four parts
    PutLe16(&b[38], port);
    PutText(&b, 40, pluginId, 32);
    return b;
}

Bytes LoginAnswerBody(uint16_t interval) {
    Bytes b(4, 0);
    PutLe16(&b[2], interval);
    return b;
}

Bytes ErrorCodeOpt(uint16_t code) {
    Bytes b(2);
    PutLe16(&b[0], code);
    return b;
}

Bytes FunctionCallPayload(uint16_t tag, uint16_t fid, const Bytes& params) {
    // Sized once and filled in place: growing a vector just written through PutLe makes GCC 12
    // at -O2 report a false -Warray-bounds on the copy.
    Bytes p(10 + params.size(), 0);
    PutLe16(&p[0], tag);
    PutLe16(&p[2], fid);
    std::copy(params.begin(), params.end(), p.begin() + 10);
    return p;
}

Bytes FunctionCallBody(uint8_t dataType, const uint8_t mac[6], const Bytes& payload) {
    Bytes b(11 + payload.size(), 0);
    b[2] = dataType;
    memcpy(&b[3], mac, 6);
    PutLe16(&b[9], static_cast<uint16_t>(payload.size()));
    std::copy(payload.begin(), payload.end(), b.begin() + 11);
    return b;
}

Bytes PlugDataBody(uint8_t dataType, const std::string& text, int lenField) {
    Bytes b(5 + text.size(), 0);
    b[2] = dataType;
    PutLe16(&b[3], static_cast<uint16_t>(lenField >= 0 ? lenField : text.size()));
    std::copy(text.begin(), text.end(), b.begin() + 5);
    return b;
}

Bytes JunkBytes(size_t n, std::mt19937& rng) {
    Bytes b(n);
    std::uniform_int_distribution<int> byte(0, 255);
    for (auto& x : b)
        x = static_cast<uint8_t>(byte(rng));
    for (size_t i = 0; i + 2 < n; ++i)
        if (b[i] == kMagicLo && b[i + 1] == kMagicHi) b[i + 2] = 31;
    return b;
}

}  // namespace psim

// Plain bodies of the frames the platform sends, laid out byte by byte.
#pragma once

#include <cstdint>
#include <random>
#include <string>

#include "SimFrame.h"

namespace psim {

// Register answer: [2-33] token, [34-37] login IPv4 in written order, [38-39] port,
// [40-71] plug-in id. Returns an empty body when `ip` is not a dotted IPv4 address.
Bytes RegisterAnswerBody(const std::string& token, const std::string& ip, uint16_t port,
                         const std::string& pluginId);
// Login answer: [2-3] heartbeat interval in seconds.
Bytes LoginAnswerBody(uint16_t interval);
// Option block of an answer: the 16-bit error code.
Bytes ErrorCodeOpt(uint16_t code);

// Function-call payload: [0-1] request tag, [2-3] function ID, [4-9] zero, [10...] parameters.
Bytes FunctionCallPayload(uint16_t tag, uint16_t fid, const Bytes& params);
// Type 20 body: [2] DataType, [3-8] MAC, [9-10] len, [11...] payload.
Bytes FunctionCallBody(uint8_t dataType, const uint8_t mac[6], const Bytes& payload);
// Types 18 and 25 body: [2] DataType, [3-4] len, [5...] text. `lenField` >= 0 overrides the
// length field (for sending a lying length).
Bytes PlugDataBody(uint8_t dataType, const std::string& text, int lenField = -1);

// `n` random bytes in which every frame magic is followed by the ignored type 31, so junk can
// never pass for a forced disconnect or an answer.
Bytes JunkBytes(size_t n, std::mt19937& rng);

}  // namespace psim

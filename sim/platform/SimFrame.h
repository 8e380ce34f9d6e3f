// The platform side of the frame format: building frames the way the platform sends them and
// cutting and decoding the frames the agent sends, over the agent's own codec and cipher
// (platform/Frame.h, platform/Crypto.h). Plain functions over bytes, no I/O.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

namespace psim {

using Bytes = std::vector<uint8_t>;

constexpr uint8_t kMagicLo = 0xCC;  // 0xDDCC, low byte first on the wire
constexpr uint8_t kMagicHi = 0xDD;
constexpr size_t kHeaderSize = 7;

// One frame as cut from the byte stream.
struct RawFrame {
    uint8_t typeByte = 0;  // MsgType in bits 0-4, request flag in bits 5-7
    uint8_t checksum = 0;
    Bytes opt;
    Bytes data;   // ciphertext as received
    Bytes bytes;  // the whole frame as received
    uint8_t MsgType() const { return typeByte & 31; }
    uint8_t ReqFlag() const { return typeByte >> 5; }
};

// A received frame with its data block decrypted and checked.
struct DecodedFrame {
    RawFrame raw;
    bool decrypted = false;   // data block present and a whole number of AES blocks
    bool paddingOk = false;   // pad bytes consistent
    bool checksumOk = false;  // 8-bit sum over DataLen, option block and plain body
    Bytes plain;              // plain body without padding (or decrypted bytes if padding bad)
};

// The frame cipher with the KEY text `key`. Encrypt pads; Decrypt keeps the padding and needs a
// whole number of blocks. Both return false on failure.
bool SimEncrypt(const std::string& key, const Bytes& plain, Bytes* cipher);
bool SimDecrypt(const std::string& key, const Bytes& cipher, Bytes* plain);

uint8_t FrameChecksum(uint16_t dataLen, const Bytes& opt, const Bytes& plain);

// A complete frame: header, option block, encrypted body (none when `plain` is empty).
// `checksumOverride` >= 0 replaces the computed checksum (for sending a corrupt frame).
Bytes BuildFrame(const std::string& key, uint8_t msgType, uint8_t reqFlag, const Bytes& opt,
                 const Bytes& plain, int checksumOverride = -1);
// A frame with a given data block (not encrypted here) and checksum.
Bytes BuildRawFrame(uint8_t msgType, uint8_t reqFlag, const Bytes& opt, const Bytes& data,
                    uint8_t checksum);

DecodedFrame DecodeFrame(const std::string& key, const RawFrame& raw);

// Cuts frames out of a TCP byte stream. Bytes before a magic are counted as junk.
class FrameCutter {
public:
    void Append(const uint8_t* p, size_t n);
    // Takes the next complete frame. Returns false when none is complete yet.
    bool Next(RawFrame* out);
    // Junk bytes discarded since the last call.
    size_t TakeSkipped();

private:
    Bytes buf_;
    size_t skipped_ = 0;
};

// Hex helpers for commands and output: "0a0B" -> {0x0a,0x0b}; spaces ignored. False on bad text.
bool ParseHex(const std::string& text, Bytes* out);
std::string ToHex(const Bytes& b);
std::string ToHex(const uint8_t* p, size_t n);

}  // namespace psim

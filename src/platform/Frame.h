// The platform frame as plain functions over bytes: header layout, checksum, building a frame
// from a plain body and taking one apart. No sockets here, so tests and the platform simulator
// use the same codec as the agent.
//
// Layout: 7-byte clear header, clear option block, AES-128-CBC data block.
//   0-1 magic 0xDDCC (CC DD on the wire)    2 Type = MsgType (bits 0-4) | request flag << 5
//   3   OptLen    4 Checksum    5-6 DataLen (little-endian)    7.. option block, data block
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

constexpr uint16_t kFrameMagic = 0xDDCC;
constexpr uint8_t kFrameMagicLo = 0xCC;  // first byte on the wire
constexpr uint8_t kFrameMagicHi = 0xDD;
constexpr size_t kFrameHeaderLen = 7;
constexpr size_t kMaxOptLen = 255;

struct FrameHeader {
    uint8_t msgType = 0;  // Type & 31
    uint8_t reqFlag = 0;  // Type >> 5
    uint8_t optLen = 0;
    uint8_t checksum = 0;
    uint16_t dataLen = 0;
};

// Writes the 7 header bytes.
void PutFrameHeader(uint8_t* out, const FrameHeader& h);
// Reads a header from `len` bytes at `p`: 0, or -1 when fewer than 7 bytes or no magic.
int ParseFrameHeader(const uint8_t* p, size_t len, FrameHeader* h);

// 8-bit sum of the two DataLen bytes as sent, the option block and the plain body (before
// encryption and padding).
uint8_t FrameChecksum(uint16_t dataLen, const uint8_t* opt, size_t optLen, const uint8_t* plain,
                      size_t plainLen);

// A whole frame from an option block and a plain body: the body is padded and encrypted with
// the KEY text buffer `key`, the checksum computed, the header written. plainLen 0 (or a null
// body) sends no data block (DataLen 0). 0, or -1 (option block over 255 bytes, body too long
// for a 16-bit DataLen, encryption failure).
int BuildFrame(const char* key, uint8_t msgType, uint8_t reqFlag, const uint8_t* opt, size_t optLen,
               const uint8_t* plain, size_t plainLen, std::vector<uint8_t>* out);

// The plain body of a data block: decrypts the whole blocks of `cipher` into `plain` (resized to
// the decrypted length, at least one block is kept spare internally). 0 or -1.
int DecryptDataBlock(const char* key, const uint8_t* cipher, size_t len,
                     std::vector<uint8_t>* plain);
// Body length once the padding is dropped (as many bytes as the last plain byte says): 0, or -1
// for an empty block or padding that claims more than the block holds.
int DropPadding(const uint8_t* plain, size_t len, size_t* bodyLen);

// One frame taken apart: header, option block, ciphertext and, when there was a data block,
// the plain body with its padding dropped and the result of the checksum test.
struct DecodedFrame {
    FrameHeader header;
    std::vector<uint8_t> opt;
    std::vector<uint8_t> cipher;
    std::vector<uint8_t> body;  // plain, padding dropped (empty without a data block)
    bool bodyOk = false;        // decryption and padding were sound
    bool checksumOk = false;
};
// Decodes the frame at the start of `p`: the number of bytes it takes (> 0), 0 when more bytes
// are needed, -1 when `p` does not start with the magic.
long DecodeFrame(const char* key, const uint8_t* p, size_t len, DecodedFrame* f);

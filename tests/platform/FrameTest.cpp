// Frame codec against byte vectors written by hand from the frame layout.
#include <gtest/gtest.h>

#include <cstring>
#include <vector>

#include "platform/Crypto.h"
#include "platform/Frame.h"

namespace {

using Bytes = std::vector<uint8_t>;

struct KeyBuf {
    char text[32] = {0};
    KeyBuf() { memcpy(text, "plugkey", 7); }
};

TEST(Frame, HeartbeatAtTime01020304) {
    KeyBuf key;
    const uint8_t opt[4] = {0x04, 0x03, 0x02, 0x01};
    Bytes f;
    ASSERT_EQ(0, BuildFrame(key.text, 1, 1, opt, 4, nullptr, 0, &f));
    const Bytes want = {0xCC, 0xDD, 0x21, 0x04, 0x0A, 0x00, 0x00, 0x04, 0x03, 0x02, 0x01};
    EXPECT_EQ(want, f);
}

TEST(Frame, EmptyReplyWithCode11IsNineBytes) {
    KeyBuf key;
    const uint8_t code[2] = {0x0B, 0x00};
    Bytes f;
    ASSERT_EQ(0, BuildFrame(key.text, 25, 0, code, 2, nullptr, 0, &f));
    const Bytes want = {0xCC, 0xDD, 0x19, 0x02, 0x0B, 0x00, 0x00, 0x0B, 0x00};
    EXPECT_EQ(want, f);
}

TEST(Frame, BodiesEncryptToWholeBlocks) {
    KeyBuf key;
    struct {
        size_t plain, dataLen;
    } rows[] = {{16, 32}, {25, 32}, {53, 64}, {1, 16}};
    for (auto r : rows) {
        Bytes body(r.plain, 0x5A);
        Bytes f;
        ASSERT_EQ(0, BuildFrame(key.text, 17, 1, nullptr, 0, body.data(), body.size(), &f));
        ASSERT_EQ(7 + r.dataLen, f.size());
        EXPECT_EQ(r.dataLen & 0xFF, f[5]);
        EXPECT_EQ(r.dataLen >> 8, f[6]);
    }
}

TEST(Frame, ChecksumSumsDataLenBytesOptionAndPlainBody) {
    // DataLen 0x0130 -> 0x30 + 0x01; option 0xFF 0x02; body 0x10 0x20.
    const uint8_t opt[2] = {0xFF, 0x02};
    const uint8_t body[2] = {0x10, 0x20};
    EXPECT_EQ(0x62, FrameChecksum(0x0130, opt, 2, body, 2));
    EXPECT_EQ(0x00, FrameChecksum(0, nullptr, 0, nullptr, 0));
}

// Register frame: PIN "12345678", SN "AB", MAC 00 11 22 33 44 55. Option block: 3 zero bytes
// and the first 12 PIN bytes; body 00 00 02 'A' 'B' MAC and 32 zero bytes = 43 bytes -> 48.
// Checksum: 0x30 + (0x31..0x38 = 420) + (2 + 0x41 + 0x42 + 255 = 388) = 856 = 0x358 -> 0x58.
TEST(Frame, RegisterFrameLayout) {
    KeyBuf key;
    const uint8_t opt[15] = {0, 0, 0, '1', '2', '3', '4', '5', '6', '7', '8', 0, 0, 0, 0};
    Bytes body(43, 0);
    body[2] = 2;
    body[3] = 'A';
    body[4] = 'B';
    const uint8_t mac[6] = {0x00, 0x11, 0x22, 0x33, 0x44, 0x55};
    memcpy(&body[5], mac, 6);
    Bytes f;
    ASSERT_EQ(0, BuildFrame(key.text, 9, 1, opt, 15, body.data(), body.size(), &f));
    const Bytes head = {0xCC, 0xDD, 0x29, 0x0F, 0x58, 0x30, 0x00};
    EXPECT_EQ(head, Bytes(f.begin(), f.begin() + 7));
    EXPECT_EQ(Bytes(opt, opt + 15), Bytes(f.begin() + 7, f.begin() + 22));
    ASSERT_EQ(7u + 15 + 48, f.size());
    DecodedFrame d;
    ASSERT_EQ(static_cast<long>(f.size()), DecodeFrame(key.text, f.data(), f.size(), &d));
    EXPECT_TRUE(d.checksumOk);
    EXPECT_EQ(body, d.body);
}

TEST(Frame, ParseHeaderChecksBoundsAndMagic) {
    FrameHeader h;
    const uint8_t good[7] = {0xCC, 0xDD, 0x34, 0x02, 0x99, 0x10, 0x01};
    ASSERT_EQ(0, ParseFrameHeader(good, 7, &h));
    EXPECT_EQ(20, h.msgType);
    EXPECT_EQ(1, h.reqFlag);
    EXPECT_EQ(2, h.optLen);
    EXPECT_EQ(0x99, h.checksum);
    EXPECT_EQ(0x0110, h.dataLen);
    EXPECT_EQ(-1, ParseFrameHeader(good, 6, &h));
    const uint8_t swapped[7] = {0xDD, 0xCC, 0x34, 0, 0, 0, 0};
    EXPECT_EQ(-1, ParseFrameHeader(swapped, 7, &h));
    EXPECT_EQ(-1, ParseFrameHeader(nullptr, 7, &h));
}

TEST(Frame, BuildRefusesOversizeOptionBlock) {
    KeyBuf key;
    Bytes opt(256, 1);
    Bytes f;
    EXPECT_EQ(-1, BuildFrame(key.text, 25, 0, opt.data(), opt.size(), nullptr, 0, &f));
}

TEST(Frame, DropPaddingRefusesPaddingLongerThanTheBlock) {
    size_t n = 0;
    const uint8_t ok[4] = {1, 2, 2, 2};
    EXPECT_EQ(0, DropPadding(ok, 4, &n));
    EXPECT_EQ(2u, n);
    const uint8_t all[2] = {2, 2};
    EXPECT_EQ(0, DropPadding(all, 2, &n));
    EXPECT_EQ(0u, n);
    const uint8_t bad[2] = {0, 3};
    EXPECT_EQ(-1, DropPadding(bad, 2, &n));
    EXPECT_EQ(-1, DropPadding(bad, 0, &n));
}

TEST(Frame, DecodeNeedsTheWholeFrame) {
    KeyBuf key;
    const uint8_t body[5] = {0, 0, 7, 0, 0};
    Bytes f;
    ASSERT_EQ(0, BuildFrame(key.text, 17, 1, nullptr, 0, body, 5, &f));
    DecodedFrame d;
    for (size_t n = 0; n < f.size(); ++n)
        EXPECT_EQ(0, DecodeFrame(key.text, f.data(), n, &d)) << n;
    EXPECT_EQ(-1, DecodeFrame(key.text, f.data() + 1, f.size() - 1, &d));
}

}  // namespace

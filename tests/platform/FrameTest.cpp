// The frame codec and its cipher against bytes written by hand from the frame layout (header
// CC DD, Type = MsgType | flag << 5, OptLen, Checksum, DataLen little-endian) and ciphertexts
// made with the OpenSSL command-line tool, for whichever crypto back end the build selected.
// Whole frames with their padding are checked byte for byte by the senders' link test.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/Crypto.h"
#include "platform/Frame.h"

namespace {

using Bytes = std::vector<uint8_t>;

const char kKey[32] = "plugkey";  // the KEY text in its zero-filled buffer

// openssl enc -aes-128-cbc -nopad -K 706c75676b6579000000000000000000 -iv 0..0 over the padded
// plain bytes: 00..0F (a whole padding block follows) and "hello" (11 x 0x0B).
const Bytes kCipher16 = {0x19, 0xcb, 0x54, 0x8a, 0xf4, 0x97, 0xc7, 0xaa, 0xfd, 0xdc, 0xdd,
                         0x30, 0x15, 0x44, 0x25, 0x94, 0x5a, 0xb5, 0xd8, 0x0e, 0x3e, 0x85,
                         0xfc, 0x72, 0x6d, 0x78, 0x33, 0x48, 0x36, 0x3f, 0x11, 0x18};
const Bytes kCipherHello = {0x53, 0x14, 0x9f, 0xe9, 0xc5, 0x01, 0xf7, 0xb5,
                            0xf8, 0x75, 0x09, 0x28, 0x40, 0xab, 0x4f, 0xc8};

TEST(Cipher, MatchesTheCommandLineTool) {
    char longKey[32] = "plugkey";  // only the first 16 bytes of the buffer are the key
    memcpy(longKey + 16, "ignored-tail", 12);
    const Bytes plain16 = {0, 1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15};
    const Bytes hello = {'h', 'e', 'l', 'l', 'o'};
    for (const char* k : {kKey, static_cast<const char*>(longKey)}) {
        for (const auto& r :
             {std::make_pair(plain16, kCipher16), std::make_pair(hello, kCipherHello)}) {
            Bytes out(32, 0);
            size_t outLen = 0;
            ASSERT_EQ(0, aes_encrypt(k, r.first.data(), out.data(), r.first.size(), &outLen));
            out.resize(outLen);
            EXPECT_EQ(r.second, out) << r.first.size();
        }
    }
    // Decryption keeps the padding, takes whole blocks only and zero-fills a spare block.
    uint8_t out[48];
    memset(out, 0xAA, sizeof out);
    size_t outLen = 0;
    ASSERT_EQ(0, aes_decrypt(kKey, kCipher16.data(), out, 32, &outLen));
    EXPECT_EQ(32u, outLen);
    for (int i = 0; i < 48; ++i)
        EXPECT_EQ(i < 16 ? i : i < 32 ? 0x10 : 0, out[i]) << i;
    ASSERT_EQ(0, aes_decrypt(kKey, kCipher16.data(), out, 20, &outLen));  // one block of 20
    EXPECT_EQ(16u, outLen);
    ASSERT_EQ(0, aes_decrypt(kKey, kCipher16.data(), out, 7, &outLen));
    EXPECT_EQ(0u, outLen);
    EXPECT_EQ(-1, aes_encrypt(kKey, nullptr, out, 1, &outLen));
    EXPECT_EQ(-1, aes_decrypt(nullptr, out, out, 16, &outLen));
}

TEST(Decode, HeaderPaddingAndWholeFrame) {
    FrameHeader h;
    const uint8_t good[7] = {0xCC, 0xDD, 0x34, 0x02, 0x99, 0x10, 0x01};
    ASSERT_EQ(0, ParseFrameHeader(good, 7, &h));
    EXPECT_EQ(20, h.msgType);
    EXPECT_EQ(1, h.reqFlag);
    EXPECT_EQ(2, h.optLen);
    EXPECT_EQ(0x99, h.checksum);
    EXPECT_EQ(0x0110, h.dataLen);
    const uint8_t swapped[7] = {0xDD, 0xCC, 0x34, 0, 0, 0, 0};
    EXPECT_EQ(-1, ParseFrameHeader(good, 6, &h));
    EXPECT_EQ(-1, ParseFrameHeader(swapped, 7, &h));
    struct {
        Bytes block;
        int result;
        size_t bodyLen;
    } pads[] = {{{1, 2, 2, 2}, 0, 2}, {{2, 2}, 0, 0}, {{0, 3}, -1, 0}, {{}, -1, 0}};
    for (const auto& p : pads) {
        size_t n = 0;
        EXPECT_EQ(p.result, DropPadding(p.block.data(), p.block.size(), &n));
        EXPECT_EQ(p.bodyLen, n);
    }
    const uint8_t body[5] = {0, 0, 7, 0, 0};
    Bytes f;
    ASSERT_EQ(0, BuildFrame(kKey, 17, 1, nullptr, 0, body, 5, &f));
    DecodedFrame d;
    for (size_t n = 0; n < f.size(); ++n)
        EXPECT_EQ(0, DecodeFrame(kKey, f.data(), n, &d)) << n;
    EXPECT_EQ(-1, DecodeFrame(kKey, f.data() + 1, f.size() - 1, &d));
    EXPECT_EQ(-1, BuildFrame(kKey, 25, 0, Bytes(256, 1).data(), 256, nullptr, 0, &f));
}

// An empty update, as a file's last short piece may be. Files read in pieces are checked against
// md5sum by the update tests.
TEST(Md5, EmptyInputGivesTheKnownLowerCaseDigest) {
    char hex[kMd5HexSize];
    ASSERT_EQ(0, Md5Hex("", 0, hex));
    EXPECT_STREQ("d41d8cd98f00b204e9800998ecf8427e", hex);
}

}  // namespace

// The same vectors run against whichever crypto back end the build selected.
#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "platform/Crypto.h"

namespace {

// KEY text "plugkey" in its zero-filled 32-byte buffer.
struct KeyBuf {
    char text[32] = {0};
    KeyBuf() { memcpy(text, "plugkey", 7); }
};

// Ciphertexts produced by hand with the OpenSSL command-line tool:
//   openssl enc -aes-128-cbc -nopad -K 706c75676b6579000000000000000000
//       -iv 00000000000000000000000000000000
// over the padded plain bytes.
const uint8_t kCipher16[32] = {0x19, 0xcb, 0x54, 0x8a, 0xf4, 0x97, 0xc7, 0xaa, 0xfd, 0xdc, 0xdd,
                               0x30, 0x15, 0x44, 0x25, 0x94, 0x5a, 0xb5, 0xd8, 0x0e, 0x3e, 0x85,
                               0xfc, 0x72, 0x6d, 0x78, 0x33, 0x48, 0x36, 0x3f, 0x11, 0x18};
const uint8_t kCipherHello[16] = {0x53, 0x14, 0x9f, 0xe9, 0xc5, 0x01, 0xf7, 0xb5,
                                  0xf8, 0x75, 0x09, 0x28, 0x40, 0xab, 0x4f, 0xc8};

TEST(Crypto, PaddedLengthAlwaysAddsOneToSixteenBytes) {
    struct {
        size_t len, padded;
    } rows[] = {{0, 16}, {1, 16}, {15, 16}, {16, 32}, {25, 32}, {53, 64}, {8111, 8112}};
    for (auto r : rows)
        EXPECT_EQ(r.padded, AesPaddedLen(r.len)) << r.len;
}

// Sixteen bytes encrypt to 32 (a whole padding block); five bytes are padded with 11 x 0x0B.
TEST(Crypto, EncryptMatchesTheCommandLineTool) {
    KeyBuf key;
    uint8_t plain16[16];
    for (int i = 0; i < 16; ++i)
        plain16[i] = static_cast<uint8_t>(i);
    struct {
        const uint8_t* plain;
        size_t len;
        const uint8_t* cipher;
        size_t cipherLen;
    } rows[] = {{plain16, 16, kCipher16, 32},
                {reinterpret_cast<const uint8_t*>("hello"), 5, kCipherHello, 16}};
    for (const auto& r : rows) {
        uint8_t out[32] = {0};
        size_t outLen = 0;
        ASSERT_EQ(0, aes_encrypt(key.text, r.plain, out, r.len, &outLen));
        EXPECT_EQ(r.cipherLen, outLen);
        EXPECT_EQ(0, memcmp(r.cipher, out, r.cipherLen)) << r.len;
    }
}

TEST(Crypto, DecryptKeepsPaddingAndZeroFillsTheSpareBlock) {
    KeyBuf key;
    uint8_t out[48];
    memset(out, 0xAA, sizeof out);
    size_t outLen = 0;
    ASSERT_EQ(0, aes_decrypt(key.text, kCipher16, out, sizeof kCipher16, &outLen));
    EXPECT_EQ(32u, outLen);
    for (int i = 0; i < 16; ++i)
        EXPECT_EQ(i, out[i]);
    for (int i = 16; i < 32; ++i)
        EXPECT_EQ(0x10, out[i]);
    for (int i = 32; i < 48; ++i)
        EXPECT_EQ(0, out[i]);
}

TEST(Crypto, DecryptWorksOnWholeBlocksOnly) {
    KeyBuf key;
    // 20 bytes given: only the first block is decrypted, the rest is never read.
    std::vector<uint8_t> in(kCipher16, kCipher16 + 20);
    uint8_t out[32];
    size_t outLen = 99;
    ASSERT_EQ(0, aes_decrypt(key.text, in.data(), out, in.size(), &outLen));
    EXPECT_EQ(16u, outLen);
    EXPECT_EQ(0, out[0]);
    EXPECT_EQ(15, out[15]);
    // Fewer than 16 bytes: nothing to decrypt.
    ASSERT_EQ(0, aes_decrypt(key.text, in.data(), out, 7, &outLen));
    EXPECT_EQ(0u, outLen);
}

TEST(Crypto, KeyIsOnlyTheFirstSixteenBytesOfTheBuffer) {
    KeyBuf a;
    KeyBuf b;
    memcpy(b.text + 16, "ignored-tail", 12);
    uint8_t outA[16], outB[16];
    size_t n = 0;
    const uint8_t plain[3] = {1, 2, 3};
    ASSERT_EQ(0, aes_encrypt(a.text, plain, outA, 3, &n));
    ASSERT_EQ(0, aes_encrypt(b.text, plain, outB, 3, &n));
    EXPECT_EQ(0, memcmp(outA, outB, 16));
}

TEST(Crypto, RoundTripOfEveryLengthUpToThreeBlocks) {
    KeyBuf key;
    for (size_t len = 0; len <= 48; ++len) {
        std::vector<uint8_t> plain(len + 1);  // never empty: a missing input is an error
        for (size_t i = 0; i < len; ++i)
            plain[i] = static_cast<uint8_t>(i * 7 + 1);
        std::vector<uint8_t> c(AesPaddedLen(len));
        size_t cLen = 0;
        ASSERT_EQ(0, aes_encrypt(key.text, plain.data(), c.data(), len, &cLen));
        std::vector<uint8_t> p(cLen + 16);
        size_t pLen = 0;
        ASSERT_EQ(0, aes_decrypt(key.text, c.data(), p.data(), cLen, &pLen));
        ASSERT_EQ(cLen, pLen);
        EXPECT_EQ(0, memcmp(plain.data(), p.data(), len)) << len;
        EXPECT_EQ(cLen - len, p[pLen - 1]) << len;
    }
}

TEST(Crypto, MissingBuffersFail) {
    KeyBuf key;
    uint8_t buf[32];
    size_t n = 0;
    EXPECT_EQ(-1, aes_encrypt(key.text, nullptr, buf, 1, &n));
    EXPECT_EQ(-1, aes_encrypt(key.text, buf, nullptr, 1, &n));
    EXPECT_EQ(-1, aes_decrypt(key.text, nullptr, buf, 16, &n));
    EXPECT_EQ(-1, aes_decrypt(nullptr, buf, buf, 16, &n));
}

TEST(Crypto, Md5HexIsLowerCase) {
    struct {
        std::string in, hex;
    } rows[] = {{"", "d41d8cd98f00b204e9800998ecf8427e"},
                {"abc", "900150983cd24fb0d6963f7d28e17f72"}};
    for (const auto& r : rows) {
        char hex[kMd5HexSize];
        ASSERT_EQ(0, Md5Hex(r.in.data(), r.in.size(), hex));
        EXPECT_EQ(r.hex, std::string(hex));
    }
}

TEST(Crypto, Md5StreamInPiecesEqualsOneShot) {
    Md5Stream s;
    ASSERT_EQ(0, s.Update("a", 1));
    ASSERT_EQ(0, s.Update("bc", 2));
    char hex[kMd5HexSize];
    ASSERT_EQ(0, s.FinalHex(hex));
    EXPECT_STREQ("900150983cd24fb0d6963f7d28e17f72", hex);
    EXPECT_EQ(-1, s.FinalHex(hex));  // final once
}

}  // namespace

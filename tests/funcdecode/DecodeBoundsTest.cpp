// Short, cut and random answers: the decoder reads only the bytes it is given (each input sits
// in a heap block of exactly its size, so the address sanitizer catches any over-read) and says
// what is missing.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "FdTestSupport.h"
#include "FuncDecode.h"

namespace {

using fdtest::Bytes;
using fdtest::Hex;
using fdtest::Zeros;

// Decodes a copy of the first `len` bytes held in a block of exactly that size.
std::string DecodeExact(const Bytes& b, size_t len) {
    std::unique_ptr<uint8_t[]> block(new uint8_t[len]);
    std::copy(b.begin(), b.begin() + static_cast<long>(len), block.get());
    return DecodeFunctionAnswer(block.get(), len);
}

Bytes Answer(uint16_t id, size_t n) {
    Bytes b = Zeros(n);
    b[2] = static_cast<uint8_t>(id);
    b[3] = static_cast<uint8_t>(id >> 8);
    return b;
}

bool Contains(const std::string& s, const std::string& part) {
    return s.find(part) != std::string::npos;
}

// Every function's complete answer, cut at every length: a cut answer is reported as short or
// truncated, never decoded as if complete.
TEST(DecodeBounds, EveryPrefixOfCompleteAnswersIsReportedCut) {
    struct Full {
        uint16_t id;
        Bytes bytes;
    };
    Bytes devs = Answer(39, 8 + 2 * 34);
    devs[6] = 2;
    Bytes adj = Answer(42, 10 + 42);
    adj[6] = 1;
    Bytes wans = Answer(4, 8 + 228);
    wans[6] = 1;
    const Full fulls[] = {
        {1, Answer(1, 70)},
        {2, Answer(2, 301)},
        {3, Answer(3, 234)},
        {4, wans},
        {10, Answer(10, 20)},
        {16, Answer(16, 126)},
        {28, Answer(28, 198)},
        {38, Answer(38, 40)},
        {39, devs},
        {42, adj},
        {44, Answer(44, 14)},
        {58, Answer(58, 22)},
        {49, Hex("00 00 31 00 00 00 02 00 01 00 01 00 01 01 00 01 00")},
        {9, Hex("00 00 09 00 00 00 03 00 61 0A 62")},
        {36, Hex("00 00 24 00 00 00 02 00 54 56")},
        {80, Hex("00 00 50 00 00 00 06 00 00 11 22 33 44 55")},
    };
    for (const Full& f : fulls) {
        SCOPED_TRACE(f.id);
        std::string whole = DecodeExact(f.bytes, f.bytes.size());
        EXPECT_FALSE(Contains(whole, "truncated")) << whole;
        EXPECT_FALSE(Contains(whole, "extra")) << whole;
        for (size_t len = 0; len < f.bytes.size(); ++len) {
            std::string text = DecodeExact(f.bytes, len);
            if (len < 6) {
                EXPECT_EQ(0u, text.find("short answer: " + std::to_string(len) + " bytes"));
            } else {
                EXPECT_TRUE(Contains(text, "truncated: ")) << len << "\n" << text;
            }
        }
    }
}

TEST(DecodeBounds, CountsLargerThanTheBytesPresentStopAtTheLastWholeRecord) {
    Bytes devs = Answer(39, 8 + 34 + 10);
    devs[6] = 0xFF;
    devs[7] = 0xFF;
    std::string text = DecodeExact(devs, devs.size());
    EXPECT_TRUE(Contains(text, "count: 65535\ndevice[0]:\n")) << text;
    EXPECT_TRUE(Contains(text, "truncated: device[1] needs bytes 42-75, answer has 52 bytes\n"));
    EXPECT_FALSE(Contains(text, "device[2]"));

    Bytes adj = Answer(42, 10);
    adj[9] = 0x80;  // a 32-bit count of 2^31
    text = DecodeExact(adj, adj.size());
    EXPECT_TRUE(Contains(text,
                         "count: 2147483648\n"
                         "truncated: network[0] needs bytes 10-51, answer has 10 bytes\n"))
        << text;

    Bytes name = Hex("00 00 24 00 00 00 40 00 54 56");
    text = DecodeExact(name, name.size());
    EXPECT_TRUE(Contains(text,
                         "length: 64\ntruncated: data needs bytes 8-71, answer has 10 "
                         "bytes\nname: \"TV\"\n"))
        << text;

    Bytes overview = Hex("00 00 31 00 00 00 FF 00 01");
    text = DecodeExact(overview, overview.size());
    EXPECT_TRUE(Contains(text, "lan_count: 255\n  lan[0]: 1\ntruncated: lan[1] needs byte 9"))
        << text;
}

TEST(DecodeBounds, NullPointerIsAShortAnswer) {
    EXPECT_EQ("short answer: 0 bytes, a header needs 6\n", DecodeFunctionAnswer(nullptr, 0));
    EXPECT_EQ("short answer: 0 bytes, a header needs 6\n", DecodeFunctionAnswer(nullptr, 40));
}

// Random bytes for every function ID of the table and around it: each decodes to a header and
// lines, without reading past its block.
TEST(DecodeBounds, RandomAnswersNeverOverRead) {
    std::mt19937 rng(20261122);
    std::uniform_int_distribution<int> byte(0, 255);
    std::uniform_int_distribution<size_t> length(0, 400);
    size_t decoded = 0;
    for (int round = 0; round < 20; ++round) {
        for (uint16_t id = 0; id <= 90; ++id) {
            size_t len = length(rng);
            Bytes b(len);
            for (uint8_t& x : b)
                x = static_cast<uint8_t>(byte(rng));
            // Small counts and lengths reach the record paths more often than random ones.
            if (len >= 8 && round % 2 == 0) {
                b[6] = static_cast<uint8_t>(byte(rng) % 4);
                b[7] = 0;
            }
            if (len >= 4) {
                b[2] = static_cast<uint8_t>(id);
                b[3] = 0;
            }
            std::string text = DecodeExact(b, len);
            ASSERT_FALSE(text.empty());
            EXPECT_EQ('\n', text.back());
            if (len < 6) {
                EXPECT_EQ(0u, text.find("short answer: "));
            } else {
                EXPECT_EQ(0u, text.find("answer: " + std::to_string(len) + " bytes\ntag: "));
                ++decoded;
            }
        }
    }
    EXPECT_GT(decoded, 1500u);
}

}  // namespace

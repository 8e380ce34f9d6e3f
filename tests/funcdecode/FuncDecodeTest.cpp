// The simulator's function-call text tool, smoke level: hand-written answers decode to the expected
// text, cut and random answers are never over-read, operator lines encode or give a reason.
#include <gtest/gtest.h>

#include <memory>
#include <random>

#include "../functions/FnTestSupport.h"
#include "FuncDecode.h"

namespace {

using Bytes = std::vector<uint8_t>;
using testsupport::Hex;

// Decodes a copy of the first `len` bytes held in a heap block of exactly that size, so the
// address sanitizer catches any over-read.
std::string DecodeExact(const Bytes& b, size_t len) {
    std::unique_ptr<uint8_t[]> block(new uint8_t[len]);
    std::copy(b.begin(), b.begin() + static_cast<long>(len), block.get());
    return DecodeFunctionAnswer(block.get(), len);
}

struct DecodeCase {
    Bytes answer;
    std::string text;  // whole, or from the line after "result:" when it starts with a field
};

// clang-format off
const DecodeCase kDecodeCases[] = {
    {Hex("12 34 2D 00 00 00 AA"),
     "answer: 7 bytes\ntag: 12 34\nfunction: 45 (set DNS servers)\nresult: 0 (success)\n"
     "extra: 1 bytes after byte 5: AA\n"},
    {Hex("12 34 59 00 07 00"),
     "answer: 6 bytes\ntag: 12 34\nfunction: 89\nresult: 7 (function not supported)\n"},
    {Hex("AB CD 0E 00 FE FF"), "answer: 6 bytes\ntag: AB CD\nfunction: 14 (SSID switch)\n"
     "result: 65534 (status from the router, -2 as signed)\n"},
    {Hex("12 34"), "short answer: 2 bytes, a header needs 6: 12 34\n"},
    {Hex("12 34 07 00 00 00 00 00 00 00 01 00 00 00"), "bytes: 4294967296\n"},
    {Hex("12 34 2C 00 05 00 08 08 08 08 08 08 04 04"), "dns1: 8.8.8.8\ndns2: 8.8.4.4\n"},
    {fntest::Image(76).At(0, Hex("12 34 27 00 00 00 02 00 AA BB CC 00 11 22")).Text(14, "Phone")
         .At(30, Hex("01 00 01 01 00 C4 56 04 C0 A8 01 14 AA BB CC 00 11 33"))
         .At(64, Hex("00 00 01 00 02 00 E8 03 C0 A8 01 15")).bytes, "count: 2\n"
     "device[0]:\n  mac: AA:BB:CC:00:11:22\n  name: \"Phone\"\n  conn: 1\n  band: 0\n"
     "  mode: 1\n  access: 1\n  attribute: 0\n  rssi: -60\n  rate: 1110\n  ip: 192.168.1.20\n"
     "device[1]:\n  mac: AA:BB:CC:00:11:33\n  name: \"\"\n  conn: 0\n  band: 0\n"
     "  mode: 1\n  access: 0\n  attribute: 2\n  rssi: 0\n  rate: 1000\n  ip: 192.168.1.21\n"},
    {Hex("12 34 09 00 00 00 0D 00 6F 6B 20 31 0A 0A 6C 6F 73 73 09 30 0A"),
     "length: 13\ntext: 13 bytes\n  | ok 1\n  | loss\\x090\n"},
};
// clang-format on

TEST(Decode, RepresentativeLayouts) {
    for (const DecodeCase& c : kDecodeCases) {
        std::string text = DecodeExact(c.answer, c.answer.size());
        if (c.text.find("answer: ") == std::string::npos)  // fields only: the header goes
            text = text.substr(text.find('\n', text.find("\nresult: ") + 1) + 1);
        EXPECT_EQ(c.text, text) << ::testing::PrintToString(c.answer);
    }
}

Bytes Answer(uint16_t id, size_t n, uint8_t count = 0) {
    Bytes b(n, 0);
    b[2] = static_cast<uint8_t>(id);
    b[3] = static_cast<uint8_t>(id >> 8);
    if (n > 6) b[6] = count;
    return b;
}

// Every layout's complete answer, cut at every length, is reported as short or truncated.
TEST(DecodeBounds, EveryPrefixOfCompleteAnswersIsReportedCut) {
    const Bytes fulls[] = {
        Answer(1, 70),  Answer(2, 301),      Answer(3, 234), Answer(4, 8 + 228, 1),
        Answer(10, 20), Answer(16, 126),     Answer(28, 198), Answer(38, 40),
        Answer(44, 14), Answer(39, 76, 2),   Answer(42, 52, 1), Answer(58, 22),
        Hex("00 00 31 00 00 00 02 00 01 00 01 00 01 01 00 01 00"),
        Hex("00 00 09 00 00 00 03 00 61 0A 62"),     Hex("00 00 24 00 00 00 02 00 54 56"),
        Hex("00 00 50 00 00 00 06 00 00 11 22 33 44 55"),
    };
    for (const Bytes& f : fulls) {
        SCOPED_TRACE(f[2]);
        std::string whole = DecodeExact(f, f.size());
        EXPECT_EQ(std::string::npos, whole.find("truncated")) << whole;
        EXPECT_EQ(std::string::npos, whole.find("extra")) << whole;
        for (size_t len = 0; len < f.size(); ++len) {
            std::string text = DecodeExact(f, len);
            if (len < 6) {
                EXPECT_EQ(0u, text.find("short answer: " + std::to_string(len) + " bytes"));
            } else {
                EXPECT_NE(std::string::npos, text.find("truncated: ")) << len << "\n" << text;
            }
        }
    }
    EXPECT_EQ("short answer: 0 bytes, a header needs 6\n", DecodeFunctionAnswer(nullptr, 40));
}

// Random bytes for every function ID of the table and around it, cut at every length, decode to
// a header and lines; the first pass has small counts to reach the record paths.
TEST(DecodeBounds, RandomAnswersNeverOverRead) {
    std::mt19937 rng(20261122);
    Bytes b(400);
    for (int pass = 0; pass < 2 * 91; ++pass) {
        for (uint8_t& x : b)
            x = static_cast<uint8_t>(rng());
        b[2] = static_cast<uint8_t>(pass % 91);
        b[3] = 0;
        if (pass < 91) {
            b[6] %= 4;
            b[7] = 0;
        }
        for (size_t len = 0; len <= b.size(); ++len) {
            std::string text = DecodeExact(b, len);
            ASSERT_EQ(0u, text.find(len < 6 ? "short answer: " : "answer: ")) << len;
            ASSERT_EQ('\n', text.back());
        }
    }
}

// Good lines give their parameter bytes, and the same arguments after the ID give the whole body;
// bad ones a reason and leave the output alone. Texts stop exactly at their room.
TEST(Encode, CallLines) {
    const std::string name64 = "37 mac=AA:BB:CC:00:11:22 name=" + std::string(64, 'a');
    const std::string json1024 = "87 json=\"" + std::string(1022, 'j') + "\"";
    Bytes name63 = Hex("AA BB CC 00 11 22"), json1023 = {0xFF, 0x03, '"'};  // 16-bit length
    name63.resize(6 + 63, 'a');
    name63.push_back(0);
    json1023.resize(3 + 1021, 'j');
    json1023.push_back('"');
    const struct {
        std::string line;
        Bytes params;
        const char* error = nullptr;
    } cases[] = {
        {"15 index=2 on=1", Hex("02 00 01")},
        {"35 mac=aa-bb-cc-00-11-22 up=-1 down=2000",
         Hex("AA BB CC 00 11 22 FF FF FF FF FF FF FF FF D0 07 00 00 00 00 00 00")},
        {"37 mac=AA:BB:CC:00:11:22 name=\"Liv ro\"", Hex("AA BB CC 00 11 22 4C 69 76 20 72 6F 00")},
        {"45 dns2=8.8.4.4 dns1=192.168.1.1", Hex("C0 A8 01 01 08 08 04 04")},
        {"87 json=  {\"b\":2}  ", Hex("07 00 7B 22 62 22 3A 32 7D")},
        {"9999 hex=DEADbeef", Hex("DE AD BE EF")},
        {"57 md5=" + std::string(32, 'd') + " url=u",
         fntest::Image(35).Text(0, std::string(32, 'd')).Text(33, "u").bytes},
        {name64.substr(0, name64.size() - 1), name63},
        {json1024.substr(0, 9) + json1024.substr(10), json1023},
        {"65536", {}, "function ID \"65536\" is not a number from 0 to 65535"},
        {"45 dns1=8.8.8.8", {}, "function 45 needs dns2=<a.b.c.d>"},
        {"33 mac=AA:BB:CC:00:11:2G", {}, "bad value mac"},
        {"15 index=65536 on=1", {}, "bad value index=\"65536\", expected index=<0-65535>"},
        {"46 name=" + std::string(32, 'n'), {}, "expected name=<text, at most 31>"},
        {name64, {}, "bad value name"},
        {"57 md5=" + std::string(33, 'd') + " url=u", {}, "bad value md5"},
        {json1024, {}, "bad value json"},
        {"45 dns1=8.8.8.8 dns1=8.8.4.4", {}, "argument \"dns1\" given twice"},
        {"37 mac=AA:BB:CC:00:11:22 name=\"open", {}, "argument \"name\": missing closing quote"},
        {"3 hex=123", {}, "hex=\"123\" is not an even number of hexadecimal digits"},
        {"3 hex=01 index=1", {}, "hex= gives the parameters raw and cannot be combined"},
        {"100 a=1", {}, "function 100 has no parameter layout; use hex="},
    };
    for (const auto& c : cases) {
        uint16_t id = 0;
        Bytes params = {0xEE};
        std::string error;
        EXPECT_EQ(c.error ? -1 : 0, EncodeCallLine(c.line, &id, &params, &error)) << c.line;
        EXPECT_EQ(c.error ? Bytes{0xEE} : c.params, params) << c.line;
        EXPECT_TRUE(!c.error || error.find(c.error) != std::string::npos) << c.line << " " << error;
        if (c.error) continue;
        ASSERT_EQ(
            0, EncodeFunctionRequest(id, c.line.substr(c.line.find(' ')), &params, &error, 0xCDAB));
        EXPECT_EQ(fntest::Request(id, c.params), params) << c.line;  // tag AB CD, ID, six zeros
    }
}

}  // namespace

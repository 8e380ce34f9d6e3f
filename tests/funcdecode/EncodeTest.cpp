// Request bodies built from operator arguments, against bytes written by hand from the
// parameter layouts of every function.
#include <gtest/gtest.h>

#include <random>

#include "FdTestSupport.h"
#include "FuncDecode.h"

namespace {

using fdtest::Bytes;
using fdtest::Hex;
using fdtest::Image;

struct EncodeCase {
    const char* line;
    Bytes params;  // request bytes from 10
};

Bytes Params(const std::string& line) {
    uint16_t id = 0;
    Bytes params;
    std::string error;
    EXPECT_EQ(0, EncodeCallLine(line, &id, &params, &error)) << line << ": " << error;
    return params;
}

std::string Error(const std::string& line) {
    uint16_t id = 0;
    Bytes params = {0xEE};
    std::string error;
    EXPECT_EQ(-1, EncodeCallLine(line, &id, &params, &error)) << line;
    EXPECT_EQ(Bytes{0xEE}, params) << "params untouched on error: " << line;
    return error;
}

TEST(Encode, BodyHeaderCarriesTagAndIdLittleEndian) {
    const struct {
        uint16_t id;
        const char* args;
        uint16_t tag;
        const char* body;
    } cases[] = {
        {45, "dns1=8.8.8.8 dns2=8.8.4.4", 0x3412,
         "12 34 2D 00 00 00 00 00 00 00 08 08 08 08 08 08 04 04"},  // the documented example
        {5, "index=0", 0, "00 00 05 00 00 00 00 00 00 00 00 00"},
        {300, "hex=AB", 0xBEEF, "EF BE 2C 01 00 00 00 00 00 00 AB"},
    };
    for (const auto& c : cases) {
        Bytes body;
        std::string error;
        ASSERT_EQ(0, EncodeFunctionRequest(c.id, c.args, &body, &error, c.tag)) << error;
        EXPECT_EQ(Hex(c.body), body) << c.id;
    }
}

TEST(Encode, ParameterLayoutOfEveryFunction) {
    const EncodeCase cases[] = {
        {"3 index=1", Hex("01 00")},
        {"7 index=0x102", Hex("02 01")},
        {"15 index=2 on=1", Hex("02 00 01")},
        {"19 on=1", Hex("01")},
        {"27 ftp=1 samba=0 telnet=1", Hex("01 00 01")},
        {"33 mac=aa-bb-cc-00-11-22", Hex("AA BB CC 00 11 22")},
        {"35 mac=AA:BB:CC:00:11:22 up=1000 down=2000",
         Hex("AA BB CC 00 11 22 E8 03 00 00 00 00 00 00 D0 07 00 00 00 00 00 00")},
        {"35 mac=AA:BB:CC:00:11:22 up=-1 down=0",
         Hex("AA BB CC 00 11 22 FF FF FF FF FF FF FF FF 00 00 00 00 00 00 00 00")},
        {"37 mac=AA:BB:CC:00:11:22 name=\"Living room\"",
         Hex("AA BB CC 00 11 22 4C 69 76 69 6E 67 20 72 6F 6F 6D 00")},
        {"45 dns2=8.8.4.4 dns1=192.168.1.1", Hex("C0 A8 01 01 08 08 04 04")},
        {"46 name=router", Hex("72 6F 75 74 65 72 00")},
        {"50 index=1 enable=1", Hex("01 00 01")},
        {"51 target=10.0.0.1", Hex("0A 00 00 01")},
        {"53 time=1700000000", Hex("00 F1 53 65 00 00 00 00")},
        {"53 time=-1", Hex("FF FF FF FF FF FF FF FF")},
        {"56 enable=1 url=http://a/", Hex("01 68 74 74 70 3A 2F 2F 61 2F 00")},
        {"59 url=\"http://a/b c\"", Hex("68 74 74 70 3A 2F 2F 61 2F 62 20 63 00")},
        {"66 rules=\"a;b\"", Hex("61 3B 62 00")},
        {"70 band=1", Hex("01")},
        {"76 index=2 threshold=200", Hex("02 C8")},
        {"87 json={\"a\": 1}", Hex("08 00 7B 22 61 22 3A 20 31 7D")},
        {"88 json=  {\"b\":2}  ", Hex("07 00 7B 22 62 22 3A 32 7D")},
        {"1", Bytes{}},
        {"62", Bytes{}},
        {"1000", Bytes{}},
        {"3 hex=0100", Hex("01 00")},
        {"9999 hex=DEADbeef", Hex("DE AD BE EF")},
        {"4 hex=", Bytes{}},
        // Fixed records: bytes 10 on, fields left out are zero.
        {"8 target=192.168.1.20 size=64 count=4",
         Image(24, {{0, "C0 A8 01 14"}, {20, "40 00 04 00"}})},
        {"29 ftp_user=ftp ftp_password=fp samba_user=smb samba_password=sp "
         "telnet_user=ttttttttttttttttttttttttttttttt telnet_password=tp",
         Image(192, {{0, "", "ftp"},
                     {32, "", "fp"},
                     {64, "", "smb"},
                     {96, "", "sp"},
                     {128, "", std::string(31, 't')},
                     {160, "", "tp"}})},
        {"57 md5=0123456789abcdef0123456789abcdef url=http://fw/x.bin",
         Image(33 + 16,
               {{0, "", "0123456789abcdef0123456789abcdef"}, {33, "", "http://fw/x.bin"}})},
        {"17 index=1 ssid=Home password=\"a \\\"b\\\"\" encrypt=1 enable=1 channel=6 beacon=100 "
         "guest_ip=10.0.0.1 guest_mask=255.255.255.0",
         Image(120, {{0, "01 00"},
                     {2, "", "Home"},
                     {35, "", "a \"b\""},
                     {100, "01"},
                     {103, "01"},
                     {106, "06 00"},
                     {110, "64 00 0A 00 00 01 FF FF FF 00"}})},
        {"17", Bytes(120, 0)},
        {"32 mac=AA:BB:CC:00:11:22 name=Phone access=0 rssi=-60 rate=1110 ip=192.168.1.20",
         Image(34, {{0, "AA BB CC 00 11 22"}, {6, "", "Phone"}, {27, "C4 56 04 C0 A8 01 14"}})},
        {"82 index=1 enable=1 vlan=10 mtu=1500 type=2 user=user mac=00:11:22:33:44:55 "
         "ip=100.64.0.2 mask=255.255.255.0 dns1=8.8.8.8 speed=1000 nat=1",
         Image(228, {{0, "01 00 01 0A 00 DC 05 02"},
                     {40, "", "user"},
                     {168, "00 11 22 33 44 55"},
                     {205, "64 40 00 02 FF FF FF 00"},
                     {217, "08 08 08 08"},
                     {225, "E8 03 01"}})},
    };
    for (const EncodeCase& c : cases)
        EXPECT_EQ(c.params, Params(c.line)) << c.line;
}

struct ErrorCase {
    const char* line;
    const char* error;
};

TEST(Encode, BadArgumentsGiveAClearError) {
    const ErrorCase cases[] = {
        {"", "no function ID"},
        {"abc", "function ID \"abc\" is not a number from 0 to 65535"},
        {"65536", "function ID \"65536\" is not a number from 0 to 65535"},
        {"45 dns1=8.8.8.8", "function 45 needs dns2=<a.b.c.d>"},
        {"45 dns1=8.8.8.8 dns2=1.1.1.1 dns3=1",
         "function 45 has no argument \"dns3\" (arguments: dns1 dns2, or hex=)"},
        {"1 index=1", "function 1 has no argument \"index\" (arguments: none besides hex=)"},
        {"45 dns1=8.8.8.256 dns2=1.1.1.1",
         "function 45: bad value dns1=\"8.8.8.256\", expected dns1=<a.b.c.d>"},
        {"51 target=1.2.3", "function 51: bad value target=\"1.2.3\", expected target=<a.b.c.d>"},
        {"51 target=1.2.3.4.5", "function 51: bad value target=\"1.2.3.4.5\""},
        {"51 target=1.2.3.0004", "function 51: bad value target=\"1.2.3.0004\""},
        {"33 mac=AA:BB:CC:00:11", "expected mac=<AA:BB:CC:DD:EE:FF>"},
        {"33 mac=AA:BB:CC:00:11:2G", "bad value mac"},
        {"15 index=65536 on=1", "bad value index=\"65536\", expected index=<0-65535>"},
        {"15 index=1 on=256", "bad value on=\"256\", expected on=<0-255>"},
        {"15 index=-1 on=1", "bad value index=\"-1\""},
        {"15 index=1x on=1", "bad value index=\"1x\""},
        {"32 rssi=-129", "bad value rssi=\"-129\", expected rssi=<-128-127>"},
        {"53 time=9223372036854775808", "bad value time"},
        {"46 name=nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn",
         "bad value name=\"nnnnnnnnnnnnnnnnnnnnnnnnnnnnnnnn\", expected name=<text, at most 31>"},
        {"17 ssid=123456789012345678901234567890123", "expected ssid=<text, at most 32>"},
        {"87 json={", "bad value json=\"{\", expected json=<JSON, 2 to 1023 bytes>"},
        {"45 dns1=8.8.8.8 dns1=8.8.4.4", "argument \"dns1\" given twice"},
        {"37 mac=AA:BB:CC:00:11:22 name=\"open", "argument \"name\": missing closing quote"},
        {"3 index", "argument \"index\" is not key=value"},
        {"3 =1", "argument \"\" is not key=value"},
        {"3 hex=123", "hex=\"123\" is not an even number of hexadecimal digits"},
        {"3 hex=zz", "hex=\"zz\" is not an even number of hexadecimal digits"},
        {"3 hex=01 index=1", "hex= gives the parameters raw and cannot be combined"},
        {"100 a=1", "function 100 has no parameter layout; use hex="},
    };
    for (const ErrorCase& c : cases) {
        std::string error = Error(c.line);
        EXPECT_NE(std::string::npos, error.find(c.error)) << c.line << " gave: " << error;
    }
}

TEST(Encode, TextLimitsAreExact) {
    // MAC, 63 characters, NUL.
    EXPECT_EQ(70u, Params("37 mac=AA:BB:CC:00:11:22 name=" + std::string(63, 'a')).size());
    Error("37 mac=AA:BB:CC:00:11:22 name=" + std::string(64, 'a'));
    EXPECT_EQ(1024u, Params("59 url=" + std::string(1023, 'u')).size());
    Error("59 url=" + std::string(1024, 'u'));
    // 16-bit length, then the 1023 JSON bytes.
    std::string json1023 = "\"" + std::string(1021, 'j') + "\"";
    EXPECT_EQ(1025u, Params("87 json=" + json1023).size());
    Error("87 json=\"" + std::string(1022, 'j') + "\"");
}

// Random operator lines made of the characters that matter to the argument syntax: each either
// encodes or gives a reason, and a failed line leaves the output alone.
TEST(Encode, RandomLinesEncodeOrExplain) {
    const std::string alphabet = "0123456789abcdefx=\" .:-ABCDEF{}\\ ";
    const char* const prefixes[] = {"45 ", "17 ", "37 ", "87 json=", "3 hex=", "8 ", ""};
    std::mt19937 rng(4511);
    std::uniform_int_distribution<size_t> pick(0, alphabet.size() - 1);
    std::uniform_int_distribution<size_t> length(0, 40);
    size_t ok = 0;
    for (int i = 0; i < 3000; ++i) {
        std::string line = prefixes[i % std::size(prefixes)];
        for (size_t n = length(rng); n > 0; --n)
            line += alphabet[pick(rng)];
        uint16_t id = 0;
        Bytes params = {0xEE};
        std::string error;
        if (EncodeCallLine(line, &id, &params, &error) == 0) {
            ++ok;
            EXPECT_TRUE(error.empty()) << line;
        } else {
            EXPECT_FALSE(error.empty()) << line;
            EXPECT_EQ(Bytes{0xEE}, params) << line;
        }
    }
    EXPECT_GT(ok, 0u);
}

}  // namespace

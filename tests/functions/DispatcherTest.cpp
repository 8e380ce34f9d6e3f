// The dispatcher's paths over every function ID, and its debug line.
#include <gtest/gtest.h>

#include <set>

#include "FnTestSupport.h"
#include "functions/ProtoolSdk.h"

namespace {

using fntest::Bytes;
using fntest::Call;
using fntest::Hex;
using fntest::Request;

const std::set<int> kUnsupportedInTable = {62, 63, 65, 67, 68};
const std::set<int> kNoAnswer = {40, 81, 84, 86};
// Rows that start a ping, a traceroute or a rate test: real tools and traffic off this machine,
// so they are left to the diagnostics tests, which put stand-ins first on PATH.
const std::set<int> kStartsAJob = {8, 51, 61};

// Every function ID 0..65535 takes exactly the path its range and row give it.
TEST(Dispatcher, EveryFunctionIdTakesItsPath) {
    fntest::SimRouter router;
    testsupport::LogCapture quiet(0);
    for (int id = 0; id <= 0xFFFF; ++id) {
        if (kStartsAJob.count(id)) continue;
        SCOPED_TRACE(id);
        fntest::Answer a = Call(Request(static_cast<uint16_t>(id)));
        Bytes unsupported = {0xAB, 0xCD, static_cast<uint8_t>(id), static_cast<uint8_t>(id >> 8),
                             0x07, 0x00};
        if (id == 0 || id >= 32767) {
            EXPECT_EQ(-1, a.ret);
            EXPECT_TRUE(a.bytes.empty());
        } else if (kNoAnswer.count(id)) {
            EXPECT_EQ(0, a.ret);
            EXPECT_TRUE(a.bytes.empty());
        } else if (id >= 89 || kUnsupportedInTable.count(id)) {
            EXPECT_EQ(-1, a.ret);
            EXPECT_EQ(unsupported, a.bytes);
        } else {
            EXPECT_EQ(0, a.ret);
            ASSERT_GE(a.bytes.size(), 6u);
            EXPECT_EQ(Bytes(a.bytes.begin(), a.bytes.begin() + 4),
                      Bytes({0xAB, 0xCD, static_cast<uint8_t>(id), 0x00}));
        }
    }
}

TEST(Dispatcher, UnsupportedAnswerWritesTheIdItselfAndKeepsTheTag) {
    Bytes req = Hex("12 34 2C 01 99 99 99 99 99 99");  // function 300
    fntest::Answer a = Call(req);
    EXPECT_EQ(-1, a.ret);
    EXPECT_EQ(Hex("12 34 2C 01 07 00"), a.bytes);
}

TEST(Dispatcher, RequestTooShortForAFunctionIdGetsNoAnswer) {
    testsupport::LogCapture log;
    fntest::Answer a = Call(Hex("AB CD 01"));
    EXPECT_EQ(-1, a.ret);
    EXPECT_TRUE(a.bytes.empty());
    EXPECT_TRUE(log.Contains("function call too short! len=3"));
}

TEST(Dispatcher, ClearsTheFirstAnswerByteEvenWithoutAnswer) {
    uint8_t req[10] = {0xAB, 0xCD, 40, 0};
    uint8_t ans[16];
    memset(ans, 0x55, sizeof ans);
    size_t len = 99;
    EXPECT_EQ(0, ParserProtoolData(req, sizeof req, ans, &len));
    EXPECT_EQ(0u, len);
    EXPECT_EQ(0, ans[0]);
}

}  // namespace

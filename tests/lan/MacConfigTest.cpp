// The reported-device list file: loading (garbage lines count, 128 at most, missing file) and
// saving ("%02x" pairs, CR LF, only when logged in).
#include <gtest/gtest.h>

#include <cstring>

#include "LanTestSupport.h"
#include "core/Globals.h"
#include "core/Paths.h"
#include "lan/Function39.h"

namespace {

using testsupport::ReadFile;
using testsupport::WriteFile;

struct MacConfigTest : ::testing::Test {
    void SetUp() override {
        f39Num = 0;
        memset(OnlineMac, 0xEE, sizeof OnlineMac);
    }
    void TearDown() override { mLogin = 0; }
    lantest::Lan lan;
};

TEST_F(MacConfigTest, MissingFileGivesAnEmptyList) {
    f39Num = 5;
    EXPECT_EQ(-1, Fn39LoadMac());
    EXPECT_EQ(0, f39Num);
}

TEST_F(MacConfigTest, EveryLineCountsAndSavingWritesThemBack) {
    WriteFile(Paths().macConfig,
              "a1b2c3d4e5f6\r\ngarbage\r\n\r\n" + std::string(70, '1') + "\r\n0102030405FF\r\n");
    ASSERT_EQ(0, Fn39LoadMac());
    ASSERT_EQ(5, f39Num);  // a long line counts once
    const uint8_t first[8] = {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6, 0, 0};
    const uint8_t zero[8] = {};
    EXPECT_EQ(0, memcmp(first, OnlineMac[0], 8));
    EXPECT_EQ(0, memcmp(zero, OnlineMac[1], 8));
    EXPECT_EQ(0, memcmp(zero, OnlineMac[2], 8));
    EXPECT_EQ(0x11, OnlineMac[3][0]);  // its first 31 characters are parsed
    EXPECT_EQ(0xFF, OnlineMac[4][5]);

    EXPECT_EQ(-2, Fn39UpdateMac());  // not logged in: the file stays
    mLogin = 1;
    ASSERT_EQ(0, Fn39UpdateMac());
    EXPECT_EQ("a1b2c3d4e5f6\r\n000000000000\r\n000000000000\r\n111111111111\r\n0102030405ff\r\n",
              ReadFile(Paths().macConfig));
}

TEST_F(MacConfigTest, AtMost128EntriesAreLoaded) {
    std::string text;
    char line[32];
    for (int i = 0; i < 200; ++i) {
        snprintf(line, sizeof line, "%012x\r\n", i);
        text += line;
    }
    WriteFile(Paths().macConfig, text);
    ASSERT_EQ(0, Fn39LoadMac());
    EXPECT_EQ(128, f39Num);
    EXPECT_EQ(127, OnlineMac[127][5]);
}

TEST_F(MacConfigTest, UnwritableFileFails) {
    mLogin = 1;
    PathsRelocate(lan.dir().File("missing-dir"));
    EXPECT_EQ(-1, Fn39UpdateMac());
}

}  // namespace

// The reported-device list file: loading (missing file, garbage lines count, 128 at most) and
// saving ("%02x" pairs, CR LF, only when logged in).
#include <gtest/gtest.h>

#include <cstring>

#include "LanTestSupport.h"
#include "core/Globals.h"
#include "lan/Function39.h"

namespace {

using testsupport::ReadFile;
using testsupport::WriteFile;

TEST(MacConfig, LoadCountsEveryLineUpTo128AndSaveWritesThemBack) {
    lantest::Lan lan;
    memset(OnlineMac, 0xEE, sizeof OnlineMac);
    f39Num = 5;
    EXPECT_EQ(-1, Fn39LoadMac());
    EXPECT_EQ(0, f39Num);
    std::string text;
    char line[16];
    for (int i = 0; i < 200 && snprintf(line, sizeof line, "%012x\r\n", i) > 0; ++i)
        text += line;
    WriteFile(Paths().macConfig, text);
    ASSERT_EQ(0, Fn39LoadMac());
    EXPECT_EQ(128, f39Num);
    EXPECT_EQ(127, OnlineMac[127][5]);

    f39Num = 0;
    WriteFile(Paths().macConfig,
              "a1b2c3d4e5f6\r\ngarbage\r\n\r\n" + std::string(70, '1') + "\r\n0102030405FF\r\n");
    ASSERT_EQ(0, Fn39LoadMac());
    ASSERT_EQ(5, f39Num);  // a long line counts once
    EXPECT_EQ(lantest::Hex("A1 B2 C3 D4 E5 F6 00 00"),
              lantest::Bytes(OnlineMac[0], OnlineMac[0] + 8));
    EXPECT_EQ(-2, Fn39UpdateMac());  // not logged in: the file stays
    mLogin = 1;
    ASSERT_EQ(0, Fn39UpdateMac());
    EXPECT_EQ("a1b2c3d4e5f6\r\n000000000000\r\n000000000000\r\n111111111111\r\n0102030405ff\r\n",
              ReadFile(Paths().macConfig));
    PathsRelocate(lan.dir().File("missing-dir"));
    EXPECT_EQ(-1, Fn39UpdateMac());
    mLogin = 0;
}

}  // namespace

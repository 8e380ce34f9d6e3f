// Start-up pieces: the status file and the reading of the platform settings.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>

#include "TestSupport.h"
#include "core/Config.h"
#include "core/Globals.h"
#include "core/Paths.h"
#include "core/Status.h"
#include "platform/Session.h"

using testsupport::LogCapture;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace {

TEST(WritePlugStatus, ThreeDigitsAndLineFeedTruncatingThePreviousCode) {
    TempDir dir;
    PathsRelocate(dir.path());
    ASSERT_EQ(0, WritePlugStatus(103));
    EXPECT_EQ("103\n", ReadFile(dir.File("plugstatus")));
    ASSERT_EQ(0, WritePlugStatus(1));
    EXPECT_EQ("001\n", ReadFile(dir.File("plugstatus")));
    PathsRelocate(dir.File("no/such/dir"));
    EXPECT_EQ(-1, WritePlugStatus(2));
    PathsRelocate("");
}

class InitProtoolTest : public ::testing::Test {
protected:
    int Init(const std::string& protool) {
        WriteFile(dir.File("plug.conf"), "[Dev]\nPIN=123456789012\n[Protool]\n" + protool);
        SetConfigPath(dir.File("plug.conf"));
        return InitProtool();
    }
    TempDir dir;
    LogCapture log{31};
};

TEST_F(InitProtoolTest, PortLimits) {
    for (const char* port : {"2047", "2048", "65530", "65531", "abc"}) {
        log.Clear();
        const bool ok = port == std::string("2048") || port == std::string("65530");
        EXPECT_EQ(ok ? 0 : -1, Init(std::string("SERVER1=127.0.0.1\nPORT=") + port + "\n")) << port;
        EXPECT_EQ(!ok, log.Contains("RegPort error.")) << port;
    }
    EXPECT_EQ(0, Init("SERVER1=127.0.0.1\n"));
    EXPECT_EQ(6039, regist_port);  // default port
}

TEST_F(InitProtoolTest, DottedServer1SelectsTestModeForBothAddresses) {
    ASSERT_EQ(0, Init("KEY=k\nSERVER1=10.1.2.3\nSERVER2=reg2.example.com\n"));
    EXPECT_EQ(0, runMode);
    EXPECT_STREQ("10.1.2.3", RegisterIpAddr1);
    EXPECT_STREQ("10.1.2.3", RegisterIpAddr2);
    EXPECT_STREQ("123456789012", g_pin_code);
    EXPECT_STREQ("k", gKeyText);
    EXPECT_EQ(30, Fn40Interval);
    EXPECT_EQ(1, AutoReportDevinfo);
}

// Names with an empty label are refused by the resolver itself, without a DNS query;
// "localhost" resolves without any network. A server 1 name holding "com" selects run mode.
TEST_F(InitProtoolTest, RunModeResolvesBothNames) {
    EXPECT_EQ(-1, Init("SERVER1=bad..server1.com\nSERVER2=bad..server2.com\n"));
    EXPECT_EQ(1, runMode);
    EXPECT_TRUE(log.Contains("DNS resolve addres1 error !!!"));
    EXPECT_TRUE(log.Contains("DNS resolve addres2 error !!!"));
    EXPECT_EQ(2, Init("SERVER1=bad..server1.com\nSERVER2=localhost\n"));
    EXPECT_TRUE(log.Contains("Only access server2."));
    EXPECT_STREQ("127.0.0.1", RegisterIpAddr2);
}

// Over-long values are cut; a garbled file (junk lines, no section name among them) falls back
// to the defaults for what it does not hold.
TEST_F(InitProtoolTest, OverLongValuesAreCutGarbledFileFallsBackToDefaults) {
    ASSERT_EQ(0,
              Init("KEY=" + std::string(100, 'k') + "\nSERVER1=" + std::string(200, 'c') + "\n"));
    EXPECT_EQ(31u, strlen(gKeyText));
    EXPECT_EQ(31u, strlen(RegisterIpAddr1));
    std::mt19937 rng(7);
    std::string junk(64 * 1024, '\0');
    for (auto& ch : junk)
        ch = static_cast<char>(rng());
    WriteFile(dir.File("plug.conf"), junk + "\n[Protool]\nSERVER1=127.0.0.1\n");
    regist_port = 0;
    EXPECT_EQ(0, InitProtool());
    EXPECT_STREQ("127.0.0.1", RegisterIpAddr1);
    EXPECT_EQ(6039, regist_port);
}

}  // namespace

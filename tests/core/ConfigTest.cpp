// The command line, the platform settings file, its reading at start-up, and the status file.
#include <gtest/gtest.h>

#include <cstring>
#include <random>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "core/Config.h"
#include "core/Globals.h"
#include "core/Options.h"
#include "core/Paths.h"
#include "core/Status.h"
#include "platform/Session.h"

using testsupport::LogCapture;
using testsupport::ReadFile;
using testsupport::TempDir;
using testsupport::WriteFile;

namespace {

// getKeyValueStr's line rules. value nullptr: the output is left untouched.
TEST(GetKeyValueStr, FollowsTheLineRules) {
    struct Case { const char* name; std::string content; const char* defaultStr; int result;
                  const char* value; } cases[] = {
        {"blanks_around_equals", "[Dev]\nPIN = 1234\n", nullptr, 0, "1234"},
        {"trailing_blank_cr_lf", "[Dev]\nPIN=1234 \r\n", nullptr, 0, "1234"},
        {"trailing_tabs", "[Dev]\nPIN=12\t34\t\t\n", nullptr, 0, "12\t34"},
        {"leading_tab_after_equals_kept", "[Dev]\nPIN=\t5\n", nullptr, 0, "\t5"},
        {"substring_key", "[Dev]\nMYPIN=9\n", nullptr, 0, "9"},
        {"last_match_wins", "[Dev]\nPIN=1\nPIN=2\n", nullptr, 0, "2"},
        {"substring_section", "[MyDevice]\nPIN=7\n", nullptr, 0, "7"},
        {"key_in_later_section_only", "[Dev]\nX=1\n[Protool]\nPIN=5\n", nullptr, -1, nullptr},
        {"second_bracket_ends_section", "[Dev]\n[Other]\nPIN=5\n", nullptr, -1, nullptr},
        {"line_without_equals_stops", "[Dev]\nPIN\nPIN=5\n", nullptr, -1, nullptr},
        {"comment_skipped", "[Dev]\n  \t# PIN=5\n", nullptr, -1, nullptr},
        {"commented_section_ignored", "#[Dev]\nPIN=5\n", nullptr, -1, nullptr},
        {"empty_value_not_found", "[Dev]\nPIN=   \n", "d", 0, "d"},
        {"default_when_missing", "[Dev]\n", "6039", 0, "6039"},
        {"value_cut_to_buffer",
         "[Dev]\nPIN=0123456789012345678901234567890123456789012345678901234567890123456789\n",
         nullptr, 0, "012345678901234567890123456789012345678901234567890123456789012"},
        // An over-long line is read in pieces, without overflow.
        {"over_long_line", "[Dev]\n" + std::string(5000, 'a') + "\nPIN=42\n", nullptr, 0, "42"},
    };
    TempDir dir;
    SetConfigPath(dir.File("plug.conf"));
    LogCapture log;
    for (const Case& c : cases) {
        WriteFile(dir.File("plug.conf"), c.content);
        char out[64];
        memset(out, 'x', sizeof out);
        out[63] = '\0';
        EXPECT_EQ(c.result, getKeyValueStr("Dev", "PIN", c.defaultStr, out, sizeof out)) << c.name;
        EXPECT_STREQ(c.value ? c.value : std::string(63, 'x').c_str(), out) << c.name;
    }
    // An unreadable file: the default is used, but the result is a failure.
    SetConfigPath(dir.File("missing.conf"));
    char out[16] = "untouched";
    EXPECT_EQ(-1, getKeyValueStr("Protool", "PORT", "6039", out, sizeof out));
    EXPECT_STREQ("6039", out);
    EXPECT_TRUE(log.Contains("Can not fopen(\"" + dir.File("missing.conf") + "\")."));
    strcpy(out, "untouched");
    EXPECT_EQ(-1, getKeyValueStr("Protool", "PORT", nullptr, out, sizeof out));
    EXPECT_STREQ("untouched", out);
    EXPECT_TRUE(log.Contains("Not find Key=\"PORT\" and no default_str to use."));
}

TEST(NewProgramProfile, ChoosesFlagPathThenDefaultThenLocal) {
    TempDir dir;
    WriteFile(dir.File("given.conf"), "");
    WriteFile(dir.File("default.conf"), "");
    snprintf(l_config_file, sizeof l_config_file, "%s", dir.File("given.conf").c_str());
    NewProgramProfile(dir.File("default.conf").c_str());
    EXPECT_EQ(dir.File("given.conf"), ConfigPath());
    snprintf(l_config_file, sizeof l_config_file, "%s", dir.File("unreadable.conf").c_str());
    NewProgramProfile(dir.File("default.conf").c_str());
    EXPECT_EQ(dir.File("default.conf"), ConfigPath());
    NewProgramProfile(dir.File("absent.conf").c_str());
    EXPECT_EQ("./plug.conf", ConfigPath());
    l_config_file[0] = '\0';
}

// The codes as written ("001\n", "102\n", "103\n") are read back by the supervision tests.
TEST(WritePlugStatus, UnwritableFileFails) {
    TempDir dir;
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
// to the defaults for what it does not hold (port 6039).
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

int Parse(std::vector<std::string> args) {
    memset(l_mac, 0, sizeof l_mac);
    l_config_file[0] = '\0';
    l_debug = 0;
    args.insert(args.begin(), "plugagent");
    return config_line_proc(static_cast<int>(args.size()), testsupport::CStrings(args).data());
}

TEST(Options, DebugConfigMacAndTheirLimits) {
    ASSERT_EQ(0, Parse({"-d", "-f", "/etc/plug.conf", "-m", "a1B2c3D4e5F6"}));
    EXPECT_EQ(1, l_debug);
    EXPECT_STREQ("/etc/plug.conf", l_config_file);
    EXPECT_EQ(std::string("\xA1\xB2\xC3\xD4\xE5\xF6"), std::string(l_mac, l_mac + 6));
    // A long path is cut; a bad low nibble adds nothing.
    ASSERT_EQ(0, Parse({"-f", std::string(1000, 'p'), "-m", "00112233445Z"}));
    EXPECT_EQ(255u, strlen(l_config_file));
    EXPECT_EQ(0x50, l_mac[5]);
}

TEST(Options, ResultCodesAndErrorTexts) {
    struct Row { std::vector<std::string> args; int ret; const char* text; } rows[] = {
        {{"-m", "a1b2c3d4e5"}, -2, "Error: mac format must be \"aabbccddeeff\"."},
        {{"-f"}, -1, "Error: -f argument given but no file specified."},
        {{"-m"}, -2, "Error: mac format must be \"aabbccddeeff\"."},
        {{"-x", "-d"}, 0, "Unknown option: x"},  // parsing goes on after an unknown option
    };
    for (const Row& r : rows) {
        LogCapture log(1);
        EXPECT_EQ(r.ret, Parse(r.args)) << r.text;
        EXPECT_TRUE(log.Contains(r.text)) << r.text;
    }
    EXPECT_EQ(1, l_debug);
    l_debug = 0;
}

// A bad high nibble keeps the old byte and adds the low nibble; a bad low nibble adds nothing.
TEST(HexPairToByte, NonHexCharacters) {
    const char* pairs[] = {"5Z", "Zf", "ZZ", "fF", "09"};
    const uint8_t before[] = {0x00, 0x20, 0x33, 0x00, 0xAA},
                  after[] = {0x50, 0x2F, 0x33, 0xFF, 0x09};
    for (int i = 0; i < 5; ++i) {
        uint8_t b = before[i];
        HexPairToByte(pairs[i], &b);
        EXPECT_EQ(after[i], b) << pairs[i];
    }
}

}  // namespace

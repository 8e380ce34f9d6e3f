#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "TestSupport.h"
#include "core/Config.h"
#include "core/Globals.h"
#include "core/Paths.h"

using testsupport::LogCapture;
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
}

TEST(GetKeyValueStrFile, UnreadableFileUsesDefaultButReportsFailure) {
    TempDir dir;
    SetConfigPath(dir.File("missing.conf"));
    LogCapture log;
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

}  // namespace

// The shipped configuration template is read by the agent's own plug.conf reader: empty
// identity values count as absent, the port is the platform's default, and the comments do not
// disturb the section and key rules.
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"
#include "core/Config.h"

namespace {

TEST(ConfigTemplate, AsShippedOnlyThePortIsSetFilledInGivesEveryValue) {
    const char* keys[][2] = {{"Dev", "PIN"},         {"Protool", "KEY"},  {"Protool", "SERVER1"},
                             {"Protool", "SERVER2"}, {"Protool", "PORT"}, {"Dev", "PORT"}};
    const char* filled[] = {"20261122", "0123456789abcdef", "reg1.example.net", "192.0.2.7"};
    testsupport::TempDir dir;
    std::string text = testsupport::ReadFile(PLUG_CONF_TEMPLATE);
    for (int i = 0; i < 4; ++i) {
        const std::string empty = std::string("\n") + keys[i][1] + "=\n";
        size_t at = text.find(empty);
        ASSERT_NE(at, std::string::npos) << keys[i][1];
        text.replace(at, empty.size(), std::string("\n") + keys[i][1] + "=" + filled[i] + "\n");
    }
    testsupport::WriteFile(dir.File("plug.conf"), text);
    for (bool shipped : {true, false}) {
        SetConfigPath(shipped ? std::string(PLUG_CONF_TEMPLATE) : dir.File("plug.conf"));
        for (int i = 0; i < 6; ++i) {
            const bool set = i == 4 || (!shipped && i < 4);
            char out[128] = "untouched";
            EXPECT_EQ(set ? 0 : -1,
                      getKeyValueStr(keys[i][0], keys[i][1], nullptr, out, sizeof out))
                << keys[i][1] << shipped;
            EXPECT_STREQ(!set ? "untouched" : i == 4 ? "6039" : filled[i], out) << keys[i][1];
        }
    }
}

}  // namespace

// The shipped configuration template is read by the agent's own plug.conf reader: empty
// identity values count as absent, the port is the platform's default, and the comments do not
// disturb the section and key rules.
#include <gtest/gtest.h>

#include <string>

#include "TestSupport.h"
#include "core/Config.h"

namespace {

struct Key {
    const char* section;
    const char* key;
    int result;
    const char* value;
};

void Replace(std::string& text, const std::string& from, const std::string& to) {
    size_t at = text.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    text.replace(at, from.size(), to);
}

void ExpectKeys(const Key* keys, size_t n) {
    for (size_t i = 0; i < n; ++i) {
        char out[128] = "untouched";
        EXPECT_EQ(keys[i].result,
                  getKeyValueStr(keys[i].section, keys[i].key, nullptr, out, sizeof out))
            << keys[i].key;
        EXPECT_STREQ(keys[i].value, out) << keys[i].key;
    }
}

TEST(ConfigTemplate, AsShippedOnlyThePortIsSet) {
    SetConfigPath(PLUG_CONF_TEMPLATE);
    const Key keys[] = {{"Dev", "PIN", -1, "untouched"},
                        {"Protool", "KEY", -1, "untouched"},
                        {"Protool", "SERVER1", -1, "untouched"},
                        {"Protool", "SERVER2", -1, "untouched"},
                        {"Protool", "PORT", 0, "6039"}};
    ExpectKeys(keys, sizeof keys / sizeof keys[0]);
}

TEST(ConfigTemplate, FilledInGivesEveryValue) {
    testsupport::TempDir dir;
    std::string text = testsupport::ReadFile(PLUG_CONF_TEMPLATE);
    Replace(text, "\nPIN=\n", "\nPIN=20261122\n");
    Replace(text, "\nKEY=\n", "\nKEY=0123456789abcdef\n");
    Replace(text, "\nSERVER1=\n", "\nSERVER1=reg1.example.net\n");
    Replace(text, "\nSERVER2=\n", "\nSERVER2=192.0.2.7\n");
    testsupport::WriteFile(dir.File("plug.conf"), text);
    SetConfigPath(dir.File("plug.conf"));
    const Key keys[] = {{"Dev", "PIN", 0, "20261122"},
                        {"Protool", "KEY", 0, "0123456789abcdef"},
                        {"Protool", "SERVER1", 0, "reg1.example.net"},
                        {"Protool", "SERVER2", 0, "192.0.2.7"},
                        {"Protool", "PORT", 0, "6039"},
                        {"Dev", "PORT", -1, "untouched"}};
    ExpectKeys(keys, sizeof keys / sizeof keys[0]);
}

}  // namespace

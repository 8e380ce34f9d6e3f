#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "core/Globals.h"
#include "core/Options.h"

namespace {

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
        {{"-m"}, -2, ""},
        {{"-x", "-d"}, 0, "Unknown option: x"},  // parsing goes on after an unknown option
    };
    for (const Row& r : rows) {
        testsupport::LogCapture log(1);
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

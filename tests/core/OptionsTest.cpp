#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <vector>

#include "TestSupport.h"
#include "core/Globals.h"
#include "core/Options.h"

using testsupport::LogCapture;

namespace {

int Parse(std::vector<std::string> args) {
    args.insert(args.begin(), "plugagent");
    std::vector<char*> argv;
    for (auto& a : args)
        argv.push_back(&a[0]);
    argv.push_back(nullptr);
    return config_line_proc(static_cast<int>(args.size()), argv.data());
}

class Options : public ::testing::Test {
protected:
    void SetUp() override {
        memset(l_mac, 0, sizeof l_mac);
        l_config_file[0] = '\0';
        l_debug = 0;
    }
    void TearDown() override { SetUp(); }
};

TEST_F(Options, DebugConfigAndMac) {
    ASSERT_EQ(0, Parse({"-d", "-f", "/etc/plug.conf", "-m", "a1B2c3D4e5F6"}));
    EXPECT_EQ(1, l_debug);
    EXPECT_STREQ("/etc/plug.conf", l_config_file);
    const uint8_t want[6] = {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6};
    EXPECT_EQ(0, memcmp(want, l_mac, 6));
}

TEST_F(Options, ResultCodesAndErrorTexts) {
    struct Row {
        std::vector<std::string> args;
        int ret;
        const char* text;
    } rows[] = {
        {{"-m", "a1b2c3d4e5"}, -2, "Error: mac format must be \"aabbccddeeff\"."},
        {{"-f"}, -1, "Error: -f argument given but no file specified."},
        {{"-m"}, -2, ""},
        {{"-x", "-d"}, 0, "Unknown option: x"},  // parsing goes on after an unknown option
    };
    for (const Row& r : rows) {
        LogCapture log(1);
        EXPECT_EQ(r.ret, Parse(r.args)) << r.text;
        EXPECT_TRUE(log.Contains(r.text)) << r.text;
    }
    EXPECT_EQ(1, l_debug);
}

TEST_F(Options, LongConfigPathIsCutAndBadMacNibbleAddsNothing) {
    ASSERT_EQ(0, Parse({"-f", std::string(1000, 'p'), "-m", "00112233445Z"}));
    EXPECT_EQ(255u, strlen(l_config_file));
    EXPECT_EQ(0x50, l_mac[5]);
}

TEST(HexPairToByte, NonHexCharacters) {
    struct Case {
        const char* pair;
        uint8_t before;
        uint8_t after;
    } cases[] = {
        {"5Z", 0x00, 0x50},  // bad low nibble adds nothing
        {"Zf", 0x20, 0x2F},  // bad high nibble keeps the old byte, low nibble is added
        {"ZZ", 0x33, 0x33}, {"fF", 0x00, 0xFF}, {"09", 0xAA, 0x09},
    };
    for (const auto& c : cases) {
        uint8_t b = c.before;
        HexPairToByte(c.pair, &b);
        EXPECT_EQ(c.after, b) << c.pair;
    }
}

}  // namespace

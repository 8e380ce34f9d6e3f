// The router SDK simulator, smoke only: each kind of value the agent sets survives the state file
// and a fresh load, the black list stops at its room, and bad state or arguments get the library's
// statuses. What the getters fill and the call log are proven by the function rows.
#include <cjson/cJSON.h>
#include <gtest/gtest.h>

#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "../rules/RulesTestSupport.h"
#include "RouterSdk.h"

namespace {

using testsupport::ReadFile;
using testsupport::WriteFile;

const uint8_t kLaptop[6] = {0xF0, 0x18, 0x98, 0x7C, 0x44, 0x03};  // attached in the bundled state

class Sdk : public ::testing::Test {
protected:
    // Replaces the top-level member `key` of the state file with the JSON text `json`.
    void SetTop(const char* key, const std::string& json) {
        router_.Edit([&](cJSON* root) {
            cJSON_ReplaceItemInObjectCaseSensitive(root, key, cJSON_Parse(json.c_str()));
        });
    }

    rulestest::SimRouter router_;  // a private copy of the bundled state
    const std::string state_ = router_.dir().File("state.json");
    testsupport::TempDir dir_;
};

// Each kind of value is set, then read back from a copy of the state file under another name
// (parsed from scratch); where the file's form is a convention its text is checked too.
TEST_F(Sdk, SetValuesAreWrittenAndReadBackByAFreshLoad) {
    // WPA3, enabled, channel 36, 12 clients, beacon 150, guest network 192.168.100.1/255.255.0.0.
    const SsidCfg guest = {1, "Visitors", "welcome-1234", 3, 0, 0, 1, 0, 0, 36, 12, 150, 0xC0A86401,
                           0xFFFF0000};
    SsidCfg ssid = guest, back;
    ASSERT_EQ(0, set_ssid_cfg(&ssid));
    ASSERT_EQ(0, set_dns(0x01020304, 0x05060708));
    ASSERT_EQ(0, set_dev_name(kLaptop, "Work laptop (Tom)"));
    ASSERT_EQ(0, set_dev_us_max_bw(kLaptop, INT64_MAX) | set_dev_ds_max_bw(kLaptop, -1));
    const std::string text = ReadFile(state_), copy = dir_.File("copy.json");
    for (const char* onDisk : {"\"192.168.100.1\"", "\"1.2.3.4\"", "\"9223372036854775807\""})
        EXPECT_NE(std::string::npos, text.find(onDisk)) << onDisk;
    WriteFile(copy, text);
    setenv("PLUG_SDK_STATE", copy.c_str(), 1);
    memset(&back, 0xEE, sizeof back);
    ASSERT_EQ(0, get_ssid_cfg(1, &back));
    EXPECT_EQ(0, memcmp(&guest, &back, sizeof guest));
    uint32_t a = 0, b = 0;
    ASSERT_EQ(0, get_dns(&a, &b));
    EXPECT_EQ(0x0102030405060708u, (uint64_t{a} << 32) | b);
    char name[ROUTER_DEV_NAME_SIZE];
    ASSERT_EQ(0, get_dev_name(kLaptop, name));
    EXPECT_STREQ("Work laptop (Tom)", name);
    int64_t up = 0, down = 0;
    ASSERT_EQ(0, get_dev_us_max_bw(kLaptop, &up) | get_dev_ds_max_bw(kLaptop, &down));
    EXPECT_EQ(INT64_MAX, up);
    EXPECT_EQ(-1, down);
}

// The device list's room and count are proven by the agent's device-list and scan tests.
TEST_F(Sdk, BlackListStopsAtItsRoomAndReportsTheRealCount) {
    std::string black = "[";
    for (int i = 0; i < 130; ++i) {
        char mac[18];
        snprintf(mac, sizeof mac, "02:00:00:00:00:%02X", i);
        black += std::string(i ? "," : "") + "\"" + mac + "\"";
    }
    SetTop("black_list", black + "]");
    uint16_t blackNum = 0;
    std::vector<uint8_t> macs((ROUTER_MAX_BLACK + 1) * 6, 0xEE);
    ASSERT_EQ(0, get_dev_black_list(reinterpret_cast<uint8_t(*)[6]>(macs.data()), &blackNum));
    EXPECT_EQ(130, blackNum);
    EXPECT_EQ(0xEE, macs[ROUTER_MAX_BLACK * 6]);
}

TEST_F(Sdk, BadArgumentsGiveStatusOneBadStateStatusTwo) {
    const uint8_t unknown[6] = {1, 2, 3, 4, 5, 6};
    WanCfg wan;
    SsidCfg ssid;
    EXPECT_EQ(1, get_wan_cfg(ROUTER_MAX_WANS, &wan));
    EXPECT_EQ(-1, get_ssid_switch(9));
    EXPECT_EQ(1, set_dev_ds_max_bw(unknown, 5));
    EXPECT_EQ(1, set_name(std::string(ROUTER_NAME_SIZE, 'n').c_str()));
    EXPECT_EQ(1, set_led_switch(3));
    memset(&ssid, 'x', sizeof ssid);  // unterminated texts
    ssid.index = 0;
    EXPECT_EQ(1, set_ssid_cfg(&ssid));
    EXPECT_EQ(ReadFile(PLUG_SDK_DEFAULT_STATE_FILE), ReadFile(state_)) << "a refusal changed it";
    uint16_t n = 0;
    LanCfg lan;
    setenv("PLUG_SDK_STATE", dir_.File("absent.json").c_str(), 1);
    EXPECT_EQ(2, get_wan_num(&n));
    EXPECT_EQ(-2, get_led_switch());
    setenv("PLUG_SDK_STATE", state_.c_str(), 1);
    SetTop("lan", "{\"ip\": \"192.168.1\"}");
    EXPECT_EQ(2, get_lan_cfg(&lan));
    WriteFile(state_, "{\"identity\": ");
    EXPECT_EQ(2, set_name("x"));
}

TEST(SdkBundled, WithoutTheVariableTheBundledStateIsRead) {
    unsetenv("PLUG_SDK_STATE");
    char sn[ROUTER_TEXT_SIZE] = "";
    ASSERT_EQ(0, get_router_sn(sn));
    const std::string want = "\"sn\": \"" + std::string(sn) + "\"";
    EXPECT_NE(std::string::npos, ReadFile(PLUG_SDK_DEFAULT_STATE_FILE).find(want)) << sn;
}

}  // namespace

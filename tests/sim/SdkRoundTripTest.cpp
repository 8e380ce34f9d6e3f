// Settings reach the state file, atomically, and a fresh load of the file sees them.
#include <dirent.h>

#include <cstring>
#include <functional>
#include <set>
#include <string>

#include "SdkFixture.h"

using sdktest::JsonTextAt;
using sdktest::SdkTest;

namespace {

const uint8_t kLaptop[6] = {0xF0, 0x18, 0x98, 0x7C, 0x44, 0x03};

SsidCfg GuestSsid() {
    SsidCfg c;
    memset(&c, 0, sizeof c);
    c.index = 1;
    strcpy(c.ssid, "Visitors");
    strcpy(c.password, "welcome-1234");
    c.encrypt = 3;
    c.auth = 2;
    c.hidden = 1;
    c.enable = 1;
    c.band = 1;
    c.isolate = 0;
    c.channel = 36;
    c.maxClients = 12;
    c.beaconInterval = 150;
    c.guestIp = 0xC0A86401;    // 192.168.100.1
    c.guestMask = 0xFFFF0000;  // 255.255.0.0
    return c;
}

struct SetCase {
    const char* name;
    std::function<int()> call;
    std::vector<std::pair<const char*, const char*>> expect;  // path -> JSON text on disk
};

void PrintTo(const SetCase& c, std::ostream* os) {
    *os << c.name;
}

const SetCase kSetCases[] = {
    {"set_name", [] { return set_name("Attic"); }, {{"identity.name", "\"Attic\""}}},
    {"set_ssid_switch", [] { return set_ssid_switch(3, 0); }, {{"ssids[3].enable", "0"}}},
    {"set_ssid_cfg",
     [] {
         SsidCfg c = GuestSsid();
         return set_ssid_cfg(&c);
     },
     {{"ssids[1].ssid", "\"Visitors\""},
      {"ssids[1].password", "\"welcome-1234\""},
      {"ssids[1].encrypt", "3"},
      {"ssids[1].auth", "2"},
      {"ssids[1].hidden", "1"},
      {"ssids[1].enable", "1"},
      {"ssids[1].band", "1"},
      {"ssids[1].isolate", "0"},
      {"ssids[1].channel", "36"},
      {"ssids[1].max_clients", "12"},
      {"ssids[1].beacon_interval", "150"},
      {"ssids[1].guest_ip", "\"192.168.100.1\""},
      {"ssids[1].guest_mask", "\"255.255.0.0\""}}},
    {"set_wifi_radio_switch", [] { return set_wifi_radio_switch(0); }, {{"wifi.radio", "0"}}},
    {"set_led_switch", [] { return set_led_switch(0); }, {{"wifi.led", "0"}}},
    {"set_wps_switch", [] { return set_wps_switch(1); }, {{"wifi.wps", "1"}}},
    {"set_ftp_switch", [] { return set_ftp_switch(1); }, {{"services.ftp.enable", "1"}}},
    {"set_sambaenable_switch",
     [] { return set_sambaenable_switch(0); },
     {{"services.samba.enable", "0"}}},
    {"set_telnetenable_switch",
     [] { return set_telnetenable_switch(1); },
     {{"services.telnet.enable", "1"}}},
    {"set_ftp_user", [] { return set_ftp_user("bob"); }, {{"services.ftp.user", "\"bob\""}}},
    {"set_ftp_password",
     [] { return set_ftp_password("pw1"); },
     {{"services.ftp.password", "\"pw1\""}}},
    {"set_samba_user",
     [] { return set_samba_user("carol"); },
     {{"services.samba.user", "\"carol\""}}},
    {"set_samba_password",
     [] { return set_samba_password("pw2"); },
     {{"services.samba.password", "\"pw2\""}}},
    {"set_telnet_user",
     [] { return set_telnet_user("root"); },
     {{"services.telnet.user", "\"root\""}}},
    {"set_telnet_password",
     [] { return set_telnet_password(std::string(31, 'p').c_str()); },
     {{"services.telnet.password", "\"ppppppppppppppppppppppppppppppp\""}}},
    {"set_dev_access_control",
     [] {
         DevCfg d;
         memset(&d, 0, sizeof d);
         memcpy(d.mac, kLaptop, 6);
         d.accessControl = 0;
         d.mode = 1;
         d.linkRate = 1;  // other fields are not taken over
         return set_dev_access_control(d);
     },
     {{"devices[2].access_control", "0"},
      {"devices[2].mode", "1"},
      {"devices[2].link_rate", "585"}}},
    {"set_dev_name",
     [] { return set_dev_name(kLaptop, "Work laptop (Tom)"); },
     {{"devices[2].name", "\"Work laptop (Tom)\""}}},
    {"set_dev_us_max_bw",
     [] { return set_dev_us_max_bw(kLaptop, 2048); },
     {{"devices[2].us_max_bw", "2048"}}},
    {"set_dev_ds_max_bw",
     [] { return set_dev_ds_max_bw(kLaptop, 0); },
     {{"devices[2].ds_max_bw", "0"}}},
    {"set_dns",
     [] { return set_dns(0x08080808, 0x08080404); },
     {{"dns.dns1", "\"8.8.8.8\""}, {"dns.dns2", "\"8.8.4.4\""}}},
    {"set_full_load_enable", [] { return set_full_load_enable(1, 1); }, {{"full_load.1", "1"}}},
    {"sync_time", [] { return sync_time(1700000000); }, {{"time.synced", "1700000000"}}},
    {"restart", [] { return restart() | restart(); }, {{"actions.restart_count", "2"}}},
    {"set_redirection",
     [] { return set_redirection(1, "http://portal.example/login"); },
     {{"actions.redirection", "{\"enable\":1,\"url\":\"http://portal.example/login\"}"}}},
    {"update_rom_version",
     [] { return update_rom_version("http://fw.example/rom.bin", "0123456789abcdef"); },
     {{"actions.rom_updates",
       "[{\"url\":\"http://fw.example/rom.bin\",\"md5\":\"0123456789abcdef\"}]"}}},
    {"set_http_test_url",
     [] { return set_http_test_url("http://speed.example/100M"); },
     {{"actions.http_test_url", "\"http://speed.example/100M\""}}},
};

class SdkSetter : public SdkTest, public ::testing::WithParamInterface<SetCase> {};

TEST_P(SdkSetter, WritesTheChangeToTheStateFile) {
    const SetCase& c = GetParam();
    ASSERT_EQ(c.call(), 0);
    auto state = LoadState();
    ASSERT_NE(state, nullptr);
    for (const auto& e : c.expect)
        EXPECT_EQ(JsonTextAt(state.get(), e.first), e.second) << e.first;
}

INSTANTIATE_TEST_SUITE_P(Calls, SdkSetter, ::testing::ValuesIn(kSetCases),
                         [](const ::testing::TestParamInfo<SetCase>& i) {
                             return std::string(i.param.name);
                         });

TEST_F(SdkTest, FreshLoadOfTheFileSeesTheChange) {
    SsidCfg c = GuestSsid();
    ASSERT_EQ(set_ssid_cfg(&c), 0);
    ASSERT_EQ(set_dns(0x01010101, 0x09090909), 0);
    // A copy under another name is a different source: it is parsed from scratch.
    std::string copy = dir_.File("copy.json");
    testsupport::WriteFile(copy, testsupport::ReadFile(statePath_));
    setenv("PLUG_SDK_STATE", copy.c_str(), 1);
    SsidCfg back;
    memset(&back, 0xEE, sizeof back);
    ASSERT_EQ(get_ssid_cfg(1, &back), 0);
    EXPECT_EQ(memcmp(&back, &c, sizeof c), 0);
    uint32_t d1 = 0, d2 = 0;
    ASSERT_EQ(get_dns(&d1, &d2), 0);
    EXPECT_EQ(d1, 0x01010101u);
    EXPECT_EQ(d2, 0x09090909u);
    EXPECT_EQ(get_ssid_switch(1), 1);
}

TEST_F(SdkTest, WriteBackLeavesNoTemporaryFilesAndKeepsUnknownKeys) {
    SetStateValue("", "comment", "\"written by hand\"");
    SetStateValue("devices[0]", "vendor_note", "[1, 2]");
    ASSERT_EQ(set_led_switch(0), 0);
    ASSERT_EQ(set_dns(0x08080808, 0), 0);
    auto state = LoadState();
    EXPECT_EQ(JsonTextAt(state.get(), "comment"), "\"written by hand\"");
    EXPECT_EQ(JsonTextAt(state.get(), "devices[0].vendor_note"), "[1,2]");
    std::set<std::string> names;
    DIR* d = opendir(dir_.path().c_str());
    ASSERT_NE(d, nullptr);
    while (dirent* e = readdir(d))
        names.insert(e->d_name);
    closedir(d);
    EXPECT_EQ(names, (std::set<std::string>{".", "..", "state.json", "calls.log"}));
}

TEST_F(SdkTest, SetsMissingSectionsInAnEmptyState) {
    testsupport::WriteFile(statePath_, "{}");
    ASSERT_EQ(set_dns(0x0A000001, 0x0A000002), 0);
    ASSERT_EQ(set_telnet_user("admin"), 0);
    auto state = LoadState();
    EXPECT_EQ(JsonTextAt(state.get(), "dns"), "{\"dns1\":\"10.0.0.1\",\"dns2\":\"10.0.0.2\"}");
    EXPECT_EQ(JsonTextAt(state.get(), "services.telnet.user"), "\"admin\"");
}

TEST_F(SdkTest, AccessControlReadBackThroughTheDeviceRecord) {
    DevCfg d;
    ASSERT_EQ(get_dev_cfg(&d, kLaptop), 0);
    EXPECT_EQ(d.accessControl, 1);
    d.accessControl = 0;
    ASSERT_EQ(set_dev_access_control(d), 0);
    DevCfg back;
    ASSERT_EQ(get_dev_cfg(&back, kLaptop), 0);
    EXPECT_EQ(memcmp(&back, &d, sizeof d), 0);
}

}  // namespace

// The call log: one line per call, with the arguments in a fixed readable form.
#include <cstdlib>
#include <cstring>
#include <functional>
#include <string>

#include "SdkFixture.h"

using sdktest::SdkTest;

namespace {

const uint8_t kLaptop[6] = {0xF0, 0x18, 0x98, 0x7C, 0x44, 0x03};

struct LogCase {
    const char* name;
    std::function<void()> call;
    const char* line;
};

void PrintTo(const LogCase& c, std::ostream* os) {
    *os << c.name;
}

const LogCase kLogCases[] = {
    {"no_arguments",
     [] {
         char t[64];
         get_router_sn(t);
     },
     "get_router_sn"},
    {"index",
     [] {
         WanCfg w;
         get_wan_cfg(1, &w);
     },
     "get_wan_cfg 1"},
    {"list",
     [] {
         WanCfg w[ROUTER_MAX_WANS];
         uint16_t n;
         get_wans_cfg(w, &n);
     },
     "get_wans_cfg"},
    {"dns", [] { set_dns(0x08080808, 0x08080404); }, "set_dns 8.8.8.8 8.8.4.4"},
    {"access",
     [] {
         DevCfg d;
         memset(&d, 0, sizeof d);
         memcpy(d.mac, kLaptop, 6);
         d.accessControl = 0;
         d.mode = 1;
         set_dev_access_control(d);
     },
     "set_dev_access_control F0:18:98:7C:44:03 access=0 mode=1"},
    {"ssid_switch", [] { set_ssid_switch(2, 0); }, "set_ssid_switch 2 0"},
    {"led", [] { set_led_switch(1); }, "set_led_switch 1"},
    {"text", [] { set_name("Living room"); }, "set_name \"Living room\""},
    {"escaped_text", [] { set_ftp_user("a\"b\\c\n\xC3\xA9"); },
     "set_ftp_user \"a\\\"b\\\\c\\x0A\\xC3\\xA9\""},
    {"null_text", [] { set_samba_password(nullptr); }, "set_samba_password (null)"},
    {"mac", [] { get_dev_us_bw(kLaptop); }, "get_dev_us_bw F0:18:98:7C:44:03"},
    {"null_mac",
     [] {
         DevCfg d;
         get_dev_cfg(&d, nullptr);
     },
     "get_dev_cfg (null)"},
    {"dev_name", [] { set_dev_name(kLaptop, "Tom's"); },
     "set_dev_name F0:18:98:7C:44:03 \"Tom's\""},
    {"limit", [] { set_dev_ds_max_bw(kLaptop, -1); }, "set_dev_ds_max_bw F0:18:98:7C:44:03 -1"},
    {"speed",
     [] {
         uint16_t s;
         get_dev_speed(-3, &s);
     },
     "get_dev_speed -3"},
    {"full_load", [] { set_full_load_enable(3, 1); }, "set_full_load_enable 3 1"},
    {"sync_time", [] { sync_time(1700000000); }, "sync_time 1700000000"},
    {"restart", [] { restart(); }, "restart"},
    {"redirection", [] { set_redirection(1, "http://a/b"); }, "set_redirection 1 \"http://a/b\""},
    {"rom", [] { update_rom_version("http://fw/r.bin", "abc"); },
     "update_rom_version \"http://fw/r.bin\" \"abc\""},
    {"ssid_cfg",
     [] {
         SsidCfg c;
         memset(&c, 0, sizeof c);
         c.index = 1;
         strcpy(c.ssid, "Guest");
         strcpy(c.password, "pw");
         c.encrypt = 1;
         c.enable = 1;
         c.channel = 6;
         c.maxClients = 8;
         c.beaconInterval = 100;
         c.guestIp = 0xC0A86401;
         c.guestMask = 0xFFFFFF00;
         set_ssid_cfg(&c);
     },
     "set_ssid_cfg 1 ssid=\"Guest\" password=\"pw\" encrypt=1 auth=0 hidden=0 enable=1 band=0 "
     "isolate=0 channel=6 max_clients=8 beacon_interval=100 guest_ip=192.168.100.1 "
     "guest_mask=255.255.255.0"},
};

class SdkCallLog : public SdkTest, public ::testing::WithParamInterface<LogCase> {};

TEST_P(SdkCallLog, AppendsOneLineInTheFixedForm) {
    const LogCase& c = GetParam();
    get_led_switch();
    c.call();
    auto lines = LogLines();
    ASSERT_EQ(lines.size(), 2u);
    EXPECT_EQ(lines[0], "get_led_switch");
    EXPECT_EQ(lines[1], c.line);
}

INSTANTIATE_TEST_SUITE_P(Calls, SdkCallLog, ::testing::ValuesIn(kLogCases),
                         [](const ::testing::TestParamInfo<LogCase>& i) {
                             return std::string(i.param.name);
                         });

TEST_F(SdkTest, FailingCallsAreLoggedToo) {
    setenv("PLUG_SDK_STATE", dir_.File("absent.json").c_str(), 1);
    uint16_t n;
    EXPECT_EQ(get_wan_num(&n), 2);
    EXPECT_EQ(LogLines(), std::vector<std::string>{"get_wan_num"});
}

TEST_F(SdkTest, NoLogWithoutTheVariable) {
    unsetenv("PLUG_SDK_CALL_LOG");
    EXPECT_EQ(get_led_switch(), 1);
    EXPECT_EQ(testsupport::ReadFile(logPath_), "");
    std::string other = dir_.File("other.log");
    setenv("PLUG_SDK_CALL_LOG", other.c_str(), 1);
    EXPECT_EQ(get_wps_switch(), 0);
    EXPECT_EQ(testsupport::ReadFile(other), "get_wps_switch\n");
}

}  // namespace

// Reading the router state: identity, the IPv4 convention, reloading on edits, the bundled
// default, bad files and values, text fields and 64-bit values.
#include <cstring>
#include <string>

#include "SdkFixture.h"

using sdktest::SdkTest;
using testsupport::ReadFile;
using testsupport::WriteFile;

namespace {

TEST_F(SdkTest, ReadsTheIdentityOfTheStateFile) {
    char text[ROUTER_TEXT_SIZE];
    ASSERT_EQ(get_router_sn(text), 0);
    EXPECT_STREQ(text, "HR4G22120700318");
    ASSERT_EQ(get_router_vender(text), 0);
    EXPECT_STREQ(text, "Homelink");
    ASSERT_EQ(get_router_model(text), 0);
    EXPECT_STREQ(text, "HL-AX3000");
    char pin[ROUTER_PIN_SIZE];
    ASSERT_EQ(get_router_pin(pin), 0);
    EXPECT_STREQ(pin, "58213096");
    char name[ROUTER_NAME_SIZE];
    ASSERT_EQ(get_name(name), 0);
    EXPECT_STREQ(name, "Homelink-4D5E");
    uint8_t mac[6];
    ASSERT_EQ(get_router_mac(mac), 0);
    const uint8_t expectMac[6] = {0x00, 0x1A, 0x2B, 0x3C, 0x4D, 0x5E};
    EXPECT_EQ(memcmp(mac, expectMac, 6), 0);
    uint8_t flag = 9;
    ASSERT_EQ(get_router_is_plug(&flag), 0);
    EXPECT_EQ(flag, 1);
    ASSERT_EQ(get_router_support_ipv6(&flag), 0);
    EXPECT_EQ(flag, 1);
}

TEST_F(SdkTest, VersionRecordCarriesTextAndDateBytes) {
    RouterVersion ver;
    memset(&ver, 0x55, sizeof ver);
    ASSERT_EQ(get_router_version(&ver), 0);
    EXPECT_STREQ(ver.text, "V2.1.3.8");
    const uint8_t* raw = reinterpret_cast<const uint8_t*>(&ver);
    EXPECT_EQ(raw[60], 22);
    EXPECT_EQ(raw[61], 12);
    EXPECT_EQ(raw[62], 27);
    EXPECT_EQ(raw[63], 5);
    EXPECT_EQ(raw[59], 0);  // text padding
}

TEST_F(SdkTest, CpuAndMemoryRecords) {
    CpuCfg cpu;
    ASSERT_EQ(get_cpu_cfg(&cpu), 0);
    EXPECT_STREQ(cpu.model, "ARM Cortex-A53");
    EXPECT_EQ(+cpu.freqMhz, 1300);
    EXPECT_EQ(cpu.cores, 4);
    MemCfg mem;
    ASSERT_EQ(get_mem_cfg(&mem), 0);
    EXPECT_EQ(+mem.sizeKb, 262144u);
    EXPECT_STREQ(mem.type, "DDR3");
}

TEST_F(SdkTest, Ipv4TextComesBackAsHostOrderInteger) {
    LanCfg lan;
    ASSERT_EQ(get_lan_cfg(&lan), 0);
    EXPECT_EQ(+lan.ip, 0xC0A80101u);
    EXPECT_EQ(+lan.mask, 0xFFFFFF00u);
    EXPECT_EQ(lan.dhcpEnable, 1);
    EXPECT_EQ(+lan.leaseSec, 86400u);
    uint32_t dns1 = 0, dns2 = 0;
    ASSERT_EQ(get_dns(&dns1, &dns2), 0);
    EXPECT_EQ(dns1, 0xCA608056u);  // 202.96.128.86
    EXPECT_EQ(dns2, 0xCA608685u);  // 202.96.134.133
    WanCfg wan;
    ASSERT_EQ(get_wan_cfg(0, &wan), 0);
    EXPECT_EQ(+wan.ip, 0x64401707u);       // 100.64.23.7
    EXPECT_EQ(+wan.gateway, 0x64400001u);  // 100.64.0.1
}

TEST_F(SdkTest, WanRecordAndCounters) {
    WanCfg wan;
    ASSERT_EQ(get_wan_cfg(1, &wan), 0);
    EXPECT_EQ(+wan.index, 1);
    EXPECT_EQ(+wan.vlanId, 45);
    EXPECT_EQ(+wan.mtu, 1500);
    EXPECT_STREQ(wan.name, "IPTV");
    EXPECT_EQ(+wan.linkSpeed, 100);
    uint32_t n = 0;
    ASSERT_EQ(get_wan_tcp_con_num(0, &n), 0);
    EXPECT_EQ(n, 57u);
    ASSERT_EQ(get_wan_udp_con_num(1, &n), 0);
    EXPECT_EQ(n, 40u);
    uint64_t bytes = 0;
    ASSERT_EQ(get_wan_receive_bytes(0, &bytes), 0);
    EXPECT_EQ(bytes, 48213705611ull);
    uint8_t st = 9;
    ASSERT_EQ(get_wan_con_status(1, &st), 0);
    EXPECT_EQ(st, 0);
}

TEST_F(SdkTest, LanPortsSpeedsAndModules) {
    uint16_t num = 0;
    ASSERT_EQ(get_lan_num(&num), 0);
    EXPECT_EQ(num, 4);
    uint64_t flow = 0;
    ASSERT_EQ(get_lan_port_down_flow(0, &flow), 0);
    EXPECT_EQ(flow, 88230011u);
    ASSERT_EQ(get_lan_port_up_flow(2, &flow), 0);
    EXPECT_EQ(flow, 55012u);
    uint8_t st = 9;
    ASSERT_EQ(get_lan_con_status(1, &st), 0);
    EXPECT_EQ(st, 0);
    uint16_t speed = 0;
    ASSERT_EQ(get_dev_speed(2, &speed), 0);
    EXPECT_EQ(speed, 100);
    ASSERT_EQ(get_wifi_module_status(2, &st), 0);
    EXPECT_EQ(st, 0);
    ASSERT_EQ(get_wifi_module_status(3, &st), 0);
    EXPECT_EQ(st, 1);
}

TEST_F(SdkTest, SwitchGettersReturnTheSwitch) {
    EXPECT_EQ(get_ssid_switch(0), 1);
    EXPECT_EQ(get_ssid_switch(1), 0);
    EXPECT_EQ(get_wifi_radio_switch(), 1);
    EXPECT_EQ(get_led_switch(), 1);
    EXPECT_EQ(get_wps_switch(), 0);
    uint8_t on = 9;
    ASSERT_EQ(get_sambaenable_switch(&on), 0);
    EXPECT_EQ(on, 1);
    ASSERT_EQ(get_telnetenable_switch(&on), 0);
    EXPECT_EQ(on, 0);
}

TEST_F(SdkTest, ReloadsWhenTheFileIsEditedBetweenCalls) {
    uint16_t use = 0;
    ASSERT_EQ(get_cpu_use(&use), 0);
    EXPECT_EQ(use, 17);
    // Same length, written within the same clock tick: noticed by content.
    SetStateValue("load", "cpu_use", "88");
    ASSERT_EQ(get_cpu_use(&use), 0);
    EXPECT_EQ(use, 88);
    SetStateValue("load", "mem_use", "12");
    ASSERT_EQ(get_mem_use(&use), 0);
    EXPECT_EQ(use, 12);
}

TEST_F(SdkTest, NoticesAChangedStateVariableBetweenCalls) {
    std::string other = dir_.File("other.json");
    WriteFile(other, "{\"identity\": {\"name\": \"Second\"}}");
    char name[ROUTER_NAME_SIZE];
    ASSERT_EQ(get_name(name), 0);
    EXPECT_STREQ(name, "Homelink-4D5E");
    setenv("PLUG_SDK_STATE", other.c_str(), 1);
    ASSERT_EQ(get_name(name), 0);
    EXPECT_STREQ(name, "Second");
    uint16_t n = 7;
    ASSERT_EQ(get_wan_num(&n), 0);  // missing keys read as empty
    EXPECT_EQ(n, 0);
}

TEST_F(SdkTest, MissingOrBrokenFileFailsWithStatusTwo) {
    setenv("PLUG_SDK_STATE", dir_.File("absent.json").c_str(), 1);
    uint16_t n = 0;
    EXPECT_EQ(get_wan_num(&n), 2);
    EXPECT_EQ(get_led_switch(), -2);
    EXPECT_EQ(get_flows_up_rate(), 0u);
    setenv("PLUG_SDK_STATE", statePath_.c_str(), 1);
    WriteFile(statePath_, "{\"identity\": ");
    EXPECT_EQ(get_wan_num(&n), 2);
    EXPECT_EQ(set_name("x"), 2);
    WriteFile(statePath_, "[1, 2]");
    EXPECT_EQ(get_wan_num(&n), 2);
    WriteFile(statePath_, sdktest::DefaultStateText());
    EXPECT_EQ(get_wan_num(&n), 0);
    EXPECT_EQ(n, 2);
}

struct BadValueCase {
    const char* name;
    const char* parent;
    const char* key;
    const char* json;
    std::function<int()> call;
};

void PrintTo(const BadValueCase& c, std::ostream* os) {
    *os << c.name;
}

class SdkBadValue : public SdkTest, public ::testing::WithParamInterface<BadValueCase> {};

TEST_P(SdkBadValue, FailsWithStatusTwo) {
    const BadValueCase& c = GetParam();
    SetStateValue(c.parent, c.key, c.json);
    EXPECT_EQ(c.call(), 2);
}

const BadValueCase kBadValues[] = {
    {"short_ip", "lan", "ip", "\"192.168.1\"",
     [] {
         LanCfg l;
         return get_lan_cfg(&l);
     }},
    {"ip_as_number", "dns", "dns1", "3232235777",
     [] {
         uint32_t a, b;
         return get_dns(&a, &b);
     }},
    {"bad_mac", "identity", "mac", "\"00:1A:2B:3C:4D\"",
     [] {
         uint8_t m[6];
         return get_router_mac(m);
     }},
    {"u16_overflow", "identity.cpu", "freq_mhz", "70000",
     [] {
         CpuCfg c;
         return get_cpu_cfg(&c);
     }},
    {"negative_count", "load", "cpu_use", "-1",
     [] {
         uint16_t u;
         return get_cpu_use(&u);
     }},
    {"fraction", "load", "mem_use", "1.5",
     [] {
         uint16_t u;
         return get_mem_use(&u);
     }},
    {"text_as_number", "identity", "sn", "12",
     [] {
         char t[64];
         return get_router_sn(t);
     }},
    {"date_short", "identity", "version_date", "[1,2,3]",
     [] {
         RouterVersion v;
         return get_router_version(&v);
     }},
    {"device_mac", "devices[1]", "mac", "\"nonsense\"",
     [] {
         DevCfg d[ROUTER_MAX_DEVS];
         uint16_t n;
         return get_devs_cfg(d, &n);
     }},
    {"rssi_range", "devices[0]", "rssi", "-200",
     [] {
         DevCfg d[ROUTER_MAX_DEVS];
         uint16_t n;
         return get_devs_cfg(d, &n);
     }},
    {"black_list_entry", "", "black_list", "[\"AA:BB\"]",
     [] {
         uint8_t m[ROUTER_MAX_BLACK][6];
         uint16_t n;
         return get_dev_black_list(m, &n);
     }},
    {"fail_not_int", "", "fail", "{\"get_wan_num\": \"often\"}",
     [] {
         uint16_t n;
         return get_wan_num(&n);
     }},
};

INSTANTIATE_TEST_SUITE_P(Values, SdkBadValue, ::testing::ValuesIn(kBadValues),
                         [](const ::testing::TestParamInfo<BadValueCase>& i) {
                             return std::string(i.param.name);
                         });

TEST_F(SdkTest, BadArgumentsFailWithStatusOne) {
    WanCfg wan;
    EXPECT_EQ(get_wan_cfg(7, &wan), 1);
    EXPECT_EQ(get_wan_cfg(0, nullptr), 1);
    SsidCfg ssid;
    EXPECT_EQ(get_ssid_cfg(4, &ssid), 1);
    EXPECT_EQ(get_ssid_switch(9), -1);
    EXPECT_EQ(set_ssid_switch(0, 2), 1);
    uint64_t flow;
    EXPECT_EQ(get_lan_port_up_flow(4, &flow), 1);
    uint16_t speed;
    EXPECT_EQ(get_dev_speed(-1, &speed), 1);
    EXPECT_EQ(get_dev_speed(4, &speed), 1);
    uint8_t st;
    EXPECT_EQ(get_wifi_module_status(4, &st), 1);
    const uint8_t unknown[6] = {1, 2, 3, 4, 5, 6};
    DevCfg dev;
    EXPECT_EQ(get_dev_cfg(&dev, unknown), 1);
    EXPECT_EQ(get_dev_cfg(&dev, nullptr), 1);
    int64_t limit;
    EXPECT_EQ(get_dev_us_max_bw(unknown, &limit), 1);
    EXPECT_EQ(set_dev_ds_max_bw(unknown, 5), 1);
    EXPECT_EQ(get_dev_us_bw(unknown), 0u);
    char name[ROUTER_DEV_NAME_SIZE];
    EXPECT_EQ(get_dev_name(unknown, name), 1);
    EXPECT_EQ(set_name(std::string(32, 'n').c_str()), 1);
    EXPECT_EQ(set_name(nullptr), 1);
    EXPECT_EQ(set_ftp_user(std::string(32, 'u').c_str()), 1);
    EXPECT_EQ(set_led_switch(3), 1);
    EXPECT_EQ(set_full_load_enable(0, 2), 1);
    EXPECT_EQ(update_rom_version("http://x/rom.bin", nullptr), 1);
    uint16_t n = 0;
    uint32_t ip = 0;
    EXPECT_EQ(get_router_is_plug(nullptr), 1);
    EXPECT_EQ(get_ftp_switch(nullptr), 1);
    EXPECT_EQ(get_wan_tcp_con_num(0, nullptr), 1);
    EXPECT_EQ(get_wan_con_status(0, nullptr), 1);
    EXPECT_EQ(get_lan_con_status(0, nullptr), 1);
    EXPECT_EQ(get_cpu_use(nullptr), 1);
    EXPECT_EQ(get_duration_time(nullptr), 1);
    EXPECT_EQ(get_devs_cfg(nullptr, &n), 1);
    EXPECT_EQ(get_wans_cfg(nullptr, &n), 1);
    EXPECT_EQ(get_dns(nullptr, &ip), 1);
    EXPECT_EQ(get_router_version(nullptr), 1);
    EXPECT_EQ(set_ssid_cfg(nullptr), 1);
    SsidCfg unterminated;
    memset(&unterminated, 'x', sizeof unterminated);
    unterminated.index = 0;
    EXPECT_EQ(set_ssid_cfg(&unterminated), 1);
    SsidCfg absent;
    memset(&absent, 0, sizeof absent);
    absent.index = 9;
    EXPECT_EQ(set_ssid_cfg(&absent), 1);
    EXPECT_EQ(get_dev_us_bw(nullptr), 0u);
    // Nothing of that reached the file.
    EXPECT_EQ(ReadFile(statePath_), sdktest::DefaultStateText());
}

TEST_F(SdkTest, LongTextsAreCutAndTerminatedInsideTheirFields) {
    SetStateValue("identity", "sn", "\"" + std::string(100, 'S') + "\"");
    SetStateValue("devices[0]", "name", "\"" + std::string(40, 'd') + "\"");
    struct {
        char sn[ROUTER_TEXT_SIZE];
        char guard[8];
    } buf;
    memset(&buf, 0x7F, sizeof buf);
    ASSERT_EQ(get_router_sn(buf.sn), 0);
    EXPECT_EQ(std::string(buf.sn), std::string(63, 'S'));
    EXPECT_EQ(std::string(buf.guard, 8), std::string(8, '\x7F'));
    const uint8_t mac[6] = {0x3C, 0x22, 0xFB, 0x91, 0x0A, 0x11};
    DevCfg dev;
    ASSERT_EQ(get_dev_cfg(&dev, mac), 0);
    EXPECT_EQ(std::string(dev.name), std::string(15, 'd'));
    char name[ROUTER_DEV_NAME_SIZE];
    ASSERT_EQ(get_dev_name(mac, name), 0);
    EXPECT_EQ(std::string(name), std::string(40, 'd'));
}

TEST_F(SdkTest, SixtyFourBitValuesSurviveExactly) {
    SetStateValue("wans[0]", "rx_bytes", "\"18446744073709551615\"");
    uint64_t bytes = 0;
    ASSERT_EQ(get_wan_receive_bytes(0, &bytes), 0);
    EXPECT_EQ(bytes, UINT64_MAX);
    const uint8_t mac[6] = {0xF0, 0x18, 0x98, 0x7C, 0x44, 0x03};
    ASSERT_EQ(set_dev_us_max_bw(mac, INT64_MAX), 0);
    ASSERT_EQ(set_dev_ds_max_bw(mac, -1), 0);
    int64_t up = 0, down = 0;
    ASSERT_EQ(get_dev_us_max_bw(mac, &up), 0);
    ASSERT_EQ(get_dev_ds_max_bw(mac, &down), 0);
    EXPECT_EQ(up, INT64_MAX);
    EXPECT_EQ(down, -1);
    auto state = LoadState();
    EXPECT_EQ(sdktest::JsonTextAt(state.get(), "devices[2].us_max_bw"), "\"9223372036854775807\"");
    EXPECT_EQ(sdktest::JsonTextAt(state.get(), "devices[2].ds_max_bw"), "-1");
}

TEST_F(SdkTest, RatesAndBandwidths) {
    EXPECT_EQ(get_flows_down_rate(), 2870120u);
    EXPECT_EQ(get_flows_up_rate(), 60080u);
    const uint8_t tv[6] = {0xA4, 0x5E, 0x60, 0xD2, 0x33, 0x02};
    EXPECT_EQ(get_dev_ds_bw(tv), 2400000u);
    EXPECT_EQ(get_dev_us_bw(tv), 3000u);
    uint64_t secs = 0;
    ASSERT_EQ(get_duration_time(&secs), 0);
    EXPECT_EQ(secs, 183045u);
}

TEST_F(SdkTest, NamesOfHostsThatAreNotAttached) {
    const uint8_t printer[6] = {0xB8, 0x27, 0xEB, 0x12, 0x34, 0x56};
    char name[ROUTER_DEV_NAME_SIZE];
    ASSERT_EQ(get_dev_name(printer, name), 0);
    EXPECT_STREQ(name, "printer");
    ASSERT_EQ(set_dev_name(printer, "office printer"), 0);
    const uint8_t other[6] = {0x02, 0, 0, 0, 0, 0x09};
    ASSERT_EQ(set_dev_name(other, "nas"), 0);
    auto state = LoadState();
    EXPECT_EQ(sdktest::JsonTextAt(state.get(), "known_names"),
              "{\"B8:27:EB:12:34:56\":\"office printer\",\"02:00:00:00:00:09\":\"nas\"}");
    DevCfg dev;
    EXPECT_EQ(get_dev_cfg(&dev, other), 1);  // named, but still not attached
}

class SdkDefaultState : public ::testing::Test {
protected:
    void SetUp() override {
        unsetenv("PLUG_SDK_STATE");
        unsetenv("PLUG_SDK_CALL_LOG");
    }
};

TEST_F(SdkDefaultState, BundledStateIsUsedWithoutTheVariable) {
    char sn[ROUTER_TEXT_SIZE];
    ASSERT_EQ(get_router_sn(sn), 0);
    EXPECT_STREQ(sn, "HR4G22120700318");
    uint16_t n = 0;
    ASSERT_EQ(get_wan_num(&n), 0);
    EXPECT_EQ(n, 2);
    DevCfg devs[ROUTER_MAX_DEVS];
    ASSERT_EQ(get_devs_cfg(devs, &n), 0);
    EXPECT_EQ(n, 5);
    uint8_t black[ROUTER_MAX_BLACK][6];
    ASSERT_EQ(get_dev_black_list(black, &n), 0);
    EXPECT_EQ(n, 1);
    WlanCfg wlans[ROUTER_MAX_WLANS];
    ASSERT_EQ(get_wlans_cfg(wlans, &n), 0);
    EXPECT_EQ(n, 2);
    EXPECT_EQ(get_ssid_switch(3), 1);
}

TEST_F(SdkDefaultState, ChangesStayInMemoryAndAreDroppedWhenTheSourceChanges) {
    testsupport::TempDir dir;
    std::string before = sdktest::DefaultStateText();
    ASSERT_EQ(set_name("Changed"), 0);
    char name[ROUTER_NAME_SIZE];
    ASSERT_EQ(get_name(name), 0);
    EXPECT_STREQ(name, "Changed");
    EXPECT_EQ(sdktest::DefaultStateText(), before);
    // A state file in between, then the default again, fresh.
    WriteFile(dir.File("s.json"), "{}");
    setenv("PLUG_SDK_STATE", dir.File("s.json").c_str(), 1);
    ASSERT_EQ(get_name(name), 0);
    EXPECT_STREQ(name, "");
    unsetenv("PLUG_SDK_STATE");
    ASSERT_EQ(get_name(name), 0);
    EXPECT_STREQ(name, "Homelink-4D5E");
}

}  // namespace

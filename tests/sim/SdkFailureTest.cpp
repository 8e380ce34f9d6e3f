// Failure injection: "fail": {"<function>": status} in the state file.
#include <cstring>
#include <functional>
#include <string>

#include "SdkFixture.h"

using sdktest::JsonTextAt;
using sdktest::SdkTest;

namespace {

const uint8_t kTv[6] = {0xA4, 0x5E, 0x60, 0xD2, 0x33, 0x02};

struct FailCase {
    const char* function;
    int injected;
    std::function<long long()> call;
    long long expect;
};

void PrintTo(const FailCase& c, std::ostream* os) {
    *os << c.function;
}

const FailCase kFailCases[] = {
    {"get_wan_cfg", 5,
     [] {
         WanCfg w;
         return get_wan_cfg(0, &w);
     },
     5},
    {"get_devs_cfg", 9,
     [] {
         DevCfg d[ROUTER_MAX_DEVS];
         uint16_t n;
         return get_devs_cfg(d, &n);
     },
     9},
    {"get_router_sn", 3,
     [] {
         char t[ROUTER_TEXT_SIZE];
         return get_router_sn(t);
     },
     3},
    {"get_dev_cfg", 4,
     [] {
         DevCfg d;
         return get_dev_cfg(&d, kTv);
     },
     4},
    {"get_dev_name", 6,
     [] {
         char n[64];
         return get_dev_name(kTv, n);
     },
     6},
    {"get_dev_black_list", 8,
     [] {
         uint8_t m[ROUTER_MAX_BLACK][6];
         uint16_t n;
         return get_dev_black_list(m, &n);
     },
     8},
    {"get_dns", 11,
     [] {
         uint32_t a, b;
         return get_dns(&a, &b);
     },
     11},
    {"set_dns", 7, [] { return set_dns(1, 2); }, 7},
    {"set_dev_access_control", 12,
     [] {
         DevCfg d;
         memset(&d, 0, sizeof d);
         memcpy(d.mac, kTv, 6);
         return set_dev_access_control(d);
     },
     12},
    {"sync_time", 13, [] { return sync_time(5); }, 13},
    {"restart", 1, [] { return restart(); }, 1},
    {"get_ssid_switch", 4, [] { return get_ssid_switch(0); }, -4},
    {"get_wifi_radio_switch", 3, [] { return get_wifi_radio_switch(); }, -3},
    {"get_led_switch", 6, [] { return get_led_switch(); }, -6},
    {"get_wps_switch", -5, [] { return get_wps_switch(); }, -5},
    {"get_dev_us_bw", 2, [] { return static_cast<long long>(get_dev_us_bw(kTv)); }, 0},
    {"get_dev_ds_bw", 2, [] { return static_cast<long long>(get_dev_ds_bw(kTv)); }, 0},
    {"get_flows_down_rate", 2, [] { return static_cast<long long>(get_flows_down_rate()); }, 0},
    {"get_flows_up_rate", 2, [] { return static_cast<long long>(get_flows_up_rate()); }, 0},
};

class SdkFailure : public SdkTest, public ::testing::WithParamInterface<FailCase> {};

TEST_P(SdkFailure, InjectedStatusIsReturnedAndNothingChanges) {
    const FailCase& c = GetParam();
    long long healthy = c.call();
    EXPECT_NE(healthy, c.expect) << "the call must succeed differently without the injection";
    SetStateValue("fail", c.function, std::to_string(c.injected));
    std::string before = testsupport::ReadFile(statePath_);
    EXPECT_EQ(c.call(), c.expect);
    EXPECT_EQ(testsupport::ReadFile(statePath_), before);
    auto lines = LogLines();
    ASSERT_FALSE(lines.empty());
    EXPECT_EQ(lines.back().substr(0, strlen(c.function)), c.function);  // still logged
    // Status 0 switches the injection off again.
    SetStateValue("fail", c.function, "0");
    EXPECT_EQ(c.call(), healthy);
}

INSTANTIATE_TEST_SUITE_P(Functions, SdkFailure, ::testing::ValuesIn(kFailCases),
                         [](const ::testing::TestParamInfo<FailCase>& i) {
                             return std::string(i.param.function);
                         });

TEST_F(SdkTest, FailingCallFillsNothing) {
    SetStateValue("fail", "get_wan_cfg", "5");
    WanCfg w;
    memset(&w, 0xA5, sizeof w);
    ASSERT_EQ(get_wan_cfg(0, &w), 5);
    const uint8_t* raw = reinterpret_cast<const uint8_t*>(&w);
    for (size_t i = 0; i < sizeof w; ++i)
        ASSERT_EQ(raw[i], 0xA5) << i;
}

TEST_F(SdkTest, InjectionAffectsOnlyTheNamedFunction) {
    SetStateValue("", "fail", "{\"get_wan_cfg\": 5, \"set_dns\": 7}");
    WanCfg w;
    EXPECT_EQ(get_wan_cfg(1, &w), 5);
    EXPECT_EQ(set_dns(0x08080808, 0x08080404), 7);
    WanCfg all[ROUTER_MAX_WANS];
    uint16_t n = 0;
    EXPECT_EQ(get_wans_cfg(all, &n), 0);
    uint32_t a = 0, b = 0;
    EXPECT_EQ(get_dns(&a, &b), 0);
    EXPECT_EQ(a, 0xCA608056u);
    auto state = LoadState();
    EXPECT_EQ(JsonTextAt(state.get(), "dns.dns1"), "\"202.96.128.86\"");
}

}  // namespace

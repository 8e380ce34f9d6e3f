// List functions fill at most ROUTER_MAX_* records and report the router's real count; records
// keep their byte layout.
#include <cstring>
#include <string>
#include <thread>
#include <vector>

#include "SdkFixture.h"

using sdktest::SdkTest;

namespace {

std::string Mac(int i) {
    char buf[18];
    snprintf(buf, sizeof buf, "02:00:00:00:%02X:%02X", (i >> 8) & 0xFF, i & 0xFF);
    return buf;
}

// A JSON array of `n` texts made by `make`.
template <typename F>
std::string JsonArray(int n, F make) {
    std::string out = "[";
    for (int i = 0; i < n; ++i)
        out += (i ? "," : "") + make(i);
    return out + "]";
}

TEST_F(SdkTest, DevicesAreCutAtTheMaximumAndTheRealCountIsReported) {
    SetStateValue("", "devices", JsonArray(130, [](int i) {
                      return "{\"mac\":\"" + Mac(i) + "\",\"name\":\"dev" + std::to_string(i) +
                             "\",\"ip\":\"192.168.1." + std::to_string(i + 2) + "\"}";
                  }));
    std::vector<DevCfg> devs(ROUTER_MAX_DEVS + 2);
    memset(devs.data(), 0xEE, devs.size() * sizeof(DevCfg));
    uint16_t num = 0;
    ASSERT_EQ(get_devs_cfg(devs.data(), &num), 0);
    EXPECT_EQ(num, 130);
    EXPECT_STREQ(devs[127].name, "dev127");
    EXPECT_EQ(+devs[127].ip, 0xC0A80181u);  // 192.168.1.129
    const uint8_t* guard = reinterpret_cast<const uint8_t*>(&devs[ROUTER_MAX_DEVS]);
    for (size_t i = 0; i < 2 * sizeof(DevCfg); ++i)
        ASSERT_EQ(guard[i], 0xEE) << i;
    // The devices beyond the list's room are still known one by one.
    uint8_t mac[6] = {0x02, 0, 0, 0, 0, 129};
    DevCfg last;
    ASSERT_EQ(get_dev_cfg(&last, mac), 0);
    EXPECT_STREQ(last.name, "dev129");
}

TEST_F(SdkTest, OtherListsAreCutToo) {
    SetStateValue("", "wans", JsonArray(10, [](int i) {
                      return "{\"index\":" + std::to_string(i) + ",\"mtu\":1500}";
                  }));
    SetStateValue("", "wlans",
                  JsonArray(9, [](int i) { return "{\"index\":" + std::to_string(i) + "}"; }));
    SetStateValue("", "adj_wifi", JsonArray(70, [](int i) {
                      return "{\"bssid\":\"" + Mac(i) + "\",\"ssid\":\"n" + std::to_string(i) +
                             "\"}";
                  }));
    SetStateValue("", "black_list", JsonArray(130, [](int i) { return "\"" + Mac(i) + "\""; }));

    std::vector<WanCfg> wans(ROUTER_MAX_WANS + 1);
    memset(wans.data(), 0xEE, wans.size() * sizeof(WanCfg));
    uint16_t num = 0;
    ASSERT_EQ(get_wans_cfg(wans.data(), &num), 0);
    EXPECT_EQ(num, 10);
    EXPECT_EQ(+wans[7].index, 7);
    EXPECT_EQ(reinterpret_cast<const uint8_t*>(&wans[ROUTER_MAX_WANS])[0], 0xEE);

    std::vector<WlanCfg> wlans(ROUTER_MAX_WLANS + 1);
    memset(wlans.data(), 0xEE, wlans.size() * sizeof(WlanCfg));
    ASSERT_EQ(get_wlans_cfg(wlans.data(), &num), 0);
    EXPECT_EQ(num, 9);
    EXPECT_EQ(+wlans[ROUTER_MAX_WLANS].index, 0xEEEE);

    std::vector<AdjWifiDev> adj(ROUTER_MAX_ADJ_WIFI + 1);
    memset(adj.data(), 0xEE, adj.size() * sizeof(AdjWifiDev));
    ASSERT_EQ(get_adj_wifi_devs(adj.data(), &num), 0);
    EXPECT_EQ(num, 70);
    EXPECT_STREQ(adj[63].ssid, "n63");
    EXPECT_EQ(adj[ROUTER_MAX_ADJ_WIFI].bssid[0], 0xEE);

    std::vector<uint8_t> black((ROUTER_MAX_BLACK + 1) * 6, 0xEE);
    ASSERT_EQ(get_dev_black_list(reinterpret_cast<uint8_t(*)[6]>(black.data()), &num), 0);
    EXPECT_EQ(num, 130);
    EXPECT_EQ(black[127 * 6 + 5], 127);
    EXPECT_EQ(black[ROUTER_MAX_BLACK * 6], 0xEE);
}

TEST_F(SdkTest, DeviceRecordByteLayout) {
    DevCfg devs[ROUTER_MAX_DEVS];
    uint16_t num = 0;
    ASSERT_EQ(get_devs_cfg(devs, &num), 0);
    ASSERT_EQ(num, 5);
    const uint8_t* r = reinterpret_cast<const uint8_t*>(&devs[2]);
    const uint8_t mac[6] = {0xF0, 0x18, 0x98, 0x7C, 0x44, 0x03};
    EXPECT_EQ(memcmp(r, mac, 6), 0);
    EXPECT_EQ(std::string(reinterpret_cast<const char*>(r + 6)), "work-laptop");
    EXPECT_EQ(r[22], 2);  // connType
    EXPECT_EQ(r[24], 1);  // mode
    EXPECT_EQ(r[25], 1);  // accessControl
    EXPECT_EQ(r[26], 1);  // attribute
    EXPECT_EQ(static_cast<int8_t>(r[27]), -57);
    EXPECT_EQ(+devs[2].linkRate, 585);
    EXPECT_EQ(+devs[2].ip, 0xC0A80166u);  // 192.168.1.102
    EXPECT_EQ(devs[4].accessControl, 0);
}

TEST_F(SdkTest, NeighbouringWifiAndWlanRecords) {
    AdjWifiDev adj[ROUTER_MAX_ADJ_WIFI];
    uint16_t num = 0;
    ASSERT_EQ(get_adj_wifi_devs(adj, &num), 0);
    ASSERT_EQ(num, 3);
    EXPECT_STREQ(adj[1].ssid, "NeighbourNet");
    EXPECT_EQ(adj[1].rssi, -72);
    EXPECT_EQ(+adj[1].channel, 11);
    WlanCfg wlans[ROUTER_MAX_WLANS];
    ASSERT_EQ(get_wlans_cfg(wlans, &num), 0);
    ASSERT_EQ(num, 2);
    EXPECT_EQ(wlans[1].band, 1);
    EXPECT_EQ(+wlans[1].channel, 149);
    EXPECT_EQ(wlans[1].bandwidth, 2);
    EXPECT_EQ(wlans[1].ssidNum, 2);
}

TEST_F(SdkTest, ConcurrentCallersKeepStateAndLogWhole) {
    constexpr int kThreads = 4;
    constexpr int kRounds = 50;
    std::vector<std::thread> threads;
    std::vector<int> failures(kThreads, 0);
    for (int t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &failures] {
            const uint8_t mac[6] = {0x3C, 0x22, 0xFB, 0x91, 0x0A, 0x11};
            for (int i = 0; i < kRounds; ++i) {
                DevCfg devs[ROUTER_MAX_DEVS];
                uint16_t num = 0;
                if (get_devs_cfg(devs, &num) != 0 || num != 5) ++failures[t];
                std::string name = "t" + std::to_string(t) + "-" + std::to_string(i);
                if (set_dev_name(mac, name.c_str()) != 0) ++failures[t];
                if (get_led_switch() != 1) ++failures[t];
            }
        });
    }
    for (auto& th : threads)
        th.join();
    for (int t = 0; t < kThreads; ++t)
        EXPECT_EQ(failures[t], 0) << t;
    auto lines = LogLines();
    EXPECT_EQ(lines.size(), static_cast<size_t>(kThreads * kRounds * 3));
    for (const auto& l : lines) {
        ASSERT_TRUE(l == "get_devs_cfg" || l == "get_led_switch" ||
                    l.rfind("set_dev_name 3C:22:FB:91:0A:11 \"t", 0) == 0)
            << l;
    }
    auto state = LoadState();
    ASSERT_NE(state, nullptr);
    EXPECT_EQ(sdktest::JsonTextAt(state.get(), "devices[0].name").substr(0, 2), "\"t");
}

}  // namespace

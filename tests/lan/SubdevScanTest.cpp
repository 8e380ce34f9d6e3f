// One sub-device scan against the SDK simulator and an ARP table fixture: the function-63
// message byte for byte, the ARP-only hosts, the black list only in debug mode, the 128 cap and
// the subnet prefix rules.
#include <gtest/gtest.h>

#include <cstdio>
#include <memory>

#include "LanTestSupport.h"
#include "core/Globals.h"
#include "core/Paths.h"
#include "lan/SubdevScan.h"

namespace {

using lantest::Bytes;
using lantest::Hex;
using lantest::SdkDev;

// One record of the function-63 message: address and MAC, the name in 16 bytes, the rest.
Bytes Rec(const std::string& ipMac, const std::string& name, const std::string& rest) {
    return testsupport::Cat(Hex(ipMac), name, Bytes(16 - name.size(), 0), Hex(rest));
}

std::string Devices(int n) {
    std::string s = "[";
    char mac[32];
    for (int i = 0; i < n; ++i) {
        snprintf(mac, sizeof mac, "02:00:00:00:%02X:%02X", i >> 8, i & 0xFF);
        s += (i ? "," : "") + SdkDev(mac, "d", "192.168.1." + std::to_string(i % 250 + 1));
    }
    return s + "]";
}

struct SubdevScanTest : ::testing::Test {
    SubdevScanTest() : t(new SubdevTable()) { ResetInNetSeg(); }
    ~SubdevScanTest() override { l_debug = 0; }
    // Steps 2 to 7 as the monitor runs them; false when the scan would start again.
    bool Scan() {
        if (GetSdkDevices(t.get()) != kScanOk) return false;
        GetFlowStatisData(t.get());
        char seg[lanlimits::kInNetSegSize];
        if (!GetInNetSeg(*t, seg)) return false;
        GetOffLineInfo(t.get(), seg);
        GetBlackInfo(t.get());
        return true;
    }
    lantest::Lan lan;
    testsupport::LogCapture log;
    std::unique_ptr<SubdevTable> t;
};

TEST_F(SubdevScanTest, RouterDevicesAndArpHostsMakeOneMessage) {
    lan.SetSdk("[" + SdkDev("3C:22:FB:91:0A:11", "phone", "192.168.1.100", 2, 1000, 300000) + "," +
                   SdkDev("A4:5E:60:D2:33:02", "abcdefghijklmnopq", "192.168.1.101", 3, 1, 2) + "]",
               ",\"known_names\":{\"B8:27:EB:12:34:56\":\"printer\"},"
               "\"black_list\":[\"A4:5E:60:D2:33:02\"]");
    lan.SetArp(
        "IP address       HW type     Flags       HW address            Mask     Device\n"
        "192.168.1.100    0x1         0x2         3c:22:fb:91:0a:11     *        br-lan\n"
        "192.168.1.50     0x1         0x2         b8:27:eb:12:34:56     *        br-lan\n"
        "192.168.1.51     0x1         0x0         00:00:00:00:00:00     *        br-lan\n"
        "10.0.0.1         0x1         0x2         02:00:00:00:00:99     *        eth1\n"
        "192.168.1.52 0x1 0x2 02:00:00:00:00:52 * br-lan " +
        std::string(300, 'x') +
        "\n"
        "192.168.1.53\t0x1\t0x2\t02:00:00:00:00:53\t*\tbr-lan\n");
    ASSERT_TRUE(Scan());
    const std::string arpOnly = std::string(32, '0') + "00 01 01";
    Bytes expected = Hex("05 00 3F 00 00 00 05 00");
    for (const Bytes& rec : {Rec("C0 A8 01 64 3C 22 FB 91 0A 11", "phone",
                                 "E8 03 00 00 00 00 00 00 E0 93 04 00 00 00 00 00 01 01 02"),
                             Rec("C0 A8 01 65 A4 5E 60 D2 33 02", "abcdefghijklmno",
                                 "01 00 00 00 00 00 00 00 02 00 00 00 00 00 00 00 01 01 03"),
                             Rec("C0 A8 01 32 B8 27 EB 12 34 56", "printer", arpOnly),
                             Rec("C0 A8 01 34 02 00 00 00 00 52", "unknown-device", arpOnly),
                             Rec("C0 A8 01 35 02 00 00 00 00 53", "unknown-device", arpOnly)})
        testsupport::Append(&expected, rec);
    EXPECT_EQ(expected, BuildSubdevMessage(*t, 5));
    EXPECT_FALSE(log.Contains("BlackNum"));

    l_debug = 1;  // the black list is read only in debug mode
    ASSERT_TRUE(Scan());
    EXPECT_TRUE(log.Contains("BlackMac0=a4:5e:60:d2:33:02"));
    EXPECT_EQ(1, t->rec[0].allowed);
    EXPECT_EQ(0, t->rec[1].allowed);
}

TEST_F(SubdevScanTest, CountsPrefixesAndFailures) {
    lan.SetArp("192.168.1.52 0x1 0x2 02:00:00:00:00:52 * br-lan\n");
    lan.SetSdk(Devices(128));
    ASSERT_TRUE(Scan());
    EXPECT_EQ(128u, t->total);  // no room for the ARP host

    lan.SetSdk("[]");  // no device: the previous prefix serves
    ASSERT_TRUE(Scan());
    EXPECT_EQ(1u, t->total);
    ResetInNetSeg();
    EXPECT_FALSE(Scan());
    EXPECT_TRUE(log.Contains("GetInNetSeg failed."));

    PathsSetArpTable(lan.dir().File("none"));
    lan.SetSdk(Devices(1));
    ASSERT_TRUE(Scan());
    EXPECT_EQ(1u, t->total);
    EXPECT_TRUE(log.Contains("Unable to open file " + lan.dir().File("none") + "."));

    lan.SetSdk(Devices(130));
    EXPECT_EQ(kScanRetryLater, GetSdkDevices(t.get()));
    EXPECT_TRUE(log.Contains("DeviceNum too large."));
    lan.SetSdk("[]", ",\"fail\":{\"get_devs_cfg\":4}");
    EXPECT_EQ(kScanRetryLater, GetSdkDevices(t.get()));
    EXPECT_TRUE(log.Contains("get_devs_cfg Failed."));
}

}  // namespace

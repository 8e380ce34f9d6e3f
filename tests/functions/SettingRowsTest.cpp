// Settings against the simulated router: the status answer, what the SDK was called with (call
// log) and what changed in the router's state file.
#include <gtest/gtest.h>

#include <cstring>
#include <string>

#include "FnTestSupport.h"
#include "functions/SdkRecords.h"
#include "lan/Subdev.h"

namespace {

using fntest::Bytes;
using fntest::Hex;
using fntest::Image;
using fntest::Request;
using fntest::StateNumber;
using fntest::StateText;

Bytes Status(uint8_t id, const char* code = "00 00") {
    Bytes b = {0xAB, 0xCD, id, 0x00};
    Bytes c = Hex(code);
    b.insert(b.end(), c.begin(), c.end());
    return b;
}

Bytes TextBytes(const std::string& s) {
    Bytes b(s.begin(), s.end());
    b.push_back(0);
    return b;
}

struct SettingCase {
    const char* name;
    Bytes request;
    const char* logLine;  // the SDK call as the simulator logged it
    const char* path;     // state member that changed
    double number;        // its new value (for numbers)
    const char* text;     // its new value (for texts), or nullptr
};

std::vector<SettingCase> Cases() {
    const Bytes phone = Hex("3C 22 FB 91 0A 11");
    Bytes devName = phone;
    Bytes tv = TextBytes("tv");
    devName.insert(devName.end(), tv.begin(), tv.end());
    Bytes limits = phone;
    Bytes limitBytes = Hex("E8 03 00 00 00 00 00 00  80 84 1E 00 00 00 00 00");
    limits.insert(limits.end(), limitBytes.begin(), limitBytes.end());
    Bytes redirect = {0x01};
    Bytes url = TextBytes("http://portal/x");
    redirect.insert(redirect.end(), url.begin(), url.end());
    return {
        {"ssid switch", Request(15, Hex("01 00 01")), "set_ssid_switch 1 1", "ssids.1.enable", 1,
         nullptr},
        {"radio", Request(19, Hex("00")), "set_wifi_radio_switch 0", "wifi.radio", 0, nullptr},
        {"led", Request(23, Hex("01")), "set_led_switch 1", "wifi.led", 1, nullptr},
        {"wps", Request(31, Hex("00")), "set_wps_switch 0", "wifi.wps", 0, nullptr},
        {"dev limits", Request(35, limits), "set_dev_ds_max_bw 3C:22:FB:91:0A:11 2000000",
         "devices.0.ds_max_bw", 2000000, nullptr},
        {"dev name", Request(37, devName), "set_dev_name 3C:22:FB:91:0A:11 \"tv\"",
         "devices.0.name", 0, "tv"},
        {"dns", Request(45, Hex("08 08 08 08 01 02 03 04")), "set_dns 8.8.8.8 1.2.3.4", "dns.dns2",
         0, "1.2.3.4"},
        {"name", Request(46, TextBytes("Router-7")), "set_name \"Router-7\"", "identity.name", 0,
         "Router-7"},
        {"full load", Request(50, Hex("02 00 01")), "set_full_load_enable 2 1", "full_load.2", 1,
         nullptr},
        {"time", Request(53, Hex("00 F1 53 65 00 00 00 00")), "sync_time 1700000000", "time.synced",
         1700000000, nullptr},
        {"restart", Request(55), "restart", "actions.restart_count", 1, nullptr},
        {"redirection", Request(56, redirect), "set_redirection 1 \"http://portal/x\"",
         "actions.redirection.url", 0, "http://portal/x"},
        {"test url", Request(59, TextBytes("http://speed/t")),
         "set_http_test_url \"http://speed/t\"", "actions.http_test_url", 0, "http://speed/t"},
    };
}

TEST(SettingRows, ChangeTheRouterStateAndAnswerStatus) {
    for (const SettingCase& c : Cases()) {
        SCOPED_TRACE(c.name);
        fntest::SimRouter router;
        fntest::Answer a = fntest::Call(c.request);
        EXPECT_EQ(0, a.ret);
        EXPECT_EQ(Status(c.request[2]), a.bytes);
        EXPECT_NE(std::string::npos, router.CallLog().find(std::string(c.logLine) + "\n"))
            << router.CallLog();
        fntest::JsonPtr state = router.State();
        if (c.text != nullptr)
            EXPECT_EQ(c.text, StateText(state.get(), c.path));
        else
            EXPECT_EQ(c.number, StateNumber(state.get(), c.path));
    }
}

// 45: the addresses travel in network order and reach set_dns as host-order integers.
TEST(SettingRows, SetDnsReversesBothAddresses) {
    fntest::SimRouter router;
    fntest::Answer a = fntest::Call(Request(45, Hex("C0 A8 01 FE 0A 00 00 01")));
    EXPECT_EQ(Status(45), a.bytes);
    EXPECT_EQ("set_dns 192.168.1.254 10.0.0.1\n", router.CallLog());
    fntest::JsonPtr state = router.State();
    EXPECT_EQ("192.168.1.254", StateText(state.get(), "dns.dns1"));
    EXPECT_EQ("10.0.0.1", StateText(state.get(), "dns.dns2"));
}

TEST(SettingRows, SsidRecordIsReadFieldByField) {
    fntest::SimRouter router;
    Bytes record = Image(120)
                       .At(0, Hex("01 00"))
                       .Text(2, "Guest2")
                       .Text(35, "pw2")
                       .At(100, Hex("01 01 01 01 00 01  0B 00  08 00  C8 00"))
                       .At(112, Hex("C0 A8 02 01  FF FF 00 00"))
                       .bytes;
    fntest::Answer a = fntest::Call(Request(17, record));
    EXPECT_EQ(Status(17), a.bytes);
    EXPECT_EQ(
        "set_ssid_cfg 1 ssid=\"Guest2\" password=\"pw2\" encrypt=1 auth=1 hidden=1 enable=1 "
        "band=0 isolate=1 channel=11 max_clients=8 beacon_interval=200 guest_ip=192.168.2.1 "
        "guest_mask=255.255.0.0\n",
        router.CallLog());
    fntest::JsonPtr state = router.State();
    EXPECT_EQ("Guest2", StateText(state.get(), "ssids.1.ssid"));
    EXPECT_EQ(200, StateNumber(state.get(), "ssids.1.beacon_interval"));
    EXPECT_EQ("192.168.2.1", StateText(state.get(), "ssids.1.guest_ip"));
}

// Fixed text fields that the request fills to the last byte without a terminator reach the SDK
// cut by one character and terminated inside the field.
TEST(SettingRows, UnterminatedFixedTextsReachTheSdkCutAndTerminated) {
    struct Case {
        const char* field;
        size_t off;
        size_t size;
        char fill;
    } cases[] = {{"ssid", 2, 33, 'S'}, {"password", 35, 65, 'P'}};
    fntest::SimRouter router;
    Image record(120);
    record.At(0, Hex("01 00"));
    for (const Case& c : cases)
        record.Text(c.off, std::string(c.size, c.fill));
    EXPECT_EQ(Status(17), fntest::Call(Request(17, record.bytes)).bytes);
    fntest::JsonPtr state = router.State();
    for (const Case& c : cases)
        EXPECT_EQ(std::string(c.size - 1, c.fill),
                  StateText(state.get(), std::string("ssids.1.") + c.field))
            << c.field;
    // Function 32's device name: the record the SDK gets ends inside its 16-byte field.
    DevCfg dev;
    memset(&dev, 0x7F, sizeof dev);
    GetDevCfg(Image(34).Text(6, std::string(16, 'N')).bytes.data(), &dev);
    EXPECT_EQ(std::string(15, 'N'), std::string(dev.name));
}

TEST(SettingRows, DeviceAccessControlRecord) {
    fntest::SimRouter router;
    Bytes record = Image(34)
                       .At(0, Hex("3C 22 FB 91 0A 11"))
                       .Text(6, "phone")
                       .At(22, Hex("02 01 01 00 01 D0 62 03 C0 A8 01 64"))
                       .bytes;
    fntest::Answer a = fntest::Call(Request(32, record));
    EXPECT_EQ(Status(32), a.bytes);
    EXPECT_EQ("set_dev_access_control 3C:22:FB:91:0A:11 access=0 mode=1\n", router.CallLog());
    fntest::JsonPtr state = router.State();
    EXPECT_EQ(0, StateNumber(state.get(), "devices.0.access_control"));
    EXPECT_EQ(1, StateNumber(state.get(), "devices.0.mode"));
}

TEST(SettingRows, ServiceSwitchesAndAccounts) {
    fntest::SimRouter router;
    EXPECT_EQ(Status(27), fntest::Call(Request(27, Hex("01 00 00"))).bytes);
    Image accounts(192);
    const char* texts[] = {"fu", "fp", "su", "sp", "tu", "tp"};
    for (int i = 0; i < 6; ++i)
        accounts.Text(32 * i, texts[i]);
    EXPECT_EQ(Status(29), fntest::Call(Request(29, accounts.bytes)).bytes);
    fntest::JsonPtr state = router.State();
    EXPECT_EQ(1, StateNumber(state.get(), "services.ftp.enable"));
    EXPECT_EQ(0, StateNumber(state.get(), "services.samba.enable"));
    EXPECT_EQ(0, StateNumber(state.get(), "services.telnet.enable"));
    EXPECT_EQ("fu", StateText(state.get(), "services.ftp.user"));
    EXPECT_EQ("sp", StateText(state.get(), "services.samba.password"));
    EXPECT_EQ("tp", StateText(state.get(), "services.telnet.password"));
}

TEST(SettingRows, RomUpdateTakesMd5FieldThenUrl) {
    fntest::SimRouter router;
    const std::string md5 = "0123456789abcdef0123456789abcdef";
    Bytes params = Image(33).Text(0, md5).bytes;
    Bytes url = TextBytes("http://fw/rom.bin");
    params.insert(params.end(), url.begin(), url.end());
    EXPECT_EQ(Status(57), fntest::Call(Request(57, params)).bytes);
    EXPECT_EQ("update_rom_version \"http://fw/rom.bin\" \"" + md5 + "\"\n", router.CallLog());
    fntest::JsonPtr state = router.State();
    EXPECT_EQ(md5, StateText(state.get(), "actions.rom_updates.0.md5"));
}

TEST(SettingRows, SubdevScanRequestRaisesTheFlag) {
    nQuerySubdev = 0;
    EXPECT_EQ(Status(64), fntest::Call(Request(64)).bytes);
    EXPECT_EQ(1, nQuerySubdev.load());
    nQuerySubdev = 0;
}

}  // namespace

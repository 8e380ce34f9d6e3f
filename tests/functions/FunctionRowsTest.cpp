// The function table against the simulated router: per row the request bytes, the answer bytes
// (written from the documented layouts and the test state's values) and the SDK calls made, in
// order and with their arguments as the simulator logs them. Then the dispatcher's paths, SDK
// failures, the bounds of every parameter block and the firmware version report.
#include <gtest/gtest.h>

#include <cstdio>
#include <cstring>
#include <set>

#include "FnTestSupport.h"
#include "core/SubdevMutex.h"
#include "functions/FwVersion.h"
#include "functions/SdkRecords.h"
#include "ipc/AutoReport.h"
#include "lan/Subdev.h"
#include "platform/Protool.h"

namespace {

using fntest::Bytes;
using fntest::Call;
using fntest::Hex;
using fntest::Image;
using fntest::Request;
using testsupport::Cat;

// Answer header for function `id` with result code 0.
Image Head(size_t len, uint8_t id) {
    return Image(len).At(0, {0xAB, 0xCD, id, 0x00, 0x00, 0x00});
}

// A query answer: header with code 0, `data` at 6, zeros up to `len`.
Bytes Q(uint8_t id, size_t len, const char* data = "") {
    return Head(len, id).At(6, Hex(data)).bytes;
}

Bytes Status(uint8_t id, const char* code = "00 00") {
    return Head(6, id).At(4, Hex(code)).bytes;
}

Bytes Text(const std::string& s) {
    return Cat({}, s, Bytes{0});
}

const Bytes kPhone = Hex("3C 22 FB 91 0A 11");
const char* const kPhoneLog = "3C:22:FB:91:0A:11";

// The first WAN of the test state as its 228-byte record.
Bytes Wan0() {
    // index 0, enabled, VLAN 258, MTU 1492, PPPoE; five addresses; link speed 1000, NAT
    return Image(228).At(0, Hex("00 00 01 02 01 D4 05 02")).Text(8, "INTERNET").Text(40, "u")
        .Text(104, "p").At(168, Hex("00 1A 2B 3C 4D 5F"))
        .At(205, Hex("64 40 17 07  FF FF FF FF  64 40 00 01  08 08 08 08  08 08 04 04  E8 03 01"))
        .bytes;
}

Bytes Wan1() {
    return Image(228).At(0, Hex("01 00 00 2D 00 DC 05 00")).Text(8, "IPTV")
        .At(168, Hex("00 1A 2B 3C 4D 60")).At(205, Hex("0A 14 1E 28  FF FF 00 00  0A 14 00 01"))
        .At(225, Hex("64 00 00")).bytes;
}

// The test state's device as its 34-byte record, `tail` from byte 22 (mode at 24, access at 25).
Bytes PhoneRecord(const char* tail = "02 01 00 01 01 D0 62 03 C0 A8 01 64") {
    return Cat(Image(22).At(0, kPhone).Text(6, "phone").bytes, Hex(tail));
}

struct Row {
    uint16_t id;
    Bytes params, answer;
    std::string calls;  // the SDK calls as the simulator logged them, one per line
};

std::vector<Row> Rows() {
    const std::string ph = kPhoneLog;
    const Bytes ssid = Image(120).At(0, Hex("01 00")).Text(2, "Guest2").Text(35, "pw2")
        .At(100, Hex("01 01 01 01 00 01  0B 00  08 00  C8 00  C0 A8 02 01  FF FF 00 00")).bytes;
    const Bytes unterminated = Image(120).At(0, Hex("01 00")).Text(2, std::string(33, 'S'))
        .Text(35, std::string(65, 'P')).bytes;
    const Bytes accounts = Image(192).Text(0, "fu").Text(32, "fp").Text(64, "su").Text(96, "sp")
        .Text(128, "tu").Text(160, "tp").bytes;
    const std::string md5 = "0123456789abcdef0123456789abcdef";
    return {
        {1, {}, Head(70, 1).Text(6, "V1.2").At(66, Hex("16 0C 1B 05")).bytes, "get_router_version"},
        {2, {}, Head(301, 2).At(6, Hex("02 11 22 33 44 55")).Text(12, "SN42").Text(76, "Acme")
             .Text(140, "R1").Text(204, "A53").At(244, Hex("14 05 04  00 00 04 00"))
             .Text(251, "DDR3").At(267, {0x01}).Text(268, "home").At(300, {0x01}).bytes,
         "get_router_sn\nget_router_vender\nget_router_model\nget_cpu_cfg\nget_mem_cfg\nget_name\n"
         "get_router_is_plug\nget_router_support_ipv6"},
        {3, Hex("00 00"), Cat(Q(3, 6), Wan0()), "get_wan_cfg 0"},
        {4, {}, Cat(Q(4, 8, "02 00"), Wan0(), Wan1()), "get_wans_cfg"},
        {5, Hex("00 00"), Q(5, 10, "39 00 00 00"), "get_wan_tcp_con_num 0"},
        {6, Hex("00 00"), Q(6, 10, "04 03 02 01"), "get_wan_udp_con_num 0"},
        {7, Hex("00 00"), Q(7, 14, "08 07 06 05 04 03 02 01"), "get_wan_receive_bytes 0"},
        {10, {}, Q(10, 20, "C0 A8 01 01 FF FF FF 00 01 00 80 51 01 00"), "get_lan_cfg"},
        {11, {}, Q(11, 8, "02 00"), "get_lan_num"},
        {12, {}, Q(12, 40, "02 00  02 01 00 00 00 00 00 00  08 07 06 05 04 03 02 01"
                           "00 00 00 00 00 00 00 00  01 00 00 00 00 00 00 00"),
         "get_lan_num\nget_lan_port_up_flow 0\nget_lan_port_down_flow 0\nget_lan_port_up_flow 1\n"
         "get_lan_port_down_flow 1"},
        {13, {}, Q(13, 24, "02 00  00 00 00 01 06 01 64 02  01 00 01 01 95 02 50 01"),
         "get_wlans_cfg"},
        {14, Hex("00 00"), Q(14, 7, "01"), "get_ssid_switch 0"},
        {15, Hex("01 00 01"), Status(15), "set_ssid_switch 1 1"},
        {16, Hex("00 00"), Head(126, 16).Text(8, "Home").Text(41, "secret")
             .At(106, Hex("02 01 00 01 00 00  06 00  20 00  64 00  C0 A8 64 01  FF FF FF 00"))
             .bytes,
         "get_ssid_cfg 0"},
        {17, ssid, Status(17),
         "set_ssid_cfg 1 ssid=\"Guest2\" password=\"pw2\" encrypt=1 auth=1 hidden=1 enable=1 "
         "band=0 isolate=1 channel=11 max_clients=8 beacon_interval=200 guest_ip=192.168.2.1 "
         "guest_mask=255.255.0.0"},
        // Texts that fill their field without a terminator reach the SDK cut by one character.
        {17, unterminated, Status(17),
         "set_ssid_cfg 1 ssid=\"" + std::string(32, 'S') + "\" password=\"" + std::string(64, 'P') +
             "\" encrypt=0 auth=0 hidden=0 enable=0 band=0 isolate=0 channel=0 max_clients=0 "
             "beacon_interval=0 guest_ip=0.0.0.0 guest_mask=0.0.0.0"},
        {18, {}, Q(18, 7, "01"), "get_wifi_radio_switch"},
        {19, Hex("00"), Status(19), "set_wifi_radio_switch 0"},
        {20, {}, Head(27, 20).At(26, {0x01}).bytes, ""},
        {21, {}, Status(21), ""},
        {22, {}, Q(22, 7), "get_led_switch"},
        {23, Hex("01"), Status(23), "set_led_switch 1"},
        {24, {}, Head(27, 24).At(26, {0x01}).bytes, ""},
        {25, {}, Status(25), ""},
        {26, {}, Q(26, 9, "00 01 01"),
         "get_ftp_switch\nget_sambaenable_switch\nget_telnetenable_switch"},
        {27, Hex("01 00 00"), Status(27),
         "set_ftp_switch 1\nset_sambaenable_switch 0\nset_telnetenable_switch 0"},
        {28, {},
         Head(198, 28).Text(6, "ftpuser").Text(38, "ftp-pass").Text(70, "share").Text(102, "smb")
             .Text(134, "admin").Text(166, "tel").bytes,
         "get_ftp_user\nget_ftp_password\nget_samba_user\nget_samba_password\nget_telnet_user\n"
         "get_telnet_password"},
        {29, accounts, Status(29),
         "set_ftp_user \"fu\"\nset_ftp_password \"fp\"\nset_samba_user \"su\"\n"
         "set_samba_password \"sp\"\nset_telnet_user \"tu\"\nset_telnet_password \"tp\""},
        {30, {}, Q(30, 7, "01"), "get_wps_switch"},
        {31, Hex("00"), Status(31), "set_wps_switch 0"},
        {32, PhoneRecord("02 01 01 00 01 D0 62 03 C0 A8 01 64"), Status(32),
         "set_dev_access_control " + ph + " access=0 mode=1"},
        {33, kPhone, Q(33, 22, "E0 2E 00 00 00 00 00 00  30 57 05 00 00 00 00 00"),
         "get_dev_us_bw " + ph + "\nget_dev_ds_bw " + ph},
        {34, kPhone, Q(34, 22, "00 C8 00 00 00 00 00 00  00 00 10 00 00 00 00 00"),
         "get_dev_us_max_bw " + ph + "\nget_dev_ds_max_bw " + ph},
        {35, Cat(kPhone, Hex("E8 03 00 00 00 00 00 00  80 84 1E 00 00 00 00 00")),
         Status(35), "set_dev_us_max_bw " + ph + " 1000\nset_dev_ds_max_bw " + ph + " 2000000"},
        {36, kPhone, Q(36, 13, "05 00 70 68 6F 6E 65"), "get_dev_name " + ph},
        {37, Cat(kPhone, Text("tv")), Status(37), "set_dev_name " + ph + " \"tv\""},
        {38, kPhone, Cat(Q(38, 6), PhoneRecord()), "get_dev_cfg " + ph},
        {39, {}, Cat(Q(39, 8, "01 00"), PhoneRecord()), "get_devs_cfg"},
        {41, {}, Q(41, 12, "E8 03 64 00 0A 00"),
         "get_dev_speed 0\nget_dev_speed 1\nget_dev_speed 2"},
        {42, {}, Head(52, 42).At(6, Hex("01 00 00 00  C8 3A 35 10 22 01")).Text(16, "Tenda")
             .At(49, Hex("C3 01 01")).bytes, "get_adj_wifi_devs"},
        {43, {}, Q(43, 14, "01 00 DC A6 32 01 66 05"), "get_dev_black_list"},
        {44, {}, Q(44, 14, "CA 60 80 56 CA 60 86 85"), "get_dns"},
        // Both addresses arrive in network order and reach the SDK as host-order integers.
        {45, Hex("C0 A8 01 FE 0A 00 00 01"), Status(45), "set_dns 192.168.1.254 10.0.0.1"},
        {46, Text("Router-7"), Status(46), "set_name \"Router-7\""},
        {47, {}, Q(47, 8, "11 00"), "get_cpu_use"},
        {48, {}, Q(48, 8, "2B 00"), "get_mem_use"},
        {49, {}, Q(49, 18, "02 00 01 00  02 00 01 00  01 00 01 01"),
         "get_lan_num\nget_lan_con_status 0\nget_lan_con_status 1\nget_wan_num\n"
         "get_wan_con_status 0\nget_wan_con_status 1\nget_wifi_module_status 0\n"
         "get_wifi_module_status 1\nget_wifi_module_status 2\nget_wifi_module_status 3"},
        {50, Hex("02 00 01"), Status(50), "set_full_load_enable 2 1"},
        {53, Hex("00 F1 53 65 00 00 00 00"), Status(53), "sync_time 1700000000"},
        {54, {}, Q(54, 14, "05 CB 02 00 00 00 00 00"), "get_duration_time"},
        {55, {}, Status(55), "restart"},
        {56, Cat({0x01}, Text("http://portal/x")), Status(56),
         "set_redirection 1 \"http://portal/x\""},
        {57, Cat(Image(33).Text(0, md5).bytes, Text("http://fw/rom.bin")), Status(57),
         "update_rom_version \"http://fw/rom.bin\" \"" + md5 + "\""},
        // Down is asked first, but the up rate comes first in the answer.
        {58, {}, Q(58, 22, "B0 EA 00 00 00 00 00 00  68 CB 2B 00 00 00 00 00"),
         "get_flows_down_rate\nget_flows_up_rate"},
        {59, Text("http://speed/t"), Status(59), "set_http_test_url \"http://speed/t\""},
        {60, {}, Head(18, 60).Text(6, "12345678").bytes, "get_router_pin"},
        {64, {}, Status(64), ""},  // the scan itself is the sub-device monitor's
    };
}

TEST(FunctionRows, AnswerAndSdkCallsOfEveryRow) {
    const uint8_t mac[6] = {0x02, 0x11, 0x22, 0x33, 0x44, 0x55};
    SetRouteMac(mac);
    nQuerySubdev = 0;
    for (const Row& r : Rows()) {
        SCOPED_TRACE(r.id);
        fntest::SimRouter router;
        fntest::Answer a = Call(Request(r.id, r.params));
        EXPECT_EQ(0, a.ret);
        EXPECT_EQ(r.answer, a.bytes);
        EXPECT_EQ(r.calls.empty() ? "" : r.calls + "\n", router.CallLog());
    }
    EXPECT_EQ(1, nQuerySubdev.load());
    nQuerySubdev = 0;
    // A device row that kept the sub-device mutex would block the next one (33, 36, 39); the
    // release of the last is checked here.
    std::unique_lock<std::mutex> lock(SubdevMutex, std::try_to_lock);
    EXPECT_TRUE(lock.owns_lock());
}

// Function 32's record read from request bytes (the SDK gets all of it, the simulator logs only
// part) writes back to the same bytes, the writer being proven by the rows of functions 38 and 39,
// and an unterminated name is cut inside its field (the WAN record of function 82 is checked with
// the companion rows).
TEST(FunctionRows, DeviceRecordFromRequestBytes) {
    DevCfg d = {};
    GetDevCfg(PhoneRecord().data(), &d);
    Bytes back(34, 0xEE);
    PutDevCfg(back.data(), d);
    EXPECT_EQ(PhoneRecord(), back);
    memset(&d, 0x7F, sizeof d);
    GetDevCfg(Image(34).Text(6, std::string(16, 'N')).bytes.data(), &d);
    EXPECT_EQ(std::string(15, 'N'), std::string(d.name));
}

// Every function ID 0..65535 takes the path its range and row give it. The rows that start a
// ping, traceroute or rate test are left to the diagnostics tests.
TEST(Dispatcher, EveryFunctionIdTakesItsPath) {
    const std::set<int> unsupported = {62, 63, 65, 67, 68}, noAnswer = {40, 81, 84, 86};
    const std::set<int> jobs = {8, 51, 61};
    fntest::SimRouter router;
    testsupport::LogCapture quiet(0);
    for (int id = 0; id <= 0xFFFF; ++id) {
        if (jobs.count(id)) continue;
        SCOPED_TRACE(id);
        const uint8_t lo = static_cast<uint8_t>(id), hi = static_cast<uint8_t>(id >> 8);
        fntest::Answer a = Call(Request(static_cast<uint16_t>(id)));
        if (id == 0 || id >= 32767 || noAnswer.count(id)) {
            EXPECT_EQ(noAnswer.count(id) ? 0 : -1, a.ret);
            EXPECT_TRUE(a.bytes.empty());
        } else if (id >= 89 || unsupported.count(id)) {
            EXPECT_EQ(-1, a.ret);
            EXPECT_EQ(Bytes({0xAB, 0xCD, lo, hi, 7, 0}), a.bytes);
        } else {
            EXPECT_EQ(0, a.ret);
            ASSERT_GE(a.bytes.size(), 6u);
            EXPECT_EQ(Bytes({0xAB, 0xCD, lo, hi}), Bytes(a.bytes.begin(), a.bytes.begin() + 4));
        }
    }
    // The tag is echoed, the ID written again; a request too short for an ID gets nothing.
    fntest::Answer a = Call(Hex("12 34 2C 01 99 99 99 99 99 99"));
    EXPECT_EQ(-1, a.ret);
    EXPECT_EQ(Hex("12 34 2C 01 07 00"), a.bytes);
    a = Call(Hex("AB CD 01"));
    EXPECT_EQ(-1, a.ret);
    EXPECT_TRUE(a.bytes.empty());
}

// A failing SDK call's status becomes the result code, cut to 16 bits; a query stops at its first
// failing call, a setting group still applies every part.
TEST(SdkFailures, StatusBecomesTheResultCode) {
    const struct {
        const char* sdkName;
        int status;
        Bytes request, answer;
        const char* calls;  // nullptr: not checked
    } rows[] = {
        {"get_wan_cfg", 70000, Request(3, Hex("00 00")), Status(3, "70 11"), nullptr},
        {"get_router_vender", 5, Request(2), Status(2, "05 00"),
         "get_router_sn\nget_router_vender\n"},
        {"get_led_switch", 5, Request(22), Status(22, "FB FF"), nullptr},  // the getter returns -5
        {"get_dns", 9, Request(44), Hex("AB CD 2C 00 09 00  00 00 00 00  00 00 00 00"), nullptr},
        {"set_dns", -3, Request(45, Hex("08 08 08 08 08 08 04 04")), Status(45, "FD FF"), nullptr},
        {"get_devs_cfg", 4, Request(39), Status(39, "04 00"), nullptr},
        {"get_lan_port_down_flow", 8, Request(12), Status(12, "08 00"), nullptr},
        {"get_wifi_module_status", 2, Request(49), Status(49, "02 00"), nullptr},
        {"set_sambaenable_switch", 4, Request(27, Hex("01 01 01")), Status(27, "04 00"),
         "set_ftp_switch 1\nset_sambaenable_switch 1\nset_telnetenable_switch 1\n"},
    };
    for (const auto& r : rows) {
        SCOPED_TRACE(r.sdkName);
        fntest::SimRouter router;
        router.Fail(r.sdkName, r.status);
        testsupport::LogCapture log;
        fntest::Answer a = Call(r.request);
        EXPECT_EQ(0, a.ret);
        EXPECT_EQ(r.answer, a.bytes);
        if (r.calls != nullptr) {
            EXPECT_EQ(r.calls, router.CallLog());
        }
        EXPECT_TRUE(log.Contains(std::string("ERROR: ") + r.sdkName + " failed! ret="));
    }
}

// Parameters beyond the received bytes, texts without their NUL or over their field, function 87's
// JSON length outside 2..1023 or a JSON without the rate-test address: code 1 and no SDK call.
TEST(BadInput, ShortParametersAreRefusedWithCode1) {
    Bytes account(192, 0);
    std::fill(account.begin() + 64, account.begin() + 96, 'x');  // Samba user fills its field
    const Bytes braces(1100, '{');
    // Valid JSON naming a rate-test address, padded to 1024 bytes: one over the bound.
    const std::string json1024 = "{\"value_func61\":\"127.0.0.1\"}" + std::string(996, ' ');
    const std::vector<Bytes> requests = {
        Request(17, Hex("01 00 41 42 43")),          Request(3, Hex("00")),
        Request(35, Cat(kPhone, Bytes{0})),          Request(45, Hex("08 08 08 08")),
        Request(46, Hex("61 62 63")),                Request(46, Text(std::string(32, 'm'))),
        Request(37, Cat(kPhone, Hex("61 62"))),      Request(29, Bytes(191, 0)),
        Request(57, Bytes(34, 0x61)),                Request(32, Bytes(33, 0)),
        Request(29, account),                        Request(8, Bytes(23, 0)),
        Request(87, Cat(Hex("01 00"), braces)),      Request(87, Cat(Hex("00 04"), json1024)),
        Request(87, Cat(Hex("00 00"), braces)),      Request(87, Hex("64 00 7B 7D")),
        Request(87, Cat(Hex("07 00"), std::string("{\"a\":1}"))),
    };
    for (const Bytes& r : requests) {
        SCOPED_TRACE(::testing::PrintToString(r));
        fntest::SimRouter router;
        fntest::Answer a = Call(r);
        EXPECT_EQ(0, a.ret);
        EXPECT_EQ(Status(r[2], "01 00"), a.bytes);
        EXPECT_EQ("", router.CallLog());
    }
    // The longest name that fits: its NUL is the last received byte.
    fntest::SimRouter router;
    EXPECT_EQ(Status(46), Call(Request(46, Text(std::string(31, 'n')))).bytes);
    EXPECT_EQ("set_name \"" + std::string(31, 'n') + "\"\n", router.CallLog());
}

TEST(BadInput, DeviceListLongerThanTheArrayIsCut) {
    fntest::SimRouter router;
    router.Edit([](cJSON* root) {
        for (int i = 1; i < 130; ++i) {
            char mac[18];
            snprintf(mac, sizeof mac, "02:00:00:00:%02X:%02X", i >> 8, i & 0xFF);
            cJSON* dev = cJSON_CreateObject();
            cJSON_AddStringToObject(dev, "mac", mac);
            cJSON_AddItemToArray(cJSON_GetObjectItem(root, "devices"), dev);
        }
    });
    fntest::Answer a = Call(Request(39));
    ASSERT_EQ(8u + 128 * 34, a.bytes.size());
    EXPECT_EQ(Hex("AB CD 27 00 00 00 80 00"), Bytes(a.bytes.begin(), a.bytes.begin() + 8));
    const auto last = a.bytes.begin() + 8 + 127 * 34;  // device 127 is the last one kept
    EXPECT_EQ(Hex("02 00 00 00 00 7F"), Bytes(last, last + 6));
}

// The firmware version report's JSON text as sent: keys in order, the eight-digit date appended to
// the version text, the agent's version and the "configed" rule. Nothing goes without the version.
TEST(FwVersionTest, ReportFieldsAndConfigedRule) {
    fntest::SimRouter router;  // version "V1.2", date bytes 22, 12, 27, 5
    const struct {
        int i1, i2, i3;
        const char* configed;
    } cases[] = {
        {5, -1, 0, "no"},                      // no interval 2: "no" whatever interval 3 holds
        {5, -1, 7, "no"},  {5, 10, -1, "no"},  // interval 3 unset
        {5, 10, 0, "yes"}, {-1, 1440, 30, "yes"},
    };
    for (const auto& c : cases) {
        intervalFlag1 = c.i1;
        intervalFlag2 = c.i2;
        intervalFlag3 = c.i3;
        std::string text;
        ASSERT_EQ(FwVersionJson(&text), 0);
        char want[200];
        snprintf(want, sizeof want,
                 "{\n\t\"version\":\t\"V1.222122705\",\n\t\"sdkVersion\":\t\"2.0.0.7\",\n"
                 "\t\"interval1\":\t%d,\n\t\"interval2\":\t%d,\n\t\"interval3\":\t%d,\n"
                 "\t\"configed\":\t\"%s\"\n}",
                 c.i1, c.i2, c.i3, c.configed);
        EXPECT_EQ(want, text);
    }
    CommAutoReportReset();
    router.Fail("get_router_version", 3);
    EXPECT_EQ(dev_fwversion_report(), -1);
}

}  // namespace

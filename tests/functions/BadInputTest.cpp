// SDK failures, requests too short for their parameters, oversized lists and the rows whose
// work has not landed yet.
#include <gtest/gtest.h>

#include <algorithm>

#include "FnTestSupport.h"

namespace {

using fntest::Bytes;
using fntest::Hex;
using fntest::Request;

Bytes Status(uint8_t id, const char* code) {
    Bytes b = {0xAB, 0xCD, id, 0x00};
    Bytes c = Hex(code);
    b.insert(b.end(), c.begin(), c.end());
    return b;
}

struct FailureCase {
    const char* sdkName;
    int status;
    Bytes request;
    Bytes answer;
};

// A failing SDK call's status is the result code, cut to its low 16 bits.
TEST(SdkFailures, StatusBecomesTheResultCodeTruncatedTo16Bits) {
    const std::vector<FailureCase> cases = {
        {"get_wan_cfg", 70000, Request(3, Hex("00 00")), Status(3, "70 11")},
        {"get_router_version", 3, Request(1), Status(1, "03 00")},
        {"get_mem_cfg", 6, Request(2), Status(2, "06 00")},
        {"get_led_switch", 5, Request(22), Status(22, "FB FF")},  // the getter returns -5
        {"set_dns", -3, Request(45, Hex("08 08 08 08 08 08 04 04")), Status(45, "FD FF")},
        {"set_ssid_switch", 0x12345, Request(15, Hex("00 00 00")), Status(15, "45 23")},
        {"get_devs_cfg", 4, Request(39), Status(39, "04 00")},
        {"get_lan_port_down_flow", 8, Request(12), Status(12, "08 00")},
        {"get_wifi_module_status", 2, Request(49), Status(49, "02 00")},
        {"restart", 1, Request(55), Status(55, "01 00")},
    };
    for (const FailureCase& c : cases) {
        SCOPED_TRACE(c.sdkName);
        fntest::SimRouter router;
        router.Fail(c.sdkName, c.status);
        testsupport::LogCapture log;
        fntest::Answer a = fntest::Call(c.request);
        EXPECT_EQ(0, a.ret);
        EXPECT_EQ(c.answer, a.bytes);
        EXPECT_TRUE(log.Contains(std::string("ERROR: ") + c.sdkName + " failed! ret="))
            << log.Text();
    }
}

TEST(SdkFailures, QueryStopsAtItsFirstFailingCall) {
    fntest::SimRouter router;
    router.Fail("get_router_vender", 5);
    EXPECT_EQ(Status(2, "05 00"), fntest::Call(Request(2)).bytes);
    EXPECT_EQ("get_router_sn\nget_router_vender\n", router.CallLog());
}

TEST(SdkFailures, DnsQueryAnswers14BytesWithTheStatus) {
    fntest::SimRouter router;
    router.Fail("get_dns", 9);
    fntest::Answer a = fntest::Call(Request(44));
    EXPECT_EQ(Hex("AB CD 2C 00 09 00  00 00 00 00  00 00 00 00"), a.bytes);
}

TEST(SdkFailures, SettingGroupAppliesEveryPartAndAnswersTheFirstFailure) {
    fntest::SimRouter router;
    router.Fail("set_sambaenable_switch", 4);
    EXPECT_EQ(Status(27, "04 00"), fntest::Call(Request(27, Hex("01 01 01"))).bytes);
    fntest::JsonPtr state = router.State();
    EXPECT_EQ(1, fntest::StateNumber(state.get(), "services.ftp.enable"));
    EXPECT_EQ(1, fntest::StateNumber(state.get(), "services.telnet.enable"));
}

TEST(SdkFailures, SettingChangesNothingWhenTheSdkRefuses) {
    fntest::SimRouter router;
    // a switch value other than 0 or 1: the simulator answers 1 (bad argument)
    EXPECT_EQ(Status(15, "01 00"), fntest::Call(Request(15, Hex("00 00 02"))).bytes);
    EXPECT_EQ("set_ssid_switch 0 2\n", router.CallLog());
    EXPECT_EQ(1, fntest::StateNumber(router.State().get(), "ssids.0.enable"));
}

struct ShortCase {
    const char* name;
    Bytes request;
    const char* logText;
};

// Parameters beyond the received bytes: code 1, a log line, and no SDK call at all.
TEST(BadInput, ShortParametersAreRefusedWithCode1) {
    Bytes longName(40, 'a');
    longName.push_back(0);
    Bytes account(192, 0);
    std::fill(account.begin() + 64, account.begin() + 96, 'x');  // Samba user fills its field
    const std::vector<ShortCase> cases = {
        {"17 with 5 bytes", Request(17, Hex("01 00 41 42 43")), "parameters too short! len=15"},
        {"3 without index", Request(3, Hex("00")), "parameters too short"},
        {"35 without limits", Request(35, Hex("3C 22 FB 91 0A 11 00")), "parameters too short"},
        {"45 with one address", Request(45, Hex("08 08 08 08")), "parameters too short"},
        {"46 without NUL", Request(46, Hex("61 62 63")), "text parameter invalid"},
        {"46 too long", Request(46, longName), "text parameter invalid"},
        {"37 name without NUL", Request(37, Hex("3C 22 FB 91 0A 11 61 62")),
         "text parameter invalid"},
        {"29 short block", Request(29, Bytes(191, 0)), "parameters too short"},
        {"57 url without NUL", Request(57, Bytes(34, 0x61)), "text parameter invalid"},
        {"32 short record", Request(32, Bytes(33, 0)), "parameters too short"},
        {"29 account without NUL", Request(29, account), ""},
    };
    for (const ShortCase& c : cases) {
        SCOPED_TRACE(c.name);
        fntest::SimRouter router;
        testsupport::LogCapture log;
        fntest::Answer a = fntest::Call(c.request);
        EXPECT_EQ(0, a.ret);
        EXPECT_EQ(Status(c.request[2], "01 00"), a.bytes);
        EXPECT_TRUE(log.Contains(c.logText)) << log.Text();
        EXPECT_EQ("", router.CallLog());
    }
}

// A text whose NUL is the last received byte is whole; one character over its field is not.
TEST(BadInput, TextLimitsAreExact) {
    fntest::SimRouter router;
    Bytes name31(31, 'n');
    name31.push_back(0);
    EXPECT_EQ(Status(46, "00 00"), fntest::Call(Request(46, name31)).bytes);
    EXPECT_EQ(std::string(31, 'n'), fntest::StateText(router.State().get(), "identity.name"));
    Bytes name32(32, 'm');
    name32.push_back(0);
    EXPECT_EQ(Status(46, "01 00"), fntest::Call(Request(46, name32)).bytes);
    EXPECT_EQ(std::string(31, 'n'), fntest::StateText(router.State().get(), "identity.name"));
}

TEST(BadInput, ConfigDataLengthOutsideItsRange) {
    for (const char* len : {"01 00", "00 04", "00 00"}) {
        SCOPED_TRACE(len);
        testsupport::LogCapture log;
        Bytes params = Hex(len);
        params.resize(2 + 1100, '{');
        EXPECT_EQ(Status(87, "01 00"), fntest::Call(Request(87, params)).bytes);
        EXPECT_TRUE(log.Contains("ERROR: config data have errors!!!")) << log.Text();
    }
    testsupport::LogCapture log;
    EXPECT_EQ(Status(87, "01 00"), fntest::Call(Request(87, Hex("64 00 7B 7D"))).bytes);
    EXPECT_TRUE(log.Contains("87 jsonLen: 100"));
    EXPECT_TRUE(log.Contains("parameters too short"));
}

void ManyDevices(cJSON* root) {
    cJSON* devices = cJSON_GetObjectItemCaseSensitive(root, "devices");
    for (int i = 1; i < 130; ++i) {
        char mac[18];
        snprintf(mac, sizeof mac, "02:00:00:00:%02X:%02X", i >> 8, i & 0xFF);
        cJSON* dev = cJSON_CreateObject();
        cJSON_AddStringToObject(dev, "mac", mac);
        cJSON_AddItemToArray(devices, dev);
    }
}

TEST(BadInput, DeviceListLongerThanTheArrayIsCut) {
    fntest::SimRouter router;
    router.Edit(ManyDevices);
    testsupport::LogCapture log;
    fntest::Answer a = fntest::Call(Request(39));
    ASSERT_EQ(8u + 128 * 34, a.bytes.size());
    EXPECT_EQ(Hex("AB CD 27 00 00 00 80 00"), Bytes(a.bytes.begin(), a.bytes.begin() + 8));
    // the last record kept is device 127: 02:00:00:00:00:7F
    EXPECT_EQ(Hex("02 00 00 00 00 7F"),
              Bytes(a.bytes.begin() + 8 + 127 * 34, a.bytes.begin() + 8 + 127 * 34 + 6));
    EXPECT_TRUE(log.Contains("get_devs_cfg reported 130 records, keeping 128")) << log.Text();
}

// Function 87 whose JSON lacks "value_func61" starts nothing and answers code 1.
TEST(PendingRows, ConfigDataWithoutAddressAnswersCode1) {
    testsupport::LogCapture log;
    Bytes json = Hex("07 00");
    const std::string text = "{\"a\":1}";
    json.insert(json.end(), text.begin(), text.end());
    EXPECT_EQ(Status(87, "01 00"), fntest::Call(Request(87, json)).bytes);
    EXPECT_TRUE(log.Contains("ERROR: config data have errors!!!"));
}

}  // namespace

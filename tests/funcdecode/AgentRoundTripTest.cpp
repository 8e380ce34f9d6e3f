// Operator commands through the agent's own dispatcher and the router SDK simulator: a setting
// encoded here changes the simulated router, and the matching query's answer decodes to it.
#include <gtest/gtest.h>

#include "../functions/FnTestSupport.h"
#include "FuncDecode.h"

namespace {

// Encodes `line`, runs it through ParserProtoolData and decodes the answer.
std::string Operate(const std::string& line) {
    uint16_t id = 0;
    std::vector<uint8_t> params;
    std::string error;
    EXPECT_EQ(0, EncodeCallLine(line, &id, &params, &error)) << line << ": " << error;
    fntest::Answer a = fntest::Call(fntest::Request(id, params));
    return DecodeFunctionAnswer(a.bytes.data(), a.bytes.size());
}

bool Has(const std::string& text, const std::string& part) {
    return text.find(part) != std::string::npos;
}

struct RoundTrip {
    const char* set;
    const char* get;
    const char* expected;  // in the decoded answer of `get`
};

TEST(AgentRoundTrip, SettingsEncodedHereAreReadBackByTheMatchingQuery) {
    fntest::SimRouter router;
    testsupport::LogCapture quiet(0);
    const RoundTrip cases[] = {
        {"45 dns1=1.2.3.4 dns2=5.6.7.8", "44", "dns1: 1.2.3.4\ndns2: 5.6.7.8\n"},
        {"15 index=1 on=1", "14 index=1", "switch: 1\n"},
        {"27 ftp=1 samba=0 telnet=0", "26", "ftp: 1\nsamba: 0\ntelnet: 0\n"},
        {"29 ftp_user=f1 ftp_password=f2 samba_user=s1 samba_password=s2 telnet_user=t1 "
         "telnet_password=t2",
         "28",
         "ftp_user: \"f1\"\nftp_password: \"f2\"\nsamba_user: \"s1\"\nsamba_password: \"s2\"\n"
         "telnet_user: \"t1\"\ntelnet_password: \"t2\"\n"},
        {"17 index=1 ssid=\"Guest net\" password=pw encrypt=3 enable=1 channel=11 clients=5 "
         "beacon=200 guest_ip=192.168.50.1 guest_mask=255.255.255.0",
         "16 index=1", "  ssid: \"Guest net\"\n  password: \"pw\"\n  encrypt: 3\n"},
        {"17 index=1 guest_ip=192.168.50.1 guest_mask=255.255.255.0", "16 index=1",
         "  guest_ip: 192.168.50.1\n  guest_mask: 255.255.255.0\n"},
        {"46 name=\"my router\"", "2", "name: \"my router\"\n"},
    };
    for (const RoundTrip& c : cases) {
        std::string set = Operate(c.set);
        EXPECT_TRUE(Has(set, "result: 0 (success)\n")) << c.set << "\n" << set;
        std::string got = Operate(c.get);
        EXPECT_TRUE(Has(got, "result: 0 (success)\n")) << got;
        EXPECT_TRUE(Has(got, c.expected)) << c.set << " then " << c.get << "\n" << got;
        EXPECT_FALSE(Has(got, "truncated") || Has(got, "extra")) << got;
    }
}

TEST(AgentRoundTrip, DeviceNameAndLimitsByMac) {
    fntest::SimRouter router;
    testsupport::LogCapture quiet(0);
    std::string list = Operate("39");
    size_t at = list.find("device[0]:\n  mac: ");
    ASSERT_NE(std::string::npos, at) << list;
    std::string mac = list.substr(at + 18, 17);

    EXPECT_TRUE(Has(Operate("37 mac=" + mac + " name=\"Living room\""), "result: 0 (success)"));
    EXPECT_TRUE(Has(Operate("36 mac=" + mac), "length: 11\nname: \"Living room\"\n"));
    EXPECT_TRUE(Has(Operate("35 mac=" + mac + " up=1000 down=2000"), "result: 0 (success)"));
    EXPECT_TRUE(Has(Operate("34 mac=" + mac), "up: 1000\ndown: 2000\n"));
}

TEST(AgentRoundTrip, AgentRefusalsDecodeAsStatusOnly) {
    fntest::SimRouter router;
    testsupport::LogCapture quiet(0);
    // A parameter block cut short by the raw form: the agent answers code 1.
    EXPECT_EQ("answer: 6 bytes\ntag: AB CD\nfunction: 45 (set DNS servers)\nresult: 1 (failure)\n",
              Operate("45 hex=0808"));
    EXPECT_EQ("answer: 6 bytes\ntag: AB CD\nfunction: 89\nresult: 7 (function not supported)\n",
              Operate("89"));
}

}  // namespace

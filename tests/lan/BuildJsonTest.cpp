// The JSON texts the agent sends: each kind's exact text for ordinary values, escaping that keeps
// odd device names valid JSON, and the failure results.
#include <gtest/gtest.h>

#include <cstring>

#include "LanTestSupport.h"
#include "functions/ParseJson.h"
#include "platform/Session.h"

namespace {

TEST(BuildJson, KindsWriteTheirTexts) {
    lantest::Lan lan;
    lan.SetSdk("[" + lantest::SdkDev("3C:22:FB:91:0A:11", "phone", "192.168.1.100") + "]",
               ",\"known_names\":{\"02:00:00:00:00:01\":\"say \\\"hi\\\"\\\\\\n\\u0001\"}");
    strcpy(mPluginID, "plug-1");
    strcpy(mFromVersion, "1.0");
    strcpy(mToVersion, "2.0");
    mProcess = 50;
    strcpy(g_pin_code, "PIN123");
    gDownRate = 12345;
    struct Case {
        int kind, result;
        const char* text;
        const char* data;
        int ret;
        const char* out;
    } cases[] = {
        {1, 0, "3C22FB910A11", nullptr, 0,
         "{\"mac\":\"3C22FB910A11\",\"dev_name\":\"phone\",\"status\":\"online\"}"},
        {2, 0, "3C22FB910A11", nullptr, 0, "{\"mac\":\"3C22FB910A11\",\"status\":\"offline\"}"},
        {3, 0, "3C22FB910A11", nullptr, 0, ""},
        {4, 3, "disk \"full\"", nullptr, 0,
         "{\"pluginID\":\"plug-1\",\"fromVersion\":\"1.0\",\"toVersion\":\"2.0\",\"process\":50,"
         "\"result\":3,\"resultDesc\":\"disk \\\"full\\\"\"}"},
        {5, 0, "3c22fb910a11", "x=1", 0,
         "{\"mac\":\"3c22fb910a11\",\"dev_name\":\"phone\",\"data\":\"x=1\"}"},
        {5, 0, "020000000001", "", 0,
         "{\"mac\":\"020000000001\",\"dev_name\":\"say \\\"hi\\\"\\\\\\n\\u0001\",\"data\":\"\"}"},
        {6, 0, nullptr, nullptr, 0, "{\"devpin\":\"PIN123\",\"rate\":\"12345\"}"},
        {7, 0, "3C22FB910A11", nullptr, 0, ""},
        {1, 0, "3C22FB910A1", nullptr, 65535, ""},
        {1, 0, "0200000000FF", nullptr, 1, ""},  // get_dev_name knows no such device
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.kind) + " " + (c.text ? c.text : ""));
        char out[512] = "";
        EXPECT_EQ(c.ret, BuildJson(c.kind, c.result, c.text, c.data, out, sizeof out));
        EXPECT_STREQ(c.out, out);
    }
    char small[20] = "";
    EXPECT_EQ(-1, BuildJson(2, 0, "3C22FB910A11", nullptr, small, sizeof small));
    EXPECT_STREQ("", small);
}

}  // namespace

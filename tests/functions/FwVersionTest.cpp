// The firmware version report's JSON: keys in order, the eight-digit date appended to the
// version text, the agent's version and the "configed" rule.
#include <cjson/cJSON.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FnTestSupport.h"
#include "functions/FwVersion.h"
#include "ipc/AutoReport.h"

namespace {

using fntest::JsonPtr;

TEST(FwVersionTest, ReportFieldsAndConfigedRule) {
    fntest::SimRouter router;  // version "V1.2", date bytes 22, 12, 27, 5
    struct Case {
        int i1, i2, i3;
        const char* configed;
    };
    const Case cases[] = {
        {5, -1, 0, "no"},                      // no interval 2: "no" whatever interval 3 holds
        {5, -1, 7, "no"},  {5, 10, -1, "no"},  // interval 3 unset
        {5, 10, 0, "yes"}, {-1, 1440, 30, "yes"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(std::to_string(c.i2) + "/" + std::to_string(c.i3));
        intervalFlag1 = c.i1;
        intervalFlag2 = c.i2;
        intervalFlag3 = c.i3;
        std::string text;
        ASSERT_EQ(FwVersionJson(&text), 0);
        JsonPtr root(cJSON_Parse(text.c_str()), cJSON_Delete);
        ASSERT_TRUE(root);
        std::vector<std::string> keys;
        for (const cJSON* item = root->child; item != nullptr; item = item->next)
            keys.push_back(item->string);
        EXPECT_EQ(keys, (std::vector<std::string>{"version", "sdkVersion", "interval1", "interval2",
                                                  "interval3", "configed"}));
        EXPECT_STREQ(cJSON_GetObjectItem(root.get(), "version")->valuestring, "V1.222122705");
        EXPECT_STREQ(cJSON_GetObjectItem(root.get(), "sdkVersion")->valuestring, "2.0.0.7");
        EXPECT_EQ(cJSON_GetObjectItem(root.get(), "interval1")->valueint, c.i1);
        EXPECT_EQ(cJSON_GetObjectItem(root.get(), "interval2")->valueint, c.i2);
        EXPECT_EQ(cJSON_GetObjectItem(root.get(), "interval3")->valueint, c.i3);
        EXPECT_STREQ(cJSON_GetObjectItem(root.get(), "configed")->valuestring, c.configed);
    }
    CommAutoReportReset();
}

TEST(FwVersionTest, FailingVersionQuerySendsNothing) {
    fntest::SimRouter router;
    router.Fail("get_router_version", 3);
    std::string text;
    EXPECT_EQ(FwVersionJson(&text), -1);
    EXPECT_EQ(dev_fwversion_report(), -1);
    EXPECT_TRUE(text.empty());
}

}  // namespace

// The firmware version report's JSON: keys in order, the eight-digit date appended to the
// version text, the agent's version and the "configed" rule.
#include <gtest/gtest.h>

#include <cstdio>
#include <string>

#include "FnTestSupport.h"
#include "functions/FwVersion.h"
#include "ipc/AutoReport.h"

namespace {

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
        cJSON* root = cJSON_Parse(text.c_str());
        ASSERT_NE(root, nullptr) << text;
        char* compact = cJSON_PrintUnformatted(root);
        char want[200];
        snprintf(want, sizeof want,
                 "{\"version\":\"V1.222122705\",\"sdkVersion\":\"2.0.0.7\",\"interval1\":%d,"
                 "\"interval2\":%d,\"interval3\":%d,\"configed\":\"%s\"}",
                 c.i1, c.i2, c.i3, c.configed);
        EXPECT_STREQ(want, compact);
        cJSON_free(compact);
        cJSON_Delete(root);
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

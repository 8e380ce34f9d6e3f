// The bandwidth (function 66) and surf-rule (function 69) payloads through their function rows:
// the answer's result code, the line logged and the router SDK setter calls made.
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "RulesTestSupport.h"
#include "core/Limits.h"
#include "functions/RuleRows.h"
#include "rules/RouteFunc.h"
#include "rules/SurfRules.h"

namespace {

using rulestest::List;

// The row's answer code for `text` (with its NUL) at request byte 10.
int CallRow(uint16_t id, const std::string& text) {
    std::vector<uint8_t> req = {0xAB, 0xCD, static_cast<uint8_t>(id), 0, 0, 0, 0, 0, 0, 0};
    req.insert(req.end(), text.c_str(), text.c_str() + text.size() + 1);
    std::vector<uint8_t> ans(limits::kAnswerBufSize);
    FnCall call{req.data(), req.size(), ans.data(), 0};
    (id == 66 ? Fn66SetTcRules : Fn69SetSurfRules)(call);
    EXPECT_EQ(6u, call.ansLen);
    return ans[4] | ans[5] << 8;
}

const std::string kPhone = "MAC=3C:22:FB:91:0A:11 ";
const std::string kTc = "UP=100 DOWN=200";
const std::string kSurf = "DAY=3 START=10:00 STOP=10:05 ";
const std::string kBlocked = "MAC=DC:A6:32:01:66:05 ";  // access_control 0 in the default state
const std::string kUs = "set_dev_us_max_bw 3C:22:FB:91:0A:11 ";
const std::string kDs = "set_dev_ds_max_bw 3C:22:FB:91:0A:11 ";

struct PayloadCase {
    uint16_t fn;
    std::string setup;    // a surf-rule payload applied first ("": none)
    std::string payload;  // "(none)": the parser is called without one
    int result;
    const char* log;
    std::string setters;  // the setter calls, one line each
};

TEST(RulePayloads, ResultLogAndSdkCalls) {
    const std::string both = kUs + "100\n" + kDs + "200\n", surf = kSurf + "ALLOW=1";
    const PayloadCase cases[] = {
        {66, "", "(none)", 1, "", ""},
        {66, "", "{", 2, "Parse json failed.", ""},
        {66, "", "{}", 0, "", ""},
        {66, "", List({kPhone + kTc}), 3, "", ""},
        {66, "", List({"FLAG=1 " + kPhone + "UP=1"}), 6, "", ""},
        {66, "", List({"FLAG=1 " + kPhone + kTc}), 0, "set_dev_ds_max_bw result: 0", both},
        {66, "", List({"FLAG=0 " + kPhone + kTc}), 0, "flag = 0, clean tc rules",
         kUs + "0\n" + kDs + "0\n"},
        {66, "", List({"FLAG=1 MAC=3C:22:FB UP=99999999999 DOWN=-5x"}), 0,
         "set_dev_us_max_bw result: 1",
         "set_dev_us_max_bw 3C:22:FB:00:00:00 2147483647\nset_dev_ds_max_bw 3C:22:FB:00:00:00 "
         "-5\n"},
        {66, "", List({"FLAG=1 " + kPhone + kTc, "FLAG=2 " + kPhone + kTc}), 7,
         "Wrong tc rule param flag", both},
        {66, "", List({"FLAG=1 MAC= " + kTc}), 7, "Wrong tc rule param dev_mac", ""},
        {66, "", List({"FLAG=1 " + kPhone + "UP=#100 DOWN=200"}), 7, "Wrong tc rule param", ""},
        {69, "", "(none)", 1, "Json is null.", ""},
        {69, "", "[1,", 2, "Parse json failed.", ""},
        {69, "", List({kPhone + surf}), 3, "Wrong surf rule param", ""},
        {69, "", List({"FLAG=1 " + kPhone + kSurf}), 8, "Wrong surf rule param", ""},
        {69, "", List({"FLAG=2 " + kPhone + surf}), 9, "Wrong surf rule param", ""},
        {69, "", List({"FLAG=1 " + kPhone + kSurf + "ALLOW=yes"}), 9, "Wrong surf rule param", ""},
        {69, "", List({"FLAG=1 MAC=#7 " + surf}), 0, "Wrong surf rule", ""},
        {69, "", List({"FLAG=1 " + kPhone + surf}), 0, "Add surf rule 3C:22:FB:91:0A:11|3", ""},
        {69, "", List({"FLAG=0 " + kPhone + surf}), 0, "hash node is NULL for 3C:22:FB:91:0A:11|3",
         ""},
        {69, List({"FLAG=1 " + kBlocked + surf}), List({"FLAG=0 " + kBlocked + kSurf + "ALLOW=0"}),
         0, "set_dev_access_control for: DC:A6:32:01:66:05 to 1",
         "set_dev_access_control DC:A6:32:01:66:05 access=1 mode=1\n"},
        // Its access is 1 already: nothing is set.
        {69, List({"FLAG=1 " + kPhone + surf}), List({"FLAG=0 " + kPhone + surf}), 0,
         "surf rule 3C:22:FB:91:0A:11|3 removed.", ""},
    };
    for (const PayloadCase& c : cases) {
        SCOPED_TRACE(std::to_string(c.fn) + " " + c.payload);
        rulestest::SimRouter router;
        hash_table_init();
        if (!c.setup.empty()) {
            ASSERT_EQ(0, ParseSurfRulesParam(c.setup.c_str()));
        }
        router.ClearCalls();
        testsupport::LogCapture log;
        if (c.payload == "(none)") {
            EXPECT_EQ(c.result, c.fn == 66 ? ParseTcParam(nullptr) : ParseSurfRulesParam(nullptr));
        } else {
            EXPECT_EQ(c.result, CallRow(c.fn, c.payload));
        }
        EXPECT_TRUE(log.Contains(c.log)) << log.Text();
        std::string calls;
        for (const std::string& line : router.Calls("set_"))
            calls += line + "\n";
        EXPECT_EQ(c.setters, calls);
    }
    hash_table_init();
}

}  // namespace

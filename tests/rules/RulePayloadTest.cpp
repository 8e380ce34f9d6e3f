// The bandwidth (function 66) and surf-rule (function 69) payloads, good and bad, through their
// function rows: the answer's result code, the line logged and the router SDK calls made.
#include <cstdint>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "RulesTestSupport.h"
#include "core/Limits.h"
#include "functions/RuleRows.h"
#include "rules/RouteFunc.h"
#include "rules/SurfRules.h"

namespace {

using Calls = std::vector<std::string>;

// Runs the row with `text` (and its NUL) at request byte 10; the answer's result code.
int CallRow(int (*row)(FnCall&), uint16_t id, const std::string& text) {
    std::vector<uint8_t> req = {0xAB, 0xCD, static_cast<uint8_t>(id), 0, 0, 0, 0, 0, 0, 0};
    req.insert(req.end(), text.begin(), text.end());
    req.push_back(0);
    std::vector<uint8_t> ans(limits::kAnswerBufSize);
    FnCall call{req.data(), req.size(), ans.data(), 0};
    EXPECT_EQ(0, row(call));
    EXPECT_EQ(6u, call.ansLen);
    return ans[4] | ans[5] << 8;
}

// One bandwidth element; "~" drops a member, a value without quotes is written as it is.
std::string Tc(const std::string& flag, const std::string& mac, const std::string& up = "\"100\"",
               const std::string& down = "\"200\"") {
    std::string e;
    auto add = [&e](const char* name, const std::string& v) {
        if (v != "~") e += std::string(e.empty() ? "" : ",") + "\"" + name + "\":" + v;
    };
    add("FLAG", flag);
    add("MAC", mac);
    add("UP", up);
    add("DOWN", down);
    return "{" + e + "}";
}

std::string Surf(const std::string& flag, const std::string& allow,
                 const std::string& mac = "\"3C:22:FB:91:0A:11\"",
                 const std::string& start = "\"10:00\"") {
    std::string e;
    auto add = [&e](const char* name, const std::string& v) {
        if (v != "~") e += std::string(e.empty() ? "" : ",") + "\"" + name + "\":" + v;
    };
    add("FLAG", flag);
    add("MAC", mac);
    add("DAY", "\"3\"");
    add("START", start);
    add("STOP", "\"10:05\"");
    add("ALLOW", allow);
    return "{" + e + "}";
}

std::string List(const std::string& elems) {
    return "{\"LIST\":[" + elems + "]}";
}

const char* const kBlocked = "\"DC:A6:32:01:66:05\"";  // access_control 0 in the default state

struct PayloadCase {
    char parser;          // 't' bandwidth (66), 's' surf rules (69)
    const char* setup;    // a surf-rule payload applied first (nullptr: none)
    const char* payload;  // nullptr: the parser is called without a payload
    int result;
    const char* log;
    Calls sdk;  // setter calls in order ("set_" lines of the simulator's call log)
};

TEST(RulePayloads, ResultLogAndSdkCalls) {
    const std::string tcSet = List(Tc("\"1\"", "\"3C:22:FB:91:0A:11\""));
    const std::string tcClear = List(Tc("\"0\"", "\"3C:22:FB:91:0A:11\"", "\"7\"", "\"9\""));
    const std::string tcShort = List(Tc("\"1\"", "\"3C:22:FB\"", "\"99999999999\"", "\"-5x\""));
    const std::string tcBadFlagAfterGood =
        List(Tc("\"1\"", "\"3C:22:FB:91:0A:11\"") + "," + Tc("\"2\"", "\"3C:22:FB:91:0A:11\""));
    const std::string tcEmptyMac = List(Tc("\"1\"", "\"\""));
    const std::string tcNumberUp = List(Tc("\"1\"", "\"3C:22:FB:91:0A:11\"", "100"));
    const std::string tcNoFlag = List(Tc("~", "\"3C:22:FB:91:0A:11\""));
    const std::string tcNoDown = List(Tc("\"1\"", "\"3C:22:FB:91:0A:11\"", "\"1\"", "~"));
    const std::string surfAdd = List(Surf("\"1\"", "\"1\""));
    const std::string surfDelBlocked = List(Surf("\"0\"", "\"0\"", kBlocked));
    const std::string surfAddBlocked = List(Surf("\"1\"", "\"1\"", kBlocked));
    const std::string surfBadFlag = List(Surf("\"2\"", "\"1\""));
    const std::string surfBadAllow = List(Surf("\"1\"", "\"yes\""));
    const std::string surfNoFlag = List(Surf("~", "\"1\""));
    const std::string surfNoAllow = List(Surf("\"1\"", "~"));
    const std::string surfNumberMac = List(Surf("\"1\"", "\"1\"", "7"));
    const std::string surfDelMissing = List(Surf("\"0\"", "\"1\""));
    const PayloadCase cases[] = {
        {'t', nullptr, nullptr, 1, "", {}},
        {'t', nullptr, "{", 2, "Parse json failed.", {}},
        {'t', nullptr, "{}", 0, "", {}},
        {'t', nullptr, "{\"LIST\":[]}", 0, "", {}},
        {'t', nullptr, tcNoFlag.c_str(), 3, "", {}},
        {'t', nullptr, tcNoDown.c_str(), 6, "", {}},
        {'t',
         nullptr,
         tcSet.c_str(),
         0,
         "set_dev_ds_max_bw result: 0",
         {"set_dev_us_max_bw 3C:22:FB:91:0A:11 100", "set_dev_ds_max_bw 3C:22:FB:91:0A:11 200"}},
        {'t',
         nullptr,
         tcClear.c_str(),
         0,
         "flag = 0, clean tc rules",
         {"set_dev_us_max_bw 3C:22:FB:91:0A:11 0", "set_dev_ds_max_bw 3C:22:FB:91:0A:11 0"}},
        {'t',
         nullptr,
         tcShort.c_str(),
         0,
         "set_dev_us_max_bw result: 1",
         {"set_dev_us_max_bw 3C:22:FB:00:00:00 2147483647",
          "set_dev_ds_max_bw 3C:22:FB:00:00:00 -5"}},
        {'t',
         nullptr,
         tcBadFlagAfterGood.c_str(),
         7,
         "Wrong tc rule param flag",
         {"set_dev_us_max_bw 3C:22:FB:91:0A:11 100", "set_dev_ds_max_bw 3C:22:FB:91:0A:11 200"}},
        {'t', nullptr, tcEmptyMac.c_str(), 7, "Wrong tc rule param dev_mac", {}},
        {'t', nullptr, tcNumberUp.c_str(), 7, "Wrong tc rule param", {}},
        {'s', nullptr, nullptr, 1, "Json is null.", {}},
        {'s', nullptr, "[1,", 2, "Parse json failed.", {}},
        {'s', nullptr, "{\"LIST\":[]}", 0, "", {}},
        {'s', nullptr, surfNoFlag.c_str(), 3, "Wrong surf rule param", {}},
        {'s', nullptr, surfNoAllow.c_str(), 8, "Wrong surf rule param", {}},
        {'s', nullptr, surfBadFlag.c_str(), 9, "Wrong surf rule param", {}},
        {'s', nullptr, surfBadAllow.c_str(), 9, "Wrong surf rule param", {}},
        {'s', nullptr, surfNumberMac.c_str(), 0, "Wrong surf rule", {}},
        {'s', nullptr, surfAdd.c_str(), 0, "Add surf rule 3C:22:FB:91:0A:11|3", {}},
        {'s', nullptr, surfDelMissing.c_str(), 0, "hash node is NULL for 3C:22:FB:91:0A:11|3", {}},
        {'s',
         surfAddBlocked.c_str(),
         surfDelBlocked.c_str(),
         0,
         "set_dev_access_control for: DC:A6:32:01:66:05 to 1",
         {"set_dev_access_control DC:A6:32:01:66:05 access=1 mode=1"}},
        {'s',
         surfAdd.c_str(),
         surfDelMissing.c_str(),
         0,
         "surf rule 3C:22:FB:91:0A:11|3 removed.",
         {}},  // the device's access is already 1: nothing to restore
    };
    for (const PayloadCase& c : cases) {
        SCOPED_TRACE(std::string(c.parser == 't' ? "66 " : "69 ") +
                     (c.payload ? c.payload : "(none)"));
        rulestest::SimRouter router;
        hash_table_init();
        if (c.setup != nullptr) {
            ASSERT_EQ(0, ParseSurfRulesParam(c.setup));
        }
        router.ClearCalls();
        testsupport::LogCapture log;
        int result = 0;
        if (c.payload == nullptr) {
            result = c.parser == 't' ? ParseTcParam(nullptr) : ParseSurfRulesParam(nullptr);
        } else {
            result = c.parser == 't' ? CallRow(Fn66SetTcRules, 66, c.payload)
                                     : CallRow(Fn69SetSurfRules, 69, c.payload);
        }
        EXPECT_EQ(c.result, result);
        EXPECT_TRUE(log.Contains(c.log)) << log.Text();
        EXPECT_EQ(c.sdk, router.Calls("set_"));
    }
    hash_table_init();
}

}  // namespace

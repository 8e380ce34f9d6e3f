// The surf-rule table as the platform's payloads and the access-time worker see it: insertion
// order and repeats, lookup by prefix, removal at the head of a bucket, the insertion limit,
// case-sensitive MAC keys and the weekday digits.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "RulesTestSupport.h"
#include "rules/SurfRules.h"

namespace {

const char* const kMac = "AA:BB:CC:00:11:22";
const SurfRule kMorning = {8, 0, 9, 0};
const SurfRule kEvening = {20, 30, 21, 45};

// The rules of the entry found for `key`: "8:0-9:0 20:30-21:45", or "-" when none is found.
std::string Found(const std::string& key) {
    const HashEntry* e = hash_table_lookup(key.c_str());
    if (e == nullptr) return "-";
    std::string out;
    for (const RuleNode* n = e->rules.get(); n != nullptr; n = n->next.get()) {
        const SurfRule& r = n->rule;
        out += (out.empty() ? "" : " ") + std::to_string(r.startHour) + ":" +
               std::to_string(r.startMin) + "-" + std::to_string(r.stopHour) + ":" +
               std::to_string(r.stopMin);
    }
    return out;
}

// A second key "<other MAC>|3" that falls into the bucket of `key` and is not a prefix of it.
std::string SameBucketKey(const std::string& key) {
    for (int i = 0; i < 100000; ++i) {
        std::string k = "10:20:30:" + std::to_string(i) + "|3";
        if (hash_table_bucket(k.c_str()) == hash_table_bucket(key.c_str())) return k;
    }
    return "";
}

std::string Key(const char* day) {
    return std::string(kMac) + "|" + day;
}

struct TableCase {
    const char* name;
    std::function<void()> act;                               // on an empty table
    std::vector<std::pair<std::string, std::string>> found;  // key -> Found(key)
    const char* log;                                         // a line the case must log
};

TEST(SurfTable, BehavesAsThePlatformAndTheWorkerExpect) {
    const std::string other = SameBucketKey(Key("3"));
    ASSERT_FALSE(other.empty());
    ASSERT_EQ(hash_table_bucket("A"), hash_table_bucket("Ab"));
    const TableCase cases[] = {
        {"rules keep their order and a repeat is kept once",
         [] {
             set_surf_rule(kMac, "3", &kEvening);
             set_surf_rule(kMac, "3", &kMorning);
             set_surf_rule(kMac, "3", &kEvening);
         },
         {{Key("3"), "20:30-21:45 8:0-9:0"}},
         "surf rule exist"},
        {"an entry whose key is a prefix of the looked-up key is found",
         [] { hash_table_insert("A", &kMorning); },  // "Ab" falls into the bucket of "A"
         {{"Ab", "8:0-9:0"}, {"B", "-"}},
         "found"},
        {"removing the head of a bucket drops the entries behind it",
         [&] {
             hash_table_insert(other.c_str(), &kEvening);
             hash_table_insert(Key("3").c_str(), &kMorning);  // now the head of the bucket
             hash_table_remove(Key("3").c_str());
         },
         {{Key("3"), "-"}, {other, "-"}},
         "remove AA:BB:CC:00:11:22|3"},
        {"removing an entry behind the head keeps the head",
         [&] {
             hash_table_insert(other.c_str(), &kEvening);
             hash_table_insert(Key("3").c_str(), &kMorning);
             hash_table_remove(other.c_str());
         },
         {{Key("3"), "8:0-9:0"}, {other, "-"}},
         "remove 10:20:30:"},
        {"512 insertions stop new keys, removals do not give room",
         [] {
             for (int i = 0; i < 512; ++i)
                 hash_table_insert(("K" + std::to_string(i)).c_str(), &kMorning);
             for (int i = 0; i < 10; ++i)
                 hash_table_remove(("K" + std::to_string(i)).c_str());
             set_surf_rule(kMac, "3", &kEvening);
             EXPECT_EQ(512, hash_table_size);
         },
         {{Key("3"), "-"}, {"K511", "8:0-9:0"}, {"K0", "-"}},
         "Mem overflow!"},
        {"a lower-case MAC is stored but never found under the worker's upper-case key",
         [] {
             ParseSurfRulesParam(R"({"LIST":[{"FLAG":"1","MAC":"aa:bb:cc:00:11:22","DAY":"3",
                 "START":"8:0","STOP":"9:0","ALLOW":"1"}]})");
         },
         {{"aa:bb:cc:00:11:22|3", "8:0-9:0"}, {Key("3"), "-"}},
         "Add surf rule aa:bb:cc:00:11:22|3"},
        {"days 0 and 8 select nothing, 77 selects day 7 once; Sunday (0) is never filed",
         [] { CommitSurfRule(1, 0, kMac, "0877", "8:0", "9:0"); },
         {{Key("7"), "8:0-9:0"}, {Key("0"), "-"}, {Key("8"), "-"}, {Key("1"), "-"}},
         "Add surf rule AA:BB:CC:00:11:22|7"},
        {"deleting a device-day's last rule removes its entry",
         [] {
             CommitSurfRule(1, 1, kMac, "35", "8:0", "9:0");
             CommitSurfRule(1, 1, kMac, "3", "20:30", "21:45");
             CommitSurfRule(0, 1, kMac, "35", "8:0", "9:0");
         },
         {{Key("3"), "20:30-21:45"}, {Key("5"), "-"}},
         "surf rule AA:BB:CC:00:11:22|5 removed."},
    };
    for (const TableCase& c : cases) {
        SCOPED_TRACE(c.name);
        rulestest::SimRouter router;
        testsupport::LogCapture log;
        hash_table_init();
        c.act();
        for (const auto& f : c.found)
            EXPECT_EQ(f.second, Found(f.first)) << f.first;
        EXPECT_TRUE(log.Contains(c.log)) << log.Text();
    }
    hash_table_init();
}

TEST(SurfTable, PeriodsIncludeBothEndsAndNeverCrossMidnight) {
    struct {
        SurfRule rule;
        int hour, minute, want;
    } cases[] = {
        {{8, 0, 8, 0}, 8, 0, 1},    {{8, 0, 8, 0}, 8, 1, 0},     {{8, 0, 8, 0}, 7, 59, 0},
        {{10, 0, 10, 5}, 10, 5, 1}, {{10, 0, 10, 5}, 10, 6, 0},  {{22, 0, 2, 0}, 23, 0, 0},
        {{22, 0, 2, 0}, 1, 0, 0},   {{0, 0, 23, 59}, 23, 59, 1},
    };
    for (const auto& c : cases) {
        RuleList list = rule_node_insert(nullptr, &c.rule);
        EXPECT_EQ(c.want, rule_node_match(list.get(), c.hour, c.minute))
            << c.rule.startHour << ":" << c.rule.startMin << "-" << c.rule.stopHour << ":"
            << c.rule.stopMin << " at " << c.hour << ":" << c.minute;
    }
    EXPECT_EQ(-1, rule_node_match(nullptr, 8, 0));
}

}  // namespace

// The surf-rule table as the platform's payloads and the access-time worker use it.
#include <functional>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "RulesTestSupport.h"
#include "rules/SurfRules.h"

namespace {

const SurfRule kMorning = {8, 0, 9, 0};
const SurfRule kEvening = {20, 30, 21, 45};
const std::string kKey3 = "AA:BB:CC:00:11:22|3";

// The rules of the entry found for `key` ("8:0-9:0 20:30-21:45"), "-" when none is found.
std::string Found(const std::string& key) {
    const HashEntry* e = hash_table_lookup(key.c_str());
    if (e == nullptr) return "-";
    std::string out;
    for (const RuleNode* n = e->rules.get(); n != nullptr; n = n->next.get())
        out += (out.empty() ? "" : " ") + std::to_string(n->rule.startHour) + ":" +
               std::to_string(n->rule.startMin) + "-" + std::to_string(n->rule.stopHour) + ":" +
               std::to_string(n->rule.stopMin);
    return out;
}

// Another device's key that falls into the bucket of `key`.
std::string SameBucketKey(const std::string& key) {
    for (int i = 0;; ++i) {
        std::string k = "10:20:30:" + std::to_string(i) + "|3";
        if (hash_table_bucket(k.c_str()) == hash_table_bucket(key.c_str())) return k;
    }
}

struct TableCase {
    const char* name;
    std::function<void()> act;                               // on an empty table
    std::vector<std::pair<std::string, std::string>> found;  // key, Found(key)
    const char* log;
};

TEST(SurfTable, BehavesAsThePlatformAndTheWorkerExpect) {
    const std::string other = SameBucketKey(kKey3);
    ASSERT_EQ(hash_table_bucket("A"), hash_table_bucket("Ab"));
    const char* mac = "AA:BB:CC:00:11:22";
    const std::string k5 = "AA:BB:CC:00:11:22|5";
    auto insert = [](const std::string& k, const SurfRule& r) { hash_table_insert(k.c_str(), &r); };
    auto remove = [](const std::string& k) { hash_table_remove(k.c_str()); };
    // clang-format off
    const TableCase cases[] = {
        {"insertion order kept, a repeat kept once",
         [&] { for (auto* r : {&kEvening, &kMorning, &kEvening}) set_surf_rule(mac, "3", r); },
         {{kKey3, "20:30-21:45 8:0-9:0"}}, "surf rule exist"},
        {"an entry whose key is a prefix of the looked-up key is found",
         [&] { insert("A", kMorning); }, {{"Ab", "8:0-9:0"}, {"B", "-"}}, "found"},
        {"removing the head of a bucket drops the entries behind it",
         [&] { insert(other, kEvening); insert(kKey3, kMorning); remove(kKey3); },
         {{kKey3, "-"}, {other, "-"}}, "remove AA:BB:CC:00:11:22|3"},
        {"removing an entry behind the head keeps the head",
         [&] { insert(other, kEvening); insert(kKey3, kMorning); remove(other); },
         {{kKey3, "8:0-9:0"}, {other, "-"}}, "remove 10:20:30:"},
        {"512 insertions stop new keys, removals give no room",
         [&] {
             for (int i = 0; i < 512; ++i) insert("K" + std::to_string(i), kMorning);
             for (int i = 0; i < 10; ++i) remove("K" + std::to_string(i));
             set_surf_rule(mac, "3", &kEvening);
             EXPECT_EQ(512, hash_table_size);
         },
         {{kKey3, "-"}, {"K511", "8:0-9:0"}, {"K0", "-"}}, "Mem overflow!"},
        {"a lower-case MAC is stored but not found under the worker's upper-case key",
         [] { CommitSurfRule(1, 1, "aa:bb:cc:00:11:22", "3", "8:0", "9:0"); },
         {{"aa:bb:cc:00:11:22|3", "8:0-9:0"}, {kKey3, "-"}}, "Add surf rule aa:bb:cc:00:11:22|3"},
        {"days 0 and 8 select nothing, 77 day 7 once; Sunday's key (0) is never filed",
         [&] { CommitSurfRule(1, 0, mac, "0877", "8:0", "9:0"); },
         {{"AA:BB:CC:00:11:22|7", "8:0-9:0"}, {"AA:BB:CC:00:11:22|0", "-"},
          {"AA:BB:CC:00:11:22|8", "-"}}, "Add surf rule AA:BB:CC:00:11:22|7"},
        {"deleting a device-day's last rule removes its entry",
         [&] {
             CommitSurfRule(1, 1, mac, "35", "8:0", "9:0");
             CommitSurfRule(1, 1, mac, "3", "20:30", "21:45");
             CommitSurfRule(0, 1, mac, "35", "8:0", "9:0");
         },
         {{kKey3, "20:30-21:45"}, {k5, "-"}}, "surf rule AA:BB:CC:00:11:22|5 removed."},
    };
    // clang-format on
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

}  // namespace

// The surf-rule table: per device and weekday ("MAC|day"), the periods of the day in which the
// device's access is blocked. 512 buckets; within a key the rules keep their insertion order.
//
// The platform dispatch thread changes the table and the access-time worker reads it: every use
// of the table and of an entry taken from it happens with SurfRuleMutex held. Whoever also needs
// SubdevMutex takes it first.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

#include "core/Limits.h"

struct SurfRule {
    int32_t startHour;
    int32_t startMin;
    int32_t stopHour;
    int32_t stopMin;
};
static_assert(sizeof(SurfRule) == 16, "a rule is four 32-bit integers");

struct RuleNode {
    SurfRule rule;
    std::unique_ptr<RuleNode> next;
    ~RuleNode();  // unlinks its followers one by one, so a long list is freed without recursion
};
using RuleList = std::unique_ptr<RuleNode>;

struct HashEntry {
    std::string key;
    RuleList rules;
    std::unique_ptr<HashEntry> next;  // the next entry of the same bucket
    ~HashEntry();
};

extern std::mutex SurfRuleMutex;
extern std::unique_ptr<HashEntry> hashTable[limits::kSurfBuckets];
extern int hash_table_size;  // insertions since hash_table_init; removals do not lower it

// The bucket of `key`: h = h * 31 + byte over its signed bytes, then h & 0x1FF.
unsigned hash_table_bucket(const char* key);

// Empties every bucket and the insertion count. Logs "Rule table init done.".
void hash_table_init();
// The first entry of the key's bucket whose key is a prefix of `key`; nullptr when none.
HashEntry* hash_table_lookup(const char* key);
// A new entry with a one-rule list at the head of its bucket; nullptr ("Mem overflow!") once
// 512 insertions were made, or ("%s exist!") when the key has an entry.
HashEntry* hash_table_insert(const char* key, const SurfRule* rule);
// Unlinks and frees the entry with exactly this key. An entry at the head of its bucket takes
// the rest of the bucket with it.
void hash_table_remove(const char* key);
void hash_table_print();

RuleList rule_node_init(const SurfRule* rule);
// Appends a copy of `rule` unless an equal one is listed; returns the new head.
RuleList rule_node_insert(RuleList head, const SurfRule* rule);
// 1 listed, 0 not listed, -1 empty list.
int rule_node_exist(const RuleNode* head, const SurfRule* rule);
// Unlinks the first rule equal to `rule`; returns the new head (empty when it was the last).
RuleList rule_node_delete(RuleList head, const SurfRule* rule);
// Frees the list; -1 when it was empty, else 0.
int rule_node_destroy(RuleList head);
// 1 when a rule's period (both ends included) covers hour:minute, 0 when none does, -1 empty.
int rule_node_match(const RuleNode* head, int hour, int minute);

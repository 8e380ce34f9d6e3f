#include "rules/SurfTable.h"

#include <cstring>

#include "core/Log.h"

std::mutex SurfRuleMutex;
std::unique_ptr<HashEntry> hashTable[limits::kSurfBuckets];
int hash_table_size = 0;

namespace {

bool SameRule(const SurfRule& a, const SurfRule& b) {
    return memcmp(&a, &b, sizeof a) == 0;
}

int64_t Minutes(int64_t hour, int64_t minute) {
    return hour * 60 + minute;
}

}  // namespace

RuleNode::~RuleNode() {
    while (next)
        next = std::move(next->next);
}

HashEntry::~HashEntry() {
    while (next)
        next = std::move(next->next);
}

unsigned hash_table_bucket(const char* key) {
    uint32_t h = static_cast<uint32_t>(static_cast<signed char>(key[0]));
    for (size_t i = 1; key[0] != '\0' && key[i] != '\0'; ++i)
        h = h * 31u + static_cast<uint32_t>(static_cast<signed char>(key[i]));
    return h & (limits::kSurfBuckets - 1);
}

void hash_table_init() {
    for (auto& bucket : hashTable)
        bucket.reset();
    hash_table_size = 0;
    LOGM(LOG_LEVEL_INFO, "Rule table init done.");
}

HashEntry* hash_table_lookup(const char* key) {
    unsigned b = hash_table_bucket(key);
    for (HashEntry* e = hashTable[b].get(); e != nullptr; e = e->next.get()) {
        if (strncmp(e->key.c_str(), key, e->key.size()) == 0) {
            LOGD("found %d  %s", b, key);
            return e;
        }
    }
    return nullptr;
}

HashEntry* hash_table_insert(const char* key, const SurfRule* rule) {
    if (hash_table_size >= limits::kSurfMaxInsertions) {
        LOGE("Mem overflow!");
        return nullptr;
    }
    unsigned b = hash_table_bucket(key);
    for (HashEntry* e = hashTable[b].get(); e != nullptr; e = e->next.get()) {
        if (e->key == key) {
            LOGE("%s exist!", key);
            return nullptr;
        }
    }
    auto entry = std::make_unique<HashEntry>();
    entry->key = key;
    entry->rules = rule_node_insert(nullptr, rule);
    entry->next = std::move(hashTable[b]);
    hashTable[b] = std::move(entry);
    ++hash_table_size;
    return hashTable[b].get();
}

void hash_table_remove(const char* key) {
    LOGD("remove %s", key);
    std::unique_ptr<HashEntry>* link = &hashTable[hash_table_bucket(key)];
    if (*link && (*link)->key == key) {
        link->reset();  // the rest of the bucket goes with its head
        return;
    }
    for (; *link; link = &(*link)->next) {
        std::unique_ptr<HashEntry>& next = (*link)->next;
        if (next && next->key == key) {
            next = std::move(next->next);
            return;
        }
    }
}

void hash_table_print() {
    for (size_t b = 0; b < limits::kSurfBuckets; ++b) {
        if (!hashTable[b]) continue;
        LOGD("%d=>", static_cast<int>(b));
        for (const HashEntry* e = hashTable[b].get(); e != nullptr; e = e->next.get()) {
            LOGD("%s", e->key.c_str());
            for (const RuleNode* n = e->rules.get(); n != nullptr; n = n->next.get())
                LOGD("START %d:%d STOP %d:%d ", n->rule.startHour, n->rule.startMin,
                     n->rule.stopHour, n->rule.stopMin);
        }
    }
}

RuleList rule_node_init(const SurfRule* rule) {
    RuleList node = std::make_unique<RuleNode>();
    node->rule = *rule;
    return node;
}

RuleList rule_node_insert(RuleList head, const SurfRule* rule) {
    if (rule == nullptr) {
        LOGE("rule empty!");
        return head;
    }
    if (!head) return rule_node_init(rule);
    if (rule_node_exist(head.get(), rule) == 1) return head;
    RuleNode* tail = head.get();
    while (tail->next)
        tail = tail->next.get();
    tail->next = rule_node_init(rule);
    return head;
}

int rule_node_exist(const RuleNode* head, const SurfRule* rule) {
    if (head == nullptr) return -1;
    for (const RuleNode* n = head; n != nullptr; n = n->next.get()) {
        if (SameRule(n->rule, *rule)) {
            LOGD("surf rule exist");
            return 1;
        }
    }
    return 0;
}

RuleList rule_node_delete(RuleList head, const SurfRule* rule) {
    if (rule == nullptr) {
        LOGE("rule is nothing!");
        return head;
    }
    if (!head) {
        LOGE("pNode is empty!");
        return head;
    }
    if (SameRule(head->rule, *rule)) return std::move(head->next);
    for (RuleNode* n = head.get(); n->next; n = n->next.get()) {
        if (SameRule(n->next->rule, *rule)) {
            n->next = std::move(n->next->next);
            LOGM(LOG_LEVEL_INFO, "delete node done!");
            return head;
        }
    }
    LOGE("can't find node!");
    return head;
}

int rule_node_destroy(RuleList head) {
    return head ? 0 : -1;
}

int rule_node_match(const RuleNode* head, int hour, int minute) {
    if (head == nullptr) return -1;
    int64_t now = Minutes(hour, minute);
    for (const RuleNode* n = head; n != nullptr; n = n->next.get()) {
        const SurfRule& r = n->rule;
        if (Minutes(r.startHour, r.startMin) <= now && now <= Minutes(r.stopHour, r.stopMin)) {
            LOGD("surf rule match %d:%d - %d:%d", r.startHour, r.startMin, r.stopHour, r.stopMin);
            return 1;
        }
    }
    return 0;
}

// Reading and writing the simulator's JSON state: typed, range-checked field access over cJSON
// objects, and the text forms of MAC and IPv4 values used in the state file.
#pragma once

#include <cjson/cJSON.h>

#include <cstddef>
#include <cstdint>
#include <string>

namespace sdksim {

// Text forms. MAC: "AA:BB:CC:DD:EE:FF" (either case, ':' or '-'). IPv4: dotted quad, host order.
bool ParseMac(const char* text, uint8_t out[6]);
bool ParseIpv4(const char* text, uint32_t* out);
std::string MacText(const uint8_t mac[6]);
std::string Ipv4Text(uint32_t ip);

// Integer values: JSON numbers, or decimal strings for values beyond a double's exact range.
bool ParseUint(const cJSON* item, uint64_t max, uint64_t* out);
bool ParseInt(const cJSON* item, int64_t min, int64_t max, int64_t* out);

// Copies `text` into a fixed field of `size` bytes: at most size - 1 characters, NUL-padded.
void CopyField(char* field, size_t size, const std::string& text);

// Reads the members of one state object. A missing member gives the default (0, empty, 0.0.0.0);
// a member of the wrong type or out of range records the first error in `*error` (and reads 0).
class Fields {
public:
    Fields(const cJSON* obj, std::string where, std::string* error)
        : obj_(obj), where_(std::move(where)), error_(error) {}

    uint64_t Uint(const char* key, uint64_t max, uint64_t def = 0);
    int64_t Int(const char* key, int64_t min, int64_t max);
    uint32_t Ip(const char* key);
    void Mac(const char* key, uint8_t out[6]);
    void Text(const char* key, char* out, size_t size);
    std::string String(const char* key);

private:
    const cJSON* Member(const char* key) const;
    void Fail(const char* key, const char* what);

    const cJSON* obj_;
    std::string where_;
    std::string* error_;
};

// Writers: replace or add one member of `obj`.
void SetUint(cJSON* obj, const char* key, uint64_t v);
void SetInt(cJSON* obj, const char* key, int64_t v);
void SetText(cJSON* obj, const char* key, const std::string& text);
void SetIp(cJSON* obj, const char* key, uint32_t ip);
void SetMember(cJSON* obj, const char* key, cJSON* item);  // takes ownership of `item`

// The member object `key` of `parent`, created (or replacing a non-object) when needed.
cJSON* ObjectMember(cJSON* parent, const char* key);
// The member array `key` of `parent`, created (or replacing a non-array) when needed.
cJSON* ArrayMember(cJSON* parent, const char* key);

}  // namespace sdksim

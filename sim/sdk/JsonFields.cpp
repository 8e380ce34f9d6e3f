#include "JsonFields.h"

#include <arpa/inet.h>

#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <cstring>

namespace sdksim {
namespace {

constexpr double kTwoPow53 = 9007199254740992.0;
constexpr double kTwoPow63 = 9223372036854775808.0;
constexpr double kTwoPow64 = 18446744073709551616.0;

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool IsWholeNumber(const cJSON* item) {
    return cJSON_IsNumber(item) && std::isfinite(item->valuedouble) &&
           std::floor(item->valuedouble) == item->valuedouble;
}

}  // namespace

bool ParseMac(const char* text, uint8_t out[6]) {
    if (text == nullptr || std::strlen(text) != 17) return false;
    for (int i = 0; i < 6; ++i) {
        const char* p = text + i * 3;
        int hi = HexDigit(p[0]);
        int lo = HexDigit(p[1]);
        if (hi < 0 || lo < 0) return false;
        if (i < 5 && p[2] != ':' && p[2] != '-') return false;
        out[i] = static_cast<uint8_t>(hi * 16 + lo);
    }
    return true;
}

bool ParseIpv4(const char* text, uint32_t* out) {
    in_addr addr{};
    if (text == nullptr || inet_pton(AF_INET, text, &addr) != 1) return false;
    *out = ntohl(addr.s_addr);
    return true;
}

std::string MacText(const uint8_t mac[6]) {
    char buf[18];
    std::snprintf(buf, sizeof buf, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3],
                  mac[4], mac[5]);
    return buf;
}

std::string Ipv4Text(uint32_t ip) {
    char buf[16];
    std::snprintf(buf, sizeof buf, "%u.%u.%u.%u", (ip >> 24) & 0xFFu, (ip >> 16) & 0xFFu,
                  (ip >> 8) & 0xFFu, ip & 0xFFu);
    return buf;
}

bool ParseUint(const cJSON* item, uint64_t max, uint64_t* out) {
    uint64_t v = 0;
    if (IsWholeNumber(item)) {
        if (item->valuedouble < 0 || item->valuedouble >= kTwoPow64) return false;
        v = static_cast<uint64_t>(item->valuedouble);
    } else if (cJSON_IsString(item)) {
        const char* s = item->valuestring;
        if (s[0] < '0' || s[0] > '9') return false;
        char* end = nullptr;
        errno = 0;
        unsigned long long parsed = std::strtoull(s, &end, 10);
        if (errno != 0 || *end != '\0') return false;
        v = parsed;
    } else {
        return false;
    }
    if (v > max) return false;
    *out = v;
    return true;
}

bool ParseInt(const cJSON* item, int64_t min, int64_t max, int64_t* out) {
    int64_t v = 0;
    if (IsWholeNumber(item)) {
        if (item->valuedouble < -kTwoPow63 || item->valuedouble >= kTwoPow63) return false;
        v = static_cast<int64_t>(item->valuedouble);
    } else if (cJSON_IsString(item)) {
        const char* s = item->valuestring;
        if (!(s[0] == '-' || (s[0] >= '0' && s[0] <= '9'))) return false;
        char* end = nullptr;
        errno = 0;
        long long parsed = std::strtoll(s, &end, 10);
        if (errno != 0 || *end != '\0' || end == s) return false;
        v = parsed;
    } else {
        return false;
    }
    if (v < min || v > max) return false;
    *out = v;
    return true;
}

void CopyField(char* field, size_t size, const std::string& text) {
    if (size == 0) return;
    std::memset(field, 0, size);
    size_t n = text.size() < size - 1 ? text.size() : size - 1;
    std::memcpy(field, text.data(), n);
}

const cJSON* Fields::Member(const char* key) const {
    return cJSON_IsObject(obj_) ? cJSON_GetObjectItemCaseSensitive(obj_, key) : nullptr;
}

void Fields::Fail(const char* key, const char* what) {
    if (error_->empty()) *error_ = where_ + "." + key + ": " + what;
}

uint64_t Fields::Uint(const char* key, uint64_t max, uint64_t def) {
    const cJSON* item = Member(key);
    if (item == nullptr) return def;
    uint64_t v = 0;
    if (!ParseUint(item, max, &v)) {
        Fail(key, ("expected an integer from 0 to " + std::to_string(max)).c_str());
        return 0;
    }
    return v;
}

int64_t Fields::Int(const char* key, int64_t min, int64_t max) {
    const cJSON* item = Member(key);
    if (item == nullptr) return 0;
    int64_t v = 0;
    if (!ParseInt(item, min, max, &v)) {
        Fail(key, ("expected an integer from " + std::to_string(min) + " to " + std::to_string(max))
                      .c_str());
        return 0;
    }
    return v;
}

uint32_t Fields::Ip(const char* key) {
    const cJSON* item = Member(key);
    uint32_t ip = 0;
    if (item == nullptr) return 0;
    if (!cJSON_IsString(item) || !ParseIpv4(item->valuestring, &ip)) {
        Fail(key, "expected a dotted IPv4 address such as \"192.168.1.1\"");
        return 0;
    }
    return ip;
}

void Fields::Mac(const char* key, uint8_t out[6]) {
    std::memset(out, 0, 6);
    const cJSON* item = Member(key);
    if (item == nullptr) return;
    if (!cJSON_IsString(item) || !ParseMac(item->valuestring, out)) {
        std::memset(out, 0, 6);
        Fail(key, "expected a MAC address such as \"AA:BB:CC:DD:EE:FF\"");
    }
}

std::string Fields::String(const char* key) {
    const cJSON* item = Member(key);
    if (item == nullptr) return std::string();
    if (!cJSON_IsString(item)) {
        Fail(key, "expected a string");
        return std::string();
    }
    return item->valuestring;
}

void Fields::Text(const char* key, char* out, size_t size) {
    CopyField(out, size, String(key));
}

void SetMember(cJSON* obj, const char* key, cJSON* item) {
    if (cJSON_GetObjectItemCaseSensitive(obj, key) != nullptr) {
        cJSON_ReplaceItemInObjectCaseSensitive(obj, key, item);
    } else {
        cJSON_AddItemToObject(obj, key, item);
    }
}

void SetUint(cJSON* obj, const char* key, uint64_t v) {
    if (static_cast<double>(v) <= kTwoPow53) {
        SetMember(obj, key, cJSON_CreateNumber(static_cast<double>(v)));
    } else {
        SetMember(obj, key, cJSON_CreateString(std::to_string(v).c_str()));
    }
}

void SetInt(cJSON* obj, const char* key, int64_t v) {
    double d = static_cast<double>(v);
    if (d <= kTwoPow53 && d >= -kTwoPow53) {
        SetMember(obj, key, cJSON_CreateNumber(d));
    } else {
        SetMember(obj, key, cJSON_CreateString(std::to_string(v).c_str()));
    }
}

void SetText(cJSON* obj, const char* key, const std::string& text) {
    SetMember(obj, key, cJSON_CreateString(text.c_str()));
}

void SetIp(cJSON* obj, const char* key, uint32_t ip) {
    SetText(obj, key, Ipv4Text(ip));
}

cJSON* ObjectMember(cJSON* parent, const char* key) {
    cJSON* item = cJSON_GetObjectItemCaseSensitive(parent, key);
    if (cJSON_IsObject(item)) return item;
    item = cJSON_CreateObject();
    SetMember(parent, key, item);
    return item;
}

cJSON* ArrayMember(cJSON* parent, const char* key) {
    cJSON* item = cJSON_GetObjectItemCaseSensitive(parent, key);
    if (cJSON_IsArray(item)) return item;
    item = cJSON_CreateArray();
    SetMember(parent, key, item);
    return item;
}

}  // namespace sdksim

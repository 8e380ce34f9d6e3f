#include "Api.h"

#include <cstring>

namespace sdksim {

cJSON* Section(cJSON* root, const char* path) {
    cJSON* obj = root;
    std::string rest = path != nullptr ? path : "";
    while (obj != nullptr && !rest.empty()) {
        size_t dot = rest.find('.');
        std::string key = rest.substr(0, dot);
        rest = dot == std::string::npos ? "" : rest.substr(dot + 1);
        obj = cJSON_GetObjectItemCaseSensitive(obj, key.c_str());
    }
    return obj;
}

cJSON* MakeSection(cJSON* root, const char* path) {
    cJSON* obj = root;
    std::string rest = path != nullptr ? path : "";
    while (!rest.empty()) {
        size_t dot = rest.find('.');
        std::string key = rest.substr(0, dot);
        rest = dot == std::string::npos ? "" : rest.substr(dot + 1);
        obj = ObjectMember(obj, key.c_str());
    }
    return obj;
}

int ReadText(Call& call, const char* path, const char* key, char* out, size_t size) {
    if (call.status() != 0) return call.status();
    if (out == nullptr) return kStatusBadArgument;
    std::string error;
    Fields(Section(call.root(), path), path, &error).Text(key, out, size);
    return error.empty() ? 0 : call.StateError(error);
}

int WriteText(Call& call, const char* path, const char* key, const char* text, size_t maxLen) {
    if (call.status() != 0) return call.status();
    if (text == nullptr || std::strlen(text) > maxLen) return kStatusBadArgument;
    SetText(MakeSection(call.root(), path), key, text);
    return call.Commit();
}

int ReadUint(Call& call, const char* path, const char* key, uint64_t max, uint64_t* out) {
    if (call.status() != 0) return call.status();
    if (out == nullptr) return kStatusBadArgument;
    std::string error;
    *out = Fields(Section(call.root(), path), path, &error).Uint(key, max);
    return error.empty() ? 0 : call.StateError(error);
}

int WriteUint(Call& call, const char* path, const char* key, uint64_t v) {
    if (call.status() != 0) return call.status();
    SetUint(MakeSection(call.root(), path), key, v);
    return call.Commit();
}

int ReadFlag(Call& call, const char* path, const char* key, uint8_t* on) {
    uint64_t v = 0;
    int rc = ReadUint(call, path, key, UINT8_MAX, on != nullptr ? &v : nullptr);
    if (rc == 0) *on = static_cast<uint8_t>(v);
    return rc;
}

int WriteFlag(Call& call, const char* path, const char* key, uint8_t on) {
    if (call.status() != 0) return call.status();
    if (on > 1) return kStatusBadArgument;
    return WriteUint(call, path, key, on);
}

cJSON* FindIndexed(cJSON* array, unsigned index, const char* where, std::string* error) {
    if (!cJSON_IsArray(array)) return nullptr;
    unsigned position = 0;
    for (cJSON* entry = array->child; entry != nullptr; entry = entry->next, ++position) {
        std::string place = std::string(where) + "[" + std::to_string(position) + "]";
        uint64_t own = Fields(entry, place, error).Uint("index", UINT16_MAX, position);
        if (!error->empty()) return nullptr;
        if (own == index) return entry;
    }
    return nullptr;
}

cJSON* FindDevice(cJSON* root, const uint8_t mac[6], std::string* error) {
    cJSON* devices = cJSON_GetObjectItemCaseSensitive(root, "devices");
    if (!cJSON_IsArray(devices)) return nullptr;
    unsigned position = 0;
    for (cJSON* entry = devices->child; entry != nullptr; entry = entry->next, ++position) {
        uint8_t own[6];
        Fields(entry, "devices[" + std::to_string(position) + "]", error).Mac("mac", own);
        if (!error->empty()) return nullptr;
        if (std::memcmp(own, mac, 6) == 0) return entry;
    }
    return nullptr;
}

cJSON* ArrayAt(cJSON* array, int position) {
    return cJSON_IsArray(array) && position >= 0 ? cJSON_GetArrayItem(array, position) : nullptr;
}

uint16_t ArrayCount(const cJSON* array) {
    int n = cJSON_IsArray(array) ? cJSON_GetArraySize(array) : 0;
    return static_cast<uint16_t>(n > UINT16_MAX ? UINT16_MAX : n);
}

}  // namespace sdksim

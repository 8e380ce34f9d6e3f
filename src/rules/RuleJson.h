// The cJSON trees of the rule payloads: owned by the parser that built them, freed on every path.
#pragma once

#include <cjson/cJSON.h>

#include <memory>

struct JsonTreeDeleter {
    void operator()(cJSON* p) const { cJSON_Delete(p); }
};
using JsonTree = std::unique_ptr<cJSON, JsonTreeDeleter>;

// A member fetched by name: absent, present but not a JSON string, or a string.
struct JsonText {
    bool present = false;
    const char* text = nullptr;  // set only for a string member
};

inline JsonText JsonMemberText(const cJSON* obj, const char* name) {
    const cJSON* item = cJSON_GetObjectItem(obj, name);
    JsonText m;
    m.present = item != nullptr;
    if (cJSON_IsString(item)) m.text = item->valuestring;
    return m;
}

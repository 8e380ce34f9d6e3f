// Shared pieces of the exported functions: the library's C interface with default visibility
// (everything else in the library is hidden) and helpers for the common shapes of a call.
#pragma once

#pragma GCC visibility push(default)
#include "RouterSdk.h"
#pragma GCC visibility pop

#include <cstddef>
#include <cstdint>
#include <string>

#include "JsonFields.h"
#include "Store.h"

namespace sdksim {

// The object at a dotted path below the root ("services.ftp"); nullptr when absent.
cJSON* Section(cJSON* root, const char* path);
// The same, created on the way when needed (for writing).
cJSON* MakeSection(cJSON* root, const char* path);

// Getters and setters of one member of a section. Each returns the call's status.
int ReadText(Call& call, const char* path, const char* key, char* out, size_t size);
int WriteText(Call& call, const char* path, const char* key, const char* text, size_t maxLen);
int ReadUint(Call& call, const char* path, const char* key, uint64_t max, uint64_t* out);
int WriteUint(Call& call, const char* path, const char* key, uint64_t v);

// A switch member (0 or 1 on write) of a section.
int ReadFlag(Call& call, const char* path, const char* key, uint8_t* on);
int WriteFlag(Call& call, const char* path, const char* key, uint8_t on);

// Entry of an array whose objects carry an "index" member (default: the array position).
// nullptr when not found; a malformed index sets *error.
cJSON* FindIndexed(cJSON* array, unsigned index, const char* where, std::string* error);
// Attached device with this MAC in "devices"; nullptr when not found.
cJSON* FindDevice(cJSON* root, const uint8_t mac[6], std::string* error);

// Entry at `position` of an array (nullptr when absent or not an array).
cJSON* ArrayAt(cJSON* array, int position);

// Number of entries of a member array (0 when absent), capped at 65535 for 16-bit counts.
uint16_t ArrayCount(const cJSON* array);

}  // namespace sdksim

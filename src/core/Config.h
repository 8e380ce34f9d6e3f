// plug.conf: choosing the file and reading one key from it.
#pragma once

#include <cstddef>
#include <string>

// Chooses the configuration path once: the -f path if readable, else `defaultPath` if readable,
// else the local "./plug.conf" (not checked).
void NewProgramProfile(const char* defaultPath);
const std::string& ConfigPath();
void SetConfigPath(const std::string& path);  // for tests

// Reads `key` of `section` into `out` (at most size - 1 characters, always terminated).
// 0 when found, or when the default was used after reading the file; -1 otherwise.
int getKeyValueStr(const char* section, const char* key, const char* defaultStr, char* out,
                   size_t size);

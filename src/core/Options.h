// Command-line options "df:m:".
#pragma once

#include <cstdint>

// Converts two hexadecimal characters into *out (see Options.cpp for non-hex characters).
void HexPairToByte(const char* pair, uint8_t* out);
// 0 on success, -1 for -f without a path, -2 for a bad -m MAC.
int config_line_proc(int argc, char** argv);

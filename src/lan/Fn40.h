// Function 40: the sub-device list the companion sends.
#pragma once

#include <cstddef>
#include <cstdint>

// Takes one function-40 frame's payload (entry count in the first two bytes, entries from 2).
void Fn40Handle(const uint8_t* payload, size_t len);

// The 47-byte platform message that reports one device online (function 40), shared by the
// online-device report and the sub-device filter.
#pragma once

#include <cstddef>
#include <cstdint>

#include "lan/LanLimits.h"

// Prefix (0, 40, 0, 1 device), `bodyLen` (at most 38) bytes of MAC and device data from byte 8,
// zeros up to byte 45, and 1 (online) at byte 46.
void BuildDevReport(uint8_t msg[lanlimits::kDevReportSize], const uint8_t* body, size_t bodyLen);
// Sends the message as function 40 with the router MAC when AutoReportDevinfo is non-zero, and
// in debug mode (l_debug 1) prints it after "Online subdev:".
void SendDevReport(const uint8_t msg[lanlimits::kDevReportSize]);

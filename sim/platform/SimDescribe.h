// One greppable text line per frame: header fields, then the decoded option block and body
// fields of the frame's type ("type=9 flag=1 optlen=15 datalen=64 sum=ok pin=... sn=...").
#pragma once

#include <string>

#include "SimFrame.h"

namespace psim {

std::string DescribeFrame(const DecodedFrame& f);

// True for non-empty text (printable ASCII, tabs and line ends).
bool Printable(const uint8_t* p, size_t n);

// Printable text as text="..." (with \" \\ \n escapes), anything else as hex=...
std::string DescribeData(const uint8_t* p, size_t n);

// Uploads of device lists (type 19, DataType 63 or 40) as readable lines; "" for other frames.
std::string DescribeDeviceUpload(const DecodedFrame& f);

}  // namespace psim

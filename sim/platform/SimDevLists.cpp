// Device uploads decoded for people: the full LAN device list (function 63) and the one-device
// online report (function 40).
#include <cstdio>
#include <sstream>

#include "SimDescribe.h"
#include "core/ByteOrder.h"

namespace psim {

namespace {

constexpr size_t kRecord = 45;

std::string MacText(const uint8_t* p) {
    char buf[20];
    snprintf(buf, sizeof buf, "%02X:%02X:%02X:%02X:%02X:%02X", p[0], p[1], p[2], p[3], p[4], p[5]);
    return buf;
}

std::string Name(const uint8_t* p, size_t n) {
    size_t len = 0;
    while (len < n && p[len] != 0)
        ++len;
    return Printable(p, len) ? std::string(p, p + len) : DescribeData(p, len);
}

void DeviceList(const uint8_t* d, size_t n, std::ostream& o) {
    if (n < 8) return;
    size_t count = GetLe16(d + 6);
    o << "device list: seq=" << GetLe16(d) << " function=" << GetLe16(d + 2)
      << " count=" << count << "\n";
    for (size_t i = 0; i < count && 8 + (i + 1) * kRecord <= n; ++i) {
        const uint8_t* r = d + 8 + i * kRecord;
        o << "device " << i << ": ip=" << int(r[0]) << "." << int(r[1]) << "." << int(r[2]) << "."
          << int(r[3]) << " mac=" << MacText(r + 4) << " name=" << Name(r + 10, 16)
          << " up=" << GetLe64(r + 26) << " down=" << GetLe64(r + 34)
          << " attached=" << int(r[42]) << " allowed=" << int(r[43]) << " attr=" << int(r[44])
          << "\n";
    }
    if (8 + count * kRecord != n) o << "length " << n << " does not match the count\n";
}

void OnlineDevice(const uint8_t* d, size_t n, std::ostream& o) {
    if (n != 47) return;
    o << "online device: count=" << GetLe16(d + 6) << " mac=" << MacText(d + 8)
      << " data=" << Name(d + 14, 32) << " status=" << int(d[46]) << "\n";
}

}  // namespace

std::string DescribeDeviceUpload(const DecodedFrame& f) {
    const Bytes& b = f.plain;
    if (f.raw.MsgType() != 19 || b.size() < 11) return "";
    size_t len = GetLe16(&b[9]);
    if (len > b.size() - 11) len = b.size() - 11;
    std::ostringstream o;
    if (b[2] == 63) DeviceList(&b[11], len, o);
    if (b[2] == 40) OnlineDevice(&b[11], len, o);
    return o.str();
}

}  // namespace psim

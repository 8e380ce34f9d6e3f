#include <gtest/gtest.h>

#include "core/ByteOrder.h"

namespace {

TEST(ByteOrder, LittleEndianFieldsAndNetworkOrderIpv4) {
    uint8_t b[8] = {0};
    PutLe16(b, 0x1234);
    EXPECT_EQ(0x34, b[0]);
    EXPECT_EQ(0x12, b[1]);
    PutLe32(b, 0x01020304);
    const uint8_t w32[4] = {0x04, 0x03, 0x02, 0x01};
    EXPECT_EQ(0, memcmp(w32, b, 4));
    PutLe64(b, 0x0102030405060708ULL);
    const uint8_t w64[8] = {8, 7, 6, 5, 4, 3, 2, 1};
    EXPECT_EQ(0, memcmp(w64, b, 8));
    EXPECT_EQ(0x0102030405060708ULL, GetLe64(w64));
    EXPECT_EQ(0x01020304u, GetLe32(w32));
    // IPv4 addresses go out in network order; Swap32Always reverses on every host.
    EXPECT_EQ(0x0101A8C0u, Swap32Always(0xC0A80101u));
    PutIpv4(b, 0xC0A80101u);  // 192.168.1.1
    const uint8_t want[4] = {0xC0, 0xA8, 0x01, 0x01};
    EXPECT_EQ(0, memcmp(want, b, 4));
    EXPECT_EQ(0xC0A80101u, GetIpv4(want));
}

}  // namespace

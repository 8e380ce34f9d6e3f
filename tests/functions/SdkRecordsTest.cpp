// Records read from request bytes (functions 17, 32, 82): every converted field lands in the
// host record with its documented byte order.
#include <gtest/gtest.h>

#include "FnTestSupport.h"
#include "functions/SdkRecords.h"

namespace {

using fntest::Hex;
using fntest::Image;

// The records are packed: their members are copied out before a check binds a reference.
template <typename T>
T Value(T v) {
    return v;
}

TEST(SdkRecords, WanRecordFromRequestBytes) {
    fntest::Bytes wire = Image(228)
                             .At(0, Hex("03 00 01 02 01 D4 05 02"))
                             .Text(8, "INTERNET")
                             .At(168, Hex("00 1A 2B 3C 4D 5F"))
                             .At(205, Hex("64 40 17 07  FF FF FF 00  64 40 00 01"))
                             .At(217, Hex("08 08 08 08  08 08 04 04  E8 03 01"))
                             .bytes;
    WanCfg w = {};
    GetWanCfg(wire.data(), &w);
    EXPECT_EQ(3, Value(w.index));
    EXPECT_EQ(1, Value(w.enable));
    EXPECT_EQ(258, Value(w.vlanId));
    EXPECT_EQ(1492, Value(w.mtu));
    EXPECT_EQ(2, Value(w.connType));
    EXPECT_STREQ("INTERNET", w.name);
    EXPECT_EQ(0x5F, w.mac[5]);
    EXPECT_EQ(0x64401707u, Value(w.ip));
    EXPECT_EQ(0xFFFFFF00u, Value(w.mask));
    EXPECT_EQ(0x64400001u, Value(w.gateway));
    EXPECT_EQ(0x08080808u, Value(w.dns1));
    EXPECT_EQ(0x08080404u, Value(w.dns2));
    EXPECT_EQ(1000, Value(w.linkSpeed));
    EXPECT_EQ(1, Value(w.natEnable));
    fntest::Bytes back(228, 0xEE);
    PutWanCfg(back.data(), w);
    EXPECT_EQ(wire, back);
}

TEST(SdkRecords, DeviceRecordFromRequestBytes) {
    fntest::Bytes wire = Image(34)
                             .At(0, Hex("3C 22 FB 91 0A 11"))
                             .Text(6, "phone")
                             .At(22, Hex("02 01 00 01 07 D0 62 03 C0 A8 01 64"))
                             .bytes;
    DevCfg d = {};
    GetDevCfg(wire.data(), &d);
    EXPECT_EQ(7, Value(d.attribute));
    EXPECT_EQ(-48, Value(d.rssi));
    EXPECT_EQ(866, Value(d.linkRate));
    EXPECT_EQ(0xC0A80164u, Value(d.ip));
    fntest::Bytes back(34, 0xEE);
    PutDevCfg(back.data(), d);
    EXPECT_EQ(wire, back);
}

}  // namespace

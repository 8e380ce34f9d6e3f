// The function-40 list walk and slot table: count and length checks, the offline-entry walk,
// refused MACs, the 128-slot limit, and the 47-byte reports of pending slots.
#include <gtest/gtest.h>

#include <cstring>
#include <memory>

#include "LanTestSupport.h"
#include "core/Globals.h"
#include "lan/DevReport.h"
#include "lan/Fn40.h"

namespace {

using lantest::Bytes;

struct Entry {
    uint8_t mac0;  // 0x00 or 0xFF make an all-zero / all-FF MAC
    uint8_t status;
};

Bytes Entry39(const Entry& e, uint8_t tag) {
    Bytes b(39, tag);
    bool special = e.mac0 == 0x00 || e.mac0 == 0xFF;
    for (int i = 0; i < 6; ++i)
        b[i] = special ? e.mac0 : static_cast<uint8_t>(e.mac0 + i);
    b[38] = e.status;
    return b;
}

Bytes List(const std::vector<Entry>& entries, int count = -1) {
    size_t n = count < 0 ? entries.size() : static_cast<size_t>(count);
    Bytes p = {static_cast<uint8_t>(n), static_cast<uint8_t>(n >> 8)};
    for (size_t i = 0; i < entries.size(); ++i)
        testsupport::Append(&p, Entry39(entries[i], static_cast<uint8_t>(0x40 + i)));
    return p;
}

// Hands exactly `len` bytes (a heap copy, so an over-read is caught by ASan).
void Handle(const Bytes& p, size_t len) {
    std::unique_ptr<uint8_t[]> copy(new uint8_t[len ? len : 1]);
    memcpy(copy.get(), p.data(), len);
    Fn40Handle(copy.get(), len);
}

struct Fn40Test : ::testing::Test {
    void SetUp() override { ASSERT_EQ(0, Fn40Init()); }
    void TearDown() override { Fn40Stop(); }
    testsupport::LogCapture log;
};

TEST_F(Fn40Test, ListsAreWalkedWithinTheirBytes) {
    struct Case {
        Bytes payload;
        size_t len;                   // bytes handed over
        std::vector<uint8_t> stored;  // first MAC bytes of the slots afterwards
        const char* logged;
    } cases[] = {
        {List({{0x10, 1}, {0x20, 0}, {0x30, 1}}), 2 + 3 * 39, {0x10}, "Subdev offline."},
        {List({{0x10, 1}, {0x20, 1}}, 128), 2 + 2 * 39, {0x10, 0x20}, "Have subdev data."},
        {List({{0x10, 1}, {0x20, 1}, {0x30, 1}}), 2 + 2 * 39 + 20, {0x10, 0x20}, "Have subdev"},
        {List({{0x10, 1}}, 0), 41, {}, "Subdev number error."},
        {List({{0x10, 1}}, 129), 41, {}, "Subdev number error."},
        {List({{0x10, 1}}), 38, {}, "Subdev length error."},
        {List({{0x10, 1}}), 1, {}, "Subdev length error."},
        {List({{0x00, 1}, {0xFF, 1}, {0x10, 1}}), 2 + 3 * 39, {0x10}, "Have subdev data."},
        {List({{0x10, 1}, {0x10, 1}}), 2 + 2 * 39, {0x10}, "Have subdev data."},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.len);
        Fn40Stop();
        ASSERT_EQ(0, Fn40Init());
        log.Clear();
        Handle(c.payload, c.len);
        EXPECT_TRUE(log.Contains(c.logged)) << log.Text();
        std::vector<uint8_t> macs;
        for (const Fn40Slot& s : Fn40Slots())
            macs.push_back(s.mac[0]);
        EXPECT_EQ(c.stored, macs);
    }
    Bytes big(5129, 0);
    big[0] = 1;
    Handle(big, big.size());
    EXPECT_TRUE(log.Contains("Subdev length error."));
}

TEST_F(Fn40Test, The129thDeviceIsDropped) {
    for (int i = 0; i < 129; ++i) {
        Bytes e = Entry39({0x01, 1}, 0);
        e[5] = static_cast<uint8_t>(i);
        e[4] = static_cast<uint8_t>(i >> 8 | 0x10);
        EXPECT_EQ(0, Fn40AddDev(e.data()));
    }
    std::vector<Fn40Slot> slots = Fn40Slots();
    ASSERT_EQ(128u, slots.size());
    EXPECT_EQ(127, slots.back().mac[5]);
}

TEST_F(Fn40Test, PendingSlotsAreReportedOnce) {
    l_debug = 1;
    Handle(List({{0x10, 1}}), 41);
    {
        std::lock_guard<std::mutex> g(Fn40Mutex);
        Fn40OnlineReport();
        Fn40OnlineReport();
    }
    l_debug = 0;
    // 0, 40, 0, 1 device; MAC; the 32 data bytes as received; 1 online.
    const std::string data = "40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 40 ";
    const std::string msg = "00 00 28 00 00 00 01 00 10 11 12 13 14 15 " + data + data + "01 ";
    EXPECT_EQ(1u, log.Count(msg)) << log.Text();
    EXPECT_EQ(1u, log.Count("Online subdev:"));
    uint8_t built[47];
    BuildDevReport(built, lantest::Hex(msg).data() + 8, 38);
    EXPECT_EQ(lantest::Hex(msg), Bytes(built, built + 47));
}

}  // namespace

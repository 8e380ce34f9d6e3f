// ARP table lines: the command's filters (prefix as a grep pattern, no all-zero MAC) and the
// field parsing, over the widths and damage real tables and fixtures show.
#include <gtest/gtest.h>

#include "LanTestSupport.h"
#include "lan/ArpTable.h"

namespace {

TEST(ArpTable, LinesAreFilteredAndParsed) {
    const std::string pad(140, ' ');
    struct Case {
        std::string line;
        bool selected, parsed;
        uint32_t ip;
        const char* mac;  // hex bytes of the parsed MAC
    } cases[] = {
        {"192.168.1.23     0x1         0x2         aa:bb:cc:dd:ee:0f     *        br-lan\n", true,
         true, 0xC0A80117, "AABBCCDDEE0F"},
        {"192.168.1.5 0x1 0x2 AA:BB:CC:DD:EE:FF * br0", true, true, 0xC0A80105, "AABBCCDDEEFF"},
        {"192.168.1.6\t0x1\t0x2\t01:02:03:04:05:06\t*\teth0\n", true, true, 0xC0A80106,
         "010203040506"},
        // The dot of the prefix is any character.
        {"192.168.10.7 0x1 0x2 01:02:03:04:05:07 * br0", true, true, 0xC0A80A07, "010203040507"},
        {"192.168.1.8 0x1 0x0 00:00:00:00:00:00 * br0", false, true, 0xC0A80108, "000000000000"},
        {"10.0.0.1 0x1 0x2 01:02:03:04:05:06 * eth1", false, true, 0x0A000001, "010203040506"},
        {"IP address       HW type     Flags       HW address            Mask     Device", false,
         false, 0, ""},
        {"192.168.1.9 0x1 0x2 01:02:03:04:05:6 * br0", true, false, 0, ""},
        {"192.168.1.9 0x1 0x2 01:02:03:04:05:066 * br0", true, false, 0, ""},
        {"192.168.1.9 0x1 0x2 0g:02:03:04:05:06 * br0", true, false, 0, ""},
        {"192.168.1.9 0x1 0x2 01-02-03-04-05-06 * br0", true, false, 0, ""},
        {"192.168.1.9 0x1 0x2", true, false, 0, ""},
        {"192.168.1.999 0x1 0x2 01:02:03:04:05:06 * br0", true, false, 0, ""},
        {"192.168.1.9 0x1 0x2" + pad + "01:02:03:04:05:06 * br0", true, false, 0, ""},  // > 157
        {"192.168.1.4 0x1 0x2 01:02:03:04:05:04 * br0" + pad + "x", true, true, 0xC0A80104,
         "010203040504"},
    };
    for (const Case& c : cases) {
        SCOPED_TRACE(c.line);
        EXPECT_EQ(c.selected, ArpLineSelected(c.line, "192.168.1."));
        ArpHost h{};
        ASSERT_EQ(c.parsed, ParseArpLine(c.line, &h));
        if (!c.parsed) continue;
        EXPECT_EQ(c.ip, h.ip);
        EXPECT_EQ(lantest::Hex(c.mac), lantest::Bytes(h.mac, h.mac + 6));
    }
}

}  // namespace

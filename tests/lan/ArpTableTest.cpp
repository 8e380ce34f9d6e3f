// ARP table lines: the command's filters (prefix as a grep pattern, no all-zero MAC) and the
// field parsing, over the widths and damage real tables and fixtures show.
#include <gtest/gtest.h>

#include <cstring>

#include "lan/ArpTable.h"

namespace {

struct ArpCase {
    const char* name;
    std::string line;
    bool selected;
    bool parsed;
    uint32_t ip;
    uint8_t mac[6];
};

const std::string kPad(140, ' ');

TEST(ArpTable, LinesAreFilteredAndParsed) {
    const ArpCase cases[] = {
        {"kernel widths",
         "192.168.1.23     0x1         0x2         aa:bb:cc:dd:ee:0f     *        br-lan\n",
         true,
         true,
         0xC0A80117,
         {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0x0F}},
        {"narrow, upper case",
         "192.168.1.5 0x1 0x2 AA:BB:CC:DD:EE:FF * br0",
         true,
         true,
         0xC0A80105,
         {0xAA, 0xBB, 0xCC, 0xDD, 0xEE, 0xFF}},
        {"tabs",
         "192.168.1.6\t0x1\t0x2\t01:02:03:04:05:06\t*\teth0\n",
         true,
         true,
         0xC0A80106,
         {1, 2, 3, 4, 5, 6}},
        {"dot of the prefix is any character",
         "192.168.10.7 0x1 0x2 01:02:03:04:05:07 * br0",
         true,
         true,
         0xC0A80A07,
         {1, 2, 3, 4, 5, 7}},
        {"all-zero MAC",
         "192.168.1.8 0x1 0x0 00:00:00:00:00:00 * br0",
         false,
         true,
         0xC0A80108,
         {}},
        {"other subnet",
         "10.0.0.1 0x1 0x2 01:02:03:04:05:06 * eth1",
         false,
         true,
         0x0A000001,
         {1, 2, 3, 4, 5, 6}},
        {"header",
         "IP address       HW type     Flags       HW address            Mask     Device",
         false,
         false,
         0,
         {}},
        {"MAC of 16 characters", "192.168.1.9 0x1 0x2 01:02:03:04:05:6 * br0", true, false, 0, {}},
        {"MAC of 18 characters",
         "192.168.1.9 0x1 0x2 01:02:03:04:05:066 * br0",
         true,
         false,
         0,
         {}},
        {"MAC not hexadecimal", "192.168.1.9 0x1 0x2 0g:02:03:04:05:06 * br0", true, false, 0, {}},
        {"MAC with dashes", "192.168.1.9 0x1 0x2 01-02-03-04-05-06 * br0", true, false, 0, {}},
        {"three fields", "192.168.1.9 0x1 0x2", true, false, 0, {}},
        {"bad address", "192.168.1.999 0x1 0x2 01:02:03:04:05:06 * br0", true, false, 0, {}},
        {"MAC beyond 157 characters",
         "192.168.1.9 0x1 0x2" + kPad + "01:02:03:04:05:06 * br0",
         true,
         false,
         0,
         {}},
        {"long tail after the fields",
         "192.168.1.4 0x1 0x2 01:02:03:04:05:04 * br0" + kPad + "x",
         true,
         true,
         0xC0A80104,
         {1, 2, 3, 4, 5, 4}},
    };
    for (const ArpCase& c : cases) {
        SCOPED_TRACE(c.name);
        EXPECT_EQ(c.selected, ArpLineSelected(c.line, "192.168.1."));
        ArpHost h{};
        ASSERT_EQ(c.parsed, ParseArpLine(c.line, &h));
        if (!c.parsed) continue;
        EXPECT_EQ(c.ip, h.ip);
        EXPECT_EQ(0, memcmp(c.mac, h.mac, 6));
    }
}

}  // namespace

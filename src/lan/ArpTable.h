// Reading the kernel's ARP table for the sub-device monitor. The table is read directly (no
// shell pipeline) with the filters of the product's command
//     cat /proc/net/arp | grep PREFIX | grep -v 00:00:00:00:00:00
// kept exactly: a line is taken when PREFIX matches anywhere in it as a grep pattern (each "." of
// the prefix matches any one character) and the text 00:00:00:00:00:00 appears nowhere in it.
#pragma once

#include <cstdint>
#include <string>

struct ArpHost {
    uint32_t ip;  // host order: 192.168.1.1 is 0xC0A80101
    uint8_t mac[6];
};

// true when `line` passes the command's filters for `prefix` (digits and dots).
bool ArpLineSelected(const std::string& line, const std::string& prefix);
// Parses one ARP line that passed the filters: first blank-separated field the IPv4 address,
// fourth the MAC text, exactly 17 characters "xx:xx:xx:xx:xx:xx" (hex digits in either case).
// Only the first 157 characters of the line are looked at. false when the line does not hold
// such fields.
bool ParseArpLine(const std::string& line, ArpHost* host);

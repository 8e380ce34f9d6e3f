// Answers written by hand from the documented layouts decode to the expected text: one row per
// layout, the answer as hexadecimal text or as a record image of fields at their offsets.
#include <gtest/gtest.h>

#include "FdTestSupport.h"
#include "FuncDecode.h"

namespace {

using fdtest::At;
using fdtest::Bytes;
using fdtest::Hex;
using fdtest::Image;

struct DecodeCase {
    Bytes answer;
    std::string text;
};

// The decoded lines of the WAN record that Wan() writes.
const char* const kWanText =
    "  index: 1\n  enable: 1\n  vlan: 10\n  mtu: 1500\n  type: 2\n  name: \"wan1\"\n"
    "  user: \"user\"\n  password: \"pw\"\n  mac: 00:11:22:33:44:55\n  service: \"\"\n"
    "  ip: 100.64.0.2\n  mask: 255.255.255.0\n  gateway: 100.64.0.1\n  dns1: 8.8.8.8\n"
    "  dns2: 8.8.4.4\n  speed: 1000\n  nat: 1\n";

// `b` with one WAN record (228 bytes) written at `at`.
Bytes Wan(Bytes b, size_t at) {
    Bytes rec =
        Image(228, {{0, "01 00 01 0A 00 DC 05 02"},
                    {8, "", "wan1"},
                    {40, "", "user"},
                    {104, "", "pw"},
                    {168, "00 11 22 33 44 55"},
                    {205, "64 40 00 02 FF FF FF 00 64 40 00 01 08 08 08 08 08 08 04 04 E8 03 01"}});
    std::copy(rec.begin(), rec.end(), b.begin() + static_cast<long>(at));
    return b;
}

const DecodeCase kCases[] = {
    // Headers, result codes, scalar answers, extra and missing bytes.
    {Hex("12 34 2D 00 00 00"),
     "answer: 6 bytes\ntag: 12 34\nfunction: 45 (set DNS servers)\nresult: 0 (success)\n"},
    {Hex("12 34 59 00 07 00"),
     "answer: 6 bytes\ntag: 12 34\nfunction: 89\nresult: 7 (function not supported)\n"},
    {Hex("12 34 3E 00 07 00"),
     "answer: 6 bytes\ntag: 12 34\nfunction: 62 (rate-test result (pushed by the agent))\n"
     "result: 7 (function not supported)\n"},
    {Hex("00 00 3E 00 00 00 87 D6 12 00"),
     "answer: 10 bytes\ntag: 00 00\nfunction: 62 (rate-test result (pushed by the agent))\n"
     "result: 0 (success)\nrate: 1234567 bytes/s\n"},
    {Hex("00 00 3E 00 01 00 FF FF FF FF"),
     "answer: 10 bytes\ntag: 00 00\nfunction: 62 (rate-test result (pushed by the agent))\n"
     "result: 1 (failure)\nrate: -1 (failed)\n"},
    {Hex("AB CD 0E 00 FE FF"),
     "answer: 6 bytes\ntag: AB CD\nfunction: 14 (SSID switch)\n"
     "result: 65534 (status from the router, -2 as signed)\n"},
    {Hex("12 34 03 00 01 00"),
     "answer: 6 bytes\ntag: 12 34\nfunction: 3 (one WAN configuration)\nresult: 1 (failure)\n"},
    {Hex("12 34 05 00 00 00 39 00 00 00"),
     "answer: 10 bytes\ntag: 12 34\nfunction: 5 (TCP connections of a WAN)\n"
     "result: 0 (success)\ncount: 57\n"},
    {Hex("12 34 07 00 00 00 00 00 00 00 01 00 00 00"),
     "answer: 14 bytes\ntag: 12 34\nfunction: 7 (bytes received on a WAN)\n"
     "result: 0 (success)\nbytes: 4294967296\n"},
    {Hex("12 34 0E 00 00 00 01"),
     "answer: 7 bytes\ntag: 12 34\nfunction: 14 (SSID switch)\nresult: 0 (success)\nswitch: 1\n"},
    {Hex("12 34 2C 00 05 00 08 08 08 08 08 08 04 04"),
     "answer: 14 bytes\ntag: 12 34\nfunction: 44 (DNS servers)\nresult: 5 (status from the "
     "router)\ndns1: 8.8.8.8\ndns2: 8.8.4.4\n"},
    {Hex("12 34 29 00 00 00 E8 03 64 00 0A 00"),
     "answer: 12 bytes\ntag: 12 34\nfunction: 41 (link speeds)\nresult: 0 (success)\n"
     "speed0: 1000\nspeed1: 100\nspeed2: 10\n"},
    {Hex("12 34 1A 00 00 00 01 00 01"),
     "answer: 9 bytes\ntag: 12 34\nfunction: 26 (service switches)\nresult: 0 (success)\n"
     "ftp: 1\nsamba: 0\ntelnet: 1\n"},
    {Hex("12 34 4D 00 00 00 50 46"),
     "answer: 8 bytes\ntag: 12 34\nfunction: 77 (mesh roaming threshold)\n"
     "result: 0 (success)\nthreshold0: 80\nthreshold1: 70\n"},
    {Hex("12 34 22 00 00 00 FF FF FF FF FF FF FF FF 00 10 00 00 00 00 00 00"),
     "answer: 22 bytes\ntag: 12 34\nfunction: 34 (bandwidth limits of a device)\n"
     "result: 0 (success)\nup: -1\ndown: 4096\n"},
    {Hex("12 34 3C 00 00 00 31 32 33 34 35 36 37 38 00 00 00 00"),
     "answer: 18 bytes\ntag: 12 34\nfunction: 60 (router PIN)\nresult: 0 (success)\n"
     "pin: \"12345678\"\n"},
    {Hex("12 34 2D 00 00 00 AA"),
     "answer: 7 bytes\ntag: 12 34\nfunction: 45 (set DNS servers)\nresult: 0 (success)\n"
     "extra: 1 bytes after byte 5: AA\n"},
    {Hex("12 34 28 00 00 00 01 02"),
     "answer: 8 bytes\ntag: 12 34\nfunction: 40 (no answer)\nresult: 0 (success)\n"
     "extra: 2 bytes after byte 5: 01 02\n"},
    {Hex("12 34"), "short answer: 2 bytes, a header needs 6: 12 34\n"},
    {Hex(""), "short answer: 0 bytes, a header needs 6\n"},
    // Fixed records.
    {Image(70, {{0, "12 34 01 00"}, {6, "", "V2.0.1\x01"}, {66, "16 0C 1B 05"}}),
     "answer: 70 bytes\ntag: 12 34\nfunction: 1 (router firmware version)\n"
     "result: 0 (success)\nversion: \"V2.0.1\\x01\"\ndate: 16 0C 1B 05\n"},
    {Image(301, {{0, "12 34 02 00"},
                 {6, "AA BB CC 00 11 22"},
                 {12, "", "SN001"},
                 {76, "", "Acme"},
                 {140, "", "R1"},
                 {204, "", "MIPS 1004Kc"},
                 {244, "B0 04 02 00 00 02 00"},
                 {251, "", "DDR3"},
                 {267, "01"},
                 {268, "", "home"},
                 {300, "01"}}),
     "answer: 301 bytes\ntag: 12 34\nfunction: 2 (router identity)\nresult: 0 (success)\n"
     "mac: AA:BB:CC:00:11:22\nserial: \"SN001\"\nvendor: \"Acme\"\nmodel: \"R1\"\n"
     "cpu_model: \"MIPS 1004Kc\"\ncpu_mhz: 1200\ncpu_cores: 2\nmemory_kb: 131072\n"
     "memory_type: \"DDR3\"\nplug: 1\nname: \"home\"\nipv6: 1\n"},
    {Wan(Image(234, {{0, "12 34 03 00"}}), 6),
     std::string("answer: 234 bytes\ntag: 12 34\nfunction: 3 (one WAN configuration)\n"
                 "result: 0 (success)\nwan:\n") +
         kWanText},
    {Wan(Image(236, {{0, "12 34 04 00"}, {6, "01 00"}}), 8),
     std::string("answer: 236 bytes\ntag: 12 34\nfunction: 4 (all WAN configurations)\n"
                 "result: 0 (success)\ncount: 1\nwan[0]:\n") +
         kWanText},
    {Image(126, {{0, "12 34 10 00"},
                 {6, "01 00"},
                 {8, "", "Home"},
                 {41, "", "secret"},
                 {106, "01 00 00 01 00 00 06 00 20 00 64 00 0A 00 00 01 FF FF FF 00"}}),
     "answer: 126 bytes\ntag: 12 34\nfunction: 16 (SSID configuration)\nresult: 0 (success)\n"
     "ssid:\n  index: 1\n  ssid: \"Home\"\n  password: \"secret\"\n  encrypt: 1\n  auth: 0\n"
     "  hidden: 0\n  enable: 1\n  band: 0\n  isolate: 0\n  channel: 6\n  clients: 32\n"
     "  beacon: 100\n  guest_ip: 10.0.0.1\n  guest_mask: 255.255.255.0\n"},
    {Hex("12 34 0A 00 00 00 C0 A8 01 01 FF FF FF 00 01 00 80 51 01 00"),
     "answer: 20 bytes\ntag: 12 34\nfunction: 10 (LAN configuration)\nresult: 0 (success)\n"
     "lan:\n  ip: 192.168.1.1\n  mask: 255.255.255.0\n  dhcp: 1\n  reserved: 0\n"
     "  lease: 86400\n"},
    {Image(27, {{0, "12 34 14 00"}, {26, "01"}}),
     "answer: 27 bytes\ntag: 12 34\nfunction: 20 (fixed answer)\nresult: 0 (success)\n"
     "zero: 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00 00\nflag: 1\n"},
    // Counted lists.
    {Image(76, {{0, "12 34 27 00 00 00 02 00 AA BB CC 00 11 22"},
                {14, "", "Phone"},
                {30, "01 00 01 01 00 C4 56 04 C0 A8 01 14 AA BB CC 00 11 33"},
                {64, "00 00 01 00 02 00 E8 03 C0 A8 01 15"}}),
     "answer: 76 bytes\ntag: 12 34\nfunction: 39 (all devices)\nresult: 0 (success)\n"
     "count: 2\n"
     "device[0]:\n  mac: AA:BB:CC:00:11:22\n  name: \"Phone\"\n  conn: 1\n  band: 0\n"
     "  mode: 1\n  access: 1\n  attribute: 0\n  rssi: -60\n  rate: 1110\n  ip: 192.168.1.20\n"
     "device[1]:\n  mac: AA:BB:CC:00:11:33\n  name: \"\"\n  conn: 0\n  band: 0\n"
     "  mode: 1\n  access: 0\n  attribute: 2\n  rssi: 0\n  rate: 1000\n  ip: 192.168.1.21\n"},
    {Hex("12 34 2B 00 00 00 02 00 AA BB CC 00 11 22 01 02 03 04 05 06"),
     "answer: 20 bytes\ntag: 12 34\nfunction: 43 (device black list)\nresult: 0 (success)\n"
     "count: 2\nmac[0]: AA:BB:CC:00:11:22\nmac[1]: 01:02:03:04:05:06\n"},
    {Image(52, {{0, "12 34 2A 00 00 00 01 00 00 00 10 20 30 40 50 60"},
                {16, "", "Neighbour"},
                {49, "B5 0B 01"}}),
     "answer: 52 bytes\ntag: 12 34\nfunction: 42 (neighbouring Wi-Fi networks)\n"
     "result: 0 (success)\ncount: 1\nnetwork[0]:\n  bssid: 10:20:30:40:50:60\n"
     "  ssid: \"Neighbour\"\n  rssi: -75\n  channel: 11\n  encrypt: 1\n"},
    {Hex("12 34 0C 00 00 00 01 00 00 04 00 00 00 00 00 00 00 08 00 00 00 00 00 00"),
     "answer: 24 bytes\ntag: 12 34\nfunction: 12 (traffic per LAN port)\nresult: 0 (success)\n"
     "count: 1\nport[0]:\n  up: 1024\n  down: 2048\n"},
    {Hex("12 34 0D 00 00 00 01 00 01 00 01 01 24 02 64 03"),
     "answer: 16 bytes\ntag: 12 34\nfunction: 13 (all WLAN configurations)\n"
     "result: 0 (success)\ncount: 1\nwlan[0]:\n  index: 1\n  band: 1\n  enable: 1\n"
     "  channel: 36\n  bandwidth: 2\n  power: 100\n  ssids: 3\n"},
    {Hex("12 34 31 00 00 00 02 00 01 00 01 00 01 01 00 01 00"),
     "answer: 17 bytes\ntag: 12 34\nfunction: 49 (connection overview)\nresult: 0 (success)\n"
     "lan_count: 2\n  lan[0]: 1\n  lan[1]: 0\nwan_count: 1\n  wan[0]: 1\nwifi[0]: 1\n"
     "wifi[1]: 0\nwifi[2]: 1\nwifi[3]: 0\n"},
    // Length-prefixed text and data.
    {Hex("12 34 09 00 00 00 0D 00 6F 6B 20 31 0A 0A 6C 6F 73 73 09 30 0A"),
     "answer: 21 bytes\ntag: 12 34\nfunction: 9 (fetch ping result)\nresult: 0 (success)\n"
     "length: 13\ntext: 13 bytes\n  | ok 1\n  | loss\\x090\n"},
    {Hex("12 34 24 00 00 00 04 00 54 56 22 31"),
     "answer: 12 bytes\ntag: 12 34\nfunction: 36 (name of a device)\nresult: 0 (success)\n"
     "length: 4\nname: \"TV\\\"1\"\n"},
    {Hex("12 34 4E 00 00 00 03 00 01 02 03"),
     "answer: 11 bytes\ntag: 12 34\nfunction: 78 (mesh topology)\nresult: 0 (success)\n"
     "length: 3\ndata: 3 bytes\n  0: 01 02 03\n"},
    {Hex("12 34 4F 00 00 00 04 00 02 00 AA BB"),
     "answer: 12 bytes\ntag: 12 34\nfunction: 79 (neighbouring Wi-Fi information)\n"
     "result: 0 (success)\nlength: 4\nrecords: 2\ndata: 2 bytes\n  0: AA BB\n"},
    {Hex("12 34 50 00 00 00 06 00 00 11 22 33 44 55"),
     "answer: 14 bytes\ntag: 12 34\nfunction: 80 (BSSID)\nresult: 0 (success)\n"
     "length: 6\nbssid: 00:11:22:33:44:55\n"},
};

TEST(Decode, EveryLayout) {
    for (const DecodeCase& c : kCases)
        EXPECT_EQ(c.text, DecodeFunctionAnswer(c.answer.data(), c.answer.size()))
            << c.text.substr(0, c.text.find("result"));
}

}  // namespace

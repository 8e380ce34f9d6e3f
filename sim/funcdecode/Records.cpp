// The router SDK's records as they travel, field by field (offsets within the record).
#include "Fields.h"

namespace funcdecode {

size_t FieldWidth(const Field& f) {
    switch (f.kind) {
        case Kind::U8:
        case Kind::I8:
            return 1;
        case Kind::U16:
        case Kind::LenText:
            return 2;
        case Kind::U32:
        case Kind::Ipv4:
            return 4;
        case Kind::U64:
        case Kind::I64:
            return 8;
        case Kind::Mac:
            return 6;
        case Kind::CText:
            return 1;
        case Kind::Text:
        case Kind::Bytes:
            return f.size;
    }
    return 0;
}

namespace {

const Field kWanFields[] = {
    {"index", 0, Kind::U16, 0},      {"enable", 2, Kind::U8, 0},
    {"vlan", 3, Kind::U16, 0},       {"mtu", 5, Kind::U16, 0},
    {"type", 7, Kind::U8, 0},        {"name", 8, Kind::Text, 32},
    {"user", 40, Kind::Text, 64},    {"password", 104, Kind::Text, 64},
    {"mac", 168, Kind::Mac, 0},      {"service", 174, Kind::Text, 31},
    {"ip", 205, Kind::Ipv4, 0},      {"mask", 209, Kind::Ipv4, 0},
    {"gateway", 213, Kind::Ipv4, 0}, {"dns1", 217, Kind::Ipv4, 0},
    {"dns2", 221, Kind::Ipv4, 0},    {"speed", 225, Kind::U16, 0},
    {"nat", 227, Kind::U8, 0},
};

const Field kSsidFields[] = {
    {"index", 0, Kind::U16, 0},       {"ssid", 2, Kind::Text, 33},
    {"password", 35, Kind::Text, 65}, {"encrypt", 100, Kind::U8, 0},
    {"auth", 101, Kind::U8, 0},       {"hidden", 102, Kind::U8, 0},
    {"enable", 103, Kind::U8, 0},     {"band", 104, Kind::U8, 0},
    {"isolate", 105, Kind::U8, 0},    {"channel", 106, Kind::U16, 0},
    {"clients", 108, Kind::U16, 0},   {"beacon", 110, Kind::U16, 0},
    {"guest_ip", 112, Kind::Ipv4, 0}, {"guest_mask", 116, Kind::Ipv4, 0},
};

const Field kDevFields[] = {
    {"mac", 0, Kind::Mac, 0},       {"name", 6, Kind::Text, 16}, {"conn", 22, Kind::U8, 0},
    {"band", 23, Kind::U8, 0},      {"mode", 24, Kind::U8, 0},   {"access", 25, Kind::U8, 0},
    {"attribute", 26, Kind::U8, 0}, {"rssi", 27, Kind::I8, 0},   {"rate", 28, Kind::U16, 0},
    {"ip", 30, Kind::Ipv4, 0},
};

const Field kLanFields[] = {
    {"ip", 0, Kind::Ipv4, 0},     {"mask", 4, Kind::Ipv4, 0},  {"dhcp", 8, Kind::U8, 0},
    {"reserved", 9, Kind::U8, 0}, {"lease", 10, Kind::U32, 0},
};

const Field kWlanFields[] = {
    {"index", 0, Kind::U16, 0},  {"band", 2, Kind::U8, 0},      {"enable", 3, Kind::U8, 0},
    {"channel", 4, Kind::U8, 0}, {"bandwidth", 5, Kind::U8, 0}, {"power", 6, Kind::U8, 0},
    {"ssids", 7, Kind::U8, 0},
};

const Field kAdjFields[] = {
    {"bssid", 0, Kind::Mac, 0},   {"ssid", 6, Kind::Text, 33},  {"rssi", 39, Kind::I8, 0},
    {"channel", 40, Kind::U8, 0}, {"encrypt", 41, Kind::U8, 0},
};

template <size_t N>
constexpr Record MakeRecord(const char* name, size_t size, const Field (&fields)[N]) {
    return Record{name, size, fields, N};
}

}  // namespace

const Record kWanRecord = MakeRecord("wan", 228, kWanFields);
const Record kSsidRecord = MakeRecord("ssid", 120, kSsidFields);
const Record kDevRecord = MakeRecord("device", 34, kDevFields);
const Record kLanRecord = MakeRecord("lan", 14, kLanFields);
const Record kWlanRecord = MakeRecord("wlan", 8, kWlanFields);
const Record kAdjRecord = MakeRecord("network", 42, kAdjFields);

}  // namespace funcdecode

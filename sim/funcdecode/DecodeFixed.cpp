// Answers of a fixed size: the fields sit at fixed answer offsets.
#include <iterator>
#include <string>

#include "DecodeLayouts.h"

namespace funcdecode {

namespace {

struct FixedLayout {
    uint16_t id;
    const Field* fields;  // answer offsets
    size_t count;
    const Record* record;  // or a record at byte 6
};

const Field kVersion[] = {{"version", 6, Kind::Text, 60}, {"date", 66, Kind::Bytes, 4}};
const Field kIdentity[] = {
    {"mac", 6, Kind::Mac, 0},
    {"serial", 12, Kind::Text, 64},
    {"vendor", 76, Kind::Text, 64},
    {"model", 140, Kind::Text, 64},
    {"cpu_model", 204, Kind::Text, 40},
    {"cpu_mhz", 244, Kind::U16, 0},
    {"cpu_cores", 246, Kind::U8, 0},
    {"memory_kb", 247, Kind::U32, 0},
    {"memory_type", 251, Kind::Text, 16},
    {"plug", 267, Kind::U8, 0},
    {"name", 268, Kind::Text, 32},
    {"ipv6", 300, Kind::U8, 0},
};
const Field kCount32[] = {{"count", 6, Kind::U32, 0}};
const Field kBytes64[] = {{"bytes", 6, Kind::U64, 0}};
const Field kCount16[] = {{"count", 6, Kind::U16, 0}};
const Field kSwitch[] = {{"switch", 6, Kind::U8, 0}};
const Field kFixed27[] = {{"zero", 6, Kind::Bytes, 20}, {"flag", 26, Kind::U8, 0}};
const Field kServices[] = {
    {"ftp", 6, Kind::U8, 0}, {"samba", 7, Kind::U8, 0}, {"telnet", 8, Kind::U8, 0}};
const Field kAccounts[] = {
    {"ftp_user", 6, Kind::Text, 32},      {"ftp_password", 38, Kind::Text, 32},
    {"samba_user", 70, Kind::Text, 32},   {"samba_password", 102, Kind::Text, 32},
    {"telnet_user", 134, Kind::Text, 32}, {"telnet_password", 166, Kind::Text, 32},
};
const Field kBandwidth[] = {{"up", 6, Kind::U64, 0}, {"down", 14, Kind::U64, 0}};
const Field kLimits[] = {{"up", 6, Kind::I64, 0}, {"down", 14, Kind::I64, 0}};
const Field kSpeeds[] = {
    {"speed0", 6, Kind::U16, 0}, {"speed1", 8, Kind::U16, 0}, {"speed2", 10, Kind::U16, 0}};
const Field kDns[] = {{"dns1", 6, Kind::Ipv4, 0}, {"dns2", 10, Kind::Ipv4, 0}};
const Field kPercent[] = {{"percent", 6, Kind::U16, 0}};
const Field kSeconds[] = {{"seconds", 6, Kind::U64, 0}};
const Field kRates[] = {{"up_rate", 6, Kind::U64, 0}, {"down_rate", 14, Kind::U64, 0}};
const Field kPin[] = {{"pin", 6, Kind::Text, 12}};
const Field kRateTest[] = {{"data", 6, Kind::Bytes, 12}};
const Field kBand[] = {{"band", 6, Kind::U8, 0}};
const Field kFlag[] = {{"flag", 6, Kind::U8, 0}};
const Field kThresholds[] = {{"threshold0", 6, Kind::U8, 0}, {"threshold1", 7, Kind::U8, 0}};

#define F(id, f) \
    { id, f, std::size(f), nullptr }
#define R(id, r) \
    { id, nullptr, 0, &r }
#define STATUS(id) \
    { id, nullptr, 0, nullptr }

const FixedLayout kLayouts[] = {
    F(1, kVersion),     F(2, kIdentity),    R(3, kWanRecord),  F(5, kCount32),    F(6, kCount32),
    F(7, kBytes64),     STATUS(8),          R(10, kLanRecord), F(11, kCount16),   F(14, kSwitch),
    STATUS(15),         R(16, kSsidRecord), STATUS(17),        F(18, kSwitch),    STATUS(19),
    F(20, kFixed27),    STATUS(21),         F(22, kSwitch),    STATUS(23),        F(24, kFixed27),
    STATUS(25),         F(26, kServices),   STATUS(27),        F(28, kAccounts),  STATUS(29),
    F(30, kSwitch),     STATUS(31),         STATUS(32),        F(33, kBandwidth), F(34, kLimits),
    STATUS(35),         STATUS(37),         R(38, kDevRecord), F(41, kSpeeds),    F(44, kDns),
    STATUS(45),         STATUS(46),         F(47, kPercent),   F(48, kPercent),   STATUS(50),
    STATUS(51),         STATUS(53),         F(54, kSeconds),   STATUS(55),        STATUS(56),
    STATUS(57),         F(58, kRates),      STATUS(59),        F(60, kPin),       F(61, kRateTest),
    STATUS(64),         STATUS(66),         STATUS(69),        F(70, kBand),      F(71, kFlag),
    STATUS(72),         F(73, kFlag),       STATUS(74),        F(75, kFlag),      STATUS(76),
    F(77, kThresholds), STATUS(82),         STATUS(83),        STATUS(85),        STATUS(87),
    STATUS(88),
};

#undef F
#undef R
#undef STATUS

}  // namespace

// The function-62 record the agent pushes after a rate test: a signed 32-bit rate at 6
// (bytes per second, -1 when the test failed).
void RatePush(AnswerText& a) {
    if (!a.Need("rate", 6, 4)) return;
    int32_t rate = static_cast<int32_t>(a.U32(6));
    a.Line(0, "rate", std::to_string(rate) + (rate == -1 ? " (failed)" : " bytes/s"));
    a.Extra(10);
}

bool DecodeFixedAnswer(uint16_t id, AnswerText& a) {
    if (id == 62) {
        RatePush(a);
        return true;
    }
    for (const FixedLayout& l : kLayouts) {
        if (l.id != id) continue;
        size_t end = 6;
        if (l.record) {
            a.RecordAt(*l.record, 6, 0, l.record->name);
            end = 6 + l.record->size;
        }
        for (size_t i = 0; i < l.count; ++i) {
            if (!a.Field(l.fields[i], 0, 0)) break;
            end = l.fields[i].off + FieldWidth(l.fields[i]);
        }
        a.Extra(end);
        return true;
    }
    return false;
}

}  // namespace funcdecode

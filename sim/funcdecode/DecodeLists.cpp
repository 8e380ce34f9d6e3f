// Answers whose size depends on a count or a length carried in the answer itself. Every count
// is bounded by the bytes received: records are printed while they are complete.
#include <string>

#include "DecodeLayouts.h"

namespace funcdecode {

namespace {

constexpr size_t kHexPerLine = 32;

const Field kPortFields[] = {{"up", 0, Kind::U64, 0}, {"down", 8, Kind::U64, 0}};
const Record kPortRecord = {"port", 16, kPortFields, 2};
const Field kMacField[] = {{"mac", 0, Kind::Mac, 0}};
const Record kMacRecord = {"mac", 6, kMacField, 1};
const Field kBssid = {"bssid", 0, Kind::Mac, 0};

// Data bytes [off, off + n) as hexadecimal lines under `name`.
void HexBlock(AnswerText& a, const char* name, size_t off, size_t n) {
    if (n == 0) {
        a.Line(0, name, "(none)");
        return;
    }
    a.Line(0, name, std::to_string(n) + " bytes");
    for (size_t at = off; at < off + n; at += kHexPerLine) {
        size_t chunk = off + n - at < kHexPerLine ? off + n - at : kHexPerLine;
        a.Line(1, std::to_string(at - off), a.Hex(at, chunk));
    }
}

// The 16-bit length at byte 6; returns how many of its bytes from 8 were received.
size_t LengthPrefix(AnswerText& a, const char* what, size_t* declared) {
    if (!a.Need("length", 6, 2)) return 0;
    *declared = a.U16(6);
    a.Line(0, "length", std::to_string(*declared));
    size_t have = a.len() - 8;
    if (*declared <= have) return *declared;
    a.Need(what, 8, *declared);
    return have;
}

// A result text (ping, traceroute): printed line by line, other control bytes escaped.
void ResultText(AnswerText& a) {
    size_t declared = 0;
    size_t n = LengthPrefix(a, "text", &declared);
    if (a.len() < 8) return;
    a.Line(0, "text", std::to_string(n) + " bytes");
    size_t start = 8;
    for (size_t i = 8; i <= 8 + n; ++i) {
        bool endOfLine = i == 8 + n || a.U8(i) == '\n';
        if (!endOfLine) continue;
        std::string line = a.Quoted(start, i - start);
        if (i > start) a.Plain(1, line.substr(1, line.size() - 2));
        start = i + 1;
    }
    a.Extra(8 + declared);
}

void LengthData(uint16_t id, AnswerText& a) {
    size_t declared = 0;
    size_t n = LengthPrefix(a, "data", &declared);
    if (a.len() < 8) return;
    if (id == 36) {
        a.Line(0, "name", a.Quoted(8, n));
    } else if (id == 79 && n >= 2) {
        a.Line(0, "records", std::to_string(a.U16(8)));
        HexBlock(a, "data", 10, n - 2);
    } else if (id == 80 && n >= 6) {
        a.Field(kBssid, 8, 0);
        if (n > 6) HexBlock(a, "data", 14, n - 6);
    } else {
        HexBlock(a, "data", 8, n);
    }
    a.Extra(8 + declared);
}

// Function 49: LAN port states, WAN states, four Wi-Fi module states.
void ConnectionOverview(AnswerText& a) {
    if (!a.Need("lan_count", 6, 2)) return;
    size_t n = a.U16(6);
    a.Line(0, "lan_count", std::to_string(n));
    for (size_t p = 0; p < n; ++p) {
        if (!a.Need("lan[" + std::to_string(p) + "]", 8 + p, 1)) return;
        a.Line(1, "lan[" + std::to_string(p) + "]", std::to_string(a.U8(8 + p)));
    }
    if (!a.Need("wan_count", 8 + n, 2)) return;
    size_t m = a.U16(8 + n);
    a.Line(0, "wan_count", std::to_string(m));
    for (size_t w = 0; w < m; ++w) {
        if (!a.Need("wan[" + std::to_string(w) + "]", 10 + n + w, 1)) return;
        a.Line(1, "wan[" + std::to_string(w) + "]", std::to_string(a.U8(10 + n + w)));
    }
    for (size_t i = 0; i < 4; ++i) {
        std::string name = "wifi[" + std::to_string(i) + "]";
        if (!a.Need(name, 10 + n + m + i, 1)) return;
        a.Line(0, name, std::to_string(a.U8(10 + n + m + i)));
    }
    a.Extra(14 + n + m);
}

}  // namespace

bool DecodeListAnswer(uint16_t id, AnswerText& a) {
    switch (id) {
        case 4:
            a.Extra(a.List(kWanRecord, 6, 2, 8, 0));
            return true;
        case 12:
            a.Extra(a.List(kPortRecord, 6, 2, 8, 0));
            return true;
        case 13:
            a.Extra(a.List(kWlanRecord, 6, 2, 8, 0));
            return true;
        case 39:
            a.Extra(a.List(kDevRecord, 6, 2, 8, 0));
            return true;
        case 42:
            a.Extra(a.List(kAdjRecord, 6, 4, 10, 0));
            return true;
        case 43:
            a.Extra(a.List(kMacRecord, 6, 2, 8, 0));
            return true;
        case 49:
            ConnectionOverview(a);
            return true;
        case 9:
        case 52:
            ResultText(a);
            return true;
        case 36:
        case 78:
        case 79:
        case 80:
            LengthData(id, a);
            return true;
        default:
            return false;
    }
}

}  // namespace funcdecode

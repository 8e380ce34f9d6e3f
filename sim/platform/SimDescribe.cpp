#include "SimDescribe.h"

#include <cstdio>
#include <sstream>

#include "core/ByteOrder.h"

namespace psim {

bool Printable(const uint8_t* p, size_t n) {
    if (n == 0) return false;
    for (size_t i = 0; i < n; ++i)
        if ((p[i] < 0x20 && p[i] != '\n' && p[i] != '\r' && p[i] != '\t') || p[i] > 0x7E)
            return false;
    return true;
}

namespace {

std::string Mac(const uint8_t* p) {
    char buf[16];
    snprintf(buf, sizeof buf, "%02X%02X%02X%02X%02X%02X", p[0], p[1], p[2], p[3], p[4], p[5]);
    return buf;
}

// Text up to the first zero byte, at most n bytes.
std::string CText(const uint8_t* p, size_t n) {
    size_t len = 0;
    while (len < n && p[len] != 0)
        ++len;
    return std::string(reinterpret_cast<const char*>(p), len);
}

bool AllZero(const uint8_t* p, size_t n) {
    for (size_t i = 0; i < n; ++i)
        if (p[i] != 0) return false;
    return true;
}

void DescribeRegister(const DecodedFrame& f, std::ostream& o) {
    const Bytes& opt = f.raw.opt;
    if (opt.size() == 15) o << " pin=" << CText(&opt[3], 12);
    const Bytes& b = f.plain;
    if (b.size() < 3) return;
    size_t l = b[2];
    if (b.size() < 3 + l + 6) return;
    o << " sn=" << std::string(b.begin() + 3, b.begin() + 3 + static_cast<long>(l))
      << " snlen=" << l << " mac=" << Mac(&b[3 + l]) << " bodylen=" << b.size()
      << " zeros=" << (AllZero(&b[0], 2) && AllZero(&b[9 + l], b.size() - 9 - l) ? "ok" : "bad");
}

void DescribeLogin(const DecodedFrame& f, std::ostream& o) {
    const Bytes& opt = f.raw.opt;
    if (opt.size() == 44) o << " pin=" << CText(&opt[0], 12) << " token=" << CText(&opt[12], 32);
    const Bytes& b = f.plain;
    if (b.size() != 25) return;
    o << " version=" << int(b[19]) << "." << int(b[20]) << "." << int(b[21]) << "." << int(b[22])
      << " b23=" << int(b[23]) << " b24=0x" << ToHex(&b[24], 1)
      << " zeros=" << (AllZero(&b[0], 19) ? "ok" : "bad");
}

// Bodies of types 17/25 (no MAC) and 19/26 (with MAC).
void DescribeDataBody(const DecodedFrame& f, bool withMac, std::ostream& o) {
    const Bytes& b = f.plain;
    size_t lenAt = withMac ? 9 : 3;
    if (b.size() < lenAt + 2) return;
    o << " dt=" << int(b[2]);
    if (withMac) o << " mac=" << Mac(&b[3]);
    size_t len = GetLe16(&b[lenAt]);
    size_t have = b.size() - lenAt - 2;
    o << " len=" << len;
    size_t n = len < have ? len : have;
    const uint8_t* d = &b[lenAt + 2];
    if (withMac && n >= 6 && !Printable(d, n))
        o << " fn.tag=" << GetLe16(d) << " fn.id=" << GetLe16(d + 2)
          << " fn.result=" << GetLe16(d + 4);
    o << " " << DescribeData(d, n);
}

// Register answer (72-byte body) or login answer (4-byte body).
void DescribeAnswer(const DecodedFrame& f, std::ostream& o) {
    const Bytes& b = f.plain;
    if (f.raw.opt.size() >= 2) o << " error=" << GetLe16(&f.raw.opt[0]);
    if (b.size() == 72) {
        o << " token=" << CText(&b[2], 32) << " ip=" << int(b[34]) << "." << int(b[35]) << "."
          << int(b[36]) << "." << int(b[37]) << " port=" << GetLe16(&b[38])
          << " pluginid=" << CText(&b[40], 32);
    } else if (b.size() == 4) {
        o << " interval=" << GetLe16(&b[2]);
    }
}

void DescribeBody(const DecodedFrame& f, std::ostream& o) {
    const Bytes& opt = f.raw.opt;
    switch (f.raw.MsgType()) {
        case 1:
            if (opt.size() == 4) o << " time=" << GetLe32(&opt[0]);
            break;
        case 9:
            DescribeRegister(f, o);
            break;
        case 10:
            DescribeLogin(f, o);
            break;
        case 11:
            DescribeAnswer(f, o);
            break;
        case 17:
            DescribeDataBody(f, false, o);
            break;
        case 19:
            DescribeDataBody(f, true, o);
            break;
        case 25:
        case 26:
            if (opt.size() >= 2) o << " code=" << GetLe16(&opt[0]);
            DescribeDataBody(f, f.raw.MsgType() == 26, o);
            break;
        default:
            if (!opt.empty()) o << " opt=" << ToHex(opt);
            if (!f.plain.empty()) o << " body=" << ToHex(f.plain);
            break;
    }
}

}  // namespace

std::string DescribeData(const uint8_t* p, size_t n) {
    if (!Printable(p, n)) return "hex=" + ToHex(p, n);
    std::string s = "text=\"";
    for (size_t i = 0; i < n; ++i) {
        char c = static_cast<char>(p[i]);
        if (c == '"' || c == '\\') s += '\\';
        if (c == '\n') {
            s += "\\n";
            continue;
        }
        s += c;
    }
    return s + "\"";
}

std::string DescribeFrame(const DecodedFrame& f) {
    std::ostringstream o;
    o << "type=" << int(f.raw.MsgType()) << " flag=" << int(f.raw.ReqFlag())
      << " optlen=" << f.raw.opt.size() << " datalen=" << f.raw.data.size()
      << " sum=" << (f.checksumOk ? "ok" : "bad");
    if (!f.raw.data.empty() && !f.decrypted) o << " decrypt=bad";
    if (f.decrypted && !f.paddingOk) o << " padding=bad";
    DescribeBody(f, o);
    return o.str();
}

}  // namespace psim

#include "AnswerText.h"

#include <cstdio>

#include "core/ByteOrder.h"

namespace funcdecode {

namespace {

std::string Ipv4Text(uint32_t ip) {
    char buf[16];
    snprintf(buf, sizeof buf, "%u.%u.%u.%u", ip >> 24, (ip >> 16) & 0xFF, (ip >> 8) & 0xFF,
             ip & 0xFF);
    return buf;
}

}  // namespace

bool AnswerText::Need(const std::string& what, size_t off, size_t n) {
    if (Has(off, n)) return true;
    if (!cut_) {
        std::string span = n == 1
                               ? "byte " + std::to_string(off)
                               : "bytes " + std::to_string(off) + "-" + std::to_string(off + n - 1);
        Line(0, "truncated",
             what + " needs " + span + ", answer has " + std::to_string(len_) + " bytes");
    }
    cut_ = true;
    return false;
}

uint16_t AnswerText::U16(size_t off) const {
    return GetLe16(p_ + off);
}

uint32_t AnswerText::U32(size_t off) const {
    return GetLe32(p_ + off);
}

void AnswerText::Line(int indent, const std::string& name, const std::string& value) {
    out_.append(static_cast<size_t>(indent) * 2, ' ');
    out_ += name + ": " + value + "\n";
}

void AnswerText::Plain(int indent, const std::string& text) {
    out_.append(static_cast<size_t>(indent) * 2, ' ');
    out_ += "| " + text + "\n";
}

std::string AnswerText::Hex(size_t off, size_t n) const {
    std::string s;
    char buf[4];
    for (size_t i = off; i < off + n && i < len_; ++i) {
        snprintf(buf, sizeof buf, "%02X", p_[i]);
        s += (s.empty() ? "" : " ") + std::string(buf);
    }
    return s;
}

std::string AnswerText::Quoted(size_t off, size_t n) const {
    std::string s = "\"";
    for (size_t i = off; i < off + n && i < len_ && p_[i] != 0; ++i) {
        uint8_t c = p_[i];
        if (c == '"' || c == '\\') {
            s += '\\';
            s += static_cast<char>(c);
        } else if (c >= 0x20 && c < 0x7F) {
            s += static_cast<char>(c);
        } else {
            char buf[5];
            snprintf(buf, sizeof buf, "\\x%02X", c);
            s += buf;
        }
    }
    return s + "\"";
}

std::string AnswerText::Value(const funcdecode::Field& f, size_t at) const {
    switch (f.kind) {
        case Kind::U8:
            return std::to_string(p_[at]);
        case Kind::I8:
            return std::to_string(static_cast<int8_t>(p_[at]));
        case Kind::U16:
            return std::to_string(GetLe16(p_ + at));
        case Kind::U32:
            return std::to_string(GetLe32(p_ + at));
        case Kind::U64:
            return std::to_string(GetLe64(p_ + at));
        case Kind::I64:
            return std::to_string(static_cast<int64_t>(GetLe64(p_ + at)));
        case Kind::Ipv4:
            return Ipv4Text(GetIpv4(p_ + at));
        case Kind::Mac: {
            char buf[18];
            snprintf(buf, sizeof buf, "%02X:%02X:%02X:%02X:%02X:%02X", p_[at], p_[at + 1],
                     p_[at + 2], p_[at + 3], p_[at + 4], p_[at + 5]);
            return buf;
        }
        case Kind::Text:
        case Kind::CText:
        case Kind::LenText:
            return Quoted(at, f.size);
        case Kind::Bytes:
            return Hex(at, f.size);
    }
    return "";
}

bool AnswerText::Field(const funcdecode::Field& f, size_t base, int indent) {
    size_t at = base + f.off;
    if (!Need(f.name, at, FieldWidth(f))) return false;
    Line(indent, f.name, Value(f, at));
    return true;
}

bool AnswerText::RecordAt(const Record& r, size_t base, int indent, const std::string& label) {
    if (cut_) return false;
    if (r.count == 1 && r.fields[0].off == 0 && FieldWidth(r.fields[0]) == r.size) {
        if (!Need(label, base, r.size)) return false;
        Line(indent, label, Value(r.fields[0], base));
        return true;
    }
    out_.append(static_cast<size_t>(indent) * 2, ' ');
    out_ += label + ":\n";
    for (size_t i = 0; i < r.count; ++i)
        if (!Field(r.fields[i], base, indent + 1)) return false;
    return true;
}

size_t AnswerText::List(const Record& r, size_t countOff, size_t countWidth, size_t first,
                        int indent) {
    if (!Need("count", countOff, countWidth)) return countOff;
    uint32_t n = countWidth == 4 ? U32(countOff) : U16(countOff);
    Line(indent, "count", std::to_string(n));
    size_t at = first;
    for (uint32_t i = 0; i < n; ++i) {
        std::string label = std::string(r.name) + "[" + std::to_string(i) + "]";
        if (!Need(label, at, r.size)) break;
        RecordAt(r, at, indent, label);
        at += r.size;
    }
    return at;
}

void AnswerText::Extra(size_t end) {
    if (cut_ || end >= len_) return;
    size_t n = len_ - end;
    constexpr size_t kShown = 32;
    Line(0, "extra",
         std::to_string(n) + " bytes after byte " + std::to_string(end - 1) + ": " +
             Hex(end, n < kShown ? n : kShown) + (n > kShown ? " ..." : ""));
}

}  // namespace funcdecode

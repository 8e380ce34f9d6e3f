#include "ArgParse.h"

#include <cctype>
#include <utility>

namespace funcdecode {

namespace {

bool IsBlank(char c) {
    return c == ' ' || c == '\t' || c == '\r' || c == '\n';
}

int HexDigit(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// A quoted value from just after its opening quote; *pos ends after the closing quote.
bool ReadQuoted(const std::string& text, size_t* pos, std::string* value) {
    size_t i = *pos;
    while (i < text.size()) {
        char c = text[i++];
        if (c == '"') {
            *pos = i;
            return true;
        }
        if (c == '\\' && i < text.size() && (text[i] == '"' || text[i] == '\\')) c = text[i++];
        value->push_back(c);
    }
    return false;
}

std::string Trim(const std::string& s) {
    size_t begin = 0;
    size_t end = s.size();
    while (begin < end && IsBlank(s[begin]))
        ++begin;
    while (end > begin && IsBlank(s[end - 1]))
        --end;
    return s.substr(begin, end - begin);
}

}  // namespace

int SplitArgs(const std::string& text, std::vector<Arg>* out, std::string* error) {
    out->clear();
    size_t i = 0;
    while (true) {
        while (i < text.size() && IsBlank(text[i]))
            ++i;
        if (i >= text.size()) return 0;
        size_t start = i;
        while (i < text.size() && !IsBlank(text[i]) && text[i] != '=')
            ++i;
        Arg arg{text.substr(start, i - start), ""};
        if (i >= text.size() || text[i] != '=' || arg.key.empty()) {
            *error = "argument \"" + text.substr(start, i - start) + "\" is not key=value";
            return -1;
        }
        ++i;
        if (arg.key == "json") {
            arg.value = Trim(text.substr(i));
            i = text.size();
        } else if (i < text.size() && text[i] == '"') {
            ++i;
            if (!ReadQuoted(text, &i, &arg.value)) {
                *error = "argument \"" + arg.key + "\": missing closing quote";
                return -1;
            }
        } else {
            size_t vs = i;
            while (i < text.size() && !IsBlank(text[i]))
                ++i;
            arg.value = text.substr(vs, i - vs);
        }
        for (const Arg& a : *out) {
            if (a.key == arg.key) {
                *error = "argument \"" + arg.key + "\" given twice";
                return -1;
            }
        }
        out->push_back(arg);
    }
}

bool ParseUnsigned(const std::string& s, uint64_t max, uint64_t* out) {
    size_t i = 0;
    unsigned base = 10;
    if (s.size() > 2 && s[0] == '0' && (s[1] == 'x' || s[1] == 'X')) {
        base = 16;
        i = 2;
    }
    if (i >= s.size()) return false;
    uint64_t v = 0;
    for (; i < s.size(); ++i) {
        int d = HexDigit(s[i]);
        if (d < 0 || static_cast<unsigned>(d) >= base) return false;
        if (v > (max - static_cast<uint64_t>(d)) / base) return false;
        v = v * base + static_cast<uint64_t>(d);
    }
    *out = v;
    return true;
}

bool ParseSigned(const std::string& s, int64_t min, int64_t max, int64_t* out) {
    bool negative = !s.empty() && s[0] == '-';
    uint64_t magnitude = 0;
    uint64_t limit = negative ? static_cast<uint64_t>(-(min + 1)) + 1 : static_cast<uint64_t>(max);
    if (negative && min >= 0) return false;
    if (!ParseUnsigned(negative ? s.substr(1) : s, limit, &magnitude)) return false;
    if (!negative) {
        *out = static_cast<int64_t>(magnitude);
    } else {
        *out = magnitude == 0 ? 0 : -static_cast<int64_t>(magnitude - 1) - 1;
    }
    return true;
}

bool ParseIpv4(const std::string& s, uint32_t* out) {
    uint32_t v = 0;
    size_t i = 0;
    for (int part = 0; part < 4; ++part) {
        if (part > 0) {
            if (i >= s.size() || s[i] != '.') return false;
            ++i;
        }
        size_t start = i;
        unsigned octet = 0;
        while (i < s.size() && isdigit(static_cast<unsigned char>(s[i])) && i - start < 3)
            octet = octet * 10 + static_cast<unsigned>(s[i++] - '0');
        if (i == start || octet > 255) return false;
        v = (v << 8) | octet;
    }
    if (i != s.size()) return false;
    *out = v;
    return true;
}

bool ParseMac(const std::string& s, uint8_t out[6]) {
    if (s.size() != 17) return false;
    for (size_t b = 0; b < 6; ++b) {
        int hi = HexDigit(s[b * 3]);
        int lo = HexDigit(s[b * 3 + 1]);
        if (hi < 0 || lo < 0) return false;
        if (b < 5 && s[b * 3 + 2] != ':' && s[b * 3 + 2] != '-') return false;
        out[b] = static_cast<uint8_t>(hi * 16 + lo);
    }
    return true;
}

bool ParseHexBytes(const std::string& s, std::vector<uint8_t>* out) {
    if (s.size() % 2 != 0) return false;
    std::vector<uint8_t> bytes;
    for (size_t i = 0; i < s.size(); i += 2) {
        int hi = HexDigit(s[i]);
        int lo = HexDigit(s[i + 1]);
        if (hi < 0 || lo < 0) return false;
        bytes.push_back(static_cast<uint8_t>(hi * 16 + lo));
    }
    *out = std::move(bytes);
    return true;
}

}  // namespace funcdecode

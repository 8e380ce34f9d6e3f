#include "lan/ArpTable.h"

#include <arpa/inet.h>

#include <cstring>
#include <vector>

#include "lan/LanLimits.h"

namespace {

// grep's basic regular expression for a pattern of digits and dots: "." is any character.
bool MatchesAt(const std::string& line, size_t at, const std::string& pattern) {
    for (size_t i = 0; i < pattern.size(); ++i) {
        char c = line[at + i];
        if (c == '\n') return false;
        if (pattern[i] != '.' && pattern[i] != c) return false;
    }
    return true;
}

int Hex(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

bool ParseMac(const std::string& text, uint8_t mac[6]) {
    if (text.size() != lanlimits::kArpMacTextLen) return false;
    for (int i = 0; i < 6; ++i) {
        int hi = Hex(text[3 * i]);
        int lo = Hex(text[3 * i + 1]);
        if (hi < 0 || lo < 0) return false;
        if (i < 5 && text[3 * i + 2] != ':') return false;
        mac[i] = static_cast<uint8_t>(hi << 4 | lo);
    }
    return true;
}

std::vector<std::string> Fields(const std::string& line) {
    std::vector<std::string> out;
    size_t i = 0;
    while (i < line.size()) {
        while (i < line.size() && (line[i] == ' ' || line[i] == '\t'))
            ++i;
        size_t start = i;
        while (i < line.size() && line[i] != ' ' && line[i] != '\t' && line[i] != '\n' &&
               line[i] != '\r')
            ++i;
        if (i > start) out.push_back(line.substr(start, i - start));
        if (i < line.size() && (line[i] == '\n' || line[i] == '\r')) break;
    }
    return out;
}

}  // namespace

bool ArpLineSelected(const std::string& line, const std::string& prefix) {
    if (line.find("00:00:00:00:00:00") != std::string::npos) return false;
    if (prefix.empty()) return true;
    for (size_t at = 0; at + prefix.size() <= line.size(); ++at)
        if (MatchesAt(line, at, prefix)) return true;
    return false;
}

bool ParseArpLine(const std::string& line, ArpHost* host) {
    std::vector<std::string> f = Fields(line.substr(0, lanlimits::kArpLineMax));
    if (f.size() < 4) return false;
    in_addr a{};
    if (inet_pton(AF_INET, f[0].c_str(), &a) != 1) return false;
    if (!ParseMac(f[3], host->mac)) return false;
    host->ip = ntohl(a.s_addr);
    return true;
}

#include <cctype>
#include <sstream>

#include "CompanionSim.h"

namespace companionsim {

namespace {

constexpr size_t kEntrySize = 39;  // MAC, 32 bytes of device data, status
constexpr size_t kDataSize = 32;

bool ParseEntry(const std::string& word, Bytes* entry) {
    // MAC[:STATUS[:NAME]]
    std::string mac = word.substr(0, word.find(':'));
    if (mac.size() != 12) return false;
    for (char c : mac)
        if (!isxdigit(static_cast<unsigned char>(c))) return false;
    int status = 1;
    std::string name;
    size_t colon = word.find(':');
    if (colon != std::string::npos) {
        std::string rest = word.substr(colon + 1);
        size_t second = rest.find(':');
        std::string st = rest.substr(0, second);
        if (st != "0" && st != "1") return false;
        status = st[0] - '0';
        if (second != std::string::npos) name = rest.substr(second + 1, kDataSize);
    }
    Bytes e = FromHex(mac);
    e.insert(e.end(), name.begin(), name.end());
    e.resize(kEntrySize - 1, 0);
    e.push_back(static_cast<uint8_t>(status));
    *entry = e;
    return true;
}

}  // namespace

bool DevListPayload(const std::string& entries, Bytes* payload) {
    std::istringstream in(entries);
    std::string word;
    Bytes body;
    uint16_t count = 0;
    while (in >> word) {
        Bytes e;
        if (!ParseEntry(word, &e) || count == 0xFFFF) return false;
        body.insert(body.end(), e.begin(), e.end());
        ++count;
    }
    if (count == 0) return false;
    *payload = {static_cast<uint8_t>(count), static_cast<uint8_t>(count >> 8)};
    payload->insert(payload->end(), body.begin(), body.end());
    return true;
}

}  // namespace companionsim

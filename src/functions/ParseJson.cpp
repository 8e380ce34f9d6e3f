#include "functions/ParseJson.h"

#include "RouterSdk.h"

#include <cstdint>
#include <cstdio>
#include <cstring>
#include <string>

#include "core/SubdevMutex.h"
#include "platform/Session.h"

char mPluginID[128];
char mFromVersion[16];
char mToVersion[128];
std::atomic<int> mProcess{0};
std::atomic<int> gDownRate{-1};

namespace {

constexpr int kBadMacText = 65535;

// Text of a fixed-size buffer up to its first NUL (or its whole size when there is none).
std::string Bounded(const char* s, size_t size) {
    return std::string(s, strnlen(s, size));
}

// Appends `s` as a JSON string value: quotes and backslashes escaped, control characters as
// \uXXXX (short forms for the common ones). Other bytes pass unchanged, so ordinary values come
// out exactly as a plain "%s" would write them.
void AppendJsonString(std::string& out, const std::string& s) {
    out += '"';
    for (unsigned char c : s) {
        switch (c) {
            case '"':
                out += "\\\"";
                break;
            case '\\':
                out += "\\\\";
                break;
            case '\b':
                out += "\\b";
                break;
            case '\f':
                out += "\\f";
                break;
            case '\n':
                out += "\\n";
                break;
            case '\r':
                out += "\\r";
                break;
            case '\t':
                out += "\\t";
                break;
            default:
                if (c < 0x20) {
                    char esc[8];
                    snprintf(esc, sizeof esc, "\\u%04x", c);
                    out += esc;
                } else {
                    out += static_cast<char>(c);
                }
        }
    }
    out += '"';
}

void AppendField(std::string& out, const char* key, const std::string& value) {
    out += out.size() > 1 ? ",\"" : "\"";
    out += key;
    out += "\":";
    AppendJsonString(out, value);
}

void AppendNumber(std::string& out, const char* key, int value) {
    out += out.size() > 1 ? ",\"" : "\"";
    out += key;
    out += "\":";
    out += std::to_string(value);
}

int HexNibble(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

// The six bytes of a MAC written as twelve hexadecimal digits (either case). false otherwise.
bool ParseMacText(const char* text, uint8_t mac[6]) {
    if (text == nullptr || strnlen(text, 12) < 12) return false;
    for (int i = 0; i < 6; ++i) {
        int hi = HexNibble(text[2 * i]);
        int lo = HexNibble(text[2 * i + 1]);
        if (hi < 0 || lo < 0) return false;
        mac[i] = static_cast<uint8_t>(hi << 4 | lo);
    }
    return true;
}

// The router's name for the device whose MAC text is `text`, fetched under SubdevMutex.
int DeviceName(const char* text, std::string* name) {
    uint8_t mac[6];
    if (!ParseMacText(text, mac)) return kBadMacText;
    char buf[ROUTER_DEV_NAME_SIZE] = {};
    SubdevLock lock;
    if (!lock.owns()) return -1;
    int ret = get_dev_name(mac, buf);
    if (ret != 0) return ret;
    *name = Bounded(buf, sizeof buf);
    return 0;
}

std::string Str(const char* s) {
    return s != nullptr ? std::string(s) : std::string();
}

}  // namespace

int BuildJson(int kind, int result, const char* text, const char* data, char* out, size_t outSize) {
    std::string json = "{";
    std::string name;
    switch (kind) {
        case 1:
        case 5: {
            int ret = DeviceName(text, &name);
            if (ret != 0) return ret;
            AppendField(json, "mac", Str(text));
            AppendField(json, "dev_name", name);
            if (kind == 1) {
                AppendField(json, "status", "online");
            } else {
                AppendField(json, "data", Str(data));
            }
            break;
        }
        case 2:
            AppendField(json, "mac", Str(text));
            AppendField(json, "status", "offline");
            break;
        case 4:
            AppendField(json, "pluginID", Bounded(mPluginID, sizeof mPluginID));
            AppendField(json, "fromVersion", Bounded(mFromVersion, sizeof mFromVersion));
            AppendField(json, "toVersion", Bounded(mToVersion, sizeof mToVersion));
            AppendNumber(json, "process", mProcess.load());
            AppendNumber(json, "result", result);
            AppendField(json, "resultDesc", Str(text));
            break;
        case 6:
            AppendField(json, "devpin", Bounded(g_pin_code, sizeof g_pin_code));
            AppendField(json, "rate", std::to_string(gDownRate.load()));
            break;
        default:
            return 0;  // kind 3 and unknown kinds write nothing
    }
    json += '}';
    if (out == nullptr || json.size() >= outSize) return -1;
    memcpy(out, json.c_str(), json.size() + 1);
    return 0;
}

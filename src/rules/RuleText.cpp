#include "rules/RuleText.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstdlib>

namespace {

// One scanf-style integer field: blanks, a sign, digits in `base`. false when none was read.
bool ScanNumber(const char** s, int base, long long* value) {
    char* end = nullptr;
    long long v = strtoll(*s, &end, base);
    if (end == *s) return false;
    *s = end;
    *value = v;
    return true;
}

}  // namespace

int ScanMac(const char* text, uint8_t mac[6]) {
    const char* s = text;
    for (int i = 0; i < 6; ++i) {
        if (i > 0 && *s++ != ':') return i;
        long long v = 0;
        if (!ScanNumber(&s, 16, &v)) return i;
        mac[i] = static_cast<uint8_t>(static_cast<unsigned long long>(v) & 0xFF);
    }
    return 6;
}

int ScanTime(const char* text, int32_t* hour, int32_t* minute) {
    const char* s = text;
    int32_t* out[2] = {hour, minute};
    for (int i = 0; i < 2; ++i) {
        if (i > 0 && *s++ != ':') return i;
        long long v = 0;
        if (!ScanNumber(&s, 10, &v)) return i;
        *out[i] = static_cast<int32_t>(v > INT32_MAX ? INT32_MAX : v < INT32_MIN ? INT32_MIN : v);
    }
    return 2;
}

void FormatMac(const uint8_t mac[6], char out[18]) {
    snprintf(out, 18, "%02X:%02X:%02X:%02X:%02X:%02X", mac[0], mac[1], mac[2], mac[3], mac[4],
             mac[5]);
}

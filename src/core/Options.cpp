#include "core/Options.h"

#include <unistd.h>

#include <cstring>

#include "core/Globals.h"
#include "core/Log.h"

namespace {

int NibbleValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    return -1;
}

}  // namespace

// A character that is not a hexadecimal digit is not an error: a bad high nibble leaves the
// byte as it was, a bad low nibble adds nothing.
void HexPairToByte(const char* pair, uint8_t* out) {
    int hi = NibbleValue(pair[0]);
    int lo = NibbleValue(pair[1]);
    if (hi >= 0) *out = static_cast<uint8_t>(hi << 4);
    if (lo >= 0) *out = static_cast<uint8_t>(*out + lo);
}

int config_line_proc(int argc, char** argv) {
    optind = 0;  // full re-initialisation (glibc, musl, uClibc): parsing may run more than once
    opterr = 0;
    int c;
    while ((c = getopt(argc, argv, ":df:m:")) != -1) {
        switch (c) {
            case 'd':
                l_debug = 1;
                break;
            case 'f':
                strncpy(l_config_file, optarg, sizeof l_config_file - 1);
                l_config_file[sizeof l_config_file - 1] = '\0';
                break;
            case 'm':
                if (strlen(optarg) != 12) {
                    LOGE("Error: mac format must be \"aabbccddeeff\".");
                    return -2;
                }
                for (int i = 0; i < 6; ++i)
                    HexPairToByte(optarg + 2 * i, &l_mac[i]);
                break;
            case ':':
                if (optopt == 'f') {
                    LOGE("Error: -f argument given but no file specified.");
                    return -1;
                }
                LOGE("Error: mac format must be \"aabbccddeeff\".");
                return -2;
            default:
                LOGE("Unknown option: %c", optopt);
                break;
        }
    }
    return 0;
}

// The parts of the crypto seam that do not depend on the library.
#include <cstdio>
#include <cstring>

#include "platform/Crypto.h"

int Md5Hex(const void* data, size_t len, char hex[kMd5HexSize]) {
    Md5Stream md5;
    if (md5.Update(data, len) != 0) return -1;
    return md5.FinalHex(hex);
}

// Shared by both back ends: raw digest bytes to lower-case hex text.
void Md5ToHex(const uint8_t digest[16], char hex[kMd5HexSize]) {
    static const char kDigits[] = "0123456789abcdef";
    for (int i = 0; i < 16; ++i) {
        hex[2 * i] = kDigits[digest[i] >> 4];
        hex[2 * i + 1] = kDigits[digest[i] & 0x0F];
    }
    hex[32] = '\0';
}

// Pads `len` bytes of `in` into `out` (AesPaddedLen(len) bytes): every pad byte holds the pad
// length.
void AesPadInto(const uint8_t* in, size_t len, uint8_t* out) {
    size_t padded = AesPaddedLen(len);
    if (len) memcpy(out, in, len);
    memset(out + len, static_cast<int>(padded - len), padded - len);
}

void AesKeyFromText(const char* key, unsigned char k[kAesKeyLen]) {
    memset(k, 0, kAesKeyLen);
    memcpy(k, key, strnlen(key, kAesKeyLen));
}

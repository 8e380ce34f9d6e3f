// Helpers shared by the two crypto back ends.
#pragma once

#include <cstddef>
#include <cstdint>

#include "platform/Crypto.h"

void Md5ToHex(const uint8_t digest[16], char hex[kMd5HexSize]);
void AesPadInto(const uint8_t* in, size_t len, uint8_t* out);
// The AES key: the first 16 bytes of the KEY text, zero from its terminating NUL on (as in the
// zero-filled KEY buffer), so a short text is never read past its end.
void AesKeyFromText(const char* key, unsigned char k[kAesKeyLen]);

// The frame cipher and the MD5 digest, behind one seam. The implementation (OpenSSL libcrypto
// through EVP, or mbedTLS) is chosen at build time by the PLUG_CRYPTO cache variable.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>

constexpr size_t kAesBlock = 16;
constexpr size_t kAesKeyLen = 16;   // the first 16 bytes of the KEY text buffer
constexpr size_t kMd5HexSize = 33;  // 32 lower-case hex digits and a NUL

// Padded length of a body of `len` bytes: len rounded down to a block, plus one block, so 1 to
// 16 pad bytes are always added, each holding the pad length.
constexpr size_t AesPaddedLen(size_t len) {
    return len / kAesBlock * kAesBlock + kAesBlock;
}

// Sets the crypto library up for the agent, once, before any thread uses it. With OpenSSL it skips
// what the agent never uses but would otherwise keep resident: the error-string tables (about
// 180 kB of heap) and the system's openssl.cnf (the agent needs no provider or engine from it).
// Nothing to do with mbedTLS.
void CryptoInit();

// AES-128-CBC, zero IV for every call. `key` is the KEY text: its first 16 bytes, zero from the
// terminating NUL on (the KEY buffer is zero-filled), are the AES-128 key. aes_encrypt pads `in` as
// above into `out` (AesPaddedLen(len) bytes) and stores the padded length in *outLen. aes_decrypt
// decrypts the whole blocks of `in` (len rounded down to a block) into `out`, which must hold one
// block more than that; the extra block is zero-filled, *outLen receives len rounded down to a
// block, and no padding is removed. Both return 0, or -1 for a missing buffer or a key that cannot
// be set (logged).
int aes_encrypt(const char* key, const uint8_t* in, uint8_t* out, size_t len, size_t* outLen);
int aes_decrypt(const char* key, const uint8_t* in, uint8_t* out, size_t len, size_t* outLen);

// MD5 of `len` bytes as 32 lower-case hex digits and a NUL in `hex`. 0 or -1.
int Md5Hex(const void* data, size_t len, char hex[kMd5HexSize]);

// Incremental MD5 for data that arrives in pieces (files, downloads).
class Md5Stream {
public:
    Md5Stream();
    ~Md5Stream();
    Md5Stream(const Md5Stream&) = delete;
    Md5Stream& operator=(const Md5Stream&) = delete;
    // 0, or -1 when the digest could not be set up or updated (every later call fails too).
    int Update(const void* data, size_t len);
    int FinalHex(char hex[kMd5HexSize]);

    struct Impl;

private:
    std::unique_ptr<Impl> impl_;
};

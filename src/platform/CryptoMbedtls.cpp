// The crypto seam on mbedTLS (2.28 as shipped by Debian 12; 3.x names where they differ).
#include <mbedtls/aes.h>
#include <mbedtls/md5.h>
#include <mbedtls/version.h>

#include <cstring>
#include <new>
#include <vector>

#include "core/Log.h"
#include "platform/Crypto.h"
#include "platform/CryptoInternal.h"

namespace {

#if MBEDTLS_VERSION_MAJOR >= 3
inline int Md5Starts(mbedtls_md5_context* c) {
    return mbedtls_md5_starts(c);
}
inline int Md5Update(mbedtls_md5_context* c, const void* d, size_t n) {
    return mbedtls_md5_update(c, static_cast<const unsigned char*>(d), n);
}
inline int Md5Finish(mbedtls_md5_context* c, unsigned char out[16]) {
    return mbedtls_md5_finish(c, out);
}
#else
inline int Md5Starts(mbedtls_md5_context* c) {
    return mbedtls_md5_starts_ret(c);
}
inline int Md5Update(mbedtls_md5_context* c, const void* d, size_t n) {
    return mbedtls_md5_update_ret(c, static_cast<const unsigned char*>(d), n);
}
inline int Md5Finish(mbedtls_md5_context* c, unsigned char out[16]) {
    return mbedtls_md5_finish_ret(c, out);
}
#endif

// An AES context that is always freed.
class Aes {
public:
    Aes() { mbedtls_aes_init(&ctx_); }
    ~Aes() { mbedtls_aes_free(&ctx_); }
    Aes(const Aes&) = delete;
    Aes& operator=(const Aes&) = delete;
    int SetKey(const char* key, int encrypt) {
        unsigned char k[kAesKeyLen];
        AesKeyFromText(key, k);
        return encrypt ? mbedtls_aes_setkey_enc(&ctx_, k, 128)
                       : mbedtls_aes_setkey_dec(&ctx_, k, 128);
    }
    // CBC over whole blocks with a fresh zero IV.
    int Cbc(int mode, const uint8_t* in, uint8_t* out, size_t len) {
        if (len == 0) return 0;
        unsigned char iv[kAesBlock] = {0};
        return mbedtls_aes_crypt_cbc(&ctx_, mode, len, iv, in, out);
    }

private:
    mbedtls_aes_context ctx_;
};

}  // namespace

void CryptoInit() {}

int aes_encrypt(const char* key, const uint8_t* in, uint8_t* out, size_t len, size_t* outLen) {
    if (!key || !in || !out || !outLen) return -1;
    size_t padded = AesPaddedLen(len);
    std::vector<uint8_t> plain;
    try {
        plain.resize(padded);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    Aes aes;
    if (aes.SetKey(key, 1) != 0) {
        LOGE("Unable to set encryption key in AES error !!!!!");
        return -1;
    }
    AesPadInto(in, len, plain.data());
    if (aes.Cbc(MBEDTLS_AES_ENCRYPT, plain.data(), out, padded) != 0) return -1;
    *outLen = padded;
    return 0;
}

int aes_decrypt(const char* key, const uint8_t* in, uint8_t* out, size_t len, size_t* outLen) {
    if (!key || !in || !out || !outLen) return -1;
    size_t whole = len / kAesBlock * kAesBlock;
    Aes aes;
    if (aes.SetKey(key, 0) != 0) {
        LOGE("Unable to set decryption key in AES error !!!!!");
        return -1;
    }
    if (aes.Cbc(MBEDTLS_AES_DECRYPT, in, out, whole) != 0) return -1;
    memset(out + whole, 0, kAesBlock);
    *outLen = whole;
    return 0;
}

struct Md5Stream::Impl {
    mbedtls_md5_context ctx;
    bool ok = false;
    Impl() { mbedtls_md5_init(&ctx); }
    ~Impl() { mbedtls_md5_free(&ctx); }
};

Md5Stream::Md5Stream() : impl_(new Impl) {
    impl_->ok = Md5Starts(&impl_->ctx) == 0;
}

Md5Stream::~Md5Stream() = default;

int Md5Stream::Update(const void* data, size_t len) {
    if (!impl_->ok || (len && !data)) return -1;
    if (len && Md5Update(&impl_->ctx, data, len) != 0) impl_->ok = false;
    return impl_->ok ? 0 : -1;
}

int Md5Stream::FinalHex(char hex[kMd5HexSize]) {
    unsigned char digest[16];
    if (!impl_->ok || Md5Finish(&impl_->ctx, digest) != 0) {
        impl_->ok = false;
        return -1;
    }
    impl_->ok = false;  // a digest is final once
    Md5ToHex(digest, hex);
    return 0;
}

// The crypto seam on OpenSSL libcrypto, through the EVP interface only (1.1 and 3.x).
#include <openssl/crypto.h>
#include <openssl/evp.h>

#include <cstring>
#include <new>
#include <vector>

#include "core/Log.h"
#include "platform/Crypto.h"
#include "platform/CryptoInternal.h"

namespace {

struct CipherCtxFree {
    void operator()(EVP_CIPHER_CTX* c) const { EVP_CIPHER_CTX_free(c); }
};
using CipherCtx = std::unique_ptr<EVP_CIPHER_CTX, CipherCtxFree>;

struct MdCtxFree {
    void operator()(EVP_MD_CTX* c) const { EVP_MD_CTX_free(c); }
};

// AES-128-CBC. OpenSSL 3 looks a cipher named by EVP_aes_128_cbc() up in its provider on every
// init (about half the cost of setting up a frame's cipher); it is fetched once here instead and
// kept for the life of the process.
const EVP_CIPHER* Aes128Cbc() {
#if OPENSSL_VERSION_NUMBER >= 0x30000000L
    static const EVP_CIPHER* fetched = EVP_CIPHER_fetch(nullptr, "AES-128-CBC", nullptr);
    if (fetched) return fetched;
#endif
    return EVP_aes_128_cbc();
}

// Sets up AES-128-CBC with a zero IV and no padding of the library's own.
CipherCtx NewCbc(const char* key, int encrypt) {
    CipherCtx ctx(EVP_CIPHER_CTX_new());
    if (!ctx) return ctx;
    unsigned char k[kAesKeyLen];
    AesKeyFromText(key, k);
    const unsigned char iv[kAesBlock] = {0};
    if (EVP_CipherInit_ex(ctx.get(), Aes128Cbc(), nullptr, k, iv, encrypt) != 1 ||
        EVP_CIPHER_CTX_set_padding(ctx.get(), 0) != 1)
        ctx.reset();
    return ctx;
}

// Runs whole blocks through the context.
int RunBlocks(EVP_CIPHER_CTX* ctx, const uint8_t* in, uint8_t* out, size_t len) {
    int outl = 0;
    int finl = 0;
    if (len > 0 && EVP_CipherUpdate(ctx, out, &outl, in, static_cast<int>(len)) != 1) return -1;
    if (EVP_CipherFinal_ex(ctx, out + outl, &finl) != 1) return -1;
    return static_cast<size_t>(outl + finl) == len ? 0 : -1;
}

}  // namespace

void CryptoInit() {
    OPENSSL_init_crypto(OPENSSL_INIT_NO_LOAD_CRYPTO_STRINGS | OPENSSL_INIT_NO_LOAD_CONFIG, nullptr);
}

int aes_encrypt(const char* key, const uint8_t* in, uint8_t* out, size_t len, size_t* outLen) {
    if (!key || !in || !out || !outLen) return -1;
    size_t padded = AesPaddedLen(len);
    std::vector<uint8_t> plain;
    try {
        plain.resize(padded);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    CipherCtx ctx = NewCbc(key, 1);
    if (!ctx) {
        LOGE("Unable to set encryption key in AES error !!!!!");
        return -1;
    }
    AesPadInto(in, len, plain.data());
    if (RunBlocks(ctx.get(), plain.data(), out, padded) != 0) return -1;
    *outLen = padded;
    return 0;
}

int aes_decrypt(const char* key, const uint8_t* in, uint8_t* out, size_t len, size_t* outLen) {
    if (!key || !in || !out || !outLen) return -1;
    size_t whole = len / kAesBlock * kAesBlock;
    CipherCtx ctx = NewCbc(key, 0);
    if (!ctx) {
        LOGE("Unable to set decryption key in AES error !!!!!");
        return -1;
    }
    if (RunBlocks(ctx.get(), in, out, whole) != 0) return -1;
    memset(out + whole, 0, kAesBlock);
    *outLen = whole;
    return 0;
}

struct Md5Stream::Impl {
    std::unique_ptr<EVP_MD_CTX, MdCtxFree> ctx{EVP_MD_CTX_new()};
    bool ok = false;
};

Md5Stream::Md5Stream() : impl_(new Impl) {
    impl_->ok = impl_->ctx && EVP_DigestInit_ex(impl_->ctx.get(), EVP_md5(), nullptr) == 1;
}

Md5Stream::~Md5Stream() = default;

int Md5Stream::Update(const void* data, size_t len) {
    if (!impl_->ok || (len && !data)) return -1;
    if (len && EVP_DigestUpdate(impl_->ctx.get(), data, len) != 1) impl_->ok = false;
    return impl_->ok ? 0 : -1;
}

int Md5Stream::FinalHex(char hex[kMd5HexSize]) {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int n = 0;
    if (!impl_->ok || EVP_DigestFinal_ex(impl_->ctx.get(), digest, &n) != 1 || n != 16) {
        impl_->ok = false;
        return -1;
    }
    impl_->ok = false;  // a digest is final once
    Md5ToHex(digest, hex);
    return 0;
}

#include "SimFrame.h"

#include <openssl/evp.h>

#include <cstring>
#include <memory>

#include "core/ByteOrder.h"

namespace psim {

namespace {

using CipherCtx = std::unique_ptr<EVP_CIPHER_CTX, decltype(&EVP_CIPHER_CTX_free)>;

bool RunCipher(const std::string& key, const Bytes& in, Bytes* out, int encrypt) {
    uint8_t k[16] = {0};
    memcpy(k, key.data(), key.size() < 16 ? key.size() : 16);
    uint8_t iv[16] = {0};
    CipherCtx ctx(EVP_CIPHER_CTX_new(), EVP_CIPHER_CTX_free);
    if (!ctx || EVP_CipherInit_ex(ctx.get(), EVP_aes_128_cbc(), nullptr, k, iv, encrypt) != 1)
        return false;
    EVP_CIPHER_CTX_set_padding(ctx.get(), 0);
    out->assign(in.size() + 16, 0);
    int n = 0;
    int tail = 0;
    if (EVP_CipherUpdate(ctx.get(), out->data(), &n, in.data(), static_cast<int>(in.size())) != 1)
        return false;
    if (EVP_CipherFinal_ex(ctx.get(), out->data() + n, &tail) != 1) return false;
    out->resize(static_cast<size_t>(n + tail));
    return true;
}

int HexNibble(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

bool SimEncrypt(const std::string& key, const Bytes& plain, Bytes* cipher) {
    Bytes padded = plain;
    size_t pad = 16 - plain.size() % 16;
    padded.insert(padded.end(), pad, static_cast<uint8_t>(pad));
    return RunCipher(key, padded, cipher, 1);
}

bool SimDecrypt(const std::string& key, const Bytes& cipher, Bytes* plain) {
    if (cipher.empty() || cipher.size() % 16 != 0) return false;
    return RunCipher(key, cipher, plain, 0);
}

uint8_t FrameChecksum(uint16_t dataLen, const Bytes& opt, const Bytes& plain) {
    uint8_t len[2];
    PutField16(len, dataLen);
    unsigned sum = len[0] + len[1];
    for (uint8_t b : opt)
        sum += b;
    for (uint8_t b : plain)
        sum += b;
    return static_cast<uint8_t>(sum);
}

Bytes BuildRawFrame(uint8_t msgType, uint8_t reqFlag, const Bytes& opt, const Bytes& data,
                    uint8_t checksum) {
    Bytes f(kHeaderSize);
    f[0] = kMagicLo;
    f[1] = kMagicHi;
    f[2] = static_cast<uint8_t>((msgType & 31) | (reqFlag << 5));
    f[3] = static_cast<uint8_t>(opt.size());
    f[4] = checksum;
    PutField16(&f[5], static_cast<uint16_t>(data.size()));
    f.insert(f.end(), opt.begin(), opt.end());
    f.insert(f.end(), data.begin(), data.end());
    return f;
}

Bytes BuildFrame(const std::string& key, uint8_t msgType, uint8_t reqFlag, const Bytes& opt,
                 const Bytes& plain, int checksumOverride) {
    Bytes cipher;
    if (!plain.empty() && !SimEncrypt(key, plain, &cipher)) return Bytes();
    uint8_t sum = checksumOverride >= 0
                      ? static_cast<uint8_t>(checksumOverride)
                      : FrameChecksum(static_cast<uint16_t>(cipher.size()), opt, plain);
    return BuildRawFrame(msgType, reqFlag, opt, cipher, sum);
}

DecodedFrame DecodeFrame(const std::string& key, const RawFrame& raw) {
    DecodedFrame d;
    d.raw = raw;
    if (!raw.data.empty() && SimDecrypt(key, raw.data, &d.plain)) {
        d.decrypted = true;
        uint8_t pad = d.plain.back();
        d.paddingOk = pad >= 1 && pad <= 16 && pad <= d.plain.size();
        for (size_t i = 0; d.paddingOk && i < pad; ++i)
            d.paddingOk = d.plain[d.plain.size() - 1 - i] == pad;
        if (d.paddingOk) d.plain.resize(d.plain.size() - pad);
    }
    d.checksumOk =
        FrameChecksum(static_cast<uint16_t>(raw.data.size()), raw.opt, d.plain) == raw.checksum;
    return d;
}

void FrameCutter::Append(const uint8_t* p, size_t n) {
    buf_.insert(buf_.end(), p, p + n);
}

bool FrameCutter::Next(RawFrame* out) {
    size_t i = 0;
    while (i + 1 < buf_.size() && !(buf_[i] == kMagicLo && buf_[i + 1] == kMagicHi))
        ++i;
    bool found = i + 1 < buf_.size();
    size_t drop = i;
    // Without a magic, keep a trailing low magic byte: its partner may come with the next read.
    if (!found) drop = (!buf_.empty() && buf_.back() == kMagicLo) ? buf_.size() - 1 : buf_.size();
    skipped_ += drop;
    buf_.erase(buf_.begin(), buf_.begin() + static_cast<long>(drop));
    if (!found) return false;
    if (buf_.size() < kHeaderSize) return false;
    size_t optLen = buf_[3];
    size_t dataLen = GetField16(&buf_[5]);
    size_t total = kHeaderSize + optLen + dataLen;
    if (buf_.size() < total) return false;
    out->typeByte = buf_[2];
    out->checksum = buf_[4];
    out->opt.assign(buf_.begin() + kHeaderSize, buf_.begin() + kHeaderSize + optLen);
    out->data.assign(buf_.begin() + kHeaderSize + optLen, buf_.begin() + total);
    out->bytes.assign(buf_.begin(), buf_.begin() + total);
    buf_.erase(buf_.begin(), buf_.begin() + static_cast<long>(total));
    return true;
}

size_t FrameCutter::TakeSkipped() {
    size_t n = skipped_;
    skipped_ = 0;
    return n;
}

bool ParseHex(const std::string& text, Bytes* out) {
    out->clear();
    int hi = -1;
    for (char c : text) {
        if (c == ' ' || c == ':' || c == '\t') continue;
        int v = HexNibble(c);
        if (v < 0) return false;
        if (hi < 0) {
            hi = v;
        } else {
            out->push_back(static_cast<uint8_t>(hi << 4 | v));
            hi = -1;
        }
    }
    return hi < 0;
}

std::string ToHex(const uint8_t* p, size_t n) {
    static const char kDigits[] = "0123456789abcdef";
    std::string s;
    s.reserve(n * 2);
    for (size_t i = 0; i < n; ++i) {
        s.push_back(kDigits[p[i] >> 4]);
        s.push_back(kDigits[p[i] & 15]);
    }
    return s;
}

std::string ToHex(const Bytes& b) {
    return ToHex(b.data(), b.size());
}

}  // namespace psim

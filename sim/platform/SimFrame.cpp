#include "SimFrame.h"

#include <cstring>
#include <memory>

#include "core/ByteOrder.h"
#include "platform/Crypto.h"
#include "platform/Frame.h"

namespace psim {

namespace {

// The KEY text as the agent holds it: a zero-filled 32-byte buffer.
struct KeyBuf {
    explicit KeyBuf(const std::string& key) {
        memcpy(text, key.data(), key.size() < sizeof text - 1 ? key.size() : sizeof text - 1);
    }
    char text[32] = {0};
};

int HexNibble(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

}  // namespace

bool SimEncrypt(const std::string& key, const Bytes& plain, Bytes* cipher) {
    KeyBuf k(key);
    cipher->assign(AesPaddedLen(plain.size()), 0);
    size_t outLen = 0;
    if (aes_encrypt(k.text, plain.data(), cipher->data(), plain.size(), &outLen) != 0) return false;
    cipher->resize(outLen);
    return true;
}

bool SimDecrypt(const std::string& key, const Bytes& cipher, Bytes* plain) {
    if (cipher.empty() || cipher.size() % kAesBlock != 0) return false;
    KeyBuf k(key);
    return DecryptDataBlock(k.text, cipher.data(), cipher.size(), plain) == 0;
}

uint8_t FrameChecksum(uint16_t dataLen, const Bytes& opt, const Bytes& plain) {
    return ::FrameChecksum(dataLen, opt.data(), opt.size(), plain.data(), plain.size());
}

Bytes BuildRawFrame(uint8_t msgType, uint8_t reqFlag, const Bytes& opt, const Bytes& data,
                    uint8_t checksum) {
    FrameHeader h;
    h.msgType = msgType & 31;
    h.reqFlag = reqFlag;
    h.optLen = static_cast<uint8_t>(opt.size());
    h.checksum = checksum;
    h.dataLen = static_cast<uint16_t>(data.size());
    Bytes f(kHeaderSize);
    PutFrameHeader(f.data(), h);
    f.insert(f.end(), opt.begin(), opt.end());
    f.insert(f.end(), data.begin(), data.end());
    return f;
}

Bytes BuildFrame(const std::string& key, uint8_t msgType, uint8_t reqFlag, const Bytes& opt,
                 const Bytes& plain, int checksumOverride) {
    KeyBuf k(key);
    Bytes f;
    if (::BuildFrame(k.text, msgType, reqFlag, opt.data(), opt.size(), plain.data(), plain.size(),
                     &f) != 0)
        return Bytes();
    if (checksumOverride >= 0) f[4] = static_cast<uint8_t>(checksumOverride);
    return f;
}

DecodedFrame DecodeFrame(const std::string& key, const RawFrame& raw) {
    DecodedFrame d;
    d.raw = raw;
    if (SimDecrypt(key, raw.data, &d.plain)) {
        d.decrypted = true;
        size_t bodyLen = 0;
        d.paddingOk = DropPadding(d.plain.data(), d.plain.size(), &bodyLen) == 0;
        if (d.paddingOk) d.plain.resize(bodyLen);
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
    size_t dataLen = GetLe16(&buf_[5]);
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

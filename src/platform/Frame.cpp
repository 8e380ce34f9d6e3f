#include "platform/Frame.h"

#include "core/ByteOrder.h"
#include "platform/Crypto.h"

void PutFrameHeader(uint8_t* out, const FrameHeader& h) {
    PutLe16(out, kFrameMagic);
    out[2] = static_cast<uint8_t>((h.msgType & 0x1F) | (h.reqFlag << 5));
    out[3] = h.optLen;
    out[4] = h.checksum;
    PutLe16(out + 5, h.dataLen);
}

int ParseFrameHeader(const uint8_t* p, size_t len, FrameHeader* h) {
    if (!p || len < kFrameHeaderLen || GetLe16(p) != kFrameMagic) return -1;
    h->msgType = p[2] & 0x1F;
    h->reqFlag = p[2] >> 5;
    h->optLen = p[3];
    h->checksum = p[4];
    h->dataLen = GetLe16(p + 5);
    return 0;
}

uint8_t FrameChecksum(uint16_t dataLen, const uint8_t* opt, size_t optLen, const uint8_t* plain,
                      size_t plainLen) {
    uint8_t lenBytes[2];
    PutLe16(lenBytes, dataLen);
    unsigned sum = lenBytes[0] + lenBytes[1];
    for (size_t i = 0; opt && i < optLen; ++i)
        sum += opt[i];
    for (size_t i = 0; plain && i < plainLen; ++i)
        sum += plain[i];
    return static_cast<uint8_t>(sum);
}

int BuildFrame(const char* key, uint8_t msgType, uint8_t reqFlag, const uint8_t* opt, size_t optLen,
               const uint8_t* plain, size_t plainLen, std::vector<uint8_t>* out) {
    if (!opt) optLen = 0;
    if (!plain) plainLen = 0;
    if (optLen > kMaxOptLen || AesPaddedLen(plainLen) > 0xFFFF) return -1;
    size_t dataLen = plainLen ? AesPaddedLen(plainLen) : 0;
    out->assign(kFrameHeaderLen + optLen + dataLen, 0);
    uint8_t* data = out->data() + kFrameHeaderLen + optLen;
    size_t cipherLen = 0;
    if (plainLen && aes_encrypt(key, plain, data, plainLen, &cipherLen) != 0) return -1;
    FrameHeader h;
    h.msgType = msgType;
    h.reqFlag = reqFlag;
    h.optLen = static_cast<uint8_t>(optLen);
    h.dataLen = static_cast<uint16_t>(dataLen);
    h.checksum = FrameChecksum(h.dataLen, opt, optLen, plain, plainLen);
    PutFrameHeader(out->data(), h);
    for (size_t i = 0; i < optLen; ++i)
        (*out)[kFrameHeaderLen + i] = opt[i];
    return 0;
}

int DecryptDataBlock(const char* key, const uint8_t* cipher, size_t len,
                     std::vector<uint8_t>* plain) {
    plain->assign(len / kAesBlock * kAesBlock + kAesBlock, 0);
    size_t outLen = 0;
    if (aes_decrypt(key, cipher, plain->data(), len, &outLen) != 0) return -1;
    plain->resize(outLen);
    return 0;
}

int DropPadding(const uint8_t* plain, size_t len, size_t* bodyLen) {
    if (!plain || len == 0 || plain[len - 1] > len) return -1;
    *bodyLen = len - plain[len - 1];
    return 0;
}

long DecodeFrame(const char* key, const uint8_t* p, size_t len, DecodedFrame* f) {
    if (len < 2) return 0;
    if (GetLe16(p) != kFrameMagic) return -1;
    if (ParseFrameHeader(p, len, &f->header) != 0) return 0;
    size_t total = kFrameHeaderLen + f->header.optLen + f->header.dataLen;
    if (len < total) return 0;
    const uint8_t* opt = p + kFrameHeaderLen;
    f->opt.assign(opt, opt + f->header.optLen);
    f->cipher.assign(opt + f->header.optLen, p + total);
    f->body.clear();
    f->bodyOk = f->header.dataLen == 0;
    if (f->header.dataLen) {
        size_t bodyLen = 0;
        f->bodyOk = DecryptDataBlock(key, f->cipher.data(), f->cipher.size(), &f->body) == 0 &&
                    DropPadding(f->body.data(), f->body.size(), &bodyLen) == 0;
        f->body.resize(f->bodyOk ? bodyLen : 0);
    }
    f->checksumOk =
        f->bodyOk && FrameChecksum(f->header.dataLen, f->opt.data(), f->opt.size(), f->body.data(),
                                   f->body.size()) == f->header.checksum;
    return static_cast<long>(total);
}

#include "platform/Protool.h"

#include <cstring>
#include <mutex>
#include <new>
#include <vector>

#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "core/Plug.h"
#include "platform/Crypto.h"
#include "platform/Frame.h"
#include "platform/Session.h"
#include "platform/SessionState.h"
#include "platform/PlatformLink.h"

using namespace limits;

namespace {

std::mutex gMacMu;
uint8_t gRoutemac[kMacSize];

constexpr size_t kPinInFrame = 12;  // register and login carry the first 12 PIN bytes
constexpr size_t kRegisterOptLen = 15;
constexpr size_t kLoginOptLen = kPinInFrame + sizeof LoginTarget::token;
constexpr size_t kLoginBodyLen = 25;
constexpr size_t kRegisterTailZeros = 32;
constexpr size_t kMaxSnLen = 63;

// Encrypts the plain body, computes the checksum and hands the frame to SendRouteUpData.
// The register frame logs its ciphertext length once encrypted.
int SendPlain(uint8_t msgType, uint8_t reqFlag, const uint8_t* opt, size_t optLen,
              const uint8_t* plain, size_t plainLen, bool logCipherLen = false) {
    if (AesPaddedLen(plainLen) > kFrameBufSize) return -1;
    std::vector<uint8_t> cipher;
    try {
        cipher.assign(kFrameBufSize, 0);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    size_t dataLen = 0;
    if (aes_encrypt(gKeyText, plain, cipher.data(), plainLen, &dataLen) != 0) return -1;
    if (logCipherLen) LOGD("aes_crypt_ecb encode: ----len %d---", static_cast<int>(dataLen));
    uint8_t sum = FrameChecksum(static_cast<uint16_t>(dataLen), opt, optLen, plain, plainLen);
    return SendRouteUpData(opt, cipher.data(), msgType, reqFlag, optLen, dataLen, sum);
}

// Lays out an upload or reply body: [0-1] zero, [2] DataType, then either [3-4] len or
// [3-8] MAC and [9-10] len, then the data. Returns the body length.
size_t LayOutBody(uint8_t* body, const uint8_t* data, size_t len, uint8_t dataType, int withMac,
                  const uint8_t* mac) {
    body[2] = dataType;
    size_t off = 3;
    if (withMac) {
        if (mac) memcpy(body + off, mac, kMacSize);
        off += kMacSize;
    }
    PutLe16(body + off, static_cast<uint16_t>(len));
    off += 2;
    if (len) memcpy(body + off, data, len);
    return off + len;
}

}  // namespace

void GetRouteMac(uint8_t mac[6]) {
    std::lock_guard<std::mutex> g(gMacMu);
    memcpy(mac, gRoutemac, kMacSize);
}

void SetRouteMac(const uint8_t mac[6]) {
    std::lock_guard<std::mutex> g(gMacMu);
    memcpy(gRoutemac, mac, kMacSize);
}

int SendRouteUpData(const uint8_t* opt, const uint8_t* data, uint8_t msgType, uint8_t reqFlag,
                    size_t optLen, size_t dataLen, uint8_t checksum) {
    if (optLen == 0 && dataLen == 0) return -1;
    if (optLen > kMaxOptLen || dataLen > 0xFFFF) return -1;
    size_t sendOpt = opt ? optLen : 0;
    size_t sendData = data ? dataLen : 0;
    std::vector<uint8_t> frame;
    try {
        frame.resize(kFrameHeaderLen + sendOpt + sendData);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    FrameHeader h;
    h.msgType = msgType;
    h.reqFlag = reqFlag;
    h.optLen = static_cast<uint8_t>(optLen);
    h.checksum = checksum;
    h.dataLen = static_cast<uint16_t>(dataLen);
    PutFrameHeader(frame.data(), h);
    if (sendOpt) memcpy(frame.data() + kFrameHeaderLen, opt, sendOpt);
    if (sendData) memcpy(frame.data() + kFrameHeaderLen + sendOpt, data, sendData);
    if (msgType == kMsgUploadWithMac) LOGD("%d", static_cast<int>(frame.size()));
    if (SendFrame(frame.data(), frame.size()) != 0) {
        LOGE("mTcpConnectServer->sendData error");
        return -1;
    }
    return 0;
}

int RegistSendMsg() {
    if (g_pin_code[0] == '\0') {
        LOGE("ERROR: PIN is empty, plese check your plug.conf!");
        return kPlugFatal;
    }
    if (gKeyText[0] == '\0') {
        LOGE("ERROR: KEY is empty, plese check your plug.conf!");
        return kPlugFatal;
    }
    uint8_t opt[kRegisterOptLen] = {0};
    memcpy(opt + 3, g_pin_code, kPinInFrame);
    uint8_t body[kSnSize + 41] = {0};
    size_t snLen = strnlen(gSN, kMaxSnLen);
    body[2] = static_cast<uint8_t>(snLen);
    memcpy(body + 3, gSN, snLen);
    GetRouteMac(body + 3 + snLen);
    size_t bodyLen = 3 + snLen + kMacSize + kRegisterTailZeros;
    return SendPlain(kMsgRegister, 1, opt, sizeof opt, body, bodyLen, true);
}

int LoginServer() {
    if (mLogin == 1) return -1;
    LOGD("LoginServer command -----%s-----%s ", g_pin_code, gKeyText);
    uint8_t opt[kLoginOptLen] = {0};
    memcpy(opt, g_pin_code, kPinInFrame);
    LoginTarget target = PlatformSession().Target();
    memcpy(opt + kPinInFrame, target.token, sizeof target.token);
    uint8_t body[kLoginBodyLen] = {0};
    body[19] = kVersionMajor;
    body[20] = kVersionMinor;
    body[21] = kVersionPatch;
    body[22] = kVersionBuild;
    body[23] = 1;
    body[24] = 0x36;
    return SendPlain(kMsgLogin, 1, opt, sizeof opt, body, sizeof body);
}

int SendHeartbeat() {
    uint8_t opt[4];
    PutLe32(opt, static_cast<uint32_t>(NowSec()));
    uint8_t sum = FrameChecksum(0, opt, sizeof opt, nullptr, 0);
    return SendRouteUpData(opt, nullptr, kMsgHeartbeat, 1, sizeof opt, 0, sum);
}

int SendIpUpData(const uint8_t* data, size_t len, uint8_t dataType, int withMac,
                 const uint8_t* mac) {
    if (mLogin != 1 || len < 1 || len > kMaxUploadLen || !data) return -1;
    uint8_t msgType = withMac ? kMsgUploadWithMac : kMsgUpload;
    LOGI("Send MsgType=[%u] DataType=[%u] ", msgType, dataType);
    std::vector<uint8_t> body;
    try {
        body.assign(kFrameBufSize, 0);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    size_t bodyLen = LayOutBody(body.data(), data, len, dataType, withMac, mac);
    return SendPlain(msgType, 1, nullptr, 0, body.data(), bodyLen);
}

int SendReplyData(uint16_t code, const uint8_t* data, size_t len, uint8_t dataType, int withMac,
                  const uint8_t* mac) {
    if (mLogin != 1 || len > kMaxUploadLen) return -1;
    uint8_t msgType = withMac ? kMsgReplyWithMac : kMsgReply;
    uint8_t opt[2];
    PutLe16(opt, code);
    if (len < 1 || !data) {
        uint8_t sum = FrameChecksum(0, opt, sizeof opt, nullptr, 0);
        return SendRouteUpData(opt, nullptr, msgType, 0, sizeof opt, 0, sum);
    }
    std::vector<uint8_t> body;
    try {
        body.assign(kFrameBufSize, 0);
    } catch (const std::bad_alloc&) {
        return -1;
    }
    size_t bodyLen = LayOutBody(body.data(), data, len, dataType, withMac, mac);
    return SendPlain(msgType, 0, opt, sizeof opt, body.data(), bodyLen);
}

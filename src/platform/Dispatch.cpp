#include "platform/Dispatch.h"

#include <atomic>
#include <cstdio>
#include <cstring>
#include <new>
#include <string>
#include <vector>

#include "core/ByteOrder.h"
#include "core/Clock.h"
#include "core/Globals.h"
#include "core/Log.h"
#include "core/Status.h"
#include "platform/Protool.h"
#include "platform/Session.h"
#include "platform/SessionState.h"

using namespace limits;

namespace {

// Until the executable installs its handlers: what the function dispatcher answers for an ID it
// does not know (IDs 0 and 32767 up: nothing; others: the 6-byte answer with code 7). Plug-in
// data that no handler took is not done, so it is answered as a failure (-1, as a body that does
// not parse), never as a success.
constexpr uint16_t kCodeUnsupported = 7;
constexpr uint16_t kHighestAnsweredId = 32766;

int UnknownFunctionCall(const uint8_t* req, size_t reqLen, uint8_t* ans, size_t* ansLen) {
    *ansLen = 0;
    if (reqLen < 4) return -1;
    uint16_t id = GetLe16(req + 2);
    if (static_cast<uint16_t>(id - 1) > kHighestAnsweredId - 1) return -1;
    ans[0] = req[0];
    ans[1] = req[1];
    PutLe16(ans + 2, id);
    PutLe16(ans + 4, kCodeUnsupported);
    *ansLen = 6;
    return -1;
}

constexpr int kPlugDataNotDone = -1;

int UnknownPlugData(uint8_t, const char*, size_t) {
    return kPlugDataNotDone;
}

std::atomic<FunctionCallHandler> gFunctionCall{UnknownFunctionCall};
std::atomic<PlugDataHandler> gPlugData{UnknownPlugData};

// Plain-body offsets (types 17/18/25 without MAC, 19/20/26 with MAC).
constexpr size_t kOffDataType = 2;
constexpr size_t kOffLen = 3;
constexpr size_t kOffData = 5;
constexpr size_t kOffMac = 3;
constexpr size_t kOffLenMac = 9;
constexpr size_t kOffDataMac = 11;
constexpr uint16_t kCodeChecksum = 11;
constexpr uint16_t kCodeMemError = 1;
constexpr size_t kMinCallLen = 9;  // a length field of 9 or less is answered "length error"
constexpr size_t kRegisterAnswerLen = 72;
constexpr size_t kLoginAnswerLen = 4;

// The decrypted data block of one frame. `len` is the decrypted length, then the body length
// once the padding is dropped.
struct Plain {
    std::vector<uint8_t> bytes;
    size_t len = 0;
    const uint8_t* at(size_t off) const { return bytes.data() + off; }
};

// Decrypts the data block; a frame without one or that does not decrypt is dropped silently.
// A block shorter than the offsets its type reads is dropped with a log line.
bool OpenBody(const FrameHeader& h, const uint8_t* data, size_t need, Plain* p) {
    if (h.dataLen == 0) return false;
    try {
        if (DecryptDataBlock(gKeyText, data, h.dataLen, &p->bytes) != 0) return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    p->len = p->bytes.size();
    if (p->len < need) {
        LOGE("MsgType %u: decrypted body of %zu bytes is shorter than %zu, frame dropped",
             h.msgType, p->len, need);
        return false;
    }
    return true;
}

bool DropBodyPadding(const FrameHeader& h, Plain* p) {
    size_t bodyLen = 0;
    if (DropPadding(p->bytes.data(), p->len, &bodyLen) != 0) {
        LOGE("MsgType %u: padding of %u bytes exceeds the %zu-byte body, frame dropped", h.msgType,
             p->len ? p->bytes[p->len - 1] : 0u, p->len);
        return false;
    }
    p->len = bodyLen;
    return true;
}

bool ChecksumOk(const FrameHeader& h, const uint8_t* opt, const Plain& p) {
    return FrameChecksum(h.dataLen, opt, h.optLen, p.bytes.data(), p.len) == h.checksum;
}

// The length field must fit in the bytes received after `off`.
bool LengthFits(const FrameHeader& h, const Plain& p, size_t off, size_t len) {
    if (p.len >= off && len <= p.len - off) return true;
    LOGE("MsgType %u: length field %zu exceeds the %zu received body bytes, frame dropped",
         h.msgType, len, p.len >= off ? p.len - off : 0);
    return false;
}

void LogRecv(const FrameHeader& h, uint8_t dataType, unsigned len) {
    LOGI("Recv MsgType=[%d] DataType=[%d] DataLen=[%d]", h.msgType, dataType, len);
}

int CallPlugData(uint8_t dataType, const uint8_t* data, size_t len) {
    std::string text(reinterpret_cast<const char*>(data), len);
    return gPlugData.load()(dataType, text.c_str(), len);
}

void HeartbeatAck() {
    LOGI("heart beat ack");
    PlatformSession().HeartbeatAnswer(NowSec());
}

// The process is to end: the supervision loop sees it at its next pass and returns the fatal
// result to the entry. Until then no frame is handled any more.
void ForceDisconnect() {
    LOGI("force disconnect exit !!!!!");
    PlatformSession().ForcedDisconnect([] { WritePlugStatus(kStatusForcedOff); });
    LOGE("exit at [%s] %d ", "CBHandle", __LINE__);
}

void LogAckOption(const FrameHeader& h, const uint8_t* opt) {
    if (h.optLen == 0) return;
    uint16_t code = h.optLen >= 2 ? GetLe16(opt) : opt[0];
    LOGD("optlen %d, error code = [%d]", h.optLen, code);
}

void RegisterAck(const FrameHeader& h, const uint8_t* opt, const uint8_t* data) {
    LOGD("regist ack ===len %d", h.dataLen);
    LogAckOption(h, opt);
    if (h.dataLen == 0) {
        LOGE("regist ack error");
        return;
    }
    Plain p;
    if (!OpenBody(h, data, kRegisterAnswerLen, &p)) return;
    LoginTarget target;
    const uint8_t* ip = p.at(34);
    target.port = GetLe16(p.at(38));
    LOGD("regist ack======ip:%d,%d,%d,%d,port:%d", ip[0], ip[1], ip[2], ip[3], target.port);
    snprintf(target.server, sizeof target.server, "%d.%d.%d.%d", ip[0], ip[1], ip[2], ip[3]);
    memcpy(target.token, p.at(2), sizeof target.token);
    WritePlugStatus(kStatusRegistered);
    LOGD("regist ok tocken ,port %d", target.port);
    PlatformSession().RegisterAnswer(target);
}

void LoginAck(const FrameHeader& h, const uint8_t* opt, const uint8_t* data) {
    LOGD("login ack");
    LogAckOption(h, opt);
    if (h.dataLen == 0) {
        LOGE("register ack error");
        PlatformSession().LoginRefused();
        return;
    }
    Plain p;
    if (!OpenBody(h, data, kLoginAnswerLen, &p)) return;
    int interval = static_cast<int16_t>(GetLe16(p.at(2)));
    if (interval < kMinHeartInterval) interval = kMinHeartInterval;
    WritePlugStatus(kStatusLoggedIn);
    LOGD("login ack heartbeep interval %d", interval);
    PlatformSession().LoginAnswer(interval);
}

void RegisterOrLoginAck(const FrameHeader& h, const uint8_t* opt, const uint8_t* data) {
    if (!PlatformSession().Registered())
        RegisterAck(h, opt, data);
    else if (mLogin == 0)
        LoginAck(h, opt, data);
}

void PlugDataWithChecksum(const FrameHeader& h, const uint8_t* opt, const uint8_t* data) {
    PlatformSession().PlatformActivity();
    Plain p;
    if (!OpenBody(h, data, kOffData, &p)) return;
    uint8_t dataType = p.bytes[kOffDataType];
    size_t len = GetLe16(p.at(kOffLen));
    LogRecv(h, dataType, static_cast<unsigned>(len));
    if (!DropBodyPadding(h, &p)) return;
    if (!ChecksumOk(h, opt, p)) {
        SendReplyData(kCodeChecksum, nullptr, 0, dataType, 0, nullptr);
        return;
    }
    if (!LengthFits(h, p, kOffData, len)) return;
    int r = CallPlugData(dataType, p.at(kOffData), len);
    char reply[32];
    int n = snprintf(reply, sizeof reply, "{\"result\":%d}", r);
    SendReplyData(static_cast<uint16_t>(r), reinterpret_cast<const uint8_t*>(reply),
                  static_cast<size_t>(n), dataType, 0, nullptr);
}

void SendText(uint16_t code, const char* text, uint8_t dataType, const uint8_t* mac) {
    SendReplyData(code, reinterpret_cast<const uint8_t*>(text), strlen(text), dataType, 1, mac);
}

void FunctionCall(const FrameHeader& h, const uint8_t* opt, const uint8_t* data) {
    PlatformSession().PlatformActivity();
    Plain p;
    if (!OpenBody(h, data, kOffDataMac, &p)) return;
    uint8_t dataType = p.bytes[kOffDataType];
    uint8_t mac[kMacSize];
    memcpy(mac, p.at(kOffMac), sizeof mac);
    size_t len = GetLe16(p.at(kOffLenMac));
    LogRecv(h, dataType, static_cast<unsigned>(len));
    if (!DropBodyPadding(h, &p)) return;
    if (!ChecksumOk(h, opt, p)) {
        SendReplyData(kCodeChecksum, nullptr, 0, dataType, 1, mac);
        return;
    }
    if (len <= kMinCallLen) {
        SendText(0, "length error", dataType, mac);
        return;
    }
    if (!LengthFits(h, p, kOffDataMac, len)) return;
    std::vector<uint8_t> ans;
    try {
        ans.assign(kAnswerBufSize, 0);
    } catch (const std::bad_alloc&) {
        SendText(kCodeMemError, "mem error", dataType, mac);
        return;
    }
    size_t ansLen = 0;
    int r = gFunctionCall.load()(p.at(kOffDataMac), len, ans.data(), &ansLen);
    if (ansLen > ans.size()) {
        LOGE("answer length %zu exceeds the %zu-byte buffer, not sent", ansLen, ans.size());
        ansLen = 0;
    }
    if (ansLen > 0) SendReplyData(0, ans.data(), ansLen, dataType, 1, mac);
    if (r != 0) SendText(static_cast<uint16_t>(r), "parser error", dataType, mac);
}

void PlugDataWithoutChecksum(const FrameHeader& h, const uint8_t* data) {
    PlatformSession().PlatformActivity();
    Plain p;
    if (!OpenBody(h, data, kOffData, &p)) return;
    uint8_t dataType = p.bytes[kOffDataType];
    size_t len = GetLe16(p.at(kOffLen));
    LogRecv(h, dataType, static_cast<unsigned>(len));
    if (len > kMaxPlugDataLen) {
        LOGE("MsgType %u: length field %zu above %zu, frame dropped", h.msgType, len,
             kMaxPlugDataLen);
        return;
    }
    if (!LengthFits(h, p, kOffData, len)) return;
    CallPlugData(dataType, p.at(kOffData), len);
}

void ReplyWithMac(const FrameHeader& h, const uint8_t* data) {
    PlatformSession().PlatformActivity();
    Plain p;
    if (!OpenBody(h, data, kOffDataMac, &p)) return;
    LogRecv(h, p.bytes[kOffDataType], GetLe16(p.at(kOffLenMac)));
}

}  // namespace

bool HandleOnReceipt(const FrameHeader& h, int16_t first16) {
    // A frame whose 16-bit value says "net error" ends the session in CBHandle, in order.
    if (h.msgType != kMsgHeartbeatAck || first16 == -1) return false;
    HeartbeatAck();
    return true;
}

void SetFunctionCallHandler(FunctionCallHandler handler) {
    gFunctionCall = handler ? handler : UnknownFunctionCall;
}
void SetPlugDataHandler(PlugDataHandler handler) {
    gPlugData = handler ? handler : UnknownPlugData;
}

int CBHandle(const FrameHeader& h, const uint8_t* opt, const uint8_t* data, int16_t first16) {
    if (PlatformSession().End() == SessionEnd::kForcedOff) return 0;
    if (first16 == -1) {
        LOGE("net error reconnect");
        PlatformSession().LinkLost();
        return 0;
    }
    switch (h.msgType) {
        case kMsgHeartbeatAck:
            HeartbeatAck();
            break;
        case kMsgForceDisconnect:
            ForceDisconnect();
            break;
        case kMsgRegisterOrLoginAck:
            RegisterOrLoginAck(h, opt, data);
            break;
        case kMsgPlugData:
            PlugDataWithChecksum(h, opt, data);
            break;
        case kMsgFunctionCall:
            FunctionCall(h, opt, data);
            break;
        case kMsgReply:
            PlugDataWithoutChecksum(h, data);
            break;
        case kMsgReplyWithMac:
            ReplyWithMac(h, data);
            break;
        default:  // every other type, 0-31, is ignored
            break;
    }
    return 0;
}

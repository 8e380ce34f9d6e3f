// The platform's side of a session: answers to register, login and heartbeat frames, and the
// requests a person or a test sends to the agent.
#include <fcntl.h>

#include <cstring>
#include <future>
#include <memory>
#include <sstream>

#include "FuncDecode.h"
#include "PlatformSim.h"
#include "SimConn.h"
#include "SimDescribe.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"

namespace psim {

namespace {

// The function answer carried by a reply with MAC (type 26): body bytes 11 on, as many as its
// length field says and the body holds. Empty for text replies ("parser error", ...).
Bytes FunctionAnswerOf(const DecodedFrame& f) {
    const Bytes& b = f.plain;
    if (f.raw.MsgType() != 26 || b.size() < 11 + 6) return Bytes();
    size_t len = GetLe16(&b[9]);
    if (len > b.size() - 11) len = b.size() - 11;
    if (len < 6) return Bytes();
    return Bytes(b.begin() + 11, b.begin() + 11 + static_cast<long>(len));
}

}  // namespace

void PlatformSim::HandleFrame(Conn& c, const RawFrame& raw) {
    DecodedFrame f = DecodeFrame(settings_.key, raw);
    if (hook_ && hook_(f)) return;
    if (raw.MsgType() == 9 && f.plain.size() >= 3 && f.plain.size() >= 3u + f.plain[2] + 6u) {
        std::lock_guard<std::mutex> g(eventMu_);
        memcpy(agentMac_, &f.plain[3 + f.plain[2]], 6);
    }
    std::ostringstream o;
    o << "RX conn=" << c.id << " srv=" << ServerName(c.server) << " " << DescribeFrame(f);
    Emit(o.str(), c.id, c.server, &f);
    if (settings_.decode) PrintDecodedAnswer(f);
    switch (raw.MsgType()) {
        case 1:
            AnswerHeartbeat(c, raw);
            break;
        case 9:
            AnswerRegister(c);
            break;
        case 10:
            AnswerLogin(c);
            break;
        default:
            break;
    }
}

void PlatformSim::PrintDecodedAnswer(const DecodedFrame& f) {
    std::istringstream upload(DescribeDeviceUpload(f));
    for (std::string line; std::getline(upload, line);)
        Print("  " + line);
    Bytes ans = FunctionAnswerOf(f);
    if (ans.empty() || Printable(ans.data(), ans.size())) return;
    std::istringstream text(DecodeFunctionAnswer(ans.data(), ans.size()));
    for (std::string line; std::getline(text, line);)
        Print("  " + line);
}

void PlatformSim::SendPlan(int connId, const AnswerPlan& plan, const Bytes& answerPlain,
                           const char* what) {
    switch (plan.mode) {
        case AnswerMode::kSilent:
            Print(std::string("SILENT conn=") + std::to_string(connId) + " " + what);
            return;
        case AnswerMode::kClose:
            CloseConn(connId, "sim");
            return;
        default:
            break;
    }
    Bytes plain = plan.mode == AnswerMode::kNoData ? Bytes() : answerPlain;
    Bytes frame =
        BuildFrame(settings_.key, 11, 0, ErrorCodeOpt(static_cast<uint16_t>(plan.error)), plain);
    std::string name = what;
    auto send = [this, connId, frame, name] {
        if (conns_.count(connId) == 0) {
            Print("LATE conn=" + std::to_string(connId) + " " + name + " not sent: closed");
            return;
        }
        RawFrame raw;
        FrameCutter cut;
        cut.Append(frame.data(), frame.size());
        cut.Next(&raw);
        Print("TX conn=" + std::to_string(connId) + " " + name + " " +
              DescribeFrame(DecodeFrame(settings_.key, raw)));
        SendOn(connId, frame, name.c_str());
    };
    if (plan.delayMs <= 0) {
        send();
    } else {
        timers_.push_back(Timer{NowMs() + plan.delayMs, send});
    }
}

void PlatformSim::AnswerRegister(Conn& c) {
    std::string ip = settings_.answerIp.empty() ? settings_.loginAddr : settings_.answerIp;
    int port = settings_.answerPort >= 0 ? settings_.answerPort : loginPort_;
    Bytes body =
        RegisterAnswerBody(settings_.token, ip, static_cast<uint16_t>(port), settings_.pluginId);
    SendPlan(c.id, settings_.reg, body, "register-answer");
}

void PlatformSim::AnswerLogin(Conn& c) {
    SendPlan(c.id, settings_.login, LoginAnswerBody(static_cast<uint16_t>(settings_.interval)),
             "login-answer");
}

void PlatformSim::AnswerHeartbeat(Conn& c, const RawFrame& raw) {
    if (settings_.heartbeats == 0) {
        Print("SILENT conn=" + std::to_string(c.id) + " heartbeat-answer");
        return;
    }
    if (settings_.heartbeats > 0) --settings_.heartbeats;
    uint8_t sum = 0;
    for (uint8_t b : raw.opt)
        sum = static_cast<uint8_t>(sum + b);
    Print("TX conn=" + std::to_string(c.id) + " heartbeat-answer type=2");
    SendOn(c.id, BuildRawFrame(2, 0, raw.opt, Bytes(), sum), "heartbeat-answer");
}

int PlatformSim::Detach() {
    auto done = std::make_shared<std::promise<int>>();
    std::future<int> fd = done->get_future();
    Post([this, done] {
        Conn* c = Current();
        if (!c) {
            done->set_value(-1);
            return;
        }
        int taken = c->fd;
        fcntl(taken, F_SETFL, fcntl(taken, F_GETFL) & ~O_NONBLOCK);
        conns_.erase(c->id);
        done->set_value(taken);
    });
    return fd.get();
}

int PlatformSim::Call(uint16_t fid, const Bytes& params) {
    int tag = nextTag_++ & 0xFFFF;
    Post([this, tag, fid, params] {
        Conn* c = Current();
        if (!c) {
            Print("ERR no connection for call");
            return;
        }
        uint8_t mac[6];
        AgentMac(mac);
        Bytes payload = FunctionCallPayload(static_cast<uint16_t>(tag), fid, params);
        Bytes body = FunctionCallBody(static_cast<uint8_t>(settings_.callDataType), mac, payload);
        Print("TX conn=" + std::to_string(c->id) + " call tag=" + std::to_string(tag) +
              " fid=" + std::to_string(fid) + " params=" + ToHex(params));
        SendOn(c->id, BuildFrame(settings_.key, 20, 0, Bytes(), body), "call");
    });
    return tag;
}

void PlatformSim::Plug(uint8_t msgType, uint8_t dataType, const std::string& text, int lenField) {
    Post([this, msgType, dataType, text, lenField] {
        Conn* c = Current();
        if (!c) {
            Print("ERR no connection for plug");
            return;
        }
        Print("TX conn=" + std::to_string(c->id) + " plug type=" + std::to_string(msgType) +
              " dt=" + std::to_string(dataType) + " " +
              DescribeData(reinterpret_cast<const uint8_t*>(text.data()), text.size()));
        Bytes body = PlugDataBody(dataType, text, lenField);
        SendOn(c->id, BuildFrame(settings_.key, msgType, 0, Bytes(), body), "plug");
    });
}

void PlatformSim::SendFrame(uint8_t msgType, uint8_t reqFlag, const Bytes& opt, const Bytes& plain,
                            int checksumOverride) {
    Post([=] {
        Conn* c = Current();
        if (!c) {
            Print("ERR no connection for frame");
            return;
        }
        Print("TX conn=" + std::to_string(c->id) + " frame type=" + std::to_string(msgType) +
              " opt=" + ToHex(opt) + " plain=" + ToHex(plain));
        SendOn(c->id, BuildFrame(settings_.key, msgType, reqFlag, opt, plain, checksumOverride),
               "frame");
    });
}

void PlatformSim::SendRaw(const Bytes& bytes) {
    Post([this, bytes] {
        Conn* c = Current();
        if (!c) {
            Print("ERR no connection for raw");
            return;
        }
        Print("TX conn=" + std::to_string(c->id) + " raw bytes=" + std::to_string(bytes.size()));
        SendOn(c->id, bytes, "raw");
    });
}

void PlatformSim::SendJunk(size_t n) {
    Post([this, n] {
        Conn* c = Current();
        if (!c) {
            Print("ERR no connection for junk");
            return;
        }
        Print("TX conn=" + std::to_string(c->id) + " junk bytes=" + std::to_string(n));
        SendOn(c->id, JunkBytes(n, rng_), "junk");
    });
}

void PlatformSim::Disconnect() {
    Post([this] {
        Conn* c = Current();
        if (!c) {
            Print("ERR no connection for disconnect");
            return;
        }
        Print("TX conn=" + std::to_string(c->id) + " disconnect type=3");
        SendOn(c->id, BuildRawFrame(3, 0, Bytes(), Bytes(), 0), "disconnect");
    });
}

void PlatformSim::Drop() {
    Post([this] {
        Conn* c = Current();
        if (!c) {
            Print("ERR no connection to drop");
            return;
        }
        CloseConn(c->id, "sim");
    });
}

}  // namespace psim

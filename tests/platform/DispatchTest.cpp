// Every reply rule of the frame handler, end to end: the peer sends a frame, the response
// thread handles it, the peer reads the replies.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <string>

#include "LinkFixture.h"
#include "core/ByteOrder.h"
#include "core/Plug.h"
#include "platform/Crypto.h"
#include "platform/TcpQueue.h"

namespace {

using namespace testplatform;
using testsupport::WaitUntil;

// What the installed hooks saw, and what the function-call hook answers; all under gSeenMu,
// since the hooks run on the response thread.
std::mutex gSeenMu;
Bytes gSeenReq;
std::string gSeenText;
int gSeenType = -1;
std::atomic<int> gHookCalls{0};
int gFnResult = 0;
Bytes gFnAnswer;

int RecordingFunctionCall(const uint8_t* req, size_t reqLen, uint8_t* ans, size_t* ansLen) {
    std::lock_guard<std::mutex> g(gSeenMu);
    gSeenReq.assign(req, req + reqLen);
    if (!gFnAnswer.empty()) memcpy(ans, gFnAnswer.data(), gFnAnswer.size());
    *ansLen = gFnAnswer.size();
    ++gHookCalls;
    return gFnResult;
}

int RecordingPlugData(uint8_t dataType, const char* data, size_t len) {
    std::lock_guard<std::mutex> g(gSeenMu);
    gSeenType = dataType;
    gSeenText.assign(data, len);
    EXPECT_EQ('\0', data[len]);
    ++gHookCalls;
    return 4;
}

class Dispatch : public LinkFixture {
protected:
    void SetUp() override {
        LinkFixture::SetUp();
        gHookCalls = 0;
        {
            std::lock_guard<std::mutex> g(gSeenMu);
            gFnResult = 0;
            gFnAnswer.clear();
            gSeenReq.clear();
            gSeenText.clear();
            gSeenType = -1;
        }
        Connect();
    }

    // A reply frame read from the agent: type, result code, body (padding dropped).
    struct Reply {
        int type = -1;
        int code = -1;
        Bytes body;
    };
    Reply Next() {
        DecodedFrame f;
        Reply r;
        if (!peer.Read(kKey, &f)) return r;
        r.type = f.header.msgType;
        r.code = f.opt.size() == 2 ? GetLe16(f.opt.data()) : -1;
        r.body = f.body;
        return r;
    }
    // Data of a reply with MAC (from body offset 11) or without (from 5).
    static std::string DataOf(const Reply& r, size_t off) {
        return r.body.size() >= off
                   ? std::string(r.body.begin() + static_cast<long>(off), r.body.end())
                   : std::string("<short>");
    }
    // Sends a sentinel the agent always answers (checksum-broken plug-in data, DataType 0xEE)
    // and checks it is the next reply: nothing was sent in between.
    void ExpectNoReplyBeforeSentinel() {
        Bytes s = MakeFrame(kKey, 18, {}, PlugBody(0xEE, 0, {}));
        s[4] ^= 0xFF;
        ASSERT_TRUE(peer.Send(s));
        Reply r = Next();
        EXPECT_EQ(25, r.type);
        EXPECT_EQ(11, r.code);
        EXPECT_TRUE(r.body.empty());
    }
    void Deliver(const Bytes& f) { ASSERT_TRUE(peer.Send(f)); }
};

void SetAnswer(int result, const Bytes& answer) {
    std::lock_guard<std::mutex> g(gSeenMu);
    gFnResult = result;
    gFnAnswer = answer;
}

Bytes Call(uint16_t tag, uint16_t id, size_t extra = 6) {
    Bytes d = Le16(tag);
    Bytes i = Le16(id);
    d.insert(d.end(), i.begin(), i.end());
    d.resize(4 + extra, 0);
    return d;
}

Bytes Broken(Bytes f) {  // checksum no longer matches
    f[4] ^= 0x41;
    return f;
}

// The reply rules of function calls (type 20, answered with 26) and plug-in data (18, answered
// with 25; 25 itself is never answered nor checked), with and without the hooks: the replies in
// order (result code, data after the MAC or DataType), and nothing else before the sentinel.
TEST_F(Dispatch, ReplyRules) {
    struct Want {
        int type, code;
        std::string data;
    };
    struct Row {
        const char* name;
        bool hooks;
        int result;  // and answer of the function-call hook
        Bytes answer;
        std::vector<Bytes> frames;
        std::vector<Want> replies;
        int hookCalls;
        Bytes req = {};  // what the function-call hook got, when checked
    };
    const std::string ab("\x01\x00\x05\x00\x00\x00\xAB", 7);
    Bytes trailing = CallBody(9, 12, Call(1, 5, 8));  // bytes beyond the length field
    trailing.insert(trailing.end(), {0xEE, 0xEE});
    Bytes type25 = MakeFrame(kKey, 25, {}, PlugBody(9, 1018, Bytes(1018, 'y')));
    // One block whose last plain byte says 0x20: 32 pad bytes in a 16-byte body.
    Bytes padded = CallBody(9, 4, {1, 2, 3, 4});
    padded.resize(16, 0x20);
    uint8_t cipher[32];
    size_t n = 0;
    ASSERT_EQ(0, aes_encrypt(gKeyText, padded.data(), cipher, padded.size(), &n));
    Bytes overPadded = {0xCC, 0xDD, 0x14, 0x00, 0x00, 0x10, 0x00};
    overPadded.insert(overPadded.end(), cipher, cipher + 16);  // the first block only
    std::vector<Bytes> otherTypes;
    for (uint8_t t : {0, 1, 4, 9, 10, 17, 19, 21, 27, 31})
        otherTypes.push_back(MakeFrame(kKey, t, {1}, CallBody(1, 10, Call(1, 5))));
    const Row rows[] = {
        {"length 9", false, 0, {}, {MakeFrame(kKey, 20, {}, CallBody(9, 9, Bytes(9, 1)))},
         {{26, 0, "length error"}}, 0},
        {"no hook: unknown function, then parser error", false, 0, {},
         {MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(0xBEEF, 5)))},
         {{26, 0, std::string("\xEF\xBE\x05\x00\x07\x00", 6)}, {26, 0xFFFF, "parser error"}}, 0},
        {"no hook: IDs 0, 32767 and 65535 get only parser error", false, 0, {},
         {MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 0))),
          MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 32767))),
          MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 0xFFFF)))},
         {{26, 0xFFFF, "parser error"}, {26, 0xFFFF, "parser error"}, {26, 0xFFFF, "parser error"}},
         0},
        {"no hook: ID 32766 is unknown", false, 0, {},
         {MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 32766)))},
         {{26, 0, std::string("\x01\x00\xFE\x7F\x07\x00", 6)}, {26, 0xFFFF, "parser error"}}, 0},
        {"hook answer goes back", true, 0, Bytes(ab.begin(), ab.end()),
         {MakeFrame(kKey, 20, {}, trailing)}, {{26, 0, ab}}, 1, Call(1, 5, 8)},
        {"hook failure: answer, then parser error with the result's low 16 bits", true, 0x10003,
         {1, 0, 5, 0, 1, 0}, {MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 5)))},
         {{26, 0, std::string("\x01\x00\x05\x00\x01\x00", 6)}, {26, 3, "parser error"}}, 1},
        {"hook success without answer", true, 0, {},
         {MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 40)))}, {}, 1},
        {"length field beyond the body", true, 0, {},
         {MakeFrame(kKey, 20, {}, CallBody(9, 200, Call(1, 5)))}, {}, 0},
        {"checksum mismatch: code 11, no hook", true, 0, {},
         {Broken(MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 5)))),
          Broken(MakeFrame(kKey, 18, {}, PlugBody(2, 2, Text("{}"))))},
         {{26, 11, ""}, {25, 11, ""}}, 0},
        {"plug-in data: the hook's result", true, 0, {},
         {MakeFrame(kKey, 18, {0x01}, PlugBody(9, 7, Text("{\"a\":1}")))},
         {{25, 4, "{\"result\":4}"}}, 1},
        {"plug-in data without hook", false, 0, {},
         {MakeFrame(kKey, 18, {}, PlugBody(77, 2, Text("{}")))}, {{25, 0xFFFF, "{\"result\":-1}"}}, 0},
        {"type 25: no reply, no checksum test, at most 1018 bytes", true, 0, {},
         {MakeFrame(kKey, 25, {}, PlugBody(9, 1019, Bytes(1019, 'x'))), Broken(type25)}, {}, 1},
        {"type 26 from the platform is only logged", false, 0, {},
         {MakeFrame(kKey, 26, {0, 0}, CallBody(3, 2, Text("ok")))}, {}, 0},
        {"padding longer than the body", true, 0, {}, {overPadded}, {}, 0},
        {"other types are ignored", true, 0, {}, otherTypes, {}, 0},
    };
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        SetFunctionCallHandler(r.hooks ? RecordingFunctionCall : nullptr);
        SetPlugDataHandler(r.hooks ? RecordingPlugData : nullptr);
        SetAnswer(r.result, r.answer);
        gHookCalls = 0;
        for (const Bytes& f : r.frames)
            Deliver(f);
        for (const Want& w : r.replies) {
            Reply got = Next();
            EXPECT_EQ(w.type, got.type);
            EXPECT_EQ(w.code, got.code);
            if (w.data.empty()) {
                EXPECT_TRUE(got.body.empty());
            } else {
                EXPECT_EQ(w.data, DataOf(got, w.type == 26 ? 11 : 5));
            }
            if (w.type == 26 && got.body.size() >= 9) {  // the call's DataType and the MAC
                EXPECT_EQ(Bytes({9, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55}),
                          Bytes(got.body.begin() + 2, got.body.begin() + 9));
            }
        }
        ExpectNoReplyBeforeSentinel();
        EXPECT_EQ(r.hookCalls, gHookCalls.load());
        std::lock_guard<std::mutex> g(gSeenMu);
        if (!r.req.empty()) {
            EXPECT_EQ(r.req, gSeenReq);
        }
    }
    std::lock_guard<std::mutex> g(gSeenMu);
    EXPECT_EQ(9, gSeenType);
    EXPECT_EQ(std::string(1018, 'y'), gSeenText);
    EXPECT_TRUE(log.Contains("length field 200 exceeds the 10 received body bytes"));
    EXPECT_TRUE(log.Contains("MsgType 20: padding of 32 bytes exceeds the 16-byte body"));
}

TEST_F(Dispatch, CiphertextStartingFFFFEndsTheSession) {
    Bytes f = {0xCC, 0xDD, 0x14, 0x00, 0x00, 0x10, 0x00, 0xFF, 0xFF};
    f.resize(7 + 16, 0);
    Deliver(f);
    ASSERT_TRUE(WaitUntil([] { return SessionEnded() == 1; }));
    EXPECT_TRUE(log.Contains("net error reconnect"));
}

TEST_F(Dispatch, RegisterThenLoginAnswerThenIgnored) {
    LogIn(false);
    Bytes reg(72, 0);
    memset(&reg[2], 0x5C, 32);
    reg[34] = 10;
    reg[35] = 1;
    reg[36] = 2;
    reg[37] = 3;
    reg[38] = 0x39;  // port 0x1739 = 5945
    reg[39] = 0x17;
    memset(&reg[40], 0x7E, 32);
    Deliver(MakeFrame(kKey, 11, {0, 0}, reg));
    ASSERT_TRUE(WaitUntil([] { return PlatformSession().Registered(); }));
    LoginTarget t = PlatformSession().Target();
    EXPECT_STREQ("10.1.2.3", t.server);
    EXPECT_EQ(5945, t.port);
    EXPECT_EQ(Bytes(32, 0x5C), Bytes(t.token, t.token + 32));
    EXPECT_TRUE(log.Contains("regist ack======ip:10,1,2,3,port:5945"));
    EXPECT_TRUE(WaitUntil([this] { return Status() == "002\n"; }));

    Deliver(MakeFrame(kKey, 11, {}, {0, 0, 5, 0}));
    ASSERT_TRUE(WaitUntil([] { return mLogin.load() == 1; }));
    EXPECT_EQ(20, PlatformSession().HeartInterval());  // 5 is raised to 20
    EXPECT_TRUE(log.Contains("login ack heartbeep interval 20"));
    EXPECT_EQ("003\n", Status());

    Deliver(MakeFrame(kKey, 11, {}, {0, 0, 60, 0}));
    ExpectNoReplyBeforeSentinel();
    EXPECT_EQ(20, PlatformSession().HeartInterval());
    EXPECT_STREQ("10.1.2.3", PlatformSession().Target().server);
}

TEST_F(Dispatch, AnswersWithoutDataBlock) {
    LogIn(false);
    Deliver({0xCC, 0xDD, 0x0B, 0x02, 0x05, 0x00, 0x00, 0x05, 0x00});
    ASSERT_TRUE(WaitUntil([this] { return log.Contains("regist ack error"); }));
    EXPECT_TRUE(log.Contains("optlen 2, error code = [5]"));
    EXPECT_FALSE(PlatformSession().Registered());
    PlatformSession().RegisterAnswer(LoginTarget());
    Deliver({0xCC, 0xDD, 0x0B, 0x00, 0x00, 0x00, 0x00});
    ASSERT_TRUE(WaitUntil([] { return SessionEnded() == 1; }));
    EXPECT_TRUE(log.Contains("register ack error"));
}

TEST_F(Dispatch, ShortDecryptedBodiesAreDroppedWithALogLine) {
    LogIn(false);
    Deliver(MakeFrame(kKey, 11, {}, Bytes(20, 1)));  // register answer needs 72 bytes
    ASSERT_TRUE(WaitUntil([this] { return log.Contains("MsgType 11: decrypted"); }));
    LogIn(true);
    Bytes tiny = {0xCC, 0xDD, 0x14, 0x00, 0x00, 0x05, 0x00, 1, 2, 3, 4, 5};  // no whole block
    Deliver(tiny);
    ExpectNoReplyBeforeSentinel();
    EXPECT_FALSE(PlatformSession().Registered());
    EXPECT_TRUE(log.Contains("MsgType 11: decrypted body of 32 bytes is shorter than 72"));
    EXPECT_TRUE(log.Contains("MsgType 20: decrypted body of 0 bytes is shorter than 11"));
}

// The process is not ended here: the session reports the fatal end to the supervision loop, and
// no later frame is handled.
TEST_F(Dispatch, ForcedDisconnectWritesStatus5AndEndsTheSessionForGood) {
    SetFunctionCallHandler(RecordingFunctionCall);
    Deliver({0xCC, 0xDD, 0x03, 0x00, 0x00, 0x00, 0x00});
    ASSERT_TRUE(WaitUntil([] { return SessionEnded() == kPlugFatal; }));
    EXPECT_EQ("005\n", Status());
    EXPECT_TRUE(log.Contains("force disconnect exit !!!!!"));
    EXPECT_TRUE(WaitUntil([this] { return log.Contains("exit at [CBHandle] "); }));
    EXPECT_EQ(0, mLogin.load());
    Deliver(MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 5))));
    peer.CloseConn();  // a lost link after it changes nothing either
    ASSERT_TRUE(WaitUntil([this] { return log.Contains("Close link."); }));
    EXPECT_EQ(0, gHookCalls.load());
    EXPECT_EQ("005\n", Status());
    EXPECT_EQ(kPlugFatal, SessionEnded());
}

}  // namespace

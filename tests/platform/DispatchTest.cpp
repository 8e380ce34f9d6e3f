// Every reply rule of the frame handler, end to end: the peer sends a frame, the response
// thread handles it, the peer reads the replies.
#include <gtest/gtest.h>

#include <condition_variable>
#include <functional>
#include <mutex>
#include <string>

#include "LinkFixture.h"
#include "SimMessages.h"
#include "core/ByteOrder.h"
#include "core/Plug.h"
#include "platform/Crypto.h"

namespace {

using namespace testplatform;
using testsupport::WaitUntil;

// What the installed hooks saw, and what the function-call hook answers; under gSeenMu, since
// the hooks run on the response thread.
struct Seen {
    Bytes req;
    std::string text;
    int type = -1;
    int fnResult = 0;
    Bytes fnAnswer;
    int calls = 0;
};
std::mutex gSeenMu;
Seen gSeen;

int RecordingFunctionCall(const uint8_t* req, size_t reqLen, uint8_t* ans, size_t* ansLen) {
    std::lock_guard<std::mutex> g(gSeenMu);
    gSeen.req.assign(req, req + reqLen);
    if (!gSeen.fnAnswer.empty()) memcpy(ans, gSeen.fnAnswer.data(), gSeen.fnAnswer.size());
    *ansLen = gSeen.fnAnswer.size();
    ++gSeen.calls;
    return gSeen.fnResult;
}

int RecordingPlugData(uint8_t dataType, const char* data, size_t len) {
    std::lock_guard<std::mutex> g(gSeenMu);
    gSeen.type = dataType;
    gSeen.text.assign(data, len);
    EXPECT_EQ('\0', data[len]);
    ++gSeen.calls;
    return 4;
}

Bytes Call(uint16_t tag, uint16_t id, const Bytes& params = {}) {
    return psim::FunctionCallPayload(tag, id, params);
}

Bytes Fn(const Bytes& payload) {  // a function call, DataType 9
    return MakeFrame(kKey, 20, {}, psim::FunctionCallBody(9, kMac, payload));
}

Bytes Plug(uint8_t dataType, const std::string& text, const Bytes& opt = {}) {
    return MakeFrame(kKey, 18, opt, psim::PlugDataBody(dataType, text));
}

// Timed waits that never end on their own: a frame is handled only if queueing it wakes the
// response thread.
struct NoTimeoutClock : ScaledClock {
    NoTimeoutClock() : ScaledClock(kTimeScale) {}
    bool WaitFor(std::condition_variable& cv, std::unique_lock<std::mutex>& lock, int64_t,
                 const std::function<bool()>& pred) override {
        cv.wait(lock, pred);
        return true;
    }
};

class Dispatch : public LinkFixture {
protected:
    void SetUp() override {
        LinkFixture::SetUp();
        static NoTimeoutClock untimed;  // outlives the threads that wait on it
        SetClock(&untimed);
        Connect();
        std::lock_guard<std::mutex> g(gSeenMu);
        gSeen = Seen();
    }

    // The next reply: its type, result code, and the data after the MAC (26) or the DataType
    // (25), the whole body when `data` is empty. A function answer carries the call's DataType
    // and the MAC.
    void ExpectReply(int type, int code, const std::string& data) {
        DecodedFrame f;
        ASSERT_TRUE(peer.Read(kKey, &f));
        EXPECT_EQ(type, f.header.msgType);
        ASSERT_EQ(2u, f.opt.size());
        EXPECT_EQ(code, GetLe16(f.opt.data()));
        const size_t off = data.empty() ? 0 : type == 26 ? 11 : 5;
        ASSERT_LE(off, f.body.size());
        EXPECT_EQ(data, std::string(f.body.begin() + static_cast<long>(off), f.body.end()));
        if (type == 26 && off) {
            EXPECT_EQ(Bytes({9, 0x00, 0x11, 0x22, 0x33, 0x44, 0x55}),
                      Bytes(f.body.begin() + 2, f.body.begin() + 9));
        }
    }
    // Sends a sentinel the agent always answers (checksum-broken plug-in data, DataType 0xEE)
    // and checks it is the next reply: nothing was sent in between.
    void ExpectNoReplyBeforeSentinel() {
        ASSERT_TRUE(peer.Send(Broken(Plug(0xEE, ""))));
        ExpectReply(25, 11, "");
    }
    void Deliver(const Bytes& f) { ASSERT_TRUE(peer.Send(f)); }
};

std::string HexText(const char* hex) {
    Bytes b = testsupport::Hex(hex);
    return std::string(b.begin(), b.end());
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
    const Want parserError = {26, 0xFFFF, "parser error"};
    const std::string ab = HexText("01 00 05 00 00 00 AB");
    Bytes trailing = psim::FunctionCallBody(9, kMac, Call(1, 5, {0, 0}));
    trailing.insert(trailing.end(), {0xEE, 0xEE});  // bytes beyond the length field
    Bytes lying = psim::FunctionCallBody(9, kMac, Call(1, 5));
    lying[9] = 200;  // the length field, beyond the 10 bytes that follow
    Bytes type25 = MakeFrame(kKey, 25, {}, psim::PlugDataBody(9, std::string(1018, 'y')));
    // One block whose last plain byte says 0x20: 32 pad bytes in a 16-byte body.
    Bytes padded = psim::FunctionCallBody(9, kMac, {1, 2, 3, 4});
    padded.resize(16, 0x20);
    uint8_t cipher[32];
    size_t n = 0;
    ASSERT_EQ(0, aes_encrypt(gKeyText, padded.data(), cipher, padded.size(), &n));
    Bytes overPadded = testsupport::Hex("CC DD 14 00 00 10 00");
    overPadded.insert(overPadded.end(), cipher, cipher + 16);  // the first block only
    std::vector<Bytes> otherTypes;
    for (uint8_t t : {0, 1, 4, 9, 10, 17, 19, 21, 27, 31})
        otherTypes.push_back(MakeFrame(kKey, t, {1}, psim::FunctionCallBody(1, kMac, Call(1, 5))));
    // clang-format off
    const Row rows[] = {
        {"length 9", false, 0, {}, {Fn(Bytes(9, 1))}, {{26, 0, "length error"}}, 0},
        {"no hook: IDs 0, 32767 and 65535 get parser error, 32766 unknown function first", false,
         0, {}, {Fn(Call(1, 0)), Fn(Call(1, 32767)), Fn(Call(1, 0xFFFF)), Fn(Call(0xBEEF, 32766))},
         {parserError, parserError, parserError, {26, 0, HexText("EF BE FE 7F 07 00")},
          parserError}, 0},
        {"hook answer goes back", true, 0, Bytes(ab.begin(), ab.end()),
         {MakeFrame(kKey, 20, {}, trailing)}, {{26, 0, ab}}, 1, Call(1, 5, {0, 0})},
        {"hook failure: answer, then parser error with the result's low 16 bits", true, 0x10003,
         testsupport::Hex("01 00 05 00 01 00"), {Fn(Call(1, 5))},
         {{26, 0, HexText("01 00 05 00 01 00")}, {26, 3, "parser error"}}, 1},
        {"hook success without answer", true, 0, {}, {Fn(Call(1, 40))}, {}, 1},
        {"length field beyond the body", true, 0, {}, {MakeFrame(kKey, 20, {}, lying)}, {}, 0},
        {"checksum mismatch: code 11, no hook", true, 0, {},
         {Broken(Fn(Call(1, 5))), Broken(Plug(2, "{}"))}, {{26, 11, ""}, {25, 11, ""}}, 0},
        {"plug-in data: the hook's result", true, 0, {},
         {Plug(9, "{\"a\":1}", {0x01})}, {{25, 4, "{\"result\":4}"}}, 1},
        {"plug-in data without hook", false, 0, {},
         {Plug(77, "{}")}, {{25, 0xFFFF, "{\"result\":-1}"}}, 0},
        {"type 25: no reply, no checksum test, at most 1018 bytes", true, 0, {},
         {MakeFrame(kKey, 25, {}, psim::PlugDataBody(9, std::string(1019, 'x'))), Broken(type25)},
         {}, 1},
        {"type 26 from the platform is only logged", false, 0, {},
         {MakeFrame(kKey, 26, {0, 0}, psim::FunctionCallBody(3, kMac, {'o', 'k'}))}, {}, 0},
        {"padding longer than the body", true, 0, {}, {overPadded}, {}, 0},
        {"other types are ignored", true, 0, {}, otherTypes, {}, 0},
    };
    // clang-format on
    for (const Row& r : rows) {
        SCOPED_TRACE(r.name);
        SetFunctionCallHandler(r.hooks ? RecordingFunctionCall : nullptr);
        SetPlugDataHandler(r.hooks ? RecordingPlugData : nullptr);
        {
            std::lock_guard<std::mutex> g(gSeenMu);
            gSeen.fnResult = r.result;
            gSeen.fnAnswer = r.answer;
            gSeen.calls = 0;
        }
        Bytes all;  // one write: every frame is cut out and handled, in order
        for (const Bytes& f : r.frames)
            all.insert(all.end(), f.begin(), f.end());
        Deliver(all);
        for (const Want& w : r.replies)
            ExpectReply(w.type, w.code, w.data);
        ExpectNoReplyBeforeSentinel();
        std::lock_guard<std::mutex> g(gSeenMu);
        EXPECT_EQ(r.hookCalls, gSeen.calls);
        if (!r.req.empty()) {
            EXPECT_EQ(r.req, gSeen.req);
        }
    }
    std::lock_guard<std::mutex> g(gSeenMu);
    EXPECT_EQ(9, gSeen.type);
    EXPECT_EQ(std::string(1018, 'y'), gSeen.text);
    EXPECT_TRUE(log.Contains("length field 200 exceeds the 10 received body bytes"));
    EXPECT_TRUE(log.Contains("MsgType 20: padding of 32 bytes exceeds the 16-byte body"));
}

TEST_F(Dispatch, RegisterThenLoginAnswerThenIgnored) {
    LogIn(false);
    Bytes reg = {0, 0};
    reg.resize(34, 0x5C);                                    // the token
    for (uint8_t b : testsupport::Hex("0A 01 02 03 39 17"))  // 10.1.2.3, port 0x1739 = 5945
        reg.push_back(b);
    reg.resize(72, 0x7E);
    Deliver(MakeFrame(kKey, 11, {0, 0}, reg));
    ASSERT_TRUE(WaitUntil([] { return PlatformSession().Registered(); }));
    LoginTarget t = PlatformSession().Target();
    EXPECT_STREQ("10.1.2.3", t.server);
    EXPECT_EQ(5945, t.port);
    EXPECT_EQ(Bytes(32, 0x5C), Bytes(t.token, t.token + 32));
    EXPECT_TRUE(WaitUntil([this] { return Status() == "002\n"; }));

    Deliver(MakeFrame(kKey, 11, {}, {0, 0, 5, 0}));
    ASSERT_TRUE(WaitUntil([] { return mLogin.load() == 1; }));
    EXPECT_EQ(20, PlatformSession().HeartInterval());  // 5 is raised to 20
    EXPECT_EQ("003\n", Status());

    Deliver(MakeFrame(kKey, 11, {}, {0, 0, 60, 0}));
    ExpectNoReplyBeforeSentinel();
    EXPECT_EQ(20, PlatformSession().HeartInterval());
}

// Answers without a data block or too short for their layout, and a function call without a
// whole block: logged and dropped, except a login answer without data, which ends the attempt.
// Then a ciphertext starting FF FF (its first 16 bits read as -1) ends the session too.
TEST_F(Dispatch, ShortOrMissingDataBlocksAndCiphertextStartingFFFF) {
    Deliver(testsupport::Hex("CC DD 14 00 00 05 00 01 02 03 04 05"));
    ExpectNoReplyBeforeSentinel();
    EXPECT_TRUE(log.Contains("MsgType 20: decrypted body of 0 bytes is shorter than 11"));
    LogIn(false);
    Deliver(testsupport::Hex("CC DD 0B 02 05 00 00 05 00"));
    Deliver(MakeFrame(kKey, 11, {}, Bytes(20, 1)));  // a register answer needs 72 bytes
    ASSERT_TRUE(WaitUntil([this] { return log.Contains("body of 32 bytes is shorter than 72"); }));
    EXPECT_TRUE(log.Contains("regist ack error"));
    EXPECT_TRUE(log.Contains("optlen 2, error code = [5]"));
    EXPECT_FALSE(PlatformSession().Registered());
    PlatformSession().RegisterAnswer(LoginTarget());
    Deliver(testsupport::Hex("CC DD 0B 00 00 00 00"));
    ASSERT_TRUE(WaitUntil([] { return SessionEnded() == 1; }));
    EXPECT_TRUE(log.Contains("register ack error"));
    LogIn(false);
    Deliver(testsupport::Hex("CC DD 14 00 00 10 00 FF FF" + std::string(28, '0')));
    ASSERT_TRUE(WaitUntil([] { return SessionEnded() == 1; }));
    EXPECT_TRUE(log.Contains("net error reconnect"));
}

// The process is not ended here: the session reports the fatal end to the supervision loop, and
// no later frame is handled.
TEST_F(Dispatch, ForcedDisconnectWritesStatus5AndEndsTheSessionForGood) {
    SetFunctionCallHandler(RecordingFunctionCall);
    Deliver(testsupport::Hex("CC DD 03 00 00 00 00"));
    ASSERT_TRUE(WaitUntil([] { return SessionEnded() == kPlugFatal; }));
    EXPECT_TRUE(log.Contains("force disconnect exit !!!!!"));
    EXPECT_EQ(0, mLogin.load());
    Deliver(Fn(Call(1, 5)));
    peer.CloseConn();  // a lost link after it changes nothing either
    ASSERT_TRUE(WaitUntil([this] { return log.Contains("Close link."); }));
    std::lock_guard<std::mutex> g(gSeenMu);
    EXPECT_EQ(0, gSeen.calls);
    EXPECT_EQ("005\n", Status());
    EXPECT_EQ(kPlugFatal, SessionEnded());
}

}  // namespace

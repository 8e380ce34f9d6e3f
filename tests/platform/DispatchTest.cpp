// Every reply rule of the frame handler, end to end: the peer sends a frame, the response
// thread handles it, the peer reads the replies.
#include <gtest/gtest.h>

#include <atomic>
#include <mutex>
#include <random>
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
        bool checksumOk = false;
    };
    Reply Next() {
        DecodedFrame f;
        Reply r;
        if (!peer.Read(kKey, &f)) return r;
        r.type = f.header.msgType;
        r.code = f.opt.size() == 2 ? GetLe16(f.opt.data()) : -1;
        r.body = f.body;
        r.checksumOk = f.checksumOk;
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

TEST_F(Dispatch, FunctionCallWithLengthNineGetsLengthError) {
    Deliver(MakeFrame(kKey, 20, {}, CallBody(9, 9, Bytes(9, 1))));
    Reply r = Next();
    EXPECT_EQ(26, r.type);
    EXPECT_EQ(0, r.code);
    EXPECT_EQ("length error", DataOf(r, 11));
    EXPECT_EQ(9, r.body[2]);
    EXPECT_EQ(Bytes(kMac, kMac + 6), Bytes(r.body.begin() + 3, r.body.begin() + 9));
    EXPECT_TRUE(log.Contains("Recv MsgType=[20] DataType=[9] DataLen=[9]"));
}

// A function call (type 20) or plug-in data (18) with a wrong checksum: reply 26 or 25 with
// code 11 and no data, and no hook runs.
TEST_F(Dispatch, ChecksumMismatchGetsCode11AndNoHookCall) {
    SetFunctionCallHandler(RecordingFunctionCall);
    SetPlugDataHandler(RecordingPlugData);
    struct {
        Bytes frame;
        uint8_t replyType;
    } rows[] = {{MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 5))), 0x1A},
                {MakeFrame(kKey, 18, {}, PlugBody(2, 2, Text("{}"))), 0x19}};
    for (auto& r : rows) {
        r.frame[4] ^= 0x41;
        Deliver(r.frame);
        EXPECT_EQ((Bytes{0xCC, 0xDD, r.replyType, 0x02, 0x0B, 0x00, 0x00, 0x0B, 0x00}),
                  peer.ReadRaw());
    }
    EXPECT_EQ(0, gHookCalls.load());
}

TEST_F(Dispatch, WithoutHookAFunctionCallIsAnsweredAsUnknown) {
    Deliver(MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(0xBEEF, 5))));
    Reply a = Next();
    EXPECT_EQ(26, a.type);
    EXPECT_EQ(0, a.code);
    std::string want = {'\xEF', '\xBE', 5, 0, 7, 0};
    EXPECT_EQ(want, DataOf(a, 11));
    Reply b = Next();
    EXPECT_EQ(0xFFFF, b.code);  // the dispatcher's -1, low 16 bits
    EXPECT_EQ("parser error", DataOf(b, 11));
}

TEST_F(Dispatch, WithoutHookIdZeroAndHighIdsGetOnlyParserError) {
    for (uint16_t id : {uint16_t{0}, uint16_t{32767}, uint16_t{0xFFFF}}) {
        Deliver(MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, id))));
        Reply r = Next();
        EXPECT_EQ(0xFFFF, r.code) << id;
        EXPECT_EQ("parser error", DataOf(r, 11)) << id;
    }
    Deliver(MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 32766))));
    EXPECT_EQ(7, GetLe16(reinterpret_cast<const uint8_t*>(DataOf(Next(), 11).data()) + 4));
    EXPECT_EQ("parser error", DataOf(Next(), 11));
}

TEST_F(Dispatch, HookGetsExactlyTheLengthFieldAndItsAnswerGoesBack) {
    SetFunctionCallHandler(RecordingFunctionCall);
    SetAnswer(0, {1, 0, 5, 0, 0, 0, 0xAB});
    Bytes call = Call(1, 5, 8);  // 12 bytes
    Bytes body = CallBody(9, 12, call);
    body.insert(body.end(), {0xEE, 0xEE});  // trailing bytes beyond the length field
    Deliver(MakeFrame(kKey, 20, {}, body));
    Reply r = Next();
    EXPECT_EQ(0, r.code);
    EXPECT_EQ(std::string("\x01\x00\x05\x00\x00\x00\xAB", 7), DataOf(r, 11));
    std::lock_guard<std::mutex> g(gSeenMu);
    EXPECT_EQ(call, gSeenReq);
}

TEST_F(Dispatch, HookFailureSendsAnswerThenParserErrorWithItsCode) {
    SetFunctionCallHandler(RecordingFunctionCall);
    SetAnswer(0x10003, {1, 0, 5, 0, 1, 0});  // result's low 16 bits: 3
    Deliver(MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 5))));
    Reply a = Next();
    EXPECT_EQ(0, a.code);
    EXPECT_EQ(6u, DataOf(a, 11).size());
    Reply b = Next();
    EXPECT_EQ(3, b.code);
    EXPECT_EQ("parser error", DataOf(b, 11));
}

TEST_F(Dispatch, HookSuccessWithoutAnswerSendsNothing) {
    SetFunctionCallHandler(RecordingFunctionCall);
    Deliver(MakeFrame(kKey, 20, {}, CallBody(9, 10, Call(1, 40))));
    ExpectNoReplyBeforeSentinel();
    EXPECT_EQ(1, gHookCalls.load());
}

TEST_F(Dispatch, LengthFieldBeyondTheBodyIsDropped) {
    SetFunctionCallHandler(RecordingFunctionCall);
    Deliver(MakeFrame(kKey, 20, {}, CallBody(9, 200, Call(1, 5))));
    ExpectNoReplyBeforeSentinel();
    EXPECT_EQ(0, gHookCalls.load());
    EXPECT_TRUE(log.Contains("length field 200 exceeds the 10 received body bytes"));
}

TEST_F(Dispatch, PlugDataGoesToTheHookAndItsResultIsTheReply) {
    SetPlugDataHandler(RecordingPlugData);
    Deliver(MakeFrame(kKey, 18, {0x01}, PlugBody(9, 7, Text("{\"a\":1}"))));
    Reply r = Next();
    EXPECT_EQ(25, r.type);
    EXPECT_EQ(4, r.code);
    EXPECT_EQ("{\"result\":4}", DataOf(r, 5));
    EXPECT_EQ(9, r.body[2]);
    std::lock_guard<std::mutex> g(gSeenMu);
    EXPECT_EQ(9, gSeenType);
    EXPECT_EQ("{\"a\":1}", gSeenText);
}

TEST_F(Dispatch, WithoutHookPlugDataIsAnsweredAsNotDone) {
    Deliver(MakeFrame(kKey, 18, {}, PlugBody(77, 2, Text("{}"))));
    Reply r = Next();
    EXPECT_EQ(0xFFFF, r.code);
    EXPECT_EQ("{\"result\":-1}", DataOf(r, 5));
}

TEST_F(Dispatch, PlugDataWithoutChecksumTestHasNoReplyAndALengthLimit) {
    SetPlugDataHandler(RecordingPlugData);
    Bytes big(1019, 'x');
    Deliver(MakeFrame(kKey, 25, {}, PlugBody(9, 1019, big)));
    Bytes f = MakeFrame(kKey, 25, {}, PlugBody(9, 1018, Bytes(1018, 'y')));
    f[4] ^= 0xFF;  // the checksum is not tested for type 25
    Deliver(f);
    ExpectNoReplyBeforeSentinel();
    EXPECT_EQ(1, gHookCalls.load());
    std::lock_guard<std::mutex> g(gSeenMu);
    EXPECT_EQ(std::string(1018, 'y'), gSeenText);
}

TEST_F(Dispatch, ReplyWithMacIsOnlyLogged) {
    Deliver(MakeFrame(kKey, 26, {0, 0}, CallBody(3, 2, Text("ok"))));
    ExpectNoReplyBeforeSentinel();
    EXPECT_TRUE(log.Contains("Recv MsgType=[26] DataType=[3] DataLen=[2]"));
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
    EXPECT_TRUE(log.Contains("regist ok tocken ,port 5945"));
    EXPECT_TRUE(log.Contains("optlen 2, error code = [0]"));
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

TEST_F(Dispatch, LoginAnswerKeepsAnIntervalAbove19) {
    LogIn(false);
    PlatformSession().RegisterAnswer(LoginTarget());
    Deliver(MakeFrame(kKey, 11, {}, {0, 0, 60, 0}));
    ASSERT_TRUE(WaitUntil([] { return mLogin.load() == 1; }));
    EXPECT_EQ(60, PlatformSession().HeartInterval());
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

TEST_F(Dispatch, PaddingClaimingMoreThanTheBodyIsDropped) {
    SetFunctionCallHandler(RecordingFunctionCall);
    // One block whose last plain byte says 0x20 (32 pad bytes in a 16-byte body).
    Bytes plain = CallBody(9, 4, {1, 2, 3, 4});
    plain.resize(16, 0x20);
    uint8_t cipher[32];
    size_t n = 0;
    ASSERT_EQ(0, aes_encrypt(gKeyText, plain.data(), cipher, plain.size(), &n));
    Bytes f = {0xCC, 0xDD, 0x14, 0x00, 0x00, 0x10, 0x00};
    f.insert(f.end(), cipher, cipher + 16);  // the first block only
    Deliver(f);
    ExpectNoReplyBeforeSentinel();
    EXPECT_EQ(0, gHookCalls.load());
    EXPECT_TRUE(log.Contains("MsgType 20: padding of 32 bytes exceeds the 16-byte body"));
}

TEST_F(Dispatch, OtherTypesAreIgnored) {
    for (uint8_t t : {0, 1, 4, 9, 10, 17, 19, 21, 27, 31}) {
        Bytes f = MakeFrame(kKey, t, {1}, CallBody(1, 10, Call(1, 5)));
        Deliver(f);
    }
    ExpectNoReplyBeforeSentinel();
    EXPECT_EQ(0, log.Count("Recv MsgType=[") - 1);  // only the sentinel
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

// A megabyte of random bytes through the queue and the handler, then a megabyte of frames
// with valid magic and random headers and blocks: nothing crashes or reads past its buffers
// (the sanitizer builds watch), and the agent keeps answering.
TEST_F(Dispatch, RandomBytesAndRandomFramesAreSurvived) {
    DeleteServer();  // drive queue and handler from this thread
    LogIn(true);
    SetFunctionCallHandler(RecordingFunctionCall);
    SetPlugDataHandler(RecordingPlugData);
    std::mt19937 rng(12345);
    RecvQueue q;
    std::unique_ptr<QueuedFrame> frame(new QueuedFrame);
    int16_t first16 = 0;
    size_t handled = 0;
    auto drain = [&] {
        int r;
        while ((r = q.pop(frame.get(), &first16)) != -1) {
            if (r != 0 || frame->header.msgType == 3) continue;  // 3 ends the session for good
            CBHandle(frame->header, frame->opt, frame->data, first16);
            ++handled;
        }
    };
    Bytes chunk(1500);
    for (int i = 0; i < 700; ++i) {
        for (auto& b : chunk)
            b = static_cast<uint8_t>(rng());
        if (q.push(chunk.data(), chunk.size()) != 0) q.Reset();  // stuck behind a huge frame
        drain();
    }
    q.Reset();
    for (int i = 0; i < 3000; ++i) {
        uint8_t type = static_cast<uint8_t>(rng() % 32);
        Bytes plain(rng() % 100);
        for (auto& b : plain)
            b = static_cast<uint8_t>(rng());
        Bytes opt(rng() % 4);
        Bytes f = MakeFrame(kKey, type, opt, plain);
        if (rng() % 2) f[4] = static_cast<uint8_t>(rng());
        if (q.push(f.data(), f.size()) != 0) q.Reset();
        drain();
    }
    EXPECT_GT(handled, 2500u);
    PlatformSession().Reset();
    Connect();
    ExpectNoReplyBeforeSentinel();
}

}  // namespace

// The simulator's own pieces: frame bytes, answer bodies, stream cutting, settings, commands.
// Expected bytes are written out by hand from the frame layout.
#include <gtest/gtest.h>

#include <random>

#include "SimCommand.h"
#include "SimDescribe.h"
#include "SimFrame.h"
#include "SimMessages.h"
#include "SimSettings.h"

namespace psim {
namespace {

TEST(SimFrame, HeartbeatAnswerBytes) {
    // Type 2, option block = time 0x01020304, checksum = 4 + 3 + 2 + 1.
    EXPECT_EQ(BuildRawFrame(2, 0, {0x04, 0x03, 0x02, 0x01}, {}, 0x0A),
              (Bytes{0xCC, 0xDD, 0x02, 0x04, 0x0A, 0x00, 0x00, 0x04, 0x03, 0x02, 0x01}));
}

TEST(SimFrame, EmptyReplyWithCode11) {
    EXPECT_EQ(BuildFrame("k", 25, 0, ErrorCodeOpt(11), {}),
              (Bytes{0xCC, 0xDD, 0x19, 0x02, 0x0B, 0x00, 0x00, 0x0B, 0x00}));
}

TEST(SimFrame, EncryptedFrameHeaderAndRoundTrip) {
    Bytes body = {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 16};
    Bytes f = BuildFrame("abc", 20, 0, {}, body);
    ASSERT_EQ(f.size(), 7u + 32u);  // 16 bytes gain a whole pad block
    EXPECT_EQ(f[2], 0x14);
    EXPECT_EQ(f[3], 0);
    EXPECT_EQ(f[5], 32);
    EXPECT_EQ(f[6], 0);
    // checksum: DataLen bytes 0x20 + 0x00, plus 1 + ... + 16 = 136; 0x20 + 136 = 168.
    EXPECT_EQ(f[4], 168);
    FrameCutter cut;
    cut.Append(f.data(), f.size());
    RawFrame raw;
    ASSERT_TRUE(cut.Next(&raw));
    DecodedFrame d = DecodeFrame("abc", raw);
    EXPECT_TRUE(d.decrypted);
    EXPECT_TRUE(d.paddingOk);
    EXPECT_TRUE(d.checksumOk);
    EXPECT_EQ(d.plain, body);
    EXPECT_FALSE(DecodeFrame("abd", raw).checksumOk);
}

TEST(SimFrame, CutterSkipsJunkAndWaitsForWholeFrames) {
    Bytes frame = BuildRawFrame(2, 0, {9}, {}, 9);
    Bytes stream = {0x01, 0x02, 0xCC};
    FrameCutter cut;
    RawFrame raw;
    cut.Append(stream.data(), stream.size());
    EXPECT_FALSE(cut.Next(&raw));
    EXPECT_EQ(cut.TakeSkipped(), 2u);  // the lone 0xCC may start a magic: kept
    EXPECT_EQ(cut.Held(), 1u);
    cut.Append(frame.data() + 1, 3);  // 0xCC of the frame is already held... as junk's last byte
    cut.Append(frame.data() + 4, frame.size() - 5);
    EXPECT_FALSE(cut.Next(&raw));  // one byte short
    cut.Append(&frame.back(), 1);
    ASSERT_TRUE(cut.Next(&raw));
    EXPECT_EQ(raw.MsgType(), 2);
    EXPECT_EQ(raw.opt, Bytes{9});
    EXPECT_EQ(cut.Held(), 0u);
}

TEST(SimMessages, RegisterAnswerLayout) {
    Bytes b = RegisterAnswerBody("TK", "127.0.0.1", 0x1234, "ID");
    ASSERT_EQ(b.size(), 72u);
    Bytes expected(72, 0);
    expected[2] = 'T';
    expected[3] = 'K';
    expected[34] = 0x7F;
    expected[37] = 0x01;
    expected[38] = 0x34;
    expected[39] = 0x12;
    expected[40] = 'I';
    expected[41] = 'D';
    EXPECT_EQ(b, expected);
    EXPECT_TRUE(RegisterAnswerBody("TK", "not-an-ip", 1, "ID").empty());
}

TEST(SimMessages, LoginAnswerAndErrorCode) {
    EXPECT_EQ(LoginAnswerBody(5), (Bytes{0, 0, 5, 0}));
    EXPECT_EQ(LoginAnswerBody(0x0102), (Bytes{0, 0, 2, 1}));
    EXPECT_EQ(ErrorCodeOpt(0xABCD), (Bytes{0xCD, 0xAB}));
}

TEST(SimMessages, FunctionCallLayout) {
    const uint8_t mac[6] = {0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6};
    Bytes payload = FunctionCallPayload(0x0201, 15, {0x01, 0x00, 0x01});
    EXPECT_EQ(payload, (Bytes{0x01, 0x02, 0x0F, 0x00, 0, 0, 0, 0, 0, 0, 0x01, 0x00, 0x01}));
    Bytes body = FunctionCallBody(3, mac, payload);
    Bytes head = {0, 0, 3, 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6, 13, 0};
    ASSERT_EQ(body.size(), 11u + 13u);
    EXPECT_EQ(Bytes(body.begin(), body.begin() + 11), head);
}

TEST(SimMessages, PlugDataLayoutAndLyingLength) {
    EXPECT_EQ(PlugDataBody(7, "ab"), (Bytes{0, 0, 7, 2, 0, 'a', 'b'}));
    EXPECT_EQ(PlugDataBody(7, "ab", 1019), (Bytes{0, 0, 7, 0xFB, 0x03, 'a', 'b'}));
}

TEST(SimMessages, JunkNeverCarriesAForcedDisconnect) {
    std::mt19937 rng(1);
    Bytes j = JunkBytes(1 << 20, rng);
    size_t magics = 0;
    for (size_t i = 0; i + 2 < j.size(); ++i)
        if (j[i] == kMagicLo && j[i + 1] == kMagicHi) {
            ++magics;
            EXPECT_EQ(j[i + 2], 31);
        }
    EXPECT_GT(magics, 0u);  // a megabyte holds some: the sanitising is exercised
}

TEST(SimDescribe, RegisterFrameLine) {
    Bytes opt = {0, 0, 0, 'P', 'I', 'N', '1', '2', '3', '4', '5', '6', '7', '8', '9'};
    Bytes body = {0, 0, 2, 'S', 'N', 0xA1, 0xB2, 0xC3, 0xD4, 0xE5, 0xF6};
    body.resize(body.size() + 32, 0);
    Bytes f = BuildFrame("k", 9, 1, opt, body);
    FrameCutter cut;
    cut.Append(f.data(), f.size());
    RawFrame raw;
    ASSERT_TRUE(cut.Next(&raw));
    EXPECT_EQ(DescribeFrame(DecodeFrame("k", raw)),
              "type=9 flag=1 optlen=15 datalen=48 sum=ok pin=PIN123456789 sn=SN snlen=2 "
              "mac=A1B2C3D4E5F6 bodylen=43 zeros=ok");
}

TEST(SimDescribe, DataAsTextOrHex) {
    const uint8_t text[] = {'a', '"', 'b'};
    const uint8_t bin[] = {0x00, 0xFF};
    EXPECT_EQ(DescribeData(text, 3), "text=\"a\\\"b\"");
    EXPECT_EQ(DescribeData(bin, 2), "hex=00ff");
}

struct SettingCase {
    const char* name;
    const char* value;
    bool ok;
};

TEST(SimSettings, Table) {
    const SettingCase cases[] = {
        {"interval", "5", true},         {"interval", "-1", false},
        {"reg-mode", "silent", true},    {"reg-mode", "maybe", false},
        {"login-mode", "nodata", true},  {"reg-delay-ms", "1500", true},
        {"answer-ip", "10.0.0.1", true}, {"answer-ip", "10.0.0", false},
        {"answer-ip", "", true},         {"heartbeats", "-1", true},
        {"heartbeats", "-2", false},     {"token", "xxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxxx", false},
        {"quick-ack", "1", true},        {"no-such", "1", false},
    };
    for (const auto& c : cases) {
        SimSettings s;
        EXPECT_EQ(ApplySetting(&s, c.name, c.value).empty(), c.ok) << c.name << "=" << c.value;
    }
    SimSettings s;
    ApplySetting(&s, "reg-mode", "close");
    ApplySetting(&s, "login-delay-ms", "250");
    EXPECT_EQ(s.reg.mode, AnswerMode::kClose);
    EXPECT_EQ(s.login.delayMs, 250);
}

TEST(SimCommand, ParsesAndRefuses) {
    SimSettings s;
    PlatformSim sim(s);  // not started: actions are only queued
    bool quit = false;
    auto onQuit = [&] { quit = true; };
    const std::pair<const char*, bool> cases[] = {
        {"call 2", true},
        {"call 15 0100 01", true},
        {"call", false},
        {"call 70000", false},
        {"call 2 0g", false},
        {"fn 45 dns1=8.8.8.8 dns2=8.8.4.4", true},
        {"fn 45 dns1=8.8.8.8", false},
        {"fn", false},
        {"plug 18 7 {\"x\":1}", true},
        {"plug 18 x y", false},
        {"frame 20 0 - 0102", true},
        {"frame 20 0 zz -", false},
        {"raw cc dd", true},
        {"raw", false},
        {"junk 0", false},
        {"heartbeat off", true},
        {"heartbeat 3", true},
        {"heartbeat maybe", false},
        {"set interval 5", true},
        {"set interval x", false},
        {"bogus", false},
        {"", true},
        {"# comment", true},
    };
    for (const auto& c : cases)
        EXPECT_EQ(RunCommand(sim, c.first, onQuit), c.second) << c.first;
    EXPECT_FALSE(quit);
    EXPECT_TRUE(RunCommand(sim, "quit", onQuit));
    EXPECT_TRUE(quit);
    EXPECT_EQ(sim.Count("OK call tag=2"), 1u);  // the second call got the second tag
    EXPECT_EQ(sim.Count("OK call tag=3"), 1u);  // "fn" takes the next one
}

}  // namespace
}  // namespace psim

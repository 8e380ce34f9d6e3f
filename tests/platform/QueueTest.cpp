// Cutting frames out of the receive queue, without a socket.
#include <gtest/gtest.h>

#include <memory>
#include <vector>

#include "TestSupport.h"
#include "platform/TcpQueue.h"

namespace {

using Bytes = std::vector<uint8_t>;

// Hand-made frames: heartbeat answer (type 2, nothing else) and a frame with a 2-byte option
// and a 16-byte data block whose first bytes are 0x34 0x12.
const Bytes kAck = {0xCC, 0xDD, 0x02, 0x00, 0x00, 0x00, 0x00};
Bytes DataFrame(uint8_t first = 0x34, uint8_t second = 0x12) {
    Bytes f = {0xCC, 0xDD, 0x14, 0x02, 0x55, 0x10, 0x00, 0xAA, 0xBB, first, second};
    f.resize(f.size() + 14, 0x77);
    return f;
}

struct QueueTest : ::testing::Test {
    RecvQueue q;
    std::unique_ptr<QueuedFrame> f{new QueuedFrame};
    int16_t first16 = 0;
    int Push(const Bytes& b) { return q.push(b.data(), b.size()); }
    int Pop() { return q.pop(f.get(), &first16); }
};

TEST_F(QueueTest, FrameSplitOverPushesIsTakenOnceItsLastByteArrivedWithItsFirst16) {
    Bytes fr = DataFrame();
    for (size_t i = 0; i + 1 < fr.size(); ++i) {
        ASSERT_EQ(0, q.push(&fr[i], 1));
        EXPECT_EQ(-1, Pop()) << i;
    }
    ASSERT_EQ(0, q.push(&fr.back(), 1));
    ASSERT_EQ(0, Pop());
    EXPECT_EQ(20, f->header.msgType);
    EXPECT_EQ(Bytes({0xAA, 0xBB}), Bytes(f->opt, f->opt + 2));
    EXPECT_EQ(0x1234, first16);
    EXPECT_EQ(0x77, f->data[15]);
    EXPECT_EQ(0u, q.Held());
    // The largest blocks accepted are copied whole.
    const size_t dataLen = limits::kRespDataBufSize;
    Bytes big = {0xCC, 0xDD, 0x14, 0xFF, 0x00, uint8_t(dataLen & 0xFF), uint8_t(dataLen >> 8)};
    big.resize(big.size() + 255, 0x11);
    big.resize(big.size() + dataLen, 0xFF);
    ASSERT_EQ(0, Push(big));
    ASSERT_EQ(0, Pop());
    EXPECT_EQ(0x11, f->opt[254]);
    EXPECT_EQ(0xFF, f->data[dataLen - 1]);
    EXPECT_EQ(-1, first16);
    ASSERT_EQ(0, Push(kAck));  // no data block: first16 is left as it was
    ASSERT_EQ(0, Pop());
    EXPECT_EQ(-1, first16);
}

// Pushes, with the bytes held after each and the frames each lets out. Junk goes as it comes,
// except a last 0xCC or a magic that may start a frame; inputs that once left the queue deaf
// never hide the heartbeat answer that follows them.
TEST_F(QueueTest, PushesHeldBytesAndFrames) {
    struct Step {
        Bytes push;
        size_t held;
        std::vector<int> types;
    };
    const Bytes both = testsupport::Cat(DataFrame(), kAck);
    const Bytes bodyless = {0xCC, 0xDD, 0x14, 0xFF, 0x00, 0xFF, 0xFF};
    const size_t over = limits::kRespDataBufSize + 1;
    Bytes overMagic = {0xCC, 0xDD, 0x14, 0x00, 0x00, uint8_t(over & 0xFF), uint8_t(over >> 8)};
    overMagic.resize(overMagic.size() + over, 0xCC);  // full of magic bytes, to tempt a resync
    const Bytes noMagic(limits::kRecvQueueSize, 0x5A);
    const struct {
        const char* name;
        std::vector<Step> steps;
    } rows[] = {
        // clang-format off
        {"two frames in one push", {{both, 32, {20, 2}}}},
        {"junk, keeping a last magic", {{{0x01, 0xDD, 0xCC, 0x02, 0xCC}, 1, {}}, {kAck, 7, {2}}}},
        {"magic at the end", {{{0x00, 0x00, 0xCC, 0xDD}, 2, {}}, {{2, 0, 0, 0, 0}, 7, {2}}}},
        {"short header", {{{0xCC, 0xDD, 0x02}, 3, {}}, {{0, 0, 0}, 6, {}}, {{0}, 7, {2}}}},
        {"header without body, OptLen 255 DataLen 65535", {{bodyless, 0, {}}, {kAck, 7, {2}}}},
        {"oversized frame with its body", {{overMagic, 1, {}}, {kAck, 7, {2}}}},
        {"a full queue of bytes without magic", {{noMagic, 0, {}}, {kAck, 7, {2}}}},
    };  // clang-format on
    testsupport::LogCapture log;
    for (const auto& r : rows) {
        for (const Step& st : r.steps) {
            ASSERT_EQ(0, Push(st.push)) << r.name;
            EXPECT_EQ(st.held, q.Held()) << r.name;
            std::vector<int> types;
            while (Pop() == 0)
                types.push_back(f->header.msgType);
            EXPECT_EQ(st.types, types) << r.name;
        }
        EXPECT_EQ(0u, q.Held()) << r.name;
    }
    EXPECT_TRUE(log.Contains("datalen 65535 exceeds the 8192-byte data buffer"));
    EXPECT_TRUE(log.Contains("datalen 8193 exceeds the 8192-byte data buffer"));
}

TEST_F(QueueTest, FullQueueDropsTheOldestBytesAndKeepsTheNewFrame) {
    testsupport::LogCapture log;
    // Whole frames nobody pops fill the queue; the next push still gets in.
    while (q.Held() + kAck.size() <= limits::kRecvQueueSize)
        ASSERT_EQ(0, Push(kAck));
    ASSERT_EQ(0, Push(DataFrame(0x01, 0x02)));
    EXPECT_TRUE(log.Contains("receive queue full"));
    EXPECT_LE(q.Held(), limits::kRecvQueueSize);
    int last = 0;
    while (Pop() == 0)
        last = f->header.msgType;
    EXPECT_EQ(20, last);
    EXPECT_EQ(0x0201, first16);
}

}  // namespace

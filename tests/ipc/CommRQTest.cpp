// The companion receive queue: shape limits, push codes, order, wrap-round, clear and destroy.
#include <gtest/gtest.h>

#include <vector>

#include "ipc/CommRQ.h"

namespace {

TEST(CommRQTest, ShapesCodesLimitsOrderAndWrapRound) {
    struct Case { int count, slotSize; } cases[] = {
        {2, 100}, {51, 100}, {10, 0}, {10, 9001}, {50, 9000}, {12, 8536}};
    for (const Case& c : cases) {
        CommRQ q;
        EXPECT_EQ(CommRQInit(&q, c.count, c.slotSize), -1) << c.count << "x" << c.slotSize;
        EXPECT_EQ(q.initialised.load(), 0);
    }
    EXPECT_EQ(CommRQInit(nullptr, 10, 100), -1);
    CommRQ q, fresh;
    EXPECT_EQ(CommRQInit(&q, 12, 8535), 0);  // 102420 bytes exactly
    CommRQDestroy(&q);
    ASSERT_EQ(CommRQInit(&q, 10, 8200), 0);  // a destroyed queue can be set up again
    std::vector<uint8_t> data(8200, 0xAB);
    EXPECT_EQ(CommRQPush(&fresh, data.data(), 1), -1);
    EXPECT_EQ(CommRQPop(&fresh), nullptr);
    EXPECT_EQ(CommRQPop(&q), nullptr);
    EXPECT_EQ(q.readIndex, 0u);  // an empty pop moves nothing
    EXPECT_EQ(CommRQPush(&q, data.data(), 0), -7);
    EXPECT_EQ(CommRQPush(&q, nullptr, 5), -1);
    EXPECT_EQ(CommRQPush(&q, data.data(), 8193), -6);
    const uint8_t a[] = {1, 2, 3};
    ASSERT_EQ(CommRQPush(&q, a, 3), 0);
    EXPECT_EQ(CommRQInit(&q, 5, 100), -1);  // a second init leaves the queue as it was
    EXPECT_EQ(q.count, 10);
    ASSERT_EQ(CommRQPush(&q, data.data(), 8192), 0);
    for (int i = 0; i < 7; ++i)
        ASSERT_EQ(CommRQPush(&q, data.data(), 1), 0) << i;
    EXPECT_EQ(CommRQIsFull(&q), 1);  // nine slots used: the tenth push without a pop is full
    EXPECT_EQ(CommRQPush(&q, data.data(), 1), -2);
    EXPECT_EQ(CommRQPush(&q, data.data(), 8193), -2);  // full is checked before the length
    uint8_t* s = CommRQPop(&q);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(CommRQElementLength(s), 3);
    EXPECT_EQ(CommRQElementData(s)[2], 3);
    s = CommRQPop(&q);
    ASSERT_NE(s, nullptr);
    EXPECT_EQ(CommRQElementLength(s), 8192);
    CommRQClear(&q);
    EXPECT_EQ(CommRQIsEmpty(&q), 1);
    EXPECT_EQ(CommRQPop(&q), nullptr);
    for (int round = 0; round < 25; ++round) {
        uint8_t v = static_cast<uint8_t>(round);
        ASSERT_EQ(CommRQPush(&q, &v, 1), 0);
        s = CommRQPop(&q);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(CommRQElementData(s)[0], v);
    }
    CommRQDestroy(&q);
    EXPECT_EQ(CommRQPush(&q, data.data(), 4), -1);
}

}  // namespace

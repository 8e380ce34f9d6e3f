#include <gtest/gtest.h>

#include <vector>

#include "ipc/CommRQ.h"

namespace {

class CommRQTest : public ::testing::Test {
protected:
    void SetUp() override { ASSERT_EQ(CommRQInit(&q, 10, 8200), 0); }
    void TearDown() override { CommRQDestroy(&q); }
    CommRQ q;
    std::vector<uint8_t> data = std::vector<uint8_t>(8200, 0xAB);
};

TEST(CommRQInitTest, RefusesOutOfRangeShapes) {
    struct Case {
        int count, slotSize;
    } cases[] = {{2, 100}, {51, 100}, {10, 0}, {10, 9001}, {50, 9000}, {12, 8536}};
    for (const Case& c : cases) {
        CommRQ q;
        EXPECT_EQ(CommRQInit(&q, c.count, c.slotSize), -1) << c.count << "x" << c.slotSize;
        EXPECT_EQ(q.initialised.load(), 0);
    }
    EXPECT_EQ(CommRQInit(nullptr, 10, 100), -1);
    CommRQ ok;
    EXPECT_EQ(CommRQInit(&ok, 12, 8535), 0);  // 102420 bytes exactly
    CommRQDestroy(&ok);
}

TEST_F(CommRQTest, SecondInitIsRefusedAndLeavesQueueUntouched) {
    ASSERT_EQ(CommRQPush(&q, data.data(), 3), 0);
    EXPECT_EQ(CommRQInit(&q, 5, 100), -1);
    EXPECT_EQ(q.count, 10);
    uint8_t* slot = CommRQPop(&q);
    ASSERT_NE(slot, nullptr);
    EXPECT_EQ(CommRQElementLength(slot), 3);
}

TEST_F(CommRQTest, TenthPushWithoutPopIsFull) {
    for (int i = 0; i < 9; ++i)
        EXPECT_EQ(CommRQPush(&q, data.data(), 10), 0) << i;
    EXPECT_EQ(CommRQIsFull(&q), 1);
    EXPECT_EQ(CommRQPush(&q, data.data(), 10), -2);
}

TEST_F(CommRQTest, LengthLimitAndFullTakesPrecedence) {
    EXPECT_EQ(CommRQPush(&q, data.data(), 8192), 0);
    EXPECT_EQ(CommRQPush(&q, data.data(), 8193), -6);
    for (int i = 0; i < 8; ++i)
        ASSERT_EQ(CommRQPush(&q, data.data(), 1), 0);
    EXPECT_EQ(CommRQPush(&q, data.data(), 8193), -2);
}

TEST_F(CommRQTest, CodesInOrder) {
    EXPECT_EQ(CommRQPush(&q, data.data(), 0), -7);
    EXPECT_EQ(CommRQPush(&q, nullptr, 5), -1);
    CommRQ fresh;
    EXPECT_EQ(CommRQPush(&fresh, data.data(), 0), -1);
    EXPECT_EQ(CommRQPop(&fresh), nullptr);
}

TEST_F(CommRQTest, PopReturnsSlotsInOrderAndEmptyPopKeepsIndexes) {
    EXPECT_EQ(CommRQPop(&q), nullptr);
    EXPECT_EQ(q.readIndex, 0u);
    EXPECT_EQ(q.writeIndex, 0u);
    const uint8_t a[] = {1, 2, 3}, b[] = {9};
    ASSERT_EQ(CommRQPush(&q, a, 3), 0);
    ASSERT_EQ(CommRQPush(&q, b, 1), 0);
    uint8_t* s1 = CommRQPop(&q);
    ASSERT_NE(s1, nullptr);
    EXPECT_EQ(CommRQElementLength(s1), 3);
    EXPECT_EQ(CommRQElementData(s1)[2], 3);
    uint8_t* s2 = CommRQPop(&q);
    ASSERT_NE(s2, nullptr);
    EXPECT_EQ(CommRQElementLength(s2), 1);
    EXPECT_EQ(CommRQElementData(s2)[0], 9);
    EXPECT_EQ(CommRQPop(&q), nullptr);
}

TEST_F(CommRQTest, WrapsRoundAndClears) {
    for (int round = 0; round < 25; ++round) {
        uint8_t v = static_cast<uint8_t>(round);
        ASSERT_EQ(CommRQPush(&q, &v, 1), 0);
        uint8_t* s = CommRQPop(&q);
        ASSERT_NE(s, nullptr);
        EXPECT_EQ(CommRQElementData(s)[0], v);
    }
    ASSERT_EQ(CommRQPush(&q, data.data(), 4), 0);
    CommRQClear(&q);
    EXPECT_EQ(CommRQIsEmpty(&q), 1);
    EXPECT_EQ(CommRQPop(&q), nullptr);
    CommRQDestroy(&q);
    EXPECT_EQ(CommRQPush(&q, data.data(), 4), -1);
}

}  // namespace

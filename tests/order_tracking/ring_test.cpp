#include "order_tracking/ring.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <string>

namespace Velmora::OrderTracking {
namespace {

TEST(Ring, IndexesWrapIntoARingOfAnySize)
{
    EXPECT_EQ(wrap(0, 7), 0);
    EXPECT_EQ(wrap(6, 7), 6);
    EXPECT_EQ(wrap(7, 7), 0);
    EXPECT_EQ(wrap(-1, 7), 6);
    EXPECT_EQ(wrap(-7, 7), 0);
    EXPECT_EQ(wrap(-8, 7), 6);
    EXPECT_EQ(wrap(75, 7), 5);
    EXPECT_EQ(wrap(-75, 7), 2);
    EXPECT_EQ(wrap(5, 1), 0);
}

// Counters of 64 bits are compared by their low 32, so that it does not matter how far they are.
TEST(Ring, DifferencesHoldAcross32BitBoundaries)
{
    constexpr std::int64_t k31 = std::int64_t{1} << 31U;
    constexpr std::int64_t k32 = std::int64_t{1} << 32U;
    EXPECT_EQ(difference32(5, 3), 2);
    EXPECT_EQ(difference32(3, 5), -2);
    EXPECT_EQ(difference32(k31 + 1, k31 - 1), 2);
    EXPECT_EQ(difference32(k32 + 1, k32 - 1), 2);
    EXPECT_EQ(difference32(k32 - 1, k32 + 1), -2);
    EXPECT_EQ(difference32(5 * k32 + 7, 0), 7);
    EXPECT_EQ(difference32(k31 - 1, 0), std::numeric_limits<std::int32_t>::max());
    EXPECT_EQ(difference32(k31, 0), std::numeric_limits<std::int32_t>::min());
    EXPECT_EQ(difference32(-1, 1), -2);
}

// "slot+offset*length", stretch by stretch.
std::string stretches(std::int32_t start, std::int32_t count, std::int32_t size)
{
    std::string text;
    forEachStretch(
        start, count, size, [&](std::int32_t slot, std::int32_t offset, std::int32_t length) {
            if (!text.empty()) text.push_back(' ');
            text.append(std::to_string(slot)).append("+").append(std::to_string(offset));
            text.append("*").append(std::to_string(length));
        });
    return text;
}

TEST(Ring, BlocksAreVisitedInStretchesWithoutAWrap)
{
    EXPECT_EQ(stretches(2, 4, 10), "2+0*4");
    EXPECT_EQ(stretches(6, 4, 10), "6+0*4");
    EXPECT_EQ(stretches(7, 4, 10), "7+0*3 0+3*1");
    EXPECT_EQ(stretches(0, 10, 10), "0+0*10");
    EXPECT_EQ(stretches(9, 10, 10), "9+0*1 0+1*9");
    EXPECT_EQ(stretches(3, 0, 10), "");
}

TEST(Ring, BlocksLongerThanTheRingGoRoundSeveralTimes)
{
    EXPECT_EQ(stretches(2, 9, 4), "2+0*2 0+2*4 0+6*3");
}

} // namespace
} // namespace Velmora::OrderTracking

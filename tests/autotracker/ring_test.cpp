#include "autotracker/ring.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <limits>

namespace Velmora::Autotracker {
namespace {

TEST(TrackerRing, IndexMovesForwardAndBackwardAcrossTheEnds)
{
    EXPECT_EQ(movedIndex(3, 4, 10), 7);
    EXPECT_EQ(movedIndex(3, 7, 10), 0);
    EXPECT_EQ(movedIndex(9, 9, 10), 8);
    EXPECT_EQ(movedIndex(3, -3, 10), 0);
    EXPECT_EQ(movedIndex(3, -4, 10), 9);
}

// The length is taken off once: such a hop leads out of the ring, and stays there.
TEST(TrackerRing, MoveOfMoreThanALengthIsNotBroughtBack)
{
    EXPECT_EQ(movedIndex(3, 18, 10), 11);
    EXPECT_EQ(movedIndex(3, -24, 10), -11);
}

TEST(TrackerRing, LargestMoveDoesNotOverflow)
{
    constexpr std::int32_t most = std::numeric_limits<std::int32_t>::max();
    EXPECT_EQ(movedIndex(most - 1, most, most), most - 1);
}

TEST(TrackerRing, UnreadSamplesAreTheDifferenceOfTheCounts)
{
    SignalBuffer ring = emptyRing();
    ring.writeCount = 120;
    ring.readCount = 20;
    EXPECT_EQ(unreadSamples(ring), 100);
}

TEST(TrackerRing, ReaderAheadOfTheWriterHasNothingToRead)
{
    SignalBuffer ring = emptyRing();
    ring.writeCount = 20;
    ring.readCount = 120;
    EXPECT_EQ(unreadSamples(ring), 0);
}

// A day at 51.2 kHz passes 2^32 samples.
TEST(TrackerRing, CountsOfAnySizeAreCompared)
{
    for (const std::int64_t start : {std::int64_t{1} << 31,
                                     std::int64_t{1} << 32,
                                     (std::int64_t{1} << 40) + (std::int64_t{1} << 31)}) {
        SignalBuffer ring = emptyRing();
        ring.readCount = start - 50;
        ring.writeCount = start + 50;
        EXPECT_EQ(unreadSamples(ring), 100) << start;
    }
}

// The difference is one of 32 bits, with its sign: more than that many unread samples are none.
TEST(TrackerRing, MoreUnreadSamplesThanAnIntegerHoldsCountAsNone)
{
    SignalBuffer ring = emptyRing();
    ring.writeCount = std::int64_t{1} << 31;
    EXPECT_EQ(unreadSamples(ring), 0);
    ring.writeCount = (std::int64_t{1} << 32) + 7;
    EXPECT_EQ(unreadSamples(ring), 7);
}

} // namespace
} // namespace Velmora::Autotracker

#include "order_tracking/harmonic_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>

namespace Velmora::OrderTracking {
namespace {

using testing::Each;
using testing::ElementsAre;

using Value = std::complex<float>;
using Column = std::array<Value, 2>;

HarmonicTable table(std::uint32_t averagingType)
{
    HarmonicTable result;
    result.resize(2, 3);
    result.setAveragingType(averagingType);
    return result;
}

Column column(const HarmonicTable& table, std::uint64_t bin)
{
    return {table.rows()[0][bin], table.rows()[1][bin]};
}

TEST(HarmonicTable, HasARowPerHarmonicAndACountPerBin)
{
    const HarmonicTable harmonics = table(0);
    ASSERT_EQ(harmonics.rows().size(), 2U);
    EXPECT_EQ(harmonics.rows()[1].size(), 3U);
    EXPECT_EQ(harmonics.counts().size(), 3U);
    EXPECT_THAT(harmonics.rows(), Each(Each(Value())));
}

TEST(HarmonicTable, OverwriteKeepsTheLastVisit)
{
    HarmonicTable harmonics = table(0);
    harmonics.updateColumn(1, Column{Value(1, 2), Value(3, 4)});
    harmonics.updateColumn(1, Column{Value(5, 6), Value(7, 8)});
    EXPECT_EQ(column(harmonics, 1), (Column{Value(5, 6), Value(7, 8)}));
    EXPECT_THAT(harmonics.counts(), ElementsAre(0, 1, 0));
}

TEST(HarmonicTable, UpdatesNoOtherBin)
{
    HarmonicTable harmonics = table(0);
    harmonics.updateColumn(1, Column{Value(1, 2), Value(3, 4)});
    EXPECT_EQ(column(harmonics, 0), Column());
    EXPECT_EQ(column(harmonics, 2), Column());
}

TEST(HarmonicTable, KeepFirstIsChangedByNoSecondVisit)
{
    HarmonicTable harmonics = table(1);
    harmonics.updateColumn(0, Column{Value(1, 2), Value(3, 4)});
    harmonics.updateColumn(0, Column{Value(5, 6), Value(7, 8)});
    EXPECT_EQ(column(harmonics, 0), (Column{Value(1, 2), Value(3, 4)}));
    EXPECT_THAT(harmonics.counts(), ElementsAre(1, 0, 0));
}

// A mean of phasors: opposite phases cancel, which a mean of moduli would not show.
TEST(HarmonicTable, LinearMeanAveragesRealAndImaginaryParts)
{
    HarmonicTable harmonics = table(2);
    harmonics.updateColumn(2, Column{Value(1, 4), Value(1, 1)});
    harmonics.updateColumn(2, Column{Value(2, 8), Value(-1, -1)});
    EXPECT_EQ(column(harmonics, 2), (Column{Value(1.5F, 6), Value(0, 0)}));
    EXPECT_THAT(harmonics.counts(), ElementsAre(0, 0, 2));
}

// (0.2f x 2 + 0.5f) / 3: the sum is 0.900000006, in float 0.89999998, and a third of that is the
// float below 0.3. A sum in double, a product with 1 / 3 or a mean that is moved by a third of the
// difference all end on the float above.
TEST(HarmonicTable, LinearMeanIsOneProductOneSumAndOneDivisionInFloat)
{
    HarmonicTable harmonics = table(2);
    harmonics.updateColumn(0, Column{Value(0.2F, 0.2F), Value()});
    harmonics.updateColumn(0, Column{Value(0.2F, 0.2F), Value()});
    harmonics.updateColumn(0, Column{Value(0.5F, 0.5F), Value()});
    EXPECT_EQ(column(harmonics, 0)[0], Value(0x1.333332p-2F, 0x1.333332p-2F));
}

TEST(HarmonicTable, PeakHoldKeepsTheValueOfTheGreaterModulus)
{
    HarmonicTable harmonics = table(3);
    harmonics.updateColumn(0, Column{Value(3, -4), Value(1, 0)});
    harmonics.updateColumn(0, Column{Value(4, 0), Value(0, -2)});
    EXPECT_EQ(column(harmonics, 0), (Column{Value(3, -4), Value(0, -2)}));
}

TEST(HarmonicTable, PeakHoldTakesTheNewValueOfATie)
{
    HarmonicTable harmonics = table(3);
    harmonics.updateColumn(0, Column{Value(3, -4), Value(5, 0)});
    harmonics.updateColumn(0, Column{Value(0, 5), Value(-3, 4)});
    EXPECT_EQ(column(harmonics, 0), (Column{Value(0, 5), Value(-3, 4)}));
}

// The old modulus is not strictly greater than NaN, so the NaN is taken, and a later value too.
TEST(HarmonicTable, PeakHoldTakesANaNAndGivesItUpAgain)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    HarmonicTable harmonics = table(3);
    harmonics.updateColumn(0, Column{Value(3, 4), Value()});
    harmonics.updateColumn(0, Column{Value(nan, 0), Value()});
    EXPECT_TRUE(std::isnan(column(harmonics, 0)[0].real()));
    harmonics.updateColumn(0, Column{Value(1, 0), Value()});
    EXPECT_EQ(column(harmonics, 0)[0], Value(1, 0));
}

// 3e19f² leaves the range of float; hypot does not.
TEST(HarmonicTable, PeakHoldComparesModuliWithoutOverflow)
{
    HarmonicTable harmonics = table(3);
    harmonics.updateColumn(0, Column{Value(3e19F, 4e19F), Value()});
    harmonics.updateColumn(0, Column{Value(2e19F, 2e19F), Value()});
    EXPECT_EQ(column(harmonics, 0)[0], Value(3e19F, 4e19F));
}

TEST(HarmonicTable, PeakHoldLeavesTheCountAtZero)
{
    HarmonicTable harmonics = table(3);
    harmonics.updateColumn(0, Column{Value(3, 4), Value()});
    harmonics.updateColumn(0, Column{Value(6, 8), Value()});
    EXPECT_THAT(harmonics.counts(), ElementsAre(0, 0, 0));
}

// A host's negative number arrives here as one far above.
TEST(HarmonicTable, OtherAveragingWritesNothing)
{
    for (const std::uint32_t averaging : {4U, static_cast<std::uint32_t>(-1)}) {
        HarmonicTable harmonics = table(averaging);
        harmonics.updateColumn(0, Column{Value(3, 4), Value(5, 6)});
        EXPECT_THAT(harmonics.rows(), Each(Each(Value())));
        EXPECT_THAT(harmonics.counts(), Each(0));
    }
}

TEST(HarmonicTable, ResizeKeepsCountsAndValues)
{
    HarmonicTable harmonics = table(2);
    harmonics.updateColumn(1, Column{Value(1, 2), Value(3, 4)});
    harmonics.updateColumn(1, Column{Value(1, 2), Value(3, 4)});

    harmonics.resize(3, 4);

    EXPECT_THAT(harmonics.counts(), ElementsAre(0, 2, 0, 0));
    EXPECT_EQ(column(harmonics, 1), (Column{Value(1, 2), Value(3, 4)}));
    EXPECT_THAT(harmonics.rows()[2], ElementsAre(Value(), Value(), Value(), Value()));
}

TEST(HarmonicTable, DroppedRowsComeBackEmpty)
{
    HarmonicTable harmonics = table(0);
    harmonics.updateColumn(0, Column{Value(1, 2), Value(3, 4)});
    harmonics.resize(1, 3);
    harmonics.resize(2, 3);
    EXPECT_EQ(column(harmonics, 0), (Column{Value(1, 2), Value()}));
}

TEST(HarmonicTable, ClearZeroesValuesAndCounts)
{
    HarmonicTable harmonics = table(2);
    harmonics.updateColumn(1, Column{Value(1, 2), Value(3, 4)});
    harmonics.clear();
    EXPECT_THAT(harmonics.rows(), Each(Each(Value())));
    EXPECT_THAT(harmonics.counts(), Each(0));
}

} // namespace
} // namespace Velmora::OrderTracking

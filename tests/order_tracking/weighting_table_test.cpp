#include "order_tracking/weighting_table.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <complex>
#include <cstdint>
#include <limits>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Value = std::complex<double>;

constexpr std::uint32_t kWeightingA = 1;
constexpr std::uint32_t kDifferentiate = 5;
constexpr double kTwoPi = 6.283185307179586;

// A table of four rows of three lines between 600 and 1000 rpm, by hand: the weight of line k in
// row r is 10 r + k + 1, so that a product with 1 tells where it came from.
//
//     row 0  600 rpm |  1  2  3
//     row 1  700 rpm | 11 12 13
//     row 2  800 rpm | 21 22 23
//     row 3  900 rpm | 31 32 33
WeightingTable numbered()
{
    WeightingTable weights;
    weights.lines = 3;
    weights.rows = 4;
    weights.setupWeighting = kWeightingA;
    weights.minimumSpeed = 600.0;
    weights.maximumSpeed = 1000.0;
    weights.table.resize(4, 3);
    for (int r = 0; r < 4; ++r)
        for (int k = 0; k < 3; ++k)
            weights.table.row(static_cast<std::uint64_t>(r))[k] = 10.0 * r + k + 1.0;
    return weights;
}

std::vector<double> weightsAtSpeed(const WeightingTable& weights,
                                   double rpm,
                                   std::size_t lines = 3,
                                   bool twoSided = false)
{
    std::vector<Value> spectrum(lines, 1.0);
    weights.applyAtSpeed(spectrum, rpm, twoSided);
    std::vector<double> result;
    for (const Value& line : spectrum) {
        EXPECT_EQ(line.imag(), 0.0);
        result.push_back(line.real());
    }
    return result;
}

// Four rows between 600 and 1000 rpm: 600, 700, 800 and 900. Order 0.5 is 5 Hz at 600 rpm.
TEST(WeightingTable, OrderRowsHoldTheResponsesAtTheirSpeeds)
{
    WeightingTable weights;
    weights.buildOrders(3, 4, kDifferentiate, 0.5, 600.0, 1000.0);
    ASSERT_EQ(weights.table.rows(), 4U);
    ASSERT_EQ(weights.table.cols(), 3U);
    for (std::uint64_t r = 0; r < 4; ++r) {
        for (std::uint64_t k = 0; k < 3; ++k) {
            const double hertz =
                (600.0 + 100.0 * static_cast<double>(r)) / 60.0 * 0.5 * static_cast<double>(k);
            EXPECT_EQ(weights.table.row(r)[k].real(), 0.0);
            EXPECT_NEAR(weights.table.row(r)[k].imag(), kTwoPi * hertz, 1e-13);
        }
    }
}

TEST(WeightingTable, LastOrderRowLiesOneStepBelowTheMaximumSpeed)
{
    WeightingTable weights;
    weights.buildOrders(2, 100, kDifferentiate, 1.0, 0.0, 6000.0);
    EXPECT_EQ(weights.table.row(0)[1].imag(), 0.0);
    EXPECT_NEAR(weights.table.row(99)[1].imag(), kTwoPi * 99.0, 1e-12); // 5940 rpm
}

TEST(WeightingTable, FrequencyRowHoldsTheResponseOfEachLine)
{
    WeightingTable weights;
    weights.buildFrequencies(3, kDifferentiate, 2.5);
    EXPECT_THAT(weights.table.storage(),
                ElementsAre(Value(), Value(0.0, kTwoPi * 2.5), Value(0.0, kTwoPi * 5.0)));
    EXPECT_EQ(weights.table.rows(), 1U);
    EXPECT_EQ(weights.lines, 3);
    EXPECT_EQ(weights.rows, 0);
    EXPECT_EQ(weights.step, 2.5);
}

TEST(WeightingTable, OrderBuildStoresItsArguments)
{
    WeightingTable weights;
    weights.buildOrders(3, 4, kDifferentiate, 0.5, 600.0, 1000.0);
    EXPECT_EQ(weights.lines, 3);
    EXPECT_EQ(weights.rows, 4);
    EXPECT_EQ(weights.setupWeighting, kDifferentiate);
    EXPECT_EQ(weights.step, 0.5);
    EXPECT_EQ(weights.minimumSpeed, 600.0);
    EXPECT_EQ(weights.maximumSpeed, 1000.0);
}

// A cell that was changed by hand shows whether a build computed anything.
TEST(WeightingTable, OrderBuildWithTheSameArgumentsLeavesTheTableAsItIs)
{
    WeightingTable weights;
    weights.buildOrders(3, 4, kDifferentiate, 0.5, 600.0, 1000.0);
    weights.table.row(0)[1] = 99.0;
    weights.buildOrders(3, 4, kDifferentiate, 0.5, 600.0, 1000.0);
    EXPECT_EQ(weights.table.row(0)[1], 99.0);
}

TEST(WeightingTable, OrderBuildComputesAnewForAnyOtherArgument)
{
    const auto isComputedAnewBy = [](auto build) {
        WeightingTable weights;
        weights.buildOrders(3, 4, kDifferentiate, 0.5, 600.0, 1000.0);
        weights.table.row(0)[1] = 99.0;
        build(weights);
        return weights.table.row(0)[1] != 99.0;
    };
    EXPECT_TRUE(isComputedAnewBy(
        [](auto& table) { table.buildOrders(2, 4, kDifferentiate, 0.5, 600.0, 1000.0); }));
    EXPECT_TRUE(isComputedAnewBy(
        [](auto& table) { table.buildOrders(3, 5, kDifferentiate, 0.5, 600.0, 1000.0); }));
    EXPECT_TRUE(isComputedAnewBy(
        [](auto& table) { table.buildOrders(3, 4, kWeightingA, 0.5, 600.0, 1000.0); }));
    EXPECT_TRUE(isComputedAnewBy(
        [](auto& table) { table.buildOrders(3, 4, kDifferentiate, 0.25, 600.0, 1000.0); }));
    EXPECT_TRUE(isComputedAnewBy(
        [](auto& table) { table.buildOrders(3, 4, kDifferentiate, 0.5, 500.0, 1000.0); }));
    EXPECT_TRUE(isComputedAnewBy(
        [](auto& table) { table.buildOrders(3, 4, kDifferentiate, 0.5, 600.0, 1100.0); }));
}

TEST(WeightingTable, FrequencyBuildComputesAnewOnlyForOtherArguments)
{
    WeightingTable weights;
    weights.buildFrequencies(3, kDifferentiate, 2.5);
    weights.table.row(0)[1] = 99.0;
    weights.buildFrequencies(3, kDifferentiate, 2.5);
    EXPECT_EQ(weights.table.row(0)[1], 99.0);

    weights.buildFrequencies(4, kDifferentiate, 2.5);
    EXPECT_EQ(weights.table.row(0)[1], Value(0.0, kTwoPi * 2.5));
    weights.buildFrequencies(4, kDifferentiate, 5.0);
    EXPECT_EQ(weights.table.row(0)[1], Value(0.0, kTwoPi * 5.0));
    weights.buildFrequencies(4, kWeightingA, 5.0);
    EXPECT_EQ(weights.table.row(0)[1].imag(), 0.0);
}

TEST(WeightingTable, OrderBuildOfNoRowsResizesTheTableAndComputesNone)
{
    WeightingTable weights;
    weights.buildOrders(3, 4, kDifferentiate, 0.5, 600.0, 1000.0);
    weights.buildOrders(3, 0, kDifferentiate, 0.5, 600.0, 1000.0);
    EXPECT_EQ(weights.table.rows(), 0U);
    EXPECT_EQ(weights.table.cols(), 3U);
    EXPECT_THAT(weights.table.storage(), IsEmpty());
    EXPECT_THAT(weightsAtSpeed(weights, 800.0), Each(1.0));
}

TEST(WeightingTable, WeightingZeroEmptiesAnOrderTable)
{
    WeightingTable weights;
    weights.buildOrders(3, 4, kDifferentiate, 0.5, 600.0, 1000.0);
    weights.buildOrders(3, 4, 0, 0.5, 600.0, 1000.0);
    EXPECT_THAT(weights.table.storage(), IsEmpty());
    EXPECT_EQ(weights.setupWeighting, 0U);
    EXPECT_THAT(weightsAtSpeed(weights, 800.0), Each(1.0));
}

TEST(WeightingTable, WeightingZeroEmptiesAFrequencyTable)
{
    WeightingTable weights;
    weights.buildFrequencies(3, kDifferentiate, 2.5);
    weights.buildFrequencies(5, 0, 1.0);
    EXPECT_THAT(weights.table.storage(), IsEmpty());
    EXPECT_EQ(weights.lines, 5);
    std::vector<Value> spectrum(3, 1.0);
    weights.apply(spectrum);
    EXPECT_THAT(spectrum, Each(Value(1.0)));
}

// A number that no weighting has is flat, and is applied as any other.
TEST(WeightingTable, UnknownWeightingsAreTablesOfOnes)
{
    WeightingTable weights;
    weights.buildOrders(3, 4, 77, 0.5, 600.0, 1000.0);
    EXPECT_THAT(weights.table.storage(), SizeIs(12));
    EXPECT_THAT(weights.table.storage(), Each(Value(1.0)));
}

TEST(WeightingTable, NearestRowServesASpeedBetweenTwo)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 700.0), ElementsAre(11, 12, 13));
    EXPECT_THAT(weightsAtSpeed(numbered(), 749.0), ElementsAre(11, 12, 13));
    EXPECT_THAT(weightsAtSpeed(numbered(), 751.0), ElementsAre(21, 22, 23));
}

// 0.5, 1.5 and 2.5 rows: to even would be 0, 2 and 2.
TEST(WeightingTable, SpeedHalfwayBetweenRowsTakesTheUpperOne)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 650.0), ElementsAre(11, 12, 13));
    EXPECT_THAT(weightsAtSpeed(numbered(), 750.0), ElementsAre(21, 22, 23));
    EXPECT_THAT(weightsAtSpeed(numbered(), 850.0), ElementsAre(31, 32, 33));
}

TEST(WeightingTable, SpeedBelowTheMinimumTakesTheFirstRow)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 599.0), ElementsAre(1, 2, 3));
    EXPECT_THAT(weightsAtSpeed(numbered(), -5000.0), ElementsAre(1, 2, 3));
}

TEST(WeightingTable, SpeedFromTheMaximumOnTakesTheLastRow)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 1000.0), ElementsAre(31, 32, 33));
    EXPECT_THAT(weightsAtSpeed(numbered(), 1e9), ElementsAre(31, 32, 33)); // row 9999994
}

// The quotient is then infinite, or NaN at that very speed.
TEST(WeightingTable, EqualLimitsOfSpeedTakeTheFirstRow)
{
    WeightingTable weights = numbered();
    weights.maximumSpeed = weights.minimumSpeed;
    EXPECT_THAT(weightsAtSpeed(weights, 900.0), ElementsAre(1, 2, 3));
    EXPECT_THAT(weightsAtSpeed(weights, 600.0), ElementsAre(1, 2, 3));
    EXPECT_THAT(weightsAtSpeed(weights, 100.0), ElementsAre(1, 2, 3));
}

TEST(WeightingTable, SpeedsThatAreNotFiniteTakeTheFirstRow)
{
    using Limits = std::numeric_limits<double>;
    EXPECT_THAT(weightsAtSpeed(numbered(), Limits::quiet_NaN()), ElementsAre(1, 2, 3));
    EXPECT_THAT(weightsAtSpeed(numbered(), Limits::infinity()), ElementsAre(1, 2, 3));
    EXPECT_THAT(weightsAtSpeed(numbered(), -Limits::infinity()), ElementsAre(1, 2, 3));
}

// Rows 2147483647 and 2147483648: the last that 32 bits hold is limited to the table, the next one
// is not a row number at all.
TEST(WeightingTable, RowNumbersTooLargeFor32BitsTakeTheFirstRow)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 600.0 + 2147483647.0 * 100.0), ElementsAre(31, 32, 33));
    EXPECT_THAT(weightsAtSpeed(numbered(), 600.0 + 2147483648.0 * 100.0), ElementsAre(1, 2, 3));
    EXPECT_THAT(weightsAtSpeed(numbered(), -1e300), ElementsAre(1, 2, 3));
}

TEST(WeightingTable, SpectrumShorterThanARowTakesItsStart)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 700.0, 2), ElementsAre(11, 12));
    EXPECT_THAT(weightsAtSpeed(numbered(), 700.0, 0), IsEmpty());
}

TEST(WeightingTable, OneSidedSpectrumLongerThanARowRunsOnIntoTheNext)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 700.0, 6), ElementsAre(11, 12, 13, 21, 22, 23));
}

TEST(WeightingTable, PastTheEndOfTheTableTheWeightIsOne)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 900.0, 5), ElementsAre(31, 32, 33, 1, 1));
}

// The negative orders are not weighted by the mirror of the positive ones: the first of them, in
// the middle, takes the weight of order 0.
TEST(WeightingTable, HalvesOfATwoSidedSpectrumBothWalkTheRowFromItsStart)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 700.0, 6, true), ElementsAre(11, 12, 13, 11, 12, 13));
}

TEST(WeightingTable, UpperHalfOfAnOddTwoSidedSpectrumIsTheLongerOne)
{
    EXPECT_THAT(weightsAtSpeed(numbered(), 700.0, 5, true), ElementsAre(11, 12, 11, 12, 13));
}

TEST(WeightingTable, AppliesTheOneRowToASpectrumOverFrequency)
{
    std::vector<Value> spectrum(5, Value(0.0, 1.0));
    numbered().apply(spectrum);
    EXPECT_THAT(spectrum,
                ElementsAre(Value(0, 1), Value(0, 2), Value(0, 3), Value(0, 11), Value(0, 12)));
}

TEST(WeightingTable, PastTheEndOfTheOneRowTheWeightIsOne)
{
    WeightingTable weights;
    weights.buildFrequencies(2, kDifferentiate, 1.0);
    std::vector<Value> spectrum(3, 1.0);
    weights.apply(spectrum);
    EXPECT_THAT(spectrum, ElementsAre(Value(), Value(0.0, kTwoPi), Value(1.0)));
}

TEST(WeightingTable, LeavesASpectrumOfNoLinesAlone)
{
    std::vector<Value> none;
    numbered().apply(none);
    numbered().applyAtSpeed(none, 700.0, true);
    EXPECT_THAT(none, IsEmpty());
}

// (3 + 4i) i2π = -8π + 6πi
TEST(WeightingTable, WeightsAreComplexFactors)
{
    WeightingTable weights;
    weights.buildOrders(2, 1, kDifferentiate, 1.0, 60.0, 120.0);
    std::vector<Value> spectrum = {Value(3.0, 4.0), Value(3.0, 4.0)};
    weights.applyAtSpeed(spectrum, 60.0, false);
    EXPECT_THAT(spectrum, ElementsAre(Value(0.0, 0.0), Value(-4.0 * kTwoPi, 3.0 * kTwoPi)));
}

} // namespace
} // namespace Velmora::OrderTracking

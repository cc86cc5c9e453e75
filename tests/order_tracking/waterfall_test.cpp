#include "order_tracking/waterfall.h"

#include "order_tracking/moduli.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <limits>
#include <span>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::ElementsAreArray;

using Table = Waterfall<float, double>;
using Spectrum = std::vector<std::complex<double>>;

const double kNaN = std::numeric_limits<double>::quiet_NaN();

// Three bins of four lines.
Table table(std::uint32_t averagingType)
{
    Table result;
    result.resize(3, 4, nullptr);
    result.setAveragingType(averagingType);
    return result;
}

std::span<const float> row(const Table& table, std::uint64_t index)
{
    return {table.row(index), table.cols()};
}

// Lines of the given moduli, in a direction of a 3-4-5 triangle.
Spectrum lines(const std::vector<double>& moduli)
{
    Spectrum result;
    for (const double modulus : moduli) result.emplace_back(modulus * 0.75, -modulus);
    for (auto& line : result) line *= 0.8;
    return result;
}

// More lines than any chunk that they are worked on in, each different, none special.
Spectrum longSpectrum(std::size_t size, double turn)
{
    Spectrum result(size);
    for (std::size_t k = 0; k < size; ++k)
        result[k] = std::polar(1.0 + static_cast<double>(k), turn * static_cast<double>(k));
    return result;
}

TEST(Waterfall, OverwriteKeepsTheModuliOfTheLastVisit)
{
    Table waterfall = table(0);
    waterfall.updateRow(1, lines({1, 2, 3, 4}));
    waterfall.updateRow(1, lines({5, 6, 7, 0}));
    EXPECT_THAT(row(waterfall, 1), ElementsAre(5, 6, 7, 0));
    EXPECT_THAT(waterfall.counts(), ElementsAre(0, 1, 0));
}

TEST(Waterfall, UpdatesNoOtherRow)
{
    Table waterfall = table(0);
    waterfall.updateRow(1, lines({1, 2, 3, 4}));
    EXPECT_THAT(row(waterfall, 0), Each(0.0F));
    EXPECT_THAT(row(waterfall, 2), Each(0.0F));
}

TEST(Waterfall, KeepFirstIsChangedByNoSecondVisit)
{
    Table waterfall = table(1);
    waterfall.updateRow(1, lines({1, 2, 3, 4}));
    waterfall.updateRow(1, lines({5, 6, 7, 8}));
    EXPECT_THAT(row(waterfall, 1), ElementsAre(1, 2, 3, 4));
    EXPECT_THAT(waterfall.counts(), ElementsAre(0, 1, 0));
}

TEST(Waterfall, LinearMeanIsThatOfAllVisits)
{
    Table waterfall = table(2);
    waterfall.updateRow(2, lines({1, 2, 0, 8}));
    EXPECT_THAT(row(waterfall, 2), ElementsAre(1, 2, 0, 8)); // a mean of one is the value
    waterfall.updateRow(2, lines({3, 2, 1, 0}));
    waterfall.updateRow(2, lines({5, 2, 1, 1}));
    EXPECT_THAT(row(waterfall, 2), ElementsAre(3, 2, 2.0F / 3.0F, 3));
    EXPECT_THAT(waterfall.counts(), ElementsAre(0, 0, 3));
}

// (0.2f x 2 + 0.5f) / 3: the sum is 0.900000006, in float 0.89999998, and a third of that is the
// float below 0.3. A sum in double, a product with 1 / 3 or a mean that is moved by a third of the
// difference all end on the float above.
TEST(Waterfall, LinearMeanIsOneProductOneSumAndOneDivisionInFloat)
{
    Table waterfall = table(2);
    waterfall.updateRow(0, Spectrum{static_cast<double>(0.2F)});
    waterfall.updateRow(0, Spectrum{static_cast<double>(0.2F)});
    waterfall.updateRow(0, Spectrum{0.5});
    EXPECT_EQ(waterfall.row(0)[0], 0x1.333332p-2F);
}

TEST(Waterfall, PeakHoldKeepsTheGreatestOfAllVisits)
{
    Table waterfall = table(3);
    waterfall.updateRow(0, lines({1, 9, 3, 4}));
    waterfall.updateRow(0, lines({5, 6, 3, 0}));
    EXPECT_THAT(row(waterfall, 0), ElementsAre(5, 9, 3, 4));
}

TEST(Waterfall, PeakHoldLeavesTheCountAtZero)
{
    Table waterfall = table(3);
    for (int visit = 0; visit < 3; ++visit) waterfall.updateRow(0, lines({1, 2, 3, 4}));
    waterfall.updateTwoSidedRow(1, lines({1, 2}), lines({3, 4}));
    EXPECT_THAT(waterfall.counts(), Each(0));
}

TEST(Waterfall, PeakHoldStoresNoNaN)
{
    Table waterfall = table(3);
    waterfall.updateRow(0, lines({1, 2, 3, 4}));
    waterfall.updateRow(0, Spectrum{kNaN, {0, kNaN}, {kNaN, kNaN}, 9});
    EXPECT_THAT(row(waterfall, 0), ElementsAre(1, 2, 3, 9));
}

// A host's negative number arrives here as one far above.
TEST(Waterfall, OtherAveragingWritesNothing)
{
    for (const std::uint32_t averaging : {4U, static_cast<std::uint32_t>(-1)}) {
        Table waterfall = table(averaging);
        waterfall.updateRow(0, lines({1, 2, 3, 4}));
        waterfall.updateTwoSidedRow(1, lines({1, 2}), lines({3, 4}));
        EXPECT_THAT(waterfall.storage(), Each(0.0F));
        EXPECT_THAT(waterfall.counts(), Each(0));
    }
}

TEST(Waterfall, WritesAsManyCellsAsTheSpectrumHasLines)
{
    Table waterfall = table(0);
    waterfall.updateRow(1, lines({1, 2}));
    EXPECT_THAT(row(waterfall, 1), ElementsAre(1, 2, 0, 0));
    waterfall.updateRow(1, Spectrum{});
    EXPECT_THAT(row(waterfall, 1), ElementsAre(1, 2, 0, 0));
}

TEST(Waterfall, RowsInTheHostsMemoryAreWrittenThere)
{
    std::array<float, 4> host = {9, 9, 9, 9};
    Table waterfall;
    waterfall.resize(2, 2, host.data());
    waterfall.updateRow(1, lines({3, 4}));
    EXPECT_THAT(host, ElementsAre(9, 9, 3, 4));
}

TEST(Waterfall, ResizeZeroesTheCountsAndNotTheCells)
{
    for (const std::uint32_t averaging : {0U, 1U, 2U}) {
        std::array<float, 2> host = {};
        Table waterfall;
        waterfall.setAveragingType(averaging);
        waterfall.resize(1, 2, host.data());
        waterfall.updateRow(0, lines({8, 8}));

        waterfall.resize(1, 2, host.data());

        EXPECT_THAT(waterfall.counts(), ElementsAre(0));
        EXPECT_THAT(host, ElementsAre(8, 8));
        waterfall.updateRow(0, lines({3, 4})); // restarts: nothing of the 8 is left
        EXPECT_THAT(host, ElementsAre(3, 4)) << "averaging type " << averaging;
    }
}

TEST(Waterfall, PeakHoldGoesOnFromOldContentAfterAResize)
{
    std::array<float, 2> host = {5, 5};
    Table waterfall;
    waterfall.setAveragingType(3);
    waterfall.resize(1, 2, host.data());
    waterfall.updateRow(0, lines({3, 8}));
    EXPECT_THAT(host, ElementsAre(5, 8));
}

TEST(Waterfall, ClearZeroesCellsAndCountsWhereverTheyLie)
{
    std::array<float, 3> host = {9, 9, 9};
    Table waterfall;
    waterfall.resize(1, 2, host.data());
    waterfall.updateRow(0, lines({3, 4}));
    waterfall.clear();
    EXPECT_THAT(host, ElementsAre(0, 0, 9));
    EXPECT_THAT(waterfall.counts(), ElementsAre(0));
}

// All averaging rules over more than one chunk of lines and a rest, against one line at a time.
TEST(Waterfall, LongRowsAreUpdatedLineByLine)
{
    constexpr std::size_t kLines = 2 * kModuliChunk + 7;
    const Spectrum first = longSpectrum(kLines, 0.1);
    Spectrum second = longSpectrum(kLines, 0.2);
    std::reverse(second.begin(), second.end());
    for (const std::uint32_t averaging : {0U, 1U, 2U, 3U}) {
        Table whole;
        whole.resize(1, kLines, nullptr);
        whole.setAveragingType(averaging);
        whole.updateRow(0, first);
        whole.updateRow(0, second);
        for (std::size_t k = 0; k < kLines; ++k) {
            Table single;
            single.resize(1, 1, nullptr);
            single.setAveragingType(averaging);
            single.updateRow(0, Spectrum{first[k]});
            single.updateRow(0, Spectrum{second[k]});
            ASSERT_EQ(whole.row(0)[k], single.row(0)[0]) << averaging << ", line " << k;
        }
    }
}

// A signal that turns forward by one line, a + ib = exp(iωt): A[1] = 1 and B[1] = -i, as each real
// signal reads its peak amplitude.
TEST(Waterfall, ForwardRotationStandsRightOfTheCentre)
{
    Table waterfall = table(0);
    waterfall.updateTwoSidedRow(0, Spectrum{0, 1}, Spectrum{0, {0, -1}});
    EXPECT_THAT(row(waterfall, 0), ElementsAre(0, 0, 1, 0));
}

TEST(Waterfall, BackwardRotationStandsLeftOfTheCentre)
{
    Table waterfall = table(0);
    waterfall.updateTwoSidedRow(0, Spectrum{0, 1}, Spectrum{0, {0, 1}});
    EXPECT_THAT(row(waterfall, 0), ElementsAre(1, 0, 0, 0));
}

// A[0] + i B[0] = (1 - 5) + i (2 + 1), not halved; A[1] + i B[1] = (7 - 4) + i (1 + 3);
// conj(A[1]) + i conj(B[1]) = (7 + 4) + i (3 - 1).
TEST(Waterfall, TwoSidedValuesAreHalfTheModuliButForTheCentre)
{
    Table waterfall = table(0);
    waterfall.updateTwoSidedRow(1, Spectrum{{1, 2}, {7, 1}}, Spectrum{{1, 5}, {3, 4}});
    const float backward = 0.5F * static_cast<float>(std::hypot(11.0, 2.0));
    EXPECT_THAT(row(waterfall, 1), ElementsAre(backward, 5, 2.5F, 0));
}

// A denormal modulus of an odd number of units: halved in float it rounds, to even, where a
// halving in double would round from the other side. 3 units: 1.5 becomes 2; 2.75 units are 3 in
// float and then 2, and 1.375 would be 1.
TEST(Waterfall, TwoSidedValuesAreHalvedAfterNarrowing)
{
    constexpr double kUnit = 0x1p-149;
    Table waterfall = table(0);
    waterfall.updateTwoSidedRow(0, Spectrum{0, 2.75 * kUnit}, Spectrum{0, 0});
    const auto expected = static_cast<float>(2 * kUnit);
    EXPECT_THAT(row(waterfall, 0), ElementsAre(expected, 0, expected, 0));
}

TEST(Waterfall, TwoSidedRowOfOneLineIsItsCentreAlone)
{
    for (const std::uint32_t averaging : {0U, 1U, 2U, 3U}) {
        Table waterfall = table(averaging);
        waterfall.updateTwoSidedRow(0, Spectrum{{1, 2}}, Spectrum{{1, 5}});
        EXPECT_THAT(row(waterfall, 0), ElementsAre(5, 0, 0, 0));
        EXPECT_EQ(waterfall.counts()[0], averaging == 3U ? 0 : 1);
    }
}

TEST(Waterfall, TwoSidedUpdateCountsOnce)
{
    Table waterfall = table(2);
    waterfall.updateTwoSidedRow(2, lines({1, 2}), lines({3, 4}));
    waterfall.updateTwoSidedRow(2, lines({1, 2}), lines({3, 4}));
    EXPECT_THAT(waterfall.counts(), ElementsAre(0, 0, 2));
}

TEST(Waterfall, TwoSidedRowsAreAveragedCellByCell)
{
    const Spectrum none = {0, 0};
    const Spectrum small = {1, 2};
    const Spectrum large = {3, 6};
    const std::array<std::array<float, 3>, 4> afterSmallLargeSmall = {{
        {1, 1, 1}, // overwrite
        {1, 1, 1}, // keep first
        {0, 0, 0}, // mean, below
        {3, 3, 3}, // peak hold
    }};
    for (const std::uint32_t averaging : {0U, 1U, 3U}) {
        Table waterfall = table(averaging);
        for (const Spectrum* spectrum : {&small, &large, &small})
            waterfall.updateTwoSidedRow(0, *spectrum, none);
        EXPECT_THAT(row(waterfall, 0).first(3), ElementsAreArray(afterSmallLargeSmall[averaging]));
    }

    Table mean = table(2);
    for (const Spectrum* spectrum : {&small, &large, &small})
        mean.updateTwoSidedRow(0, *spectrum, none);
    const float expected = 5.0F / 3.0F;
    EXPECT_THAT(row(mean, 0).first(3), ElementsAre(expected, expected, expected));
}

// A plain overwrite is what twoSidedModuli() writes, and every rule starts from zeros by it.
TEST(Waterfall, FirstTwoSidedUpdateOfEveryRuleIsThePlainRow)
{
    constexpr std::size_t kLines = 2 * kModuliChunk + 7;
    const Spectrum a = longSpectrum(kLines, 0.1);
    const Spectrum b = longSpectrum(kLines, -0.23);
    std::vector<float> plain(2 * kLines - 1);
    twoSidedModuli(a, b, plain.data());
    for (const std::uint32_t averaging : {0U, 1U, 2U, 3U}) {
        Table waterfall;
        waterfall.resize(1, plain.size(), nullptr);
        waterfall.setAveragingType(averaging);
        waterfall.updateTwoSidedRow(0, a, b);
        EXPECT_THAT(row(waterfall, 0), ElementsAreArray(plain));
    }
}

} // namespace
} // namespace Velmora::OrderTracking

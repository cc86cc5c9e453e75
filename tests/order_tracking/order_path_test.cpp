#include "analyzer_rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <numbers>
#include <string>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr double kPi = std::numbers::pi;
constexpr std::int64_t kBlock = 16; // N of the rig
constexpr std::int64_t kHalf = 8;

double firstSample(float lineZero)
{
    return static_cast<double>(lineZero) - 7.5;
}

// --- rows by sample count

void askForRows(AnalyzerRig& rig)
{
    rig.parameters.timeOrderSpectrum = 1;
}

TEST(OrderRow, ComesEdgeToEdgeWithoutOverlap)
{
    AnalyzerRig rig;
    askForRows(rig);
    rig.prepare();
    EXPECT_THAT(positions(rig.run(60, [](auto i) { return numbered(i); })),
                ElementsAre(16, 32, 48));
}

TEST(OrderRow, ComesAHopAfterTheOneBefore)
{
    AnalyzerRig rig;
    askForRows(rig);
    rig.analysis.overlapPercent = 75.0F;
    rig.prepare();
    EXPECT_THAT(positions(rig.run(40, [](auto i) { return numbered(i); })),
                ElementsAre(16, 20, 24, 28));
}

// The hop is 0.
TEST(OrderRow, ComesAtEverySampleWithFullOverlapOnceTheFirstIsDue)
{
    AnalyzerRig rig;
    askForRows(rig);
    rig.analysis.overlapPercent = 100.0F;
    rig.prepare();
    EXPECT_THAT(positions(rig.run(28, [](auto i) { return numbered(i); })),
                ElementsAre(16, 17, 18, 19));
}

// 0.25 * 10 = 2.5 goes to 3. (1 - 0.85) * 10 is 1.4999998 in float and goes to 1; in double it
// would be 1.5 and go to 2.
TEST(OrderRow, HopIsRoundedInFloatHalfAwayFromZero)
{
    for (const auto& [overlap, second] : {std::pair(75.0F, 13), std::pair(85.0F, 11)}) {
        AnalyzerRig rig;
        askForRows(rig);
        rig.order.maxOrder = 5;
        rig.order.orderResolution = 1.0F;
        rig.analysis.overlapPercent = overlap;
        rig.prepare();
        const auto rows = positions(rig.run(25, [](auto i) { return numbered(i); }));
        ASSERT_GE(rows.size(), 2U);
        EXPECT_EQ(rows[0], 10) << overlap;
        EXPECT_EQ(rows[1], second) << overlap;
    }
}

// The block ends right before the sample that triggers it.
TEST(OrderRow, IsOfTheSamplesBeforeAndHasTheTimeOfTheirMiddle)
{
    AnalyzerRig rig;
    askForRows(rig);
    rig.analysis.overlapPercent = 100.0F;
    rig.prepare();
    rig.onResult = [&](const CalculationResult&) {
        const double start = static_cast<double>(rig.processed() - 1 - kBlock);
        EXPECT_EQ(firstSample(rig.analyzer.results().orderRowA[0]), start);
        EXPECT_EQ(rig.analyzer.results().orderRowTime, start + static_cast<double>(kHalf));
        EXPECT_EQ(rig.analyzer.blockBinValue(), 2.0 * (start + 7.5));
    };
    rig.binning.scale = 2.0;
    EXPECT_THAT(rig.run(90, [](auto i) { return numbered(i, static_cast<double>(i)); }),
                SizeIs(66));
}

TEST(OrderRow, StartsItsCountAtAReset)
{
    AnalyzerRig rig;
    askForRows(rig);
    rig.prepare();
    rig.run(30, [](auto i) { return numbered(i); });
    ASSERT_EQ(rig.processed(), 22);
    rig.analyzer.reset();
    EXPECT_THAT(positions(rig.run(40, [](auto i) { return numbered(30 + i); })),
                ElementsAre(38, 54));
}

// |3 + 4j| at line 2 of either spectrum. A constant of -2 has the modulus 2.
TEST(OrderRow, HoldsTheModuliOfBothSpectraInMode1)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForRows(rig);
    rig.analysis.amplitudeType = HARMOTRACK_AMPLITUDE_PEAK_TO_PEAK;
    rig.prepare();
    rig.run(30, [](auto i) {
        const double phase = 2.0 * kPi * static_cast<double>(i) / 8.0;
        return AngleSample{.a = 3.0 * std::cos(phase) - 4.0 * std::sin(phase) - 2.0,
                           .b = 0.5 * std::cos(2.0 * phase)};
    });
    const ResultStorage& results = rig.analyzer.results();
    const std::vector<float> expectedA = {2.0F, 0.0F, 10.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F};
    const std::vector<float> expectedB = {0.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 0.0F};
    EXPECT_THAT(results.orderRowA, testing::Pointwise(testing::FloatNear(1e-6F), expectedA));
    EXPECT_THAT(results.orderRowB, testing::Pointwise(testing::FloatNear(1e-6F), expectedB));
    EXPECT_THAT(results.orderRowTwoSided, IsEmpty());
}

// a + jb runs forward with 3 at line 2 and backward with 1 at line 3, round a centre of |3 + 4j|.
AngleSample orbit(std::int64_t i)
{
    const double phase = 2.0 * kPi * static_cast<double>(i) / static_cast<double>(kBlock);
    return {.a = 3.0 + 3.0 * std::cos(2.0 * phase + 0.3) + std::cos(3.0 * phase),
            .b = 4.0 + 3.0 * std::sin(2.0 * phase + 0.3) - std::sin(3.0 * phase),
            .bin = i < 20 ? 1290.0 : 1310.0};
}

const std::vector<float>& orbitRow()
{
    //                                           -4   -3  -2   -1    0    1    2    3
    static const std::vector<float> kRow = {
        0.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 5.0F, 0.0F, 3.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F};
    return kRow;
}

TEST(OrderRow, TwoSidedHoldsTheTwoSensesOfRotationRoundItsCentre)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.timeOrderTwoSided = 1;
    rig.prepare();
    EXPECT_EQ(rig.run(30, orbit).front().what, "timeOrderTwoSided more");
    EXPECT_THAT(rig.analyzer.results().orderRowTwoSided,
                testing::Pointwise(testing::FloatNear(1e-6F), orbitRow()));
    EXPECT_NEAR(rig.analyzer.results().orderRowA[2], 3.0F, 1e-6F);
}

TEST(OrderRow, TwoSidedIsAnnouncedButMissingInTheOtherModes)
{
    AnalyzerRig real;
    real.parameters.timeOrderTwoSided = 1;
    real.prepare();
    EXPECT_EQ(real.run(30, orbit).front().what, "timeOrderTwoSided more");
    EXPECT_THAT(real.analyzer.results().orderRowTwoSided, IsEmpty());
    AnalyzerRig complex(HARMOTRACK_MODE_ONE_COMPLEX);
    complex.parameters.timeOrderTwoSided = 1;
    complex.prepare();
    EXPECT_EQ(complex.run(30, orbit).front().what, "timeOrderTwoSided more");
    EXPECT_THAT(complex.analyzer.results().orderRowTwoSided, IsEmpty());
}

// Mode 2 keeps all lines in the order of the transform: a backward component stands high up.
TEST(OrderRow, TwoSidedSetupKeepsAllLinesInMode2)
{
    AnalyzerRig rig(HARMOTRACK_MODE_ONE_COMPLEX);
    askForRows(rig);
    rig.analysis.twoSided = 1;
    rig.prepare();
    rig.run(30, orbit);
    ASSERT_THAT(rig.analyzer.results().orderRowA, SizeIs(16));
    EXPECT_NEAR(rig.analyzer.results().orderRowA[0], 5.0F, 1e-6F);
    EXPECT_NEAR(rig.analyzer.results().orderRowA[2], 6.0F, 1e-6F);
    EXPECT_NEAR(rig.analyzer.results().orderRowA[13], 2.0F, 1e-6F);
    EXPECT_NEAR(rig.analyzer.results().orderRowA[3], 0.0F, 1e-6F);
}

TEST(OrderRow, IsWithoutTheMeanOnRequest)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForRows(rig);
    rig.analysis.removeMeanOrder = 1;
    rig.analysis.removeMeanTime = 0;
    rig.prepare();
    rig.run(30, orbit);
    EXPECT_NEAR(rig.analyzer.results().orderRowA[0], 0.0F, 1e-6F);
    EXPECT_NEAR(rig.analyzer.results().orderRowB[0], 0.0F, 1e-6F);
    EXPECT_NEAR(rig.analyzer.results().orderRowA[2], 3.0F, 1e-6F);
}

// --- a block at each crossing

// Values that pass the centre of bin 3 at sample `at`.
auto crossingAt(std::int64_t at)
{
    return [at](std::int64_t i) { return numbered(i, i < at ? 1290.0 : 1310.0); };
}

void askForBins(AnalyzerRig& rig, std::int32_t blockMode)
{
    rig.parameters.binOrderSpectrum = 1;
    rig.analysis.blockMode = blockMode;
}

TEST(OrderBlockAtCrossing, IsCentredOnTheCrossing)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_AT_CROSSING);
    rig.prepare();
    EXPECT_THAT(rig.run(50, crossingAt(30)),
                ElementsAre(Event{31, "binOrderSpectrum rpm bin 3 more"}));
    EXPECT_EQ(firstSample(rig.analyzer.results().orderA.row(3)[0]), 30.0 - 8.0);
}

TEST(OrderBlockAtCrossing, NeedsHalfABlockSinceTheStart)
{
    for (const std::int64_t at : {7, 8}) {
        AnalyzerRig rig;
        askForBins(rig, HARMOTRACK_BLOCK_AT_CROSSING);
        rig.prepare();
        EXPECT_THAT(rig.run(40, crossingAt(at)), SizeIs(at == 8 ? 1 : 0));
        EXPECT_EQ(rig.analyzer.binning().currentBin, 3);
    }
}

TEST(OrderBlockAtCrossing, IsNotTakenForBinsThatAreVisitedBetweenTheirCentres)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_AT_CROSSING);
    rig.prepare();
    EXPECT_THAT(
        rig.run(60, [](auto i) { return numbered(i, 1255.0 + static_cast<double>(i % 9)); }),
        IsEmpty());
    EXPECT_EQ(rig.analyzer.binning().rawBin, 3);
}

TEST(OrderBlockAtCrossing, TouchesTheRowOfItsBinAlone)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_AT_CROSSING);
    rig.prepare();
    rig.run(50, crossingAt(30));
    const auto& table = rig.analyzer.results().orderA;
    for (std::uint64_t bin = 0; bin < table.rows(); ++bin) {
        EXPECT_EQ(std::any_of(table.row(bin), table.row(bin) + 8, [](float x) { return x != 0; }),
                  bin == 3);
    }
}

// --- contiguous blocks

// What was stored: "bin@first sample".
std::vector<std::string>
stored(AnalyzerRig& rig, std::int64_t count, const std::function<double(std::int64_t)>& binAt)
{
    std::vector<std::string> list;
    rig.onResult = [&](const CalculationResult& result) {
        const std::int32_t bin = result.bin;
        const float zero = rig.analyzer.results().orderA.row(static_cast<std::uint64_t>(bin))[0];
        list.push_back(std::to_string(bin) + "@" + std::to_string(std::lround(firstSample(zero))));
    };
    rig.run(count, [&](std::int64_t i) { return numbered(i, binAt(i)); });
    return list;
}

TEST(ContiguousOrderBlocks, LieEdgeToEdgeFromTheStartOn)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_CONTIGUOUS);
    rig.prepare();
    EXPECT_THAT(stored(rig, 80, [](auto) { return 1300.0; }),
                ElementsAre("3@7", "3@23", "3@39", "3@55"));
    EXPECT_EQ(positions(rig.events), (std::vector<std::int64_t>{15, 31, 47, 63}));
}

// The block round the change belongs to the bin that was left, and the count starts anew.
TEST(ContiguousOrderBlocks, AreFlushedIntoTheBinThatWasLeft)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_CONTIGUOUS);
    rig.prepare();
    EXPECT_THAT(stored(rig, 70, [](auto i) { return i < 20 ? 1300.0 : 1400.0; }),
                ElementsAre("3@7", "3@12", "4@27", "4@43"));
    EXPECT_EQ(positions(rig.events), (std::vector<std::int64_t>{15, 20, 35, 51}));
}

// The change comes first, even where a regular block is due at the same sample.
TEST(ContiguousOrderBlocks, AreFlushedRatherThanCompleted)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_CONTIGUOUS);
    rig.prepare();
    EXPECT_THAT(stored(rig, 48, [](auto i) { return i < 15 ? 1300.0 : 1400.0; }),
                ElementsAre("3@7", "4@22"));
}

TEST(ContiguousOrderBlocks, AreNotFlushedAcrossBins)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_CONTIGUOUS);
    rig.binning.blocksAcrossBins = 1;
    rig.prepare();
    EXPECT_THAT(stored(rig, 70, [](auto i) { return i < 20 ? 1300.0 : 1400.0; }),
                ElementsAre("3@7", "4@23", "4@39"));
}

// Nothing is stored before the first half block, and a change of bin in it flushes nothing.
TEST(ContiguousOrderBlocks, NeedHalfABlockSinceTheStart)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_CONTIGUOUS);
    rig.prepare();
    EXPECT_THAT(stored(rig, 30, [](auto i) { return i < 5 ? 1300.0 : 1400.0; }),
                ElementsAre("4@7"));
}

// Off the axis no block is due; back on it those that were missed are made up for, one a sample,
// as far back as they lie. With no bin left nothing is flushed.
TEST(ContiguousOrderBlocks, ThatWereMissedOffTheAxisAreMadeUpFor)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_CONTIGUOUS);
    rig.angleSlots = 101;
    rig.prepare();
    EXPECT_THAT(stored(rig, 80, [](auto i) { return i < 5    ? 1300.0
                                                    : i < 50 ? 500.0
                                                             : 1700.0; }),
                ElementsAre("7@7", "7@23", "7@39", "7@55"));
    EXPECT_EQ(positions(rig.events), (std::vector<std::int64_t>{50, 51, 52, 63}));
}

// The difference of positions is 2^31 - 1, and one more is the lowest of 32 bits: below a block.
TEST(ContiguousOrderBlocks, CountTheirSamplesModulo32Bits)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_CONTIGUOUS);
    rig.prepare();
    ResampledBuffers ring = rig.analyzer.getResampledBuffers();
    ring.written = ring.processed = (std::int64_t{1} << 31U) - 1;
    rig.analyzer.setResampledBuffers(ring);
    EXPECT_THAT(rig.run(12, [](auto i) { return numbered(i); }), IsEmpty());
    EXPECT_EQ(rig.analyzer.binning().currentBin, 3);
}

TEST(OrderBlocks, AreNeverStoredInOtherBlockModes)
{
    for (const std::int32_t blockMode : {2, -1}) {
        AnalyzerRig rig;
        askForBins(rig, blockMode);
        rig.prepare();
        EXPECT_THAT(
            rig.run(60, [](auto i) { return numbered(i, 1000.0 + 20.0 * static_cast<double>(i)); }),
            IsEmpty());
    }
}

// --- storing

TEST(StoredOrderBlock, WritesTheWaterfallsAlsoWhenOnlyHarmonicsAreAskedFor)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.binHarmonics = 1;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.prepare();
    EXPECT_THAT(rig.run(50, crossingAt(30)), ElementsAre(Event{31, "binHarmonics rpm bin 3 more"}));
    EXPECT_EQ(rig.analyzer.results().orderA.row(3)[0], 22.0F + 7.5F);
    EXPECT_EQ(rig.analyzer.results().orderB.row(3)[0], 22.0F + 7.5F);
}

TEST(StoredOrderBlock, HoldsTheTwoSensesOfRotationInMode1)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForBins(rig, HARMOTRACK_BLOCK_AT_CROSSING);
    rig.parameters.binOrderTwoSided = 1;
    rig.prepare();
    EXPECT_EQ(rig.run(40, orbit).front().what, "binOrderSpectrum binOrderTwoSided rpm bin 3 more");
    const float* row = rig.analyzer.results().orderTwoSided.row(3);
    EXPECT_THAT(std::vector<float>(row, row + 15),
                testing::Pointwise(testing::FloatNear(1e-6F), orbitRow()));
}

TEST(StoredOrderBlock, AnnouncesATwoSidedRowThatTheOtherModesDoNotHave)
{
    AnalyzerRig real;
    askForBins(real, HARMOTRACK_BLOCK_AT_CROSSING);
    real.parameters.binOrderTwoSided = 1;
    real.prepare();
    EXPECT_EQ(real.run(40, orbit).front().what, "binOrderSpectrum binOrderTwoSided rpm bin 3 more");
    EXPECT_EQ(real.analyzer.results().orderTwoSided.cols(), 0U);
    AnalyzerRig complex(HARMOTRACK_MODE_ONE_COMPLEX);
    askForBins(complex, HARMOTRACK_BLOCK_AT_CROSSING);
    complex.parameters.binOrderTwoSided = 1;
    complex.prepare();
    EXPECT_EQ(complex.run(40, orbit).front().what,
              "binOrderSpectrum binOrderTwoSided rpm bin 3 more");
    EXPECT_EQ(complex.analyzer.results().orderTwoSided.cols(), 0U);
}

// Values of flags are handed on as they are, and any of them ends the call.
TEST(StoredOrderBlock, HandsOnTheValuesOfTheFlags)
{
    AnalyzerRig rig;
    rig.parameters.binOrderSpectrum = 0x80;
    rig.parameters.binHarmonics = 2;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.prepare();
    rig.onResult = [](const CalculationResult& result) {
        EXPECT_EQ(result.binOrderSpectrum, 0x80);
        EXPECT_EQ(result.binHarmonics, 2);
        EXPECT_EQ(result.consumed, 0);
    };
    EXPECT_THAT(rig.run(50, crossingAt(30)), SizeIs(1));
}

// The value stays within the wide band of bin 5 while a shorter axis ends before it.
TEST(StoredOrderBlock, OfABinBeyondTheAxisIsPassedOver)
{
    AnalyzerRig rig;
    askForBins(rig, HARMOTRACK_BLOCK_CONTIGUOUS);
    rig.binning.hysteresisPercent = 400.0F;
    rig.prepare();
    rig.run(20, [](auto i) { return numbered(i, i < 12 ? 1500.0 : 1200.0); });
    ASSERT_EQ(rig.processed(), 12);
    rig.binning.maxValue = 1200.0F;
    rig.analyzer.preinitiate();

    EXPECT_THAT(rig.run(40, [](auto i) { return numbered(20 + i, 1200.0); }), IsEmpty());

    EXPECT_EQ(rig.analyzer.binning().currentBin, 5);
    EXPECT_EQ(rig.analyzer.blockBinValue(), 1200.0); // blocks were computed all the same
}

// --- weighting

constexpr float kTwoPi = 6.2831853F;

// An impulse has the modulus 1/8 on every line; differentiation multiplies by 2 pi f. Row r of the
// weighting table stands for 600 + 54 r rpm, and sample i of the run has exactly the speed of row
// i. Line k is order k / 2.
AngleSample impulse(std::int64_t i)
{
    return {.a = i % kBlock == 0 ? 1.0 : 0.0,
            .b = i % kBlock == 0 ? 2.0 : 0.0,
            .frequency = (600.0 + 54.0 * static_cast<double>(i)) / 60.0};
}

float weightAt(std::int64_t row, std::size_t line)
{
    return kTwoPi * (600.0F + 54.0F * static_cast<float>(row)) / 60.0F * 0.5F *
           static_cast<float>(line);
}

TEST(OrderWeighting, IsThatOfTheSpeedAtTheMiddleOfTheBlock)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForRows(rig);
    rig.analysis.weightingType = HARMOTRACK_WEIGHTING_DIFFERENTIATE;
    rig.prepare();
    ASSERT_EQ(positions(rig.run(30, impulse)).front(), 16);
    for (std::size_t k = 0; k < 8; ++k) {
        EXPECT_FLOAT_EQ(rig.analyzer.results().orderRowA[k], weightAt(8, k) / 8.0F) << k;
        EXPECT_FLOAT_EQ(rig.analyzer.results().orderRowB[k], weightAt(8, k) / 4.0F) << k;
    }
}

// Of A either half walks the row from its start. B is weighted as one-sided whatever the flag, so
// that its upper half runs on into the next row.
TEST(OrderWeighting, OfTwoSidedSpectraTreatsTheSignalsOfMode1Differently)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForRows(rig);
    rig.analysis.weightingType = HARMOTRACK_WEIGHTING_DIFFERENTIATE;
    rig.analysis.twoSided = 1;
    rig.prepare();
    rig.run(30, impulse);
    for (std::size_t k = 0; k < 8; ++k) {
        EXPECT_FLOAT_EQ(rig.analyzer.results().orderRowA[k], weightAt(8, k) / 8.0F) << k;
        EXPECT_FLOAT_EQ(rig.analyzer.results().orderRowA[8 + k], weightAt(8, k) / 8.0F) << k;
        EXPECT_FLOAT_EQ(rig.analyzer.results().orderRowB[k], weightAt(8, k) / 4.0F) << k;
        EXPECT_FLOAT_EQ(rig.analyzer.results().orderRowB[8 + k], weightAt(9, k) / 4.0F) << k;
    }
}

} // namespace
} // namespace Velmora::OrderTracking

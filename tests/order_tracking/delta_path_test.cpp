#include "analyzer_rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstdint>
#include <numbers>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Value = std::complex<float>;

constexpr double kPi = std::numbers::pi;

// --- delta means

// A period that never ends by itself.
void askForDelta(AnalyzerRig& rig)
{
    rig.parameters.deltaOrderSpectrum = 1;
    rig.parameters.deltaHarmonics = 1;
    rig.analysis.deltaOnTime = 1;
    rig.analysis.deltaSeconds = 1e9F;
}

// The positions of samples at which a block was computed, by the mean of the binned value.
template <typename MakeSample>
std::vector<std::int64_t> blockCentres(AnalyzerRig& rig, std::int64_t count, const MakeSample& make)
{
    std::vector<std::int64_t> centres;
    double last = rig.analyzer.blockBinValue();
    for (std::int64_t i = 0; i < count; ++i) {
        rig.addAngle(make(i));
        rig.drain();
        const double value = rig.analyzer.blockBinValue();
        if (value != last) centres.push_back(std::lround(value + 0.5));
        last = value;
    }
    return centres;
}

AngleSample numberedBin(std::int64_t i)
{
    return numbered(i, static_cast<double>(i));
}

// The first block comes when more than half a block has passed; its middle is the sample itself.
TEST(Delta, BlocksLieEdgeToEdge)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.prepare();
    EXPECT_THAT(blockCentres(rig, 70, numberedBin), ElementsAre(9, 25, 41, 57));
    EXPECT_THAT(rig.events, IsEmpty());
}

TEST(Delta, CountsFromTheReset)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.prepare();
    blockCentres(rig, 40, numberedBin);
    ASSERT_EQ(rig.processed(), 32);
    rig.analyzer.reset();
    EXPECT_THAT(blockCentres(rig, 40, [](auto i) { return numberedBin(40 + i); }),
                ElementsAre(41, 57));
}

TEST(Delta, DoesNothingWithoutAPeriodOrWithoutAFlag)
{
    AnalyzerRig noPeriod;
    askForDelta(noPeriod);
    noPeriod.analysis.deltaOnTime = 0;
    noPeriod.prepare();
    EXPECT_THAT(blockCentres(noPeriod, 60, numberedBin), IsEmpty());
    AnalyzerRig noFlag;
    askForDelta(noFlag);
    noFlag.parameters = {};
    noFlag.parameters.binOrderSpectrum = 1;
    noFlag.analysis.blockMode = -1;
    noFlag.prepare();
    EXPECT_THAT(blockCentres(noFlag, 60, numberedBin), IsEmpty());
}

// An order 1 with amplitude 3 and phase 0.4 against the shaft, and an offset.
AngleSample synchronous(std::int64_t i)
{
    const double shaft = 2.0 * kPi * static_cast<double>(i) / 8.0;
    return {.a = 3.0 * std::cos(shaft + 0.4) + 0.5,
            .b = 2.0 * std::cos(shaft - 1.0) + std::cos(2.0 * shaft),
            .angle = 45.0 * static_cast<double>(i % 8)};
}

void expectNear(Value value, std::complex<double> expected)
{
    EXPECT_NEAR(std::abs(std::complex<double>(value) - expected), 0.0, 1e-6) << value;
}

// Two blocks with the same shaft phase and signal have the mean that either has.
TEST(Delta, SpectrumIsTurnedToTheShaftLineByLine)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForDelta(rig);
    rig.prepare();
    std::int64_t next = 0;
    for (const int samples : {20, 16, 16}) {
        rig.run(samples, [&](auto) { return synchronous(next++); });
        const auto& a = rig.analyzer.results().deltaSpectrumA;
        const auto& b = rig.analyzer.results().deltaSpectrumB;
        ASSERT_THAT(a, SizeIs(8));
        expectNear(a[0], 0.5);
        expectNear(a[2], std::polar(3.0, 0.4));
        expectNear(a[3], 0.0);
        expectNear(b[2], std::polar(2.0, -1.0));
        expectNear(b[4], 1.0);
    }
}

TEST(Delta, SpectrumOfSinesHasAQuarterTurnMore)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForDelta(rig);
    rig.analysis.phaseReference = HARMOTRACK_PHASE_REFERENCE_SINE;
    rig.prepare();
    rig.run(20, synchronous);
    const double quarter = kPi / 2.0;
    expectNear(rig.analyzer.results().deltaSpectrumA[0], std::polar(0.5, quarter));
    expectNear(rig.analyzer.results().deltaSpectrumA[2], std::polar(3.0, 0.4 + quarter));
    expectNear(rig.analyzer.results().deltaSpectrumB[4], std::polar(1.0, quarter));
}

// Order 1 then has the phase 0 in either spectrum; order 2 of B is 2 cos(shaft - 1) turned, twice.
// As sines, order 1 comes back to 0 and others are off by their order less one quarter turns.
TEST(Delta, SpectrumMayBeReferredToItsOwnOrder1)
{
    for (const auto reference :
         {HARMOTRACK_PHASE_REFERENCE_COSINE, HARMOTRACK_PHASE_REFERENCE_SINE}) {
        AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
        askForDelta(rig);
        rig.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
        rig.analysis.phaseReference = reference;
        rig.prepare();
        rig.run(20, synchronous);
        const double quarter = reference == HARMOTRACK_PHASE_REFERENCE_SINE ? kPi / 2.0 : 0.0;
        expectNear(rig.analyzer.results().deltaSpectrumA[2], 3.0);
        expectNear(rig.analyzer.results().deltaSpectrumB[2], 2.0);
        expectNear(rig.analyzer.results().deltaSpectrumB[4], std::polar(1.0, 2.0 - quarter));
    }
}

TEST(Delta, NeverRemovesTheMean)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.analysis.removeMeanOrder = 1;
    rig.prepare();
    rig.run(20, synchronous);
    expectNear(rig.analyzer.results().deltaSpectrumA[0], 0.5);
}

TEST(Delta, LeavesTheUpperHalfOfATwoSidedSpectrumZero)
{
    AnalyzerRig rig(HARMOTRACK_MODE_ONE_COMPLEX);
    askForDelta(rig);
    rig.analysis.twoSided = 1;
    rig.prepare();
    rig.run(40, [](auto i) { return AngleSample{.a = i % 16 == 0 ? 1.0 : 0.0}; });
    const auto& mean = rig.analyzer.results().deltaSpectrumA;
    ASSERT_THAT(mean, SizeIs(16));
    for (std::size_t k = 0; k < 8; ++k)
        EXPECT_NEAR(std::abs(mean[k]), k == 0 ? 0.0625F : 0.125F, 1e-7F);
    for (std::size_t k = 8; k < 16; ++k) EXPECT_EQ(mean[k], Value());
}

AngleSample noisy(std::int64_t i)
{
    const auto x = static_cast<double>(i);
    return {
        .a = std::sin(x * x), .b = std::sin(0.7 * x * x), .bin = x, .angle = 30.0 * std::sin(x)};
}

// The spectra and harmonics of single blocks: with every block a period ends, since the binned
// value moves by 16 from block to block, and then the next one overwrites.
std::vector<std::vector<Value>> singleBlocks(int count)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForDelta(rig);
    rig.orders = {1.0F, 0.75F};
    rig.analysis.deltaOnTime = 0;
    rig.analysis.deltaOnBinChange = 1;
    rig.binning.step = 1.0F;
    rig.prepare();
    std::vector<std::vector<Value>> blocks;
    rig.onResult = [&](const CalculationResult&) {
        const ResultStorage& results = rig.analyzer.results();
        std::vector<Value> all;
        for (const auto* mean : {&results.deltaSpectrumA,
                                 &results.deltaSpectrumB,
                                 &results.deltaHarmonicsA,
                                 &results.deltaHarmonicsB})
            all.insert(all.end(), mean->begin(), mean->end());
        blocks.push_back(all);
    };
    rig.run(16 * count + 10, noisy);
    return blocks;
}

// (old n + v) / (n + 1) in float, each part by one division.
TEST(Delta, MeanRunsInFloatToTheBit)
{
    const auto blocks = singleBlocks(5);
    ASSERT_EQ(blocks.size(), 5U);
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    askForDelta(rig);
    rig.orders = {1.0F, 0.75F};
    rig.binning.step = 1.0F;
    rig.prepare();
    std::vector<Value> expected(20);
    std::int64_t next = 0;
    for (std::size_t n = 0; n < blocks.size(); ++n) {
        const auto weight = static_cast<float>(n);
        for (std::size_t j = 0; j < expected.size(); ++j) {
            const float re = (expected[j].real() * weight + blocks[n][j].real()) / (weight + 1.0F);
            const float im = (expected[j].imag() * weight + blocks[n][j].imag()) / (weight + 1.0F);
            expected[j] = {re, im};
        }
        for (; rig.processed() < 10 + 16 * static_cast<std::int64_t>(n); ++next) {
            rig.addAngle(noisy(next));
            rig.drain();
        }
        const ResultStorage& results = rig.analyzer.results();
        for (std::size_t k = 0; k < 8; ++k) {
            EXPECT_EQ(results.deltaSpectrumA[k], expected[k]) << n;
            EXPECT_EQ(results.deltaSpectrumB[k], expected[8 + k]) << n;
        }
        for (std::size_t k = 0; k < 2; ++k) {
            EXPECT_EQ(results.deltaHarmonicsA[k], expected[16 + k]) << n;
            EXPECT_EQ(results.deltaHarmonicsB[k], expected[18 + k]) << n;
        }
    }
}

// --- the end of a delta period

TEST(DeltaPeriod, EndsWhenItsTimeIsUp)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.analysis.deltaSeconds = 20.0F;
    rig.prepare();
    EXPECT_THAT(rig.run(60, [](auto i) { return numbered(i); }),
                ElementsAre(Event{22, "deltaHarmonics deltaOrderSpectrum rpm more"},
                            Event{43, "deltaHarmonics deltaOrderSpectrum rpm more"}));
    EXPECT_EQ(rig.analyzer.results().deltaTime, 42.0);
}

TEST(DeltaPeriod, AnnouncesWhatWasAskedFor)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.parameters.deltaHarmonics = 0;
    rig.analysis.deltaSeconds = 20.0F;
    rig.prepare();
    EXPECT_EQ(rig.run(40, [](auto i) { return numbered(i); }).front().what,
              "deltaOrderSpectrum more");
}

// When the time is up a block is taken at once, and counts for the spacing like any other: the
// regular ones are then due later.
TEST(DeltaPeriod, TakesABlockWhenItsTimeIsUp)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.analysis.deltaSeconds = 30.0F;
    rig.prepare();
    // 9 and 25 by their spacing; the time is up at 31, the spacing at 57 and the time at 62
    EXPECT_THAT(blockCentres(rig, 80, numberedBin), ElementsAre(9, 25, 31, 57, 62));
}

// No block reaches back beyond the first sample, yet the period ends.
TEST(DeltaPeriod, OfATimeAxisFarFromZeroEndsAtTheFirstSampleWithoutABlock)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.analysis.deltaSeconds = 20.0F;
    rig.prepare();
    EXPECT_THAT(rig.run(9,
                        [](auto i) {
                            AngleSample sample = numbered(i);
                            sample.time += 5000.0;
                            return sample;
                        }),
                ElementsAre(Event{1, "deltaHarmonics deltaOrderSpectrum rpm more"}));
    EXPECT_EQ(rig.analyzer.results().deltaTime, 5000.0);
    EXPECT_THAT(rig.analyzer.results().deltaSpectrumA, Each(Value()));
    EXPECT_EQ(rig.analyzer.blockBinValue(), 0.0);
}

// At pos = N / 2 there still is none, at the next sample there is.
TEST(DeltaPeriod, TakesNoBlockUpToHalfABlock)
{
    for (const std::int64_t at : {8, 9}) {
        AnalyzerRig rig;
        askForDelta(rig);
        rig.analysis.deltaSeconds = static_cast<float>(at) - 0.5F;
        rig.prepare();
        rig.run(at + 9, numberedBin);
        ASSERT_EQ(rig.events.size(), 1U);
        EXPECT_EQ(rig.events[0].processed, at + 1);
        EXPECT_EQ(rig.analyzer.blockBinValue(), at == 8 ? 0.0 : 8.5);
    }
}

// 1000 min + 0.001 s is 60000 s in float. 0.3 s is 0.300000012 s.
TEST(DeltaPeriod, IsASumInFloatAndComparedInDouble)
{
    const auto ends = [](float minutes, float seconds, double time) {
        AnalyzerRig rig;
        askForDelta(rig);
        rig.analysis.deltaMinutes = minutes;
        rig.analysis.deltaSeconds = seconds;
        rig.prepare();
        return !rig.run(9, [time](auto) { return AngleSample{.time = time}; }).empty();
    };
    EXPECT_FALSE(ends(1000.0F, 0.001F, 60000.0));
    EXPECT_TRUE(ends(1000.0F, 0.001F, 60000.0005));
    EXPECT_FALSE(ends(0.0F, 0.3F, 0.300000005));
    EXPECT_TRUE(ends(0.0F, 0.3F, 0.30000002));
    EXPECT_FALSE(ends(1.5F, 2.0F, 92.0));
    EXPECT_TRUE(ends(1.5F, 2.0F, 92.001));
}

// From 0 at the start the first block with more than a step ends a period.
TEST(DeltaPeriod, EndsWhenTheBlocksBinnedValueHasMovedByMoreThanAStep)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.analysis.deltaOnTime = 0;
    rig.analysis.deltaOnBinChange = 1;
    rig.binning.step = 30.0F;
    rig.prepare();
    // means 8.5, 24.5, 40.5, 56.5, 72.5: 40.5 - 0 and 72.5 - 40.5 are above 30
    EXPECT_THAT(positions(rig.run(90, numberedBin)), ElementsAre(41, 73));
    EXPECT_EQ(rig.analyzer.results().deltaTime, 73.0);
}

TEST(DeltaPeriod, GoesOnWhenTheBinnedValueHasMovedByExactlyAStep)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.analysis.deltaOnTime = 0;
    rig.analysis.deltaOnBinChange = 1;
    rig.binning.step = 0.1F;
    rig.prepare();
    const auto step = static_cast<double>(0.1F);
    EXPECT_THAT(rig.run(20, [=](auto) { return AngleSample{.bin = step}; }), IsEmpty());
    EXPECT_EQ(rig.analyzer.blockBinValue(), step);
    AnalyzerRig falling;
    askForDelta(falling);
    falling.analysis.deltaOnTime = 0;
    falling.analysis.deltaOnBinChange = 1;
    falling.binning.step = 0.1F;
    falling.prepare();
    EXPECT_THAT(positions(falling.run(20, [](auto) { return AngleSample{.bin = -0.11}; })),
                ElementsAre(9));
}

// The value of a block that a bin asked for counts too: here at sample 12, between 9 and 25.
TEST(DeltaPeriod, MayEndAtABlockOfABin)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.parameters.binOrderSpectrum = 1;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.analysis.deltaOnTime = 0;
    rig.analysis.deltaOnBinChange = 1;
    rig.prepare();
    // 1290 ends the first period at 9; the block round 12 has 8 of 1290, 5 of 1505 and 3 of 2400
    const auto events = rig.run(22, [](auto i) {
        return AngleSample{.bin = i < 12 ? 1290.0 : i < 17 ? 1505.0 : 2400.0};
    });
    EXPECT_THAT(events,
                ElementsAre(Event{10, "deltaHarmonics deltaOrderSpectrum rpm more"},
                            Event{13,
                                  "binOrderSpectrum deltaHarmonics deltaOrderSpectrum rpm bin 5 "
                                  "more"}));
}

// Values between blocks do not count.
TEST(DeltaPeriod, FollowsTheBinnedValueAtBlocksAlone)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.analysis.deltaOnTime = 0;
    rig.analysis.deltaOnBinChange = 1;
    rig.prepare();
    EXPECT_THAT(
        positions(rig.run(33, [](auto i) { return AngleSample{.bin = i < 10 ? 0.0 : 5000.0}; })),
        ElementsAre(9));
}

// The blocks stay 16 apart, and the one after the release overwrites the mean.
TEST(DeltaPeriod, RestartsTheMeanButNotTheSpacing)
{
    AnalyzerRig rig;
    askForDelta(rig);
    rig.analysis.deltaSeconds = 30.0F;
    rig.prepare();
    // Amplitudes 1, 3 and, from sample 40 on, 7
    std::vector<double> means;
    for (std::int64_t i = 0; i < 75; ++i) {
        const double amplitude = i < 17 ? 1.0 : i < 40 ? 3.0 : 7.0;
        rig.addAngle({.a = amplitude, .time = static_cast<double>(i)});
        rig.drain();
        means.push_back(static_cast<double>(std::abs(rig.analyzer.results().deltaSpectrumA[0])));
    }
    // sample p is taken with the delivery of sample p + 8; blocks at 9, 25, 31 (release), 57, 62
    EXPECT_EQ(means[8 + 9], 1.0);
    EXPECT_EQ(means[8 + 25], 2.0);
    EXPECT_NEAR(means[8 + 31], (1.0 + 3.0 + 3.0) / 3.0, 1e-6);
    EXPECT_NEAR(means[8 + 56], (1.0 + 3.0 + 3.0) / 3.0, 1e-6);
    EXPECT_EQ(means[8 + 57], 7.0);
}

} // namespace
} // namespace Velmora::OrderTracking

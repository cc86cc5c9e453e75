#include "analyzer_rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <functional>
#include <limits>
#include <numbers>
#include <string>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using testing::ElementsAre;
using testing::FloatNear;
using testing::IsEmpty;
using testing::Pointwise;
using testing::SizeIs;

constexpr double kRate = 160.0;   // of the rig
constexpr double kDuration = 0.1; // of its blocks
constexpr double kPi = std::numbers::pi;

// A run over both rings: sample s of the time ring has the value s, so that line 0 of a rectangular
// block tells where it began, at its value less 7.5. Equal-angle samples follow one another at
// equal times too, by default at 80 Hz, so that one comes with two time samples.
class TimeRig : public AnalyzerRig {
public:
    TimeRig()
    {
        parameters.binTimeSpectrum = 1;
        timeSlots = 97;
    }

    // Delivers both rings up to `duration` seconds, and returns what was stored: "bin@first
    // sample".
    std::vector<std::string> stored(double duration, const std::function<double(double)>& binAt)
    {
        std::vector<std::string> list;
        onResult = [&](const CalculationResult& result) {
            const std::int32_t bin = result.bin;
            list.push_back(std::to_string(bin) + "@" + std::to_string(firstOf(bin)));
        };
        for (; static_cast<double>(nextTime_) < duration * kRate; ++nextTime_) {
            addTime(signal(nextTime_), -signal(nextTime_));
            if (nextTime_ % 2 == 0) {
                const double time = firstTime + static_cast<double>(nextTime_) / kRate;
                addAngle({.bin = binAt(time), .time = time});
            }
            drain();
        }
        return list;
    }

    [[nodiscard]] long firstOf(std::int32_t bin) const
    {
        const auto row = static_cast<std::uint64_t>(bin);
        return std::lround(static_cast<double>(analyzer.results().timeA.row(row)[0]) - 7.5);
    }

    double firstTime = 0.0; // of the equal-angle samples
    std::function<double(std::int64_t)> signal = [](std::int64_t s) {
        return static_cast<double>(s);
    };

private:
    std::int64_t nextTime_ = 0;
};

// --- a block at each crossing

double crossingAt(double time, double crossing)
{
    return time < crossing ? 1290.0 : 1310.0;
}

// At 0.5 s the block begins at 0.45 s, sample 72.
TEST(TimeBlockAtCrossing, IsCentredOnTheTimeOfTheCrossing)
{
    TimeRig rig;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.prepare();
    EXPECT_THAT(rig.stored(1.0, [](double t) { return crossingAt(t, 0.5); }), ElementsAre("3@72"));
    EXPECT_EQ(rig.events.front().what, "binTimeSpectrum rpm bin 3 more");
}

TEST(TimeBlockAtCrossing, IsOneOfManyInARingThatGoesRound)
{
    TimeRig rig;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.timeSlots = 53;
    rig.prepare();
    EXPECT_THAT(
        rig.stored(1.45, [](double t) { return 1010.0 + 100.0 * std::floor(5.0 * t + 1e-6); }),
        ElementsAre("1@24", "2@56", "3@88", "4@120", "5@152", "6@184"));
}

// The time stamp finds the nearest sample, half away from zero: 72.5 and 73.5 go up.
TEST(TimeBlockAtCrossing, BeginsAtTheNearestSample)
{
    for (const auto& [offset, first] : {std::pair(0.0, 72),
                                        std::pair(0.25, 72),
                                        std::pair(0.49, 72),
                                        std::pair(0.5, 73),
                                        std::pair(-0.25, 72),
                                        std::pair(-0.51, 71)}) {
        TimeRig rig;
        rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
        rig.firstTime = offset / kRate;
        rig.prepare();
        rig.stored(1.0, [](double t) { return crossingAt(t, 0.496); });
        EXPECT_EQ(rig.firstOf(3), first) << offset;
    }
}

// Time axes are tied by time alone: 0.125 s, or 20 samples, off.
TEST(TimeBlockAtCrossing, FollowsTheTimeStampAndNotTheNumberOfTheSample)
{
    TimeRig rig;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.firstTime = -0.125;
    rig.prepare();
    EXPECT_THAT(rig.stored(1.0, [](double t) { return crossingAt(t, 0.5); }), ElementsAre("3@72"));
}

// Before 0.05 s half a block lies before the start; at 0.05 s it begins with sample 0.
TEST(TimeBlockAtCrossing, IsSkippedWhenItBeginsBeforeTheFirstSample)
{
    for (const bool inTime : {false, true}) {
        TimeRig rig;
        rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
        rig.prepare();
        const double crossing = inTime ? 0.05 : 0.0375;
        const auto list = rig.stored(1.0, [=](double t) { return crossingAt(t, crossing); });
        if (inTime) {
            EXPECT_THAT(list, ElementsAre("3@0"));
        } else {
            EXPECT_THAT(list, IsEmpty());
        }
        EXPECT_EQ(rig.analyzer.binning().currentBin, 3);
    }
}

// A delivery of 160 samples at once leaves the last 47 in the ring: from 113 on. The block of the
// crossing begins at sample 112, 113 or 114.
TEST(TimeBlockAtCrossing, IsSkippedWhenTheRingHasLostItsBeginning)
{
    for (const std::int64_t first : {112, 113, 114}) {
        AnalyzerRig rig;
        rig.parameters.binTimeSpectrum = 1;
        rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
        rig.prepare();
        for (int s = 0; s < 160; ++s) rig.addTime(s);
        const double time = static_cast<double>(first) / kRate + kDuration * 0.5;
        for (int i = 0; i < 9; ++i) rig.addAngle({.bin = i == 0 ? 1310.0 : 1305.0, .time = time});
        EXPECT_EQ(rig.calculate(), first == 112 ? "" : "binTimeSpectrum rpm bin 3 more");
        EXPECT_EQ(rig.processed(), 1);
    }
}

// Half a block of a time stamp that is no number: sample 0 by its low 32 bits, in some slot.
TEST(TimeBlockAtCrossing, OfATimeThatIsNoNumberIsSomeBlock)
{
    AnalyzerRig rig;
    rig.parameters.binTimeSpectrum = 1;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.prepare();
    for (int s = 0; s < 47; ++s) rig.addTime(s);
    for (int i = 0; i < 9; ++i)
        rig.addAngle({.bin = 1310.0, .time = std::numeric_limits<double>::quiet_NaN()});
    EXPECT_EQ(rig.calculate(), "binTimeSpectrum rpm bin 3 more");
    EXPECT_EQ(rig.analyzer.results().timeA.row(3)[0], 7.5F);
}

// --- contiguous blocks

// The block in hand starts at 0, 0.1 ... and is taken half a duration later than it began: what
// is due at 0.1 s are the samples from 0.05 s on.
TEST(ContiguousTimeBlocks, BeginHalfABlockAfterTheirStart)
{
    TimeRig rig;
    rig.prepare();
    EXPECT_THAT(rig.stored(0.6, [](double) { return 1300.0; }),
                ElementsAre("3@8", "3@24", "3@40", "3@56"));
}

// At 0.25 s: half a block before it, into the bin that was left, and a new start.
TEST(ContiguousTimeBlocks, AreFlushedIntoTheBinThatWasLeft)
{
    TimeRig rig;
    rig.prepare();
    EXPECT_THAT(rig.stored(0.6, [](double t) { return t < 0.25 ? 1300.0 : 1400.0; }),
                ElementsAre("3@8", "3@24", "3@32", "4@48", "4@64"));
}

TEST(ContiguousTimeBlocks, AreNotFlushedAcrossBins)
{
    TimeRig rig;
    rig.binning.blocksAcrossBins = 1;
    rig.prepare();
    EXPECT_THAT(rig.stored(0.6, [](double t) { return t < 0.25 ? 1300.0 : 1400.0; }),
                ElementsAre("3@8", "3@24", "4@40", "4@56"));
}

// At 0.0375 s half a block lies before the first sample: nothing is stored, and the start moves to
// the change all the same, so that the next block is due at 0.1375 s.
TEST(ContiguousTimeBlocks, StartAnewAtAChangeThatCouldNotBeFlushed)
{
    TimeRig rig;
    rig.prepare();
    EXPECT_THAT(rig.stored(0.4, [](double t) { return t < 0.0375 ? 1300.0 : 1400.0; }),
                ElementsAre("4@14", "4@30"));
}

// The angle samples come in at 10.28 s and the start is 0: it moves on by one duration a sample
// until it has caught up, at 10.2 s. The blocks up to there begin before 10.15 s, and the ring of
// 47 at (1680 - 47) / 160 = 10.206 s. At 10.35 s the one from 10.25 s on, sample 1640, is taken.
TEST(ContiguousTimeBlocks, MoveOnPastBlocksThatAreLost)
{
    AnalyzerRig rig;
    rig.parameters.binTimeSpectrum = 1;
    rig.angleSlots = 211;
    rig.prepare();
    for (int s = 0; s < 1680; ++s) rig.addTime(s);
    for (int i = 0; i < 130; ++i) rig.addAngle({.bin = 1300.0, .time = 10.28});
    rig.drain();
    EXPECT_THAT(rig.events, IsEmpty());
    for (int i = 0; i < 20; ++i) rig.addAngle({.bin = 1300.0, .time = 10.35});
    rig.drain();
    EXPECT_THAT(rig.events, ElementsAre(Event{131, "binTimeSpectrum rpm bin 3 more"}));
    EXPECT_EQ(rig.analyzer.results().timeA.row(3)[0], 1640.0F + 7.5F);
}

TEST(ContiguousTimeBlocks, ThatWereMissedOffTheAxisAreMadeUpForAsFarAsTheRingReaches)
{
    TimeRig rig;
    rig.prepare();
    // back at 0.6 s with 0.7 s delivered the ring of 97 begins at sample 15 or so
    EXPECT_THAT(
        rig.stored(0.85, [](double t) { return t < 0.05  ? 1300.0
                                               : t < 0.6 ? 500.0
                                                         : 1700.0; }),
        ElementsAre("7@24", "7@40", "7@56", "7@72", "7@88", "7@104"));
}

TEST(TimeBlocks, AreNeverStoredInOtherBlockModes)
{
    for (const std::int32_t blockMode : {2, -1}) {
        TimeRig rig;
        rig.analysis.blockMode = blockMode;
        rig.prepare();
        EXPECT_THAT(rig.stored(1.0, [](double t) { return 1000.0 + 900.0 * t; }), IsEmpty());
    }
}

// --- the start of a run

// 320 samples at 320 Hz / 2: written / rate is 2 s, written / sampleRate / divider 0.5 s. With the
// latter the first sample, at 2 s, is late for the block that began at 0.5 s, which is taken from
// 0.55 s on.
TEST(TimeBlockStart, IsTheWrittenSamplesByTwoDivisions)
{
    AnalyzerRig rig;
    rig.parameters.binTimeSpectrum = 1;
    rig.sampleRate = 320.0;
    rig.rateDivider = 2;
    rig.timeSlots = 400;
    rig.initiate();
    for (int s = 0; s < 320; ++s) rig.addTime(s);
    rig.analyzer.reset();
    for (int s = 320; s < 360; ++s) rig.addTime(s);
    for (int i = 0; i < 9; ++i) rig.addAngle({.bin = 1300.0, .time = 2.0});
    EXPECT_EQ(rig.calculate(), "binTimeSpectrum rpm bin 3 more");
    EXPECT_EQ(rig.analyzer.results().timeA.row(3)[0], 88.0F + 7.5F);
}

// With a divider of 1 a run starts at the last sample written.
TEST(TimeBlockStart, IsTheEndOfWhatWasWrittenBeforeTheReset)
{
    AnalyzerRig rig;
    rig.parameters.binTimeSpectrum = 1;
    rig.timeSlots = 400;
    rig.initiate();
    for (int s = 0; s < 320; ++s) rig.addTime(s);
    rig.analyzer.reset();
    for (int s = 320; s < 360; ++s) rig.addTime(s);
    const double late = std::nextafter(2.0 + kDuration, 3.0);
    for (int i = 0; i < 10; ++i)
        rig.addAngle({.bin = 1300.0, .time = i == 0 ? 2.0 + kDuration - 1e-6 : late});
    EXPECT_EQ(rig.calculate(), "binTimeSpectrum rpm bin 3 more");
    EXPECT_EQ(rig.processed(), 2);
    EXPECT_EQ(rig.analyzer.results().timeA.row(3)[0], 328.0F + 7.5F);
}

// The rate of the ring is the divided one: 0.45 s are 72 samples.
TEST(TimeBlockAtCrossing, CountsSamplesAtTheDividedRate)
{
    TimeRig rig;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.sampleRate = 640.0;
    rig.rateDivider = 4;
    rig.prepare();
    EXPECT_THAT(rig.stored(1.0, [](double t) { return crossingAt(t, 0.5); }), ElementsAre("3@72"));
}

// --- what a block becomes

// Line k is 10 k Hz: 3 at 20 Hz forward, 1 at 30 Hz backward, round a centre of |3 + 4j|.
class TimeOrbit : public AnalyzerRig {
public:
    explicit TimeOrbit(std::int32_t mode = HARMOTRACK_MODE_ONE_REAL) : AnalyzerRig(mode)
    {
        analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    }

    // One block at samples 16 to 31, in bin 3.
    std::string take(double meanA = 3.0)
    {
        prepare();
        for (int s = 0; s < 47; ++s) {
            const double phase = 2.0 * kPi * s / 16.0;
            addTime(meanA + 3.0 * std::cos(2.0 * phase + 0.3) + std::cos(3.0 * phase),
                    4.0 + 3.0 * std::sin(2.0 * phase + 0.3) - std::sin(3.0 * phase));
        }
        for (int i = 0; i < 9; ++i) addAngle({.bin = 1310.0, .time = 0.15});
        return calculate();
    }

    std::vector<float> row(const ResultStorage::BinWaterfall& table) const
    {
        return {table.row(3), table.row(3) + table.cols()};
    }
};

TEST(StoredTimeBlock, HoldsTheModuliOfBothSpectraInMode1)
{
    TimeOrbit rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.binTimeSpectrum = 1;
    EXPECT_EQ(rig.take(), "binTimeSpectrum rpm bin 3 more");
    EXPECT_THAT(rig.row(rig.analyzer.results().timeA),
                Pointwise(FloatNear(1e-6F), {3.0F, 0.0F, 3.0F, 1.0F, 0.0F, 0.0F, 0.0F, 0.0F}));
    EXPECT_THAT(rig.row(rig.analyzer.results().timeB),
                Pointwise(FloatNear(1e-6F), {4.0F, 0.0F, 3.0F, 1.0F, 0.0F, 0.0F, 0.0F, 0.0F}));
}

TEST(StoredTimeBlock, HoldsTheTwoSensesOfRotationInMode1)
{
    TimeOrbit rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.binTimeTwoSided = 1;
    EXPECT_EQ(rig.take(), "binTimeTwoSided rpm bin 3 more");
    //                               -7 .. -4                 -3               0
    const std::vector<float> expected = {
        0.0F, 0.0F, 0.0F, 0.0F, 1.0F, 0.0F, 0.0F, 5.0F, 0.0F, 3.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F};
    EXPECT_THAT(rig.row(rig.analyzer.results().timeTwoSided),
                Pointwise(FloatNear(1e-6F), expected));
}

// Only lines 0 to M/2 - 1 of the complex signal, whatever twoSided says: the backward component is
// dropped, and the forward one reads twice its amplitude.
TEST(StoredTimeBlock, DropsNegativeFrequenciesInMode2)
{
    for (const bool twoSided : {false, true}) {
        TimeOrbit rig(HARMOTRACK_MODE_ONE_COMPLEX);
        rig.parameters.binTimeSpectrum = 1;
        rig.parameters.binTimeTwoSided = 1;
        rig.analysis.twoSided = twoSided ? 1 : 0;
        EXPECT_EQ(rig.take(), "binTimeSpectrum binTimeTwoSided rpm bin 3 more");
        EXPECT_THAT(rig.row(rig.analyzer.results().timeA),
                    Pointwise(FloatNear(1e-6F), {5.0F, 0.0F, 6.0F, 0.0F, 0.0F, 0.0F, 0.0F, 0.0F}));
        EXPECT_EQ(rig.analyzer.results().timeTwoSided.cols(), 0U);
    }
}

// 3 cos of the forward and 1 cos of the backward component; the mean is a modulus.
TEST(StoredTimeBlock, HoldsTheRealSignalInMode0)
{
    TimeOrbit rig;
    rig.parameters.binTimeSpectrum = 1;
    rig.take(-3.0);
    EXPECT_THAT(rig.row(rig.analyzer.results().timeA),
                Pointwise(FloatNear(1e-6F), {3.0F, 0.0F, 3.0F, 1.0F, 0.0F, 0.0F, 0.0F, 0.0F}));
}

TEST(StoredTimeBlock, IsWithoutTheMeanOnRequest)
{
    TimeOrbit rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.binTimeSpectrum = 1;
    rig.analysis.removeMeanTime = 1;
    rig.take();
    EXPECT_NEAR(rig.analyzer.results().timeA.row(3)[0], 0.0F, 1e-6F);
    EXPECT_NEAR(rig.analyzer.results().timeB.row(3)[0], 0.0F, 1e-6F);
    EXPECT_NEAR(rig.analyzer.results().timeA.row(3)[2], 3.0F, 1e-6F);
}

TEST(StoredTimeBlock, KeepsItsMeanWhenOrderBlocksLoseTheirs)
{
    TimeOrbit rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.binTimeSpectrum = 1;
    rig.analysis.removeMeanOrder = 1;
    rig.take();
    EXPECT_NEAR(rig.analyzer.results().timeA.row(3)[0], 3.0F, 1e-6F);
}

TEST(StoredTimeBlock, WritesTheWaterfallsAlsoWhenOnlyTheOverallLevelIsAskedFor)
{
    TimeOrbit rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.overall = 1;
    EXPECT_EQ(rig.take(), "overall rpm bin 3 more");
    EXPECT_NEAR(rig.analyzer.results().timeA.row(3)[2], 3.0F, 1e-6F);
    EXPECT_NEAR(rig.analyzer.results().timeB.row(3)[2], 3.0F, 1e-6F);
}

// Differentiation multiplies line k by 2 pi 10 k, at any speed; both signals alike.
TEST(StoredTimeBlock, IsWeightedByFrequency)
{
    TimeOrbit rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.binTimeSpectrum = 1;
    rig.analysis.weightingType = HARMOTRACK_WEIGHTING_DIFFERENTIATE;
    rig.take();
    for (const auto* table : {&rig.analyzer.results().timeA, &rig.analyzer.results().timeB}) {
        EXPECT_NEAR(table->row(3)[0], 0.0F, 1e-6F);
        EXPECT_NEAR(table->row(3)[2], 2.0F * 3.1415927F * 20.0F * 3.0F, 1e-3F);
        EXPECT_NEAR(table->row(3)[3], 2.0F * 3.1415927F * 30.0F, 1e-3F);
    }
}

// The value stays within the wide band of bin 5 while a shorter axis ends before it.
TEST(StoredTimeBlock, OfABinBeyondTheAxisIsPassedOver)
{
    AnalyzerRig rig;
    rig.parameters.binTimeSpectrum = 1;
    rig.binning.hysteresisPercent = 400.0F;
    rig.prepare();
    for (int s = 0; s < 80; ++s) rig.addTime(s);
    for (int i = 0; i < 12; ++i) rig.addAngle({.bin = i < 4 ? 1500.0 : 1200.0, .time = 0.05});
    rig.drain();
    ASSERT_EQ(rig.processed(), 4);
    rig.binning.maxValue = 1200.0F;
    rig.analyzer.preinitiate();
    for (int i = 0; i < 12; ++i) rig.addAngle({.bin = 1200.0, .time = 0.35});
    rig.drain();
    EXPECT_EQ(rig.analyzer.binning().currentBin, 5);
    EXPECT_THAT(rig.events, IsEmpty());
}

} // namespace
} // namespace Velmora::OrderTracking

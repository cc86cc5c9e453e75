#include "autotracker/autotracker.h"

#include "test_tracker.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <cstdint>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::Autotracker {
namespace {

constexpr double kHertz = 0.15915494309189535;
constexpr double kRpm = 9.549296585513721;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

void useRpm(TestTracker& test)
{
    test.setup.frequencyInRpm = 1;
    test.setup.minFrequency *= 60.0;
    test.setup.maxFrequency *= 60.0;
}

// The position evaluated last, from what it left in the design: cos(o x dt), o being order 1.
double lastPosition(const Autotracker& tracker)
{
    return std::acos(tracker.design()(1, 1)) * tracker.trackingRate();
}

// ---- a step: when there are samples -------------------------------------------------------------

TEST(Tracking, BlockThatIsNotWholeChangesNothing)
{
    TestTracker test;
    test.start();
    const TrackingResult first = test.tracker.calculate();
    EXPECT_EQ(first.valid, 0);
    EXPECT_EQ(first.needsMoreSamples, 1);
    EXPECT_EQ(+first.frequency, 0.0);

    const std::vector<double> samples = steadyMachine(200, 1000.0, 40.0);
    test.feed(std::span(samples).first(149));
    const TrackingResult estimate = test.tracker.calculate();
    EXPECT_EQ(estimate.valid, 1);
    const double current = test.tracker.currentFrequency();
    const double previous = test.tracker.previousFrequency();
    const TrackingResult none = test.tracker.calculate(); // 99 samples
    EXPECT_EQ(none.valid, 0);
    EXPECT_EQ(none.needsMoreSamples, 1);
    EXPECT_EQ(+none.frequency, +estimate.frequency);
    EXPECT_EQ(+none.time, +estimate.time);
    EXPECT_EQ(test.tracker.currentFrequency(), current);
    EXPECT_EQ(test.tracker.previousFrequency(), previous);
    EXPECT_EQ(+test.tracker.signal().readCount, 50);
}

TEST(Tracking, OneBlockIsEnoughAndThenThereIsNone)
{
    TestTracker test;
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    const TrackingResult result = test.tracker.calculate();
    EXPECT_EQ(result.valid, 1);
    EXPECT_EQ(result.needsMoreSamples, 1);
}

TEST(Tracking, SecondWholeBlockIsAnnounced)
{
    TestTracker test;
    test.start();
    test.feed(steadyMachine(150, 1000.0, 40.0));
    EXPECT_EQ(test.tracker.calculate().needsMoreSamples, 0);
    const TrackingResult second = test.tracker.calculate();
    EXPECT_EQ(second.valid, 1);
    EXPECT_EQ(second.needsMoreSamples, 1);
}

TEST(Tracking, FullOverlapAnalysesTheSameBlockAtEveryCall)
{
    TestTracker test;
    test.useBlocksOf(100);
    test.setup.overlapPercent = 100.0;
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    const TrackingResult first = test.tracker.calculate();
    EXPECT_EQ(first.needsMoreSamples, 0);
    const TrackingResult second = test.tracker.calculate();
    EXPECT_EQ(second.valid, 1);
    EXPECT_EQ(+second.time, +first.time);
    EXPECT_EQ(+test.tracker.signal().readCount, 0);
}

// ---- the stamp ----------------------------------------------------------------------------------

// Sample 50 of a block of 101.
TEST(Tracking, TimeIsThatOfTheMiddleOfTheBlock)
{
    TestTracker test;
    test.useBlocksOf(101);
    test.start();
    test.feed(steadyMachine(303, 1000.0, 40.0));
    for (const double middle : {50.0, 151.0, 252.0})
        EXPECT_EQ(+test.tracker.calculate().time, middle / 1000.0);
}

TEST(Tracking, TimeCountsFromTheHostsOwnSampleNumber)
{
    TestTracker test;
    test.samplesBefore = 7000;
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    EXPECT_EQ(+test.tracker.calculate().time, 7.05);
}

TEST(Tracking, TimeGoesOnAfterAResetOfADecimatingTracker)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.slots = 9000;
    test.start();
    const std::vector<double> samples = steadyMachine(4000, 20000.0, 40.0);
    test.feed(samples);
    EXPECT_EQ(+test.tracker.calculate().time, 62 / 1250.0);
    EXPECT_EQ(+test.tracker.calculate().time, (62 + 62) / 1250.0);
    test.tracker.reset();
    test.feed(samples);
    EXPECT_EQ(+test.tracker.calculate().time, 62 / 1250.0 + 4000 / 20000.0);
}

// ---- the grid -----------------------------------------------------------------------------------

TEST(Tracking, WorkedExampleInHertz)
{
    TestTracker test;
    test.sampleRate = 20000.0;
    test.start();
    EXPECT_EQ(test.tracker.decimation(), 16);
    EXPECT_EQ(test.tracker.trackingRate(), 1250.0);
    EXPECT_EQ(+test.setup.blockDuration, 0.1);
    EXPECT_EQ(test.tracker.blockLength(), 125);
    EXPECT_EQ(test.tracker.hop(), 62);
    const SearchRange range = test.tracker.searchRange();
    EXPECT_NEAR(range.low, 62.83, 0.005);
    EXPECT_NEAR(range.high, 628.32, 0.005);
    EXPECT_EQ(test.tracker.gridStep(), 0.25);
    EXPECT_NEAR(test.setup.searchStep / test.tracker.unitFactor(), 3.14, 0.005);
}

TEST(Tracking, WorkedExampleInRpm)
{
    TestTracker test;
    useRpm(test);
    test.sampleRate = 20000.0;
    test.start();
    EXPECT_EQ(test.tracker.decimation(), 16);
    EXPECT_EQ(test.tracker.trackingRate(), 1250.0);
    EXPECT_EQ(+test.setup.blockDuration, 0.1);
    EXPECT_EQ(test.tracker.blockLength(), 125);
    EXPECT_EQ(test.tracker.hop(), 62);
    const SearchRange range = test.tracker.searchRange();
    EXPECT_NEAR(range.low, 62.83, 0.005);
    EXPECT_NEAR(range.high, 628.32, 0.005);
    EXPECT_EQ(test.tracker.gridStep(), 15.0);
    EXPECT_NEAR(test.setup.searchStep / test.tracker.unitFactor(), 0.052, 0.0005);
}

// The last position of the grid tells how many there were.
TEST(Tracking, WorkedExampleHas2262GridPointsInHertzAnd38InRpm)
{
    const auto gridPoints = [](bool rpm) {
        TestTracker test;
        if (rpm) useRpm(test);
        test.sampleRate = 20000.0;
        test.start();
        test.feed(steadyMachine(2100, 20000.0, 40.0));
        test.tracker.feedDecimator();
        test.tracker.copyBlock();
        const SearchRange range = test.tracker.searchRange();
        const double step = test.tracker.gridStep();
        static_cast<void>(test.tracker.searchGrid(range, step, false));
        return (lastPosition(test.tracker) - range.low) / step + 1;
    };
    EXPECT_NEAR(gridPoints(false), 2262.0, 1e-6);
    EXPECT_NEAR(gridPoints(true), 38.0, 1e-6);
}

TEST(Tracking, SpanRoundAPredictionIsThreeDeviations)
{
    for (const bool rpm : {false, true}) {
        TestTracker test;
        if (rpm) useRpm(test);
        test.setup.useStartFrequency = 1;
        test.setup.startFrequency = rpm ? 3000.0 : 50.0;
        test.start();
        const SearchRange range = test.tracker.searchRange();
        EXPECT_NEAR(range.low, kTwoPi * 50 - 18.85, 0.005);
        EXPECT_NEAR(range.high, kTwoPi * 50 + 18.85, 0.005);
    }
}

TEST(Tracking, GridStepFollowsTheMinimumAndWithoutOneTheMaximum)
{
    TestTracker test;
    test.start();
    EXPECT_EQ(test.tracker.gridStep(), 0.005 * 10.0 * 5.0);
    test.setup.minFrequency = 0.0;
    EXPECT_EQ(test.tracker.gridStep(), 0.005 * 100.0 * 5.0);
    test.setup.minFrequency = -10.0;
    EXPECT_EQ(test.tracker.gridStep(), 0.005 * 100.0 * 5.0);
}

TEST(Tracking, UpperEndOfTheRangeIsNotTried)
{
    TestTracker test;
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    test.tracker.copyBlock();
    static_cast<void>(test.tracker.searchGrid({100.0, 130.0}, 10.0, false));
    EXPECT_NEAR(lastPosition(test.tracker), 120.0, 1e-9);
    static_cast<void>(test.tracker.searchGrid({100.0, 130.1}, 10.0, false));
    EXPECT_NEAR(lastPosition(test.tracker), 130.0, 1e-9);
}

// A block so quiet that every candidate scores infinity, each equal to the other.
TEST(Tracking, LowestOfEqualMaximaWins)
{
    TestTracker test;
    test.start();
    std::vector<double> samples = steadyMachine(100, 1000.0, 40.0);
    for (double& sample : samples) sample *= 1e-6;
    test.feed(samples);
    test.tracker.copyBlock();
    const CandidatePoint best = test.tracker.searchGrid({100.0, 200.0}, 10.0, false);
    EXPECT_EQ(best.likelihood, kInfinity);
    EXPECT_EQ(best.position, 100.0);
}

TEST(Tracking, GridWithoutAScoreHasNoBest)
{
    TestTracker test;
    test.start();
    test.feed(std::vector<double>(100, 0.0));
    test.tracker.copyBlock();
    const CandidatePoint best = test.tracker.searchGrid({100.0, 200.0}, 10.0, false);
    EXPECT_EQ(best.likelihood, 0.0);
    EXPECT_EQ(best.position, 0.0);
}

// ---- the bracket --------------------------------------------------------------------------------

TEST(Tracking, GoldenPointLiesAt618OfTheWayUpAndHasThePrior)
{
    TestTracker test;
    test.start(); // the first search, whose grid has no prior
    test.feed(steadyMachine(100, 1000.0, 12.0));
    test.tracker.copyBlock();
    const CandidatePoint point = test.tracker.goldenPoint(70.0, 80.0);
    EXPECT_EQ(point.position, 10.0 * 0.61803398874989 + 70.0);
    EXPECT_EQ(point.likelihood, test.tracker.likelihood(point.position, true));
    EXPECT_NE(point.likelihood, test.tracker.likelihood(point.position, false));
}

// The tolerance of 3.14 rad/s is above the bracket of 0.5: the first middle point is the estimate,
// 0.236 of a step above the grid's best point.
TEST(Tracking, NarrowBracketIsNotRefined)
{
    TestTracker test;
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    test.tracker.copyBlock();
    const CandidatePoint best =
        test.tracker.searchGrid(test.tracker.searchRange(), test.tracker.gridStep(), false);
    const TrackingResult result = test.tracker.calculate();
    EXPECT_NEAR(result.frequency / kHertz, best.position + 0.23606797749978 * 0.25, 1e-9);
    EXPECT_NEAR(+result.frequency, 40.0, 0.1);
}

// The start frequency is 73 deviations away, so the prior is 0 all over the bracket, and no new
// point is better than the first.
TEST(Tracking, BracketOutOfReachOfThePriorKeepsItsFirstMiddle)
{
    TestTracker test;
    useRpm(test);
    test.start();
    test.feed(steadyMachine(100, 1000.0, 83.0));
    test.tracker.copyBlock();
    const CandidatePoint best =
        test.tracker.searchGrid(test.tracker.searchRange(), test.tracker.gridStep(), false);
    EXPECT_EQ(test.tracker.likelihood(best.position, true), 0.0);
    const TrackingResult result = test.tracker.calculate();
    EXPECT_NEAR(result.frequency / kRpm, best.position + 0.23606797749978 * 15.0, 1e-9);
}

// The textbook's way, in words of our own: by recursion, with every bracket a new one.
double closeIn(Autotracker& tracker, double a, CandidatePoint b, double c, int depth)
{
    if (depth + 1 >= 200) return b.position;
    if (tracker.setup()->searchStep / tracker.unitFactor() > c - a) return b.position;
    if (b.position - a > c - b.position) {
        const CandidatePoint d = tracker.goldenPoint(a, b.position);
        if (d.likelihood > b.likelihood) return closeIn(tracker, a, d, b.position, depth + 1);
        return closeIn(tracker, d.position, b, c, depth + 1);
    }
    const CandidatePoint d = tracker.goldenPoint(b.position, c);
    if (d.likelihood > b.likelihood) return closeIn(tracker, b.position, d, c, depth + 1);
    return closeIn(tracker, a, b, d.position, depth + 1);
}

TEST(Tracking, BracketClosesInFromAnySide)
{
    TestTracker test;
    useRpm(test);
    test.setup.useStartFrequency = 1;
    test.setup.startFrequency = 2400.0;
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    test.tracker.copyBlock();
    const double peak = kTwoPi * 40.0;
    for (const double offset : {-14.0, -9.0, -3.0, 0.0, 4.0, 8.0, 14.0}) {
        const double lower = peak + offset - 15.0;
        const double upper = peak + offset + 15.0;
        const CandidatePoint middle = test.tracker.goldenPoint(lower, upper);
        EXPECT_EQ(test.tracker.refine(lower, middle, upper, 0),
                  closeIn(test.tracker, lower, middle, upper, 0));
    }
}

TEST(Tracking, RefinedEstimateIsWithinTheToleranceOfThePeak)
{
    TestTracker test;
    useRpm(test);
    test.setup.useStartFrequency = 1;
    test.setup.startFrequency = 2400.0;
    test.start();
    std::vector<double> samples(100); // without noise but for what keeps a residual
    Noise noise;
    for (std::size_t i = 0; i < 100; ++i)
        samples[i] = std::cos(kTwoPi * 0.041 * static_cast<double>(i)) + 1e-3 * noise();
    test.feed(samples);
    EXPECT_NEAR(+test.tracker.calculate().frequency, 41.0 * 60.0, 0.5);
}

// A tolerance of 0 is never above the bracket's width: the depth ends it.
TEST(Tracking, RefinementEndsAtItsDepth)
{
    TestTracker test;
    useRpm(test);
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    test.tracker.copyBlock();
    test.setup.searchStep = 0.0;
    const CandidatePoint middle = test.tracker.goldenPoint(60.0, 90.0);
    EXPECT_EQ(test.tracker.refine(60.0, middle, 90.0, 199), middle.position);
    EXPECT_EQ(test.tracker.refine(60.0, middle, 90.0, 198),
              closeIn(test.tracker, 60.0, middle, 90.0, 198));
    static_cast<void>(test.tracker.refine(60.0, middle, 90.0, 198)); // one point: 0.618 of the left
    EXPECT_NEAR(
        lastPosition(test.tracker), 60.0 + 0.61803398874989 * (middle.position - 60.0), 1e-9);
    EXPECT_EQ(test.tracker.refine(60.0, middle, 90.0, 0),
              closeIn(test.tracker, 60.0, middle, 90.0, 0));
}

// ---- the frequency state ------------------------------------------------------------------------

TEST(Tracking, FirstEstimateHasNoTrendAndTheNextOneDoes)
{
    TestTracker test;
    test.start();
    test.feed(machine(200, 1000.0, [](double t) { return 40.0 + 30.0 * t; }));
    const double f = test.tracker.calculate().frequency / kHertz;
    EXPECT_FALSE(test.tracker.firstEstimate());
    EXPECT_NEAR(test.tracker.predictedFrequency(), f, 1e-9);
    const double g = test.tracker.calculate().frequency / kHertz;
    EXPECT_NE(g, f);
    EXPECT_NEAR(test.tracker.predictedFrequency(), 2 * g - f, 1e-9);
    const SearchRange range = test.tracker.searchRange();
    EXPECT_NEAR(range.low, 2 * g - f - 0.03 * kTwoPi * 100.0, 1e-9);
    EXPECT_NEAR(range.high, 2 * g - f + 0.03 * kTwoPi * 100.0, 1e-9);
}

// A component twice as high, and far from the prediction, is not looked at.
TEST(Tracking, LaterSearchesStayNearThePrediction)
{
    TestTracker test;
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    static_cast<void>(test.tracker.calculate());
    test.feed(steadyMachine(100, 1000.0, 80.0));
    while (test.tracker.result().needsMoreSamples == 0 || test.tracker.calculate().valid != 0)
        EXPECT_LT(+test.tracker.calculate().frequency, 60.0);
}

TEST(Tracking, StartFrequencyReplacesTheBroadSearch)
{
    TestTracker test;
    test.setup.useStartFrequency = 1;
    test.setup.startFrequency = 40.5;
    test.start();
    EXPECT_FALSE(test.tracker.isBroad());
    test.feed(steadyMachine(150, 1000.0, 40.0));
    EXPECT_NEAR(+test.tracker.calculate().frequency, 40.0, 0.2);
    EXPECT_TRUE(test.tracker.firstEstimate());
    EXPECT_EQ(test.tracker.previousFrequency(), 40.5 / kHertz); // there is a trend at once
    EXPECT_NEAR(+test.tracker.calculate().frequency, 40.0, 0.2);
    EXPECT_TRUE(test.tracker.firstEstimate());
}

// ---- searches that find nothing -----------------------------------------------------------------

TEST(Tracking, SilentBlockRepeatsTheFormerValueAndMovesOn)
{
    TestTracker test;
    test.useBlocksOf(100);
    test.start();
    test.feed(std::vector<double>(100, 0.0));
    const TrackingResult before = test.tracker.calculate();
    EXPECT_EQ(before.valid, 1);
    EXPECT_NEAR(+before.frequency, 10.0, 1e-12); // the start frequency
    EXPECT_EQ(+before.time, 0.05);
    EXPECT_TRUE(test.tracker.firstEstimate());

    test.feed(steadyMachine(100, 1000.0, 40.0));
    const TrackingResult found = test.tracker.calculate();
    EXPECT_NEAR(+found.frequency, 40.0, 0.1);
    EXPECT_FALSE(test.tracker.firstEstimate());
    const double previous = test.tracker.previousFrequency();

    test.feed(std::vector<double>(100, 0.0));
    const TrackingResult after = test.tracker.calculate();
    EXPECT_EQ(after.valid, 1);
    EXPECT_EQ(+after.frequency, +found.frequency);
    EXPECT_EQ(+after.time, 0.25);
    EXPECT_EQ(test.tracker.previousFrequency(), previous);
    EXPECT_EQ(+test.tracker.signal().readCount, 300);
}

TEST(Tracking, LoudLongBlockFindsNothing)
{
    TestTracker test;
    test.useBlocksOf(1000);
    test.start();
    std::vector<double> samples = steadyMachine(1000, 1000.0, 40.0);
    for (double& sample : samples) sample *= 1000.0;
    test.feed(samples);
    const TrackingResult result = test.tracker.calculate();
    EXPECT_EQ(result.valid, 1);
    EXPECT_NEAR(+result.frequency, 10.0, 1e-12);
    EXPECT_TRUE(test.tracker.firstEstimate());
}

// All candidates of the first search score infinity, so that the lowest wins.
TEST(Tracking, QuietLongBlockFindsTheLowestCandidate)
{
    TestTracker test;
    test.useBlocksOf(1000);
    test.start();
    std::vector<double> samples = steadyMachine(1000, 1000.0, 40.0);
    for (double& sample : samples) sample *= 1e-6;
    test.feed(samples);
    EXPECT_NEAR(+test.tracker.calculate().frequency, 10.0, 0.05);
    EXPECT_FALSE(test.tracker.firstEstimate());
}

TEST(Tracking, MaximumBelowTheMinimumFindsNothing)
{
    TestTracker test;
    test.useBlocksOf(100);
    test.setup.minFrequency = 200.0;
    test.start();
    test.feed(steadyMachine(100, 1000.0, 40.0));
    const TrackingResult result = test.tracker.calculate();
    EXPECT_EQ(result.valid, 1);
    EXPECT_NEAR(+result.frequency, 200.0, 1e-12);
    EXPECT_TRUE(test.tracker.firstEstimate());
}

TEST(Tracking, PriorWithoutWidthFindsNothingAfterTheFirstEstimate)
{
    TestTracker test;
    test.useBlocksOf(100);
    test.setup.predictionSigmaPercent = 0.0;
    test.start();
    test.feed(steadyMachine(200, 1000.0, 40.0));
    const double first = test.tracker.calculate().frequency;
    EXPECT_NEAR(first, 40.0, 0.1);
    EXPECT_EQ(+test.tracker.calculate().frequency, first);
}

// From 60 to 20 Hz in one step the line leads to -20.
void fallThroughZero(TestTracker& test)
{
    test.useBlocksOf(100);
    test.setup.predictionSigmaPercent = 30.0;
    test.setup.useStartFrequency = 1;
    test.setup.startFrequency = 60.0;
    test.start();
    test.feed(steadyMachine(200, 1000.0, 20.0));
    EXPECT_NEAR(+test.tracker.calculate().frequency, 20.0, 0.2);
    EXPECT_NEAR(test.tracker.predictedFrequency(), -20.0 / kHertz, 2.0);
}

TEST(Tracking, PredictionBelowZeroIsCutInTheRangeAndNotInThePrior)
{
    TestTracker test;
    fallThroughZero(test);
    const SearchRange range = test.tracker.searchRange();
    EXPECT_EQ(range.low, 0.0);
    EXPECT_NEAR(range.high, test.tracker.predictedFrequency() + 90.0 / kHertz, 1e-9);
    test.tracker.copyBlock();
    const double sigma = 30.0 / kHertz;
    const double distance = (20.0 / kHertz - test.tracker.predictedFrequency()) / sigma;
    const double density = std::exp(-0.5 * distance * distance) / (sigma * std::sqrt(kTwoPi));
    EXPECT_NEAR(test.tracker.likelihood(20.0 / kHertz, true) /
                    test.tracker.likelihood(20.0 / kHertz, false) / density,
                1.0,
                1e-12);
}

TEST(Tracking, PredictionFarBelowZeroHasAnEmptyRange)
{
    TestTracker test;
    fallThroughZero(test);
    const double former = test.tracker.result().frequency;
    test.setup.predictionSigmaPercent = 1.0;
    const SearchRange range = test.tracker.searchRange();
    EXPECT_EQ(range.low, 0.0);
    EXPECT_EQ(range.high, 0.0);
    const TrackingResult result = test.tracker.calculate();
    EXPECT_EQ(result.valid, 1);
    EXPECT_EQ(+result.frequency, former);
}

// ---- whole runs ---------------------------------------------------------------------------------

std::vector<double> numbersOf(const std::string& text)
{
    std::istringstream fields(text);
    std::vector<double> numbers;
    for (std::string field; std::getline(fields, field, ',');) numbers.push_back(std::stod(field));
    return numbers;
}

TEST(Tracking, RunUpAgreesWithAnIndependentModel)
{
    std::ifstream file(HARMOTRACK_GOLDEN_DIR "/tracking.csv");
    std::vector<double> samples;
    int runs = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#')) continue;
        const std::vector<double> numbers = numbersOf(line.substr(line.find(',') + 1));
        if (line.starts_with("samples,")) {
            samples = numbers;
            continue;
        }
        TestTracker test;
        if (line.starts_with('1')) useRpm(test);
        test.start();
        const std::vector<TrackingResult> estimates = test.run(samples, 800);
        ASSERT_EQ(estimates.size(), numbers.size());
        for (std::size_t k = 0; k < estimates.size(); ++k)
            EXPECT_NEAR(estimates[k].frequency / numbers[k], 1.0, 1e-9) << line[0] << ' ' << k;
        ++runs;
    }
    EXPECT_EQ(runs, 2);
}

// From 600 to 1800 rpm in 4 s at 20 kHz; the first blocks hold a single turn.
TEST(Tracking, DecimatedRunUpIsFollowedWithinOnePerCent)
{
    TestTracker test;
    useRpm(test);
    test.sampleRate = 20000.0;
    test.slots = 10007;
    test.start();
    const std::vector<TrackingResult> estimates =
        test.run(machine(80000, 20000.0, [](double t) { return 10.0 + 5.0 * t; }), 999);
    EXPECT_EQ(estimates.size(), ((80000 - 17) / 16 - 125) / 62 + 1U);
    for (const TrackingResult& estimate : estimates)
        EXPECT_NEAR(estimate.frequency / (600.0 + 300.0 * estimate.time), 1.0, 0.01)
            << estimate.time;
}

std::vector<std::uint64_t> bitsOf(const std::vector<TrackingResult>& estimates)
{
    std::vector<std::uint64_t> bits;
    for (const TrackingResult& estimate : estimates) {
        bits.push_back(std::bit_cast<std::uint64_t>(static_cast<double>(estimate.frequency)));
        bits.push_back(std::bit_cast<std::uint64_t>(static_cast<double>(estimate.time)));
    }
    return bits;
}

std::vector<std::uint64_t>
runUpBits(double rate, std::int32_t slots, std::int32_t firstSlot, std::size_t piece)
{
    TestTracker test;
    useRpm(test);
    test.sampleRate = rate;
    test.slots = slots;
    test.firstSlot = firstSlot;
    test.start();
    const auto count = static_cast<std::size_t>(0.8 * rate);
    return bitsOf(test.run(machine(count, rate, [](double t) { return 20.0 + 25.0 * t; }), piece));
}

TEST(Tracking, DeliveriesOfAnySizeGiveTheSameBits)
{
    for (const double rate : {1000.0, 20000.0}) {
        const std::vector<std::uint64_t> whole = runUpBits(rate, 20000, 0, 20000);
        EXPECT_GT(whole.size(), 20U);
        for (const std::size_t piece : {1U, 7U, 250U, 4096U})
            EXPECT_EQ(runUpBits(rate, 20000, 0, piece), whole) << rate << ' ' << piece;
    }
}

// The smallest rings hold two blocks and a delivery.
TEST(Tracking, RingOfAnyLengthGivesTheSameBits)
{
    for (const double rate : {1000.0, 20000.0}) {
        const std::vector<std::uint64_t> large = runUpBits(rate, 32768, 0, 250);
        for (const std::int32_t slots : {451, 997, 1000})
            EXPECT_EQ(runUpBits(rate, slots * (rate > 1000.0 ? 16 : 1) - 3, 17, 250), large)
                << rate << ' ' << slots;
    }
}

TEST(Tracking, CountsBeyond32BitsGiveTheSameBitsAndLaterTimes)
{
    for (const double rate : {1000.0, 20000.0}) {
        const auto run = [&](std::int64_t samplesBefore) {
            TestTracker test;
            useRpm(test);
            test.sampleRate = rate;
            test.slots = 20001;
            test.samplesBefore = samplesBefore;
            test.start();
            return test.run(steadyMachine(static_cast<std::size_t>(0.4 * rate), rate, 40.0), 77);
        };
        const std::vector<TrackingResult> first = run(0);
        EXPECT_GT(first.size(), 4U);
        for (const std::int64_t boundary : {std::int64_t{1} << 31, std::int64_t{1} << 32}) {
            const std::int64_t before = boundary - 160;
            const std::vector<TrackingResult> late = run(before);
            ASSERT_EQ(late.size(), first.size());
            for (std::size_t k = 0; k < late.size(); ++k) {
                EXPECT_EQ(+late[k].frequency, +first[k].frequency);
                EXPECT_NEAR(late[k].time - first[k].time, static_cast<double>(before) / rate, 1e-8);
            }
        }
    }
}

TEST(Tracking, SecondRunAfterAResetGivesTheSameBits)
{
    for (const double rate : {1000.0, 20000.0}) {
        TestTracker test;
        useRpm(test);
        test.sampleRate = rate;
        test.slots = 20001;
        test.start();
        const std::vector<double> samples =
            steadyMachine(static_cast<std::size_t>(0.4 * rate), rate, 40.0);
        const std::vector<TrackingResult> first = test.run(samples, 100);
        test.handOver();
        test.tracker.reset();
        EXPECT_EQ(bitsOf(test.run(samples, 100)), bitsOf(first));
    }
}

} // namespace
} // namespace Velmora::Autotracker

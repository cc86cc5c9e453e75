#include "analyzer_rig.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <ostream>
#include <utility>

namespace Velmora::OrderTracking {
namespace {

constexpr float kFloatInfinity = std::numeric_limits<float>::infinity();

// --- a new object

class NewAnalyzer : public testing::TestWithParam<std::int32_t> {};

INSTANTIATE_TEST_SUITE_P(EachMode,
                         NewAnalyzer,
                         testing::Values(HARMOTRACK_MODE_ONE_REAL,
                                         HARMOTRACK_MODE_TWO_REAL,
                                         HARMOTRACK_MODE_ONE_COMPLEX));

TEST_P(NewAnalyzer, HasItsModeItsRateAndNoSizes)
{
    const OrderAnalyzer analyzer(GetParam());
    EXPECT_EQ(analyzer.getMode(), GetParam());
    EXPECT_EQ(analyzer.getSampleRate(), 20000.0);
    EXPECT_EQ(analyzer.getRateDivider(), 1);
    EXPECT_EQ(analyzer.getInputBufferLimit(), 20000);
    EXPECT_EQ(analyzer.getBinCount(), 0);
    EXPECT_EQ(analyzer.getOrderFFTSize(), 0);
    EXPECT_EQ(analyzer.getOrderLines(), 0);
    EXPECT_EQ(analyzer.getTimeFFTSize(), 0);
    EXPECT_EQ(analyzer.getTimeFFTResolution(), 0.0);
    EXPECT_EQ(analyzer.getTimeFFTBlockDuration(), 0.0);
}

TEST_P(NewAnalyzer, HasNoSetupsRingsAndTables)
{
    const OrderAnalyzer analyzer(GetParam());
    EXPECT_EQ(analyzer.getBinningSetup(), nullptr);
    EXPECT_EQ(analyzer.getOrderSetup(), nullptr);
    EXPECT_EQ(analyzer.getAnalysisSetup(), nullptr);
    EXPECT_EQ(analyzer.getParameters(), nullptr);
    EXPECT_EQ(analyzer.getResampledBuffers().signalA, nullptr);
    EXPECT_EQ(analyzer.getResampledBuffers().size, 0);
    EXPECT_EQ(analyzer.getTimeBuffers().signalA, nullptr);
    EXPECT_EQ(analyzer.getTimeBuffers().size, 0);
    EXPECT_EQ(analyzer.getResultBuffers().binOrderA, nullptr);
}

TEST_P(NewAnalyzer, HasSeenNoTurnNoSpeedAndNoBlock)
{
    const OrderAnalyzer analyzer(GetParam());
    EXPECT_EQ(analyzer.turnCount(), 0);
    EXPECT_EQ(analyzer.lastTurnTime(), 0.0);
    EXPECT_EQ(analyzer.rpm(), 0.0F);
    EXPECT_EQ(analyzer.rpmTime(), 0.0);
    EXPECT_EQ(analyzer.blockBinValue(), 0.0);
    EXPECT_TRUE(analyzer.harmonics().empty());
    EXPECT_EQ(analyzer.binning().direction, -1);
}

// --- setters and getters

TEST(AnalyzerSetups, AreKeptByPointerAndReadThroughBothForms)
{
    const auto object = std::make_unique<OrderAnalyzer>(HARMOTRACK_MODE_ONE_REAL);
    IOrderAnalyzer& analyzer = *object;
    const IOrderAnalyzer& constant = analyzer;
    BinningSetup binning{};
    OrderSetup order{};
    AnalysisSetup analysis{};
    AnalyzerParameters parameters{};

    analyzer.setBinningSetup(&binning);
    analyzer.setOrderSetup(&order);
    analyzer.setAnalysisSetup(&analysis);
    analyzer.setParameters(&parameters);

    EXPECT_EQ(analyzer.getBinningSetup(), &binning);
    EXPECT_EQ(analyzer.getOrderSetup(), &order);
    EXPECT_EQ(analyzer.getAnalysisSetup(), &analysis);
    EXPECT_EQ(analyzer.getParameters(), &parameters);
    EXPECT_EQ(constant.getBinningSetup(), &binning);
    EXPECT_EQ(constant.getOrderSetup(), &order);
    EXPECT_EQ(constant.getAnalysisSetup(), &analysis);
    EXPECT_EQ(constant.getParameters(), &parameters);

    analyzer.setParameters(nullptr);
    EXPECT_EQ(constant.getParameters(), nullptr);
}

TEST(AnalyzerRings, AreCopied)
{
    OrderAnalyzer analyzer(HARMOTRACK_MODE_TWO_REAL);
    const double samples[4] = {};
    float cells[4] = {};
    ResampledBuffers angleRing{};
    angleRing.signalB = samples;
    angleRing.size = 4;
    angleRing.writeIndex = 3;
    angleRing.written = 7;
    angleRing.processed = 5;
    TimeBuffers timeRing{};
    timeRing.signalA = samples;
    timeRing.size = 4;
    timeRing.written = 9;
    ResultBuffers tables{};
    tables.binTimeTwoSided = cells;

    analyzer.setResampledBuffers(angleRing);
    analyzer.setTimeBuffers(timeRing);
    analyzer.setResultBuffers(tables);
    angleRing.written = 100;
    timeRing.written = 100;
    tables.binTimeTwoSided = nullptr;

    EXPECT_EQ(analyzer.getResampledBuffers().signalB, samples);
    EXPECT_EQ(analyzer.getResampledBuffers().writeIndex, 3);
    EXPECT_EQ(analyzer.getResampledBuffers().written, 7);
    EXPECT_EQ(analyzer.getResampledBuffers().processed, 5);
    EXPECT_EQ(analyzer.getTimeBuffers().signalA, samples);
    EXPECT_EQ(analyzer.getTimeBuffers().written, 9);
    EXPECT_EQ(analyzer.getResultBuffers().binTimeTwoSided, cells);
}

TEST(AnalyzerRates, AreStoredAndDeriveNothing)
{
    AnalyzerRig rig;
    rig.derive();
    const std::int32_t size = rig.analyzer.getOrderFFTSize();
    rig.analyzer.setSampleRate(51200.0);
    rig.analyzer.setRateDivider(4);
    rig.analyzer.setInputBufferLimit(10);
    EXPECT_EQ(rig.analyzer.getSampleRate(), 51200.0);
    EXPECT_EQ(rig.analyzer.getRateDivider(), 4);
    EXPECT_EQ(rig.analyzer.getInputBufferLimit(), 10);
    EXPECT_EQ(rig.analyzer.getOrderFFTSize(), size);
    EXPECT_EQ(rig.analyzer.getTimeFFTResolution(), 10.0);
}

// --- preinitiate with a setup missing

class MissingSetup : public testing::TestWithParam<int> {
protected:
    static void remove(OrderAnalyzer& analyzer)
    {
        if (GetParam() == 0) analyzer.setBinningSetup(nullptr);
        if (GetParam() == 1) analyzer.setOrderSetup(nullptr);
        if (GetParam() == 2) analyzer.setAnalysisSetup(nullptr);
        if (GetParam() == 3) analyzer.setParameters(nullptr);
    }
};

INSTANTIATE_TEST_SUITE_P(EachOfFour, MissingSetup, testing::Range(0, 4));

TEST_P(MissingSetup, LeavesANewAnalyzerWithoutSizes)
{
    OrderAnalyzer analyzer(HARMOTRACK_MODE_ONE_REAL);
    AnalyzerRig rig;
    analyzer.setBinningSetup(&rig.binning);
    analyzer.setOrderSetup(&rig.order);
    analyzer.setAnalysisSetup(&rig.analysis);
    analyzer.setParameters(&rig.parameters);
    remove(analyzer);

    analyzer.preinitiate();

    EXPECT_EQ(analyzer.getBinCount(), 0);
    EXPECT_EQ(analyzer.getOrderFFTSize(), 0);
    EXPECT_EQ(analyzer.getTimeFFTSize(), 0);
}

TEST_P(MissingSetup, LeavesTheFormerSizes)
{
    AnalyzerRig rig;
    rig.derive();
    rig.binning.maxValue = 5000.0F;
    rig.order.maxOrder = 40;
    rig.analysis.timeLines = 40;
    remove(rig.analyzer);

    rig.analyzer.preinitiate();

    EXPECT_EQ(rig.analyzer.getBinCount(), 11);
    EXPECT_EQ(rig.analyzer.getOrderFFTSize(), 16);
    EXPECT_EQ(rig.analyzer.getTimeFFTSize(), 16);
}

TEST(Preinitiate, IsTheUpdateOfDerivedData)
{
    AnalyzerRig rig;
    rig.derive();
    rig.order.maxOrder = 8;
    static_cast<KorLib::Dsp::DspObject&>(rig.analyzer).update();
    EXPECT_EQ(rig.analyzer.getOrderFFTSize(), 32);
}

// --- bins

struct Axis {
    float minValue;
    float maxValue;
    float step;
    std::int32_t bins;
};

std::ostream& operator<<(std::ostream& out, const Axis& axis)
{
    return out << axis.minValue << " to " << axis.maxValue << " by " << axis.step;
}

class BinCount : public testing::TestWithParam<Axis> {};

TEST_P(BinCount, CountsWholeStepsAndTheFirstBin)
{
    AnalyzerRig rig;
    rig.binning.minValue = GetParam().minValue;
    rig.binning.maxValue = GetParam().maxValue;
    rig.binning.step = GetParam().step;
    rig.derive();
    EXPECT_EQ(rig.analyzer.getBinCount(), GetParam().bins);
}

INSTANTIATE_TEST_SUITE_P(ByHand,
                         BinCount,
                         testing::Values(Axis{1000.0F, 2000.0F, 100.0F, 11},
                                         Axis{1000.0F, 1999.0F, 100.0F, 10},
                                         Axis{1000.0F, 1000.0F, 100.0F, 1},
                                         Axis{1000.0F, 1099.0F, 100.0F, 1},
                                         Axis{-300.0F, 300.0F, 50.0F, 13}));

// The quotient is cut towards 0: 1 - 0.5 steps is 1 bin, and 1 - 90 steps is limited to 1.
INSTANTIATE_TEST_SUITE_P(MaximumBelowMinimum,
                         BinCount,
                         testing::Values(Axis{1000.0F, 950.0F, 100.0F, 1},
                                         Axis{1000.0F, 800.0F, 100.0F, 1},
                                         Axis{10000.0F, 1000.0F, 100.0F, 1}));

// In double the quotient would be 0.9 / 0.1 = 8.99999988, from the neighbours of both as floats.
INSTANTIATE_TEST_SUITE_P(QuotientIsAFloat, BinCount, testing::Values(Axis{0.1F, 1.0F, 0.1F, 10}));

// 2^24 + 3 is no float; its neighbour 2^24 + 4 is 4194305 steps of 4. In double it would be
// 4194304.75 steps.
INSTANTIATE_TEST_SUITE_P(DifferenceIsAFloat,
                         BinCount,
                         testing::Values(Axis{-1.0F, 16777218.0F, 4.0F, 4194306}));

// No count fits: what has no integer becomes 1 bin.
INSTANTIATE_TEST_SUITE_P(NoQuotientIn32Bits,
                         BinCount,
                         testing::Values(Axis{0.0F, 1.0F, 0.0F, 1},
                                         Axis{0.0F, 0.0F, 0.0F, 1},
                                         Axis{0.0F, kFloatInfinity, 1.0F, 1},
                                         Axis{0.0F, 3e9F, 1.0F, 1}));

// --- order FFT

struct OrderBlock {
    std::int32_t maxOrder;
    float resolution;
    std::int32_t size;
};

std::ostream& operator<<(std::ostream& out, const OrderBlock& block)
{
    return out << block.maxOrder << " by " << block.resolution;
}

class OrderFFTSize : public testing::TestWithParam<OrderBlock> {};

TEST_P(OrderFFTSize, IsSamplesOfARevolutionTimesRevolutions)
{
    AnalyzerRig rig;
    rig.order.maxOrder = GetParam().maxOrder;
    rig.order.orderResolution = GetParam().resolution;
    rig.derive();
    EXPECT_EQ(rig.analyzer.getOrderFFTSize(), GetParam().size);
}

INSTANTIATE_TEST_SUITE_P(ByHand,
                         OrderFFTSize,
                         testing::Values(OrderBlock{5, 1.0F, 10},
                                         OrderBlock{100, 0.1F, 2000},
                                         OrderBlock{64, 0.03125F, 4096},
                                         OrderBlock{8, 1.0F / 3.0F, 48}));

INSTANTIATE_TEST_SUITE_P(RevolutionsHaveAtLeastEightSamples,
                         OrderFFTSize,
                         testing::Values(OrderBlock{1, 1.0F, 8},
                                         OrderBlock{4, 1.0F, 8},
                                         OrderBlock{3, 0.25F, 32},
                                         OrderBlock{0, 1.0F, 8}));

// The factor rounds to 0 or 1, and is 1 at least.
INSTANTIATE_TEST_SUITE_P(ResolutionAboveOne,
                         OrderFFTSize,
                         testing::Values(OrderBlock{10, 1.5F, 20},
                                         OrderBlock{10, 2.0F, 20},
                                         OrderBlock{10, 3.0F, 20},
                                         OrderBlock{10, 1000.0F, 20}));

// 1 / 0.4 is 2.5 in float, which goes away from 0; in double it would be 2.49999996.
INSTANTIATE_TEST_SUITE_P(FactorRoundsInFloatHalfAwayFromZero,
                         OrderFFTSize,
                         testing::Values(OrderBlock{10, 0.4F, 60}));

// The limit of 20000 samples allows 18000, and 2^14 is the power of two below.
INSTANTIATE_TEST_SUITE_P(WithinTheLimit,
                         OrderFFTSize,
                         testing::Values(OrderBlock{8190, 1.0F, 16380},
                                         OrderBlock{8192, 1.0F, 16384},
                                         OrderBlock{8194, 1.0F, 16384},
                                         OrderBlock{100, 0.01F, 16384}));

// Products that no 32 bits hold are limited like all others.
INSTANTIATE_TEST_SUITE_P(BeyondIntegers,
                         OrderFFTSize,
                         testing::Values(OrderBlock{512, 1e-7F, 16384},
                                         OrderBlock{512, 1e-12F, 16384},
                                         OrderBlock{2000000000, 1.0F, 16384}));

struct Limit {
    std::int32_t limit;
    std::int32_t size;
};

std::ostream& operator<<(std::ostream& out, const Limit& limit)
{
    return out << limit.limit;
}

class BlockLimit : public testing::TestWithParam<Limit> {};

TEST_P(BlockLimit, IsThePowerOfTwoWithinNinetyPerCent)
{
    AnalyzerRig rig;
    rig.order.orderResolution = 1e-4F;
    rig.analysis.timeLines = 1 << 26;
    rig.analyzer.setInputBufferLimit(GetParam().limit);
    rig.derive();
    EXPECT_EQ(rig.analyzer.getOrderFFTSize(), GetParam().size);
    EXPECT_EQ(rig.analyzer.getTimeFFTSize(), GetParam().size);
}

// 0.9 * 18204 = 16383.6 and 0.9 * 18205 = 16384.5. 0.9 * 10 is 9, and the next power is 16.
INSTANTIATE_TEST_SUITE_P(ByHand,
                         BlockLimit,
                         testing::Values(Limit{20000, 16384},
                                         Limit{18204, 8192},
                                         Limit{18205, 16384},
                                         Limit{10, 8},
                                         Limit{8, 4},
                                         Limit{2, 1},
                                         Limit{80000, 65536}));

// --- time FFT

// sampleRate / rateDivider / (maxRpm / 60) samples a revolution at the ceiling, against those of
// the order block; see the cases.
struct TimeCase {
    const char* what;
    double sampleRate;
    std::int32_t rateDivider;
    float maxRpm;
    std::int32_t maxOrder;
    float resolution;
    std::int32_t size;
};

std::ostream& operator<<(std::ostream& out, const TimeCase& c)
{
    return out << c.what;
}

class TimeFFTSize : public testing::TestWithParam<TimeCase> {};

TEST_P(TimeFFTSize, FollowsFromTheSpeedCeiling)
{
    const TimeCase& c = GetParam();
    AnalyzerRig rig;
    rig.analysis.fixedTimeLines = 0;
    rig.analysis.maxRpm = c.maxRpm;
    rig.order.maxOrder = c.maxOrder;
    rig.order.orderResolution = c.resolution;
    rig.sampleRate = c.sampleRate;
    rig.rateDivider = c.rateDivider;

    rig.derive();

    EXPECT_EQ(rig.analyzer.getTimeFFTSize(), c.size);
    EXPECT_EQ(rig.analyzer.getTimeFFTResolution(), c.sampleRate / c.rateDivider / c.size);
    EXPECT_EQ(rig.analyzer.getTimeFFTBlockDuration(),
              1.0 / (c.sampleRate / c.rateDivider / c.size));
}

INSTANTIATE_TEST_SUITE_P(
    ByHand,
    TimeFFTSize,
    testing::Values(
        // 200 samples a revolution are 10 of the order block's 20; 2 * 10 * 200 = 4000
        TimeCase{"round ratio", 20000.0, 1, 6000.0F, 10, 0.1F, 2048},
        // 50 samples a revolution are 2.5 * 20, rounded to 3; 2 * 3 * 200 = 1200
        TimeCase{"divided rate", 20000.0, 4, 6000.0F, 10, 0.1F, 1024},
        // 60 / 24 = 2.5 goes to 3: 2 * 3 * 24 = 144; 2 would give 96, and 64
        TimeCase{"ratio rounds half away from zero", 6000.0, 1, 6000.0F, 12, 1.0F, 128},
        // 59 / 24 goes to 2: 96
        TimeCase{"ratio rounds down", 5900.0, 1, 6000.0F, 12, 1.0F, 64},
        // ratio 1: 2 * 64 is a power of two itself
        TimeCase{"exact power of two", 1600.0, 1, 6000.0F, 8, 0.25F, 128},
        // at least 8 samples a revolution: 80 / 8 = 10, 2 * 10 * 8 = 160
        TimeCase{"low maximum order", 8000.0, 1, 6000.0F, 1, 1.0F, 128}));

// Ratios below one half leave the order block as it is, which need be no power of two. 8 / 20 =
// 0.4; 10 / 20 = 0.5 still rounds up, to 2 * 60 = 120.
INSTANTIATE_TEST_SUITE_P(
    HighCeiling,
    TimeFFTSize,
    testing::Values(TimeCase{"below one half", 800.0, 1, 6000.0F, 10, 0.4F, 60},
                    TimeCase{"one half", 1000.0, 1, 6000.0F, 10, 0.4F, 64}));

// 1000 / 60 is 16.66666603 in float, below the true quotient. So half of 20 such frequencies is a
// ratio of one half, where in double it would be less.
INSTANTIATE_TEST_SUITE_P(
    CeilingInHertzIsAFloat,
    TimeFFTSize,
    testing::Values(TimeCase{
        "one half", 10.0 * static_cast<double>(1000.0F / 60.0F), 1, 1000.0F, 10, 1.0F, 32}));

INSTANTIATE_TEST_SUITE_P(
    WithinTheLimit,
    TimeFFTSize,
    testing::Values(TimeCase{"of 16384", 20000.0, 1, 600.0F, 10, 0.01F, 16384},
                    TimeCase{"order block too", 800.0, 1, 6000.0F, 10, 0.0001F, 16384}));

// A ceiling of almost nothing asks for blocks that no 32 bits hold.
INSTANTIATE_TEST_SUITE_P(BeyondIntegers,
                         TimeFFTSize,
                         testing::Values(TimeCase{"slow", 20000.0, 1, 1e-3F, 10, 0.1F, 16384},
                                         TimeCase{"at rest", 20000.0, 1, 0.0F, 10, 0.1F, 16384},
                                         TimeCase{"fine", 800.0, 1, 6000.0F, 10, 1e-9F, 16384}));

TEST(TimeFFT, HasTwiceTheFixedLines)
{
    AnalyzerRig rig;
    rig.analysis.timeLines = 500;
    rig.sampleRate = 20000.0;
    rig.derive();
    EXPECT_EQ(rig.analyzer.getTimeFFTSize(), 1000);
    EXPECT_EQ(rig.analyzer.getTimeFFTResolution(), 20.0);
    EXPECT_EQ(rig.analyzer.getTimeFFTBlockDuration(), 0.05);
}

TEST(TimeFFT, FixedLinesAreLimited)
{
    AnalyzerRig rig;
    rig.analysis.timeLines = 8193;
    rig.derive();
    EXPECT_EQ(rig.analyzer.getTimeFFTSize(), 16384);
}

// Twice a maximum that would be no number in 32 bits.
TEST(TimeFFT, FixedLinesBeyondIntegersAreLimited)
{
    AnalyzerRig rig;
    rig.analysis.timeLines = 1 << 30;
    rig.derive();
    EXPECT_EQ(rig.analyzer.getTimeFFTSize(), 16384);
}

// --- the figures of another rate

// A field of a packed record, by value: comparisons of tests take references, which must be
// aligned.
double valueOf(double field)
{
    return field;
}

TEST(TimeFFTSetupAtARate, NeedsOrderAndAnalysisSetupAlone)
{
    AnalyzerRig rig;
    rig.analysis.timeLines = 50;
    OrderAnalyzer analyzer(HARMOTRACK_MODE_ONE_REAL);
    analyzer.setOrderSetup(&rig.order);
    analyzer.setAnalysisSetup(&rig.analysis);
    const TimeFFTSetup setup = analyzer.getTimeFFTSetup(1, 1000.0, 2);
    EXPECT_EQ(setup.size, 100);
    EXPECT_EQ(valueOf(setup.resolution), 5.0);
    EXPECT_EQ(valueOf(setup.blockDuration), 0.2);
}

TEST(TimeFFTSetupAtARate, ChangesNothingInTheObject)
{
    AnalyzerRig rig;
    rig.derive();
    EXPECT_EQ(valueOf(rig.analyzer.getTimeFFTSetup(1, 1000.0, 2).resolution), 1000.0 / 2 / 16);
    EXPECT_EQ(rig.analyzer.getTimeFFTSize(), 16);
    EXPECT_EQ(rig.analyzer.getTimeFFTResolution(), 10.0);
    EXPECT_EQ(rig.analyzer.getSampleRate(), 160.0);
    EXPECT_EQ(rig.analyzer.getRateDivider(), 1);
}

// The setup decides whether the lines are fixed; the argument of that meaning is dead.
TEST(TimeFFTSetupAtARate, DoesNotReadItsFirstArgument)
{
    AnalyzerRig rig;
    rig.derive();
    EXPECT_EQ(rig.analyzer.getTimeFFTSetup(0, 160.0, 1).size, 16);
    rig.analysis.fixedTimeLines = 0; // ratio 0.2: the order block
    EXPECT_EQ(rig.analyzer.getTimeFFTSetup(1, 160.0, 1).size, 16);
    rig.analysis.timeLines = 100;
    EXPECT_EQ(rig.analyzer.getTimeFFTSetup(1, 160.0, 1).size, 16);
    EXPECT_EQ(rig.analyzer.getTimeFFTSetup(0, 160.0, 1).size, 16);
}

// (rate / divider) / size, each rounded: 1 / 3 / 22 is not 1 / 66 in double.
TEST(TimeFFTSetupAtARate, DividesInTwoSteps)
{
    AnalyzerRig rig;
    rig.analysis.timeLines = 11;
    rig.derive();
    const TimeFFTSetup setup = rig.analyzer.getTimeFFTSetup(1, 1.0, 3);
    ASSERT_NE(1.0 / 3.0 / 22.0, 1.0 / 66.0);
    EXPECT_EQ(valueOf(setup.resolution), 1.0 / 3.0 / 22.0);
    EXPECT_EQ(valueOf(setup.blockDuration), 1.0 / setup.resolution);
}

// --- what the host reports

// Rings of 7 and 5 slots, written up to slot 5 of the first lap and slot 2 of the second.
OrderAnalyzer& withRings(OrderAnalyzer& analyzer)
{
    ResampledBuffers angleRing{};
    angleRing.size = 7;
    angleRing.writeIndex = 5;
    angleRing.written = 12;
    angleRing.processed = 3;
    analyzer.setResampledBuffers(angleRing);
    TimeBuffers timeRing{};
    timeRing.size = 5;
    timeRing.writeIndex = 2;
    timeRing.written = 7;
    analyzer.setTimeBuffers(timeRing);
    return analyzer;
}

struct Report {
    std::int32_t angleSamples;
    std::int32_t timeSamples;
    std::int32_t angleIndex;
    std::int32_t timeIndex;
};

std::ostream& operator<<(std::ostream& out, const Report& report)
{
    return out << report.angleSamples << " and " << report.timeSamples;
}

class UpdateBuffers : public testing::TestWithParam<Report> {};

TEST_P(UpdateBuffers, MovesEachRingByItsOwnCount)
{
    OrderAnalyzer object(HARMOTRACK_MODE_ONE_REAL);
    OrderAnalyzer& analyzer = withRings(object);

    analyzer.updateBuffers(GetParam().angleSamples, GetParam().timeSamples);

    EXPECT_EQ(analyzer.getResampledBuffers().writeIndex, GetParam().angleIndex);
    EXPECT_EQ(analyzer.getResampledBuffers().written, 12 + GetParam().angleSamples);
    EXPECT_EQ(analyzer.getTimeBuffers().writeIndex, GetParam().timeIndex);
    EXPECT_EQ(analyzer.getTimeBuffers().written, 7 + GetParam().timeSamples);
    EXPECT_EQ(analyzer.getResampledBuffers().processed, 3);
}

INSTANTIATE_TEST_SUITE_P(ByHand,
                         UpdateBuffers,
                         testing::Values(Report{0, 0, 5, 2},
                                         Report{1, 0, 6, 2},
                                         Report{2, 3, 0, 0},
                                         Report{0, 2, 5, 4},
                                         Report{7, 5, 5, 2},
                                         Report{100, 99, 0, 1},
                                         Report{-1, -2, 4, 0},
                                         Report{-6, -3, 6, 4},
                                         Report{-100, -99, 3, 3}));

TEST(UpdateBuffers, CountsBeyond32Bits)
{
    OrderAnalyzer analyzer(HARMOTRACK_MODE_ONE_REAL);
    ResampledBuffers angleRing{};
    angleRing.size = 10;
    angleRing.written = (std::int64_t{1} << 32U) - 1;
    analyzer.setResampledBuffers(angleRing);
    TimeBuffers timeRing{};
    timeRing.size = 10;
    timeRing.written = (std::int64_t{1} << 31U) - 1;
    analyzer.setTimeBuffers(timeRing);
    analyzer.updateBuffers(3, 4);
    EXPECT_EQ(analyzer.getResampledBuffers().written, (std::int64_t{1} << 32U) + 2);
    EXPECT_EQ(analyzer.getTimeBuffers().written, (std::int64_t{1} << 31U) + 3);
}

} // namespace
} // namespace Velmora::OrderTracking

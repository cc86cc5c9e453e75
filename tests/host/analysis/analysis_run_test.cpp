#include "host/analysis/analysis_run.h"

#include "tests/host/error_text.h"
#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <thread>

namespace Harmotrack::Host {
namespace {

using testing::Each;
using testing::Eq;
using testing::HasSubstr;

constexpr double kRate = 8192.0;
constexpr double kSeconds = 20.0;
constexpr double kPi = std::numbers::pi;
constexpr double kDegrees = 180.0 / kPi;

// A run-up from 600 to 3000 rpm of a shaft whose first quarter second is not recorded.
const SimulatedShaft kShaft{600.0, 120.0};

ShaftAngle exactAngle(double seconds = kSeconds)
{
    const std::vector<double> times{0.0, seconds};
    const std::vector<double> speeds{kShaft.rpmAt(0.0), kShaft.rpmAt(seconds)};
    return ShaftAngle::fromSpeed(times, speeds);
}

// Components 0.8 cos(angle + 40°) and 0.3 cos(2.5 angle - 20°).
double vibration(double t)
{
    const double phi = 2.0 * kPi * kShaft.turnsAt(t);
    return 0.8 * std::cos(phi + 40.0 / kDegrees) + 0.3 * std::cos(2.5 * phi - 20.0 / kDegrees);
}

AnalysisSettings settings()
{
    AnalysisSettings result;
    result.minRpm = 600.0;
    result.maxRpm = 3000.0;
    result.stepRpm = 25.0;
    result.highestOrder = 20.0;
    result.harmonics = {1.0F, 2.0F};
    return result;
}

AnalysisResults runOf(const AnalysisSettings& asked, const std::vector<UniformSignal>& signals)
{
    return AnalysisRun(asked).run(signals, exactAngle());
}

TEST(AnalysisRun, OrdersComeOutWithAmplitudeAndPhaseAtEverySpeed)
{
    const AnalysisResults results = runOf(settings(), {sampled(kRate, kSeconds, vibration)});

    ASSERT_EQ(results.binRpm.size(), 97U);
    ASSERT_EQ(results.orders.size(), 201U);
    int visited = 0;
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        if (results.orderBlocks[b] == 0) continue;
        ++visited;
        const SignalResults& signal = results.signals[0];
        const std::complex<double> first = signal.harmonics[0][b];
        EXPECT_NEAR(std::abs(first), 0.8, 1e-3) << results.binRpm[b];
        EXPECT_NEAR(std::arg(first) * kDegrees, 40.0, 0.1) << results.binRpm[b];
        EXPECT_NEAR(std::abs(signal.harmonics[1][b]), 0.0, 1e-3) << results.binRpm[b];
        EXPECT_NEAR(signal.orderMap.row(b)[10], 0.8, 1e-3) << results.binRpm[b];
        EXPECT_NEAR(signal.orderMap.row(b)[25], 0.3, 1e-3) << results.binRpm[b];
    }
    EXPECT_GT(visited, 85);
}

// sqrt((0.8² + 0.3²) / 2); a block of the time path passes over several bins, but amplitudes are
// the same in all of them.
TEST(AnalysisRun, OverallLevelIsTheRmsAndTheFrequencyMapFollowsTheSpeed)
{
    const AnalysisResults results = runOf(settings(), {sampled(kRate, kSeconds, vibration)});
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        if (results.timeBlocks[b] == 0) continue;
        EXPECT_NEAR(results.signals[0].overall[b], std::sqrt(0.365), 0.01) << results.binRpm[b];
        const auto row = results.signals[0].frequencyMap.row(b);
        const auto peak = std::max_element(row.begin(), row.end()) - row.begin();
        EXPECT_NEAR(results.frequencies[static_cast<std::size_t>(peak)],
                    results.binRpm[b] / 60.0,
                    2.0 * results.frequencies[1]);
    }
}

// On a quick run-down long blocks of time leave bins out that blocks of turns fall into.
TEST(AnalysisRun, OverallLevelIsKnownWhereABlockOfTimeFellAlone)
{
    constexpr double kDownSeconds = 12.0;
    const SimulatedShaft down{3600.0, -250.0};
    AnalysisSettings asked = settings();
    asked.maxRpm = 3600.0;
    asked.stepRpm = 50.0;
    asked.timeLines = 8192;
    const UniformSignal signal = sampled(
        6400.0, kDownSeconds, [&](double t) { return std::cos(2.0 * kPi * down.turnsAt(t)); });
    const std::vector<double> times{0.0, kDownSeconds};
    const std::vector<double> speeds{3600.0, 600.0};
    const AnalysisResults results =
        AnalysisRun(asked).run({&signal, 1}, ShaftAngle::fromSpeed(times, speeds));
    int without = 0;
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        const float level = results.signals[0].overall[b];
        if (results.timeBlocks[b] == 0) {
            EXPECT_EQ(level, 0.0F) << results.binRpm[b];
            without += results.orderBlocks[b] != 0;
        } else {
            EXPECT_NEAR(level, std::sqrt(0.5), 0.02) << results.binRpm[b];
        }
    }
    EXPECT_GT(without, 0);
}

TEST(AnalysisRun, SpeedOfTheRunComesBackTurnByTurn)
{
    const AnalysisResults results = runOf(settings(), {sampled(kRate, kSeconds, vibration)});
    ASSERT_GT(results.seconds.size(), 590U);
    for (std::size_t k = 0; k < results.seconds.size(); ++k)
        EXPECT_NEAR(results.speedRpm[k], kShaft.rpmAt(results.seconds[k]), 0.2);
    EXPECT_NEAR(results.lowestRpm, 600.0, 20.0);
    EXPECT_NEAR(results.highestRpm, 3000.0, 20.0);
}

// A circle of radius 0.5 with the rotation: y stands a quarter turn behind x.
TEST(AnalysisRun, ForwardCircleStandsOnTheForwardSide)
{
    const auto phi = [](double t) { return 2.0 * kPi * kShaft.turnsAt(t); };
    const UniformSignal x =
        sampled(kRate, kSeconds, [&](double t) { return 0.5 * std::cos(phi(t)); });
    const UniformSignal y =
        sampled(kRate, kSeconds, [&](double t) { return 0.5 * std::sin(phi(t)); });
    AnalysisSettings asked = settings();
    asked.twoSided = true;

    const AnalysisResults results = runOf(asked, {x, y});

    ASSERT_EQ(results.whirlOrders.size(), 401U);
    EXPECT_DOUBLE_EQ(results.whirlOrders.front(), -20.0);
    EXPECT_DOUBLE_EQ(results.whirlOrders.back(), 20.0);
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        if (results.orderBlocks[b] == 0) continue;
        EXPECT_NEAR(results.whirlMap.row(b)[210], 0.5, 1e-3); // order 1
        EXPECT_NEAR(results.whirlMap.row(b)[190], 0.0, 1e-3); // order -1
        const std::complex<double> a = results.signals[0].harmonics[0][b];
        const std::complex<double> c = results.signals[1].harmonics[0][b];
        EXPECT_NEAR(std::arg(c / a) * kDegrees, -90.0, 0.1);
    }
}

// Neither zero time nor the start of the recording is special.
TEST(AnalysisRun, LaterStartOfTheRecordingChangesNothing)
{
    UniformSignal signal = sampled(kRate, kSeconds, vibration);
    const AnalysisResults early = runOf(settings(), {signal});
    signal.startSeconds = 1000.0;
    const std::vector<double> times{1000.0, 1000.0 + kSeconds};
    const std::vector<double> speeds{kShaft.rpmAt(0.0), kShaft.rpmAt(kSeconds)};
    const AnalysisResults late =
        AnalysisRun(settings())
            .run(std::vector<UniformSignal>{signal}, ShaftAngle::fromSpeed(times, speeds));
    ASSERT_EQ(late.orderBlocks, early.orderBlocks);
    for (std::size_t i = 0; i < early.signals[0].orderMap.values.size(); ++i)
        ASSERT_NEAR(late.signals[0].orderMap.values[i], early.signals[0].orderMap.values[i], 1e-6);
    EXPECT_NEAR(late.seconds[0] - early.seconds[0], 1000.0, 1e-9);
}

// An analyzer that was used before is as good as new, in either mode.
TEST(AnalysisRun, SecondRunGivesTheSameBits)
{
    const UniformSignal signal = sampled(kRate, kSeconds, vibration);
    const AnalysisResults first = runOf(settings(), {signal});
    AnalysisSettings other = settings();
    other.stepRpm = 100.0;
    other.blockMode = BlockMode::Contiguous;
    (void)runOf(other, {signal, signal});
    (void)runOf(other, {signal});
    const AnalysisResults second = runOf(settings(), {signal});

    EXPECT_EQ(second.orderBlocks, first.orderBlocks);
    EXPECT_EQ(second.timeBlocks, first.timeBlocks);
    EXPECT_EQ(second.signals[0].orderMap.values, first.signals[0].orderMap.values);
    EXPECT_EQ(second.signals[0].frequencyMap.values, first.signals[0].frequencyMap.values);
    EXPECT_EQ(second.signals[0].harmonics, first.signals[0].harmonics);
    EXPECT_EQ(second.signals[0].overall, first.signals[0].overall);
}

TEST(AnalysisRun, RunsInThreadsGiveTheBitsOfOne)
{
    const std::vector<UniformSignal> signals{sampled(kRate, kSeconds, vibration)};
    const AnalysisResults alone = runOf(settings(), signals);
    std::vector<AnalysisResults> together(4);
    std::vector<std::thread> threads;
    threads.reserve(together.size());
    for (AnalysisResults& results : together)
        threads.emplace_back([&] { results = runOf(settings(), signals); });
    for (std::thread& thread : threads) thread.join();
    for (const AnalysisResults& results : together)
        EXPECT_EQ(results.signals[0].orderMap.values, alone.signals[0].orderMap.values);
}

// The speed passes through an axis that is a part of its range: in contiguous blocks, those before
// and behind it must not fall into its bins.
TEST(AnalysisRun, ContiguousBlocksOfOtherSpeedsStayOutsideTheAxis)
{
    AnalysisSettings asked = settings();
    asked.blockMode = BlockMode::Contiguous;
    asked.orderResolution = 0.2;
    asked.minRpm = 1500.0;
    asked.maxRpm = 2000.0;
    asked.stepRpm = 100.0;
    // The amplitude follows the speed, so a block's amplitude tells where it comes from.
    const UniformSignal signal = sampled(kRate, kSeconds, [](double t) {
        return kShaft.rpmAt(t) * std::cos(2.0 * kPi * kShaft.turnsAt(t));
    });

    const AnalysisResults results = runOf(asked, {signal});

    ASSERT_EQ(results.binRpm.size(), 6U);
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        ASSERT_GT(results.orderBlocks[b], 0);
        EXPECT_NEAR(results.signals[0].orderMap.row(b)[5], results.binRpm[b], 60.0);
    }
}

TEST(AnalysisRun, BinsThatNoBlockFellIntoHoldNothing)
{
    AnalysisSettings asked = settings();
    asked.maxRpm = 4000.0;
    const AnalysisResults results = runOf(asked, {sampled(kRate, kSeconds, vibration)});
    ASSERT_EQ(results.binRpm.back(), 4000.0);
    EXPECT_EQ(results.orderBlocks.back(), 0);
    EXPECT_THAT(results.signals[0].orderMap.row(results.binRpm.size() - 1), Each(Eq(0.0F)));
}

TEST(AnalysisRun, ProgressRisesToOneAndMayEndTheRun)
{
    const std::vector<UniformSignal> signals{sampled(kRate, kSeconds, vibration)};
    double last = 0.0;
    (void)AnalysisRun(settings()).run(signals, exactAngle(), [&](double share) {
        EXPECT_GT(share, last);
        last = share;
    });
    EXPECT_DOUBLE_EQ(last, 1.0);

    const AnalysisResults whole = runOf(settings(), signals);
    EXPECT_THROW((void)AnalysisRun(settings())
                     .run(signals,
                          exactAngle(),
                          [](double share) {
                              if (share > 0.5) throw std::runtime_error("enough");
                          }),
                 std::runtime_error);
    EXPECT_EQ(runOf(settings(), signals).orderBlocks, whole.orderBlocks);
}

TEST(AnalysisRun, SignalsThatDoNotFitAreRefused)
{
    const UniformSignal good = sampled(kRate, kSeconds, vibration);
    UniformSignal other = good;
    other.samples.pop_back();
    EXPECT_THAT(errorOf([] { (void)runOf(settings(), {}); }), HasSubstr("number of signals is 0"));
    EXPECT_THAT(errorOf([&] { (void)runOf(settings(), {good, good, good}); }), HasSubstr("is 3"));
    EXPECT_THAT(errorOf([&] { (void)runOf(settings(), {good, other}); }), HasSubstr("differ"));
    AnalysisSettings asked = settings();
    asked.twoSided = true;
    EXPECT_THAT(errorOf([&] { (void)runOf(asked, {good}); }), HasSubstr("need two signals"));
    other = good;
    other.samples[4096] = std::numeric_limits<double>::infinity();
    EXPECT_THAT(errorOf([&] { (void)runOf(settings(), {other}); }), HasSubstr("at 0.5 s"));
    other.rateHz = 0.0;
    EXPECT_THAT(errorOf([&] { (void)runOf(settings(), {other}); }), HasSubstr("rate is 0 Hz"));
}

TEST(AnalysisRun, OrdersBeyondTheSamplingRateAreRefusedWithTheHighestPossible)
{
    AnalysisSettings asked = settings();
    asked.highestOrder = 100.0;
    // 0.45 * 8192 Hz / 50 Hz = 73.7
    EXPECT_THAT(errorOf([&] { (void)runOf(asked, {sampled(kRate, kSeconds, vibration)}); }),
                HasSubstr("the highest order possible is 7"));
}

TEST(AnalysisRun, RecordingShorterThanABlockIsRefused)
{
    AnalysisSettings asked = settings();
    const std::vector<UniformSignal> shortOne{sampled(kRate, 1.0, vibration)};
    EXPECT_THAT(errorOf([&] { (void)AnalysisRun(asked).run(shortOne, exactAngle(1.0)); }),
                HasSubstr("needs more than 10"));
    asked.timeLines = 1 << 20;
    EXPECT_THAT(errorOf([&] { (void)runOf(asked, {sampled(kRate, kSeconds, vibration)}); }),
                HasSubstr("for the frequency spectra needs 256 s"));
}

} // namespace
} // namespace Harmotrack::Host

#include "host/analysis/analysis_run.h"
#include "host/analysis/channel_runs.h"
#include "host/signals/rate_check.h"

#include "tests/host/error_text.h"
#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <numeric>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;

constexpr double kRate = 4096.0;
constexpr double kPi = std::numbers::pi;
constexpr double kDegrees = 180.0 / kPi;
const SimulatedShaft kRunUp{600.0, 120.0};

AnalysisSettings settings()
{
    AnalysisSettings result;
    result.minRpm = 700.0;
    result.maxRpm = 1500.0;
    result.stepRpm = 50.0;
    result.highestOrder = 10.0;
    result.orderResolution = 0.2;
    result.harmonics = {1.0F};
    return result;
}

double vibration(double t)
{
    return 0.8 * std::cos(2.0 * kPi * kRunUp.turnsAt(t) + 40.0 / kDegrees);
}

// One pulse a turn: the mark stands where its rising flank is.
UniformSignal tachoOf(double seconds)
{
    return sampled(kRate, seconds, [](double t) {
        return SmoothPulse::at(kRunUp.turnsAt(t) + SmoothPulse::offset());
    });
}

RunInput input()
{
    RunInput result;
    result.rateHz = kRate;
    return result;
}

/// A speed of the shaft from 0 on, as straight lines between values.
struct Profile {
    std::vector<double> seconds;
    std::vector<double> rpm;

    [[nodiscard]] double turnsAt(double t) const
    {
        double turns = 0.0;
        for (std::size_t k = 1; k < seconds.size() && seconds[k - 1] < t; ++k) {
            const double until = std::min(t, seconds[k]);
            const double slope = (rpm[k] - rpm[k - 1]) / (seconds[k] - seconds[k - 1]);
            const double at = rpm[k - 1] + slope * (until - seconds[k - 1]);
            turns += 0.5 * (rpm[k - 1] + at) / 60.0 * (until - seconds[k - 1]);
        }
        return turns;
    }
};

template <typename Take>
void inPieces(std::span<const double> values, std::size_t size, const Take& take)
{
    for (std::size_t k = 0; k < values.size(); k += size)
        take(values.subspan(k, std::min(size, values.size() - k)));
}

std::vector<AnalysisResults> withTacho(const AnalysisSettings& asked,
                                       const UniformSignal& signal,
                                       const UniformSignal& tacho,
                                       std::size_t size,
                                       RunCallbacks callbacks = {})
{
    AnalysisRun run(asked);
    RunInput in = input();
    in.tachometer.emplace();
    run.start(in, std::move(callbacks));
    std::size_t done = 0;
    inPieces(signal.samples, size, [&](std::span<const double> piece) {
        run.feedTacho(std::span(tacho.samples).subspan(done, piece.size()));
        run.feed({&piece, 1});
        done += piece.size();
    });
    return run.finish();
}

TEST(AnalysisStream, TachoChannelGivesAmplitudeAndPhaseToItsMark)
{
    const auto results =
        withTacho(settings(), sampled(kRate, 10.0, vibration), tachoOf(10.0), 1000);
    ASSERT_EQ(results.size(), 1U);
    int visited = 0;
    for (std::size_t b = 0; b < results[0].binRpm.size(); ++b) {
        if (results[0].orderBlocks[b] == 0) continue;
        ++visited;
        const std::complex<double> first = results[0].signals[0].harmonics[0][b];
        EXPECT_NEAR(std::abs(first), 0.8, 2e-3);
        EXPECT_NEAR(std::arg(first) * kDegrees, 40.0, 0.5);
    }
    EXPECT_EQ(visited, 17);
    EXPECT_TRUE(results[0].tachoEvents.empty());
    EXPECT_DOUBLE_EQ(results[0].resolution.orders, 0.2);
    EXPECT_DOUBLE_EQ(results[0].resolution.revolutions, 5.0);
    EXPECT_DOUBLE_EQ(results[0].resolution.hertz, results[0].frequencies[1]);
    EXPECT_DOUBLE_EQ(results[0].resolution.seconds * results[0].resolution.hertz, 1.0);
}

// Pulses that last 0.3 of a turn, and an accelerating shaft: only flanks that are told apart give
// the angle between two marks.
TEST(AnalysisStream, PulseTimesAndFlanksOfBothKindsGiveTheAngleToo)
{
    const UniformSignal signal = sampled(kRate, 10.0, vibration);
    std::vector<double> rises;
    std::vector<PulseEdge> edges;
    for (double turn = 0.0; kRunUp.secondsAt(turn) < 10.0; turn += 1.0) {
        rises.push_back(kRunUp.secondsAt(turn));
        edges.push_back({rises.back(), true});
        edges.push_back({kRunUp.secondsAt(turn + 0.3), false});
    }
    for (const Edge edge : {Edge::Rising, Edge::Both}) {
        AnalysisRun run(settings());
        RunInput in = input();
        in.tachometer.emplace();
        in.tachometer->edge = edge;
        run.start(in);
        if (edge == Edge::Rising) run.feedPulses(rises);
        if (edge == Edge::Both) run.feedEdges(edges);
        const std::span<const double> samples = signal.samples;
        run.feed({&samples, 1});
        const AnalysisResults results = run.finish().front();
        EXPECT_TRUE(results.tachoEvents.empty());
        for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
            const std::complex<double> first = results.signals[0].harmonics[0][b];
            EXPECT_NEAR(std::abs(first), 0.8, 2e-3);
            EXPECT_NEAR(std::arg(first) * kDegrees, 40.0, 0.5);
        }
    }
}

TEST(AnalysisStream, ChunksOfAnySizeGiveTheSameBits)
{
    const UniformSignal signal = sampled(kRate, 8.0, vibration);
    const UniformSignal tacho = tachoOf(8.0);
    for (const BlockMode mode : {BlockMode::AtCrossing, BlockMode::Contiguous}) {
        AnalysisSettings asked = settings();
        asked.blockMode = mode;
        const auto whole = withTacho(asked, signal, tacho, signal.samples.size());
        for (const std::size_t size : {3U, 977U}) {
            const auto pieces = withTacho(asked, signal, tacho, size);
            EXPECT_EQ(pieces[0].orderBlocks, whole[0].orderBlocks);
            EXPECT_EQ(pieces[0].timeBlocks, whole[0].timeBlocks);
            EXPECT_EQ(pieces[0].signals[0].orderMap.values, whole[0].signals[0].orderMap.values);
            EXPECT_EQ(pieces[0].signals[0].frequencyMap.values,
                      whole[0].signals[0].frequencyMap.values);
            EXPECT_EQ(pieces[0].signals[0].harmonics, whole[0].signals[0].harmonics);
            EXPECT_EQ(pieces[0].speedRpm, whole[0].speedRpm);
        }
    }
}

// The signals may come long before the angle, and the angle before the signals.
TEST(AnalysisStream, SignalAndSpeedNeedNotComeInStep)
{
    const UniformSignal signal = sampled(kRate, 8.0, vibration);
    const std::span<const double> samples = signal.samples;
    const std::vector<double> seconds{0.0, 8.0};
    const std::vector<double> speeds{kRunUp.rpmAt(0.0), kRunUp.rpmAt(8.0)};
    RunInput in = input();
    in.speed.emplace();
    std::vector<std::vector<AnalysisResults>> both;
    for (const bool signalFirst : {true, false}) {
        AnalysisRun run(settings());
        run.start(in);
        if (signalFirst) run.feed({&samples, 1});
        run.feedSpeed(seconds, speeds);
        if (!signalFirst) run.feed({&samples, 1});
        both.push_back(run.finish());
    }
    EXPECT_GT(both[0][0].orderBlocks[5], 0);
    EXPECT_EQ(both[0][0].signals[0].orderMap.values, both[1][0].signals[0].orderMap.values);
    EXPECT_EQ(both[0][0].timeBlocks, both[1][0].timeBlocks);
}

// Two run-ups with a standstill between: amplitude 1 in the first, 3 in the second.
TEST(AnalysisStream, SegmentsAreJoinedAsTheAveragingSays)
{
    const Profile profile{{0, 8, 9, 12, 13, 21}, {600, 1600, 0, 0, 600, 1600}};
    const UniformSignal signal = sampled(kRate, 21.0, [&](double t) {
        return (t < 10.0 ? 1.0 : 3.0) * std::cos(2.0 * kPi * profile.turnsAt(t));
    });
    const std::span<const double> samples = signal.samples;
    const auto resultsWith = [&](Averaging averaging) {
        AnalysisSettings asked = settings();
        asked.direction = Direction::Rising;
        asked.averaging = averaging;
        RunInput in = input();
        in.speed.emplace();
        in.speed->standstillRpm = 100.0;
        AnalysisRun run(asked);
        run.start(in);
        run.feedSpeed(profile.seconds, profile.rpm);
        run.feed({&samples, 1});
        return run.finish().front();
    };
    const AnalysisResults mean = resultsWith(Averaging::Mean);
    ASSERT_EQ(mean.remarks.size(), 1U);
    EXPECT_THAT(mean.remarks[0], HasSubstr("stands still"));
    EXPECT_EQ(mean.orderBlocks[8], 2);
    EXPECT_EQ(mean.timeBlocks[8], 2);
    EXPECT_NEAR(mean.signals[0].orderMap.row(8)[5], 2.0, 0.01);
    EXPECT_NEAR(std::abs(mean.signals[0].harmonics[0][8]), 2.0, 0.01);
    EXPECT_NEAR(mean.signals[0].overall[8], 2.0 / std::sqrt(2.0), 0.03);
    const auto cell = [&](Averaging averaging) {
        return resultsWith(averaging).signals[0].orderMap.row(8)[5];
    };
    EXPECT_NEAR(cell(Averaging::KeepFirst), 1.0, 0.01);
    EXPECT_NEAR(cell(Averaging::Overwrite), 3.0, 0.01);
    EXPECT_NEAR(cell(Averaging::PeakHold), 3.0, 0.01);
}

// Up with amplitude 1, down with amplitude 2.
TEST(AnalysisStream, PassesComeApartOrTogether)
{
    const Profile profile{{0, 8, 16}, {600, 1600, 600}};
    const UniformSignal signal = sampled(kRate, 16.0, [&](double t) {
        return (t < 8.0 ? 1.0 : 2.0) * std::cos(2.0 * kPi * profile.turnsAt(t));
    });
    const ShaftAngle angle = ShaftAngle::fromSpeed(profile.seconds, profile.rpm);
    AnalysisSettings asked = settings();
    asked.passes = Passes::Apart;
    const auto apart = AnalysisRun(asked).runPasses({&signal, 1}, angle.knots());
    ASSERT_EQ(apart.size(), 2U);
    EXPECT_EQ(apart[0].pass, Pass::Rising);
    EXPECT_EQ(apart[1].pass, Pass::Falling);
    EXPECT_NEAR(apart[0].signals[0].orderMap.row(8)[5], 1.0, 0.01);
    EXPECT_NEAR(apart[1].signals[0].orderMap.row(8)[5], 2.0, 0.01);

    const AnalysisResults together = AnalysisRun(settings()).run({&signal, 1}, angle);
    EXPECT_EQ(together.orderBlocks[8], 2);
    EXPECT_NEAR(together.signals[0].orderMap.row(8)[5], 1.5, 0.01);

    EXPECT_THAT(errorOf([&] {
                    (void)AnalysisRun(asked).run({&signal, 1}, angle);
                }),
                HasSubstr("two sets of tables"));
    asked.blockMode = BlockMode::Contiguous;
    EXPECT_THAT(errorOf([&] { AnalysisRun run(asked); }), HasSubstr("Passes apart"));
}

TEST(AnalysisStream, ResultsComeAsTheyAreMade)
{
    AnalysisSettings asked = settings();
    asked.averaging = Averaging::Overwrite;
    asked.rowOverlapPercent = 50.0;
    int orderBlocks = 0;
    int timeBlocks = 0;
    std::vector<double> rowSeconds;
    std::vector<float> lastRow;
    RunCallbacks callbacks;
    callbacks.onResult = [&](const BlockResult& block) {
        if (block.bin < 0) {
            rowSeconds.push_back(block.seconds);
            EXPECT_NEAR(block.orderSpectrum[5], 0.8, 0.01);
            return;
        }
        if (!block.orderSpectrum.empty()) {
            ++orderBlocks;
            EXPECT_NEAR(block.speedRpm, 700.0 + 50.0 * block.bin, 3.0);
            EXPECT_NEAR(std::abs(block.harmonics[0]), 0.8, 0.01);
        }
        if (!block.frequencySpectrum.empty()) {
            ++timeBlocks;
            EXPECT_NEAR(block.overall, 0.8 / std::sqrt(2.0), 0.02);
        }
    };
    const auto results =
        withTacho(asked, sampled(kRate, 10.0, vibration), tachoOf(10.0), 500, callbacks);
    EXPECT_EQ(orderBlocks,
              std::accumulate(results[0].orderBlocks.begin(), results[0].orderBlocks.end(), 0));
    EXPECT_EQ(timeBlocks,
              std::accumulate(results[0].timeBlocks.begin(), results[0].timeBlocks.end(), 0));
    // 200 turns less a turn and a half at the ends, in steps of 2.5 turns of blocks of 5
    ASSERT_NEAR(static_cast<double>(rowSeconds.size()), (200.0 - 1.5 - 5.0) / 2.5, 2.0);
    for (std::size_t k = 1; k < rowSeconds.size(); ++k)
        EXPECT_NEAR(kRunUp.turnsAt(rowSeconds[k]) - kRunUp.turnsAt(rowSeconds[k - 1]), 2.5, 0.01);
}

TEST(AnalysisStream, SignalAtEqualAnglesIsAResult)
{
    AnalysisSettings asked = settings();
    asked.keepAngleSignal = true;
    const auto results = withTacho(asked, sampled(kRate, 8.0, vibration), tachoOf(8.0), 700);
    const EqualAngleSamples& signal = results[0].angleSignal;
    ASSERT_EQ(signal.values.size(), 1U);
    ASSERT_EQ(signal.values[0].size(), signal.steps.size());
    ASSERT_GT(signal.steps.size(), 100U * 28U);
    const int perTurn = 2 * asked.maxOrder();
    for (std::size_t k = 0; k < signal.steps.size(); ++k)
        ASSERT_NEAR(signal.values[0][k],
                    0.8 * std::cos((signal.steps[k].angleDegrees(perTurn) + 40.0) / kDegrees),
                    5e-3);
}

// Amplitude follows the speed, which comes from below the axis: the library's first bin reaches a
// step further down than the others, and here it must not.
TEST(AnalysisStream, BinsOfContiguousBlocksAreEven)
{
    const SimulatedShaft shaft{300.0, 40.0};
    AnalysisSettings asked = settings();
    asked.blockMode = BlockMode::Contiguous;
    asked.stepRpm = 100.0;
    asked.minRpm = 600.0;
    asked.maxRpm = 1000.0;
    asked.hysteresisPercent = 0.0;
    asked.orderResolution = 1.0;
    const UniformSignal signal = sampled(kRate, 20.0, [&](double t) {
        return shaft.rpmAt(t) * std::cos(2.0 * kPi * shaft.turnsAt(t));
    });
    const std::vector<double> times{0.0, 20.0};
    const std::vector<double> speeds{shaft.rpmAt(0.0), shaft.rpmAt(20.0)};
    const AnalysisResults results =
        AnalysisRun(asked).run({&signal, 1}, ShaftAngle::fromSpeed(times, speeds));
    ASSERT_EQ(results.binRpm, (std::vector<double>{600.0, 700.0, 800.0, 900.0, 1000.0}));
    // 100 rpm last 2.5 s; turns in it grow with the speed, and so do the blocks.
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        EXPECT_NEAR(results.orderBlocks[b], 2.5 * results.binRpm[b] / 60.0, 2.0);
        EXPECT_NEAR(results.signals[0].orderMap.row(b)[1], results.binRpm[b], 8.0);
    }
}

TEST(AnalysisStream, SilenceAndConstantsGiveEmptySpectra)
{
    for (const double value : {0.0, 5.0}) {
        const UniformSignal signal = sampled(kRate, 8.0, [&](double) { return value; });
        const auto results = withTacho(settings(), signal, tachoOf(8.0), 5000);
        const SignalResults& tables = results[0].signals[0];
        EXPECT_GT(results[0].orderBlocks[8], 0);
        for (const float cell : tables.orderMap.values) ASSERT_NEAR(cell, 0.0, 2e-4 * value);
        for (const float level : tables.overall) ASSERT_NEAR(level, 0.0F, 1e-5F);
    }
}

TEST(AnalysisStream, TachoThatNeverMovesIsNamed)
{
    TachometerSettings tacho;
    tacho.name = "Channel 4";
    RunInput in = input();
    in.tachometer = tacho;
    AnalysisRun run(settings());
    run.start(in);
    const std::vector<double> constant(20000, 1.0);
    const std::span<const double> samples = constant;
    run.feedTacho(samples);
    run.feed({&samples, 1});
    EXPECT_THAT(errorOf([&] { (void)run.finish(); }), HasSubstr("Channel 4 shows no pulses"));
}

TEST(AnalysisStream, MendedPulsesStandInTheResults)
{
    UniformSignal tacho = tachoOf(8.0);
    const double gone = kRunUp.secondsAt(40.0);
    for (std::size_t k = 0; k < tacho.samples.size(); ++k) {
        if (std::abs(static_cast<double>(k) / kRate - gone) < 0.02) tacho.samples[k] = 0.0;
    }
    int told = 0;
    RunCallbacks callbacks;
    callbacks.onTachoEvent = [&](const TachoEvent&) { ++told; };
    const auto results =
        withTacho(settings(), sampled(kRate, 8.0, vibration), tacho, 4096, callbacks);
    EXPECT_EQ(told, 1);
    EXPECT_EQ(results[0].tachoEventCount, 1U);
    ASSERT_EQ(results[0].tachoEvents.size(), 1U);
    EXPECT_EQ(results[0].tachoEvents[0].kind, TachoEvent::Kind::MissingPulse);
    EXPECT_NEAR(results[0].signals[0].orderMap.row(5)[5], 0.8, 0.01);
}

TEST(AnalysisStream, SpeedBeyondTheReachOfTheRateEndsTheRun)
{
    AnalysisSettings asked = settings();
    asked.highestOrder = 80.0;
    const UniformSignal signal = sampled(kRate, 10.0, vibration);
    // 0.45 * 4096 Hz / 80 = 23.04 Hz = 1382 rpm
    EXPECT_THAT(
        errorOf([&] { (void)withTacho(asked, signal, tachoOf(10.0), 4096); }),
        testing::AllOf(HasSubstr("Order 80 is"), HasSubstr("the highest order possible is 7")));
}

TEST(AnalysisStream, MisuseIsASentence)
{
    AnalysisRun run(settings());
    const std::vector<double> some(100, 0.0);
    const std::span<const double> samples = some;
    const std::vector<std::span<const double>> two{samples, samples.first(50)};
    EXPECT_THAT(errorOf([&] { run.feed({&samples, 1}); }), HasSubstr("not been started"));
    EXPECT_THAT(errorOf([&] { (void)run.finish(); }), HasSubstr("not been started"));
    RunInput in = input();
    in.channels = 3;
    EXPECT_THAT(errorOf([&] { run.start(in); }), HasSubstr("channels is 3"));
    in.channels = 2;
    in.rateHz = -1.0;
    EXPECT_THAT(errorOf([&] { run.start(in); }), HasSubstr("rate is -1 Hz"));
    in.rateHz = kRate;
    run.start(in);
    EXPECT_THAT(errorOf([&] { run.feed({&samples, 1}); }), HasSubstr("2 were announced"));
    EXPECT_THAT(errorOf([&] { run.feed(two); }), HasSubstr("100 and 50 samples"));
    EXPECT_THAT(errorOf([&] { run.feedTacho(samples); }), HasSubstr("none was announced"));
    EXPECT_THAT(errorOf([&] { run.feedSpeed(samples, samples); }), HasSubstr("none was"));
    in.speed.emplace();
    in.tachometer.emplace();
    EXPECT_THAT(errorOf([&] { run.start(in); }), HasSubstr("one source"));
    in.tachometer.reset();
    run.start(in);
    EXPECT_THAT(errorOf([&] { run.feedKnots({}); }), HasSubstr("another source"));
}

// What a chunk with a bad value held before it is not taken: the same chunk, mended, goes on.
TEST(AnalysisStream, ChunkWithABadValueIsNotTaken)
{
    AnalysisRun run(settings());
    run.start(input());
    std::vector<double> chunk(4096, 0.0);
    const std::span<const double> samples = chunk;
    run.feed({&samples, 1});
    chunk[1024] = std::numeric_limits<double>::quiet_NaN();
    for (int attempt = 0; attempt < 2; ++attempt)
        EXPECT_THAT(errorOf([&] { run.feed({&samples, 1}); }), HasSubstr("at 1.25 s"));
}

TEST(AnalysisStream, ManyChannelsInThreadsGiveTheBitsOfOneAfterTheOther)
{
    std::vector<UniformSignal> signals;
    for (int c = 0; c < 6; ++c)
        signals.push_back(sampled(kRate, 8.0, [&](double t) { return (1.0 + c) * vibration(t); }));
    const std::vector<double> times{0.0, 8.0};
    const std::vector<double> speeds{kRunUp.rpmAt(0.0), kRunUp.rpmAt(8.0)};
    const ShaftAngle angle = ShaftAngle::fromSpeed(times, speeds);
    double last = 0.0;
    const auto together = analyseChannels(signals, angle.knots(), settings(), 3, [&](double share) {
        EXPECT_GE(share, last);
        last = share;
    });
    EXPECT_DOUBLE_EQ(last, 1.0);
    ASSERT_EQ(together.size(), signals.size());
    for (std::size_t c = 0; c < signals.size(); ++c)
        EXPECT_EQ(together[c].signals[0].orderMap.values,
                  AnalysisRun(settings()).run({&signals[c], 1}, angle).signals[0].orderMap.values);
    signals[4].samples[7] = std::numeric_limits<double>::infinity();
    EXPECT_THAT(errorOf([&] { (void)analyseChannels(signals, angle.knots(), settings(), 3); }),
                HasSubstr("not a finite"));
}

// Stamps every 256 samples that jitter by up to a millisecond; the clock runs 0.1 % fast.
TEST(RateCheck, StampsTellTheRateAndWhetherSamplesWereLost)
{
    RateCheck good(1000.0);
    RateCheck fast(1000.0);
    RateCheck lost(1000.0);
    for (int k = 0; k < 500; ++k) {
        const double jitter = 1e-3 * std::sin(1.7 * k);
        good.add(256LL * k, 10.0 + 0.256 * k + jitter);
        fast.add(256LL * k, 10.0 + 0.256 * k / 1.001 + jitter);
        lost.add(256LL * k, 10.0 + 0.256 * k + (k > 200 ? 0.5 : 0.0));
    }
    EXPECT_NEAR(good.measuredHz(), 1000.0, 0.005);
    EXPECT_EQ(good.remark(), "");
    EXPECT_NEAR(fast.measuredHz(), 1001.0, 0.005);
    EXPECT_THAT(fast.remark(), HasSubstr("say a sampling rate of 1001 Hz"));
    EXPECT_THAT(lost.remark(), HasSubstr("jump by 0.5 s after 61.2 s"));
    EXPECT_THAT(errorOf([&] { good.add(0, std::nan("")); }), HasSubstr("not a finite"));
}

TEST(AnalysisStream, RateThatTheStampsDenyIsRemarked)
{
    AnalysisRun run(settings());
    run.start(input());
    const std::vector<double> times{0.0, 8.0};
    const std::vector<double> speeds{kRunUp.rpmAt(0.0), kRunUp.rpmAt(8.0)};
    run.feedKnots(ShaftAngle::fromSpeed(times, speeds).knots());
    const UniformSignal signal = sampled(kRate, 8.0, vibration);
    double stamp = 0.0;
    inPieces(signal.samples, 512, [&](std::span<const double> piece) {
        run.feedStamp(stamp);
        run.feed({&piece, 1});
        stamp += 512.0 / 4000.0;
    });
    const auto results = run.finish();
    ASSERT_EQ(results[0].remarks.size(), 1U);
    EXPECT_THAT(results[0].remarks[0], HasSubstr("4000 Hz, and it is 4096 Hz"));
}

} // namespace
} // namespace Harmotrack::Host

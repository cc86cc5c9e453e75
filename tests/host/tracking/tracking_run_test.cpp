#include "host/tracking/tracking_run.h"

#include "host/shaft/shaft_angle.h"

#include "tests/host/error_text.h"
#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <random>
#include <thread>
#include <vector>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;

constexpr double kTwoPi = 2.0 * std::numbers::pi;

TrackingSettings ordersOneAndTwo()
{
    return {.minRpm = 500.0, .maxRpm = 7000.0, .orders = {1.0F, 2.0F}};
}

void addNoise(UniformSignal& signal, double rms)
{
    std::mt19937_64 generator(3);
    std::normal_distribution<double> noise(0.0, rms);
    for (double& sample : signal.samples) sample += noise(generator);
}

UniformSignal pureVibration(const SimulatedShaft& shaft, double seconds, double rateHz)
{
    return sampled(rateHz, seconds, [&](double t) {
        const double phi = kTwoPi * shaft.turnsAt(t);
        return std::cos(phi) + 0.5 * std::cos(2.0 * phi + 1.0);
    });
}

// Orders 1 and 2 of a shaft in white noise, 18 dB below them over all frequencies.
UniformSignal vibration(const SimulatedShaft& shaft, double seconds)
{
    UniformSignal signal = pureVibration(shaft, seconds, 6400.0);
    addNoise(signal, 0.1);
    return signal;
}

double errorPercent(const SpeedEstimate& estimate, const SimulatedShaft& shaft)
{
    return 100.0 * std::abs(estimate.rpm / shaft.rpmAt(estimate.seconds) - 1.0);
}

// Speeds change by 36 rpm within a block, which widens the peak; the noise is small against that.
TEST(TrackingRun, RunUpIsFollowedWithinHalfAPerCent)
{
    const SimulatedShaft shaft;
    const TrackedSpeed speed = trackSpeed(ordersOneAndTwo(), vibration(shaft, 30.0));
    EXPECT_GT(speed.estimates.size(), 200U);
    EXPECT_EQ(speed.validShare(), 1.0);
    EXPECT_TRUE(speed.lost().empty());
    for (const SpeedEstimate& estimate : speed.estimates) {
        EXPECT_LT(errorPercent(estimate, shaft), 0.5) << estimate.seconds;
        EXPECT_GT(estimate.explained, 0.9);
        EXPECT_GT(estimate.distinctness, 1.0);
    }
}

// At 3000 rpm/s a stamp that is off by 1 ms is an error of 3 rpm throughout; the curvature
// of the phase within a block costs up to 20 rpm either way, of which the mean keeps little.
TEST(TrackingRun, StampsAreTheMiddlesOfTheBlocks)
{
    const SimulatedShaft shaft{1000.0, 3000.0};
    TrackingSettings settings = ordersOneAndTwo();
    settings.minRpm = 1000.0;
    settings.blockSeconds = 0.06;
    for (const double rateHz : {1600.0, 25600.0}) {
        const TrackedSpeed speed = trackSpeed(settings, pureVibration(shaft, 1.9, rateHz));
        ASSERT_GT(speed.validShare(), 0.9);
        double sum = 0.0;
        double count = 0.0;
        for (const SpeedEstimate& estimate : speed.estimates) {
            if (!estimate.valid) continue;
            sum += estimate.rpm - shaft.rpmAt(estimate.seconds);
            ++count;
        }
        EXPECT_NEAR(sum / count, 0.0, 2.0) << rateHz;
    }
}

// Blocks as the library chooses them have 1000 samples here, for which its likelihood is no normal
// number.
TEST(TrackingRun, GearsWithHighOrdersAreTrackedWithinATenthOfAPerCent)
{
    constexpr double kHertz = 50.0;
    UniformSignal signal = sampled(20000.0, 4.0, [](double t) {
        const double phi = kTwoPi * kHertz * t;
        return 0.3 * std::cos(phi) + std::cos(17.0 * phi + 1.0) + 0.5 * std::cos(34.0 * phi + 2.0);
    });
    addNoise(signal, std::sqrt(0.5 * (0.09 + 1.0 + 0.25) / 100.0)); // 20 dB
    const TrackingSettings settings{
        .minRpm = 600.0, .maxRpm = 4400.0, .orders = {1.0F, 17.0F, 34.0F}};
    const TrackedSpeed speed = trackSpeed(settings, signal);
    EXPECT_EQ(speed.validShare(), 1.0);
    for (const SpeedEstimate& estimate : speed.estimates)
        EXPECT_NEAR(estimate.rpm, 60.0 * kHertz, 0.001 * 60.0 * kHertz) << estimate.seconds;
}

// Live, too; the first two of a row are not believed yet.
TEST(TrackingRun, EstimatesComeAsTheSamplesDo)
{
    const SimulatedShaft shaft;
    const UniformSignal signal = vibration(shaft, 6.0);
    TrackingRun run(ordersOneAndTwo(), signal.rateHz, signal.startSeconds);
    std::vector<SpeedEstimate> estimates;
    const std::size_t chunk = 320; // 50 ms
    for (std::size_t i = 0; i < signal.samples.size(); i += chunk) {
        for (const SpeedEstimate& estimate :
             run.push(std::span(signal.samples).subspan(i, chunk))) {
            const double delivered = static_cast<double>(i + chunk) / signal.rateHz;
            EXPECT_LT(delivered - estimate.seconds, 0.5 * run.plan().blockSeconds() + 0.08);
            estimates.push_back(estimate);
        }
    }
    ASSERT_GT(estimates.size(), 40U);
    for (std::size_t k = 0; k < estimates.size(); ++k) {
        EXPECT_EQ(estimates[k].valid, k >= 2) << k;
        EXPECT_LT(errorPercent(estimates[k], shaft), 0.5) << k;
    }
}

TEST(TrackingRun, DoesNotSeeHowTheSignalIsCut)
{
    const UniformSignal signal = vibration({}, 3.0);
    TrackingRun whole(ordersOneAndTwo(), signal.rateHz);
    const std::vector<SpeedEstimate> expected = whole.push(signal.samples);
    TrackingRun cut(ordersOneAndTwo(), signal.rateHz);
    std::vector<SpeedEstimate> estimates;
    for (std::size_t i = 0, size = 1; i < signal.samples.size();
         i += size, size = size * 7 % 997 + 1) {
        const auto more = cut.push(
            std::span(signal.samples).subspan(i, std::min(size, signal.samples.size() - i)));
        estimates.insert(estimates.end(), more.begin(), more.end());
    }
    ASSERT_EQ(estimates.size(), expected.size());
    for (std::size_t k = 0; k < expected.size(); ++k) {
        EXPECT_EQ(estimates[k].rpm, expected[k].rpm);
        EXPECT_EQ(estimates[k].seconds, expected[k].seconds);
        EXPECT_EQ(estimates[k].explained, expected[k].explained);
        EXPECT_EQ(estimates[k].valid, expected[k].valid);
    }
}

// A factor of a power of two changes no bit of the mantissas, and every block has its own gain.
TEST(TrackingRun, LevelOfTheSignalDoesNotMatter)
{
    const UniformSignal signal = vibration({}, 3.0);
    const TrackedSpeed expected = trackSpeed(ordersOneAndTwo(), signal);
    for (const int exponent : {-200, -40, 40, 200}) {
        UniformSignal scaled = signal;
        for (double& sample : scaled.samples) sample = std::ldexp(sample, exponent);
        const TrackedSpeed speed = trackSpeed(ordersOneAndTwo(), scaled);
        ASSERT_EQ(speed.estimates.size(), expected.estimates.size());
        for (std::size_t k = 0; k < speed.estimates.size(); ++k)
            EXPECT_NEAR(speed.estimates[k].rpm, expected.estimates[k].rpm, 1e-6) << exponent;
    }
}

TEST(TrackingRun, SilenceAndAConstantTellNothing)
{
    for (const double level : {0.0, 0.1, 1e200}) {
        UniformSignal signal{0.0, 6400.0, std::vector<double>(6400, level)};
        const TrackedSpeed speed = trackSpeed(ordersOneAndTwo(), signal);
        ASSERT_FALSE(speed.estimates.empty());
        EXPECT_EQ(speed.validShare(), 0.0);
        ASSERT_EQ(speed.lost().size(), 1U);
        EXPECT_EQ(speed.lost().front().fromSeconds, speed.estimates.front().seconds);
        EXPECT_EQ(speed.lost().front().toSeconds, speed.estimates.back().seconds);
        EXPECT_THAT(errorOf([&] { (void)speed.knots(1.0); }), HasSubstr("was not found"));
    }
}

// Of white noise two orders explain about 2 · 2 / N, and the best of some hundred candidates a few
// times that.
TEST(TrackingRun, NoiseAloneIsNoMachine)
{
    UniformSignal signal{0.0, 6400.0, std::vector<double>(6400 * 20, 0.0)};
    addNoise(signal, 1.0);
    EXPECT_LT(trackSpeed(ordersOneAndTwo(), signal).validShare(), 0.1);
}

// From 4 to 6 s the machine is drowned; behind that it is found again, at another speed.
TEST(TrackingRun, SaysWhereItLostTheMachine)
{
    const SimulatedShaft shaft{3000.0, 250.0};
    UniformSignal signal = vibration(shaft, 10.0);
    std::mt19937_64 generator(4);
    std::normal_distribution<double> noise(0.0, 1.0);
    for (std::size_t k = 4 * 6400; k < 6 * 6400; ++k) signal.samples[k] = noise(generator);
    const TrackedSpeed speed = trackSpeed(ordersOneAndTwo(), signal);

    const std::vector<LostStretch> lost = speed.lost();
    ASSERT_FALSE(lost.empty());
    EXPECT_NEAR(lost.front().fromSeconds, 4.0, 0.3);
    EXPECT_NEAR(lost.back().toSeconds, 6.0, 0.3);
    for (const SpeedEstimate& estimate : speed.estimates) {
        if (estimate.seconds < 3.7 || estimate.seconds > 6.3) {
            EXPECT_TRUE(estimate.valid) << estimate.seconds;
            EXPECT_LT(errorPercent(estimate, shaft), 0.5) << estimate.seconds;
        }
    }
}

// Up to 3 s a second machine shakes the floor, stronger than ours. A tracker that starts there
// takes it for ours; one that comes back from where ours is alone does not.
TEST(TrackingRun, BackwardTrackingReachesTheStart)
{
    const SimulatedShaft shaft{1500.0, 300.0};
    UniformSignal signal = vibration(shaft, 10.0);
    for (std::size_t k = 0; k < 3 * 6400; ++k) {
        const double phi = kTwoPi * 97.3 * static_cast<double>(k) / signal.rateHz;
        signal.samples[k] += 1.3 * std::cos(phi);
    }
    TrackingSettings settings = ordersOneAndTwo();
    settings.minRpm = 1000.0;
    TrackingRun run(settings, signal.rateHz);
    const std::vector<SpeedEstimate> live = run.push(signal.samples);
    const TrackedSpeed whole = trackSpeed(settings, signal);
    ASSERT_EQ(live.size(), whole.estimates.size());
    const auto right = [&](const std::vector<SpeedEstimate>& estimates) {
        return std::count_if(estimates.begin(), estimates.end(), [&](const SpeedEstimate& e) {
            return errorPercent(e, shaft) < 2.0;
        });
    };
    EXPECT_LT(right(live), static_cast<std::ptrdiff_t>(live.size()) * 80 / 100);
    EXPECT_GT(right(whole.estimates), static_cast<std::ptrdiff_t>(live.size()) * 95 / 100);
}

// A second machine drowns ours from 7 s on.
TEST(TrackingRun, ForwardTrackingReachesTheEnd)
{
    const SimulatedShaft shaft{1500.0, 300.0};
    UniformSignal signal = vibration(shaft, 10.0);
    for (std::size_t k = 7 * 6400; k < signal.samples.size(); ++k) {
        const double phi = kTwoPi * 31.3 * static_cast<double>(k) / signal.rateHz;
        signal.samples[k] += 1.1 * std::cos(phi);
    }
    TrackingSettings settings = ordersOneAndTwo();
    settings.minRpm = 1000.0;
    const TrackedSpeed speed = trackSpeed(settings, signal);
    for (const SpeedEstimate& estimate : speed.estimates)
        EXPECT_LT(errorPercent(estimate, shaft), 2.0) << estimate.seconds;
}

// At the start a line at half the speed looks like order 1 of a machine whose order 2 is our
// order 1. Later only a little of order 2 tells the two apart: a fiftieth of the energy, too little
// for one block to be sure.
TEST(TrackingRun, AllBlocksTogetherTellAMultipleOfTheSpeed)
{
    const SimulatedShaft shaft{2400.0, 60.0};
    UniformSignal signal = sampled(6400.0, 10.0, [&](double t) {
        const double phi = kTwoPi * shaft.turnsAt(t);
        return std::cos(phi) + 0.15 * std::cos(2.0 * phi + 1.0) +
               (t < 1.5 ? 0.6 * std::cos(0.5 * phi) : 0.0);
    });
    addNoise(signal, 0.05);
    const TrackedSpeed speed = trackSpeed(ordersOneAndTwo(), signal);
    EXPECT_EQ(speed.validShare(), 1.0);
    for (const SpeedEstimate& estimate : speed.estimates)
        EXPECT_LT(errorPercent(estimate, shaft), 2.0) << estimate.seconds;
}

TEST(TrackingRun, AngleIsTheIntegralOfTheSpeed)
{
    const SimulatedShaft shaft;
    const TrackedSpeed speed = trackSpeed(ordersOneAndTwo(), vibration(shaft, 20.0));
    const ShaftAngle angle = ShaftAngle::fromKnots(speed.knots(1.0));
    const double start = angle.startSeconds();
    EXPECT_LT(start, 0.3);
    EXPECT_GT(angle.endSeconds(), 19.7);
    for (const double t : {2.0, 7.5, 15.0, 19.5}) {
        const double turns = shaft.turnsAt(t) - shaft.turnsAt(start);
        EXPECT_NEAR(angle.turnsAt(t), turns, 0.0005 * turns + 0.01);
        EXPECT_NEAR(angle.speedRpmAt(t), shaft.rpmAt(t), 0.005 * shaft.rpmAt(t));
    }
}

TEST(TrackingRun, StretchesBetweenGapsAreSegmentsOfTheShaft)
{
    TrackedSpeed speed;
    for (int k = 0; k < 20; ++k)
        speed.estimates.push_back({.seconds = 0.1 * k, .rpm = 1000.0, .valid = k < 5 || k > 9});
    const std::vector<ShaftAngle> apart = ShaftAngle::segmentsOf(speed.knots(0.2));
    ASSERT_EQ(apart.size(), 2U);
    EXPECT_NEAR(apart[0].endSeconds(), 0.4, 1e-12);
    EXPECT_NEAR(apart[1].startSeconds(), 1.0, 1e-12);
    const std::vector<ShaftAngle> bridged = ShaftAngle::segmentsOf(speed.knots(1.0));
    ASSERT_EQ(bridged.size(), 1U);
    EXPECT_NEAR(bridged[0].startSeconds(), 0.0, 1e-12);
    ASSERT_EQ(speed.lost().size(), 1U);
    EXPECT_NEAR(speed.lost().front().fromSeconds, 0.5, 1e-12);
    EXPECT_NEAR(speed.lost().front().toSeconds, 0.9, 1e-12);
    EXPECT_DOUBLE_EQ(speed.validShare(), 0.75);
}

TEST(TrackingRun, SamplesThatAreNoNumbersAreRefusedAndNotTaken)
{
    const SimulatedShaft shaft;
    const UniformSignal signal = vibration(shaft, 3.0);
    TrackingRun run(ordersOneAndTwo(), signal.rateHz, 10.0);
    (void)run.push(std::span(signal.samples).first(6400));
    const std::vector<double> bad{1.0, 2.0, std::numeric_limits<double>::infinity()};
    EXPECT_THAT(errorOf([&] { (void)run.push(bad); }), HasSubstr("at 11.0003 s"));
    const auto estimates = run.push(std::span(signal.samples).subspan(6400));
    ASSERT_FALSE(estimates.empty());
    for (SpeedEstimate estimate : estimates) {
        estimate.seconds -= 10.0;
        EXPECT_LT(errorPercent(estimate, shaft), 0.5);
    }
}

TEST(TrackingRun, SignalShorterThanABlockIsRefused)
{
    const UniformSignal signal = vibration({}, 0.1);
    EXPECT_THAT(errorOf([&] { (void)trackSpeed(ordersOneAndTwo(), signal); }),
                HasSubstr("The signal lasts 0.1 s, and a block needs"));
}

TEST(TrackingRun, ProgressRisesToTheEnd)
{
    double last = 0.0;
    int calls = 0;
    (void)trackSpeed(ordersOneAndTwo(), vibration({}, 10.0), [&](double share) {
        EXPECT_GE(share, last);
        EXPECT_LE(share, 1.0);
        last = share;
        ++calls;
    });
    EXPECT_GE(calls, 5);
    EXPECT_EQ(last, 1.0);
}

// Trackers of a pool that start side by side, and one after the other in the same handles.
TEST(TrackingRun, RunsInParallelDoNotDisturbEachOther)
{
    const UniformSignal signal = vibration({}, 2.0);
    const std::vector<SpeedEstimate> expected = trackSpeed(ordersOneAndTwo(), signal).estimates;
    std::array<std::vector<SpeedEstimate>, 8> found;
    std::vector<std::thread> threads;
    for (auto& estimates : found)
        threads.emplace_back([&] { estimates = trackSpeed(ordersOneAndTwo(), signal).estimates; });
    for (std::thread& thread : threads) thread.join();
    for (const auto& estimates : found) {
        ASSERT_EQ(estimates.size(), expected.size());
        for (std::size_t k = 0; k < expected.size(); ++k)
            EXPECT_EQ(estimates[k].rpm, expected[k].rpm);
    }
}

} // namespace
} // namespace Harmotrack::Host

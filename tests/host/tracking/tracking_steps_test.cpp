// The steps of tracking, each by itself: settings, decimator, least-squares fit, tracker of blocks,
// follower.

#include "host/signals/low_pass_decimator.h"
#include "host/tracking/block_tracker.h"
#include "host/tracking/order_fit.h"
#include "host/tracking/speed_follower.h"
#include "host/tracking/tracking_settings.h"

#include "tests/host/error_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <vector>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;

constexpr double kTwoPi = 2.0 * std::numbers::pi;

std::vector<double> cosine(std::size_t samples, double cycles, double phase = 0.0)
{
    std::vector<double> values(samples);
    for (std::size_t i = 0; i < samples; ++i)
        values[i] = std::cos(
            kTwoPi * cycles * static_cast<double>(i) / static_cast<double>(samples) + phase);
    return values;
}

TrackingSettings fan()
{
    return {.minRpm = 600.0, .maxRpm = 6000.0, .orders = {1.0F, 2.0F}};
}

// The highest frequency is 200 Hz, so that the rate may be 600 Hz up to 1600 Hz: decimations of 17
// to
// 42. Two turns at 10 Hz have 125 samples or more up to a decimation of 40.
TEST(TrackingSettings, PlanHasTwoTurnsOfTheSlowestRotation)
{
    TrackingSettings settings = fan();
    const TrackingPlan plan = planFor(settings, 25600.0);
    EXPECT_EQ(plan.decimation, 40);
    EXPECT_DOUBLE_EQ(plan.rateHz, 640.0);
    EXPECT_EQ(plan.blockSamples, 128);
    EXPECT_EQ(plan.hopSamples, 64);

    settings.minRpm = 400.0; // 0.3 s at 25600 / 42 Hz
    EXPECT_EQ(planFor(settings, 25600.0).blockSamples, 183);
    settings.minRpm = 100.0; // 1.2 s, and 256 are the most
    EXPECT_EQ(planFor(settings, 25600.0).blockSamples, 256);
    settings.blockSeconds = 0.1;
    EXPECT_EQ(planFor(settings, 25600.0).blockSamples, 128);
    settings.blockSeconds = 0.02; // at 25600 / 17 Hz
    EXPECT_EQ(planFor(settings, 25600.0).blockSamples, 30);
}

// The library's tracker decimates by the whole part of its rate / 4 / highest frequency.
TEST(TrackingSettings, PlanLeavesTheTrackerNothingToDecimate)
{
    for (double rateHz = 500.0; rateHz < 200000.0; rateHz *= 1.01) {
        const TrackingPlan plan = planFor(fan(), rateHz);
        EXPECT_LT(std::floor(plan.rateHz / 4.0 / 200.0), 2.0) << rateHz;
        EXPECT_GE(plan.rateHz, std::min(rateHz, 600.0)) << rateHz;
    }
}

TEST(TrackingSettings, ListsOfOrdersThatCanNotBeUniqueAreRefused)
{
    const auto refusal = [](std::vector<float> orders) {
        TrackingSettings settings = fan();
        settings.orders = std::move(orders);
        return errorOf([&] { settings.validate(25600.0); });
    };
    EXPECT_THAT(refusal({}), HasSubstr("number of orders is 0"));
    EXPECT_THAT(refusal({1.0F}), HasSubstr("number of orders is 1, and 2 to 20"));
    EXPECT_THAT(refusal({1.0F, 0.0F}), HasSubstr("Order 2 of the list is 0"));
    EXPECT_THAT(refusal({-1.0F, 2.0F}), HasSubstr("Order 1 of the list is -1"));
    EXPECT_THAT(refusal({1.0F, 2.0F, 1.0F}), HasSubstr("Order 1 stands twice"));
    EXPECT_THAT(refusal({4.0F, 6.0F}), HasSubstr("multiples of 2"));
    EXPECT_THAT(refusal({1.5F, 3.0F, 4.5F}), HasSubstr("multiples of 1.5"));
    EXPECT_THAT(refusal({1.0F, std::numeric_limits<float>::quiet_NaN()}), HasSubstr("nan"));
    EXPECT_THAT(refusal({1.0F, std::numeric_limits<float>::infinity()}), HasSubstr("inf"));
    EXPECT_EQ(refusal({0.5F, 1.0F}), "");
    EXPECT_EQ(refusal({1.0F, 3.57F}), "");
    EXPECT_EQ(refusal({4.0F, 6.0F, 9.0F}), "");
}

TEST(TrackingSettings, RangesAndRatesThatCanNotBeTrackedAreRefused)
{
    const auto refusal = [](double minRpm, double maxRpm, double rateHz) {
        TrackingSettings settings = fan();
        settings.minRpm = minRpm;
        settings.maxRpm = maxRpm;
        return errorOf([&] { settings.validate(rateHz); });
    };
    EXPECT_THAT(refusal(0.0, 6000.0, 25600.0), HasSubstr("0 to 6000 rpm"));
    EXPECT_THAT(refusal(600.0, 600.0, 25600.0), HasSubstr("600 to 600 rpm"));
    EXPECT_THAT(refusal(10.0, 6000.0, 25600.0), HasSubstr("at most 200 times"));
    EXPECT_THAT(refusal(std::nan(""), 6000.0, 25600.0), HasSubstr("nan to 6000 rpm"));
    EXPECT_THAT(refusal(600.0, 6000.0, 499.0), HasSubstr("at least 500 Hz; it is 499 Hz"));
    EXPECT_THAT(refusal(600.0, 6000.0, std::nan("")), HasSubstr("sampling rate is nan"));
    EXPECT_EQ(refusal(600.0, 6000.0, 500.0), "");
}

TEST(TrackingSettings, BlocksThatTheLikelihoodCanNotBearAreRefused)
{
    TrackingSettings settings = fan();
    settings.blockSeconds = 1.0; // 610 samples at the least rate
    EXPECT_THAT(errorOf([&] { settings.validate(25600.0); }),
                HasSubstr("length of a block is 1 s"));
    settings.blockSeconds = 0.01; // 15 samples at the highest rate
    EXPECT_THAT(errorOf([&] { settings.validate(25600.0); }), HasSubstr("0.01 s"));
    settings.blockSeconds = std::nan("");
    EXPECT_THAT(errorOf([&] { settings.validate(25600.0); }), HasSubstr("nan s"));
    settings.blockSeconds = 0.0;
    settings.leastExplained = 1.5;
    EXPECT_THAT(errorOf([&] { settings.validate(25600.0); }), HasSubstr("share is 1.5"));
}

class EveryFactor : public testing::TestWithParam<int> {};

// Output j stands at input sample delay + j D. Ripples of -80 dB either way add up to 2e-4.
TEST_P(EveryFactor, DecimatorKeepsAmplitudeAndTimeOfWhatPasses)
{
    const int factor = GetParam();
    const double cyclesPerSample = 1.0 / (3.0 * factor);
    LowPassDecimator decimator(factor);
    std::vector<double> input;
    for (int i = 0; i < 200 * factor; ++i)
        input.push_back(std::cos(kTwoPi * cyclesPerSample * i + 0.3) + 1.0);
    std::vector<double> output;
    decimator.push(input, output);

    ASSERT_GT(output.size(), 150U);
    for (std::size_t j = 0; j < output.size(); ++j) {
        const auto place =
            static_cast<double>(decimator.delay() + j * static_cast<std::size_t>(factor));
        EXPECT_NEAR(output[j], std::cos(kTwoPi * cyclesPerSample * place + 0.3) + 1.0, 2e-4);
    }
}

TEST_P(EveryFactor, DecimatorDampsWhatWouldFoldOntoWhatPasses)
{
    const int factor = GetParam();
    if (factor == 1) return; // nothing folds
    for (const double share : {0.667, 0.8, 1.0, 1.3}) {
        const double cyclesPerSample = share / factor;
        if (cyclesPerSample > 0.5) continue;
        LowPassDecimator decimator(factor);
        std::vector<double> input;
        for (int i = 0; i < 200 * factor; ++i)
            input.push_back(std::cos(kTwoPi * cyclesPerSample * i + 0.3));
        std::vector<double> output;
        decimator.push(input, output);
        for (const double value : output) EXPECT_NEAR(value, 0.0, 1.5e-4) << share;
    }
}

TEST_P(EveryFactor, DecimatorDoesNotSeeHowTheSignalIsCut)
{
    const std::vector<double> input = cosine(5000, 33.3);
    LowPassDecimator whole(GetParam());
    std::vector<double> expected;
    whole.push(input, expected);
    LowPassDecimator cut(GetParam());
    std::vector<double> output;
    for (std::size_t i = 0, size = 1; i < input.size(); i += size, size = size * 7 % 501 + 1)
        cut.push(std::span(input).subspan(i, std::min(size, input.size() - i)), output);
    EXPECT_EQ(output, expected);
}

INSTANTIATE_TEST_SUITE_P(LowPassDecimator, EveryFactor, testing::Values(1, 2, 3, 7, 42));

// Over whole cycles sines are orthogonal, so shares are those of the energies: 9 and 16 of 25.
TEST(OrderFit, ExplainsTheShareOfItsOrders)
{
    constexpr std::size_t samples = 400;
    std::vector<double> block = cosine(samples, 10.0, 0.7);
    const std::vector<double> other = cosine(samples, 37.0, 0.1);
    for (std::size_t i = 0; i < samples; ++i) block[i] = 5.0 + 3.0 * block[i] + 4.0 * other[i];
    OrderFit fit({1.0F, 3.0F}, 2000.0, samples); // a cycle a block is 5 Hz
    fit.take(block);

    EXPECT_NEAR(fit.energy(), 25.0 * samples / 2.0, 1e-9);
    EXPECT_NEAR(fit.explained(50.0), 9.0 / 25.0, 1e-5);
    EXPECT_NEAR(fit.explained(185.0), 16.0 / 25.0, 1e-5);
    EXPECT_NEAR(fit.explained(115.0), 0.0, 1e-5);
}

// Anywhere between the cycles the model is exact too; the ridge takes a millionth off.
TEST(OrderFit, ExplainsAllOfWhatItsModelIs)
{
    constexpr std::size_t samples = 151;
    for (const double cycles : {0.4, 1.3, 7.77, 20.5}) {
        std::vector<double> block = cosine(samples, cycles, 0.2);
        const std::vector<double> second = cosine(samples, 2.0 * cycles, 1.1);
        for (std::size_t i = 0; i < samples; ++i) block[i] += 0.3 * second[i] - 2.0;
        OrderFit fit({1.0F, 2.0F}, static_cast<double>(samples), samples);
        fit.take(block);
        EXPECT_NEAR(fit.explained(cycles), 1.0, 1e-3) << cycles;
    }
}

TEST(OrderFit, ExplainsNothingOfAConstant)
{
    OrderFit fit({1.0F, 2.0F}, 100.0, 100);
    fit.take(std::vector<double>(100, 3.0));
    EXPECT_EQ(fit.explained(7.0), 0.0);
}

// Without noise the best candidate leaves nothing over, and any gain would give infinities.
TEST(BlockTracker, FindsASpeedAtAnyLevelWithoutNoise)
{
    TrackingSettings settings = fan();
    settings.minRpm = 100.0; // blocks of 256 samples
    const TrackingPlan plan = planFor(settings, 25600.0);
    std::vector<double> block(static_cast<std::size_t>(plan.blockSamples));
    for (const double level : {1e-100, 1e-6, 1.0, 1e6, 1e100}) {
        for (std::size_t i = 0; i < block.size(); ++i) {
            const double turns = 47.0 * static_cast<double>(i) / plan.rateHz;
            block[i] = level * (std::cos(kTwoPi * turns) + 0.5 * std::cos(2.0 * kTwoPi * turns));
        }
        BlockTracker tracker(settings, plan);
        (void)tracker.track(block); // the first search may end a grid step off
        const auto rpm = tracker.track(block);
        ASSERT_TRUE(rpm.has_value()) << level;
        EXPECT_NEAR(*rpm, 47.0 * 60.0, 1e-4 * 47.0 * 60.0) << level;
    }
}

// The proportion of the tracker's step to its tolerance follows the lowest speed that it is told.
TEST(BlockTracker, RefinesSlowMachinesAsFinelyAsFastOnes)
{
    for (const double scale : {0.001, 1.0, 50.0}) {
        TrackingSettings settings = fan();
        settings.minRpm *= scale;
        settings.maxRpm *= scale;
        const TrackingPlan plan = planFor(settings, 25600.0 * scale);
        std::vector<double> block(static_cast<std::size_t>(plan.blockSamples));
        for (std::size_t i = 0; i < block.size(); ++i) {
            const double turns = 47.0 * scale * static_cast<double>(i) / plan.rateHz;
            block[i] = std::cos(kTwoPi * turns) + 0.5 * std::cos(2.0 * kTwoPi * turns);
        }
        BlockTracker tracker(settings, plan);
        tracker.continueFrom(46.5 * 60.0 * scale);
        const auto rpm = tracker.track(block);
        ASSERT_TRUE(rpm.has_value()) << scale;
        EXPECT_NEAR(*rpm / (47.0 * 60.0 * scale), 1.0, 0.001) << scale;
    }
}

// Orders 1 and 2 of a machine at 30 Hz, later with a stronger one at 47 Hz beside it.
std::vector<double> twoMachines(const TrackingPlan& plan, double secondAmplitude)
{
    std::vector<double> block(static_cast<std::size_t>(plan.blockSamples));
    for (std::size_t i = 0; i < block.size(); ++i) {
        const double t = kTwoPi * static_cast<double>(i) / plan.rateHz;
        block[i] = std::cos(30.0 * t) + 0.6 * std::cos(60.0 * t) +
                   secondAmplitude * (std::cos(47.0 * t) + 0.6 * std::cos(94.0 * t));
    }
    return block;
}

TEST(SpeedFollower, EstimateThatAnotherSpeedBeatsIsNotGood)
{
    const TrackingPlan plan = planFor(fan(), 25600.0);
    SpeedFollower follower(fan(), plan);
    for (int k = 0; k < 3; ++k) {
        const SpeedEstimate alone = follower.follow(twoMachines(plan, 0.0));
        EXPECT_NEAR(alone.rpm, 1800.0, 2.0) << k; // the first one, too
        EXPECT_TRUE(alone.valid);
    }
    for (int k = 0; k < 3; ++k) {
        const SpeedEstimate beaten = follower.follow(twoMachines(plan, 1.3));
        EXPECT_NEAR(beaten.rpm, 1800.0, 20.0) << k;
        EXPECT_LT(beaten.distinctness, 0.9);
        EXPECT_FALSE(beaten.valid);
    }
    EXPECT_NEAR(follower.follow(twoMachines(plan, 1.3)).rpm, 47.0 * 60.0, 20.0);
}

// Far from the start of the range a first search alone ends up to half a step off, 20 rpm here.
TEST(SpeedFollower, FirstEstimateIsAsGoodAsTheNext)
{
    const TrackingPlan plan = planFor(fan(), 25600.0);
    for (double hertz = 70.0; hertz < 98.0; hertz += 1.7) {
        std::vector<double> block(static_cast<std::size_t>(plan.blockSamples));
        for (std::size_t i = 0; i < block.size(); ++i) {
            const double phi = kTwoPi * hertz * static_cast<double>(i) / plan.rateHz;
            block[i] = std::cos(phi) + 0.6 * std::cos(2.0 * phi);
        }
        SpeedFollower follower(fan(), plan);
        EXPECT_NEAR(follower.follow(block).rpm, 60.0 * hertz, 2.0);
    }
}

TEST(SpeedFollower, TrustsASpeedThatItWasTold)
{
    const TrackingPlan plan = planFor(fan(), 25600.0);
    SpeedFollower follower(fan(), plan);
    follower.continueFrom(1790.0);
    for (int k = 0; k < 10; ++k) {
        const SpeedEstimate beaten = follower.follow(twoMachines(plan, 1.3));
        EXPECT_NEAR(beaten.rpm, 1800.0, 20.0) << k;
        EXPECT_TRUE(beaten.valid);
        EXPECT_FALSE(follower.isSearching());
    }
}

} // namespace
} // namespace Harmotrack::Host

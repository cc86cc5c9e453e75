#include "host/shaft/tachometer.h"

#include "tests/host/error_text.h"
#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;

constexpr double kRate = 25600.0;

UniformSignal pulsesOf(const SimulatedShaft& shaft, double seconds)
{
    return sampled(kRate, seconds, [&](double t) { return SmoothPulse::at(shaft.turnsAt(t)); });
}

// The flank of this pulse is about 1500 samples long at 600 rpm and 150 at 6000: the polynomial's
// error is beyond measure there, a straight line's would be up to 1e-3 samples.
TEST(Tachometer, CrossingsOfASmoothPulseAreExactBetweenSamples)
{
    const SimulatedShaft shaft;
    TachometerSettings settings;
    settings.level = SmoothPulse::level();
    const std::vector<double> times = Tachometer(settings).pulseTimes(pulsesOf(shaft, 30.0));

    // Turns 0 to 1650 in 30 s; the first rise to be seen belongs to turn 1.
    ASSERT_EQ(times.size(), 1650U);
    for (std::size_t k = 0; k < times.size(); ++k)
        EXPECT_NEAR(times[k] * kRate,
                    shaft.secondsAt(static_cast<double>(k) + SmoothPulse::offset()) * kRate,
                    1e-6);
}

// A pulse of six samples between its half heights, as a fast shaft and a narrow mark make it.
TEST(Tachometer, CrossingsOfANarrowPulseAreWithinAHundredthOfASample)
{
    const SimulatedShaft shaft{30000.0, 0.0};
    TachometerSettings settings;
    settings.level = SmoothPulse::level();
    const std::vector<double> times = Tachometer(settings).pulseTimes(pulsesOf(shaft, 1.0));

    ASSERT_EQ(times.size(), 500U);
    for (std::size_t k = 0; k < times.size(); ++k)
        EXPECT_NEAR(times[k] * kRate,
                    shaft.secondsAt(static_cast<double>(k) + SmoothPulse::offset()) * kRate,
                    0.01);
}

// The height is taken from samples, which miss the top of the pulses by less than a thousandth.
TEST(Tachometer, LevelIsHalfThePulsesHeightUnlessGiven)
{
    const SimulatedShaft shaft;
    UniformSignal channel = pulsesOf(shaft, 10.0);
    for (double& value : channel.samples) value = 3.0 * value - 7.0;
    const std::vector<double> times = Tachometer().pulseTimes(channel);
    for (std::size_t k = 0; k < times.size(); ++k)
        EXPECT_NEAR(
            shaft.turnsAt(times[k]), static_cast<double>(k) + SmoothPulse::offset(), 0.01 / 360.0);
}

TEST(Tachometer, FallingFlankIsTheMirrorOfTheRisingOne)
{
    const SimulatedShaft shaft{1500.0, 0.0};
    TachometerSettings settings;
    settings.level = SmoothPulse::level();
    settings.edge = Edge::Falling;
    const std::vector<double> times = Tachometer(settings).pulseTimes(pulsesOf(shaft, 2.0));
    ASSERT_EQ(times.size(), 50U);
    for (std::size_t k = 0; k < times.size(); ++k)
        EXPECT_NEAR(
            shaft.turnsAt(times[k]), static_cast<double>(k) + 1.0 - SmoothPulse::offset(), 1e-8);
}

// At 120 rpm a flank has thousands of samples, and noise takes them across the level many times.
TEST(Tachometer, NoiseWithinTheHysteresisMakesNoPulses)
{
    const SimulatedShaft shaft{120.0, 0.0};
    UniformSignal channel = pulsesOf(shaft, 5.0);
    std::mt19937 random(7);
    std::uniform_real_distribution<double> noise(-0.1, 0.1);
    for (double& value : channel.samples) value += noise(random);

    EXPECT_EQ(Tachometer().pulseTimes(channel).size(), 10U);
    TachometerSettings without;
    without.hysteresisPercent = 0.0;
    without.level = 0.5;
    EXPECT_GT(Tachometer(without).pulseTimes(channel).size(), 100U);
}

TEST(Tachometer, OneSpikeMovesNoLevel)
{
    const SimulatedShaft shaft{1500.0, 0.0};
    UniformSignal channel = pulsesOf(shaft, 4.0);
    const std::vector<double> clean = Tachometer().pulseTimes(channel);
    channel.samples[512] = 1000.0; // between two pulses: one more, and nothing else
    EXPECT_EQ(Tachometer().pulseTimes(channel).size(), clean.size() + 1);
}

TEST(Tachometer, SilentOrConstantChannelShowsNoPulses)
{
    TachometerSettings settings;
    settings.name = "Channel 3";
    const UniformSignal silent = sampled(1000.0, 1.0, [](double) { return 0.0; });
    const UniformSignal constant = sampled(1000.0, 1.0, [](double) { return 2.5; });
    EXPECT_THAT(errorOf([&] { (void)Tachometer(settings).pulseTimes(silent); }),
                HasSubstr("Channel 3 shows no pulses: its values stay between 0 and 0"));
    EXPECT_THAT(errorOf([&] { (void)Tachometer().pulseTimes(constant); }),
                HasSubstr("between 2.5 and 2.5"));
}

TEST(Tachometer, LevelOutOfTheSignalsReachGivesNoPulses)
{
    TachometerSettings settings;
    settings.level = 5.0;
    EXPECT_THAT(
        errorOf([&] { (void)Tachometer(settings).pulseTimes(pulsesOf(SimulatedShaft{}, 1.0)); }),
        HasSubstr("a pulse crosses 5"));
}

TEST(Tachometer, SampleThatIsNoNumberIsNamed)
{
    UniformSignal channel = pulsesOf(SimulatedShaft{}, 1.0);
    channel.samples[12800] = std::numeric_limits<double>::quiet_NaN();
    EXPECT_THAT(errorOf([&] { (void)Tachometer().pulseTimes(channel); }), HasSubstr("at 0.5 s"));
}

TEST(Tachometer, SettingsOutOfRangeAreRefused)
{
    TachometerSettings settings;
    settings.hysteresisPercent = 50.0;
    EXPECT_THAT(errorOf([&] { Tachometer tachometer(settings); }), HasSubstr("50 %"));
    settings.hysteresisPercent = 10.0;
    settings.level = std::numeric_limits<double>::infinity();
    EXPECT_THAT(errorOf([&] { Tachometer tachometer(settings); }), HasSubstr("finite"));
}

} // namespace
} // namespace Harmotrack::Host

#include "run_up.h"

#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <numbers>
#include <stdexcept>
#include <string>

namespace Harmotrack::Examples {
namespace {

constexpr double kPi = std::numbers::pi;

double degrees(std::complex<double> value)
{
    return std::arg(value) * 180.0 / kPi;
}

// At the natural speed the response is 1 / (2 damping) and lags the force by a quarter turn, which
// the quarter turn of the velocity makes good: 80 pi rad/s 0.006 mm / 0.16 = 3 pi mm/s.
TEST(RunUp, UnbalanceAtItsNaturalSpeedInXIsThreePiAtTheHeavySpot)
{
    const Orbit orbit = unbalanceOrbit(2400.0);
    EXPECT_NEAR(std::abs(orbit.x), 3.0 * kPi, 1e-12);
    EXPECT_NEAR(degrees(orbit.x), 35.0, 1e-10);
}

// 100 pi 0.006 / 0.16 = 3.75 pi; a quarter turn later than x.
TEST(RunUp, UnbalanceAtItsNaturalSpeedInYIsAQuarterTurnBehindTheHeavySpot)
{
    const Orbit orbit = unbalanceOrbit(3000.0);
    EXPECT_NEAR(std::abs(orbit.y), 3.75 * kPi, 1e-12);
    EXPECT_NEAR(degrees(orbit.y), -55.0, 1e-10);
}

// r = 1/2: 40 pi 0.006 (1/4) / sqrt(0.75^2 + 0.08^2), and 125 - atan2(0.08, 0.75) degrees.
TEST(RunUp, UnbalanceAtHalfTheNaturalSpeedIsTheClosedForm)
{
    const Orbit orbit = unbalanceOrbit(1200.0);
    EXPECT_NEAR(std::abs(orbit.x), 0.2499097, 1e-7);
    EXPECT_NEAR(degrees(orbit.x), 118.9114718, 1e-7);
}

// r = 2: 160 pi 0.006 4 / sqrt(3^2 + 0.32^2), and 125 - atan2(0.32, -3) degrees.
TEST(RunUp, UnbalanceAtTwiceTheNaturalSpeedIsTheClosedForm)
{
    const Orbit orbit = unbalanceOrbit(4800.0);
    EXPECT_NEAR(std::abs(orbit.x), 3.9985556, 1e-7);
    EXPECT_NEAR(degrees(orbit.x), -48.9114718, 1e-7);
}

double forwardCircle(const Orbit& orbit)
{
    return std::abs(orbit.x + std::complex<double>(0.0, 1.0) * orbit.y) / 2.0;
}

double backwardCircle(const Orbit& orbit)
{
    return std::abs(orbit.x - std::complex<double>(0.0, 1.0) * orbit.y) / 2.0;
}

// Between the natural speeds x has turned over and y has not yet.
TEST(RunUp, UnbalanceWhirlsBackwardBetweenTheNaturalSpeedsAndForwardOutside)
{
    for (const double rpm : {1500.0, 4500.0}) {
        const Orbit orbit = unbalanceOrbit(rpm);
        EXPECT_GT(forwardCircle(orbit), 2.0 * backwardCircle(orbit)) << rpm << " rpm";
    }
    const Orbit between = unbalanceOrbit(2700.0);
    EXPECT_GT(backwardCircle(between), forwardCircle(between));
}

// At the reference speed the circles have the numbers of their table, and one with the shaft alone
// would be a quarter turn later in y than in x.
TEST(RunUp, WhirlIsTheSumOfItsTwoCirclesAndGrowsWithSpeed)
{
    for (const Whirl& whirl : kWhirls) {
        const Orbit orbit = whirlOrbit(whirl, 3000.0);
        EXPECT_NEAR(forwardCircle(orbit), whirl.forward.amplitude, 1e-14) << whirl.order;
        EXPECT_NEAR(backwardCircle(orbit), whirl.backward.amplitude, 1e-14) << whirl.order;
        EXPECT_NEAR(std::abs(whirlOrbit(whirl, 6000.0).x), 2.0 * std::abs(orbit.x), 1e-14);
    }
    const Whirl circle = {"", 2.0, {1.0, 20.0}, {0.0, 0.0}};
    EXPECT_NEAR(degrees(whirlOrbit(circle, 3000.0).x), 20.0, 1e-12);
    EXPECT_NEAR(degrees(whirlOrbit(circle, 3000.0).y), -70.0, 1e-12);
}

TEST(RunUp, TachoRisesThroughItsLevelAtWholeTurns)
{
    for (const double turns : {0.0, 1.0, 1649.0}) {
        EXPECT_NEAR(tachoPulse(turns), RunUp::kTachoLevel, 1e-9);
        EXPECT_GT(tachoPulse(turns + 1e-6), tachoPulse(turns - 1e-6));
    }
}

// The amplitude of harmonic m is 2 exp(-k) I_m(k), SciPy: 2 * ive(40, 50) = 2.32e-8. At 6000 rpm
// that harmonic is 4 kHz.
TEST(RunUp, TachoHasNoHarmonicsAboveFortyThatASampleCouldAlias)
{
    constexpr int kPoints = 1024;
    for (int harmonic = 40; harmonic <= kPoints / 2; ++harmonic) {
        std::complex<double> sum;
        for (int i = 0; i < kPoints; ++i)
            sum += tachoPulse(double(i) / kPoints) *
                   std::polar(1.0, -2.0 * kPi * harmonic * i / kPoints);
        EXPECT_LT(std::abs(sum) * 2.0 / kPoints / RunUp::kTachoPeak, 2.4e-8) << harmonic;
    }
}

// 10 Hz at the start and 90 Hz more in 30 s: turns = -1/2 + 10 t + 1.5 t^2. Half a turn takes
// (sqrt(103) - 10) / 3 s; at the end 1649.5 turns have passed.
TEST(RunUp, MarksOfTheExampleStandWhereTheParabolaCrossesWholeTurns)
{
    const RunUp run({});
    EXPECT_NEAR(run.markTime(0), (std::sqrt(103.0) - 10.0) / 3.0, 1e-14);
    EXPECT_NEAR(run.turns(30.0), 1649.5, 1e-9);
    EXPECT_EQ(run.markCount(), 1650);
    EXPECT_NEAR(run.turns(run.markTime(1649)), 1649.0, 1e-9);
    EXPECT_NEAR(run.rpm(10.0), 2400.0, 1e-12);
}

TEST(RunUp, MarksOfASteadyMachineStandAtEqualTimes)
{
    RunUpSettings settings;
    settings.startRpm = settings.endRpm = 1200.0;
    const RunUp run(settings);
    EXPECT_NEAR(run.markTime(0), 0.025, 1e-15);
    EXPECT_NEAR(run.markTime(100), 5.025, 1e-12);
}

TEST(RunUp, CoastDownMarksStandWhereTheParabolaCrossesWholeTurns)
{
    RunUpSettings settings;
    std::swap(settings.startRpm, settings.endRpm);
    const RunUp run(settings);
    EXPECT_NEAR(run.turns(run.markTime(1649)), 1649.0, 1e-9);
}

struct OutOfRange {
    const char* sentence;
    void (*spoil)(RunUpSettings&);
};

TEST(RunUp, SettingOutOfRangeGetsOneSentenceThatNamesItAndWhatIsAllowed)
{
    // clang-format off
    const OutOfRange cases[] = {
        {"The duration in seconds is 0, allowed is 0.1 to 3600.",
         [](RunUpSettings& s) { s.durationSeconds = 0.0; }},
        {"The duration in seconds is nan, allowed is 0.1 to 3600.",
         [](RunUpSettings& s) { s.durationSeconds = std::nan(""); }},
        {"The sample rate in Hz is 999, allowed is 1000 to 655350.",
         [](RunUpSettings& s) { s.rateHz = 999; }},
        {"The speed at the start in rpm is 0, allowed is 1 to 15360.",
         [](RunUpSettings& s) { s.startRpm = 0.0; }},
        {"The speed at the end in rpm is 15361, allowed is 1 to 15360.",
         [](RunUpSettings& s) { s.endRpm = 15361.0; }},
        {"The noise in mm/s is -1, allowed is 0 to 25.",
         [](RunUpSettings& s) { s.noiseRms = -1.0; }},
        {"The recording would hold less than two turns of the shaft.",
         [](RunUpSettings& s) { s.startRpm = s.endRpm = 60.0; s.durationSeconds = 1.9; }},
    };
    // clang-format on
    for (const OutOfRange& each : cases) {
        RunUpSettings settings;
        each.spoil(settings);
        EXPECT_EQ(complaint(settings), each.sentence);
        EXPECT_THROW(RunUp run(settings), std::invalid_argument);
    }
    EXPECT_EQ(complaint({}), "");
}

} // namespace
} // namespace Harmotrack::Examples

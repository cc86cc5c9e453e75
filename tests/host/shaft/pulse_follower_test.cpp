#include "host/shaft/pulse_follower.h"

#include "tests/host/shaft/shaft_course.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <random>
#include <vector>

namespace Harmotrack::Host {
namespace {

TachometerSettings wheelOf(double pulses, int missing = 0)
{
    TachometerSettings settings;
    settings.pulsesPerRevolution = pulses;
    settings.missingTeeth = missing;
    return settings;
}

// From ten angles of the shaft at the start.
void expectFollowed(const ShaftCourse& course, const TachometerSettings& settings)
{
    for (int k = 0; k < 10; ++k) {
        const double perTurn = settings.pulsesPerRevolution;
        const auto pulses = pulsesOf(course, perTurn, k / (10.0 * perTurn), settings.missingTeeth);
        const TachoReading reading = Tachometer(settings).readPulses(momentsOf(pulses));
        EXPECT_TRUE(reading.events.empty()) << reading.events.front().text();
        EXPECT_LT(wrongShare(pulses, reading.knots), 1e-9) << "from " << k / 10.0 << " pitches";
    }
}

ShaftCourse change(double fromRpm, double toRpm, double seconds)
{
    return {{{0.0, fromRpm}, {2.0, fromRpm}, {2.0 + seconds, toRpm}, {4.0 + seconds, toRpm}}};
}

class EveryCount : public testing::TestWithParam<double> {};

INSTANTIATE_TEST_SUITE_P(PulseFollower, EveryCount, testing::Values(1.0, 2.0, 4.0, 60.0));

TEST_P(EveryCount, RunUpFromStandstillIsFollowedFromTheFirstPulseOn)
{
    for (const double seconds : {2.0, 10.0})
        expectFollowed({{{0.0, 0.0}, {seconds, 3000.0}}}, wheelOf(GetParam()));
}

TEST_P(EveryCount, RunDownIsFollowedUntilTheShaftStands)
{
    for (const double seconds : {2.0, 10.0})
        expectFollowed({{{0.0, 3000.0}, {seconds, 0.0}}}, wheelOf(GetParam()));
}

TEST_P(EveryCount, QuickStartsAndBrakingAreFollowed)
{
    expectFollowed(change(250.0, 900.0, 0.3), wheelOf(GetParam()));
    expectFollowed(change(600.0, 1200.0, 0.1), wheelOf(GetParam()));
    expectFollowed(change(500.0, 1500.0, 0.05), wheelOf(GetParam()));
    expectFollowed(change(3000.0, 300.0, 0.3), wheelOf(GetParam()));
}

// Cranking that pulsates by the compression strokes, firing, overshoot and idle. By one pulse a
// turn the third pitch is less than half of the second one, as if one had been missing in the
// second.
TEST_P(EveryCount, StartOfAnEngineIsFollowed)
{
    const ShaftCourse engine{{{0.0, 0.0},
                              {0.15, 200.0},
                              {0.30, 150.0},
                              {0.45, 220.0},
                              {0.60, 160.0},
                              {0.75, 230.0},
                              {1.25, 1300.0},
                              {2.25, 850.0},
                              {4.25, 850.0}}};
    expectFollowed(engine, wheelOf(GetParam()));
    if (GetParam() == 60.0) expectFollowed(engine, wheelOf(60.0, 2));
}

TEST(PulseFollower, RunUpBehindAStandstillBeginsASegmentOfItsOwn)
{
    const ShaftCourse course{{{0.0, 1500.0}, {5.0, 0.0}, {13.0, 0.0}, {18.0, 1500.0}}};
    for (const double perTurn : {1.0, 2.0, 4.0, 60.0}) {
        const auto pulses = pulsesOf(course, perTurn, 0.3 / perTurn);
        const auto reading = Tachometer(wheelOf(perTurn)).readPulses(momentsOf(pulses));
        EXPECT_LT(wrongShare(pulses, reading.knots, {5.0, 13.0}), 1e-9);
        EXPECT_EQ(2, std::count_if(reading.knots.begin(), reading.knots.end(), [](const auto& k) {
                      return k.beginsSegment;
                  }));
    }
}

// 718 teeth, which are counted from the first gap on, that comes after half a turn.
TEST(PulseFollower, WheelOfHundredsOfTeethIsCountedFromItsGap)
{
    const ShaftCourse course{{{0.0, 600.0}, {2.0, 1200.0}}};
    const auto pulses = pulsesOf(course, 720.0, 0.25 / 720.0, 2);
    const auto reading = Tachometer(wheelOf(720.0, 2)).readPulses(momentsOf(pulses));
    EXPECT_TRUE(reading.events.empty());
    EXPECT_LT(wrongShare(pulses, reading.knots), 1e-9);
    // The first pulse is tooth 360.
    ASSERT_FALSE(reading.knots.empty());
    EXPECT_DOUBLE_EQ(reading.knots.front().turns, 0.5);
}

// Whether the wheel turns evenly or what comes is noise.
TEST(PulseFollower, WorkForAPulseDoesNotGrowWithTheNumberOfTeeth)
{
    const ShaftCourse even{{{0.0, 600.0}, {1.0, 600.0}}};
    for (const double perTurn : {12.0, 60.0, 720.0, 2880.0}) {
        std::vector<double> moments = momentsOf(pulsesOf(even, perTurn, 0.25 / perTurn, 2));
        std::vector<double> noise = moments;
        std::mt19937 random(1);
        for (double& moment : noise) moment = std::uniform_real_distribution(0.0, 1.0)(random);
        std::sort(noise.begin(), noise.end());
        for (const std::vector<double>& pulses : {moments, noise}) {
            PulseFollower follower(wheelOf(perTurn, 2));
            std::size_t most = 0;
            for (const double pulse : pulses) {
                const std::size_t before = follower.considered();
                follower.feed({&pulse, 1});
                most = std::max(most, follower.considered() - before);
                ASSERT_LE(follower.undecided(), 160U) << perTurn;
            }
            EXPECT_LE(most, 385U) << perTurn;
            EXPECT_GT(most, 0U);
        }
    }
}

} // namespace
} // namespace Harmotrack::Host

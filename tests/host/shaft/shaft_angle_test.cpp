#include "host/shaft/shaft_angle.h"

#include "tests/host/error_text.h"
#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <vector>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;

std::vector<double> pulsesOf(const SimulatedShaft& shaft, int count, double perRevolution)
{
    std::vector<double> seconds;
    seconds.reserve(static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k) seconds.push_back(shaft.secondsAt(k / perRevolution));
    return seconds;
}

TEST(ShaftAngle, SteadyPulsesMakeAStraightLine)
{
    const SimulatedShaft shaft{1500.0, 0.0};
    const ShaftAngle angle = ShaftAngle::fromPulses(pulsesOf(shaft, 101, 2.0), 2.0);
    EXPECT_DOUBLE_EQ(angle.turns(), 50.0);
    for (const double t : moments(0.0, 2.0, 0.01)) {
        EXPECT_NEAR(angle.turnsAt(t), 25.0 * t, 1e-12);
        EXPECT_NEAR(angle.speedRpmAt(t), 1500.0, 1e-8);
    }
}

// A straight line between pulses would err by acceleration * T² / 8: 1.35 degrees in the first
// turn.
TEST(ShaftAngle, OnePulseATurnFollowsARunUpWithinATwentiethOfADegree)
{
    const SimulatedShaft shaft;
    const ShaftAngle angle = ShaftAngle::fromPulses(pulsesOf(shaft, 1651, 1.0), 1.0);
    for (const double t : moments(0.0, 30.0, 0.00371)) {
        EXPECT_NEAR(angle.turnsAt(t), shaft.turnsAt(t), 0.05 / 360.0) << t;
        EXPECT_NEAR(angle.speedRpmAt(t), shaft.rpmAt(t), 1e-3 * shaft.rpmAt(t)) << t;
    }
}

TEST(ShaftAngle, MomentOfAnAngleIsTheInverseOfTheAngleAtAMoment)
{
    const SimulatedShaft shaft{3000.0, -120.0};
    const ShaftAngle angle = ShaftAngle::fromPulses(pulsesOf(shaft, 400, 1.0), 1.0);
    for (const double turns : moments(0.0, 399.0, 0.137))
        EXPECT_NEAR(angle.turnsAt(angle.secondsAt(turns)), turns, 1e-10);
    EXPECT_EQ(angle.secondsAt(-1.0), angle.startSeconds());
    EXPECT_EQ(angle.secondsAt(1e9), angle.endSeconds());
}

// A tooth cut wide and the next one narrow: other interpolants swing back.
TEST(ShaftAngle, AngleNeverTurnsBackHoweverUnevenThePulses)
{
    std::vector<double> seconds;
    double pulse = 0.0;
    for (int k = 0; k < 200; ++k) {
        pulse += k % 7 == 0 ? 0.2 : 0.01;
        seconds.push_back(pulse);
    }
    const ShaftAngle angle = ShaftAngle::fromPulses(seconds, 1.0);
    double last = -1.0;
    for (const double t : moments(seconds.front(), seconds.back(), 0.0005)) {
        ASSERT_GT(angle.turnsAt(t), last) << t;
        ASSERT_GE(angle.speedRpmAt(t), 0.0) << t;
        last = angle.turnsAt(t);
    }
}

// Speed as straight lines is a run-up itself, whatever the time steps.
TEST(ShaftAngle, SpeedProfileIsIntegratedExactlyBetweenItsValues)
{
    const SimulatedShaft shaft{200.0, 37.0};
    std::vector<double> seconds;
    std::vector<double> speeds;
    for (int k = 0; k < 100; ++k) {
        seconds.push_back(0.1 * k + 0.04 * std::sin(1.7 * k));
        speeds.push_back(shaft.rpmAt(seconds.back()));
    }
    const ShaftAngle angle = ShaftAngle::fromSpeed(seconds, speeds);
    const double turnsBefore = shaft.turnsAt(seconds.front());
    for (const double t : moments(seconds.front(), seconds.back(), 0.0123)) {
        EXPECT_NEAR(angle.turnsAt(t), shaft.turnsAt(t) - turnsBefore, 1e-11);
        EXPECT_NEAR(angle.speedRpmAt(t), shaft.rpmAt(t), 1e-9);
    }
}

TEST(ShaftAngle, SpeedThatIsNotPositiveIsNamedWithItsTime)
{
    const std::vector<double> seconds{0.0, 1.0, 2.0};
    const std::vector<double> stops{100.0, 0.0, 100.0};
    const std::vector<double> reverses{100.0, 100.0, -3.0};
    EXPECT_THAT(errorOf([&] { ShaftAngle::fromSpeed(seconds, stops); }),
                HasSubstr("The speed is 0 rpm at 1 s"));
    EXPECT_THAT(errorOf([&] { ShaftAngle::fromSpeed(seconds, reverses); }),
                HasSubstr("The speed is -3 rpm at 2 s"));
}

TEST(ShaftAngle, TimeThatDoesNotIncreaseIsNamed)
{
    const std::vector<double> speeds(4, 100.0);
    EXPECT_THAT(errorOf([&] {
                    ShaftAngle::fromSpeed(std::vector<double>{0.0, 1.0, 1.0, 2.0}, speeds);
                }),
                HasSubstr("speed value 3: 1 s follows 1 s"));
    EXPECT_THAT(errorOf([] {
                    ShaftAngle::fromPulses(std::vector<double>{0.0, 1.0, 0.5, 2.0}, 1.0);
                }),
                HasSubstr("pulse 3: 0.5 s follows 1 s"));
}

TEST(ShaftAngle, TooFewPulsesOrAnEmptyTurnAreRefused)
{
    const std::vector<double> three{0.0, 1.0, 2.0};
    const std::vector<double> four{0.0, 1.0, 2.0, 3.0};
    EXPECT_THAT(errorOf([&] { ShaftAngle::fromPulses(three, 1.0); }), HasSubstr("3 pulses"));
    EXPECT_THAT(errorOf([&] { ShaftAngle::fromPulses(four, 0.0); }), HasSubstr("above 0"));
    EXPECT_THAT(errorOf([&] { ShaftAngle::fromPulses(four, -2.0); }), HasSubstr("is -2"));
}

// By hand: 0.3 to 2.3 turns, a segment that begins at 0.5 goes on at 2.5, where it ends at 4.0, and
// one at 0.1 at 4.1; what begins at 9 is beyond already, and stays.
TEST(TurnCount, GoesOnByWholeTurnsThatNoAngleComesTwice)
{
    const auto segment = [](double seconds, double from, double to) {
        return ShaftAngle::fromKnots(
            std::vector<AngleKnot>{{seconds, from, 1.0, true}, {seconds + 1.0, to, 1.0, false}});
    };
    const std::vector<ShaftAngle> segments{segment(0.0, 0.3, 2.3),
                                           segment(2.0, 0.5, 2.0),
                                           segment(4.0, 0.1, 1.0),
                                           segment(6.0, 9.0, 9.5)};
    EXPECT_EQ(turnsPassed(segments), (std::vector<double>{0.0, 2.0, 4.0, 0.0}));
}

TEST(TurnCount, BeginsAtZeroOrAbove)
{
    EXPECT_EQ(TurnCount().enter(-2.25), 3.0);
    EXPECT_EQ(TurnCount().enter(7.5), 0.0);
}

} // namespace
} // namespace Harmotrack::Host

#include "host/equal_angle_axis.h"

#include "simulated_shaft.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numbers>

namespace Harmotrack::Host {
namespace {

ShaftAngle angleOf(const SimulatedShaft& shaft, double seconds)
{
    const std::vector<double> times{0.0, seconds};
    const std::vector<double> speeds{shaft.rpmAt(0.0), shaft.rpmAt(seconds)};
    return ShaftAngle::fromSpeed(times, speeds);
}

TEST(EqualAngleAxis, StepsOfAngleComeAtTheMomentsOfTheRunUp)
{
    const SimulatedShaft shaft;
    const EqualAngleAxis axis = equalAngleAxis(angleOf(shaft, 10.0), 100, 0.0, 10.0);
    ASSERT_EQ(axis.firstStep, 50);
    ASSERT_EQ(axis.size(), 24901U); // 250 turns, half a turn less at either end
    for (std::size_t k = 0; k < axis.size(); ++k) {
        const double turns = static_cast<double>(k + 50) / 100.0;
        EXPECT_NEAR(axis.seconds[k], shaft.secondsAt(turns), 1e-12);
        EXPECT_NEAR(axis.angleDegrees(k), 360.0 * (turns - std::floor(turns + 1e-9)), 1e-6);
    }
}

// The mean over a turn of a steady run-up lies below the speed at its middle angle by a share of
// (a T / n)² / 8, with a the acceleration: 0.01 % at 600 rpm and 180 rpm/s.
TEST(EqualAngleAxis, SpeedOfARunUpIsThatOfTheMoment)
{
    const SimulatedShaft shaft;
    const EqualAngleAxis axis = equalAngleAxis(angleOf(shaft, 10.0), 100, 0.0, 10.0);
    for (std::size_t k = 0; k < axis.size(); ++k)
        EXPECT_NEAR(axis.speedRpm[k] / shaft.rpmAt(axis.seconds[k]), 1.0, 1.2e-4);
}

// A joint that makes the shaft run unevenly twice a turn: its speed swings by 10 %, and the speed
// of the axis stands still.
TEST(EqualAngleAxis, UnevennessWithinATurnDoesNotMoveTheSpeed)
{
    std::vector<double> seconds;
    std::vector<double> speeds;
    for (int k = 0; k <= 20000; ++k) {
        seconds.push_back(k / 10000.0);
        speeds.push_back(1500.0 *
                         (1.0 + 0.1 * std::sin(2.0 * std::numbers::pi * 50.0 * seconds.back())));
    }
    const EqualAngleAxis axis =
        equalAngleAxis(ShaftAngle::fromSpeed(seconds, speeds), 100, 0.0, 2.0);
    for (const double speed : axis.speedRpm) EXPECT_NEAR(speed, 1500.0, 0.01);
}

TEST(EqualAngleAxis, SpanOfTimeCutsIt)
{
    const EqualAngleAxis axis = equalAngleAxis(angleOf({600.0, 0.0}, 10.0), 10, 2.0, 3.0);
    ASSERT_FALSE(axis.seconds.empty());
    EXPECT_GE(axis.seconds.front(), 2.0);
    EXPECT_LE(axis.seconds.back(), 3.0);
    EXPECT_NEAR(
        axis.seconds.back() - axis.seconds.front(), 1.0, 0.021); // less a step at either end
    EXPECT_TRUE(equalAngleAxis(angleOf({600.0, 0.0}, 10.0), 10, 20.0, 30.0).seconds.empty());
}

} // namespace
} // namespace Harmotrack::Host

#include "host/equal_angle/axis.h"

#include "tests/host/error_text.h"
#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
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
    const auto steps = equalAngleSteps(angleOf(shaft, 10.0), 100, 0.0, 10.0);
    ASSERT_EQ(steps.size(), 24901U); // 250 turns, half a turn less at either end
    EXPECT_TRUE(steps[0].beginsSegment);
    for (std::size_t k = 0; k < steps.size(); ++k) {
        const double turns = static_cast<double>(k + 50) / 100.0;
        ASSERT_EQ(steps[k].number, static_cast<long long>(k) + 50);
        EXPECT_NEAR(steps[k].seconds, shaft.secondsAt(turns), 1e-12);
        EXPECT_NEAR(steps[k].angleDegrees(100), 360.0 * (turns - std::floor(turns + 1e-9)), 1e-6);
    }
}

// The mean over a turn of a steady run-up lies below the speed at its middle angle by a share of
// (a T / n)² / 8, with a the acceleration: 0.01 % at 600 rpm and 180 rpm/s.
TEST(EqualAngleAxis, SpeedOfARunUpIsThatOfTheMoment)
{
    const SimulatedShaft shaft;
    for (const EqualAngleStep& step : equalAngleSteps(angleOf(shaft, 10.0), 100, 0.0, 10.0))
        EXPECT_NEAR(step.speedRpm / shaft.rpmAt(step.seconds), 1.0, 1.2e-4);
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
    for (const EqualAngleStep& step :
         equalAngleSteps(ShaftAngle::fromSpeed(seconds, speeds), 100, 0.0, 2.0))
        EXPECT_NEAR(step.speedRpm, 1500.0, 0.01);
}

TEST(EqualAngleAxis, SpanOfTimeCutsIt)
{
    const auto steps = equalAngleSteps(angleOf({600.0, 0.0}, 10.0), 10, 2.0, 3.0);
    ASSERT_FALSE(steps.empty());
    EXPECT_GE(steps.front().seconds, 2.0);
    EXPECT_LE(steps.back().seconds, 3.0);
    EXPECT_NEAR(steps.back().seconds - steps.front().seconds, 1.0, 0.021); // less a step at an end
    EXPECT_TRUE(equalAngleSteps(angleOf({600.0, 0.0}, 10.0), 10, 20.0, 30.0).empty());
}

// Knots one by one, by sevens, and all at once: the same steps to the last bit, from pulses, whose
// speeds the neighbours give, as from speeds.
TEST(EqualAngleAxis, PiecesOfAnySizeGiveTheSameBits)
{
    const SimulatedShaft shaft;
    std::vector<AngleKnot> knots;
    for (int k = 0; k < 900; ++k)
        knots.push_back({shaft.secondsAt(k / 3.0), k / 3.0, std::nan(""), k == 0 || k == 500});
    EqualAngleAxis whole(64);
    whole.feed(knots);
    whole.endSegment();
    const auto expected = whole.take();
    ASSERT_GT(expected.size(), 64U * 295U);
    for (const std::size_t size : {1U, 7U, 300U}) {
        EqualAngleAxis axis(64);
        std::vector<EqualAngleStep> steps;
        for (std::size_t k = 0; k < knots.size(); k += size) {
            axis.feed(std::span(knots).subspan(k, std::min(size, knots.size() - k)));
            for (const EqualAngleStep& step : axis.take()) steps.push_back(step);
        }
        axis.endSegment();
        for (const EqualAngleStep& step : axis.take()) steps.push_back(step);
        ASSERT_EQ(steps.size(), expected.size());
        for (std::size_t k = 0; k < steps.size(); ++k) {
            ASSERT_EQ(steps[k].number, expected[k].number);
            ASSERT_EQ(steps[k].seconds, expected[k].seconds);
            ASSERT_EQ(steps[k].speedRpm, expected[k].speedRpm);
            ASSERT_EQ(steps[k].beginsSegment, expected[k].beginsSegment);
        }
    }
}

// Steps of a segment stay half a turn inside it, and the place in the turn is that of its own
// knots.
TEST(EqualAngleAxis, SegmentsStandEachForItself)
{
    EqualAngleAxis axis(8);
    std::vector<AngleKnot> knots;
    for (int k = 0; k <= 10; ++k) knots.push_back({k * 0.1, double(k), 10.0, k == 0});
    for (int k = 0; k <= 10; ++k) knots.push_back({5.0 + k * 0.1, 0.25 + k, 10.0, k == 0});
    axis.feed(knots);
    axis.endSegment();
    const auto steps = axis.take();
    ASSERT_EQ(steps.size(), 73U + 73U);
    EXPECT_TRUE(steps[73].beginsSegment);
    EXPECT_EQ(steps[73].number, 6 + 8 * 10); // 0.25 turns and half a turn, behind ten
    EXPECT_NEAR(steps[73].seconds, 5.05, 1e-12);
    EXPECT_NEAR(steps.back().seconds, 5.95, 1e-12);
}

// A time that is an error code.
TEST(EqualAngleAxis, KnotsWithMillionsOfStepsBetweenThemAreRefused)
{
    EqualAngleAxis axis(100);
    const std::vector<AngleKnot> knots{{0.0, 0.0, 10.0, true}, {4294967295.0, 4e10, 10.0, false}};
    EXPECT_THAT(errorOf([&] { axis.feed(knots); }),
                testing::HasSubstr("From 0 to 4.29497e+09 s the shaft makes 4e+10 turns"));
}

} // namespace
} // namespace Harmotrack::Host

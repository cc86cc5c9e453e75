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

void expectSameBits(const std::vector<EqualAngleStep>& steps,
                    const std::vector<EqualAngleStep>& expected)
{
    ASSERT_EQ(steps.size(), expected.size());
    for (std::size_t k = 0; k < steps.size(); ++k) {
        ASSERT_EQ(steps[k].number, expected[k].number);
        ASSERT_EQ(steps[k].seconds, expected[k].seconds);
        ASSERT_EQ(steps[k].speedRpm, expected[k].speedRpm);
        ASSERT_EQ(steps[k].beginsSegment, expected[k].beginsSegment);
    }
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
        expectSameBits(steps, expected);
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

// Three segments, the last one of a known speed, in 600 knots.
std::vector<AngleKnot> threeSegments()
{
    const SimulatedShaft shaft;
    std::vector<AngleKnot> knots;
    for (int k = 0; k < 500; ++k)
        knots.push_back({shaft.secondsAt(k / 3.0), k / 3.0, std::nan(""), k == 0 || k == 300});
    const double end = knots.back().seconds;
    for (int k = 0; k < 100; ++k) knots.push_back({end + 1.0 + 0.1 * k, 0.3 + k, 10.0, k == 0});
    return knots;
}

// Whatever the times up to which they are taken.
TEST(EqualAngleAxis, TakingByTimesGivesTheSameBits)
{
    const std::vector<AngleKnot> knots = threeSegments();
    EqualAngleAxis whole(64);
    whole.feed(knots);
    whole.endSegment();
    const auto expected = whole.take();
    ASSERT_GT(expected.size(), 64U * 260U);
    for (const double stride : {0.0007, 0.25, 3.0}) {
        EqualAngleAxis axis(64);
        axis.feed(knots);
        axis.endSegment();
        std::vector<EqualAngleStep> steps;
        for (double until = 0.0; until < knots.back().seconds + stride; until += stride) {
            for (const EqualAngleStep& step : axis.take(until)) {
                EXPECT_LE(step.seconds, until);
                steps.push_back(step);
            }
            if (steps.size() == expected.size()) continue;
            ASSERT_LE(axis.certainSeconds(), expected[steps.size()].seconds);
        }
        expectSameBits(steps, expected);
    }
}

// The steps before it are left out, and the first one that is not begins its segment.
TEST(EqualAngleAxis, StepsFromATimeOnAreThoseOfTheWholeShaft)
{
    const std::vector<AngleKnot> knots = threeSegments();
    EqualAngleAxis whole(64);
    whole.feed(knots);
    whole.endSegment();
    const auto all = whole.take();
    for (const double from : {-5.0, 1.0, 3.3, all[7000].seconds, knots[499].seconds + 2.0}) {
        auto expected = all;
        std::erase_if(expected, [&](const EqualAngleStep& step) { return step.seconds < from; });
        ASSERT_FALSE(expected.empty());
        expected.front().beginsSegment = true;
        EqualAngleAxis axis(64, from);
        std::vector<EqualAngleStep> steps;
        for (const AngleKnot& knot : knots) {
            axis.feed({&knot, 1});
            for (const EqualAngleStep& step : axis.take()) steps.push_back(step);
        }
        axis.endSegment();
        for (const EqualAngleStep& step : axis.take()) steps.push_back(step);
        expectSameBits(steps, expected);
    }
}

// A time that is an error code, and one that counts from 1970 beside one that does not: 4.3e12
// steps lie between two knots. Of 10 turns a second the first stands at half a turn, 0.05 s.
TEST(EqualAngleAxis, StepsBetweenFarKnotsAreMadeAsFarAsTheyAreTaken)
{
    EqualAngleAxis axis(100);
    const std::vector<AngleKnot> knots{{0.0, 0.0, 10.0, true},
                                       {4294967295.0, 42949672950.0, 10.0, false}};
    axis.feed(knots);
    EXPECT_EQ(axis.take(1.0005).size(), 951U);
    EXPECT_EQ(axis.take(2.0005).size(), 1000U);
    EXPECT_GT(axis.certainSeconds(), 1.9);

    EqualAngleAxis late(100, 4294967000.0);
    late.feed(knots);
    const auto steps = late.take(4294967001.0);
    EXPECT_NEAR(static_cast<double>(steps.size()), 1000.0, 1.0);
    EXPECT_GE(steps.front().seconds, 4294967000.0);
    EXPECT_TRUE(steps.front().beginsSegment);
}

TEST(EqualAngleAxis, TensOfMillionsOfStepsInASecondAreRefused)
{
    EqualAngleAxis axis(100);
    const std::vector<AngleKnot> knots{{0.0, 0.0, 10.0, true}, {2.0, 4.1e5, 10.0, false}};
    EXPECT_THAT(errorOf([&] { axis.feed(knots); }),
                testing::HasSubstr("From 0 to 2 s the shaft makes 410000 turns of which nothing "
                                   "else is known, and at most 400000 are allowed."));
}

} // namespace
} // namespace Harmotrack::Host

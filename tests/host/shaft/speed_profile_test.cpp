#include "host/shaft/speed_profile.h"

#include "host/shaft/shaft_angle.h"
#include "tests/host/error_text.h"
#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;
using Kind = SpeedGap::Kind;

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

struct Reading {
    std::vector<AngleKnot> knots;
    std::vector<SpeedGap> gaps;
};

Reading read(const std::vector<double>& seconds,
             const std::vector<double>& rpm,
             SpeedProfileSettings settings = {})
{
    SpeedProfile profile(settings);
    Reading reading;
    reading.knots = profile.feed(seconds, rpm);
    reading.gaps = profile.takeGaps();
    return reading;
}

// A run-up at irregular times, as a tracker with a varying hop gives it.
TEST(SpeedProfile, AngleIsTheIntegralOverAnyTimeAxis)
{
    const SimulatedShaft shaft{200.0, 37.0};
    std::vector<double> seconds;
    std::vector<double> speeds;
    for (int k = 0; k < 100; ++k) {
        seconds.push_back(0.1 * k + 0.04 * std::sin(1.7 * k));
        speeds.push_back(shaft.rpmAt(seconds.back()));
    }
    const Reading reading = read(seconds, speeds);
    ASSERT_EQ(reading.knots.size(), 100U);
    EXPECT_TRUE(reading.gaps.empty());
    const ShaftAngle angle = ShaftAngle::fromKnots(reading.knots);
    for (const double t : moments(seconds.front(), seconds.back(), 0.0123)) {
        EXPECT_NEAR(angle.turnsAt(t), shaft.turnsAt(t) - shaft.turnsAt(seconds.front()), 1e-11);
        EXPECT_NEAR(angle.speedRpmAt(t), shaft.rpmAt(t), 1e-9);
    }
}

// As unknown as NaN: the angle is the integral over the values on either side.
TEST(SpeedProfile, SpeedThatNoMachineHasIsPassedOverAndCounted)
{
    SpeedProfile profile;
    const std::vector<double> seconds{0, 1, 2, 3, 4};
    const std::vector<double> rpm{600, 4294967295.0, 600, -1e6, 600};
    const std::vector<AngleKnot> knots = profile.feed(seconds, rpm);
    ASSERT_EQ(knots.size(), 3U);
    EXPECT_DOUBLE_EQ(knots.back().turns, 40.0);
    EXPECT_TRUE(profile.takeGaps().empty());
    EXPECT_EQ(profile.impossible().count, 2U);
    EXPECT_EQ(profile.impossible().seconds, 1.0);
    EXPECT_EQ(profile.impossible().rpm, 4294967295.0);
    EXPECT_THAT(profile.impossible().text(), HasSubstr("2 values of the speed, the first"));
}

TEST(SpeedProfile, TimeBeyondAnyClockIsRefused)
{
    EXPECT_THAT(errorOf([] {
                    read({0.0, 1e18}, {600, 600});
                }),
                HasSubstr("The time of speed value 2 is 1e+18 s"));
}

TEST(SpeedProfile, StandstillEndsASegmentAndIsReportedOnce)
{
    const Reading reading = read({0, 1, 2, 3, 4, 5, 6}, {600, 300, 0, 0, 0, 300, 600});
    ASSERT_EQ(reading.knots.size(), 4U);
    EXPECT_TRUE(reading.knots[2].beginsSegment);
    EXPECT_EQ(reading.knots[2].turns, 0.0);
    ASSERT_EQ(reading.gaps.size(), 1U);
    EXPECT_EQ(reading.gaps[0].kind, Kind::Standstill);
    EXPECT_EQ(reading.gaps[0].seconds, 1.0);
    EXPECT_EQ(reading.gaps[0].untilSeconds, 5.0);
    EXPECT_EQ(ShaftAngle::segmentsOf(reading.knots).size(), 2U);
}

TEST(SpeedProfile, ReversalIsToldFromStandstill)
{
    const Reading reading = read({0, 1, 2, 3, 4, 5}, {600, 300, 0, -300, 0, 300});
    ASSERT_EQ(reading.gaps.size(), 1U);
    EXPECT_EQ(reading.gaps[0].kind, Kind::Reversal);
    EXPECT_THAT(reading.gaps[0].text(), HasSubstr("From 1 to 5 s the shaft turns backwards"));
}

// A tracker that was not sure for a second and a half: the straight line goes on past it. Ten
// seconds without a value are a gap.
TEST(SpeedProfile, UnknownSpeedIsPassedOverUntilItIsAGap)
{
    const Reading reading = read({0, 1, 1.5, 2.5, 3, 15, 16}, {600, 600, kNaN, 660, 660, 660, 660});
    ASSERT_EQ(reading.knots.size(), 6U);
    EXPECT_FALSE(reading.knots[2].beginsSegment);
    EXPECT_NEAR(reading.knots[2].turns, 10.0 + 1.5 * 10.5, 1e-12);
    EXPECT_TRUE(reading.knots[4].beginsSegment);
    ASSERT_EQ(reading.gaps.size(), 1U);
    EXPECT_EQ(reading.gaps[0].kind, Kind::Gap);
    EXPECT_EQ(reading.gaps[0].seconds, 3.0);
    EXPECT_EQ(reading.gaps[0].untilSeconds, 15.0);
}

TEST(SpeedProfile, PiecesGiveTheSameKnots)
{
    const std::vector<double> seconds{0, 1, 2, 3, 4, 5, 6};
    const std::vector<double> rpm{600, 300, 0, 0, 0, 300, 600};
    const Reading whole = read(seconds, rpm);
    SpeedProfile profile;
    std::vector<AngleKnot> knots;
    for (std::size_t k = 0; k < seconds.size(); ++k) {
        for (const AngleKnot& knot :
             profile.feed(std::span(seconds).subspan(k, 1), std::span(rpm).subspan(k, 1)))
            knots.push_back(knot);
    }
    ASSERT_EQ(knots.size(), whole.knots.size());
    for (std::size_t k = 0; k < knots.size(); ++k) {
        EXPECT_EQ(knots[k].turns, whole.knots[k].turns);
        EXPECT_EQ(knots[k].beginsSegment, whole.knots[k].beginsSegment);
    }
    EXPECT_EQ(profile.takeGaps().size(), 1U);
}

TEST(SpeedProfile, WhatIsNoProfileIsRefusedAndNotTaken)
{
    SpeedProfile profile;
    const auto refused = [&](const std::vector<double>& seconds, const std::vector<double>& rpm) {
        return errorOf([&] { (void)profile.feed(seconds, rpm); });
    };
    EXPECT_THAT(refused({0, 1}, {600}), HasSubstr("1 speeds and 2 times"));
    EXPECT_THAT(refused({0, 0}, {600, 600}), HasSubstr("speed value 2: 0 s follows 0 s"));
    EXPECT_THAT(refused({kNaN}, {600}), HasSubstr("must be finite"));
    EXPECT_THAT(refused({0}, {std::numeric_limits<double>::infinity()}), HasSubstr("inf rpm"));
    EXPECT_EQ(refused({0, 1}, {600, 600}), "");
    EXPECT_THAT(refused({1}, {600}), HasSubstr("1 s follows 1 s"));
    SpeedProfileSettings settings;
    settings.standstillRpm = -1.0;
    EXPECT_THAT(errorOf([&] { SpeedProfile wrong(settings); }), HasSubstr("standstill is -1 rpm"));
    settings = {};
    settings.longestGapSeconds = 0.0;
    EXPECT_THAT(errorOf([&] { SpeedProfile wrong(settings); }), HasSubstr("gap is 0 s"));
}

TEST(ShaftAngle, KnotsKeepTheirAngleAndGiveThemselvesBack)
{
    std::vector<AngleKnot> knots;
    for (int k = 0; k < 10; ++k) knots.push_back({0.1 * k, 0.25 + k, kNaN, k == 0});
    const ShaftAngle angle = ShaftAngle::fromKnots(knots);
    EXPECT_DOUBLE_EQ(angle.startTurns(), 0.25);
    EXPECT_DOUBLE_EQ(angle.endTurns(), 9.25);
    EXPECT_DOUBLE_EQ(angle.turns(), 9.0);
    EXPECT_NEAR(angle.secondsAt(4.75), 0.45, 1e-12);
    const ShaftAngle again = ShaftAngle::fromKnots(angle.knots());
    EXPECT_EQ(again.turnsAt(0.333), angle.turnsAt(0.333));
}

TEST(ShaftAngle, KnotsThatAreNoAngleAreRefused)
{
    const auto refused = [](std::vector<AngleKnot> knots) {
        return errorOf([&] { (void)ShaftAngle::fromKnots(knots); });
    };
    EXPECT_THAT(refused({{0, 0, 1.0}}), HasSubstr("1 knots, and at least 2"));
    EXPECT_THAT(refused({{0, 0}, {1, 1}, {2, 2}}), HasSubstr("3 knots, and at least 4"));
    EXPECT_THAT(refused({{0, 0, 1.0}, {1, 0, 1.0}}), HasSubstr("does not increase at 1 s"));
    EXPECT_THAT(refused({{0, 0, 1.0}, {0, 1, 1.0}}), HasSubstr("knot 2: 0 s follows 0 s"));
    EXPECT_THAT(refused({{0, 0, 1.0}, {1, 1, -1.0}}), HasSubstr("-60 rpm at 1 s"));
}

} // namespace
} // namespace Harmotrack::Host

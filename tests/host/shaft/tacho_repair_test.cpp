#include "host/shaft/tachometer.h"
#include "host/signals/time_stamps.h"

#include "tests/host/error_text.h"
#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <random>

namespace Harmotrack::Host {
namespace {

using Kind = TachoEvent::Kind;
using testing::HasSubstr;

const SimulatedShaft kRunUp{600.0, 180.0};

// Pulse k of the wheel stands at k / perRevolution turns.
std::vector<double> pulsesOf(const SimulatedShaft& shaft, int count, double perRevolution)
{
    std::vector<double> seconds;
    seconds.reserve(static_cast<std::size_t>(count));
    for (int k = 0; k < count; ++k) seconds.push_back(shaft.secondsAt(k / perRevolution));
    return seconds;
}

void expectAngleOf(const SimulatedShaft& shaft, const std::vector<AngleKnot>& knots, double ratio)
{
    for (const AngleKnot& knot : knots)
        ASSERT_NEAR(knot.turns, ratio * shaft.turnsAt(knot.seconds), 1e-9) << knot.seconds;
}

TEST(TachometerRepair, CleanPulsesAreKnotsAndNothingIsReported)
{
    const TachoReading reading = Tachometer().readPulses(pulsesOf(kRunUp, 500, 1.0));
    EXPECT_EQ(reading.pulses, 500U);
    ASSERT_EQ(reading.knots.size(), 500U);
    EXPECT_TRUE(reading.knots[0].beginsSegment);
    EXPECT_TRUE(reading.events.empty());
    expectAngleOf(kRunUp, reading.knots, 1.0);
}

TEST(TachometerRepair, MissingPulsesAreBridgedAndReported)
{
    std::vector<double> pulses = pulsesOf(kRunUp, 300, 1.0);
    pulses.erase(pulses.begin() + 140, pulses.begin() + 142);
    pulses.erase(pulses.begin() + 60);

    const TachoReading reading = Tachometer().readPulses(pulses);

    EXPECT_EQ(reading.knots.size(), 297U);
    expectAngleOf(kRunUp, reading.knots, 1.0);
    ASSERT_EQ(reading.events.size(), 2U);
    EXPECT_EQ(reading.events[0].kind, Kind::MissingPulse);
    EXPECT_EQ(reading.events[0].pulses, 1);
    EXPECT_DOUBLE_EQ(reading.events[0].seconds, kRunUp.secondsAt(59));
    EXPECT_DOUBLE_EQ(reading.events[0].untilSeconds, kRunUp.secondsAt(61));
    EXPECT_EQ(reading.events[1].pulses, 2);
    EXPECT_THAT(reading.events[1].text(), HasSubstr("2 pulses are missing: filled in."));
}

TEST(TachometerRepair, ExtraPulsesAreDroppedAndReported)
{
    std::vector<double> pulses = pulsesOf(kRunUp, 300, 1.0);
    for (const double turns : {250.97, 100.5, 30.3})
        pulses.insert(pulses.begin() + static_cast<std::ptrdiff_t>(std::ceil(turns)),
                      kRunUp.secondsAt(turns));

    const TachoReading reading = Tachometer().readPulses(pulses);

    EXPECT_EQ(reading.knots.size(), 300U);
    expectAngleOf(kRunUp, reading.knots, 1.0);
    ASSERT_EQ(reading.events.size(), 3U);
    EXPECT_EQ(reading.events[1].kind, Kind::ExtraPulse);
    EXPECT_DOUBLE_EQ(reading.events[1].seconds, kRunUp.secondsAt(100.5));
    EXPECT_THAT(reading.events[1].text(), HasSubstr("dropped"));
}

// Two pulses where there should be one, as contact bounce makes them: 1 ms apart.
TEST(TachometerRepair, PulsesThatBounceCountOnce)
{
    std::vector<double> pulses = pulsesOf(kRunUp, 300, 1.0);
    for (std::size_t k = 290; k > 10; k -= 20)
        pulses.insert(pulses.begin() + static_cast<std::ptrdiff_t>(k) + 1, pulses[k] + 1e-3);
    const TachoReading reading = Tachometer().readPulses(pulses);
    EXPECT_EQ(reading.knots.size(), 300U);
    EXPECT_EQ(reading.events.size(), 14U);
    for (const AngleKnot& knot : reading.knots)
        EXPECT_NEAR(knot.turns, kRunUp.turnsAt(knot.seconds), 0.05);
}

TEST(TachometerRepair, PulsesInARevolutionNeedNotBeWhole)
{
    TachometerSettings settings;
    settings.pulsesPerRevolution = 2.5;
    std::vector<double> pulses = pulsesOf(kRunUp, 500, 2.5);
    pulses.erase(pulses.begin() + 77);
    const TachoReading reading = Tachometer(settings).readPulses(pulses);
    EXPECT_EQ(reading.events.size(), 1U);
    expectAngleOf(kRunUp, reading.knots, 1.0);
}

TEST(TachometerRepair, GearRatioTurnsTheWheelsAngleIntoTheShafts)
{
    TachometerSettings settings;
    settings.pulsesPerRevolution = 12.0;
    settings.gearRatio = 3.25;
    const TachoReading reading = Tachometer(settings).readPulses(pulsesOf(kRunUp, 600, 12.0));
    ASSERT_EQ(reading.knots.size(), 600U);
    expectAngleOf(kRunUp, reading.knots, 3.25);
}

struct ToothedWheel {
    int teeth;
    int missing;
};

class EveryWheel : public testing::TestWithParam<ToothedWheel> {};

// The recording begins in the middle of a turn, which it takes until the first gap to find out;
// two teeth are lost and one pulse is too many. Teeth beside the gap are no knots.
TEST_P(EveryWheel, GapIsTheMarkOfTheShaft)
{
    const auto [teeth, missing] = GetParam();
    TachometerSettings settings;
    settings.pulsesPerRevolution = teeth;
    settings.missingTeeth = missing;
    std::vector<double> pulses;
    for (int k = teeth / 3; k < 40 * teeth; ++k) {
        const int tooth = k % teeth;
        if (tooth >= teeth - missing || k == 7 * teeth + 3 || k == 21 * teeth + 1) continue;
        pulses.push_back(kRunUp.secondsAt(static_cast<double>(k) / teeth));
        if (k == 14 * teeth + 4)
            pulses.push_back(kRunUp.secondsAt((static_cast<double>(k) + 0.4) / teeth));
    }

    const TachoReading reading = Tachometer(settings).readPulses(pulses);

    expectAngleOf(kRunUp, reading.knots, 1.0);
    EXPECT_EQ(reading.events.size(), 3U);
    EXPECT_GE(reading.knots.size() + 3U * 40U, pulses.size());
    for (const AngleKnot& knot : reading.knots) {
        const double tooth = teeth * (knot.turns - std::floor(knot.turns + 1e-9));
        EXPECT_GT(tooth, 0.5);
        EXPECT_LT(tooth, teeth - missing - 1.5);
    }
}

INSTANTIATE_TEST_SUITE_P(TachometerRepair,
                         EveryWheel,
                         testing::Values(ToothedWheel{60, 2},
                                         ToothedWheel{60, 1},
                                         ToothedWheel{36, 1},
                                         ToothedWheel{36, 2},
                                         ToothedWheel{12, 1}));

// Falling flanks stand at 0.3 of a pulse: taken as halves, the angle would err by 0.2 of one.
TEST(TachometerRepair, BothFlanksOfAnUnevenPulseAreKnots)
{
    TachometerSettings settings;
    settings.edge = Edge::Both;
    settings.pulsesPerRevolution = 2.0;
    std::vector<PulseEdge> edges;
    for (int k = 0; k < 400; ++k) {
        edges.push_back({kRunUp.secondsAt(k / 2.0), true});
        edges.push_back({kRunUp.secondsAt((k + 0.3) / 2.0), false});
    }
    const TachoReading reading = Tachometer(settings).readEdges(edges);
    ASSERT_EQ(reading.knots.size(), 799U); // the last falling flank has no rise behind it
    EXPECT_TRUE(reading.events.empty());
    for (const AngleKnot& knot : reading.knots)
        EXPECT_NEAR(knot.turns, kRunUp.turnsAt(knot.seconds), 2e-5);
}

// A counter of 24 bits at 1 MHz wraps every 16.8 s; stamps 5, 4 and 200, 201, 199 come disordered.
TEST(TachometerRepair, StampsThatWrapOrComeOutOfOrderAreBroughtInOrder)
{
    std::vector<std::uint64_t> stamps;
    for (const double seconds : pulsesOf(kRunUp, 1000, 1.0))
        stamps.push_back((16'000'000 + static_cast<std::uint64_t>(std::llround(seconds * 1e6))) %
                         (1U << 24U));
    std::swap(stamps[4], stamps[5]);
    std::swap(stamps[199], stamps[200]);
    std::swap(stamps[200], stamps[201]);

    TimeStamps unwrap(24, 1e6);
    const TachoReading reading = Tachometer().readPulses(unwrap.toSeconds(stamps));

    ASSERT_EQ(reading.knots.size(), 1000U);
    EXPECT_TRUE(reading.events.empty());
    for (const AngleKnot& knot : reading.knots)
        EXPECT_NEAR(knot.turns, kRunUp.turnsAt(knot.seconds), 1e-4);
}

TEST(TachometerRepair, PulseTooLateToBeSortedInIsReported)
{
    std::vector<double> pulses = pulsesOf(kRunUp, 100, 1.0);
    pulses.insert(pulses.begin() + 60, pulses[40] + 1e-3);
    const TachoReading reading = Tachometer().readPulses(pulses);
    EXPECT_EQ(reading.knots.size(), 100U);
    ASSERT_EQ(reading.events.size(), 1U);
    EXPECT_EQ(reading.events[0].kind, Kind::OutOfOrder);
}

// A stuck relay doubles all pulses for ten turns: without a limit the shaft might have doubled its
// speed within a turn.
TEST(TachometerRepair, PulsesAboveTheLimitOfTheSpeedAreDropped)
{
    const SimulatedShaft steady{1500.0, 0.0};
    std::vector<double> pulses;
    for (int k = 0; k < 200; ++k) {
        pulses.push_back(steady.secondsAt(k));
        if (k >= 100 && k < 110) pulses.push_back(steady.secondsAt(k + 0.5));
    }
    TachometerSettings settings;
    settings.maxRpm = 2000.0;
    const TachoReading reading = Tachometer(settings).readPulses(pulses);
    ASSERT_EQ(reading.knots.size(), 200U);
    expectAngleOf(steady, reading.knots, 1.0);
    ASSERT_FALSE(reading.events.empty());
    EXPECT_TRUE(std::any_of(reading.events.begin(), reading.events.end(), [](const auto& event) {
        return event.kind == Kind::TooFast || event.kind == Kind::Disturbed;
    }));
}

TEST(TachometerRepair, PulseThatSaysTooMuchAccelerationIsDropped)
{
    const SimulatedShaft steady{1500.0, 0.0};
    std::vector<double> pulses = pulsesOf(steady, 200, 1.0);
    pulses.insert(pulses.begin() + 101, steady.secondsAt(100.9));
    TachometerSettings settings;
    settings.maxRpmPerSecond = 500.0;
    const TachoReading reading = Tachometer(settings).readPulses(pulses);
    expectAngleOf(steady, reading.knots, 1.0);
    ASSERT_EQ(reading.events.size(), 1U);
    EXPECT_EQ(reading.events[0].kind, Kind::TooAbrupt);
}

TEST(TachometerRepair, AngleBeginsAnewAfterAStandstill)
{
    const SimulatedShaft shaft{600.0, 0.0};
    std::vector<double> pulses = pulsesOf(shaft, 100, 1.0);
    for (const double seconds : pulsesOf(shaft, 100, 1.0)) pulses.push_back(seconds + 30.0);
    const TachoReading reading = Tachometer().readPulses(pulses);
    ASSERT_EQ(reading.knots.size(), 200U);
    EXPECT_TRUE(reading.knots[100].beginsSegment);
    EXPECT_EQ(reading.knots[100].turns, 0.0);
    ASSERT_EQ(reading.events.size(), 1U);
    EXPECT_EQ(reading.events[0].kind, Kind::NoPulses);
    EXPECT_NEAR(reading.events[0].seconds, 9.9, 1e-9);
    EXPECT_NEAR(reading.events[0].untilSeconds, 30.0, 1e-9);
}

// Pulses at random times between two good stretches: no shaft turns like that.
TEST(TachometerRepair, NoiseIsDroppedAsAWholeAndReported)
{
    TachometerSettings settings;
    settings.pulsesPerRevolution = 20.0;
    const SimulatedShaft shaft{600.0, 0.0};
    std::vector<double> pulses = pulsesOf(shaft, 1000, 20.0);
    std::mt19937 random(3);
    std::exponential_distribution<double> step(400.0);
    for (double t = pulses.back() + 0.01; t < 8.0; t += 1e-4 + step(random)) pulses.push_back(t);
    for (const double seconds : pulsesOf(shaft, 1000, 20.0)) pulses.push_back(8.1 + seconds);

    const TachoReading reading = Tachometer(settings).readPulses(pulses);

    EXPECT_TRUE(std::any_of(reading.events.begin(), reading.events.end(), [](const auto& event) {
        return event.kind == Kind::Unreadable && event.seconds < 5.3 && event.untilSeconds > 7.5;
    }));
    for (std::size_t k = 1; k < reading.knots.size(); ++k) {
        const AngleKnot& a = reading.knots[k - 1];
        const AngleKnot& b = reading.knots[k];
        if (b.beginsSegment || a.seconds > 4.8) continue;
        EXPECT_NEAR(60.0 * (b.turns - a.turns) / (b.seconds - a.seconds), 600.0, 1e-3);
    }
    EXPECT_NEAR(reading.knots.back().seconds, pulses.back(), 1e-9);
}

// A sensor whose height grows with the speed, from a hundredth of its final one, on a wheel whose
// gap swings three times as far as a tooth.
TEST(TachometerRepair, SensorWhoseHeightGrowsWithTheSpeedIsFollowed)
{
    const SimulatedShaft shaft{60.0, 200.0};
    const UniformSignal channel = sampled(10000.0, 8.0, [&](double t) {
        const double teeth = 60.0 * shaft.turnsAt(t);
        const double tooth = teeth - 60.0 * std::floor(teeth / 60.0);
        const double wave = tooth < 57.5 ? std::cos(2.0 * std::numbers::pi * tooth)
                                         : -3.0 * std::cos(std::numbers::pi * (tooth - 57.5) / 2.5);
        return 2.5 + 1e-3 * shaft.rpmAt(t) * wave;
    });
    TachometerSettings settings;
    settings.edge = Edge::Falling;
    settings.pulsesPerRevolution = 60.0;
    settings.missingTeeth = 2;
    const TachoReading reading = Tachometer(settings).read(channel);
    ASSERT_GT(reading.knots.size(), 6400U);
    EXPECT_TRUE(reading.events.empty());
    const AngleKnot& first = reading.knots.front();
    for (const AngleKnot& knot : reading.knots)
        ASSERT_NEAR(knot.turns - first.turns,
                    shaft.turnsAt(knot.seconds) - shaft.turnsAt(first.seconds),
                    0.1 / 60.0)
            << knot.seconds;
}

TEST(TachometerRepair, ChunksOfAnySizeGiveTheSameKnots)
{
    TachometerSettings settings;
    settings.edge = Edge::Both;
    const UniformSignal channel =
        sampled(5120.0, 12.0, [&](double t) { return SmoothPulse::at(kRunUp.turnsAt(t)) + 0.01; });
    const TachoReading whole = Tachometer(settings).read(channel);
    for (const std::size_t size : {1U, 7U, 4096U}) {
        Tachometer tachometer(settings);
        tachometer.start(channel.rateHz, channel.startSeconds);
        std::vector<AngleKnot> knots;
        const auto take = [&] {
            for (const AngleKnot& knot : tachometer.takeKnots()) knots.push_back(knot);
        };
        const std::span<const double> samples = channel.samples;
        for (std::size_t k = 0; k < samples.size(); k += size) {
            tachometer.feed(samples.subspan(k, std::min(size, samples.size() - k)));
            take();
        }
        tachometer.finish();
        take();
        ASSERT_EQ(knots.size(), whole.knots.size());
        for (std::size_t k = 0; k < knots.size(); ++k) {
            ASSERT_EQ(knots[k].seconds, whole.knots[k].seconds);
            ASSERT_EQ(knots[k].turns, whole.knots[k].turns);
        }
    }
}

// Noise that crosses the level at random for a hundred thousand flanks.
TEST(TachometerRepair, FlanksThatCantBeFollowedAreNotKept)
{
    TachometerSettings settings;
    settings.edge = Edge::Both;
    settings.disorder = 0;
    Tachometer tachometer(settings);
    std::mt19937 random(5);
    std::exponential_distribution<double> step(400.0);
    double seconds = 0.0;
    std::size_t most = 0;
    for (int k = 0; k < 100000; ++k) {
        seconds += 1e-6 + step(random) * step(random) * 400.0;
        const PulseEdge edge{seconds, k % 100 == 0};
        tachometer.feedEdges({&edge, 1});
        most = std::max(most, tachometer.waiting());
    }
    EXPECT_LE(most, 4096U + 8U + 1024U);
}

// Every second pulse of twenty turns is an extra one: it is said before all else, once.
TEST(TachometerRepair, ManyDroppedPulsesAreARemarkOfTheirOwn)
{
    std::vector<double> pulses = pulsesOf(kRunUp, 300, 1.0);
    const TachoReading clean = Tachometer().readPulses(pulses);
    EXPECT_TRUE(clean.remarks.empty());
    for (int k = 40; k > 20; --k) pulses.insert(pulses.begin() + k, kRunUp.secondsAt(k - 0.35));
    const TachoReading reading = Tachometer().readPulses(pulses);
    ASSERT_EQ(reading.remarks.size(), 1U);
    EXPECT_THAT(reading.remarks[0], HasSubstr("pulses of the tacho, which has 320, were dropped"));
}

TEST(TachometerRepair, SettingsOfTheWheelOutOfRangeAreRefused)
{
    const auto refused = [](auto field, auto value) {
        TachometerSettings settings;
        settings.*field = value;
        return errorOf([&] { Tachometer tachometer(settings); });
    };
    using S = TachometerSettings;
    EXPECT_THAT(refused(&S::pulsesPerRevolution, 0.0), HasSubstr("per revolution is 0"));
    EXPECT_THAT(refused(&S::pulsesPerRevolution, -1.0), HasSubstr("is -1"));
    EXPECT_THAT(refused(&S::missingTeeth, -1), HasSubstr("missing teeth is -1"));
    EXPECT_THAT(refused(&S::missingTeeth, 2), HasSubstr("a wheel of 1 must keep at least 4"));
    EXPECT_THAT(refused(&S::gearRatio, 0.0), HasSubstr("gear ratio is 0"));
    EXPECT_THAT(refused(&S::maxRpm, -5.0), HasSubstr("limit of the speed is -5"));
    EXPECT_THAT(refused(&S::maxRpmPerSecond, 0.0), HasSubstr("change of speed is 0"));
    EXPECT_THAT(refused(&S::smoothingTurns, -1.0), HasSubstr("smoothing in turns is -1"));
    EXPECT_THAT(refused(&S::disorder, -1), HasSubstr("disorder of the pulses is -1"));
    EXPECT_THAT(errorOf([] { TimeStamps stamps(65, 1.0); }), HasSubstr("65 bits"));
    EXPECT_THAT(errorOf([] { TimeStamps stamps(32, 0.0); }), HasSubstr("is 0 Hz"));
}

TEST(TachometerRepair, TimesThatAreNoNumbersOrMissingAreRefused)
{
    const std::vector<double> bad{0.0, std::numeric_limits<double>::quiet_NaN()};
    EXPECT_THAT(errorOf([&] { (void)Tachometer().readPulses(bad); }), HasSubstr("not a finite"));
    EXPECT_THAT(errorOf([] { (void)Tachometer().readPulses({}); }), HasSubstr("has no pulses"));
}

} // namespace
} // namespace Harmotrack::Host

#include "host/analysis/analysis_run.h"
#include "host/shaft/shaft_angle.h"
#include "host/shaft/tachometer.h"

#include "tests/host/shaft/simulated_shaft.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <functional>
#include <numbers>
#include <optional>
#include <vector>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;

constexpr double kTwoPi = 2.0 * std::numbers::pi;
constexpr double kRate = 25600.0;

// One pulse a turn, high for a third of it.
UniformSignal rectangular(const std::function<double(double)>& turnsAt, double seconds)
{
    return sampled(kRate, seconds, [&](double t) {
        const double turns = turnsAt(t);
        return turns - std::floor(turns) < 1.0 / 3.0 ? 5.0 : 0.0;
    });
}

TachoReading readWith(std::optional<double> smoothingTurns, const UniformSignal& channel)
{
    TachometerSettings settings;
    settings.smoothingTurns = smoothingTurns;
    return Tachometer(settings).read(channel);
}

// An order as it reads by the angle that was found: its line of 100 turns, and the highest one that
// stands beside it, from the third on.
struct OrderReading {
    std::complex<double> line;
    double spur = 0.0;
};

OrderReading orderOf(double order, const std::vector<AngleKnot>& knots, const SimulatedShaft& shaft)
{
    constexpr int kTurns = 100;
    constexpr int kPerTurn = 16;
    constexpr int kCount = kTurns * kPerTurn;
    const ShaftAngle angle = ShaftAngle::fromKnots(knots);
    const double first = std::ceil(0.5 * (angle.turns() - kTurns));
    std::vector<std::complex<double>> signal;
    for (int k = 0; k < kCount; ++k) {
        const double turns = first + static_cast<double>(k) / kPerTurn;
        // The first rise that is seen belongs to turn 1.
        const double truth = shaft.turnsAt(angle.secondsAt(turns)) - 1.0;
        const double window = 1.0 - std::cos(kTwoPi * k / kCount); // its mean is 1
        signal.push_back(window / kCount * std::polar(1.0, kTwoPi * order * (truth - turns)));
    }
    OrderReading reading;
    for (int line = -200; line <= 200; ++line) {
        std::complex<double> sum;
        for (int k = 0; k < kCount; ++k)
            sum +=
                signal[static_cast<std::size_t>(k)] * std::polar(1.0, -kTwoPi * line * k / kCount);
        if (line == 0) reading.line = sum;
        if (std::abs(line) > 2) reading.spur = std::max(reading.spur, std::abs(sum));
    }
    return reading;
}

double decibels(double ratio)
{
    return 20.0 * std::log10(ratio);
}

// Rounding to samples scatters the angle evenly over half of 360 * 25 * 100 Hz / 25.6 kHz = 35
// degrees of order 25 to either side: it loses sin(x) / x of 17.6 degrees, 0.14 dB, which stands
// beside it.
TEST(PulseSmoother, HighOrderOfARectangularTachoKeepsItsHeightAndHasNoSpurs)
{
    for (const SimulatedShaft shaft :
         {SimulatedShaft{5951.0, 0.0}, SimulatedShaft{5700.0, 100.0}}) {
        const UniformSignal channel = rectangular([&](double t) { return shaft.turnsAt(t); }, 3.0);
        const OrderReading as = orderOf(25.0, readWith(0.0, channel).knots, shaft);
        EXPECT_LT(decibels(std::abs(as.line)), -0.05);
        EXPECT_GT(decibels(as.spur), -35.0);

        const TachoReading smooth = readWith(std::nullopt, channel);
        const OrderReading is = orderOf(25.0, smooth.knots, shaft);
        EXPECT_NEAR(decibels(std::abs(is.line)), 0.0, 0.05);
        EXPECT_LT(decibels(is.spur), -40.0);
        ASSERT_EQ(smooth.remarks.size(), 1U);
        EXPECT_THAT(smooth.remarks[0], HasSubstr("were smoothed over up to 64 turns"));
    }
}

// Amplitudes of order 25 in the rows of an order map, and the highest one beside it.
struct MapReading {
    double lowest = 10.0;
    double highest = 0.0;
    double spur = 0.0;
};

// The vibration is sampled together with the tacho.
MapReading mapOf(const std::function<double(double)>& turnsAt, std::optional<double> smoothing)
{
    constexpr double kSlowRate = 6400.0;
    constexpr double kSeconds = 10.0;
    constexpr std::size_t kLine = 250;
    const UniformSignal signal =
        sampled(kSlowRate, kSeconds, [&](double t) { return std::cos(kTwoPi * 25 * turnsAt(t)); });
    const UniformSignal tacho = sampled(kSlowRate, kSeconds, [&](double t) {
        return turnsAt(t) - std::floor(turnsAt(t)) < 1.0 / 3.0 ? 5.0 : 0.0;
    });
    AnalysisSettings settings;
    settings.minRpm = 5500.0;
    settings.maxRpm = 6500.0;
    settings.stepRpm = 10.0;
    settings.highestOrder = 27.0;
    settings.harmonics = {25.0F};
    const std::vector<AngleKnot> knots = readWith(smoothing, tacho).knots;
    const AnalysisResults results = AnalysisRun(settings).runPasses({&signal, 1}, knots).front();
    MapReading reading;
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        if (results.orderBlocks[b] == 0) continue;
        const auto row = results.signals[0].orderMap.row(b);
        reading.lowest = std::min(reading.lowest, static_cast<double>(row[kLine]));
        reading.highest = std::max(reading.highest, static_cast<double>(row[kLine]));
        for (std::size_t k = 0; k + 2 < kLine; ++k)
            reading.spur = std::max(reading.spur, static_cast<double>(row[k]));
    }
    return reading;
}

// At 6.4 kHz and 6000 rpm a sample is 141 degrees of order 25, whose 2.5 kHz are sampled well.
TEST(PulseSmoother, OrderNearTheHighestFrequencyIsReadByARectangularTachoOfTheSameRate)
{
    for (const SimulatedShaft shaft : {SimulatedShaft{5700.0, 30.0}, SimulatedShaft{5985.0, 3.0}}) {
        const auto turnsAt = [&](double t) { return shaft.turnsAt(t); };
        const MapReading smooth = mapOf(turnsAt, std::nullopt);
        EXPECT_GT(decibels(smooth.lowest), -0.15);
        EXPECT_LT(decibels(smooth.highest), 0.05);
        EXPECT_LT(decibels(smooth.spur), -40.0);
        const MapReading as = mapOf(turnsAt, 0.0);
        EXPECT_LT(decibels(as.lowest), -1.5);
        EXPECT_GT(decibels(as.spur), -13.0);
    }
}

// 64 samples a turn, and a swing of a tenth of a sample that lets a pulse fall now on one and now
// on the next: pulses scatter by half a sample, and not by 0.29 as where all of its parts are met.
// That is 70 degrees of order 25 to either side, of which cos(70 degrees) is a third.
TEST(PulseSmoother, ShaftInStepWithTheSamplesIsSmoothedToo)
{
    constexpr double kSlowRate = 6400.0;
    const SimulatedShaft shaft{6000.0, 0.0};
    const UniformSignal tacho = sampled(kSlowRate, 3.0, [&](double t) {
        const double turns = shaft.turnsAt(t) + 0.1 / 64.0 * std::sin(kTwoPi * 37.7 * t);
        return turns - std::floor(turns) < 1.0 / 3.0 ? 5.0 : 0.0;
    });
    const OrderReading as = orderOf(25.0, readWith(0.0, tacho).knots, shaft);
    EXPECT_LT(decibels(std::abs(as.line)), -3.0);
    const OrderReading smooth = orderOf(25.0, readWith(std::nullopt, tacho).knots, shaft);
    EXPECT_GT(decibels(std::abs(smooth.line)), -0.5);
    EXPECT_LT(decibels(smooth.spur), -20.0);
}

// A rise is seen half a sample late on the mean: 360 * 95 Hz / 25.6 kHz / 2 = 0.7 degrees of order
// 1, as without smoothing; and nothing lags, though the speed rises by 100 rpm a second.
TEST(PulseSmoother, PhaseOfOrderOneIsKept)
{
    const SimulatedShaft shaft{5700.0, 100.0};
    const UniformSignal channel = rectangular([&](double t) { return shaft.turnsAt(t); }, 3.0);
    const auto phase = [&](std::optional<double> turns) {
        return std::arg(orderOf(1.0, readWith(turns, channel).knots, shaft).line) * 360.0 / kTwoPi;
    };
    EXPECT_NEAR(phase(std::nullopt), phase(0.0), 0.05);
    EXPECT_NEAR(phase(std::nullopt), 0.0, 0.75);
}

TEST(PulseSmoother, AnalogueTachoIsLeftAlone)
{
    const SimulatedShaft shaft{5700.0, 100.0};
    const UniformSignal channel =
        sampled(kRate, 3.0, [&](double t) { return SmoothPulse::at(shaft.turnsAt(t)); });
    const TachoReading reading = readWith(std::nullopt, channel);
    EXPECT_TRUE(reading.remarks.empty());
    const TachoReading off = readWith(0.0, channel);
    ASSERT_EQ(reading.knots.size(), off.knots.size());
    for (std::size_t k = 0; k < off.knots.size(); ++k)
        EXPECT_EQ(reading.knots[k].seconds, off.knots[k].seconds);
}

// A wobble once in five turns, by as many samples: no pulse is moved by more than 0.6 of one, so of
// a large wobble nearly all stays.
TEST(PulseSmoother, WobbleOfTheSpeedIsNotSmoothedAway)
{
    for (const double samples : {0.1, 0.5, 2.0, 20.0}) {
        const double swing = samples / kRate * 97.3; // turns
        const UniformSignal channel = rectangular(
            [&](double t) { return 97.3 * t + swing * std::sin(kTwoPi * 97.3 / 5.0 * t); }, 3.0);
        const TachoReading reading = readWith(std::nullopt, channel);
        const TachoReading off = readWith(0.0, channel);
        ASSERT_EQ(reading.knots.size(), off.knots.size());
        for (std::size_t k = 0; k < off.knots.size(); ++k) {
            const double moved = kRate * (reading.knots[k].seconds - off.knots[k].seconds);
            EXPECT_LE(std::abs(moved), 0.6001) << samples;
        }
    }
}

TEST(PulseSmoother, WindowThatIsAskedForSmoothsPulseTimesToo)
{
    TachometerSettings settings;
    settings.smoothingTurns = 20.0;
    const SimulatedShaft shaft{3000.0, 100.0};
    std::vector<double> pulses;
    for (int k = 0; k < 400; ++k)
        pulses.push_back(shaft.secondsAt(k) + (k % 2 == 0 ? 1e-4 : -1e-4));
    const TachoReading reading = Tachometer(settings).readPulses(pulses);
    ASSERT_EQ(reading.knots.size(), 400U);
    for (std::size_t k = 10; k < 390; ++k)
        EXPECT_NEAR(reading.knots[k].seconds, shaft.secondsAt(static_cast<double>(k)), 3e-5);
    ASSERT_EQ(reading.remarks.size(), 1U);
    EXPECT_THAT(reading.remarks[0], HasSubstr("smoothed over up to 20 turns"));
}

TEST(PulseSmoother, ChunksOfAnySizeGiveTheSameKnots)
{
    const SimulatedShaft shaft{3000.0, 900.0};
    const UniformSignal channel = rectangular([&](double t) { return shaft.turnsAt(t); }, 3.0);
    const TachoReading whole = readWith(std::nullopt, channel);
    for (const std::size_t size : {1U, 777U}) {
        Tachometer tachometer;
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
        for (std::size_t k = 0; k < knots.size(); ++k)
            ASSERT_EQ(knots[k].seconds, whole.knots[k].seconds);
    }
}

} // namespace
} // namespace Harmotrack::Host

// Tachometers of real machines: HARMOTRACK_RECORDINGS names the folder of the recordings.

#include "host/shaft/shaft_angle.h"
#include "host/shaft/tachometer.h"
#include "host/signals/time_stamps.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <fstream>
#include <sstream>
#include <string>

namespace Harmotrack::Host {
namespace {

using Kind = TachoEvent::Kind;

std::string pathOf(const std::string& name)
{
    const char* folder = std::getenv("HARMOTRACK_RECORDINGS");
    return std::string(folder == nullptr ? "" : folder) + '/' + name;
}

/// Voltage of a crank sensor: lines of time and volts at 10 kHz.
TachoReading crankOf(const std::string& number)
{
    std::ifstream file(pathOf("fome_vr_crank/trigger_adc_real" + number + ".csv"));
    UniformSignal channel;
    channel.rateHz = 10000.0;
    std::string line;
    std::getline(file, line);
    while (std::getline(file, line))
        channel.samples.push_back(std::stod(line.substr(line.find(',') + 1)));
    TachometerSettings settings;
    settings.edge = Edge::Falling;
    settings.pulsesPerRevolution = 60.0;
    settings.missingTeeth = 2;
    return Tachometer(settings).read(channel);
}

/// Flanks of a fan's tachometer: hexadecimal words behind a few lines of text. Bit 0 clear: the
/// tachometer; bit 1: direction; the others: a counter of 80 MHz.
std::vector<PulseEdge> fanOf(const std::string& name)
{
    std::ifstream file(pathOf("esp32_fan_tach/" + name + ".trace"));
    std::string line;
    while (std::getline(file, line) && line.find("events logged") == std::string::npos) {
    }
    TimeStamps stamps(30, 80e6);
    std::vector<PulseEdge> edges;
    std::string word;
    while (file >> word) {
        const std::uint64_t value = std::stoull(word, nullptr, 16);
        const std::uint64_t stamp = value >> 2U;
        const double seconds = stamps.toSeconds({&stamp, 1}).front();
        if ((value & 1U) == 0) edges.push_back({seconds, (value & 2U) != 0});
    }
    return edges;
}

TachoReading fanReading(const std::string& name)
{
    TachometerSettings settings;
    settings.edge = Edge::Both;
    settings.pulsesPerRevolution = 2.0;
    settings.disorder = 64;
    return Tachometer(settings).readEdges(fanOf(name));
}

/// Speeds from knot to knot, rpm.
std::vector<double> speedsOf(const TachoReading& reading)
{
    std::vector<double> speeds;
    for (std::size_t k = 1; k < reading.knots.size(); ++k) {
        const AngleKnot& a = reading.knots[k - 1];
        const AngleKnot& b = reading.knots[k];
        if (!b.beginsSegment)
            speeds.push_back(60.0 * (b.turns - a.turns) / (b.seconds - a.seconds));
    }
    return speeds;
}

double meanSpeed(const TachoReading& reading, double from, double to)
{
    const AngleKnot* first = nullptr;
    const AngleKnot* last = nullptr;
    for (const AngleKnot& knot : reading.knots) {
        if (knot.seconds < from || knot.seconds > to) continue;
        if (first == nullptr) first = &knot;
        last = &knot;
    }
    return 60.0 * (last->turns - first->turns) / (last->seconds - first->seconds);
}

double highest(const std::vector<double>& speeds)
{
    return *std::max_element(speeds.begin(), speeds.end());
}

// Cranking at 161 rpm: every tooth found, and the gap of each of the 16 turns.
TEST(TachoRecordings, SteadyCrankingIsReadToothByTooth)
{
    const TachoReading reading = crankOf("1");
    EXPECT_TRUE(reading.events.empty());
    EXPECT_NEAR(meanSpeed(reading, 0.0, 6.0), 161.0, 1.0);
    EXPECT_LT(highest(speedsOf(reading)), 1.1 * 161.0);
}

// A run-up from 150 to 530 rpm at 4.5 s; then the channel over-ranges and folds, and the
// speed goes on as evenly as before, with hundreds of false pulses dropped.
TEST(TachoRecordings, OverRangeIsReportedAndMakesNoSpike)
{
    const TachoReading reading = crankOf("2");
    EXPECT_NEAR(meanSpeed(reading, 0.1, 0.45), 165.0, 5.0);
    EXPECT_NEAR(meanSpeed(reading, 4.4, 4.6), 532.0, 5.0);
    EXPECT_NEAR(meanSpeed(reading, 4.7, 5.0), 560.0, 10.0);
    EXPECT_NEAR(meanSpeed(reading, 5.8, 6.0), 641.0, 8.0);
    EXPECT_LT(highest(speedsOf(reading)), 1.02 * 641.0);
    ASSERT_FALSE(reading.events.empty());
    const TachoEvent& last = reading.events.back();
    EXPECT_EQ(last.kind, Kind::Disturbed);
    EXPECT_NEAR(last.seconds, 4.5, 0.3);
    EXPECT_GT(last.untilSeconds, 5.9);
    EXPECT_GT(last.pulses, 300);
}

// 78 to 133 rpm, with a height that shrinks to a few steps of the converter: 144.9 is its jitter.
TEST(TachoRecordings, SlowCrankingRunsUp)
{
    const TachoReading reading = crankOf("4");
    EXPECT_NEAR(meanSpeed(reading, 0.0, 0.5), 78.0, 2.0);
    EXPECT_NEAR(meanSpeed(reading, 5.6, 6.0), 134.0, 3.0);
    EXPECT_LT(highest(speedsOf(reading)), 1.12 * 134.0);
    EXPECT_LE(reading.events.size(), 2U);
}

// Near standstill the sensor shows noise: whatever is said of it, no speed above 25 rpm.
TEST(TachoRecordings, NoiseNearStandstillIsNoSpeed)
{
    const TachoReading reading = crankOf("6");
    for (const double speed : speedsOf(reading)) EXPECT_LT(speed, 25.0);
    EXPECT_TRUE(std::any_of(reading.events.begin(), reading.events.end(), [](const auto& event) {
        return event.kind == Kind::Unreadable;
    }));
}

// 1222 flanks; the speed rises from about 811 to 4178 rpm and never falls by more than jitter.
TEST(TachoRecordings, FanRunsUpOnBothFlanks)
{
    const TachoReading reading = fanReading("bang-bang");
    EXPECT_EQ(reading.pulses, 1222U);
    EXPECT_TRUE(reading.events.empty());
    EXPECT_NEAR(speedsOf(reading).front(), 870.0, 70.0);
    EXPECT_NEAR(meanSpeed(reading, 4.5, 5.0), 4175.0, 8.0);
    EXPECT_LT(highest(speedsOf(reading)), 1.005 * 4178.0);
}

TEST(TachoRecordings, SteadyFanStaysWithinItsJitter)
{
    const TachoReading full = fanReading("full-speed");
    EXPECT_NEAR(meanSpeed(full, 0.0, 3.0), 4152.0, 5.0);
    EXPECT_LT(highest(speedsOf(full)), 1.01 * 4152.0);
    // Among 150000 flanks of another channel
    const TachoReading half = fanReading("half-speed");
    EXPECT_EQ(half.pulses, 468U);
    EXPECT_NEAR(meanSpeed(half, 0.0, 3.0), 2340.0, 2.0);
    EXPECT_LT(highest(speedsOf(half)), 1.01 * 2340.0);
    EXPECT_TRUE(full.events.empty() && half.events.empty());
}

} // namespace
} // namespace Harmotrack::Host

#include "host/ranges.h"

#include "host/analysis/analysis_run.h"
#include "host/shaft/pulse_detector.h"
#include "host/shaft/shaft_angle.h"
#include "host/signals/time_stamps.h"
#include "host/tracking/tracking_settings.h"
#include "tests/host/error_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cstdint>
#include <limits>
#include <vector>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;
using testing::IsEmpty;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

AnalysisSettings analysis()
{
    AnalysisSettings settings;
    settings.minRpm = 500.0;
    settings.maxRpm = 700.0;
    settings.stepRpm = 50.0;
    settings.highestOrder = 10.0;
    return settings;
}

TrackingSettings tracking(double minRpm, double maxRpm)
{
    TrackingSettings settings;
    settings.minRpm = minRpm;
    settings.maxRpm = maxRpm;
    settings.orders = {1.0F, 2.0F};
    return settings;
}

RunInput inputWith(double rateHz, double startSeconds)
{
    RunInput input;
    input.rateHz = rateHz;
    input.startSeconds = startSeconds;
    input.speed.emplace();
    return input;
}

std::string errorOfStart(double rateHz, double startSeconds)
{
    return errorOf([&] {
        AnalysisRun run(analysis());
        run.start(inputWith(rateHz, startSeconds));
    });
}

// The clock of 1970 in seconds is a time, in microseconds it is none.
TEST(Ranges, RunBeginsAtAnyTimeThatAClockShows)
{
    EXPECT_THAT(errorOfStart(1000.0, 1.8e9), IsEmpty());
    EXPECT_THAT(errorOfStart(1000.0, -1e10), IsEmpty());
    EXPECT_EQ(errorOfStart(1000.0, 1e18),
              "The time of the first sample is 1e+18 s, and -1e+10 to 1e+10 s are allowed.");
    EXPECT_EQ(errorOfStart(1000.0, kNaN), "The time of the first sample is not a finite number.");
}

TEST(Ranges, RateIsThatOfAConverter)
{
    EXPECT_EQ(errorOfStart(1e35, 0.0),
              "The sampling rate is 1e+35 Hz, and it must be at most 1e+08 Hz.");
    for (const double rate : {kNaN, kInfinity, 1e35, -1.0}) {
        EXPECT_THAT(errorOf([&] { PulseDetector detector({}, rate, 0.0); }),
                    HasSubstr("The sampling rate of the tacho is"));
        EXPECT_THAT(errorOf([&] { tracking(600.0, 6000.0).validate(rate); }),
                    HasSubstr("The sampling rate is"));
    }
}

// The filter before the tracker has fifteen taps for each of them.
TEST(Ranges, SlowMachineAtAHighRateIsDecimatedByAMillionAtMost)
{
    EXPECT_EQ(planFor(tracking(1e-6, 1e-5), 1e8).decimation, 1000000);
}

TEST(Ranges, KnotsBeyondThemAreRefused)
{
    const auto knotAt = [](double seconds, double turns) {
        return AngleKnot{seconds, turns, 1.0, false};
    };
    EXPECT_THAT(errorOf([&] {
                    ShaftAngle::fromKnots(std::array{knotAt(0.0, 0.0), knotAt(1e18, 1.0)});
                }),
                HasSubstr("knot 2 is 1e+18 s"));
    EXPECT_THAT(errorOf([&] {
                    ShaftAngle::fromKnots(std::array{knotAt(0.0, 0.0), knotAt(1.0, 1e300)});
                }),
                HasSubstr("The angle is 1e+300 turns at 1 s"));
}

// Half the way round again and again: the sum of ticks leaves an integer's range and wraps.
TEST(Ranges, StampsOfAWholeWordWrapHoweverOftenTheyDo)
{
    TimeStamps stamps(64, 1.0);
    constexpr std::uint64_t kHalf = std::uint64_t{1} << 62U;
    EXPECT_EQ(stamps.toSeconds(std::vector<std::uint64_t>{0, kHalf, 2 * kHalf, 3 * kHalf, 0})[4],
              0.0);
}

// One error code among the speeds of a recording.
TEST(Ranges, ImpossibleSpeedsAreLeftOutOfARunAndTold)
{
    constexpr double kRate = 2000.0;
    AnalysisRun run(analysis());
    run.start(inputWith(kRate, 0.0));
    std::vector<double> seconds;
    std::vector<double> rpm;
    for (int k = 0; k < 20; ++k) {
        seconds.push_back(k);
        rpm.push_back(k == 7 || k == 11 ? 4294967295.0 : 600.0);
    }
    run.feedSpeed(seconds, rpm);
    const std::vector<double> samples(static_cast<std::size_t>(19.0 * kRate), 1.0);
    const std::span<const double> span = samples;
    run.feed({&span, 1});
    const AnalysisResults results = run.finish().front();
    ASSERT_EQ(results.remarks.size(), 1U);
    EXPECT_EQ(results.remarks.front(),
              "2 values of the speed, the first 4.29497e+09 rpm at 7 s: no machine turns at 1e+06 "
              "rpm or more, and they were left out.");
    EXPECT_NEAR(results.lowestRpm, 600.0, 1e-6);
    EXPECT_NEAR(results.highestRpm, 600.0, 1e-6);
}

// A table of the speed that begins years before the samples, or ends so: 2e11 steps of angle lie
// between two values, and those beside the samples are made alone.
TEST(Ranges, SpeedMayReachFarBeyondTheSamples)
{
    constexpr double kRate = 2000.0;
    const std::vector<double> samples(static_cast<std::size_t>(19.0 * kRate), 1.0);
    const std::span<const double> span = samples;
    for (const auto& seconds : {std::vector{0.0, 20.0, 1e9}, std::vector{-1e9, 0.0, 20.0}}) {
        AnalysisRun run(analysis());
        RunInput input = inputWith(kRate, 0.0);
        input.speed->longestGapSeconds = kInfinity;
        run.start(input);
        run.feedSpeed(seconds, std::vector(3, 600.0));
        run.feed({&span, 1});
        const AnalysisResults results = run.finish().front();
        // Of 19 s at ten turns a second one value a turn, but where the filter reaches beyond.
        EXPECT_NEAR(static_cast<double>(results.seconds.size()), 190.0, 4.0);
        // 1e10 turns are known to 2e-6 of a turn.
        EXPECT_NEAR(results.lowestRpm, 600.0, 0.01);
        EXPECT_NEAR(results.highestRpm, 600.0, 0.01);
    }
}

} // namespace
} // namespace Harmotrack::Host

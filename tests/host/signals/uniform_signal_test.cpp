#include "host/signals/uniform_signal.h"

#include "tests/host/error_text.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>

namespace Harmotrack::Host {
namespace {

using testing::HasSubstr;

// 60 Hz with steps that wander between 0.7 and 1.3 of their mean.
std::vector<double> irregularTimes(std::size_t count)
{
    std::vector<double> seconds(count);
    for (std::size_t k = 0; k < count; ++k)
        seconds[k] =
            5.0 + (static_cast<double>(k) + 0.15 * std::sin(2.3 * static_cast<double>(k))) / 60.0;
    return seconds;
}

// A cubic spline errs by 5/384 h^4 |x''''|: at 4 Hz and steps of up to 0.0217 s that is 1.2e-3.
TEST(UniformSignal, SmoothComponentSurvivesIrregularSteps)
{
    const std::vector<double> seconds = irregularTimes(600);
    std::vector<double> values;
    values.reserve(seconds.size());
    const auto wave = [](double t) { return std::sin(2.0 * std::numbers::pi * 4.0 * t); };
    for (const double t : seconds) values.push_back(wave(t));

    const UniformSignal signal = toUniform(seconds, values);

    ASSERT_EQ(signal.samples.size(), seconds.size());
    EXPECT_DOUBLE_EQ(signal.startSeconds, seconds.front());
    EXPECT_NEAR(signal.endSeconds(), seconds.back(), 1e-12);
    for (std::size_t k = 5; k + 5 < signal.samples.size(); ++k) // the ends are straight lines
        EXPECT_NEAR(signal.samples[k],
                    wave(signal.startSeconds + static_cast<double>(k) / signal.rateHz),
                    1.2e-3);
}

TEST(UniformSignal, EqualStepsKeepTheirSamples)
{
    const std::vector<double> seconds{0.0, 0.25, 0.5, 0.75, 1.0};
    const std::vector<double> values{1.0, -2.0, 4.0, 0.0, 3.0};
    const UniformSignal signal = toUniform(seconds, values);
    EXPECT_DOUBLE_EQ(signal.rateHz, 4.0);
    for (std::size_t k = 0; k < values.size(); ++k)
        EXPECT_NEAR(signal.samples[k], values[k], 1e-15);
}

// scipy.interpolate.CubicSpline(x, y, bc_type="natural").derivative()(x), SciPy 1.10.1
TEST(UniformSignal, SplineSlopesAreThoseOfTheNaturalCubicSpline)
{
    const std::vector<double> x{0.0, 1.0, 2.5, 4.0, 4.5};
    const std::vector<double> y{0.0, 2.0, 1.0, 3.0, -1.0};
    const std::vector<double> expected{2.912280701754386,
                                       0.17543859649122814,
                                       1.7543859649122804,
                                       -5.19298245614035,
                                       -9.403508771929825};
    const std::vector<double> slopes = naturalSplineSlopes(x, y);
    ASSERT_EQ(slopes.size(), expected.size());
    for (std::size_t k = 0; k < slopes.size(); ++k) EXPECT_NEAR(slopes[k], expected[k], 1e-12);
}

TEST(UniformSignal, TimeThatGoesBackIsNamed)
{
    const std::vector<double> seconds{0.0, 0.1, 0.3, 0.2, 0.4};
    const std::vector<double> values(5, 0.0);
    EXPECT_THAT(errorOf([&] { toUniform(seconds, values); }),
                HasSubstr("sample 4: 0.2 s follows 0.3 s"));
}

TEST(UniformSignal, GapThatASplineWouldInventIsRefused)
{
    std::vector<double> seconds = irregularTimes(100);
    for (std::size_t k = 50; k < 100; ++k) seconds[k] += 0.2;
    const std::vector<double> values(100, 0.0);
    EXPECT_THAT(errorOf([&] { toUniform(seconds, values); }), HasSubstr("gap of 0.2"));
}

TEST(UniformSignal, ValueThatIsNoNumberIsNamed)
{
    const std::vector<double> seconds{0.0, 0.1, 0.2, 0.3};
    const std::vector<double> values{0.0, 0.0, std::numeric_limits<double>::quiet_NaN(), 0.0};
    EXPECT_THAT(errorOf([&] { toUniform(seconds, values); }), HasSubstr("Sample 3"));
}

TEST(UniformSignal, FewerThanFourSamplesAndUnequalCountsAreRefused)
{
    const std::vector<double> three{0.0, 0.1, 0.2};
    const std::vector<double> four{0.0, 0.1, 0.2, 0.3};
    EXPECT_THAT(errorOf([&] { toUniform(three, three); }), HasSubstr("at least 4"));
    EXPECT_THAT(errorOf([&] { toUniform(four, three); }), HasSubstr("counts must be equal"));
}

} // namespace
} // namespace Harmotrack::Host

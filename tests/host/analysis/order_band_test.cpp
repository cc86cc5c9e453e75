#include "host/analysis/order_band.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>
#include <vector>

namespace Harmotrack::Host {
namespace {

constexpr double kResolution = 0.1;

std::vector<double> orderLines(double resolution)
{
    std::vector<double> orders;
    for (int k = 0; k * resolution <= 10.0 + 1e-9; ++k) orders.push_back(k * resolution);
    return orders;
}

// Transform of a periodic Hanning window, relative to its middle, so many lines away from it:
// sinc(x) / (1 - x²); Harris, On the use of windows (1978).
double hanningLobe(double x)
{
    x = std::abs(x);
    if (x < 1e-9) return 1.0;
    if (std::abs(x - 1.0) < 1e-9) return 0.5;
    return std::abs(std::sin(std::numbers::pi * x) / (std::numbers::pi * x) / (1.0 - x * x));
}

std::vector<float> spectrumOfSine(double order, double amplitude, double resolution)
{
    std::vector<float> spectrum;
    for (const double line : orderLines(resolution))
        spectrum.push_back(
            static_cast<float>(amplitude * hanningLobe((line - order) / resolution)));
    return spectrum;
}

double amplitudeAt(double asked, const std::vector<float>& spectrum, double resolution)
{
    const std::vector<double> orders = orderLines(resolution);
    const double reach = reachOfOrder(Window::Hanning, resolution);
    return static_cast<double>(
        OrderBand(orders, asked, reach, Window::Hanning).amplitude(spectrum));
}

// 1² + 2 · 0.5² = 1.5, the noise bandwidth.
TEST(OrderBand, SineOnALineReadsItsAmplitude)
{
    EXPECT_NEAR(amplitudeAt(5.0, spectrumOfSine(5.0, 3.0, kResolution), kResolution), 3.0, 1e-6);
}

// 2 (0.8488² + 0.1698²) / 1.5 = 0.9992
TEST(OrderBand, SineBetweenTwoLinesReadsItsAmplitude)
{
    EXPECT_NEAR(
        amplitudeAt(5.45, spectrumOfSine(5.45, 3.0, kResolution), kResolution), 3.0, 3.0 * 5e-4);
}

TEST(OrderBand, SineHalfALineOffTheOrderReadsNearlyItsAmplitude)
{
    EXPECT_NEAR(
        amplitudeAt(5.4, spectrumOfSine(5.45, 3.0, kResolution), kResolution), 3.0 * 0.990, 3e-3);
}

// With lines half an order apart those of order 2 stand in line 1.5 too.
TEST(OrderBand, NextWholeOrderStaysOutOfCoarseLines)
{
    EXPECT_NEAR(amplitudeAt(1.0, spectrumOfSine(2.0, 1.0, 0.5), 0.5), 0.0, 1e-6);
}

TEST(OrderBand, NextHalfOrderStaysOutOfFineLines)
{
    EXPECT_LT(amplitudeAt(1.0, spectrumOfSine(1.5, 1.0, kResolution), kResolution), 0.02);
}

TEST(OrderBand, OrderAwayFromAllLinesReadsTheNearest)
{
    const std::vector<double> orders{0.0, 1.0, 2.0, 3.0};
    const std::vector<float> spectrum{1.0F, 2.0F, 3.0F, 4.0F};

    EXPECT_EQ(OrderBand(orders, 1.6, 0.1, Window::Hanning).amplitude(spectrum), 3.0F);
}

TEST(OrderBand, UnmeasuredLinesHaveNoAmplitude)
{
    const std::vector<float> nothing(101, std::numeric_limits<float>::quiet_NaN());

    EXPECT_TRUE(std::isnan(amplitudeAt(5.0, nothing, kResolution)));
}

TEST(Coherence, IsTheMeanOverTheAmplitudeUpTo1)
{
    EXPECT_FLOAT_EQ(coherence({0.3F, -0.4F}, 1.0F), 0.5F);
    EXPECT_EQ(coherence({2.0F, 0.0F}, 1.0F), 1.0F);
    EXPECT_TRUE(std::isnan(coherence({0.0F, 0.0F}, 0.0F)));
}

// The zeros of each window's transform: the order of its cosines and one more; of the triangle,
// which is a rectangle of half its length twice, two.
TEST(OrderBand, ReachIsTheMainLobeUpToAQuarterOrder)
{
    EXPECT_NEAR(reachOfOrder(Window::Rectangle, 0.01), 0.01, 1e-6);
    EXPECT_NEAR(reachOfOrder(Window::Hanning, 0.01), 0.02, 1e-6);
    EXPECT_NEAR(reachOfOrder(Window::Hamming, 0.01), 0.02, 1e-6);
    EXPECT_NEAR(reachOfOrder(Window::Triangle, 0.01), 0.02, 1e-6);
    EXPECT_NEAR(reachOfOrder(Window::Blackman, 0.01), 0.03, 1e-6);
    EXPECT_NEAR(reachOfOrder(Window::BlackmanHarris, 0.01), 0.04, 1e-6);
    EXPECT_NEAR(reachOfOrder(Window::Flattop, 0.01), 0.05, 1e-6);
    EXPECT_EQ(reachOfOrder(Window::Flattop, 0.1), 0.25);
}

// N Σ w² / (Σ w)² of a0 - a1 cos + ...: (a0² + Σ ak² / 2) / a0².
TEST(OrderBand, NoiseBandwidthsAreThoseOfTheWindows)
{
    EXPECT_DOUBLE_EQ(noiseBandwidth(Window::Rectangle), 1.0);
    EXPECT_DOUBLE_EQ(noiseBandwidth(Window::Hanning), 1.5);
    EXPECT_NEAR(noiseBandwidth(Window::Hamming), 1.0 + 0.5 * std::pow(0.46 / 0.54, 2), 1e-3);
    EXPECT_NEAR(
        noiseBandwidth(Window::Blackman), 1.0 + 0.5 * (0.25 + 0.0064) / std::pow(0.42, 2), 1e-3);
    EXPECT_NEAR(noiseBandwidth(Window::Triangle), 4.0 / 3.0, 1e-12);
}

} // namespace
} // namespace Harmotrack::Host

#include "host/equal_angle_resampler.h"

#include "simulated_shaft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace Harmotrack::Host {
namespace {

constexpr double kRate = 25600.0;
constexpr int kMaxOrder = 50;
constexpr double kPi = std::numbers::pi;

// A run-up of 1:10 in speed, 600 to 6000 rpm in 30 s, and its exact moments of equal angle.
struct RunUp {
    RunUp()
    {
        const EqualAngleKernel resampler(kRate, 2 * kMaxOrder);
        for (std::size_t k = 0;; ++k) {
            const double t = shaft.secondsAt(static_cast<double>(k) / (2.0 * kMaxOrder));
            const double reach = resampler.halfWidthSeconds(shaft.rpmAt(t));
            if (t + reach > 30.0) break;
            if (t < reach) continue;
            turns.push_back(static_cast<double>(k) / (2.0 * kMaxOrder));
            seconds.push_back(t);
            speedRpm.push_back(shaft.rpmAt(t));
        }
    }

    // The component cos(order * angle) of the machine, taken to equal angles.
    [[nodiscard]] std::vector<double> resampled(double order) const
    {
        const UniformSignal signal = sampled(
            kRate, 30.0, [&](double t) { return std::cos(2.0 * kPi * order * shaft.turnsAt(t)); });
        std::vector<double> result(seconds.size());
        const std::span<const double> source = signal.samples;
        const std::span<double> target = result;
        EqualAngleKernel(kRate, 2 * kMaxOrder)
            .resample({&source, 1}, 0.0, 0, seconds, speedRpm, {&target, 1});
        return result;
    }

    SimulatedShaft shaft;
    std::vector<double> turns;
    std::vector<double> seconds;
    std::vector<double> speedRpm;
};

const RunUp& runUp()
{
    static const RunUp instance;
    return instance;
}

class PassedOrder : public testing::TestWithParam<double> {};

// Over blocks of ten turns from the lowest to the highest speed: 0.01 dB is a factor of 1.00115.
TEST_P(PassedOrder, KeepsAmplitudeAndPhaseAtAnySpeed)
{
    const double order = GetParam();
    const std::vector<double> result = runUp().resampled(order);
    constexpr std::size_t kBlock = std::size_t{20} * kMaxOrder;
    for (std::size_t first = 0; first + kBlock <= result.size(); first += kBlock) {
        std::complex<double> value = 0.0;
        for (std::size_t k = first; k < first + kBlock; ++k)
            value += result[k] * std::polar(2.0 / kBlock, -2.0 * kPi * order * runUp().turns[k]);
        ASSERT_NEAR(std::abs(value), 1.0, 1.15e-3) << runUp().speedRpm[first] << " rpm";
        ASSERT_NEAR(std::arg(value) * 180.0 / kPi, 0.0, 0.2) << runUp().speedRpm[first] << " rpm";
    }
}

INSTANTIATE_TEST_SUITE_P(EqualAngleResampler,
                         PassedOrder,
                         testing::Values(0.5, 1.0, 7.0, 25.0, 40.0));

class StoppedOrder : public testing::TestWithParam<double> {};

// Without the cut-off that follows the speed, each would fold to a lower order at full amplitude.
TEST_P(StoppedOrder, ArrivesNinetyDecibelsDownAtAnySpeed)
{
    const std::vector<double> result = runUp().resampled(GetParam());
    for (std::size_t k = 0; k < result.size(); ++k)
        ASSERT_LT(std::abs(result[k]), 3.16e-5) << runUp().speedRpm[k] << " rpm";
}

INSTANTIATE_TEST_SUITE_P(EqualAngleResampler,
                         StoppedOrder,
                         testing::Values(50.0, 51.0, 60.0, 75.0, 99.0, 100.0, 113.0));

// Where the angle domain is the faster one, the source's own Nyquist frequency is the limit: the
// images of 0.45 rate lie at 0.55 rate.
TEST(EqualAngleResampler, ImagesOfTheSourceAreNinetyDecibelsDown)
{
    constexpr double kSourceRate = 1000.0;
    const UniformSignal signal =
        sampled(kSourceRate, 2.0, [](double t) { return std::sin(2.0 * kPi * 449.0 * t); });
    const EqualAngleKernel resampler(kSourceRate, 400); // 20 samples of the result to one
    std::vector<double> seconds;
    seconds.reserve(32000);
    for (int k = 0; k < 32000; ++k) seconds.push_back(0.2 + k / 20011.0);
    const std::vector<double> speeds(seconds.size(), 3000.0);
    std::vector<double> result(seconds.size());
    const std::span<const double> source = signal.samples;
    const std::span<double> target = result;

    resampler.resample({&source, 1}, 0.0, 0, seconds, speeds, {&target, 1});

    for (std::size_t k = 0; k < result.size(); ++k)
        ASSERT_NEAR(result[k], std::sin(2.0 * kPi * 449.0 * seconds[k]), 6e-5);
}

TEST(EqualAngleResampler, SignalsAreResampledAlike)
{
    const UniformSignal one = sampled(1000.0, 1.0, [](double t) { return std::sin(300.0 * t); });
    const UniformSignal two = sampled(1000.0, 1.0, [](double t) { return std::cos(170.0 * t); });
    const EqualAngleKernel resampler(1000.0, 32);
    const std::vector<double> seconds{0.3, 0.4003, 0.55501};
    const std::vector<double> speeds{1500.0, 1510.0, 1520.0};
    const std::vector<std::span<const double>> sources{one.samples, two.samples};
    std::vector<double> first(3);
    std::vector<double> second(3);
    std::vector<double> alone(3);
    const std::vector<std::span<double>> targets{first, second};
    const std::span<double> target = alone;

    resampler.resample(sources, 0.0, 0, seconds, speeds, targets);
    resampler.resample({&sources[1], 1}, 0.0, 0, seconds, speeds, {&target, 1});

    EXPECT_EQ(second, alone);
    EXPECT_NE(first, second);
}

// The start of the signal is only a shift of its times.
TEST(EqualAngleResampler, TimeOfTheFirstSampleShiftsTheResult)
{
    const UniformSignal signal = sampled(1000.0, 1.0, [](double t) { return std::sin(300.0 * t); });
    const EqualAngleKernel resampler(1000.0, 32);
    const std::vector<double> early{0.5};
    const std::vector<double> late{8.5};
    const std::vector<double> speeds{1500.0};
    const std::span<const double> source = signal.samples;
    double atEarly = 0.0;
    double atLate = 0.0;
    const std::span<double> toEarly(&atEarly, 1);
    const std::span<double> toLate(&atLate, 1);
    resampler.resample({&source, 1}, 0.0, 0, early, speeds, {&toEarly, 1});
    resampler.resample({&source, 1}, 8.0, 0, late, speeds, {&toLate, 1});
    EXPECT_NEAR(atEarly, std::sin(150.0), 1e-4);
    EXPECT_DOUBLE_EQ(atEarly, atLate);
}

} // namespace
} // namespace Harmotrack::Host

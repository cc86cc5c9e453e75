#include "host/equal_angle_kernel.h"

#include <boost/math/special_functions/bessel.hpp>
#include <boost/math/special_functions/sinc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace Harmotrack::Host {
namespace {

// Kaiser's rules for a stop band A dB down: beta = 0.1102 (A - 8.7), and a transition of width D
// needs a length of (A - 7.95) / (14.36 D). A = 96 and D = c / 5, from 0.9 c to 1.1 c, make 30.7
// zeros of the sinc on either side.
constexpr double kKaiserBeta = 9.62;
constexpr int kZeros = 31;

// Straight lines between values this close err by (π²/3) / (8 · 512²) = 1.6e-6 at most.
constexpr int kStepsPerZero = 512;

std::vector<double> kernelTable()
{
    std::vector<double> table(static_cast<std::size_t>(kZeros * kStepsPerZero) + 2, 0.0);
    const double scale = 1.0 / boost::math::cyl_bessel_i(0, kKaiserBeta);
    for (std::size_t i = 0; i < table.size(); ++i) {
        const double z = static_cast<double>(i) / kStepsPerZero;
        const double share = z / kZeros;
        if (share >= 1.0) break;
        table[i] = boost::math::sinc_pi(std::numbers::pi * z) * scale *
                   boost::math::cyl_bessel_i(0, kKaiserBeta * std::sqrt(1.0 - share * share));
    }
    return table;
}

// Four sums side by side hide the latency of the additions.
double dot(std::span<const double> weights, const double* x)
{
    std::array<double, 4> sums{};
    std::size_t k = 0;
    for (; k + sums.size() <= weights.size(); k += sums.size())
        for (std::size_t lane = 0; lane < sums.size(); ++lane)
            sums[lane] += weights[k + lane] * x[k + lane];
    for (; k < weights.size(); ++k) sums[0] += weights[k] * x[k];
    return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

} // namespace

EqualAngleKernel::EqualAngleKernel(double rateHz, int samplesPerRevolution)
    : rateHz_(rateHz), samplesPerRevolution_(samplesPerRevolution), kernel_(kernelTable())
{
}

double EqualAngleKernel::cutoffHz(double speedRpm) const
{
    return std::min(0.445 * samplesPerRevolution_ * speedRpm / 60.0, 0.5 * rateHz_);
}

double EqualAngleKernel::halfWidthSeconds(double speedRpm) const
{
    return kZeros / (2.0 * cutoffHz(speedRpm));
}

void EqualAngleKernel::resample(std::span<const std::span<const double>> signals,
                                double startSeconds,
                                long long firstNumber,
                                std::span<const double> seconds,
                                std::span<const double> speedRpm,
                                std::span<const std::span<double>> results) const
{
    const auto begin = static_cast<double>(firstNumber);
    const double end = begin + static_cast<double>(signals.empty() ? 0 : signals.front().size());
    std::vector<double> weights;
    for (std::size_t i = 0; i < seconds.size(); ++i) {
        const double zerosPerSample = 2.0 * cutoffHz(speedRpm[i]) / rateHz_;
        const double reach = kZeros / zerosPerSample;
        const double position = (seconds[i] - startSeconds) * rateHz_;
        const double first = std::max(std::ceil(position - reach), begin);
        const double last = std::min(std::floor(position + reach), end - 1.0);
        const std::size_t taps = last < first ? 0 : static_cast<std::size_t>(last - first) + 1;

        weights.resize(taps);
        const double stepsPerSample = zerosPerSample * kStepsPerZero;
        const double start = (first - position) * stepsPerSample;
        for (std::size_t k = 0; k < taps; ++k) {
            const double at = std::abs(start + static_cast<double>(k) * stepsPerSample);
            const auto cell = static_cast<std::size_t>(at);
            const double share = at - static_cast<double>(cell);
            weights[k] = kernel_[cell] + share * (kernel_[cell + 1] - kernel_[cell]);
        }
        for (std::size_t s = 0; s < signals.size(); ++s) {
            const double* x =
                signals[s].data() + (taps == 0 ? 0 : static_cast<std::size_t>(first - begin));
            results[s][i] = zerosPerSample * dot(weights, x);
        }
    }
}

} // namespace Harmotrack::Host

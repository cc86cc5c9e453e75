#pragma once

#include <cmath>
#include <cstdint>
#include <numbers>
#include <random>
#include <utility>

namespace Harmotrack::Examples {

/// White Gaussian noise of mean 0 and standard deviation 1, two independent values at a time
/// (Box and Muller, 1958).
///
/// The same seed gives the same values with every standard library, to the rounding of log, cos
/// and sin: std::mt19937_64 is prescribed to the bit, std::normal_distribution is not.
class GaussianNoise {
public:
    explicit GaussianNoise(std::uint64_t seed) : generator_(seed) {}

    std::pair<double, double> nextPair()
    {
        const double radius = std::sqrt(-2.0 * std::log(1.0 - uniform()));
        const double angle = 2.0 * std::numbers::pi * uniform();
        return {radius * std::cos(angle), radius * std::sin(angle)};
    }

private:
    /// In [0, 1), every multiple of 2^-53 equally likely.
    double uniform() { return static_cast<double>(generator_() >> 11U) * 0x1p-53; }

    std::mt19937_64 generator_;
};

} // namespace Harmotrack::Examples

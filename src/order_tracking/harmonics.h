#pragma once

#include <cmath>
#include <complex>
#include <cstdint>

namespace Velmora::OrderTracking {

/// Lines that the evaluators search to either side of a harmonic's own.
inline constexpr std::int32_t kEvaluatorHalfWidth = 3;

/// A line turned by an angle in radians, in double, and narrowed to what a host reads.
[[nodiscard]] inline std::complex<float> turned(std::complex<double> line, double angle)
{
    const double c = std::cos(angle);
    const double s = std::sin(angle);
    const double a = line.real();
    const double b = line.imag();
    return {static_cast<float>(a * c - b * s), static_cast<float>(a * s + b * c)};
}

} // namespace Velmora::OrderTracking

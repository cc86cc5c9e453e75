#pragma once

#include "host/signals/uniform_signal.h"

#include <cmath>
#include <cstddef>
#include <functional>
#include <numbers>
#include <vector>

namespace Harmotrack::Host {

/// A shaft whose speed rises or falls evenly from time 0 on, in closed form.
struct SimulatedShaft {
    double startRpm = 600.0;
    double rpmPerSecond = 180.0;

    [[nodiscard]] double rpmAt(double seconds) const { return startRpm + rpmPerSecond * seconds; }

    [[nodiscard]] double turnsAt(double seconds) const
    {
        return (startRpm + 0.5 * rpmPerSecond * seconds) * seconds / 60.0;
    }

    /// The inverse of turnsAt(), from the root of the quadratic that has no cancellation.
    [[nodiscard]] double secondsAt(double turns) const
    {
        const double startHz = startRpm / 60.0;
        const double hzPerSecond = rpmPerSecond / 60.0;
        return 2.0 * turns / (startHz + std::sqrt(startHz * startHz + 2.0 * hzPerSecond * turns));
    }
};

/// Moments from one to another, exclusive, in equal steps.
inline std::vector<double> moments(double from, double to, double step)
{
    std::vector<double> result;
    result.reserve(static_cast<std::size_t>((to - from) / step) + 1);
    for (int k = 0; from + k * step < to; ++k) result.push_back(from + k * step);
    return result;
}

/// Samples of a function of time.
inline UniformSignal
sampled(double rateHz, double seconds, const std::function<double(double)>& value)
{
    UniformSignal signal;
    signal.rateHz = rateHz;
    signal.samples.resize(static_cast<std::size_t>(std::lround(seconds * rateHz)));
    for (std::size_t k = 0; k < signal.samples.size(); ++k)
        signal.samples[k] = value(static_cast<double>(k) / rateHz);
    return signal;
}

/// One smooth pulse a turn, of height 1: exp(s (cos(2π turns) - 1)). It crosses the level halfway
/// between its extremes, (1 + exp(-2 s)) / 2, on the way up at pulseOffset() turns.
struct SmoothPulse {
    static constexpr double kSharpness = 12.0;

    static double at(double turns)
    {
        return std::exp(kSharpness * (std::cos(2.0 * std::numbers::pi * turns) - 1.0));
    }

    static double level() { return 0.5 * (1.0 + std::exp(-2.0 * kSharpness)); }

    static double offset()
    {
        return 1.0 - std::acos(1.0 + std::log(level()) / kSharpness) / (2.0 * std::numbers::pi);
    }
};

} // namespace Harmotrack::Host

#include "host/tachometer.h"

#include "host/host_error.h"

#include <boost/math/interpolators/barycentric_rational.hpp>
#include <boost/math/tools/roots.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <utility>

namespace Harmotrack::Host {
namespace {

struct Levels {
    double low = 0.0;
    double high = 0.0;
};

// The lower quartile of the minima of 16 stretches and the upper quartile of their maxima: a spike
// or a stretch without pulses does not move them.
Levels typicalLevels(std::span<const double> samples)
{
    constexpr std::size_t kStretches = 16;
    const std::size_t stretches = std::min(kStretches, samples.size());
    std::vector<double> lows;
    std::vector<double> highs;
    for (std::size_t i = 0; i < stretches; ++i) {
        const std::size_t first = samples.size() * i / stretches;
        const std::size_t last = samples.size() * (i + 1) / stretches;
        const auto stretch = samples.subspan(first, last - first);
        const auto [low, high] = std::minmax_element(stretch.begin(), stretch.end());
        lows.push_back(*low);
        highs.push_back(*high);
    }
    std::sort(lows.begin(), lows.end());
    std::sort(highs.begin(), highs.end());
    return {lows[lows.size() / 4], highs[highs.size() - 1 - highs.size() / 4]};
}

// The instant, in samples, at which the signal passes the level between sample `before` and the
// next one, which lie on either side of it.
double crossingPosition(std::span<const double> samples, std::size_t before, double level)
{
    constexpr std::size_t kPoints = 6;
    const double below = samples[before] - level;
    const double above = samples[before + 1] - level;
    if (below == 0.0) return static_cast<double>(before);
    if (above == 0.0) return static_cast<double>(before + 1);
    if (samples.size() < kPoints) return static_cast<double>(before) + below / (below - above);

    const std::size_t first =
        std::min(before - std::min<std::size_t>(before, kPoints / 2 - 1), samples.size() - kPoints);
    const auto origin = static_cast<double>(first);
    std::array<double, kPoints> x{};
    std::array<double, kPoints> y{};
    for (std::size_t i = 0; i < kPoints; ++i) {
        x[i] = static_cast<double>(i);
        y[i] = samples[first + i] - level;
    }
    const boost::math::barycentric_rational<double> polynomial(
        x.data(), y.data(), kPoints, kPoints - 1);
    const double from = static_cast<double>(before) - origin;
    std::uintmax_t iterations = 60;
    const auto [left, right] =
        boost::math::tools::toms748_solve([&](double position) { return polynomial(position); },
                                          from,
                                          from + 1.0,
                                          below,
                                          above,
                                          boost::math::tools::eps_tolerance<double>(40),
                                          iterations);
    return origin + 0.5 * (left + right);
}

} // namespace

Tachometer::Tachometer(TachometerSettings settings) : settings_(std::move(settings))
{
    if (!(settings_.hysteresisPercent >= 0.0 && settings_.hysteresisPercent <= 45.0))
        throw HostError("The tacho hysteresis is " + numberText(settings_.hysteresisPercent) +
                        " %, and 0 to 45 % of the pulses' height are allowed.");
    if (settings_.level && !std::isfinite(*settings_.level))
        throw HostError("The tacho level is " + numberText(*settings_.level) +
                        ", and it must be a finite number.");
}

std::vector<double> Tachometer::pulseTimes(const UniformSignal& channel) const
{
    std::span<const double> samples = channel.samples;
    const auto bad = std::find_if(
        samples.begin(), samples.end(), [](double value) { return !std::isfinite(value); });
    if (bad != samples.end())
        throw HostError(settings_.name + " holds a value that is not a finite number at " +
                        numberText(channel.startSeconds +
                                   static_cast<double>(bad - samples.begin()) / channel.rateHz) +
                        " s.");
    if (samples.empty()) throw HostError(settings_.name + " has no samples.");

    // A falling flank is a rising one of the signal upside down.
    std::vector<double> mirrored;
    if (settings_.edge == Edge::Falling) {
        mirrored.resize(samples.size());
        std::transform(samples.begin(), samples.end(), mirrored.begin(), std::negate<>());
        samples = mirrored;
    }
    const Levels levels = typicalLevels(samples);
    const double height = levels.high - levels.low;
    const double sign = settings_.edge == Edge::Falling ? -1.0 : 1.0;
    const double level =
        settings_.level ? sign * *settings_.level : 0.5 * (levels.low + levels.high);
    const double margin = settings_.hysteresisPercent / 100.0 * height;

    std::vector<double> times;
    bool armed = false;
    std::size_t crossing = 0;
    for (std::size_t i = 0; i < samples.size() && height > 0.0; ++i) {
        if (samples[i] < level - margin || (margin == 0.0 && samples[i] < level)) armed = true;
        if (i == 0 || !armed) continue;
        if (samples[i - 1] < level && samples[i] >= level) crossing = i - 1;
        if (samples[i] >= level + margin) {
            times.push_back(channel.startSeconds +
                            crossingPosition(samples, crossing, level) / channel.rateHz);
            armed = false;
        }
    }
    if (times.empty()) {
        const auto [low, high] =
            std::minmax_element(channel.samples.begin(), channel.samples.end());
        throw HostError(settings_.name + " shows no pulses: its values stay between " +
                        numberText(*low) + " and " + numberText(*high) + ", and a pulse crosses " +
                        numberText(sign * level) + " by " + numberText(margin) +
                        " on either side.");
    }
    return times;
}

} // namespace Harmotrack::Host

#include "host/analysis_run.h"

#include "host/analysis_session.h"
#include "host/equal_angle_axis.h"
#include "host/equal_angle_resampler.h"
#include "host/host_error.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>
#include <utility>

namespace Harmotrack::Host {
namespace {

// The share of the sampling rate that the resampling passes untouched.
constexpr double kPassedShareOfRate = 0.45;

void checkSignals(std::span<const UniformSignal> signals, const AnalysisSettings& settings)
{
    if (signals.empty() || signals.size() > 2)
        throw HostError("The number of signals is " + std::to_string(signals.size()) +
                        ", and 1 or 2 are allowed.");
    if (settings.twoSided && signals.size() != 2)
        throw HostError("Two-sided results need two signals, and there is one.");
    const UniformSignal& first = signals.front();
    for (std::size_t s = 0; s < signals.size(); ++s) {
        const UniformSignal& signal = signals[s];
        if (!(signal.rateHz > 0.0) || !std::isfinite(signal.rateHz))
            throw HostError("The sampling rate is " + numberText(signal.rateHz) +
                            " Hz, and it must be above 0.");
        if (signal.samples.size() != first.samples.size() || signal.rateHz != first.rateHz ||
            signal.startSeconds != first.startSeconds)
            throw HostError("The two signals differ in start, rate or length, and they must be "
                            "sampled together.");
        const auto bad = std::find_if(signal.samples.begin(),
                                      signal.samples.end(),
                                      [](double value) { return !std::isfinite(value); });
        if (bad != signal.samples.end())
            throw HostError(
                "Signal " + std::to_string(s + 1) +
                " holds a value that is not a finite number at " +
                numberText(signal.startSeconds +
                           static_cast<double>(bad - signal.samples.begin()) / signal.rateHz) +
                " s.");
    }
}

// The moments of equal angle whose kernels lie inside the recording.
EqualAngleAxis resampledAxis(const ShaftAngle& angle,
                             const UniformSignal& signal,
                             const EqualAngleResampler& resampler,
                             const AnalysisSettings& settings)
{
    EqualAngleAxis axis =
        equalAngleAxis(angle, 2 * settings.maxOrder(), signal.startSeconds, signal.endSeconds());
    std::size_t first = 0;
    std::size_t last = axis.size();
    while (first < last && axis.seconds[first] - resampler.halfWidthSeconds(axis.speedRpm[first]) <
                               signal.startSeconds)
        ++first;
    while (last > first &&
           axis.seconds[last - 1] + resampler.halfWidthSeconds(axis.speedRpm[last - 1]) >
               signal.endSeconds())
        --last;
    const auto cut = [&](std::vector<double>& values) {
        values.erase(values.begin() + static_cast<std::ptrdiff_t>(last), values.end());
        values.erase(values.begin(), values.begin() + static_cast<std::ptrdiff_t>(first));
    };
    cut(axis.seconds);
    cut(axis.speedRpm);
    axis.firstStep += static_cast<long long>(first);

    const double revolutions = static_cast<double>(axis.size()) / axis.samplesPerRevolution;
    const double needed = 1.0 / settings.orderResolution;
    if (axis.size() <= static_cast<std::size_t>(settings.orderBlockSamples()))
        throw HostError("The recording has " + numberText(revolutions) +
                        " revolutions with known angle and complete samples, and a block of order "
                        "resolution " +
                        numberText(settings.orderResolution) + " needs more than " +
                        numberText(needed) + ".");
    return axis;
}

void checkReach(const EqualAngleAxis& axis, double rateHz, const AnalysisSettings& settings)
{
    const double fastest = *std::max_element(axis.speedRpm.begin(), axis.speedRpm.end()) / 60.0;
    const double reach = kPassedShareOfRate * rateHz;
    if (settings.highestOrder * fastest > reach * (1.0 + 1e-9))
        throw HostError("Order " + numberText(settings.highestOrder) + " is " +
                        numberText(settings.highestOrder * fastest) + " Hz at " +
                        numberText(60.0 * fastest) + " rpm, above 45 % of the sampling rate of " +
                        numberText(rateHz) + " Hz; the highest order possible is " +
                        numberText(std::floor(reach / fastest * 10.0) / 10.0) + ".");
}

} // namespace

AnalysisRun::AnalysisRun(AnalysisSettings settings) : settings_(std::move(settings))
{
    settings_.validate();
}

AnalysisResults AnalysisRun::run(std::span<const UniformSignal> signals,
                                 const ShaftAngle& angle,
                                 const Progress& progress) const
{
    checkSignals(signals, settings_);
    const EqualAngleResampler resampler(signals.front().rateHz, 2 * settings_.maxOrder());
    const EqualAngleAxis axis = resampledAxis(angle, signals.front(), resampler, settings_);
    checkReach(axis, signals.front().rateHz, settings_);
    AnalysisSession session(settings_, signals, axis, resampler);
    session.walk(progress);
    return session.results();
}

} // namespace Harmotrack::Host

#include "defaults.h"

#include "number_text.h"

#include "host/equal_angle/axis.h"
#include "host/host_error.h"
#include "host/shaft/shaft_angle.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>

namespace Harmotrack::Examples {
namespace {

using Host::HostError;

// What is asked for must be a number that a float of the library's records can hold.
double checked(double value, const char* option)
{
    if (!std::isfinite(value) || std::abs(value) > 1e9)
        throw HostError("The value of " + std::string(option) + " is " + Host::numberText(value) +
                        ", and it must be a number up to 1e9.");
    return value;
}

struct SpeedRange {
    double lowest;
    double highest;

    [[nodiscard]] bool isSteady() const { return highest - lowest < 0.05 * highest; }
};

// Round figures, with room for the speed of single blocks to either side.
void chooseOneBin(const SpeedRange& range, Host::AnalysisSettings& s)
{
    const double unit = roundStep(0.0001 * range.highest);
    const double least = roundStep(0.01 * range.highest);
    s.minRpm = std::nearbyint(0.5 * (range.lowest + range.highest) / unit) * unit;
    s.maxRpm = s.minRpm;
    s.stepRpm = least * std::ceil(std::max(1.1 * (range.highest - range.lowest) / least, 1.0));
}

void chooseSpeedAxis(const SpeedRange& range, const Options& options, Host::AnalysisSettings& s)
{
    constexpr double kSteps = 80.0;
    if (range.isSteady() && !options.minRpm && !options.maxRpm && !options.stepRpm) {
        chooseOneBin(range, s);
        return;
    }
    const double from = options.minRpm ? checked(*options.minRpm, "--min-rpm") : range.lowest;
    const double to = options.maxRpm ? checked(*options.maxRpm, "--max-rpm") : range.highest;
    // A steady machine gets steps of a thousandth of its speed.
    const double span = std::max(to - from, 0.001 * range.highest * kSteps);
    s.stepRpm =
        options.stepRpm ? checked(*options.stepRpm, "--rpm-step") : roundStep(span / kSteps);
    s.minRpm = options.minRpm ? from : std::max(std::nearbyint(from / s.stepRpm), 0.0) * s.stepRpm;
    s.maxRpm = options.maxRpm ? to : std::nearbyint(to / s.stepRpm) * s.stepRpm;
    if (!options.minRpm && !options.maxRpm) s.maxRpm = std::max(s.maxRpm, s.minRpm);
}

double highestOrderFor(double highestRpm, double rateHz)
{
    constexpr double kUsual = 40.0;
    const double reach = 0.45 * rateHz * 60.0 / highestRpm;
    const double sure = 0.99 * reach; // the run sees the speed at closer steps
    const double allowed =
        std::min(kUsual, sure >= 2.0 ? std::floor(sure) : std::floor(10.0 * sure) / 10.0);
    if (allowed < 1.0)
        throw HostError("Order 1 is " + Host::numberText(highestRpm / 60.0) +
                        " Hz at the highest speed, above 45 % of the sampling rate of " +
                        Host::numberText(rateHz) + " Hz.");
    return allowed;
}

double resolutionFor(double turns)
{
    if (turns >= 50.0) return 0.1;
    return turns >= 25.0 ? 0.2 : 0.5;
}

// Of the recorded part of the shaft's rotation.
SpeedRange speedRange(const Recording& recording)
{
    const Host::UniformSignal& signal = recording.signals.front();
    SpeedRange range{std::numeric_limits<double>::infinity(), 0.0};
    for (const Host::ShaftAngle& segment : Host::ShaftAngle::segmentsOf(recording.knots)) {
        for (const Host::EqualAngleStep& step :
             Host::equalAngleSteps(segment, 16, signal.startSeconds, signal.endSeconds())) {
            range.lowest = std::min(range.lowest, step.speedRpm);
            range.highest = std::max(range.highest, step.speedRpm);
        }
    }
    if (!(range.highest > 0.0))
        throw HostError("The recording holds less than two revolutions with a known angle.");
    return range;
}

} // namespace

Host::AnalysisSettings settingsFor(const Recording& recording, const Options& options)
{
    Host::AnalysisSettings settings = options.settings;
    const Host::UniformSignal& signal = recording.signals.front();
    const SpeedRange range = speedRange(recording);

    chooseSpeedAxis(range, options, settings);
    settings.highestOrder = options.highestOrder ? *options.highestOrder
                                                 : highestOrderFor(range.highest, signal.rateHz);
    settings.orderResolution =
        options.orderResolution ? *options.orderResolution : resolutionFor(recording.turns());
    settings.harmonics.clear();
    for (const double order : options.harmonics)
        settings.harmonics.push_back(static_cast<float>(checked(order, "--harmonics")));
    for (double order = 1.0; options.harmonics.empty() && order <= 4.0; ++order) {
        if (order <= settings.highestOrder) settings.harmonics.push_back(static_cast<float>(order));
    }
    settings.blockMode = options.blockMode.value_or(range.isSteady() ? Host::BlockMode::Contiguous
                                                                     : Host::BlockMode::AtCrossing);
    settings.phaseMode = options.phaseMode.value_or(
        recording.hasMark ? Host::PhaseMode::Shaft : Host::PhaseMode::FirstOrder);
    settings.twoSided = options.orbit;
    settings.validate();
    return settings;
}

} // namespace Harmotrack::Examples

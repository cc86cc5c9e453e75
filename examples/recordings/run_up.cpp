#include "run_up.h"

#include <cmath>
#include <numbers>
#include <sstream>
#include <stdexcept>

namespace Harmotrack::Examples {

namespace {

constexpr double kPi = std::numbers::pi;

/// Samples a turn that carry the tacho's harmonics and the gear mesh with room to spare.
constexpr double kLeastSamplesPerTurn = 100.0;

std::complex<double> phasor(double amplitude, double phaseDeg)
{
    return std::polar(amplitude, phaseDeg * kPi / 180.0);
}

/// Displacement of a single-degree-of-freedom rotor over its eccentricity.
std::complex<double> unbalanceResponse(const Resonance& resonance, double rpm)
{
    const double r = rpm / resonance.naturalRpm;
    return r * r / std::complex<double>(1.0 - r * r, 2.0 * resonance.dampingRatio * r);
}

bool isWithin(double value, double least, double most)
{
    return value >= least && value <= most; // false for NaN
}

std::string outOfRange(const char* name, double value, double least, double most)
{
    std::ostringstream sentence;
    sentence << name << " is " << value << ", allowed is " << least << " to " << most << '.';
    return sentence.str();
}

} // namespace

std::string complaint(const RunUpSettings& settings)
{
    const auto& s = settings;
    if (!isWithin(s.durationSeconds, 0.1, 3600.0))
        return outOfRange("The duration in seconds", s.durationSeconds, 0.1, 3600.0);
    if (!isWithin(s.rateHz, 1000.0, 655350.0))
        return outOfRange("The sample rate in Hz", s.rateHz, 1000.0, 655350.0);
    const double mostRpm = 60.0 * s.rateHz / kLeastSamplesPerTurn;
    if (!isWithin(s.startRpm, 1.0, mostRpm))
        return outOfRange("The speed at the start in rpm", s.startRpm, 1.0, mostRpm);
    if (!isWithin(s.endRpm, 1.0, mostRpm))
        return outOfRange("The speed at the end in rpm", s.endRpm, 1.0, mostRpm);
    if (!isWithin(s.noiseRms, 0.0, RunUp::kFullScaleVibration))
        return outOfRange("The noise in mm/s", s.noiseRms, 0.0, RunUp::kFullScaleVibration);
    if ((s.startRpm + s.endRpm) / 120.0 * s.durationSeconds < 2.0)
        return "The recording would hold less than two turns of the shaft.";
    return {};
}

Orbit unbalanceOrbit(double rpm)
{
    const double velocity = rpm * kPi / 30.0 * kUnbalance.eccentricityMm;
    const auto inX = phasor(velocity, kUnbalance.heavySpotDeg + 90.0);
    const auto inY = phasor(velocity, kUnbalance.heavySpotDeg);
    return {inX * unbalanceResponse(kUnbalance.x, rpm), inY * unbalanceResponse(kUnbalance.y, rpm)};
}

Orbit whirlOrbit(const Whirl& whirl, double rpm)
{
    const double growth = rpm / kWhirlReferenceRpm;
    const auto forward = growth * phasor(whirl.forward.amplitude, whirl.forward.phaseDeg);
    const auto backward =
        std::conj(growth * phasor(whirl.backward.amplitude, whirl.backward.phaseDeg));
    return {forward + backward, std::complex<double>(0.0, -1.0) * (forward - backward)};
}

double tachoPulse(double turns)
{
    constexpr double k = RunUp::kTachoSharpness;
    static const double kPeakRad =
        std::acos(1.0 - std::log(RunUp::kTachoPeak / RunUp::kTachoLevel) / k);
    return RunUp::kTachoPeak * std::exp(k * (std::cos(2.0 * kPi * turns - kPeakRad) - 1.0));
}

RunUp::RunUp(const RunUpSettings& settings) : settings_(settings), noise_(settings.seed)
{
    if (const auto sentence = complaint(settings); !sentence.empty())
        throw std::invalid_argument(sentence);
}

std::int64_t RunUp::sampleCount() const
{
    return std::llround(settings_.durationSeconds * settings_.rateHz);
}

double RunUp::rpm(double timeSeconds) const
{
    const double slope = (settings_.endRpm - settings_.startRpm) / settings_.durationSeconds;
    return settings_.startRpm + slope * timeSeconds;
}

double RunUp::turns(double timeSeconds) const
{
    const double meanRpm = 0.5 * (settings_.startRpm + rpm(timeSeconds));
    return kStartTurns + meanRpm / 60.0 * timeSeconds;
}

std::int64_t RunUp::markCount() const
{
    const double last = static_cast<double>(sampleCount() - 1) / settings_.rateHz;
    return static_cast<std::int64_t>(std::floor(turns(last))) + 1;
}

double RunUp::markTime(std::int64_t mark) const
{
    // The root of turns(t) = mark in the form that loses no digits and knows no special case at
    // constant speed.
    const double f0 = settings_.startRpm / 60.0;
    const double slope = (settings_.endRpm - settings_.startRpm) / 60.0 / settings_.durationSeconds;
    const double travelled = static_cast<double>(mark) - kStartTurns;
    return 2.0 * travelled / (f0 + std::sqrt(f0 * f0 + 2.0 * slope * travelled));
}

RunUpSample RunUp::vibration(double timeSeconds) const
{
    const double speed = rpm(timeSeconds);
    const double turned = turns(timeSeconds);
    RunUpSample sample{0.0, 0.0, tachoPulse(turned)};
    const auto add = [&](double order, const Orbit& orbit) {
        const auto turning = std::polar(1.0, 2.0 * kPi * order * turned);
        sample.x += (orbit.x * turning).real();
        sample.y += (orbit.y * turning).real();
    };
    add(1.0, unbalanceOrbit(speed));
    for (const Whirl& whirl : kWhirls) add(whirl.order, whirlOrbit(whirl, speed));
    return sample;
}

RunUpSample RunUp::next()
{
    RunUpSample sample = vibration(static_cast<double>(nextSample_) / settings_.rateHz);
    ++nextSample_;
    const auto [noiseX, noiseY] = noise_.nextPair();
    sample.x += settings_.noiseRms * noiseX;
    sample.y += settings_.noiseRms * noiseY;
    return sample;
}

} // namespace Harmotrack::Examples

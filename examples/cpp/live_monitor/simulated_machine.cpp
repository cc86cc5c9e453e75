#include "simulated_machine.h"

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>

namespace Harmotrack::Examples {
namespace {

constexpr double kTwoPi = 2.0 * std::numbers::pi;

struct Component {
    double order;
    double amplitude; // mm/s, far below the resonance
};

constexpr Component kComponents[] = {{1.0, 2.0}, {2.0, 1.2}, {3.5, 0.8}};

// Response of a mass on a spring, resonant at 75 Hz with a damping of 5 %.
std::complex<double> responseAt(double frequencyHz)
{
    const double ratio = frequencyHz / 75.0;
    return 1.0 / std::complex<double>(1.0 - ratio * ratio, 2.0 * 0.05 * ratio);
}

} // namespace

SimulatedMachine::SimulatedMachine(double rateHz) : rateHz_(rateHz) {}

double SimulatedMachine::speedRpm() const
{
    constexpr double kPeriodSeconds = 40.0;
    return 1950.0 - 1050.0 * std::cos(kTwoPi * seconds_ / kPeriodSeconds);
}

SimulatedMachine::Chunk SimulatedMachine::next(std::size_t n)
{
    // The speed hardly changes within a chunk, and with it the response.
    const double speedHz = speedRpm() / 60.0;
    std::vector<std::complex<double>> amplitudes;
    for (const Component& component : kComponents)
        amplitudes.push_back(component.amplitude * responseAt(component.order * speedHz));

    Chunk chunk;
    for (std::size_t k = 0; k < n; ++k) {
        seconds_ += 1.0 / rateHz_;
        turns_ += speedRpm() / 60.0 / rateHz_;
        double value = noise_(random_);
        for (std::size_t c = 0; c < amplitudes.size(); ++c)
            value +=
                (amplitudes[c] * std::polar(1.0, kTwoPi * kComponents[c].order * turns_)).real();
        chunk.vibration.push_back(value);
        chunk.tacho.push_back(5.0 * std::exp(20.0 * (std::cos(kTwoPi * turns_) - 1.0)));
    }
    return chunk;
}

} // namespace Harmotrack::Examples

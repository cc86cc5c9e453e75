#pragma once

#include <cstdint>
#include <random>
#include <vector>

namespace Harmotrack::Examples {

/// A machine that runs up and down for ever, from 900 to 3000 rpm and back in 40 s: a vibration of
/// orders 1, 2 and 3.5, with a resonance at 75 Hz and noise, and a tacho of one pulse a turn.
class SimulatedMachine {
public:
    explicit SimulatedMachine(double rateHz);

    struct Chunk {
        std::vector<double> vibration; ///< shape (n), mm/s
        std::vector<double> tacho;     ///< shape (n), V
    };

    /// The next n samples.
    Chunk next(std::size_t n);

    /// Speed of the newest sample, rpm.
    [[nodiscard]] double speedRpm() const;

private:
    double rateHz_;
    double seconds_ = 0.0;
    double turns_ = 0.0;
    std::mt19937 random_{1};
    std::normal_distribution<double> noise_{0.0, 0.2};
};

} // namespace Harmotrack::Examples

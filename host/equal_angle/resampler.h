#pragma once

#include "host/equal_angle/axis.h"
#include "host/equal_angle/kernel.h"

#include <cstddef>
#include <deque>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// Samples at equal steps of angle.
struct EqualAngleSamples {
    std::vector<EqualAngleStep> steps;       ///< shape (n)
    std::vector<std::vector<double>> values; ///< shape (channels, n), in the channels' unit
};

/// Takes channels of samples at equal times to the equal steps of a shaft's angle, as both come.
///
/// What the result holds and what it can't hold stands at EqualAngleKernel: with M the Nyquist
/// order, half the samples per revolution,
///
///     up to 0.8 · M and 0.45 · rate   amplitude within 0.01 dB, phase within 0.2 degrees
///     from M on, and images           at least 90 dB down, whatever the speed
///
/// A step comes out once the samples that it needs are there. It is left out, and the next one
/// begins a segment, if they were never measured: before the first sample, behind the last one, or
/// where they were let go. What comes out does not depend on how samples and steps were split. It
/// is computed in single precision, so a sample's magnitude is below 3e38, and the rounding is
/// about 1e-7 of the signal; samples() gives what was fed.
///
/// Memory: twice the samples from the oldest step that waits (or keepFrom()) on. One thread at a
/// time.
class EqualAngleResampler {
public:
    /// @param rateHz                of the channels, above 0
    /// @param startSeconds          time of the first sample
    /// @param channels              1 or more
    /// @param samplesPerRevolution  of the result, above 0
    EqualAngleResampler(double rateHz,
                        double startSeconds,
                        std::size_t channels,
                        int samplesPerRevolution);

    /// @param samples  one span a channel, of equal length
    void feed(std::span<const std::span<const double>> samples);

    /// @param steps  in the order of time, also from call to call
    void request(std::span<const EqualAngleStep> steps);

    /// What can be had by now and was not taken yet.
    EqualAngleSamples take();

    /// No more samples come: steps that still wait for some are given up.
    void finish();

    /// Steps to come are later than this time, and the caller needs no samples before it: what
    /// neither they nor steps that wait reach back to may go. Until the first call all are kept.
    void keepFrom(double seconds);

    /// Number of the next sample, counted from 0.
    [[nodiscard]] long long written() const { return source_.written(); }

    /// Time of the next sample.
    [[nodiscard]] double endSeconds() const
    {
        return startSeconds_ + static_cast<double>(source_.written()) / source_.rateHz;
    }

    /// Number of the oldest sample that is kept.
    [[nodiscard]] long long oldest() const { return source_.first; }

    /// Kept samples of a channel, from number `from` on.
    [[nodiscard]] std::span<const double> samples(std::size_t channel, long long from) const;

private:
    // The channels at one rate.
    template <typename Value>
    struct Level {
        double rateHz = 0.0;
        long long first = 0;                    ///< number of the first sample that is kept
        std::vector<std::vector<Value>> values; ///< shape (channels, samples)

        [[nodiscard]] long long written() const
        {
            return first + static_cast<long long>(values.front().size());
        }

        void forget(double before);
    };

    // Which samples a step is taken from.
    struct Place {
        EqualAngleKernel::Weights weights;
        std::size_t level = 0; ///< halvings of their rate
        std::size_t begin = 0; ///< index of the first
    };

    bool addHalved(std::size_t halvings);
    std::size_t takePlaces(std::span<Place> places, std::vector<EqualAngleStep>& steps);

    EqualAngleKernel kernel_;
    double startSeconds_;
    Level<double> source_;
    std::vector<Level<float>> levels_; ///< by the halvings of the rate, from 0
    std::deque<EqualAngleStep> waiting_;
    double lastSpeedRpm_ = 0.0; ///< of the steps requested
    bool finished_ = false;
    bool interrupted_ = false; ///< the next step that comes out begins a segment
};

} // namespace Harmotrack::Host

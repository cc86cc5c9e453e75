#pragma once

#include <cstdint>
#include <vector>

namespace Harmotrack::Host {

/// What a TrackingRun looks for.
struct TrackingSettings {
    // The range of speeds that is searched; tracking ends where the machine leaves it.
    double minRpm = 0.0;
    double maxRpm = 0.0;

    /// Orders that the machine really shows: at least two, none twice, without a common divisor
    /// above 1. One order alone is as well explained by half the speed, and {2, 4} by {1, 2} at
    /// twice the speed.
    std::vector<float> orders;

    /// Length of the blocks; 0 chooses it: two turns at minRpm, or what 125 to 256 samples of a
    /// rate that suits the orders allow. Shorter blocks follow faster changes, longer ones stand
    /// more noise.
    double blockSeconds = 0.0;

    /// The share of a block's energy that the orders must explain at least for an estimate to be
    /// valid, 0 to 1.
    double leastExplained = 0.1;

    /// @param rateHz  of the signal to be tracked
    /// @throws HostError  a field is out of range; the sentence names it, its value and the range
    void validate(double rateHz) const;
};

/// How a signal is cut into blocks for the tracker.
///
/// The host low-passes and decimates by itself, to a rate of 3 to 8 times the highest tracked
/// frequency, so that a block has about 125 samples or more, and that the tracker's own decimator,
/// whose filter is short, never runs: stamps are then exact, and every block can have a gain of its
/// own.
struct TrackingPlan {
    std::int32_t decimation = 1;
    double rateHz = 0.0; ///< after decimation
    std::int32_t blockSamples = 0;
    std::int32_t hopSamples = 0;
    double stepHz = 0.0; ///< of the candidates of a search: a quarter of the width of the peak that
                         ///< the highest order makes

    [[nodiscard]] double blockSeconds() const { return blockSamples / rateHz; }
};

/// @param settings  validated for this rate
TrackingPlan planFor(const TrackingSettings& settings, double rateHz);

} // namespace Harmotrack::Host

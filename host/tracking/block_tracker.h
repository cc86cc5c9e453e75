#pragma once

#include "host/tracking/tracking_settings.h"

#include <harmotrack/harmotrack.hpp>

#include <optional>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// The library's tracker, handed one block at a time: each is a delivery of its own, and for the
/// tracker the blocks do not overlap.
///
/// The tracker's likelihood is the energy that a candidate leaves over, to a power of about -N / 2,
/// in a double. So each block comes at a gain of its own, which changes no winner: its energy is
/// set so high that the worst candidate just stays above the smallest double, and white noise 40 dB
/// below the block is added, so that even the best candidate of a signal without noise stays below
/// infinity.
///
/// The step and the tolerance of the tracker's search are in a fixed proportion, times the lowest
/// speed in rpm. The tracker is therefore told a rate that makes the lowest speed 600 rpm, whatever
/// the machine: its steps are then refined to a 286th.
class BlockTracker {
public:
    /// @param settings  validated
    BlockTracker(const TrackingSettings& settings, const TrackingPlan& plan);

    /// The next block is searched over the whole range, as at the start.
    void searchAll();

    /// The next block is searched round a speed.
    void continueFrom(double rpm);

    /// The speed in a block, rpm; nothing if the tracker found no candidate.
    /// @param block  shape (blockSamples), with some energy
    std::optional<double> track(std::span<const double> block);

private:
    void scale(std::span<const double> block);
    std::optional<double> search();

    double timeScale_;
    double targetEnergy_;
    std::vector<double> noise_;  ///< energy 1e-4
    std::vector<double> scaled_; ///< the block as the tracker gets it
    double former_ = 0.0;        ///< what a failed search returns, as the tracker gives it
    bool found_ = false;         ///< an estimate, or a start, since the last searchAll()
    Autotracker tracker_;
};

} // namespace Harmotrack::Host

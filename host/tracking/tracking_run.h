#pragma once

#include "host/shaft/angle_knot.h"
#include "host/signals/low_pass_decimator.h"
#include "host/signals/uniform_signal.h"
#include "host/tracking/speed_follower.h"
#include "host/tracking/tracking_settings.h"

#include <cstdint>
#include <functional>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// A time without a valid estimate, from the middle of its first block to that of its last.
struct LostStretch {
    double fromSeconds = 0.0;
    double toSeconds = 0.0;
};

/// The speed of a whole recording, one estimate a block, in order of time.
struct TrackedSpeed {
    std::vector<SpeedEstimate> estimates;

    /// Share of the estimates that are valid.
    [[nodiscard]] double validShare() const;

    /// Where the machine was lost, or was never found.
    [[nodiscard]] std::vector<LostStretch> lost() const;

    /// The shaft as the valid estimates tell it: a SpeedProfile of them. Where no estimate is valid
    /// for longer than `longestGapSeconds`, the shaft is unknown, and its angle begins anew.
    /// @throws HostError  no stretch has two valid estimates
    [[nodiscard]] std::vector<AngleKnot> knots(double longestGapSeconds) const;
};

/// Tracks the speed of a machine in one of its signals, without a tachometer.
///
///     samples -> LowPassDecimator -> blocks, half overlapping -> SpeedFollower -> SpeedEstimate
///
/// Chunks of any size go in; each gives the estimates of the blocks that it completes, and how a
/// signal is cut into chunks changes none of them. A block's time is that of its middle: nothing is
/// late or early. An estimate is valid if it is good (see SpeedFollower) and stands in a row of at
/// least three good ones that follow each other without a jump; so the first two of a row, which
/// only prove themselves later, are not. trackSpeed() knows the future and gives them too.
///
/// An object serves one thread at a time; several may run in parallel.
class TrackingRun {
public:
    /// @param rateHz        of the samples to come
    /// @param startSeconds  time of the first one
    /// @throws HostError    the settings are out of range
    TrackingRun(const TrackingSettings& settings, double rateHz, double startSeconds = 0.0);

    /// @throws HostError  a sample is not finite; then none of the chunk was taken
    std::vector<SpeedEstimate> push(std::span<const double> samples);

    [[nodiscard]] const TrackingPlan& plan() const { return plan_; }

private:
    TrackingSettings settings_;
    TrackingPlan plan_;
    double rateHz_;
    double startSeconds_;
    std::size_t taken_ = 0; ///< samples
    LowPassDecimator decimator_;
    SpeedFollower follower_;
    std::vector<double> pending_; ///< decimated samples from the start of the next block on
    std::size_t blocks_ = 0;
    SpeedEstimate last_; ///< the latest one; valid says that it was good
    int row_ = 0;        ///< good estimates in a row
};

/// Tracks a whole recording: forward; then from the most certain stretch of that, the row of good
/// estimates with the greatest sum of explained shares, backward and forward as far as the machine
/// can be followed by a tracker that knows it. What lies beyond is treated likewise, part by part.
/// Good estimates count if three of them stand in a row.
///
/// @param progress  called now and then with the share that is done; an exception thrown there
///                  ends the tracking and reaches the caller
/// @throws HostError  settings out of range, a sample that is not finite, a signal shorter than a
///                    block
TrackedSpeed trackSpeed(const TrackingSettings& settings,
                        const UniformSignal& signal,
                        const std::function<void(double)>& progress = {});

} // namespace Harmotrack::Host

#pragma once

#include "host/tracking/block_tracker.h"
#include "host/tracking/order_fit.h"
#include "host/tracking/tracking_settings.h"

#include <span>
#include <vector>

namespace Harmotrack::Host {

/// What one block of a signal tells about the speed.
struct SpeedEstimate {
    double seconds = 0.0; ///< middle of the block
    double rpm = 0.0;     ///< the tracker's estimate; 0 if it has none
    bool valid = false;   ///< the estimate is to be believed

    // The host's own figures: the tracker tells none.
    double explained = 0.0;    ///< share of the block's energy that the orders explain at `rpm`
    double distinctness = 0.0; ///< `explained` by that of the next best speed of the range
};

/// Follows a machine from block to block, and sees where it is lost.
///
/// A block's estimate is good if the tracker found a candidate inside the range, if a least-squares
/// fit of the orders at that speed explains at least the share that the settings ask for, and if no
/// other speed of the range explains clearly more: the next best one outside the hill of the
/// explained share on which the estimate stands. After three blocks in a row without a good
/// estimate the machine is lost and the whole range is searched again, block by block, until it is
/// found. A follower that was told the speed trusts it: until it loses the machine, other speeds
/// may explain up to twice as much, as when a second machine shakes the floor.
class SpeedFollower {
public:
    /// @param settings  validated
    SpeedFollower(const TrackingSettings& settings, const TrackingPlan& plan);

    /// The next block is searched round a speed that is known, instead of over the whole range.
    void continueFrom(double rpm);

    /// The machine is not found yet, or was lost: the next block is searched over the whole range.
    [[nodiscard]] bool isSearching() const { return searching_; }

    /// @param block  shape (blockSamples), finite
    /// @return  everything but the time; `valid` says that the estimate is good
    SpeedEstimate follow(std::span<const double> block);

    /// Share of a block's energy that the orders explain at a speed.
    [[nodiscard]] double explained(std::span<const double> block, double rpm);

private:
    [[nodiscard]] SpeedEstimate estimate(std::span<const double> block);
    [[nodiscard]] double explainedByNextBest(double hertz);

    TrackingSettings settings_;
    double stepHz_;
    BlockTracker tracker_;
    OrderFit fit_;
    std::vector<double> scan_; ///< explained shares over the range, in steps of about stepHz_
    bool searching_ = true;
    bool trusting_ = false; ///< what was found goes back to a known speed
    int badBlocks_ = 0;     ///< in a row
};

} // namespace Harmotrack::Host

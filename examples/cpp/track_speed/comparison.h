#pragma once

#include "host/shaft/shaft_angle.h"
#include "host/tracking/tracking_run.h"

#include <cstddef>
#include <vector>

namespace Harmotrack::Examples {

/// One estimate and the shaft's mean speed over the same block.
struct ComparedEstimate {
    double seconds = 0.0;
    double knownRpm = 0.0;
    double errorPercent = 0.0; ///< of the estimate, signed
    bool valid = false;
};

/// Estimates of the blocks that lie where the shaft's angle is known.
class Comparison {
public:
    Comparison(const Host::TrackedSpeed& speed, double blockSeconds, const Host::ShaftAngle& known);

    [[nodiscard]] const std::vector<ComparedEstimate>& estimates() const { return estimates_; }

    /// Magnitude of the error that a share of the valid estimates does not exceed, per cent.
    [[nodiscard]] double quantile(double share) const;

    /// Share of all blocks, valid or not, whose estimate is valid and within some per cent.
    [[nodiscard]] double shareWithin(double percent) const;

    [[nodiscard]] std::size_t validCount() const { return magnitudes_.size(); }

private:
    std::vector<ComparedEstimate> estimates_;
    std::vector<double> magnitudes_; ///< of the valid ones, in order
};

} // namespace Harmotrack::Examples

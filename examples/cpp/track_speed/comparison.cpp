#include "comparison.h"

#include <algorithm>
#include <cmath>

namespace Harmotrack::Examples {

Comparison::Comparison(const Host::TrackedSpeed& speed,
                       double blockSeconds,
                       const Host::ShaftAngle& known)
{
    for (const Host::SpeedEstimate& estimate : speed.estimates) {
        const double from = estimate.seconds - 0.5 * blockSeconds;
        const double to = estimate.seconds + 0.5 * blockSeconds;
        if (from < known.startSeconds() || to > known.endSeconds()) continue;
        const double rpm = 60.0 * (known.turnsAt(to) - known.turnsAt(from)) / blockSeconds;
        const double error = 100.0 * (estimate.rpm / rpm - 1.0);
        estimates_.push_back({estimate.seconds, rpm, error, estimate.valid});
        if (estimate.valid) magnitudes_.push_back(std::abs(error));
    }
    std::sort(magnitudes_.begin(), magnitudes_.end());
}

double Comparison::quantile(double share) const
{
    if (magnitudes_.empty()) return 0.0;
    const auto place = static_cast<std::size_t>(share * static_cast<double>(magnitudes_.size()));
    return magnitudes_[std::min(place, magnitudes_.size() - 1)];
}

double Comparison::shareWithin(double percent) const
{
    if (estimates_.empty()) return 0.0;
    const auto within =
        std::upper_bound(magnitudes_.begin(), magnitudes_.end(), percent) - magnitudes_.begin();
    return static_cast<double>(within) / static_cast<double>(estimates_.size());
}

} // namespace Harmotrack::Examples

#pragma once

#include "comparison.h"
#include "source.h"

#include "host/tracking/tracking_run.h"

#include <optional>

namespace Harmotrack::Examples {

/// Everything that the table, the summary and the picture are made from.
struct Report {
    const Source& source;
    const Host::TrackingSettings& settings;
    Host::TrackingPlan plan;
    const Host::TrackedSpeed& speed;
    std::optional<Comparison> comparison; ///< if the speed is known
};

} // namespace Harmotrack::Examples

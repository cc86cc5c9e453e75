#pragma once

#include "host/shaft/angle_knot.h"
#include "host/signals/uniform_signal.h"
#include "host/tracking/tracking_run.h"

#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// Tracks the speed in a signal, with progress on the terminal.
/// @throws Host::HostError  see Host::trackSpeed(); also if no estimate is valid
Host::TrackedSpeed track(const Host::UniformSignal& signal, const Host::TrackingSettings& settings);

/// The shaft as it was tracked, in all segments: up to a second, or four estimates, without a valid
/// one are bridged.
std::vector<Host::AngleKnot> shaftOf(const Host::TrackedSpeed& speed);

/// As in "found in 98.4 % of 248 blocks".
std::string foundText(const Host::TrackedSpeed& speed);

} // namespace Harmotrack::Examples

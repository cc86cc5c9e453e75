#pragma once

#include "host/shaft_angle.h"
#include "host/tracking_run.h"
#include "host/uniform_signal.h"

#include <string>

namespace Harmotrack::Examples {

/// Tracks the speed in a signal, with progress on the terminal.
/// @throws Host::HostError  see Host::trackSpeed(); also if no estimate is valid
Host::TrackedSpeed track(const Host::UniformSignal& signal, const Host::TrackingSettings& settings);

/// The shaft as it was tracked: up to a second, or four estimates, without a valid one are bridged.
Host::ShaftAngle shaftOf(const Host::TrackedSpeed& speed);

/// As in "found in 98.4 % of 248 blocks".
std::string foundText(const Host::TrackedSpeed& speed);

} // namespace Harmotrack::Examples

#pragma once

#include "run_up.h"

#include <string>

namespace Harmotrack::Examples {

/// The truth about a recording as JSON text: settings, channels with their full scale, conventions,
/// laws with their numbers, and a table of every component's amplitude and phase in steps of 10 rpm
/// from the lower speed to the upper, both included.
///
/// @param run            the machine
/// @param recordingName  name of the recording's file, beside which the text will stand
std::string runUpTruth(const RunUp& run, const std::string& recordingName);

} // namespace Harmotrack::Examples

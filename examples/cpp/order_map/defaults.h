#pragma once

#include "options.h"
#include "recording.h"

#include "host/analysis/analysis_settings.h"

namespace Harmotrack::Examples {

/// The settings of an analysis: what was asked for, and for the rest what suits the recording.
///
///   speed axis   from the lowest to the highest speed, in about 80 steps of 1, 2 or 5 times a
///                power of ten; one step for all of a steady speed, which changes by less than 5 %
///   orders       up to 40, or what 45 % of the sampling rate allows at the highest speed
///   resolution   0.1, blocks of ten revolutions; coarser in a recording of less than 50
///   harmonics    1, 2, 3 and 4, as far as there are such orders
///   blocks       one where the speed crosses a bin's centre; edge to edge of a steady speed, as it
///                crosses hardly any
///   phases       against the mark of the shaft if there is one, else against order 1
///
/// @throws Host::HostError  what was asked for is out of range
Host::AnalysisSettings settingsFor(const Recording& recording, const Options& options);

} // namespace Harmotrack::Examples

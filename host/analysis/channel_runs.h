#pragma once

#include "host/analysis/analysis_run.h"

#include <span>
#include <vector>

namespace Harmotrack::Host {

/// Analyses many channels against one shaft, each by a run of its own, side by side in threads.
///
/// @param signals   any number, each with its own rate and start
/// @param knots     of the shaft's angle, on the time axis of the signals
/// @param threads   that work at once; 0: as many as the processor has
/// @param progress  called from the caller's thread alone, with the share of channels that are done
/// @return          one element a signal; the same bits as one run after the other gives
/// @throws HostError  as AnalysisRun::run(); the first signal's that fails, after all have ended.
///                    Passes apart are refused
std::vector<AnalysisResults> analyseChannels(std::span<const UniformSignal> signals,
                                             std::span<const AngleKnot> knots,
                                             const AnalysisSettings& settings,
                                             unsigned threads = 0,
                                             const AnalysisRun::Progress& progress = {});

} // namespace Harmotrack::Host

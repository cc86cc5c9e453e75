#pragma once

#include "host/analysis_results.h"
#include "host/analysis_settings.h"
#include "host/shaft_angle.h"
#include "host/uniform_signal.h"

#include <functional>
#include <span>

namespace Harmotrack::Host {

/// Analyses one or two signals, sampled together, against the rotation of a shaft.
///
///     ShaftAngle -> moments of equal angle
///     signals    -> EqualAngleResampler at these -> equal-angle ring
///     signals    ---------------------------------> equal-time ring    -> library ->
///     AnalysisResults
///
/// Both rings stand on one time axis: its zero is the first equal-time sample. The run delivers a
/// quarter of a second at a time and calls the library until each delivery is used up. A block
/// counts only if all its samples were measured: bins whose blocks would reach beyond either end of
/// the recording stay empty, and nothing is padded.
///
/// One signal runs in mode 0, two run in mode 1. An object serves one thread at a time; several may
/// run in parallel.
class AnalysisRun {
public:
    /// Called now and then with the share of the run that is done, 0 to 1. An exception thrown here
    /// ends the run and reaches the caller.
    using Progress = std::function<void(double)>;

    /// @throws HostError  the settings are out of range
    explicit AnalysisRun(AnalysisSettings settings);

    /// @param signals  1 or 2, with equal start, rate and length
    /// @param angle    of the shaft, on the time axis of the signals
    /// @throws HostError  no signal or more than two, a sample that is not finite, two-sided
    /// results
    ///                    of one signal, an order beyond 0.45 of the sampling rate, a recording too
    ///                    short for a block, FFTW missing, memory exhausted
    [[nodiscard]] AnalysisResults run(std::span<const UniformSignal> signals,
                                      const ShaftAngle& angle,
                                      const Progress& progress = {}) const;

private:
    AnalysisSettings settings_;
};

} // namespace Harmotrack::Host

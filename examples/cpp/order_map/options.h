#pragma once

#include "source_options.h"

#include "host/analysis/analysis_settings.h"

#include <optional>
#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// What was asked for on the command line. What is empty is chosen from the recording.
struct Options {
    SourceOptions source;
    TrackingOptions tracking; ///< instead of a tacho or a column of speed

    std::string unit = "EU"; ///< of the signals; by default engineering units, whatever they are
    bool orbit = false;      ///< the two signals are perpendicular directions in one plane

    std::optional<double> minRpm;
    std::optional<double> maxRpm;
    std::optional<double> stepRpm;
    std::optional<double> highestOrder;
    std::optional<double> orderResolution;
    std::vector<double> harmonics;
    std::optional<Host::BlockMode> blockMode;
    std::optional<Host::PhaseMode> phaseMode;
    Host::AnalysisSettings settings; ///< all the rest

    std::string outputFolder = ".";
    bool picture = true;
};

/// Reads the command line. For --help it prints the help and ends the process with 0.
/// @throws Host::HostError  the line can't be understood; one sentence
Options readOptions(int argc, const char* const* argv);

} // namespace Harmotrack::Examples

#pragma once

#include "host/analysis_settings.h"
#include "host/tachometer.h"

#include <optional>
#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// What was asked for on the command line. What is empty is chosen from the recording.
struct Options {
    // Either a WAV or FLAC file with a tacho channel ...
    std::string audioFile;
    int tachoChannel = 0; ///< counted from 1
    Host::TachometerSettings tacho;
    std::vector<int>
        signalChannels;     ///< counted from 1; empty: the first two that are not the tacho
    double fullScale = 1.0; ///< value of a sample at full scale, in `unit`

    // ... or a table with a speed column.
    std::string csvFile;
    std::string timeColumn;
    double timeUnitSeconds = 1.0;
    std::string speedColumn;
    std::vector<std::string> signalColumns;

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

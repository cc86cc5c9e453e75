#pragma once

#include "source_options.h"

#include "host/tracking/tracking_settings.h"

#include <string>

namespace Harmotrack::Examples {

/// What was asked for on the command line.
struct Options {
    SourceOptions source; ///< a tacho or a column of speed is for comparison alone
    Host::TrackingSettings tracking;
    std::string outputFolder = ".";
    bool picture = true;
};

/// Reads the command line. For --help it prints the help and ends the process with 0.
/// @throws Host::HostError  the line can't be understood; one sentence
Options readOptions(int argc, const char* const* argv);

} // namespace Harmotrack::Examples

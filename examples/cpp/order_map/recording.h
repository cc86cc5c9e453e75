#pragma once

#include "options.h"

#include "host/shaft_angle.h"
#include "host/uniform_signal.h"

#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// What was measured on a machine: one or two signals, and how its shaft turned.
struct Recording {
    std::string file; ///< name without folders
    std::vector<Host::UniformSignal> signals;
    std::vector<std::string> names; ///< of the signals
    Host::ShaftAngle angle;
    bool hasMark = false; ///< angle 0 is a mark on the shaft, and phases against it mean something
};

/// Reads a WAV or FLAC file, or a table, as the options say.
/// @throws Host::HostError  with one sentence on what is wrong with it
Recording readRecording(const Options& options);

} // namespace Harmotrack::Examples

#pragma once

#include "source_options.h"

#include "host/shaft/angle_knot.h"
#include "host/shaft/shaft_angle.h"
#include "host/shaft/tacho_event.h"
#include "host/signals/uniform_signal.h"

#include <cstddef>
#include <optional>
#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// What was measured on a machine: signals, and how its shaft turned if that was measured too.
struct Source {
    std::string file; ///< name without folders
    std::vector<Host::UniformSignal> signals;
    std::vector<std::string> names; ///< of the signals
    std::optional<Host::ShaftAngle> angle;
    /// The same in all its segments; `angle` is the longest of them.
    std::vector<Host::AngleKnot> knots;
    std::vector<Host::TachoEvent> tachoEvents; ///< what was mended or dropped
    std::vector<std::string> remarks; ///< on the tacho or the column of speed, a sentence each
    bool hasMark = false; ///< angle 0 is a mark on the shaft, and phases against it mean something
};

/// Reads a WAV or FLAC file, or a table, as the options say.
/// @param mostSignals  that may be asked for; without a list of channels the first ones are taken
/// @throws Host::HostError  with one sentence on what is wrong with it
Source readSource(const SourceOptions& options, std::size_t mostSignals);

} // namespace Harmotrack::Examples

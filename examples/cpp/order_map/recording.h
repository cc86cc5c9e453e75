#pragma once

#include "options.h"

#include "host/angle_knot.h"
#include "host/tacho_event.h"
#include "host/uniform_signal.h"

#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// What was measured on a machine: one or two signals, and how its shaft turned.
struct Recording {
    std::string file; ///< name without folders
    std::vector<Host::UniformSignal> signals;
    std::vector<std::string> names;     ///< of the signals
    std::vector<Host::AngleKnot> knots; ///< of the shaft's angle
    bool hasMark = false; ///< angle 0 is a mark on the shaft, and phases against it mean something
    std::vector<Host::TachoEvent> tachoEvents; ///< what was mended or dropped

    /// Revolutions with known angle.
    [[nodiscard]] double turns() const;
};

/// Reads a WAV or FLAC file, or a table, as the options say.
/// @throws Host::HostError  with one sentence on what is wrong with it
Recording readRecording(const Options& options);

} // namespace Harmotrack::Examples

#pragma once

#include "options.h"
#include "source.h"

#include "host/shaft/angle_knot.h"
#include "host/shaft/tacho_event.h"
#include "host/signals/uniform_signal.h"

#include <string>
#include <vector>

namespace Harmotrack::Examples {

/// One or two signals of a machine, and how its shaft turned: as the tacho or the speed column
/// says, or as it was tracked in the first signal.
struct Recording {
    std::string file; ///< name without folders
    std::vector<Host::UniformSignal> signals;
    std::vector<std::string> names;     ///< of the signals
    std::vector<Host::AngleKnot> knots; ///< of the shaft's angle
    bool hasMark = false; ///< angle 0 is a mark on the shaft, and phases against it mean something
    std::string speedSource;                   ///< a few words
    std::vector<Host::TachoEvent> tachoEvents; ///< what was mended or dropped
    std::vector<std::string> remarks;          ///< on the speed, a sentence each

    /// Revolutions with known angle.
    [[nodiscard]] double turns() const;
};

/// Reads a WAV or FLAC file, or a table, as the options say, and tracks the speed if asked to.
/// @throws Host::HostError  with one sentence on what is wrong with it
Recording readRecording(const Options& options);

} // namespace Harmotrack::Examples

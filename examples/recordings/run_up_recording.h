#pragma once

#include "run_up.h"

#include <cstdint>
#include <filesystem>
#include <functional>

namespace Harmotrack::Examples {

/// Writes the recording of a machine as FLAC of 24 bits: channel 1 vibration x, channel 2
/// vibration y, channel 3 tacho. A sample of physical value v is stored as v / full scale, rounded
/// to the nearest multiple of 2^-23.
///
/// The same settings give the same bytes on the same machine; elsewhere the mathematical library
/// may turn a last bit, and another FLAC encoder packs the same samples differently.
///
/// @param run       a machine whose samples are not drawn yet
/// @param path      written as it is, no temporary name
/// @param progress  called now and then with the samples written so far; false ends the writing
/// @return          false if progress ended it
/// @throws std::runtime_error  a sample lies beyond full scale, or the file can not be written;
///                             one sentence
bool writeRecording(RunUp& run,
                    const std::filesystem::path& path,
                    const std::function<bool(std::int64_t)>& progress);

} // namespace Harmotrack::Examples

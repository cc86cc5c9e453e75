#pragma once

#include <cstdint>
#include <filesystem>
#include <optional>

namespace Harmotrack::Examples {

/// Bytes of samples of a WAV file.
struct WavData {
    std::uint64_t announced = 0; ///< by its head
    std::uint64_t present = 0;   ///< from there to the end of the file
};

/// What a WAV file announces and what there is of it: a reader of sound files takes what it finds,
/// and says nothing of what has been cut off.
///
/// @return  nothing for a file of another kind, one without samples, and one that announces about
///          2 GiB or more: so do programs that can't go back to the head when they are done
std::optional<WavData> wavData(const std::filesystem::path& file);

} // namespace Harmotrack::Examples

#pragma once

#include "harmotrack/harmotrack.h"

#include <algorithm>
#include <cstdint>
#include <vector>

namespace Velmora::Autotracker {

/// A ring of the tracker's own: the description that a host gives of its ring, and the memory.
/// `samples` points into `storage`.
///
/// Nothing guards what has not been read yet: a reader that lags by more than `capacity` finds
/// newer samples in the slots, and the counts go on.
struct DecimatedRing : SignalBuffer {
    std::int32_t writeIndex = 0; ///< slot of the next sample to be written
    std::vector<double> storage;
};

/// A ring without memory and samples.
[[nodiscard]] inline SignalBuffer emptyRing()
{
    return {.samples = nullptr, .capacity = 1, .readIndex = 0, .writeCount = 0, .readCount = 0};
}

/// The slot `amount` further on. The ring's length is taken off once and added once, no more: a
/// move of more than one length leaves the ring.
[[nodiscard]] inline std::int32_t
movedIndex(std::int32_t index, std::int32_t amount, std::int32_t capacity)
{
    std::int64_t moved = std::int64_t{index} + amount;
    if (moved >= capacity) moved -= capacity;
    if (moved < 0) moved += capacity;
    return static_cast<std::int32_t>(moved);
}

/// Samples written and not yet read, at least 0: the counts may be of any size, their difference is
/// taken in 32 bits.
[[nodiscard]] inline std::int32_t unreadSamples(const SignalBuffer& ring)
{
    const std::uint32_t difference =
        static_cast<std::uint32_t>(ring.writeCount) - static_cast<std::uint32_t>(ring.readCount);
    return std::max(static_cast<std::int32_t>(difference), 0);
}

} // namespace Velmora::Autotracker

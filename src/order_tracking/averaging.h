#pragma once

#include <cstdint>

namespace Velmora::OrderTracking {

/// What a cell of a result table becomes when its bin is visited again; old is the stored value,
/// v the newly measured one, n the number of visits that the table has counted for the bin.
///
///     Overwrite     v                                          the count becomes 1
///     KeepFirst     v if n = 0, otherwise nothing is written   the count becomes 1
///     LinearMean    (n old + v) / (n + 1), in float            the count rises by 1
///     PeakHold      the larger of old and v                    the count stays 0
///
/// A number above these writes nothing, and says nothing. Numbers are compared unsigned, so a
/// negative one of a host's setup is above.
enum class Averaging : std::uint32_t { Overwrite = 0, KeepFirst = 1, LinearMean = 2, PeakHold = 3 };

} // namespace Velmora::OrderTracking

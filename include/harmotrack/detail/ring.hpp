/// @file
/// What the objects of both kinds do with rings and flags.
#ifndef HARMOTRACK_DETAIL_RING_HPP
#define HARMOTRACK_DETAIL_RING_HPP

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Harmotrack {

namespace Detail {

inline std::uint8_t flag(bool value)
{
    return value ? 1 : 0;
}

/// Copies samples into a ring, the first of them with a running number.
inline void
writeRing(std::vector<double>& ring, std::int64_t number, std::span<const double> samples)
{
    if (samples.empty()) return;
    const std::size_t slot = static_cast<std::size_t>(number) % ring.size();
    const std::size_t upToEnd = std::min(samples.size(), ring.size() - slot);
    std::copy_n(samples.begin(), upToEnd, ring.begin() + static_cast<std::ptrdiff_t>(slot));
    std::copy(samples.begin() + static_cast<std::ptrdiff_t>(upToEnd), samples.end(), ring.begin());
}

} // namespace Detail

} // namespace Harmotrack

#endif

#pragma once

#include <algorithm>
#include <cstdint>

namespace Velmora::OrderTracking {

/// Brings a ring index into 0 .. size - 1, however far it is off. A size of 0 never ends.
[[nodiscard]] inline std::int32_t wrap(std::int32_t index, std::int32_t size)
{
    while (index >= size) index -= size;
    while (index < 0) index += size;
    return index;
}

/// Difference of two running sample numbers in 32 bits, as counters that wrap are compared.
[[nodiscard]] inline std::int32_t difference32(std::int64_t a, std::int64_t b)
{
    return static_cast<std::int32_t>(static_cast<std::uint32_t>(a) - static_cast<std::uint32_t>(b));
}

/// Visits `count` samples of a ring from `start` on in stretches without a wrap, in order.
///
/// @param visit  visit(slot, offset, length): `length` samples from `slot` on, which are those of
///               the block from `offset` on
template <typename Visit>
void forEachStretch(std::int32_t start, std::int32_t count, std::int32_t size, const Visit& visit)
{
    std::int32_t slot = start;
    for (std::int32_t offset = 0; offset < count;) {
        const std::int32_t length = std::min(count - offset, size - slot);
        visit(slot, offset, length);
        offset += length;
        slot = 0;
    }
}

} // namespace Velmora::OrderTracking

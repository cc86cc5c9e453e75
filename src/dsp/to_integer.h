#pragma once

#include <cstdint>
#include <limits>

namespace Velmora::KorLib::Dsp {

/// A count of the C boundary as a size of memory.
[[nodiscard]] inline std::uint64_t asSize(std::int32_t count)
{
    return static_cast<std::uint64_t>(count);
}

/// Integer part of `value`; what has none within the range (NaN, infinities, large numbers) becomes
/// the most negative integer, which is what the processor's own conversion gives.
[[nodiscard]] inline std::int32_t toInt32(double value)
{
    constexpr double kBeyond = 2147483648.0;
    const bool fits = value > -kBeyond - 1.0 && value < kBeyond;
    return fits ? static_cast<std::int32_t>(value) : std::numeric_limits<std::int32_t>::min();
}

/// As toInt32().
[[nodiscard]] inline std::int64_t toInt64(double value)
{
    constexpr double kBeyond = 9223372036854775808.0;
    const bool fits = value >= -kBeyond && value < kBeyond;
    return fits ? static_cast<std::int64_t>(value) : std::numeric_limits<std::int64_t>::min();
}

} // namespace Velmora::KorLib::Dsp

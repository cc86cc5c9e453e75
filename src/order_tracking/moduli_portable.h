#pragma once

#include "order_tracking/moduli_lines.h"

#include <bit>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <limits>

/// The loop for any processor that has the arithmetic of IEEE 754: the same bits as from the
/// others.
namespace Velmora::OrderTracking::ModuliLoop {

/// Whether a root narrows to the float of the modulus: see moduli.h. NaN and infinity do not.
inline bool decides(double root)
{
    using Float = std::numeric_limits<float>;
    // A normal float keeps the first 23 bits of the mantissa. The other 29 tell where the double
    // lies between two floats.
    constexpr std::int32_t kMidpoint = 0x10000000;
    const auto rest = static_cast<std::int32_t>(std::bit_cast<std::uint64_t>(root) & 0x1FFFFFFFU);
    return root >= static_cast<double>(Float::min()) && root < static_cast<double>(Float::max()) &&
           std::abs(rest - kMidpoint) > 4;
}

template <typename Spectra>
void chunkModuli(const Spectra& spectra, std::size_t count, float* out)
{
    for (std::size_t k = 0; k < count; ++k) {
        const auto line = spectra.template read<OneLine>(k);
        const double root = std::sqrt(squares(line));
        out[k] = decides(root) ? static_cast<float>(root) : exactModulus(line);
    }
}

} // namespace Velmora::OrderTracking::ModuliLoop

#pragma once

#include <array>
#include <cstddef>

/// The sum for any processor that has the arithmetic of IEEE 754: the same bits as from the others.
namespace Harmotrack::Host::RowSums::Portable {

/// Products that are summed side by side.
inline constexpr std::size_t kLanes = 8;

/// Of one row: sums of each eighth product, folded to four.
inline std::array<float, kLanes / 2>
rowSums(const float* weights, const float* samples, std::size_t size)
{
    std::array<float, kLanes> sums{};
    for (std::size_t k = 0; k < size; k += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane)
            sums[lane] += weights[k + lane] * samples[k + lane];
    }
    std::array<float, kLanes / 2> folded{};
    for (std::size_t lane = 0; lane < folded.size(); ++lane)
        folded[lane] = sums[lane] + sums[lane + folded.size()];
    return folded;
}

/// Σ shares[r] Σ rows[r][k] samples[k]
///
/// @param rows     shapes (size)
/// @param size     a multiple of eight
/// @param samples  shape (size)
inline float sumOf(const std::array<const float*, 6>& rows,
                   const std::array<float, 6>& shares,
                   std::size_t size,
                   const float* samples)
{
    std::array<float, kLanes / 2> sum{};
    for (std::size_t r = 0; r < rows.size(); r += 2) {
        const auto one = rowSums(rows[r], samples, size);
        const auto other = rowSums(rows[r + 1], samples, size);
        for (std::size_t lane = 0; lane < sum.size(); ++lane)
            sum[lane] += shares[r] * one[lane] + shares[r + 1] * other[lane];
    }
    return (sum[0] + sum[2]) + (sum[1] + sum[3]);
}

} // namespace Harmotrack::Host::RowSums::Portable

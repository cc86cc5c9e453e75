#pragma once

#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace Velmora::OrderTracking {

/// Complex harmonics by bin: one row a requested harmonic, one column a bin.
///
///     rows()[h][bin]     amplitude and phase of harmonic h in that bin, in the signal's unit
///     counts()[bin]      visits of the bin, as far as the averaging counts them
///
/// A column is updated in place at each visit of its bin, as Averaging tells; the mean is taken
/// of the real and the imaginary parts, so that it is a mean of phasors, and peak hold compares
/// moduli.
///
/// A resize keeps the counts as they are; clear() zeroes them. Only resize() allocates, an update
/// never does. Bins are not checked. One thread at a time.
class HarmonicTable {
public:
    /// Drops the rows beyond `harmonics`; new rows, elements and counts are zero, and what stays
    /// keeps its value.
    void resize(std::uint64_t harmonics, std::uint64_t bins);

    /// How updates treat a column; see Averaging for the numbers and for all others.
    void setAveragingType(std::uint32_t averagingType) { averagingType_ = averagingType; }

    [[nodiscard]] std::uint32_t averagingType() const { return averagingType_; }

    [[nodiscard]] const std::vector<std::vector<std::complex<float>>>& rows() const
    {
        return rows_;
    }

    [[nodiscard]] const std::vector<std::int32_t>& counts() const { return counts_; }

    /// Zeroes all values and counts.
    void clear();

    /// Updates one column.
    ///
    /// Peak hold keeps the old value only when its modulus, by the single-precision hypot, is
    /// strictly greater: a tie takes the new value.
    ///
    /// @param values  one per harmonic
    void updateColumn(std::uint64_t bin, std::span<const std::complex<float>> values);

private:
    std::vector<std::vector<std::complex<float>>> rows_;
    std::uint32_t averagingType_ = 0;
    std::vector<std::int32_t> counts_;
};

} // namespace Velmora::OrderTracking

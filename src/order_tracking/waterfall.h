#pragma once

#include "order_tracking/matrix.h"

#include <complex>
#include <cstdint>
#include <span>
#include <vector>

namespace Velmora::OrderTracking {

/// Amplitude spectra by bin: one row a bin of the binning axis, one column a line.
///
///     row 0   bin 0   | |X[0]| |X[1]| ... |X[cols-1]|      peak, RMS or peak to peak,
///     row 1   bin 1   | |X[0]| |X[1]| ... |X[cols-1]|      as the spectra come in
///
/// A row belongs to a bin and not to a moment: the shaft comes back to its bin, and the row is then
/// overwritten, kept, averaged or raised to its peak in place, as Averaging tells. The moduli are
/// those of moduli.h. Where the cells lie in the host's memory, the host sees each update at once.
///
/// A resize sets all counts to zero and leaves external memory as it is. So over old content in
/// the host's memory the first visit of a row overwrites it, or starts its mean anew, while peak
/// hold goes on comparing with what is there.
///
/// Only resize() allocates, no update does. Rows are not checked. One thread at a time.
///
/// @tparam Cell      float: what the moduli are kept in
/// @tparam Spectrum  double: what the spectra come in, part of the type's name and no more
template <typename Cell, typename Spectrum>
class Waterfall final : public Matrix<Cell> {
public:
    using Matrix<Cell>::resize;

    void resize(std::uint64_t rows, std::uint64_t cols) override;

    /// How the updates treat a row; see Averaging for the numbers and for all others.
    void setAveragingType(std::uint32_t averagingType) { averagingType_ = averagingType; }

    [[nodiscard]] std::uint32_t averagingType() const { return averagingType_; }

    /// Visits of each row, as far as its averaging counts them.
    [[nodiscard]] const std::vector<std::int32_t>& counts() const { return counts_; }

    /// Zeroes the cells, wherever they lie, and the counts.
    void clear();

    /// Updates one row from a spectrum. As many cells are written as the spectrum has lines.
    ///
    /// Peak hold keeps the old value unless the new one is greater, so that it stores no NaN.
    void updateRow(std::uint64_t row, std::span<const std::complex<double>> spectrum);

    /// Updates one row from the spectra of two real signals, by their twoSidedModuli(). With L
    /// lines in each, which is at least 1, the row takes 2L - 1 cells.
    void updateTwoSidedRow(std::uint64_t row,
                           std::span<const std::complex<double>> spectrumA,
                           std::span<const std::complex<double>> spectrumB);

private:
    std::uint32_t averagingType_ = 0;
    std::vector<std::int32_t> counts_;
};

extern template class Waterfall<float, double>;

} // namespace Velmora::OrderTracking

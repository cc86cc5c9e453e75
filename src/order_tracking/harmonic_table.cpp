#include "order_tracking/harmonic_table.h"

#include "order_tracking/averaging.h"

#include <algorithm>
#include <cstddef>

namespace Velmora::OrderTracking {

void HarmonicTable::resize(std::uint64_t harmonics, std::uint64_t bins)
{
    rows_.resize(harmonics);
    counts_.resize(bins);
    for (auto& row : rows_) row.resize(bins);
}

void HarmonicTable::clear()
{
    for (auto& row : rows_) std::fill(row.begin(), row.end(), std::complex<float>{});
    std::fill(counts_.begin(), counts_.end(), 0);
}

void HarmonicTable::updateColumn(std::uint64_t bin, std::span<const std::complex<float>> values)
{
    visit<std::complex<float>>(averagingType_, counts_[bin], [&](auto combine) {
        for (std::size_t harmonic = 0; harmonic < rows_.size(); ++harmonic) {
            std::complex<float>& cell = rows_[harmonic][bin];
            cell = combine(cell, values[harmonic]);
        }
    });
}

} // namespace Velmora::OrderTracking

#include "order_tracking/waterfall.h"

#include "order_tracking/averaging.h"
#include "order_tracking/moduli.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace Velmora::OrderTracking {
namespace {

using Spectrum = std::span<const std::complex<double>>;

// cells[k] = combine(cells[k], |spectrum[k]|)
template <typename Combine>
void combineRow(Spectrum spectrum, float* cells, Combine combine)
{
    std::array<float, kModuliChunk> values; // NOLINT(cppcoreguidelines-pro-type-member-init)
    for (std::size_t first = 0; first < spectrum.size(); first += kModuliChunk) {
        const std::size_t count = std::min(kModuliChunk, spectrum.size() - first);
        moduli(spectrum.subspan(first, count), values.data());
        for (std::size_t k = 0; k < count; ++k)
            cells[first + k] = combine(cells[first + k], values[k]);
    }
}

// The same round the centre of a two-sided row.
template <typename Combine>
void combineTwoSidedRow(Spectrum spectrumA, Spectrum spectrumB, float* cells, Combine combine)
{
    float* const centre = cells + (spectrumA.size() - 1);
    *centre = combine(*centre, centreModulus(spectrumA[0], spectrumB[0]));

    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): each is written before it is read
    std::array<float, kModuliChunk> forward, backward;
    for (std::size_t first = 1; first < spectrumA.size(); first += kModuliChunk) {
        const std::size_t count = std::min(kModuliChunk, spectrumA.size() - first);
        const Spectrum linesA = spectrumA.subspan(first, count);
        const Spectrum linesB = spectrumB.subspan(first, count);
        forwardModuli(linesA, linesB, forward.data());
        backwardModuli(linesA, linesB, backward.data());

        float* const right = centre + first;
        float* const left = centre - first;
        for (std::size_t k = 0; k < count; ++k) right[k] = combine(right[k], forward[k]);
        for (std::size_t k = 0; k < count; ++k) *(left - k) = combine(*(left - k), backward[k]);
    }
}

} // namespace

template <typename Cell, typename SpectrumName>
void Waterfall<Cell, SpectrumName>::resize(std::uint64_t rows, std::uint64_t cols)
{
    Matrix<Cell>::resize(rows, cols);
    counts_.assign(rows, 0);
}

template <typename Cell, typename SpectrumName>
void Waterfall<Cell, SpectrumName>::clear()
{
    std::fill_n(this->data(), this->rows() * this->cols(), Cell{});
    std::fill(counts_.begin(), counts_.end(), 0);
}

template <typename Cell, typename SpectrumName>
void Waterfall<Cell, SpectrumName>::updateRow(std::uint64_t row,
                                              std::span<const std::complex<double>> spectrum)
{
    float* const cells = this->row(row);
    visit<float>(
        averagingType_, counts_[row], [=](auto combine) { combineRow(spectrum, cells, combine); });
}

template <typename Cell, typename SpectrumName>
void Waterfall<Cell, SpectrumName>::updateTwoSidedRow(
    std::uint64_t row,
    std::span<const std::complex<double>> spectrumA,
    std::span<const std::complex<double>> spectrumB)
{
    float* const cells = this->row(row);
    visit<float>(averagingType_, counts_[row], [=](auto combine) {
        combineTwoSidedRow(spectrumA, spectrumB, cells, combine);
    });
}

template class Waterfall<float, double>;

} // namespace Velmora::OrderTracking

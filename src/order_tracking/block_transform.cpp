#include "order_tracking/block_transform.h"

#include "order_tracking/ring.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Velmora::OrderTracking {
namespace {

using Line = std::complex<double>;

/// Means of both signals over a block; the second one only where the mode has it.
struct BlockMeans {
    double a = 0.0;
    double b = 0.0;
};

/// Sums of both signals over a stretch of a ring.
template <int mode, typename Ring>
void addStretch(const Ring& ring, std::int32_t slot, std::int32_t length, BlockMeans& sums)
{
    for (std::int32_t i = slot; i < slot + length; ++i) {
        sums.a += ring.signalA[i];
        if constexpr (mode != 0) sums.b += ring.signalB[i];
    }
}

/// One sum in the order of the samples.
template <int mode>
BlockMeans blockMeans(const ResampledBuffers& ring, std::int32_t start, std::int32_t N)
{
    BlockMeans sums;
    forEachStretch(
        start, N, ring.size, [&](std::int32_t slot, std::int32_t /*offset*/, std::int32_t length) {
            addStretch<mode>(ring, slot, length, sums);
        });
    return {sums.a / N, sums.b / N};
}

/// A sum up to the end of the ring and one from its start, which are then added. The block wraps
/// once at most.
template <int mode>
BlockMeans blockMeans(const TimeBuffers& ring, std::int32_t start, std::int32_t N)
{
    const std::int32_t wrapped = std::max(N - ring.size + start, 0);
    BlockMeans upToEnd;
    BlockMeans fromStart;
    addStretch<mode>(ring, start, N - wrapped, upToEnd);
    addStretch<mode>(ring, 0, wrapped, fromStart);
    return {(upToEnd.a + fromStart.a) / N, (upToEnd.b + fromStart.b) / N};
}

/// Writes the windowed block into the input of the transform, as doubles, and returns the sum of
/// binSignal in the order of the samples where the ring has one. The sum's chain of additions takes
/// as long as all the rest, so both stand in one loop.
template <int mode, typename Ring>
double fillInput(BlockFFT<mode>& fft, const Ring& ring, std::int32_t start, BlockMeans means)
{
    const double* window = fft.window().data();
    double* input = fft.timeData();
    double binSum = 0.0;
    const auto fillStretch = [&](std::int32_t slot, std::int32_t offset, std::int32_t length) {
        const double* a = ring.signalA + slot;
        for (std::int32_t i = 0; i < length; ++i) {
            const double w = window[offset + i];
            if constexpr (mode == 0) {
                input[offset + i] = w * (a[i] - means.a);
            } else {
                const std::ptrdiff_t re = std::ptrdiff_t{2} * (offset + i);
                input[re] = w * (a[i] - means.a);
                input[re + 1] = w * (ring.signalB[slot + i] - means.b);
            }
            if constexpr (std::is_same_v<Ring, ResampledBuffers>)
                binSum += ring.binSignal[slot + i];
        }
    };
    forEachStretch(start, static_cast<std::int32_t>(fft.size()), ring.size, fillStretch);
    return binSum;
}

/// Z, line by line, from the bare transform: the scaling of FFT::execute() in the same roundings,
/// without a pass of its own over the lines.
template <int mode>
class ScaledLines {
public:
    explicit ScaledLines(const BlockFFT<mode>& fft)
        : lines_(fft.spectrumBuffer.begin), scale_(fft.forwardScale())
    {
    }

    [[nodiscard]] Line first() const { return {half(lines_[0].real()), half(lines_[0].imag())}; }

    /// A line above 0.
    [[nodiscard]] Line operator[](std::size_t k) const
    {
        return {lines_[k].real() * scale_, lines_[k].imag() * scale_};
    }

private:
    [[nodiscard]] double half(double part) const { return part * scale_ * 0.5; }

    const Line* lines_;
    double scale_;
};

/// Lines from 1 on of modes 0 and 2, as one run of doubles.
template <int mode>
void scaleLines(const BlockFFT<mode>& fft, std::span<Line> spectrum)
{
    // The real transform has lines up to N / 2 only; the others are conjugates of their mirrors.
    const std::size_t own =
        mode == 0 ? std::min(spectrum.size(), fft.spectrumBuffer.count) : spectrum.size();
    const double scale = fft.forwardScale();
    const double s = fft.amplitudeScale();
    const double* from = fft.spectrumData();
    auto* to = reinterpret_cast<double*>(spectrum.data());
    for (std::size_t i = 2; i < 2 * own; ++i) to[i] = s * (from[i] * scale);
    for (std::size_t k = own; k < spectrum.size(); ++k)
        spectrum[k] = std::conj(spectrum[fft.size() - k]);
}

/// Both spectra of mode 1.
void splitLines(const BlockFFT<1>& fft, std::span<Line> spectrumA, std::span<Line> spectrumB)
{
    const ScaledLines<1> Z(fft);
    const double s = fft.amplitudeScale();
    const std::size_t N = fft.size();

    spectrumA[0] = {Z.first().real(), 0.0};
    spectrumB[0] = {Z.first().imag(), 0.0};
    for (std::size_t k = 1; k < spectrumA.size(); ++k) {
        const Line p = Z[k];
        const Line q = std::conj(Z[N - k]);
        spectrumA[k] = {s * (p.real() + q.real()) / 2.0, s * (p.imag() + q.imag()) / 2.0};
        spectrumB[k] = {s * ((p.imag() - q.imag()) / 2.0), s * (-(p.real() - q.real()) / 2.0)};
    }
}

} // namespace

template <int mode>
void transformOrderBlock(BlockFFT<mode>& fft,
                         const ResampledBuffers& ring,
                         std::int32_t start,
                         bool removeMean,
                         std::span<Line> spectrumA,
                         [[maybe_unused]] std::span<Line> spectrumB)
{
    const auto N = static_cast<std::int32_t>(fft.size());
    const BlockMeans means = removeMean ? blockMeans<mode>(ring, start, N) : BlockMeans{};
    fft.setBlockMean(fillInput<mode>(fft, ring, start, means) / N);
    fft.executeRaw();
    if (spectrumA.empty()) return;

    if constexpr (mode == 1) {
        splitLines(fft, spectrumA, spectrumB);
    } else {
        const Line first = ScaledLines<mode>(fft).first();
        const bool scaleFirst = mode == 2 && fft.outputMode() == HARMOTRACK_DC_LINE_SCALED;
        spectrumA[0] = scaleFirst ? 2.0 * fft.amplitudeScale() * first : first;
        scaleLines<mode>(fft, spectrumA);
    }
}

template <int mode>
void transformTimeBlock(BlockFFT<mode>& fft,
                        const TimeBuffers& ring,
                        std::int32_t start,
                        bool removeMean,
                        std::span<Line> spectrumA,
                        [[maybe_unused]] std::span<Line> spectrumB)
{
    const auto N = static_cast<std::int32_t>(fft.size());
    const BlockMeans means = removeMean ? blockMeans<mode>(ring, start, N) : BlockMeans{};
    fft.setBlockMean(0.0);
    fillInput<mode>(fft, ring, start, means);
    fft.executeRaw();
    if (spectrumA.empty()) return;

    if constexpr (mode == 1) {
        splitLines(fft, spectrumA, spectrumB);
    } else {
        const Line first = ScaledLines<mode>(fft).first();
        spectrumA[0] = {std::hypot(first.real(), first.imag()), 0.0};
        scaleLines<mode>(fft, spectrumA);
    }
}

#define INSTANTIATE(mode)                                                                          \
    template void transformOrderBlock<mode>(BlockFFT<mode>&,                                       \
                                            const ResampledBuffers&,                               \
                                            std::int32_t,                                          \
                                            bool,                                                  \
                                            std::span<Line>,                                       \
                                            std::span<Line>);                                      \
    template void transformTimeBlock<mode>(                                                        \
        BlockFFT<mode>&, const TimeBuffers&, std::int32_t, bool, std::span<Line>, std::span<Line>)

INSTANTIATE(0);
INSTANTIATE(1);
INSTANTIATE(2);

} // namespace Velmora::OrderTracking

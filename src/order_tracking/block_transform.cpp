#include "order_tracking/block_transform.h"

#include "order_tracking/ring.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <type_traits>
#include <utility>

namespace Velmora::OrderTracking {
namespace {

using Line = std::complex<double>;

/// Means of both signals over a block; the second one only where the mode has it.
struct BlockMeans {
    double a = 0.0;
    double b = 0.0;
};

template <typename T>
using WindowedFFT = KorLib::Dsp::Fft::WindowedFFT<T>;

/// A transform of real samples takes signalA alone; signalB may then be null.
template <typename T>
constexpr bool kTakesB = std::is_same_v<T, Line>;

/// Sums of both signals over a stretch of a ring.
template <typename T, typename Ring>
void addStretch(const Ring& ring, std::int32_t slot, std::int32_t length, BlockMeans& sums)
{
    for (std::int32_t i = slot; i < slot + length; ++i) {
        sums.a += ring.signalA[i];
        if constexpr (kTakesB<T>) sums.b += ring.signalB[i];
    }
}

/// One sum in the order of the samples.
template <typename T>
BlockMeans blockMeans(const ResampledBuffers& ring, std::int32_t start, std::int32_t N)
{
    BlockMeans sums;
    forEachStretch(
        start, N, ring.size, [&](std::int32_t slot, std::int32_t /*offset*/, std::int32_t length) {
            addStretch<T>(ring, slot, length, sums);
        });
    return {sums.a / N, sums.b / N};
}

/// A sum up to the end of the ring and one from its start, which are then added. The block wraps
/// once at most.
template <typename T>
BlockMeans blockMeans(const TimeBuffers& ring, std::int32_t start, std::int32_t N)
{
    const std::int32_t wrapped = std::max(N - ring.size + start, 0);
    BlockMeans upToEnd;
    BlockMeans fromStart;
    addStretch<T>(ring, start, N - wrapped, upToEnd);
    addStretch<T>(ring, 0, wrapped, fromStart);
    return {(upToEnd.a + fromStart.a) / N, (upToEnd.b + fromStart.b) / N};
}

/// Writes the windowed block into the input of the transform, as doubles, and returns the sum of
/// binSignal in the order of the samples where the ring has one. The sum's chain of additions takes
/// as long as all the rest, so both stand in one loop.
template <typename T, typename Ring>
double fillInput(WindowedFFT<T>& fft, const Ring& ring, std::int32_t start, BlockMeans means)
{
    const double* window = fft.window().data();
    double* input = fft.timeData();
    double binSum = 0.0;
    const auto fillStretch = [&](std::int32_t slot, std::int32_t offset, std::int32_t length) {
        const double* a = ring.signalA + slot;
        for (std::int32_t i = 0; i < length; ++i) {
            const double w = window[offset + i];
            if constexpr (kTakesB<T>) {
                const std::ptrdiff_t re = std::ptrdiff_t{2} * (offset + i);
                input[re] = w * (a[i] - means.a);
                input[re + 1] = w * (ring.signalB[slot + i] - means.b);
            } else {
                input[offset + i] = w * (a[i] - means.a);
            }
            if constexpr (std::is_same_v<Ring, ResampledBuffers>)
                binSum += ring.binSignal[slot + i];
        }
    };
    forEachStretch(start, static_cast<std::int32_t>(fft.size()), ring.size, fillStretch);
    return binSum;
}

/// Window and bare transform; leaves the mean of binSignal where the ring has one, and 0 otherwise.
template <typename T, typename Ring>
void transformBlock(WindowedFFT<T>& fft, const Ring& ring, std::int32_t start, bool removeMean)
{
    const auto N = static_cast<std::int32_t>(fft.size());
    const BlockMeans means = removeMean ? blockMeans<T>(ring, start, N) : BlockMeans{};
    const double binSum = fillInput(fft, ring, start, means);
    fft.setBlockMean(std::is_same_v<Ring, ResampledBuffers> ? binSum / N : 0.0);
    fft.executeRaw();
}

/// Z, line by line, from the bare transform: the scaling of FFT::execute() in the same roundings,
/// without a pass of its own over the lines.
class ScaledLines {
public:
    template <typename T>
    explicit ScaledLines(const WindowedFFT<T>& fft)
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

/// The spectrum of modes 0 and 2, from line 1 on as one run of doubles.
template <typename T>
void scaleLines(const WindowedFFT<T>& fft, std::span<Line> spectrum)
{
    // The real transform has lines up to N / 2 only; the others are conjugates of their mirrors.
    const std::size_t own = std::min<std::size_t>(spectrum.size(), fft.spectrumBuffer.count);
    const double scale = fft.forwardScale();
    const double s = fft.amplitudeScale();
    const double* from = fft.spectrumData();
    auto* to = reinterpret_cast<double*>(spectrum.data());
    spectrum[0] = ScaledLines(fft).first();
    for (std::size_t i = 2; i < 2 * own; ++i) to[i] = s * (from[i] * scale);
    for (std::size_t k = own; k < spectrum.size(); ++k)
        spectrum[k] = std::conj(spectrum[fft.size() - k]);
}

/// Both spectra of mode 1.
void splitLines(const WindowedFFT<Line>& fft, std::span<Line> spectrumA, std::span<Line> spectrumB)
{
    const ScaledLines Z(fft);
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

BlockTransform::BlockTransform(std::int32_t mode) : mode_(mode), fft_(fftOf(mode)) {}

BlockTransform::ModeFFT BlockTransform::fftOf(std::int32_t mode)
{
    if (mode == HARMOTRACK_MODE_ONE_REAL) return ModeFFT(std::in_place_type<RealFFT>);
    return ModeFFT(std::in_place_type<ComplexFFT>);
}

void BlockTransform::setup(std::int32_t blockSamples, const AnalysisSetup& setup)
{
    const auto windowType = static_cast<KorLib::Dsp::Window::WindowType>(setup.windowType);
    const auto amplitudeKind = static_cast<KorLib::Dsp::Fft::AmplitudeKind>(setup.amplitudeType);
    std::visit(
        [&](auto& fft) {
            fft.setup(
                blockSamples, windowType, setup.windowParameter, amplitudeKind, setup.dcLineMode);
        },
        fft_);
}

void BlockTransform::transform(const ResampledBuffers& ring,
                               std::int32_t start,
                               bool removeMean,
                               std::span<Line> spectrumA,
                               std::span<Line> spectrumB)
{
    std::visit([&](auto& fft) { transformBlock(fft, ring, start, removeMean); }, fft_);
    if (spectrumA.empty()) return;

    readLines(spectrumA, spectrumB);
    if (mode_ == HARMOTRACK_MODE_ONE_COMPLEX) {
        const auto& fft = std::get<ComplexFFT>(fft_);
        if (fft.outputMode() == HARMOTRACK_DC_LINE_SCALED)
            spectrumA[0] *= 2.0 * fft.amplitudeScale();
    }
}

void BlockTransform::transform(const TimeBuffers& ring,
                               std::int32_t start,
                               bool removeMean,
                               std::span<Line> spectrumA,
                               std::span<Line> spectrumB)
{
    std::visit([&](auto& fft) { transformBlock(fft, ring, start, removeMean); }, fft_);
    if (spectrumA.empty()) return;

    readLines(spectrumA, spectrumB);
    if (mode_ != HARMOTRACK_MODE_TWO_REAL)
        spectrumA[0] = std::hypot(spectrumA[0].real(), spectrumA[0].imag());
}

/// The spectra of the block that was just transformed.
void BlockTransform::readLines(std::span<Line> spectrumA, std::span<Line> spectrumB) const
{
    if (mode_ == HARMOTRACK_MODE_TWO_REAL)
        splitLines(std::get<ComplexFFT>(fft_), spectrumA, spectrumB);
    else
        std::visit([&](const auto& fft) { scaleLines(fft, spectrumA); }, fft_);
}

double BlockTransform::blockMean() const
{
    return std::visit([](const auto& fft) { return fft.blockMean(); }, fft_);
}

} // namespace Velmora::OrderTracking

#pragma once

#include "dsp/fft/windowed_fft.h"
#include "harmotrack/harmotrack.h"

#include <complex>
#include <cstdint>
#include <span>
#include <variant>

namespace Velmora::OrderTracking {

/// One block of a ring becomes one spectrum, or in mode 1 two:
///
///     mode 0   X[k] = s Z[k],                                     Z of signalA
///     mode 1   A[k] = s (Z[k] + conj(Z[N-k])) / 2,                Z of signalA + j signalB
///              B[k] = s (Z[k] - conj(Z[N-k])) / 2j
///     mode 2   X[k] = s Z[k],                                     Z of signalA + j signalB
///
/// with Z[k] = (2 / N) Σ w[n] x[n] exp(-2πi kn/N), half of that at k = 0, w the amplitude-true
/// window and s the amplitude scale: a sine of amplitude 1 on a line has the modulus s there. Mode
/// 1 splits one complex transform by the symmetry that the spectra of real signals have.
///
/// All memory is taken in setup(). Threads: as WindowedFFT.
class BlockTransform {
public:
    /// Without a size and a window.
    /// @param mode  HARMOTRACK_MODE_...
    /// @throws KorLib::Dsp::Fft::FFTWLibError  FFTW is missing or incomplete
    explicit BlockTransform(std::int32_t mode);

    /// Prepares for blocks of N samples with the window, the amplitude type and the mode of line 0
    /// that `setup` has. What did not change is not made again. Errors: as WindowedFFT::setup().
    void setup(std::int32_t blockSamples, const AnalysisSetup& setup);

    /// The order form: a block of the equal-angle ring. Line 0 is the mean of the windowed block
    /// without the amplitude scale, except in mode 2 with HARMOTRACK_DC_LINE_SCALED, where it is
    /// 2 s Z[0]. Leaves the mean of binSignal over the block in blockMean().
    ///
    /// The ring is at least as long as a block, and has signalB in modes 1 and 2; neither is
    /// checked.
    ///
    /// @param start           slot of the block's first sample
    /// @param removeMean      subtract each signal's mean over the block, before the window
    /// @param[out] spectrumA  N / 2 lines, or N in the order of the transform; in mode 0 the upper
    ///                        half then holds the conjugates of the mirror lines
    /// @param[out] spectrumB  as many lines; not used in modes 0 and 2
    void transform(const ResampledBuffers& ring,
                   std::int32_t start,
                   bool removeMean,
                   std::span<std::complex<double>> spectrumA,
                   std::span<std::complex<double>> spectrumB);

    /// The time form: a block of the equal-time ring. Line 0 is as in the order form in mode 1, and
    /// the modulus of Z[0] in modes 0 and 2, where the sign of the mean so gets lost. blockMean()
    /// is 0. The parameters are those of the order form, with N / 2 lines.
    void transform(const TimeBuffers& ring,
                   std::int32_t start,
                   bool removeMean,
                   std::span<std::complex<double>> spectrumA,
                   std::span<std::complex<double>> spectrumB);

    /// Mean of binSignal over the newest block, one sum in the order of the samples.
    [[nodiscard]] double blockMean() const;

private:
    using RealFFT = KorLib::Dsp::Fft::WindowedFFT<double>;
    using ComplexFFT = KorLib::Dsp::Fft::WindowedFFT<std::complex<double>>;
    using ModeFFT = std::variant<RealFFT, ComplexFFT>;

    [[nodiscard]] static ModeFFT fftOf(std::int32_t mode);
    void readLines(std::span<std::complex<double>> spectrumA,
                   std::span<std::complex<double>> spectrumB) const;

    std::int32_t mode_;
    ModeFFT fft_;
};

} // namespace Velmora::OrderTracking

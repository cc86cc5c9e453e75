#pragma once

#include "dsp/fft/windowed_fft.h"
#include "harmotrack/harmotrack.h"

#include <complex>
#include <cstdint>
#include <span>
#include <type_traits>

namespace Velmora::OrderTracking {

/// The transform of a mode: real samples in mode 0, complex ones in modes 1 and 2.
template <int mode>
using BlockFFT =
    KorLib::Dsp::Fft::WindowedFFT<std::conditional_t<mode == 0, double, std::complex<double>>>;

// One block of a ring becomes one spectrum, or in mode 1 two:
//
//     mode 0   X[k] = s Z[k],                                     Z of signalA
//     mode 1   A[k] = s (Z[k] + conj(Z[N-k])) / 2,                Z of signalA + j signalB
//              B[k] = s (Z[k] - conj(Z[N-k])) / 2j
//     mode 2   X[k] = s Z[k],                                     Z of signalA + j signalB
//
// with Z[k] = (2 / N) Σ w[n] x[n] exp(-2πi kn/N), half of that at k = 0, w the amplitude-true
// window and s the amplitude scale: a sine of amplitude 1 on a line has the modulus s there. s and
// the window are those of fft.setup(). Mode 1 splits one complex transform by the symmetry that the
// spectra of real signals have.
//
// The ring is at least as long as a block, and has signalB in modes 1 and 2. Nothing is allocated
// or checked. N is the size of fft, spectrumB is not used in modes 0 and 2, and `start` is the slot
// of the block's first sample.

/// The order form: a block of the equal-angle ring. Line 0 is the mean of the windowed block
/// without the amplitude scale, except in mode 2 with outputMode 1, where it is 2 s Z[0]. Leaves
/// the mean of binSignal over the block in fft.blockMean().
///
/// @param[out] spectrumA  N / 2 lines, or N in the order of the transform; in mode 0 the upper half
///                        then holds the conjugates of the mirror lines
/// @param removeMean      subtract each signal's mean over the block, before the window
template <int mode>
void transformOrderBlock(BlockFFT<mode>& fft,
                         const ResampledBuffers& ring,
                         std::int32_t start,
                         bool removeMean,
                         std::span<std::complex<double>> spectrumA,
                         std::span<std::complex<double>> spectrumB);

/// The time form: a block of the equal-time ring. Line 0 is as in the order form in mode 1, and the
/// modulus of Z[0] in modes 0 and 2, where the sign of the mean so gets lost. fft.blockMean() is 0.
///
/// @param[out] spectrumA  N / 2 lines
/// @param removeMean      as in the order form
template <int mode>
void transformTimeBlock(BlockFFT<mode>& fft,
                        const TimeBuffers& ring,
                        std::int32_t start,
                        bool removeMean,
                        std::span<std::complex<double>> spectrumA,
                        std::span<std::complex<double>> spectrumB);

} // namespace Velmora::OrderTracking

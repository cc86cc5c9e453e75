#pragma once

#include <complex>
#include <cstddef>
#include <span>

namespace Velmora::OrderTracking {

// Moduli of spectral lines as the result tables keep them: the double-precision hypot of the real
// and the imaginary part, narrowed to float, to the bit, and at a fraction of hypot's time.
//
// The square root of re² + im² is within 2 ulp (double) of the modulus wherever no square leaves
// the range of double, and hypot is within 1. Both narrow to the same float unless the midpoint
// of two adjacent floats lies between them, so the root serves when it is a normal float and more
// than 4 ulp from a midpoint. All other lines (about one in 60 million of a noisy spectrum, and
// zeros, infinities, NaN and whatever lies outside float's normal range) go through hypot itself.
//
// None of the functions allocates, and all may be used on any number of lines, 0 included. `out`
// must not overlap the spectra.

/// Number of lines that a caller should take at a time when it works on moduli in a buffer on its
/// stack; any other number serves as well.
inline constexpr std::size_t kModuliChunk = 64;

/// out[k] = |spectrum[k]|
///
/// @param[out] out  as many values as the spectrum has lines
void moduli(std::span<const std::complex<double>> spectrum, float* out);

/// Positive frequencies of the complex signal a + ib, from the spectra A and B of the two real
/// signals: out[k] = 0.5 |A[k] + i B[k]|, the halving in float.
///
/// The factor takes back the doubling that every line but the first has from the normalisation of
/// the transform; for the first line see centreModulus().
void forwardModuli(std::span<const std::complex<double>> spectrumA,
                   std::span<const std::complex<double>> spectrumB,
                   float* out);

/// Negative frequencies of a + ib: out[k] = 0.5 |conj(A[k]) + i conj(B[k])|, the halving in float.
void backwardModuli(std::span<const std::complex<double>> spectrumA,
                    std::span<const std::complex<double>> spectrumB,
                    float* out);

/// Frequency 0 of a + ib: |A[0] + i B[0]|, which the normalisation has not doubled.
[[nodiscard]] float centreModulus(std::complex<double> lineA, std::complex<double> lineB);

/// The two-sided amplitude spectrum of a + ib round its centre. With L lines in each spectrum,
/// which is at least 1:
///
///     out, shape (2L - 1):   backward[L-1] ... backward[1] | centre | forward[1] ... forward[L-1]
///     column                 0                               L - 1                   2L - 2
void twoSidedModuli(std::span<const std::complex<double>> spectrumA,
                    std::span<const std::complex<double>> spectrumB,
                    float* out);

} // namespace Velmora::OrderTracking

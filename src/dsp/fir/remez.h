#pragma once

#include <cstdint>

namespace Velmora::KorLib::Dsp::Fir {

/// Linear-phase filter of least greatest weighted error, by the exchange algorithm.
///
/// Over the bands, the amplitude A(f) of a filter of N taps approaches the desired gain D(f) so
/// that the greatest W(f) |D(f) - A(f)| is as small as N allows; the error then swings between
/// equal extremes, at least r + 1 of them, with r the number of free cosine terms. The search for
/// them is the exchange of Remez on a dense grid, A between the extremes being the barycentric
/// interpolation in cos(2πf).
///
///     bands        0 |==========|          |==============| 0.5      fractions of the sample rate
///     gains          1          1          0              0          straight between its edges
///     weights             10                      1                  one a band
///
/// After Parks and McClellan, "Chebyshev approximation for nonrecursive digital filters with
/// linear phase", IEEE Transactions on Circuit Theory 19, 1972; McClellan, Parks and Rabiner, "A
/// computer program for designing optimum FIR linear phase digital filters", 1973.
///
/// @param[out] taps         shape (tapCount)
/// @param      tapCount     N; at least 1, and at least 2 unless type is 1: with no free term the
///                          function divides by zero
/// @param      bandCount    number of bands
/// @param      bands        shape (bandCount, 2), lower and upper edge as fractions of the sample
///                          rate, 0 to 0.5, rising
/// @param      gains        shape (bandCount, 2), desired gain at each edge; read in full, and
///                          their number is not checked
/// @param      weights      shape (bandCount)
/// @param      type         1: symmetric taps; 2: differentiator, antisymmetric, which weights a
///                          band of gain above 0.0001 by 1/f; any other: antisymmetric (Hilbert)
/// @param      gridDensity  grid points for each free term over 0 to 0.5; 16 serves
///
/// @return  0  converged: the extremes agree to 0.01 %
///         -1  40 exchanges did not converge; taps hold the last state
///         -2  fewer than r + 1 extremes found
///         -3  more than 2r extremes found
///
/// After -2 and -3 the taps are unwritten, and the working memory of the call, some 34 bytes a
/// grid point, stays allocated for the rest of the process.
///
/// With symmetric taps and N even, A(0.5) is 0 whatever the taps are. A band that reaches 0.5
/// then has a grid point there at which the desired gain is divided by a number near 0 and the
/// weight all but vanishes; nothing is done about it, and the search may end with -2.
///
/// With antisymmetric taps the first band is short of one grid point, or of two if it starts at 0,
/// and its last point moves to the edge; a sloping gain is spread evenly over the points there are.
///
/// A band too narrow for two grid points has no usable desired gain (0/0). Edges that are not
/// numbers, or too large to count points between, give a band no points.
///
/// Reads and writes nothing but its arguments. Any thread may call it.
/// @throws std::bad_alloc  no memory for the grid
[[nodiscard]] std::int32_t remez(double* taps,
                                 std::int32_t tapCount,
                                 std::int32_t bandCount,
                                 const double* bands,
                                 const double* gains,
                                 const double* weights,
                                 std::int32_t type,
                                 std::int32_t gridDensity);

} // namespace Velmora::KorLib::Dsp::Fir

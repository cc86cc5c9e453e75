#pragma once

#include "order_tracking/moduli.h"
#include "order_tracking/moduli_lines.h"
#include "platform/cpu_features.h"

#include <immintrin.h>

#include <bit>
#include <cstdint>
#include <limits>

/// The loop for x86-64: four lines at a time in registers of SSE2, or of AVX where it may be used.
namespace Velmora::OrderTracking::ModuliLoop {

/// Two neighbouring lines.
struct TwoLines {
    __m128d re;
    __m128d im;

    [[nodiscard]] static TwoLines read(const Line* lines)
    {
        // std::complex<double> is laid out as two doubles, real part first.
        const auto* parts = reinterpret_cast<const double*>(lines);
        const __m128d first = _mm_loadu_pd(parts);
        const __m128d second = _mm_loadu_pd(parts + 2);
        return {_mm_unpacklo_pd(first, second), _mm_unpackhi_pd(first, second)};
    }
};

// One bit a root: set where the root does not decide the float.
//
// A double is sign, 11 bits of exponent and 52 of mantissa; its upper half as an integer grows
// with its value, and infinity and NaN stand above or, by their sign, below all finite values. A
// normal float keeps the first 23 bits of the mantissa, so that the other 29 tell where the
// double lies between two floats; their midpoint is 0x10000000.
inline unsigned undecided(__m128d roots01, __m128d roots23)
{
    const __m128 halves01 = _mm_castpd_ps(roots01);
    const __m128 halves23 = _mm_castpd_ps(roots23);
    const __m128i low =
        _mm_castps_si128(_mm_shuffle_ps(halves01, halves23, _MM_SHUFFLE(2, 0, 2, 0)));
    const __m128i high =
        _mm_castps_si128(_mm_shuffle_ps(halves01, halves23, _MM_SHUFFLE(3, 1, 3, 1)));

    // Each range is moved to start at the least integer, so that one comparison sees both its ends.
    constexpr int kLeast = std::numeric_limits<int>::min();
    constexpr int kFltMinHalf = 0x38100000;
    constexpr int kFltMaxHalf = 0x47EFFFFE;
    const __m128i fromFltMin =
        _mm_add_epi32(high, _mm_set1_epi32(static_cast<int>(0x80000000U - kFltMinHalf)));
    const __m128i outside =
        _mm_cmpgt_epi32(fromFltMin, _mm_set1_epi32(kLeast + (kFltMaxHalf - kFltMinHalf)));
    // The 29 bits at the top of the word: an ulp counts 8 there, and the midpoint is the sign bit.
    constexpr int kUlp = 8;
    const __m128i from4UlpBelow = _mm_add_epi32(_mm_slli_epi32(low, 3), _mm_set1_epi32(4 * kUlp));
    const __m128i nearMidpoint = _mm_cmpgt_epi32(_mm_set1_epi32(kLeast + 9 * kUlp), from4UlpBelow);
    const __m128i any = _mm_or_si128(outside, nearMidpoint);
    return static_cast<unsigned>(_mm_movemask_ps(_mm_castsi128_ps(any)));
}

// Stores four roots as floats. Returns undecided() of them.
inline unsigned storeRoots(__m128d roots01, __m128d roots23, float* out)
{
    _mm_storeu_ps(out, _mm_movelh_ps(_mm_cvtpd_ps(roots01), _mm_cvtpd_ps(roots23)));
    return undecided(roots01, roots23);
}

// Roots of four lines. They take most of the time, and the wide unit of AVX takes four of them as
// fast as SSE2 two; both round correctly, so the bits are the same.
template <typename Spectra>
unsigned fourRoots(const Spectra& spectra, std::size_t k, float* out)
{
    return storeRoots(_mm_sqrt_pd(squares(spectra.template read<TwoLines>(k))),
                      _mm_sqrt_pd(squares(spectra.template read<TwoLines>(k + 2))),
                      out + k);
}

template <typename Spectra>
__attribute__((target("avx"))) inline unsigned
fourRootsAvx(const Spectra& spectra, std::size_t k, float* out)
{
    const __m256d roots =
        _mm256_sqrt_pd(_mm256_set_m128d(squares(spectra.template read<TwoLines>(k + 2)),
                                        squares(spectra.template read<TwoLines>(k))));
    return storeRoots(_mm256_castpd256_pd128(roots), _mm256_extractf128_pd(roots, 1), out + k);
}

// Roots of 4 to 64 lines; returns one bit a line, set where the root does not decide. Lines beyond
// the last whole four belong to four lines that overlap the ones before.
template <typename Spectra>
std::uint64_t chunkRoots(const Spectra& spectra, std::size_t count, float* out)
{
    std::uint64_t repairs = 0;
    for (std::size_t k = 0; k + 4 <= count; k += 4)
        repairs |= std::uint64_t{fourRoots(spectra, k, out)} << k;
    if (count % 4 != 0) repairs |= std::uint64_t{fourRoots(spectra, count - 4, out)} << (count - 4);
    return repairs;
}

template <typename Spectra>
__attribute__((target("avx"))) std::uint64_t
chunkRootsAvx(const Spectra& spectra, std::size_t count, float* out)
{
    std::uint64_t repairs = 0;
    for (std::size_t k = 0; k + 4 <= count; k += 4)
        repairs |= std::uint64_t{fourRootsAvx(spectra, k, out)} << k;
    if (count % 4 != 0)
        repairs |= std::uint64_t{fourRootsAvx(spectra, count - 4, out)} << (count - 4);
    return repairs;
}

#if defined(HARMOTRACK_WITHOUT_AVX) // a test builds it so, to see the other way on any machine
inline constexpr bool kHasAvx = false;
#else
inline const bool kHasAvx = Platform::hasUsableAvx();
#endif

static_assert(kModuliChunk <= 64, "the lines of a chunk have one bit each in a 64-bit word");

// Up to 64 lines: the roots first, without a branch, then hypot for those that a root does not
// decide.
template <typename Spectra>
void chunkModuli(const Spectra& spectra, std::size_t count, float* out)
{
    if (count < 4) {
        for (std::size_t k = 0; k < count; ++k)
            out[k] = exactModulus(spectra.template read<OneLine>(k));
        return;
    }
    std::uint64_t repairs =
        kHasAvx ? chunkRootsAvx(spectra, count, out) : chunkRoots(spectra, count, out);
    for (; repairs != 0; repairs &= repairs - 1) {
        const auto k = static_cast<std::size_t>(std::countr_zero(repairs));
        out[k] = exactModulus(spectra.template read<OneLine>(k));
    }
}

} // namespace Velmora::OrderTracking::ModuliLoop

#pragma once

#include <xmmintrin.h>

#include <array>
#include <cstddef>

/// The sum for x86-64, in registers of SSE.
namespace Harmotrack::Host::RowSums::X86 {

/// Σ shares[r] Σ rows[r][k] samples[k]
///
/// All rows at once, each in sums side by side, which hide the latency of the additions. By hand,
/// since of a loop over rows compilers make more shuffles than products.
///
/// @param rows     shapes (size)
/// @param size     a multiple of eight
/// @param samples  shape (size)
inline float sumOf(const std::array<const float*, 6>& rows,
                   const std::array<float, 6>& shares,
                   std::size_t size,
                   const float* samples)
{
    const auto [a, b, c, d, e, f] = rows;
    __m128 a0 = _mm_setzero_ps(), b0 = a0, c0 = a0, d0 = a0, e0 = a0, f0 = a0;
    __m128 a1 = a0, b1 = a0, c1 = a0, d1 = a0, e1 = a0, f1 = a0;
    for (std::size_t k = 0; k < size; k += 8) {
        const __m128 x0 = _mm_loadu_ps(samples + k);
        a0 = _mm_add_ps(a0, _mm_mul_ps(_mm_loadu_ps(a + k), x0));
        b0 = _mm_add_ps(b0, _mm_mul_ps(_mm_loadu_ps(b + k), x0));
        c0 = _mm_add_ps(c0, _mm_mul_ps(_mm_loadu_ps(c + k), x0));
        d0 = _mm_add_ps(d0, _mm_mul_ps(_mm_loadu_ps(d + k), x0));
        e0 = _mm_add_ps(e0, _mm_mul_ps(_mm_loadu_ps(e + k), x0));
        f0 = _mm_add_ps(f0, _mm_mul_ps(_mm_loadu_ps(f + k), x0));
        const __m128 x1 = _mm_loadu_ps(samples + k + 4);
        a1 = _mm_add_ps(a1, _mm_mul_ps(_mm_loadu_ps(a + k + 4), x1));
        b1 = _mm_add_ps(b1, _mm_mul_ps(_mm_loadu_ps(b + k + 4), x1));
        c1 = _mm_add_ps(c1, _mm_mul_ps(_mm_loadu_ps(c + k + 4), x1));
        d1 = _mm_add_ps(d1, _mm_mul_ps(_mm_loadu_ps(d + k + 4), x1));
        e1 = _mm_add_ps(e1, _mm_mul_ps(_mm_loadu_ps(e + k + 4), x1));
        f1 = _mm_add_ps(f1, _mm_mul_ps(_mm_loadu_ps(f + k + 4), x1));
    }
    const auto part = [](float share, __m128 one, __m128 other) {
        return _mm_mul_ps(_mm_set1_ps(share), _mm_add_ps(one, other));
    };
    __m128 sum = _mm_add_ps(part(shares[0], a0, a1), part(shares[1], b0, b1));
    sum = _mm_add_ps(sum, _mm_add_ps(part(shares[2], c0, c1), part(shares[3], d0, d1)));
    sum = _mm_add_ps(sum, _mm_add_ps(part(shares[4], e0, e1), part(shares[5], f0, f1)));
    sum = _mm_add_ps(sum, _mm_movehl_ps(sum, sum));
    sum = _mm_add_ss(sum, _mm_shuffle_ps(sum, sum, 1));
    return _mm_cvtss_f32(sum);
}

} // namespace Harmotrack::Host::RowSums::X86

// The kernel library: one source, built once for each instruction set (see CMakeLists.txt), always
// with the same exported functions. A host binds them by name at run time.
//
// The plain loop is the definition. The other builds walk the circular history as the two straight
// stretches that it is made of, and differ by the order of summation alone.
//
//     history       | s[n-2]  s[n-3]  s[n-4]  | s[n]  s[n-1] |
//                     0                         position
//     coefficients    c[2]    c[3]    c[4]      c[0]  c[1]

#include <cstdint>

#if defined(__AVX__)
#include <immintrin.h>
#elif !defined(VEXCALC_PLAIN_LOOP)
#include <emmintrin.h>
#endif

#ifdef _WIN32
#define VEXCALC_API extern "C" __declspec(dllexport)
#else
#define VEXCALC_API extern "C" __attribute__((visibility("default")))
#endif

/// Version of the library. Any two versions agree on this function, and `interfaceNumber` tells
/// which interface the caller was written for; of another one than 13, `valid` is 0.
VEXCALC_API void vexcalcGetVersion(std::int32_t* major,
                                   std::int32_t* minor,
                                   std::int32_t interfaceNumber,
                                   std::int32_t* valid);

/// Σ coefficients[k] history[(position + k) mod count],  k = 0 .. count - 1
///
/// @param history       shape (count), circular, the newest sample at `position`
/// @param coefficients  shape (count), the newest sample's first
/// @param count         at least 1
/// @param position      0 .. count - 1
///
/// Asks for no alignment, writes to neither array, allocates nothing; any thread may call it.
// NOLINTNEXTLINE(readability-identifier-naming): the type is part of every kernel's name
VEXCALC_API float vexcalcFIRFilter_float(const float* history,
                                         const float* coefficients,
                                         std::int32_t count,
                                         std::int32_t position);

VEXCALC_API void vexcalcGetVersion(std::int32_t* major,
                                   std::int32_t* minor,
                                   std::int32_t interfaceNumber,
                                   std::int32_t* valid)
{
    *major = 2;
    *minor = 20;
    *valid = interfaceNumber == 13 ? 1 : 0;
}

#if defined(VEXCALC_PLAIN_LOOP)

VEXCALC_API float vexcalcFIRFilter_float(const float* history,
                                         const float* coefficients,
                                         std::int32_t count,
                                         std::int32_t position)
{
    float sum = 0.0F;
    for (std::int32_t k = 0; k < count; ++k)
        sum += coefficients[k] * history[(position + k) % count];
    return sum;
}

#else

namespace {

__m128 multiplyAdd(__m128 a, __m128 b, __m128 sum)
{
#if defined(__FMA__)
    return _mm_fmadd_ps(a, b, sum);
#else
    return _mm_add_ps(_mm_mul_ps(a, b), sum);
#endif
}

#if defined(__AVX__)
__m256 multiplyAdd(__m256 a, __m256 b, __m256 sum)
{
#if defined(__FMA__)
    return _mm256_fmadd_ps(a, b, sum);
#else
    return _mm256_add_ps(_mm256_mul_ps(a, b), sum);
#endif
}
#endif

// Two elements, and zeros in the upper lanes.
__m128 loadPair(const float* a)
{
    return _mm_loadl_pi(_mm_setzero_ps(), reinterpret_cast<const __m64*>(a));
}

// Σ a[i] b[i] over any number of stretches, in lanes until the end.
class DotProduct {
public:
    // Reads nothing beyond the n elements.
    void add(const float* a, const float* b, std::int32_t n)
    {
#if defined(__AVX__)
        for (; n >= 8; n -= 8, a += 8, b += 8)
            eight_ = multiplyAdd(_mm256_loadu_ps(a), _mm256_loadu_ps(b), eight_);
#endif
        for (; n >= 4; n -= 4, a += 4, b += 4)
            four_ = multiplyAdd(_mm_loadu_ps(a), _mm_loadu_ps(b), four_);
        if (n >= 2) {
            four_ = multiplyAdd(loadPair(a), loadPair(b), four_);
            n -= 2;
            a += 2;
            b += 2;
        }
        if (n > 0) four_ = multiplyAdd(_mm_load_ss(a), _mm_load_ss(b), four_);
    }

    [[nodiscard]] float sum() const
    {
        __m128 lanes = four_;
#if defined(__AVX__)
        lanes = _mm_add_ps(lanes, _mm256_castps256_ps128(eight_));
        lanes = _mm_add_ps(lanes, _mm256_extractf128_ps(eight_, 1));
#endif
        lanes = _mm_add_ps(lanes, _mm_movehl_ps(lanes, lanes));
        return _mm_cvtss_f32(_mm_add_ss(lanes, _mm_shuffle_ps(lanes, lanes, 1)));
    }

private:
#if defined(__AVX__)
    __m256 eight_ = _mm256_setzero_ps();
#endif
    __m128 four_ = _mm_setzero_ps();
};

} // namespace

// The host has just stored the newest sample, and the one before a moment ago. A wide load over a
// narrow store waits until the store has reached the cache, which costs more than all the rest; so
// these two are read as they were written, one by one.
VEXCALC_API float vexcalcFIRFilter_float(const float* history,
                                         const float* coefficients,
                                         std::int32_t count,
                                         std::int32_t position)
{
    const float newest = coefficients[0] * history[position];
    if (count == 1) return newest;
    const std::int32_t second = position + 1 == count ? 0 : position + 1;
    const float newestTwo = newest + coefficients[1] * history[second];

    const std::int32_t rest = count - 2;
    const std::int32_t toTheEnd = count - (second + 1);
    const std::int32_t newer = toTheEnd < rest ? toTheEnd : rest;
    DotProduct product;
    product.add(coefficients + 2, history + second + 1, newer);
    product.add(coefficients + 2 + newer, history, rest - newer);
    return product.sum() + newestTwo;
}

#endif

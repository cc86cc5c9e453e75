#pragma once

#include <cmath>
#include <complex>
#include <cstddef>

/// What the loops of moduli.cpp for all processors have in common.
namespace Velmora::OrderTracking::ModuliLoop {

using Line = std::complex<double>;

/// Real and imaginary part of a line. Each loop has its own record of several lines side by side,
/// with the same two names.
struct OneLine {
    double re;
    double im;

    [[nodiscard]] static OneLine read(const Line* line) { return {line->real(), line->imag()}; }
};

template <typename Lines>
[[nodiscard]] auto squares(const Lines& lines)
{
    return lines.re * lines.re + lines.im * lines.im;
}

// The three kinds of line whose modulus is taken. Each reads line k, and those behind it that stand
// side by side in `Lines`, by the same operations.

struct OneSided {
    const Line* spectrum;

    template <typename Lines>
    [[nodiscard]] Lines read(std::size_t k) const
    {
        return Lines::read(spectrum + k);
    }
};

/// A + iB
struct Forward {
    const Line* a;
    const Line* b;

    template <typename Lines>
    [[nodiscard]] Lines read(std::size_t k) const
    {
        const Lines x = Lines::read(a + k);
        const Lines y = Lines::read(b + k);
        return {x.re - y.im, x.im + y.re};
    }
};

/// conj(A) + i conj(B)
struct Backward {
    const Line* a;
    const Line* b;

    template <typename Lines>
    [[nodiscard]] Lines read(std::size_t k) const
    {
        const Lines x = Lines::read(a + k);
        const Lines y = Lines::read(b + k);
        return {x.re + y.im, y.re - x.im};
    }
};

/// The definition, with the one answer that needs no hypot: silent lines are common.
inline float exactModulus(OneLine line)
{
    if (line.re == 0.0 && line.im == 0.0) return 0.0F;
    return static_cast<float>(std::hypot(line.re, line.im));
}

} // namespace Velmora::OrderTracking::ModuliLoop

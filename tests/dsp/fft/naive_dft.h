#pragma once

#include <complex>
#include <cstddef>
#include <numbers>
#include <vector>

namespace Velmora::KorLib::Dsp::Fft {

/// The defining sum in long double: y[k] = Σ x[n] exp(sign 2πi kn/N).
inline std::vector<std::complex<long double>>
naiveDft(const std::vector<std::complex<long double>>& x, int sign)
{
    const std::size_t N = x.size();
    std::vector<std::complex<long double>> root(N);
    for (std::size_t n = 0; n < N; ++n) {
        const long double turns = static_cast<long double>(n) / static_cast<long double>(N);
        root[n] = std::polar(
            1.0L, static_cast<long double>(sign) * 2.0L * std::numbers::pi_v<long double> * turns);
    }
    std::vector<std::complex<long double>> y(N);
    for (std::size_t k = 0; k < N; ++k)
        for (std::size_t n = 0; n < N; ++n) y[k] += x[n] * root[k * n % N];
    return y;
}

} // namespace Velmora::KorLib::Dsp::Fft

#pragma once

#include <complex>
#include <cstddef>
#include <span>

namespace Velmora::KorLib::Dsp::FrequencyDomainFilter {

/// spectrum[k] *= weights[k], for every line of the spectrum.
///
/// The product is the plain (ac - bd) + i (ad + bc). That of std::complex would look at every
/// result for NaN and call the run-time library to recover infinities from them; a spectrum is
/// finite, and where it is not, NaN is what the next step should see.
inline void multiply(std::span<std::complex<double>> spectrum, const std::complex<double>* weights)
{
    for (std::size_t k = 0; k < spectrum.size(); ++k) {
        const double a = spectrum[k].real();
        const double b = spectrum[k].imag();
        const double c = weights[k].real();
        const double d = weights[k].imag();
        spectrum[k] = {a * c - b * d, a * d + b * c};
    }
}

} // namespace Velmora::KorLib::Dsp::FrequencyDomainFilter

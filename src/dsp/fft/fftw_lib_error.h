#pragma once

#include <stdexcept>

namespace Velmora::KorLib::Dsp::Fft {

/// FFTW, or one of its functions, was not found at run time. The text is all that it carries.
class FFTWLibError : public std::runtime_error {
public:
    using std::runtime_error::runtime_error;
};

} // namespace Velmora::KorLib::Dsp::Fft

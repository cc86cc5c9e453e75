#pragma once

#include <cstdint>

namespace Velmora::KorLib::Dsp::Fft {

enum class SpectrumStatus : std::int32_t {
    Centred = 0,      ///< from the energy round a peak, in display units
    Interpolated = 1, ///< between two lines, in plain units of the component
    NoValue = 2,      ///< the position lies outside the spectrum; the value is 0
};

/// What was found at a place of a spectrum.
struct SpectrumValue {
    double frequency = 0.0; ///< the position found, in the units of the sample rate
    double value = 0.0;
    SpectrumStatus status = SpectrumStatus::Centred;
};

} // namespace Velmora::KorLib::Dsp::Fft

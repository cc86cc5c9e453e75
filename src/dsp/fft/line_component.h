#pragma once

#include <cstdint>

namespace Velmora::KorLib::Dsp::Fft {

/// What is taken from a complex line. 0, 1 and any other number give the magnitude.
enum class SpectrumComponent : std::int32_t {
    Magnitude = 0,
    PhaseDegrees = 2, ///< -180 .. 180
    PhaseRadians = 3, ///< -pi .. pi
    Real = 4,
    Imaginary = 5,
    PositivePhaseDegrees = 6, ///< 0 .. 360
};

} // namespace Velmora::KorLib::Dsp::Fft

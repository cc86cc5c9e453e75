#pragma once

#include <cstdint>

namespace Velmora::KorLib::Dsp::Fft {

/// What a spectrum shows for a line of amplitude a (of the wanted AmplitudeKind), with B the
/// window's noise bandwidth in lines and d the distance of two lines. Any other number counts as
/// Amplitude.
enum class SpectrumForm : std::int32_t {
    Amplitude = 0,        ///< a
    Power = 1,            ///< a^2
    PowerDensity = 2,     ///< a^2 / (B d)
    EnergyDensity = 3,    ///< a^2 / (B d^2)
    AmplitudeDensity = 4, ///< a / sqrt(B d)
};

} // namespace Velmora::KorLib::Dsp::Fft

#pragma once

#include <cstdint>

namespace Velmora::KorLib::Dsp::Fft {

/// How the amplitude of a sine is stated. Any other number counts as Peak.
enum class AmplitudeKind : std::int32_t {
    Peak = 0,
    Rms = 1,
    PeakToPeak = 2,
};

/// What turns a peak amplitude into one of the kind.
[[nodiscard]] constexpr double amplitudeFactor(AmplitudeKind kind)
{
    switch (kind) {
    case AmplitudeKind::Rms:
        return 0.7071067811865475;
    case AmplitudeKind::PeakToPeak:
        return 2.0;
    case AmplitudeKind::Peak:
        break;
    }
    return 1.0;
}

} // namespace Velmora::KorLib::Dsp::Fft

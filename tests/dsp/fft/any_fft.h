#pragma once

#include "dsp/fft/fft.h"

namespace Velmora::KorLib::Dsp::Fft {

/// A transform of either direction.
template <typename T>
class AnyFFT : public FFT<T> {
public:
    AnyFFT(std::uint32_t scaling, std::int32_t direction, std::uint32_t placement)
        : FFT<T>(scaling, direction, placement)
    {
    }
};

} // namespace Velmora::KorLib::Dsp::Fft

#pragma once

#include <cstdint>

namespace Velmora::KorLib::Dsp::Window {

/// Numbers by which a host names a window. The type is unsigned: a negative number of a host
/// becomes one far above the last and is refused as such.
enum class WindowType : std::uint32_t {
    Rectangle = 0,
    Hanning = 1,
    Hamming = 2,
    Flattop = 3,
    Triangle = 4,
    Blackman = 5,
    Exponential = 6,
    Transient = 7,
    BlackmanHarris = 8,
};

} // namespace Velmora::KorLib::Dsp::Window

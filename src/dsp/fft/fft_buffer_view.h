#pragma once

#include "dsp/dsp_object.h"

#include <cstdint>

namespace Velmora::KorLib::Dsp::Fft {

/// Where a transform has its samples or its lines: `count` elements from `begin` up to `end`.
/// Owns nothing, and holds until the transform's size is set again.
template <typename E>
struct FFTBufferView {
    DspObject* owner = nullptr; ///< the FFTBase object that owns the memory
    E* begin = nullptr;
    E* end = nullptr;
    std::uint64_t count = 0;
};

} // namespace Velmora::KorLib::Dsp::Fft

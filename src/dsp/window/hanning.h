#pragma once

#include "dsp/window/symmetric_window.h"

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = (1 - cos x) / 2,    x = 2 pi i / D
///
/// The raised cosine; for general use. Side lobes below -31 dB, falling by 18 dB an octave.
/// Harris, "On the use of windows for harmonic analysis with the discrete Fourier transform",
/// Proc. IEEE 66, 1978.
template <typename T>
class Hanning final : public SymmetricWindow<T> {
public:
    Hanning() = default;
    Hanning(std::uint64_t size, std::int32_t periodic);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;
};

extern template class Hanning<double>;
extern template class Hanning<float>;

} // namespace Velmora::KorLib::Dsp::Window

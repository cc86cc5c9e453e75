#pragma once

#include "dsp/window/symmetric_window.h"

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = 0.42 - 0.5 cos x + 0.08 cos 2x,    x = 2 pi i / D
///
/// Side lobes below -58 dB, falling by 18 dB an octave. At the ends of the window it is 0 but for
/// the last bit. Harris, "On the use of windows for harmonic analysis with the discrete Fourier
/// transform", Proc. IEEE 66, 1978.
template <typename T>
class Blackman final : public SymmetricWindow<T> {
public:
    Blackman() = default;
    Blackman(std::uint64_t size, std::int32_t periodic);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;
};

extern template class Blackman<double>;
extern template class Blackman<float>;

} // namespace Velmora::KorLib::Dsp::Window

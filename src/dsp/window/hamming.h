#pragma once

#include "dsp/window/symmetric_window.h"

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = 0.54 - 0.46 cos x,    x = 2 pi i / D
///
/// The raised cosine on a pedestal, which cancels the first side lobe; they stay below -42 dB.
/// Harris, "On the use of windows for harmonic analysis with the discrete Fourier transform",
/// Proc. IEEE 66, 1978.
template <typename T>
class Hamming final : public SymmetricWindow<T> {
public:
    Hamming() = default;
    Hamming(std::uint64_t size, std::int32_t periodic);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;
};

extern template class Hamming<double>;
extern template class Hamming<float>;

} // namespace Velmora::KorLib::Dsp::Window

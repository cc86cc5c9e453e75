#pragma once

#include "dsp/window/symmetric_window.h"

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = a0 - a1 cos x + a2 cos 2x - a3 cos 3x + a4 cos 4x,    x = 2 pi i / D
///
/// Reads the amplitude of a sine between two lines to 0.01 dB, with a broad line for it. Slightly
/// negative near its ends. Coefficients of D'Antona and Ferrero, "Digital signal processing for
/// measurement systems", 2006.
template <typename T>
class Flattop final : public SymmetricWindow<T> {
public:
    Flattop() = default;
    Flattop(std::uint64_t size, std::int32_t periodic);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;
};

extern template class Flattop<double>;
extern template class Flattop<float>;

} // namespace Velmora::KorLib::Dsp::Window

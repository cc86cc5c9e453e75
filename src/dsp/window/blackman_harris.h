#pragma once

#include "dsp/window/symmetric_window.h"

#include <concepts>

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = a0 - a1 cos y + a2 cos 2y - ... + a6 cos 6y,    y = 2 pi (i + 1) / D; double only.
///
/// A cosine sum of seven terms with side lobes at -180 dB, for signals of extreme dynamic range.
/// The samples are those of the sum at n = 1 .. N: the window starts one sample after the zero of
/// the sum. So the periodic form ends on that zero, and the symmetric form has it in the sample
/// before the last and goes on into the next period. Coefficients of the seven-term window of least
/// side lobes: Albrecht, "A family of cosine-sum windows for high-resolution measurements",
/// ICASSP 2001.
template <std::same_as<double> T>
class BlackmanHarris final : public SymmetricWindow<T> {
public:
    BlackmanHarris() = default;
    BlackmanHarris(std::uint64_t size, std::int32_t periodic);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;
};

extern template class BlackmanHarris<double>;

} // namespace Velmora::KorLib::Dsp::Window

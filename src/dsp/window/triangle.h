#pragma once

#include "dsp/window/symmetric_window.h"

#include <concepts>

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = 1 - |(2i - D) / D|; double only.
///
/// 0 at the start, 1 in the middle; the symmetric form ends on 0. Also known as Bartlett's window.
template <std::same_as<double> T>
class Triangle final : public SymmetricWindow<T> {
public:
    Triangle() = default;
    Triangle(std::uint64_t size, std::int32_t periodic);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;
};

extern template class Triangle<double>;

} // namespace Velmora::KorLib::Dsp::Window

#pragma once

#include "dsp/window/symmetric_window.h"

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = 1. Weights nothing: the narrowest line and the highest side lobes.
template <typename T>
class Rectangle final : public SymmetricWindow<T> {
public:
    Rectangle() = default;
    Rectangle(std::uint64_t size, std::int32_t periodic);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;
};

extern template class Rectangle<double>;
extern template class Rectangle<float>;

} // namespace Velmora::KorLib::Dsp::Window

#pragma once

#include "dsp/window/window.h"

#include <cstdint>

namespace Velmora::KorLib::Dsp::Window {

/// A window of N samples that is symmetric about its middle. Its shape is a function of i/D:
///
///     symmetric form, periodic == 0   D = N - 1   both ends alike; for the design of filters
///     periodic form, else             D = N       sample N would be sample 0; for spectra
///
/// and D is 1 where that would be less.
template <typename T>
class SymmetricWindow : public Window<T> {
public:
    void update() override = 0;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override = 0;

    /// Compares periodic().
    /// @throws std::bad_cast  other is no SymmetricWindow
    [[nodiscard]] bool equals(const Window<T>& other) const override;

    [[nodiscard]] std::int32_t periodic() const { return periodic_; }

protected:
    SymmetricWindow() = default;

    SymmetricWindow(std::uint64_t size, std::int32_t periodic) : periodic_(periodic)
    {
        this->size_ = size;
    }

    SymmetricWindow(const SymmetricWindow&) = default;
    SymmetricWindow& operator=(const SymmetricWindow&) = default;

    /// D, as the double that the shapes compute with.
    [[nodiscard]] double denominator() const;

    /// Fills the samples with shape(i, D), computed in double and rounded to T.
    template <typename Shape>
    void generate(Shape shape)
    {
        this->samples_.resize(this->size_);
        const double D = denominator();
        for (std::uint64_t i = 0; i < this->size_; ++i)
            this->samples_[i] = static_cast<T>(shape(static_cast<double>(i), D));
    }

    std::int32_t periodic_ = 0;
};

extern template class SymmetricWindow<double>;
extern template class SymmetricWindow<float>;

} // namespace Velmora::KorLib::Dsp::Window

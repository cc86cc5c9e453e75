#pragma once

#include "dsp/window/window.h"

#include <concepts>
#include <cstdint>

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = 1 for i < length, else 0; double only.
///
/// Cuts a short event out of a block. A length of 0 stands for the whole block. Its factors are 1:
/// a spectrum of a block that is cut keeps the level of what was left in it.
template <std::same_as<double> T>
class Transient final : public Window<T> {
public:
    Transient() = default;
    Transient(std::uint64_t size, std::uint64_t length);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;

    /// Compares length().
    /// @throws std::bad_cast  other is no Transient
    [[nodiscard]] bool equals(const Window<T>& other) const override;

    void setLength(std::uint64_t length);

    [[nodiscard]] std::uint64_t length() const { return length_; }

private:
    std::uint64_t length_ = 0;
};

extern template class Transient<double>;

} // namespace Velmora::KorLib::Dsp::Window

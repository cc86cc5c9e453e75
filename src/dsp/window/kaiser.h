#pragma once

#include "dsp/window/symmetric_window.h"

#include <concepts>
#include <cstdint>
#include <limits>

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = I0(beta sqrt(1 - ((i - h) / h)^2)) / I0(beta),    h = D / 2; float only.
///
/// I0 is the modified Bessel function of the first kind of order 0. beta trades the width of the
/// main lobe for the height of the side lobes; 0 gives a rectangle. Used to design filters, so the
/// correction factors are never set and stay 0. Kaiser, "Nonrecursive digital filter design using
/// the I0-sinh window function", IEEE Symp. Circuits and Systems, 1974.
template <std::same_as<float> T>
class Kaiser final : public SymmetricWindow<T> {
public:
    Kaiser() = default;

    /// @throws std::domain_error  beta is negative
    Kaiser(std::uint64_t size, std::int32_t periodic, double beta);

    /// The window that designs a filter of given slope. With A = attenuation in dB:
    ///
    ///     size = ceil((max(8, |A|) - 7.95) sampleRate / (2.285 * 2 pi transitionWidth)) + 1
    ///     beta = 0.1102 (A - 8.7)                          A above 50
    ///            0.5842 (A - 21)^0.4 + 0.07886 (A - 21)    A above 21
    ///            0                                         else, also for a negative A
    ///
    /// @param sampleRate       in Hz
    /// @param transitionWidth  from the end of the pass band to the stop band, in Hz
    /// @throws std::length_error, std::bad_alloc  the size is beyond all memory, as with a
    ///                         transitionWidth of 0. A size that is negative or NaN counts as 0.
    Kaiser(double sampleRate, double transitionWidth, double attenuation, std::int32_t periodic);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;

    [[nodiscard]] double beta() const { return beta_; }

    /// Bounds of an iteration for I0, kept with the object; the standard library's I0 needs none.
    [[nodiscard]] std::int32_t iterationLimit() const { return iterationLimit_; }

    [[nodiscard]] double tolerance() const { return tolerance_; }

private:
    std::int32_t iterationLimit_ = 200;
    double tolerance_ = std::numeric_limits<double>::epsilon();
    double beta_ = 0.0;
};

extern template class Kaiser<float>;

} // namespace Velmora::KorLib::Dsp::Window

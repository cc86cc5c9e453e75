#pragma once

#include "dsp/window/window.h"

#include <concepts>
#include <cstdint>

namespace Velmora::KorLib::Dsp::Window {

/// w[i] = exp(i ln(finalValue) / N); double only.
///
/// Adds a known decay to the response to an impact. The final value belongs to index N, one past
/// the last sample. The factors are measured from the samples, with <.> the mean over them:
///
///     amplitudeCorrection   1 / <w>
///     noiseBandwidth        <w^2> / <w>^2
///     energyCorrection      1 / <w^2>, no root: this one acts on squares, unlike that of the other
///                           shapes
///     energyToAmplitude     NaN
///
/// Without a valid final value (0, as in a new object) sample 0 is NaN, the others are 0 and all
/// factors are NaN. A window of size 0 sets amplitudeCorrection to 0 and leaves the other factors
/// as they were.
template <std::same_as<double> T>
class Exponential final : public Window<T> {
public:
    Exponential() = default;
    Exponential(std::uint64_t size, double finalValue);

    void update() override;
    [[nodiscard]] std::unique_ptr<Window<T>> clone() const override;

    /// Compares finalValue(), within the machine's epsilon.
    /// @throws std::bad_cast  other is no Exponential
    [[nodiscard]] bool equals(const Window<T>& other) const override;

    /// @param value  in (0, 1]; any other leaves the final value as it is. Generates either way.
    void setFinalValue(double value);

    [[nodiscard]] double finalValue() const { return finalValue_; }

private:
    void measureCorrectionFactors();

    double finalValue_ = 0.0;
};

extern template class Exponential<double>;

} // namespace Velmora::KorLib::Dsp::Window

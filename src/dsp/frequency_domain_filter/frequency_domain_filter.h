#pragma once

#include "dsp/dsp_object.h"

#include <complex>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace Velmora::KorLib::Dsp::FrequencyDomainFilter {

/// The weightings, by their response H(f) at a frequency f in hertz.
///
/// The curves A, B and C are those of sound level meters (IEC 61672-1, B of IEC 60651), from poles
/// at 20.6, 107.7, 158.5, 737.9 and 12194 Hz, with gains of 2, 0.17 and 0.06 dB that make them 1
/// at 1 kHz. D has the form of the curve of IEC 60537 and constants of its own: the two last ones
/// are squared once more, which puts their poles at 80 kHz and 1.3 MHz. All four are real; the
/// phase of an analogue meter is left out.
///
/// Integration and differentiation are those of a line at f: from acceleration to velocity or
/// displacement, or back. A line at exactly 0 Hz integrates to 0, not to infinity.
enum class WeightingType : std::uint32_t {
    A = 0,
    B = 1,
    C = 2,
    D = 3,
    Linear = 4,              ///< 1
    Integrate = 5,           ///< -i / (2πf), 0 at f = 0
    DoubleIntegrate = 6,     ///< -1 / (2πf)², 0 at f = 0
    Differentiate = 7,       ///< i 2πf
    DoubleDifferentiate = 8, ///< -(2πf)²; any number above has the response 0
};

/// What a filter derives at its frequencies.
enum class OutputMode : std::uint32_t {
    Linear = 0,   ///< response() = H, magnitude() = |H|
    Decibels = 1, ///< response() = 0, magnitude() = 20 log10 |H|, -infinity where H is 0;
                  ///< any number above as well
};

/// The weighting that a setup's number selects:
///
///     1 A    2 C    3 Integrate    4 DoubleIntegrate    5 Differentiate    6 DoubleDifferentiate
///
/// and Linear for any other. Curves B and D have no number.
[[nodiscard]] WeightingType weightingFromSetup(std::uint32_t number);

/// Response of a weighting at a list of frequencies, and its product with a spectrum.
///
///     frequencies()[k] = start + k step                in hertz
///     response()[k]    = H(frequencies()[k])           complex, without unit for A to Linear
///     apply():           spectrum[k] *= response()[k]
///
/// Each setter recomputes at once, unless a bracket of beginUpdate() and endUpdate() is open. The
/// setters allocate; apply() does not. Threads: as DspObject tells. T is double.
template <typename T>
class FrequencyDomainFilter : public DspObject {
public:
    /// Curve A at no frequencies.
    FrequencyDomainFilter() = default;

    void setOutputMode(OutputMode outputMode);
    void setWeighting(WeightingType weighting);

    /// Takes `count` frequencies, of which the first is `start`; all in hertz.
    void setFrequencies(T start, T step, std::size_t count);

    [[nodiscard]] OutputMode outputMode() const { return outputMode_; }

    [[nodiscard]] WeightingType weighting() const { return weighting_; }

    [[nodiscard]] const std::vector<T>& frequencies() const { return frequencies_; }

    [[nodiscard]] const std::vector<T>& magnitude() const { return magnitude_; }

    [[nodiscard]] const std::vector<std::complex<T>>& response() const { return response_; }

    /// H(f) of the weighting set, at any one frequency and in any output mode.
    [[nodiscard]] std::complex<T> response(T frequency) const;

    /// Multiplies a spectrum by the response, in place. An output mode above Decibels multiplies
    /// by the zeros of its response.
    ///
    /// @param[in,out] spectrum  shape (number of frequencies)
    /// @throws std::exception   what() is "Size of spectrum must equal filter size", for any other
    ///                          shape; or "Decibels filter cannot be applied to complex spectrum"
    void apply(std::span<std::complex<T>> spectrum) const;

    void update() override;

private:
    OutputMode outputMode_ = OutputMode::Linear;
    WeightingType weighting_ = WeightingType::A;
    std::vector<T> frequencies_;
    std::vector<T> magnitude_;
    std::vector<std::complex<T>> response_;
};

extern template class FrequencyDomainFilter<double>;

} // namespace Velmora::KorLib::Dsp::FrequencyDomainFilter

#include "order_tracking/harmonics.h"

#include "dsp/to_integer.h"
#include "dsp/window/correction_factor.h"
#include "order_tracking/order_analyzer.h"

#include <cmath>
#include <cstddef>
#include <numbers>

namespace Velmora::OrderTracking {
namespace {

/// The value of a line, 0 outside the spectrum.
std::complex<double> lineOrZero(std::span<const std::complex<double>> spectrum, std::int32_t line)
{
    const bool inside = line >= 0 && static_cast<std::size_t>(line) < spectrum.size();
    return inside ? spectrum[static_cast<std::size_t>(line)] : std::complex<double>{};
}

/// What brings a line of some amplitude type back to a peak amplitude.
float toPeak(std::int32_t amplitudeType)
{
    if (amplitudeType == HARMOTRACK_AMPLITUDE_RMS) return 1.4142135F;
    if (amplitudeType == HARMOTRACK_AMPLITUDE_PEAK_TO_PEAK) return 0.5F;
    return 1.0F;
}

/// RMS of the signal from its amplitude spectrum, by Parseval: half the sum of the squared peak
/// amplitudes is the mean square, once the window's noise bandwidth is taken out.
float overallLevel(std::span<const float> row, float toPeakFactor, float energyToAmplitude)
{
    // Of some numbers the power of the C library is not their product with themselves in the last
    // place. Compilers would make one of the other for an exponent that they know.
    const volatile float two = 2.0F;
    const float exponent = two;

    float sum = 0.0F;
    for (const float amplitude : row) sum += std::pow(toPeakFactor * amplitude, exponent);
    sum *= 0.5F;
    return std::sqrt(sum) * energyToAmplitude;
}

} // namespace

/// What phaseReference adds to phases.
double OrderAnalyzer::quarterTurn() const
{
    const bool asSine = analysisSetup_->phaseReference == HARMOTRACK_PHASE_REFERENCE_SINE;
    return asSine ? std::numbers::pi / 2.0 : 0.0;
}

/// The angle, in radians per order, by which a block's lines are turned to the shaft.
double OrderAnalyzer::phaseOffset(double shaftAngle, SpectrumView spectrum) const
{
    if (analysisSetup_->phaseMode != HARMOTRACK_PHASE_MODE_FIRST_ORDER)
        return -(shaftAngle * std::numbers::pi / 180.0);

    const float line = std::round(1.0F / orderSetup_->orderResolution);
    const std::complex<double> firstOrder =
        lineOrZero(spectrum, KorLib::Dsp::toInt32(static_cast<double>(line)));
    return -std::atan2(firstOrder.imag(), firstOrder.real()) - quarterTurn();
}

/// The value of each harmonic in an order spectrum, with its phase against the shaft.
///
/// @param position    sample position of the block, for fractional orders
/// @param shaftAngle  degrees, at the block's first sample, for integer orders
/// @param spectrum    order spectrum A or B of this analyzer
/// @return shape (harmonics)
auto OrderAnalyzer::extractHarmonics(std::int64_t position,
                                     double shaftAngle,
                                     SpectrumView spectrum) const -> HarmonicValues
{
    HarmonicValues values(harmonics_.size());
    if (values.empty()) return values;

    const double reference = phaseOffset(shaftAngle, spectrum);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const HarmonicRecord& harmonic = harmonics_[i];
        values[i] = harmonic.fractional ? fractionalHarmonic(harmonic, position, spectrum)
                                        : integerHarmonic(harmonic, reference, spectrum);
    }
    return values;
}

/// An integer order has whole cycles in a revolution: its phase at a shaft angle is the same in
/// every turn, so the angle refers it.
std::complex<float> OrderAnalyzer::integerHarmonic(const HarmonicRecord& harmonic,
                                                   double reference,
                                                   SpectrumView spectrum) const
{
    const double x = harmonic.line * reference * static_cast<double>(orderSetup_->orderResolution) +
                     quarterTurn();
    return turned(lineOrZero(spectrum, harmonic.line), x);
}

/// A fractional order's phase goes on from turn to turn: what a steady component has gained since
/// the first block is taken away, and the rest is its drift.
std::complex<float> OrderAnalyzer::fractionalHarmonic(const HarmonicRecord& harmonic,
                                                      std::int64_t position,
                                                      SpectrumView spectrum) const
{
    // The start phases of both signals are equal in mode 1, and there is no B in the others.
    const double startPhase =
        spectrum.data() == orderSpectrumA_.data() ? harmonic.startPhaseA : harmonic.startPhaseB;
    const double perSample = std::numbers::pi / orderSetup_->maxOrder;
    const double phase = static_cast<double>(position - harmonic.startPosition) * perSample *
                             static_cast<double>(harmonic.order) +
                         startPhase;
    const double re = realPart_.valueAtLine(spectrum, harmonic.line, kEvaluatorHalfWidth).value;
    const double im =
        imaginaryPart_.valueAtLine(spectrum, harmonic.line, kEvaluatorHalfWidth).value;
    return turned({re, im}, -phase);
}

/// Overall level of a bin, from the rows just stored: with what averaging and weighting made of
/// them.
void OrderAnalyzer::updateOverall(std::int32_t bin)
{
    using KorLib::Dsp::Window::CorrectionType;
    using KorLib::Dsp::Window::WindowType;

    const auto row = static_cast<std::uint64_t>(bin);
    const auto lines = static_cast<std::size_t>(timeFFT_.size / 2);
    const float peak = toPeak(analysisSetup_->amplitudeType);
    const auto factor = KorLib::Dsp::Window::correctionFactor<float>(
        static_cast<WindowType>(static_cast<std::uint32_t>(analysisSetup_->windowType)),
        CorrectionType::EnergyToAmplitude);

    results_.overallA[row] = overallLevel({results_.timeA.row(row), lines}, peak, factor);
    if (twoSignals())
        results_.overallB[row] = overallLevel({results_.timeB.row(row), lines}, peak, factor);
}

} // namespace Velmora::OrderTracking

#include "dsp/fft/fft_spectum_calculation.h"

#include "dsp/window/correction_factor.h"
#include "dsp/window/window.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <numbers>

namespace Velmora::KorLib::Dsp::Fft {

namespace {

// A peak's energy is gathered from so many lines on each side of it.
constexpr std::int64_t kEnergyHalfWidth = 3;

// A peak must rise and fall over so many lines on each side.
constexpr std::int64_t kSlopeLines = 2;

double squared(double x)
{
    return x * x;
}

double phaseDegrees(std::complex<double> line)
{
    return std::atan2(line.imag(), line.real()) * 180.0 / std::numbers::pi;
}

} // namespace

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::update()
{
    updateWindowFactors();
    lineSpacing_ = sampleRate_ / (2.0 * static_cast<double>(lines_));
}

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::updateWindowFactors()
{
    using Window::CorrectionType;
    using Window::WindowType;

    if (windowType_ == WindowType::Exponential && lines_ != 0) {
        const auto window =
            Window::Window<double>::create(windowType_, 2 * lines_, 1, windowParameter_);
        noiseBandwidth_ = window->noiseBandwidth();
        fourthFactor_ = window->noiseBandwidth();
        return;
    }
    noiseBandwidth_ = Window::correctionFactor<double>(windowType_, CorrectionType::NoiseBandwidth);
    fourthFactor_ =
        Window::correctionFactor<double>(windowType_, CorrectionType::EnergyToAmplitude);
}

template <std::same_as<double> T>
SpectrumValue FFTSpectumCalculation<T>::valueAtLine(Spectrum spectrum,
                                                    std::int32_t line,
                                                    std::int32_t halfWidth) const
{
    const double position = line * lineSpacing_;
    const std::int64_t n = std::ssize(spectrum);
    if (line < 0 || line >= n) return {position, 0.0, SpectrumStatus::NoValue};

    const auto center = static_cast<std::int64_t>(line);
    return valueAtFrequency(spectrum,
                            position,
                            std::max(center - halfWidth, std::int64_t{0}),
                            std::min(n - 1, center + halfWidth));
}

template <std::same_as<double> T>
SpectrumValue FFTSpectumCalculation<T>::valueAtFrequency(Spectrum spectrum,
                                                         double frequency,
                                                         std::int64_t first,
                                                         std::int64_t last) const
{
    const std::int64_t n = std::ssize(spectrum);
    const double end = static_cast<double>(n - 1) * lineSpacing_;
    if (n == 0 || frequency < 0.0 || frequency >= end)
        return {frequency, 0.0, SpectrumStatus::NoValue};
    if (isPhase()) return interpolated(spectrum, frequency);

    const std::int64_t peak = peakLine(spectrum, first, last);
    if (!isPeak(spectrum, peak)) return interpolated(spectrum, frequency);

    // A result more than half as large again as the line itself is no single peak's energy.
    const EnergySums sums = energyAround(spectrum, peak);
    const double value = displayValue(std::sqrt(sums.energy / noiseBandwidth_));
    if (sums.energy > 0.0 && valueOf(spectrum, peak) * 1.5 >= value)
        return {sums.moment / sums.energy, value, SpectrumStatus::Centred};
    return interpolated(spectrum, frequency);
}

template <std::same_as<double> T>
bool FFTSpectumCalculation<T>::isPhase() const
{
    return component_ == SpectrumComponent::PhaseDegrees ||
           component_ == SpectrumComponent::PhaseRadians ||
           component_ == SpectrumComponent::PositivePhaseDegrees;
}

template <std::same_as<double> T>
double FFTSpectumCalculation<T>::valueOf(Spectrum spectrum, std::int64_t line) const
{
    return componentValue(spectrum[static_cast<std::size_t>(line)]);
}

// The line of the greatest value, the lowest of equal ones.
template <std::same_as<double> T>
std::int64_t
FFTSpectumCalculation<T>::peakLine(Spectrum spectrum, std::int64_t first, std::int64_t last) const
{
    std::int64_t peak = first;
    double greatest = valueOf(spectrum, first);
    for (std::int64_t k = first + 1; k <= last; ++k) {
        const double value = valueOf(spectrum, k);
        if (value > greatest) {
            peak = k;
            greatest = value;
        }
    }
    return peak;
}

// Whether no line of a slope stands above its neighbour on the side of the peak. Slopes end with
// the spectrum.
template <std::same_as<double> T>
bool FFTSpectumCalculation<T>::isPeak(Spectrum spectrum, std::int64_t peak) const
{
    for (std::int64_t s = 0; s < kSlopeLines; ++s) {
        const std::int64_t left = peak - s;
        if (left > 0 && valueOf(spectrum, left - 1) > valueOf(spectrum, left)) return false;
        const std::int64_t right = peak + s;
        if (right + 1 < std::ssize(spectrum) &&
            valueOf(spectrum, right + 1) > valueOf(spectrum, right))
            return false;
    }
    return true;
}

// The upper end is cut at the last line, the lower one is not: a peak so near to line 0 overlaps
// the mean and its own mirror image, and has no energy of its own.
template <std::same_as<double> T>
auto FFTSpectumCalculation<T>::energyAround(Spectrum spectrum, std::int64_t peak) const
    -> EnergySums
{
    EnergySums sums{0.0, 0.0};
    if (peak < kEnergyHalfWidth) return sums;
    const std::int64_t last = std::min(std::ssize(spectrum) - 1, peak + kEnergyHalfWidth);
    for (std::int64_t k = peak - kEnergyHalfWidth; k <= last; ++k) {
        const double w = squared(amplitudeValue(valueOf(spectrum, k)));
        sums.energy += w;
        sums.moment += static_cast<double>(k) * w * lineSpacing_;
    }
    return sums;
}

template <std::same_as<double> T>
SpectrumValue FFTSpectumCalculation<T>::interpolated(Spectrum spectrum, double frequency) const
{
    // In this order a NaN, of a spacing that is none, becomes line 0.
    const double below = std::max(0.0, std::floor(frequency / lineSpacing_));
    if (below >= static_cast<double>(std::ssize(spectrum) - 1))
        return {frequency, 0.0, SpectrumStatus::NoValue};

    const auto b = static_cast<std::int64_t>(below);
    const double valueBelow = valueOf(spectrum, b);
    const double valueAbove = valueOf(spectrum, b + 1);
    const double share = (frequency - below * lineSpacing_) / lineSpacing_;
    return {
        frequency, valueBelow + share * (valueAbove - valueBelow), SpectrumStatus::Interpolated};
}

template <std::same_as<double> T>
double FFTSpectumCalculation<T>::displayValue(double amplitude) const
{
    const double a = amplitude * amplitudeFactor(amplitudeKind_);
    switch (form_) {
    case SpectrumForm::Power:
        return squared(a);
    case SpectrumForm::PowerDensity:
        return squared(a) / (noiseBandwidth_ * lineSpacing_);
    case SpectrumForm::EnergyDensity:
        return squared(a) / (squared(lineSpacing_) * noiseBandwidth_);
    case SpectrumForm::AmplitudeDensity:
        return a / std::sqrt(noiseBandwidth_ * lineSpacing_);
    case SpectrumForm::Amplitude:
        break;
    }
    return a;
}

template <std::same_as<double> T>
double FFTSpectumCalculation<T>::amplitudeValue(double display) const
{
    const double factor = amplitudeFactor(amplitudeKind_);
    switch (form_) {
    case SpectrumForm::Power:
        return std::sqrt(display) / factor;
    case SpectrumForm::PowerDensity:
        return std::sqrt(display * lineSpacing_ * noiseBandwidth_) / factor;
    case SpectrumForm::EnergyDensity:
        return std::sqrt(squared(lineSpacing_) * display * noiseBandwidth_) / factor;
    case SpectrumForm::AmplitudeDensity:
        return display * std::sqrt(noiseBandwidth_ * lineSpacing_) / factor;
    case SpectrumForm::Amplitude:
        break;
    }
    return display / factor;
}

template <std::same_as<double> T>
double FFTSpectumCalculation<T>::componentValue(std::complex<T> line) const
{
    switch (component_) {
    case SpectrumComponent::PhaseDegrees:
        return phaseDegrees(line);
    case SpectrumComponent::PhaseRadians:
        return std::atan2(line.imag(), line.real());
    case SpectrumComponent::Real:
        return line.real();
    case SpectrumComponent::Imaginary:
        return line.imag();
    case SpectrumComponent::PositivePhaseDegrees: {
        const double degrees = phaseDegrees(line);
        return degrees < 0.0 ? degrees + 360.0 : degrees;
    }
    case SpectrumComponent::Magnitude:
        break;
    }
    return std::hypot(line.real(), line.imag());
}

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::setAmplitudeKind(AmplitudeKind kind)
{
    amplitudeKind_ = kind;
    changed();
}

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::setForm(SpectrumForm form)
{
    form_ = form;
    changed();
}

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::setComponent(SpectrumComponent component)
{
    component_ = component;
    changed();
}

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::setLines(std::uint64_t lines)
{
    lines_ = lines;
    changed();
}

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::setSampleRate(double sampleRate)
{
    sampleRate_ = sampleRate;
    changed();
}

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::setWindowType(Window::WindowType type)
{
    windowType_ = type;
    changed();
}

template <std::same_as<double> T>
void FFTSpectumCalculation<T>::setWindowParameter(double parameter)
{
    windowParameter_ = parameter;
    changed();
}

template class FFTSpectumCalculation<double>;

} // namespace Velmora::KorLib::Dsp::Fft

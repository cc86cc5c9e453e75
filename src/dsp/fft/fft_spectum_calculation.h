#pragma once

#include "dsp/dsp_object.h"
#include "dsp/fft/amplitude_kind.h"
#include "dsp/fft/line_component.h"
#include "dsp/fft/line_form.h"
#include "dsp/fft/line_value.h"
#include "dsp/window/window_type.h"

#include <complex>
#include <concepts>
#include <cstdint>
#include <span>

namespace Velmora::KorLib::Dsp::Fft {

/// Reads a finished spectrum: the value at a line or a frequency, with a true peak nearby if there
/// is one, and the conversion between the amplitude of a line and what a SpectrumForm shows.
///
/// A spectrum is n lines from line 0 on, line k at k * lineSpacing(), where
///
///     lineSpacing = sampleRate / (2 lines)
///
/// A sine between two lines spreads over the few lines round it, each too low. When those rise to
/// one peak p and fall from it, the energy of the peak gives the amplitude and its centre of
/// gravity the position,
///
///     v[k]       amplitude of line k, p - 3 <= k <= p + 3
///     amplitude  sqrt(sum v[k]^2 / noiseBandwidth)
///     position   sum k v[k]^2 / sum v[k]^2 * lineSpacing
///
/// and the result is Centred. Where no such peak stands, and for phases always, the component is
/// interpolated between the two lines round the asked position. A Centred value is in display
/// units; an Interpolated one is the component itself, without the conversion of the form.
///
/// The parameters start at zero, and so do the derived numbers until the first update. Setters
/// recompute these (see DspObject: bracket several). Reading changes nothing and allocates nothing,
/// so one object serves any number of spectra, and any number of threads as long as no parameter
/// changes. T is double alone.
template <std::same_as<double> T>
class FFTSpectumCalculation final : public DspObject {
public:
    using Spectrum = std::span<const std::complex<T>>;

    /// Recomputes lineSpacing(), noiseBandwidth() and fourthFactor(). The bandwidth is the
    /// constant of the window's shape, but that of an Exponential is measured on one of 2 * lines()
    /// samples; without a valid final value, or without lines, it is NaN, and then no value is ever
    /// Centred. With no lines the spacing is what division by zero gives.
    /// @throws std::invalid_argument  "Unsupported window type."; no derived number has changed
    void update() override;

    /// @param line       any number; outside the spectrum, or at its last line, there is NoValue
    /// @param halfWidth  how far from the line a peak may stand, in lines; at least 0
    [[nodiscard]] SpectrumValue
    valueAtLine(Spectrum spectrum, std::int32_t line, std::int32_t halfWidth) const;

    /// @param frequency  0 up to that of the last line, which is excluded; NoValue elsewhere
    /// @param first      where the search for a peak begins; a line of the spectrum, not checked
    /// @param last       where it ends, inclusive; below first it stands for first. A line of the
    ///                   spectrum, not checked
    [[nodiscard]] SpectrumValue valueAtFrequency(Spectrum spectrum,
                                                 double frequency,
                                                 std::int64_t first,
                                                 std::int64_t last) const;

    /// What the form shows for a peak amplitude.
    [[nodiscard]] double displayValue(double amplitude) const;

    /// The peak amplitude for which the form shows a value: the inverse of displayValue().
    [[nodiscard]] double amplitudeValue(double display) const;

    [[nodiscard]] double componentValue(std::complex<T> line) const;

    void setAmplitudeKind(AmplitudeKind kind);
    void setForm(SpectrumForm form);
    void setComponent(SpectrumComponent component);
    void setLines(std::uint64_t lines);
    void setSampleRate(double sampleRate);
    void setWindowType(Window::WindowType type);

    /// @param parameter  of an Exponential its final value; other windows ignore it
    void setWindowParameter(double parameter);

    [[nodiscard]] AmplitudeKind amplitudeKind() const { return amplitudeKind_; }

    [[nodiscard]] SpectrumForm form() const { return form_; }

    [[nodiscard]] SpectrumComponent component() const { return component_; }

    [[nodiscard]] std::uint64_t lines() const { return lines_; }

    [[nodiscard]] double sampleRate() const { return sampleRate_; }

    [[nodiscard]] Window::WindowType windowType() const { return windowType_; }

    [[nodiscard]] double windowParameter() const { return windowParameter_; }

    /// Distance of two lines, in the units of the sample rate.
    [[nodiscard]] double lineSpacing() const { return lineSpacing_; }

    /// In lines.
    [[nodiscard]] double noiseBandwidth() const { return noiseBandwidth_; }

    /// The window's energyToAmplitude factor; of an Exponential its noise bandwidth once more.
    [[nodiscard]] double fourthFactor() const { return fourthFactor_; }

private:
    struct EnergySums {
        double energy;
        double moment; // energy times frequency
    };

    void updateWindowFactors();
    [[nodiscard]] bool isPhase() const;
    [[nodiscard]] double valueOf(Spectrum spectrum, std::int64_t line) const;
    [[nodiscard]] std::int64_t
    peakLine(Spectrum spectrum, std::int64_t first, std::int64_t last) const;
    [[nodiscard]] bool isPeak(Spectrum spectrum, std::int64_t peak) const;
    [[nodiscard]] EnergySums energyAround(Spectrum spectrum, std::int64_t peak) const;
    [[nodiscard]] SpectrumValue interpolated(Spectrum spectrum, double frequency) const;

    SpectrumForm form_{};
    AmplitudeKind amplitudeKind_{};
    SpectrumComponent component_{};
    Window::WindowType windowType_{};
    double windowParameter_ = 0.0;
    double lineSpacing_ = 0.0;
    double noiseBandwidth_ = 0.0;
    double fourthFactor_ = 0.0;
    double sampleRate_ = 0.0;
    std::uint64_t lines_ = 0;
};

extern template class FFTSpectumCalculation<double>;

} // namespace Velmora::KorLib::Dsp::Fft

#pragma once

#include "dsp/dsp_object.h"
#include "dsp/fir/aligned_floats.h"
#include "dsp/window/window.h"

#include <array>
#include <complex>
#include <cstdint>
#include <memory>
#include <vector>

namespace Velmora::KorLib::Dsp::Fir {

/// Where the coefficients come from.
enum class FilterDesign : std::int32_t {
    WindowMethod = 0,
    Equiripple = 1,
    Custom = 2,
};

enum class FilterType : std::int32_t {
    LowPass = 0,
    HighPass = 1,
    BandPass = 2,
    BandStop = 3,
    Hilbert = 4,
};

/// The windows of the window method, under numbers of their own: not those of Window::WindowType.
enum class FilterWindow : std::int32_t {
    Blackman = 0,
    Rectangle = 1,
    Hamming = 2,
    Hanning = 3,
    Kaiser = 4,
    Flattop = 5,
};

/// A single-precision FIR filter that designs its own coefficients.
///
///     y[n] = Σ c[k] x[n - k],    k = 0 .. taps - 1
///
/// The taps number order + 1, and order exactly if the coefficients are given. The setters design
/// at once, or once at the end of a bracket of beginUpdate() and endUpdate(); a description that
/// makes no filter leaves the former coefficients and shows in status() alone.
///
/// **Window method.** The ideal response in the time domain, cut off by a window. With
/// d = i - order/2 (integer division), w1 = 2 cutoff1/sampleRate, w2 alike, lo and hi the lesser
/// and the greater of both:
///
///     LowPass     sin(πd w1)/(πd)                         w1 at d = 0
///     HighPass    -sin(πd w1)/(πd), w1 as a float         1 - w1
///     BandPass    sin(πd hi)/(πd) - sin(πd lo)/(πd)       hi - lo
///     BandStop    sin(πd lo)/(πd) - sin(πd hi)/(πd)       1 - (hi - lo)
///     Hilbert     2/(πd) for odd d, 0 for even d          0
///
/// An even order has its middle tap at d = 0 and is symmetric (Hilbert: antisymmetric); an odd
/// order leans to one side by half a sample. The coefficients are then divided by the gain at 0
/// (LowPass, BandStop), at half the sample rate (HighPass), between the cutoffs (BandPass) or at a
/// quarter of the sample rate (Hilbert). See Oppenheim and Schafer, "Discrete-Time Signal
/// Processing", on design by windowing; for the order, Kaiser 1974.
///
/// **Equiripple.** See remez(). Its result -1 is not reported; after -2 and -3 all coefficients
/// are 0, with status() 0. Even numbers of taps with a band that reaches half the sample rate may
/// end so.
///
/// **What lasts.** A setter writes the fields that it names, and the others keep what an earlier
/// one wrote: cutoffs of a former window design take part in isValid(), band edges once filled
/// stay, and once a window design was set, every later design and also given coefficients are
/// divided by the gain at the frequency of the type that was set last.
///
/// **Memory.** Every design allocates anew; process() allocates nothing. A window design of type
/// LowPass, HighPass or BandPass does not free the coefficients that it replaces, whoever made
/// them: 4 bytes a tap stay allocated for the rest of the process. The other types, equiripple
/// designs and given coefficients free them.
///
/// **Threads.** One at a time uses a filter, and a design must not run beside process().
class Filter : public DspObject {
public:
    /// status(): what the last design came to.
    static constexpr std::int32_t kDesigned = 0;
    static constexpr std::int32_t kInvalidDescription = 1;
    static constexpr std::int32_t kNotConverged = 2; // overwritten before a setter returns

    /// No coefficients, every parameter 0.
    Filter() = default;

    /// Designs by the window method. The order follows from the width of the transition:
    ///
    ///     Kaiser    ceil((max(8, |attenuation|) - 7.95) sampleRate / (2.285 · 2π transitionWidth))
    ///     others    round(factor · sampleRate / (4 transitionWidth)), with the factor 11.13
    ///               Blackman, 1.84 Rectangle, 6.64 Hamming, 6.22 Hanning, 4 Flattop
    ///
    /// An order that no 32-bit integer holds makes an invalid description. A filterType above
    /// Hilbert leaves no coefficients, with status() 0: such a filter must not process.
    ///
    /// @param transitionWidth  in hertz
    /// @param sampleRate       in hertz
    /// @param cutoff1          in hertz, the edge of LowPass and HighPass; 0 will do for Hilbert
    /// @param cutoff2          in hertz, the other edge of BandPass and BandStop, in either order;
    ///                         other types do not store it
    /// @param windowType       one of the six; no other number may be passed
    /// @param attenuation      in decibels, of the stop band; stored for Kaiser only, which takes
    ///                         its shape from it
    void setWindowDesign(FilterType filterType,
                         double transitionWidth,
                         double sampleRate,
                         double cutoff1,
                         double cutoff2,
                         FilterWindow windowType,
                         double attenuation);

    /// Designs by remez(), with weight 1 in every band.
    ///
    /// Without edges, edges and gains come from the last window design: with h half the sample
    /// rate, f = cutoff / (2h) and w = transitionWidth / h, which unlike f is not halved,
    ///
    ///     LowPass, HighPass      0 .. f1 - w,  f1 .. 0.5                   gains 1 0, 0 1
    ///     BandPass, BandStop     0 .. f1 - w,  f1 .. f2,  f2 + w .. 0.5    gains 0 1 0, 1 0 1
    ///
    /// and no gains, but the edges of a LowPass, for any other type. They are stored as if they
    /// had been given.
    ///
    /// @param order             of the filter; below 2^31 - 1
    /// @param bandEdgesInHertz  lower and upper edge of each band, rising
    /// @param bandGains         the gain at each edge; those that are missing count as 0
    void setEquirippleDesign(std::int32_t order,
                             std::vector<double> bandEdgesInHertz,
                             std::vector<double> bandGains,
                             double sampleRate);

    /// Takes coefficients as they are, rounded to float, the newest sample's first; at least one.
    void setCoefficients(const std::vector<double>& values);

    /// Designs from the present description. Raises nothing of its own.
    void update() override;

    /// Filters one sample, in any unit.
    ///
    /// The filter must have been designed, with status() 0, and reset() since its length changed:
    /// a design does not move position(). The kernel library must have the FIR filter.
    /// @throws std::runtime_error  "Failed to initialize VexCalc.": there is no kernel library, or
    ///                             it is too old. The next call overwrites the sample.
    float process(float sample);

    /// Forgets all samples. The coefficients stay.
    void reset();

    /// Taps of the present description, also if it is invalid.
    [[nodiscard]] std::int32_t tapCount() const;

    /// Appends all taps to a list that only a new design empties, and returns a copy of it: a
    /// second call returns them twice.
    [[nodiscard]] std::vector<float> getCoefficients();

    /// Running sum of the ideal response of the last window design, before window and division.
    [[nodiscard]] std::vector<float> getStepResponse() const { return stepResponse_; }

    /// Modulus and argument (radians) of Σ c[k] exp(+2πi k f/sampleRate), f in hertz. With this
    /// sign a delay turns the phase forward. 0 without coefficients.
    [[nodiscard]] double magnitudeAt(double f) const;
    [[nodiscard]] double phaseAt(double f) const;

    /// Whether the description makes a filter: with order and cutoff1 above 0, both cutoffs must be
    /// below half the sample rate; else order must be above 0 and the design Equiripple or the
    /// type Hilbert.
    [[nodiscard]] bool isValid() const;

    [[nodiscard]] std::int32_t status() const { return status_; }

    [[nodiscard]] std::int32_t order() const { return order_; }

    [[nodiscard]] FilterDesign design() const { return design_; }

    [[nodiscard]] FilterType filterType() const { return filterType_; }

    [[nodiscard]] FilterWindow windowType() const { return windowType_; }

    [[nodiscard]] double sampleRate() const { return sampleRate_; }

    [[nodiscard]] double nyquist() const { return sampleRate_ * 0.5; }

    [[nodiscard]] double transitionWidth() const { return transitionWidth_; }

    [[nodiscard]] double attenuation() const { return attenuation_; }

    [[nodiscard]] double kaiserBeta() const { return kaiserBeta_; }

    [[nodiscard]] double cutoff1() const { return cutoff1_; }

    [[nodiscard]] double cutoff2() const { return cutoff2_; }

    [[nodiscard]] bool normalise() const { return normalise_; }

    /// Index of the next sample in the circular history, 0 .. tapCount() - 1.
    [[nodiscard]] std::int32_t position() const { return position_; }

private:
    void designByWindow();
    bool buildIdealResponse();
    [[nodiscard]] float idealTap(std::int32_t d) const;
    void sumStepResponse();
    void applyWindow();
    [[nodiscard]] std::unique_ptr<Window::Window<float>> makeWindow();

    void designEquiripple();
    void fillDefaultBands();

    void divideByReferenceGain();
    [[nodiscard]] double referenceFrequency() const;
    [[nodiscard]] std::complex<double> responseAt(double f) const;

    [[nodiscard]] static AlignedFloats allocateCoefficients(std::int32_t count);

    std::int32_t status_ = kDesigned;
    std::array<double, 5> orderFactors_{
        11.13, 1.84, 6.64, 6.22, 4.0}; // by windowType, then Flattop
    FilterWindow windowType_{};
    FilterType filterType_{};
    FilterDesign design_{};
    std::int32_t kaiserFromSpecification_ = 0;
    std::int32_t order_ = 0;
    double transitionWidth_ = 0.0;
    double attenuation_ = 0.0;
    double kaiserBeta_ = 0.0;
    double cutoff1_ = 0.0;
    double cutoff2_ = 0.0;
    double sampleRate_ = 0.0;
    std::vector<float> coefficientList_;
    std::vector<float> windowValues_;
    std::vector<float> stepResponse_;
    std::int32_t position_ = 0;
    bool normalise_ = false;
    std::vector<double> bandEdges_; // fractions of the sample rate
    std::vector<double> bandGains_;
    AlignedFloats history_;
    AlignedFloats coefficients_;
};

} // namespace Velmora::KorLib::Dsp::Fir

#pragma once

#include "dsp/fft/amplitude_kind.h"
#include "dsp/fft/fft.h"
#include "dsp/window/window_type.h"

#include <complex>
#include <cstdint>
#include <vector>

namespace Velmora::KorLib::Dsp::Fft {

/// A forward transform in place, with amplitude scaling, that keeps a window for its blocks and
/// what else belongs to one kind of spectrum.
///
///     window[i] = amplitudeCorrection · w[i],    i = 0 .. N-1, w in periodic form
///
/// so that a block that is multiplied by it comes out with the amplitudes of its sines. Whoever
/// fills the buffer does the multiplication, and whoever reads the lines applies amplitudeScale():
///
///     for (i = 0 .. N-1) fft.timeBuffer.begin[i] = fft.window()[i] * block[i];
///     fft.execute();
///     ... fft.amplitudeScale() * fft.spectrumBuffer.begin[k]
///
/// T is double or std::complex<double>. All memory is taken in setup(). Threads: as FFT.
template <typename T>
class WindowedFFT : public FFT<T> {
public:
    /// Without a size and a window; amplitude scale 1.
    /// @throws FFTWLibError  FFTW is missing or incomplete (see FFTBase)
    WindowedFFT();

    /// Prepares for blocks of one size and kind. What did not change is not made again: the plan
    /// and the buffers stay with the size, the window with size, type and parameter. The parameter
    /// is compared exactly, so NaN is always a change.
    ///
    /// @param size             N, at least 0; not checked
    /// @param windowParameter  of Exponential and Transient; the others ignore it
    /// @param outputMode       kept for the reader of the lines, and not used here
    /// @throws std::invalid_argument  "Unsupported window type."; the amplitude scale is the new
    ///                                one and all else but the transform's size the old. If the
    ///                                size was new, the next setup makes everything anew.
    /// @throws std::bad_alloc         no memory; likewise
    void setup(std::int32_t size,
               Window::WindowType windowType,
               float windowParameter,
               AmplitudeKind amplitudeKind,
               std::int32_t outputMode);

    /// N factors for a block.
    [[nodiscard]] const std::vector<double>& window() const { return window_; }

    /// Mean of a quantity over the newest block; a place for whoever fills the buffer, and not used
    /// here.
    [[nodiscard]] double blockMean() const { return blockMean_; }

    void setBlockMean(double mean) { blockMean_ = mean; }

    /// What turns the peak amplitude of a line into the kind that was set up.
    [[nodiscard]] double amplitudeScale() const { return amplitudeScale_; }

    [[nodiscard]] std::int32_t outputMode() const { return outputMode_; }

    /// N of the window; -1 as long as there is none that fits the transform.
    [[nodiscard]] std::int32_t windowSize() const { return windowSize_; }

    [[nodiscard]] Window::WindowType windowType() const { return windowType_; }

    [[nodiscard]] float windowParameter() const { return windowParameter_; }

private:
    static constexpr std::int32_t kNoWindow = -1;

    void resizeTransform(std::int32_t size);
    void makeWindow(std::int32_t size, Window::WindowType windowType, float windowParameter);

    std::vector<double> window_;
    double blockMean_ = 0.0;
    double amplitudeScale_ = 1.0;
    std::int32_t outputMode_ = 0;
    std::int32_t windowSize_ = kNoWindow;
    Window::WindowType windowType_ = Window::WindowType::Rectangle;
    float windowParameter_ = 0.0F;
};

extern template class WindowedFFT<double>;
extern template class WindowedFFT<std::complex<double>>;

} // namespace Velmora::KorLib::Dsp::Fft

#include "dsp/fft/windowed_fft.h"

#include "dsp/window/window.h"

#include <type_traits>

namespace Velmora::KorLib::Dsp::Fft {

template <typename T>
WindowedFFT<T>::WindowedFFT() : FFT<T>(kScaleToAmplitude, kInPlace)
{
}

template <typename T>
void WindowedFFT<T>::setup(std::int32_t size,
                           Window::WindowType windowType,
                           float windowParameter,
                           AmplitudeKind amplitudeKind,
                           std::int32_t outputMode)
{
    amplitudeScale_ = amplitudeFactor(amplitudeKind);
    const bool sameWindow =
        size == windowSize_ && windowType == windowType_ && windowParameter == windowParameter_;
    if (!sameWindow) {
        if (size != windowSize_) resizeTransform(size);
        makeWindow(size, windowType, windowParameter);
    }
    outputMode_ = outputMode;
}

// From here until the window is made, the old one does not fit the transform: should making it
// fail, a return to the old values must not pass for no change.
template <typename T>
void WindowedFFT<T>::resizeTransform(std::int32_t size)
{
    windowSize_ = kNoWindow;
    const auto length = static_cast<std::uint64_t>(size);
    if constexpr (std::is_same_v<T, double>)
        this->setSpectrumLines(length);
    else
        this->setSize(length);
}

template <typename T>
void WindowedFFT<T>::makeWindow(std::int32_t size,
                                Window::WindowType windowType,
                                float windowParameter)
{
    const auto length = static_cast<std::uint64_t>(size);
    const auto shape = Window::Window<double>::create(windowType, length, 1, windowParameter);
    window_.resize(length);
    for (std::uint64_t i = 0; i < length; ++i)
        window_[i] = shape->amplitudeCorrection() * shape->at(i);

    windowSize_ = size;
    windowType_ = windowType;
    windowParameter_ = windowParameter;
}

template class WindowedFFT<double>;
template class WindowedFFT<std::complex<double>>;

} // namespace Velmora::KorLib::Dsp::Fft

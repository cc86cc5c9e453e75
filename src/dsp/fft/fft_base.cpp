#include "dsp/fft/fft_base.h"

#include "dsp/fft/fftw_lib.h"

#include <type_traits>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

/// data[first .. length - 1] *= factor
void multiply(double* data, std::uint64_t first, std::uint64_t length, double factor)
{
    for (std::uint64_t i = first; i < length; ++i) data[i] *= factor;
}

template <typename E>
constexpr std::uint64_t kDoublesPerElement = std::is_same_v<E, double> ? 1 : 2;

template <typename E>
void pointAt(FFTBufferView<E>& view, DspObject* owner, double* data, std::uint64_t doubles)
{
    view.owner = owner;
    view.begin = reinterpret_cast<E*>(data);
    view.count = doubles / kDoublesPerElement<E>;
    view.end = data == nullptr ? nullptr : view.begin + view.count;
}

} // namespace

template <typename T>
FFTBase<T>::FFTBase(std::uint32_t scaling, std::int32_t direction, std::uint32_t placement)
    : scaling_(scaling), direction_(direction), placement_(placement)
{
    FFTWLib<double>::instance().acquire();
}

template <typename T>
FFTBase<T>::~FFTBase()
{
    FFTWLib<double>::instance().release();
}

template <typename T>
void FFTBase<T>::setSize(std::uint64_t size)
{
    size_ = size;
    changed();
}

template <typename T>
void FFTBase<T>::setSpectrumLines(std::uint64_t lines)
{
    size_ = direction_ == kInverse && lines != 0 ? lines * 2 - 2 : lines;
    changed();
}

template <typename T>
void FFTBase<T>::execute()
{
    if (plan_ == nullptr) return;
    if (direction_ == kInverse) scaleBeforeInverse();
    executeRaw();
    if (direction_ == kForward) scaleAfterForward();
}

template <typename T>
void FFTBase<T>::executeRaw()
{
    if (plan_ != nullptr) FFTWLib<double>::instance().functions().execute(plan_);
}

// A line of amplitude A stands for A/2 at its frequency and A/2 at the mirror frequency; the first
// line has no mirror.
template <typename T>
void FFTBase<T>::scaleBeforeInverse()
{
    if (scaling_ == kScaleToAmplitude) multiply(spectrumData_, 2, spectrumLength_, 0.5);
    if (scaling_ == kScaleInverse) {
        const auto length = static_cast<double>(size_);
        for (std::uint64_t i = 0; i < spectrumLength_; ++i) spectrumData_[i] /= length;
    }
}

template <typename T>
void FFTBase<T>::scaleAfterForward()
{
    if (scaling_ != kScaleToAmplitude) return;
    multiply(spectrumData_, 0, spectrumLength_, forwardScale());
    multiply(spectrumData_, 0, 2, 0.5);
}

template <typename T>
void FFTBase<T>::refreshViews()
{
    if (timeView_ == nullptr || spectrumView_ == nullptr) return;
    pointAt(*timeView_, this, timeData_, timeLength_);
    pointAt(*spectrumView_, this, spectrumData_, spectrumLength_);
}

template class FFTBase<double>;
template class FFTBase<std::complex<double>>;

} // namespace Velmora::KorLib::Dsp::Fft

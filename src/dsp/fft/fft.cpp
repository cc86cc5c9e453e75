#include "dsp/fft/fft.h"

#include "dsp/fft/fftw_lib.h"

#include <new>
#include <type_traits>

namespace Velmora::KorLib::Dsp::Fft {

template <typename T>
FFT<T>::FFT(std::uint32_t scaling, std::uint32_t placement) : FFT(scaling, kForward, placement)
{
}

template <typename T>
FFT<T>::FFT(std::uint32_t scaling, std::int32_t direction, std::uint32_t placement)
    : FFTBase<T>(scaling, direction, placement)
{
    this->timeView_ = &timeBuffer;
    this->spectrumView_ = &spectrumBuffer;
    this->refreshViews();
}

template <typename T>
FFT<T>::~FFT()
{
    if (this->plan_ == nullptr || this->timeData_ == nullptr || this->spectrumData_ == nullptr)
        return;
    const std::scoped_lock lock(FFTWLib<double>::instance().plannerMutex());
    releasePlanAndBuffers();
}

template <typename T>
void FFT<T>::update()
{
    const std::scoped_lock lock(FFTWLib<double>::instance().plannerMutex());
    releasePlanAndBuffers();
    if (this->size_ == 0) return;
    allocateBuffers();
    makePlan();
}

template <typename T>
void FFT<T>::releasePlanAndBuffers()
{
    const auto& fftw = FFTWLib<double>::instance().functions();
    if (this->plan_ != nullptr) fftw.destroy_plan(this->plan_);
    this->plan_ = nullptr;

    const bool separate = this->timeData_ != this->spectrumData_;
    if (separate && this->timeData_ != nullptr) fftw.free(this->timeData_);
    if (this->spectrumData_ != nullptr) fftw.free(this->spectrumData_);
    this->timeData_ = nullptr;
    this->spectrumData_ = nullptr;
    this->timeLength_ = 0;
    this->spectrumLength_ = 0;
    this->refreshViews();
}

template <typename T>
void FFT<T>::allocateBuffers()
{
    const auto& fftw = FFTWLib<double>::instance().functions();
    const std::uint64_t size = this->size_;
    constexpr bool kReal = std::is_same_v<T, double>;
    this->timeLength_ = kReal ? size : 2 * size;
    this->spectrumLength_ = kReal ? (size | 1) + 1 : 2 * size;

    const bool inPlace = this->placement_ == kInPlace;
    if (inPlace || this->placement_ == kSeparate) {
        this->spectrumData_ = fftw.alloc_real(this->spectrumLength_);
        this->timeData_ = inPlace ? this->spectrumData_ : fftw.alloc_real(this->timeLength_);
        if (this->timeData_ == nullptr || this->spectrumData_ == nullptr) {
            releasePlanAndBuffers();
            throw std::bad_alloc();
        }
    }
    this->refreshViews();
}

template <typename T>
void FFT<T>::makePlan()
{
    const auto& fftw = FFTWLib<double>::instance().functions();
    const int size = static_cast<int>(this->size_);
    double* const time = this->timeData_;
    auto* const spectrum = reinterpret_cast<fftw_complex*>(this->spectrumData_);

    if constexpr (std::is_same_v<T, double>) {
        if (this->direction_ == kForward)
            this->plan_ = fftw.plan_dft_r2c_1d(size, time, spectrum, FFTW_ESTIMATE);
        if (this->direction_ == kInverse)
            this->plan_ = fftw.plan_dft_c2r_1d(size, spectrum, time, FFTW_ESTIMATE);
    } else {
        auto* const samples = reinterpret_cast<fftw_complex*>(time);
        if (this->direction_ == kForward)
            this->plan_ = fftw.plan_dft_1d(size, samples, spectrum, FFTW_FORWARD, FFTW_ESTIMATE);
        if (this->direction_ == kInverse)
            this->plan_ = fftw.plan_dft_1d(size, spectrum, samples, FFTW_BACKWARD, FFTW_ESTIMATE);
    }
}

template class FFT<double>;
template class FFT<std::complex<double>>;

} // namespace Velmora::KorLib::Dsp::Fft

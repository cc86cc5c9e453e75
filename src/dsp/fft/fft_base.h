#pragma once

#include "dsp/dsp_object.h"
#include "dsp/fft/fft_buffer_view.h"

#include <fftw3.h>

#include <complex>
#include <cstdint>

namespace Velmora::KorLib::Dsp::Fft {

// scaling; any other number scales nothing
inline constexpr std::uint32_t kScaleToAmplitude = 0; ///< lines read peak amplitudes
inline constexpr std::uint32_t kScaleInverse = 2;     ///< the inverse divides by N

// direction; any other number makes no plan
inline constexpr std::int32_t kForward = -1;
inline constexpr std::int32_t kInverse = +1;

// placement; any other number allocates nothing
inline constexpr std::uint32_t kInPlace = 0;  ///< samples and lines share one memory
inline constexpr std::uint32_t kSeparate = 1; ///< samples and lines have a buffer each

/// What all transforms have in common: size, direction, scaling, one plan, and its execution.
/// FFT makes plan and buffers and tells how to use them.
///
/// `T` is double or std::complex<double>. Buffers are kept as doubles; a complex number is two of
/// them, real part first.
///
/// Threads: as FFT.
template <typename T>
class FFTBase : public DspObject {
public:
    FFTBase(const FFTBase&) = delete;
    FFTBase& operator=(const FFTBase&) = delete;

    /// Counts one user of FFTW less, which unloads it after the last.
    ~FFTBase() override;

    /// Sets N and makes buffers and plan anew, also if N is the old one; inside a batch at its end.
    /// @param size  N, at most 2^31 - 1 (not checked); 0 gives everything back
    /// @throws std::bad_alloc     no memory for the buffers; the object is then without any
    /// @throws std::system_error  a mutex could not be locked
    void setSize(std::uint64_t size);

    /// Sets N from a number of spectrum lines: N = 2 lines - 2 for an inverse transform and any
    /// lines but 0, which is the even length whose half spectrum has so many lines. Any other
    /// transform takes N = lines. For the rest as setSize().
    void setSpectrumLines(std::uint64_t lines);

    /// Transforms what the buffers hold, with the scaling. Does nothing without a plan.
    void execute();

    /// The middle step of execute(): the bare transform, unscaled. Does nothing without a plan.
    ///
    /// Whoever passes over the lines anyway may do the forward amplitude scaling there. The same
    /// bits as from execute() come out if each double is multiplied by forwardScale(), and both
    /// doubles of the first line are then, in a rounding of their own, multiplied by 0.5.
    void executeRaw();

    /// 2.0 / N
    [[nodiscard]] double forwardScale() const { return 2.0 / static_cast<double>(size_); }

    [[nodiscard]] std::uint32_t scaling() const { return scaling_; }

    [[nodiscard]] std::int32_t direction() const { return direction_; }

    [[nodiscard]] std::uint32_t placement() const { return placement_; }

    /// Null if there is none.
    [[nodiscard]] fftw_plan plan() const { return plan_; }

    /// N
    [[nodiscard]] std::uint64_t size() const { return size_; }

    /// The samples, timeLength() doubles.
    [[nodiscard]] double* timeData() const { return timeData_; }

    [[nodiscard]] std::uint64_t timeLength() const { return timeLength_; }

    /// The lines, spectrumLength() doubles.
    [[nodiscard]] double* spectrumData() const { return spectrumData_; }

    [[nodiscard]] std::uint64_t spectrumLength() const { return spectrumLength_; }

protected:
    /// Loads FFTW if it is not there yet; makes no buffers and no plan.
    /// @throws FFTWLibError  FFTW is missing or incomplete; only the first object after the
    ///                       process starts, or after FFTW was unloaded, finds out (see FFTWLib)
    FFTBase(std::uint32_t scaling, std::int32_t direction, std::uint32_t placement);

    /// Points the views, if both are set, at the buffers as they are.
    void refreshViews();

    std::uint32_t scaling_;
    std::int32_t direction_;
    std::uint32_t placement_;
    fftw_plan plan_ = nullptr;
    std::uint64_t size_ = 0;
    double* timeData_ = nullptr;
    std::uint64_t timeLength_ = 0;
    FFTBufferView<T>* timeView_ = nullptr;
    double* spectrumData_ = nullptr;
    std::uint64_t spectrumLength_ = 0;
    FFTBufferView<std::complex<double>>* spectrumView_ = nullptr;

private:
    void scaleBeforeInverse();
    void scaleAfterForward();
};

extern template class FFTBase<double>;
extern template class FFTBase<std::complex<double>>;

} // namespace Velmora::KorLib::Dsp::Fft

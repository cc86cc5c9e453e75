#pragma once

#include "dsp/fft/fft_base.h"

namespace Velmora::KorLib::Dsp::Fft {

/// Discrete Fourier transform of N points by FFTW, with its own plan and buffers.
///
///     forward   X[k] = g[k] Σ x[n] exp(-2πi kn/N)
///     inverse   x[n] = Σ g[k] X[k] exp(+2πi kn/N)
///
/// T = double takes N real samples and has the half spectrum, k = 0 .. N/2; its inverse completes
/// the sum with the conjugate mirror lines. T = std::complex<double> takes N complex samples and
/// has the full spectrum, k = 0 .. N-1. The line weights g come from `scaling`:
///
///     scaling               forward                      inverse
///     0 kScaleToAmplitude   2/N, the first line 1/N      1/2, the first line 1
///     2 kScaleInverse       1                            1/N
///     other                 1                            1
///
/// so that with scaling 0 a sine of amplitude A on a line reads A and a constant C reads C on the
/// first line. The last line of an even N reads twice the amplitude: it has no mirror either, but
/// is scaled like the lines that do. Under 0 and 2 the inverse undoes the forward transform.
///
///     FFT<double> fft(kScaleToAmplitude, kInPlace);
///     fft.setSize(1024);
///     std::copy_n(block, 1024, fft.timeBuffer.begin);
///     fft.execute();
///     ... fft.spectrumBuffer.begin[k], k = 0 .. 512
///
/// Buffers, in doubles; in place they are one memory, and the input is overwritten:
///
///     T                       timeBuffer    spectrumBuffer
///     double                  N             (N | 1) + 1, which is 2 (N/2 + 1)
///     std::complex<double>    2 N           2 N
///
/// Their contents are undefined after each setSize() until written. The inverse of a half spectrum
/// uses its lines as working space, also with separate buffers.
///
/// Plans are made without measuring and not shared: each setSize() makes buffers and plan anew,
/// and all the memory is taken there. execute() takes none. A plan that FFTW refuses to make is
/// not reported; execute() then does nothing.
///
/// An object with a `placement` above 1 has lengths and counts but no buffers, and must not be
/// executed. The destructor gives plan and buffers back only if there are both: the plan of an
/// object without buffers and the buffers of one without a plan stay until the process ends,
/// unless setSize(0) went before.
///
/// Threads: setSize() runs under the object's update mutex and then the process-wide planner
/// mutex; execute() takes no lock. Objects transform side by side; one object must not be executed
/// while its size is set.
template <typename T>
class FFT : public FFTBase<T> {
public:
    /// A forward transform without a size.
    /// @throws FFTWLibError  FFTW is missing or incomplete (see FFTBase)
    FFT(std::uint32_t scaling, std::uint32_t placement);

    ~FFT() override;

    FFT(const FFT&) = delete;
    FFT& operator=(const FFT&) = delete;

    /// Gives back plan and buffers, and makes those of the present size.
    void update() override;

    FFTBufferView<T> timeBuffer;                        ///< N samples; empty for N = 0
    FFTBufferView<std::complex<double>> spectrumBuffer; ///< the lines; empty for N = 0

protected:
    /// For subclasses that transform back: direction kInverse.
    FFT(std::uint32_t scaling, std::int32_t direction, std::uint32_t placement);

private:
    void releasePlanAndBuffers();
    void allocateBuffers();
    void makePlan();
};

extern template class FFT<double>;
extern template class FFT<std::complex<double>>;

} // namespace Velmora::KorLib::Dsp::Fft

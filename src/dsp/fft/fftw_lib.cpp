#include "dsp/fft/fftw_lib.h"

#include "dsp/fft/fftw_lib_error.h"

#include <new>
#include <string>
#include <type_traits>

namespace Velmora::KorLib::Dsp::Fft {

template <typename Precision>
FFTWLib<Precision>& FFTWLib<Precision>::instance()
{
    static FFTWLib library(std::is_same_v<Precision, double> ? "fftw_" : "fftwf_",
                           Platform::fftwLibraryName<Precision>());
    return library;
}

template <typename Precision>
FFTWLib<Precision>::FFTWLib(const char* prefix, const char* libraryName)
    : prefix_(prefix), libraryName_(libraryName)
{
}

template <typename Precision>
void FFTWLib<Precision>::acquire()
{
    const std::scoped_lock lock(loadMutex_);
    if (++referenceCount_ != 1) return;
    try {
        load();
    } catch (const std::bad_alloc&) {
        --referenceCount_; // nothing was found to be missing: the next one tries again
        throw;
    }
}

template <typename Precision>
void FFTWLib<Precision>::release()
{
    const std::scoped_lock lock(loadMutex_);
    if (referenceCount_-- == 1) module_.close();
}

template <typename Precision>
std::int32_t FFTWLib<Precision>::referenceCount()
{
    const std::scoped_lock lock(loadMutex_);
    return referenceCount_;
}

template <typename Precision>
void FFTWLib<Precision>::load()
{
    module_ = Platform::SharedLibrary::open(libraryName_);
    if (!module_) throw FFTWLibError("Failed to load FFTWLib");

    bind(functions_.plan_dft_r2c_1d, "plan_dft_r2c_1d");
    bind(functions_.plan_dft_c2r_1d, "plan_dft_c2r_1d");
    bind(functions_.plan_dft_1d, "plan_dft_1d");
    bind(functions_.execute, "execute");
    bind(functions_.destroy_plan, "destroy_plan");
    bind(functions_.alloc_real, "alloc_real");
    bind(functions_.free, "free");
}

template <typename Precision>
template <typename Function>
void FFTWLib<Precision>::bind(Function& function, const char* symbol)
{
    const std::string name = std::string(prefix_) + symbol;
    function = reinterpret_cast<Function>(module_.symbol(name.c_str()));
    if (function == nullptr) throw FFTWLibError("Symbol " + name + " not found in loaded FFTWLib");
}

template class FFTWLib<double>;
template class FFTWLib<float>;

} // namespace Velmora::KorLib::Dsp::Fft

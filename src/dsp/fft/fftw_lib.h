#pragma once

#include "platform/shared_library.h"

#include <fftw3.h>

#include <cstdint>
#include <mutex>

namespace Velmora::KorLib::Dsp::Fft {

/// The functions of FFTW in use, each under its symbol without the prefix of the precision, in the
/// order in which they are bound. The header of FFTW gives their types and nothing more.
template <typename Precision>
struct FFTWFunctions;

template <>
struct FFTWFunctions<double> {
    decltype(&fftw_plan_dft_r2c_1d) plan_dft_r2c_1d = nullptr;
    decltype(&fftw_plan_dft_c2r_1d) plan_dft_c2r_1d = nullptr;
    decltype(&fftw_plan_dft_1d) plan_dft_1d = nullptr;
    decltype(&fftw_execute) execute = nullptr;
    decltype(&fftw_destroy_plan) destroy_plan = nullptr;
    decltype(&fftw_alloc_real) alloc_real = nullptr;
    decltype(&fftw_free) free = nullptr;
};

template <>
struct FFTWFunctions<float> {
    decltype(&fftwf_plan_dft_r2c_1d) plan_dft_r2c_1d = nullptr;
    decltype(&fftwf_plan_dft_c2r_1d) plan_dft_c2r_1d = nullptr;
    decltype(&fftwf_plan_dft_1d) plan_dft_1d = nullptr;
    decltype(&fftwf_execute) execute = nullptr;
    decltype(&fftwf_destroy_plan) destroy_plan = nullptr;
    decltype(&fftwf_alloc_real) alloc_real = nullptr;
    decltype(&fftwf_free) free = nullptr;
};

/// The process-wide binding to the FFTW library of one precision, counted by its users.
///
/// The first acquire() loads the library by its file name and binds the functions; the release()
/// that balances it unloads the library. Every FFTBase object acquires in its constructor and
/// releases in its destructor, so FFTW is there as long as one transform is. All transforms are in
/// double precision; the instance for float has the same form and is never acquired.
///
/// A load that fails for want of the library or of a symbol is final. The count stays raised and
/// what was loaded stays loaded, so a later acquire() finds the library in use, tries nothing and
/// throws nothing; the functions are then as the failure left them, null from the missing one on,
/// and no transform may be sized any more.
///
/// Unloading does not give back the tables that FFTW's planner keeps for itself: a process whose
/// last transform goes and whose next one comes, over and over, loses them each time. Keep one
/// transform alive there.
///
/// Threads: acquire(), release() and referenceCount() run under the one mutex of loading, which
/// is never held together with another. plannerMutex() guards all planning, destroying of plans
/// and memory of FFTW in the process; where both are needed, an object's update mutex comes first.
/// functions() takes no lock: read it between acquire() and release().
template <typename Precision>
class FFTWLib {
public:
    /// The one object of this precision; not loaded until it is acquired.
    static FFTWLib& instance();

    FFTWLib(const FFTWLib&) = delete;
    FFTWLib& operator=(const FFTWLib&) = delete;

    /// Counts one user more, and loads the library for the first.
    /// @throws FFTWLibError       "Failed to load FFTWLib", or "Symbol fftw_... not found in loaded
    ///                            FFTWLib" with the full name of the first one missing
    /// @throws std::bad_alloc, std::system_error  no memory, or the mutex could not be locked;
    ///                                             nothing was counted
    void acquire();

    /// Counts one user less, and unloads the library after the last.
    /// @throws std::system_error  the mutex could not be locked; nothing was counted
    void release();

    /// "fftw_" or "fftwf_", in front of every symbol.
    [[nodiscard]] const char* prefix() const { return prefix_; }

    /// File name, UTF-8, for the system's search.
    [[nodiscard]] const char* libraryName() const { return libraryName_; }

    /// Users now, and those that a failed load has left counted.
    [[nodiscard]] std::int32_t referenceCount();

    [[nodiscard]] const FFTWFunctions<Precision>& functions() const { return functions_; }

    [[nodiscard]] std::mutex& plannerMutex() { return plannerMutex_; }

private:
    FFTWLib(const char* prefix, const char* libraryName);

    void load();

    template <typename Function>
    void bind(Function& function, const char* symbol);

    const char* prefix_;
    const char* libraryName_;
    std::int32_t referenceCount_ = 0;
    Platform::SharedLibrary module_;
    FFTWFunctions<Precision> functions_;
    std::mutex loadMutex_;
    std::mutex plannerMutex_;
};

extern template class FFTWLib<double>;
extern template class FFTWLib<float>;

} // namespace Velmora::KorLib::Dsp::Fft

/// FFTW and the transform that stands in for it, side by side in one process.
#ifndef HARMOTRACK_TESTS_FFT_TRANSFORM_LIBRARY_H
#define HARMOTRACK_TESTS_FFT_TRANSFORM_LIBRARY_H

#include "platform/shared_library.h"

#include <fftw3.h>

#include <complex>
#include <cstddef>
#include <memory>
#include <stdexcept>
#include <string>

/// The seven functions, out of a library that stays open.
struct TransformLibrary {
    explicit TransformLibrary(const std::string& nameUtf8)
    {
        const auto library = Velmora::Platform::SharedLibrary::open(nameUtf8);
        if (!library) throw std::runtime_error(nameUtf8 + " can not be opened");
        bind(realForward, library, "fftw_plan_dft_r2c_1d");
        bind(realBackward, library, "fftw_plan_dft_c2r_1d");
        bind(complex, library, "fftw_plan_dft_1d");
        bind(execute, library, "fftw_execute");
        bind(destroyPlan, library, "fftw_destroy_plan");
        bind(allocReal, library, "fftw_alloc_real");
        bind(free, library, "fftw_free");
    }

    decltype(&fftw_plan_dft_r2c_1d) realForward = nullptr;
    decltype(&fftw_plan_dft_c2r_1d) realBackward = nullptr;
    decltype(&fftw_plan_dft_1d) complex = nullptr;
    decltype(&fftw_execute) execute = nullptr;
    decltype(&fftw_destroy_plan) destroyPlan = nullptr;
    decltype(&fftw_alloc_real) allocReal = nullptr;
    decltype(&fftw_free) free = nullptr;

private:
    template <typename Function>
    static void
    bind(Function& function, const Velmora::Platform::SharedLibrary& library, const char* name)
    {
        function = reinterpret_cast<Function>(library.symbol(name));
        if (function == nullptr) throw std::runtime_error(std::string(name) + " is missing");
    }
};

/// FFTW first: by its name it would else be the other one.
inline const TransformLibrary& fftw()
{
    static const TransformLibrary library(Velmora::Platform::fftwLibraryName<double>());
    return library;
}

inline const TransformLibrary& ours()
{
    fftw();
    static const TransformLibrary library(HARMOTRACK_TRANSFORM_FILE);
    return library;
}

/// Numbers out of a library's own memory.
class Array {
public:
    Array(const TransformLibrary& library, std::size_t doubles)
        : doubles_(doubles), data_(library.allocReal(doubles), library.free)
    {
    }

    [[nodiscard]] std::size_t size() const { return doubles_; }

    [[nodiscard]] double* real() const { return data_.get(); }

    [[nodiscard]] fftw_complex* complex() const
    {
        return reinterpret_cast<fftw_complex*>(data_.get());
    }

    double& operator[](std::size_t i) const { return data_.get()[i]; }

private:
    std::size_t doubles_;
    std::unique_ptr<double, void (*)(void*)> data_;
};

/// The four kinds of transforms there are.
enum class Kind { RealForward, RealBackward, ComplexForward, ComplexBackward };

/// Doubles that a kind reads, and that it writes.
inline std::size_t inputSize(Kind kind, int n)
{
    const auto length = static_cast<std::size_t>(n);
    if (kind == Kind::RealForward) return length;
    return kind == Kind::RealBackward ? 2 * (length / 2 + 1) : 2 * length;
}

inline std::size_t outputSize(Kind kind, int n)
{
    if (kind == Kind::RealForward) return inputSize(Kind::RealBackward, n);
    return kind == Kind::RealBackward ? inputSize(Kind::RealForward, n) : inputSize(kind, n);
}

inline fftw_plan
planOf(const TransformLibrary& library, Kind kind, int n, const Array& input, const Array& output)
{
    switch (kind) {
    case Kind::RealForward:
        return library.realForward(n, input.real(), output.complex(), FFTW_ESTIMATE);
    case Kind::RealBackward:
        return library.realBackward(n, input.complex(), output.real(), FFTW_ESTIMATE);
    case Kind::ComplexForward:
        return library.complex(n, input.complex(), output.complex(), FFTW_FORWARD, FFTW_ESTIMATE);
    case Kind::ComplexBackward:
        return library.complex(n, input.complex(), output.complex(), FFTW_BACKWARD, FFTW_ESTIMATE);
    }
    return nullptr;
}

#endif

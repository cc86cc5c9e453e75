/// @file
/// The table of the library's functions, linked or loaded, and the loader of the operating system.
#ifndef HARMOTRACK_DETAIL_FUNCTIONS_HPP
#define HARMOTRACK_DETAIL_FUNCTIONS_HPP

#include <harmotrack/setups.hpp>

#include <cstddef>
#include <cstdint>
#include <string>

#if defined(_WIN32)
// As <windows.h> declares them, which is not included for the sake of six functions.
extern "C" {
struct HINSTANCE__;
__declspec(dllimport) HINSTANCE__* __stdcall LoadLibraryW(const wchar_t*);
__declspec(dllimport) std::intptr_t(__stdcall* __stdcall GetProcAddress(HINSTANCE__*,
                                                                        const char*))();
__declspec(dllimport) int __stdcall GetModuleHandleExW(unsigned long,
                                                       const wchar_t*,
                                                       HINSTANCE__**);
__declspec(dllimport) unsigned long __stdcall GetModuleFileNameW(HINSTANCE__*,
                                                                 wchar_t*,
                                                                 unsigned long);
__declspec(dllimport) int __stdcall MultiByteToWideChar(
    unsigned int, unsigned long, const char*, int, wchar_t*, int);
__declspec(dllimport) int __stdcall WideCharToMultiByte(
    unsigned int, unsigned long, const wchar_t*, int, char*, int, const char*, int*);
}
#else
#include <dlfcn.h>
#endif

namespace Harmotrack {

namespace Detail {

/// The functions of the library that this header calls.
struct Functions {
    AnalyzerHandle (*create)(std::int32_t);
    void (*setBinningSetup)(AnalyzerHandle, BinningSetup*);
    void (*setOrderSetup)(AnalyzerHandle, OrderSetup*);
    void (*setAnalysisSetup)(AnalyzerHandle, AnalysisSetup*);
    void (*setParameters)(AnalyzerHandle, AnalyzerParameters*);
    void (*setSampleRate)(AnalyzerHandle, double, std::int32_t);
    void (*setInputBufferLimit)(AnalyzerHandle, std::int32_t);
    void (*setResampledBuffers)(AnalyzerHandle, ResampledBuffers);
    void (*setTimeBuffers)(AnalyzerHandle, TimeBuffers);
    void (*setResultBuffers)(AnalyzerHandle, ResultBuffers);
    void (*preinitiate)(AnalyzerHandle);
    void (*initiate)(AnalyzerHandle, std::int32_t*);
    void (*reset)(AnalyzerHandle);
    void (*updateBuffers)(AnalyzerHandle, std::int32_t, std::int32_t);
    CalculationResult (*calculate)(AnalyzerHandle);
    std::int32_t (*getBinCount)(AnalyzerHandle);
    std::int32_t (*getOrderFFTSize)(AnalyzerHandle);
    std::int32_t (*getTimeFFTSize)(AnalyzerHandle);
    double (*getTimeFFTResolution)(AnalyzerHandle);
    double (*getTimeFFTBlockDuration)(AnalyzerHandle);
    void (*readTurns)(AnalyzerHandle, std::int32_t*, double*);
    void (*readRPM)(AnalyzerHandle, float*, double*);
    void (*readOverall)(AnalyzerHandle, std::int32_t, float*, std::int32_t);
    void (*readOrderDomainTimeWaterfall)(AnalyzerHandle, float*, double*, std::int32_t);
    void (*readOrderDomainTimeWaterfallTwoSided)(AnalyzerHandle, float*, double*);
    void (*readOrderDomainHarmonic)(
        AnalyzerHandle, std::int32_t, std::int32_t, float*, std::int32_t);
    void (*readOrderDomainHarmonicsTimeDelta)(AnalyzerHandle, float*, double*, std::int32_t);
    void (*readOrderSpectrumTimeDelta)(AnalyzerHandle, float*, std::int32_t);
    TrackerHandle (*autotrackerCreate)();
    void (*autotrackerSetSampleRate)(TrackerHandle, double, std::int32_t);
    void (*autotrackerSetSignalBuffer)(TrackerHandle, SignalBuffer);
    void (*autotrackerSetTrackingSetup)(TrackerHandle, TrackingSetup*);
    void (*autotrackerPreinitiate)(TrackerHandle);
    void (*autotrackerInitiate)(TrackerHandle);
    void (*autotrackerUpdateNewSamples)(TrackerHandle, std::int32_t);
    TrackingResult (*autotrackerCalculate)(TrackerHandle);
    void (*autotrackerReset)(TrackerHandle);
};

// Each name once, for the linked table and for the loaded one.
#define HARMOTRACK_FUNCTIONS(BIND)                                                                 \
    BIND(create)                                                                                   \
    BIND(setBinningSetup)                                                                          \
    BIND(setOrderSetup)                                                                            \
    BIND(setAnalysisSetup)                                                                         \
    BIND(setParameters)                                                                            \
    BIND(setSampleRate)                                                                            \
    BIND(setInputBufferLimit)                                                                      \
    BIND(setResampledBuffers)                                                                      \
    BIND(setTimeBuffers)                                                                           \
    BIND(setResultBuffers)                                                                         \
    BIND(preinitiate)                                                                              \
    BIND(initiate)                                                                                 \
    BIND(reset)                                                                                    \
    BIND(updateBuffers)                                                                            \
    BIND(calculate)                                                                                \
    BIND(getBinCount)                                                                              \
    BIND(getOrderFFTSize)                                                                          \
    BIND(getTimeFFTSize)                                                                           \
    BIND(getTimeFFTResolution)                                                                     \
    BIND(getTimeFFTBlockDuration)                                                                  \
    BIND(readTurns)                                                                                \
    BIND(readRPM)                                                                                  \
    BIND(readOverall)                                                                              \
    BIND(readOrderDomainTimeWaterfall)                                                             \
    BIND(readOrderDomainTimeWaterfallTwoSided)                                                     \
    BIND(readOrderDomainHarmonic)                                                                  \
    BIND(readOrderDomainHarmonicsTimeDelta)                                                        \
    BIND(readOrderSpectrumTimeDelta)                                                               \
    BIND(autotrackerCreate)                                                                        \
    BIND(autotrackerSetSampleRate)                                                                 \
    BIND(autotrackerSetSignalBuffer)                                                               \
    BIND(autotrackerSetTrackingSetup)                                                              \
    BIND(autotrackerPreinitiate)                                                                   \
    BIND(autotrackerInitiate)                                                                      \
    BIND(autotrackerUpdateNewSamples)                                                              \
    BIND(autotrackerCalculate)                                                                     \
    BIND(autotrackerReset)

// ---- the loader of the operating system ---------------------------------------------------------

#if defined(_WIN32)

inline constexpr const char* kFftwFile = "libfftw3-3_64.dll";
inline constexpr unsigned int kUtf8 = 65001;

inline void* openLibrary(const std::string& nameUtf8)
{
    std::wstring name(nameUtf8.size(), L'\0'); // UTF-16 has no more units than UTF-8 has bytes
    const int length = static_cast<int>(name.size());
    name.resize(static_cast<std::size_t>(
        MultiByteToWideChar(kUtf8, 0, nameUtf8.c_str(), length, name.data(), length)));
    return name.empty() ? nullptr : LoadLibraryW(name.c_str());
}

inline void* symbolOf(void* library, const char* name)
{
    return reinterpret_cast<void*>(GetProcAddress(static_cast<HINSTANCE__*>(library), name));
}

/// UTF-8 path of the program or library that holds an address; empty if none does.
inline std::string fileOf(const void* address)
{
    constexpr unsigned long kFromAddressAndNotCounted = 4 | 2;
    HINSTANCE__* library = nullptr;
    const auto* const place = static_cast<const wchar_t*>(address);
    if (GetModuleHandleExW(kFromAddressAndNotCounted, place, &library) == 0) return {};
    std::wstring path(32768, L'\0'); // the longest there is
    const auto size = static_cast<unsigned long>(path.size());
    const int length = static_cast<int>(GetModuleFileNameW(library, path.data(), size));
    std::string pathUtf8(3 * static_cast<std::size_t>(length), '\0');
    const int room = static_cast<int>(pathUtf8.size());
    pathUtf8.resize(static_cast<std::size_t>(WideCharToMultiByte(
        kUtf8, 0, path.data(), length, pathUtf8.data(), room, nullptr, nullptr)));
    return pathUtf8;
}

/// The address of a linked function in the library that it belongs to.
inline const void* placeOf(const void* function, const char* /*name*/)
{
    return function;
}

#else

inline constexpr const char* kFftwFile = "libfftw3.so.3";

inline void* openLibrary(const std::string& nameUtf8)
{
    // An empty name would mean the program itself.
    return nameUtf8.empty() ? nullptr : dlopen(nameUtf8.c_str(), RTLD_NOW | RTLD_LOCAL);
}

inline void* symbolOf(void* library, const char* name)
{
    return dlsym(library, name);
}

/// Path of the program or library that holds an address; empty if none does.
inline std::string fileOf(const void* address)
{
    Dl_info place{};
    if (dladdr(address, &place) == 0 || place.dli_fname == nullptr) return {};
    return place.dli_fname;
}

/// The address of a linked function in the library that it belongs to: a program that can not be
/// moved knows it by an address of its own.
inline const void* placeOf(const void* function, const char* name)
{
    const void* const behindThisCode = dlsym(RTLD_NEXT, name);
    return behindThisCode == nullptr ? function : behindThisCode;
}

#endif

} // namespace Detail

} // namespace Harmotrack

#endif

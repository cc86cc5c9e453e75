// Stands in for a build of the kernel library, with a version and a set of kernels as its target
// in CMakeLists.txt says. Its FIR filter returns STAND_IN_NUMBER, whatever it is called with.

#include <cstdint>

#ifdef _WIN32
#define STAND_IN_API extern "C" __declspec(dllexport)
#else
#define STAND_IN_API extern "C" __attribute__((visibility("default")))
#endif

STAND_IN_API void vexcalcGetVersion(std::int32_t* major,
                                    std::int32_t* minor,
                                    std::int32_t interfaceNumber,
                                    std::int32_t* valid);

STAND_IN_API void vexcalcGetVersion(std::int32_t* major,
                                    std::int32_t* minor,
                                    std::int32_t interfaceNumber,
                                    std::int32_t* valid)
{
#ifdef STAND_IN_SILENT
    static_cast<void>(major);
    static_cast<void>(minor);
    static_cast<void>(interfaceNumber);
    static_cast<void>(valid);
#else
    // valid only if the caller has cleared what it will read
    const bool cleared = *major == 0 && *minor == 0 && *valid == 0;
    *major = STAND_IN_MAJOR;
    *minor = STAND_IN_MINOR;
    *valid = 0;
    if (cleared && interfaceNumber == 13) *valid = STAND_IN_VALID;
#endif
}

#ifdef STAND_IN_NUMBER

#define NO_NAME()
#define NAME(name)                                                                                 \
    STAND_IN_API void name();                                                                      \
    STAND_IN_API void name() {}
#define FIR_FILTER(name)                                                                           \
    STAND_IN_API float name(const float*, const float*, std::int32_t, std::int32_t);               \
    STAND_IN_API float name(const float*, const float*, std::int32_t, std::int32_t)                \
    {                                                                                              \
        return STAND_IN_NUMBER;                                                                    \
    }
#include "expected_slots.inc"

#endif

#include "platform/cpu_features.h"

#if HARMOTRACK_X86_64
#include <cpuid.h>

namespace Velmora::Platform {

CpuidResult cpuid(std::uint32_t function, std::uint32_t subFunction)
{
    CpuidResult result{};
    __cpuid_count(function, subFunction, result.eax, result.ebx, result.ecx, result.edx);
    return result;
}

// The compilers have a builtin for it only in code that is built for processors with XSAVE.
std::uint64_t xgetbv(std::uint32_t number)
{
    std::uint32_t low = 0;
    std::uint32_t high = 0;
    __asm__ volatile("xgetbv" : "=a"(low), "=d"(high) : "c"(number));
    return (static_cast<std::uint64_t>(high) << 32U) | low;
}

} // namespace Velmora::Platform

#else

namespace Velmora::Platform {

CpuidResult cpuid(std::uint32_t /*function*/, std::uint32_t /*subFunction*/)
{
    return {};
}

std::uint64_t xgetbv(std::uint32_t /*number*/)
{
    return 0;
}

} // namespace Velmora::Platform

#endif

namespace Velmora::Platform {

bool hasUsableAvx()
{
    const std::uint32_t leaf1Ecx = cpuid(0).eax >= 1 ? cpuid(1).ecx : 0;
    return hasUsableAvx(leaf1Ecx, hasXgetbv(leaf1Ecx) ? xgetbv(0) : 0);
}

} // namespace Velmora::Platform

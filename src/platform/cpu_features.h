#pragma once

#include <cstdint>

// 1 where this is built for x86-64, whose processors all have SSE2 and CPUID; 0 for any other
// processor, for which plain loops stand ready. A build may define it as 0 to have those here.
#if !defined(HARMOTRACK_X86_64)
#if defined(__x86_64__)
#define HARMOTRACK_X86_64 1
#else
#define HARMOTRACK_X86_64 0
#endif
#endif

namespace Velmora::Platform {

/// Result words of one CPUID function.
struct CpuidResult {
    std::uint32_t eax;
    std::uint32_t ebx;
    std::uint32_t ecx;
    std::uint32_t edx;
};

/// What this processor answers to a CPUID function. Of a function above its highest one, the answer
/// means nothing; a processor without CPUID answers 0 to all.
[[nodiscard]] CpuidResult cpuid(std::uint32_t function, std::uint32_t subFunction = 0);

/// An extended control register; 0 tells the register states that the operating system saves.
/// May be called only where hasXgetbv() is true of CPUID function 1.
[[nodiscard]] std::uint64_t xgetbv(std::uint32_t number);

/// Whether ECX of CPUID function 1 has bit 27 (OSXSAVE).
[[nodiscard]] constexpr bool hasXgetbv(std::uint32_t leaf1Ecx)
{
    return (leaf1Ecx & (1U << 27U)) != 0;
}

/// Whether a processor has AVX and its operating system saves the registers.
///
/// @param leaf1Ecx  ECX of CPUID function 1
/// @param xcr0      extended control register 0; 0 without hasXgetbv()
[[nodiscard]] constexpr bool hasUsableAvx(std::uint32_t leaf1Ecx, std::uint64_t xcr0)
{
    constexpr std::uint32_t avx = 1U << 28U;
    constexpr std::uint64_t sseAndAvxRegisters = 0b110;
    return hasXgetbv(leaf1Ecx) && (leaf1Ecx & avx) != 0 &&
           (xcr0 & sseAndAvxRegisters) == sseAndAvxRegisters;
}

/// The same of this processor.
[[nodiscard]] bool hasUsableAvx();

} // namespace Velmora::Platform

#pragma once

#include <cstdint>

namespace Velmora::Platform {

/// Result words of one CPUID function.
struct CpuidResult {
    std::uint32_t eax;
    std::uint32_t ebx;
    std::uint32_t ecx;
    std::uint32_t edx;
};

/// What this processor answers to a CPUID function. Of a function above its highest one, the answer
/// means nothing.
[[nodiscard]] CpuidResult cpuid(std::uint32_t function, std::uint32_t subFunction = 0);

/// An extended control register; 0 tells the register states that the operating system saves.
/// May be called only where CPUID function 1 sets bit 27 of ECX (OSXSAVE).
[[nodiscard]] std::uint64_t xgetbv(std::uint32_t number);

} // namespace Velmora::Platform

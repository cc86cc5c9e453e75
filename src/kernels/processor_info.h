#pragma once

#include "platform/cpu_features.h"

#include <cstdint>
#include <string>
#include <vector>

namespace Velmora::Kernels {

/// What CPUID tells about a processor, read once.
///
/// The feature words are those of the processor's manual:
///
///     leaf1Ecx    bit 12 FMA   bit 19 SSE4.1   bit 27 OSXSAVE   bit 28 AVX
///     leaf1Edx    bit 26 SSE2
///     leaf7Ebx    bit 5 AVX2
///     xcr0        bits 1 and 2: the operating system saves the SSE and AVX registers
///
/// A word that the processor has no function for is 0.
struct ProcessorInfo {
    using Cpuid = Platform::CpuidResult (*)(std::uint32_t function, std::uint32_t subFunction);
    using Xgetbv = std::uint64_t (*)(std::uint32_t number);

    /// Asks the processor behind the two instructions. The second is called only if OSXSAVE is set.
    /// @throws std::bad_alloc
    ProcessorInfo(Cpuid cpuid, Xgetbv xgetbv);

    std::int32_t maxLeaf = 0;         ///< highest standard function
    std::int32_t maxExtendedLeaf = 0; ///< highest extended function, 0x80000000 and up
    std::string vendor;               ///< 12 characters
    std::string brand;                ///< up to 48 characters; empty if there is none
    bool isIntel = false;             ///< vendor is "GenuineIntel"
    bool isAmd = false;               ///< vendor is "AuthenticAMD"
    std::uint32_t leaf1Ecx = 0;
    std::uint32_t leaf1Edx = 0;
    std::uint32_t leaf7Ebx = 0;
    std::uint32_t leaf7Ecx = 0;
    std::uint32_t extendedLeaf1Ecx = 0;
    std::uint32_t extendedLeaf1Edx = 0;
    std::uint64_t xcr0 = 0;                            ///< extended control register 0
    std::vector<Platform::CpuidResult> leaves;         ///< functions 0 .. maxLeaf, sub-function 0
    std::vector<Platform::CpuidResult> extendedLeaves; ///< 0x80000000 .. maxExtendedLeaf
};

/// The processor that this process runs on: read while the library is loaded, never freed.
[[nodiscard]] const ProcessorInfo& processorInfo();

} // namespace Velmora::Kernels

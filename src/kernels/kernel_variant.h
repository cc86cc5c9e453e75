#pragma once

#include "kernels/processor_info.h"

#include <cstdint>

namespace Velmora::Kernels {

/// The builds of the kernel library, one an instruction set, poorest first.
enum class KernelVariant : std::uint32_t {
    Automatic = 0, ///< the best one for the processor
    Std = 1,
    Sse2 = 2,
    Sse41 = 3,
    Avx = 4,
    Avx2Fma3 = 5,
};

/// What the build is called in its file name; empty for Automatic.
inline constexpr const char* kKernelVariantNames[] = {
    "", "std", "sse2", "sse41", "avx", "avx2fma3"};

/// The best build that the processor has the instructions and the operating system the registers
/// for. Each step up stands on its own bits: AVX does not ask for SSE4.1.
[[nodiscard]] KernelVariant bestVariant(const ProcessorInfo& processor);

} // namespace Velmora::Kernels

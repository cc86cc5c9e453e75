#include "kernels/kernel_variant.h"

namespace Velmora::Kernels {
namespace {

constexpr bool isSet(std::uint32_t word, unsigned bit)
{
    return ((word >> bit) & 1U) != 0;
}

bool hasSse2(const ProcessorInfo& processor)
{
    return isSet(processor.leaf1Edx, 26);
}

bool hasSse41(const ProcessorInfo& processor)
{
    return isSet(processor.leaf1Ecx, 19);
}

bool hasAvx2AndFma(const ProcessorInfo& processor)
{
    return isSet(processor.leaf7Ebx, 5) && isSet(processor.leaf1Ecx, 12);
}

} // namespace

KernelVariant bestVariant(const ProcessorInfo& processor)
{
    if (Platform::hasUsableAvx(processor.leaf1Ecx, processor.xcr0))
        return hasAvx2AndFma(processor) ? KernelVariant::Avx2Fma3 : KernelVariant::Avx;
    if (hasSse2(processor)) return hasSse41(processor) ? KernelVariant::Sse41 : KernelVariant::Sse2;
    return KernelVariant::Std;
}

} // namespace Velmora::Kernels

#include "kernels/processor_info.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <initializer_list>

namespace Velmora::Kernels {
namespace {

constexpr std::uint32_t kExtended = 0x80000000U;

std::string textOf(std::initializer_list<std::uint32_t> words)
{
    std::string text;
    for (const std::uint32_t word : words) {
        std::array<char, sizeof word> bytes{};
        std::memcpy(bytes.data(), &word, sizeof word);
        text.append(bytes.data(), bytes.size());
    }
    return text;
}

// The three functions of the brand string, 16 characters each; it ends at the first zero.
std::string brandOf(const std::vector<Platform::CpuidResult>& extendedLeaves)
{
    std::string text;
    for (std::size_t i = 2; i <= 4; ++i) {
        const Platform::CpuidResult& leaf = extendedLeaves[i];
        text += textOf({leaf.eax, leaf.ebx, leaf.ecx, leaf.edx});
    }
    return text.substr(0, text.find('\0'));
}

const ProcessorInfo* const kProcessor = new ProcessorInfo(Platform::cpuid, Platform::xgetbv);

} // namespace

ProcessorInfo::ProcessorInfo(Cpuid cpuid, Xgetbv xgetbv)
{
    const Platform::CpuidResult first = cpuid(0, 0);
    maxLeaf = static_cast<std::int32_t>(first.eax);
    for (std::int32_t function = 0; function <= maxLeaf; ++function)
        leaves.push_back(cpuid(static_cast<std::uint32_t>(function), 0));

    vendor = textOf({first.ebx, first.edx, first.ecx});
    isIntel = vendor == "GenuineIntel";
    isAmd = !isIntel && vendor == "AuthenticAMD";

    if (maxLeaf >= 1) {
        leaf1Ecx = leaves[1].ecx;
        leaf1Edx = leaves[1].edx;
    }
    if (maxLeaf >= 7) {
        leaf7Ebx = leaves[7].ebx;
        leaf7Ecx = leaves[7].ecx;
    }

    const std::uint32_t lastExtended = cpuid(kExtended, 0).eax;
    maxExtendedLeaf = static_cast<std::int32_t>(lastExtended);
    for (std::uint32_t function = kExtended; function <= lastExtended; ++function)
        extendedLeaves.push_back(cpuid(function, 0));

    if (lastExtended > kExtended) {
        extendedLeaf1Ecx = extendedLeaves[1].ecx;
        extendedLeaf1Edx = extendedLeaves[1].edx;
    }
    if (lastExtended >= kExtended + 4) brand = brandOf(extendedLeaves);

    if (Platform::hasXgetbv(leaf1Ecx)) xcr0 = xgetbv(0);
}

const ProcessorInfo& processorInfo()
{
    return *kProcessor;
}

} // namespace Velmora::Kernels

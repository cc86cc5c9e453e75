#include "kernels/kernel_variant.h"

#include "fake_processor.h"
#include "runnable_variants.h"

#include <gtest/gtest.h>

namespace Velmora::Kernels {
namespace {

constexpr std::uint32_t kSse2 = 1U << 26U;    // leaf1Edx
constexpr std::uint32_t kFma = 1U << 12U;     // leaf1Ecx
constexpr std::uint32_t kSse41 = 1U << 19U;   // leaf1Ecx
constexpr std::uint32_t kOsxsave = 1U << 27U; // leaf1Ecx
constexpr std::uint32_t kAvx = 1U << 28U;     // leaf1Ecx
constexpr std::uint32_t kAvx2 = 1U << 5U;     // leaf7Ebx
constexpr std::uint64_t kSseState = 1U << 1U; // xcr0
constexpr std::uint64_t kAvxState = 1U << 2U; // xcr0

struct Features {
    std::uint32_t leaf1Edx;
    std::uint32_t leaf1Ecx;
    std::uint32_t leaf7Ebx;
    std::uint64_t xcr0;
};

constexpr Features kEverything{
    kSse2, kFma | kSse41 | kOsxsave | kAvx, kAvx2, kSseState | kAvxState};

KernelVariant variantFor(const Features& features)
{
    FakeProcessor processor;
    processor.functions[0].eax = 7;
    processor.functions[1].ecx = features.leaf1Ecx;
    processor.functions[1].edx = features.leaf1Edx;
    processor.functions[7].ebx = features.leaf7Ebx;
    processor.xcr0 = features.xcr0;
    return bestVariant(processor.info());
}

Features without(std::uint32_t leaf1Ecx, std::uint32_t leaf7Ebx = 0, std::uint64_t xcr0 = 0)
{
    return {kEverything.leaf1Edx,
            kEverything.leaf1Ecx & ~leaf1Ecx,
            kEverything.leaf7Ebx & ~leaf7Ebx,
            kEverything.xcr0 & ~xcr0};
}

TEST(KernelVariant, GrowsWithTheProcessor)
{
    EXPECT_EQ(variantFor({0, 0, 0, 0}), KernelVariant::Std);
    EXPECT_EQ(variantFor({kSse2, 0, 0, 0}), KernelVariant::Sse2);
    EXPECT_EQ(variantFor({kSse2, kSse41, 0, 0}), KernelVariant::Sse41);
    EXPECT_EQ(variantFor({kSse2, kSse41 | kOsxsave | kAvx, 0, kSseState | kAvxState}),
              KernelVariant::Avx);
    EXPECT_EQ(variantFor(kEverything), KernelVariant::Avx2Fma3);
}

TEST(KernelVariant, Sse41CountsOnlyWithSse2)
{
    EXPECT_EQ(variantFor({0, kSse41, 0, 0}), KernelVariant::Std);
}

// A processor may have AVX under a system that does not save its registers.
TEST(KernelVariant, AvxNeedsTheSystemToSaveBothKindsOfRegisters)
{
    EXPECT_EQ(variantFor(without(kOsxsave)), KernelVariant::Sse41);
    EXPECT_EQ(variantFor(without(kAvx)), KernelVariant::Sse41);
    EXPECT_EQ(variantFor(without(0, 0, kSseState)), KernelVariant::Sse41);
    EXPECT_EQ(variantFor(without(0, 0, kAvxState)), KernelVariant::Sse41);
}

TEST(KernelVariant, BestBuildNeedsAvx2AndFmaBoth)
{
    EXPECT_EQ(variantFor(without(0, kAvx2)), KernelVariant::Avx);
    EXPECT_EQ(variantFor(without(kFma)), KernelVariant::Avx);
}

TEST(KernelVariant, AvxDoesNotAskForSse)
{
    Features features = kEverything;
    features.leaf1Edx = 0;
    features.leaf1Ecx &= ~kSse41;
    EXPECT_EQ(variantFor(features), KernelVariant::Avx2Fma3);
}

TEST(KernelVariant, OfThisProcessorIsTheBestThatItCanRun)
{
    const auto best = static_cast<std::size_t>(bestVariant(processorInfo()));
    EXPECT_EQ(kKernelVariantNames[best], runnableVariants().back());
}

TEST(KernelVariant, NamesStandUnderTheirNumbers)
{
    EXPECT_STREQ(kKernelVariantNames[0], "");
    EXPECT_STREQ(kKernelVariantNames[1], "std");
    EXPECT_STREQ(kKernelVariantNames[2], "sse2");
    EXPECT_STREQ(kKernelVariantNames[3], "sse41");
    EXPECT_STREQ(kKernelVariantNames[4], "avx");
    EXPECT_STREQ(kKernelVariantNames[5], "avx2fma3");
}

} // namespace
} // namespace Velmora::Kernels

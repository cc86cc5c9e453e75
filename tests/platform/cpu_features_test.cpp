#include "platform/cpu_features.h"

#include <gtest/gtest.h>

namespace Velmora::Platform {
namespace {

constexpr std::uint32_t kOsxsave = 1U << 27U;
constexpr std::uint32_t kAvx = 1U << 28U;

// Bits 1 and 2 of XCR0 are the registers of SSE and of AVX.
TEST(UsableAvx, NeedsTheInstructionsAndASystemThatSavesTheRegisters)
{
    EXPECT_TRUE(hasUsableAvx(kOsxsave | kAvx, 0b111));
    EXPECT_TRUE(hasUsableAvx(kOsxsave | kAvx, 0b110));
    EXPECT_FALSE(hasUsableAvx(kOsxsave | kAvx, 0b010));
    EXPECT_FALSE(hasUsableAvx(kOsxsave | kAvx, 0b100));
    EXPECT_FALSE(hasUsableAvx(kOsxsave, 0b111));
    EXPECT_FALSE(hasUsableAvx(kAvx, 0b111));
    EXPECT_FALSE(hasUsableAvx(0, 0));
}

// The compiler's own answer is independent of ours.
TEST(UsableAvx, OfThisProcessorIsWhatTheCompilerFinds)
{
#if HARMOTRACK_X86_64
    EXPECT_EQ(hasUsableAvx(), __builtin_cpu_supports("avx") != 0);
#else
    EXPECT_FALSE(hasUsableAvx());
#endif
}

} // namespace
} // namespace Velmora::Platform

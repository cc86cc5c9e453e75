#include "kernels/processor_info.h"

#include "fake_processor.h"

#include <gtest/gtest.h>

#include <cstring>
#include <string>

namespace Velmora::Kernels {
namespace {

constexpr std::uint32_t kOsxsave = 1U << 27U;

std::uint32_t word(const char* text)
{
    std::uint32_t value = 0;
    std::memcpy(&value, text, sizeof value);
    return value;
}

Platform::CpuidResult vendorFunction(std::uint32_t maxLeaf, const std::string& vendor)
{
    const char* const text = vendor.c_str();
    return {.eax = maxLeaf, .ebx = word(text), .ecx = word(text + 8), .edx = word(text + 4)};
}

TEST(ProcessorInfo, VendorIsInThreeWordsAndComparedExactly)
{
    struct Case {
        const char* vendor;
        bool isIntel;
        bool isAmd;
    };

    for (const Case& expected : {Case{"GenuineIntel", true, false},
                                 Case{"AuthenticAMD", false, true},
                                 Case{"HygonGenuine", false, false},
                                 Case{"genuineintel", false, false}}) {
        FakeProcessor processor;
        processor.functions[0] = vendorFunction(0, expected.vendor);
        const ProcessorInfo info = processor.info();
        EXPECT_EQ(info.vendor, expected.vendor);
        EXPECT_EQ(info.isIntel, expected.isIntel);
        EXPECT_EQ(info.isAmd, expected.isAmd);
    }
}

TEST(ProcessorInfo, FeatureWordsAreThoseOfFunctions1And7)
{
    FakeProcessor processor;
    processor.functions[0].eax = 7;
    processor.functions[1] = {.eax = 10, .ebx = 11, .ecx = 12, .edx = 13};
    processor.functions[7] = {.eax = 70, .ebx = 71, .ecx = 72, .edx = 73};
    const ProcessorInfo info = processor.info();
    EXPECT_EQ(info.maxLeaf, 7);
    EXPECT_EQ(info.leaf1Ecx, 12U);
    EXPECT_EQ(info.leaf1Edx, 13U);
    EXPECT_EQ(info.leaf7Ebx, 71U);
    EXPECT_EQ(info.leaf7Ecx, 72U);
    ASSERT_EQ(info.leaves.size(), 8U);
    EXPECT_EQ(info.leaves[1].eax, 10U);
    EXPECT_EQ(info.leaves[7].edx, 73U);
}

TEST(ProcessorInfo, WordsOfFunctionsThatTheProcessorLacksAre0)
{
    FakeProcessor processor;
    processor.functions[0].eax = 6;
    processor.functions[1] = {.eax = 10, .ebx = 11, .ecx = 12, .edx = 13};
    processor.functions[7] = {.eax = 70, .ebx = 71, .ecx = 72, .edx = 73};
    const ProcessorInfo upTo6 = processor.info();
    EXPECT_EQ(upTo6.leaf1Ecx, 12U);
    EXPECT_EQ(upTo6.leaf7Ebx, 0U);
    EXPECT_EQ(upTo6.leaf7Ecx, 0U);
    EXPECT_EQ(upTo6.leaves.size(), 7U);

    processor.functions[0].eax = 0;
    const ProcessorInfo upTo0 = processor.info();
    EXPECT_EQ(upTo0.leaf1Ecx, 0U);
    EXPECT_EQ(upTo0.leaf1Edx, 0U);
    EXPECT_EQ(upTo0.leaves.size(), 1U);
}

TEST(ProcessorInfo, NegativeHighestFunctionHasNoLeaves)
{
    FakeProcessor processor;
    processor.functions[0].eax = 0xFFFFFFFFU;
    EXPECT_TRUE(processor.info().leaves.empty());
}

TEST(ProcessorInfo, ExtendedFunctionsCountFromTheirOwnBase)
{
    FakeProcessor processor;
    processor.functions[0x80000000U].eax = 0x80000001U;
    processor.functions[0x80000001U] = {.eax = 1, .ebx = 2, .ecx = 3, .edx = 4};
    const ProcessorInfo info = processor.info();
    EXPECT_EQ(static_cast<std::uint32_t>(info.maxExtendedLeaf), 0x80000001U);
    EXPECT_EQ(info.extendedLeaf1Ecx, 3U);
    EXPECT_EQ(info.extendedLeaf1Edx, 4U);
    EXPECT_EQ(info.extendedLeaves.size(), 2U);
    EXPECT_EQ(info.brand, "");
}

TEST(ProcessorInfo, OnlyTheBaseOfTheExtendedFunctionsHasNoWords)
{
    FakeProcessor processor;
    processor.functions[0x80000000U].eax = 0x80000000U;
    processor.functions[0x80000001U] = {.eax = 1, .ebx = 2, .ecx = 3, .edx = 4};
    const ProcessorInfo info = processor.info();
    EXPECT_EQ(info.extendedLeaf1Ecx, 0U);
    EXPECT_EQ(info.extendedLeaves.size(), 1U);
}

TEST(ProcessorInfo, BrandIsThe48CharactersOfThreeFunctionsUpToTheFirstZero)
{
    FakeProcessor processor;
    processor.functions[0x80000000U].eax = 0x80000004U;
    const Platform::CpuidResult full{
        .eax = word("abcd"), .ebx = word("efgh"), .ecx = word("ijkl"), .edx = word("mnop")};
    for (std::uint32_t i = 2; i <= 4; ++i) processor.functions[0x80000000U + i] = full;
    EXPECT_EQ(processor.info().brand, "abcdefghijklmnopabcdefghijklmnopabcdefghijklmnop");

    processor.functions[0x80000003U].ebx = word("yz\0?");
    EXPECT_EQ(processor.info().brand, "abcdefghijklmnopabcdyz");

    processor.functions[0x80000000U].eax = 0x80000003U;
    EXPECT_EQ(processor.info().brand, "");
}

// The instruction is illegal where the operating system has not switched it on.
TEST(ProcessorInfo, ExtendedControlRegisterIsReadOnlyWithOsxsave)
{
    FakeProcessor processor;
    processor.xcr0 = 0x123456789AULL;
    processor.functions[0].eax = 1;
    processor.functions[1].ecx = ~kOsxsave;
    EXPECT_EQ(processor.info().xcr0, 0U);
    EXPECT_EQ(processor.xgetbvCalls, 0);

    processor.functions[1].ecx = kOsxsave;
    EXPECT_EQ(processor.info().xcr0, 0x123456789AULL);
    EXPECT_EQ(processor.xgetbvCalls, 1);
}

// The compiler's run-time asks the processor in its own way.
TEST(ProcessorInfo, OfThisProcessAgreesWithTheCompilersRunTime)
{
    const ProcessorInfo& info = processorInfo();
    EXPECT_EQ(info.isIntel, __builtin_cpu_is("intel") != 0);
    EXPECT_EQ(info.isAmd, __builtin_cpu_is("amd") != 0);
    EXPECT_EQ((info.leaf1Edx >> 26U & 1U) != 0, __builtin_cpu_supports("sse2") != 0);
    EXPECT_EQ((info.leaf1Ecx >> 19U & 1U) != 0, __builtin_cpu_supports("sse4.1") != 0);
    EXPECT_EQ(info.vendor.size(), 12U);
    EXPECT_EQ(info.leaves.size(), static_cast<std::size_t>(info.maxLeaf) + 1);
    EXPECT_EQ(&processorInfo(), &info);
}

} // namespace
} // namespace Velmora::Kernels

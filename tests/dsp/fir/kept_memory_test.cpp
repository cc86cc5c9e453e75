// What stays allocated for the rest of the process, as the headers say. Every allocation by new is
// counted here, which is why these tests have a program of their own. leaks.supp lists the same
// for the leak checker.

#include "dsp/fir/filter.h"
#include "dsp/fir/remez.h"

#include <gtest/gtest.h>

#include <array>
#include <cstdlib>
#include <new>

namespace {

long livingBlocks = 0;

void* counted(void* block)
{
    if (block == nullptr) throw std::bad_alloc();
    ++livingBlocks;
    return block;
}

} // namespace

void* operator new(std::size_t size)
{
    return counted(std::malloc(size == 0 ? 1 : size));
}

void* operator new(std::size_t size, std::align_val_t alignment)
{
    const auto unit = static_cast<std::size_t>(alignment);
    return counted(std::aligned_alloc(unit, (size + unit - 1) / unit * unit));
}

void operator delete(void* block) noexcept
{
    if (block != nullptr) --livingBlocks;
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept
{
    operator delete(block);
}

void operator delete(void* block, std::align_val_t) noexcept
{
    operator delete(block);
}

void operator delete(void* block, std::size_t, std::align_val_t) noexcept
{
    operator delete(block);
}

namespace Velmora::KorLib::Dsp::Fir {
namespace {

// Blocks that a call leaves behind.
template <typename Call>
long keptBy(Call call)
{
    const long before = livingBlocks;
    call();
    return livingBlocks - before;
}

std::int32_t remezOf3Taps(const std::array<double, 10>& gains)
{
    const double bands[] = {0.0, 0.08, 0.1, 0.18, 0.2, 0.28, 0.3, 0.38, 0.4, 0.5};
    const double weights[] = {1.0, 1.0, 1.0, 1.0, 1.0};
    double taps[3];
    return remez(taps, 3, 5, bands, gains.data(), weights, 1, 16);
}

TEST(KeptMemory, ConvergedRemezKeepsNone)
{
    EXPECT_EQ(keptBy([] { EXPECT_EQ(remezOf3Taps({1, 1, 1, 1, 0, 0, 0, 0, 0, 0}), 0); }), 0);
}

TEST(KeptMemory, RemezKeepsItsWorkingMemoryWhenItFindsTooFewExtremes)
{
    EXPECT_GT(keptBy([] { EXPECT_EQ(remezOf3Taps({}), -2); }), 0);
}

TEST(KeptMemory, RemezKeepsItsWorkingMemoryWhenItFindsTooManyExtremes)
{
    EXPECT_GT(keptBy([] { EXPECT_EQ(remezOf3Taps({0, 1, 0, 1, 0, 1, 0, 1, 0, 1}), -3); }), 0);
}

void designWindow(Filter& filter, FilterType type)
{
    filter.setWindowDesign(type, 60.0, 1000.0, 120.0, 280.0, FilterWindow::Hamming, 0.0);
}

// A first design has nothing to replace, and the destructor frees what it made.
TEST(KeptMemory, FilterKeepsNothingOfItsOnlyDesign)
{
    for (std::int32_t type = 0; type <= 4; ++type) {
        EXPECT_EQ(keptBy([type] {
                      Filter filter;
                      designWindow(filter, static_cast<FilterType>(type));
                  }),
                  0);
    }
}

// One block, the coefficients: the history is freed.
TEST(KeptMemory, FilterKeepsTheCoefficientsThatALowHighOrBandPassReplaces)
{
    for (const auto type : {FilterType::LowPass, FilterType::HighPass, FilterType::BandPass}) {
        EXPECT_EQ(keptBy([type] {
                      Filter filter;
                      designWindow(filter, FilterType::BandStop);
                      designWindow(filter, type);
                  }),
                  1);
    }
}

TEST(KeptMemory, FilterFreesTheCoefficientsThatABandStopOrHilbertReplaces)
{
    for (const auto type : {FilterType::BandStop, FilterType::Hilbert}) {
        EXPECT_EQ(keptBy([type] {
                      Filter filter;
                      designWindow(filter, FilterType::LowPass);
                      designWindow(filter, type);
                  }),
                  0);
    }
}

TEST(KeptMemory, FilterFreesTheCoefficientsThatEquirippleOrGivenOnesReplace)
{
    EXPECT_EQ(keptBy([] {
                  Filter filter;
                  designWindow(filter, FilterType::LowPass);
                  filter.setCoefficients({1.0, 2.0});
                  filter.setEquirippleDesign(
                      30, {0.0, 100.0, 150.0, 500.0}, {1.0, 1.0, 0.0, 0.0}, 1000.0);
                  filter.setCoefficients({1.0, 2.0});
              }),
              0);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fir

// The table of kernels is filled once in a process and never cleared, so every test here calls the
// loader in a child process, which tells on its error output what came of it. The libraries in
// STAND_IN_DIR are made by CMakeLists.txt: complete/ has all five builds, whose FIR filter returns
// the number of the build, and the folders beside it have one flaw each.

#include "kernels/kernel_table.h"

#include "kernels/kernel_variant.h"
#include "platform/search_folder.h"
#include "platform/shared_library.h"
#include "runnable_variants.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <iostream>
#include <iterator>
#include <string>
#include <vector>

namespace Velmora::Kernels {
namespace {

using testing::ExitedWithCode;
using testing::HasSubstr;

const std::string kStandIns = STAND_IN_DIR;
const std::string kComplete = kStandIns + "/complete";

struct Call {
    std::uint32_t variant;
    std::int32_t minimumVersion;
    std::string directory;
};

// "[0 1 bound 5]": the results of the calls, then what the bound FIR filter returns.
[[noreturn]] void tellWhatComesOf(const std::vector<Call>& calls)
{
    std::cerr << '[';
    for (const Call& call : calls)
        std::cerr << initializeVexCalc(call.variant, call.minimumVersion, call.directory) << ' ';
    const FirFilterFunction filter = kernelTable.vexcalcFIRFilter_float;
    const float one = 1.0F;
    if (!kernelTable.loaded)
        std::cerr << "not loaded]";
    else if (filter == nullptr)
        std::cerr << "no filter]";
    else
        std::cerr << "bound " << filter(&one, &one, 1, 0) << ']';
    std::exit(0);
}

auto tells(const std::string& text)
{
    return HasSubstr("[" + text + "]");
}

TEST(InitializeVexCalc, ForcedVariantLoadsTheBuildOfThatNumber)
{
    for (std::uint32_t variant = 1; variant <= 5; ++variant)
        EXPECT_EXIT(tellWhatComesOf({{variant, 220, kComplete}}),
                    ExitedWithCode(0),
                    tells("0 bound " + std::to_string(variant)));
}

TEST(InitializeVexCalc, ChoosesTheBestBuildForThisProcessor)
{
    const auto* const best = std::find(
        std::begin(kKernelVariantNames), std::end(kKernelVariantNames), runnableVariants().back());
    EXPECT_EXIT(tellWhatComesOf({{0, 220, kComplete}}),
                ExitedWithCode(0),
                tells("0 bound " + std::to_string(best - std::begin(kKernelVariantNames))));
}

TEST(InitializeVexCalc, NumberWithoutABuildFails)
{
    EXPECT_EXIT(tellWhatComesOf({{6, 220, kComplete}}), ExitedWithCode(0), tells("-1 not loaded"));
}

// Whatever a later call asks for.
TEST(InitializeVexCalc, FirstSuccessServesTheProcess)
{
    EXPECT_EXIT(tellWhatComesOf({{2, 220, kComplete}, {1, 220, kComplete}, {0, 9999, "nowhere"}}),
                ExitedWithCode(0),
                tells("0 1 1 bound 2"));
}

TEST(InitializeVexCalc, DirectoryMayEndInASlash)
{
    EXPECT_EXIT(
        tellWhatComesOf({{1, 220, kComplete + "/"}}), ExitedWithCode(0), tells("0 bound 1"));
}

// No slash is added behind a backslash. Where that is no separator, it is part of the file's name.
TEST(InitializeVexCalc, DirectoryMayEndInABackslash)
{
    namespace fs = std::filesystem;
    if constexpr (fs::path::preferred_separator == '/') {
        const std::string name = std::string("/vexcalc-std_64") + Platform::sharedLibrarySuffix();
        const fs::path odd = kComplete + "\\" + name.substr(1);
        fs::remove(odd);
        fs::create_symlink(kComplete + name, odd);
    }
    EXPECT_EXIT(
        tellWhatComesOf({{1, 220, kComplete + "\\"}}), ExitedWithCode(0), tells("0 bound 1"));
}

TEST(InitializeVexCalc, FailedCallIsTriedAgain)
{
    EXPECT_EXIT(tellWhatComesOf({{1, 220, kStandIns + "/nowhere"},
                                 {1, 220, kStandIns + "/nowhere"},
                                 {1, 220, kStandIns + "/older"},
                                 {1, 220, kComplete}}),
                ExitedWithCode(0),
                tells("-1 -1 -1 0 bound 1"));
}

TEST(InitializeVexCalc, OlderVersionFails)
{
    EXPECT_EXIT(tellWhatComesOf({{1, 220, kStandIns + "/older"}}),
                ExitedWithCode(0),
                tells("-1 not loaded"));
    EXPECT_EXIT(
        tellWhatComesOf({{1, 219, kStandIns + "/older"}}), ExitedWithCode(0), tells("0 bound 1"));
}

// 3.0 is 300, although its minor number is less than that of 2.20.
TEST(InitializeVexCalc, VersionIsTheMajorNumberTimes100AndTheMinor)
{
    EXPECT_EXIT(
        tellWhatComesOf({{1, 220, kStandIns + "/newer"}}), ExitedWithCode(0), tells("0 bound 30"));
    EXPECT_EXIT(tellWhatComesOf({{1, 301, kStandIns + "/newer"}}),
                ExitedWithCode(0),
                tells("-1 not loaded"));
}

// The builds in complete/ are valid only for a caller that passes 13 and three cleared numbers.
TEST(InitializeVexCalc, BuildMadeForAnotherInterfaceFails)
{
    EXPECT_EXIT(tellWhatComesOf({{1, 220, kStandIns + "/invalid"}}),
                ExitedWithCode(0),
                tells("-1 not loaded"));
}

TEST(InitializeVexCalc, BuildThatTellsNoVersionFails)
{
    EXPECT_EXIT(tellWhatComesOf({{1, 0, kStandIns + "/silent"}}),
                ExitedWithCode(0),
                tells("-1 not loaded"));
}

TEST(InitializeVexCalc, MissingKernelIsNoFailure)
{
    EXPECT_EXIT(tellWhatComesOf({{1, 220, kStandIns + "/bare"}, {1, 220, kComplete}}),
                ExitedWithCode(0),
                tells("0 1 no filter"));
}

TEST(InitializeVexCalc, EmptyDirectoryMeansBesideOurselvesFirst)
{
    EXPECT_EXIT(tellWhatComesOf({{1, 220, ""}}), ExitedWithCode(0), tells("0 bound 101"));
}

// sse41 does not stand beside this program. Linux learns at the start of a process what it is to
// search, so the child starts the program anew.
TEST(InitializeVexCalc, EmptyDirectoryMeansTheSystemsSearchThen)
{
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    EXPECT_EXIT(tellWhatComesOf({{3, 220, ""}}), ExitedWithCode(0), tells("-1 not loaded"));
    addSearchFolder(kComplete);
    EXPECT_EXIT(
        tellWhatComesOf({{3, 220, ""}, {1, 220, ""}}), ExitedWithCode(0), tells("0 1 bound 3"));
}

// Our own builds, which have the FIR filter alone: 1 · 1.
TEST(InitializeVexCalc, LoadsTheBuildsBesideTheLibrary)
{
    EXPECT_EXIT(
        tellWhatComesOf({{0, 220, HARMOTRACK_LIBRARY_DIR}}), ExitedWithCode(0), tells("0 bound 1"));
    EXPECT_EXIT(tellWhatComesOf({{0, 221, HARMOTRACK_LIBRARY_DIR}}),
                ExitedWithCode(0),
                tells("-1 not loaded"));
}

// Null for the slot that no kernel fills.
const std::vector<const char*> kExpectedSlots{
#define NAME(name) #name,
#define FIR_FILTER NAME
#define NO_NAME() nullptr,
#include "expected_slots.inc"
};

[[noreturn]] void tellHowTheTableIsFilled()
{
    static_cast<void>(initializeVexCalc(1, 220, kComplete));
    const auto library = Platform::SharedLibrary::open(kComplete + "/vexcalc-std_64" +
                                                       Platform::sharedLibrarySuffix());
    const auto* const table = reinterpret_cast<const char*>(&kernelTable);
    const char* const slots = table + offsetof(KernelTable, vexcalcGetMinMax_int32_t);
    int wrong = 0;
    int null = 0;
    for (std::size_t i = 0; i < kExpectedSlots.size(); ++i) {
        const char* const name = kExpectedSlots[i];
        void* slot = nullptr;
        std::memcpy(&slot, slots + i * sizeof slot, sizeof slot);
        if (slot != (name == nullptr ? nullptr : library.symbol(name))) ++wrong;
        if (slot == nullptr) ++null;
    }
    std::cerr << wrong << " wrong, " << null << " null";
    std::exit(0);
}

TEST(KernelTable, HoldsEveryNameInOrderAndOneNamelessSlot)
{
    EXPECT_EQ(kExpectedSlots.size(), 49U);
    EXPECT_EQ(sizeof(KernelTable), (1 + kExpectedSlots.size()) * sizeof(KernelFunction));
    EXPECT_EXIT(tellHowTheTableIsFilled(), ExitedWithCode(0), "^0 wrong, 1 null");
}

} // namespace
} // namespace Velmora::Kernels

#include "runnable_variants.h"

#include "platform/shared_library.h"

#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <limits>
#include <memory>
#include <new>
#include <random>
#include <string>
#include <vector>

namespace Velmora::Kernels {
namespace {

using Platform::SharedLibrary;

using FirFilter = float (*)(const float*, const float*, std::int32_t, std::int32_t);
using GetVersion = void (*)(std::int32_t*, std::int32_t*, std::int32_t, std::int32_t*);

constexpr std::align_val_t kAlignment{32};

struct AlignedDelete {
    void operator()(float* block) const { operator delete(block, kAlignment); }
};

using AlignedFloats = std::unique_ptr<float[], AlignedDelete>;

// Exactly as long as it says, so that the address sanitizer sees a step beyond either end.
AlignedFloats alignedFloats(std::int32_t count)
{
    const auto bytes = static_cast<std::size_t>(count) * sizeof(float);
    return AlignedFloats(static_cast<float*>(operator new(bytes, kAlignment)));
}

struct Sum {
    double value;     // Σ c[k] h[(position + k) mod count]
    double magnitude; // Σ |c[k] h[...]|
};

Sum exactSum(const float* history,
             const float* coefficients,
             std::int32_t count,
             std::int32_t position)
{
    Sum sum{.value = 0.0, .magnitude = 0.0};
    for (std::int32_t k = 0; k < count; ++k) {
        const double product = static_cast<double>(coefficients[k]) *
                               static_cast<double>(history[(position + k) % count]);
        sum.value += product;
        sum.magnitude += std::abs(product);
    }
    return sum;
}

// count roundings of at most half a unit in the last place each, in whatever order
double roundingBound(const Sum& sum, std::int32_t count)
{
    return 1.001 * count * 0.5 * static_cast<double>(std::numeric_limits<float>::epsilon()) *
           sum.magnitude;
}

class EveryBuild : public testing::TestWithParam<std::string> {
protected:
    void SetUp() override
    {
        library_ = SharedLibrary::open(HARMOTRACK_LIBRARY_DIR "/vexcalc-" + GetParam() + "_64" +
                                       Platform::sharedLibrarySuffix());
        ASSERT_TRUE(library_);
        firFilter_ = reinterpret_cast<FirFilter>(library_.symbol("vexcalcFIRFilter_float"));
        getVersion_ = reinterpret_cast<GetVersion>(library_.symbol("vexcalcGetVersion"));
        ASSERT_NE(firFilter_, nullptr);
        ASSERT_NE(getVersion_, nullptr);
    }

    SharedLibrary library_;
    FirFilter firFilter_ = nullptr;
    GetVersion getVersion_ = nullptr;
    std::mt19937 random_{20261121};
    std::uniform_real_distribution<float> uniform_{-1.0F, 1.0F};
};

TEST_P(EveryBuild, FirFilterIsTheSumForEveryLengthAndPosition)
{
    for (std::int32_t count = 1; count <= 100; ++count) {
        const AlignedFloats history = alignedFloats(count);
        const AlignedFloats coefficients = alignedFloats(count);
        for (std::size_t i = 0; i < static_cast<std::size_t>(count); ++i) {
            history[i] = uniform_(random_);
            coefficients[i] = uniform_(random_);
        }
        for (std::int32_t position = 0; position < count; ++position) {
            const Sum sum = exactSum(history.get(), coefficients.get(), count, position);
            const float y = firFilter_(history.get(), coefficients.get(), count, position);
            EXPECT_NEAR(static_cast<double>(y), sum.value, roundingBound(sum, count))
                << "count " << count << ", position " << position;
        }
    }
}

// Each coefficient alone, against samples that all differ, so that nothing hides in a sum.
TEST_P(EveryBuild, FirFilterPutsTheFirstCoefficientOnTheSampleAtPosition)
{
    constexpr std::int32_t count = 38;
    std::vector<float> history(count);
    for (std::int32_t i = 0; i < count; ++i)
        history[static_cast<std::size_t>(i)] = static_cast<float>(1 + i);
    for (std::int32_t k = 0; k < count; ++k) {
        std::vector<float> coefficients(count, 0.0F);
        coefficients[static_cast<std::size_t>(k)] = 1.0F;
        for (std::int32_t position = 0; position < count; ++position)
            EXPECT_EQ(firFilter_(history.data(), coefficients.data(), count, position),
                      static_cast<float>(1 + (position + k) % count));
    }
}

// One product with a NaN would make the sum a NaN.
TEST_P(EveryBuild, FirFilterReadsItsElementsAloneAndChangesNone)
{
    const float none = std::numeric_limits<float>::quiet_NaN();
    constexpr std::size_t margin = 17;
    for (std::int32_t count = 1; count <= 40; ++count) {
        const auto size = static_cast<std::size_t>(count);
        std::vector<float> history(size + 2 * margin, none);
        std::vector<float> coefficients(size + 2 * margin, none);
        for (std::size_t i = 0; i < size; ++i) {
            history[margin + i] = uniform_(random_);
            coefficients[margin + i] = uniform_(random_);
        }
        const std::vector<float> historyBefore = history;
        const std::vector<float> coefficientsBefore = coefficients;
        for (std::int32_t position = 0; position < count; ++position)
            EXPECT_FALSE(std::isnan(firFilter_(
                history.data() + margin, coefficients.data() + margin, count, position)));
        for (std::size_t i = 0; i < size; ++i) {
            EXPECT_EQ(history[margin + i], historyBefore[margin + i]);
            EXPECT_EQ(coefficients[margin + i], coefficientsBefore[margin + i]);
        }
    }
}

TEST_P(EveryBuild, VersionIs220AndValidForInterface13Only)
{
    for (const std::int32_t interfaceNumber : {12, 13, 14, 0, -13}) {
        std::int32_t major = 0;
        std::int32_t minor = 0;
        std::int32_t valid = 0;
        getVersion_(&major, &minor, interfaceNumber, &valid);
        EXPECT_EQ(100 * major + minor, 220);
        EXPECT_EQ(valid != 0, interfaceNumber == 13);
    }
}

TEST_P(EveryBuild, ExportsNoOtherKernel)
{
    EXPECT_EQ(library_.symbol("vexcalcGetMinMax_float"), nullptr);
    EXPECT_EQ(library_.symbol("vexcalcPowerHarmonicZero"), nullptr);
}

INSTANTIATE_TEST_SUITE_P(Vexcalc,
                         EveryBuild,
                         testing::ValuesIn(runnableVariants()),
                         [](const auto& build) { return build.param; });

} // namespace
} // namespace Velmora::Kernels

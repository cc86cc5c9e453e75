#include "dsp/window/transient.h"

#include "dsp/window/exponential.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <typeinfo>

namespace Velmora::KorLib::Dsp::Window {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

TEST(Transient, IsOneBelowItsLengthAndZeroFromThere)
{
    EXPECT_THAT(Transient<double>(5, 2).samples(), ElementsAre(1.0, 1.0, 0.0, 0.0, 0.0));
}

TEST(Transient, OfLengthZeroIsAllOnes)
{
    EXPECT_THAT(Transient<double>(5, 0).samples(), Each(1.0));
}

TEST(Transient, AsLongAsItsBlockOrLongerIsAllOnes)
{
    EXPECT_THAT(Transient<double>(5, 5).samples(), Each(1.0));
    EXPECT_THAT(Transient<double>(5, 900).samples(), Each(1.0));
}

// The share that is cut off is not made up for.
TEST(Transient, FactorsAreOneWhateverTheLength)
{
    for (const std::uint64_t length : {0U, 2U, 5U}) {
        const Transient<double> window(5, length);
        EXPECT_EQ(window.amplitudeCorrection(), 1.0);
        EXPECT_EQ(window.noiseBandwidth(), 1.0);
        EXPECT_EQ(window.energyCorrection(), 1.0);
        EXPECT_EQ(window.energyToAmplitude(), 1.0);
    }
}

TEST(Transient, EachSetterGeneratesOutsideABatch)
{
    Transient<double> window(3, 1);
    window.setLength(2);
    EXPECT_THAT(window.samples(), ElementsAre(1.0, 1.0, 0.0));
    window.setSize(4);
    EXPECT_THAT(window.samples(), ElementsAre(1.0, 1.0, 0.0, 0.0));
}

TEST(Transient, EqualsComparesLengthsAndNoSizes)
{
    const Transient<double> window(5, 2);
    EXPECT_TRUE(window.equals(Transient<double>(9, 2)));
    EXPECT_FALSE(window.equals(Transient<double>(5, 3)));
}

TEST(Transient, EqualsRefusesAnotherShape)
{
    EXPECT_THROW((void)Transient<double>(4, 2).equals(Exponential<double>(4, 0.5)), std::bad_cast);
}

TEST(Transient, CloneCarriesItsLengthAndLivesOnItsOwn)
{
    Transient<double> window(3, 1);
    const auto clone = window.clone();
    window.setLength(0);
    EXPECT_EQ(dynamic_cast<const Transient<double>&>(*clone).length(), 1U);
    EXPECT_THAT(clone->samples(), ElementsAre(1.0, 0.0, 0.0));
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Window

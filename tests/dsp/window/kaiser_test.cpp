#include "dsp/window/kaiser.h"

#include "dsp/window/hanning.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <limits>
#include <stdexcept>

namespace Velmora::KorLib::Dsp::Window {
namespace {

using ::testing::Each;

// I0(8) = 427.56411572180474 (scipy.special.i0), and I0(0) = 1 at the ends.
TEST(Kaiser, SymmetricFormIsOneInTheMiddleAndTheInverseOfI0AtBothEnds)
{
    const Kaiser<float> window(5, 0, 8.0);
    EXPECT_EQ(window.at(2), 1.0F);
    EXPECT_FLOAT_EQ(window.at(0), static_cast<float>(1.0 / 427.56411572180474));
    EXPECT_EQ(window.at(4), window.at(0));
    EXPECT_EQ(window.at(3), window.at(1));
}

TEST(Kaiser, OfBetaZeroIsARectangle)
{
    EXPECT_THAT(Kaiser<float>(7, 0, 0.0).samples(), Each(1.0F));
}

TEST(Kaiser, OfSizeOneIsItsOwnEnd)
{
    const Kaiser<float> window(1, 0, 8.0);
    ASSERT_EQ(window.samples().size(), 1U);
    EXPECT_FLOAT_EQ(window.at(0), static_cast<float>(1.0 / 427.56411572180474));
}

TEST(Kaiser, OfSizeZeroIsEmpty)
{
    EXPECT_TRUE(Kaiser<float>(0, 0, 8.0).samples().empty());
}

TEST(Kaiser, HasNoCorrectionFactors)
{
    const Kaiser<float> window(16, 1, 8.0);
    EXPECT_EQ(window.amplitudeCorrection(), 0.0F);
    EXPECT_EQ(window.noiseBandwidth(), 0.0F);
    EXPECT_EQ(window.energyCorrection(), 0.0F);
    EXPECT_EQ(window.energyToAmplitude(), 0.0F);
}

// ceil(52.05 * 10 / 14.357) = ceil(36.25) = 37; beta as scipy.signal.kaiser_beta(60).
TEST(Kaiser, SpecificationOf60dBAndATenthOfTheRateTakes38Samples)
{
    const Kaiser<float> window(1000.0, 100.0, 60.0, 0);
    EXPECT_EQ(window.size(), 38U);
    EXPECT_EQ(window.samples().size(), 38U);
    EXPECT_DOUBLE_EQ(window.beta(), 5.65326);
    EXPECT_EQ(window.periodic(), 0);
}

// Values of scipy.signal.kaiser_beta, which has the same three branches.
TEST(Kaiser, BetaFollowsTheAttenuationInThreeBranches)
{
    const auto beta = [](double attenuation) {
        return Kaiser<float>(1000.0, 100.0, attenuation, 0).beta();
    };
    EXPECT_DOUBLE_EQ(beta(50.0), 4.533514120981248);
    EXPECT_DOUBLE_EQ(beta(40.0), 3.3953210522614574);
    EXPECT_EQ(beta(21.0), 0.0);
    EXPECT_EQ(beta(20.0), 0.0);
}

// The size sees the attenuation's modulus, beta its sign.
TEST(Kaiser, NegativeAttenuationKeepsItsSizeAndLosesItsBeta)
{
    const Kaiser<float> window(1000.0, 100.0, -60.0, 1);
    EXPECT_EQ(window.size(), 38U);
    EXPECT_EQ(window.beta(), 0.0);
    EXPECT_EQ(window.periodic(), 1);
}

// ceil((8 - 7.95) * 10 / 14.357) = 1
TEST(Kaiser, SmallAttenuationCountsAs8dB)
{
    EXPECT_EQ(Kaiser<float>(1000.0, 100.0, 3.0, 0).size(), 2U);
}

TEST(Kaiser, SpecificationThatNoSizeHoldsIsNoSize)
{
    EXPECT_THROW(Kaiser<float>(1000.0, 0.0, 60.0, 0), std::length_error);
    EXPECT_EQ(Kaiser<float>(1000.0, -1.0, 60.0, 0).size(), 0U);
    EXPECT_EQ(Kaiser<float>(0.0, 0.0, 60.0, 0).size(), 0U);
}

TEST(Kaiser, NegativeBetaIsRefused)
{
    EXPECT_THROW(Kaiser<float>(5, 0, -1.0), std::domain_error);
}

TEST(Kaiser, KeepsItsIterationBoundsThroughClone)
{
    const Kaiser<float> window(5, 1, 2.5);
    const auto clone = window.clone();
    const auto& copy = dynamic_cast<const Kaiser<float>&>(*clone);
    EXPECT_EQ(copy.iterationLimit(), 200);
    EXPECT_EQ(copy.tolerance(), 2.220446049250313e-16);
    EXPECT_EQ(copy.beta(), 2.5);
    EXPECT_EQ(copy.periodic(), 1);
    EXPECT_EQ(copy.samples(), window.samples());
}

// All shapes of the symmetric family compare their form alone.
TEST(Kaiser, EqualsComparesTheFormAndNoBeta)
{
    const Kaiser<float> window(5, 0, 2.5);
    EXPECT_TRUE(window.equals(Kaiser<float>(9, 0, 8.0)));
    EXPECT_TRUE(window.equals(Hanning<float>(5, 0)));
    EXPECT_FALSE(window.equals(Kaiser<float>(5, 1, 2.5)));
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Window

#include "dsp/window/exponential.h"

#include "dsp/window/hanning.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <typeinfo>

namespace Velmora::KorLib::Dsp::Window {
namespace {

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

// exp(i ln(1/16) / 4) = 2^-i
TEST(Exponential, ReachesItsFinalValueOneSampleAfterTheLast)
{
    const Exponential<double> window(4, 0.0625);
    EXPECT_DOUBLE_EQ(window.at(0), 1.0);
    EXPECT_DOUBLE_EQ(window.at(1), 0.5);
    EXPECT_DOUBLE_EQ(window.at(2), 0.25);
    EXPECT_DOUBLE_EQ(window.at(3), 0.125);
}

// With the samples 1, 1/2, 1/4, 1/8: <w> = 15/32 and <w^2> = 85/256.
TEST(Exponential, MeasuresItsFactorsFromItsSamples)
{
    const Exponential<double> window(4, 0.0625);
    EXPECT_DOUBLE_EQ(window.amplitudeCorrection(), 32.0 / 15.0);
    EXPECT_DOUBLE_EQ(window.noiseBandwidth(), 85.0 / 256.0 * (32.0 / 15.0) * (32.0 / 15.0));
    EXPECT_TRUE(std::isnan(window.energyToAmplitude()));
}

// Every other shape has 1 / sqrt(<w^2>) here.
TEST(Exponential, EnergyCorrectionActsOnSquares)
{
    const Exponential<double> window(4, 0.0625);
    EXPECT_DOUBLE_EQ(window.energyCorrection(), 256.0 / 85.0);
}

TEST(Exponential, OfFinalValueOneIsARectangle)
{
    const Exponential<double> window(8, 1.0);
    for (const double w : window.samples()) EXPECT_EQ(w, 1.0);
    EXPECT_EQ(window.amplitudeCorrection(), 1.0);
    EXPECT_EQ(window.noiseBandwidth(), 1.0);
}

TEST(Exponential, WithoutAFinalValueIsNaNAtTheStartAndZeroElsewhere)
{
    const Exponential<double> window(4, 0.0);
    EXPECT_TRUE(std::isnan(window.at(0)));
    for (std::uint64_t i = 1; i < 4; ++i) EXPECT_EQ(window.at(i), 0.0);
    EXPECT_TRUE(std::isnan(window.amplitudeCorrection()));
    EXPECT_TRUE(std::isnan(window.noiseBandwidth()));
    EXPECT_TRUE(std::isnan(window.energyCorrection()));
    EXPECT_TRUE(std::isnan(window.energyToAmplitude()));
}

TEST(Exponential, FinalValueOutsideZeroToOneLeavesThePreviousOne)
{
    Exponential<double> window(4, 0.5);
    for (const double refused : {0.0, -0.5, 1.0 + kEpsilon, std::nan("")}) {
        window.setFinalValue(refused);
        EXPECT_EQ(window.finalValue(), 0.5) << refused;
    }
    window.setFinalValue(1.0);
    EXPECT_EQ(window.finalValue(), 1.0);
}

// The sample that was overwritten from outside comes back.
TEST(Exponential, RefusedFinalValueGeneratesAllTheSame)
{
    Exponential<double> window(4, 0.5);
    window.at(0) = 7.0;
    window.setFinalValue(-1.0);
    EXPECT_EQ(window.at(0), 1.0);
}

TEST(Exponential, OfSizeZeroSetsTheAmplitudeCorrectionToZeroAndNoOtherFactor)
{
    Exponential<double> window(4, 0.0625);
    const double noiseBandwidth = window.noiseBandwidth();
    const double energyCorrection = window.energyCorrection();
    window.setSize(0);
    EXPECT_TRUE(window.samples().empty());
    EXPECT_EQ(window.amplitudeCorrection(), 0.0);
    EXPECT_EQ(window.noiseBandwidth(), noiseBandwidth);
    EXPECT_EQ(window.energyCorrection(), energyCorrection);
    EXPECT_TRUE(std::isnan(window.energyToAmplitude()));

    const Exponential<double> empty(0, 0.5);
    EXPECT_EQ(empty.noiseBandwidth(), 0.0);
    EXPECT_EQ(empty.energyToAmplitude(), 0.0);
}

TEST(Exponential, GeneratesOnceAtTheEndOfABatch)
{
    Exponential<double> window(4, 0.0625);
    window.beginUpdate();
    window.setSize(2);
    window.setFinalValue(0.25);
    EXPECT_EQ(window.samples().size(), 4U);
    window.endUpdate();
    ASSERT_EQ(window.samples().size(), 2U);
    EXPECT_DOUBLE_EQ(window.at(1), 0.5);
}

TEST(Exponential, EqualsComparesFinalValuesWithinEpsilonAndNoSizes)
{
    const Exponential<double> window(4, 0.5);
    EXPECT_TRUE(window.equals(Exponential<double>(9, 0.5)));
    EXPECT_TRUE(window.equals(Exponential<double>(4, 0.5 + kEpsilon)));
    EXPECT_FALSE(window.equals(Exponential<double>(4, 0.5 + 2.0 * kEpsilon)));
    EXPECT_FALSE(window.equals(Exponential<double>(4, 0.5 - 2.0 * kEpsilon)));
}

TEST(Exponential, EqualsRefusesAnotherShape)
{
    EXPECT_THROW((void)Exponential<double>(4, 0.5).equals(Hanning<double>(4, 0)), std::bad_cast);
}

TEST(Exponential, CloneCarriesItsFinalValueAndLivesOnItsOwn)
{
    Exponential<double> window(4, 0.0625);
    const auto clone = window.clone();
    window.setFinalValue(1.0);
    EXPECT_EQ(dynamic_cast<const Exponential<double>&>(*clone).finalValue(), 0.0625);
    EXPECT_DOUBLE_EQ(clone->at(3), 0.125);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Window

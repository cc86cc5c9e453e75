#include "dsp/frequency_domain_filter/frequency_domain_filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <complex>
#include <cstdint>
#include <exception>
#include <fstream>
#include <limits>
#include <sstream>
#include <string>
#include <vector>

namespace Velmora::KorLib::Dsp::FrequencyDomainFilter {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

using Filter = FrequencyDomainFilter<double>;
using Value = std::complex<double>;

constexpr double kPi = 3.141592653589793;
constexpr double kInfinity = std::numeric_limits<double>::infinity();

Filter filter(WeightingType weighting, double start = 0.0, double step = 1.0, std::size_t count = 3)
{
    Filter result;
    result.setWeighting(weighting);
    result.setFrequencies(start, step, count);
    return result;
}

double decibels(WeightingType weighting, double f)
{
    return 20.0 * std::log10(std::abs(filter(weighting).response(f)));
}

// What apply() says about this spectrum; the empty string when it says nothing.
std::string complaint(const Filter& filter, std::vector<Value> spectrum)
{
    try {
        filter.apply(spectrum);
    } catch (const std::exception& error) {
        return error.what();
    }
    return "";
}

TEST(FrequencyDomainFilter, OfANewObjectIsCurveAAtNoFrequencies)
{
    const Filter empty;
    EXPECT_EQ(empty.outputMode(), OutputMode::Linear);
    EXPECT_EQ(empty.weighting(), WeightingType::A);
    EXPECT_THAT(empty.frequencies(), IsEmpty());
    EXPECT_THAT(empty.magnitude(), IsEmpty());
    EXPECT_THAT(empty.response(), IsEmpty());
}

TEST(FrequencyDomainFilter, FrequenciesStartWhereTheyAreToldAndStepFromThere)
{
    const Filter linear = filter(WeightingType::Linear, -1.5, 0.25, 4);
    EXPECT_THAT(linear.frequencies(), ElementsAre(-1.5, -1.25, -1.0, -0.75));
}

// weighting_curves.csv: weighting number, frequency, real part, imaginary part
TEST(FrequencyDomainFilter, ResponsesAreThoseOfExtendedPrecision)
{
    std::ifstream file(HARMOTRACK_GOLDEN_DIR "/weighting_curves.csv");
    int compared = 0;
    for (std::string line; std::getline(file, line);) {
        if (line.empty() || line[0] == '#') continue;
        std::istringstream text(line);
        std::uint32_t number = 0;
        double f = 0.0;
        double re = 0.0;
        double im = 0.0;
        char comma = 0;
        ASSERT_TRUE(text >> number >> comma >> f >> comma >> re >> comma >> im) << line;

        const Value H = filter(static_cast<WeightingType>(number)).response(f);

        EXPECT_NEAR(H.real(), re, 1e-14 * std::abs(re)) << line;
        EXPECT_NEAR(H.imag(), im, 1e-14 * std::abs(im)) << line;
        ++compared;
    }
    EXPECT_EQ(compared, 9 * 17);
}

struct TabulatedWeight {
    double a;
    double b;
    double c;
};

// A and C of IEC 61672-1, table 3, and B of IEC 60651, in decibels, at the exact frequencies
// 1000 x 10^(n/10) Hz, n = -20 .. 13, of which 10 Hz, 12.5 Hz ... 20 kHz are the nominal ones.
// clang-format off
constexpr std::array<TabulatedWeight, 34> kTabulated = {{
    {-70.4, -38.2, -14.3}, {-63.4, -33.2, -11.2}, {-56.7, -28.5, -8.5}, {-50.5, -24.2, -6.2},
    {-44.7, -20.4, -4.4},  {-39.4, -17.1, -3.0},  {-34.6, -14.2, -2.0}, {-30.2, -11.6, -1.3},
    {-26.2, -9.3, -0.8},   {-22.5, -7.4, -0.5},   {-19.1, -5.6, -0.3},  {-16.1, -4.2, -0.2},
    {-13.4, -3.0, -0.1},   {-10.9, -2.0, 0.0},    {-8.6, -1.3, 0.0},    {-6.6, -0.8, 0.0},
    {-4.8, -0.5, 0.0},     {-3.2, -0.3, 0.0},     {-1.9, -0.1, 0.0},    {-0.8, 0.0, 0.0},
    {0.0, 0.0, 0.0},       {0.6, 0.0, 0.0},       {1.0, 0.0, -0.1},     {1.2, -0.1, -0.2},
    {1.3, -0.2, -0.3},     {1.2, -0.4, -0.5},     {1.0, -0.7, -0.8},    {0.5, -1.2, -1.3},
    {-0.1, -1.9, -2.0},    {-1.1, -2.9, -3.0},    {-2.5, -4.3, -4.4},   {-4.3, -6.1, -6.2},
    {-6.6, -8.4, -8.5},    {-9.3, -11.1, -11.2},
}};

// clang-format on

// The tables are rounded to 0.1 dB; the poles and gains, to three and more digits, add 0.003 dB.
TEST(FrequencyDomainFilter, AcousticCurvesAreThoseOfTheStandards)
{
    for (std::size_t n = 0; n < kTabulated.size(); ++n) {
        const double f = 1000.0 * std::pow(10.0, (static_cast<double>(n) - 20.0) / 10.0);
        EXPECT_NEAR(decibels(WeightingType::A, f), kTabulated[n].a, 0.053) << f << " Hz";
        EXPECT_NEAR(decibels(WeightingType::B, f), kTabulated[n].b, 0.053) << f << " Hz";
        EXPECT_NEAR(decibels(WeightingType::C, f), kTabulated[n].c, 0.053) << f << " Hz";
    }
}

// The gains are given to 0.01 dB, half of which is a factor of 6e-4.
TEST(FrequencyDomainFilter, AcousticCurvesAreOneAtOneKilohertz)
{
    EXPECT_NEAR(filter(WeightingType::A).response(1000.0).real(), 1.0, 6e-4);
    EXPECT_NEAR(filter(WeightingType::B).response(1000.0).real(), 1.0, 6e-4);
    EXPECT_NEAR(filter(WeightingType::C).response(1000.0).real(), 1.0, 6e-4);
}

TEST(FrequencyDomainFilter, AcousticCurvesAreZeroAtZeroHertz)
{
    for (const auto curve :
         {WeightingType::A, WeightingType::B, WeightingType::C, WeightingType::D})
        EXPECT_EQ(filter(curve).response(0.0), Value(0.0, 0.0));
}

TEST(FrequencyDomainFilter, LinearIsOneAtEveryFrequency)
{
    for (const double f : {0.0, 1e-300, 440.0, -3.0, 1e300})
        EXPECT_EQ(filter(WeightingType::Linear).response(f), Value(1.0, 0.0));
}

// Acceleration cos(2πft) has the velocity sin(2πft) / 2πf and the displacement -cos(2πft) / (2πf)².
TEST(FrequencyDomainFilter, IntegrationDividesByIOmega)
{
    const double f = 2.0 / kPi; // so that 2πf = 4, to a rounding
    const Value once = filter(WeightingType::Integrate).response(f);
    const Value twice = filter(WeightingType::DoubleIntegrate).response(f);
    EXPECT_EQ(once.real(), 0.0);
    EXPECT_NEAR(once.imag(), -0.25, 1e-16);
    EXPECT_NEAR(twice.real(), -0.0625, 1e-16);
    EXPECT_EQ(twice.imag(), 0.0);
}

TEST(FrequencyDomainFilter, DifferentiationMultipliesByIOmega)
{
    const double f = 2.0 / kPi;
    const Value once = filter(WeightingType::Differentiate).response(f);
    const Value twice = filter(WeightingType::DoubleDifferentiate).response(f);
    EXPECT_EQ(once.real(), 0.0);
    EXPECT_NEAR(once.imag(), 4.0, 1e-15);
    EXPECT_NEAR(twice.real(), -16.0, 1e-14);
    EXPECT_EQ(twice.imag(), 0.0);
}

TEST(FrequencyDomainFilter, IntegrationOfAConstantIsZeroAndNotInfinity)
{
    EXPECT_EQ(filter(WeightingType::Integrate).response(0.0), Value(0.0, 0.0));
    EXPECT_EQ(filter(WeightingType::DoubleIntegrate).response(0.0), Value(0.0, 0.0));
    EXPECT_EQ(filter(WeightingType::Integrate).response(-0.0), Value(0.0, 0.0));
}

// Only exact zero is taken for one.
TEST(FrequencyDomainFilter, IntegrationOfAlmostAConstantIsLarge)
{
    const Value H = filter(WeightingType::Integrate).response(1e-300);
    EXPECT_NEAR(H.imag(), -1e300 / (2.0 * kPi), 1e285);
}

TEST(FrequencyDomainFilter, DifferentiationOfAConstantIsZero)
{
    EXPECT_EQ(filter(WeightingType::Differentiate).response(0.0), Value(0.0, 0.0));
    EXPECT_EQ(filter(WeightingType::DoubleDifferentiate).response(0.0), Value(0.0, 0.0));
}

TEST(FrequencyDomainFilter, WeightingsAboveTheLastAreZero)
{
    for (const std::uint32_t number : {9U, 100U, static_cast<std::uint32_t>(-1)})
        EXPECT_EQ(filter(static_cast<WeightingType>(number)).response(1000.0), Value(0.0, 0.0));
}

TEST(FrequencyDomainFilter, MagnitudeIsTheModulusOfTheResponse)
{
    const Filter differentiate = filter(WeightingType::Differentiate, 1.0, 1.0, 2);
    EXPECT_THAT(differentiate.response(), ElementsAre(Value(0.0, 2 * kPi), Value(0.0, 4 * kPi)));
    EXPECT_THAT(differentiate.magnitude(), ElementsAre(2 * kPi, 4 * kPi));
}

TEST(FrequencyDomainFilter, DecibelsStandInTheMagnitudeAndTheResponseIsZero)
{
    Filter decibels = filter(WeightingType::Differentiate, 0.0, 5.0 / kPi, 2); // 2πf = 10
    decibels.setOutputMode(OutputMode::Decibels);
    EXPECT_EQ(decibels.magnitude()[0], -kInfinity); // the response at 0 Hz is 0
    EXPECT_NEAR(decibels.magnitude()[1], 20.0, 1e-13);
    EXPECT_THAT(decibels.response(), Each(Value(0.0, 0.0)));
}

TEST(FrequencyDomainFilter, ResponseAtOneFrequencyIsTheSameInDecibelMode)
{
    Filter decibels = filter(WeightingType::Linear);
    decibels.setOutputMode(OutputMode::Decibels);
    EXPECT_EQ(decibels.response(440.0), Value(1.0, 0.0));
}

// (1 + 2i) i2π = -4π + 2πi
TEST(FrequencyDomainFilter, ApplyMultipliesLineByLine)
{
    std::vector<Value> spectrum = {Value(5.0, 5.0), Value(1.0, 2.0), Value(0.0, -1.0)};
    filter(WeightingType::Differentiate).apply(spectrum);
    EXPECT_THAT(spectrum,
                ElementsAre(Value(0.0, 0.0), Value(-4 * kPi, 2 * kPi), Value(4 * kPi, 0.0)));
}

// (inf + i inf) times i2π is NaN in both parts by plain arithmetic, inf times 0 being NaN; the
// recovery of C's Annex G would make it -inf + i inf.
TEST(FrequencyDomainFilter, ApplyRecoversNoInfinities)
{
    std::vector<Value> spectrum = {Value(kInfinity, kInfinity)};
    filter(WeightingType::Differentiate, 1.0, 1.0, 1).apply(spectrum);
    EXPECT_TRUE(std::isnan(spectrum[0].real()));
    EXPECT_TRUE(std::isnan(spectrum[0].imag()));
}

TEST(FrequencyDomainFilter, ApplyRefusesASpectrumOfAnotherLength)
{
    const Filter linear = filter(WeightingType::Linear);
    EXPECT_EQ(complaint(linear, std::vector<Value>(2)), "Size of spectrum must equal filter size");
    EXPECT_EQ(complaint(linear, std::vector<Value>(4)), "Size of spectrum must equal filter size");
    EXPECT_EQ(complaint(linear, std::vector<Value>(3)), "");
}

TEST(FrequencyDomainFilter, ApplyRefusesDecibels)
{
    Filter decibels = filter(WeightingType::Linear);
    decibels.setOutputMode(OutputMode::Decibels);
    EXPECT_EQ(complaint(decibels, std::vector<Value>(3)),
              "Decibels filter cannot be applied to complex spectrum");
}

TEST(FrequencyDomainFilter, ApplyTestsTheLengthFirst)
{
    Filter decibels = filter(WeightingType::Linear);
    decibels.setOutputMode(OutputMode::Decibels);
    EXPECT_EQ(complaint(decibels, std::vector<Value>(2)),
              "Size of spectrum must equal filter size");
}

TEST(FrequencyDomainFilter, RefusedSpectrumIsLeftAsItWas)
{
    std::vector<Value> spectrum = {Value(1.0, 2.0)};
    EXPECT_THROW(filter(WeightingType::DoubleDifferentiate).apply(spectrum), std::exception);
    EXPECT_THAT(spectrum, ElementsAre(Value(1.0, 2.0)));
}

// A mode without a name derives what decibels do, and passes for linear in apply().
TEST(FrequencyDomainFilter, OtherOutputModesMultiplyByZero)
{
    Filter other = filter(WeightingType::Linear);
    other.setOutputMode(static_cast<OutputMode>(2));
    EXPECT_THAT(other.magnitude(), Each(0.0)); // 0 dB
    std::vector<Value> spectrum(3, Value(1.0, 2.0));
    other.apply(spectrum);
    EXPECT_THAT(spectrum, Each(Value(0.0, 0.0)));
}

TEST(FrequencyDomainFilter, SettersInABracketTakeEffectAtItsEnd)
{
    Filter bracketed = filter(WeightingType::Linear);
    bracketed.beginUpdate();
    bracketed.setWeighting(WeightingType::Differentiate);
    bracketed.setFrequencies(1.0, 1.0, 1);
    EXPECT_THAT(bracketed.response(), ElementsAre(Value(1.0), Value(1.0), Value(1.0)));
    bracketed.endUpdate();
    EXPECT_THAT(bracketed.response(), ElementsAre(Value(0.0, 2 * kPi)));
}

TEST(WeightingFromSetup, SelectsByTheSetupsOwnNumbers)
{
    EXPECT_EQ(weightingFromSetup(1), WeightingType::A);
    EXPECT_EQ(weightingFromSetup(2), WeightingType::C);
    EXPECT_EQ(weightingFromSetup(3), WeightingType::Integrate);
    EXPECT_EQ(weightingFromSetup(4), WeightingType::DoubleIntegrate);
    EXPECT_EQ(weightingFromSetup(5), WeightingType::Differentiate);
    EXPECT_EQ(weightingFromSetup(6), WeightingType::DoubleDifferentiate);
}

TEST(WeightingFromSetup, IsLinearForAnyOtherNumber)
{
    for (const std::uint32_t number : {0U, 7U, 8U, 1000U, static_cast<std::uint32_t>(-1)})
        EXPECT_EQ(weightingFromSetup(number), WeightingType::Linear);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::FrequencyDomainFilter

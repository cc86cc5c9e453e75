#include "dsp/window/correction_factor.h"

#include "dsp/window/window.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <stdexcept>
#include <vector>

namespace Velmora::KorLib::Dsp::Window {
namespace {

using ::testing::ThrowsMessage;

constexpr CorrectionType kCorrections[] = {CorrectionType::Amplitude,
                                           CorrectionType::Energy,
                                           CorrectionType::NoiseBandwidth,
                                           CorrectionType::EnergyToAmplitude};

// The shapes whose samples are not all the same, and which have factors of their own.
constexpr WindowType kShapes[] = {WindowType::Hanning,
                                  WindowType::Hamming,
                                  WindowType::Flattop,
                                  WindowType::Triangle,
                                  WindowType::Blackman,
                                  WindowType::BlackmanHarris};

struct Means {
    double mean;
    double meanSquare;
};

Means meansOf(const std::vector<double>& samples)
{
    double sum = 0.0;
    double sumOfSquares = 0.0;
    for (const double w : samples) {
        sum += w;
        sumOfSquares += w * w;
    }
    const auto N = static_cast<double>(samples.size());
    return {sum / N, sumOfSquares / N};
}

// A cosine sum a[k] has <w> = a[0] and <w^2> = a[0]^2 + sum of a[k>0]^2 / 2.
CorrectionFactors factorsOfCosineSum(const std::vector<double>& a)
{
    double meanSquare = a[0] * a[0];
    for (std::size_t k = 1; k < a.size(); ++k) meanSquare += a[k] * a[k] / 2.0;
    return {1.0 / a[0],
            1.0 / std::sqrt(meanSquare),
            meanSquare / (a[0] * a[0]),
            a[0] / std::sqrt(meanSquare)};
}

void expectFactors(WindowType type, const CorrectionFactors& expected, double tolerance)
{
    const CorrectionFactors& factors = correctionFactors(type);
    EXPECT_NEAR(factors.amplitude, expected.amplitude, tolerance);
    EXPECT_NEAR(factors.energy, expected.energy, tolerance);
    EXPECT_NEAR(factors.noiseBandwidth, expected.noiseBandwidth, tolerance);
    EXPECT_NEAR(factors.energyToAmplitude, expected.energyToAmplitude, tolerance);
}

// The constants have 15 digits.
TEST(CorrectionFactor, IsTheClosedFormOfACosineSum)
{
    constexpr double kDigits = 1e-14;
    expectFactors(WindowType::Rectangle, factorsOfCosineSum({1.0}), kDigits);
    expectFactors(WindowType::Hanning, factorsOfCosineSum({0.5, 0.5}), kDigits);
    expectFactors(WindowType::Hamming, factorsOfCosineSum({0.54, 0.46}), kDigits);
    expectFactors(WindowType::Blackman, factorsOfCosineSum({0.42, 0.5, 0.08}), kDigits);
    expectFactors(
        WindowType::Flattop,
        factorsOfCosineSum({0.21557895, 0.41663158, 0.277263158, 0.083578947, 0.006947368}),
        kDigits);
    expectFactors(WindowType::BlackmanHarris,
                  factorsOfCosineSum({0.271051400693424,
                                      0.433297939234485,
                                      0.21812299954311,
                                      0.065925446388031,
                                      0.010811742098371,
                                      0.000776584825226,
                                      1.3887217352e-5}),
                  kDigits);
}

// The mean of a triangle is 1/2 and that of its square 1/3.
TEST(CorrectionFactor, IsTheClosedFormOfATriangleOfInfiniteLength)
{
    expectFactors(
        WindowType::Triangle, {2.0, std::sqrt(3.0), 4.0 / 3.0, std::sqrt(3.0) / 2.0}, 1e-14);
}

TEST(CorrectionFactor, IsWhatALongPeriodicWindowMeasures)
{
    for (const WindowType type : kShapes) {
        SCOPED_TRACE(static_cast<int>(type));
        const auto window = Window<double>::create(type, 4096, 1, 0.0);
        const auto [mean, meanSquare] = meansOf(window->samples());
        // Rounding of 4096 sums; a sampled triangle has <w^2> = 1/3 + 2/(3 N^2) in addition.
        const double tolerance = type == WindowType::Triangle ? 3.0 / 4096.0 / 4096.0 : 1e-12;
        expectFactors(type,
                      {1.0 / mean,
                       1.0 / std::sqrt(meanSquare),
                       meanSquare / (mean * mean),
                       mean / std::sqrt(meanSquare)},
                      tolerance);
    }
}

// A symmetric window repeats its zero at the end, so its mean is lower by (N - 1)/N.
TEST(CorrectionFactor, IsNotMeasuredSoASymmetricWindowDiffersByItsLastSample)
{
    const auto window = Window<double>::create(WindowType::Hanning, 16, 0, 0.0);
    const double mean = meansOf(window->samples()).mean;
    EXPECT_NEAR(1.0 / mean, 2.0 * 16.0 / 15.0, 1e-14);
    EXPECT_EQ(window->amplitudeCorrection(), 2.0);
}

// Selected by correction first and by type then; energy and noise bandwidth are easily swapped.
TEST(CorrectionFactor, OfEachNumberIsTheOneOfItsName)
{
    EXPECT_EQ(correctionFactor<double>(WindowType{1}, CorrectionType{0}), 2.0);
    EXPECT_EQ(correctionFactor<double>(WindowType{1}, CorrectionType{1}), 1.63299316185545);
    EXPECT_EQ(correctionFactor<double>(WindowType{1}, CorrectionType{2}), 1.5);
    EXPECT_EQ(correctionFactor<double>(WindowType{1}, CorrectionType{3}), 0.816496580927726);
    EXPECT_EQ(correctionFactor<double>(WindowType{0}, CorrectionType{2}), 1.0);
    EXPECT_EQ(correctionFactor<double>(WindowType{2}, CorrectionType{0}), 1.85185185185185);
    EXPECT_EQ(correctionFactor<double>(WindowType{3}, CorrectionType{0}), 4.63867181837559);
    EXPECT_EQ(correctionFactor<double>(WindowType{4}, CorrectionType{1}), 1.73205080756888);
    EXPECT_EQ(correctionFactor<double>(WindowType{5}, CorrectionType{0}), 2.38095238095238);
    EXPECT_EQ(correctionFactor<double>(WindowType{8}, CorrectionType{3}), 0.616403213140502);
}

TEST(CorrectionFactor, OfARectangleAndOfATransientIsOne)
{
    for (const WindowType type : {WindowType::Rectangle, WindowType::Transient})
        for (const CorrectionType correction : kCorrections)
            EXPECT_EQ(correctionFactor<double>(type, correction), 1.0);
}

TEST(CorrectionFactor, OfAnExponentialIsNaNAndNoFailure)
{
    for (const CorrectionType correction : kCorrections) {
        EXPECT_TRUE(std::isnan(correctionFactor<double>(WindowType::Exponential, correction)));
        EXPECT_TRUE(std::isnan(correctionFactor<float>(WindowType::Exponential, correction)));
    }
}

TEST(CorrectionFactor, AsFloatIsTheDoubleRounded)
{
    for (const WindowType type : kShapes)
        for (const CorrectionType correction : kCorrections)
            EXPECT_EQ(correctionFactor<float>(type, correction),
                      static_cast<float>(correctionFactor<double>(type, correction)));
}

TEST(CorrectionFactor, OfAnUnknownCorrectionIsRefusedWhateverTheType)
{
    for (const unsigned type : {1U, 6U, 9U})
        EXPECT_THAT([=] { (void)correctionFactor<double>(WindowType{type}, CorrectionType{4}); },
                    ThrowsMessage<std::invalid_argument>("Unsupported correction type."));
}

TEST(CorrectionFactor, OfAnUnknownTypeIsRefused)
{
    EXPECT_THAT([] { (void)correctionFactor<double>(WindowType{9}, CorrectionType{2}); },
                ThrowsMessage<std::invalid_argument>("Unsupported window type."));
    EXPECT_THAT([] { (void)correctionFactor<float>(WindowType{9}, CorrectionType{2}); },
                ThrowsMessage<std::invalid_argument>("Unsupported window type."));
}

// Hosts hand over signed numbers.
TEST(CorrectionFactor, OfANegativeNumberIsRefusedAsOneAboveTheLast)
{
    for (const std::int32_t negative : {-1, std::numeric_limits<std::int32_t>::min()}) {
        const auto type = static_cast<WindowType>(negative);
        EXPECT_THAT([=] { (void)correctionFactor<double>(type, CorrectionType{0}); },
                    ThrowsMessage<std::invalid_argument>("Unsupported window type."));
        const auto correction = static_cast<CorrectionType>(negative);
        EXPECT_THAT([=] { (void)correctionFactor<double>(WindowType{0}, correction); },
                    ThrowsMessage<std::invalid_argument>("Unsupported correction type."));
    }
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Window

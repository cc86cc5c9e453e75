#include "dsp/window/window.h"

#include "dsp/window/blackman.h"
#include "dsp/window/blackman_harris.h"
#include "dsp/window/exponential.h"
#include "dsp/window/flattop.h"
#include "dsp/window/hamming.h"
#include "dsp/window/hanning.h"
#include "dsp/window/rectangle.h"
#include "dsp/window/transient.h"
#include "dsp/window/triangle.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <limits>
#include <memory>
#include <numbers>
#include <stdexcept>
#include <typeinfo>
#include <vector>

namespace Velmora::KorLib::Dsp::Window {
namespace {

using ::testing::ElementsAre;
using ::testing::ThrowsMessage;

constexpr std::int32_t kSymmetric = 0;
constexpr std::int32_t kPeriodic = 1;

constexpr WindowType kSymmetricFamily[] = {WindowType::Rectangle,
                                           WindowType::Hanning,
                                           WindowType::Hamming,
                                           WindowType::Flattop,
                                           WindowType::Triangle,
                                           WindowType::Blackman,
                                           WindowType::BlackmanHarris};

std::unique_ptr<Window<double>>
make(WindowType type, std::uint64_t size, std::int32_t periodic, double parameter = 0.0)
{
    return Window<double>::create(type, size, periodic, parameter);
}

TEST(Window, SymmetricHanningIsZeroAtBothEnds)
{
    const Hanning<double> window(5, kSymmetric);
    EXPECT_EQ(window.at(0), 0.0);
    EXPECT_EQ(window.at(4), 0.0);
    EXPECT_EQ(window.at(2), 1.0);
}

TEST(Window, PeriodicHanningIsZeroAtTheStartOnly)
{
    const Hanning<double> window(5, kPeriodic);
    EXPECT_EQ(window.at(0), 0.0);
    EXPECT_GT(window.at(4), 0.3);
}

TEST(Window, AnyNumberButZeroSelectsThePeriodicForm)
{
    EXPECT_EQ(Hanning<double>(5, -7).samples(), Hanning<double>(5, kPeriodic).samples());
}

// D would be 0, so it is 1 and the only sample has x = 0.
TEST(Window, OfSizeOneIsTheStartOfItsShape)
{
    for (const std::int32_t periodic : {kSymmetric, kPeriodic}) {
        EXPECT_EQ(Hanning<double>(1, periodic).at(0), 0.0);
        EXPECT_EQ(Triangle<double>(1, periodic).at(0), 0.0);
        EXPECT_DOUBLE_EQ(Hamming<double>(1, periodic).at(0), 0.08);
        EXPECT_EQ(Rectangle<double>(1, periodic).at(0), 1.0);
    }
}

TEST(Window, SymmetricTriangleRunsFromZeroToZeroThroughOne)
{
    EXPECT_THAT(Triangle<double>(5, kSymmetric).samples(), ElementsAre(0.0, 0.5, 1.0, 0.5, 0.0));
}

TEST(Window, PeriodicTriangleEndsOneStepAboveZero)
{
    EXPECT_THAT(Triangle<double>(4, kPeriodic).samples(), ElementsAre(0.0, 0.5, 1.0, 0.5));
}

TEST(Window, OfSizeZeroIsEmptyAndHasTheFactorsOfItsShape)
{
    for (const WindowType type : kSymmetricFamily)
        for (const std::int32_t periodic : {kSymmetric, kPeriodic}) {
            const auto window = make(type, 0, periodic);
            EXPECT_TRUE(window->samples().empty());
            EXPECT_EQ(window->amplitudeCorrection(), correctionFactors(type).amplitude);
        }
    EXPECT_EQ(Transient<double>(0, 3).amplitudeCorrection(), 1.0);
}

// cos x is even about the middle. The shifted BlackmanHarris is not symmetric about its own.
TEST(Window, SymmetricFormReadsTheSameFromBothEnds)
{
    for (const WindowType type : kSymmetricFamily) {
        if (type == WindowType::BlackmanHarris) continue;
        for (const std::uint64_t size : {2U, 7U, 64U}) {
            const auto window = make(type, size, kSymmetric);
            for (std::uint64_t i = 0; i < size; ++i)
                EXPECT_NEAR(window->at(i), window->at(size - 1 - i), 1e-15);
        }
    }
}

// Sample 0 of a periodic window is that which would follow the last one.
TEST(Window, PeriodicFormIsTheSymmetricOneOfOneSampleMoreWithoutItsLast)
{
    for (const WindowType type : kSymmetricFamily) {
        const auto periodic = make(type, 12, kPeriodic);
        const auto symmetric = make(type, 13, kSymmetric);
        for (std::uint64_t i = 0; i < 12; ++i) EXPECT_EQ(periodic->at(i), symmetric->at(i));
    }
}

double sumOfSevenTerms(double y)
{
    return 0.271051400693424 - 0.433297939234485 * std::cos(y) +
           0.21812299954311 * std::cos(2.0 * y) - 0.065925446388031 * std::cos(3.0 * y) +
           0.010811742098371 * std::cos(4.0 * y) - 0.000776584825226 * std::cos(5.0 * y) +
           1.3887217352e-5 * std::cos(6.0 * y);
}

TEST(Window, BlackmanHarrisStartsOneSampleAfterTheZeroOfItsSum)
{
    const BlackmanHarris<double> window(8, kPeriodic);
    EXPECT_NEAR(window.at(0), sumOfSevenTerms(2.0 * std::numbers::pi / 8.0), 1e-15);
    EXPECT_NEAR(window.at(3), 1.0, 1e-14);
    EXPECT_NEAR(window.at(7), sumOfSevenTerms(0.0), 1e-14);
}

// y = 2 pi stands in the sample before the last, and the last goes on to 2 pi N / (N - 1).
TEST(Window, SymmetricBlackmanHarrisEndsBeyondItsPeriod)
{
    const BlackmanHarris<double> window(9, kSymmetric);
    EXPECT_NEAR(window.at(7), sumOfSevenTerms(0.0), 1e-14);
    EXPECT_NEAR(window.at(8), sumOfSevenTerms(2.0 * std::numbers::pi * 9.0 / 8.0), 1e-14);
    EXPECT_NEAR(window.at(8), window.at(0), 1e-14);
}

double spectrumDb(const Window<double>& window, double line)
{
    std::complex<double> sum = 0.0;
    double mean = 0.0;
    for (std::uint64_t i = 0; i < window.size(); ++i) {
        const double part = static_cast<double>(i) / static_cast<double>(window.size());
        sum += window.at(i) * std::polar(1.0, -2.0 * std::numbers::pi * line * part);
        mean += window.at(i);
    }
    return 20.0 * std::log10(std::abs(sum) / mean);
}

// A wrong digit in a coefficient lifts the side lobes: each bound is the window's known level,
// outside its main lobe of as many lines to a side as it has terms.
TEST(Window, SideLobesStayBelowTheLevelOfTheShape)
{
    struct {
        WindowType type;
        int mainLobe;
        double levelDb;
    } const kShapes[] = {{WindowType::Rectangle, 1, -13.2},
                         {WindowType::Hanning, 2, -31.4},
                         {WindowType::Hamming, 2, -42.6},
                         {WindowType::Triangle, 2, -26.5},
                         {WindowType::Blackman, 3, -58.1},
                         {WindowType::Flattop, 5, -93.0},
                         {WindowType::BlackmanHarris, 7, -179.0}};

    for (const auto& shape : kShapes) {
        const auto window = make(shape.type, 1024, kPeriodic);
        for (int eighths = 8 * shape.mainLobe; eighths < 8 * 20; ++eighths) {
            const double line = eighths / 8.0;
            EXPECT_LT(spectrumDb(*window, line), shape.levelDb)
                << static_cast<int>(shape.type) << " at line " << line;
        }
    }
}

TEST(Window, FlattopReadsASineBetweenTwoLinesToAHundredthOfADecibel)
{
    EXPECT_NEAR(spectrumDb(Flattop<double>(256, kPeriodic), 0.5), 0.0, 0.01);
}

// The samples of float windows are those of double ones, rounded once.
TEST(Window, FloatIsTheDoubleRounded)
{
    const Flattop<double> exact(33, kPeriodic);
    const Flattop<float> rounded(33, kPeriodic);
    for (std::uint64_t i = 0; i < 33; ++i)
        EXPECT_EQ(rounded.at(i), static_cast<float>(exact.at(i)));
    EXPECT_EQ(rounded.amplitudeCorrection(), 4.63867181837559F);
    EXPECT_EQ(rounded.noiseBandwidth(), 3.77024644744343F);
    EXPECT_EQ(rounded.energyCorrection(), 2.38895944917036F);
    EXPECT_EQ(rounded.energyToAmplitude(), 0.515009369644724F);
}

TEST(Window, FactorsOfAnObjectAreThoseOfItsShape)
{
    for (const WindowType type : kSymmetricFamily)
        for (const std::uint64_t size : {3U, 64U})
            for (const std::int32_t periodic : {kSymmetric, kPeriodic}) {
                const auto window = make(type, size, periodic);
                const CorrectionFactors& factors = correctionFactors(type);
                EXPECT_EQ(window->amplitudeCorrection(), factors.amplitude);
                EXPECT_EQ(window->noiseBandwidth(), factors.noiseBandwidth);
                EXPECT_EQ(window->energyCorrection(), factors.energy);
                EXPECT_EQ(window->energyToAmplitude(), factors.energyToAmplitude);
            }
}

TEST(Window, DefaultConstructedIsEmptyWithFactorsOfZero)
{
    const Hanning<double> window;
    EXPECT_TRUE(window.samples().empty());
    EXPECT_EQ(window.size(), 0U);
    EXPECT_EQ(window.periodic(), 0);
    EXPECT_EQ(window.amplitudeCorrection(), 0.0);
    EXPECT_EQ(window.noiseBandwidth(), 0.0);
    EXPECT_EQ(window.energyCorrection(), 0.0);
    EXPECT_EQ(window.energyToAmplitude(), 0.0);
}

TEST(Window, SetSizeGeneratesAnewAndOverwritesEverySample)
{
    Hanning<double> window(9, kSymmetric);
    window.at(1) = 7.0;
    window.setSize(5);
    EXPECT_EQ(window.samples(), Hanning<double>(5, kSymmetric).samples());
    window.at(1) = 7.0;
    window.setSize(5);
    EXPECT_EQ(window.samples(), Hanning<double>(5, kSymmetric).samples());
}

TEST(Window, SetSizeInsideABatchGeneratesAtItsEnd)
{
    Hanning<double> window(9, kSymmetric);
    window.beginUpdate();
    window.setSize(5);
    EXPECT_EQ(window.samples().size(), 9U);
    window.endUpdate();
    EXPECT_EQ(window.samples().size(), 5U);
}

TEST(Window, AtReachesTheSampleItself)
{
    Rectangle<float> window(3, kSymmetric);
    window.at(2) = 0.25F;
    EXPECT_EQ(window.samples()[2], 0.25F);
}

TEST(Window, CloneIsOfTheSameClassAndLivesOnItsOwn)
{
    for (const WindowType type : kSymmetricFamily) {
        const auto window = make(type, 8, kPeriodic);
        const std::vector<double> samples = window->samples();
        const auto clone = window->clone();
        window->setSize(3);
        const Window<double>& original = *window;
        const Window<double>& copy = *clone;
        EXPECT_EQ(typeid(copy), typeid(original));
        EXPECT_EQ(clone->samples(), samples);
        EXPECT_EQ(clone->amplitudeCorrection(), window->amplitudeCorrection());
        clone->setSize(8);
        EXPECT_EQ(clone->samples(), samples); // the form was copied too
    }
}

TEST(Window, EqualsComparesTheFormAndNoSize)
{
    const Hanning<double> window(5, kPeriodic);
    EXPECT_TRUE(window.equals(Hanning<double>(9, kPeriodic)));
    EXPECT_FALSE(window.equals(Hanning<double>(5, kSymmetric)));
}

// The comparison is that of their common base.
TEST(Window, EqualsHoldsBetweenAHanningAndAHammingOfOneForm)
{
    EXPECT_TRUE(Hanning<double>(5, kPeriodic).equals(Hamming<double>(5, kPeriodic)));
}

TEST(Window, EqualsOfASymmetricWindowRefusesAnExponential)
{
    EXPECT_THROW((void)Hanning<double>(5, kPeriodic).equals(Exponential<double>(5, 0.5)),
                 std::bad_cast);
}

template <typename Class>
bool isA(const Window<double>& window)
{
    return typeid(window) == typeid(Class);
}

TEST(WindowFactory, MakesTheClassOfEachNumber)
{
    EXPECT_TRUE(isA<Rectangle<double>>(*make(WindowType{0}, 4, kPeriodic)));
    EXPECT_TRUE(isA<Hanning<double>>(*make(WindowType{1}, 4, kPeriodic)));
    EXPECT_TRUE(isA<Hamming<double>>(*make(WindowType{2}, 4, kPeriodic)));
    EXPECT_TRUE(isA<Flattop<double>>(*make(WindowType{3}, 4, kPeriodic)));
    EXPECT_TRUE(isA<Triangle<double>>(*make(WindowType{4}, 4, kPeriodic)));
    EXPECT_TRUE(isA<Blackman<double>>(*make(WindowType{5}, 4, kPeriodic)));
    EXPECT_TRUE(isA<Exponential<double>>(*make(WindowType{6}, 4, kPeriodic)));
    EXPECT_TRUE(isA<Transient<double>>(*make(WindowType{7}, 4, kPeriodic)));
    EXPECT_TRUE(isA<BlackmanHarris<double>>(*make(WindowType{8}, 4, kPeriodic)));
}

TEST(WindowFactory, HandsOnSizeAndForm)
{
    EXPECT_EQ(make(WindowType::Hanning, 5, kSymmetric)->at(4), 0.0);
    EXPECT_GT(make(WindowType::Hanning, 5, kPeriodic)->at(4), 0.3);
}

TEST(WindowFactory, WidensAFloatParameter)
{
    const auto window = Window<double>::create(WindowType::Exponential, 4, kPeriodic, 0.1F);
    EXPECT_EQ(dynamic_cast<const Exponential<double>&>(*window).finalValue(),
              static_cast<double>(0.1F));
}

TEST(WindowFactory, CutsTheFractionOffTheLengthOfATransient)
{
    EXPECT_THAT(make(WindowType::Transient, 4, kPeriodic, 2.9)->samples(),
                ElementsAre(1.0, 1.0, 0.0, 0.0));
    EXPECT_THAT(Window<double>::create(WindowType::Transient, 3, kPeriodic, 1.5F)->samples(),
                ElementsAre(1.0, 0.0, 0.0));
}

TEST(WindowFactory, LengthOfATransientThatCannotBeShortensNothing)
{
    for (const double parameter : {-3.0,
                                   std::nan(""),
                                   18446744073709551616.0,
                                   std::numeric_limits<double>::infinity(),
                                   -std::numeric_limits<double>::infinity()})
        EXPECT_THAT(make(WindowType::Transient, 3, kPeriodic, parameter)->samples(),
                    ElementsAre(1.0, 1.0, 1.0));
}

// A size that no memory holds: the type is refused before that could fail.
TEST(WindowFactory, RefusesAnUnknownTypeBeforeItAllocates)
{
    constexpr std::uint64_t kHuge = std::numeric_limits<std::uint64_t>::max();
    for (const std::int32_t number : {9, -1}) {
        const auto type = static_cast<WindowType>(number);
        EXPECT_THAT([=] { (void)make(type, kHuge, kPeriodic); },
                    ThrowsMessage<std::invalid_argument>("Unsupported window type."));
    }
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Window

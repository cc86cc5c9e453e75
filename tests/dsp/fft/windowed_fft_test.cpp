#include "dsp/fft/windowed_fft.h"

#include "dsp/window/window.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <string>
#include <type_traits>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

using Complex = std::complex<double>;
using Window::WindowType;

/// Counts how often it plans, and knows whether its window was made anew.
template <typename T>
class Watched : public WindowedFFT<T> {
public:
    void update() override
    {
        ++plans;
        WindowedFFT<T>::update();
    }

    void markWindow() { const_cast<double&>(this->window()[0]) = kMark; }

    [[nodiscard]] bool windowIsMarked() const { return this->window()[0] == kMark; }

    int plans = 0;

private:
    static constexpr double kMark = 12345.0;
};

template <typename T>
class WindowedFFTOf : public testing::Test {
public:
    Watched<T> fft;
};

using ElementTypes = testing::Types<double, Complex>;
TYPED_TEST_SUITE(WindowedFFTOf, ElementTypes);

static_assert(!std::is_copy_constructible_v<WindowedFFT<double>>);

TYPED_TEST(WindowedFFTOf, NewObjectTransformsForwardInPlaceAndHasNoWindow)
{
    EXPECT_EQ(this->fft.scaling(), kScaleToAmplitude);
    EXPECT_EQ(this->fft.direction(), kForward);
    EXPECT_EQ(this->fft.placement(), kInPlace);
    EXPECT_EQ(this->fft.size(), 0U);
    EXPECT_TRUE(this->fft.window().empty());
    EXPECT_EQ(this->fft.blockMean(), 0.0);
    EXPECT_EQ(this->fft.amplitudeScale(), 1.0);
    EXPECT_EQ(this->fft.outputMode(), 0);
    EXPECT_EQ(this->fft.windowSize(), -1);
    EXPECT_EQ(this->fft.windowType(), WindowType::Rectangle);
    EXPECT_EQ(this->fft.windowParameter(), 0.0F);
}

// The values of a new object are those of a rectangle; only its size tells that there is none yet.
TYPED_TEST(WindowedFFTOf, FirstSetupBuildsAlsoForTheInitialValues)
{
    this->fft.setup(0, WindowType::Rectangle, 0.0F, AmplitudeKind::Peak, 0);
    EXPECT_EQ(this->fft.plans, 1);
    EXPECT_EQ(this->fft.windowSize(), 0);
    EXPECT_TRUE(this->fft.window().empty());
}

TYPED_TEST(WindowedFFTOf, SetupStoresWhatItWasGiven)
{
    this->fft.setup(16, WindowType::Transient, 5.0F, AmplitudeKind::Rms, 1);
    EXPECT_EQ(this->fft.size(), 16U);
    EXPECT_EQ(this->fft.timeBuffer.count, 16U);
    EXPECT_EQ(this->fft.windowSize(), 16);
    EXPECT_EQ(this->fft.windowType(), WindowType::Transient);
    EXPECT_EQ(this->fft.windowParameter(), 5.0F);
    EXPECT_EQ(this->fft.outputMode(), 1);
}

// A window in periodic form has its peak at N/2 and its zero at the start only.
TYPED_TEST(WindowedFFTOf, WindowIsPeriodicAndHasItsAmplitudeCorrectionInIt)
{
    this->fft.setup(8, WindowType::Hanning, 0.0F, AmplitudeKind::Peak, 0);
    ASSERT_EQ(this->fft.window().size(), 8U);
    for (std::size_t i = 0; i < 8; ++i) {
        const double x = 2.0 * std::numbers::pi * static_cast<double>(i) / 8.0;
        EXPECT_NEAR(this->fft.window()[i], 1.0 - std::cos(x), 1e-15);
    }
}

TYPED_TEST(WindowedFFTOf, WindowIsTheCorrectionTimesTheSampleToTheBit)
{
    for (std::uint32_t type = 0; type <= 8; ++type) {
        this->fft.setup(12, WindowType{type}, 0.25F, AmplitudeKind::Peak, 0);
        const auto shape = Window::Window<double>::create(WindowType{type}, 12, 1, 0.25);
        for (std::size_t i = 0; i < 12; ++i)
            EXPECT_EQ(this->fft.window()[i], shape->amplitudeCorrection() * shape->at(i));
    }
}

// Nothing leaks in from the mirror image 100 lines away: sums of cosines have lines of their own
// up to 6 away only, and a triangle has none at even distances. The correction factors have 15
// digits.
TYPED_TEST(WindowedFFTOf, SineOnALineReadsItsAmplitudeThroughEveryWindowOfConstantFactors)
{
    constexpr std::size_t kSize = 1024;
    constexpr std::size_t kLine = 50;
    for (const std::uint32_t type : {0U, 1U, 2U, 3U, 4U, 5U, 8U}) {
        this->fft.setup(kSize, WindowType{type}, 0.0F, AmplitudeKind::Peak, 0);
        for (std::size_t n = 0; n < kSize; ++n) {
            const double turns = static_cast<double>(kLine * n % kSize) / kSize;
            this->fft.timeBuffer.begin[n] =
                this->fft.window()[n] * 3.0 * std::sin(2.0 * std::numbers::pi * turns);
        }
        this->fft.execute();
        EXPECT_NEAR(std::abs(this->fft.spectrumBuffer.begin[kLine]), 3.0, 1e-12) << "type " << type;
    }
}

TYPED_TEST(WindowedFFTOf, AmplitudeScaleIsTheFactorOfTheKindAndOneForUnknownKinds)
{
    const auto scaleOf = [this](std::int32_t kind) {
        this->fft.setup(4, WindowType::Rectangle, 0.0F, AmplitudeKind{kind}, 0);
        return this->fft.amplitudeScale();
    };
    EXPECT_EQ(scaleOf(1), 0.7071067811865475);
    EXPECT_EQ(scaleOf(2), 2.0);
    EXPECT_EQ(scaleOf(0), 1.0);
    scaleOf(2);
    EXPECT_EQ(scaleOf(3), 1.0);
    scaleOf(2);
    EXPECT_EQ(scaleOf(-1), 1.0);
}

TYPED_TEST(WindowedFFTOf, SameSetupAgainRefreshesAmplitudeScaleAndOutputModeOnly)
{
    this->fft.setup(16, WindowType::Exponential, 0.25F, AmplitudeKind::Peak, 0);
    this->fft.markWindow();

    this->fft.setup(16, WindowType::Exponential, 0.25F, AmplitudeKind::PeakToPeak, 1);

    EXPECT_EQ(this->fft.plans, 1);
    EXPECT_TRUE(this->fft.windowIsMarked());
    EXPECT_EQ(this->fft.amplitudeScale(), 2.0);
    EXPECT_EQ(this->fft.outputMode(), 1);
}

TYPED_TEST(WindowedFFTOf, NewWindowOfAnUnchangedSizeIsNotPlannedAgain)
{
    this->fft.setup(16, WindowType::Hanning, 0.0F, AmplitudeKind::Peak, 0);
    const auto* const plan = this->fft.plan();
    const double* const buffer = this->fft.timeData();

    this->fft.setup(16, WindowType::Rectangle, 0.0F, AmplitudeKind::Peak, 0);

    EXPECT_EQ(this->fft.plans, 1);
    EXPECT_EQ(this->fft.plan(), plan);
    EXPECT_EQ(this->fft.timeData(), buffer);
    EXPECT_EQ(this->fft.window(), std::vector<double>(16, 1.0));
}

TYPED_TEST(WindowedFFTOf, NewParameterMakesANewWindow)
{
    this->fft.setup(4, WindowType::Transient, 1.0F, AmplitudeKind::Peak, 0);
    this->fft.setup(4, WindowType::Transient, 2.0F, AmplitudeKind::Peak, 0);
    EXPECT_EQ(this->fft.window(), (std::vector<double>{1.0, 1.0, 0.0, 0.0}));
    EXPECT_EQ(this->fft.plans, 1);
}

// NaN differs from itself.
TYPED_TEST(WindowedFFTOf, ParameterNaNIsAlwaysAChange)
{
    constexpr float kNaN = std::numeric_limits<float>::quiet_NaN();
    this->fft.setup(4, WindowType::Rectangle, kNaN, AmplitudeKind::Peak, 0);
    this->fft.markWindow();
    this->fft.setup(4, WindowType::Rectangle, kNaN, AmplitudeKind::Peak, 0);
    EXPECT_FALSE(this->fft.windowIsMarked());
    EXPECT_EQ(this->fft.plans, 1);
}

TYPED_TEST(WindowedFFTOf, NewSizeIsPlannedAndWindowedAnew)
{
    this->fft.setup(16, WindowType::Rectangle, 0.0F, AmplitudeKind::Peak, 0);
    this->fft.setup(8, WindowType::Rectangle, 0.0F, AmplitudeKind::Peak, 0);
    EXPECT_EQ(this->fft.plans, 2);
    EXPECT_EQ(this->fft.size(), 8U);
    EXPECT_EQ(this->fft.window().size(), 8U);
}

TYPED_TEST(WindowedFFTOf, UnknownWindowTypeIsRefusedWithTheOldWindowInPlace)
{
    this->fft.setup(4, WindowType::Transient, 1.0F, AmplitudeKind::Peak, 0);
    try {
        this->fft.setup(4, WindowType{9}, 1.0F, AmplitudeKind::Rms, 1);
        FAIL() << "type 9 was taken";
    } catch (const std::invalid_argument& error) {
        EXPECT_EQ(std::string(error.what()), "Unsupported window type.");
    }
    EXPECT_EQ(this->fft.windowType(), WindowType::Transient);
    EXPECT_EQ(this->fft.window()[0], 1.0);
    EXPECT_EQ(this->fft.amplitudeScale(), 0.7071067811865475);
    EXPECT_EQ(this->fft.outputMode(), 0);
}

// The transform was resized before the type was refused: a window of 16 in a buffer of 4 would
// write past its end.
TYPED_TEST(WindowedFFTOf, ReturnToTheOldSizeAfterARefusedTypeFitsTheTransformToTheWindow)
{
    this->fft.setup(16, WindowType::Hanning, 0.0F, AmplitudeKind::Peak, 0);
    EXPECT_THROW(this->fft.setup(4, WindowType{9}, 0.0F, AmplitudeKind::Peak, 0),
                 std::invalid_argument);
    EXPECT_EQ(this->fft.windowSize(), -1);

    this->fft.setup(16, WindowType::Hanning, 0.0F, AmplitudeKind::Peak, 0);
    EXPECT_EQ(this->fft.size(), 16U);
    EXPECT_EQ(this->fft.window().size(), 16U);
}

TYPED_TEST(WindowedFFTOf, BlockMeanIsKeptForItsWriter)
{
    this->fft.setBlockMean(2.5);
    this->fft.setup(4, WindowType::Rectangle, 0.0F, AmplitudeKind::Peak, 0);
    EXPECT_EQ(this->fft.blockMean(), 2.5);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft

#include "dsp/fft/fft_spectum_calculation.h"

#include "dsp/window/correction_factor.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <numbers>
#include <stdexcept>
#include <vector>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

using ::testing::ThrowsMessage;
using Window::WindowType;

using Calculation = FFTSpectumCalculation<double>;
using Lines = std::vector<std::complex<double>>;

constexpr double kPi = std::numbers::pi;
constexpr std::int32_t kHalfWidth = 3;

// 64 lines of half a hertz.
constexpr std::size_t kLines = 64;
constexpr double kSpacing = 0.5;

Calculation calculation(SpectrumComponent component = SpectrumComponent::Magnitude,
                        WindowType window = WindowType::Rectangle)
{
    Calculation result;
    result.beginUpdate();
    result.setComponent(component);
    result.setLines(kLines);
    result.setSampleRate(2.0 * kSpacing * kLines);
    result.setWindowType(window);
    result.endUpdate();
    return result;
}

// Lines of a spectrum that is zero but for the values from a first line on.
Lines linesFrom(std::size_t first, const std::vector<double>& values)
{
    Lines spectrum(kLines);
    for (std::size_t k = 0; k < values.size(); ++k) spectrum[first + k] = values[k];
    return spectrum;
}

// Amplitude spectrum of a sine that lies on any place between lines, through a periodic Hanning,
// transformed as the definition says.
Lines hanningSpectrumOfSine(double line, double amplitude)
{
    constexpr std::size_t N = 2 * kLines;
    Lines spectrum(kLines);
    for (std::size_t k = 0; k < kLines; ++k)
        for (std::size_t n = 0; n < N; ++n) {
            const double turn = 2.0 * kPi * static_cast<double>(n) / N;
            const double x = amplitude * std::cos(line * turn + 0.4);
            const double w = 1.0 - std::cos(turn); // with its amplitude correction of 2
            spectrum[k] += 2.0 / N * w * x * std::polar(1.0, -static_cast<double>(k) * turn);
        }
    return spectrum;
}

void expectValue(const SpectrumValue& found, double frequency, double value, SpectrumStatus status)
{
    EXPECT_EQ(found.frequency, frequency);
    EXPECT_EQ(found.value, value);
    EXPECT_EQ(found.status, status);
}

// ---- Parameters and what is derived from them

TEST(SpectrumCalculation, StartsWithEverythingAtZero)
{
    const Calculation calculation;
    EXPECT_EQ(calculation.form(), SpectrumForm{});
    EXPECT_EQ(calculation.amplitudeKind(), AmplitudeKind{});
    EXPECT_EQ(calculation.component(), SpectrumComponent{});
    EXPECT_EQ(calculation.windowType(), WindowType::Rectangle);
    EXPECT_EQ(calculation.windowParameter(), 0.0);
    EXPECT_EQ(calculation.lineSpacing(), 0.0);
    EXPECT_EQ(calculation.noiseBandwidth(), 0.0);
    EXPECT_EQ(calculation.fourthFactor(), 0.0);
    EXPECT_EQ(calculation.sampleRate(), 0.0);
    EXPECT_EQ(calculation.lines(), 0U);
}

TEST(SpectrumCalculation, SpacingIsTheSampleRateOverTwiceTheLines)
{
    Calculation calculation;
    calculation.setLines(400);
    calculation.setSampleRate(1000.0);
    EXPECT_EQ(calculation.lineSpacing(), 1.25);
}

TEST(SpectrumCalculation, TakesTheFactorsOfTheShapeFromTheTable)
{
    Calculation calculation;
    calculation.setWindowType(WindowType::Hanning);
    EXPECT_EQ(calculation.noiseBandwidth(), 1.5);
    EXPECT_EQ(calculation.fourthFactor(), 0.816496580927726);
}

// The samples 1, 1/2, 1/4, 1/8 have <w> = 15/32 and <w^2> = 85/256.
TEST(SpectrumCalculation, MeasuresAnExponentialOnTwiceAsManySamplesAsLines)
{
    Calculation calculation;
    calculation.setLines(2);
    calculation.setWindowParameter(0.0625);
    calculation.setWindowType(WindowType::Exponential);
    const double noiseBandwidth = 85.0 / 256.0 * (32.0 / 15.0) * (32.0 / 15.0);
    EXPECT_DOUBLE_EQ(calculation.noiseBandwidth(), noiseBandwidth);
    EXPECT_EQ(calculation.fourthFactor(), calculation.noiseBandwidth());
}

TEST(SpectrumCalculation, ExponentialWithoutLinesHasTheTablesNaN)
{
    Calculation calculation;
    calculation.setWindowParameter(0.0625);
    calculation.setWindowType(WindowType::Exponential);
    EXPECT_TRUE(std::isnan(calculation.noiseBandwidth()));
    EXPECT_TRUE(std::isnan(calculation.fourthFactor()));
}

TEST(SpectrumCalculation, UnknownWindowIsRefusedAndDerivesNothing)
{
    for (const std::int32_t number : {9, -1}) {
        Calculation refusing = calculation(SpectrumComponent::Real, WindowType::Hanning);
        const auto type = static_cast<WindowType>(number);
        EXPECT_THAT([&] { refusing.setWindowType(type); },
                    ThrowsMessage<std::invalid_argument>("Unsupported window type."));
        EXPECT_EQ(refusing.noiseBandwidth(), 1.5);
        EXPECT_EQ(refusing.lineSpacing(), kSpacing);
    }
}

TEST(SpectrumCalculation, WithoutLinesTheSpacingIsAQuotientByZero)
{
    Calculation calculation;
    calculation.setSampleRate(100.0);
    EXPECT_EQ(calculation.lineSpacing(), std::numeric_limits<double>::infinity());
    calculation.setSampleRate(0.0);
    EXPECT_TRUE(std::isnan(calculation.lineSpacing()));
}

TEST(SpectrumCalculation, BatchDerivesOnceAtItsEnd)
{
    Calculation batched = calculation();
    batched.beginUpdate();
    batched.setLines(kLines * 2);
    batched.setWindowType(WindowType::Hanning);
    EXPECT_EQ(batched.lineSpacing(), kSpacing);
    EXPECT_EQ(batched.noiseBandwidth(), 1.0);
    batched.endUpdate();
    EXPECT_EQ(batched.lineSpacing(), kSpacing / 2.0);
    EXPECT_EQ(batched.noiseBandwidth(), 1.5);
}

// ---- Components

double component(std::int32_t number, std::complex<double> line)
{
    Calculation calculation;
    calculation.setComponent(SpectrumComponent{number});
    return calculation.componentValue(line);
}

TEST(SpectrumComponent, OfALineIsTheOneOfItsNumber)
{
    const std::complex<double> line(-3.0, -3.0);
    EXPECT_EQ(component(2, line), -135.0);
    EXPECT_DOUBLE_EQ(component(3, line), -0.75 * kPi);
    EXPECT_EQ(component(4, {-3.0, 4.0}), -3.0);
    EXPECT_EQ(component(5, {-3.0, 4.0}), 4.0);
    EXPECT_EQ(component(6, line), 225.0);
    EXPECT_EQ(component(6, {3.0, 3.0}), 45.0);
}

TEST(SpectrumComponent, OfAnyOtherNumberIsTheMagnitude)
{
    for (const std::int32_t number : {0, 1, 7, -1}) EXPECT_EQ(component(number, {-3.0, 4.0}), 5.0);
}

// The squares of such parts leave the range of double.
TEST(SpectrumComponent, MagnitudeNeitherOverflowsNorUnderflows)
{
    EXPECT_DOUBLE_EQ(component(0, {3e200, 4e200}), 5e200);
    EXPECT_DOUBLE_EQ(component(0, {3e-200, 4e-200}), 5e-200);
}

// ---- Forms

constexpr SpectrumForm kForms[] = {SpectrumForm::Amplitude,
                                   SpectrumForm::Power,
                                   SpectrumForm::PowerDensity,
                                   SpectrumForm::EnergyDensity,
                                   SpectrumForm::AmplitudeDensity,
                                   SpectrumForm{5},
                                   SpectrumForm{-1}};

// Spacing 0.5 and noise bandwidth 1.5.
double display(SpectrumForm form, AmplitudeKind kind, double amplitude)
{
    Calculation shown = calculation(SpectrumComponent::Magnitude, WindowType::Hanning);
    shown.setForm(form);
    shown.setAmplitudeKind(kind);
    return shown.displayValue(amplitude);
}

TEST(SpectrumForm, ShowsAnAmplitudeAsItsFormulaSays)
{
    constexpr AmplitudeKind kPeak = AmplitudeKind::Peak;
    EXPECT_EQ(display(SpectrumForm{0}, kPeak, 3.0), 3.0);
    EXPECT_EQ(display(SpectrumForm{1}, kPeak, 3.0), 9.0);
    EXPECT_EQ(display(SpectrumForm{2}, kPeak, 3.0), 9.0 / (1.5 * 0.5));
    EXPECT_EQ(display(SpectrumForm{3}, kPeak, 3.0), 9.0 / (0.5 * 0.5 * 1.5));
    EXPECT_EQ(display(SpectrumForm{4}, kPeak, 3.0), 3.0 / std::sqrt(1.5 * 0.5));
    EXPECT_EQ(display(SpectrumForm{5}, kPeak, 3.0), 3.0);
    EXPECT_EQ(display(SpectrumForm{-1}, kPeak, 3.0), 3.0);
}

TEST(SpectrumForm, StatesTheAmplitudeInItsKindFirst)
{
    EXPECT_DOUBLE_EQ(display(SpectrumForm::Amplitude, AmplitudeKind{1}, 3.0), 3.0 / std::sqrt(2.0));
    EXPECT_DOUBLE_EQ(display(SpectrumForm::Power, AmplitudeKind{1}, 3.0), 4.5);
    EXPECT_EQ(display(SpectrumForm::Amplitude, AmplitudeKind{2}, 3.0), 6.0);
    EXPECT_EQ(display(SpectrumForm::Power, AmplitudeKind{2}, 3.0), 36.0);
    EXPECT_EQ(display(SpectrumForm::Amplitude, AmplitudeKind{3}, 3.0), 3.0);
    EXPECT_EQ(display(SpectrumForm::Amplitude, AmplitudeKind{-1}, 3.0), 3.0);
}

TEST(SpectrumForm, AmplitudeValueIsTheInverseOfDisplayValue)
{
    Calculation shown = calculation(SpectrumComponent::Magnitude, WindowType::Hanning);
    for (const SpectrumForm form : kForms)
        for (const std::int32_t kind : {0, 1, 2, 3}) {
            shown.setForm(form);
            shown.setAmplitudeKind(AmplitudeKind{kind});
            EXPECT_DOUBLE_EQ(shown.amplitudeValue(shown.displayValue(3.0)), 3.0)
                << static_cast<int>(form) << " " << kind;
        }
}

// ---- Peaks

// The seven lines hold all but 1e-4 of the energy of a Hanning's line, wherever the sine lies.
TEST(SpectrumPeak, SineBetweenTwoLinesReadsItsOwnAmplitudeAndFrequency)
{
    const Calculation hanning = calculation(SpectrumComponent::Magnitude, WindowType::Hanning);
    for (const double line : {20.0, 20.1, 20.3, 20.5, 20.9}) {
        const Lines spectrum = hanningSpectrumOfSine(line, 3.0);
        const SpectrumValue found = hanning.valueAtLine(spectrum, 20, kHalfWidth);
        EXPECT_EQ(found.status, SpectrumStatus::Centred);
        EXPECT_NEAR(found.value, 3.0, 3.0 * 1e-4) << line;
        EXPECT_NEAR(found.frequency, line * kSpacing, 2e-4 * kSpacing) << line;
    }
}

// So an RMS spectrum gives the RMS of the sine: the factor goes off before the energy and back on.
TEST(SpectrumPeak, TakesTheLinesToBeOfTheAmplitudeKindAlready)
{
    Calculation hanning = calculation(SpectrumComponent::Magnitude, WindowType::Hanning);
    hanning.setAmplitudeKind(AmplitudeKind::Rms);
    const double rms = 3.0 / std::sqrt(2.0);
    const Lines spectrum = hanningSpectrumOfSine(20.3, rms);
    const SpectrumValue found = hanning.valueAtLine(spectrum, 20, kHalfWidth);
    EXPECT_EQ(found.status, SpectrumStatus::Centred);
    EXPECT_NEAR(found.value, rms, rms * 1e-4);
}

// S0 = 1 + 4 + 1 and the centre of gravity is 10 + (1 - 1)/6; 2 * 1.5 is above sqrt(6).
TEST(SpectrumPeak, TakesItsAmplitudeFromTheEnergyOfSevenLines)
{
    const Lines spectrum = linesFrom(9, {1.0, 2.0, 1.0});
    expectValue(calculation().valueAtLine(spectrum, 10, kHalfWidth),
                10.0 * kSpacing,
                std::sqrt(6.0),
                SpectrumStatus::Centred);
}

// w = 1, 4, 4 at lines 9, 10, 11: the centre is (9 + 40 + 44) / 9.
TEST(SpectrumPeak, LiesAtTheCentreOfGravityOfItsEnergy)
{
    const Lines spectrum = linesFrom(9, {1.0, 2.0, 2.0});
    const SpectrumValue found = calculation().valueAtLine(spectrum, 10, kHalfWidth);
    EXPECT_DOUBLE_EQ(found.frequency, 93.0 / 9.0 * kSpacing);
    EXPECT_DOUBLE_EQ(found.value, 3.0);
}

TEST(SpectrumPeak, IsFoundWithinTheHalfWidthAndNotBeyond)
{
    const Lines spectrum = linesFrom(13, {2.0});
    const Calculation rectangle = calculation();
    expectValue(rectangle.valueAtLine(spectrum, 10, kHalfWidth),
                13.0 * kSpacing,
                2.0,
                SpectrumStatus::Centred);
    expectValue(rectangle.valueAtLine(spectrum, 16, kHalfWidth),
                13.0 * kSpacing,
                2.0,
                SpectrumStatus::Centred);
    expectValue(rectangle.valueAtLine(spectrum, 9, kHalfWidth),
                9.0 * kSpacing,
                0.0,
                SpectrumStatus::Interpolated);
    expectValue(rectangle.valueAtLine(spectrum, 17, kHalfWidth),
                17.0 * kSpacing,
                0.0,
                SpectrumStatus::Interpolated);
}

// Both stand alone, and the energy round the first reaches three lines up, not to the second.
TEST(SpectrumPeak, IsTheLowestOfEqualOnes)
{
    const Lines spectrum = linesFrom(8, {2.0, 0.0, 0.0, 0.0, 2.0});
    expectValue(calculation().valueAtLine(spectrum, 10, kHalfWidth),
                8.0 * kSpacing,
                2.0,
                SpectrumStatus::Centred);
}

TEST(SpectrumPeak, SearchWhoseLastIsBelowItsFirstLooksAtTheFirstAlone)
{
    const Lines spectrum = linesFrom(10, {2.0, 1.0});
    expectValue(calculation().valueAtFrequency(spectrum, 4.75, 10, 3),
                (10.0 * 4.0 + 11.0) / 5.0 * kSpacing,
                std::sqrt(5.0),
                SpectrumStatus::Centred);
}

// The greatest line of the search stands on the slope of one outside it.
TEST(SpectrumPeak, SlopeOfAPeakOutsideTheSearchIsNone)
{
    const Lines spectrum = linesFrom(10, {1.0, 2.0, 3.0, 4.0, 5.0, 4.0, 3.0});
    expectValue(calculation().valueAtLine(spectrum, 11, 1),
                11.0 * kSpacing,
                2.0,
                SpectrumStatus::Interpolated);
    expectValue(calculation().valueAtLine(spectrum, 16, 1),
                16.0 * kSpacing,
                3.0,
                SpectrumStatus::Interpolated);
}

// A second line out that rises again, on either side.
TEST(SpectrumPeak, MustFallOverTwoLinesOnEachSide)
{
    const Calculation rectangle = calculation();
    for (const Lines& spectrum :
         {linesFrom(8, {0.6, 0.5, 3.0, 0.5, 0.4}), linesFrom(8, {0.4, 0.5, 3.0, 0.5, 0.6})})
        expectValue(rectangle.valueAtLine(spectrum, 10, kHalfWidth),
                    10.0 * kSpacing,
                    3.0,
                    SpectrumStatus::Interpolated);
    for (const Lines& spectrum :
         {linesFrom(7, {0.6, 0.5, 0.5, 3.0}), linesFrom(10, {3.0, 0.5, 0.5, 0.6})})
        EXPECT_EQ(rectangle.valueAtLine(spectrum, 10, kHalfWidth).status, SpectrumStatus::Centred);
}

// sqrt(1 + 5 / 4) is 3/2 of the line exactly; one more line of 1/2 is too much.
TEST(SpectrumPeak, MayExceedItsLineByHalfAndNoMore)
{
    const Calculation rectangle = calculation();
    expectValue(rectangle.valueAtLine(linesFrom(8, {0.5, 0.5, 1.0, 0.5, 0.5, 0.5}), 10, 1),
                (8.0 + 9.0 + 40.0 + 11.0 + 12.0 + 13.0) / 9.0 * kSpacing,
                1.5,
                SpectrumStatus::Centred);
    expectValue(rectangle.valueAtLine(linesFrom(7, {0.5, 0.5, 0.5, 1.0, 0.5, 0.5, 0.5}), 10, 1),
                10.0 * kSpacing,
                1.0,
                SpectrumStatus::Interpolated);
}

// Its energy would be counted from a line below 0.
TEST(SpectrumPeak, InTheFirstThreeLinesIsNeverCentred)
{
    const Calculation rectangle = calculation();
    for (const std::int32_t line : {0, 1, 2})
        expectValue(rectangle.valueAtLine(
                        linesFrom(static_cast<std::size_t>(line), {2.0}), line, kHalfWidth),
                    line * kSpacing,
                    2.0,
                    SpectrumStatus::Interpolated);
    EXPECT_EQ(rectangle.valueAtLine(linesFrom(3, {2.0}), 3, kHalfWidth).status,
              SpectrumStatus::Centred);
}

TEST(SpectrumPeak, InTheLastLinesHasItsEnergyCutAtTheLast)
{
    const Calculation rectangle = calculation();
    const Lines next = linesFrom(kLines - 3, {1.0, 2.0, 1.0});
    expectValue(rectangle.valueAtLine(next, kLines - 2, kHalfWidth),
                (kLines - 2) * kSpacing,
                std::sqrt(6.0),
                SpectrumStatus::Centred);
    const Lines last = linesFrom(kLines - 1, {2.0});
    expectValue(rectangle.valueAtLine(last, kLines - 2, kHalfWidth),
                (kLines - 1) * kSpacing,
                2.0,
                SpectrumStatus::Centred);
}

TEST(SpectrumPeak, OfNothingIsInterpolatedToNothing)
{
    expectValue(calculation().valueAtLine(Lines(kLines), 10, kHalfWidth),
                10.0 * kSpacing,
                0.0,
                SpectrumStatus::Interpolated);
}

// The greatest real part is a small positive one beside a large negative one.
TEST(SpectrumPeak, OfRealPartsIsSoughtBySignedValue)
{
    const Lines spectrum = linesFrom(8, {-0.25, 0.0, 0.0, 0.0, 1.0});
    expectValue(calculation(SpectrumComponent::Real).valueAtLine(spectrum, 10, kHalfWidth),
                12.0 * kSpacing,
                1.0,
                SpectrumStatus::Centred);
}

TEST(SpectrumPeak, OfImaginaryPartsIsSoughtBySignedValue)
{
    Lines spectrum = linesFrom(8, {-0.25, 0.0, 0.0, 0.0, 1.0});
    for (auto& line : spectrum) line *= std::complex<double>(0.0, 1.0);
    expectValue(calculation(SpectrumComponent::Imaginary).valueAtLine(spectrum, 10, kHalfWidth),
                12.0 * kSpacing,
                1.0,
                SpectrumStatus::Centred);
}

// A negative peak has energy, and lies below any amplitude that energy can give.
TEST(SpectrumPeak, BelowZeroIsNeverCentred)
{
    Lines spectrum(kLines, -2.0);
    spectrum[10] = -1.0;
    expectValue(calculation(SpectrumComponent::Real).valueAtLine(spectrum, 10, kHalfWidth),
                10.0 * kSpacing,
                -1.0,
                SpectrumStatus::Interpolated);
}

// Without a final value its noise bandwidth is NaN.
TEST(SpectrumPeak, ThroughAnExponentialWithoutFinalValueIsNeverCentred)
{
    const Lines spectrum = linesFrom(9, {1.0, 2.0, 1.0});
    const Calculation exponential =
        calculation(SpectrumComponent::Magnitude, WindowType::Exponential);
    EXPECT_TRUE(std::isnan(exponential.noiseBandwidth()));
    expectValue(exponential.valueAtLine(spectrum, 10, kHalfWidth),
                10.0 * kSpacing,
                2.0,
                SpectrumStatus::Interpolated);
}

// ---- Between lines, and outside

TEST(SpectrumValue, BetweenTwoLinesIsOnTheStraightLine)
{
    const Lines spectrum = linesFrom(10, {1.0, 2.0, 4.0, 5.0, 6.0, 7.0});
    expectValue(calculation().valueAtFrequency(spectrum, 11.25 * kSpacing, 11, 12),
                11.25 * kSpacing,
                2.5,
                SpectrumStatus::Interpolated);
}

// A centred result is in display units, an interpolated one is not.
TEST(SpectrumValue, InterpolatedKeepsThePlainUnitsWhateverTheForm)
{
    Calculation power = calculation();
    power.setForm(SpectrumForm::Power);
    power.setAmplitudeKind(AmplitudeKind::PeakToPeak);
    const Lines slope = linesFrom(10, {1.0, 2.0, 3.0, 4.0, 5.0});
    EXPECT_EQ(power.valueAtLine(slope, 11, 1).value, 2.0);

    // w = (sqrt(4) / 2)^2 = 1, shown as (2 * 1)^2
    const Lines peak = linesFrom(10, {4.0});
    expectValue(
        power.valueAtLine(peak, 10, kHalfWidth), 10.0 * kSpacing, 4.0, SpectrumStatus::Centred);
}

// A phase has no peak: the greatest of the neighbourhood is not sought.
TEST(SpectrumValue, OfAPhaseIsAlwaysInterpolated)
{
    Lines spectrum(kLines, 1.0);
    spectrum[10] = {0.0, 1.0};
    expectValue(calculation(SpectrumComponent{2}).valueAtLine(spectrum, 9, kHalfWidth),
                9.0 * kSpacing,
                0.0,
                SpectrumStatus::Interpolated);
    expectValue(calculation(SpectrumComponent{2}).valueAtLine(spectrum, 10, kHalfWidth),
                10.0 * kSpacing,
                90.0,
                SpectrumStatus::Interpolated);
    expectValue(calculation(SpectrumComponent{6}).valueAtLine(spectrum, 10, kHalfWidth),
                10.0 * kSpacing,
                90.0,
                SpectrumStatus::Interpolated);
    expectValue(calculation(SpectrumComponent{3}).valueAtLine(spectrum, 10, kHalfWidth),
                10.0 * kSpacing,
                kPi / 2.0,
                SpectrumStatus::Interpolated);
}

TEST(SpectrumValue, OutsideTheSpectrumIsNone)
{
    const Lines spectrum(kLines, 1.0);
    const Calculation rectangle = calculation();
    constexpr std::int32_t kMost = std::numeric_limits<std::int32_t>::max();
    for (const std::int32_t line : {-1, -kMost - 1, 64, kMost})
        expectValue(rectangle.valueAtLine(spectrum, line, kHalfWidth),
                    line * kSpacing,
                    0.0,
                    SpectrumStatus::NoValue);
    expectValue(
        rectangle.valueAtFrequency(spectrum, -0.25, 0, 3), -0.25, 0.0, SpectrumStatus::NoValue);
}

// It has no neighbour above to interpolate with, and not even a peak there counts.
TEST(SpectrumValue, AtTheLastLineIsNone)
{
    const Lines spectrum = linesFrom(kLines - 1, {2.0});
    const Calculation rectangle = calculation();
    expectValue(rectangle.valueAtLine(spectrum, kLines - 1, kHalfWidth),
                (kLines - 1) * kSpacing,
                0.0,
                SpectrumStatus::NoValue);
}

TEST(SpectrumValue, OfAnEmptySpectrumIsNone)
{
    const Calculation rectangle = calculation();
    EXPECT_EQ(rectangle.valueAtLine({}, 0, kHalfWidth).status, SpectrumStatus::NoValue);
    EXPECT_EQ(rectangle.valueAtFrequency({}, 0.0, 0, 0).status, SpectrumStatus::NoValue);

    Calculation withoutSpacing;
    withoutSpacing.changed(); // 0 / 0
    EXPECT_EQ(withoutSpacing.valueAtFrequency({}, 0.0, 0, 0).status, SpectrumStatus::NoValue);
}

TEST(SpectrumValue, OfTheWidestSearchStaysWithinTheSpectrum)
{
    const Lines spectrum = linesFrom(40, {2.0});
    expectValue(calculation().valueAtLine(spectrum, 10, std::numeric_limits<std::int32_t>::max()),
                40.0 * kSpacing,
                2.0,
                SpectrumStatus::Centred);
}

// Line 0 of an infinite spacing has no position, and an index is made of none.
TEST(SpectrumValue, WithoutLinesIsNotANumber)
{
    Calculation calculation;
    calculation.setComponent(SpectrumComponent::PhaseDegrees);
    calculation.setSampleRate(100.0);
    const SpectrumValue found = calculation.valueAtLine(Lines(kLines, 1.0), 0, kHalfWidth);
    EXPECT_TRUE(std::isnan(found.frequency));
    EXPECT_TRUE(std::isnan(found.value));
    EXPECT_EQ(calculation.valueAtLine(Lines(1), 0, kHalfWidth).status, SpectrumStatus::NoValue);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft

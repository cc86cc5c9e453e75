#include "analyzer_rig.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <numbers>
#include <ostream>
#include <string>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

namespace Fft = KorLib::Dsp::Fft;
using KorLib::Dsp::Window::WindowType;
using testing::Each;
using testing::IsEmpty;
using testing::SizeIs;

using Value = std::complex<float>;
using Line = std::complex<double>;

constexpr double kPi = 3.141592653589793;
constexpr double kQuarter = 1.5707963267948966;

void expectNear(Value value, Line expected)
{
    EXPECT_NEAR(std::abs(Line(value) - expected), 0.0, 2e-6) << value << ", not " << expected;
}

double shaftRad(std::int64_t i)
{
    return 2.0 * kPi * static_cast<double>(i) / 8.0;
}

// --- to the bit

struct Kind {
    std::int32_t phaseMode;
    std::int32_t phaseReference;
    std::int32_t windowType;
    std::int32_t amplitudeType;
    float resolution;
};

std::ostream& operator<<(std::ostream& out, const Kind& kind)
{
    return out << "phase mode " << kind.phaseMode << ", reference " << kind.phaseReference
               << ", window " << kind.windowType << ", amplitude " << kind.amplitudeType
               << ", resolution " << kind.resolution;
}

// A run of noise in mode 1, one block at each of two crossings, and beside it the spectra of these
// blocks, which block_transform_test.cpp is about.
class HarmonicsToTheBit : public testing::TestWithParam<Kind> {
protected:
    HarmonicsToTheBit()
    {
        rig_.parameters.binHarmonics = 1;
        rig_.parameters.deltaHarmonics = 1;
        rig_.orders = {1.0F, 2.0F, 0.0F, 3.0F, 0.75F, 1.5F, 2.25F, 3.7F};
        rig_.order.orderResolution = GetParam().resolution;
        rig_.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
        rig_.analysis.phaseMode = GetParam().phaseMode;
        rig_.analysis.phaseReference = GetParam().phaseReference;
        rig_.analysis.windowType = GetParam().windowType;
        rig_.analysis.amplitudeType = GetParam().amplitudeType;
        rig_.angleSlots = 400;
        rig_.prepare();
        N_ = rig_.analyzer.getOrderFFTSize();
        for (std::int64_t i = 0; i < 3 * N_ + N_ / 2; ++i) {
            const auto x = static_cast<double>(i);
            AngleSample sample;
            sample.a = std::sin(0.3 * x * x) + 2.0 * std::cos(2.25 * shaftRad(i));
            sample.b = std::sin(0.7 * x * x) + std::cos(0.75 * shaftRad(i));
            sample.bin = i < N_ ? 1290.0 : i < 2 * N_ + 3 ? 1310.0 : 1410.0;
            sample.angle = std::fmod(45.7 * x, 360.0);
            samples_.push_back(sample);
            rig_.addAngle(sample);
        }
        rig_.drain();
        transform_.setup(N_, rig_.analysis);
        setUpEvaluator(re_, Fft::SpectrumComponent::Real);
        setUpEvaluator(im_, Fft::SpectrumComponent::Imaginary);
    }

    void setUpEvaluator(Fft::FFTSpectumCalculation<double>& evaluator,
                        Fft::SpectrumComponent component) const
    {
        evaluator.setAmplitudeKind(static_cast<Fft::AmplitudeKind>(GetParam().amplitudeType));
        evaluator.setComponent(component);
        evaluator.setLines(static_cast<std::uint64_t>(N_ / 2));
        evaluator.setSampleRate(8.0);
        evaluator.setWindowType(static_cast<WindowType>(GetParam().windowType));
    }

    // The spectra of the block at a crossing.
    void transform(std::int64_t crossing)
    {
        const auto start = static_cast<std::size_t>(crossing - N_ / 2);
        const auto N = static_cast<std::size_t>(N_);
        std::vector<double> a(N);
        std::vector<double> b(N);
        for (std::size_t i = 0; i < N; ++i) {
            a[i] = samples_[start + i].a;
            b[i] = samples_[start + i].b;
        }
        ResampledBuffers ring{};
        ring.signalA = ring.binSignal = a.data();
        ring.signalB = b.data();
        ring.size = N_;
        A_.resize(N / 2);
        B_.resize(N / 2);
        transform_.transform(ring, 0, false, A_, B_);
        angle_ = samples_[start].angle;
    }

    [[nodiscard]] double valueAt(const Fft::FFTSpectumCalculation<double>& evaluator,
                                 const std::vector<Line>& spectrum,
                                 float order) const
    {
        return evaluator.valueAtLine(spectrum, lineOf(order), 3).value;
    }

    [[nodiscard]] static std::int32_t lineOf(float order)
    {
        return static_cast<std::int32_t>(std::round(order / GetParam().resolution));
    }

    [[nodiscard]] Value integerValue(const std::vector<Line>& spectrum, float order) const
    {
        const double q = GetParam().phaseReference == 0 ? kQuarter : 0.0;
        const auto one = static_cast<std::size_t>(std::round(1.0F / GetParam().resolution));
        const double r = GetParam().phaseMode == 1
                             ? -std::atan2(spectrum[one].imag(), spectrum[one].real()) - q
                             : -(angle_ * kPi / 180.0);
        const double x = lineOf(order) * r * static_cast<double>(GetParam().resolution) + q;
        const Line line = spectrum[static_cast<std::size_t>(lineOf(order))];
        return {static_cast<float>(line.real() * std::cos(x) - line.imag() * std::sin(x)),
                static_cast<float>(line.real() * std::sin(x) + line.imag() * std::cos(x))};
    }

    [[nodiscard]] Value fractionalValue(const std::vector<Line>& spectrum,
                                        float order,
                                        std::int64_t samplesSinceTheStart,
                                        double startPhase) const
    {
        const double phi =
            static_cast<double>(samplesSinceTheStart) * (kPi / 4) * static_cast<double>(order) +
            startPhase;
        const double re = valueAt(re_, spectrum, order);
        const double im = valueAt(im_, spectrum, order);
        return {static_cast<float>(re * std::cos(-phi) - im * std::sin(-phi)),
                static_cast<float>(re * std::sin(-phi) + im * std::cos(-phi))};
    }

    AnalyzerRig rig_{HARMOTRACK_MODE_TWO_REAL};
    std::int32_t N_ = 0;
    std::vector<AngleSample> samples_;
    BlockTransform transform_{HARMOTRACK_MODE_TWO_REAL};
    Fft::FFTSpectumCalculation<double> re_, im_;
    std::vector<Line> A_, B_;
    double angle_ = 0.0;
};

INSTANTIATE_TEST_SUITE_P(Kinds,
                         HarmonicsToTheBit,
                         testing::Values(Kind{0, 0, 0, 0, 0.5F},
                                         Kind{0, 1, 1, 1, 0.25F},
                                         Kind{1, 0, 1, 2, 0.25F},
                                         Kind{1, 1, 0, 0, 0.5F},
                                         Kind{1, 5, 3, 0, 0.2F},
                                         Kind{7, 0, 5, 1, 0.3F}));

TEST_P(HarmonicsToTheBit, AreLinesTurnedToTheShaftAndDriftsOfTheEvaluatedOnes)
{
    const ResultStorage& results = rig_.analyzer.results();
    std::vector<double> startPhases;
    const std::int64_t first = N_;
    for (const auto& [bin, crossing] : {std::pair(3U, first), std::pair(4U, 2 * first + 3)}) {
        transform(crossing);
        for (std::size_t h = 0; h < rig_.orders.size(); ++h) {
            const float order = rig_.orders[h];
            Value a;
            Value b;
            if (h < 4) {
                a = integerValue(A_, order);
                b = integerValue(B_, order);
            } else {
                if (bin == 3)
                    startPhases.push_back(
                        std::atan2(valueAt(im_, A_, order), valueAt(re_, A_, order)));
                a = fractionalValue(A_, order, crossing - first, startPhases[h - 4]);
                b = fractionalValue(B_, order, crossing - first, startPhases[h - 4]);
            }
            EXPECT_EQ(results.harmonicsA.rows()[h][bin], a) << "order " << order << ", " << bin;
            EXPECT_EQ(results.harmonicsB.rows()[h][bin], b) << "order " << order << ", " << bin;
        }
    }
}

// Both signals are referred to the first one.
TEST_P(HarmonicsToTheBit, StartPhasesAreThoseOfTheFirstSignalInTheFirstBlock)
{
    transform(N_);
    for (const HarmonicRecord& harmonic : rig_.analyzer.harmonics()) {
        const double phase =
            std::atan2(valueAt(im_, A_, harmonic.order), valueAt(re_, A_, harmonic.order));
        EXPECT_EQ(harmonic.startPosition, N_ / 2);
        EXPECT_EQ(harmonic.startPhaseA, phase);
        EXPECT_EQ(harmonic.startPhaseB, phase);
    }
}

// --- integer orders by closed forms

// One signal of order 1 with amplitude 3 and phase 0.4 against the shaft, order 2 with amplitude 1
// and phase -2, and a mean of -0.5. The block at the crossing begins at sample 22, at 270 degrees.
class Crossing : public AnalyzerRig {
public:
    explicit Crossing(std::int32_t mode = HARMOTRACK_MODE_ONE_REAL) : AnalyzerRig(mode)
    {
        parameters.binHarmonics = 1;
        analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    }

    const ResultStorage& take()
    {
        prepare();
        run(50, [](std::int64_t i) {
            return AngleSample{.a = 3.0 * std::cos(shaftRad(i) + 0.4) +
                                    std::cos(2.0 * shaftRad(i) - 2.0) - 0.5,
                               .b = 2.0 * std::sin(shaftRad(i)),
                               .bin = i < 30 ? 1290.0 : 1310.0,
                               .angle = 45.0 * static_cast<double>(i % 8)};
        });
        return analyzer.results();
    }

    Value a(std::size_t harmonic) { return analyzer.results().harmonicsA.rows()[harmonic][3]; }

    Value b(std::size_t harmonic) { return analyzer.results().harmonicsB.rows()[harmonic][3]; }
};

TEST(IntegerHarmonic, HasItsPhaseAgainstTheShaft)
{
    Crossing rig(HARMOTRACK_MODE_TWO_REAL);
    rig.orders = {1.0F, 2.0F, 3.0F};
    rig.take();
    expectNear(rig.a(0), std::polar(3.0, 0.4));
    expectNear(rig.a(1), std::polar(1.0, -2.0));
    expectNear(rig.a(2), 0.0);
    expectNear(rig.b(0), std::polar(2.0, -kQuarter));
}

TEST(IntegerHarmonic, OfSinesHasAQuarterTurnMore)
{
    Crossing rig(HARMOTRACK_MODE_TWO_REAL);
    rig.analysis.phaseReference = HARMOTRACK_PHASE_REFERENCE_SINE;
    rig.orders = {1.0F, 2.0F};
    rig.take();
    expectNear(rig.a(0), std::polar(3.0, 0.4 + kQuarter));
    expectNear(rig.a(1), std::polar(1.0, -2.0 + kQuarter));
    expectNear(rig.b(0), 2.0);
}

// Any reference but 0 is the cosine, any phase mode but 1 the shaft.
TEST(IntegerHarmonic, TakesOtherNumbersAsCosinesAgainstTheShaft)
{
    Crossing rig;
    rig.analysis.phaseReference = -1;
    rig.analysis.phaseMode = 2;
    rig.orders = {1.0F};
    rig.take();
    expectNear(rig.a(0), std::polar(3.0, 0.4));
}

// Order 1 has the phase 0 in either spectrum; order 2 is turned twice as far.
TEST(IntegerHarmonic, MayBeReferredToOrder1OfItsOwnSpectrum)
{
    Crossing rig(HARMOTRACK_MODE_TWO_REAL);
    rig.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
    rig.orders = {1.0F, 2.0F};
    rig.take();
    expectNear(rig.a(0), 3.0);
    expectNear(rig.a(1), std::polar(1.0, -2.0 - 0.8));
    expectNear(rig.b(0), 2.0);
}

TEST(IntegerHarmonic, OfOrderZeroIsTheMeanWhateverTheShaft)
{
    Crossing rig;
    rig.orders = {0.0F};
    rig.take();
    expectNear(rig.a(0), -0.5);
    EXPECT_FALSE(rig.analyzer.harmonics()[0].fractional);
    EXPECT_EQ(rig.analyzer.harmonics()[0].line, 0);
    Crossing sines;
    sines.analysis.phaseReference = HARMOTRACK_PHASE_REFERENCE_SINE;
    sines.orders = {0.0F};
    sines.take();
    expectNear(sines.a(0), Line(0.0, -0.5));
}

// 1 / 3 rounds to line 0, whose phase is that of a negative mean: pi. Order 3 on line 1 is turned
// by 3 times -pi.
TEST(IntegerHarmonic, ReferredToOrder1OfACoarseResolutionIsReferredToLineZero)
{
    AnalyzerRig rig;
    rig.parameters.binHarmonics = 1;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
    rig.order.orderResolution = 3.0F;
    rig.orders = {3.0F};
    rig.prepare();
    ASSERT_EQ(rig.analyzer.getOrderFFTSize(), 8);
    rig.run(40, [](std::int64_t i) {
        return AngleSample{.a = std::cos(shaftRad(i - 20) + 0.4) - 2.0,
                           .bin = i < 24 ? 1290.0 : 1310.0};
    });
    expectNear(rig.analyzer.results().harmonicsA.rows()[0][3], std::polar(1.0, 0.4 - 3.0 * kPi));
}

// Order 4 is line 8, the first beyond those that are kept, and order -1 is counted from N = 16.
TEST(IntegerHarmonic, OutsideTheSpectrumIsZero)
{
    for (const auto phaseMode : {HARMOTRACK_PHASE_MODE_SHAFT, HARMOTRACK_PHASE_MODE_FIRST_ORDER}) {
        Crossing rig(HARMOTRACK_MODE_TWO_REAL);
        rig.analysis.phaseMode = phaseMode;
        rig.orders = {4.0F, -1.0F, 1e9F, -1e9F, 1.0F};
        rig.take();
        for (std::size_t h = 0; h < 4; ++h) {
            EXPECT_EQ(rig.a(h), Value()) << h;
            EXPECT_EQ(rig.b(h), Value()) << h;
        }
        EXPECT_NEAR(std::abs(rig.a(4)), 3.0F, 1e-6F);
    }
}

// A resolution of 0.1 puts order 1 on line 10, and a limit of 18 samples leaves 8 lines: the
// reference is the phase of a zero line, and of it only the quarter turn of sines is left. Line 2,
// of a block that begins at the shaft angle of sample 1, is turned by 2 * 0.1 * -q + q.
TEST(IntegerHarmonic, ReferredToAnOrder1OutsideTheSpectrumHasThePhaseOfAZeroLine)
{
    Crossing rig;
    rig.analyzer.setInputBufferLimit(18);
    rig.order.orderResolution = 0.1F;
    rig.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
    rig.analysis.phaseReference = HARMOTRACK_PHASE_REFERENCE_SINE;
    rig.parameters.deltaOrderSpectrum = 1;
    rig.analysis.deltaOnTime = 1;
    rig.analysis.deltaSeconds = 1e9F;
    rig.orders = {1.0F};
    rig.take();
    ASSERT_EQ(rig.analyzer.getOrderFFTSize(), 16);
    EXPECT_EQ(rig.a(0), Value());
    expectNear(rig.analyzer.results().deltaSpectrumA[2],
               std::polar(3.0, shaftRad(1) + 0.4 + 0.8 * kQuarter));
}

// Line N - 2 of the complex spectrum, twice the amplitude. Order -1 counts as L * resolution = 7,
// which at a block start of 270 degrees is a turn of -7 * 270 = -90 - 5 * 360 degrees; the line
// itself stands at -270 - 0.4 rad.
TEST(IntegerHarmonic, OfANegativeOrderIsReadFromTheUpperLines)
{
    AnalyzerRig rig(HARMOTRACK_MODE_ONE_COMPLEX);
    rig.parameters.binHarmonics = 1;
    rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
    rig.analysis.twoSided = 1;
    rig.orders = {-1.0F};
    rig.prepare();
    ASSERT_EQ(rig.analyzer.harmonics()[0].line, 14);
    rig.run(50, [](std::int64_t i) {
        return AngleSample{.a = std::cos(shaftRad(i) + 0.4),
                           .b = -std::sin(shaftRad(i) + 0.4),
                           .bin = i < 30 ? 1290.0 : 1310.0,
                           .angle = 45.0 * static_cast<double>(i % 8)};
    });
    expectNear(rig.analyzer.results().harmonicsA.rows()[0][3],
               std::polar(2.0, -1.5 * kPi - 0.4 - 0.5 * kPi));
}

// --- fractional orders by closed forms

// Order 0.5 stands on line 1, and is fractional all the same: its value comes from the evaluators,
// which find no peak of its own so near to line 0 and read the line.
AngleSample steady(std::int64_t i)
{
    return {.a = 3.0 * std::cos(0.5 * shaftRad(i) + 0.9),
            .b = 2.0 * std::cos(0.5 * shaftRad(i) + 0.2),
            .bin = 1300.0,
            .angle = 45.0 * static_cast<double>(i % 8)};
}

TEST(FractionalHarmonic, OfASteadyOrderKeepsThePhaseOfTheFirstBlock)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.binHarmonics = 1;
    rig.orders = {0.5F};
    rig.prepare();
    int blocks = 0;
    rig.onResult = [&](const CalculationResult& result) {
        if (result.binHarmonics == 0) return;
        ++blocks;
        expectNear(rig.analyzer.results().harmonicsA.rows()[0][3], 3.0);
        expectNear(rig.analyzer.results().harmonicsB.rows()[0][3], std::polar(2.0, 0.2 - 0.9));
    };
    rig.run(200, steady);
    EXPECT_EQ(blocks, 12);
}

TEST(FractionalHarmonic, KnowsNothingOfPhaseModeReferenceAndAngle)
{
    AnalyzerRig rig;
    rig.parameters.binHarmonics = 1;
    rig.analysis.phaseMode = HARMOTRACK_PHASE_MODE_FIRST_ORDER;
    rig.analysis.phaseReference = HARMOTRACK_PHASE_REFERENCE_SINE;
    rig.orders = {0.5F};
    rig.prepare();
    rig.run(60, [](std::int64_t i) {
        AngleSample sample = steady(i);
        sample.angle = 123.0;
        return sample;
    });
    expectNear(rig.analyzer.results().harmonicsA.rows()[0][3], 3.0);
}

// Order 0.52 turns 0.02 * 2 * 360 degrees further from block to block.
TEST(FractionalHarmonic, ShowsTheDriftOfAnOrderBesideIt)
{
    AnalyzerRig rig;
    rig.parameters.binHarmonics = 1;
    rig.orders = {0.5F};
    rig.prepare();
    std::vector<double> phases;
    rig.onResult = [&](const CalculationResult& result) {
        if (result.binHarmonics != 0)
            phases.push_back(std::arg(Line(rig.analyzer.results().harmonicsA.rows()[0][3])));
    };
    // as one complex line, that is without its mirror image, the drift would be exact
    rig.run(80, [](std::int64_t i) {
        return AngleSample{.a = 3.0 * std::cos(0.52 * shaftRad(i) - 0.2), .bin = 1300.0};
    });
    ASSERT_THAT(phases, SizeIs(4));
    EXPECT_NEAR(phases[0], 0.0, 1e-6);
    for (std::size_t i = 1; i < phases.size(); ++i)
        EXPECT_NEAR(phases[i], 0.04 * 2.0 * kPi * static_cast<double>(i), 0.1);
}

// The blocks begin at 7, 23 and 39, the samples that took them are 50, 51 and 52: the phase that
// is taken away grows by one sample, not by sixteen.
TEST(FractionalHarmonic, OfBlocksThatAreMadeUpForCountsFromTheSampleThatTookThem)
{
    AnalyzerRig rig;
    rig.parameters.binHarmonics = 1;
    rig.orders = {0.5F};
    rig.angleSlots = 101;
    rig.prepare();
    int blocks = 0;
    rig.onResult = [&](const CalculationResult& result) {
        if (result.binHarmonics == 0) return;
        const double ahead = 15.0 * blocks * (kPi / 4.0) * 0.5;
        expectNear(rig.analyzer.results().harmonicsA.rows()[0][7], std::polar(3.0, ahead));
        ++blocks;
    };
    rig.run(68, [](std::int64_t i) {
        AngleSample sample = steady(i);
        sample.bin = i < 5 ? 1300.0 : i < 50 ? 500.0 : 1700.0;
        return sample;
    });
    EXPECT_EQ(blocks, 3);
    EXPECT_EQ(rig.analyzer.harmonics()[0].startPosition, 50 - 8);
}

// The delta means hand on the sample itself, half a block after the block's first.
TEST(FractionalHarmonic, RunsHalfABlockAheadInTheDeltaMeans)
{
    AnalyzerRig rig(HARMOTRACK_MODE_TWO_REAL);
    rig.parameters.deltaHarmonics = 1;
    rig.analysis.deltaOnTime = 1;
    rig.analysis.deltaSeconds = 1e9F;
    rig.orders = {0.5F, 1.0F};
    rig.prepare();
    for (const int samples : {20, 30}) {
        rig.run(samples, [&, first = samples == 20 ? 0 : 20](auto i) { return steady(first + i); });
        const double back = -8.0 * (kPi / 4.0) * 0.5;
        expectNear(rig.analyzer.results().deltaHarmonicsA[0], std::polar(3.0, back));
        expectNear(rig.analyzer.results().deltaHarmonicsB[0], std::polar(2.0, 0.2 - 0.9 + back));
    }
    EXPECT_EQ(rig.analyzer.harmonics()[0].startPosition, 1);
}

// Order 3.9 is beyond line 7 of 8, which itself has no value: the last line has no neighbour.
TEST(FractionalHarmonic, OutsideTheSpectrumIsZero)
{
    Crossing rig(HARMOTRACK_MODE_TWO_REAL);
    rig.orders = {3.9F, 3.5F, 100.5F, -0.5F};
    rig.take();
    for (std::size_t h = 0; h < 4; ++h) {
        EXPECT_TRUE(rig.analyzer.harmonics()[h].fractional);
        EXPECT_EQ(rig.a(h), Value()) << h;
        EXPECT_EQ(rig.b(h), Value()) << h;
    }
}

// --- the start of a run

TEST(HarmonicStart, IsTheFirstBlockOfWhicheverConsumer)
{
    const auto startWith = [](auto ask) {
        AnalyzerRig rig;
        ask(rig);
        rig.orders = {0.5F, 2.0F};
        rig.prepare();
        EXPECT_EQ(rig.analyzer.harmonics()[0].startPosition, -1);
        rig.run(60, steady);
        EXPECT_EQ(rig.analyzer.harmonics()[1].startPosition,
                  rig.analyzer.harmonics()[0].startPosition);
        return rig.analyzer.harmonics()[0].startPosition;
    };
    // a row at 16, a contiguous block at 15, a delta block at 9
    EXPECT_EQ(startWith([](auto& rig) { rig.parameters.timeOrderSpectrum = 1; }), 0);
    EXPECT_EQ(startWith([](auto& rig) { rig.parameters.binOrderSpectrum = 1; }), 7);
    EXPECT_EQ(startWith([](auto& rig) {
                  rig.parameters.deltaOrderSpectrum = 1;
                  rig.analysis.deltaOnTime = 1;
                  rig.analysis.deltaSeconds = 1e9F;
              }),
              1);
}

TEST(HarmonicStart, IsSetAnewAfterAReset)
{
    AnalyzerRig rig;
    rig.parameters.binHarmonics = 1;
    rig.orders = {0.5F};
    rig.prepare();
    rig.run(60, steady);
    ASSERT_EQ(rig.analyzer.harmonics()[0].startPosition, 7);
    rig.analyzer.reset();
    EXPECT_EQ(rig.analyzer.harmonics()[0].startPosition, -1);
    rig.run(60, [](auto i) { return steady(60 + i); });
    EXPECT_EQ(rig.analyzer.harmonics()[0].startPosition, 52 + 7);
    EXPECT_NEAR(rig.analyzer.harmonics()[0].startPhaseA,
                std::remainder(0.5 * shaftRad(59) + 0.9, 2.0 * kPi),
                1e-9);
}

TEST(HarmonicStart, HasNoSecondPhaseOutsideMode1)
{
    AnalyzerRig rig(HARMOTRACK_MODE_ONE_COMPLEX);
    rig.parameters.binHarmonics = 1;
    rig.orders = {0.5F};
    rig.prepare();
    rig.run(60, steady);
    EXPECT_NE(rig.analyzer.harmonics()[0].startPhaseA, 0.0);
    EXPECT_EQ(rig.analyzer.harmonics()[0].startPhaseB, 0.0);
}

// Differentiation puts a quarter turn onto the phase of the first block.
TEST(HarmonicStart, IsThePhaseOfTheWeightedSpectrum)
{
    std::vector<double> phases;
    for (const auto weighting : {HARMOTRACK_WEIGHTING_NONE, HARMOTRACK_WEIGHTING_DIFFERENTIATE}) {
        AnalyzerRig rig;
        rig.parameters.binHarmonics = 1;
        rig.analysis.weightingType = weighting;
        rig.orders = {0.5F};
        rig.prepare();
        rig.run(60, [](auto i) { return steady(i + 1); });
        phases.push_back(rig.analyzer.harmonics()[0].startPhaseA);
    }
    EXPECT_NEAR(std::remainder(phases[1] - phases[0], 2.0 * kPi), kQuarter, 1e-9);
}

// --- overall levels

// Blocks of one signal after the other, each of which visits bin 3: the first by rising past its
// centre, the second by falling.
class Level : public AnalyzerRig {
public:
    explicit Level(std::int32_t mode = HARMOTRACK_MODE_ONE_REAL) : AnalyzerRig(mode)
    {
        parameters.overall = 1;
        analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
        timeSlots = 101;
    }

    // A function of the phase of line 1.
    using Signal = std::function<double(double)>;

    const ResultStorage& take(
        const Signal& a, const Signal& b = [](double) { return 0.0; })
    {
        if (visits_ == 0) prepare();
        for (int s = 0; s < 32; ++s) addTime(a(kPi / 8.0 * s), b(kPi / 8.0 * s));
        const AngleSample sample{.bin = visits_ == 0 ? 1330.0 : 1270.0,
                                 .time = 0.2 * visits_ + 0.1};
        // half an order block more than the one to be taken
        for (int i = 0; i < 9; ++i) addAngle(sample);
        ++visits_;
        drain();
        return analyzer.results();
    }

private:
    int visits_ = 0;
};

double sine3(double phase)
{
    return 3.0 * std::sin(2.0 * phase);
}

TEST(OverallLevel, IsTheRmsOfASine)
{
    Level rig;
    const ResultStorage& results = rig.take(sine3);
    EXPECT_FLOAT_EQ(results.overallA[3], 3.0F / std::sqrt(2.0F));
    EXPECT_THAT(results.overallB, IsEmpty());
    EXPECT_EQ(results.overallA[2], 0.0F);
    EXPECT_EQ(results.overallA[4], 0.0F);
}

TEST(OverallLevel, IsThatOfEachSignalInMode1)
{
    Level rig(HARMOTRACK_MODE_TWO_REAL);
    const ResultStorage& results = rig.take(sine3, [](double x) { return std::cos(5.0 * x); });
    EXPECT_FLOAT_EQ(results.overallA[3], 3.0F / std::sqrt(2.0F));
    EXPECT_FLOAT_EQ(results.overallB[3], 1.0F / std::sqrt(2.0F));
}

// The factor takes out the window's noise bandwidth. That of a triangle is the one of infinite
// length, and 256 samples differ from it by 3e-5.
TEST(OverallLevel, IsTheRmsOfASineWithEveryWindowThatHasAFactor)
{
    for (const std::int32_t window : {0, 1, 2, 3, 4, 5, 8}) {
        AnalyzerRig rig;
        rig.parameters.overall = 1;
        rig.analysis.blockMode = HARMOTRACK_BLOCK_AT_CROSSING;
        rig.analysis.windowType = window;
        rig.analysis.timeLines = 128;
        rig.timeSlots = 600;
        rig.prepare();
        for (int s = 0; s < 512; ++s) rig.addTime(3.0 * std::sin(2.0 * kPi * 60.0 * s / 256.0));
        for (int i = 0; i < 9; ++i) rig.addAngle({.bin = 1310.0, .time = 1.0});
        rig.drain();
        const float tolerance = window == HARMOTRACK_WINDOW_TRIANGLE ? 1e-4F : 1e-5F;
        EXPECT_NEAR(rig.analyzer.results().overallA[3], 3.0F / std::sqrt(2.0F), tolerance)
            << window;
    }
}

TEST(OverallLevel, IsNoNumberWithAnExponentialWindow)
{
    Level rig;
    rig.analysis.windowType = HARMOTRACK_WINDOW_EXPONENTIAL;
    rig.analysis.windowParameter = 10.0F;
    EXPECT_TRUE(std::isnan(rig.take(sine3).overallA[3]));
}

// Line 0 never had the amplitude scale, and loses it with the others: a mean m counts m^2 / 2 as
// peak, m^2 as RMS and m^2 / 8 as peak to peak. The sine counts alike.
TEST(OverallLevel, CountsTheMeanByTheAmplitudeType)
{
    for (const auto& [type, meanSquare] :
         {std::pair(0, 0.5F), std::pair(1, 1.0F), std::pair(2, 0.125F), std::pair(3, 0.5F)}) {
        Level rig;
        rig.analysis.amplitudeType = type;
        const ResultStorage& results = rig.take([](double x) { return 4.0 + sine3(x); });
        EXPECT_FLOAT_EQ(results.overallA[3], std::sqrt(16.0F * meanSquare + 4.5F)) << type;
    }
}

TEST(OverallLevel, HoldsTheWeightingOfTheRow)
{
    Level rig;
    rig.analysis.weightingType = HARMOTRACK_WEIGHTING_DIFFERENTIATE;
    EXPECT_FLOAT_EQ(rig.take(sine3).overallA[3],
                    2.0F * 3.1415927F * 20.0F * 3.0F / std::sqrt(2.0F));
}

double cosine4(double phase)
{
    return 4.0 * std::cos(3.0 * phase);
}

TEST(OverallLevel, IsThatOfTheRowAsAveragingLeftIt)
{
    const auto afterBoth = [](std::int32_t averaging) {
        Level rig;
        rig.analysis.averagingType = averaging;
        rig.take(sine3);
        EXPECT_FLOAT_EQ(rig.analyzer.results().overallA[3],
                        averaging == 4 ? 0.0F : std::sqrt(4.5F));
        rig.take(cosine4);
        EXPECT_THAT(rig.events, SizeIs(2));
        return rig.analyzer.results().overallA[3];
    };
    EXPECT_FLOAT_EQ(afterBoth(HARMOTRACK_AVERAGING_OVERWRITE), std::sqrt(8.0F));
    EXPECT_FLOAT_EQ(afterBoth(HARMOTRACK_AVERAGING_KEEP_FIRST), std::sqrt(4.5F));
    EXPECT_FLOAT_EQ(afterBoth(HARMOTRACK_AVERAGING_MEAN), std::sqrt((2.25F + 4.0F) / 2.0F));
    EXPECT_FLOAT_EQ(afterBoth(HARMOTRACK_AVERAGING_PEAK_HOLD), std::sqrt((9.0F + 16.0F) / 2.0F));
    EXPECT_EQ(afterBoth(4), 0.0F);
}

// The square as the C library's power, which no compiler sees to be a product.
float square(float x)
{
    const volatile float two = 2.0F;
    return std::pow(x, static_cast<float>(two));
}

// A number whose level shows that it was squared by the library's power: the first in 1 .. 2 for
// which a product is another number, and 1.5 with a library that rounds both alike.
float squaredByPowerAlone()
{
    for (float x = 1.0F; x < 2.0F; x = std::nextafter(x, 2.0F))
        if (std::sqrt(square(x) * 0.5F) != std::sqrt(x * x * 0.5F)) return x;
    return 1.5F;
}

// A constant is all in line 0, to the bit: its samples add up exactly in blocks of a power of two.
TEST(OverallLevel, SquaresByThePowerOfTheCLibrary)
{
    const float constant = squaredByPowerAlone();
    Level rig;
    rig.analysis.windowType = HARMOTRACK_WINDOW_RECTANGLE;
    const ResultStorage& results =
        rig.take([constant](double) { return static_cast<double>(constant); });
    const float* const row = results.timeA.row(3);
    EXPECT_EQ(row[0], constant);
    for (std::size_t k = 1; k < 8; ++k) EXPECT_EQ(row[k], 0.0F) << k;
    EXPECT_EQ(results.overallA[3], std::sqrt(square(constant) * 0.5F));
}

// sqrt(0.5 sum (c row)^2) f in float, lines in ascending order.
TEST(OverallLevel, IsSummedInFloatToTheBit)
{
    for (const auto& [type, c] :
         {std::pair(0, 1.0F), std::pair(1, 1.4142135F), std::pair(2, 0.5F)}) {
        Level rig(HARMOTRACK_MODE_TWO_REAL);
        rig.analysis.amplitudeType = type;
        rig.analysis.windowType = HARMOTRACK_WINDOW_HANNING;
        rig.analysis.timeLines = 100;
        rig.sampleRate = 2000.0;
        rig.timeSlots = 1000;
        rig.prepare();
        for (int s = 0; s < 900; ++s) rig.addTime(std::sin(1.1 * s * s), std::sin(2.3 * s * s));
        for (int i = 0; i < 9; ++i) rig.addAngle({.bin = 1310.0, .time = 0.2});
        rig.drain();
        const ResultStorage& results = rig.analyzer.results();
        const auto factor = static_cast<float>(1.0 / std::sqrt(1.5));
        const auto level = [&, correction = c](const ResultStorage::BinWaterfall& table) {
            float sum = 0.0F;
            for (std::size_t k = 0; k < 100; ++k) sum += square(correction * table.row(3)[k]);
            sum *= 0.5F;
            return std::sqrt(sum) * factor;
        };
        EXPECT_EQ(results.overallA[3], level(results.timeA)) << type;
        EXPECT_EQ(results.overallB[3], level(results.timeB)) << type;
    }
}

} // namespace
} // namespace Velmora::OrderTracking

#include "dsp/fft/fft.h"

#include "any_fft.h"
#include "naive_dft.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <complex>
#include <limits>
#include <numbers>
#include <random>
#include <thread>
#include <tuple>
#include <type_traits>
#include <vector>

namespace Velmora::KorLib::Dsp::Fft {
namespace {

using Complex = std::complex<double>;
using LongComplex = std::complex<long double>;

constexpr double kEpsilon = std::numeric_limits<double>::epsilon();

static_assert(!std::is_copy_constructible_v<FFT<double>>);
static_assert(!std::is_copy_assignable_v<FFT<double>>);
static_assert(!std::is_copy_constructible_v<FFT<Complex>>);
static_assert(!std::is_copy_assignable_v<FFT<Complex>>);

LongComplex widened(Complex z)
{
    return {static_cast<long double>(z.real()), static_cast<long double>(z.imag())};
}

std::vector<Complex> randomNumbers(std::size_t count, unsigned seed)
{
    std::mt19937 generator(seed);
    std::uniform_real_distribution<double> uniform(-1.0, 1.0);
    std::vector<Complex> numbers(count);
    for (Complex& z : numbers) {
        const double re = uniform(generator);
        z = {re, uniform(generator)};
    }
    return numbers;
}

// A sum of N products, at most this far off in any sensible order of summation; FFTW's is better.
long double roundingError(const std::vector<LongComplex>& terms)
{
    long double sum = 0;
    for (const LongComplex& term : terms) sum += std::abs(term);
    const auto N = static_cast<long double>(terms.size());
    return 4 * static_cast<long double>(kEpsilon) * (1 + std::log2(N)) * sum;
}

/// Weight of line k: g[k] of the class description.
long double lineWeight(std::uint32_t scaling, std::int32_t direction, std::size_t k, std::size_t N)
{
    const auto length = static_cast<long double>(N);
    if (scaling == kScaleToAmplitude && direction == kForward) return (k == 0 ? 1 : 2) / length;
    if (scaling == kScaleToAmplitude) return k == 0 ? 1.0L : 0.5L;
    if (scaling == kScaleInverse && direction == kInverse) return 1 / length;
    return 1;
}

// ---------------------------------------------------------------- against the defining sum

// (scaling, placement)
class EveryKindOfFFT : public testing::TestWithParam<std::tuple<std::uint32_t, std::uint32_t>> {};

INSTANTIATE_TEST_SUITE_P(Each,
                         EveryKindOfFFT,
                         testing::Combine(testing::Values(kScaleToAmplitude, 1U, kScaleInverse, 3U),
                                          testing::Values(kInPlace, kSeparate)));

constexpr std::size_t kSizes[] = {1, 2, 3, 4, 5, 6, 7, 8, 9, 12, 16, 97, 100, 360, 512};

/// Numbers of a buffer, one by one against those expected.
template <typename E>
void expectNear(const FFTBufferView<E>& view,
                const std::vector<LongComplex>& expected,
                long double tolerance)
{
    for (std::size_t i = 0; i < view.count; ++i) {
        EXPECT_LE(std::abs(widened(view.begin[i]) - expected[i]), tolerance) << "element " << i;
    }
}

TEST_P(EveryKindOfFFT, ForwardOfRealSamplesIsTheDefiningSum)
{
    const auto [scaling, placement] = GetParam();
    FFT<double> fft(scaling, placement);
    for (const std::size_t N : kSizes) {
        SCOPED_TRACE(N);
        fft.setSize(N);
        const std::vector<Complex> random = randomNumbers(N, 1);
        std::vector<LongComplex> x(N);
        for (std::size_t n = 0; n < N; ++n) {
            fft.timeBuffer.begin[n] = random[n].real();
            x[n] = widened(random[n].real());
        }

        fft.execute();

        std::vector<LongComplex> expected = naiveDft(x, -1);
        for (std::size_t k = 0; k < N; ++k) expected[k] *= lineWeight(scaling, kForward, k, N);
        ASSERT_EQ(fft.spectrumBuffer.count, N / 2 + 1);
        expectNear(
            fft.spectrumBuffer, expected, roundingError(x) * lineWeight(scaling, kForward, 1, N));
    }
}

TEST_P(EveryKindOfFFT, ForwardOfComplexSamplesIsTheDefiningSum)
{
    const auto [scaling, placement] = GetParam();
    FFT<Complex> fft(scaling, placement);
    for (const std::size_t N : kSizes) {
        SCOPED_TRACE(N);
        fft.setSize(N);
        const std::vector<Complex> random = randomNumbers(N, 2);
        std::copy(random.begin(), random.end(), fft.timeBuffer.begin);

        fft.execute();

        std::vector<LongComplex> x(N);
        std::transform(random.begin(), random.end(), x.begin(), widened);
        std::vector<LongComplex> expected = naiveDft(x, -1);
        for (std::size_t k = 0; k < N; ++k) expected[k] *= lineWeight(scaling, kForward, k, N);
        ASSERT_EQ(fft.spectrumBuffer.count, N);
        expectNear(
            fft.spectrumBuffer, expected, roundingError(x) * lineWeight(scaling, kForward, 1, N));
    }
}

TEST_P(EveryKindOfFFT, InverseOfAHalfSpectrumIsTheDefiningSumWithTheMirrorLines)
{
    const auto [scaling, placement] = GetParam();
    AnyFFT<double> fft(scaling, kInverse, placement);
    for (const std::size_t N : kSizes) {
        SCOPED_TRACE(N);
        fft.setSize(N);
        std::vector<Complex> lines = randomNumbers(N / 2 + 1, 3);
        // a line that is its own mirror is real
        lines[0] = lines[0].real();
        if (N % 2 == 0) lines[N / 2] = lines[N / 2].real();
        std::copy(lines.begin(), lines.end(), fft.spectrumBuffer.begin);

        fft.execute();

        std::vector<LongComplex> X(N);
        for (std::size_t k = 0; k <= N / 2; ++k) {
            X[k] = lineWeight(scaling, kInverse, k, N) * widened(lines[k]);
            if (k != 0) X[N - k] = std::conj(X[k]);
        }
        ASSERT_EQ(fft.timeBuffer.count, N);
        expectNear(fft.timeBuffer, naiveDft(X, +1), roundingError(X));
    }
}

TEST_P(EveryKindOfFFT, InverseOfAFullSpectrumIsTheDefiningSum)
{
    const auto [scaling, placement] = GetParam();
    AnyFFT<Complex> fft(scaling, kInverse, placement);
    for (const std::size_t N : kSizes) {
        SCOPED_TRACE(N);
        fft.setSize(N);
        const std::vector<Complex> lines = randomNumbers(N, 4);
        std::copy(lines.begin(), lines.end(), fft.spectrumBuffer.begin);

        fft.execute();

        std::vector<LongComplex> X(N);
        for (std::size_t k = 0; k < N; ++k)
            X[k] = lineWeight(scaling, kInverse, k, N) * widened(lines[k]);
        ASSERT_EQ(fft.timeBuffer.count, N);
        expectNear(fft.timeBuffer, naiveDft(X, +1), roundingError(X));
    }
}

// ---------------------------------------------------------------- the two element types

template <typename T>
class FFTOf : public testing::Test {
};

using ElementTypes = testing::Types<double, Complex>;
TYPED_TEST_SUITE(FFTOf, ElementTypes);

TYPED_TEST(FFTOf, NewObjectHasNoSizeNoPlanAndEmptyViewsOfItsOwn)
{
    FFT<TypeParam> fft(kScaleToAmplitude, kSeparate);
    EXPECT_EQ(fft.direction(), kForward);
    EXPECT_EQ(fft.scaling(), kScaleToAmplitude);
    EXPECT_EQ(fft.placement(), kSeparate);
    EXPECT_EQ(fft.size(), 0U);
    EXPECT_EQ(fft.plan(), nullptr);
    EXPECT_EQ(fft.timeBuffer.owner, &fft);
    EXPECT_EQ(fft.timeBuffer.begin, nullptr);
    EXPECT_EQ(fft.timeBuffer.end, nullptr);
    EXPECT_EQ(fft.spectrumBuffer.owner, &fft);
    EXPECT_EQ(fft.spectrumBuffer.count, 0U);
    fft.execute();
}

TYPED_TEST(FFTOf, SizeZeroGivesEverythingBackAndExecutesNothing)
{
    for (const std::uint32_t placement : {kInPlace, kSeparate}) {
        FFT<TypeParam> fft(kScaleToAmplitude, placement);
        fft.setSize(16);
        fft.setSize(0);
        EXPECT_EQ(fft.plan(), nullptr);
        EXPECT_EQ(fft.timeData(), nullptr);
        EXPECT_EQ(fft.spectrumData(), nullptr);
        EXPECT_EQ(fft.timeLength(), 0U);
        EXPECT_EQ(fft.spectrumLength(), 0U);
        EXPECT_EQ(fft.timeBuffer.begin, nullptr);
        EXPECT_EQ(fft.timeBuffer.end, nullptr);
        EXPECT_EQ(fft.timeBuffer.count, 0U);
        EXPECT_EQ(fft.spectrumBuffer.begin, nullptr);
        EXPECT_EQ(fft.spectrumBuffer.end, nullptr);
        EXPECT_EQ(fft.spectrumBuffer.count, 0U);
        fft.execute();
        fft.executeRaw();
    }
}

TYPED_TEST(FFTOf, ViewsShowTheBuffersOfTheNewestSize)
{
    FFT<TypeParam> fft(kScaleToAmplitude, kSeparate);
    for (const std::uint64_t size : {1024U, 512U}) {
        fft.setSize(size);
        EXPECT_EQ(fft.timeBuffer.count, size);
        EXPECT_EQ(fft.timeBuffer.begin, reinterpret_cast<TypeParam*>(fft.timeData()));
        EXPECT_EQ(fft.timeBuffer.end, fft.timeBuffer.begin + size);
        EXPECT_EQ(fft.spectrumBuffer.count, fft.spectrumLength() / 2);
        EXPECT_EQ(fft.spectrumBuffer.begin, reinterpret_cast<Complex*>(fft.spectrumData()));
        EXPECT_EQ(fft.spectrumBuffer.end, fft.spectrumBuffer.begin + fft.spectrumBuffer.count);
        std::fill(fft.timeBuffer.begin, fft.timeBuffer.end, TypeParam(1.0));
        fft.execute();
        EXPECT_DOUBLE_EQ(fft.spectrumBuffer.begin[0].real(), 1.0);
    }
}

TYPED_TEST(FFTOf, InPlaceHasOneMemoryAndSeparateTwo)
{
    FFT<TypeParam> inPlace(kScaleToAmplitude, kInPlace);
    inPlace.setSize(8);
    EXPECT_EQ(inPlace.timeData(), inPlace.spectrumData());

    FFT<TypeParam> separate(kScaleToAmplitude, kSeparate);
    separate.setSize(8);
    EXPECT_NE(separate.timeData(), separate.spectrumData());
}

TYPED_TEST(FFTOf, TwoObjectsOfOneSizeShareNeitherPlanNorBuffers)
{
    FFT<TypeParam> one(kScaleToAmplitude, kInPlace);
    FFT<TypeParam> two(kScaleToAmplitude, kInPlace);
    one.setSize(64);
    two.setSize(64);
    EXPECT_NE(one.plan(), two.plan());
    EXPECT_NE(one.timeData(), two.timeData());
}

TYPED_TEST(FFTOf, SizeInsideABatchTakesEffectAtItsEnd)
{
    FFT<TypeParam> fft(kScaleToAmplitude, kInPlace);
    fft.beginUpdate();
    fft.setSize(4);
    fft.setSize(8);
    EXPECT_EQ(fft.plan(), nullptr);
    fft.endUpdate();
    EXPECT_NE(fft.plan(), nullptr);
    EXPECT_EQ(fft.timeBuffer.count, 8U);
}

TYPED_TEST(FFTOf, ForwardTakesSpectrumLinesAsTheSize)
{
    FFT<TypeParam> fft(kScaleToAmplitude, kInPlace);
    fft.setSpectrumLines(10);
    EXPECT_EQ(fft.size(), 10U);
    fft.setSpectrumLines(0);
    EXPECT_EQ(fft.size(), 0U);
}

TYPED_TEST(FFTOf, InverseTakesTheEvenSizeThatHasTheSpectrumLines)
{
    AnyFFT<TypeParam> fft(kScaleToAmplitude, kInverse, kInPlace);
    fft.setSpectrumLines(10);
    EXPECT_EQ(fft.size(), 18U);
    fft.setSpectrumLines(1);
    EXPECT_EQ(fft.size(), 0U);
    EXPECT_EQ(fft.plan(), nullptr);
}

TYPED_TEST(FFTOf, InverseTakesNoSpectrumLinesAsNoSize)
{
    AnyFFT<TypeParam> fft(kScaleToAmplitude, kInverse, kInPlace);
    fft.setSpectrumLines(10);
    fft.setSpectrumLines(0);
    EXPECT_EQ(fft.size(), 0U);
    EXPECT_EQ(fft.plan(), nullptr);
}

// Amplitude scaling halves and doubles the same lines on the way back; N = 98 and 99 have and have
// not a line that is its own mirror.
TYPED_TEST(FFTOf, InverseUndoesForward)
{
    for (const std::uint32_t scaling : {kScaleToAmplitude, kScaleInverse}) {
        for (const std::uint64_t size : {98U, 99U}) {
            FFT<TypeParam> forward(scaling, kSeparate);
            AnyFFT<TypeParam> inverse(scaling, kInverse, kInPlace);
            forward.setSize(size);
            inverse.setSize(size);
            double* const samples = forward.timeData();
            for (std::uint64_t i = 0; i < forward.timeLength(); ++i)
                samples[i] = std::sin(static_cast<double>(i * i));

            forward.execute();
            std::copy(forward.spectrumBuffer.begin,
                      forward.spectrumBuffer.end,
                      inverse.spectrumBuffer.begin);
            inverse.execute();

            for (std::uint64_t i = 0; i < forward.timeLength(); ++i)
                EXPECT_NEAR(inverse.timeData()[i], samples[i], 100 * kEpsilon);
        }
    }
}

// The roundings are part of the promise: whoever scales the raw lines alike gets the same bits.
TYPED_TEST(FFTOf, RawLinesScaledByHandHaveTheBitsOfExecute)
{
    for (const std::uint64_t size : {1U, 2U, 7U, 100U, 1023U, 1024U}) {
        FFT<TypeParam> fft(kScaleToAmplitude, kSeparate);
        fft.setSize(size);
        for (std::uint64_t i = 0; i < fft.timeLength(); ++i)
            fft.timeData()[i] = std::sin(static_cast<double>(i * i)) + 0.3;

        fft.executeRaw();
        EXPECT_EQ(fft.forwardScale(), 2.0 / static_cast<double>(size));
        std::vector<double> byHand(fft.spectrumData(), fft.spectrumData() + fft.spectrumLength());
        for (double& value : byHand) value *= fft.forwardScale();
        byHand[0] *= 0.5;
        byHand[1] *= 0.5;

        fft.execute();
        const std::vector<double> executed(fft.spectrumData(),
                                           fft.spectrumData() + fft.spectrumLength());
        EXPECT_EQ(executed, byHand) << "size " << size;
    }
}

// Dividing by 49 and multiplying by 1/49 round differently.
TYPED_TEST(FFTOf, InverseOfScaledKindDividesEachLine)
{
    AnyFFT<TypeParam> fft(kScaleInverse, kInverse, kSeparate);
    fft.setSize(49);
    std::vector<double> lines(fft.spectrumLength());
    for (std::size_t i = 0; i < lines.size(); ++i) lines[i] = static_cast<double>(3 * i + 1);

    std::transform(lines.begin(), lines.end(), fft.spectrumData(), [](double x) { return x / 49; });
    fft.executeRaw();
    const std::vector<double> byHand(fft.timeData(), fft.timeData() + fft.timeLength());

    std::copy(lines.begin(), lines.end(), fft.spectrumData());
    fft.execute();
    const std::vector<double> executed(fft.timeData(), fft.timeData() + fft.timeLength());
    EXPECT_EQ(executed, byHand);
}

// ---------------------------------------------------------------- lengths and amplitudes

TEST(FFT, RealTransformHasRoomForItsHalfSpectrum)
{
    FFT<double> fft(kScaleToAmplitude, kInPlace);
    fft.setSize(5);
    EXPECT_EQ(fft.timeLength(), 5U);
    EXPECT_EQ(fft.spectrumLength(), 6U);
    EXPECT_EQ(fft.timeBuffer.count, 5U);
    EXPECT_EQ(fft.spectrumBuffer.count, 3U);
    fft.setSize(4);
    EXPECT_EQ(fft.timeLength(), 4U);
    EXPECT_EQ(fft.spectrumLength(), 6U);
    EXPECT_EQ(fft.timeBuffer.count, 4U);
    EXPECT_EQ(fft.spectrumBuffer.count, 3U);
}

TEST(FFT, ComplexTransformHasAsManyLinesAsSamples)
{
    FFT<Complex> fft(kScaleToAmplitude, kInPlace);
    fft.setSize(5);
    EXPECT_EQ(fft.timeLength(), 10U);
    EXPECT_EQ(fft.spectrumLength(), 10U);
    EXPECT_EQ(fft.timeBuffer.count, 5U);
    EXPECT_EQ(fft.spectrumBuffer.count, 5U);
}

// Sums of ones are exact, and so is 2/8.
TEST(FFT, ConstantReadsItselfOnTheFirstLine)
{
    FFT<double> fft(kScaleToAmplitude, kInPlace);
    fft.setSize(8);
    std::fill(fft.timeBuffer.begin, fft.timeBuffer.end, 1.0);
    fft.execute();
    EXPECT_EQ(fft.spectrumBuffer.begin[0], Complex(1.0));
    for (std::size_t k = 1; k <= 4; ++k) EXPECT_EQ(fft.spectrumBuffer.begin[k], Complex(0.0));
}

// The line at half the rate has no mirror line, and yet it is doubled like those that do.
TEST(FFT, AlternatingOnesReadTwoOnTheLastLineOfAnEvenSize)
{
    FFT<double> fft(kScaleToAmplitude, kInPlace);
    fft.setSize(8);
    for (std::size_t n = 0; n < 8; ++n) fft.timeBuffer.begin[n] = n % 2 == 0 ? 1.0 : -1.0;
    fft.execute();
    EXPECT_EQ(fft.spectrumBuffer.begin[4], Complex(2.0));
}

TEST(FFT, SineOnALineReadsItsAmplitudeThereAndNothingElsewhere)
{
    FFT<double> fft(kScaleToAmplitude, kInPlace);
    fft.setSize(1000);
    for (std::size_t n = 0; n < 1000; ++n) {
        const double turns = static_cast<double>(50 * n % 1000) / 1000.0;
        fft.timeBuffer.begin[n] = 3.0 * std::sin(2.0 * std::numbers::pi * turns);
    }
    fft.execute();
    for (std::size_t k = 0; k <= 500; ++k)
        EXPECT_NEAR(std::abs(fft.spectrumBuffer.begin[k]), k == 50 ? 3.0 : 0.0, 1e-14);
}

// The complex transform counts amplitude as the real one does: exp(i...) has all of its amplitude
// on one line and reads twice of it.
TEST(FFT, ComplexExponentialReadsTwiceItsAmplitudeOnItsLine)
{
    FFT<Complex> fft(kScaleToAmplitude, kInPlace);
    fft.setSize(1000);
    for (std::size_t n = 0; n < 1000; ++n) {
        const double turns = static_cast<double>(950 * n % 1000) / 1000.0;
        fft.timeBuffer.begin[n] = std::polar(3.0, 2.0 * std::numbers::pi * turns);
    }
    fft.execute();
    for (std::size_t k = 0; k < 1000; ++k)
        EXPECT_NEAR(std::abs(fft.spectrumBuffer.begin[k]), k == 950 ? 6.0 : 0.0, 1e-13);
}

// ---------------------------------------------------------------- threads

// Planning is serialised inside; transforms of different objects run side by side.
TEST(FFT, ObjectsOfManyThreadsPlanAndTransformAtOnce)
{
    constexpr std::size_t kThreads = 8;
    std::vector<int> wrong(kThreads);
    std::vector<std::thread> threads;
    for (std::size_t t = 0; t < kThreads; ++t) {
        threads.emplace_back([t, &wrong] {
            FFT<double> kept(kScaleToAmplitude, kInPlace);
            for (std::size_t round = 0; round < 20; ++round) {
                FFT<Complex> passing(kScaleToAmplitude, kSeparate);
                const std::size_t N = 16 * (1 + (t + round) % 9);
                kept.setSize(N);
                passing.setSize(N);
                for (std::size_t n = 0; n < N; ++n) {
                    const double x = std::cos(2.0 * std::numbers::pi * 3.0 *
                                              static_cast<double>(n) / static_cast<double>(N));
                    kept.timeBuffer.begin[n] = x;
                    passing.timeBuffer.begin[n] = x;
                }
                kept.execute();
                passing.execute();
                for (std::size_t k = 0; k < N / 2; ++k) {
                    const double expected = k == 3 ? 1.0 : 0.0;
                    if (std::abs(kept.spectrumBuffer.begin[k] - expected) > 1e-13) ++wrong[t];
                    if (std::abs(passing.spectrumBuffer.begin[k] - expected) > 1e-13) ++wrong[t];
                }
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(wrong, std::vector<int>(kThreads));
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fft

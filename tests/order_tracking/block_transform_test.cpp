#include "order_tracking/block_transform.h"

#include "../dsp/fft/naive_dft.h"

#include <gtest/gtest.h>

#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <type_traits>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

namespace Fft = KorLib::Dsp::Fft;
using Fft::AmplitudeKind;
using KorLib::Dsp::Window::WindowType;
using Line = std::complex<double>;
using Lines = std::vector<Line>;
using ExactLine = std::complex<long double>;

// Rings of one size with their samples; N is the block's.
struct Rings {
    explicit Rings(std::size_t slots) : a(slots), b(slots), bin(slots) {}

    void fill(std::uint64_t seed)
    {
        std::mt19937_64 random(seed);
        std::uniform_real_distribution<double> uniform(-1.0, 3.0);
        for (auto* values : {&a, &b, &bin})
            for (double& value : *values) value = uniform(random);
    }

    [[nodiscard]] ResampledBuffers angle(bool withB = true) const
    {
        ResampledBuffers ring{};
        ring.signalA = a.data();
        ring.signalB = withB ? b.data() : nullptr;
        ring.binSignal = bin.data();
        ring.size = static_cast<std::int32_t>(a.size());
        return ring;
    }

    [[nodiscard]] TimeBuffers time(bool withB = true) const
    {
        TimeBuffers ring{};
        ring.signalA = a.data();
        ring.signalB = withB ? b.data() : nullptr;
        ring.size = static_cast<std::int32_t>(a.size());
        return ring;
    }

    std::vector<double> a, b, bin;
};

// The two spectra of a block; B stays empty in modes 0 and 2.
struct Spectra {
    Lines a, b;
};

struct Block {
    std::int32_t size;
    WindowType window = WindowType::Rectangle;
    AmplitudeKind amplitude = AmplitudeKind::Peak;
    std::int32_t dcLineMode = HARMOTRACK_DC_LINE_UNSCALED;
    float windowParameter = 0.0F;
};

AnalysisSetup setupOf(const Block& block)
{
    AnalysisSetup setup{};
    setup.windowType = static_cast<std::int32_t>(block.window);
    setup.windowParameter = block.windowParameter;
    setup.amplitudeType = static_cast<std::int32_t>(block.amplitude);
    setup.dcLineMode = block.dcLineMode;
    return setup;
}

Spectra orderForm(std::int32_t mode,
                  const Block& block,
                  const ResampledBuffers& ring,
                  std::int32_t start,
                  bool removeMean = false,
                  bool twoSided = false)
{
    BlockTransform transform(mode);
    transform.setup(block.size, setupOf(block));
    const auto lines = static_cast<std::size_t>(twoSided ? block.size : block.size / 2);
    Spectra spectra{Lines(lines), Lines(mode == HARMOTRACK_MODE_TWO_REAL ? lines : 0)};
    transform.transform(ring, start, removeMean, spectra.a, spectra.b);
    return spectra;
}

Spectra timeForm(std::int32_t mode,
                 const Block& block,
                 const TimeBuffers& ring,
                 std::int32_t start,
                 bool removeMean = false)
{
    BlockTransform transform(mode);
    transform.setup(block.size, setupOf(block));
    const auto lines = static_cast<std::size_t>(block.size / 2);
    Spectra spectra{Lines(lines), Lines(mode == HARMOTRACK_MODE_TWO_REAL ? lines : 0)};
    transform.transform(ring, start, removeMean, spectra.a, spectra.b);
    return spectra;
}

// --- against the defining sum

// Z of one signal by the defining sum in long double, with a Hanning window of amplitude-true
// samples 1 - cos(2 pi i / N).
std::vector<ExactLine>
exactLines(const std::vector<double>& ring, std::int32_t start, std::size_t N, bool removeMean)
{
    std::vector<ExactLine> block(N);
    long double mean = 0.0L;
    for (std::size_t i = 0; i < N; ++i) {
        const double x = ring[(static_cast<std::size_t>(start) + i) % ring.size()];
        block[i] = static_cast<long double>(x);
        mean += static_cast<long double>(x) / static_cast<long double>(N);
    }
    const long double step = 2.0L * std::numbers::pi_v<long double> / static_cast<long double>(N);
    for (std::size_t i = 0; i < N; ++i) {
        if (removeMean) block[i] -= mean;
        block[i] *= 1.0L - std::cos(step * static_cast<long double>(i));
    }
    std::vector<ExactLine> z = Fft::naiveDft(block, -1);
    for (ExactLine& line : z) line *= 2.0L / static_cast<long double>(N);
    z[0] *= 0.5L;
    return z;
}

ExactLine timesJ(ExactLine line)
{
    return {-line.imag(), line.real()};
}

constexpr long double kRms = 0.70710678118654752440L;

// What the RMS spectra of a mode are, from the spectra za and zb of the two signals alone. The real
// spectra of mode 1 need no split this way, and the complex one of mode 2 is a sum.
Spectra expectedSpectra(int mode,
                        const std::vector<ExactLine>& za,
                        const std::vector<ExactLine>& zb,
                        std::size_t lines)
{
    Spectra expected{Lines(lines), Lines(mode == HARMOTRACK_MODE_TWO_REAL ? lines : 0)};
    for (std::size_t k = 0; k < lines; ++k) {
        const long double s = k == 0 ? 1.0L : kRms;
        const ExactLine first = mode == HARMOTRACK_MODE_ONE_COMPLEX ? za[k] + timesJ(zb[k]) : za[k];
        expected.a[k] = Line(s * first);
        if (mode == HARMOTRACK_MODE_TWO_REAL) expected.b[k] = Line(s * zb[k]);
    }
    return expected;
}

// The values of a block of N samples up to 3 are about 1; FFTW's error grows with log2(N).
void expectNear(const Lines& lines, const Lines& expected, const std::string& where)
{
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t k = 0; k < lines.size(); ++k)
        EXPECT_NEAR(std::abs(lines[k] - expected[k]), 0.0, 1e-14) << where << ", line " << k;
}

class BlockTransformOfAMode : public testing::TestWithParam<std::int32_t> {};

INSTANTIATE_TEST_SUITE_P(Each,
                         BlockTransformOfAMode,
                         testing::Values(HARMOTRACK_MODE_ONE_REAL,
                                         HARMOTRACK_MODE_TWO_REAL,
                                         HARMOTRACK_MODE_ONE_COMPLEX));

// A ring of 19 slots and a block of 12: from slot 8 on the block wraps.
TEST_P(BlockTransformOfAMode, OrderFormIsTheDefiningSumFromEverySlot)
{
    const std::int32_t mode = GetParam();
    const Block block{12, WindowType::Hanning, AmplitudeKind::Rms};
    Rings rings(19);
    rings.fill(1);
    for (std::int32_t start = 0; start < 19; ++start) {
        for (const bool removeMean : {false, true}) {
            for (const bool twoSided : {false, true}) {
                const auto lines = static_cast<std::size_t>(twoSided ? 12 : 6);
                const Spectra expected = expectedSpectra(mode,
                                                         exactLines(rings.a, start, 12, removeMean),
                                                         exactLines(rings.b, start, 12, removeMean),
                                                         lines);
                const Spectra found = orderForm(mode,
                                                block,
                                                rings.angle(mode != HARMOTRACK_MODE_ONE_REAL),
                                                start,
                                                removeMean,
                                                twoSided);
                const std::string where =
                    "from slot " + std::to_string(start) + (removeMean ? " without the mean" : "");
                expectNear(found.a, expected.a, "A " + where);
                expectNear(found.b, expected.b, "B " + where);
            }
        }
    }
}

TEST_P(BlockTransformOfAMode, TimeFormIsTheDefiningSumFromEverySlot)
{
    const std::int32_t mode = GetParam();
    const Block block{12, WindowType::Hanning, AmplitudeKind::Rms};
    Rings rings(19);
    rings.fill(2);
    for (std::int32_t start = 0; start < 19; ++start) {
        for (const bool removeMean : {false, true}) {
            Spectra expected = expectedSpectra(mode,
                                               exactLines(rings.a, start, 12, removeMean),
                                               exactLines(rings.b, start, 12, removeMean),
                                               6);
            if (mode != HARMOTRACK_MODE_TWO_REAL) expected.a[0] = std::abs(expected.a[0]);
            const Spectra found = timeForm(
                mode, block, rings.time(mode != HARMOTRACK_MODE_ONE_REAL), start, removeMean);
            const std::string where =
                "from slot " + std::to_string(start) + (removeMean ? " without the mean" : "");
            expectNear(found.a, expected.a, "A " + where);
            expectNear(found.b, expected.b, "B " + where);
        }
    }
}

// A block that ends with the ring's last slot does not wrap, and reads nothing beyond it.
TEST_P(BlockTransformOfAMode, BlockMayEndExactlyAtTheRingsEnd)
{
    const std::int32_t mode = GetParam();
    const Block block{12, WindowType::Hanning, AmplitudeKind::Rms};
    for (const std::size_t slots : {12U, 13U, 24U}) {
        Rings rings(slots);
        rings.fill(3);
        const auto start = static_cast<std::int32_t>(slots - 12);
        const auto za = exactLines(rings.a, start, 12, true);
        const auto zb = exactLines(rings.b, start, 12, true);
        Spectra expected = expectedSpectra(mode, za, zb, 6);
        expectNear(
            orderForm(mode, block, rings.angle(mode != HARMOTRACK_MODE_ONE_REAL), start, true).a,
            expected.a,
            "order");
        if (mode != HARMOTRACK_MODE_TWO_REAL) expected.a[0] = std::abs(expected.a[0]);
        expectNear(
            timeForm(mode, block, rings.time(mode != HARMOTRACK_MODE_ONE_REAL), start, true).a,
            expected.a,
            "time");
    }
}

// --- equal bits

bool sameBits(double x, double y)
{
    return std::bit_cast<std::uint64_t>(x) == std::bit_cast<std::uint64_t>(y);
}

void expectSameBits(const Lines& lines, const Lines& expected, const std::string& where)
{
    ASSERT_EQ(lines.size(), expected.size());
    for (std::size_t k = 0; k < lines.size(); ++k) {
        EXPECT_TRUE(sameBits(lines[k].real(), expected[k].real()) &&
                    sameBits(lines[k].imag(), expected[k].imag()))
            << where << ", line " << k << std::hexfloat << ": " << lines[k] << ", not "
            << expected[k];
    }
}

// The windowed block through the transform's own execute(), which scales in passes of its own.
template <typename T>
Lines scaledByTheTransform(
    const Block& block, const Rings& rings, std::size_t start, double meanA, double meanB)
{
    Fft::WindowedFFT<T> fft;
    fft.setup(block.size, block.window, block.windowParameter, block.amplitude, block.dcLineMode);
    for (std::size_t i = 0; i < fft.size(); ++i) {
        const std::size_t slot = (start + i) % rings.a.size();
        const double w = fft.window()[i];
        if constexpr (std::is_same_v<T, double>)
            fft.timeBuffer.begin[i] = w * (rings.a[slot] - meanA);
        else
            fft.timeBuffer.begin[i] = {w * (rings.a[slot] - meanA), w * (rings.b[slot] - meanB)};
    }
    fft.execute();
    return {fft.spectrumBuffer.begin, fft.spectrumBuffer.end};
}

// The formulas of the header, line by line.
Spectra byTheFormulas(std::int32_t mode, const Lines& Z, std::size_t N, double s)
{
    const std::size_t lines = N / 2;
    if (mode != HARMOTRACK_MODE_TWO_REAL) {
        Spectra spectra{Lines(lines), {}};
        spectra.a[0] = Z[0];
        for (std::size_t k = 1; k < lines; ++k) spectra.a[k] = {s * Z[k].real(), s * Z[k].imag()};
        return spectra;
    }
    Spectra spectra{Lines(lines), Lines(lines)};
    spectra.a[0] = Z[0].real();
    spectra.b[0] = Z[0].imag();
    for (std::size_t k = 1; k < lines; ++k) {
        const Line P = Z[k];
        const Line Q = std::conj(Z[N - k]);
        spectra.a[k] = s * (P + Q) / 2.0;
        spectra.b[k] = {s * ((P - Q).imag() / 2.0), s * (-(P - Q).real() / 2.0)};
    }
    return spectra;
}

// One sum in the order of the samples.
double meanFrom(const std::vector<double>& ring, std::size_t start, std::size_t N)
{
    double sum = 0.0;
    for (std::size_t i = 0; i < N; ++i) sum += ring[(start + i) % ring.size()];
    return sum / static_cast<double>(N);
}

TEST_P(BlockTransformOfAMode, FusedScalingHasTheBitsOfExecute)
{
    const std::int32_t mode = GetParam();
    std::uint64_t seed = 10;
    for (const std::int32_t N : {8, 10, 14, 16, 30, 98, 1024}) {
        for (const AmplitudeKind kind :
             {AmplitudeKind::Peak, AmplitudeKind::Rms, AmplitudeKind::PeakToPeak}) {
            for (const bool removeMean : {false, true}) {
                const auto size = static_cast<std::size_t>(N);
                const Block block{N, WindowType::Flattop, kind};
                Rings rings(size + 5);
                rings.fill(++seed);
                const std::size_t start = 3 + seed % size;
                const double meanA = removeMean ? meanFrom(rings.a, start, size) : 0.0;
                const double meanB = removeMean ? meanFrom(rings.b, start, size) : 0.0;
                const Lines Z =
                    mode == HARMOTRACK_MODE_ONE_REAL
                        ? scaledByTheTransform<double>(block, rings, start, meanA, meanB)
                        : scaledByTheTransform<Line>(block, rings, start, meanA, meanB);
                const Spectra expected = byTheFormulas(mode, Z, size, Fft::amplitudeFactor(kind));

                const Spectra found = orderForm(
                    mode, block, rings.angle(), static_cast<std::int32_t>(start), removeMean);

                expectSameBits(found.a, expected.a, "A of " + std::to_string(N));
                expectSameBits(found.b, expected.b, "B of " + std::to_string(N));
            }
        }
    }
}

TEST_P(BlockTransformOfAMode, TimeFormDiffersFromTheOrderFormInLineZeroAlone)
{
    const std::int32_t mode = GetParam();
    const Block block{16, WindowType::Hanning, AmplitudeKind::PeakToPeak};
    Rings rings(20);
    rings.fill(4);
    Spectra expected = orderForm(mode, block, rings.angle(), 9);
    if (mode != HARMOTRACK_MODE_TWO_REAL)
        expected.a[0] = std::hypot(expected.a[0].real(), expected.a[0].imag());
    const Spectra found = timeForm(mode, block, rings.time(), 9);
    expectSameBits(found.a, expected.a, "A");
    expectSameBits(found.b, expected.b, "B");
}

// --- the mean of the binned quantity

TEST_P(BlockTransformOfAMode, OrderFormLeavesTheMeanOfTheBinnedQuantity)
{
    Rings rings(19);
    rings.fill(5);
    BlockTransform transform(GetParam());
    transform.setup(12, setupOf({12, WindowType::Hanning}));
    Spectra spectra{Lines(6), Lines(6)};
    for (std::int32_t start = 0; start < 19; ++start) {
        for (const bool removeMean : {false, true}) {
            transform.transform(rings.angle(), start, removeMean, spectra.a, spectra.b);
            EXPECT_TRUE(sameBits(transform.blockMean(),
                                 meanFrom(rings.bin, static_cast<std::size_t>(start), 12)))
                << start;
        }
    }
}

TEST_P(BlockTransformOfAMode, TimeFormHasNoMeanOfABinnedQuantity)
{
    Rings rings(19);
    rings.fill(6);
    BlockTransform transform(GetParam());
    transform.setup(12, setupOf({12}));
    Spectra spectra{Lines(6), Lines(6)};
    transform.transform(rings.angle(), 0, false, spectra.a, spectra.b);
    EXPECT_NE(transform.blockMean(), 0.0);
    transform.transform(rings.time(), 0, false, spectra.a, spectra.b);
    EXPECT_EQ(transform.blockMean(), 0.0);
}

// --- how the mean is summed

// 1 is lost beside 2^53, and 2^53 - 1 is exact. In the order of the samples
// 0 + 0 + 0 + 0 + 2^53 + 1 + 1 - 2^53 is 0; in two sums, (2^53 + 1) + (1 - 2^53) is 1. The window
// is 1 over the four zeros and 0 beyond, so that line 0 reads minus half the mean.
struct SumOrder {
    SumOrder() : rings(11)
    {
        const double big = 9007199254740992.0;
        for (auto* values : {&rings.a, &rings.b}) {
            (*values)[9] = big; // the block starts at slot 5 and wraps before its last two
            (*values)[10] = 1.0;
            (*values)[0] = 1.0;
            (*values)[1] = -big;
        }
    }

    Rings rings;
    Block block{8, WindowType::Transient, AmplitudeKind::Peak, 0, 4.0F};
};

TEST_P(BlockTransformOfAMode, OrderFormTakesTheMeanByOneSumInTheOrderOfTheSamples)
{
    const std::int32_t mode = GetParam();
    const SumOrder order;
    const Spectra found = orderForm(mode, order.block, order.rings.angle(), 5, true);
    EXPECT_EQ(std::abs(found.a[0]), 0.0);
    if (mode == HARMOTRACK_MODE_TWO_REAL) {
        EXPECT_EQ(std::abs(found.b[0]), 0.0);
    }
}

TEST_P(BlockTransformOfAMode, TimeFormTakesTheMeanByOneSumUpToTheRingsEndAndOneFromItsStart)
{
    const std::int32_t mode = GetParam();
    const SumOrder order;
    const Spectra found = timeForm(mode, order.block, order.rings.time(), 5, true);
    const double half = 0.5 * (1.0 / 8.0);
    if (mode == HARMOTRACK_MODE_ONE_REAL) {
        EXPECT_EQ(found.a[0], Line(half));
    }
    if (mode == HARMOTRACK_MODE_TWO_REAL) {
        EXPECT_EQ(found.a[0], Line(-half));
        EXPECT_EQ(found.b[0], Line(-half));
    }
    if (mode == HARMOTRACK_MODE_ONE_COMPLEX) {
        EXPECT_DOUBLE_EQ(found.a[0].real(), std::hypot(half, half));
    }
}

// --- line 0

Rings constant(double a, double b)
{
    Rings rings(8);
    rings.a.assign(8, a);
    rings.b.assign(8, b);
    return rings;
}

// With samples that are powers of two and their sums all is exact.
TEST(BlockTransformLineZero, IsTheSignedMeanWithoutTheAmplitudeScaleInMode0)
{
    for (const auto kind : {AmplitudeKind::Rms, AmplitudeKind::PeakToPeak}) {
        const Block block{8, WindowType::Rectangle, kind};
        EXPECT_EQ(orderForm(HARMOTRACK_MODE_ONE_REAL, block, constant(-3.0, 0.0).angle(), 0).a[0],
                  Line(-3.0));
    }
}

TEST(BlockTransformLineZero, IsTheSignedMeanOfEachSignalInMode1)
{
    for (const auto kind : {AmplitudeKind::Rms, AmplitudeKind::PeakToPeak}) {
        const Block block{8, WindowType::Rectangle, kind, HARMOTRACK_DC_LINE_SCALED};
        const Rings rings = constant(-3.0, 4.0);
        for (const Spectra& found : {orderForm(HARMOTRACK_MODE_TWO_REAL, block, rings.angle(), 0),
                                     timeForm(HARMOTRACK_MODE_TWO_REAL, block, rings.time(), 0)}) {
            EXPECT_EQ(found.a[0], Line(-3.0));
            EXPECT_EQ(found.b[0], Line(4.0));
        }
    }
}

TEST(BlockTransformLineZero, IsTheComplexMeanInTheOrderFormOfMode2)
{
    for (const auto kind : {AmplitudeKind::Rms, AmplitudeKind::PeakToPeak}) {
        for (const std::int32_t dcLineMode : {0, 2, -1}) {
            const Block block{8, WindowType::Rectangle, kind, dcLineMode};
            EXPECT_EQ(
                orderForm(HARMOTRACK_MODE_ONE_COMPLEX, block, constant(-3.0, 4.0).angle(), 0).a[0],
                Line(-3.0, 4.0));
        }
    }
}

// The footing of the other lines: twice the mean, times the amplitude scale.
TEST(BlockTransformLineZero, IsDoubledAndScaledOnRequestInTheOrderFormOfMode2)
{
    const Rings rings = constant(-3.0, 4.0);
    const auto lineZero = [&](AmplitudeKind kind) {
        return orderForm(HARMOTRACK_MODE_ONE_COMPLEX,
                         {8, WindowType::Rectangle, kind, HARMOTRACK_DC_LINE_SCALED},
                         rings.angle(),
                         0)
            .a[0];
    };
    EXPECT_EQ(lineZero(AmplitudeKind::Peak), Line(-6.0, 8.0));
    EXPECT_EQ(lineZero(AmplitudeKind::PeakToPeak), Line(-12.0, 16.0));
    const double s = 0.7071067811865475;
    EXPECT_EQ(lineZero(AmplitudeKind::Rms), Line(2.0 * s * -3.0, 2.0 * s * 4.0));
}

TEST(BlockTransformLineZero, IsNotScaledInMode0WhateverIsAskedFor)
{
    const Block block{8, WindowType::Rectangle, AmplitudeKind::Rms, HARMOTRACK_DC_LINE_SCALED};
    EXPECT_EQ(orderForm(HARMOTRACK_MODE_ONE_REAL, block, constant(-3.0, 0.0).angle(), 0).a[0],
              Line(-3.0));
}

// |-3| and |-3 + 4j|, whatever is asked for line 0: the sign is lost.
TEST(BlockTransformLineZero, IsAModulusInTheTimeFormOfModes0And2)
{
    for (const std::int32_t dcLineMode : {0, 1}) {
        const Block block{8, WindowType::Rectangle, AmplitudeKind::Rms, dcLineMode};
        const Rings rings = constant(-3.0, 4.0);
        EXPECT_EQ(timeForm(HARMOTRACK_MODE_ONE_REAL, block, rings.time(), 0).a[0], Line(3.0));
        EXPECT_EQ(timeForm(HARMOTRACK_MODE_ONE_COMPLEX, block, rings.time(), 0).a[0], Line(5.0));
    }
}

// x = i, N = 8: with the window 1 - cos the mean of the block less 3.5 is -sum(i cos(2 pi i / 8)) /
// 8, and that sum is -N / 2: 1/2. Without removal the mean 3.5 comes on top.
TEST(BlockTransformLineZero, IsTheWindowedMeanAndNearButNotZeroWhenTheMeanIsRemoved)
{
    Rings rings(8);
    for (std::size_t i = 0; i < 8; ++i) rings.a[i] = static_cast<double>(i);
    const Block block{8, WindowType::Hanning};
    EXPECT_NEAR(orderForm(HARMOTRACK_MODE_ONE_REAL, block, rings.angle(), 0, false).a[0].real(),
                4.0,
                1e-14);
    EXPECT_NEAR(
        orderForm(HARMOTRACK_MODE_ONE_REAL, block, rings.angle(), 0, true).a[0].real(), 0.5, 1e-14);
}

// --- lines

double cosine(double cycles, std::size_t i, std::size_t N, double phase)
{
    return std::cos(
        2.0 * std::numbers::pi * cycles * static_cast<double>(i) / static_cast<double>(N) + phase);
}

TEST(BlockTransformLines, Mode1SeparatesTwoSignalsOnTheSameLine)
{
    Rings rings(16);
    for (std::size_t i = 0; i < 16; ++i) {
        rings.a[i] = 3.0 * cosine(2.0, i, 16, 0.7);
        rings.b[i] = 5.0 * cosine(2.0, i, 16, -2.0) + 0.5 * cosine(3.0, i, 16, 1.0);
    }
    const Spectra found = orderForm(HARMOTRACK_MODE_TWO_REAL, {16}, rings.angle(), 0);
    EXPECT_NEAR(std::abs(found.a[2] - std::polar(3.0, 0.7)), 0.0, 1e-14);
    EXPECT_NEAR(std::abs(found.b[2] - std::polar(5.0, -2.0)), 0.0, 1e-14);
    EXPECT_NEAR(std::abs(found.a[3]), 0.0, 1e-14);
    EXPECT_NEAR(std::abs(found.b[3] - std::polar(0.5, 1.0)), 0.0, 1e-14);
}

// A real signal's spectrum is conjugate symmetric, so the split gives it with all its lines.
TEST(BlockTransformLines, TwoSidedSpectraOfMode1AreThoseOfRealSignals)
{
    Rings rings(12);
    rings.fill(7);
    const Spectra found = orderForm(HARMOTRACK_MODE_TWO_REAL, {12}, rings.angle(), 0, false, true);
    ASSERT_EQ(found.a.size(), 12U);
    for (std::size_t k = 1; k < 12; ++k) {
        EXPECT_NEAR(std::abs(found.a[k] - std::conj(found.a[12 - k])), 0.0, 1e-15);
        EXPECT_NEAR(std::abs(found.b[k] - std::conj(found.b[12 - k])), 0.0, 1e-15);
    }
}

// Nothing halves what the normalisation has doubled.
TEST(BlockTransformLines, Mode2ReadsTwiceTheAmplitudeOfAComplexExponential)
{
    Rings rings(16);
    for (std::size_t i = 0; i < 16; ++i) {
        rings.a[i] = cosine(3.0, i, 16, 0.4) + 0.25 * cosine(5.0, i, 16, 0.0);
        rings.b[i] = cosine(3.0, i, 16, 0.4 - std::numbers::pi / 2.0) +
                     0.25 * cosine(5.0, i, 16, std::numbers::pi / 2.0);
    }
    const Spectra found =
        orderForm(HARMOTRACK_MODE_ONE_COMPLEX, {16}, rings.angle(), 0, false, true);
    EXPECT_NEAR(std::abs(found.a[3] - std::polar(2.0, 0.4)), 0.0, 1e-14);
    EXPECT_NEAR(std::abs(found.a[16 - 3]), 0.0, 1e-14);
    EXPECT_NEAR(std::abs(found.a[5]), 0.0, 1e-14);
    EXPECT_NEAR(std::abs(found.a[16 - 5] - Line(0.5)), 0.0, 1e-14);
}

// The real transform ends at N / 2; the rest are the conjugates of the mirror lines.
TEST(BlockTransformLines, TwoSidedSpectrumOfMode0IsCompletedByConjugates)
{
    Rings rings(12);
    rings.fill(8);
    const Block block{12, WindowType::Hanning, AmplitudeKind::Rms};
    const Spectra oneSided = orderForm(HARMOTRACK_MODE_ONE_REAL, block, rings.angle(), 0);
    const Spectra found = orderForm(HARMOTRACK_MODE_ONE_REAL, block, rings.angle(), 0, false, true);
    ASSERT_EQ(found.a.size(), 12U);
    for (std::size_t k = 0; k < 6; ++k) EXPECT_EQ(found.a[k], oneSided.a[k]) << k;
    for (std::size_t k = 7; k < 12; ++k) EXPECT_EQ(found.a[k], std::conj(found.a[12 - k])) << k;
}

// The line at N / 2 has no mirror, but is doubled like those that do.
TEST(BlockTransformLines, LastOwnLineOfATwoSidedMode0ReadsTwiceTheAmplitude)
{
    Rings rings(8);
    for (std::size_t i = 0; i < 8; ++i) rings.a[i] = i % 2 == 0 ? 1.0 : -1.0;
    EXPECT_EQ(orderForm(HARMOTRACK_MODE_ONE_REAL, {8}, rings.angle(), 0, false, true).a[4],
              Line(2.0));
}

// --- what is not read

TEST(BlockTransformInMode0, NeverReadsTheSecondSignal)
{
    Rings rings(8);
    rings.fill(9);
    for (const bool removeMean : {false, true}) {
        EXPECT_EQ(orderForm(HARMOTRACK_MODE_ONE_REAL, {8}, rings.angle(false), 0, removeMean).a,
                  orderForm(HARMOTRACK_MODE_ONE_REAL, {8}, rings.angle(true), 0, removeMean).a);
        EXPECT_EQ(timeForm(HARMOTRACK_MODE_ONE_REAL, {8}, rings.time(false), 0, removeMean).a,
                  timeForm(HARMOTRACK_MODE_ONE_REAL, {8}, rings.time(true), 0, removeMean).a);
    }
}

// A NaN beside the block in every ring array shows that nothing but the block is read.
TEST_P(BlockTransformOfAMode, NothingBesideTheBlockIsRead)
{
    const std::int32_t mode = GetParam();
    const double nan = std::numeric_limits<double>::quiet_NaN();
    for (const std::int32_t start : {3, 15}) {
        Rings rings(19);
        rings.fill(11);
        for (auto* values : {&rings.a, &rings.b, &rings.bin})
            for (std::size_t i = 12; i < 19; ++i)
                (*values)[(static_cast<std::size_t>(start) + i) % 19] = nan;
        const Block block{12};
        for (const Spectra& found : {orderForm(mode, block, rings.angle(), start, true, true),
                                     timeForm(mode, block, rings.time(), start, true)}) {
            for (const Line& line : found.a) EXPECT_TRUE(std::isfinite(std::abs(line)));
            for (const Line& line : found.b) EXPECT_TRUE(std::isfinite(std::abs(line)));
        }
    }
}

// Nothing is left of the block before.
TEST_P(BlockTransformOfAMode, BlocksAreIndependentOfTheOnesBefore)
{
    const std::int32_t mode = GetParam();
    const Block block{12, WindowType::Hanning};
    Rings first(12);
    first.fill(12);
    Rings second(12);
    second.fill(13);
    BlockTransform transform(mode);
    transform.setup(block.size, setupOf(block));
    Spectra found{Lines(6), Lines(mode == HARMOTRACK_MODE_TWO_REAL ? 6 : 0)};
    transform.transform(first.angle(), 0, true, found.a, found.b);
    transform.transform(second.angle(), 0, false, found.a, found.b);
    const Spectra expected = orderForm(mode, block, second.angle(), 0);
    EXPECT_EQ(found.a, expected.a);
    EXPECT_EQ(found.b, expected.b);
}

} // namespace
} // namespace Velmora::OrderTracking

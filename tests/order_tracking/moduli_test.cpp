#include "order_tracking/moduli.h"

#include <gtest/gtest.h>

#include <array>
#include <bit>
#include <cmath>
#include <complex>
#include <cstddef>
#include <cstdint>
#include <limits>
#include <vector>

namespace Velmora::OrderTracking {
namespace {

using Line = std::complex<double>;
using Limits = std::numeric_limits<double>;

// splitmix64: fast also without an optimiser, and the same numbers on every machine.
class Random {
public:
    explicit Random(std::uint64_t seed) : state_(seed) {}

    std::uint64_t bits()
    {
        state_ += 0x9E3779B97F4A7C15U;
        std::uint64_t z = state_;
        z = (z ^ (z >> 30U)) * 0xBF58476D1CE4E5B9U;
        z = (z ^ (z >> 27U)) * 0x94D049BB133111EBU;
        return z ^ (z >> 31U);
    }

    int below(int bound) { return static_cast<int>(bits() % static_cast<unsigned>(bound)); }

    // Any mantissa and sign, biased exponent as given: 0 is zero or denormal, 1023 is 1 to 2.
    double number(int exponent)
    {
        constexpr std::uint64_t kExponent = 0x7FF0000000000000U;
        return std::bit_cast<double>((bits() & ~kExponent) |
                                     (static_cast<std::uint64_t>(exponent) << 52U));
    }

private:
    std::uint64_t state_;
};

// What every value must be, to the bit.
float defined(Line line)
{
    return static_cast<float>(std::hypot(line.real(), line.imag()));
}

// Where the bits differ first, or the number of lines.
template <typename Defined>
std::size_t firstDifference(const std::vector<float>& values, Defined definedAt)
{
    for (std::size_t k = 0; k < values.size(); ++k)
        if (std::bit_cast<std::uint32_t>(values[k]) != std::bit_cast<std::uint32_t>(definedAt(k)))
            return k;
    return values.size();
}

void expectDefinedBits(const std::vector<Line>& spectrum)
{
    std::vector<float> values(spectrum.size());
    moduli(spectrum, values.data());
    const std::size_t k =
        firstDifference(values, [&](std::size_t index) { return defined(spectrum[index]); });
    if (k == spectrum.size()) return;
    ADD_FAILURE() << std::hexfloat << "line (" << spectrum[k].real() << ", " << spectrum[k].imag()
                  << ") gives " << values[k] << ", not " << defined(spectrum[k]);
}

template <typename Draw>
void expectDefinedBitsOfMany(std::size_t count, std::uint64_t seed, Draw draw)
{
    Random random(seed);
    std::vector<Line> spectrum(10000);
    for (std::size_t done = 0; done < count && !testing::Test::HasFailure();
         done += spectrum.size()) {
        for (Line& line : spectrum) line = draw(random);
        expectDefinedBits(spectrum);
    }
}

// 10 million lines in all, in five kinds, each against hypot.

// Parts of one size, anywhere in the range of float and a little beyond: what spectra consist of.
TEST(Moduli, AreThoseOfHypotThroughoutTheRangeOfFloat)
{
    expectDefinedBitsOfMany(4000000, 1, [](Random& random) {
        const int exponent = 1023 - 152 + random.below(152 + 130);
        return Line(random.number(exponent), random.number(exponent - 2 + random.below(5)));
    });
}

// All pairs of exponents, from denormal to infinity and NaN, whose squares overflow or vanish.
TEST(Moduli, AreThoseOfHypotForAllPairsOfNumbers)
{
    expectDefinedBitsOfMany(2000000, 2, [](Random& random) {
        return Line(random.number(random.below(2048)), random.number(random.below(2048)));
    });
}

// A line of about this modulus, in any direction.
Line turned(Random& random, double modulus)
{
    const double cosine = 0x1p-11 * random.below(2049);
    return {modulus * cosine, modulus * std::sqrt(1.0 - cosine * cosine)};
}

// The number 15 ulp (double) below to 15 above.
double upTo15UlpFrom(Random& random, double number)
{
    return std::bit_cast<double>(std::bit_cast<std::uint64_t>(number) - 15 +
                                 static_cast<std::uint64_t>(random.below(31)));
}

// The root and hypot err by a few ulp (double), in different directions: between the same two
// floats, but not always on the same side of their midpoint.
TEST(Moduli, AreThoseOfHypotNearTheMidpointsOfFloats)
{
    expectDefinedBitsOfMany(3000000, 3, [](Random& random) {
        const double any = std::abs(random.number(1023 - 126 + random.below(126 + 128)));
        const std::uint64_t cut = std::bit_cast<std::uint64_t>(any) >> 29U << 29U;
        const auto midpoint = std::bit_cast<double>(cut + 0x10000000U);
        return turned(random, upTo15UlpFrom(random, midpoint));
    });
}

// Floats below the normal range are 2^-149 apart: their midpoints stand elsewhere in a double.
TEST(Moduli, AreThoseOfHypotInTheDenormalRangeOfFloat)
{
    expectDefinedBitsOfMany(500000, 4, [](Random& random) {
        const double midpoint = (0.5 + random.below(1 << 23)) * 0x1p-149;
        return turned(random, upTo15UlpFrom(random, midpoint));
    });
}

// One part decides alone: moduli at, below and above the ends of float's range and at the
// midpoints themselves, where hypot is exact.
TEST(Moduli, AreThoseOfHypotForLinesOnAnAxis)
{
    expectDefinedBitsOfMany(500000, 5, [](Random& random) {
        const std::array<double, 4> ends = {0x1p-149, 0x1p-126, 0x1.FFFFFEp127, 0x1.FFFFFFp127};
        const double end = ends[static_cast<std::size_t>(random.below(4))];
        const auto bits =
            std::bit_cast<std::uint64_t>(end) - 8 + static_cast<std::uint64_t>(random.below(17));
        const auto part = std::bit_cast<double>(bits);
        const double rest = random.below(2) == 0 ? 0.0 : 0x1p-60 * part;
        return random.below(2) == 0 ? Line(part, rest) : Line(-rest, -part);
    });
}

TEST(Moduli, AreThoseOfHypotForAllPairsOfSpecialNumbers)
{
    const std::vector<double> specials = {0.0,
                                          -0.0,
                                          1.0,
                                          -3.0,
                                          Limits::denorm_min(),
                                          Limits::min(),
                                          Limits::max(),
                                          0x1p-149,
                                          0x1p-150,
                                          0x1p-126,
                                          0x1p128,
                                          Limits::infinity(),
                                          -Limits::infinity(),
                                          Limits::quiet_NaN(),
                                          -Limits::quiet_NaN()};
    std::vector<Line> spectrum;
    for (const double re : specials)
        for (const double im : specials) spectrum.emplace_back(re, im);
    expectDefinedBits(spectrum);
}

// Lines are worked on in groups and chunks; no count leaves one out or writes beyond the last.
TEST(Moduli, AreWrittenForEveryCountOfLinesAndNoFurther)
{
    Random random(6);
    for (std::size_t count = 0; count <= 2 * kModuliChunk + 5; ++count) {
        std::vector<Line> spectrum(count);
        for (Line& line : spectrum) line = Line(random.number(1023), random.number(1023));
        std::vector<float> values(count + 1, -1.0F);
        moduli(spectrum, values.data());
        EXPECT_EQ(values.back(), -1.0F) << count;
        values.pop_back();
        EXPECT_EQ(firstDifference(values, [&](std::size_t k) { return defined(spectrum[k]); }),
                  count);
    }
}

// A whole chunk may need hypot: each modulus lies on the midpoint of 1 and the next float, or one
// ulp (double) off it.
TEST(Moduli, AreThoseOfHypotWhenEveryLineLiesNearAMidpoint)
{
    std::vector<Line> spectrum(200);
    for (std::size_t k = 0; k < spectrum.size(); ++k)
        spectrum[k] = Line(1.0 + 0x1p-24, 0x1p-34 * static_cast<double>(k));
    expectDefinedBits(spectrum);
}

class TwoSidedModuli : public testing::TestWithParam<std::size_t> {};

// Around the centre, to the bit, with random lines and some that a root does not decide.
TEST_P(TwoSidedModuli, AreHalfTheDefinedOnesRoundTheCentre)
{
    const std::size_t count = GetParam();
    Random random(count);
    std::vector<Line> a(count);
    std::vector<Line> b(count);
    for (std::size_t k = 0; k < count; ++k) {
        const int exponent = k % 5 == 0 ? random.below(2048) : 1000 + random.below(40);
        a[k] = Line(random.number(exponent), random.number(exponent));
        b[k] = Line(random.number(exponent), random.number(exponent));
    }
    std::vector<float> values(2 * count - 1);

    twoSidedModuli(a, b, values.data());

    EXPECT_EQ(firstDifference(
                  values,
                  [&](std::size_t column) {
                      const std::size_t centre = count - 1;
                      if (column < centre) {
                          const Line x = a[centre - column];
                          const Line y = b[centre - column];
                          return 0.5F * defined(Line(x.real() + y.imag(), y.real() - x.imag()));
                      }
                      const Line x = a[column - centre];
                      const Line y = b[column - centre];
                      const float whole = defined(Line(x.real() - y.imag(), x.imag() + y.real()));
                      return column == centre ? whole : 0.5F * whole;
                  }),
              values.size());
}

INSTANTIATE_TEST_SUITE_P(EveryShape,
                         TwoSidedModuli,
                         testing::Values(1, 2, 3, 4, 5, 6, 64, 65, 66, 67, 128, 129, 512, 1000));

} // namespace
} // namespace Velmora::OrderTracking

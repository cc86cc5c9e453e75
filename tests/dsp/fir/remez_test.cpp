#include "dsp/fir/remez.h"

#include "equiripple_designs.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <numbers>
#include <utility>
#include <vector>

namespace Velmora::KorLib::Dsp::Fir {
namespace {

using std::numbers::pi;

constexpr std::int32_t kSymmetric = 1;
constexpr std::int32_t kDifferentiator = 2;
constexpr std::int32_t kHilbert = 3;
constexpr std::int32_t kDensity = 16;
constexpr double kUnwritten = 77.0;

struct Designed {
    std::int32_t result;
    std::vector<double> taps;
};

Designed design(const EquirippleDesign& wish, std::int32_t density = kDensity)
{
    const auto tapCount = static_cast<std::size_t>(wish.tapCount);
    Designed filter{.result = 1, .taps = std::vector<double>(tapCount, kUnwritten)};
    filter.result = remez(filter.taps.data(),
                          wish.tapCount,
                          static_cast<std::int32_t>(wish.bands.size() / 2),
                          wish.bands.data(),
                          wish.gains.data(),
                          wish.weights.data(),
                          wish.type,
                          density);
    return filter;
}

EquirippleDesign lowPass(std::int32_t tapCount, double pass, double stop)
{
    return {.name = "lowPass",
            .type = kSymmetric,
            .tapCount = tapCount,
            .bands = {0.0, pass, stop, 0.5},
            .gains = {1.0, 1.0, 0.0, 0.0},
            .weights = {1.0, 1.0},
            .error = 0.0,
            .taps = {}};
}

// What is left of the response when its linear phase is taken off.
double amplitude(const EquirippleDesign& wish, const std::vector<double>& taps, double f)
{
    const double centre = (static_cast<double>(taps.size()) - 1.0) / 2.0;
    double sum = 0.0;
    for (std::size_t n = 0; n < taps.size(); ++n) {
        const double angle = 2.0 * pi * f * (static_cast<double>(n) - centre);
        sum += taps[n] * (wish.type == kSymmetric ? std::cos(angle) : std::sin(angle));
    }
    return sum;
}

// Spacing of the dense grid.
double spacing(const EquirippleDesign& wish)
{
    const bool middle = wish.type == kSymmetric && wish.tapCount % 2 != 0;
    const std::int32_t terms = wish.tapCount / 2 + (middle ? 1 : 0);
    return 0.5 / (kDensity * terms);
}

// Weighted error over one band, at points of the given spacing and at its upper edge. The grid of
// an antisymmetric filter keeps clear of 0, and of 0.5 when its length is odd, and has a point
// less.
std::vector<double> weightedError(const EquirippleDesign& wish,
                                  const std::vector<double>& taps,
                                  std::size_t band,
                                  double step)
{
    const bool clear = band == 0 && wish.type != kSymmetric;
    const double lower = clear ? std::max(wish.bands[0], step) : wish.bands[2 * band];
    const double upper = wish.bands[2 * band + 1];
    const auto points = static_cast<int>(std::lround((upper - lower) / step)) - (clear ? 1 : 0);
    std::vector<double> error;
    for (int i = 0; i < points; ++i) {
        const double end = clear && wish.tapCount % 2 != 0 ? std::min(upper, 0.5 - step) : upper;
        const double f = i == points - 1 ? end : lower + i * step;
        const double share = static_cast<double>(i) / (points - 1);
        const double desired = std::lerp(wish.gains[2 * band], wish.gains[2 * band + 1], share);
        const bool relative = wish.type == kDifferentiator && desired > 1e-4;
        const double weight = wish.weights[band] / (relative ? f : 1.0);
        error.push_back(weight * (desired - amplitude(wish, taps, f)));
    }
    return error;
}

double greatest(const std::vector<double>& values)
{
    double most = 0.0;
    for (const double value : values) most = std::max(most, std::abs(value));
    return most;
}

double greatestError(const EquirippleDesign& wish, const std::vector<double>& taps, double step)
{
    double most = 0.0;
    for (std::size_t b = 0; b < wish.weights.size(); ++b)
        most = std::max(most, greatest(weightedError(wish, taps, b, step)));
    return most;
}

// Heights of the swings of the error: the greatest modulus between two changes of its sign.
std::vector<double>
ripples(const EquirippleDesign& wish, const std::vector<double>& taps, double step)
{
    std::vector<double> heights;
    for (std::size_t b = 0; b < wish.weights.size(); ++b) {
        double before = 0.0;
        for (const double error : weightedError(wish, taps, b, step)) {
            if (error * before <= 0.0) heights.push_back(0.0);
            heights.back() = std::max(heights.back(), std::abs(error));
            before = error;
        }
    }
    return heights;
}

// SciPy walks through the same exchanges on the same grid; what differs is rounding.
TEST(Remez, TapsAreThoseOfAnIndependentExchange)
{
    for (const EquirippleDesign& wish : readEquirippleDesigns()) {
        SCOPED_TRACE(wish.name);
        const Designed filter = design(wish);
        EXPECT_EQ(filter.result, 0);
        for (std::size_t n = 0; n < wish.taps.size(); ++n)
            EXPECT_NEAR(filter.taps[n], wish.taps[n], 1e-9) << "tap " << n;
    }
}

// Linear programming finds the least error there is; the exchange ends within 0.01 % of it.
TEST(Remez, NoFilterOfItsLengthHasALesserGreatestError)
{
    for (const EquirippleDesign& wish : readEquirippleDesigns()) {
        SCOPED_TRACE(wish.name);
        const Designed filter = design(wish);
        const double error = greatestError(wish, filter.taps, spacing(wish));
        EXPECT_NEAR(error, wish.error, 1e-3 * wish.error);
    }
}

TEST(Remez, SymmetryFollowsTheType)
{
    for (const EquirippleDesign& wish : readEquirippleDesigns()) {
        SCOPED_TRACE(wish.name);
        const std::vector<double> taps = design(wish).taps;
        const double sign = wish.type == kSymmetric ? 1.0 : -1.0;
        for (std::size_t n = 0; n < taps.size(); ++n)
            EXPECT_NEAR(taps[n], sign * taps[taps.size() - 1 - n], 1e-14);
    }
}

// 31 taps have 16 free terms, whose error swings 17 times or more. On the grid the swings agree;
// between its points, 16 a term, the error may rise a little above them.
TEST(Remez, LowPassOf31TapsHasEqualRipples)
{
    const EquirippleDesign wish = lowPass(31, 0.1, 0.15);
    const Designed filter = design(wish);
    ASSERT_EQ(filter.result, 0);

    const std::vector<double> onGrid = ripples(wish, filter.taps, spacing(wish));
    EXPECT_GE(onGrid.size(), 17U);
    const auto [least, most] = std::minmax_element(onGrid.begin(), onGrid.end());
    EXPECT_LE(*most - *least, 1e-3 * *most);

    EXPECT_LE(greatestError(wish, filter.taps, spacing(wish) / 20.0), 1.02 * *most);
}

// Ten times the weight, a tenth of the ripple.
TEST(Remez, WeightDividesTheRippleOfItsBand)
{
    EquirippleDesign wish = lowPass(31, 0.1, 0.15);
    wish.weights = {1.0, 10.0};
    const Designed filter = design(wish);
    ASSERT_EQ(filter.result, 0);

    const double pass = greatest(weightedError(wish, filter.taps, 0, spacing(wish)));
    const double stop = greatest(weightedError(wish, filter.taps, 1, spacing(wish))) / 10.0;
    EXPECT_NEAR(pass / stop, 10.0, 0.01);
}

// Near 0, where the cosine is flat, the first two points of so dense a grid are one to the
// interpolation, and the error at both is the same to the bit: the second is the extremum. It is
// above 0 with 31 taps, below with 63. A finer grid changes the filter by little.
TEST(Remez, ExtremumThatTwoGridPointsShareIsFound)
{
    for (const auto& [tapCount, density] : {std::pair(31, 512), std::pair(63, 256)}) {
        const EquirippleDesign wish = lowPass(tapCount, 0.1, 0.2);
        const Designed coarse = design(wish);
        const Designed dense = design(wish, density);
        ASSERT_EQ(dense.result, 0) << tapCount;
        for (std::size_t n = 0; n < dense.taps.size(); ++n)
            EXPECT_NEAR(dense.taps[n], coarse.taps[n], 1e-4);
    }
}

// The one tap misses 1 and 0 by 1/2 each, all along both bands: a flat error has one local extreme
// where it turns, and two are needed.
TEST(Remez, OneTapHasTooFewExtremes)
{
    EXPECT_EQ(design(lowPass(1, 0.2, 0.3)).result, -2);
}

// An even symmetric filter has no gain at 0.5 and can never approach the 1 that is asked there.
// The taps are those of the fortieth exchange. With more than four of them, the last bit of a
// cosine decides whether the exchange settles by chance.
TEST(Remez, HighPassOfEvenLengthDoesNotConvergeAndStillWritesItsTaps)
{
    EquirippleDesign wish = lowPass(4, 0.22, 0.25);
    wish.gains = {0.0, 0.0, 1.0, 1.0};
    const Designed filter = design(wish);
    EXPECT_EQ(filter.result, -1);
    EXPECT_EQ(std::count(filter.taps.begin(), filter.taps.end(), kUnwritten), 0);
}

// Nothing is asked, nothing is missed: the error is 0 everywhere and has no extremes.
TEST(Remez, TooFewExtremesLeaveTheTapsUnwritten)
{
    EquirippleDesign wish = lowPass(31, 0.1, 0.15);
    wish.gains = {0.0, 0.0, 0.0, 0.0};
    const Designed filter = design(wish);
    EXPECT_EQ(filter.result, -2);
    EXPECT_EQ(std::count(filter.taps.begin(), filter.taps.end(), kUnwritten), 31);
}

// Five bands of alternating gain have ten edges to be missed at; three taps have two free terms
// and room for four extremes.
TEST(Remez, TooManyExtremesLeaveTheTapsUnwritten)
{
    EquirippleDesign wish = lowPass(3, 0.0, 0.0);
    wish.bands = {0.0, 0.08, 0.1, 0.18, 0.2, 0.28, 0.3, 0.38, 0.4, 0.5};
    wish.gains = {0.0, 1.0, 0.0, 1.0, 0.0, 1.0, 0.0, 1.0, 0.0, 1.0};
    wish.weights.assign(5, 1.0);
    const Designed filter = design(wish);
    EXPECT_EQ(filter.result, -3);
    EXPECT_EQ(std::count(filter.taps.begin(), filter.taps.end(), kUnwritten), 3);
}

// At 0.5 the desired gain 0 is divided by cos(π/2), which rounding keeps off 0, and the weight is
// multiplied by it. Some lengths bear that and converge, some find too few extremes.
TEST(Remez, EvenLengthsWithABandUpToTheEndConvergeOrFindTooFewExtremes)
{
    int converged = 0;
    for (std::int32_t tapCount = 4; tapCount <= 100; tapCount += 2) {
        const EquirippleDesign wish = lowPass(tapCount, 0.27, 0.3);
        const Designed filter = design(wish);
        if (filter.result == 0) {
            ++converged;
            EXPECT_NEAR(amplitude(wish, filter.taps, 0.5), 0.0, 1e-12);
        } else {
            EXPECT_EQ(filter.result, -2) << tapCount;
            EXPECT_EQ(filter.taps[0], kUnwritten) << tapCount;
        }
    }
    EXPECT_GT(converged, 25);
}

// Edges that run backwards, lie together or are no numbers leave no grid to search.
TEST(Remez, BandsWithoutPointsHaveTooFewExtremes)
{
    const double none = std::numeric_limits<double>::quiet_NaN();
    const double far = std::numeric_limits<double>::infinity();
    for (const std::vector<double>& bands : {std::vector<double>{0.2, 0.1, 0.5, 0.4},
                                             std::vector<double>{0.1, 0.1, 0.2, 0.2},
                                             std::vector<double>{none, none, none, none},
                                             std::vector<double>{0.0, far, -far, 1e300}}) {
        for (const std::int32_t type : {kSymmetric, kHilbert}) {
            EquirippleDesign wish = lowPass(31, 0.1, 0.15);
            wish.bands = bands;
            wish.type = type;
            EXPECT_EQ(design(wish).result, -2);
        }
    }
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fir

#include "dsp/fir/filter.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

namespace Velmora::KorLib::Dsp::Fir {
namespace {

using std::numbers::pi;
using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;

constexpr double kRate = 1000.0;

// The filter in front of a decimator by 4: 38 taps.
void designDecimator(Filter& filter)
{
    filter.setWindowDesign(
        FilterType::LowPass, 100.0, kRate, 125.0, 0.0, FilterWindow::Kaiser, 60.0);
}

// 31 taps, pass band to 100 Hz, stop band from 150 Hz.
void designEquiripple(Filter& filter)
{
    filter.setEquirippleDesign(30, {0.0, 100.0, 150.0, 500.0}, {1.0, 1.0, 0.0, 0.0}, kRate);
}

// Does not disturb the list of the filter's own.
std::vector<float> tapsOf(Filter& filter)
{
    const std::vector<float> list = filter.getCoefficients();
    return {list.end() - filter.tapCount(), list.end()};
}

class CountingFilter : public Filter {
public:
    void update() override
    {
        ++updates;
        Filter::update();
    }

    int updates = 0;
};

TEST(FirFilter, IsEmptyWhenConstructed)
{
    Filter filter;
    EXPECT_EQ(filter.status(), 0);
    EXPECT_EQ(filter.order(), 0);
    EXPECT_EQ(filter.design(), FilterDesign::WindowMethod);
    EXPECT_EQ(filter.filterType(), FilterType::LowPass);
    EXPECT_EQ(filter.windowType(), FilterWindow::Blackman);
    EXPECT_FALSE(filter.normalise());
    EXPECT_FALSE(filter.isValid());
    EXPECT_THAT(filter.getCoefficients(), IsEmpty());
    EXPECT_THAT(filter.getStepResponse(), IsEmpty());
    EXPECT_EQ(filter.magnitudeAt(0.0), 0.0);
    filter.reset();
    EXPECT_EQ(filter.position(), 0);
}

// ceil(52.05 · 10 / 14.357078426905355)
TEST(FirFilter, KaiserOf60DbAndATenthOfTheRateHas38Taps)
{
    Filter filter;
    designDecimator(filter);
    EXPECT_EQ(filter.status(), 0);
    EXPECT_EQ(filter.order(), 37);
    EXPECT_EQ(filter.tapCount(), 38);
    EXPECT_EQ(filter.getCoefficients().size(), 38U);
}

TEST(FirFilter, KeepsWhatItWasToldInItsReaders)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::BandStop, 100.0, kRate, 120.0, 280.0, FilterWindow::Kaiser, 60.0);
    EXPECT_EQ(filter.design(), FilterDesign::WindowMethod);
    EXPECT_EQ(filter.filterType(), FilterType::BandStop);
    EXPECT_EQ(filter.windowType(), FilterWindow::Kaiser);
    EXPECT_EQ(filter.sampleRate(), kRate);
    EXPECT_EQ(filter.nyquist(), kRate / 2.0);
    EXPECT_EQ(filter.transitionWidth(), 100.0);
    EXPECT_EQ(filter.attenuation(), 60.0);
    EXPECT_EQ(filter.kaiserBeta(), 0.0);
    EXPECT_EQ(filter.cutoff1(), 120.0);
    EXPECT_EQ(filter.cutoff2(), 280.0);
    EXPECT_TRUE(filter.normalise());
}

// n · factor with n = 500 / (2 · width); the width is chosen so that n · 1.84 is 2.5.
TEST(FirFilter, OrderIsRoundedHalfAwayFromZero)
{
    Filter filter;
    const auto orderFor = [&filter](FilterWindow window, double width) {
        filter.setWindowDesign(FilterType::LowPass, width, kRate, 100.0, 0.0, window, 0.0);
        return filter.order();
    };
    EXPECT_EQ(orderFor(FilterWindow::Blackman, 25.0), 111); // 111.3
    EXPECT_EQ(orderFor(FilterWindow::Rectangle, 25.0), 18); // 18.4
    EXPECT_EQ(orderFor(FilterWindow::Hamming, 25.0), 66);   // 66.4
    EXPECT_EQ(orderFor(FilterWindow::Hanning, 25.0), 62);   // 62.2
    EXPECT_EQ(orderFor(FilterWindow::Flattop, 25.0), 40);
    EXPECT_EQ(orderFor(FilterWindow::Rectangle, 184.0), 3); // 2.5
}

// 7.95 dB is what a filter of no slope has: attenuations below 8 count as 8, and the sign is free.
TEST(FirFilter, KaiserOrderTakesTheModulusOfTheAttenuationAndAtLeast8)
{
    Filter filter;
    const auto orderFor = [&filter](double attenuation) {
        filter.setWindowDesign(
            FilterType::LowPass, 1.0, kRate, 100.0, 0.0, FilterWindow::Kaiser, attenuation);
        return filter.order();
    };
    EXPECT_EQ(orderFor(60.0), 3626);
    EXPECT_EQ(orderFor(-60.0), 3626);
    EXPECT_EQ(orderFor(8.0), 4);
    EXPECT_EQ(orderFor(0.0), 4);
}

TEST(FirFilter, AttenuationIsStoredForKaiserOnly)
{
    Filter filter;
    designDecimator(filter);
    filter.setWindowDesign(
        FilterType::LowPass, 100.0, kRate, 125.0, 0.0, FilterWindow::Hamming, 35.0);
    EXPECT_EQ(filter.attenuation(), 60.0);
}

// A normalised low-pass sums to 1, but for the rounding of its taps.
TEST(FirFilter, LowPassHasUnitGainAtZero)
{
    for (const auto window : {FilterWindow::Blackman,
                              FilterWindow::Rectangle,
                              FilterWindow::Hamming,
                              FilterWindow::Hanning,
                              FilterWindow::Kaiser,
                              FilterWindow::Flattop}) {
        Filter filter;
        filter.setWindowDesign(FilterType::LowPass, 60.0, kRate, 125.0, 0.0, window, 60.0);
        EXPECT_NEAR(filter.magnitudeAt(0.0), 1.0, 3e-7);
    }
}

// Half the amplitude at the cutoff, and 60 dB from half a transition above. The ideal response of
// an odd order leans against its window by half a sample, which costs half a decibel.
TEST(FirFilter, DecimatorPassesUpToItsTransitionAndStopsBehindIt)
{
    Filter filter;
    designDecimator(filter);
    for (int f = 0; f <= 75; ++f) EXPECT_NEAR(filter.magnitudeAt(f), 1.0, 2e-3) << f;
    EXPECT_NEAR(filter.magnitudeAt(125.0), 0.5, 2e-3);
    for (int f = 175; f <= 500; ++f)
        EXPECT_LT(20.0 * std::log10(filter.magnitudeAt(f)), -59.5) << f;
}

TEST(FirFilter, EveryTypeHasUnitGainAtItsReference)
{
    const auto gainAt = [](FilterType type, double f) {
        Filter filter;
        filter.setWindowDesign(type, 53.0, kRate, 120.0, 280.0, FilterWindow::Hamming, 0.0);
        return filter.magnitudeAt(f);
    };
    EXPECT_NEAR(gainAt(FilterType::LowPass, 0.0), 1.0, 3e-7);
    EXPECT_NEAR(gainAt(FilterType::HighPass, 500.0), 1.0, 3e-7);
    EXPECT_NEAR(gainAt(FilterType::BandPass, 200.0), 1.0, 3e-7);
    EXPECT_NEAR(gainAt(FilterType::BandStop, 0.0), 1.0, 3e-7);
    EXPECT_NEAR(gainAt(FilterType::Hilbert, 250.0), 1.0, 3e-7);
}

// The positive sign in the exponent: taps of a pure delay turn the phase forward by 2π k f / rate.
TEST(FirFilter, PhaseOfADelayIsPositive)
{
    Filter filter;
    filter.setEquirippleDesign(30, {0.0, 100.0, 150.0, 500.0}, {1.0, 1.0, 0.0, 0.0}, kRate);
    const double f = 20.0;
    EXPECT_NEAR(filter.phaseAt(f), 2.0 * pi * 15.0 * f / kRate, 1e-6); // delay (31 - 1) / 2
}

TEST(FirFilter, EvenOrderIsSymmetricAndOddOrderLeans)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::LowPass, 100.0, kRate, 125.0, 0.0, FilterWindow::Blackman, 0.0);
    ASSERT_EQ(filter.order(), 28);
    std::vector<float> taps = tapsOf(filter);
    std::vector<float> mirrored(taps.rbegin(), taps.rend());
    for (std::size_t i = 0; i < taps.size(); ++i) EXPECT_NEAR(taps[i], mirrored[i], 1e-8F);

    designDecimator(filter);
    taps = tapsOf(filter);
    EXPECT_GT(taps[18], taps[19]);
    EXPECT_GT(std::abs(taps[17] - taps[20]), 0.01F);
}

TEST(FirFilter, HilbertIsAntisymmetricAndNeedsNoCutoff)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::Hilbert, 100.0, kRate, 0.0, 0.0, FilterWindow::Blackman, 0.0);
    EXPECT_TRUE(filter.isValid());
    EXPECT_EQ(filter.status(), 0);
    const std::vector<float> taps = tapsOf(filter);
    ASSERT_EQ(taps.size(), 29U);
    for (std::size_t i = 0; i < taps.size(); ++i) EXPECT_NEAR(taps[i], -taps[28 - i], 1e-8F);
    EXPECT_EQ(taps[14], 0.0F);
    EXPECT_EQ(taps[12], 0.0F);
    EXPECT_GT(taps[15], 0.0F);
}

// By hand, with half the rate as unit: order 4, w1 = 0.5: sin(π d / 2) / (π d) and its sums.
TEST(FirFilter, StepResponseSumsTheIdealResponse)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::LowPass, 250.0, kRate, 250.0, 0.0, FilterWindow::Flattop, 0.0);
    ASSERT_EQ(filter.order(), 4);
    const double side = 1.0 / pi;
    const std::vector<double> expected{0.0, side, side + 0.5, 2.0 * side + 0.5, 2.0 * side + 0.5};
    const std::vector<float> steps = filter.getStepResponse();
    ASSERT_EQ(steps.size(), expected.size());
    for (std::size_t i = 0; i < steps.size(); ++i)
        EXPECT_NEAR(static_cast<double>(steps[i]), expected[i], 1e-7);
}

TEST(FirFilter, GetCoefficientsAppendsUntilTheNextDesign)
{
    Filter filter;
    designDecimator(filter);
    const std::vector<float> once = filter.getCoefficients();
    const std::vector<float> twice = filter.getCoefficients();
    ASSERT_EQ(once.size(), 38U);
    ASSERT_EQ(twice.size(), 76U);
    EXPECT_TRUE(std::equal(once.begin(), once.end(), twice.begin()));
    EXPECT_TRUE(std::equal(once.begin(), once.end(), twice.begin() + 38));

    designDecimator(filter);
    EXPECT_EQ(filter.getCoefficients().size(), 38U);
    designEquiripple(filter);
    EXPECT_EQ(filter.getCoefficients().size(), 31U);
    filter.setCoefficients({1.0, 2.0});
    EXPECT_EQ(filter.getCoefficients().size(), 2U);
}

TEST(FirFilter, SetterDesignsAtOnceAndABracketOnce)
{
    CountingFilter filter;
    designDecimator(filter);
    EXPECT_EQ(filter.updates, 1);

    filter.beginUpdate();
    designEquiripple(filter);
    designDecimator(filter);
    EXPECT_EQ(filter.updates, 1);
    filter.endUpdate();
    EXPECT_EQ(filter.updates, 2);
    EXPECT_EQ(filter.tapCount(), 38);
}

// ---- descriptions that make no filter

TEST(FirFilter, OrderZeroOrNegativeIsInvalid)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::LowPass, 1e6, kRate, 100.0, 0.0, FilterWindow::Rectangle, 0.0);
    EXPECT_EQ(filter.order(), 0);
    EXPECT_FALSE(filter.isValid());
    EXPECT_EQ(filter.status(), 1);

    filter.setWindowDesign(
        FilterType::LowPass, -100.0, kRate, 100.0, 0.0, FilterWindow::Rectangle, 0.0);
    EXPECT_EQ(filter.order(), -5); // -4.6
    EXPECT_EQ(filter.status(), 1);

    filter.setEquirippleDesign(0, {0.0, 100.0, 150.0, 500.0}, {1.0, 1.0, 0.0, 0.0}, kRate);
    EXPECT_FALSE(filter.isValid());
    EXPECT_EQ(filter.status(), 1);

    filter.setCoefficients({});
    EXPECT_FALSE(filter.isValid());
    EXPECT_EQ(filter.status(), 0);
}

TEST(FirFilter, OrderThatNoIntegerHoldsIsInvalid)
{
    for (const double width : {0.0, -0.0, 1e-9, std::numeric_limits<double>::quiet_NaN()}) {
        for (const auto window : {FilterWindow::Hamming, FilterWindow::Kaiser}) {
            Filter filter;
            filter.setWindowDesign(FilterType::LowPass, width, kRate, 100.0, 0.0, window, 60.0);
            EXPECT_FALSE(filter.isValid()) << width;
            EXPECT_EQ(filter.status(), 1) << width;
            EXPECT_THAT(filter.getCoefficients(), IsEmpty());
        }
    }
}

TEST(FirFilter, CutoffAtHalfTheRateIsInvalid)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::LowPass, 100.0, kRate, 500.0, 0.0, FilterWindow::Kaiser, 60.0);
    EXPECT_FALSE(filter.isValid());
    EXPECT_EQ(filter.status(), 1);
    filter.setWindowDesign(
        FilterType::BandPass, 100.0, kRate, 100.0, 500.0, FilterWindow::Kaiser, 60.0);
    EXPECT_EQ(filter.status(), 1);
    filter.setWindowDesign(
        FilterType::BandPass, 100.0, kRate, 100.0, 499.0, FilterWindow::Kaiser, 60.0);
    EXPECT_EQ(filter.status(), 0);
}

TEST(FirFilter, CutoffZeroIsInvalidForALowPass)
{
    Filter filter;
    filter.setWindowDesign(FilterType::LowPass, 100.0, kRate, 0.0, 0.0, FilterWindow::Kaiser, 60.0);
    EXPECT_FALSE(filter.isValid());
    EXPECT_EQ(filter.status(), 1);
}

TEST(FirFilter, InvalidDescriptionKeepsTheFormerCoefficients)
{
    Filter filter;
    designDecimator(filter);
    const std::vector<float> before = tapsOf(filter);
    filter.setWindowDesign(
        FilterType::LowPass, 100.0, kRate, 600.0, 0.0, FilterWindow::Kaiser, 60.0);
    EXPECT_EQ(filter.status(), 1);
    EXPECT_EQ(tapsOf(filter), before);
}

// A longer description than there are coefficients reads those that there are.
TEST(FirFilter, InvalidLongerDescriptionReadsTheFormerCoefficients)
{
    Filter filter;
    designDecimator(filter);
    filter.setWindowDesign(
        FilterType::LowPass, 10.0, kRate, 600.0, 0.0, FilterWindow::Kaiser, 60.0);
    EXPECT_EQ(filter.tapCount(), 364);
    EXPECT_EQ(filter.getCoefficients().size(), 38U);
    EXPECT_NEAR(filter.magnitudeAt(0.0), 1.0, 3e-7);
}

// The bracket holds the design back, so that the setter's own verdict shows. A design then sorts
// the cutoffs and clears it.
TEST(FirFilter, CutoffsTheOtherWayRoundAreNotedAndSorted)
{
    Filter sorted;
    sorted.setWindowDesign(
        FilterType::BandPass, 60.0, kRate, 120.0, 280.0, FilterWindow::Hamming, 0.0);

    Filter filter;
    filter.beginUpdate();
    filter.setWindowDesign(
        FilterType::BandPass, 60.0, kRate, 280.0, 120.0, FilterWindow::Hamming, 0.0);
    EXPECT_EQ(filter.status(), 1);
    filter.endUpdate();
    EXPECT_EQ(filter.status(), 0);
    EXPECT_EQ(tapsOf(filter), tapsOf(sorted));
}

// cutoff2 is stored by the two band types alone, and the last one stored takes part in isValid().
TEST(FirFilter, SecondCutoffOfAFormerBandPassStillCounts)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::BandPass, 60.0, kRate, 120.0, 280.0, FilterWindow::Hamming, 0.0);
    filter.setWindowDesign(
        FilterType::LowPass, 60.0, 500.0, 120.0, 0.0, FilterWindow::Hamming, 0.0);
    EXPECT_EQ(filter.cutoff2(), 280.0);
    EXPECT_FALSE(filter.isValid());
    EXPECT_EQ(filter.status(), 1);
}

TEST(FirFilter, TypeAboveHilbertLeavesNoCoefficientsAndAClearedStatus)
{
    Filter filter;
    designDecimator(filter);
    filter.setWindowDesign(
        static_cast<FilterType>(5), 100.0, kRate, 125.0, 0.0, FilterWindow::Kaiser, 60.0);
    EXPECT_EQ(filter.status(), 0);
    EXPECT_THAT(filter.getCoefficients(), IsEmpty());
}

// ---- equiripple

// The ripple that linear programming finds for these bands, taken as fractions of the rate.
// Between the points of the design's grid it may rise by 2 %.
TEST(FirFilter, EquirippleHasEqualRipplesInBothBands)
{
    Filter filter;
    designEquiripple(filter);
    ASSERT_EQ(filter.status(), 0);
    ASSERT_EQ(filter.tapCount(), 31);
    constexpr double kRipple = 0.02412859231385992; // lowPass31 in tests/golden/equiripple.csv
    double pass = 0.0;
    double stop = 0.0;
    for (int i = 0; i <= 10000; ++i) {
        const double f = 0.05 * i;
        const double gain = filter.magnitudeAt(f);
        if (f <= 100.0) pass = std::max(pass, std::abs(gain - 1.0));
        if (f >= 150.0) stop = std::max(stop, gain);
    }
    EXPECT_NEAR(pass, kRipple, 0.02 * kRipple);
    EXPECT_NEAR(stop, kRipple, 0.02 * kRipple);
}

// Odd numbers of taps, on the design's own grid: all swings within 0.1 % of one another.
TEST(FirFilter, EquirippleOfOddTapCountsIsLevelOnItsGrid)
{
    for (const std::int32_t order : {20, 30, 40, 50, 60}) {
        Filter filter;
        filter.setEquirippleDesign(order, {0.0, 100.0, 150.0, 500.0}, {1.0, 1.0, 0.0, 0.0}, kRate);
        const double delta = 0.5 / (16.0 * (order / 2.0 + 1.0)) * kRate;
        double pass = 0.0;
        double stop = 0.0;
        const auto passPoints = static_cast<int>(std::lround(100.0 / delta));
        const auto stopPoints = static_cast<int>(std::lround(350.0 / delta));
        for (int i = 0; i < passPoints; ++i) {
            const double f = i == passPoints - 1 ? 100.0 : i * delta;
            pass = std::max(pass, std::abs(filter.magnitudeAt(f) - 1.0));
        }
        for (int i = 0; i < stopPoints; ++i) {
            const double f = i == stopPoints - 1 ? 500.0 : 150.0 + i * delta;
            stop = std::max(stop, filter.magnitudeAt(f));
        }
        EXPECT_NEAR(pass, stop, 1e-3 * stop) << order;
    }
}

// A zero result of remez is no failure here; which even numbers of taps end so depends on the
// rounding of cos(π/2), but there are some among these, and some that converge.
TEST(FirFilter, EvenTapCountsUpToHalfTheRateMayGiveZerosWithACleanStatus)
{
    int zeros = 0;
    int designs = 0;
    for (std::int32_t order = 13; order <= 99; order += 2) {
        Filter filter;
        filter.setEquirippleDesign(order, {0.0, 270.0, 300.0, 500.0}, {1.0, 1.0, 0.0, 0.0}, kRate);
        EXPECT_EQ(filter.status(), 0);
        const std::vector<float> taps = tapsOf(filter);
        const bool zero = std::all_of(taps.begin(), taps.end(), [](float t) { return t == 0.0F; });
        ++(zero ? zeros : designs);
    }
    EXPECT_GT(zeros, 0);
    EXPECT_GT(designs, 0);
}

// Certain, unlike the above: nothing asked, no extremes, -2.
TEST(FirFilter, FailedExchangeGivesZerosWithACleanStatus)
{
    Filter filter;
    filter.setEquirippleDesign(30, {0.0, 100.0, 150.0, 500.0}, {0.0, 0.0, 0.0, 0.0}, kRate);
    EXPECT_EQ(filter.status(), 0);
    EXPECT_THAT(tapsOf(filter), Each(0.0F));
}

// A high-pass of 12 taps ends after forty exchanges with -1; its taps are taken all the same.
TEST(FirFilter, UnconvergedExchangeIsNotReported)
{
    Filter filter;
    filter.setEquirippleDesign(11, {0.0, 270.0, 300.0, 500.0}, {0.0, 0.0, 1.0, 1.0}, kRate);
    EXPECT_EQ(filter.status(), 0);
    EXPECT_GT(filter.magnitudeAt(400.0), 0.1);
}

// The edges of a low-pass: 0 .. f1 - w and f1 .. 0.5 with w = 100/500 of half the rate taken as a
// fraction of the whole: 200 Hz, so that the pass band ends at 50 Hz.
TEST(FirFilter, DefaultBandsOfALowPassHaveATransitionOfTwiceItsWidth)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::LowPass, 100.0, kRate, 250.0, 0.0, FilterWindow::Hamming, 0.0);
    filter.setEquirippleDesign(30, {}, {}, kRate);
    Filter given;
    given.setWindowDesign(
        FilterType::LowPass, 100.0, kRate, 250.0, 0.0, FilterWindow::Hamming, 0.0);
    given.setEquirippleDesign(30, {0.0, 50.0, 250.0, 500.0}, {1.0, 1.0, 0.0, 0.0}, kRate);
    EXPECT_EQ(filter.status(), 0);
    const std::vector<float> taps = tapsOf(filter);
    const std::vector<float> expected = tapsOf(given);
    ASSERT_EQ(taps.size(), expected.size());
    for (std::size_t i = 0; i < taps.size(); ++i) EXPECT_NEAR(taps[i], expected[i], 1e-6F);
}

TEST(FirFilter, DefaultBandsOfTheOtherTypesFollowTheirGains)
{
    struct Case {
        FilterType type;
        std::vector<double> edges;
        std::vector<double> gains;
    };

    // transition 20 Hz of 500, so w is 40 Hz of the rate; cutoffs 150 and 300 Hz
    const std::vector<double> two{0.0, 110.0, 150.0, 500.0};
    const std::vector<double> three{0.0, 110.0, 150.0, 300.0, 340.0, 500.0};
    for (const Case& expected : {Case{FilterType::HighPass, two, {0, 0, 1, 1}},
                                 Case{FilterType::BandPass, three, {0, 0, 1, 1, 0, 0}},
                                 Case{FilterType::BandStop, three, {1, 1, 0, 0, 1, 1}}}) {
        Filter filter;
        Filter given;
        for (Filter* each : {&filter, &given})
            each->setWindowDesign(
                expected.type, 20.0, kRate, 150.0, 300.0, FilterWindow::Hamming, 0.0);
        filter.setEquirippleDesign(40, {}, {}, kRate);
        given.setEquirippleDesign(40, expected.edges, expected.gains, kRate);
        const std::vector<float> taps = tapsOf(filter);
        const std::vector<float> wanted = tapsOf(given);
        for (std::size_t i = 0; i < taps.size(); ++i) EXPECT_NEAR(taps[i], wanted[i], 1e-6F);
    }
}

// No gains for it: missing ones count as 0, nothing is asked, nothing comes.
TEST(FirFilter, DefaultBandsOfAHilbertHaveNoGains)
{
    Filter filter;
    filter.beginUpdate();
    filter.setWindowDesign(
        FilterType::Hilbert, 20.0, kRate, 100.0, 0.0, FilterWindow::Hamming, 0.0);
    filter.setEquirippleDesign(30, {}, {}, kRate);
    filter.endUpdate();
    EXPECT_EQ(filter.status(), 0);
    EXPECT_THAT(tapsOf(filter), Each(testing::IsNan())); // zeros divided by their gain, 0
}

TEST(FirFilter, EquirippleNeedsNoCutoff)
{
    Filter filter;
    designEquiripple(filter);
    EXPECT_EQ(filter.cutoff1(), 0.0);
    EXPECT_TRUE(filter.isValid());
}

// cutoff1 of a former window design takes part in isValid(), against the new rate.
TEST(FirFilter, CutoffOfAFormerWindowDesignStillCountsForEquiripple)
{
    Filter filter;
    filter.setWindowDesign(
        FilterType::LowPass, 100.0, kRate, 400.0, 0.0, FilterWindow::Kaiser, 60.0);
    filter.setEquirippleDesign(30, {0.0, 50.0, 75.0, 250.0}, {1.0, 1.0, 0.0, 0.0}, 500.0);
    EXPECT_FALSE(filter.isValid());
    EXPECT_EQ(filter.status(), 1);
}

// Nobody switches the division off again.
TEST(FirFilter, EquirippleAfterAWindowDesignHasUnitGainAtZero)
{
    Filter plain;
    designEquiripple(plain);
    EXPECT_GT(std::abs(plain.magnitudeAt(0.0) - 1.0), 1e-3);

    Filter filter;
    designDecimator(filter);
    designEquiripple(filter);
    EXPECT_NEAR(filter.magnitudeAt(0.0), 1.0, 3e-7);
}

TEST(FirFilter, EquirippleLeavesTheStepResponseAlone)
{
    Filter filter;
    designDecimator(filter);
    const std::vector<float> steps = filter.getStepResponse();
    designEquiripple(filter);
    EXPECT_EQ(filter.getStepResponse(), steps);
}

// A rate of 0 has no fractions of it: no grid, no extremes.
TEST(FirFilter, EquirippleAtRateZeroGivesZeros)
{
    Filter filter;
    filter.setEquirippleDesign(30, {0.0, 100.0, 150.0, 500.0}, {1.0, 1.0, 0.0, 0.0}, 0.0);
    EXPECT_EQ(filter.status(), 0);
    EXPECT_THAT(tapsOf(filter), Each(0.0F));
}

// ---- given coefficients

TEST(FirFilter, GivenCoefficientsAreRoundedToFloatAndAsManyAsTheOrder)
{
    Filter filter;
    filter.setCoefficients({0.1, -2.0, 1e-30});
    EXPECT_EQ(filter.status(), 0);
    EXPECT_EQ(filter.design(), FilterDesign::Custom);
    EXPECT_EQ(filter.order(), 3);
    EXPECT_EQ(filter.tapCount(), 3);
    EXPECT_THAT(filter.getCoefficients(), ElementsAre(0.1F, -2.0F, 1e-30F));
}

TEST(FirFilter, ResponseOfGivenCoefficientsIsTheirOwn)
{
    Filter filter;
    filter.beginUpdate(); // for the rate alone, which setCoefficients does not take
    filter.setEquirippleDesign(1, {}, {}, kRate);
    filter.setCoefficients({1.0, 2.0, 3.0});
    filter.endUpdate();
    EXPECT_NEAR(filter.magnitudeAt(0.0), 6.0, 1e-12);
    EXPECT_NEAR(filter.magnitudeAt(500.0), 2.0, 1e-12);
}

// The description of the window design is still there and valid, so the division runs.
TEST(FirFilter, GivenCoefficientsAfterAWindowDesignAreDividedByTheirGain)
{
    Filter filter;
    designDecimator(filter);
    filter.setCoefficients({1.0, 2.0, 1.0});
    EXPECT_EQ(filter.status(), 0);
    EXPECT_THAT(filter.getCoefficients(), ElementsAre(0.25F, 0.5F, 0.25F));
}

// ---- samples

TEST(FirFilter, AnImpulseComesOutAsTheCoefficientsInOrder)
{
    Filter filter;
    designDecimator(filter);
    filter.reset();
    const std::vector<float> taps = tapsOf(filter);
    for (std::size_t n = 0; n < taps.size(); ++n)
        EXPECT_EQ(filter.process(n == 0 ? 1.0F : 0.0F), taps[n]) << n;
    EXPECT_EQ(filter.process(0.0F), 0.0F);
}

TEST(FirFilter, PositionGoesFromZeroToTheLastTapAndThenDown)
{
    Filter filter;
    filter.setCoefficients({1.0, 2.0, 3.0, 4.0});
    std::vector<std::int32_t> positions;
    for (int n = 0; n < 6; ++n) {
        positions.push_back(filter.position());
        static_cast<void>(filter.process(1.0F));
    }
    EXPECT_THAT(positions, ElementsAre(0, 3, 2, 1, 0, 3));
}

// Noise through 38 taps, many times round the history, against a convolution in double.
TEST(FirFilter, ConvolvesSamplesWithItsCoefficients)
{
    Filter filter;
    designDecimator(filter);
    const std::vector<float> taps = tapsOf(filter);
    std::mt19937 random(20261121);
    std::uniform_real_distribution<float> uniform(-1.0F, 1.0F);
    std::vector<float> samples;
    for (std::size_t n = 0; n < 500; ++n) {
        samples.push_back(uniform(random));
        double y = 0.0;
        double magnitude = 0.0;
        for (std::size_t k = 0; k <= std::min<std::size_t>(n, taps.size() - 1); ++k) {
            const double product =
                static_cast<double>(taps[k]) * static_cast<double>(samples[n - k]);
            y += product;
            magnitude += std::abs(product);
        }
        const double bound = 38.0 * 0x1p-24 * 1.001 * magnitude; // a rounding a product and sum
        EXPECT_NEAR(static_cast<double>(filter.process(samples.back())), y, bound) << n;
    }
}

TEST(FirFilter, ResetForgetsTheSamplesAndKeepsTheCoefficients)
{
    Filter filter;
    filter.setCoefficients({1.0, 2.0, 3.0});
    static_cast<void>(filter.process(7.0F));
    static_cast<void>(filter.process(8.0F));
    filter.reset();
    EXPECT_EQ(filter.position(), 0);
    EXPECT_EQ(filter.process(1.0F), 1.0F);
    EXPECT_EQ(filter.process(0.0F), 2.0F);
    EXPECT_EQ(filter.process(0.0F), 3.0F);
}

TEST(FirFilter, RedesignForgetsTheSamplesAndKeepsThePosition)
{
    Filter filter;
    designDecimator(filter);
    for (int n = 0; n < 5; ++n) static_cast<void>(filter.process(1.0F));
    EXPECT_EQ(filter.position(), 33);

    designDecimator(filter);
    EXPECT_EQ(filter.position(), 33);
    EXPECT_EQ(filter.process(0.0F), 0.0F);

    designEquiripple(filter);
    EXPECT_EQ(filter.position(), 32);
    filter.reset();
    EXPECT_EQ(filter.process(0.0F), 0.0F);
}

} // namespace
} // namespace Velmora::KorLib::Dsp::Fir

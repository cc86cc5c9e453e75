#include "host/equal_angle/kernel.h"

#if defined(__x86_64__) || defined(_M_X64)
#include "host/equal_angle/row_sums_x86_64.h"

namespace Harmotrack::Host::RowSums {
using X86::sumOf;
}
#else
#include "host/equal_angle/row_sums_portable.h"

namespace Harmotrack::Host::RowSums {
using Portable::sumOf;
}
#endif

#include <boost/math/special_functions/bessel.hpp>
#include <boost/math/special_functions/sinc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <memory>
#include <mutex>
#include <numbers>
#include <vector>

namespace Harmotrack::Host {
namespace {

// Kaiser's rules for a stop band A dB down: beta = 0.1102 (A - 8.7), and a transition of width D
// needs a length of (A - 7.95) / (14.36 D). A = 96 and D = c / 5, from 0.9 c to 1.1 c, make 30.7
// zeros of the sinc on either side; the 48 samples of the halving make D = 0.128 of the rate, from
// 0.186 to 0.314.
constexpr double kKaiserBeta = 9.62;
constexpr int kZeros = 31;

// Cut-offs stand on a grid that divides the octave evenly. With this share of a turn's samples 0.9
// c is at 0.8 M and 1.1 c below 0.984 M also for the next filter of the grid, to which half a value
// may belong; the rest is for a speed that changes within the filter.
constexpr double kCutoffShare = 0.4447;

// The highest cut-off that takes part in a value of a halved signal is 0.357 of its rate. What the
// halving folds to just above c this filter has stopped in part, and both together by 96 dB. The
// cut-offs of an octave below there have tables, those above them, and the next one.
constexpr int kFirstOfHalved = 32;
constexpr int kCutoffsPerOctave = EqualAngleKernel::kCutoffsPerOctave;
constexpr int kTables = kFirstOfHalved + kCutoffsPerOctave + 1;
constexpr int kLastCutoff =
    kFirstOfHalved - 1 + kCutoffsPerOctave * (EqualAngleKernel::kMostHalvings + 1);

// Above cut-off 0, half the rate, a value is of that one alone.
constexpr int kFirstCutoff = -1;

// Fractions of a sample per row, for a cut-off at the whole rate: straight lines between rows err
// by (2π c / rate)² / 8 / fractions² = 1e-5 of a component at the cut-off.
constexpr double kFractionsPerShare = 700.0;

// Straight lines between values this close err by (π²/3) / (8 · 512²) = 1.6e-6 at most.
constexpr int kStepsPerZero = 512;

// Products that are summed side by side: a row is a multiple of that.
constexpr std::size_t kLanes = 8;

double kaiser(double share)
{
    static const double scale = 1.0 / boost::math::cyl_bessel_i(0, kKaiserBeta);
    if (std::abs(share) >= 1.0) return 0.0;
    return scale * boost::math::cyl_bessel_i(0, kKaiserBeta * std::sqrt(1.0 - share * share));
}

// g at equal steps from 0 on.
const std::vector<double>& kernel()
{
    static const std::vector<double> values = [] {
        std::vector<double> table(static_cast<std::size_t>(kZeros * kStepsPerZero) + 2, 0.0);
        for (std::size_t i = 0; i < table.size(); ++i) {
            const double u = static_cast<double>(i) / kStepsPerZero;
            table[i] = boost::math::sinc_pi(std::numbers::pi * u) * kaiser(u / kZeros);
        }
        return table;
    }();
    return values;
}

// g between its steps.
double kernelAt(const double* values, double u)
{
    const double at = std::min(std::abs(u) * kStepsPerZero, double{kZeros * kStepsPerZero});
    const auto cell = static_cast<int>(at);
    return values[cell] + (at - cell) * (values[cell + 1] - values[cell]);
}

// Weights of the odd neighbours; the even ones are zeros of the sinc, and the middle is a half.
using HalvingWeights = std::array<float, (EqualAngleKernel::kHalvingReach + 1) / 2>;

const HalvingWeights& halvingWeights()
{
    static const HalvingWeights weights = [] {
        std::array<double, std::tuple_size_v<HalvingWeights>> exact{};
        double sum = 0.0;
        for (std::size_t i = 0; i < exact.size(); ++i) {
            const double n = 2.0 * static_cast<double>(i) + 1.0;
            exact[i] = 0.5 * boost::math::sinc_pi(0.5 * std::numbers::pi * n) *
                       kaiser(n / (EqualAngleKernel::kHalvingReach + 1));
            sum += 2.0 * exact[i];
        }
        HalvingWeights result{};
        for (std::size_t i = 0; i < exact.size(); ++i) // a constant stays what it is
            result[i] = static_cast<float>(exact[i] * 0.5 / sum);
        return result;
    }();
    return weights;
}

int halvingsOf(int cutoff)
{
    return std::max(0, (cutoff - kFirstOfHalved) / kCutoffsPerOctave);
}

// The share of the rate that stands at a place of the grid.
double shareAt(double cutoff)
{
    return 0.5 * std::exp2(-cutoff / kCutoffsPerOctave);
}

// z of a table.
double zerosPerSample(int table)
{
    return std::exp2(-static_cast<double>(table) / kCutoffsPerOctave);
}

// Of the filters of a value, the lowest of which this is.
int reachOf(int lowest)
{
    constexpr auto kStep = static_cast<int>(kLanes / 2); // there are two sides
    return (static_cast<int>(kZeros / zerosPerSample(lowest)) / kStep + 1) * kStep;
}

// The weights for a z, and zeros as far as the other filters of a value may reach.
struct Table {
    explicit Table(int number);

    int reach = 0;
    int fractions = 0;
    std::vector<float> rows; // shape (fractions + 1, 2 · reach)
};

Table::Table(int number)
    : reach(reachOf(number + 2)),
      fractions(static_cast<int>(std::ceil(kFractionsPerShare * 0.5 * zerosPerSample(number))))
{
    const double zeros = zerosPerSample(number);
    const int size = 2 * reach;
    rows.resize((static_cast<std::size_t>(fractions) + 1) * static_cast<std::size_t>(size));
    // The kernel is even: the last row is the first one backwards, and so on inwards.
    float* row = rows.data();
    float* mirrored = row + rows.size();
    const double* values = kernel().data();
    for (int r = 0; 2 * r <= fractions; ++r) {
        const double share = static_cast<double>(r) / fractions;
        for (int k = 0; k < size; ++k) {
            const double weight = zeros * kernelAt(values, (k - reach + 1 - share) * zeros);
            *row++ = static_cast<float>(weight);
            *--mirrored = static_cast<float>(weight);
        }
    }
}

} // namespace

EqualAngleKernel::EqualAngleKernel(double rateHz, int samplesPerRevolution)
    : rateHz_(rateHz), sharePerRpm_(kCutoffShare * samplesPerRevolution / 60.0 / rateHz)
{
}

EqualAngleKernel::Rows EqualAngleKernel::rowsFor(int table)
{
    static std::mutex mutex;
    static std::array<std::unique_ptr<const Table>, kTables> tables;
    const std::lock_guard lock(mutex);
    std::unique_ptr<const Table>& made = tables[static_cast<std::size_t>(table)];
    if (!made) made = std::make_unique<const Table>(table);
    return {made->rows.data(), made->reach, made->fractions};
}

// The bounds decide, so that all who ask come to the same.
int EqualAngleKernel::nearestCutoff(double share)
{
    const double place = kCutoffsPerOctave * std::log2(0.5 / share);
    auto cutoff =
        static_cast<int>(std::lround(std::clamp(place, double{kFirstCutoff}, double{kLastCutoff})));
    while (cutoff < kLastCutoff && share < shareAt(cutoff + 0.5)) ++cutoff;
    while (cutoff > kFirstCutoff && share >= shareAt(cutoff - 0.5)) --cutoff;
    return cutoff;
}

void EqualAngleKernel::chooseAnew(double share)
{
    const int cutoff = nearestCutoff(share);
    const bool first = cutoff == kFirstCutoff;
    const bool last = cutoff == kLastCutoff;
    middle_ = shareAt(cutoff);
    lowest_ = last ? middle_ : shareAt(cutoff + 0.5);
    highest_ = first ? middle_ : shareAt(cutoff - 0.5);
    from_ = last ? 0.0 : lowest_;
    upTo_ = first ? std::numeric_limits<double>::infinity() : highest_;
    choice_.halvings = halvingsOf(cutoff);
    const int table = cutoff - kCutoffsPerOctave * choice_.halvings;
    choice_.filters = {
        rowsFor(std::max(table - 1, 0)), rowsFor(std::max(table, 0)), rowsFor(table + 1)};
    choice_.reach = reachOf(table + 1);
}

double EqualAngleKernel::halfWidthSeconds(double speedRpm) const
{
    const auto cutoff = nearestCutoff(sharePerRpm_ * speedRpm);
    const int halvings = halvingsOf(cutoff);
    const int reach = reachOf(cutoff - kCutoffsPerOctave * halvings + 1);
    // Halving n times takes 23 (1 + 2 + 4 ...) samples.
    const double samples =
        std::ldexp(reach + 1.0, halvings) + kHalvingReach * (std::ldexp(1.0, halvings) - 1.0);
    return samples / rateHz_;
}

double EqualAngleKernel::Weights::sumOver(const float* samples) const
{
    return static_cast<double>(RowSums::sumOf(rows, shares, size, samples));
}

// In pieces whose odd neighbours stand side by side, so that one step serves several results.
void EqualAngleKernel::halve(std::span<const float> samples, std::span<float> results)
{
    constexpr std::size_t kPiece = 128;
    const HalvingWeights& weights = halvingWeights();
    std::array<float, kPiece + 2 * std::tuple_size_v<HalvingWeights>> neighbours{};
    std::array<float, kPiece> sums{};
    while (!results.empty()) {
        const std::size_t count = std::min(results.size(), kPiece);
        for (std::size_t k = 0; k < count + 2 * weights.size() - 1; ++k)
            neighbours[k] = samples[2 * k];
        for (std::size_t j = 0; j < count; ++j) sums[j] = 0.5F * samples[2 * j + kHalvingReach];
        for (std::size_t i = 0; i < weights.size(); ++i) {
            const float* before = neighbours.data() + weights.size() - 1 - i;
            const float* behind = neighbours.data() + weights.size() + i;
            for (std::size_t j = 0; j < count; ++j) sums[j] += weights[i] * (before[j] + behind[j]);
        }
        std::copy_n(sums.begin(), count, results.begin());
        samples = samples.subspan(2 * count);
        results = results.subspan(count);
    }
}

} // namespace Harmotrack::Host

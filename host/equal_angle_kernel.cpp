#include "host/equal_angle_kernel.h"

#include <boost/math/special_functions/bessel.hpp>
#include <boost/math/special_functions/sinc.hpp>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <limits>
#include <numbers>

namespace Harmotrack::Host {
namespace {

// Kaiser's rules for a stop band A dB down: beta = 0.1102 (A - 8.7), and a transition of width D
// needs a length of (A - 7.95) / (14.36 D). A = 96 and D = c / 5, from 0.9 c to 1.1 c, make 30.7
// zeros of the sinc on either side; from 0.11 to 0.39 of the rate they make 22 samples.
constexpr double kKaiserBeta = 9.62;
constexpr int kZeros = 31;

// The share of a turn's samples that leaves the grid's steps inside the transition: 0.9 c is above
// 0.8 M and 1.1 c below M at either end of a step.
constexpr double kCutoffShare = 0.446;
constexpr double kGridStep = 0.005;
constexpr double kMostCutoffs = 3000.0; // down to 1.5e-7 of the rate

// The highest cut-off of a halved signal, as a share of its rate.
constexpr double kHighestShare = 0.2;

// Fractions of a sample per row, for a cut-off at the whole rate: straight lines between rows err
// by (2π c / rate)² / 8 / fractions² = 3e-6 of a component at the cut-off.
constexpr double kFractionsPerShare = 1300.0;

constexpr std::size_t kTablesKept = 4;

// Straight lines between values this close err by (π²/3) / (8 · 512²) = 1.6e-6 at most.
constexpr int kStepsPerZero = 512;

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
using HalvingWeights = std::array<double, (EqualAngleKernel::kHalvingReach + 1) / 2>;

const HalvingWeights& halvingWeights()
{
    static const HalvingWeights weights = [] {
        HalvingWeights result{};
        double sum = 0.0;
        for (std::size_t i = 0; i < result.size(); ++i) {
            const double n = 2.0 * static_cast<double>(i) + 1.0;
            result[i] = 0.5 * boost::math::sinc_pi(0.5 * std::numbers::pi * n) *
                        kaiser(n / (EqualAngleKernel::kHalvingReach + 1));
            sum += 2.0 * result[i];
        }
        for (double& weight : result) weight *= 0.5 / sum; // a constant stays what it is
        return result;
    }();
    return weights;
}

// Two rows at once, each in four sums side by side, which hide the latency of the additions.
double interpolatedDot(
    const double* row, const double* next, const double* x, std::size_t size, double share)
{
    constexpr std::size_t kLanes = 4;
    std::array<double, kLanes> here{};
    std::array<double, kLanes> there{};
    std::size_t k = 0;
    for (; k + kLanes <= size; k += kLanes) {
        for (std::size_t lane = 0; lane < kLanes; ++lane) {
            here[lane] += row[k + lane] * x[k + lane];
            there[lane] += next[k + lane] * x[k + lane];
        }
    }
    for (; k < size; ++k) {
        here[0] += row[k] * x[k];
        there[0] += next[k] * x[k];
    }
    const double a = (here[0] + here[1]) + (here[2] + here[3]);
    const double b = (there[0] + there[1]) + (there[2] + there[3]);
    return a + share * (b - a);
}

} // namespace

EqualAngleKernel::EqualAngleKernel(double rateHz, int samplesPerRevolution)
    : rateHz_(rateHz), sharePerRpm_(kCutoffShare * samplesPerRevolution / 60.0 / rateHz)
{
}

EqualAngleKernel::Choice EqualAngleKernel::choose(double speedRpm)
{
    const double share = sharePerRpm_ * speedRpm;
    if (share >= from_ && share < upTo_) return choice_;

    // The bounds decide, so that it does not matter which choice was the last one.
    const auto lowest = [](int cutoff) { return 0.5 * std::exp(-kGridStep * (cutoff + 0.5)); };
    int cutoff = static_cast<int>(
        std::lround(std::clamp(std::log(0.5 / share) / kGridStep, 0.0, kMostCutoffs)));
    while (share < lowest(cutoff) && cutoff < static_cast<int>(kMostCutoffs)) ++cutoff;
    while (cutoff > 0 && share >= lowest(cutoff - 1)) --cutoff;
    from_ = cutoff < static_cast<int>(kMostCutoffs) ? lowest(cutoff) : 0.0;
    upTo_ = cutoff > 0 ? lowest(cutoff - 1) : std::numeric_limits<double>::infinity();

    choice_.cutoff = cutoff;
    const double gridShare = 0.5 * std::exp(-kGridStep * cutoff);
    choice_.halvings = static_cast<int>(
        std::clamp(std::floor(std::log2(kHighestShare / gridShare)), 0.0, double{kMostHalvings}));
    choice_.reach = static_cast<int>(std::ceil(kZeros / zerosPerSample(choice_)));
    return choice_;
}

double EqualAngleKernel::zerosPerSample(const Choice& choice) const
{
    return std::ldexp(std::exp(-kGridStep * choice.cutoff), choice.halvings);
}

double EqualAngleKernel::halfWidthSeconds(double speedRpm)
{
    const Choice choice = choose(speedRpm);
    // Halving n times takes 11 (1 + 2 + 4 ...) samples.
    const double samples = std::ldexp(choice.reach + 1.0, choice.halvings) +
                           kHalvingReach * (std::ldexp(1.0, choice.halvings) - 1.0);
    return samples / rateHz_;
}

double EqualAngleKernel::value(const Choice& choice, const double* samples, double share)
{
    const Table& table = tableFor(choice);
    const auto size = 2 * static_cast<std::size_t>(choice.reach);
    const double at = share * table.fractions;
    const auto row = static_cast<std::size_t>(at);
    const double* weights = table.rows.data() + row * size;
    return interpolatedDot(weights, weights + size, samples, size, at - static_cast<double>(row));
}

const EqualAngleKernel::Table& EqualAngleKernel::tableFor(const Choice& choice)
{
    const auto found = std::find_if(tables_.begin(), tables_.end(), [&](const Table& table) {
        return table.cutoff == choice.cutoff;
    });
    if (found != tables_.end()) {
        if (found != tables_.begin()) tables_.splice(tables_.begin(), tables_, found);
        return tables_.front();
    }
    if (tables_.size() == kTablesKept) tables_.pop_back();
    tables_.push_front(makeTable(choice));
    return tables_.front();
}

EqualAngleKernel::Table EqualAngleKernel::makeTable(const Choice& choice) const
{
    const double zeros = zerosPerSample(choice);
    Table table;
    table.cutoff = choice.cutoff;
    table.fractions = static_cast<int>(std::ceil(kFractionsPerShare * 0.5 * zeros));
    const int size = 2 * choice.reach;
    table.rows.resize((static_cast<std::size_t>(table.fractions) + 1) *
                      static_cast<std::size_t>(size));
    // The kernel is even: the last row is the first one backwards, and so on inwards.
    double* row = table.rows.data();
    double* mirrored = row + table.rows.size();
    const double* values = kernel().data();
    for (int r = 0; 2 * r <= table.fractions; ++r) {
        const double share = static_cast<double>(r) / table.fractions;
        for (int k = 0; k < size; ++k) {
            const double weight = zeros * kernelAt(values, (k - choice.reach + 1 - share) * zeros);
            *row++ = weight;
            *--mirrored = weight;
        }
    }
    return table;
}

void EqualAngleKernel::halve(std::span<const double> samples, std::span<double> results)
{
    const HalvingWeights& weights = halvingWeights();
    for (std::size_t j = 0; j < results.size(); ++j) {
        const double* middle = samples.data() + 2 * j + kHalvingReach;
        double sum = 0.5 * *middle;
        for (std::size_t i = 0; i < weights.size(); ++i) {
            const auto n = static_cast<std::ptrdiff_t>(2 * i + 1);
            sum += weights[i] * (middle[-n] + middle[n]);
        }
        results[j] = sum;
    }
}

} // namespace Harmotrack::Host

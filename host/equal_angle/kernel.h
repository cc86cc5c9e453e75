#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <numbers>
#include <span>

namespace Harmotrack::Host {

/// The filter that takes samples at equal times to a moment of equal angle, band-limited on both
/// sides.
///
///     y(p) = Σ x[k] z g(z (p - k)),   g(u) = sin(πu) / (πu) · Kaiser(u / 31),   z = 2 c / f
///     c ≈ min(0.445 · samples per revolution · speed / 60, 0.5 · rate)
///
/// p is the moment in samples of x, f their rate. The cut-off c follows the speed, so that nothing
/// folds in the angle domain at low speed, where the samples of a turn are far apart. The window is
/// Kaiser's for 96 dB with a transition from 0.9 c to 1.1 c. With M the Nyquist order of the
/// result, half its samples per revolution:
///
///     up to 0.8 · M and 0.45 · rate   amplitude within 0.001 dB, no delay
///     from M on, and images           at least 90 dB down
///
/// as long as the speed changes by no more than a few per cent within the filter, which spans
/// halfWidthSeconds() to either side. A component between 0.8 · M and M is let through in part. So
/// c must not move in steps, which would spread that part over all orders: filters stand on a grid
/// of 64 cut-offs to the octave, and three neighbours of it make up each value, by the quadratic
/// B-spline of log c (after Unser, "Splines: a perfect fit", IEEE Signal Processing Magazine 1999).
/// What is left of the grid is 90 dB down however quickly the speed moves.
///
/// Far below the rate the filter would be long. So x is the signal halved in rate as often as
/// leaves c at 0.36 of its rate or below (halve(): 96 dB too, and nothing folds below 0.37 of the
/// new rate), and a value takes six sums of 64 to 184 products, which are made in single
/// precision: the rounding is about 1e-7 of the signal.
///
/// The weights of a z stand in a table, one row for each of the fractions of a sample; values
/// between rows are taken as straight lines, which err by 1e-5 at most. The same 64 values of z
/// come again with every halving, so that there are 97 tables in all. One is made when it is first
/// needed, within 0.1 ms, and then serves all objects until the process ends: 0.1 megabytes each, 9
/// if a machine of the process ran through all speeds.
///
/// One thread at a time; objects are independent.
class EqualAngleKernel {
public:
    /// Samples that halve() needs to either side.
    static constexpr int kHalvingReach = 23;
    static constexpr int kMostHalvings = 20;
    static constexpr int kCutoffsPerOctave = 64;

    /// @param rateHz                of the source, above 0
    /// @param samplesPerRevolution  of the result, above 0
    EqualAngleKernel(double rateHz, int samplesPerRevolution);

    /// The weights of a z.
    struct Rows {
        const float* weights = nullptr; ///< shape (fractions + 1, 2 · reach)
        int reach = 0;                  ///< samples to either side
        int fractions = 0;              ///< of a sample, from row to row
    };

    /// Filters that make up a value: the nearest cut-off, and those above and below it.
    static constexpr std::size_t kFilters = 3;

    /// Which signal a moment is taken from, and with which weights.
    struct Choice {
        int halvings = 0; ///< of the rate: sample k stands at sample k · 2^halvings of the source
        int reach = 0;    ///< samples needed: floor(p) - reach + 1 .. floor(p) + reach
        std::array<Rows, kFilters> filters;
        std::array<double, kFilters> shares{}; ///< their sum is 1
    };

    /// The choice holds until the next call.
    ///
    /// @param speedRpm  above 0
    [[nodiscard]] const Choice& choose(double speedRpm)
    {
        const double share = sharePerRpm_ * speedRpm;
        if (!(share >= from_ && share < upTo_)) chooseAnew(share);
        // log2(1 + x) to 1e-9 of a step, for |x| up to half a step of 1.1 %.
        const double x = std::clamp(share, lowest_, highest_) / middle_ - 1.0;
        const double off =
            -kCutoffsPerOctave * std::numbers::log2e * x * (1.0 - x * (0.5 - x / 3.0));
        const double above = 0.5 * (0.5 - off) * (0.5 - off);
        const double below = 0.5 * (0.5 + off) * (0.5 + off);
        choice_.shares = {above, 1.0 - above - below, below};
        return choice_;
    }

    /// How far the filter reaches to either side at a speed, seconds, halvings included.
    [[nodiscard]] double halfWidthSeconds(double speedRpm) const;

    /// Weights of the samples round a moment, as the rows that they lie between.
    struct Weights {
        std::array<const float*, 2 * kFilters> rows{}; ///< shapes (size)
        std::array<float, 2 * kFilters> shares{};      ///< their sum is 1
        std::size_t size = 0;                          ///< 2 · reach

        /// y(p).
        ///
        /// @param samples  shape (size): those that are needed
        [[nodiscard]] double sumOver(const float* samples) const;
    };

    /// @param share  p - floor(p), 0 up to below 1
    [[nodiscard]] static Weights weightsAt(const Choice& choice, double share)
    {
        Weights weights;
        weights.size = 2 * static_cast<std::size_t>(choice.reach);
        for (std::size_t i = 0; i < kFilters; ++i) {
            const Rows& filter = choice.filters[i];
            const double at = share * filter.fractions;
            const auto row = static_cast<int>(at);
            const std::ptrdiff_t stride = 2 * std::ptrdiff_t{filter.reach};
            weights.rows[2 * i] = filter.weights + row * stride + (filter.reach - choice.reach);
            weights.rows[2 * i + 1] = weights.rows[2 * i] + stride;
            weights.shares[2 * i] = static_cast<float>(choice.shares[i] * (1.0 - (at - row)));
            weights.shares[2 * i + 1] = static_cast<float>(choice.shares[i] * (at - row));
        }
        return weights;
    }

    /// Halves the rate: y[j] = Σ h[n] x[2 j + n], n = -23 .. 23.
    ///
    /// @param samples   shape (2 · results - 1 + 46): the first is x[-23] of the first result
    /// @param[out] results  shape (n)
    static void halve(std::span<const float> samples, std::span<float> results);

private:
    [[nodiscard]] static Rows rowsFor(int table);
    [[nodiscard]] static int nearestCutoff(double share);
    void chooseAnew(double share);

    double rateHz_;
    double sharePerRpm_; ///< of the rate, that the cut-off is
    // The last choice, the shares of the rate from and up to which its filters serve, and those
    // that are told apart within.
    Choice choice_;
    double from_ = 0.0;
    double upTo_ = 0.0;
    double lowest_ = 0.0;
    double middle_ = 0.0;
    double highest_ = 0.0;
};

} // namespace Harmotrack::Host

#pragma once

#include <cstddef>
#include <span>

namespace Harmotrack::Host {

/// The filter that takes samples at equal times to a moment of equal angle, band-limited on both
/// sides.
///
///     y(p) = Σ x[k] z g(z (p - k)),   g(u) = sin(πu) / (πu) · Kaiser(u / 31),   z = 2 c / f
///     c ≈ min(0.445 · samples per revolution · speed / 60, 0.5 · rate)
///
/// p is the moment in samples of x, f their rate. The cut-off c follows the speed, so that nothing
/// folds in the angle domain at low speed, where the samples of a turn are far apart; it stands on
/// a grid of 64 to the octave. The window is Kaiser's for 96 dB with a transition from 0.9 c to
/// 1.1 c. With M the Nyquist order of the result, half its samples per revolution:
///
///     up to 0.8 · M and 0.45 · rate   amplitude within 0.001 dB, no delay
///     from M on, and images           at least 90 dB down
///
/// as long as the speed changes by no more than a few per cent within the filter, which spans
/// halfWidthSeconds() to either side. A component between 0.8 · M and M is let through in part.
///
/// Far below the rate the filter would be long. So x is the signal halved in rate as often as
/// leaves c at 0.36 of its rate or below (halve(): 96 dB too, and nothing folds below 0.37 of the
/// new rate), and a value takes two sums of 64 to 176 products, which are made in single precision:
/// the rounding is about 1e-7 of the signal.
///
/// The weights of a z stand in a table, one row for each of the fractions of a sample; values
/// between rows are taken as straight lines, which err by 1e-5 at most. The same 64 values of z
/// come again with every halving, so that there are 95 tables in all. One is made when it is first
/// needed, within 0.1 ms, and then serves all objects until the process ends: 0.1 megabytes each, 9
/// if a machine of the process ran through all speeds.
///
/// One thread at a time; objects are independent.
class EqualAngleKernel {
public:
    /// Samples that halve() needs to either side.
    static constexpr int kHalvingReach = 23;
    static constexpr int kMostHalvings = 20;

    /// @param rateHz                of the source, above 0
    /// @param samplesPerRevolution  of the result, above 0
    EqualAngleKernel(double rateHz, int samplesPerRevolution);

    /// Which signal a moment is taken from, and with which table of weights.
    struct Choice {
        int halvings = 0;  ///< of the rate: sample k stands at sample k · 2^halvings of the source
        int reach = 0;     ///< samples needed: floor(p) - reach + 1 .. floor(p) + reach
        int fractions = 0; ///< of a sample, from row to row
        const float* rows = nullptr; ///< shape (fractions + 1, 2 · reach)
    };

    /// The choice holds until the next call.
    ///
    /// @param speedRpm  above 0
    [[nodiscard]] const Choice& choose(double speedRpm)
    {
        const double share = sharePerRpm_ * speedRpm;
        if (!(share >= from_ && share < upTo_)) chooseAnew(share);
        return choice_;
    }

    /// How far the filter reaches to either side at a speed, seconds, halvings included.
    [[nodiscard]] double halfWidthSeconds(double speedRpm) const;

    /// Weights of the samples round a moment: between two rows of a table.
    struct Weights {
        const float* row = nullptr; ///< shape (size), and the next row stands behind it
        std::size_t size = 0;       ///< 2 · reach
        float share = 0.0F;         ///< of the way from the row to the next one

        /// y(p).
        ///
        /// @param samples  shape (size): those that are needed
        [[nodiscard]] double sumOver(const float* samples) const;
    };

    /// @param share  p - floor(p), 0 up to below 1
    [[nodiscard]] static Weights weightsAt(const Choice& choice, double share)
    {
        const double at = share * choice.fractions;
        const auto row = static_cast<int>(at);
        const std::size_t size = 2 * static_cast<std::size_t>(choice.reach);
        return {
            choice.rows + static_cast<std::size_t>(row) * size, size, static_cast<float>(at - row)};
    }

    /// Halves the rate: y[j] = Σ h[n] x[2 j + n], n = -23 .. 23.
    ///
    /// @param samples   shape (2 · results - 1 + 46): the first is x[-23] of the first result
    /// @param[out] results  shape (n)
    static void halve(std::span<const float> samples, std::span<float> results);

private:
    struct Table;

    [[nodiscard]] static const Table& table(int number);
    [[nodiscard]] static int cutoffFor(double share);
    void chooseAnew(double share);

    double rateHz_;
    double sharePerRpm_; ///< of the rate, that the cut-off is
    // The last choice, and the shares from and up to which it holds.
    Choice choice_;
    double from_ = 0.0;
    double upTo_ = 0.0;
};

} // namespace Harmotrack::Host

#pragma once

#include <list>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// The filter that takes samples at equal times to a moment of equal angle, band-limited on both
/// sides.
///
///     y(p) = Σ x[k] z g(z (p - k)),   g(u) = sin(πu) / (πu) · Kaiser(u / 31),   z = 2 c / f
///     c ≈ min(0.446 · samples per revolution · speed / 60, 0.5 · rate)
///
/// p is the moment in samples of x, f their rate. The cut-off c follows the speed, so that nothing
/// folds in the angle domain at low speed, where the samples of a turn are far apart; it stands on
/// a grid of steps of 1 %. The window is Kaiser's for 96 dB with a transition from 0.9 c to 1.1 c.
/// With M the Nyquist order of the result, half its samples per revolution:
///
///     up to 0.8 · M and 0.45 · rate   amplitude within 0.001 dB, no delay
///     from M on, and images           at least 90 dB down
///
/// as long as the speed changes by no more than a few per cent within the filter, which spans
/// halfWidthSeconds() to either side. A component between 0.8 · M and M is let through in part.
///
/// Far below the rate the filter would be long. So x is the signal halved in rate as often as
/// leaves c at a fifth of its rate or below (halved(): 96 dB too, and nothing folds below 0.22 of
/// the new rate), and a value costs 62 to 310 multiply-adds.
///
/// The weights of a cut-off stand in a table, one row for each of the fractions of a sample; values
/// between rows are taken as straight lines, which err by 1e-5 at most. Tables of the four newest
/// cut-offs are kept, 1.5 megabytes. One thread at a time.
class EqualAngleKernel {
public:
    /// Samples that halved() needs to either side.
    static constexpr int kHalvingReach = 11;
    static constexpr int kMostHalvings = 12;

    /// @param rateHz                of the source, above 0
    /// @param samplesPerRevolution  of the result, above 0
    EqualAngleKernel(double rateHz, int samplesPerRevolution);

    /// Which signal a moment is taken from, and with which cut-off.
    struct Choice {
        int halvings = 0; ///< of the rate: sample k stands at sample k · 2^halvings of the source
        int cutoff = 0;   ///< number on the grid: c = 0.5 · rate · exp(-cutoff / 200)
        int reach = 0;    ///< samples needed: floor(p) - reach + 1 .. floor(p) + reach
    };

    /// @param speedRpm  above 0
    [[nodiscard]] Choice choose(double speedRpm);

    /// How far the filter reaches to either side at a speed, seconds, halvings included.
    [[nodiscard]] double halfWidthSeconds(double speedRpm);

    /// @param choice   from choose()
    /// @param samples  shape (2 · reach): those that are needed
    /// @param share    p - floor(p), 0 up to below 1
    double value(const Choice& choice, const double* samples, double share);

    /// Halves the rate: y[j] = Σ h[n] x[2 j + n], n = -11 .. 11.
    ///
    /// @param samples   shape (2 · results - 1 + 22): the first is x[-11] of the first result
    /// @param[out] results  shape (n)
    static void halve(std::span<const double> samples, std::span<double> results);

private:
    struct Table {
        int cutoff = 0;
        int fractions = 0;
        std::vector<double> rows; ///< shape (fractions + 1, 2 · reach)
    };

    [[nodiscard]] double zerosPerSample(const Choice& choice) const;
    const Table& tableFor(const Choice& choice);
    [[nodiscard]] Table makeTable(const Choice& choice) const;

    double rateHz_;
    double sharePerRpm_; ///< of the rate, that the cut-off is
    // The last choice, and the shares from and up to which it holds.
    Choice choice_;
    double from_ = 0.0;
    double upTo_ = 0.0;
    std::list<Table> tables_; ///< the newest first
};

} // namespace Harmotrack::Host

#pragma once

#include <span>
#include <vector>

namespace Harmotrack::Host {

/// Takes samples at equal times to the moments of equal angles, band-limited on both sides.
///
///     y(t) = 2 c / rate  Σ x[k] g(2 c (t - t[k])),   g(z) = sin(πz) / (πz) · Kaiser(z / 31)
///     c = min(0.445 · samples per revolution · speed / 60, 0.5 · rate)
///
/// The cut-off c follows the speed, so that nothing folds in the angle domain at low speed, where
/// the samples of a turn are far apart. The window is Kaiser's for 96 dB with a transition from
/// 0.9 c to 1.1 c. With M the Nyquist order of the result, half its samples per revolution:
///
///     up to 0.8 · M and 0.45 · rate   amplitude within 0.001 dB, no delay
///     from M on, and images           at least 90 dB down
///
/// as long as the speed changes by no more than a few per cent within the kernel, which spans
/// halfWidthSeconds() to either side. A component that passes through the band between 0.8 · M and
/// M is let through in part.
///
/// The cost is about 69 multiply-adds per source sample or output, whichever are more. Objects are
/// immutable, and any number of threads may use one; resample() allocates one kernel of weights.
class EqualAngleKernel {
public:
    /// @param rateHz                rate of the source, above 0
    /// @param samplesPerRevolution  of the result, above 0
    EqualAngleKernel(double rateHz, int samplesPerRevolution);

    /// The cut-off c at a speed, Hz.
    [[nodiscard]] double cutoffHz(double speedRpm) const;

    /// How far the kernel reaches to either side at a speed, seconds. Samples beyond the source's
    /// ends count as 0, so a host asks only for moments that lie this far inside.
    [[nodiscard]] double halfWidthSeconds(double speedRpm) const;

    /// Value of each signal at each moment.
    ///
    /// @param signals       one or more signals of equal length, sampled together
    /// @param startSeconds  time of sample number 0
    /// @param firstNumber   number of the signals' first sample, 0 or more; the results don't
    ///                      depend on it
    /// @param seconds       shape (n), any order
    /// @param speedRpm      shape (n), above 0
    /// @param[out] results  one a signal, shape (n) each
    void resample(std::span<const std::span<const double>> signals,
                  double startSeconds,
                  long long firstNumber,
                  std::span<const double> seconds,
                  std::span<const double> speedRpm,
                  std::span<const std::span<double>> results) const;

private:
    double rateHz_;
    double samplesPerRevolution_;
    std::vector<double> kernel_; ///< g at equal steps of z from 0 on
};

} // namespace Harmotrack::Host

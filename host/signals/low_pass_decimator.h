#pragma once

#include <cstddef>
#include <span>
#include <vector>

namespace Harmotrack::Host {

/// Low-passes a signal and keeps every D-th sample, as a stream.
///
///     y[j] = Σ h[i] x[j D + i],    i = -delay() .. delay(), relative to the first whole kernel
///
/// h is a sinc of cut-off half the new rate under a Kaiser window, symmetric, so that y[j] stands
/// exactly at the time of its middle sample. A third of the new rate and less passes within 0.001
/// dB; what would fold there, from two thirds of the new rate on, arrives at least 80 dB down.
/// Nothing is padded: the first value comes with input sample 2 delay(). Only the outputs that are
/// kept are computed, at about 15 D multiplications each. With D = 1 samples pass as they are.
class LowPassDecimator {
public:
    /// @param factor  D, at least 1
    explicit LowPassDecimator(int factor);

    /// Samples in, as many values as are complete behind those that `decimated` holds.
    void push(std::span<const double> samples, std::vector<double>& decimated);

    /// Number of the input sample, counted from 0, that output 0 stands at.
    [[nodiscard]] std::size_t delay() const { return kernel_.size() / 2; }

private:
    std::size_t factor_;
    std::vector<double> kernel_; ///< odd length
    std::vector<double>
        pending_; ///< samples that a later output needs; the next one's at the front
};

} // namespace Harmotrack::Host

#pragma once

#include <span>
#include <vector>

namespace Harmotrack::Host {

/// Samples at equal times: sample k was taken at startSeconds + k / rateHz.
struct UniformSignal {
    double startSeconds = 0.0;
    double rateHz = 0.0;
    std::vector<double> samples;

    /// Time of the last sample, seconds.
    [[nodiscard]] double endSeconds() const;
};

/// Brings samples with irregular time steps to equal ones, by the natural cubic spline through all
/// samples: continuous up to the second derivative, so that a component of up to a quarter of the
/// mean rate keeps its amplitude within a few per cent, where local cubics lose twice as much.
///
///     rate = (samples - 1) / (last time - first time), the mean rate
///
/// The result has as many samples as the source, from its first time to its last. What the source
/// holds above half its local rate folds, as in any sampled signal; no interpolation undoes that.
///
/// @param seconds  shape (n), n at least 4, strictly increasing; the largest step at most ten times
///                 the median one, for a spline invents what happens in a gap
/// @param values   shape (n), finite
/// @throws HostError  an argument breaks these rules; the sentence names the sample
UniformSignal toUniform(std::span<const double> seconds, std::span<const double> values);

/// Slopes of the natural cubic spline through (x, y): the second derivative is continuous at every
/// inner knot and 0 at both ends.
///
/// @param x  shape (n), n at least 2, strictly increasing
/// @param y  shape (n)
/// @return   shape (n), dy/dx at the knots
std::vector<double> naturalSplineSlopes(std::span<const double> x, std::span<const double> y);

} // namespace Harmotrack::Host

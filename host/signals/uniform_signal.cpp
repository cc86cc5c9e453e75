#include "host/signals/uniform_signal.h"

#include "host/host_error.h"

#include <boost/math/interpolators/cubic_hermite.hpp>

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Harmotrack::Host {
namespace {

constexpr double kLargestGapInSteps = 10.0;

void checkTimes(std::span<const double> seconds)
{
    if (seconds.size() < 4)
        throw HostError("The signal has " + std::to_string(seconds.size()) +
                        " samples, and at least 4 are needed.");
    std::vector<double> steps;
    steps.reserve(seconds.size() - 1);
    for (std::size_t k = 1; k < seconds.size(); ++k) {
        const double step = seconds[k] - seconds[k - 1];
        if (!(step > 0.0) || !std::isfinite(step))
            throw HostError("Time does not increase at sample " + std::to_string(k + 1) + ": " +
                            numberText(seconds[k]) + " s follows " + numberText(seconds[k - 1]) +
                            " s.");
        steps.push_back(step);
    }
    const auto largest = std::max_element(steps.begin(), steps.end());
    const double largestStep = *largest;
    const double before = seconds[static_cast<std::size_t>(largest - steps.begin())];
    const auto middle = steps.begin() + static_cast<std::ptrdiff_t>(steps.size() / 2);
    std::nth_element(steps.begin(), middle, steps.end());
    if (largestStep > kLargestGapInSteps * *middle)
        throw HostError("The signal has a gap of " + numberText(largestStep) + " s after " +
                        numberText(before) + " s, and at most ten times the median step of " +
                        numberText(*middle) + " s is allowed.");
}

} // namespace

double UniformSignal::endSeconds() const
{
    return samples.empty() ? startSeconds
                           : startSeconds + static_cast<double>(samples.size() - 1) / rateHz;
}

UniformSignal toUniform(std::span<const double> seconds, std::span<const double> values)
{
    if (seconds.size() != values.size())
        throw HostError("The signal has " + std::to_string(values.size()) + " samples and " +
                        std::to_string(seconds.size()) + " times, and the counts must be equal.");
    checkTimes(seconds);
    const auto bad = std::find_if(
        values.begin(), values.end(), [](double value) { return !std::isfinite(value); });
    if (bad != values.end())
        throw HostError("Sample " + std::to_string(bad - values.begin() + 1) +
                        " of the signal is not a finite number.");

    UniformSignal uniform;
    uniform.startSeconds = seconds.front();
    uniform.rateHz = static_cast<double>(seconds.size() - 1) / (seconds.back() - seconds.front());

    using Values = std::vector<double>;
    const boost::math::interpolators::cubic_hermite<Values> spline(
        Values(seconds.begin(), seconds.end()),
        Values(values.begin(), values.end()),
        naturalSplineSlopes(seconds, values));
    uniform.samples.resize(seconds.size());
    for (std::size_t k = 0; k < uniform.samples.size(); ++k) {
        const double t = uniform.startSeconds + static_cast<double>(k) / uniform.rateHz;
        uniform.samples[k] = spline(std::min(t, seconds.back()));
    }
    return uniform;
}

// The condition of equal second derivatives at knot i, with steps h and secants d on either side,
//     s[i-1] / h[i-1] + 2 s[i] (1 / h[i-1] + 1 / h[i]) + s[i+1] / h[i]
//         = 3 (d[i-1] / h[i-1] + d[i] / h[i]),
// and 2 s + s' = 3 d at the ends, is a tridiagonal system with a dominant diagonal: elimination
// without pivoting is stable.
std::vector<double> naturalSplineSlopes(std::span<const double> x, std::span<const double> y)
{
    const std::size_t n = x.size();
    std::vector<double> above(n); // elements of the eliminated matrix right of its diagonal of ones
    std::vector<double> slopes(n);
    double inverseLeft = 0.0; // 1 / h and d / h of the interval on the left
    double pullLeft = 0.0;
    for (std::size_t i = 0; i < n; ++i) {
        const bool last = i + 1 == n;
        const double inverseRight = last ? 0.0 : 1.0 / (x[i + 1] - x[i]);
        const double pullRight = last ? 0.0 : (y[i + 1] - y[i]) * inverseRight * inverseRight;
        double diagonal = 2.0 * (inverseLeft + inverseRight);
        double right = 3.0 * (pullLeft + pullRight);
        if (i > 0) {
            diagonal -= inverseLeft * above[i - 1];
            right -= inverseLeft * slopes[i - 1];
        }
        above[i] = inverseRight / diagonal;
        slopes[i] = right / diagonal;
        inverseLeft = inverseRight;
        pullLeft = pullRight;
    }
    for (std::size_t i = n - 1; i-- > 0;) slopes[i] -= above[i] * slopes[i + 1];
    return slopes;
}

} // namespace Harmotrack::Host

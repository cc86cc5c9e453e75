#include "host/signals/low_pass_decimator.h"

#include <boost/math/special_functions/bessel.hpp>

#include <algorithm>
#include <cmath>
#include <numbers>
#include <numeric>

namespace Harmotrack::Host {
namespace {

// Kaiser's formulas for 80 dB (Oppenheim and Schafer, Discrete-Time Signal Processing, 7.5.3):
// beta = 0.1102 (A - 8.7), half length = (A - 8) / 2 / (2.285 · 2π · width), with a transition
// width of a third of the new rate.
constexpr double kBeta = 0.1102 * (80.0 - 8.7);
constexpr double kHalfLengthPerFactor = 7.6;

std::vector<double> kernelFor(int factor)
{
    if (factor == 1) return {1.0};
    const int half = static_cast<int>(std::ceil(kHalfLengthPerFactor * factor));
    std::vector<double> kernel;
    for (int i = -half; i <= half; ++i) {
        const double x = std::numbers::pi * i / factor;
        const double share = static_cast<double>(i) / half;
        const double window = boost::math::cyl_bessel_i(0, kBeta * std::sqrt(1.0 - share * share));
        kernel.push_back(window * (i == 0 ? 1.0 : std::sin(x) / x));
    }
    const double sum = std::accumulate(kernel.begin(), kernel.end(), 0.0);
    for (double& tap : kernel) tap /= sum;
    return kernel;
}

} // namespace

LowPassDecimator::LowPassDecimator(int factor)
    : factor_(static_cast<std::size_t>(factor)), kernel_(kernelFor(factor))
{
}

void LowPassDecimator::push(std::span<const double> samples, std::vector<double>& decimated)
{
    pending_.insert(pending_.end(), samples.begin(), samples.end());
    std::size_t from = 0;
    for (; from + kernel_.size() <= pending_.size(); from += factor_) {
        decimated.push_back(std::inner_product(kernel_.begin(),
                                               kernel_.end(),
                                               pending_.begin() + static_cast<std::ptrdiff_t>(from),
                                               0.0));
    }
    pending_.erase(pending_.begin(), pending_.begin() + static_cast<std::ptrdiff_t>(from));
}

} // namespace Harmotrack::Host

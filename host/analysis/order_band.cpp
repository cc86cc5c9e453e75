#include "host/analysis/order_band.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace Harmotrack::Host {
namespace {

struct Lobe {
    double noiseBandwidth; ///< lines
    double zero;           ///< the first one, lines from the middle
};

Lobe lobeOf(Window window)
{
    switch (window) {
    case Window::Rectangle:
        return {1.0, 1.0};
    case Window::Hamming:
        return {1.36282578875171, 2.0};
    case Window::Flattop:
        return {3.77024644744343, 5.0};
    case Window::Triangle:
        return {4.0 / 3.0, 2.0};
    case Window::Blackman:
        return {1.72675736961451, 3.0};
    case Window::BlackmanHarris:
        return {2.63190501844503, 4.0};
    case Window::Hanning:
        break;
    }
    return {1.5, 2.0};
}

// Of a distance in orders: what rounding makes of a line at the border of the band.
constexpr double kRounding = 1e-9;

} // namespace

float coherence(std::complex<float> mean, float amplitude)
{
    if (!(amplitude > 0.0F)) return std::numeric_limits<float>::quiet_NaN();
    return std::min(std::abs(mean) / amplitude, 1.0F);
}

double noiseBandwidth(Window window)
{
    return lobeOf(window).noiseBandwidth;
}

double reachOfOrder(Window window, double resolution)
{
    constexpr double kQuarterOrder = 0.25;
    constexpr double kShortOfZero = 1e-6; // the lobe ends there, and with the next order's begins
    return std::min((lobeOf(window).zero - kShortOfZero) * resolution, kQuarterOrder);
}

OrderBand::OrderBand(std::span<const double> orders, double order, double reach, Window window)
    : noiseBandwidth_(noiseBandwidth(window))
{
    const auto low = std::lower_bound(orders.begin(), orders.end(), order - reach - kRounding);
    const auto high = std::upper_bound(low, orders.end(), order + reach + kRounding);
    first_ = static_cast<std::size_t>(low - orders.begin());
    count_ = static_cast<std::size_t>(high - low);
    if (count_ > 0 || orders.empty()) return;
    const auto nearer = [order](double a, double b) {
        return std::abs(a - order) < std::abs(b - order);
    };
    first_ = static_cast<std::size_t>(std::min_element(orders.begin(), orders.end(), nearer) -
                                      orders.begin());
    count_ = 1;
}

float OrderBand::amplitude(std::span<const float> spectrum) const
{
    double energy = 0.0;
    double largest = 0.0;
    for (const float line : spectrum.subspan(first_, count_)) {
        const auto value = static_cast<double>(line);
        energy += value * value;
        largest = std::max(largest, value);
    }
    return static_cast<float>(std::max(std::sqrt(energy / noiseBandwidth_), largest));
}

} // namespace Harmotrack::Host

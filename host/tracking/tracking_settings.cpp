#include "host/tracking/tracking_settings.h"

#include "host/host_error.h"
#include "host/ranges.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <string>

namespace Harmotrack::Host {
namespace {

// The likelihood is a power with an exponent of about N / 2: with more samples it leaves the range
// of a double between a block's best and worst candidate. See BlockTracker.
constexpr int kMostSamples = 256;
constexpr double kLeastSamples = 125.0; // that are aimed at
constexpr std::size_t kMostOrders = 20;
constexpr double kHighestOrder = 10000.0;
// Rates by the highest tracked frequency. From 8 on the library's tracker would decimate by itself.
constexpr double kLeastRate = 2.5; // of a signal
constexpr double kLeastDecimatedRate = 3.0;
constexpr double kRateOfOwnDecimation = 8.0;
// The filter before it has fifteen times as many taps.
constexpr double kMostDecimation = 1e6;

double highestOrder(const TrackingSettings& settings)
{
    return static_cast<double>(*std::max_element(settings.orders.begin(), settings.orders.end()));
}

double highestHz(const TrackingSettings& settings)
{
    return highestOrder(settings) * settings.maxRpm / 60.0;
}

double leastDecimation(const TrackingSettings& settings, double rateHz)
{
    return std::floor(rateHz / (kRateOfOwnDecimation * highestHz(settings))) + 1.0;
}

double mostDecimation(const TrackingSettings& settings, double rateHz)
{
    return std::max(std::floor(rateHz / (kLeastDecimatedRate * highestHz(settings))), 1.0);
}

// Euclid's algorithm, with as much tolerance as the decimals that people write.
double commonDivisor(double a, double b)
{
    constexpr double kSmallest = 1e-3;
    while (b > kSmallest) {
        const double rest = std::abs(a - b * std::round(a / b));
        a = b;
        b = rest;
    }
    return a;
}

void checkOrders(const std::vector<float>& orders)
{
    if (orders.size() < 2 || orders.size() > kMostOrders)
        throw HostError("The number of orders is " + std::to_string(orders.size()) + ", and 2 to " +
                        std::to_string(kMostOrders) +
                        " are allowed: one order alone is explained as well by a part of the "
                        "speed.");
    double divisor = 0.0;
    for (std::size_t j = 0; j < orders.size(); ++j) {
        const auto order = static_cast<double>(orders[j]);
        if (!(order > 0.0) || order > kHighestOrder)
            throw HostError("Order " + std::to_string(j + 1) + " of the list is " +
                            numberText(order) + ", and it must be above 0 and at most " +
                            numberText(kHighestOrder) + ".");
        if (std::count(orders.begin(), orders.end(), orders[j]) > 1)
            throw HostError("Order " + numberText(order) +
                            " stands twice in the list, and once is allowed.");
        divisor = commonDivisor(order, divisor);
    }
    if (divisor > 1.001)
        throw HostError("All orders are multiples of " + numberText(divisor) +
                        ", so that a machine of " + numberText(divisor) +
                        " times the speed explains them as well; add an order that is none.");
}

void checkRange(const TrackingSettings& settings)
{
    constexpr double kWidest = 200.0;
    if (!(settings.minRpm > 0.0) || !(settings.maxRpm > settings.minRpm) ||
        settings.maxRpm > kFastestRpm || settings.maxRpm > kWidest * settings.minRpm)
        throw HostError("The speed range is " + numberText(settings.minRpm) + " to " +
                        numberText(settings.maxRpm) +
                        " rpm; it must begin above 0 and end above that, at most " +
                        numberText(kWidest) + " times as high and at most at " +
                        numberText(kFastestRpm) + ".");
}

void checkRate(const TrackingSettings& settings, double rateHz)
{
    Host::checkRate("The sampling rate", rateHz);
    const double least = kLeastRate * highestHz(settings);
    if (rateHz < least * (1.0 - 1e-9))
        throw HostError("Order " + numberText(highestOrder(settings)) + " is " +
                        numberText(highestHz(settings)) + " Hz at " + numberText(settings.maxRpm) +
                        " rpm, and to track it the sampling rate must be at least " +
                        numberText(least) + " Hz; it is " + numberText(rateHz) + " Hz.");
}

} // namespace

void TrackingSettings::validate(double rateHz) const
{
    checkOrders(orders);
    checkRange(*this);
    checkRate(*this, rateHz);
    if (!(leastExplained >= 0.0 && leastExplained <= 1.0))
        throw HostError("The least explained share is " + numberText(leastExplained) +
                        ", and 0 to 1 is allowed.");
    if (blockSeconds == 0.0) return;
    // A model of 2 m + 1 terms needs samples besides to be wrong about.
    const double least =
        static_cast<double>(4 * orders.size() + 16) * leastDecimation(*this, rateHz) / rateHz;
    const double most = kMostSamples * mostDecimation(*this, rateHz) / rateHz;
    if (!(blockSeconds >= least && blockSeconds <= most))
        throw HostError("The length of a block is " + numberText(blockSeconds) + " s, and " +
                        numberText(least) + " to " + numberText(most) +
                        " s are allowed with these orders and speeds.");
}

TrackingPlan planFor(const TrackingSettings& settings, double rateHz)
{
    constexpr double kTurns = 2.0;
    const double seconds =
        settings.blockSeconds > 0.0 ? settings.blockSeconds : kTurns * 60.0 / settings.minRpm;
    TrackingPlan plan;
    const double decimation = std::clamp(std::floor(seconds * rateHz / kLeastSamples),
                                         leastDecimation(settings, rateHz),
                                         mostDecimation(settings, rateHz));
    plan.decimation = static_cast<std::int32_t>(std::min(decimation, kMostDecimation));
    plan.rateHz = rateHz / plan.decimation;
    const double wanted = settings.blockSeconds > 0.0
                              ? seconds * plan.rateHz
                              : std::max(seconds * plan.rateHz, kLeastSamples);
    plan.blockSamples = static_cast<std::int32_t>(
        std::lround(std::clamp(wanted, 1.0, static_cast<double>(kMostSamples))));
    plan.hopSamples = std::max(plan.blockSamples / 2, 1);
    plan.stepHz = 0.25 / (highestOrder(settings) * plan.blockSeconds());
    return plan;
}

} // namespace Harmotrack::Host

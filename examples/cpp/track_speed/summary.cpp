#include "summary.h"

#include "number_text.h"
#include "tracking.h"

#include <algorithm>
#include <cstddef>

namespace Harmotrack::Examples {
namespace {

std::string ordersText(const Report& report)
{
    std::string text;
    for (const float order : report.settings.orders)
        text += (text.empty() ? "" : ", ") + shortest(order);
    return text;
}

std::string speedText(const Host::TrackedSpeed& speed)
{
    double lowest = 0.0;
    double highest = 0.0;
    for (const Host::SpeedEstimate& estimate : speed.estimates) {
        if (!estimate.valid) continue;
        lowest = lowest > 0.0 ? std::min(lowest, estimate.rpm) : estimate.rpm;
        highest = std::max(highest, estimate.rpm);
    }
    return fourDigits(lowest) + " to " + fourDigits(highest) + " rpm, " + foundText(speed);
}

std::string lostText(const Host::TrackedSpeed& speed)
{
    constexpr std::size_t kMostShown = 6;
    const std::vector<Host::LostStretch> lost = speed.lost();
    std::string text;
    for (std::size_t s = 0; s < std::min(lost.size(), kMostShown); ++s)
        text += summaryLine(s == 0 ? "Lost" : "",
                            fourDigits(lost[s].fromSeconds) + " to " +
                                fourDigits(lost[s].toSeconds) + " s");
    if (lost.size() > kMostShown)
        text += summaryLine("", "and " + std::to_string(lost.size() - kMostShown) + " times more");
    return text;
}

std::string errorText(const Report& report)
{
    const Comparison& comparison = *report.comparison;
    const std::string name =
        report.source.hasMark ? "Error to tacho" : "Error to column"; // what the speed is known by
    if (comparison.validCount() == 0)
        return summaryLine(name, "no valid estimate where the speed is known");
    return summaryLine(name,
                       "median " + fourDigits(comparison.quantile(0.5)) +
                           " %, 95 % of the valid blocks within " +
                           fourDigits(comparison.quantile(0.95)) + " %") +
           summaryLine("",
                       fourDigits(100.0 * comparison.shareWithin(1.0)) + " % of all blocks within "
                                                                         "1 %");
}

} // namespace

std::string speedTable(const Report& report)
{
    std::string text = "time (s),speed (rpm),valid,explained,distinctness\n";
    for (const Host::SpeedEstimate& estimate : report.speed.estimates)
        text += shortest(estimate.seconds) + ',' + shortest(estimate.rpm) + ',' +
                (estimate.valid ? "1," : "0,") + rounded(estimate.explained) + ',' +
                rounded(estimate.distinctness) + '\n';
    return text;
}

std::string summaryText(const Report& report)
{
    const Host::UniformSignal& signal = report.source.signals.front();
    const double seconds = static_cast<double>(signal.samples.size()) / signal.rateHz;
    return summaryLine("Recording",
                       report.source.file + ", " + report.source.names.front() + ", " +
                           fourDigits(seconds) + " s at " + rounded(signal.rateHz) + " Hz") +
           summaryLine("Tracked",
                       "orders " + ordersText(report) + " from " + rounded(report.settings.minRpm) +
                           " to " + rounded(report.settings.maxRpm) + " rpm") +
           summaryLine("Blocks",
                       fourDigits(report.plan.blockSeconds()) + " s, " +
                           std::to_string(report.plan.blockSamples) + " samples at " +
                           rounded(report.plan.rateHz) + " Hz") +
           summaryLine("Speed", speedText(report.speed)) + lostText(report.speed) +
           (report.comparison ? errorText(report) : std::string());
}

} // namespace Harmotrack::Examples

#include "summary.h"

#include <algorithm>
#include <cmath>
#include <cstddef>

namespace Harmotrack::Examples {
namespace {

// The greatest amplitude of each order, and its speed.
std::vector<OrderPeak> greatestByOrder(const Host::AnalysisResults& results,
                                       const Host::SignalResults& signal)
{
    std::vector<OrderPeak> peaks(results.orders.size());
    for (std::size_t k = 0; k < peaks.size(); ++k) {
        peaks[k].order = results.orders[k];
        for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
            const auto amplitude = static_cast<double>(signal.orderMap.row(b)[k]);
            if (results.orderBlocks[b] != 0 && amplitude > peaks[k].amplitude)
                peaks[k] = {results.orders[k], amplitude, results.binRpm[b]};
        }
    }
    return peaks;
}

std::string blocksText(const Report& report)
{
    const Host::AnalysisSettings& settings = report.settings;
    const auto& blocks = report.results.orderBlocks;
    const auto empty = std::count(blocks.begin(), blocks.end(), 0);
    const auto visited = blocks.size() - static_cast<std::size_t>(empty);
    return summaryLine("Speed bins",
                       std::to_string(visited) + " of " + std::to_string(blocks.size()) +
                           " visited, " + rounded(settings.stepRpm) + " rpm apart from " +
                           rounded(settings.minRpm) + " rpm") +
           summaryLine("Order spectra",
                       "up to order " + rounded(settings.highestOrder) + " in steps of " +
                           rounded(settings.orderResolution) + " (blocks of " +
                           rounded(std::round(1.0 / settings.orderResolution)) + " revolutions)");
}

// How many there are, and the first of them in full.
std::string listText(const std::string& title,
                     const std::string& what,
                     const std::vector<std::string>& sentences)
{
    if (sentences.empty()) return {};
    constexpr std::size_t kShown = 3;
    std::string text = summaryLine(
        title, std::to_string(sentences.size()) + ' ' + what + (sentences.size() == 1 ? "" : "s"));
    for (std::size_t i = 0; i < std::min(sentences.size(), kShown); ++i)
        text += summaryLine("", sentences[i]);
    if (sentences.size() > kShown)
        text += summaryLine("", "and " + std::to_string(sentences.size() - kShown) + " more");
    return text;
}

// What has to be known before anything that follows.
std::string remarksText(const Report& report)
{
    std::vector<std::string> remarks = report.recording.remarks;
    remarks.insert(remarks.end(), report.results.remarks.begin(), report.results.remarks.end());
    return listText("Remarks", "remark", remarks);
}

// What was mended in the tacho.
std::string repairsText(const Report& report)
{
    std::vector<std::string> repairs;
    for (const Host::TachoEvent& event : report.recording.tachoEvents)
        repairs.push_back(event.text());
    return listText("Tacho", "repair", repairs);
}

std::string signalText(const Report& report, std::size_t s)
{
    const Host::AnalysisResults& results = report.results;
    std::string text = '\n' + report.recording.names[s] + '\n';
    for (const OrderPeak& peak : strongestOrders(results, results.signals[s], 5))
        text += summaryLine("  order " + rounded(peak.order),
                            fourDigits(peak.amplitude, 8) + ' ' + report.amplitudeUnit() + " at " +
                                rounded(peak.rpm) + " rpm");

    float lowest = 0.0F;
    float highest = 0.0F;
    bool first = true;
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        if (results.timeBlocks[b] == 0) continue;
        const float level = results.signals[s].overall[b];
        lowest = first ? level : std::min(lowest, level);
        highest = first ? level : std::max(highest, level);
        first = false;
    }
    if (first) return text + summaryLine("  overall level", "no block for it");
    return text +
           summaryLine("  overall level",
                       fourDigits(static_cast<double>(lowest), 8) + " to " +
                           fourDigits(static_cast<double>(highest)) + ' ' + report.unit + " RMS");
}

} // namespace

std::vector<OrderPeak> strongestOrders(const Host::AnalysisResults& results,
                                       const Host::SignalResults& signal,
                                       std::size_t count)
{
    constexpr double kLowestOrder = 0.25; // below, the leakage of a slow drift
    constexpr std::size_t kNeighbours = 3;
    constexpr double kAboveMedian = 10.0;

    const std::vector<OrderPeak> all = greatestByOrder(results, signal);
    std::vector<double> amplitudes;
    amplitudes.reserve(all.size());
    for (const OrderPeak& peak : all) amplitudes.push_back(peak.amplitude);
    const auto middle = amplitudes.begin() + static_cast<std::ptrdiff_t>(amplitudes.size() / 2);
    std::nth_element(amplitudes.begin(), middle, amplitudes.end());
    // With few lines the median is a peak's foot and tells no noise.
    const double least = all.size() < 200 ? 0.0 : kAboveMedian * *middle;

    std::vector<OrderPeak> peaks;
    for (std::size_t k = 1; k + 1 < all.size(); ++k) {
        if (all[k].order <= kLowestOrder || all[k].amplitude <= least) continue;
        bool greatest = true;
        for (std::size_t i = k - std::min(k, kNeighbours);
             i <= std::min(k + kNeighbours, all.size() - 1);
             ++i)
            greatest = greatest && all[i].amplitude <= all[k].amplitude;
        if (greatest) peaks.push_back(all[k]);
    }
    std::sort(peaks.begin(), peaks.end(), [](const OrderPeak& a, const OrderPeak& b) {
        return a.amplitude > b.amplitude;
    });
    peaks.resize(std::min(peaks.size(), count));
    return peaks;
}

std::string summaryText(const Report& report)
{
    const Host::UniformSignal& signal = report.recording.signals.front();
    const double seconds = static_cast<double>(signal.samples.size()) / signal.rateHz;
    std::string text = remarksText(report) +
                       summaryLine("Recording",
                                   report.recording.file + ", " + fourDigits(seconds) + " s at " +
                                       rounded(signal.rateHz) + " Hz") +
                       summaryLine("Speed",
                                   fourDigits(report.results.lowestRpm) + " to " +
                                       fourDigits(report.results.highestRpm) + " rpm over " +
                                       rounded(report.recording.turns()) + " revolutions, " +
                                       report.recording.speedSource) +
                       repairsText(report) + blocksText(report);
    for (std::size_t s = 0; s < report.results.signals.size(); ++s) text += signalText(report, s);
    return text;
}

} // namespace Harmotrack::Examples

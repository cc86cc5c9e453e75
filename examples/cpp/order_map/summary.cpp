#include "summary.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>

namespace Harmotrack::Examples {
namespace {

template <typename... Values>
std::string line(const char* format, Values... values)
{
    std::array<char, 256> text{};
    std::snprintf(text.data(), text.size(), format, values...);
    return std::string(text.data()) + '\n';
}

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
    const auto& blocks = report.results.orderBlocks;
    const auto visited =
        blocks.size() - static_cast<std::size_t>(std::count(blocks.begin(), blocks.end(), 0));
    return line("Speed bins        %zu of %zu visited, %s rpm apart from %s rpm",
                visited,
                blocks.size(),
                rounded(report.settings.stepRpm).c_str(),
                rounded(report.settings.minRpm).c_str()) +
           line("Order spectra     up to order %s in steps of %s (blocks of %.0f revolutions)",
                rounded(report.settings.highestOrder).c_str(),
                rounded(report.settings.orderResolution).c_str(),
                1.0 / report.settings.orderResolution);
}

std::string signalText(const Report& report, std::size_t s)
{
    const Host::AnalysisResults& results = report.results;
    std::string text = '\n' + report.recording.names[s] + '\n';
    for (const OrderPeak& peak : strongestOrders(results, results.signals[s], 5))
        text += line("  order %-8s  %10.4g %s at %s rpm",
                     rounded(peak.order).c_str(),
                     peak.amplitude,
                     report.amplitudeUnit().c_str(),
                     rounded(peak.rpm).c_str());

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
    if (first) return text + line("  no block for an overall level");
    return text + line("  overall level   %.4g to %.4g %s RMS",
                       static_cast<double>(lowest),
                       static_cast<double>(highest),
                       report.unit.c_str());
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
    std::string text = line("Recording         %s: %.4g s at %.6g Hz",
                            report.recording.file.c_str(),
                            static_cast<double>(signal.samples.size()) / signal.rateHz,
                            signal.rateHz) +
                       line("Speed             %.4g to %.4g rpm over %.5g revolutions",
                            report.results.lowestRpm,
                            report.results.highestRpm,
                            report.recording.angle.turns()) +
                       blocksText(report);
    for (std::size_t s = 0; s < report.results.signals.size(); ++s) text += signalText(report, s);
    return text;
}

} // namespace Harmotrack::Examples

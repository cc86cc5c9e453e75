#include "tables.h"

#include <cmath>
#include <complex>
#include <cstddef>
#include <numbers>
#include <span>

namespace Harmotrack::Examples {
namespace {

std::string quoted(const std::string& field)
{
    if (field.find_first_of(",\"\n\r") == std::string::npos) return field;
    std::string text = "\"";
    for (const char c : field) text += c == '"' ? std::string("\"\"") : std::string(1, c);
    return text + '"';
}

std::string mapHeader(std::span<const double> columns, const std::string& name)
{
    std::string text;
    for (const double column : columns) text += ',' + name + rounded(column);
    return text + '\n';
}

void addRow(std::string& text, double rpm, std::span<const float> row)
{
    text += rounded(rpm);
    for (const float value : row) text += ',' + shortest(value);
    text += '\n';
}

} // namespace

std::string orderMapTable(const Report& report)
{
    const Host::AnalysisResults& results = report.results;
    std::string text = "signal,speed (rpm)" + mapHeader(results.orders, "order ");
    for (std::size_t s = 0; s < results.signals.size(); ++s) {
        for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
            if (results.orderBlocks[b] == 0) continue;
            text += quoted(report.recording.names[s]) + ',';
            addRow(text, results.binRpm[b], results.signals[s].orderMap.row(b));
        }
    }
    return text;
}

std::string frequencyMapTable(const Report& report)
{
    const Host::AnalysisResults& results = report.results;
    std::string text = "signal,speed (rpm)" + mapHeader(results.frequencies, "Hz ");
    for (std::size_t s = 0; s < results.signals.size(); ++s) {
        for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
            if (results.timeBlocks[b] == 0) continue;
            text += quoted(report.recording.names[s]) + ',';
            addRow(text, results.binRpm[b], results.signals[s].frequencyMap.row(b));
        }
    }
    return text;
}

std::string harmonicsTable(const Report& report)
{
    const Host::AnalysisResults& results = report.results;
    std::string text = "signal,order,speed (rpm),amplitude (" + report.amplitudeUnit() +
                       "),phase (deg),coherence\n";
    for (std::size_t s = 0; s < results.signals.size(); ++s) {
        for (std::size_t h = 0; h < report.settings.harmonics.size(); ++h) {
            for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
                if (results.orderBlocks[b] == 0) continue;
                const std::complex<double> value = results.signals[s].harmonics[h][b];
                text += quoted(report.recording.names[s]) + ',' +
                        shortest(report.settings.harmonics[h]) + ',' + rounded(results.binRpm[b]) +
                        ',' + shortest(report.amplitude(s, h, b)) + ',' +
                        rounded(std::arg(value) * 180.0 / std::numbers::pi) + ',' +
                        rounded(static_cast<double>(report.coherence(s, h, b))) + '\n';
            }
        }
    }
    return text;
}

std::string overallTable(const Report& report)
{
    const Host::AnalysisResults& results = report.results;
    std::string text = "signal,speed (rpm),overall level (" + report.unit + " RMS)\n";
    for (std::size_t s = 0; s < results.signals.size(); ++s) {
        for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
            if (results.timeBlocks[b] == 0) continue;
            text += quoted(report.recording.names[s]) + ',' + rounded(results.binRpm[b]) + ',' +
                    shortest(results.signals[s].overall[b]) + '\n';
        }
    }
    return text;
}

std::string whirlMapTable(const Report& report)
{
    const Host::AnalysisResults& results = report.results;
    std::string text = "speed (rpm)" + mapHeader(results.whirlOrders, "order ");
    for (std::size_t b = 0; b < results.binRpm.size(); ++b) {
        if (results.orderBlocks[b] != 0) addRow(text, results.binRpm[b], results.whirlMap.row(b));
    }
    return text;
}

} // namespace Harmotrack::Examples

#include "curve_panels.h"

#include "host/analysis/order_band.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <complex>
#include <cstddef>
#include <limits>
#include <numbers>
#include <vector>

namespace Harmotrack::Examples {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNothing = std::numeric_limits<double>::quiet_NaN();

// Okabe and Ito's colours, which the colour-blind tell apart too.
constexpr std::array<const char*, 5> kColours{
    "#0072b2", "#d55e00", "#009e73", "#cc79a7", "#e69f00"};

// The key of a panel, in a row above its upper right corner.
constexpr const char* kKeyAbove =
    "set key at graph 1,1.01 right bottom horizontal Left reverse samplen 1.5 maxrows 1\n";

// Why curves of phases have gaps, in the panel's corner, behind them.
constexpr const char* kGapsExplained = "set label 4 'where the order stands out of the noise, its "
                                       "phase steady' at graph 0.99,0.89 right back "
                                       "textcolor rgb '#777777' font ',11'\n";

struct Curve {
    std::string title; ///< empty: not in the key
    std::string data;  ///< lines of x and y, an empty line where the curve is broken
    std::size_t colour;
    bool dashed;
};

std::string plotText(const std::vector<Curve>& curves)
{
    std::string blocks;
    std::string commands;
    for (std::size_t c = 0; c < curves.size(); ++c) {
        const Curve& curve = curves[c];
        const std::string name = "$curve" + std::to_string(c);
        blocks += name + " << END_OF_CURVE\n" + curve.data + "END_OF_CURVE\n";
        commands += (c == 0 ? "plot " : ", ") + name + " using 1:2 with lines linewidth 2" +
                    " linecolor rgb '" + kColours[curve.colour % kColours.size()] + '\'' +
                    (curve.dashed ? " dashtype (8,5)" : "") +
                    (curve.title.empty() ? std::string(" notitle")
                                         : " title " + quotedText(curve.title) + " noenhanced");
    }
    return blocks + (curves.empty() ? "plot NaN notitle" : commands) + '\n';
}

// Values over the speed of the visited bins. The curve is broken where more than a few bins in
// between were not visited, where there is no value, and where it jumps by more than `longestJump`.
// Of a single bin it is a line as wide as the bin.
template <typename Value>
std::string overSpeed(const Report& report,
                      const std::vector<int>& blocks,
                      double longestJump,
                      const Value& valueOf)
{
    constexpr std::size_t kLongestGap = 4;
    std::string data;
    if (blocks.size() == 1 && blocks[0] != 0) {
        for (const double side : {-0.5, 0.5})
            data += plotNumber(report.results.binRpm[0] + side * report.settings.stepRpm) + ' ' +
                    plotNumber(valueOf(0)) + '\n';
        return data;
    }
    std::size_t lastBin = 0;
    double lastValue = 0.0;
    for (std::size_t b = 0; b < blocks.size(); ++b) {
        if (blocks[b] == 0) continue;
        const double value = valueOf(b);
        const bool near = b - lastBin <= kLongestGap && std::abs(value - lastValue) <= longestJump;
        if (!near && !data.empty()) data += '\n';
        data += plotNumber(report.results.binRpm[b]) + ' ' + plotNumber(value) + '\n';
        lastBin = b;
        lastValue = value;
    }
    return data.empty() ? "NaN NaN\n" : data;
}

double greatestAmplitude(const Report& report, std::size_t harmonic)
{
    double greatest = 0.0;
    for (std::size_t s = 0; s < report.results.signals.size(); ++s) {
        for (std::size_t b = 0; b < report.results.binRpm.size(); ++b)
            greatest = std::max(greatest, static_cast<double>(report.amplitude(s, harmonic, b)));
    }
    return greatest;
}

// The numbers of the extracted orders that are worth a curve, in the order they were asked for.
std::vector<std::size_t> shownHarmonics(const Report& report)
{
    constexpr double kLeastShare = 0.01;
    std::vector<std::size_t> shown(report.settings.harmonics.size());
    std::vector<double> amplitudes;
    for (std::size_t h = 0; h < shown.size(); ++h) {
        shown[h] = h;
        amplitudes.push_back(greatestAmplitude(report, h));
    }
    std::sort(shown.begin(), shown.end(), [&](std::size_t a, std::size_t b) {
        return amplitudes[a] > amplitudes[b];
    });
    while (!shown.empty() && (shown.size() > kColours.size() ||
                              amplitudes[shown.back()] < kLeastShare * amplitudes[shown.front()]))
        shown.pop_back();
    std::sort(shown.begin(), shown.end());
    return shown;
}

// The usual amplitude of a line in each row of an order map: the median, mostly noise.
std::vector<double> usualAmplitudes(const Host::Table& map)
{
    std::vector<double> usual;
    for (std::size_t b = 0; b < map.rows(); ++b) {
        const auto row = map.row(b);
        std::vector<float> cells(row.begin(), row.end());
        const auto middle = cells.begin() + static_cast<std::ptrdiff_t>(cells.size() / 2);
        std::nth_element(cells.begin(), middle, cells.end());
        usual.push_back(static_cast<double>(*middle));
    }
    return usual;
}

std::vector<Curve> amplitudeCurves(const Report& report, const std::vector<std::size_t>& shown)
{
    std::vector<Curve> curves;
    for (std::size_t s = 0; s < report.results.signals.size(); ++s) {
        for (std::size_t i = 0; i < shown.size(); ++i) {
            const std::string title = shortest(report.settings.harmonics[shown[i]]);
            const auto amplitude = [&](std::size_t b) {
                return static_cast<double>(report.amplitude(s, shown[i], b));
            };
            curves.push_back({s == 0 ? title : std::string(),
                              overSpeed(report, report.results.orderBlocks, kInfinity, amplitude),
                              i,
                              s == 1});
        }
    }
    return curves;
}

struct PhaseCurves {
    std::vector<Curve> curves;
    bool leftOut = false; ///< some phases that would be those of the noise
};

PhaseCurves phaseCurves(const Report& report, const std::vector<std::size_t>& shown)
{
    const bool toShaft = report.settings.phaseMode == Host::PhaseMode::Shaft;
    constexpr double kHalfTurn = 180.0;
    // Without order 1 itself, what is left of a machine is seldom far above the noise.
    const double aboveUsual = toShaft ? 4.0 : 2.0;
    PhaseCurves phases;
    for (std::size_t s = 0; s < report.results.signals.size(); ++s) {
        const Host::SignalResults& signal = report.results.signals[s];
        const std::vector<double> usual = usualAmplitudes(signal.orderMap);
        for (std::size_t i = 0; i < shown.size(); ++i) {
            const float order = report.settings.harmonics[shown[i]];
            if (order != std::floor(order)) continue; // its phase is not that to the shaft
            if (!toShaft && order == 1.0F) continue;  // against itself it is 0
            const auto phase = [&](std::size_t b) {
                const std::complex<double> value = signal.harmonics[shown[i]][b];
                const auto coherence = static_cast<double>(report.coherence(s, shown[i], b));
                if (std::abs(value) > aboveUsual * usual[b] && coherence >= Host::kLeastCoherence)
                    return std::arg(value) * kHalfTurn / std::numbers::pi;
                phases.leftOut = true;
                return kNothing;
            };
            phases.curves.push_back(
                {"", overSpeed(report, report.results.orderBlocks, kHalfTurn, phase), i, s == 1});
        }
    }
    return phases;
}

std::string panel(const Area& area, const std::string& title, const std::string& yLabel)
{
    return placeText(area) + headingText(title) + "set ylabel " + quotedText(yLabel) +
           " noenhanced offset 0.8\nset mytics 2\nset mxtics 5\n";
}

// The range of a level that starts at 0.
std::string levelRange(double greatest)
{
    const double top = greatest > 0.0 ? 1.05 * greatest : 1.0;
    return "set yrange " + rangeText(0.0, top) + '\n' + ticsText("ytics", 0.0, top);
}

std::string speedAxis(const Report& report, bool labelled)
{
    const std::vector<double>& bins = report.results.binRpm;
    const double half = 0.5 * report.settings.stepRpm;
    return "set xrange " + rangeText(bins.front() - half, bins.back() + half) + '\n' +
           ticsText("xtics", bins.front() - half, bins.back() + half) +
           (labelled ? "set format x '%g'\nset xlabel 'Speed (rpm)' offset 0,0.5\n"
                     : "set format x ''\nset xlabel ''\n");
}

std::string profilePanel(const Report& report, const Area& area)
{
    constexpr std::size_t kMostPoints = 4000;
    const Host::AnalysisResults& results = report.results;
    const std::size_t step = std::max<std::size_t>(results.seconds.size() / kMostPoints, 1);
    std::string data;
    for (std::size_t k = 0; k < results.seconds.size(); k += step)
        data += plotNumber(results.seconds[k]) + ' ' + plotNumber(results.speedRpm[k]) + '\n';
    const double margin =
        std::max(0.05 * (results.highestRpm - results.lowestRpm), 0.01 * results.highestRpm);
    const double low = results.lowestRpm - margin;
    const double high = results.highestRpm + margin;
    return panel(area, "Speed", "rpm") + "set yrange " + rangeText(low, high) + '\n' +
           ticsText("ytics", low, high) + "set xrange " +
           rangeText(results.seconds.front(), results.seconds.back()) +
           "\nset xtics auto\nset format x '%g'\nset xlabel 'Time (s)' offset 0,0.5\nset key "
           "off\n" +
           plotText({{"", data, 0, false}});
}

std::string harmonicPanels(const Report& report, const CurveAreas& areas)
{
    const std::vector<std::size_t> shown = shownHarmonics(report);
    double greatest = 0.0;
    for (const std::size_t h : shown) greatest = std::max(greatest, greatestAmplitude(report, h));
    const bool toShaft = report.settings.phaseMode == Host::PhaseMode::Shaft;
    const PhaseCurves phases = phaseCurves(report, shown);
    return panel(areas.cuts, "Order cuts", report.amplitudeUnit()) + levelRange(greatest) +
           speedAxis(report, false) + kKeyAbove + plotText(amplitudeCurves(report, shown)) +
           panel(areas.phases, "", toShaft ? "Phase to mark (°)" : "Phase to order 1 (°)") +
           "set yrange [-180:180]\nset ytics 90\nset key off\n" +
           (phases.leftOut ? kGapsExplained : "") + plotText(phases.curves) + "unset label 4\n";
}

std::string overallPanel(const Report& report, const Area& area)
{
    std::vector<Curve> curves;
    float greatest = 0.0F;
    for (std::size_t s = 0; s < report.results.signals.size(); ++s) {
        const std::vector<float>& levels = report.results.signals[s].overall;
        greatest = std::max(greatest, *std::max_element(levels.begin(), levels.end()));
        const auto level = [&](std::size_t b) { return static_cast<double>(levels[b]); };
        curves.push_back({report.recording.names[s],
                          overSpeed(report, report.results.timeBlocks, kInfinity, level),
                          0,
                          s == 1});
    }
    return panel(area, "Overall level", report.unit + " RMS") +
           levelRange(static_cast<double>(greatest)) + speedAxis(report, true) + kKeyAbove +
           plotText(curves);
}

} // namespace

std::string curvePanels(const Report& report, const CurveAreas& areas)
{
    return "set grid xtics ytics linecolor rgb '#d0d0d0' linewidth 1 dashtype 1\n" +
           profilePanel(report, areas.profile) + harmonicPanels(report, areas) +
           overallPanel(report, areas.overall) + "unset grid\n";
}

} // namespace Harmotrack::Examples
